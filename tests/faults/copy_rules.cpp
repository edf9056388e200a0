#include "tests/faults/copy_rules.h"

namespace faults {

const Rules& copyRules() {
    static const Rules rules = {
        {"KELD_CopyAttr",
         "SVCARG_get_tag_argument SVCARG_get_tag_array_argument ReadCopyAttrPref CopyPair", ""},

        // ---- the lists: the last line alone decides, see the sweep ----
        {"ReadCopyAttrPref", "CheckAttribute KELD_add_relation_combination",
         "KELD_GetPreferenceArray"},
        {"CheckAttribute", "MVTYPE_find_type MVTYPE_ask_property_by_name", "ERR_store_error_s1"},
        {"KELD_add_relation_combination", "FindWay", "FindBaseTypes FindObjectTypes KindOfPrimary"},
        {"FindBaseTypes", "MVTYPE_find_type", ""},
        {"FindObjectTypes", "MVTYPE_find_type", "ERR_store_error_s1"},
        {"KindOfPrimary", "", "MVTYPE_ask_subtypes"},
        {"FindWay", "REL_find_relation_type", "ERR_store_error"},

        // ---- the walk: the questions before the lock leave the answer to the lock ----
        {"CopyPair",
         "CopyValues CopyPair REL_list_secondary_objects_only ENT_ask_object_type ENT_ask_name "
         "ART_ask_rev_id ART_find_revision ART_ask_latest_rev ART_list_all_revs "
         "DST_ask_all_dataset_named_refs KELD_isObjectOfClass",
         "TakesValues IsWorkspaceObject"},
        {"TakesValues", "OBJ_refresh ENT_ask_object_type OBJ_get_value_tag OBJ_ask_value_logical",
         ""},
        {"IsWorkspaceObject", "KELD_isObjectOfClass", ""},
        {"CopyValues", "OBJ_refresh OBJ_UIF_ask_value OBJ_UIF_set_value OBJ_save", ""},
    };
    return rules;
}

}  // namespace faults
