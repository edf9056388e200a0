// What the test pass refuses, and revisions whose status forbids a rename.

#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WalkRefusal : public world::RenameTest {
protected:
    WalkRefusal() {
        const world::ItemTags made = world.item("ABC");
        item = made.item;
        first = made.revision;
        last = world.revision(item, "B");
        plan = world.specification(first, "plan ABC");
        item_plan = world.dataset("item plan ABC");
        world.bench.relate(item, item_plan, "VANE_reference");
        bvr = world.bench.bomViewRevision(first);
        view = std::get<mervane::Reference>(world.bench.get(bvr, "bom_view")[0]).tag;
        world::writeProtectStatus(world, "Frozen");
        world.name(first, "A");
        world.name(last, "B");
        world.clearLog();
    }
    int run(tag_t about, int action, const char* revision_id = "2") {
        return CKELD_ReName::RenameItemTreeCombined(item, about, "XYZ", revision_id, "Disc", "",
                                                    action);
    }
    // The whole rename is refused, and everything is as it was.
    void expectRefused(int status) {
        const std::string before = world.everything();
        const std::size_t locks = world.bench.heldLocks();
        EXPECT_EQ(status, CKELD_ReName::RenameItem(item, "XYZ", "Disc", ""));
        EXPECT_EQ(before, world.everything());
        EXPECT_EQ(locks, world.bench.heldLocks());
        EXPECT_EQ(0u, world.newBlocks());
        EXPECT_THAT(world::stack(world), ElementsAre("3:" + std::to_string(status)));
        EXPECT_THAT(world::traced(world, 0), ElementsAre("RenameItemTreeCombined(...)"));
        const auto errors = world.lines("E");
        EXPECT_THAT(errors, Contains(testing::StartsWith("##QSK_err_" + std::to_string(status) +
                                                         ": RenameItemTreeCombined(...)   ")));
    }
    std::string name(tag_t object) { return world.storedText(object, "object_name"); }
    tag_t item, first, last, plan, item_plan, bvr, view;
};

}  // namespace

TEST_F(WalkRefusal, AReadOnlyItemIsRefusedBeforeItsRelationsAreListed) {
    world::writeProtect(world, item);
    expectRefused(919342);
    EXPECT_THAT(world::traced(world, 1),
                testing::Not(Contains(testing::StartsWith("REL_list_secondary_objects"))));
}

TEST_F(WalkRefusal, ACheckedOutItemIsRefused) {
    world.bench.checkOut(item, "");
    expectRefused(919342);
}

TEST_F(WalkRefusal, AnItemLockedByAnotherSessionIsRefused) {
    const auto other = world.otherUser("tom");
    world.as(other, [&] { ASSERT_EQ(0, OBJ_lock(item)); });
    expectRefused(919342);
}

TEST_F(WalkRefusal, AReadOnlyRelatedObjectOfTheItemIsRefused) {
    world::writeProtect(world, item_plan);
    expectRefused(919342);
}

TEST_F(WalkRefusal, AReadOnlyBomViewIsRefused) {
    world::writeProtect(world, view);
    expectRefused(919342);
}

TEST_F(WalkRefusal, AReadOnlyRevisionIsRefused) {
    world::writeProtect(world, last);
    expectRefused(919342);
}

TEST_F(WalkRefusal, ARevisionWithAForbiddenStatusIsRefused) {
    world.giveStatus(first, "Frozen");
    expectRefused(919343);
}

TEST_F(WalkRefusal, AReadOnlyRelatedObjectOfARevisionIsRefused) {
    world::writeProtect(world, plan);
    expectRefused(919342);
}

TEST_F(WalkRefusal, AReadOnlyBomViewRevisionIsRefused) {
    world::writeProtect(world, bvr);
    expectRefused(919342);
}

TEST_F(WalkRefusal, AListedStatusKeepsARevisionWithAllThatHangsOnIt) {
    world::settings(world, {"RenameOnRevisionStatus=Frozen"});
    world.giveStatus(first, "Frozen");
    EXPECT_EQ(0, CKELD_ReName::RenameItem(item, "XYZ", "Disc", ""));
    EXPECT_EQ("ABC", name(first));
    EXPECT_EQ("plan ABC", name(plan));
    EXPECT_EQ("Disc", name(last));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
}

// ---- two ids: the statuses are checked with the item ----

TEST_F(WalkRefusal, AnOldForbiddenStatusLeavesTheOneRevisionAlone) {
    world.giveStatus(first, "Frozen");
    EXPECT_EQ(0, run(last, 7));
    EXPECT_EQ("ABC", name(first));
    EXPECT_EQ("plan ABC", name(plan));
    EXPECT_EQ("Disc", name(last));
    EXPECT_EQ("2", world.storedText(last, "item_revision_id"));
    // The item has been changed before the statuses were looked at.
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_EQ(1u, world::tracesWith(world, "Revision[").size());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(WalkRefusal, TheTestPassTakesTheSameWayOut) {
    world.giveStatus(first, "Frozen");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(last, 3)); });
    EXPECT_THAT(
        world::only(calls, {"REL_list_secondary_objects(A", "REL_list_secondary_objects(B"}),
        ElementsAre("REL_list_secondary_objects(B, ?)"));
}

TEST_F(WalkRefusal, AForbiddenStatusWithoutRevisionsInTheActionIsRefused) {
    world.giveStatus(first, "Frozen");
    EXPECT_EQ(919343, run(last, 2));
    EXPECT_EQ(919343, run(last, RENAME_ITEM | RENAME_MODIFY));
    // Without a test pass the item is changed already.
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
}

TEST_F(WalkRefusal, AForbiddenNewestRevisionIsRefusedAfterTheItemHasChanged) {
    world.giveStatus(last, "Frozen");
    EXPECT_EQ(919343, run(first, 7));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_EQ("item plan XYZ", name(item_plan));
    EXPECT_EQ("ABC", name(first));
    EXPECT_EQ("plan ABC", name(plan));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919343"));
}

TEST_F(WalkRefusal, TheIdOnlyModeHasNoWayOut) {
    world.giveStatus(first, "Frozen");
    EXPECT_EQ(919343, run(last, 11, nullptr));
}

TEST_F(WalkRefusal, ARevisionAloneIsCheckedByItself) {
    world.giveStatus(first, "Frozen");
    EXPECT_EQ(0, run(last, RENAME_REVISIONS | RENAME_MODIFY));
    EXPECT_EQ("ABC", world.storedText(item, "item_id"));
    EXPECT_EQ("item plan ABC", name(item_plan));
    EXPECT_EQ("2", world.storedText(last, "item_revision_id"));
    EXPECT_EQ(919343, run(first, RENAME_REVISIONS | RENAME_MODIFY));
}
