#pragma once

// Users, groups, persons and sites.

#include <string>

#include "workbench/session/session.h"

namespace mervane {

// Ids and names get into command lines and paths. Failure kBadValue for one with a control
// character or a character that has a meaning on command lines.
void needPlainName(const char* what, const std::string& name);
// Each is stored when the call returns. Failure kDuplicateId for a name that is taken,
// kUnknownObject for a group that isn't there.
tag_t createGroup(Session& session, const std::string& name, const std::string& parent);
// With a person of the user's name, as a member of the group.
tag_t createUser(Session& session, const std::string& id, const std::string& name,
                 const std::string& group);
// Make the user a member; nothing if he is one. Failure kUnknownObject.
void addToGroup(Session& session, const std::string& user, const std::string& group);
tag_t findUser(Session& session, const std::string& id);     // NULLTAG if there is none
tag_t findGroup(Session& session, const std::string& name);  // NULLTAG if there is none
// Who a session of the user in the group (empty: his default one) would ask as. Failure
// kUnknownObject; kNotAllowed for a group of which he is no member.
Session::Asker askerOf(Session& session, const std::string& user, const std::string& group);

}  // namespace mervane
