// Every platform call of the release status primitives fails once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "tests/status/failing_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

tag_t withStatus(World& world) {
    const tag_t revision = world.item("000100").revision;
    world.giveStatus(revision, "Working");
    return revision;
}

int list(World&, tag_t object) {
    int count = 0;
    tag_t* tags = nullptr;
    const int status = CKELD_Status::GetReleaseStatusTagList(object, &count, &tags, 1);
    HEAP_free(tags);
    return status;
}

}  // namespace

TEST(PrimitivesFailing, TheListReturnsOnlyTheFailuresOfTracedCalls) {
    FailingRun test{withStatus, list,
                    [](World& world, tag_t, int) { EXPECT_EQ(0u, world.newBlocks()); }};
    expectEachFailure(
        test, {"OBJ_refresh", "DBO_attr_id_of_attr", "DBO_attr_id_of_attr", "~DBO_length_of_attr",
               "~DBO_ask_attr_tags", "~DBO_load_instances_possible"});
}

TEST(PrimitivesFailing, AnUnreadableListLeavesCountAndListUntouched) {
    World world;
    const tag_t revision = withStatus(world);
    world.fail("DBO_ask_attr_tags");
    int count = 77;
    tag_t* tags = nullptr;
    EXPECT_EQ(0, CKELD_Status::GetReleaseStatusTagList(revision, &count, &tags, 0));
    EXPECT_EQ(77, count);
    EXPECT_EQ(nullptr, tags);
}

TEST(PrimitivesFailing, TheNameOfAStatusReturnsEveryFailure) {
    FailingRun test{
        [](World& world) { return world.giveStatus(world.item("000100").revision, "Working"); },
        [](World&, tag_t status) {
            char name[129] = "before";
            const int result = CKELD_Status::GetReleaseStatusRslTag(status, name);
            EXPECT_STREQ(result == 0 ? "Working" : "before", name);
            return result;
        },
        nullptr};
    expectEachFailure(test, {"DBO_class_of_instance", "DBO_name_of_class", "DBO_attr_id_of_attr",
                             "DBO_refresh_instances_any_class", "DBO_ask_attr_string"});
}

TEST(PrimitivesFailing, NamingAStatusReturnsEveryFailureAndKeepsTheLock) {
    FailingRun test{
        [](World& world) { return world.giveStatus(world.item("000100").revision, "Working"); },
        [](World&, tag_t status) {
            return CKELD_Status::SetReleaseStatusRslTag(status, "Frozen", 1);
        },
        [](World& world, tag_t status, int call) {
            // The second call takes the lock and the ninth releases it; the last one only repeats
            // the release.
            EXPECT_EQ(call >= 3 && call <= 9, world.locked(status));
            EXPECT_EQ(call == 0 || call >= 5 ? "Frozen" : "Working",
                      world.storedText(status, "name"));
        }};
    expectEachFailure(
        test, {"DBO_attr_id_of_attr", "DBO_refresh_instances_any_class", "DBO_set_attr_string",
               "DBO_save_instances", "OBJ_refresh", "DBO_attr_id_of_attr", "DBO_set_attr_date",
               "OBJ_save", "OBJ_refresh", "DBO_refresh_instances_any_class"});
}

TEST(PrimitivesFailing, CreatingAStatusReturnsEveryFailureAndKeepsTheLock) {
    FailingRun test{withStatus,
                    [](World&, tag_t object) {
                        tag_t status = 99;
                        const int result = CKELD_Status::CreateReleaseStatus(object, &status, 1);
                        EXPECT_NE(99u, status);  // emptied before anything can fail
                        return result;
                    },
                    [](World& world, tag_t object, int call) {
                        EXPECT_EQ(call >= 2, world.locked(object));
                        if (call >= 1 && call <= 7) {
                            EXPECT_THAT(world.statuses(object), ElementsAre("Working"));
                        }
                    }};
    expectEachFailure(
        test, {"OBJ_refresh", "DBO_attr_id_of_attr", "RLS_create_release_status", "OBJ_refresh",
               "DBO_append_attr_tags", "DBO_save_instances", "OBJ_save", "OBJ_refresh"});
}

TEST(PrimitivesFailing, DeletingReturnsTheFailuresOfTracedCallsAndKeepsTheList) {
    FailingRun test{
        withStatus,
        [](World&, tag_t object) { return CKELD_Status::DelReleaseStatusObj(object, 1); },
        [](World& world, tag_t, int call) {
            // A failure between reading the list and its release leaves the list allocated.
            EXPECT_EQ(call >= 7 && call <= 12 ? 1u : 0u, world.newBlocks());
        }};
    expectEachFailure(
        test, {"OBJ_refresh", "DBO_attr_id_of_attr", "DBO_attr_id_of_attr", "~DBO_length_of_attr",
               "~DBO_ask_attr_tags", "~DBO_load_instances_possible", "OBJ_refresh",
               "DBO_refresh_instances_any_class", "DBO_attr_id_of_attr", "DBO_remove_from_attr",
               "DBO_save_instances", "DBO_delete_instances", "DBO_attr_id_of_attr",
               "DBO_set_attr_null", "OBJ_save", "OBJ_refresh"});
}

