// The delete checks and the service in front of them.

#include "delete/keld_delete_deluxe.h"

#include <cstddef>
#include <cstring>

#include "delete/keld_delete_log.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dir.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "platform/mv_str.h"
#include "platform/mv_svcarg.h"

namespace {

constexpr int iNoMemory = 2002;
constexpr int iFolderNotEmpty = 919500;
constexpr int iUsedInStructure = 919502;

// The dataset types of the CAD systems in use; never written to.
constexpr int iBuiltInTypeCount = 13;
char* BuiltInTypes[iBuiltInTypeCount] = {
    const_cast<char*>("MantaPrt"),      const_cast<char*>("MantaAsm"),
    const_cast<char*>("OrbPart"),       const_cast<char*>("OrbProduct"),
    const_cast<char*>("orbis"),         const_cast<char*>("TK Part"),
    const_cast<char*>("TK Assembly"),   const_cast<char*>("VelPrt"),
    const_cast<char*>("VelAsm"),        const_cast<char*>("FormaPart"),
    const_cast<char*>("FormaAssembly"), const_cast<char*>("DR20PART"),
    const_cast<char*>("CADMASTER"),
};

// They last for the process while the preferences' cache is on, else for one call.
int iDsTypeCount = 0;  // 0: nothing read yet
char** DsTypeList = nullptr;
char* szCentralBackupDir = nullptr;
logical lCentralBackup = false;
tag_t tRelationSpecification = NULLTAG;

bool IsTypeToCheck(const char* szType) {
    if (szType == nullptr)
        return false;
    for (int inx = 0; inx < iDsTypeCount; ++inx)
        if (DsTypeList[inx] != nullptr && std::strcmp(DsTypeList[inx], szType) == 0)
            return true;
    return false;
}

// The datasets to back up, each with its revision if it is known.
struct BackupList {
    tag_t* DatasetList = nullptr;
    tag_t* DatasetRevList = nullptr;
    int m_iCount = 0;

    explicit BackupList(int iRoom) {
        if (iRoom <= 0)
            return;
        const std::size_t uiSize = static_cast<std::size_t>(iRoom) * sizeof(tag_t);
        DatasetList = static_cast<tag_t*>(HEAP_alloc(uiSize));
        DatasetRevList = static_cast<tag_t*>(HEAP_alloc(uiSize));
    }
    BackupList(const BackupList&) = delete;
    BackupList& operator=(const BackupList&) = delete;
    ~BackupList() {
        HEAP_free(DatasetList);
        HEAP_free(DatasetRevList);
    }

