// Older versions of a dataset follow its rename.

#include "platform/mv_err.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A dataset with three versions, each with a file of its own.
class DatasetVersions : public world::RenameTest {
protected:
    DatasetVersions() {
        item = world.item("ABC").item;
        first = world.specification(item, "plan ABC");
        first_file = world.bench.addFile(first, "Text", world::someFile(), "plan ABC.a");
        second = world.bench.createDatasetVersion(first);
        world.bench.set(second, "ref_list", {});
        world.bench.set(second, "ref_names", {});
        world.bench.set(second, "ref_types", {});
        second_file = world.bench.addFile(second, "Text", world::someFile(), "plan ABC.b");
        third = world.bench.createDatasetVersion(second);
        world.bench.set(third, "ref_list", {});
        world.bench.set(third, "ref_names", {});
        world.bench.set(third, "ref_types", {});
        third_file = world.bench.addFile(third, "Text", world::someFile(), "plan ABC.c");
        world.name(first, "v1");
        world.name(second, "v2");
        world.name(third, "v3");
        world.name(first_file, "f1");
        world.name(second_file, "f2");
        world.name(third_file, "f3");
        entry = world::entryOf(item, third);
        world.clearLog();
    }
    int run(int action = 15) {
        return CKELD_ReName::ProcessRelatedObj(entry, ";;", "Item", action, "ABC", "1", "", "",
                                               "XYZ", nullptr, "", "", &changed);
    }
    world::Lines names() {
        return {world.storedText(third, "object_name"), world.storedText(second, "object_name"),
                world.storedText(first, "object_name")};
    }
    world::Lines files() {
        return {world.storedText(third_file, "original_file_name"),
                world.storedText(second_file, "original_file_name"),
                world.storedText(first_file, "original_file_name")};
    }

    tag_t item, first, second, third, first_file, second_file, third_file;
    rel_entry_s entry{};
    logical changed = false;
};

}  // namespace

TEST_F(DatasetVersions, AllFollowWithTheirFiles) {
    EXPECT_EQ(0, run());
    EXPECT_THAT(names(), ElementsAre("plan XYZ", "plan XYZ", "plan XYZ"));
    EXPECT_THAT(files(), ElementsAre("plan XYZ.c", "plan XYZ.b", "plan XYZ.a"));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(DatasetVersions, TheEndOfTheChainLeavesNothingOnTheErrorStack) {
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    // Errors that were on the stack before go too.
    world::called(world, third, "plan ABC");
    ERR_store_error(3, 1234);
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(DatasetVersions, TheNewestGoesFirstAndEachIsSavedByItself) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(
        world::only(calls, {"ENT_set", "DST_save", "DST_ask_dataset_prev", "OBJ_save", "OBJ_lock",
                            "OBJ_refresh", "FIL_set", "ERR_"}),
        ElementsAre(
            "OBJ_refresh(v3, false)", "OBJ_refresh(v3, true)", "ENT_set_name(v3, plan XYZ)",
            "DST_save_myself(v3)", "OBJ_refresh(v3, false)", "OBJ_lock(f3)",
            "FIL_set_original_file_name(f3, plan XYZ.c)", "OBJ_save(f3)", "OBJ_refresh(f3, false)",
            // the one before
            "ERR_set_protect_mark()", "DST_ask_dataset_prev_rev(v3)", "ERR_clear_protect_mark(1)",
            "OBJ_refresh(v2, true)", "ENT_set_name(v2, plan XYZ)", "DST_save_myself(v2)",
            "OBJ_refresh(v2, false)", "OBJ_lock(f2)", "FIL_set_original_file_name(f2, plan XYZ.b)",
            "OBJ_save(f2)", "OBJ_refresh(f2, false)",
            // the oldest
            "ERR_set_protect_mark()", "DST_ask_dataset_prev_rev(v2)", "ERR_clear_protect_mark(2)",
            "OBJ_refresh(v1, true)", "ENT_set_name(v1, plan XYZ)", "DST_save_myself(v1)",
            "OBJ_refresh(v1, false)", "OBJ_lock(f1)", "FIL_set_original_file_name(f1, plan XYZ.a)",
            "OBJ_save(f1)", "OBJ_refresh(f1, false)",
            // there is none before it
            "ERR_set_protect_mark()", "DST_ask_dataset_prev_rev(v1)", "ERR_clear_errors()",
            "ERR_clear_protect_mark(3)"));
}

TEST_F(DatasetVersions, TheirTagsAndNamesAreTraced) {
    EXPECT_EQ(0, run());
    auto lines = world.lines("T");
    std::erase_if(lines, [](const std::string& line) {
        return !line.starts_with("tCurrent") && !line.starts_with("tPrevious") &&
               !line.starts_with("ReName Previous");
    });
    const auto number = [](tag_t tag) { return std::to_string(tag); };
    EXPECT_THAT(
        lines,
        ElementsAre("tCurrentDatasetRev=" + number(third), "tPreviousDatasetRev=" + number(second),
                    "ReName PreviousDatasetRev=plan XYZ", "tCurrentDatasetRev=" + number(second),
                    "tPreviousDatasetRev=" + number(first), "ReName PreviousDatasetRev=plan XYZ",
                    "tCurrentDatasetRev=" + number(first), "tPreviousDatasetRev=0"));
}

TEST_F(DatasetVersions, TheTracedCallsOfAVersionAreOfTheReturningForm) {
    EXPECT_EQ(0, run());
    const auto calls = world::traced(world, 0);
    EXPECT_THAT(calls, Contains("DST_ask_dataset_prev_rev(tCurrentDatasetRev, "
                                "&tPreviousDatasetRev)"));
    EXPECT_THAT(calls, Contains("RenameNamedRef(secondary, szOrigObjName, szDatasetName)"));
    const auto from =
        std::find(calls.begin(), calls.end(), "ERR_clear_protect_mark(prot_mark)") + 1;
    ASSERT_LE(from + 5, calls.end());
    EXPECT_THAT(world::Lines(from, from + 5),
                ElementsAre("OBJ_refresh(...)", "ENT_set_name(...)", "DST_save_myself(...)",
                            "OBJ_refresh(...)", "RenameNamedRef(...)"));
    EXPECT_THAT(calls, Contains("ERR_clear_errors(...)"));
}

TEST_F(DatasetVersions, AVersionThatCantBeChangedIsPassedOver) {
    world::writeProtect(world, second);
    EXPECT_EQ(0, run());
    EXPECT_THAT(names(), ElementsAre("plan XYZ", "plan ABC", "plan XYZ"));
    EXPECT_THAT(files(), ElementsAre("plan XYZ.c", "plan ABC.b", "plan XYZ.a"));
}

TEST_F(DatasetVersions, TheTestPassDoesntLookAtThem) {
    world::writeProtect(world, second);
    world::writeProtect(world, first_file);
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(11)); });
    EXPECT_THAT(world::only(calls, {"DST_", "ERR_", "FIL_"}), IsEmpty());
}

