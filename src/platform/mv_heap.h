#pragma once

// HEAP_: the memory that is handed out.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// A block of `size` bytes, not cleared; a size of 0 gives a block too. Null if there is no memory.
// Frees: the receiver, with HEAP_free.
MV_API void* HEAP_alloc(size_t size);

// Change the size of a block, keeping its contents; a null pointer: as HEAP_alloc. A null result
// means no memory and leaves the old block as it is.
MV_API void* HEAP_realloc(void* pointer, size_t size);

// Give a block of this heap back; null is allowed.
MV_API void HEAP_free(void* pointer);

}  // extern "C"
