#pragma once

// The texts by which a run of the status manager is read from its log, all of them in one place. A
// test holds them against what the library writes.

namespace keld::marks {

// Passes, at debug level; the rest is trace.
inline constexpr char kTestPass[] = "########## Prozess Test";
inline constexpr char kAttributePass[] = "########## Prozess Attribute";
inline constexpr char kActionPass[] = "########## Prozess Aktions";
// "### Process on:SECTION LastStat:STATUS ###"
inline constexpr char kVisit[] = "### Process on:";
inline constexpr char kLastStatus[] = " LastStat:";
inline constexpr char kVisitEnd[] = " ###";
inline constexpr char kSkipped[] = "Scip Process on:";
// Around a traced call; behind them stands its text. One visit is inside the other that led to it;
// that of the start object has no such lines in the attribute pass.
inline constexpr char kEnter[] = "->";
inline constexpr char kLeave[] = "<-";
inline constexpr char kVisitCall[] = "Process(";
// A call that failed, "##QSK_err_515001: OBJ_save(...)"; behind the enter, before the leave line.
inline constexpr char kFailed[] = "##QSK_err_";
// Questions of a line to the platform, by which lines are known.
inline constexpr char kChildLines[] = "LINE_ask_child_lines(";
inline constexpr char kLineTag[] = "LINE_ask_attribute_tag(";
// "#Go from:SECTION to ENTRY / DIRECTION.PASS.PREFIX", for each entry of a walk list.
inline constexpr char kGoes[] = "#Go from:";
inline constexpr char kGoesBy[] = " / ";
// Checks of the test pass.
inline constexpr char kPrivilege[] = "ACL_check_privilege(";
inline constexpr char kNeededField[] = "KELD_SHEET_ask_value(";
// Around the filling of one form; an entry of DeleteDatasets; a status that is set.
inline constexpr char kFillForm[] = "SetDefaultValuesByForm1(";
inline constexpr char kNextDeletion[] = "OBJ_lock(";
inline constexpr char kSetFirst[] = "m_pStatus1->Set(";
inline constexpr char kSetSecond[] = "m_pStatus2->Set(";
inline constexpr char kSetFurther[] = "More As 2 ReleaseState";
// What else is done to an object than to give it a status.
inline constexpr char kSaveForm[] = "OBJ_save(";
inline constexpr char kDeleteDataset[] = "DST_delete_all_dataset_revs(";
inline constexpr char kPurge[] = "DST_purge_dataset_revs(";
inline constexpr char kFindJob[] = "FLOW_find_process_template(";
inline constexpr char kStartJob[] = "FLOW_create_process(";

}  // namespace keld::marks
