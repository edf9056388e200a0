#pragma once

// The public header of libkeld_se: hosts and sibling libraries include this and nothing else of it.

#include "platform/api.h"
#include "platform/keld_basetool.h"
#include "platform/types.h"

inline constexpr int KELD_STATMGR_CHANGEFORFARD = 0;  // directions of the walk
inline constexpr int KELD_STATMGR_CHANGEBACK = 1;
inline constexpr int KELD_STATMGR_CHANGENOREK = 2;
inline constexpr int KELD_STATMGR_CHANGEALL = 3;
// pass argument of the walk: 1 test pass, 0 attribute pass, 2 action pass (no names given)

inline constexpr int RENAME_REVISIONS = 1;  // bits of iAction
inline constexpr int RENAME_ITEM = 2;
inline constexpr int RENAME_MODIFY = 4;
inline constexpr int RENAME_ID_ONLY = 8;

inline constexpr int KELD_DELETE_KELDJOB = 919400;                        // job item deleted again
inline constexpr char KELD_JOB_item_class_name_c[] = "ORLAJob";           //
inline constexpr char KELD_JOB_m_attr_user_c[] = "orla_m_job_s_01";       // string
inline constexpr char KELD_JOB_m_attr_owner_c[] = "orla_m_job_s_02";      // string
inline constexpr char KELD_JOB_m_attr_status_c[] = "orla_m_job_s_03";     // string
inline constexpr char KELD_JOB_m_attr_queuename_c[] = "orla_m_job_s_04";  // string
inline constexpr char KELD_JOB_m_attr_type_c[] = "orla_m_job_s_05";       // string
inline constexpr char KELD_JOB_m_attr_group_c[] = "orla_m_job_s_06";      // string
inline constexpr char KELD_JOB_m_attr_jobtype_c[] = "orla_m_job_s_07";    // string
inline constexpr char KELD_JOB_m_attr_options_c[] = "orla_m_job_s_08";    // string
inline constexpr char KELD_JOB_m_attr_relation_c[] = "orla_m_job_s_09";   // string
inline constexpr char KELD_JOB_m_attr_alltypes_c[] = "orla_m_job_l_01";   // logical
inline constexpr char KELD_JOB_m_attr_target_c[] = "orla_m_job_l_02";     // logical
inline constexpr char KELD_JOB_m_attr_job_state_c[] = "orla_m_job_i_01";  // int, always 1

inline constexpr char ART_REGISTRY_ACTIVE[] = "ART_id_registry";  //
inline constexpr char ART_REGISTRY_SITE[] = "ART_id_registry_site";
inline constexpr char ART_REGISTRY_REGISTER_ON_CREATE[] = "ART_id_always_register_on_creation";
inline constexpr char ART_REGISTRY_ALLOW_IF_SERVER_DOWN[] = "ART_id_allow_if_registry_down";
inline constexpr char ART_REGISTRY_UNREGISTER_ON_DELETE[] = "ART_id_unregister_on_delete";

// written without quotes at traced call sites, so the log shows the bare name
inline constexpr char KELD_DELBackupTopDirCentral[] = "KELD_DELBackupTopDirCentral";
inline constexpr char KELD_DEL_DELUXE_TYPES[] = "KELD_DEL_DELUXE_TYPES";
inline constexpr char VANE_specification[] = "VANE_specification";

