#include "tests/faults/bom_rules.h"

namespace faults {

const Rules& bomRules() {
    static const Rules rules = {
        // A client sees only failures of arguments; the service's leave line is missing then.
        {"KELD_PSE_PackAndResequenceBom",
         "SVCARG_get_tag_argument SVCARG_get_tag_array_argument SVCARG_get_int_argument", "", "",
         "*"},
        {"KELD_PSE_PackAndResequenceBom2", "", ""},
        {"ACPackAndResequenceBOMPSE::ACPackAndResequenceBOMPSE", "",
         "ACPackAndResequenceBOMPSE::initMembers"},
        {"ACPackAndResequenceBOMPSE::initMembers", "DBO_get_user DBO_ask_user_id", ""},
        {"ACPackAndResequenceBOMPSE::createDataset", "",
         "ACDatasetUtil::findDataset NewDatasetOperation::execute"},

        // ---- the walk ----
        {"ACPackAndResequenceBOMOperation::ACPackAndResequenceBOMOperation", "",
         "ACPackAndResequenceBOMOperation::init"},
        {"ACPackAndResequenceBOMOperation::init", "ACPreference::getIntValue", ""},
        {"ACPackAndResequenceBOMOperation::execute", "", "ERR_store_error"},
        // The status of a failed unpacking is read as a number of children.
        {"ACPackAndResequenceBOMOperation::packAndResequence", "",
         "ACBOMLineAttribute::getBOMViewRevision ACPackAndResequenceBOMOperation::unpack"},
        {"ACPackAndResequenceBOMOperation::unpack", "LINE_unpack", ""},
        {"ACPackAndResequenceBOMOperation::resequenceAndPackChildren", "",
         "ACPreference::getStringValue ACBOMLineChildrenObjects::resequenceAndPack"},

        // ---- lines ----
        {"ACBOMLineAttribute::ACBOMLineAttribute", "", "ACBOMLineAttribute::initMembers"},
        {"ACBOMLineAttribute::initMembers",
         "ACBOMLineAttribute::getBOMViewRevision CKO_is_checked_out ACL_check_privilege", ""},
        {"ACBOMLineAttribute::getBOMLineAttributeTag",
         "LINE_look_up_attribute LINE_ask_attribute_tag", ""},
        {"ACBOMLineAttribute::getItemRevision", "ACBOMLineAttribute::getBOMLineAttributeTag", ""},
        {"ACBOMLineAttribute::getBOMViewRevision",
         "ACBOMLineAttribute::getBOMLineAttributeTag ACBOMLineAttribute::getItemRevision "
         "DBO_class_id_of_class ART_rev_list_bom_view_revs DBO_class_of_instance",
         ""},
        {"ACBOMLineChildrenTags::ACBOMLineChildrenTags", "", "LINE_ask_child_lines"},
        {"ACBOMLineObject::ACBOMLineObject", "", "ACBOMLineObject::initMembers"},
        {"ACBOMLineObject::initMembers", "",
         "ACProperty::getStringValue ACBOMLineAttribute::getBOMViewRevision"},
        {"ACBOMLineObject::initCompareString", "", "ACProperty::getStringValue"},
        {"ACBOMLineObject::getNoteTypeNamesToCompareCount", "",
         "ACBOMLineObject::initNoteTypesToCompare"},
        {"ACBOMLineObject::initNoteTypesToCompare", "OPT_ask_char_values", ""},
        {"ACBOMLineChildrenObjects::ACBOMLineChildrenObjects", "",
         "ACBOMLineChildrenObjects::init"},
        {"ACBOMLineChildrenObjects::init", "LINE_ask_child_lines", ""},
        {"ACBOMLineChildrenObjects::resequenceAndPack", "", "ACBOMLineChildrenObjects::pack"},
        {"ACBOMLineChildrenObjects::setSequenceNumbersFromStart", "", "ACPreference::getIntValue"},
        {"ACBOMLineChildrenObjects::setDefaultQuantities", "", "ACProperty::setStringValue"},
        {"ACBOMLineChildrenObjects::setNewSequenceNumbers", "", "ACProperty::setStringValue"},
        {"ACBOMLineChildrenObjects::pack", "LINE_pack", ""},

        // ---- preferences and properties ----
        {"ACPreference::init", "OPT_initialize", ""},
        {"ACPreference::getStringValue", "OPT_ask_char_value", "ACPreference::init"},
        {"ACPreference::getIntValue", "OPT_ask_int_value", "ACPreference::init"},
        {"ACProperty::getStringValue", "OBJ_ask_value_string ACProperty::getStringValue", ""},
        {"ACProperty::setStringValue", "OBJ_set_value_string", ""},

        // ---- the protocol's dataset ----
        {"ACDatasetUtil::findDataset",
         "DST_find_all_datasets DST_ask_dataset_datasettype DST_ask_datasettype_name "
         "DST_ask_dataset",
         ""},
        {"NewDatasetOperation::NewDatasetOperation", "", "NewDatasetOperation::init"},
        {"NewDatasetOperation::~NewDatasetOperation", "", "DST_exit_module"},
        {"NewDatasetOperation::init",
         "DST_find_datasettype DST_ask_datasettype_def_tool DST_ask_tool_output_formats", ""},
        {"NewDatasetOperation::execute", "NewDatasetOperation::importDataset", ""},
        {"NewDatasetOperation::importDataset",
         "NewDatasetOperation::getHighestDatasetVersion NewDatasetOperation::createDataset "
         "NewDatasetOperation::importFile NewDatasetOperation::addNamedReference "
         "NewDatasetOperation::getLatestDataset",
         ""},
        {"NewDatasetOperation::createDataset",
         "DST_create_dataset_with_id DST_set_dataset_tool DST_set_dataset_format", ""},
        {"NewDatasetOperation::getHighestDatasetVersion",
         "DST_ask_dataset_anchor DST_count_anchor_revisions DST_ask_anchor_revision", ""},
        {"NewDatasetOperation::importFile", "FIL_import_file OBJ_save OBJ_refresh", ""},
        {"NewDatasetOperation::addNamedReference",
         "OBJ_load OBJ_refresh NewDatasetOperation::getTagOldFile DST_replace_dataset_named_ref "
         "DST_add_dataset_named_ref OBJ_save",
         ""},
        {"NewDatasetOperation::getTagOldFile",
         "DST_ask_all_dataset_named_refs FIL_ask_original_file_name", ""},
        {"NewDatasetOperation::getLatestDataset", "DST_ask_dataset", ""},
    };
    return rules;
}

}  // namespace faults
