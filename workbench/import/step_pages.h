#pragma once

#include <cstdint>

namespace mervane {

// The character that a page of ISO 8859 ('A' for 8859-1 to 'I' for 8859-9) has at a code of 80 to
// FF; U+FFFD where the page has none.
std::uint32_t pageCharacter(char page, unsigned char code);

}  // namespace mervane
