#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rls.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using world::World;

namespace {

// The calls of each member, in the order in which they are made.
const std::vector<std::string> kDelRelDate = {"DBO_attr_id_of_attr(date_released, WorkspaceObject)",
                                              "DBO_set_attr_null(1)"};
const std::vector<std::string> kSetRelDate = {"DBO_attr_id_of_attr(date_released, WorkspaceObject)",
                                              "DBO_set_attr_date(1)"};

std::vector<std::string> operator+(std::vector<std::string> left,
                                   const std::vector<std::string>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

bool isNow(date_s date) {
    std::tm then{};
    then.tm_year = date.year - 1900;
    then.tm_mon = date.month;
    then.tm_mday = date.day;
    then.tm_hour = date.hour;
    then.tm_min = date.minute;
    then.tm_sec = date.second;
    then.tm_isdst = -1;
    // The C library's clock may be a tick late.
    const std::time_t age = std::time(nullptr) - std::mktime(&then);
    return age >= -1 && age < 60;
}

bool isNull(date_s date) {
    return date.year == 0 && date.month == 0 && date.day == 0;
}

class Primitives : public testing::Test {
protected:
    Primitives() {
        revision = world.item("000100").revision;
        world.name(revision, "rev");
    }

    World world;
    tag_t revision = NULLTAG;
};

}  // namespace

TEST_F(Primitives, ListOfAnObjectWithoutStatusesLeavesCountAndListUntouched) {
    int count = 77;
    tag_t mark = 1;
    tag_t* list = &mark;
    EXPECT_EQ(0, CKELD_Status::GetReleaseStatusTagList(revision, &count, &list, 0));
    EXPECT_EQ(77, count);
    EXPECT_EQ(&mark, list);
}

TEST_F(Primitives, ListHasTheLoadableStatusesInTheirOrder) {
    const tag_t first = world.giveStatus(revision, "Working");
    const tag_t gone = world.giveStatus(revision, "Gone");
    const tag_t last = world.giveStatus(revision, "Frozen");
    ASSERT_EQ(0, DBO_delete_instances(1, &gone));
    const std::size_t blocks = world.blocks();
    int count = 0;
    tag_t* list = nullptr;
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, CKELD_Status::GetReleaseStatusTagList(revision, &count, &list, 0)); });
    ASSERT_EQ(2, count);
    EXPECT_EQ(first, list[0]);
    EXPECT_EQ(last, list[1]);
    EXPECT_EQ(blocks + 1, world.blocks());  // the list alone
    HEAP_free(list);
    EXPECT_THAT(calls, ElementsAre("DBO_attr_id_of_attr(name, ReleaseStatus)",
                                   "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                                   "DBO_length_of_attr(rev)", "DBO_ask_attr_tags(rev, 0, 3)",
                                   "DBO_load_instances_possible(3)"));
}

TEST_F(Primitives, ListWithRefreshReadsTheObjectAnew) {
    int count = 0;
    tag_t* list = nullptr;
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, CKELD_Status::GetReleaseStatusTagList(revision, &count, &list, 1)); });
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ("OBJ_refresh(rev, false)", calls[0]);
}

TEST_F(Primitives, ListTakesNullPointersForCountAndList) {
    world.giveStatus(revision, "Working");
    const std::size_t blocks = world.blocks();
    EXPECT_EQ(0, CKELD_Status::GetReleaseStatusTagList(revision, nullptr, nullptr, 0));
    EXPECT_EQ(0, CKELD_Status::GetProcessStageTagList(revision, nullptr, nullptr));
    EXPECT_EQ(blocks, world.blocks());
}

TEST_F(Primitives, NameOfAStatusIsCopied) {
    const tag_t status = world.giveStatus(revision, "Frozen");
    char name[129] = "before";
    const std::size_t blocks = world.blocks();
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::GetReleaseStatusRslTag(status, name)); });
    EXPECT_STREQ("Frozen", name);
    // The class name and the value stay allocated by design.
    EXPECT_EQ(blocks + 2, world.blocks());
    EXPECT_THAT(calls,
                ElementsAre("DBO_class_of_instance(?)", "DBO_name_of_class()",
                            "DBO_attr_id_of_attr(name, ReleaseStatus)",
                            "DBO_refresh_instances_any_class(1, 0)", "DBO_ask_attr_string(?)"));
}

