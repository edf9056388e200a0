#pragma once

// DIR_: folders.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Number of entries of a folder, without those that can't be loaded or that another session
// deleted.
// Returns: 0; a failing status for a tag that is no folder.
MV_API int DIR_ask_size(tag_t folder, int* count);

}  // extern "C"