TEST(PrimitivesFailing, SettingDropsTheFailuresOfRemovingAndOfNaming) {
    FailingRun test{
        withStatus,
        [](World&, tag_t object) { return CKELD_Status::SetReleaseStatusObj(object, "Frozen"); },
        nullptr};
    expectEachFailure(
        test,
        {"DBO_class_of_instance", "DBO_name_of_class", "OBJ_refresh",
         // removing
         "~DBO_attr_id_of_attr", "~DBO_attr_id_of_attr", "~DBO_length_of_attr",
         "~DBO_ask_attr_tags", "~DBO_load_instances_possible", "~DBO_refresh_instances_any_class",
         "~DBO_attr_id_of_attr", "~DBO_remove_from_attr", "~DBO_save_instances",
         "~DBO_delete_instances", "~DBO_attr_id_of_attr", "~DBO_set_attr_null",
         // creating
         "DBO_attr_id_of_attr", "RLS_create_release_status", "OBJ_refresh", "DBO_append_attr_tags",
         "DBO_save_instances",
         // naming
         "~DBO_attr_id_of_attr", "~DBO_refresh_instances_any_class", "~DBO_set_attr_string",
         "~DBO_save_instances", "~DBO_attr_id_of_attr", "~DBO_set_attr_date",
         "~DBO_refresh_instances_any_class",
         // the date
         "DBO_attr_id_of_attr", "DBO_set_attr_date", "OBJ_save", "OBJ_refresh"});
}

TEST(PrimitivesFailing, AnObjectWhoseStatusesStayStillGetsTheNewOne) {
    World world;
    const tag_t revision = withStatus(world);
    world.fail("DBO_remove_from_attr");
    EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "Frozen"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Working", "Frozen"));
}

TEST(PrimitivesFailing, AStatusThatCantBeNamedKeepsItsFixedName) {
    World world;
    const tag_t revision = world.item("000100").revision;
    world.fail("DBO_set_attr_string");
    EXPECT_EQ(0, CKELD_Status::SetReleaseStatusObj(revision, "Frozen"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Release Status"));
}

TEST(PrimitivesFailing, AFailedSettingLeavesTheLockAndTheClassName) {
    World world;
    const tag_t revision = world.item("000100").revision;
    world.fail("OBJ_save");
    const std::size_t blocks = world.blocks();
    EXPECT_EQ(world::kPlanned, CKELD_Status::SetReleaseStatusObj(revision, "Frozen"));
    EXPECT_TRUE(world.locked(revision));
    EXPECT_EQ(blocks + 1, world.blocks());
    EXPECT_THAT(world.statuses(revision), IsEmpty());
}

TEST(PrimitivesFailing, TheTasksReturnTheFailureOfTheLengthButNotOfReading) {
    FailingRun test{[](World& world) {
                        const tag_t revision = world.item("000100").revision;
                        const tag_t task = world.bench.create("FLOWTask");
                        world.bench.set(revision, "process_stage_list", {mervane::Reference{task}});
                        return revision;
                    },
                    [](World&, tag_t object) {
                        int count = 77;
                        tag_t* tags = nullptr;
                        const int status =
                            CKELD_Status::GetProcessStageTagList(object, &count, &tags);
                        EXPECT_EQ(tags != nullptr ? 1 : 0, count);
                        HEAP_free(tags);
                        return status;
                    },
                    [](World& world, tag_t, int) { EXPECT_EQ(0u, world.newBlocks()); }};
    expectEachFailure(test, {"DBO_attr_id_of_attr", "DBO_length_of_attr", "~DBO_ask_attr_tags",
                             "~DBO_load_instances_possible"});
}

TEST(PrimitivesFailing, TheLastTaskDropsTheFailuresOfFindingIt) {
    FailingRun test{[](World& world) {
                        const tag_t revision = world.item("000100").revision;
                        const tag_t task = world.bench.create("FLOWTask");
                        world.put(task, "object_name", "Approve");
                        world.bench.set(revision, "process_stage_list", {mervane::Reference{task}});
                        return revision;
                    },
                    [](World&, tag_t object) {
                        char task[129] = "before";
                        return CKELD_Status::GetProcessStageObj(object, task);
                    },
                    nullptr};
    expectEachFailure(
        test, {"~DBO_class_id_of_class", "~DBO_attr_id_of_attr", "~DBO_length_of_attr",
               "~DBO_ask_attr_tags", "~DBO_load_instances_possible", "DBO_class_of_instance",
               "DBO_name_of_class", "FLOW_ask_name"});
}
