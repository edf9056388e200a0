#pragma once

// DIR_: folders.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Number of entries of a folder; what can't be loaded doesn't count, nor does what another
// session deleted.
// Returns: 0; a failing status for a tag that is no folder.
MV_API int DIR_ask_size(tag_t folder, int* count);

}  // extern "C"
