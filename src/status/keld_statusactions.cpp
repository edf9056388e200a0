// The steps of the attribute pass and the action pass on one object.

#include <cstring>
#include <string>

#include "frame/keld_copytext.h"
#include "frame/keld_trace.h"
#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "platform/mv_rls.h"
#include "status/keld_statusconfig.h"
#include "status/keld_statusmanager1.h"

namespace {

struct FormValueKey {
    const char* m_szKey;
    const char* m_szType;
};

// Kept: the names mislead. SetActRevId gives the group, SetActGroup a property of the object.
constexpr FormValueKey FormValueKeys[] = {
    {"SetDefault", "Value"},    {"SetActUserId", "UserId"},      {"SetActUserName", "UserName"},
    {"SetActDate", "Str_Date"}, {"SetActDateDate", "Date_Date"}, {"Del_Date", "Del_Date"},
    {"SetActRevId", "Group"},   {"SetActGroup", "Prop"},
};

// Whole seconds since 1970, kept as 32 bits.
int SecondsNow() {
    constexpr std::int64_t llTicksPerSecond = 10000000;
    constexpr std::int64_t llFrom1601To1970 = 11644473600;
    return static_cast<int>(keld_os::WallClock() / llTicksPerSecond - llFrom1601To1970);
}

}  // namespace

// Set the status that the section names. The run shares one status object for each of its first two
// names; any further name gets one for each object.
int CKELD_StatusManager::SetReleaseState(const char* section, tag_t object) {
    const std::string sNewStatus = KELD_ReadConfigText(section, "SetReleaseState");
    const char* const newStatus = sNewStatus.c_str();
    if (sNewStatus.empty())
        return QSK_ok;
    if (m_pStatus1 == nullptr)
        m_pStatus1 = new CKELD_Status1(newStatus);
    if (std::strcmp(m_pStatus1->_cState, newStatus) == 0) {
        KELD_QSK_CALL(m_pStatus1->Set(object));
        return QSK_ok;
    }
    if (m_pStatus2 == nullptr)
        m_pStatus2 = new CKELD_Status1(newStatus);
    if (std::strcmp(m_pStatus2->_cState, newStatus) == 0) {
        KELD_QSK_CALL(m_pStatus2->Set(object));
        return QSK_ok;
    }
    // Kept: a name too long for a status comes here too; it never equals that of a prepared one.
    KELD_WARNING("More As 2 ReleaseState define in Prozess");
    CKELD_Status1 status(newStatus);
    (void)status.Set(object);  // a failure stops nothing here
    return QSK_ok;
}

// Fill the forms that the section names.
int CKELD_StatusManager::SetAttributes(const char* section, tag_t object) {
    tag_t tClass = NULLTAG;
    KELD_QSK_CALL(DBO_class_of_instance(object, &tClass));
    char* className = nullptr;
    KELD_QSK_CALL(DBO_name_of_class(tClass, &className));
    // Kept: compared by name, so objects of classes below these are passed over.
    const std::string sClass = className != nullptr ? className : "";
    const bool bItem = sClass == "Item" || sClass == "ItemRevision";
    const bool bDataset = sClass == "Dataset";
    const std::string sForms = KELD_ReadConfigText(section, "SetAttributes");
    std::string sEntry;
    for (int i = 0; KELD_GetListEntry(sForms, ';', i, &sEntry); ++i) {
        const char* const entry = sEntry.c_str();
        tag_t form = NULLTAG;
        if (bItem) {
            if (sEntry != "MasterForm") {
                KELD_WARNING("Form:%s not supported\n", entry);
                continue;
            }
            KELD_QSK_CALL(KELD_GetMasterForm(object, &form));
        } else if (bDataset) {
            (void)KELD_GetNamedRefForm(object, entry, &form, true, nullptr);
            if (form == NULLTAG) {
                KELD_ERROR("NamedRefForm:%s not found and cant create\n", entry);
                continue;
            }
        } else {
            continue;
        }
        const std::string sFormSection = KELD_FormSection(section, entry);
        const char* const formSection = sFormSection.c_str();
        KELD_QSK_CALL(SetDefaultValuesByForm1(formSection, object, form));
    }
    HEAP_free(className);
    return QSK_ok;
}

