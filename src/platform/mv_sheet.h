#pragma once

// SHEET_: forms.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Names of the properties that the form's type brings, without those that every workspace object
// has; as an array of strings that ends with a null entry. None is count 0 and null.
// Returns: 0; a failing status for a tag that is no form, or if there is no memory.
// Frees: the receiver, HEAP_free of each string and of the array, or MV_free_strings.
MV_API int SHEET_ask_prop_names(tag_t form, int* count, char*** names);

}  // extern "C"
