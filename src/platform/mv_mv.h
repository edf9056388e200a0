#pragma once

// MV_: freeing arrays of strings.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Free the strings of an array up to its null entry, then the array; null is allowed. Requires:
// array and strings are blocks of the heap, never static data.
MV_API void MV_free_strings(char** strings);

}  // extern "C"
