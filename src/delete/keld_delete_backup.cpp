// The central backup of a dataset's files. The tree is described in docs/delete-backup.md.

#include <string>

#include "delete/keld_delete_deluxe.h"
#include "delete/keld_delete_files.h"
#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "platform/mv_fil.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"

namespace {

constexpr int iNoDirectory = 1100;
constexpr int iBadPath = 2010;
constexpr std::size_t uiTextSize = 1025;
constexpr std::size_t uiFileNameSize = 133;

tag_t tRelationSpecification = NULLTAG;  // kept for the process

// Keep the first failure. For calls that are made also after one: their 0 must not clear it.
void KeepFirst(int* piRet, int iRet) {
    if (*piRet == QSK_ok)
        *piRet = iRet;
}

std::string Text(const char* szText) {
    return szText != nullptr ? szText : "";
}

bool IsEmpty(const char* szText) {
    return szText == nullptr || *szText == '\0';
}

// The objects that hold a dataset: the first revision, the first item and the first other object.
struct Parents {
    tag_t m_tRevision = NULLTAG;
    tag_t m_tItem = NULLTAG;
    tag_t m_tRelated = NULLTAG;
};

// Note a related object as a parent. Kept: one whose class can't be asked counts as another object.
// Returns: whether to look at further ones.
bool TakeParent(const rel_entry_s& record, int* piRet, Parents* pParents) {
    int& iRet = *piRet;
    logical lIsRevision = false;
    logical lIsItem = false;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, KELD_isObjectOfClass(record.secondary, "ItemRevision", &lIsRevision));
    if (lIsRevision) {
        // Kept: a later revision ends the search if it is specified, but never takes the place.
        if (pParents->m_tRevision == NULLTAG)
            pParents->m_tRevision = record.secondary;
        return record.relation_type != tRelationSpecification;
    }
    if (iRet == QSK_ok)
        KELD_CALL(iRet, KELD_isObjectOfClass(record.secondary, "Item", &lIsItem));
    tag_t& tParent = lIsItem ? pParents->m_tItem : pParents->m_tRelated;
    if (tParent == NULLTAG)
        tParent = record.secondary;
    return true;
}

// Find the parents of a dataset whose revision isn't known.
int FindParents(tag_t tDataset, int iRet, Parents* pParents) {
    int iPrimaryCount = 0;
    rel_entry_s* PrimaryList = nullptr;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, REL_list_primary_objects(tDataset, NULLTAG, &iPrimaryCount, &PrimaryList));
    for (int inx = 0; inx < iPrimaryCount; ++inx)
        if (!TakeParent(PrimaryList[inx], &iRet, pParents))
            break;
    HEAP_free(PrimaryList);
    return iRet;
}

// How a dataset's parent appears: in the log as it is, in the path cleaned.
struct ParentTexts {
    std::string m_sLog;
    std::string m_sDirectory;
};

// Of a revision or an item.
int AskItemTexts(const Parents& parents, int iRet, ParentTexts* pTexts) {
    const tag_t tRevision = parents.m_tRevision;
    const tag_t tIdOwner = parents.m_tItem != NULLTAG ? parents.m_tItem : tRevision;
    char* szItemId = nullptr;
    char* szRevId = nullptr;
    int iCall = QSK_ok;
    KELD_CALL(iCall, OBJ_ask_value_string(tIdOwner, "item_id", &szItemId));
    KeepFirst(&iRet, iCall);
    if (tRevision != NULLTAG) {
        KELD_CALL(iCall, OBJ_ask_value_string(tRevision, "item_revision_id", &szRevId));
        KeepFirst(&iRet, iCall);
    }
    const bool bRevId = !IsEmpty(szRevId);
    pTexts->m_sLog = Text(szItemId) + (bRevId ? "/" : "") + Text(szRevId);
    KELD_RepSpecialChar(szItemId);
    KELD_RepSpecialChar(szRevId);
    pTexts->m_sDirectory = Text(szItemId) + (bRevId ? "_" : "") + Text(szRevId);
    HEAP_free(szItemId);
    HEAP_free(szRevId);
    return iRet;
}