    // False: no memory. A dataset must not be deleted for want of a place to note it.
    [[nodiscard]] bool Enter(tag_t tDataset, tag_t tRevision) {
        if (DatasetList == nullptr || DatasetRevList == nullptr)
            return false;
        DatasetList[m_iCount] = tDataset;
        DatasetRevList[m_iCount] = tRevision;
        ++m_iCount;
        return true;
    }
};

// Read the preferences; without configured types the built-in list is used. Kept: that list counts
// as read after a failure too, so with the cache on the next call runs without a backup.
int ReadPreferences() {
    int iRet = QSK_ok;
    KELD_CALL(iRet,
              KELD_GetPreferenceValue(KELD_DELBackupTopDirCentral, &szCentralBackupDir, NULL));
    lCentralBackup = szCentralBackupDir != nullptr && *szCentralBackupDir != '\0';
    if (iRet == QSK_ok)
        KELD_CALL(iRet, KELD_GetPreferenceArray(KELD_DEL_DELUXE_TYPES, &iDsTypeCount, &DsTypeList,
                                                MV_preference_site));
    if (iDsTypeCount < 1) {
        iDsTypeCount = iBuiltInTypeCount;
        DsTypeList = BuiltInTypes;
    }
    return iRet;
}

void ForgetPreferences() {
    lCentralBackup = false;
    iDsTypeCount = 0;
    if (DsTypeList != BuiltInTypes)  // which was read by this call or an earlier one
        MV_free_strings(DsTypeList);
    DsTypeList = nullptr;
    HEAP_free(szCentralBackupDir);
    szCentralBackupDir = nullptr;
}

// Check one dataset and note it for the backup. A refusal goes to *piRefusal and doesn't fail.
int CheckDatasetObject(tag_t object, BackupList* pBackup, int* piRefusal) {
    int iRet = QSK_ok;
    char* sObjectType = nullptr;
    tag_t tRevision = NULLTAG;
    KELD_TRACE("Object is a Dataset\n");
    KELD_CALL(iRet, OBJ_ask_value_string(object, "object_type", &sObjectType));
    KELD_TRACE("Dataset Type: %s\n", sObjectType);
    if (IsTypeToCheck(sObjectType) && iRet == QSK_ok) {
        KELD_CALL(iRet, check_dataset(object, &tRevision));
        if (iRet == iUsedInStructure) {
            *piRefusal = iRet;
            iRet = QSK_ok;
        }
    }
    // Noted whatever the check and the type say: after a refusal nothing at all is backed up.
    if (lCentralBackup && !pBackup->Enter(object, tRevision) && iRet == QSK_ok)
        iRet = iNoMemory;
    HEAP_free(sObjectType);
    return iRet;
}

// Check the objects in order. A refusal doesn't stop the checks of the others, any other failure
// does. Kept: a folder's refusal goes before a dataset's.
int CheckObjects(int iObjectsCount, const tag_t* ObjectsList, BackupList* pBackup) {
    int iRet = QSK_ok;
    int iFolderResult = QSK_ok;
    int iDatasetResult = QSK_ok;
    for (int inx = 0; inx < iObjectsCount && iRet == QSK_ok; ++inx) {
        const tag_t object = ObjectsList[inx];
        logical lIsFolder = false;
        logical lIsDataset = false;
        KELD_TRACE("check object no.: %d\n", inx + 1);
        KELD_CALL(iRet, KELD_isObjectOfClass(object, "Folder", &lIsFolder));
        if (iRet == QSK_ok)
            KELD_CALL(iRet, KELD_isObjectOfClass(object, "Dataset", &lIsDataset));
        if (iRet != QSK_ok)
            break;
        if (lIsFolder) {
            KELD_TRACE("Object is a Folder\n");
            KELD_CALL(iRet, check_folder(object));
            if (iRet == iFolderNotEmpty) {
                iFolderResult = iRet;
                iRet = QSK_ok;
            }
        } else if (lIsDataset) {
            iRet = CheckDatasetObject(object, pBackup, &iDatasetResult);
        }
    }
    if (iRet == QSK_ok)
        iRet = iFolderResult != QSK_ok ? iFolderResult : iDatasetResult;
    return iRet;
}

// The log, which is closed whatever happens.
struct OpenedDeleteLog {
    FILE* m_pFile;

    explicit OpenedDeleteLog(const std::string& sPath) : m_pFile(KELD_OpenDeleteLog(sPath)) {}
    OpenedDeleteLog(const OpenedDeleteLog&) = delete;
    OpenedDeleteLog& operator=(const OpenedDeleteLog&) = delete;
    ~OpenedDeleteLog() { KELD_CloseDeleteLog(m_pFile); }
};

// Back up the noted datasets, unless the checks have failed. Kept: the log is opened in any case.
int BackUp(int iRet, const BackupList& backup) {
    tag_t* const DatasetList = backup.DatasetList;
    tag_t* const DatasetRevList = backup.DatasetRevList;
    char* szUserId = nullptr;
    if (iRet == QSK_ok)
        KELD_CALL(iRet, DBO_get_user_id(&szUserId));
    const int iDone = KELD_Entry([&] {
        const std::string sLogPath = KELD_DeleteLogPath(szCentralBackupDir, szUserId);
        KELD_TRACE("Using central log file=%s\n", sLogPath.c_str());
        const OpenedDeleteLog log(sLogPath);
        FILE* const pDeleteLogFile = log.m_pFile;
        for (int inx = 0; inx < backup.m_iCount && iRet == QSK_ok; ++inx)
            KELD_CALL(iRet, PerformCentralBackup(DatasetList[inx], DatasetRevList[inx],
                                                 szCentralBackupDir, pDeleteLogFile));
        return iRet;
    });
    HEAP_free(szUserId);
    return iRet != QSK_ok ? iRet : iDone;
}

}  // namespace

