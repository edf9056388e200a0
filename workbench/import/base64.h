#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mervane {

std::string toBase64(std::string_view bytes);
// Nothing for a text that toBase64 doesn't give: no line breaks, full padding, no stray bits.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace mervane
