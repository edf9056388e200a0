#pragma once

// CKO_: access and check-out

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Checked out by anybody.
MV_API int CKO_is_checked_out(tag_t object, logical* checkedOut);

// 0 if check-out lets this user change the object.
MV_API int CKO_assert_object_modifiable(tag_t object);

}  // extern "C"
