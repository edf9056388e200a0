#pragma once

// CLF_:

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Its id, allocated.
MV_API int CLF_ask_classification_object_id(tag_t classificationObject, char** id);

}  // extern "C"
