#pragma once

// Texts in fields of a fixed size, for all libraries.

#include <cstddef>
#include <string_view>

// Length in bytes to which a text is cut at uiLimit without splitting a UTF-8 character.
inline std::size_t KELD_CutLength(std::string_view text, std::size_t uiLimit) {
    if (text.size() <= uiLimit)
        return text.size();
    // A character has at most three continuation bytes; a longer run is no UTF-8 and may be split.
    for (std::size_t uiBack = 0; uiBack <= 3 && uiBack <= uiLimit; ++uiBack)
        if ((static_cast<unsigned char>(text[uiLimit - uiBack]) & 0xC0U) != 0x80U)
            return uiLimit - uiBack;
    return uiLimit;
}
