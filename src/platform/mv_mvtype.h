#pragma once

// MVTYPE_:

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Type of this name at or below the class (every class has a type of its name); none: status 0,
// NULLTAG.
MV_API int MVTYPE_find_type(const char* name, const char* parentClass, tag_t* type);

// All subtypes, allocated.
MV_API int MVTYPE_ask_subtypes(tag_t type, logical flag /*false*/, int* count, tag_t** subtypes);

// Property handle; unknown: status 0, NULLTAG.
MV_API int MVTYPE_ask_property_by_name(tag_t type, const char* property, tag_t* handle);

}  // extern "C"
