#pragma once

// HEAP_: memory, no statuses

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Null if there is no memory.
MV_API void* HEAP_alloc(size_t size);

// Null pointer: as HEAP_alloc; null result leaves the old block.
MV_API void* HEAP_realloc(void* pointer, size_t size);

// Give a block back; null is allowed.
MV_API void HEAP_free(void* pointer);

}  // extern "C"
