#pragma once

// CLF_: classification objects.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Id of a classification object (class icm0); empty if it has none.
// Returns: 0; a failing status for anything else, or if there is no memory.
// Frees: the receiver, HEAP_free of `id`.
MV_API int CLF_ask_classification_object_id(tag_t classificationObject, char** id);

}  // extern "C"
