// CKELD_ParamLine: the parts are those of a plain reading of the rule, out of any memory.

#include <string>
#include <vector>

#include "platform/keld_basetool.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/plain.h"
#include "tests/fuzz/quiet.h"

static std::vector<std::string> expectedParts(std::string_view text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    bool open = false;
    for (const char c : text) {
        open = c != separator;
        if (open) {
            part += c;
        } else {
            parts.push_back(part);
            part.clear();
        }
    }
    if (open)
        parts.push_back(part);
    return parts;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const char separator = static_cast<char>(input.byte());
    const std::int32_t other_index = input.number();
    const fuzz::Text text(input.rest());
    CKELD_ParamLine line(text.data(), separator);
    const auto expected = expectedParts(fuzz::cutText(text.asRead(), 1024), separator);
    const int count = static_cast<int>(expected.size());
    for (int i = 0; i < count; ++i) {
        fuzz::Room out(1025);
        fuzz::require(line.GetParamString(i, out.data()) == 1, "a part is there");
        fuzz::require(out.text() == expected[static_cast<std::size_t>(i)], "a part is as written");
        // Long lists of parts are quadratic: their middle is left out.
        if (i == 64 && count > 128)
            i = count - 64;
    }
    for (const int index : {count, other_index}) {
        fuzz::Room out(1025);
        const bool there = index >= 0 && index < count;
        fuzz::require(line.GetParamString(index, out.data()) == (there ? 1 : 0), "as many parts");
        fuzz::require(there || out.isUntouched(), "a missing part leaves the buffer alone");
        fuzz::require(line.GetParamString(index, nullptr) == (there ? 1 : 0), "no buffer");
    }
    return 0;
}
