#pragma once

// TIME_:

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Parse; order month, day, year; month 0-based as in date_s; on failure nothing is written.
MV_API int TIME_string_to_date(const char* text, const char* format, int* month, int* day,
                               int* year, int* hour, int* minute, int* second);

// Format ("%d.%m.%Y", "%Y-%m-%d %H:%M:%S"), allocated.
MV_API int TIME_date_to_string(date_s date, const char* format, char** text);

}  // extern "C"
