// The service that renames an item, from its arguments to its result.

#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::both;

namespace {

class RenameService : public world::RenameTest {
protected:
    RenameService() {
        const world::ItemTags made = world.item("ABC");
        item = made.item;
        revision = made.revision;
        plan = world.specification(revision, "plan ABC");
        file = world.bench.addFile(plan, "Text", world::someFile(), "plan ABC.txt");
        world.name(item, "item");
        world.name(revision, "rev");
        world.clearLog();
    }
    void makeReplica() {
        const tag_t site = world.bench.create("Site");
        world.put(site, "site_name", "Far");
        world.bench.set(item, "owning_site", {mervane::Reference{site}});
    }
    tag_t item = NULLTAG, revision = NULLTAG, plan = NULLTAG, file = NULLTAG;
};

}  // namespace

TEST_F(RenameService, RenamesTheItemWithEverythingThatCarriesItsId) {
    EXPECT_EQ(both(0), world::rename(world, item, "XYZ", "Disc", "round"));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_EQ("Disc", world.storedText(item, "object_name"));
    EXPECT_EQ("round", world.storedText(item, "object_desc"));
    EXPECT_EQ("Disc", world.storedText(revision, "object_name"));
    EXPECT_EQ("", world.storedText(revision, "object_desc"));
    EXPECT_EQ("XYZ", world.storedText(world.masterForm(item), "object_name"));
    EXPECT_EQ("XYZ/A", world.storedText(world.masterForm(revision), "object_name"));
    EXPECT_EQ("plan XYZ", world.storedText(plan, "object_name"));
    EXPECT_EQ("plan XYZ.txt", world.storedText(file, "original_file_name"));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    // Its three texts stay allocated.
    EXPECT_EQ(3u, world.newBlocks());
}

TEST_F(RenameService, ReadsItsArgumentsInOrder) {
    const auto calls =
        world.calls([&] { EXPECT_EQ(both(0), world::rename(world, item, "XYZ", "Disc", "d")); });
    EXPECT_THAT(world::Lines(calls.begin(), calls.begin() + 4),
                ElementsAre("SVCARG_get_string_argument()", "SVCARG_get_string_argument()",
                            "SVCARG_get_string_argument()", "SVCARG_get_tag_argument()"));
    const auto lines = world.lines();
    EXPECT_EQ("KELD_ReNameItem  Id=XYZ:" + std::to_string(item), lines[0]);
    EXPECT_EQ("KELD_ReNameItem  Name=Disc", lines[1]);
    EXPECT_EQ("KELD_ReNameItem  Desc=d", lines[2]);
    EXPECT_THAT(world::only(world::traced(world), {"SVCARG"}), IsEmpty());
    EXPECT_THAT(world::traced(world, 0), Contains("KELD_isItemReplica(tagItem, &lIsReplica)"));
}

TEST_F(RenameService, AShortArgumentListShowsInEmptyValues) {
    int result = 99;
    const int status = KELD_ReNameItem(&result);
    EXPECT_NE(0, status);
    EXPECT_EQ(status, result);
    EXPECT_THAT(world.lines("T"), Contains("KELD_ReNameItem  Id=(null):0"));
    EXPECT_THAT(world.lines("T"), Contains("KELD_ReNameItem  Desc=(null)"));
}

TEST_F(RenameService, TakesANullSlot) {
    world.bench.sendArguments({std::string("XYZ"), std::string(), std::string(), item});
    EXPECT_EQ(0, KELD_ReNameItem(nullptr));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
}

