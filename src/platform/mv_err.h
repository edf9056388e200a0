#pragma once

// ERR_: error stack

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Push an error for the client.
MV_API int ERR_store_error(int severity, int number);

// Push an error with one text; the text is copied.
MV_API int ERR_store_error_s1(int severity, int number, const char* text);

// Text of a number, allocated; may come back null.
MV_API int ERR_ask_error_text(int number, char** text);

// Empty the stack.
MV_API int ERR_clear_errors(void);

// Start a stretch of expected errors; mark above 0.
MV_API int ERR_set_protect_mark(int* mark);

// End it.
MV_API int ERR_clear_protect_mark(int mark);

}  // extern "C"
