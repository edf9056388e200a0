#pragma once

// MVTYPE_: types and their properties.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Type of this name at or below a class or type; every class has a type of its own name. None, or
// an unknown parent: status 0, NULLTAG.
// Returns: 0; a failing status for a null name.
MV_API int MVTYPE_find_type(const char* name, const char* parentClass, tag_t* type);

// All types below a type, in order of definition; with `flag` true only those directly below. None
// is count 0 and a null pointer.
// Returns: 0; a failing status for a tag that is no type, or if there is no memory.
// Frees: the receiver, HEAP_free of `subtypes`.
MV_API int MVTYPE_ask_subtypes(tag_t type, logical flag /*false*/, int* count, tag_t** subtypes);

// Handle of a property that objects of the type have, worked-out ones included; unknown: status 0,
// NULLTAG.
// Returns: 0; a failing status for a tag that is no type.
MV_API int MVTYPE_ask_property_by_name(tag_t type, const char* property, tag_t* handle);

}  // extern "C"
