#pragma once

// What the test asks of its own mervane.dll beside the platform's functions.

extern "C" {

// The next texts and numbers of the argument stream.
void own_send_text(const char* text);
void own_send_int(int number);
// From now on every function of the platform that this module doesn't really have gives this.
void own_answer(int status);
// Names of the calls since the last one of this, each followed by a blank, without HEAP_.
const char* own_calls(void);
// Blocks handed out and not given back.
int own_blocks(void);

}  // extern "C"
