#pragma once

// Plain readings of rules that several targets compare the library with. Nothing here calls it.

#include <string>
#include <string_view>

namespace fuzz {

// At most this many bytes, without a part of a character at the end. A run of more than three bytes
// that continue a character isn't UTF-8; it is cut at the limit.
inline std::string_view cutText(std::string_view text, std::size_t most) {
    if (text.size() <= most)
        return text;
    for (std::size_t at = most; at + 4 > most; --at) {
        if ((static_cast<unsigned char>(text[at]) & 0xC0) != 0x80)
            return text.substr(0, at);
        if (at == 0)
            break;
    }
    return text.substr(0, most);
}

// Without blanks and tabs at both ends.
inline std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// ASCII letters only.
inline std::string lower(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + 32);
    return result;
}

// Blanks, sign, digits; the nearest int of a huge number.
inline int integer(std::string_view text) {
    text = trim(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    double value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        value = value * 10 + (c - '0');
    }
    if (negative)
        return value >= 2147483648.0 ? -2147483647 - 1 : -static_cast<int>(value);
    return value >= 2147483647.0 ? 2147483647 : static_cast<int>(value);
}

}  // namespace fuzz
