// Configuration of the status manager: where its INI file lies and how it is read.

#include "status/keld_statusconfig.h"

#include <cstring>
#include <new>

#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/mv_ent.h"
#include "status/keld_statusmanager1.h"

namespace {

constexpr std::size_t uiValueSize = 1025;
constexpr std::size_t uiSectionLimit = 199;

char cConfigFileName[260];
bool bConfigFileNameBuilt = false;

// Kept: a section name is cut at this byte, inside a character too; names that agree up to there
// read the same section.
std::string CutSection(std::string sName) {
    if (sName.size() > uiSectionLimit)
        sName.resize(uiSectionLimit);
    return sName;
}

}  // namespace

// The file's path, built once for the life of the process. Throws without memory.
const char* CKELD_StatusManager::GetConfigFileName() {
    if (!bConfigFileNameBuilt) {
        const char* const szDirectory = KELD_GetCfgPath();
        if (szDirectory == nullptr)
            throw std::bad_alloc();
        const std::string sPath =
            std::string(szDirectory) + keld_os::szPathSeparator + "keld_statusmanager" + ".ini";
        // A path is never cut: one that doesn't fit is a file that isn't there.
        if (sPath.size() < sizeof(cConfigFileName))
            std::memcpy(cConfigFileName, sPath.c_str(), sPath.size() + 1);
        bConfigFileNameBuilt = true;
    }
    return cConfigFileName;
}

void CKELD_StatusManager::ReadConfigString(const char* section, const char* key, char* out,
                                           const char* defaultValue) {
    KELD_GetProfileString(section, key, out, defaultValue, GetConfigFileName());
}

int CKELD_StatusManager::ReadConfigInt(const char* section, const char* key, int defaultValue) {
    return KELD_GetProfileInt(section, key, defaultValue, GetConfigFileName());
}

std::string KELD_ReadConfigText(const char* section, const char* key, const char* defaultValue) {
    char cValue[uiValueSize] = "";
    CKELD_StatusManager::ReadConfigString(section, key, cValue, defaultValue);
    return cValue;
}

bool KELD_GetListEntry(const std::string& list, char separator, int index, std::string* pEntry) {
    char cEntry[uiValueSize] = "";
    CKELD_ParamLine line(list.c_str(), separator);
    if (line.GetParamString(index, cEntry) <= 0)
        return false;
    *pEntry = cEntry;
    return true;
}

std::string KELD_ListEntry(const std::string& list, char separator, int index) {
    std::string sEntry;
    (void)KELD_GetListEntry(list, separator, index, &sEntry);  // a missing part is empty
    return sEntry;
}

std::string KELD_ProcessSection(const char* status, const char* prefix, const char* type) {
    return CutSection(std::string(status) + "_" + prefix + type);
}

std::string KELD_FormSection(const char* section, const char* form) {
    return CutSection(std::string(section) + "_" + form);
}

bool KELD_HasObjectType(tag_t object, const std::string& type) {
    char actualType[129] = "";
    (void)ENT_ask_object_type(object, actualType);  // an object without a type matches none
    return !type.empty() && type == actualType;
}
