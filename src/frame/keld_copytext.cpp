#include "frame/keld_copytext.h"

#include <cstring>

#include "platform/keld_basetool.h"

namespace {

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u;
}

// The length in bytes, at most uiLimit, to which a text is cut without splitting a character.
std::size_t CutLength(const char* szText, std::size_t uiLimit) {
    const std::size_t uiLength = std::strlen(szText);
    if (uiLength <= uiLimit)
        return uiLength;
    // A character has at most three continuation bytes; a longer run is no UTF-8 and may be split.
    std::size_t uiCut = uiLimit;
    while (uiCut > 0 && uiLimit - uiCut < 4 && IsContinuation(szText[uiCut]))
        --uiCut;
    return IsContinuation(szText[uiCut]) ? uiLimit : uiCut;
}

}  // namespace

void KELD_CopyText(char* szOut, std::size_t uiSize, const char* szText, const char* szField) {
    if (szOut == nullptr || uiSize == 0)
        return;
    if (szText == nullptr)
        szText = "";
    const std::size_t uiCut = CutLength(szText, uiSize - 1);
    const bool bCut = szText[uiCut] != '\0';
    std::memmove(szOut, szText, uiCut);  // the text may be the field itself
    szOut[uiCut] = '\0';
    if (bCut)
        KELD_WARNING("Text cut to %d characters: %s\n", static_cast<int>(uiSize - 1), szField);
}
