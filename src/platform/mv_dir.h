#pragma once

// DIR_:

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Number of entries.
MV_API int DIR_ask_size(tag_t folder, int* count);

}  // extern "C"
