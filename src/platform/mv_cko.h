#pragma once

// CKO_: check-out.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Whether anybody has the object checked out, this user included. A BOM line is checked out when
// the object that it shows is.
// Returns: 0 with the answer in `checkedOut`; a failing status for an unknown object.
MV_API int CKO_is_checked_out(tag_t object, logical* checkedOut);

// Whether check-outs let this user change the object.
// Returns: 0 if nobody has it checked out, or this user; a failing status if another user has (the
// text names the user) or for an unknown object.
MV_API int CKO_assert_object_modifiable(tag_t object);

}  // extern "C"
