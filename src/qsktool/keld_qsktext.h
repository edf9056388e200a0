#pragma once

// Texts on their way into a fixed field or a block of the platform.

#include <cstddef>
#include <string>

// Statuses of this library's own failures.
inline constexpr int iNoPlace = 2002;  // no memory, or no place given for a result
inline constexpr int iPathTooLong = 2010;

// Copy a text into a field of uiSize bytes; a longer one is cut on a whole character, with a
// warning. A null text counts as empty.
void KELD_QskCopyText(char* szOut, std::size_t uiSize, const char* szText, const char* szField);

// A null text counts as empty.
inline const char* KELD_QskText(const char* szText) {
    return szText != nullptr ? szText : "";
}
