#pragma once

// ACL_: access and check-out

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Does the session user hold the named privilege ("PUBLISH", "WRITE", "CHANGE", configured names).
MV_API int ACL_check_privilege(tag_t object, const char* privilege, logical* allowed);

// Two underscores; access checks off for the session until called with false; result never looked
// at.
MV_API int ACL__set_application_bypass(logical on);

}  // extern "C"
