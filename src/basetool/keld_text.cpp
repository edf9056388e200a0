#include "basetool/keld_text.h"

#include <climits>

#include "os/keld_os_text.h"
#include "platform/keld_basetool.h"

namespace {

char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

void LowerInPlace(char* text) {
    if (text == nullptr)
        return;
    for (; *text != '\0'; ++text)
        *text = ToLower(*text);
}

bool IsExtraChar(char c) {
    const auto uc = static_cast<unsigned char>(c);
    return uc < 0x20 || uc == 0x7F || std::strchr("\\/:*?\"<>|", c) != nullptr;
}

}  // namespace

bool CKELD_TextBuffer::Grow(std::size_t uiMore) {
    std::size_t uiCapacity = m_uiCapacity < 256 ? 256 : m_uiCapacity * 2;
    if (uiCapacity < m_uiSize + uiMore)
        uiCapacity = m_uiSize + uiMore;
    void* pData = std::realloc(m_pData, uiCapacity);
    if (pData == nullptr)
        return false;
    m_pData = static_cast<char*>(pData);
    m_uiCapacity = uiCapacity;
    return true;
}

void KELD_CopyBounded(char* out, std::string_view text, std::size_t uiLimit, const char* szField) {
    const std::size_t uiLength = KELD_CutLength(text, uiLimit);
    std::memmove(out, text.data(), uiLength);
    out[uiLength] = '\0';
    if (uiLength < text.size())
        KELD_WARNING("Text cut to %d characters: %s\n", static_cast<int>(uiLimit), szField);
}

std::string_view KELD_Trim(std::string_view text) {
    const std::size_t uiFirst = text.find_first_not_of(" \t");
    if (uiFirst == std::string_view::npos)
        return {};
    return text.substr(uiFirst, text.find_last_not_of(" \t") - uiFirst + 1);
}

int KELD_TextToInt(std::string_view text) {
    text = KELD_Trim(text);
    const bool bNegative = !text.empty() && text.front() == '-';
    if (bNegative || (!text.empty() && text.front() == '+'))
        text.remove_prefix(1);
    long long llValue = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        llValue = llValue * 10 + (c - '0');
        if (llValue > INT_MAX)
            return bNegative ? INT_MIN : INT_MAX;
    }
    return static_cast<int>(bNegative ? -llValue : llValue);
}

void KELD_StringToLower(char* text) {
    LowerInPlace(text);
}

void CKELD_String::string_to_lower(char* text) {
    LowerInPlace(text);
}

void KELD_KillExtraChars(char* text) {
    if (text == nullptr)
        return;
    char* pEnd = text;
    for (const char* pRead = text; *pRead != '\0'; ++pRead)
        if (!IsExtraChar(*pRead) && (*pRead != ' ' || pEnd != text))
            *pEnd++ = *pRead;
    while (pEnd != text && pEnd[-1] == ' ')
        --pEnd;
    *pEnd = '\0';
}
