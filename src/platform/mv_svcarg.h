#pragma once

// SVCARG_: service arguments, pulled in wire order.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Pull the next argument as an integer.
// Returns: 0; a failing status after the last argument, or if it was sent as another kind. The
// argument then stays the next one and `value` keeps what it held.
MV_API int SVCARG_get_int_argument(int* value);

// Pull the next argument as a text of any length, an empty one included.
// Returns: as SVCARG_get_int_argument; a failing status too if there is no memory: the argument is
// then used up.
// Frees: the receiver, with HEAP_free; a few services keep the text for the life of the process and
// say so.
MV_API int SVCARG_get_string_argument(char** value);

// Pull the next argument as an object's tag. Whether the object exists is not looked at.
// Returns: as SVCARG_get_int_argument.
MV_API int SVCARG_get_tag_argument(tag_t* value);

// Pull the next argument as a list of tags; an empty list is count 0 and a null pointer.
// Returns: as SVCARG_get_string_argument.
// Frees: the receiver, one HEAP_free of `tags`.
MV_API int SVCARG_get_tag_array_argument(int* count, tag_t** tags);

}  // extern "C"
