// Job items: a job for the batch server as an item in the database. Its revision refers to the
// objects to work on, its master form says what is to be done.

#include <cstdio>
#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_entry.h"
#include "frame/keld_trace.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"

namespace {

constexpr std::size_t uiIdSize = 129;
constexpr std::size_t uiMessageSize = 1001;
constexpr int iUnknownRelationType = 2010;
constexpr int iJobStateAtCreation = 1;

// The new item; a part that isn't made yet is NULLTAG or empty.
struct JobItem {
    tag_t m_tItem = NULLTAG;
    tag_t m_tRev = NULLTAG;
    tag_t m_tRelType = NULLTAG;
    char m_szId[uiIdSize] = "";
};

// The values of the form. A text that the caller left out is empty.
struct JobValues {
    const char* m_szQueueName;
    const char* m_szTyp;
    const char* m_szUser;
    const char* m_szJobType;
    const char* m_szOptions;
    const char* m_szRelation;
    const char* m_szStatus;
    const char* m_szOwner;
    const char* m_szGroup;
    logical m_lAllTypes;
    logical m_lTarget;
};

const char* OrEmpty(const char* szText) {
    return szText != nullptr ? szText : "";
}

// Store a relation that has just been made.
int SaveRelation(tag_t tRelation) {
    int iRet = QSK_ok;
    KELD_CALL(iRet, REL_save_relation(tRelation));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_refresh(tRelation, false));
    return iRet;
}

// Make the item and lock it and its revision. Kept: a failure leaves what has been made, locks
// included.
int CreateItem(tag_t tJob, JobItem* pJob) {
    int iRet = QSK_ok;
    tag_t& item = pJob->m_tItem;
    tag_t& rev = pJob->m_tRev;
    tag_t& tRelType = pJob->m_tRelType;
    char* const job_item_id = pJob->m_szId;
    tag_t item_class_id = NULLTAG;  // kept: asked for and not used
    tag_t tRelation = NULLTAG;
    KELD_CALL(iRet, REL_find_relation_type("VANE_specification", &tRelType));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, DBO_class_id_of_class("Item", &item_class_id));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_create_item(NULL, NULL, "ORLAJob", NULL, &item, &rev));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_save(item));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ART_ask_id(item, job_item_id));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_refresh(item, true));
    if (iRet == QSK_ok && tJob != NULLTAG) {
        KELD_CALL(iRet, REL_create_relation(rev, tJob, tRelType, 0, &tRelation));
        if (iRet == QSK_ok)
            iRet = SaveRelation(tRelation);
    }
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_refresh(rev, true));
    return iRet;
}

// Refer to one target: a revision, or the latest revision of an item if there is no workflow job.
// Kept: anything else is passed over, an item whose revision can't be read too.
int LinkTarget(const JobItem& job, tag_t target, tag_t tJob) {
    logical flag = false;
    tag_t tObject = target;
    int iAsked = QSK_ok;
    KELD_CALL(iAsked, KELD_isObjectOfClass(target, "Item", &flag));
    if (iAsked == QSK_ok && tJob == NULLTAG && flag)
        KELD_CALL(iAsked, ART_ask_latest_rev(target, &tObject));
    int iRet = QSK_ok;
    flag = false;
    KELD_CALL(iRet, KELD_isObjectOfClass(tObject, "ItemRevision", &flag));
    if (iRet != QSK_ok || !flag)
        return iRet;
    const tag_t rev = job.m_tRev;
    const tag_t tRelType = job.m_tRelType;
    tag_t tRelation = NULLTAG;
    KELD_CALL(iRet, REL_create_relation(rev, tObject, tRelType, 0, &tRelation));
    if (iRet == QSK_ok)
        iRet = SaveRelation(tRelation);
    return iRet;
}

// Write the values into the locked form, up to the first failure.
int SetValues(tag_t form, const JobValues& values) {
    int iRet = QSK_ok;
    KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_queuename_c, values.m_szQueueName));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_type_c, values.m_szTyp));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_user_c, values.m_szUser));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_jobtype_c, values.m_szJobType));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_options_c, values.m_szOptions));
    if (iRet == QSK_ok)
        KELD_CALL(iRet,
                  OBJ_set_value_string(form, KELD_JOB_m_attr_relation_c, values.m_szRelation));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_status_c, values.m_szStatus));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_owner_c, values.m_szOwner));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_string(form, KELD_JOB_m_attr_group_c, values.m_szGroup));
    if (iRet == QSK_ok)
        KELD_CALL(iRet,
                  OBJ_set_value_logical(form, KELD_JOB_m_attr_alltypes_c, values.m_lAllTypes));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_logical(form, KELD_JOB_m_attr_target_c, values.m_lTarget));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_set_value_int(form, KELD_JOB_m_attr_job_state_c, iJobStateAtCreation));
    return iRet;
}

