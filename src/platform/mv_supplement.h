#pragma once

// Additions of this project: an implementation of the platform may lack them. Callers go through
// keld_os::FindFunction on Windows and test the address elsewhere.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Item by its id; unknown: status 0, NULLTAG. For KELD_ART_find_item, which finds nothing without
// it.
// Returns: 0; a failing status for a null id.
MV_OPTIONAL_API int ART_find_item(const char* itemId, tag_t* item);

// Name of a type or relation type, at most 128 bytes and the terminator. For KELD_MVTYPE_ask_name,
// which asks OBJ_ask_value_string for "object_name" without it.
// Returns: 0; a failing status for a tag that is neither. `name` then keeps what it held.
MV_OPTIONAL_API int MVTYPE_ask_name(tag_t type, char* name /*129*/);

// The error stack, oldest first: numbers and texts in parallel, the texts as an array that ends
// with a null entry. Empty: count 0 and null pointers. For KELD_ReportLastQskError, which shows the
// text of its status alone without it.
// Returns: 0; a failing status if there is no memory. Nothing is handed out then.
// Frees: the receiver, HEAP_free of `numbers` and MV_free_strings of `texts`.
MV_OPTIONAL_API int ERR_ask_stack(int* count, int** numbers, char*** texts);

}  // extern "C"
