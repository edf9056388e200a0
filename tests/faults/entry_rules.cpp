#include "tests/faults/entry_rules.h"

namespace faults {

const Rules& entryRules() {
    static const Rules rules = {
        // ---- status primitives: what can't be loaded counts as an empty list ----
        {"LoadReferences", "", "DBO_ask_attr_tags DBO_load_instances_possible"},
        {"CKELD_Status::GetReleaseStatusTagList", "OBJ_refresh DBO_attr_id_of_attr",
         "DBO_length_of_attr"},
        {"CKELD_Status::GetReleaseStatusRslTag",
         "DBO_class_of_instance DBO_name_of_class DBO_attr_id_of_attr "
         "DBO_refresh_instances_any_class DBO_ask_attr_string",
         ""},
        {"CKELD_Status::SetReleaseStatusRslTag",
         "DBO_attr_id_of_attr DBO_refresh_instances_any_class DBO_set_attr_string "
         "DBO_save_instances CKELD_Status::SetRelDate",
         ""},
        {"CKELD_Status::CreateReleaseStatus",
         "OBJ_refresh DBO_attr_id_of_attr RLS_create_release_status DBO_append_attr_tags "
         "DBO_save_instances OBJ_save",
         ""},
        {"CKELD_Status::DelReleaseStatusObj",
         "CKELD_Status::GetReleaseStatusTagList OBJ_refresh DBO_refresh_instances_any_class "
         "DBO_attr_id_of_attr DBO_remove_from_attr DBO_save_instances DBO_delete_instances "
         "CKELD_Status::DelRelDate OBJ_save",
         ""},
        // If old statuses can't be removed, the object still gets the new one. A status that can't
        // be named keeps the name with which it was made.
        {"CKELD_Status::SetReleaseStatusObj",
         "DBO_class_of_instance DBO_name_of_class OBJ_refresh CKELD_Status::CreateReleaseStatus "
         "CKELD_Status::SetRelDate DST_save_myself OBJ_save CKELD_Status::SetReleaseStatusObj",
         "CKELD_Status::DelReleaseStatusObj CKELD_Status::SetReleaseStatusRslTag"},
        {"CKELD_Status::SetRelDate", "OBJ_refresh DBO_attr_id_of_attr DBO_set_attr_date OBJ_save",
         ""},
        {"CKELD_Status::DelRelDate", "OBJ_refresh DBO_attr_id_of_attr DBO_set_attr_null OBJ_save",
         ""},
        {"CKELD_Status::GetProcessStageTagList", "DBO_attr_id_of_attr DBO_length_of_attr", ""},
        {"CKELD_Status::GetProcessStageObj",
         "DBO_class_of_instance DBO_name_of_class FLOW_ask_name",
         "DBO_class_id_of_class CKELD_Status::GetProcessStageTagList"},

        // ---- diagnostic services ----
        {"KELD_SrvCall", "", "SVCARG_get_int_argument SVCARG_get_string_argument"},
        {"KELD_SrvCallGetEnv", "SVCARG_get_string_argument", ""},
    };
    return rules;
}

}  // namespace faults
