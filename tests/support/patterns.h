#pragma once

// A digit in a pattern of GoogleTest's matchers, which know different forms on different systems.
#if defined(_WIN32)
#define DIGIT "\\d"
#else
#define DIGIT "[0-9]"
#endif

// A source as a log line shows it: the part after the last backslash, which only Windows has.
#if defined(_WIN32)
#define SHOWN_SOURCE(folder, file) file
#else
#define SHOWN_SOURCE(folder, file) folder "/" file
#endif
