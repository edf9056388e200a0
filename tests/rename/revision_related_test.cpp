// What hangs on a revision, and every platform call about a revision failing once.

#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

constexpr int kTest = 11, kIdOnly = 15, kExtended = 7;

int run(tag_t revision, int action, const char* new_revision = nullptr,
        const char* excluded = ";;VANE_based_on;") {
    return CKELD_ReName::ChangeRevInfos(revision, revision, "ItemRevision", excluded, ";;", "ABC",
                                        "A", "Old Plate", "old", "XYZ", new_revision, "Disc",
                                        "round", action, true, true);
}

class RevisionRelated : public world::RenameTest {
protected:
    RevisionRelated() {
        const world::ItemTags made = world.item("ABC");
        revision = made.revision;
        world.name(revision, "rev");
        form = world.masterForm(revision);
        plan = world.specification(revision, "plan ABC/A");
        bvr = world.bench.bomViewRevision(revision);
        world.put(bvr, "object_name", "ABC/A-view");
        world.name(form, "form");
        world.name(plan, "plan");
        world.name(bvr, "bvr");
        world.clearLog();
    }
    world::Lines names() {
        return {world.storedText(form, "object_name"), world.storedText(plan, "object_name"),
                world.storedText(bvr, "object_name")};
    }
    tag_t revision = NULLTAG, form = NULLTAG, plan = NULLTAG, bvr = NULLTAG;
};

}  // namespace

TEST_F(RevisionRelated, AllFollowTheItemIdInTheIdOnlyMode) {
    EXPECT_EQ(0, run(revision, kIdOnly));
    EXPECT_THAT(names(), ElementsAre("XYZ/A", "plan XYZ/A", "XYZ/A-view"));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_THAT(world::traced(world, 0),
                Contains("RenameObj(BOMList[jj], cNewItemId, cOldItemId, NULL, NULL, NULL, NULL, "
                         "NULL, NULL, NULL)"));
}

TEST_F(RevisionRelated, AllFollowBothIdsInTheExtendedMode) {
    EXPECT_EQ(0, run(revision, kExtended, "2"));
    EXPECT_THAT(names(), ElementsAre("XYZ/2", "plan XYZ/2", "XYZ/2-view"));
    EXPECT_THAT(world::traced(world, 0), Contains("RenameObjExtended(...)"));
}

TEST_F(RevisionRelated, AnExcludedRelationIsLeftAlone) {
    EXPECT_EQ(0, run(revision, kIdOnly, nullptr, ";VANE_specification;VANE_based_on;"));
    EXPECT_THAT(names(), ElementsAre("XYZ/A", "plan ABC/A", "XYZ/A-view"));
}

TEST_F(RevisionRelated, TheItemsOldNameGuidesThemNotTheRevisions) {
    world::settings(world, {"ChangeObjectName.ItemRevision.VANE_specification.Text=4"});
    world::called(world, plan, "Old Plate");
    world::called(world, revision, "Revision name");
    EXPECT_EQ(0, run(revision, kIdOnly));
    EXPECT_EQ("Disc", names()[1]);
}

TEST_F(RevisionRelated, TheTestPassAsksEachInTheOrderOfTheModifyingPass) {
    const auto tested = world.calls([&] { EXPECT_EQ(0, run(revision, kTest)); });
    EXPECT_THAT(world::only(tested, {"OBJ_ask_if_modifiable"}),
                ElementsAre("OBJ_ask_if_modifiable(rev)", "OBJ_ask_if_modifiable(form)",
                            "OBJ_ask_if_modifiable(plan)", "OBJ_ask_if_modifiable(bvr)"));
    const auto modified = world.calls([&] { EXPECT_EQ(0, run(revision, kIdOnly)); });
    EXPECT_THAT(world::only(modified, {"ENT_set_name"}),
                ElementsAre("ENT_set_name(rev, Disc)", "ENT_set_name(form, XYZ/A)",
                            "ENT_set_name(plan, plan XYZ/A)", "ENT_set_name(bvr, XYZ/A-view)"));
}

