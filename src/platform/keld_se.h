#pragma once

// The public header of libkeld_se: hosts and sibling libraries include this and nothing else of it.

#include "platform/api.h"
#include "platform/keld_basetool.h"
#include "platform/types.h"

// Directions of the status manager's walk.
inline constexpr int KELD_STATMGR_CHANGEFORFARD = 0;
inline constexpr int KELD_STATMGR_CHANGEBACK = 1;
inline constexpr int KELD_STATMGR_CHANGENOREK = 2;
inline constexpr int KELD_STATMGR_CHANGEALL = 3;

// Bits of the action of KELD_ReNameItemExtended.
inline constexpr int RENAME_REVISIONS = 1;
inline constexpr int RENAME_ITEM = 2;
inline constexpr int RENAME_MODIFY = 4;
inline constexpr int RENAME_ID_ONLY = 8;

// Job items: an error number, the class, and the attributes of its master form.
inline constexpr int KELD_DELETE_KELDJOB = 919400;  // job item deleted again
inline constexpr char KELD_JOB_item_class_name_c[] = "ORLAJob";
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

// Preferences of the item id registry.
inline constexpr char ART_REGISTRY_ACTIVE[] = "ART_id_registry";
inline constexpr char ART_REGISTRY_SITE[] = "ART_id_registry_site";
inline constexpr char ART_REGISTRY_REGISTER_ON_CREATE[] = "ART_id_always_register_on_creation";
inline constexpr char ART_REGISTRY_ALLOW_IF_SERVER_DOWN[] = "ART_id_allow_if_registry_down";
inline constexpr char ART_REGISTRY_UNREGISTER_ON_DELETE[] = "ART_id_unregister_on_delete";

// Written without quotes in traced calls, so that the log shows the bare name.
inline constexpr char KELD_DELBackupTopDirCentral[] = "KELD_DELBackupTopDirCentral";
inline constexpr char KELD_DEL_DELUXE_TYPES[] = "KELD_DEL_DELUXE_TYPES";
inline constexpr char VANE_specification[] = "VANE_specification";

// Nothing is thrown through any function of the library. One that returns a status gives 2002 if
// memory runs out, unless it is said to return 0 always; what it has done until then stays done.

