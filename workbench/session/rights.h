#pragma once

// Privileges that a right can be given or denied for. Names that the store doesn't know never count
// as allowed.

#include <string>
#include <vector>

namespace mervane {

const std::vector<std::string>& knownPrivileges();
// Failure kUnknownPrivilege, which names the known ones.
void needPrivilege(const std::string& name);

}  // namespace mervane