TEST_F(RevisionRelated, ARefusedRelatedObjectEndsTheTestPass) {
    world::writeProtect(world, form);
    const auto calls = world.calls([&] { EXPECT_EQ(919342, run(revision, kTest)); });
    EXPECT_THAT(
        world::only(calls, {"OBJ_ask_if_modifiable(plan", "OBJ_ask_if_modifiable(bvr", "ART_"}),
        IsEmpty());
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(RevisionRelated, ARefusedBomViewRevisionEndsTheTestPass) {
    world::writeProtect(world, bvr);
    EXPECT_EQ(919342, run(revision, kTest));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
    EXPECT_THAT(world::errors(world), IsEmpty());
}

TEST_F(RevisionRelated, TheModifyingPassDoesntAskABomViewRevisionButTriesIt) {
    world::writeProtect(world, bvr);
    EXPECT_EQ(mervane::kNotAllowed, run(revision, kIdOnly));
    EXPECT_THAT(names(), ElementsAre("XYZ/A", "plan XYZ/A", "ABC/A-view"));
}

TEST_F(RevisionRelated, AFailedSaveEndsTheWorkBeforeTheRelatedObjects) {
    world.fail("OBJ_save");
    EXPECT_EQ(4711, run(revision, kIdOnly));
    EXPECT_THAT(names(), ElementsAre("ABC/A", "plan ABC/A", "ABC/A-view"));
    EXPECT_FALSE(world.locked(revision));
}

// ---- failures ----

TEST(RevisionFailing, EachFailureIsReturnedAndTheLockLeftWhereTheFunctionIsLeft) {
    FailingRun test{
        [](World& world) {
            const world::ItemTags made = world.item("ABC");
            world::settings(world, {});
            return made.revision;
        },
        [](World&, tag_t revision) { return run(revision, kExtended, "2", ";VANE_master_form;"); },
        [](World& world, tag_t revision, int call) {
            // After the lock only a failed save goes on to release it; the release itself is the
            // tenth call.
            EXPECT_EQ((call >= 6 && call <= 8) || call == 10, world.locked(revision)) << call;
            EXPECT_EQ(call == 0 || call >= 10 ? "2" : "A",
                      world.storedText(revision, "item_revision_id"));
        }};
    // The first two answer whether it can be changed: a failure counts as no.
    expectEachFailure(
        test, {"!OBJ_ask_if_modifiable", "!CKO_is_checked_out", "ENT_ask_name",
               "ENT_ask_description", "OBJ_refresh", "ART_set_rev_id", "ENT_set_name",
               "ENT_set_description", "OBJ_save", "~OBJ_refresh", "REL_list_secondary_objects",
               "MVTYPE_ask_name", "ART_rev_list_bom_view_revs"});
}

TEST(RevisionFailing, TheListOfBomViewRevisionsIsLostWhereTheFunctionIsLeft) {
    World world;
    const world::ItemTags made = world.item("ABC");
    const tag_t bvr = world.bench.bomViewRevision(made.revision);
    world::writeProtect(world, bvr);
    EXPECT_EQ(mervane::kNotAllowed, run(made.revision, kExtended, "2"));
    EXPECT_EQ(1u, world.newBlocks());
    EXPECT_EQ(mervane::kNotAllowed, run(made.revision, kIdOnly));  // the in-line form
    EXPECT_EQ(1u, world.newBlocks());
}

TEST(RevisionFailing, NoListIsLostInTheInLineCalls) {
    World world;
    const world::ItemTags made = world.item("ABC");
    world.fail("REL_list_secondary_objects");
    EXPECT_EQ(4711, run(made.revision, kIdOnly));
    EXPECT_EQ(0u, world.newBlocks());
    world.bench.setFaults({{"ART_rev_list_bom_view_revs", 1, 4711}});
    EXPECT_EQ(4711, run(made.revision, kIdOnly));
    EXPECT_EQ(0u, world.newBlocks());
}