TEST_F(DatasetVersions, AnOlderNameIsTakenOverWhateverItWas) {
    world::called(world, second, "old plan");
    EXPECT_EQ(0, run());
    EXPECT_THAT(names(), ElementsAre("plan XYZ", "plan XYZ", "plan XYZ"));
    // Its file follows the newest one's name.
    EXPECT_THAT(files(), ElementsAre("plan XYZ.c", "plan XYZ.b", "plan XYZ.a"));
}

TEST_F(DatasetVersions, AnUnchangedDatasetLeavesThem) {
    world::called(world, third, "drawing");
    EXPECT_EQ(0, run());
    EXPECT_THAT(names(), ElementsAre("drawing", "plan ABC", "plan ABC"));
    EXPECT_THAT(files(), ElementsAre("plan ABC.c", "plan ABC.b", "plan ABC.a"));
}

TEST_F(DatasetVersions, AFailedVersionEndsTheChainWithItsLock) {
    world.bench.setFaults({{"DST_save_myself", 2, 4711}});
    EXPECT_EQ(4711, run());
    EXPECT_THAT(names(), ElementsAre("plan XYZ", "plan ABC", "plan ABC"));
    EXPECT_TRUE(world.locked(second));
    EXPECT_FALSE(world.locked(third));
}

TEST_F(DatasetVersions, AnyOtherFailureOfTheSearchIsReturned) {
    world.bench.setFaults({{"DST_ask_dataset_prev_rev", 2, 4711}});
    EXPECT_EQ(4711, run());
    EXPECT_THAT(names(), ElementsAre("plan XYZ", "plan XYZ", "plan ABC"));
}

TEST_F(DatasetVersions, TheNumberOfTheChainsEndEndsItWhereverItComes) {
    world.bench.setFaults({{"DST_ask_dataset_prev_rev", 1, 9112}});
    EXPECT_EQ(0, run());
    EXPECT_THAT(names(), ElementsAre("plan XYZ", "plan ABC", "plan ABC"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}
