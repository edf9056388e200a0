#pragma once

// STR_:

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Occurrences, allocated.
MV_API int STR_list_occurrences_of_bvr(tag_t bvr, int* count, tag_t** occurrences);

// Where-used list; both lists to free.
MV_API int STR_where_used_all(tag_t revision, int levels, int* count, int** levelList,
                              tag_t** parents);

}  // extern "C"
