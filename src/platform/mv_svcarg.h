#pragma once

// SVCARG_: service arguments, pulled in wire order

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Next argument as integer.
MV_API int SVCARG_get_int_argument(int* value);

// Next argument as string; receiver's block, freed only where the rules of the service say so.
MV_API int SVCARG_get_string_argument(char** value);

// Next argument as object handle.
MV_API int SVCARG_get_tag_argument(tag_t* value);

// Next argument as array; receiver's block.
MV_API int SVCARG_get_tag_array_argument(int* count, tag_t** tags);

}  // extern "C"