// Of another object, or of the user if there is none or it has no name.
int AskObjectTexts(tag_t tRelated, const char* szUserId, int iRet, ParentTexts* pTexts) {
    char* szObjectName = nullptr;
    if (tRelated != NULLTAG && iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_ask_value_string(tRelated, "object_name", &szObjectName));
    if (IsEmpty(szObjectName)) {
        HEAP_free(szObjectName);
        szObjectName = KELD_CopyString(szUserId);
    }
    pTexts->m_sLog = Text(szObjectName);
    KELD_RepSpecialChar(szObjectName);
    pTexts->m_sDirectory = Text(szObjectName);
    HEAP_free(szObjectName);
    return iRet;
}

// Answer for a directory that can't be made.
int RefuseDirectory(const char* path) {
    int iStored = QSK_ok;
    KELD_CALL(iStored, ERR_store_error_s1(3, 1100, path));
    return iNoDirectory;
}

// Whether there is a link or a device at a place in the tree. A link could lead out of the tree.
bool IsForeign(const std::string& sPath) {
    return keld_os::KindOf(sPath.c_str()) == keld_os::PathKind::Other;
}

// Make room for a file: one of this name is an older backup. Nothing else is deleted.
void RemoveOldFile(const char* sFilePathBuffer) {
    if (FILE* pFile = keld_os::OpenFile(sFilePathBuffer, "r", false); pFile != nullptr) {
        KELD_TRACE("File <%s> already exists\n", sFilePathBuffer);
        (void)std::fclose(pFile);
    } else {
        const keld_os::PathKind kind = keld_os::KindOf(sFilePathBuffer);
        if (kind == keld_os::PathKind::None || kind == keld_os::PathKind::File)
            return;
    }
    if (const int iResult = KELD_RunDel(sFilePathBuffer); iResult != 0)
        KELD_WarnOfCommand(KELD_DelCommand(sFilePathBuffer), iResult);
}

// Answer for a file whose path is too long.
int RefusePath(const char* sFilePathBuffer) {
    int iStored = QSK_ok;
    KELD_ERROR("The path has more than %d characters: %s\n", static_cast<int>(uiLongestPath),
               sFilePathBuffer);
    KELD_CALL(iStored, ERR_store_error_s1(3, 2010, sFilePathBuffer));
    return iBadPath;
}

}  // namespace

// Save the files of a dataset in the directory of its parent.
int PerformCentralBackup(tag_t tDataset, tag_t tRevision, const char* szCentralBackupDir,
                         FILE* pDeleteLogFile) {
    int iRet = QSK_ok;
    char* szUserId = nullptr;
    KELD_CALL(iRet, DBO_get_user_id(&szUserId));
    if (tRelationSpecification == NULLTAG) {
        int iCall = QSK_ok;
        KELD_CALL(iCall, REL_find_relation_type(VANE_specification, &tRelationSpecification));
        KeepFirst(&iRet, iCall);
    }

    Parents parents;
    parents.m_tRevision = tRevision;
    if (tRevision == NULLTAG)
        iRet = FindParents(tDataset, iRet, &parents);

    char* szDatasetType = nullptr;
    char* szDatasetName = nullptr;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_ask_value_string(tDataset, "object_type", &szDatasetType));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_ask_value_string(tDataset, "object_name", &szDatasetName));
    char* szDatasetNameOrig = KELD_CopyString(szDatasetName);
    KELD_RepSpecialChar(szDatasetName);

    ParentTexts texts;
    if (parents.m_tRevision != NULLTAG || parents.m_tItem != NULLTAG)
        iRet = AskItemTexts(parents, iRet, &texts);
    else
        iRet = AskObjectTexts(parents.m_tRelated, szUserId, iRet, &texts);
    char sParentString[uiTextSize] = "";
    KELD_CopyText(sParentString, texts.m_sLog.c_str(), "sParentString");
    const std::string sParentPath =
        Text(szCentralBackupDir) + keld_os::szPathSeparator + texts.m_sDirectory;
    const std::string sPath = sParentPath +
                              (IsEmpty(szDatasetName) ? "" : keld_os::szPathSeparator) +
                              Text(szDatasetName);
    const char* const sPathBuffer = sPath.c_str();

    if (iRet == QSK_ok && IsForeign(sParentPath)) {
        KELD_WarnOfCommand(KELD_MkdirCommand(sPath), iNotRun);
        iRet = RefuseDirectory(sPathBuffer);
    }
    if (iRet == QSK_ok)
        KELD_CALL(iRet, CreateAndCheckSubDir(sPathBuffer));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ExportAllNamedRefs(tDataset, sPathBuffer, pDeleteLogFile, szUserId,
                                           sParentString, szDatasetNameOrig, szDatasetType));
    HEAP_free(szDatasetName);
    HEAP_free(szDatasetNameOrig);
    HEAP_free(szDatasetType);
    HEAP_free(szUserId);
    return iRet;
}

