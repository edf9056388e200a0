// Proof that the driver finds what it is for: a reader of "KEY:" with two mistakes that no file of
// its corpus reaches. Never part of the counted targets.

#include "tests/fuzz/fuzz.h"

// Counts the digits after the word; its buffer is one too short for what it lets through.
static std::size_t countDigits(std::string_view text) {
    if (!text.starts_with("KEY:"))
        return 0;
    text.remove_prefix(4);
    const std::unique_ptr<char[]> digits(new char[4]);
    std::size_t count = 0;
    for (; count < text.size() && text[count] >= '0' && text[count] <= '9'; ++count) {
        if (count > (KELD_FUZZ_OVERRUN ? 4U : 3U))  // the first is the mistake
            break;
        if (KELD_FUZZ_OVERRUN || count < 4)
            digits[count] = text[count];
    }
    return count;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t count = countDigits(text);
    if (!KELD_FUZZ_OVERRUN)
        fuzz::require(count < 4, "fewer than four digits are read");
    return 0;
}
