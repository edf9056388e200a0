#pragma once

// Texts for the wide calls of Windows. Used inside os/ only.

#if defined(_WIN32)

#include <windows.h>

#include <cstddef>
#include <string>

namespace keld_os {

// UTF-8 to UTF-16. False: null or no valid UTF-8.
inline bool ToWide(const char* szText, std::wstring* pWide) {
    if (szText == nullptr)
        return false;
    pWide->clear();
    const int iSize = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, szText, -1, nullptr, 0);
    if (iSize <= 0)
        return false;
    pWide->resize(static_cast<std::size_t>(iSize));
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, szText, -1, pWide->data(), iSize);
    pWide->pop_back();
    return true;
}

inline std::string FromWide(const std::wstring& wide) {
    const int iLength = static_cast<int>(wide.size());
    const int iSize =
        WideCharToMultiByte(CP_UTF8, 0, wide.data(), iLength, nullptr, 0, nullptr, nullptr);
    std::string sText(static_cast<std::size_t>(iSize > 0 ? iSize : 0), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), iLength, sText.data(), iSize, nullptr, nullptr);
    return sText;
}

}  // namespace keld_os

#endif