extern "C" {

// ---- user services ----
// A service pulls its arguments, in the order named, from the platform's argument stream and writes
// its result through its one parameter. Services that check their reads stop at the first argument
// that can't be read and return its status; the others go on with an empty value. Errors meant for
// the client are on the platform's error stack.

// Change the release status of an object and of what the configuration connects with it. Arguments:
// target status, object type (texts), object. Reads aren't checked.
// Returns: 0 always; `result` becomes the status of the run: 0, 919401 to 919405, or that of a
// failed platform call. A run that fails in its test pass has changed nothing.
KELD_SE_API int KELD_StatusManager(int* result);

// Rename an item with everything that carries its id. Arguments: new item id, new name (empty: the
// new id), new description (texts), item. Reads aren't checked.
// Returns: the status, also through `result`: 0, 919320, 919342 to 919345, 100304, or that of a
// failed platform call. What was saved before a failure stays saved.
KELD_SE_API int KELD_ReNameItem(int* result);

// Rename an item or one of its revisions. Arguments: new item id, new revision id, new name, new
// description (texts), item, revision, action (bits RENAME_...). Otherwise as KELD_ReNameItem.
KELD_SE_API int KELD_ReNameItemExtended(int* result);

// Copy the configured properties from one object to others, and down the configured relations.
// Arguments: source object, list of destination objects. Reads are checked.
// Returns: the first failing status, also through `result`; all destinations are tried.
KELD_SE_API int KELD_CopyAttr(int* result);

// Whether folders and datasets may be deleted, with a backup of the datasets' files if one is
// configured; the client then deletes. Argument: list of objects. Reads are checked.
// Returns: 0 to go ahead, 919500 for a folder that isn't empty, 919502 for a dataset of a revision
// in a structure, 1100 if a backup directory can't be made, or the status of a failed platform
// call. `result` becomes 0, written first.
KELD_SE_API int KELD_DeleteDeluxe(int* result);

// Number the child lines of BOM lines anew and pack them. Arguments: top line, list of lines, depth
// limit, sorting mode (above 0: sort). Reads are checked.
// Returns: 0 with the protocol's dataset (NULLTAG if it couldn't be made) in `result`; the status
// of a failed read leaves `result` alone.
KELD_SE_API int KELD_PSE_PackAndResequenceBom(tag_t* result);

// Make a job item. Arguments: type, queue name, job type, status (not used), options, all-types
// flag ("true" in any case of letters), relation (texts), list of targets. Reads are checked.
// Returns: the status of KELD_createJobItem or of a failed read; `result` becomes 0, written first.
KELD_SE_API int KELD_SrvCallCRIFromPortal(int* result);

// Write job files for a batch program and start it. Arguments: object types, base directory on
// Windows, base directory elsewhere, job type, state, options, all-types flag, relation types,
// program (texts), list of targets. Reads are checked.
// Returns: the status; `result` is 0 in any case.
KELD_SE_API int KELD_SrvCallCRJFromPortal(int* result);

// Diagnostics. Arguments: type code, level (integers), text; reads aren't checked. Type 0 logs the
// text, 1 gives the log's path, 2 sets and 3 gives the log level, 10 gives an environment variable.
// Returns: 0 always, with a text in `result`, which is null without memory.
// Frees: whoever takes the text over (the platform), with HEAP_free.
KELD_SE_API int KELD_SrvCall(char** result);

// Value of an environment variable of the server process; empty if it isn't set. Argument: its
// name. Returns: 0, or the status of the failed read: `result` then keeps what it held. Frees: as
// KELD_SrvCall.
KELD_SE_API int KELD_SrvCallGetEnv(char** result);

// ---- direct entry points ----

// Write the twelve lines of the version report, once in the life of the process.
KELD_SE_API void KELD_Version(void);

// Do what KELD_StatusManager does, with the arguments given here.
// Returns: the status of the run.
KELD_SE_API int KELD_StatusManager_ManageStatus(tag_t object, const char* type, const char* status);

// Put values on the properties of a form. `config` is a list of entries separated by semicolons,
// `configType` one of Value, Prop, PropMF, UserId, UserName, Group, Str_Date, Del_Date, Date_Date;
// `onlyIfEmpty` leaves properties alone that show a value. Requires: the form is locked by the
// caller, who saves it afterwards.
// Returns: 0, or the status of the first platform call that failed; the entries before it are set.
KELD_SE_API int KELD_SetFormValue_byType(tag_t form, tag_t object, const char* config,
                                         const char* configType, bool onlyIfEmpty);

// Rename the item, or its revision, that these ids name. `pcRev`, `pcNewName` and `pcNewDesc` may
// be null or empty. Returns: 919320 without an item, 48053 for an unknown revision, else as
// KELD_ReNameItem.
KELD_SE_API int KELD_BatchReName(const char* pcItem, const char* pcRev, const char* pcNewItemId,
                                 const char* pcNewRevId, const char* pcNewName,
                                 const char* pcNewDesc);

// Make a job item: an item of the class ORLAJob whose revision refers to the targets and whose
// master form has the values. `tJob` is a workflow job or 0. Without a job, an item as target means
// its latest revision; any target that is no revision then is passed over. The list stays the
// caller's.
// Returns: 0, or the first failing status. If the form can't be written, the item is deleted again
// and 919400 with its id goes on the error stack.
// Leaves locked: after a failure, and without a master form, the new item and its revision as far
// as they were made.
KELD_SE_API int KELD_createJobItem(int iObjectCount, const tag_t* tObjectList, tag_t tJob,
                                   const char* szQueueName, const char* szTyp, logical lAllTypes,
                                   logical lTarget, const char* szRelation, const char* szJobType,
                                   const char* szOptions, const char* szUser, const char* szStatus,
                                   const char* szOwner, const char* szGroup);

// Do what KELD_PSE_PackAndResequenceBom does, with the arguments given here; the lines stay the
// caller's.
// Returns: 0 whatever fails but memory; `dataset` becomes the protocol's dataset, or NULLTAG.
KELD_SE_API int KELD_PSE_PackAndResequenceBom2(tag_t top, int count, tag_t* lines, int level,
                                               int sort, tag_t* dataset);

}  // extern "C"

