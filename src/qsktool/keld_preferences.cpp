// Preferences. A preference that doesn't exist is never a failure; the platform's calls take no
// scope, so it has no effect.

#include <cstring>

#include "os/keld_guard.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_opt.h"
#include "qsktool/keld_qsktext.h"

namespace {

constexpr int iNoSuchPreference = 1700;

// The first value, allocated; null if the preference isn't set.
int FirstValue(const char* szName, char** pszValue) {
    const int iRet = OPT_ask_char_value(KELD_QskText(szName), 0, pszValue);
    return iRet == iNoSuchPreference ? QSK_ok : iRet;
}

// Compare without regard to ASCII case.
bool EqualNoCase(const char* szLeft, const char* szRight) {
    const auto lower = [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    };
    while (*szLeft != '\0' && lower(*szLeft) == lower(*szRight))
        ++szLeft, ++szRight;
    return lower(*szLeft) == lower(*szRight);
}

bool IsOneOf(const char* szText, std::initializer_list<const char*> words) {
    for (const char* szWord : words)
        if (EqualNoCase(szText, szWord))
            return true;
    return false;
}

}  // namespace

int KELD_GetPreferenceArray(const char* name, int* count, char*** values, int /*scope*/) {
    return KELD_GuardedStatus([&] {
        if (count == nullptr || values == nullptr)
            return iNoPlace;
        *count = 0;
        *values = nullptr;
        const int iRet = OPT_ask_char_values(KELD_QskText(name), count, values);
        return iRet == iNoSuchPreference ? QSK_ok : iRet;
    });
}

int KELD_GetPreferenceValue(const char* name, char** value, const char* defaultValue,
                            int /*scope*/) {
    return KELD_GuardedStatus([&] {
        if (value == nullptr)
            return iNoPlace;
        char* szValue = nullptr;
        if (const int iRet = FirstValue(name, &szValue); iRet != QSK_ok)
            return iRet;
        if (szValue == nullptr && defaultValue != nullptr) {
            szValue = KELD_CopyString(defaultValue);
            if (szValue == nullptr)
                return iNoPlace;
        }
        *value = szValue;
        return QSK_ok;
    });
}

int KELD_get_string_pref(int scope, const char* name, char** value, const char* defaultValue) {
    return KELD_GetPreferenceValue(name, value, KELD_QskText(defaultValue), scope);
}

int KELD_get_logical_pref(int /*scope*/, const char* name, logical* value, logical defaultValue) {
    return KELD_GuardedStatus([&] {
        if (value == nullptr)
            return iNoPlace;
        char* szValue = nullptr;
        if (const int iRet = FirstValue(name, &szValue); iRet != QSK_ok)
            return iRet;
        logical lValue = defaultValue;  // also for a text that is none of these words
        if (IsOneOf(KELD_QskText(szValue), {"true", "1", "yes", "on"}))
            lValue = true;
        else if (IsOneOf(KELD_QskText(szValue), {"false", "0", "no", "off"}))
            lValue = false;
        HEAP_free(szValue);
        *value = lValue;
        return QSK_ok;
    });
}
