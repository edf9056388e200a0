// The service that renames an item or one of its revisions as its action says.

#include "tests/rename/rename_world.h"

#include "platform/mv_reg.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::both;
using world::renameExtended;

namespace {

constexpr int kTest = 3, kModify = 7;

class ExtendedService : public world::RenameTest {
protected:
    ExtendedService() {
        const world::ItemTags made = world.item("ABC");
        item = made.item;
        first = made.revision;
        second = world.revision(item, "B");
        plan = world.specification(second, "plan ABC/B");
        world.put(item, "object_name", "Plate");
        world.put(item, "object_desc", "flat");
        world.name(item, "item");
        world.clearLog();
    }
    std::string id() { return world.storedText(item, "item_id"); }
    std::string revisionId(tag_t revision) {
        return world.storedText(revision, "item_revision_id");
    }
    tag_t item = NULLTAG, first = NULLTAG, second = NULLTAG, plan = NULLTAG;
};

}  // namespace

TEST_F(ExtendedService, RenamesItemAndRevision) {
    EXPECT_EQ(both(0), renameExtended(world, item, second, "XYZ", "2", kModify, "Disc", "round"));
    EXPECT_EQ("XYZ", id());
    EXPECT_EQ("A", revisionId(first));
    EXPECT_EQ("2", revisionId(second));
    EXPECT_EQ("plan XYZ/2", world.storedText(plan, "object_name"));
    EXPECT_EQ("Disc", world.storedText(first, "object_name"));
    EXPECT_EQ("round", world.storedText(item, "object_desc"));
    // Its four texts stay allocated.
    EXPECT_EQ(4u, world.newBlocks());
    // The item's form and the revisions' forms hold an id, so nothing keeps its lock.
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(ExtendedService, ReadsItsArgumentsInOrder) {
    const auto calls = world.calls(
        [&] { EXPECT_EQ(both(0), renameExtended(world, item, second, "XYZ", "2", 7, "N", "D")); });
    EXPECT_THAT(world::Lines(calls.begin(), calls.begin() + 7),
                ElementsAre("SVCARG_get_string_argument()", "SVCARG_get_string_argument()",
                            "SVCARG_get_string_argument()", "SVCARG_get_string_argument()",
                            "SVCARG_get_tag_argument()", "SVCARG_get_tag_argument()",
                            "SVCARG_get_int_argument()"));
    const auto lines = world.lines();
    ASSERT_GE(lines.size(), 4u);
    EXPECT_THAT(world::Lines(lines.begin(), lines.begin() + 4),
                ElementsAre("RenameItemExtended  ItemId=XYZ:" + std::to_string(item),
                            "RenameItemExtended  RevId=2:" + std::to_string(second),
                            "RenameItemExtended  Name=N", "RenameItemExtended  Desc=D"));
}

TEST_F(ExtendedService, AShortArgumentListShowsInEmptyValues) {
    int result = 99;
    const int status = KELD_ReNameItemExtended(&result);
    EXPECT_NE(0, status);
    EXPECT_EQ(status, result);
    EXPECT_THAT(world.lines("T"), Contains("RenameItemExtended  ItemId=(null):0"));
    EXPECT_THAT(world.lines("T"), Contains("RenameItemExtended  RevId=(null):0"));
    EXPECT_NE(0, KELD_ReNameItemExtended(nullptr));
}

TEST_F(ExtendedService, ATestPassChangesNothingAndStartsNothing) {
    world.bench.createProcessTemplate("Follow", {"Check"});
    world::settings(world, {"StartWorkflowItem=Follow", "SaveOldId=im.previous_id"});
    const std::string before = world.everything();
    EXPECT_EQ(both(0), renameExtended(world, item, second, "XYZ", "2", kTest, "Disc", "round"));
    EXPECT_EQ(before, world.everything());
    EXPECT_EQ(0, world.count("FLOWProcess"));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(ExtendedService, TheRegistryIsServedInATestPassToo) {
    const tag_t site = world.bench.create("Site");
    world.put(site, "site_name", "HQ");
    world.bench.setPreference("ART_id_registry", {"true"});
    world.bench.setPreference("ART_id_registry_site", {"HQ"});
    world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
    ASSERT_EQ(0, REG_register_item_id("ABC", 7));
    const std::string before = world.everything();
    const auto calls = world.calls(
        [&] { EXPECT_EQ(both(0), renameExtended(world, item, second, "XYZ", "2", kTest)); });
    EXPECT_THAT(
        world::only(calls, {"REG_"}),
        ElementsAre("REG_is_item_id_registered(ABC, 0)", "REG_is_item_id_registered(XYZ, 0)",
                    "REG_register_item_id(XYZ, 0)", "REG_is_item_id_registered(ABC, 0)"));
    EXPECT_THAT(world.lines("T"), Contains("ABC still exists in DB, so do not unregister"));
    ASSERT_EQ(0, REG_unregister_item_id("XYZ", 7));
    EXPECT_EQ(before, world.everything());
}

TEST_F(ExtendedService, AReplicaIsNotTestedForHere) {
    const tag_t site = world.bench.create("Site");
    world.put(site, "site_name", "Far");
    world.bench.set(item, "owning_site", {mervane::Reference{site}});
    const auto calls = world.calls(
        [&] { EXPECT_EQ(both(0), renameExtended(world, item, second, "XYZ", "2", kModify)); });
    EXPECT_THAT(world::only(calls, {"OBJ_get_value_tag"}), IsEmpty());
    EXPECT_EQ("XYZ", id());
}

TEST_F(ExtendedService, EmptyIdsAreRefusedWithAnEntryOnTheErrorStack) {
    EXPECT_EQ(both(919320), renameExtended(world, item, second, "", "2", kModify));
    EXPECT_EQ(both(919320), renameExtended(world, item, second, "XYZ", "", kModify));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919320", "3:919320"));
    EXPECT_THAT(world.lines("E"), ElementsAre("CKELD_ReName::RenameIdOK no ItemId",
                                              "CKELD_ReName::RenameIdOK no RevisionId"));
    EXPECT_EQ("ABC", id());
}

TEST_F(ExtendedService, ARevisionIdThatIsTakenIsThePlatformsRefusal) {
    const auto outcome = renameExtended(world, item, second, "XYZ", "A", kModify);
    EXPECT_EQ(both(710017), outcome);
    EXPECT_EQ("XYZ", id());  // changed before the revision
    EXPECT_EQ("B", revisionId(second));
    EXPECT_TRUE(world.locked(second));
}

TEST_F(ExtendedService, OverlongIdsAreThePlatformsRefusal) {
    const std::string huge(5000, 'h');
    EXPECT_EQ(both(710008), renameExtended(world, item, second, huge, huge, kModify, huge, huge));
    EXPECT_EQ("ABC", id());
    EXPECT_EQ(both(710008), renameExtended(world, item, second, "XYZ", huge, kModify, huge));
    EXPECT_EQ("XYZ", id());  // changed before the revision
    EXPECT_EQ("B", revisionId(second));
    EXPECT_EQ(huge.substr(0, 128), world.storedText(item, "object_name"));
}

TEST_F(ExtendedService, TheLongestIdsStayWholeAndNamesAreCut) {
    const std::string id_text(128, 'i'), revision_text(128, 'r');
    EXPECT_EQ(both(0), renameExtended(world, item, second, id_text, revision_text, kModify));
    EXPECT_EQ(id_text, id());
    EXPECT_EQ(revision_text, revisionId(second));
    EXPECT_EQ(("plan " + id_text).substr(0, 128), world.storedText(plan, "object_name"));
}
