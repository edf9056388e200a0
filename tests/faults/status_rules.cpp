#include "tests/faults/status_rules.h"

namespace faults {

const Rules& statusRules() {
    static const Rules rules = {
        // ---- the service: its own status is 0, the run's is in the slot ----
        {"KELD_StatusManager", "KELD_StatusManager_ManageStatus", ""},
        // Unread arguments are empty values: no type is configured then, or there is no object. A
        // read that failed takes nothing from the stream, so the next one gets the wrong text.
        {"KELD_StatusManager", "", "",
         "SVCARG_get_string_argument=919402 SVCARG_get_tag_argument=710003"},
        {"KELD_StatusManager_ManageStatus", "CKELD_StatusManager::ManageStatus", ""},
        {"CKELD_StatusManager::ManageStatus", "CKELD_StatusManager::Process",
         "ACL__set_application_bypass CKELD_StatusManager::~CKELD_StatusManager"},
        {"CKELD_StatusManager::~CKELD_StatusManager", "", "CKELD_Status1::~CKELD_Status1"},

        // ---- the walk ----
        {"CKELD_StatusManager::Process",
         "KELD_ask_latest_status CKO_is_checked_out ACL_check_privilege ENT_ask_name "
         "CKELD_StatusManager::CheckNeedFields CKELD_StatusManager::ChangeRel "
         "DST_purge_dataset_revs CKELD_Status1::Set",
         "CKELD_StatusManager::SetAttributes CKELD_StatusManager::DeleteDatasets "
         "CKELD_StatusManager::StartJob CKELD_Status1::CKELD_Status1 CKELD_Status1::~CKELD_Status1",
         "CKO_assert_object_modifiable=919401"},
        {"CKELD_StatusManager::ChangeRel",
         "ART_ask_latest_rev ART_ask_item_of_rev ART_list_all_revs ART_rev_list_bom_view_revs "
         "LINE_ask_child_lines LINE_look_up_attribute LINE_ask_attribute_tag ENT_ask_object_type "
         "REL_find_relation_type REL_list_secondary_objects CKELD_StatusManager::Process",
         "KELD_HasObjectType"},
        // Whether a related object has the type of the entry; if that can't be asked, the object is
        // skipped.
        {"KELD_HasObjectType", "", "ENT_ask_object_type"},

        // ---- what is done to one object ----
        {"CKELD_StatusManager::CheckNeedFields",
         "KELD_GetMasterForm OBJ_refresh KELD_SHEET_ask_value", ""},
        {"CKELD_StatusManager::SetAttributes",
         "DBO_class_of_instance DBO_name_of_class KELD_GetMasterForm "
         "CKELD_StatusManager::SetDefaultValuesByForm1",
         "KELD_GetNamedRefForm"},
        {"CKELD_StatusManager::SetDefaultValuesByForm1", "OBJ_refresh OBJ_save OBJ_unlock",
         "KELD_SetFormValue_byType"},
        {"OBJ_unlock", "OBJ_refresh", ""},
        {"CKELD_StatusManager::DeleteDatasets",
         "OBJ_lock REL_find_relation_type REL_list_secondary_objects OBJ_unlock",
         "KELD_HasObjectType CKELD_StatusManager::DeleteDataset"},
        {"CKELD_StatusManager::DeleteDataset", "REL_delete_relation DST_delete_all_dataset_revs",
         "OBJ_unload"},
        {"CKELD_StatusManager::StartJob",
         "FLOW_find_process_template FLOW_create_process RLS_refresh_job", ""},
        {"KELD_SetFormValue_byType",
         "OBJ_UIF_ask_value OBJ_UIF_set_value OBJ_set_value_date DBO_get_user_id DBO_get_user "
         "DBO_ask_group TIME_date_to_string SHEET_ask_prop_names",
         ""},

        // ---- a prepared status ----
        {"CKELD_Status1::CKELD_Status1", "", "TIME_string_to_date CKELD_Status1::Init"},
        {"CKELD_Status1::~CKELD_Status1", "", "CKELD_Status1::DelRelTagOnNotReferenze"},
        {"CKELD_Status1::Init",
         "DBO_attr_id_of_attr RLS_create_release_status DBO_set_attr_string DBO_set_attr_date "
         "DBO_save_instances DBO_refresh_instances_any_class",
         ""},
        {"CKELD_Status1::Set",
         "OBJ_ask_if_modifiable DBO_refresh_instances_any_class DBO_append_attr_tags "
         "DBO_set_attr_date DBO_save_instances",
         "CKELD_Status1::DelAllState"},
        {"CKELD_Status1::DelAllState",
         "DBO_refresh_instances_any_class DBO_length_of_attr OBJ_ask_if_modifiable "
         "DBO_ask_attr_tags DBO_load_instances_possible DBO_remove_from_attr DBO_set_attr_null "
         "DBO_save_instances",
         "CKELD_Status1::DelRelTagOnNotReferenze"},
        {"CKELD_Status1::DelRelTagOnNotReferenze",
         "DBO_referencers_of_instance DBO_delete_instances", ""},
    };
    return rules;
}

}  // namespace faults
