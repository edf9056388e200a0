#pragma once

#include <string>

namespace keld_test {

// Which of many cases a run takes: every `of`th, beginning with the `part`th. Without a choice all.
struct Share {
    int part = 1;
    int of = 1;
    bool has(int number) const { return number % of == part - 1; }  // counted from 0
};

// Read "PART/OF", as KELD_SWEEP_SHARE has it; null and empty mean all. Anything else throws
// std::invalid_argument with a text that says what was expected.
Share readShare(const char* text);

}  // namespace keld_test
