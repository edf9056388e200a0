#pragma once

// SHEET_:

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Property names of a form as string array; the caller frees the strings one by one.
MV_API int SHEET_ask_prop_names(tag_t form, int* count, char*** names);

}  // extern "C"
