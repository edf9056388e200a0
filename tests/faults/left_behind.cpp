// The one table of blocks and locks that the rules let stay. Everything else is given back,
// whatever fails.

#include "tests/faults/rules.h"

namespace faults {

namespace {
constexpr char kReturns[] = "a failing call ends the function at once, and lists stay allocated";
constexpr char kLockStays[] = "a failed change leaves the lock in place";
constexpr char kUnlockFails[] = "the call that gives the lock up fails, and nothing follows it";
constexpr char kUnchanged[] = "an object that ends up unchanged keeps the lock";
constexpr char kArguments[] = "the service doesn't free its arguments";
constexpr char kListsStay[] = "the lists of the copy are kept for the next call";
constexpr char kValuesStay[] = "of the preference's values the array is freed";
constexpr char kPreferencesStay[] = "the preferences are kept for the process";
constexpr char kRequest[] = "what was received is given back in the end";
constexpr char kAtOnce[] = "returned at once, without the clean-up";
constexpr char kHandsOn[] = "the caller owns what it is given";
}  // namespace

const std::vector<LeftBehind>& leftBehind() {
    using enum When;
    using enum Kept;
    static const std::vector<LeftBehind> table = {
        // ---- status manager ----
        {"KELD_StatusManager", "SVCARG_get_string_argument", Always, All, kArguments},
        {"CKELD_StatusManager::ChangeRel", "ART_list_all_revs", OnFailure, All, kReturns},
        {"CKELD_StatusManager::ChangeRel", "ART_rev_list_bom_view_revs", OnFailure, All, kReturns},
        {"CKELD_StatusManager::ChangeRel", "LINE_ask_child_lines", OnFailure, All, kReturns},
        {"CKELD_StatusManager::ChangeRel", "REL_list_secondary_objects", OnFailure, All, kReturns},
        {"CKELD_StatusManager::SetAttributes", "DBO_name_of_class", OnFailure, All, kReturns},
        {"CKELD_StatusManager::SetDefaultValuesByForm1", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_StatusManager::DeleteDatasets", "REL_list_secondary_objects", OnFailure, All,
         kReturns},
        {"CKELD_StatusManager::DeleteDatasets", "OBJ_lock", LockKept, All, kLockStays},
        {"KELD_SetFormValue_byType", "SHEET_ask_prop_names", OnFailure, All, kReturns},

        // ---- a prepared status ----
        {"CKELD_Status1::Set", "DBO_refresh_instances_any_class", LockKept, All, kLockStays},
        {"CKELD_Status1::DelAllState", "DBO_refresh_instances_any_class", LockKept, All,
         kLockStays},
        {"CKELD_Status1::DelAllState", "DBO_ask_attr_tags", OnFailure, All, kReturns},
        {"CKELD_Status1::DelAllState", "DBO_load_instances_possible", OnFailure, All, kReturns},

        // ---- rename ----
        {"KELD_ReNameItem", "SVCARG_get_string_argument", Always, All, kArguments},
        {"KELD_ReNameItemExtended", "SVCARG_get_string_argument", Always, All, kArguments},
        {"CKELD_ReName::LoadRenameProfile", "OPT_ask_char_values", Always, AllButOne,
         "of the preference's values the array is freed"},
        {"CKELD_ReName::ChangeItemInfos", "OBJ_refresh", UnlockFails, All, kUnlockFails},
        {"CKELD_ReName::ChangeRevInfos", "OBJ_refresh", UnlockFails, All, kUnlockFails},
        {"CKELD_ReName::ChangeRevInfos", "OBJ_refresh", LockKept, All, kLockStays,
         "ART_set_rev_id ENT_set_name ENT_set_description"},
        {"CKELD_ReName::ChangeRevInfos", "ART_rev_list_bom_view_revs", OnFailure, All, kReturns,
         "CKELD_ReName::RenameObjExtended"},
        {"CKELD_ReName::ProcessRelatedObj", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_ReName::RenameObj", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_ReName::RenameObj", "OBJ_refresh", LockAlways, All, kUnchanged},
        {"CKELD_ReName::RenameObjExtended", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_ReName::RenameObjExtended", "OBJ_refresh", LockAlways, All, kUnchanged},
        {"CKELD_ReName::RenameNamedRef", "OBJ_lock", LockKept, All, kLockStays},
        {"CKELD_ReName::ChangeIcoId", "DBO_refresh_instances_any_class", UnlockFails, All,
         kUnlockFails},
        {"CKELD_ReName::SaveOldItemIdToAttribute", "OBJ_refresh", UnlockFails, All, kUnlockFails},

        // ---- pack and resequence ----
        {"KELD_PSE_PackAndResequenceBom", "SVCARG_get_tag_array_argument", Always, All, kArguments},
        {"ACPackAndResequenceBOMPSE::initMembers", "DBO_get_user", OnFailure, All, kReturns},
        {"ACBOMLineAttribute::getBOMViewRevision", "ART_rev_list_bom_view_revs", OnFailure, All,
         kReturns},
        {"ACBOMLineObject::initNoteTypesToCompare", "OPT_ask_char_values", Always, All,
         "the note types are read once for the life of the process"},
        {"ACDatasetUtil::findDataset", "DST_find_all_datasets", OnFailure, All, kReturns},
        {"NewDatasetOperation::init", "DST_ask_tool_output_formats", Always, AllButOne,
         "of the tool's formats the array is freed"},
        {"NewDatasetOperation::getTagOldFile", "DST_ask_all_dataset_named_refs", OnFailure, All,
         kReturns},
        {"NewDatasetOperation::addNamedReference", "OBJ_refresh", LockKept, All, kLockStays},

        // ---- attribute copy ----
        {"KELD_CopyAttr", "SVCARG_get_tag_array_argument", Always, All, kArguments},
        {"ReadCopyAttrPref", "OPT_ask_char_values", Always, AllButOne, kValuesStay},
        {"KELD_add_relation_combination", "HEAP_alloc", ToCaller, All, kListsStay},
        {"ReadCopyAttrPref", "HEAP_alloc", ToCaller, All, kListsStay},
        {"KELD_CopyAttr", "HEAP_alloc", ToCaller, All, kListsStay},
        {"CopyValues", "OBJ_refresh", LockKept, All, kLockStays},

        // ---- deletion ----
        {"KELD_DeleteDeluxe", "SVCARG_get_tag_array_argument", Always, All, kArguments},
        {"KELD_DeleteDeluxe", "OPT_ask_char_value", ToCaller, All, kPreferencesStay},
        {"KELD_DeleteDeluxe", "OPT_ask_char_values", ToCaller, All, kPreferencesStay},

        // ---- job files ----
        {"ReadTypesAndDestination", "SVCARG_get_string_argument", ToCaller, All, kRequest},
        {"ReadJobTexts", "SVCARG_get_string_argument", ToCaller, All, kRequest},
        {"ReadRelationTypes", "SVCARG_get_string_argument", ToCaller, All, kRequest},
        {"ReadProgram", "SVCARG_get_string_argument", ToCaller, All, kRequest},
        {"ReadRequest", "SVCARG_get_string_argument", ToCaller, All, kRequest},
        {"ReadAllTypes", "SVCARG_get_string_argument", Always, All,
         "the text of the all-types flag isn't freed"},
        {"KELD_SrvCallCRJFromPortal", "SVCARG_get_string_argument", OnFailure, All, kAtOnce,
         ">KELD_isObjectOfTypeExt"},
        {"KELD_SrvCallCRJFromPortal", "SVCARG_get_tag_array_argument", OnFailure, All,
         "the targets are the writer's to free, and it isn't called", "ExpandTargets"},
        {"ResolveRelationTypes", "HEAP_alloc", ToCaller, All, kRequest},
        {"ReadRelationTypes", "HEAP_alloc", ToCaller, All, kRequest},
        {"ReadRequest", "HEAP_alloc", ToCaller, All, kRequest},
        {"KELD_SrvCallCRJFromPortal", "HEAP_alloc", InTheSweep, All,
         "of the relations' names the array isn't freed"},
        {"KELD_fct_CRJ_from_portal", "HEAP_alloc", InTheSweep, All,
         "of the types' names only the array is freed"},
        {"ListAttachments", "HEAP_alloc", ToCaller, All, kHandsOn},
        {"KELD_WriteJobTarget", "HEAP_alloc", InTheSweep, All,
         "where no file can be opened the attachments aren't freed"},
        {"TraceTargets", "ENT_ask_id_string", Always, All, "the ids for the log aren't freed"},

        // ---- job item: its locks are judged by the sweep ----
        {"CreateItem", "OBJ_refresh", LockAlways, All, kLockStays},
        {"FillForm", "OBJ_refresh", UnlockFails, All, kUnlockFails},

        // ---- status primitives ----
        {"LoadReferences", "DBO_load_instances_possible", ToCaller, All, kHandsOn},
        {"CKELD_Status::GetReleaseStatusTagList", "DBO_load_instances_possible", ToCaller, All,
         kHandsOn},
        {"CKELD_Status::GetProcessStageTagList", "DBO_load_instances_possible", ToCaller, All,
         kHandsOn},
        {"CKELD_Status::DelReleaseStatusObj", "DBO_load_instances_possible", OnFailure, All,
         kReturns},
        {"CKELD_Status::GetProcessStageObj", "DBO_load_instances_possible", OnFailure, All,
         kReturns},
        {"CKELD_Status::GetReleaseStatusRslTag", "DBO_name_of_class", Always, All,
         "the class name isn't freed"},
        {"CKELD_Status::GetReleaseStatusRslTag", "DBO_ask_attr_string", Always, All,
         "the value isn't freed"},
        {"CKELD_Status::SetReleaseStatusObj", "DBO_name_of_class", OnFailure, All, kReturns},
        {"CKELD_Status::SetReleaseStatusObj", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_Status::CreateReleaseStatus", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_Status::DelReleaseStatusObj", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_Status::SetReleaseStatusRslTag", "DBO_refresh_instances_any_class", LockKept, All,
         kLockStays},
        {"CKELD_Status::SetRelDate", "OBJ_refresh", LockKept, All, kLockStays},
        {"CKELD_Status::DelRelDate", "OBJ_refresh", LockKept, All, kLockStays},

        // ---- diagnostic services ----
        {"KELD_SrvCall", "SVCARG_get_string_argument", Always, All, kArguments},
        {"KELD_SrvCallGetEnv", "SVCARG_get_string_argument", Always, All, kArguments},
        {"KELD_SrvCall", "HEAP_alloc", ToCaller, All, kHandsOn},
        {"KELD_SrvCallGetEnv", "HEAP_alloc", ToCaller, All, kHandsOn},

        // ---- libkeld_qsktool ----
        {"KELD_GetPreferenceArray", "OPT_ask_char_values", ToCaller, All, kHandsOn},
        {"KELD_GetPreferenceValue", "OPT_ask_char_value", ToCaller, All, kHandsOn},
        {"KELD_GetPreferenceValue", "HEAP_alloc", ToCaller, All, kHandsOn},
        {"KELD_get_string_pref", "OPT_ask_char_value", ToCaller, All, kHandsOn},
        {"KELD_get_string_pref", "HEAP_alloc", ToCaller, All, kHandsOn},
        {"KELD_CopyString", "HEAP_alloc", ToCaller, All, kHandsOn},
        {"KELD_splitItemString", "HEAP_alloc", ToCaller, All, kHandsOn},
    };
    return table;
}

}  // namespace faults
