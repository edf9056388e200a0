#pragma once

// Additions of this project: an implementation of the platform may lack them. Callers go through
// keld_os::FindFunction on Windows and test the address elsewhere.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Item by id; unknown: status 0, NULLTAG. For KELD_ART_find_item; fallback: NULLTAG.
MV_OPTIONAL_API int ART_find_item(const char* itemId, tag_t* item);

// Name of a type. For KELD_MVTYPE_ask_name; fallback: OBJ_ask_value_string(type, "object_name").
MV_OPTIONAL_API int MVTYPE_ask_name(tag_t type, char* name /*129*/);

// The error stack, oldest first. For KELD_ReportLastQskError; fallback: the text of the status
// alone.
MV_OPTIONAL_API int ERR_ask_stack(int* count, int** numbers, char*** texts);

}  // extern "C"
