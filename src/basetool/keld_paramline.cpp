#include <cstring>

#include "basetool/keld_text.h"
#include "platform/keld_basetool.h"

static constexpr std::size_t uiLongestLine = 1024;

CKELD_ParamLine::CKELD_ParamLine(const char* text, char separator)
    : m_sLine(), m_cSeparator(separator) {
    KELD_CopyBounded(m_sLine, text != nullptr ? text : "", uiLongestLine, "parameter line");
}

int CKELD_ParamLine::GetParamString(int index, char* const out) {
    if (index < 0)
        return 0;
    const char* pFirst = m_sLine;
    for (;;) {
        if (*pFirst == '\0')  // no entry follows a trailing separator
            return 0;
        const char* pEnd = pFirst;
        while (*pEnd != '\0' && *pEnd != m_cSeparator)
            ++pEnd;
        if (index == 0) {
            const auto uiLength = static_cast<std::size_t>(pEnd - pFirst);
            if (out != nullptr) {
                std::memcpy(out, pFirst, uiLength);
                out[uiLength] = '\0';
            }
            return 1;
        }
        if (*pEnd == '\0')
            return 0;
        --index;
        pFirst = pEnd + 1;
    }
}
