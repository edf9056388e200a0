#include "tests/faults/delete_rules.h"

namespace faults {

// A question that fails prevents the go-ahead; only that for a name in a refusal's text may fail.
const Rules& deleteRules() {
    static const Rules rules = {
        {"KELD_DeleteDeluxe",
         "SVCARG_get_tag_array_argument KELD_GetPreferenceValue KELD_GetPreferenceArray "
         "KELD_isObjectOfClass OBJ_ask_value_string DIR_ask_size REL_find_relation_type "
         "REL_list_primary_objects_only REL_list_primary_objects STR_where_used_all "
         "DBO_get_user_id DST_ask_dataset DBO_is_cached DST_ask_dataset_named_refs "
         "FIL_ask_original_file_name FIL_export_file TIME_date_to_string",
         "OBJ_UIF_ask_value ERR_store_error_s1 KELD_IsLocPrefCacheDisabled"},
    };
    return rules;
}

}  // namespace faults