TEST_F(Primitives, NamingAStatusWithoutItsOwnLockDropsTheDateThatWasNotSaved) {
    const tag_t status = world.giveStatus(revision, "Release Status");
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusRslTag(status, "Frozen", 0)); });
    EXPECT_EQ("Frozen", world.storedText(status, "name"));
    EXPECT_TRUE(isNull(world.storedDate(status, "date_released")));
    EXPECT_FALSE(world.locked(status));
    EXPECT_EQ(
        (std::vector<std::string>{
             "DBO_attr_id_of_attr(name, ReleaseStatus)", "DBO_refresh_instances_any_class(1, 1)",
             "DBO_set_attr_string(1, Frozen)", "DBO_save_instances(1, false)"} +
         kSetRelDate + std::vector<std::string>{"DBO_refresh_instances_any_class(1, 0)"}),
        calls);
    EXPECT_THAT(world.lines("T"), ElementsAre("Setze Attribut ReleaseStatus  -> Frozen"));
}

TEST_F(Primitives, NamingAStatusWithItsOwnLockStoresTheDate) {
    const tag_t status = world.giveStatus(revision, "Release Status");
    world.name(status, "status");
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusRslTag(status, "Frozen", 1)); });
    EXPECT_TRUE(isNow(world.storedDate(status, "date_released")));
    EXPECT_EQ((std::vector<std::string>{
                   "DBO_attr_id_of_attr(name, ReleaseStatus)",
                   "DBO_refresh_instances_any_class(1, 1)", "DBO_set_attr_string(1, Frozen)",
                   "DBO_save_instances(1, false)", "OBJ_refresh(status, true)"} +
               kSetRelDate +
               std::vector<std::string>{"OBJ_save(status)", "OBJ_refresh(status, false)",
                                        "DBO_refresh_instances_any_class(1, 0)"}),
              calls);
}

TEST_F(Primitives, ANewStatusIsAppendedUnderItsFixedName) {
    world.giveStatus(revision, "Working");
    tag_t status = NULLTAG;
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::CreateReleaseStatus(revision, &status, 1)); });
    EXPECT_NE(NULLTAG, status);
    EXPECT_THAT(world.statuses(revision), ElementsAre("Working", "Release Status"));
    EXPECT_FALSE(world.locked(revision));
    EXPECT_THAT(calls,
                ElementsAre("OBJ_refresh(rev, true)",
                            "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                            "RLS_create_release_status(Release Status)", "OBJ_refresh(rev, true)",
                            "DBO_append_attr_tags(1, 1)", "DBO_save_instances(1, true)",
                            "OBJ_save(rev)", "OBJ_refresh(rev, false)"));
    EXPECT_THAT(world.lines("T"),
                ElementsAre("CKELD_Ws::CreateReleaseStatus tag=" + std::to_string(revision) + " "));
}

TEST_F(Primitives, ANewStatusWithoutItsOwnLockLocksOnceAndLeavesSavingToTheCaller) {
    tag_t status = NULLTAG;
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::CreateReleaseStatus(revision, &status, 0)); });
    EXPECT_THAT(calls,
                ElementsAre("DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                            "RLS_create_release_status(Release Status)", "OBJ_refresh(rev, true)",
                            "DBO_append_attr_tags(1, 1)", "DBO_save_instances(1, true)"));
    EXPECT_TRUE(world.locked(revision));
    EXPECT_THAT(world.statuses(revision), IsEmpty());
    EXPECT_TRUE(world.exists(status));
    EXPECT_EQ(0, OBJ_save(revision));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Release Status"));
}

TEST_F(Primitives, ANewStatusTakesANullPointerForTheResult) {
    EXPECT_EQ(0, CKELD_Status::CreateReleaseStatus(revision, nullptr, 1));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Release Status"));
}

