#pragma once

// ERR_: error stack.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Push an error for the client. Every failing call of the platform pushes one by itself; this is
// for a service's own numbers.
// Returns: 0.
MV_API int ERR_store_error(int severity, int number);

// Push an error whose text has one parameter, which is copied; null counts as empty. A number
// without a text shows the parameter alone.
// Returns: 0.
MV_API int ERR_store_error_s1(int severity, int number, const char* text);

// Text of a number: that of its newest entry on the stack, else that of the message table without a
// parameter; null with status 0 if there is neither.
// Returns: 0; a failing status if there is no memory.
// Frees: the receiver, with HEAP_free.
MV_API int ERR_ask_error_text(int number, char** text);

// Empty the whole stack, inside a protect mark too.
// Returns: 0.
MV_API int ERR_clear_errors(void);

// Start a stretch in which errors are expected and kept from the client; stretches may nest. `mark`
// becomes a number above 0.
// Returns: 0.
MV_API int ERR_set_protect_mark(int* mark);

// End the stretch: errors pushed since its start leave the stack, and marks set inside it end too.
// Returns: 0; a failing status for a mark that isn't set.
MV_API int ERR_clear_protect_mark(int mark);

}  // extern "C"
