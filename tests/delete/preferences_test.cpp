// The preferences: when they are read, kept and forgotten, and what a failed read leads to.

#include "tests/delete/backup_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using namespace delete_test;
namespace {

constexpr char kDirectory[] = "KELD_DELBackupTopDirCentral";
constexpr char kTypes[] = "KELD_DEL_DELUXE_TYPES";
constexpr char kNoCache[] = "KELD_DISABLE_LOCPREF_CACHE";

class DeletePreferences : public BackupWorld {
protected:
    DeletePreferences() {
        ::unsetenv(kNoCache);
        used = world.item("1").revision;
        world.occurrence(world.item("2").revision, used);
        drawn = drawing(world.item("3").revision);
    }
    tag_t part(const std::string& type_name) {
        return world.specification(used, "part", type(type_name));
    }

    tag_t used = NULLTAG, drawn = NULLTAG;
};

}  // namespace

TEST_F(DeletePreferences, WithoutABackupDirectoryTheChecksRunAndNoFileIsTouched) {
    const Tree before = treeOf(place);
    EXPECT_EQ(0, service({drawn}));
    EXPECT_EQ(919502, service({part("CADMASTER")}));
    EXPECT_EQ(before, treeOf(place));
}

TEST_F(DeletePreferences, AnEmptyBackupDirectorySwitchesTheBackupOff) {
    configureBackup("");
    EXPECT_EQ(0, service({drawn}));
    EXPECT_TRUE(fs::is_empty(top));
    EXPECT_THAT(world.lines("E"), IsEmpty());
    EXPECT_THAT(world.lines("T"), Not(Contains(testing::HasSubstr("Using central log file="))));
}

TEST_F(DeletePreferences, TheFirstCallOfAProcessFixesThem) {
    configureBackup();
    world.bench.setPreference(kTypes, {"Sketch"});
    EXPECT_EQ(0, service({}));
    configureBackup((place / "elsewhere").string());
    world.bench.setPreference(kTypes, {"CADMASTER"});
    EXPECT_EQ(0, service({part("CADMASTER"), drawn}));
    EXPECT_FALSE(fs::exists(place / "elsewhere"));
    EXPECT_THAT(saved(), Contains(testing::Key("3_A/drawing/drawing.txt")));
}

TEST_F(DeletePreferences, WithTheCacheOffEachCallReadsThemAnew) {
    ::setenv(kNoCache, "1", 1);
    EXPECT_EQ(919502, service({part("CADMASTER")}));
    world.bench.setPreference(kTypes, {"Sketch"});
    configureBackup();
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, service({drawn}));
    EXPECT_EQ(before + 1, world.blocks());  // the arguments alone
    EXPECT_THAT(saved(), Contains(testing::Key("3_A/drawing/drawing.txt")));
    EXPECT_EQ(919502, service({part("Sketch")}));
    world.bench.removePreference(kDirectory);
    fs::remove_all(top);
    EXPECT_EQ(0, service({drawn}));
    EXPECT_FALSE(fs::exists(top));
}

TEST_F(DeletePreferences, TheCacheIsTurnedOffAfterTheBuiltInListWasKept) {
    EXPECT_EQ(919502, service({part("CADMASTER")}));
    ::setenv(kNoCache, "1", 1);
    world.bench.setPreference(kTypes, {"Sketch"});
    EXPECT_EQ(919502, service({part("CADMASTER")}));  // still what was kept; forgotten at its end
    EXPECT_EQ(0, service({part("CADMASTER")}));
    EXPECT_EQ(919502, service({part("Sketch")}));
}

TEST_F(DeletePreferences, TheCacheIsTurnedOffAfterAListOfTheStoreWasKept) {
    world.bench.setPreference(kTypes, {"Sketch", "Plan"});
    configureBackup();
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, delete_deluxe_check(0, nullptr));
    EXPECT_EQ(before + 4, world.blocks());  // two types, their array, the directory
    ::setenv(kNoCache, "1", 1);
    EXPECT_EQ(0, delete_deluxe_check(0, nullptr));
    EXPECT_EQ(before, world.blocks());
    ::unsetenv(kNoCache);
    EXPECT_EQ(919502, service({part("Plan")}));
}

TEST_F(DeletePreferences, AFailedReadOfTheDirectoryStopsTheRunAndLeavesTheNextWithoutABackup) {
    configureBackup();
    const tag_t refused = part("CADMASTER");
    world.fail("OPT_ask_char_value");
    const auto calls = world.calls([&] { EXPECT_EQ(4711, service({refused})); });
    EXPECT_THAT(calls, Not(Contains(testing::StartsWith("OPT_ask_char_values"))));
    EXPECT_THAT(world.lines("T"), Contains("number of objects to check: 1"));
    EXPECT_THAT(world.lines("T"), Not(Contains("check object no.: 1")));
    world.failNothing();
    // The built-in list is kept, and so is that there is no directory.
    EXPECT_EQ(919502, service({refused}));
    EXPECT_EQ(0, service({drawn}));
    EXPECT_TRUE(fs::is_empty(top));
}

TEST_F(DeletePreferences, AFailedReadOfTheTypesStopsTheRunAndOpensTheLog) {
    configureBackup();
    world.bench.setPreference(kTypes, {"Sketch"});
    const tag_t refused = part("CADMASTER");
    world.fail("OPT_ask_char_values");
    EXPECT_EQ(4711, service({drawn}));
    EXPECT_EQ((Tree{{"delete_.log", ""}}), treeOf(top));  // the user isn't asked for any more
    world.failNothing();
    EXPECT_EQ(919502, service({refused}));  // the built-in list from now on
}

TEST_F(DeletePreferences, WithTheCacheOffAFailedReadHarmsOneCallOnly) {
    ::setenv(kNoCache, "1", 1);
    configureBackup();
    world.fail("OPT_ask_char_value");
    EXPECT_EQ(4711, service({drawn}));
    world.failNothing();
    EXPECT_EQ(0, service({drawn}));
    EXPECT_THAT(saved(), Contains(testing::Key("3_A/drawing/drawing.txt")));
}

TEST_F(DeletePreferences, WithoutMemoryForItsListADatasetGetsNoGoAhead) {
    configureBackup();
    EXPECT_EQ(0, service({}));
    world.bench.sendArguments({std::vector<tag_t>{drawn}});
    world.bench.failHeapAfter(1);  // the arguments can still be handed out
    int result = 0;
    EXPECT_NE(0, KELD_DeleteDeluxe(&result));
    world.bench.failHeapAfter(std::nullopt);
    EXPECT_THAT(saved(), IsEmpty());
}
