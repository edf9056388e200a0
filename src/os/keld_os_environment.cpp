#include <cstdlib>

#include "os/keld_os.h"
#include "os/keld_os_wide.h"

namespace keld_os {

bool GetEnv(const char* szName, std::string* pValue) {
#if defined(_WIN32)
    std::wstring sName;
    if (!ToWide(szName, &sName) || sName.empty())
        return false;
    std::wstring sValue(256, L'\0');
    for (;;) {                        // the value may grow between two calls
        SetLastError(ERROR_SUCCESS);  // an empty value and a missing variable both give 0
        const DWORD ulLength = GetEnvironmentVariableW(sName.c_str(), sValue.data(),
                                                       static_cast<DWORD>(sValue.size()));
        if (ulLength == 0 && GetLastError() != ERROR_SUCCESS)
            return false;
        const bool bFits = ulLength < sValue.size();
        sValue.resize(ulLength);
        if (bFits)
            break;
    }
    *pValue = FromWide(sValue);
    return true;
#else
    const char* szValue = szName != nullptr ? std::getenv(szName) : nullptr;
    if (szValue == nullptr)
        return false;
    *pValue = szValue;
    return true;
#endif
}

std::string TempDirectory() {
#if defined(_WIN32)
    wchar_t wcPath[MAX_PATH + 2] = {};
    const DWORD ulLength = GetTempPathW(MAX_PATH + 1, wcPath);
    std::string sPath = ulLength > 0 && ulLength <= MAX_PATH ? FromWide(wcPath) : "C:\\Temp";
    if (sPath.size() > 3 && sPath.back() == cPathSeparator)
        sPath.pop_back();
    return sPath;
#else
    return "/tmp";
#endif
}

}  // namespace keld_os
