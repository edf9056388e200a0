#pragma once

// MV_: memory, no statuses

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Free the strings up to the null entry, then the array; never on static data.
MV_API void MV_free_strings(char** strings);

}  // extern "C"