// Make a directory for everybody. Kept: a failed mkdir is only a warning; granting access decides.
int CreateAndCheckSubDir(const char* sPathBuffer) {
    if (IsEmpty(sPathBuffer))
        return QSK_ok;
    const std::string sPath = sPathBuffer;
    if (sPath.size() <= uiLongestPath) {
        const keld_os::PathKind kind = keld_os::KindOf(sPathBuffer);
        if (kind == keld_os::PathKind::Directory || kind == keld_os::PathKind::File)
            return QSK_ok;
    }
    int iResult = KELD_RunMkdir(sPath);
    if (iResult != 0)
        KELD_WarnOfCommand(KELD_MkdirCommand(sPath), iResult);
    iResult = KELD_RunCacls(sPath);
    if (iResult == 0)
        return QSK_ok;
    KELD_WarnOfCommand(KELD_CaclsCommand(sPath), iResult);
    return RefuseDirectory(sPathBuffer);
}

// Write the files of a dataset's latest version. After a failure the rest is passed over.
int ExportAllNamedRefs(tag_t tDataset, const char* sPathBuffer, FILE* pDeleteLogFile,
                       const char* szUserId, const char* szParentObjString,
                       const char* szDatasetName, const char* szDatasetType) {
    int iRet = QSK_ok;
    int iRefCount = 0;
    tag_t* RefList = nullptr;
    tag_t tVersion0Dataset = NULLTAG;
    logical lIsRemoteDataset = false;
    KELD_CALL(iRet, DST_ask_dataset(tDataset, &tVersion0Dataset));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, DBO_is_cached(tDataset, &lIsRemoteDataset));
    if (tDataset == tVersion0Dataset && !lIsRemoteDataset && !IsEmpty(sPathBuffer)) {
        if (iRet == QSK_ok)
            KELD_CALL(iRet, DST_ask_dataset_named_refs(tDataset, &iRefCount, &RefList));
        KELD_TRACE("%d named references found for dataset\n", iRefCount);
    }

    CKELD_BackupNames names;
    for (int inx = 0; inx < iRefCount; ++inx) {
        const tag_t reference = RefList[inx];
        char sOrigFileName[uiFileNameSize] = "";
        logical lIsVaneFile = false;
        if (iRet == QSK_ok)
            KELD_CALL(iRet, KELD_isObjectOfClass(reference, "VaneFile", &lIsVaneFile));
        if (!lIsVaneFile)
            continue;
        KELD_CALL(iRet, FIL_ask_original_file_name(reference, sOrigFileName));
        if (IsEmpty(sOrigFileName))
            continue;
        const std::string sFilePath =
            std::string(sPathBuffer) + keld_os::szPathSeparator + names.NameFor(sOrigFileName);
        const char* const sFilePathBuffer = sFilePath.c_str();
        if (sFilePath.size() > uiLongestPath)
            KeepFirst(&iRet, RefusePath(sFilePathBuffer));
        else
            RemoveOldFile(sFilePathBuffer);
        if (iRet == QSK_ok)
            KELD_CALL(iRet, FIL_export_file(reference, sFilePathBuffer));
        if (iRet == QSK_ok)
            iRet = WriteToDeleteLog(pDeleteLogFile, szUserId, szParentObjString, szDatasetName,
                                    szDatasetType, sFilePathBuffer);
    }
    HEAP_free(RefList);
    return iRet;
}
