// Settings of the rename, all in the section KELD_ItemRename, by key, type and default.

#include "rename/keld_rnsettings.h"

#include <cstring>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_ent.h"
#include "platform/mv_heap.h"
#include "rename/keld_rn.h"

namespace {

constexpr char szSection[] = "KELD_ItemRename";
constexpr std::size_t uiLongestKey = 100;
constexpr std::size_t uiLongestValue = KELD_RenameValueSize - 1;
constexpr char szAlwaysExcluded[] = ";VANE_based_on;";

bool IsOn(const char* szValue) {
    return szValue[0] == '1';
}

// The excluded relations as a list. One that is too long is cut in its configured part, since
// VANE_based_on is always excluded.
void ReadExcludedRelations(const char* szKey, const char* szType, char* cOut, const char* szField) {
    char cValue[KELD_RenameValueSize] = "";
    KELD_ReadGeneralFirst(szKey, szType, cValue, "");
    char cConfigured[KELD_RenameValueSize - sizeof(szAlwaysExcluded)] = "";
    KELD_CopyText(cConfigured, cValue, szField);
    const std::string sList = std::string(";") + cConfigured + szAlwaysExcluded;
    std::memcpy(cOut, sList.c_str(), sList.size() + 1);
}

// A mode of the name or the description.
int ReadMode(const std::string& sKey, int iDefault) {
    const int iMode = KELD_ReadRenameNumber(sKey, iDefault);
    return iMode >= 0 && iMode <= 4 ? iMode : 0;
}

}  // namespace

const char* KELD_RenameText(const char* szText) {
    return szText != nullptr ? szText : "";
}

std::string KELD_RenameKeyPart(const char* szText) {
    return szText != nullptr ? szText : "(null)";
}

bool KELD_RenameEqual(const char* szLeft, const char* szRight) {
    return std::strcmp(KELD_RenameText(szLeft), KELD_RenameText(szRight)) == 0;
}

bool KELD_RenameListed(const char* szList, const char* szName) {
    return std::strstr(KELD_RenameText(szList), KELD_RenameText(szName)) != nullptr;
}

void KELD_RenameCut(char* szOut, const char* szText, std::size_t uiLimit) {
    const char* const szFrom = KELD_RenameText(szText);
    std::size_t uiLength = 0;
    while (uiLength < uiLimit && szFrom[uiLength] != '\0')
        ++uiLength;
    std::memmove(szOut, szFrom, uiLength);
    szOut[uiLength] = '\0';
}

void KELD_ReadRenameSetting(const std::string& sKey, char* cOut, const char* szDefault) {
    if (sKey.size() <= uiLongestKey)
        KELD_GetIniString(szSection, sKey.c_str(), cOut, szDefault);
    else if (szDefault != cOut)
        KELD_RenameCut(cOut, szDefault, uiLongestValue);
}

int KELD_ReadRenameNumber(const std::string& sKey, int iDefault) {
    return sKey.size() <= uiLongestKey ? KELD_GetIniInt(szSection, sKey.c_str(), iDefault)
                                       : iDefault;
}

void KELD_ReadGeneralFirst(const char* szKey, const char* szType, char* cOut,
                           const char* szDefault) {
    KELD_ReadRenameSetting(szKey, cOut, szDefault);
    KELD_ReadRenameSetting(std::string(szKey) + "." + KELD_RenameKeyPart(szType), cOut, cOut);
}

void KELD_ReadTypeFirst(const char* szKey, const char* szType, char* cOut, const char* szDefault) {
    KELD_ReadRenameSetting(std::string(szKey) + "." + KELD_RenameKeyPart(szType), cOut, "");
    if (cOut[0] == '\0')
        KELD_ReadRenameSetting(szKey, cOut, szDefault);
}

void KELD_RenameList(char* cValue, const char* szField) {
    const std::string sList = std::string(";") + cValue + ";";
    KELD_CopyText(cValue, KELD_RenameValueSize, sList.c_str(), szField);
}

void CKELD_ReName::LoadRenameProfile(logical* lProfileLoaded) {
    if (lProfileLoaded == nullptr || (*lProfileLoaded && !KELD_IsLocPrefCacheDisabled()))
        return;
    *lProfileLoaded = true;  // kept: before the read, so a failed one isn't repeated either
    int iRet = QSK_ok;
    int count = 0;
    char** values = nullptr;
    KELD_CALL(iRet, KELD_GetPreferenceArray("KELD_ItemRename", &count, &values, 0));
    if (count > 0)
        KELD_CreateProfileFromPref("KELD_ItemRename", count, values,
                                   "KELD_ConvertedBaseIniSettings", 0);
    if (values != nullptr)
        HEAP_free(values);  // kept: the strings in it stay allocated
}

void CKELD_ReName::ReadRenameSettings(const char* cItemType, const char* /*cItemRevisionType*/,
                                      logical* lChangeRevisionName, logical* lChangeRevisionDesc,
                                      char* cExclItemRelations, char* cExclRevRelations,
                                      char* cRenameOnStatus) {
    if (lChangeRevisionName == nullptr || lChangeRevisionDesc == nullptr ||
        cExclItemRelations == nullptr || cExclRevRelations == nullptr || cRenameOnStatus == nullptr)
        return;
    char cValue[KELD_RenameValueSize] = "";
    ReadExcludedRelations("ExcludeItemRelations", cItemType, cExclItemRelations,
                          "cExclItemRelations");
    ReadExcludedRelations("ExcludeRevisionRelations", cItemType, cExclRevRelations,
                          "cExclRevRelations");
    KELD_ReadTypeFirst("ChangeRevisionName", cItemType, cValue, "1");
    *lChangeRevisionName = IsOn(cValue);
    KELD_ReadTypeFirst("ChangeRevisionDescription", cItemType, cValue, "0");
    *lChangeRevisionDesc = IsOn(cValue);
    KELD_ReadTypeFirst("RenameOnRevisionStatus", cItemType, cRenameOnStatus, "");
    KELD_RenameList(cRenameOnStatus, "cRenameOnStatus");
}

void CKELD_ReName::ReadObjectChangeModes(const char* cPrimaryType, const char* cRelTypeName,
                                         const char* cObjType, int* iChangeName, int* iChangeDesc) {
    if (iChangeName == nullptr || iChangeDesc == nullptr)
        return;
    std::string sObject = "." + KELD_RenameKeyPart(cPrimaryType);
    if (cRelTypeName != nullptr)
        sObject += std::string(".") + cRelTypeName;
    sObject += "." + KELD_RenameKeyPart(cObjType);
    *iChangeName = ReadMode("ChangeObjectName" + sObject, 1);
    *iChangeDesc = ReadMode("ChangeObjectDescription" + sObject, 0);
}

logical CKELD_ReName::IgnoreNoWriteAccess(const char* cPrimaryType, const char* cRelTypeName,
                                          tag_t secondary) {
    int iRet = QSK_ok;
    char cObjectType[129] = "";
    KELD_CALL(iRet, ENT_ask_object_type(secondary, cObjectType));
    if (iRet != QSK_ok)
        return false;
    char cValue[KELD_RenameValueSize] = "";
    KELD_ReadRenameSetting("IgnoreNoWriteAccess." + KELD_RenameKeyPart(cPrimaryType) + "." +
                               KELD_RenameKeyPart(cRelTypeName) + "." + cObjectType,
                           cValue, "0");
    return IsOn(cValue);
}
