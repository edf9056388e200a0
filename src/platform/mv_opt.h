#pragma once

// OPT_: preferences

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Start the preference module; repeated calls succeed.
MV_API int OPT_initialize(void);

// Value at index, allocated; no such preference: 1700.
MV_API int OPT_ask_char_value(const char* name, int index, char** value);

// Value at index as integer; no such preference: 1700.
MV_API int OPT_ask_int_value(const char* name, int index, int* value);

// All values as string array; no such preference: status 0, count 0, null.
MV_API int OPT_ask_char_values(const char* name, int* count, char*** values);

}  // extern "C"
