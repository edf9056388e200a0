#pragma once

// Functions of the test's own mervane.dll, besides those of the platform.

extern "C" {

// The next texts and numbers of the argument stream.
void own_send_text(const char* text);
void own_send_int(int number);
// From now on every platform function without a real implementation here gives this status.
void own_answer(int status);
// Names of the calls since the last call of this function, each followed by a blank, without HEAP_.
const char* own_calls(void);
// Blocks handed out and not given back.
int own_blocks(void);

}  // extern "C"