// Put the values of a form section on a form.
int CKELD_StatusManager::SetDefaultValuesByForm1(const char* formSection, tag_t object,
                                                 tag_t form) {
    KELD_DEBUG("SetDefaultValuesByForm1");
    KELD_QSK_CALL(OBJ_refresh(form, true));
    for (const FormValueKey& key : FormValueKeys) {
        // Kept: statuses are dropped, so that a list that fails keeps no other from being applied.
        std::string sValue = KELD_ReadConfigText(formSection, key.m_szKey);
        (void)KELD_SetFormValue_byType(form, object, sValue.c_str(), key.m_szType, false);
        const std::string sOnEmpty = std::string(key.m_szKey) + "OnEmpty";
        sValue = KELD_ReadConfigText(formSection, sOnEmpty.c_str());
        (void)KELD_SetFormValue_byType(form, object, sValue.c_str(), key.m_szType, true);
    }
    KELD_QSK_CALL(OBJ_save(form));
    KELD_QSK_CALL(OBJ_unlock(form));
    return QSK_ok;
}

// Delete the related datasets that the section names. Kept: a relation that the platform doesn't
// know means all relations, and a failure leaves the object locked.
int CKELD_StatusManager::DeleteDatasets(const char* section, tag_t object) {
    const std::string sList = KELD_ReadConfigText(section, "DeleteDatasets");
    std::string sEntry;
    for (int iEntry = 0; KELD_GetListEntry(sList, ';', iEntry, &sEntry); ++iEntry) {
        const std::string sRelation = KELD_ListEntry(sEntry, '.', 0);
        const std::string sType = KELD_ListEntry(sEntry, '.', 1);
        tag_t relationType = NULLTAG;
        int count = 0;
        rel_entry_s* relations = nullptr;
        KELD_QSK_CALL(OBJ_lock(object));
        KELD_QSK_CALL(REL_find_relation_type(sRelation.c_str(), &relationType));
        KELD_QSK_CALL(REL_list_secondary_objects(object, relationType, &count, &relations));
        for (int i = 0; i < count; ++i) {
            const tag_t secondary = relations[i].secondary;
            if (sType == "*") {
                KELD_DEBUG("Delete Dateset %d\n", i);
            } else {
                if (!KELD_HasObjectType(secondary, sType))
                    continue;
                KELD_DEBUG("Delete Dateset %d %s\n", i, sType.c_str());
            }
            (void)DeleteDataset(relations[i].relation, secondary);  // the next one is tried too
        }
        HEAP_free(relations);
        KELD_QSK_CALL(OBJ_unlock(object));
    }
    return QSK_ok;
}

// Delete a dataset with all its versions.
int CKELD_StatusManager::DeleteDataset(tag_t relation, tag_t dataset) {
    KELD_QSK_CALL(REL_delete_relation(relation));
    (void)OBJ_unload(dataset);  // one that isn't loaded can be deleted as well
    KELD_QSK_CALL(DST_delete_all_dataset_revs(dataset));
    return QSK_ok;
}

// Start the workflow that the section names. Kept: two jobs of one second have the same name.
int CKELD_StatusManager::StartJob(tag_t object, const char* section) {
    const std::string sTemplate = KELD_ReadConfigText(section, "StartJob");
    if (sTemplate.empty())
        return QSK_ok;
    const std::string sPrefix = KELD_ReadConfigText(section, "JobPrefix", "STATMGR_");
    char jobName[100] = "";
    KELD_CopyText(jobName, (sPrefix + std::to_string(SecondsNow())).c_str(), "job name");
    KELD_TRACE("Job name <%s>\n", jobName);
    tag_t processTemplate = NULLTAG;
    tag_t job = NULLTAG;
    const int attachTypes[] = {1};
    KELD_QSK_CALL(FLOW_find_process_template(sTemplate.c_str(), &processTemplate));
    KELD_QSK_CALL(
        FLOW_create_process(jobName, section, processTemplate, 1, &object, attachTypes, &job));
    KELD_QSK_CALL(RLS_refresh_job(job));
    return QSK_ok;
}
