#pragma once

// STR_: stored structures.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Occurrences of a BOM view revision in stored order; none is count 0 and a null pointer.
// Returns: 0; a failing status for a tag that is no BOM view revision, or if there is no memory.
// Frees: the receiver, HEAP_free of `occurrences`.
MV_API int STR_list_occurrences_of_bvr(tag_t bvr, int* count, tag_t** occurrences);

// The revisions that use this one, each once at its lowest level: 1 uses it directly. Levels below
// 1 mean all. The two lists run in parallel; no use is count 0 and two null pointers.
// Returns: 0; a failing status for a tag that is no revision, or if there is no memory. Nothing is
// handed out then.
// Frees: the receiver, one HEAP_free for each list.
MV_API int STR_where_used_all(tag_t revision, int levels, int* count, int** levelList,
                              tag_t** parents);

}  // extern "C"
