#pragma once

// OPT_: preferences.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Start the preferences; repeated calls succeed.
// Returns: 0; a failing status without a session.
MV_API int OPT_initialize(void);

// The value of a preference at an index from 0, read anew on each call.
// Returns: 0; 1700, without an entry on the error stack, if there is no such preference; another
// failing status for an index outside its values, or if there is no memory.
// Frees: the receiver, HEAP_free of `value`.
MV_API int OPT_ask_char_value(const char* name, int index, char** value);

// The value at an index as a decimal integer.
// Returns: 0; 1700, without an entry on the error stack, if there is no such preference; another
// failing status for an index outside its values or a text that is no integer of 32 bits.
MV_API int OPT_ask_int_value(const char* name, int index, int* value);

// All values of a preference, as an array of strings that ends with a null entry; no such
// preference: status 0, count 0, null.
// Returns: 0; a failing status if there is no memory.
// Frees: the receiver, HEAP_free of each string and of the array, or MV_free_strings.
MV_API int OPT_ask_char_values(const char* name, int* count, char*** values);

}  // extern "C"
