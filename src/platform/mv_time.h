#pragma once

// TIME_: dates and texts.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Read a date along a format of %Y %m %d %H %M %S %y %b and %%; `month` is 0 for January, as in
// date_s. What the format leaves out is 1 January 1970, 0:00. Independent of the locale.
// Returns: 0; a failing status for a text that doesn't follow the format or names a day or time
// that doesn't exist. The six out parameters then keep what they held.
MV_API int TIME_string_to_date(const char* text, const char* format, int* month, int* day,
                               int* year, int* hour, int* minute, int* second);

// Write a date along such a format, for instance "%d.%m.%Y" or "%Y-%m-%d %H:%M:%S".
// Returns: 0; a failing status for a date that the calendar doesn't have (the null date included),
// an unknown conversion, or if there is no memory.
// Frees: the receiver, HEAP_free of `text`.
MV_API int TIME_date_to_string(date_s date, const char* format, char** text);

}  // extern "C"
