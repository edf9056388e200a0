#pragma once

// Copies into fixed fields: nothing is ever written past a field, whatever the text's length.

#include <cstddef>

// Copy a text into a field of uiSize bytes. A longer one is cut at the field's last character,
// never inside a UTF-8 character, with one warning that names the limit and the field. A null text
// counts as empty, a null field takes nothing.
void KELD_CopyText(char* szOut, std::size_t uiSize, const char* szText, const char* szField);

template <std::size_t uiSize>
void KELD_CopyText(char (&szOut)[uiSize], const char* szText, const char* szField) {
    KELD_CopyText(szOut, uiSize, szText, szField);
}
