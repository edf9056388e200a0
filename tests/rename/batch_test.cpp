// The entry of batch programs.

#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class BatchEntry : public world::RenameTest {
protected:
    BatchEntry() {
        const world::ItemTags made = world.item("ABC");
        item = made.item;
        first = made.revision;
        second = world.revision(item, "B");
        world.put(item, "object_name", "Plate");
        world.put(item, "object_desc", "flat");
        world.name(item, "item");
        world.clearLog();
    }
    std::string id() { return world.storedText(item, "item_id"); }
    std::string revisionId(tag_t revision) {
        return world.storedText(revision, "item_revision_id");
    }
    tag_t item = NULLTAG, first = NULLTAG, second = NULLTAG;
};

}  // namespace

TEST_F(BatchEntry, RenamesAnItemInTwoPasses) {
    EXPECT_EQ(0, KELD_BatchReName("ABC", nullptr, "XYZ", nullptr, "Disc", "round"));
    EXPECT_EQ("XYZ", id());
    EXPECT_EQ("Disc", world.storedText(item, "object_name"));
    EXPECT_EQ("round", world.storedText(item, "object_desc"));
    EXPECT_EQ(2, std::ranges::count_if(world::traced(world), [](const std::string& call) {
                  return call == "RenameItemTreeCombined(...)";
              }));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(BatchEntry, RenamesARevisionInOneModifyingPass) {
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, KELD_BatchReName("ABC", "B", "XYZ", "2", "", "")); });
    EXPECT_EQ("XYZ", id());
    EXPECT_EQ("2", revisionId(second));
    EXPECT_EQ(1, std::ranges::count(calls, std::string("ART_list_all_revs(item)")));
    const auto traced = world::traced(world, 0);
    for (const char* call :
         {"KELD_ART_find_item(pcItem, &tagItem)", "ART_find_revision(tagItem, pcRev, &tagRev)",
          "ENT_describe(tagItem, &desc)"})
        EXPECT_THAT(traced, Contains(call));
}

TEST_F(BatchEntry, BlankTextsKeepNameAndDescription) {
    for (const char* blank : {"", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(0, KELD_BatchReName("ABC", "", "XYZ", "", blank, blank));
        EXPECT_EQ("Plate", world.storedText(item, "object_name"));
        EXPECT_EQ("flat", world.storedText(item, "object_desc"));
        world.put(item, "item_id", "ABC");
    }
    EXPECT_EQ("Plate", world.storedText(first, "object_name"));
}

TEST_F(BatchEntry, AnEmptyItemIsRefusedWithoutAnEntryOnTheErrorStack) {
    for (const char* empty : {"", static_cast<const char*>(nullptr)}) {
        world.clearLog();
        EXPECT_EQ(919320, KELD_BatchReName(empty, "B", "XYZ", "2", "", ""));
        EXPECT_THAT(world.lines(), ElementsAre("KELD_BatchReName: no ItemId"));
        EXPECT_EQ('E', world.log().at(0).level);
    }
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(BatchEntry, AnUnknownRevisionIsRefusedWithoutAnEntryOnTheErrorStack) {
    const std::string before = world.everything();
    EXPECT_EQ(48053, KELD_BatchReName("ABC", "Z", "XYZ", "2", "", ""));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_EQ(before, world.everything());
}

TEST_F(BatchEntry, AnUnknownItemFailsInThePlatform) {
    EXPECT_EQ(710003, KELD_BatchReName("NONE", nullptr, "XYZ", "2", "", ""));
    EXPECT_EQ(710003, KELD_BatchReName("NONE", "A", "XYZ", "2", "", ""));
}

TEST_F(BatchEntry, EmptyNewIdsAreRefusedAsInTheServices) {
    EXPECT_EQ(919320, KELD_BatchReName("ABC", nullptr, "", nullptr, "", ""));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_EQ(919320, KELD_BatchReName("ABC", "B", "XYZ", nullptr, "", ""));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919320"));
}

TEST_F(BatchEntry, AFailedDescriptionIsLoggedAndReturnedBeforeTheRename) {
    world.fail("ENT_describe");
    const std::string huge(3000, 'h');
    EXPECT_EQ(4711, KELD_BatchReName("ABC", nullptr, "XYZ", nullptr, huge.c_str(), ""));
    EXPECT_EQ("ABC", id());
    // The texts are cut before that call.
    EXPECT_THAT(world.lines("W"), ElementsAre(StartsWith("Text cut to 128 characters: ")));
    EXPECT_THAT(world.lines("E"), Contains("--planned failure (ENT_describe)--"));
}

TEST_F(BatchEntry, EachOtherFailureBeforeTheRenameIsReturned) {
    world.fail("ART_find_item");
    EXPECT_EQ(4711, KELD_BatchReName("ABC", "B", "XYZ", "2", "", ""));
    world.fail("ART_find_revision");
    EXPECT_EQ(4711, KELD_BatchReName("ABC", "B", "XYZ", "2", "", ""));
    EXPECT_EQ("ABC", id());
}

TEST_F(BatchEntry, NeitherReplicaNorRegistryAreAskedFor) {
    world.bench.setPreference("ART_id_registry", {"true"});
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, KELD_BatchReName("ABC", nullptr, "XYZ", nullptr, "", ""));
        EXPECT_EQ(0, KELD_BatchReName("XYZ", "B", "DEF", "2", "", ""));
    });
    EXPECT_THAT(world::only(calls, {"REG_", "OPT_", "OBJ_get_value_tag", "SVCARG_"}), IsEmpty());
}

TEST_F(BatchEntry, OverlongTextsAreCutAtTheirFieldsWithAWarning) {
    const std::string huge(3000, 'h');
    EXPECT_EQ(0, KELD_BatchReName("ABC", nullptr, "XYZ", nullptr, huge.c_str(), huge.c_str()));
    EXPECT_EQ(huge.substr(0, 128), world.storedText(item, "object_name"));
    EXPECT_EQ(huge.substr(0, 240), world.storedText(item, "object_desc"));
    EXPECT_THAT(world.lines("W"), ElementsAre(StartsWith("Text cut to 128 characters: "),
                                              StartsWith("Text cut to 240 characters: ")));
}
