#include "tests/faults/rules.h"

namespace faults {

// A failed call of libkeld_qsktool counts as a failed platform call: it gives the status of the
// call that failed inside. Texts that the trace asks for are for the log only.
const Rules& supportRules() {
    static const Rules rules = {
        {"KELD_ReportLastQskError", "", "ERR_ask_stack ERR_ask_error_text"},
        {"KELD_TraceCallLeave", "", "ERR_ask_error_text"},

        {"KELD_isObjectOfClass", "DBO_class_of_instance DBO_name_of_class MVTYPE_find_type", ""},
        {"KELD_isObjectOfTypeExt", "ENT_ask_object_type MVTYPE_find_type MVTYPE_ask_subtypes", ""},
        {"KELD_MVTYPE_ask_name", "MVTYPE_ask_name", ""},
        {"KELD_ART_find_item", "ART_find_item", ""},
        {"KELD_GetMasterForm",
         "REL_find_relation_type REL_list_secondary_objects_only KELD_isObjectOfClass", ""},
        {"KELD_GetNamedRefForm", "DST_ask_all_dataset_named_refs KELD_isObjectOfClass OBJ_load",
         ""},
        {"KELD_SHEET_ask_value", "OBJ_UIF_ask_value", ""},
        {"KELD_ask_latest_status",
         "DBO_attr_id_of_attr DBO_length_of_attr DBO_ask_attr_tags DBO_load_instances_possible "
         "DBO_ask_attr_string",
         ""},
        // It gives no status: a question that fails is answered with no, and the caller's rule says
        // what follows.
        {"KELD_TestModifiableAndNotCheckout", "OBJ_ask_if_modifiable CKO_is_checked_out", ""},
        {"KELD_isItemReplica", "OBJ_get_value_tag", ""},
        {"KELD_GetPreferenceArray", "OPT_ask_char_values", ""},
        {"KELD_GetPreferenceValue", "OPT_ask_char_value", ""},
        {"KELD_get_string_pref", "KELD_GetPreferenceValue", ""},
        {"KELD_get_logical_pref", "OPT_ask_char_value", ""},
        {"KELD_buildFileNameNew", "ENT_ask_id_string", ""},
    };
    return rules;
}

}  // namespace faults
