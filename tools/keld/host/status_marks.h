#pragma once

// The texts in the log of the status manager from which its run is read, all in one place. A test
// compares them with what the library writes.

namespace keld::marks {

// The lines that begin a pass; they are of debug level, all others of trace level.
inline constexpr char kTestPass[] = "########## Prozess Test";
inline constexpr char kAttributePass[] = "########## Prozess Attribute";
inline constexpr char kActionPass[] = "########## Prozess Aktions";
// "### Process on:SECTION LastStat:STATUS ###"
inline constexpr char kVisit[] = "### Process on:";
inline constexpr char kLastStatus[] = " LastStat:";
inline constexpr char kVisitEnd[] = " ###";
inline constexpr char kSkipped[] = "Scip Process on:";
// These are around a traced call; its text follows them. The lines of a visit are between the lines
// of the visit that led to it. The start object has no such lines in the attribute pass.
inline constexpr char kEnter[] = "->";
inline constexpr char kLeave[] = "<-";
inline constexpr char kVisitCall[] = "Process(";
// A call that failed, "##QSK_err_515001: OBJ_save(...)": after its enter and before its leave line.
inline constexpr char kFailed[] = "##QSK_err_";
// Calls that ask a BOM line, by which lines are recognized.
inline constexpr char kChildLines[] = "LINE_ask_child_lines(";
inline constexpr char kLineTag[] = "LINE_ask_attribute_tag(";
// "#Go from:SECTION to ENTRY / DIRECTION.PASS.PREFIX", for each entry of a walk list.
inline constexpr char kGoes[] = "#Go from:";
inline constexpr char kGoesBy[] = " / ";
// Checks of the test pass.
inline constexpr char kPrivilege[] = "ACL_check_privilege(";
inline constexpr char kNeededField[] = "KELD_SHEET_ask_value(";
// The filling of one form; an entry of DeleteDatasets; a status that is set.
inline constexpr char kFillForm[] = "SetDefaultValuesByForm1(";
inline constexpr char kNextDeletion[] = "OBJ_lock(";
inline constexpr char kSetFirst[] = "m_pStatus1->Set(";
inline constexpr char kSetSecond[] = "m_pStatus2->Set(";
inline constexpr char kSetFurther[] = "More As 2 ReleaseState";
// Changes to an object other than its status.
inline constexpr char kSaveForm[] = "OBJ_save(";
inline constexpr char kDeleteDataset[] = "DST_delete_all_dataset_revs(";
inline constexpr char kPurge[] = "DST_purge_dataset_revs(";
inline constexpr char kFindJob[] = "FLOW_find_process_template(";
inline constexpr char kStartJob[] = "FLOW_create_process(";

}  // namespace keld::marks
