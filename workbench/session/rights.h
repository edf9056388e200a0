#pragma once

// Privileges that a right can be given or denied for. Names that the store doesn't know never count
// as allowed.

#include <string>
#include <vector>

namespace mervane {

// Users of this group administrate: users, groups, rights, preferences, the registry.
inline constexpr char kAdministrators[] = "dba";
// To end a check-out of somebody else; administrators have it unless it is denied, others don't
// unless it is allowed.
inline constexpr char kEndCheckOut[] = "END_CHECKOUT";

const std::vector<std::string>& knownPrivileges();
// Failure kUnknownPrivilege, which names the known ones.
void needPrivilege(const std::string& name);

}  // namespace mervane
