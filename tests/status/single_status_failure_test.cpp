// Every platform call of the single status fails once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/keld_se.h"
#include "tests/status/failing_calls.h"
#include "tests/support/patterns.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using world::FailingRun;
using world::World;

namespace {

const date_s kDate = {2013, 10, 14, 16, 13, 5};

tag_t withStatus(World& world) {
    const tag_t revision = world.item("000100").revision;
    world.giveStatus(revision, "Working");
    return revision;
}

}  // namespace

TEST(SingleStatusFailing, PreparingIsNeverReportedAndShowsInTheInstance) {
    const std::vector<std::string> operations = {
        "DBO_attr_id_of_attr", "DBO_attr_id_of_attr",
        "DBO_attr_id_of_attr", "RLS_create_release_status",
        "DBO_set_attr_string", "DBO_set_attr_date",
        "DBO_save_instances",  "DBO_refresh_instances_any_class"};
    for (int call = 1; call <= static_cast<int>(operations.size()); ++call) {
        SCOPED_TRACE(operations[static_cast<std::size_t>(call) - 1]);
        World world;
        tag_t prepared = NULLTAG;
        {
            world.fail("", call);
            CKELD_Status1 status("Frozen", &kDate);
            world.failNothing();
            EXPECT_STREQ("Frozen", status._cState);
            prepared = status._tagRelState;
            EXPECT_EQ(call > 4, prepared != NULLTAG);
            EXPECT_EQ(call > 1, status._tagReleaseStatusAttribute != NULLTAG);
            EXPECT_EQ(call > 3, status._tagReleaseDateAttribute != NULLTAG);
            EXPECT_THAT(world.lines("E"),
                        Contains(StartsWith(
                            "##QSK_err_4711: " + operations[static_cast<std::size_t>(call) - 1] +
                            "(...)   " SHOWN_SOURCE("status", "keld_status1.cpp:"))));
        }
        // The destructor treats an unsaved status like a saved one.
        if (prepared != NULLTAG) {
            EXPECT_FALSE(world.exists(prepared));
        }
    }
}

TEST(SingleStatusFailing, SettingReturnsItsOwnFailuresAndDropsThoseOfRemoving) {
    std::unique_ptr<CKELD_Status1> status;
    FailingRun test{[&](World& world) {
                        const tag_t revision = withStatus(world);
                        status = std::make_unique<CKELD_Status1>("Frozen", &kDate);
                        return revision;
                    },
                    [&](World&, tag_t object) { return status->Set(object); },
                    [&](World& world, tag_t object, int call) {
                        EXPECT_EQ(call >= 15, world.locked(object));
                        if (call == 2 || call == 3 || call == 7) {  // nothing was removed
                            EXPECT_THAT(world.statuses(object), ElementsAre("Working", "Frozen"));
                        } else if (call >= 13 && call <= 17) {
                            EXPECT_THAT(world.statuses(object), IsEmpty());
                        } else if (call == 0 || call >= 11) {
                            EXPECT_THAT(world.statuses(object), ElementsAre("Frozen"));
                        }
                        status.reset();
                    }};
    expectEachFailure(
        test, {"~DBO_refresh_instances_any_class", "~DBO_length_of_attr", "~OBJ_ask_if_modifiable",
               "~DBO_ask_attr_tags", "~DBO_load_instances_possible",
               "~DBO_refresh_instances_any_class", "~DBO_remove_from_attr", "~DBO_set_attr_null",
               "~DBO_save_instances", "~DBO_refresh_instances_any_class",
               "~DBO_referencers_of_instance", "~DBO_delete_instances", "OBJ_ask_if_modifiable",
               "DBO_refresh_instances_any_class", "DBO_append_attr_tags", "DBO_set_attr_date",
               "DBO_save_instances", "DBO_refresh_instances_any_class"});
}

TEST(SingleStatusFailing, RemovingReturnsEveryFailureButThatOfDeletingAStatus) {
    std::unique_ptr<CKELD_Status1> status;
    FailingRun test{[&](World& world) {
                        const tag_t revision = withStatus(world);
                        status = std::make_unique<CKELD_Status1>("none");
                        return revision;
                    },
                    [&](World&, tag_t object) { return status->DelAllState(object); },
                    [&](World& world, tag_t object, int call) {
                        EXPECT_EQ(call >= 7 && call <= 10, world.locked(object));
                        // The three arrays of the list, then the loaded list too, stay allocated.
                        const std::size_t left = call == 5 ? 3 : call >= 6 && call <= 10 ? 4 : 0;
                        EXPECT_EQ(left, world.newBlocks());
                        status.reset();
                    }};
    expectEachFailure(
        test, {"DBO_refresh_instances_any_class", "DBO_length_of_attr", "OBJ_ask_if_modifiable",
               "DBO_ask_attr_tags", "DBO_load_instances_possible",
               "DBO_refresh_instances_any_class", "DBO_remove_from_attr", "DBO_set_attr_null",
               "DBO_save_instances", "DBO_refresh_instances_any_class",
               "~DBO_referencers_of_instance", "~DBO_delete_instances"});
}

TEST(SingleStatusFailing, SettingNoneDropsEveryFailureOfRemoving) {
    std::unique_ptr<CKELD_Status1> status;
    FailingRun test{[&](World& world) {
                        const tag_t revision = withStatus(world);
                        status = std::make_unique<CKELD_Status1>("none");
                        return revision;
                    },
                    [&](World&, tag_t object) { return status->Set(object); },
                    [&](World& world, tag_t object, int call) {
                        EXPECT_EQ(call >= 7 && call <= 10, world.locked(object));
                        if (call >= 1 && call <= 9) {
                            EXPECT_THAT(world.statuses(object), ElementsAre("Working"));
                        } else {
                            EXPECT_THAT(world.statuses(object), IsEmpty());
                        }
                        status.reset();
                    }};
    expectEachFailure(
        test, {"~DBO_refresh_instances_any_class", "~DBO_length_of_attr", "~OBJ_ask_if_modifiable",
               "~DBO_ask_attr_tags", "~DBO_load_instances_possible",
               "~DBO_refresh_instances_any_class", "~DBO_remove_from_attr", "~DBO_set_attr_null",
               "~DBO_save_instances", "~DBO_refresh_instances_any_class",
               "~DBO_referencers_of_instance", "~DBO_delete_instances"});
}

TEST(SingleStatusFailing, DeletingAnUnusedStatusReturnsEveryFailure) {
    FailingRun test{
        [](World& world) {
            const tag_t unused = world.bench.create("ReleaseStatus");
            world.put(unused, "name", "Unused");
            return unused;
        },
        [](World&, tag_t unused) {
            CKELD_Status1 any("");
            return any.DelRelTagOnNotReferenze(unused);
        },
        [](World& world, tag_t unused, int call) { EXPECT_EQ(call != 0, world.exists(unused)); }};
    expectEachFailure(test, {"DBO_referencers_of_instance", "DBO_delete_instances"});
}