TEST_F(Primitives, DeletingRemovesAllStatusesAndTheDateAndDeletesTheStatusObjects) {
    const tag_t first = world.giveStatus(revision, "Working");
    const tag_t second = world.giveStatus(revision, "Frozen");
    world.put(revision, "date_released", date_s{2013, 10, 14, 16, 13, 5});
    const std::size_t blocks = world.blocks();
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::DelReleaseStatusObj(revision, 1)); });
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), IsEmpty());
    EXPECT_TRUE(isNull(world.storedDate(revision, "date_released")));
    EXPECT_FALSE(world.exists(first));
    EXPECT_FALSE(world.exists(second));
    EXPECT_EQ(blocks, world.blocks());
    EXPECT_FALSE(world.locked(revision));
    EXPECT_EQ(
        (std::vector<std::string>{
             "OBJ_refresh(rev, false)", "DBO_attr_id_of_attr(name, ReleaseStatus)",
             "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)", "DBO_length_of_attr(rev)",
             "DBO_ask_attr_tags(rev, 0, 2)", "DBO_load_instances_possible(2)",
             "OBJ_refresh(rev, true)", "DBO_refresh_instances_any_class(1, 1)",
             "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
             "DBO_remove_from_attr(1, 0, 2)", "DBO_save_instances(1, false)",
             "DBO_delete_instances(2)"} +
         kDelRelDate + std::vector<std::string>{"OBJ_save(rev)", "OBJ_refresh(rev, false)"}),
        calls);
    EXPECT_THAT(world.lines("T"), ElementsAre("CKELD_Status::DelReleaseStatusObj"));
}

TEST_F(Primitives, DeletingOnAnObjectWithoutStatusesStillNullsTheDateAndSaves) {
    world.put(revision, "date_released", date_s{2013, 10, 14, 16, 13, 5});
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::DelReleaseStatusObj(revision, 1)); });
    EXPECT_TRUE(isNull(world.storedDate(revision, "date_released")));
    EXPECT_EQ((std::vector<std::string>{"OBJ_refresh(rev, false)",
                                        "DBO_attr_id_of_attr(name, ReleaseStatus)",
                                        "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                                        "DBO_length_of_attr(rev)", "OBJ_refresh(rev, true)"} +
               kDelRelDate + std::vector<std::string>{"OBJ_save(rev)", "OBJ_refresh(rev, false)"}),
              calls);
}

TEST_F(Primitives, DeletingRemovesAsManyEntriesAsCouldBeLoadedFromTheFront) {
    const tag_t first = world.giveStatus(revision, "Working");
    const tag_t last = world.giveStatus(revision, "Frozen");
    ASSERT_EQ(0, DBO_delete_instances(1, &first));
    EXPECT_EQ(0, CKELD_Status::DelReleaseStatusObj(revision, 1));
    // The last stored entry remains, though its status is the one that was deleted.
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), ElementsAre(last));
    EXPECT_FALSE(world.exists(last));
}

TEST_F(Primitives, DeletingAsksNobodyWhoElseRefersToAStatus) {
    const tag_t status = world.giveStatus(revision, "Frozen");
    const tag_t other = world.item("000101").revision;
    world.bench.set(other, "release_status_list", {mervane::Reference{status}});
    EXPECT_EQ(0, CKELD_Status::DelReleaseStatusObj(revision, 1));
    EXPECT_FALSE(world.exists(status));
    EXPECT_THAT(world.storedTags(other, "release_status_list"), ElementsAre(status));
}