extern "C" {
// ---- user services ----
KELD_SE_API int KELD_StatusManager(int* result);
// status of the run; returns 0 always
KELD_SE_API int KELD_ReNameItem(int* result);
// status; returns the same
KELD_SE_API int KELD_ReNameItemExtended(int* result);
// status; returns the same
KELD_SE_API int KELD_CopyAttr(int* result);
// status; returns the same
KELD_SE_API int KELD_DeleteDeluxe(int* result);
// 0, written first; returns the status
KELD_SE_API int KELD_PSE_PackAndResequenceBom(tag_t* result);
// protocol dataset, untouched on a failed read; returns 0 or the read's status
KELD_SE_API int KELD_SrvCallCRIFromPortal(int* result);
// 0, written first; returns the status
KELD_SE_API int KELD_SrvCallCRJFromPortal(int* result);
// 0; returns the status [create-job service]
KELD_SE_API int KELD_SrvCall(char** result);
// text from KELD_CopyString, the platform's; returns 0 always
KELD_SE_API int KELD_SrvCallGetEnv(char** result);
// text from KELD_CopyString, untouched on a failed read; returns the status

// ---- direct entry points ----
KELD_SE_API void KELD_Version(void);
// twelve version lines, once per process
KELD_SE_API int KELD_StatusManager_ManageStatus(tag_t object, const char* type, const char* status);
// forwards to CKELD_StatusManager::ManageStatus
KELD_SE_API int KELD_SetFormValue_byType(tag_t form, tag_t object, const char* config,
                                         const char* configType, bool onlyIfEmpty);
// neither locks nor saves
KELD_SE_API int KELD_BatchReName(const char* pcItem, const char* pcRev, const char* pcNewItemId,
                                 const char* pcNewRevId, const char* pcNewName,
                                 const char* pcNewDesc);
// pcRev, pcNewName, pcNewDesc may be null or empty
KELD_SE_API int KELD_createJobItem(int iObjectCount, const tag_t* tObjectList, tag_t tJob,
                                   const char* szQueueName, const char* szTyp, logical lAllTypes,
                                   logical lTarget, const char* szRelation, const char* szJobType,
                                   const char* szOptions, const char* szUser, const char* szStatus,
                                   const char* szOwner, const char* szGroup);
// tJob 0: none; the list stays the caller's
KELD_SE_API int KELD_PSE_PackAndResequenceBom2(tag_t top, int count, tag_t* lines, int level,
                                               int sort, tag_t* dataset);
// returns 0 always; dataset may become 0
}  // extern "C"

class CKELD_Status {  // no data, no virtual operation
public:
    KELD_SE_API CKELD_Status& operator=(
        const CKELD_Status& other);  // does nothing but return *this
    // flags: not 0, the member locks and saves itself; 0, the caller has locked and will save
    KELD_SE_API static int GetReleaseStatusTagList(
        tag_t object, int* count, tag_t** list,
        int refresh);  // list: caller frees; untouched if empty
    KELD_SE_API static int GetReleaseStatusRslTag(tag_t status,
                                                  char* name /*no limit in the text: 129*/);
    KELD_SE_API static int SetReleaseStatusRslTag(tag_t status, const char* name, int ownLock);
    KELD_SE_API static int CreateReleaseStatus(tag_t object, tag_t* status, int ownLock);
    KELD_SE_API static int DelReleaseStatusObj(tag_t object, int ownLock);
    KELD_SE_API static int SetReleaseStatusObj(tag_t object, const char* status);  // "none" clears
    KELD_SE_API static int SetReleaseStatusObj(tag_t object, const char* objectType,
                                               const char* status);
    KELD_SE_API static int SetRelDate(tag_t object, int ownLock);
    KELD_SE_API static int DelRelDate(tag_t object, int ownLock);
    KELD_SE_API static int GetProcessStageTagList(tag_t object, int* count,
                                                  tag_t** list);  // list: caller frees
    KELD_SE_API static int GetProcessStageObj(
        tag_t object, char* taskName /*129*/);  // untouched if there is none
};

class CKELD_Status1 {  // no base class, no virtual operation
public:
    KELD_SE_API CKELD_Status1(const char* status);
    KELD_SE_API CKELD_Status1(const char* status, const char* date);
    KELD_SE_API CKELD_Status1(const char* status, const date_s* date);
    CKELD_Status1(const CKELD_Status1&) = default;
    KELD_SE_API CKELD_Status1& operator=(const CKELD_Status1& other);  // bytewise copy
    KELD_SE_API ~CKELD_Status1();
    KELD_SE_API int Set(tag_t object);
    KELD_SE_API int DelAllState(tag_t object);
    KELD_SE_API int DelRelTagOnNotReferenze(tag_t status);

    char _cState[33];  // fields in this order
    tag_t _tagRelState;
    date_s _dateRelease;
    tag_t _tagReleaseStatusAttribute;
    tag_t _tagReleaseDateAttribute;

private:
    int Init(const char* status);
};
// also exported: CKELD_Datum::operator=, CKELD_ParamLine::operator=, CKELD_String::operator=
// (section 4)