// Answer whether the objects may be deleted, and back up the datasets among them.
int delete_deluxe_check(int iObjectsCount, tag_t* ObjectsList) {
    int iRet = QSK_ok;
    BackupList backup(iObjectsCount);
    if (iDsTypeCount < 1)
        iRet = ReadPreferences();
    KELD_TRACE("number of objects to check: %d\n", iObjectsCount);
    if (iRet == QSK_ok)
        iRet = CheckObjects(ObjectsList != nullptr ? iObjectsCount : 0, ObjectsList, &backup);
    if (lCentralBackup)
        iRet = BackUp(iRet, backup);
    if (KELD_IsLocPrefCacheDisabled())
        ForgetPreferences();
    return iRet;
}

// Refuse a folder with entries.
int check_folder(tag_t tFolder) {
    int iRet = QSK_ok;
    int iNumberOfEntries = 0;
    char* szObjectName = nullptr;
    KELD_CALL(iRet, DIR_ask_size(tFolder, &iNumberOfEntries));
    if (iRet == QSK_ok && iNumberOfEntries >= 1) {
        KELD_CALL(iRet, OBJ_UIF_ask_value(tFolder, "object_name", &szObjectName));
        iRet = iFolderNotEmpty;  // kept: also if the name can't be read
        const char* const name = szObjectName != nullptr ? szObjectName : "";
        int iStored = QSK_ok;
        KELD_CALL(iStored, ERR_store_error_s1(3, 919500, name));
    }
    HEAP_free(szObjectName);
    return iRet;
}

// Refuse a dataset that specifies a revision in a structure.
int check_dataset(tag_t tDataset, tag_t* ptRevision) {
    int iRet = QSK_ok;
    int iPrimaryObjectsCount = 0;
    tag_t* PrimaryObjectsList = nullptr;
    tag_t tUnasked = NULLTAG;
    if (ptRevision == nullptr)
        ptRevision = &tUnasked;
    *ptRevision = NULLTAG;
    if (tRelationSpecification == NULLTAG)
        KELD_CALL(iRet, REL_find_relation_type(VANE_specification, &tRelationSpecification));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, REL_list_primary_objects_only(tDataset, tRelationSpecification,
                                                      &iPrimaryObjectsCount, &PrimaryObjectsList));
    for (int inx = 0; inx < iPrimaryObjectsCount && iRet == QSK_ok; ++inx) {
        const tag_t object = PrimaryObjectsList[inx];
        logical lIsRevision = false;
        KELD_CALL(iRet, KELD_isObjectOfClass(object, "ItemRevision", &lIsRevision));
        if (!lIsRevision)
            continue;
        if (iRet == QSK_ok)
            KELD_CALL(iRet, check_revision(object, tDataset));
        *ptRevision = object;
    }
    HEAP_free(PrimaryObjectsList);
    return iRet;
}

// Refuse a revision that a structure uses.
int check_revision(tag_t tRevision, tag_t tDataset) {
    int iRet = QSK_ok;
    int iRefCount = 0;
    int* RefLevelList = nullptr;
    tag_t* RefList = nullptr;
    KELD_CALL(iRet, STR_where_used_all(tRevision, 1, &iRefCount, &RefLevelList, &RefList));
    if (iRet == QSK_ok && iRefCount >= 1) {
        char* szObjectName = nullptr;
        KELD_CALL(iRet, OBJ_UIF_ask_value(tDataset, "object_name", &szObjectName));
        HEAP_free(szObjectName);  // kept: read and not used; nothing goes on the error stack
        iRet = iUsedInStructure;
    }
    HEAP_free(RefLevelList);
    HEAP_free(RefList);
    return iRet;
}

// User service: the list of objects. Kept: the outcome is the status alone, and the list isn't
// freed.
int KELD_DeleteDeluxe(int* result) {
    return KELD_Entry([&] {
        int iRet = QSK_ok;
        int iObjectsCount = 0;
        tag_t* tObjects = nullptr;
        KELD_FUNC_ENTER("KELD_DeleteDeluxe");
        if (result != nullptr)
            *result = 0;
        KELD_CALL(iRet, SVCARG_get_tag_array_argument(&iObjectsCount, &tObjects));
        if (iRet == QSK_ok)
            KELD_CALL(iRet, delete_deluxe_check(iObjectsCount, tObjects));
        KELD_FUNC_LEAVE("KELD_DeleteDeluxe");
        return iRet;
    });
}