TEST_F(Primitives, SettingReplacesAllStatusesByOneOfItsOwn) {
    const tag_t old = world.giveStatus(revision, "Working");
    const std::size_t blocks = world.blocks();
    EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "Frozen"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
    EXPECT_FALSE(world.exists(old));
    EXPECT_TRUE(isNow(world.storedDate(revision, "date_released")));
    EXPECT_EQ(blocks, world.blocks());
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(Primitives, SettingMakesItsCallsInOrder) {
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "Frozen")); });
    EXPECT_EQ(
        (std::vector<std::string>{"DBO_class_of_instance(rev)", "DBO_name_of_class()",
                                  "OBJ_refresh(rev, true)",
                                  "DBO_attr_id_of_attr(name, ReleaseStatus)",
                                  "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                                  "DBO_length_of_attr(rev)"} +
         kDelRelDate +
         std::vector<std::string>{
             "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
             "RLS_create_release_status(Release Status)", "OBJ_refresh(rev, true)",
             "DBO_append_attr_tags(1, 1)", "DBO_save_instances(1, true)",
             "DBO_attr_id_of_attr(name, ReleaseStatus)", "DBO_refresh_instances_any_class(1, 1)",
             "DBO_set_attr_string(1, Frozen)", "DBO_save_instances(1, false)"} +
         kSetRelDate + std::vector<std::string>{"DBO_refresh_instances_any_class(1, 0)"} +
         kSetRelDate + std::vector<std::string>{"OBJ_save(rev)", "OBJ_refresh(rev, false)"}),
        calls);
}

TEST_F(Primitives, SettingNoneClearsStatusesAndDateCreatesNothingAndSaves) {
    const tag_t old = world.giveStatus(revision, "Working");
    world.put(revision, "date_released", date_s{2013, 10, 14, 16, 13, 5});
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "none")); });
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), IsEmpty());
    EXPECT_TRUE(isNull(world.storedDate(revision, "date_released")));
    EXPECT_FALSE(world.exists(old));
    EXPECT_EQ((std::vector<std::string>{
                   "DBO_class_of_instance(rev)", "DBO_name_of_class()", "OBJ_refresh(rev, true)",
                   "DBO_attr_id_of_attr(name, ReleaseStatus)",
                   "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                   "DBO_length_of_attr(rev)", "DBO_ask_attr_tags(rev, 0, 1)",
                   "DBO_load_instances_possible(1)", "DBO_refresh_instances_any_class(1, 1)",
                   "DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                   "DBO_remove_from_attr(1, 0, 1)", "DBO_save_instances(1, false)",
                   "DBO_delete_instances(1)"} +
               kDelRelDate + std::vector<std::string>{"OBJ_save(rev)", "OBJ_refresh(rev, false)"}),
              calls);
}

TEST_F(Primitives, NoneIsAKeywordInLowerCaseOnly) {
    EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "None"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("None"));
}

TEST_F(Primitives, ADatasetIsSavedAsADataset) {
    const tag_t dataset = world.dataset("drawing");
    world.name(dataset, "dataset");
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(dataset, "Frozen")); });
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ("DST_save_myself(dataset)", calls[calls.size() - 2]);
    EXPECT_THAT(calls, testing::Not(testing::Contains("OBJ_save(dataset)")));
    EXPECT_THAT(world.statuses(dataset), ElementsAre("Frozen"));
}

TEST_F(Primitives, AClassBelowDatasetIsSavedLikeAnyObject) {
    world.bench.defineClass("KeldDataset", "Dataset", {});
    const tag_t dataset = world.bench.create("KeldDataset");
    world.name(dataset, "dataset");
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(dataset, "none")); });
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ("OBJ_save(dataset)", calls[calls.size() - 2]);
}

TEST_F(Primitives, SettingWithATypeTracesItAndDoesTheSame) {
    EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "Any Type", "Frozen"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
    EXPECT_EQ("CKELD_Ws::SetReleaseStatusObj tag=" + std::to_string(revision) +
                  " ObjType=Any Type ReleaseStatus=Frozen",
              world.lines("T").at(0));
}

TEST_F(Primitives, ANullStatusNameIsAnEmptyOne) {
    EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, nullptr, nullptr));
    EXPECT_THAT(world.statuses(revision), ElementsAre(""));
    EXPECT_THAT(world.lines("T").at(0), testing::EndsWith("ObjType=(null) ReleaseStatus=(null)"));
    EXPECT_THAT(world.lines("T"), testing::Contains("Setze Attribut ReleaseStatus  -> (null)"));
}

