// The named references of a renamed dataset: its files' original names and its objects' names. No
// file on disk changes.

#include <cstring>
#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_fil.h"
#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "rename/keld_rnsettings.h"

namespace {

constexpr std::size_t uiLongestName = 128;

// One file. Its base name must be the start of the dataset's old name, if there is an old name.
// Kept: so a shorter base name is replaced too.
[[nodiscard]] int RenameFile(tag_t tagRef, const char* cOldName, const char* cOldClean,
                             char* cNewName) {
    char cOrigFileName[133] = "";
    KELD_QSK_CALL(FIL_ask_original_file_name(tagRef, cOrigFileName));
    const char* const szDot = std::strrchr(cOrigFileName, '.');
    const std::size_t uiBase = szDot != nullptr ? static_cast<std::size_t>(szDot - cOrigFileName)
                                                : std::strlen(cOrigFileName);
    KELD_KillExtraChars(cNewName);
    if (cOldName != nullptr && std::strncmp(cOldClean, cOrigFileName, uiBase) != 0)
        return QSK_ok;
    const std::string sNewName = std::string(cNewName) + KELD_RenameText(szDot);
    const char* const newName = sNewName.c_str();
    KELD_TRACE("filename=%s\tnewname=%s\n", cOrigFileName, newName);
    if (KELD_RenameEqual(newName, cOrigFileName))
        return QSK_ok;
    KELD_QSK_CALL(OBJ_lock(tagRef));
    KELD_QSK_CALL(FIL_set_original_file_name(tagRef, newName));
    KELD_QSK_CALL(OBJ_save(tagRef));
    KELD_QSK_CALL(OBJ_refresh(tagRef, false));
    return QSK_ok;
}

// One workspace object, which must carry the dataset's old name, if there is one.
[[nodiscard]] int RenameReferencedObject(tag_t tagRef, const char* cRefName, const char* cOldName,
                                         char* cNewDSName) {
    char cObjectName[129] = "";
    KELD_QSK_CALL(ENT_ask_name(tagRef, cObjectName));
    KELD_TRACE("cObjectName=%s\n", cObjectName);
    KELD_TRACE("cRefName=%s\n", cRefName);
    if (cOldName != nullptr && !KELD_RenameEqual(cOldName, cObjectName))
        return QSK_ok;
    KELD_QSK_CALL(OBJ_lock(tagRef));
    // Kept: cut in the caller's text, so that the names after this one are cut as well.
    if (cNewDSName != nullptr && std::strlen(cNewDSName) > uiLongestName)
        cNewDSName[uiLongestName] = '\0';
    KELD_QSK_CALL(ENT_set_name(tagRef, cNewDSName));
    KELD_QSK_CALL(OBJ_save(tagRef));
    KELD_QSK_CALL(OBJ_refresh(tagRef, false));
    return QSK_ok;
}

}  // namespace

int CKELD_ReName::RenameNamedRef(tag_t tagDS, const char* cOldName, char* cNewDSName) {
    char cNewName[KELD_RenameValueSize] = "";
    char cOldClean[KELD_RenameValueSize] = "";
    KELD_CopyText(cNewName, cNewDSName, "cNewName");
    KELD_CopyText(cOldClean, cOldName, "cOldClean");
    KELD_KillExtraChars(cOldClean);
    char cDatasetType[129] = "";
    KELD_QSK_CALL(ENT_ask_object_type(tagDS, cDatasetType));
    char cExclNR[KELD_RenameValueSize] = "";
    KELD_ReadTypeFirst("ExcludeDatasetNR", cDatasetType, cExclNR, "");
    KELD_RenameList(cExclNR, "cExclNR");
    int iNamedRefCount = 0;
    KELD_QSK_CALL(DST_ask_dataset_ref_count(tagDS, &iNamedRefCount));
    KELD_TRACE("count=%d\n", iNamedRefCount);

    for (int jj = 0; jj < iNamedRefCount; ++jj) {
        char cRefName[33] = "";
        int refTyp = 0;
        tag_t tagRef = NULLTAG;
        logical lIsVaneFile = false;
        logical lIsWso = false;
        KELD_QSK_CALL(DST_find_dataset_named_ref(tagDS, jj, cRefName, &refTyp, &tagRef));
        KELD_QSK_CALL(KELD_isObjectOfClass(tagRef, "VaneFile", &lIsVaneFile));
        KELD_QSK_CALL(KELD_isObjectOfClass(tagRef, "WorkspaceObject", &lIsWso));
        if (KELD_RenameListed(cExclNR, cRefName)) {
            KELD_TRACE("Rename Skip NamedReference: %s\n", cRefName);
            continue;
        }
        KELD_TRACE("lIsVaneFile=%d; lIsWso=%d\n", lIsVaneFile, lIsWso);
        int iFailed = QSK_ok;
        if (lIsVaneFile)
            iFailed = RenameFile(tagRef, cOldName, cOldClean, cNewName);
        else if (lIsWso)
            iFailed = RenameReferencedObject(tagRef, cRefName, cOldName, cNewDSName);
        if (iFailed != QSK_ok)
            return iFailed;
    }
    return QSK_ok;
}
