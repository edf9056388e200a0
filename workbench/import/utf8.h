#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mervane {

// Well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text);
// A surrogate or a number above U+10FFFF becomes U+FFFD.
void appendUtf8(std::string& text, std::uint32_t character);
// At most `limit` bytes, without a part of a character at the end.
std::string cutUtf8(std::string_view text, std::size_t limit);

}  // namespace mervane
