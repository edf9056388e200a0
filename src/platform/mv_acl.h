#pragma once

// ACL_: privileges.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Whether the session's user has the named privilege on the object ("READ", "WRITE", "CHANGE",
// "PUBLISH" and the others that the store knows); always true while the bypass is on. For a BOM
// line the rights are those on the object that it shows.
// Returns: 0 with the answer in `allowed`; a failing status for an unknown object, or a name that
// is no privilege: the text lists the known ones.
MV_API int ACL_check_privilege(tag_t object, const char* privilege, logical* allowed);

// Two underscores. Leave privileges out for this session until called with false; check-outs and
// other sessions' locks still count. Calls don't nest.
// Returns: 0; a failing status without a session.
MV_API int ACL__set_application_bypass(logical on);

}  // extern "C"