// The release state of one object: its statuses, its release date, its workflow tasks. Every object
// gets a status of its own. All members return 0 or the status of the first platform call that
// failed; what was done before stays done, and locks taken stay.
// `ownLock` and `refresh`: not 0, the member locks, saves and gives the lock up itself; 0, the
// caller has locked the object and will save it. No data, no virtual operation.
class CKELD_Status {
public:
    // Does nothing but return the object.
    KELD_SE_API CKELD_Status& operator=(const CKELD_Status& other);

    // The statuses that can be loaded, read anew if `refresh` isn't 0. Without any, `count` and
    // `list` keep what the caller put there.
    // Frees: the caller, HEAP_free of `list`.
    KELD_SE_API static int GetReleaseStatusTagList(tag_t object, int* count, tag_t** list,
                                                   int refresh);
    // Name of a status object.
    KELD_SE_API static int GetReleaseStatusRslTag(tag_t status, char* name /*129*/);
    // Set name and date of a status object. Kept: the date is stored only with `ownLock`.
    KELD_SE_API static int SetReleaseStatusRslTag(tag_t status, const char* name, int ownLock);
    // Make a status named "Release Status" and append it to the object. `status` is NULLTAG until
    // it is made. Leaves locked: the object, if `ownLock` is 0.
    KELD_SE_API static int CreateReleaseStatus(tag_t object, tag_t* status, int ownLock);
    // Remove all statuses of the object and delete them outright, also those that others share, and
    // take the release date away.
    KELD_SE_API static int DelReleaseStatusObj(tag_t object, int ownLock);
    // Replace the release state by one status of this name, dated now; "none" clears it.
    KELD_SE_API static int SetReleaseStatusObj(tag_t object, const char* status);
    // The same; the type is only traced.
    KELD_SE_API static int SetReleaseStatusObj(tag_t object, const char* objectType,
                                               const char* status);
    // Set the release date to now.
    KELD_SE_API static int SetRelDate(tag_t object, int ownLock);
    // Take the release date away.
    KELD_SE_API static int DelRelDate(tag_t object, int ownLock);
    // The workflow tasks that can be loaded; none is count 0.
    // Frees: the caller, HEAP_free of `list`.
    KELD_SE_API static int GetProcessStageTagList(tag_t object, int* count, tag_t** list);
    // Name of the last workflow task; without one `taskName` keeps what it held.
    KELD_SE_API static int GetProcessStageObj(tag_t object, char* taskName /*129*/);
};

// One status object, made and dated when this is constructed, that can be set on any number of
// objects; "none" means no status. A copy or assignment shares the status object. No base class, no
// virtual operation.
class CKELD_Status1 {
public:
    // The date is now, a text of the form 31.12.2026 (one that can't be read gives 1 February
    // 1970), or the one given. A name that is empty or longer than 32 characters makes no status:
    // Set then does nothing.
    KELD_SE_API CKELD_Status1(const char* status);
    KELD_SE_API CKELD_Status1(const char* status, const char* date);
    KELD_SE_API CKELD_Status1(const char* status, const date_s* date);
    CKELD_Status1(const CKELD_Status1&) = default;
    // Bytewise copy.
    KELD_SE_API CKELD_Status1& operator=(const CKELD_Status1& other);
    // Deletes the status object if nothing refers to it.
    KELD_SE_API ~CKELD_Status1();

    // Give the object this status, alone. An object that this user may not change is left as it is,
    // with an error line in the log.
    // Returns: 0 also then; else the status of the first platform call that failed.
    KELD_SE_API int Set(tag_t object);
    // Remove all statuses and the date; each status that nothing refers to any more is deleted.
    // Returns: as Set.
    KELD_SE_API int DelAllState(tag_t object);
    // Delete a status object if nothing refers to it.
    // Returns: 0, or the status of the first platform call that failed.
    KELD_SE_API int DelRelTagOnNotReferenze(tag_t status);

    // In this order: other libraries read them.
    char _cState[33];
    tag_t _tagRelState;
    date_s _dateRelease;
    tag_t _tagReleaseStatusAttribute;
    tag_t _tagReleaseDateAttribute;

private:
    int Init(const char* status);
};

// Also exported: the assignment operators of CKELD_Datum, CKELD_ParamLine and CKELD_String.
