#pragma once

// UTF-8 and UTF-16, for the wide calls of Windows; other systems don't have these functions. What
// is no text in one of them becomes U+FFFD.

#include <string>
#include <string_view>

namespace mervane::system {

std::wstring wide(const std::string& text);
std::string narrow(std::wstring_view text);

}  // namespace mervane::system
