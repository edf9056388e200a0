// Every platform call of a run fails once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_se.h"
#include "platform/mv_acl.h"
#include "tests/status/failing_calls.h"
#include "tests/status/visits.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::kPlanned;
using world::World;

TEST(RunFailing, EveryTracedCallReturnsItsFailureAndTheBypassIsOff) {
    FailingRun test{[](World& world) {
                        world.ini(
                            "[SelectWSO]\nItemRevision=1\n"
                            "[S_ItemRevision]\nPurge=0\nSetReleaseState=Frozen\n");
                        return world.item("000100").revision;
                    },
                    [](World&, tag_t revision) {
                        return KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S");
                    },
                    [](World& world, tag_t revision, int call) {
                        // The first five calls are the test pass; call 27 switches the bypass off.
                        if (call >= 1 && call <= 5) {
                            EXPECT_EQ(0, world.count("ReleaseStatus"));
                        }
                        if (call != 27) {
                            world.bench.addRight({"all", "", "all", "", "CHANGE", false});
                            logical allowed = true;
                            EXPECT_EQ(0, ACL_check_privilege(revision, "CHANGE", &allowed));
                            EXPECT_FALSE(allowed);
                        }
                    }};
    const std::vector<std::string> operations = {
        // test pass
        "DBO_attr_id_of_attr", "DBO_length_of_attr", "CKO_is_checked_out",
        "!CKO_assert_object_modifiable", "ACL_check_privilege",
        // attribute pass
        "~ACL__set_application_bypass", "DBO_attr_id_of_attr", "DBO_length_of_attr",
        "~DBO_class_of_instance", "~DBO_name_of_class", "~DBO_attr_id_of_attr",
        "~DBO_attr_id_of_attr", "~DBO_attr_id_of_attr", "~RLS_create_release_status",
        // a status that isn't saved can't be referred to, so the object's own save fails
        "!DBO_set_attr_string", "!DBO_set_attr_date", "!DBO_save_instances",
        "~DBO_refresh_instances_any_class",
        // setting the status
        "~DBO_refresh_instances_any_class", "~DBO_length_of_attr", "OBJ_ask_if_modifiable",
        "DBO_refresh_instances_any_class", "DBO_append_attr_tags", "DBO_set_attr_date",
        "DBO_save_instances", "DBO_refresh_instances_any_class", "~ACL__set_application_bypass",
        // action pass
        "DBO_attr_id_of_attr", "DBO_length_of_attr", "DBO_ask_attr_tags",
        "DBO_load_instances_possible", "DBO_attr_id_of_attr", "DBO_ask_attr_string",
        // destructor
        "~DBO_referencers_of_instance"};
    expectEachFailure(test, operations);
}

namespace {

// A start object of each kind of entry, the calls that lead to the next object, and how many blocks
// a failure of each of them leaves.
struct Kind {
    const char* entry;
    const char* start_type;
    std::vector<std::pair<std::string, std::size_t>> calls;
};

tag_t startOf(World& world, const Kind& kind) {
    const world::ItemTags made = world.item("000100");
    const tag_t second = world.revision(made.item, "B");
    world.occurrence(second, world.item("000200").revision);
    world.specification(second, "drawing", "Drawing");
    world.ini(std::string("[SelectWSO]\nItem=1\nItemRevision=1\nBOMLine=1\n[S_") + kind.start_type +
              "]\nChangeForward=" + kind.entry + "\n");
    if (kind.start_type == std::string("Item"))
        return made.item;
    if (kind.start_type == std::string("BOMLine"))
        return world.bench.openBomWindow(second);
    return second;
}

}  // namespace

TEST(WalkFailing, EachKindReturnsTheFailuresOfItsCallsAndLeavesItsList) {
    const Kind kinds[] = {
        {"LastItemRevision", "Item", {{"ART_ask_latest_rev", 0}, {"ENT_ask_object_type", 0}}},
        {"ItemOfRev", "ItemRevision", {{"ART_ask_item_of_rev", 0}, {"ENT_ask_object_type", 0}}},
        {"OldItemRevision",
         "ItemRevision",
         {{"ART_ask_item_of_rev", 0}, {"ART_list_all_revs", 0}, {"ENT_ask_object_type", 1}}},
        {"BOM", "ItemRevision", {{"ART_rev_list_bom_view_revs", 0}}},
        {"ChildBomLines", "BOMLine", {{"LINE_ask_child_lines", 0}}},
        {"bl_revision",
         "BOMLine",
         {{"LINE_look_up_attribute", 0},
          {"LINE_ask_attribute_tag", 0},
          {"ENT_ask_object_type", 0}}},
        {"Rel.VANE_specification.*",
         "ItemRevision",
         {{"REL_find_relation_type", 0}, {"REL_list_secondary_objects", 0}}},
    };
    for (const Kind& kind : kinds) {
        for (const auto& [operation, blocks] : kind.calls) {
            SCOPED_TRACE(std::string(kind.entry) + ", " + operation);
            World world;
            const tag_t start = startOf(world, kind);
            const std::size_t before = world.newBlocks();
            world.fail(operation);
            EXPECT_EQ(kPlanned, KELD_StatusManager_ManageStatus(start, kind.start_type, "S"));
            EXPECT_EQ(before + blocks, world.newBlocks());
        }
    }
}

TEST(WalkFailing, AFailureBelowAListLeavesTheListAllocated) {
    for (const char* entry : {"BOM", "Rel.VANE_specification.*"}) {
        SCOPED_TRACE(entry);
        World world;
        const tag_t start = startOf(world, {entry, "ItemRevision", {}});
        world.fail("CKO_is_checked_out", 2);
        EXPECT_EQ(kPlanned, KELD_StatusManager_ManageStatus(start, "ItemRevision", "S"));
        EXPECT_EQ(1u, world.newBlocks());
    }
}

TEST(WalkFailing, ARefusalBelowAListIsCarriedOutAtOnce) {
    World world;
    const tag_t start = startOf(world, {"Rel.VANE_specification.*;ItemOfRev", "ItemRevision", {}});
    world.giveStatus(world.bench.resolve("000100/B:drawing"), "Working");
    EXPECT_EQ(919403, KELD_StatusManager_ManageStatus(start, "ItemRevision", "S"));
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"S_ItemRevision", "S_VANE_specification.*"}}),
              visits(world));
}

TEST(WalkFailing, NoFailureInTheTestPassReachesTheAttributePass) {
    World world;
    const tag_t start = startOf(world, {"ItemOfRev", "ItemRevision", {}});
    for (const char* operation : {"DBO_length_of_attr", "CKO_is_checked_out",
                                  "CKO_assert_object_modifiable", "ACL_check_privilege"}) {
        for (int n = 1; n <= 2; ++n) {
            world.fail(operation, n);
            const auto calls = world.calls(
                [&] { EXPECT_NE(0, KELD_StatusManager_ManageStatus(start, "ItemRevision", "S")); });
            for (const std::string& call : calls)
                EXPECT_FALSE(call.starts_with("ACL__set_application_bypass")) << operation;
        }
    }
}

TEST(WalkFailing, AFailureInTheActionPassLeavesWhatTheAttributePassDid) {
    World world;
    const tag_t revision = world.item("000100").revision;
    world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nSetReleaseState=Frozen\n");
    world.fail("DBO_ask_attr_string");
    EXPECT_EQ(kPlanned, KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
}
