#include <memory>
#include <string>

#include "basetool/keld_ini.h"
#include "basetool/keld_text.h"
#include "os/keld_guard.h"
#include "platform/keld_basetool.h"

namespace {

constexpr std::size_t uiLongestValue = 1024;

// Sections filled from preferences. Never destroyed: services may read while the process ends.
CKELD_IniContent& Profiles() {
    static auto* pProfiles = new CKELD_IniContent;
    return *pProfiles;
}

const std::string& CfgPath() {
    static const auto* pPath = [] {
        auto pFound = std::make_unique<std::string>();
        if (!keld_os::GetEnv("KELD_CFG_PATH", pFound.get()) || pFound->empty())
            *pFound = ".";
        if (pFound->back() == keld_os::cPathSeparator ||
            (keld_os::bWindows && pFound->back() == '/'))
            pFound->pop_back();
        return pFound.release();
    }();
    return *pPath;
}

const char* BaseSettingsPath() {
    static const auto* pPath =
        new std::string(CfgPath() + keld_os::cPathSeparator + "keld_base.ini");
    return pPath->c_str();
}

// Null: there is no such value, or no memory to read it.
const std::string* FileValue(const char* szSection, const char* szKey, const char* szFile) {
    return KELD_Guarded<const std::string*>(nullptr, [&]() -> const std::string* {
        const CKELD_IniContent* pContent = KELD_ReadIniFile(szFile);
        return pContent != nullptr ? KELD_FindValue(pContent->Section(szSection), szKey) : nullptr;
    });
}

// A section filled from a preference hides the file's section of that name. Null: as above.
const std::string* StoreValue(const char* szSection, const char* szKey) {
    return KELD_Guarded<const std::string*>(nullptr, [&] {
        const CKELD_IniSection* pProfile = Profiles().Section(szSection);
        return pProfile != nullptr ? KELD_FindValue(pProfile, szKey)
                                   : FileValue(szSection, szKey, BaseSettingsPath());
    });
}

// The value or the default into the caller's 1025 bytes; the default may be the buffer itself.
void Deliver(const std::string* pValue, const char* szKey, char* out, const char* szDefault) {
    if (out == nullptr)
        return;
    if (pValue != nullptr)
        KELD_CopyBounded(out, pValue->c_str(), uiLongestValue, szKey);
    else if (szDefault != out)
        KELD_CopyBounded(out, szDefault != nullptr ? szDefault : "", uiLongestValue, szKey);
}

// One value of a preference: key=value, blanks around both taken off.
void AddPreferenceLine(CKELD_IniSection* pSection, const char* szPreference, const char* szLine) {
    std::string_view line = KELD_Trim(szLine);
    if (line.empty() || line.front() == ';' || line.front() == '#')
        return;
    const std::size_t uiSign = line.find('=');
    const std::string_view key = KELD_Trim(line.substr(0, uiSign));
    if (uiSign == std::string_view::npos || key.empty()) {
        KELD_WARNING("Preference %s: line without key ignored: %s\n", szPreference, szLine);
        return;
    }
    pSection->try_emplace(std::string(key), KELD_Trim(line.substr(uiSign + 1)));
}

}  // namespace

const char* KELD_GetCfgPath(void) {
    return KELD_Guarded<const char*>(nullptr, [] { return CfgPath().c_str(); });
}

void KELD_GetProfileString(const char* section, const char* key, char* out,
                           const char* defaultValue, const char* file) {
    Deliver(FileValue(section, key, file), key, out, defaultValue);
}

int KELD_GetProfileInt(const char* section, const char* key, int defaultValue, const char* file) {
    const std::string* pValue = FileValue(section, key, file);
    return pValue != nullptr ? KELD_TextToInt(*pValue) : defaultValue;
}

void KELD_GetIniString(const char* section, const char* key, char* out, const char* defaultValue) {
    Deliver(StoreValue(section, key), key, out, defaultValue);
}

int KELD_GetIniInt(const char* section, const char* key, int defaultValue) {
    const std::string* pValue = StoreValue(section, key);
    return pValue != nullptr ? KELD_TextToInt(*pValue) : defaultValue;
}

void KELD_CreateProfileFromPref(const char* prefName, int count, char** values,
                                const char* storeName, int) {
    if (prefName == nullptr)
        return;
    KELD_TRACE("Settings %s from preference, %d values (%s)\n", prefName, count, storeName);
    KELD_GuardedCall([&] {
        // Filled apart and then moved in: without memory the earlier content stays.
        CKELD_IniSection section;
        for (int i = 0; values != nullptr && i < count; ++i)
            if (values[i] != nullptr)
                AddPreferenceLine(&section, prefName, values[i]);
        CKELD_NameMap<CKELD_IniSection>& sections = Profiles().m_sections;
        const auto it = sections.find(std::string_view(prefName));
        if (it != sections.end())
            it->second = std::move(section);
        else
            sections.try_emplace(prefName, std::move(section));
    });
}

// Kept: with the cache on, the sections stay; the services don't fill them again then.
void KELD_DeletePrefProfile(void) {
    if (KELD_IsLocPrefCacheDisabled())
        KELD_GuardedCall([] { Profiles().m_sections.clear(); });
}

logical KELD_IsLocPrefCacheDisabled(void) {
    return KELD_Guarded(false, [] {
        std::string sValue;
        return keld_os::GetEnv("KELD_DISABLE_LOCPREF_CACHE", &sValue) && !sValue.empty() &&
               sValue != "0";
    });
}