// Fill and store the master form. After a failure it is unlocked and dropped from the session,
// unless only giving up the lock failed.
int FillForm(tag_t* master_objects, const JobValues& values) {
    int iRet = QSK_ok;
    KELD_CALL(iRet, OBJ_load(master_objects[0]));
    if (iRet != QSK_ok) {
        (void)OBJ_unload(master_objects[0]);  // the first failure is the one that counts
        return iRet;
    }
    KELD_CALL(iRet, OBJ_refresh(master_objects[0], true));
    if (iRet == QSK_ok)
        iRet = SetValues(master_objects[0], values);
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_save(master_objects[0]));
    if (iRet != QSK_ok) {
        (void)OBJ_refresh(master_objects[0], false);
        (void)OBJ_unload(master_objects[0]);
        return iRet;
    }
    KELD_CALL(iRet, OBJ_refresh(master_objects[0], false));
    return iRet;
}

// Delete a job item whose form couldn't be filled. A failure here is only logged.
void DeleteItem(const JobItem& job) {
    int iRet = QSK_ok;
    const tag_t item = job.m_tItem;
    const char* const job_item_id = job.m_szId;
    KELD_CALL(iRet, OBJ_refresh(item, true));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, OBJ_delete(item));
    if (iRet == QSK_ok)
        KELD_CALL(iRet, ERR_store_error_s1(3, 919400, job_item_id));
}

// Tell that master forms can't be found. Kept: the message names the client's relation.
int RefuseRelationType(const char* szRelation) {
    if (szRelation == nullptr)
        szRelation = "(null)";
    char buffer[uiMessageSize] = "";
    const std::string sText = std::string("Unknown relation type ") + szRelation + "\n";
    std::fprintf(stderr, "ERROR: unknown relation type %s\n", szRelation);
    KELD_CopyText(buffer, sText.c_str(), "buffer");
    int iStored = QSK_ok;
    KELD_CALL(iStored, ERR_store_error_s1(3, 2010, buffer));
    return iUnknownRelationType;
}

// Find the master form and fill it; a job item that can't be filled is deleted again. Kept: without
// a form the status is 0, and item and revision stay locked.
int FinishItem(const JobItem& job, const JobValues& values, const char* szRelation) {
    int iRet = QSK_ok;
    const tag_t item = job.m_tItem;
    const tag_t rev = job.m_tRev;
    tag_t relTag = NULLTAG;
    KELD_CALL(iRet, REL_find_relation_type("VANE_master_form", &relTag));
    if (iRet != QSK_ok)
        return iRet;
    if (relTag == NULLTAG)
        return RefuseRelationType(szRelation);
    int master_count = 0;
    tag_t* master_objects = nullptr;
    KELD_CALL(iRet, REL_list_secondary_objects_only(item, relTag, &master_count, &master_objects));
    if (iRet != QSK_ok || master_count < 1 || master_objects == nullptr)
        return iRet;
    const int iForm = FillForm(master_objects, values);
    HEAP_free(master_objects);
    if (iForm != QSK_ok) {
        DeleteItem(job);
        return iForm;
    }
    // Kept: both are unlocked, and the status of the second one counts.
    KELD_CALL(iRet, OBJ_refresh(rev, false));
    KELD_CALL(iRet, OBJ_refresh(item, false));
    return iRet;
}

}  // namespace

int KELD_createJobItem(int iObjectCount, const tag_t* tObjectList, tag_t tJob,
                       const char* szQueueName, const char* szTyp, logical lAllTypes,
                       logical lTarget, const char* szRelation, const char* szJobType,
                       const char* szOptions, const char* szUser, const char* szStatus,
                       const char* szOwner, const char* szGroup) {
    return KELD_Entry([&] {
        KELD_FUNC_ENTER("KELD_createJobItem");
        const JobValues values = {OrEmpty(szQueueName),
                                  OrEmpty(szTyp),
                                  OrEmpty(szUser),
                                  OrEmpty(szJobType),
                                  OrEmpty(szOptions),
                                  OrEmpty(szRelation),
                                  OrEmpty(szStatus),
                                  OrEmpty(szOwner),
                                  OrEmpty(szGroup),
                                  lAllTypes,
                                  lTarget};
        JobItem job;
        int iRet = CreateItem(tJob, &job);
        for (int i = 0; i < iObjectCount && tObjectList != nullptr && iRet == QSK_ok; ++i) {
            KELD_TRACE("\n\nLoop-nr. <%d> over the targets (iObjectCount = <%d>)\n", i,
                       iObjectCount);
            iRet = LinkTarget(job, tObjectList[i], tJob);
        }
        if (iRet == QSK_ok)
            iRet = FinishItem(job, values, szRelation);
        KELD_FUNC_LEAVE("KELD_createJobItem");
        return iRet;
    });
}
