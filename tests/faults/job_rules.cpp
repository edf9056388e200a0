#include "tests/faults/job_rules.h"

namespace faults {

const Rules& jobRules() {
    static const Rules rules = {
        // ---- job files: the service ----
        {"KELD_SrvCallCRJFromPortal",
         "ReadRequest SVCARG_get_tag_array_argument ExpandTargets KELD_fct_CRJ_from_portal", ""},
        {"ReadRequest",
         "ReadTypesAndDestination ReadJobTexts ReadAllTypes ReadRelationTypes ReadProgram", ""},
        // A read that failed leaves its argument for the next one, see the sweep.
        {"ReadTypesAndDestination", "", "SVCARG_get_string_argument"},
        {"ReadJobTexts", "SVCARG_get_string_argument", ""},
        {"ReadAllTypes", "SVCARG_get_string_argument", ""},
        {"ReadRelationTypes", "SVCARG_get_string_argument ResolveRelationTypes", ""},
        {"ReadProgram", "SVCARG_get_string_argument", ""},
        {"ResolveRelationTypes", "FindRelationType", ""},
        {"FindRelationType", "REL_find_relation_type", ""},
        {"StoreRefusal", "", "ERR_store_error_s1"},
        // Of the ids that are asked for only the last one counts, see the sweep.
        {"ExpandTargets", "KELD_isObjectOfTypeExt ENT_ask_id_string", "ART_ask_latest_rev", "",
         "KELD_isObjectOfTypeExt"},

        // ---- job files: the writer ----
        {"KELD_fct_CRJ_from_portal", "FindGroup KELD_WriteJobTarget",
         "KELD_buildDirName FindIdentity"},
        {"TraceTargets", "", "ENT_ask_id_string"},
        {"KELD_buildDirName", "DBO_get_user_id", ""},
        {"FindIdentity", "", "DBO_get_user ORG_ask_user_identifier ORG_ask_user_person AskPerson"},
        {"AskPerson", "ORG_ask_person_attr", ""},
        {"FindGroup", "KELD_getGroupFullName",
         "ORG_ask_current_groupmember ORG_ask_groupmember_group"},
        {"KELD_getGroupFullName", "ORG_ask_group_name ORG_ask_group_parent", ""},
        {"KELD_WriteJobTarget", "KELD_isObjectOfClass ListAttachments AskIds WriteType", "", "",
         "KELD_isObjectOfClass"},
        {"ListAttachments", "REL_list_secondary_objects", ""},
        {"AskIds", "ART_ask_item_of_rev ART_ask_id ART_ask_rev_id", ""},
        // Without a name no file can be opened.
        {"NextFileName", "KELD_buildFileNameNew", ""},
        {"WriteType", "TryAttachment WriteItemJob", "", "NextFileName=2010", "NextFileName"},
        {"WriteItemJob", "ART_ask_name", "ENT_ask_object_type", "NextFileName=2010",
         "NextFileName"},
        {"TryAttachment", "KELD_isObjectOfClass ENT_ask_object_type WriteAttachment", "", "",
         "KELD_isObjectOfClass"},
        {"WriteAttachment", "KELD_MVTYPE_ask_name", "ENT_ask_name", "NextFileName=2010",
         "NextFileName"},
        {"KELD_write_bom_infos", "",
         "ART_rev_list_bom_view_revs STR_list_occurrences_of_bvr ENT_ask_object_type ENT_ask_name"},
        {"KELD_OpenJobFile", "", "ERR_store_error_s1"},

        // ---- job item ----
        {"KELD_SrvCallCRIFromPortal",
         "SVCARG_get_string_argument SVCARG_get_tag_array_argument KELD_createJobItem",
         "ERR_store_error"},
        {"KELD_createJobItem", "CreateItem LinkTarget FinishItem", ""},
        {"CreateItem",
         "REL_find_relation_type DBO_class_id_of_class ART_create_item OBJ_save ART_ask_id "
         "OBJ_refresh REL_create_relation SaveRelation",
         ""},
        {"SaveRelation", "REL_save_relation OBJ_refresh", ""},
        // The first question for the class is dropped, see the sweep.
        {"LinkTarget", "KELD_isObjectOfClass REL_create_relation SaveRelation",
         "ART_ask_latest_rev"},
        // Of the unlocking calls the last one's status counts.
        {"FinishItem",
         "REL_find_relation_type REL_list_secondary_objects_only FillForm OBJ_refresh", ""},
        {"RefuseRelationType", "", "ERR_store_error_s1"},
        {"FillForm", "OBJ_load OBJ_refresh SetValues OBJ_save", "OBJ_unload"},
        {"SetValues", "OBJ_set_value_string OBJ_set_value_logical OBJ_set_value_int", ""},
        {"DeleteItem", "", "OBJ_refresh OBJ_delete ERR_store_error_s1"},
    };
    return rules;
}

}  // namespace faults
