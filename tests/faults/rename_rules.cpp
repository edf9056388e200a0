#include "tests/faults/rename_rules.h"

namespace faults {

const Rules& renameRules() {
    static const Rules rules = {
        // ---- the entries ----
        // Reads aren't checked. An argument that can't be read is empty and stays in the stream, so
        // later ones have the wrong kind. Without the item the first question about it fails.
        {"KELD_ReNameItem",
         "KELD_isItemReplica CKELD_ReName::CheckItemIdRegistry CKELD_ReName::RenameItem "
         "CKELD_ReName::UnregisterOldItemId",
         "ERR_store_error ART_ask_id CKELD_ReName::LoadRenameProfile",
         "SVCARG_get_string_argument=710003 SVCARG_get_tag_argument=710003"},
        // Without a revision argument the first revision is taken; without an action, a test pass.
        {"KELD_ReNameItemExtended",
         "CKELD_ReName::CheckItemIdRegistry CKELD_ReName::RenameItemExtended "
         "CKELD_ReName::UnregisterOldItemId",
         "SVCARG_get_int_argument SVCARG_get_tag_argument<SVCARG_get_tag_argument "
         "CKELD_ReName::LoadRenameProfile",
         "SVCARG_get_string_argument=710003 SVCARG_get_tag_argument=710003"},
        {"KELD_BatchReName",
         "KELD_ART_find_item ART_find_revision ENT_describe CKELD_ReName::RenameItem "
         "CKELD_ReName::RenameItemExtended",
         ""},
        {"CKELD_ReName::LoadRenameProfile", "", "KELD_GetPreferenceArray"},

        // ---- the registry ----
        {"CKELD_ReName::CheckItemIdRegistry",
         "OBJ_ask_value_string KELD_get_logical_pref KELD_get_string_pref ORG_find_site "
         "ORG_ask_site_info ART_ask_id REG_is_item_id_registered DBO_ask_group "
         "ACL_check_privilege REG_register_item_id",
         "ERR_store_error ERR_store_error_s1"},
        {"CKELD_ReName::UnregisterOldItemId",
         "KELD_get_logical_pref KELD_get_string_pref ORG_find_site REG_is_item_id_registered "
         "KELD_ART_find_item REG_unregister_item_id",
         ""},

        // ---- the walk ----
        {"CKELD_ReName::RenameItem", "CKELD_ReName::RenameItemTreeCombined", ""},
        {"CKELD_ReName::RenameItemExtended", "CKELD_ReName::RenameItemTreeCombined",
         "ERR_store_error"},
        {"CKELD_ReName::RenameItemTreeCombined",
         "ART_ask_id ENT_ask_name ENT_ask_description ENT_ask_object_type ART_list_all_revs "
         "ART_ask_rev_id CKELD_ReName::ChangeItemInfos CKELD_ReName::SaveOldItemIdToAttribute "
         "REL_list_secondary_objects CKELD_ReName::ProcessRelatedObj ART_list_bom_views "
         "CKELD_ReName::RenameObj CKELD_ReName::CheckRevisionStatuses ENT_ask_object_id_string "
         "CKELD_ReName::ChangeRevInfos CKELD_ReName::StartWorkflow",
         "ERR_store_error", "KELD_TestModifiableAndNotCheckout=919342"},
        {"CKELD_ReName::ChangeItemInfos",
         "DBO_attr_id_of_attr OBJ_refresh-lock DBO_set_attr_string ENT_set_name "
         "ENT_set_description OBJ_save",
         "OBJ_refresh-unlock"},
        {"CKELD_ReName::ChangeRevInfos",
         "KELD_ask_latest_status ENT_ask_name ENT_ask_description OBJ_refresh-lock ART_set_rev_id "
         "ENT_set_name ENT_set_description OBJ_save REL_list_secondary_objects "
         "CKELD_ReName::ProcessRelatedObj ART_rev_list_bom_view_revs CKELD_ReName::RenameObj "
         "CKELD_ReName::RenameObjExtended",
         "OBJ_refresh-unlock ERR_store_error", "KELD_TestModifiableAndNotCheckout=919342"},
        {"CKELD_ReName::CheckRevisionStatuses", "ENT_ask_object_id_string KELD_ask_latest_status",
         "ERR_store_error", "KELD_TestModifiableAndNotCheckout=919342"},

        // ---- related objects ----
        {"CKELD_ReName::ProcessRelatedObj",
         "KELD_MVTYPE_ask_name KELD_isObjectOfClass ENT_ask_id_string ENT_ask_object_type "
         "CKELD_ReName::RenameObj CKELD_ReName::RenameObjExtended CKELD_ReName::ChangeIcoId "
         "CKELD_ReName::RenameNamedRef ERR_set_protect_mark DST_ask_dataset_prev_rev "
         "ERR_clear_errors OBJ_refresh ENT_set_name DST_save_myself",
         "ERR_store_error ERR_clear_protect_mark CKELD_ReName::IgnoreNoWriteAccess",
         "KELD_TestModifiableAndNotCheckout=919342"},
        {"CKELD_ReName::IgnoreNoWriteAccess", "", "ENT_ask_object_type"},
        {"CKELD_ReName::RenameObj",
         "OBJ_refresh ENT_ask_object_type ENT_set_name ENT_ask_description ENT_set_description "
         "KELD_isObjectOfClass DST_save_myself OBJ_save",
         "ENT_ask_name"},
        {"CKELD_ReName::RenameObjExtended",
         "OBJ_refresh ENT_ask_object_type ENT_set_name ENT_ask_description ENT_set_description "
         "KELD_isObjectOfClass DST_save_myself OBJ_save",
         "ENT_ask_name"},
        {"CKELD_ReName::RenameNamedRef",
         "ENT_ask_object_type DST_ask_dataset_ref_count DST_find_dataset_named_ref "
         "KELD_isObjectOfClass FIL_ask_original_file_name OBJ_lock FIL_set_original_file_name "
         "ENT_ask_name ENT_set_name OBJ_save OBJ_refresh",
         ""},
        {"CKELD_ReName::ChangeIcoId",
         "DBO_attr_id_of_attr CLF_ask_classification_object_id "
         "DBO_refresh_instances_any_class-lock DBO_set_attr_string DBO_save_instances",
         "DBO_refresh_instances_any_class-unlock"},

        // ---- follow-ups ----
        {"CKELD_ReName::SaveOldItemIdToAttribute",
         "ENT_ask_object_type KELD_GetMasterForm OBJ_refresh OBJ_ask_value_string "
         "OBJ_set_value_string OBJ_save",
         ""},
        // A job that can't be refreshed is deleted again; if that works, it is no failure.
        {"CKELD_ReName::StartWorkflow",
         "ENT_ask_object_type ENT_ask_name OBJ_ask_value_tags FLOW_find_process_template "
         "FLOW_create_process OBJ_delete",
         "RLS_refresh_job"},
    };
    return rules;
}

}  // namespace faults