TEST_F(Primitives, TheReleaseDateIsSetToNowAndStoredOnlyWithItsOwnLock) {
    auto calls = world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetRelDate(revision, 1)); });
    EXPECT_TRUE(isNow(world.storedDate(revision, "date_released")));
    EXPECT_EQ((std::vector<std::string>{"OBJ_refresh(rev, true)"} + kSetRelDate +
               std::vector<std::string>{"OBJ_save(rev)", "OBJ_refresh(rev, false)"}),
              calls);

    calls = world.calls([&] { EXPECT_EQ(0, CKELD_Status::DelRelDate(revision, 1)); });
    EXPECT_TRUE(isNull(world.storedDate(revision, "date_released")));
    EXPECT_THAT(calls, ElementsAre("DBO_attr_id_of_attr(date_released, WorkspaceObject)",
                                   "OBJ_refresh(rev, true)", "DBO_set_attr_null(1)",
                                   "OBJ_save(rev)", "OBJ_refresh(rev, false)"));

    ASSERT_EQ(0, OBJ_refresh(revision, true));
    calls = world.calls([&] { EXPECT_EQ(0, CKELD_Status::SetRelDate(revision, 0)); });
    EXPECT_EQ(kSetRelDate, calls);
    EXPECT_TRUE(isNull(world.storedDate(revision, "date_released")));
    EXPECT_EQ(0, OBJ_save(revision));
    EXPECT_TRUE(isNow(world.storedDate(revision, "date_released")));
    calls = world.calls([&] { EXPECT_EQ(0, CKELD_Status::DelRelDate(revision, 0)); });
    EXPECT_EQ(kDelRelDate, calls);
}

TEST_F(Primitives, TasksOfAnObjectWithoutAnyAreAnEmptyList) {
    int count = 77;
    tag_t* list = nullptr;
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, CKELD_Status::GetProcessStageTagList(revision, &count, &list)); });
    EXPECT_EQ(0, count);
    EXPECT_EQ(nullptr, list);
    EXPECT_THAT(calls, ElementsAre("DBO_attr_id_of_attr(process_stage_list, WorkspaceObject)",
                                   "DBO_length_of_attr(rev)"));
    char task[129] = "before";
    EXPECT_EQ(0, CKELD_Status::GetProcessStageObj(revision, task));
    EXPECT_STREQ("before", task);
}

TEST_F(Primitives, TheNameOfTheLastTaskIsCopied) {
    const tag_t first = world.bench.create("FLOWTask");
    const tag_t last = world.bench.create("FLOWTask");
    world.put(first, "object_name", "Review");
    world.put(last, "object_name", "Approve");
    world.bench.set(revision, "process_stage_list",
                    {mervane::Reference{first}, mervane::Reference{last}});
    const std::size_t blocks = world.blocks();
    char task[129] = "";
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_Status::GetProcessStageObj(revision, task)); });
    EXPECT_STREQ("Approve", task);
    EXPECT_EQ(blocks, world.blocks());
    EXPECT_THAT(calls, ElementsAre("DBO_class_id_of_class(FLOWTask)",
                                   "DBO_attr_id_of_attr(process_stage_list, WorkspaceObject)",
                                   "DBO_length_of_attr(rev)", "DBO_ask_attr_tags(rev, 0, 2)",
                                   "DBO_load_instances_possible(2)", "DBO_class_of_instance(?)",
                                   "DBO_name_of_class()", "FLOW_ask_name(?)"));
    EXPECT_THAT(world.lines("D"),
                ElementsAre("CKELD_Status::GetProcessStageObj: TaskName=Approve"));
}

TEST_F(Primitives, ALastEntryOfAnotherClassLeavesTheTaskNameUnchanged) {
    world.bench.defineClass("KeldTask", "FLOWTask", {});
    const tag_t first = world.bench.create("FLOWTask");
    const tag_t last = world.bench.create("KeldTask");
    world.bench.set(revision, "process_stage_list",
                    {mervane::Reference{first}, mervane::Reference{last}});
    const std::size_t blocks = world.blocks();
    char task[129] = "before";
    EXPECT_EQ(0, CKELD_Status::GetProcessStageObj(revision, task));
    EXPECT_STREQ("before", task);
    EXPECT_EQ(blocks, world.blocks());
}

TEST_F(Primitives, AssigningDoesNothing) {
    CKELD_Status left, right;
    EXPECT_EQ(&left, &(left = right));
}
