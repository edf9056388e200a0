#pragma once

// Reading, writing and cutting UTF-8, by whole characters. Well-formed UTF-8 has no overlong forms,
// no surrogates and nothing above U+10FFFF.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mervane {

// A byte that isn't the first one of a character.
inline bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// The character at the start of a text: its number and its length in bytes; number -1 for one byte
// that is no part of well-formed UTF-8. Requires: the text isn't empty.
struct Character {
    std::int32_t number = -1;
    std::size_t length = 1;
};
inline Character firstCharacter(std::string_view text) {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = at(0);
    if (first < 0x80)
        return {static_cast<std::int32_t>(first), 1};
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return {};
    constexpr std::array<unsigned, 5> kBits = {0, 0, 0x1F, 0x0F, 0x07};
    std::uint32_t number = first & kBits[length];
    for (std::size_t i = 1; i < length; ++i) {
        if (!continuesCharacter(text[i]))
            return {};
        number = (number << 6U) | (at(i) & 0x3FU);
    }
    const bool too_long = (length == 3 && number < 0x800) || (length == 4 && number < 0x10000);
    if (too_long || number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF))
        return {};
    return {static_cast<std::int32_t>(number), length};
}

// True if all of the text is well-formed; an empty one is.
inline bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (character.number < 0)
            return false;
        text.remove_prefix(character.length);
    }
    return true;
}

// Append the character of this number; a surrogate or a number above U+10FFFF becomes U+FFFD.
inline void appendUtf8(std::string& text, std::uint32_t number) {
    if (number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF))
        number = 0xFFFD;
    const auto put = [&](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (number < 0x80) {
        put(number);
    } else if (number < 0x800) {
        put(0xC0 | number >> 6);
        put(0x80 | (number & 0x3F));
    } else if (number < 0x10000) {
        put(0xE0 | number >> 12);
        put(0x80 | (number >> 6 & 0x3F));
        put(0x80 | (number & 0x3F));
    } else {
        put(0xF0 | number >> 18);
        put(0x80 | (number >> 12 & 0x3F));
        put(0x80 | (number >> 6 & 0x3F));
        put(0x80 | (number & 0x3F));
    }
}

// At most `limit` bytes of the text, without a part of a character at the end.
inline std::string cutUtf8(std::string_view text, std::size_t limit) {
    if (text.size() <= limit)
        return std::string(text);
    std::size_t end = limit;
    while (end > 0 && continuesCharacter(text[end]))
        --end;
    return std::string(text.substr(0, end));
}

}  // namespace mervane
