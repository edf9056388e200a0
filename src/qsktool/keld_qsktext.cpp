#include "qsktool/keld_qsktext.h"

#include <cstring>

#include "os/keld_os_text.h"
#include "platform/keld_basetool.h"

void KELD_QskCopyText(char* szOut, std::size_t uiSize, const char* szText, const char* szField) {
    szText = KELD_QskText(szText);
    const std::size_t uiCut = KELD_CutLength(szText, uiSize - 1);
    const bool bCut = szText[uiCut] != '\0';
    std::memmove(szOut, szText, uiCut);
    szOut[uiCut] = '\0';
    if (bCut)
        KELD_WARNING("Text cut to %d characters: %s\n", static_cast<int>(uiSize - 1), szField);
}
