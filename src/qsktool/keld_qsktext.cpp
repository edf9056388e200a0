#include "qsktool/keld_qsktext.h"

#include <cstring>

#include "platform/keld_basetool.h"

namespace {

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u;
}

}  // namespace

std::size_t KELD_QskCutLength(const char* szText, std::size_t uiLimit) {
    const std::size_t uiLength = std::strlen(szText);
    if (uiLength <= uiLimit)
        return uiLength;
    // A character has at most three continuation bytes; a longer run is no UTF-8 and may be split.
    std::size_t uiCut = uiLimit;
    while (uiCut > 0 && uiLimit - uiCut < 4 && IsContinuation(szText[uiCut]))
        --uiCut;
    return IsContinuation(szText[uiCut]) ? uiLimit : uiCut;
}

void KELD_QskCopyText(char* szOut, std::size_t uiSize, const char* szText, const char* szField) {
    szText = KELD_QskText(szText);
    const std::size_t uiCut = KELD_QskCutLength(szText, uiSize - 1);
    const bool bCut = szText[uiCut] != '\0';
    std::memmove(szOut, szText, uiCut);
    szOut[uiCut] = '\0';
    if (bCut)
        KELD_WARNING("Text cut to %d characters: %s\n", static_cast<int>(uiSize - 1), szField);
}