TEST_F(RenameService, AnEmptyIdIsRefusedWithoutAnEntryOnTheErrorStack) {
    const std::string before = world.everything();
    EXPECT_EQ(both(919320), world::rename(world, item, "", "Disc"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_EQ(before, world.everything());
}

TEST_F(RenameService, WithoutANameItemAndRevisionsTakeTheNewId) {
    EXPECT_EQ(both(0), world::rename(world, item, "XYZ"));
    EXPECT_EQ("XYZ", world.storedText(item, "object_name"));
    EXPECT_EQ("XYZ", world.storedText(revision, "object_name"));
}

TEST_F(RenameService, AReplicaIsRefusedAndNothingIsChanged) {
    makeReplica();
    const std::string before = world.everything();
    const auto calls =
        world.calls([&] { EXPECT_EQ(both(919342), world::rename(world, item, "XYZ")); });
    EXPECT_EQ(before, world.everything());
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
    EXPECT_THAT(world.lines("E"), ElementsAre("KELD_ReNameItem: Replica not modifiable"));
    EXPECT_EQ(
        "KELD_ReNameItem  Old Id=ABC:" + std::to_string(item) + " is a Replica - not modifiable",
        world.lines().back());
    EXPECT_THAT(world::only(calls, {"ERR_store", "ART_", "REG_", "OPT_ask_char_value("}),
                ElementsAre("ERR_store_error(3, 919342)", "ART_ask_id(item)"));
    EXPECT_EQ(3u, world.newBlocks());
}

TEST_F(RenameService, AReplicasUnreadableIdOnlyLosesItsTrace) {
    makeReplica();
    world.fail("ART_ask_id");
    EXPECT_EQ(both(919342), world::rename(world, item, "XYZ"));
    EXPECT_THAT(world::tracesWith(world, "KELD_ReNameItem  Old Id"), IsEmpty());
}

TEST_F(RenameService, AFailedLookForAReplicaIsTheResult) {
    world.fail("OBJ_get_value_tag");
    const auto calls =
        world.calls([&] { EXPECT_EQ(both(4711), world::rename(world, item, "XYZ")); });
    EXPECT_THAT(world::only(calls, {"ART_", "OPT_ask_char_value("}), IsEmpty());
    EXPECT_EQ("ABC", world.storedText(item, "item_id"));
}

TEST_F(RenameService, ARefusalLeavesTheStoreEqualByteForByte) {
    world::writeProtect(world, plan);
    const std::string before = world.everything();
    EXPECT_EQ(both(919342), world::rename(world, item, "XYZ", "Disc", "round"));
    EXPECT_EQ(before, world.everything());
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
}

TEST_F(RenameService, AnOverlongIdOrDescriptionIsThePlatformsRefusalAndChangesNothing) {
    const std::string huge(5000, 'h'), before = world.everything();
    EXPECT_EQ(both(710008), world::rename(world, item, huge, huge, huge));
    EXPECT_EQ(both(710008), world::rename(world, item, std::string(129, 'h')));
    EXPECT_EQ(both(710008), world::rename(world, item, "XYZ", "", std::string(241, 'h')));
    EXPECT_EQ(before, world.everything());
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(RenameService, AnOverlongNameIsCutAndTheLongestTextsStayWhole) {
    world.bench.set(plan, "ref_list", {});  // a file's name can't grow that long
    const std::string huge(5000, 'h'), id(128, 'i'), description(240, 'd');
    EXPECT_EQ(both(0), world::rename(world, item, id, huge, description));
    EXPECT_EQ(id, world.storedText(item, "item_id"));
    EXPECT_EQ(huge.substr(0, 128), world.storedText(item, "object_name"));
    EXPECT_EQ(description, world.storedText(item, "object_desc"));
    EXPECT_EQ(huge.substr(0, 128), world.storedText(revision, "object_name"));
    EXPECT_EQ(("plan " + id).substr(0, 128), world.storedText(plan, "object_name"));
    EXPECT_EQ(id, world.storedText(world.masterForm(revision), "object_name"));
    EXPECT_THAT(world.lines("W"), IsEmpty());
}

TEST_F(RenameService, TheSameTextsAgainSaveNoItemAndStartNothing) {
    ASSERT_EQ(both(0), world::rename(world, item, "XYZ", "Disc", "round"));
    const auto calls = world.calls(
        [&] { EXPECT_EQ(both(0), world::rename(world, item, "XYZ", "Disc", "round")); });
    EXPECT_THAT(world::only(calls, {"OBJ_save(item", "OBJ_save(rev", "FLOW_", "OBJ_refresh(item"}),
                ElementsAre("OBJ_refresh(item, true)", "OBJ_refresh(item, false)"));
}
