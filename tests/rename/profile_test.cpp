// The settings come from the preference, at the service's first call or at each.

#include <cstdlib>

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RenameProfile : public world::RenameTest {
protected:
    RenameProfile() {
        ::unsetenv("KELD_DISABLE_LOCPREF_CACHE");
        item = world.item("ABC").item;
        plan = world.dataset("plan ABC");
        world.bench.relate(item, plan, "VANE_reference");
        exclude("VANE_reference");
    }
    ~RenameProfile() override { ::unsetenv("KELD_DISABLE_LOCPREF_CACHE"); }
    static void cacheOff() { ::setenv("KELD_DISABLE_LOCPREF_CACHE", "1", 1); }
    void exclude(const std::string& relation) {
        world.bench.setPreference("KELD_ItemRename", {"ExcludeItemRelations=" + relation});
    }
    std::string planName() { return world.storedText(plan, "object_name"); }
    std::string setting() {
        char value[1025] = "";
        KELD_GetIniString("KELD_ItemRename", "ExcludeItemRelations", value, "none");
        return value;
    }
    tag_t item = NULLTAG, plan = NULLTAG;
};

}  // namespace

TEST_F(RenameProfile, IsMadeFromThePreferenceAtTheServicesFirstCall) {
    EXPECT_EQ(world::both(0), world::rename(world, item, "XYZ"));
    EXPECT_EQ("plan ABC", planName());
}

TEST_F(RenameProfile, WithTheCacheOnALaterCallDoesntLoadAgainAndFindsWhatWasLoaded) {
    EXPECT_EQ(world::both(0), world::rename(world, item, "DEF"));
    exclude("VANE_other");
    world::called(world, plan, "plan DEF");
    const auto calls =
        world.calls([&] { EXPECT_EQ(world::both(0), world::rename(world, item, "XYZ")); });
    EXPECT_THAT(world::only(calls, {"OPT_ask_char_values"}), IsEmpty());
    EXPECT_EQ("plan DEF", planName());
}

TEST_F(RenameProfile, WithTheCacheOffEachCallLoadsAgain) {
    cacheOff();
    EXPECT_EQ(world::both(0), world::rename(world, item, "DEF"));
    EXPECT_EQ("none", setting());  // dropped at the service's end
    exclude("VANE_other");
    world::called(world, plan, "plan DEF");
    EXPECT_EQ(world::both(0), world::rename(world, item, "XYZ"));
    EXPECT_EQ("plan XYZ", planName());
    exclude("VANE_reference");
    EXPECT_EQ(world::both(0), world::rename(world, item, "GHI"));
    EXPECT_EQ("plan XYZ", planName());
}

TEST_F(RenameProfile, EachServiceHasItsOwnFlag) {
    EXPECT_EQ(world::both(0), world::rename(world, item, "DEF"));
    exclude("VANE_other");
    world::called(world, plan, "plan DEF");
    EXPECT_EQ(world::both(0), world::renameExtended(world, item, NULLTAG, "XYZ", "A", 7));
    EXPECT_EQ("plan XYZ", planName());
}

TEST_F(RenameProfile, IsDroppedAtTheEndWhateverTheOutcome) {
    cacheOff();
    EXPECT_EQ(world::both(919320), world::rename(world, item, ""));
    EXPECT_EQ("none", setting());
    EXPECT_EQ(world::both(919320), world::renameExtended(world, item, NULLTAG, "", "", 7));
    EXPECT_EQ("none", setting());
    EXPECT_NE(0, world::rename(world, NULLTAG, "XYZ").status);
    EXPECT_EQ("none", setting());
}

TEST_F(RenameProfile, TheBatchEntryNeitherMakesNorDropsIt) {
    cacheOff();
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_BatchReName("ABC", nullptr, "DEF", nullptr, nullptr, nullptr)); });
    EXPECT_THAT(world::only(calls, {"OPT_"}), IsEmpty());
    EXPECT_EQ("plan DEF", planName());
    char line[] = "ExcludeItemRelations=VANE_reference";
    char* values[] = {line, nullptr};
    KELD_CreateProfileFromPref("KELD_ItemRename", 1, values, "here", 0);
    EXPECT_EQ(0, KELD_BatchReName("DEF", nullptr, "XYZ", nullptr, nullptr, nullptr));
    EXPECT_EQ("VANE_reference", setting());
    EXPECT_EQ("plan DEF", planName());
}

TEST_F(RenameProfile, TheFlagIsSetAlsoIfThereIsNoPreference) {
    world.bench.removePreference("KELD_ItemRename");
    logical loaded = false;
    const auto calls = world.calls([&] {
        CKELD_ReName::LoadRenameProfile(&loaded);
        CKELD_ReName::LoadRenameProfile(&loaded);
    });
    EXPECT_TRUE(loaded);
    EXPECT_THAT(calls, ElementsAre("OPT_ask_char_values(KELD_ItemRename)"));
    EXPECT_THAT(world::tracesWith(world, "Settings KELD_ItemRename"), IsEmpty());
}

TEST_F(RenameProfile, TheValuesAreGivenBackAndTheirOriginIsNamed) {
    logical loaded = false;
    const std::size_t before = world.blocks();
    CKELD_ReName::LoadRenameProfile(&loaded);
    // The array is given back, its strings aren't.
    EXPECT_EQ(before + 1, world.blocks());
    EXPECT_THAT(world::tracesWith(world, "Settings "),
                ElementsAre("Settings KELD_ItemRename from preference, 1 values "
                            "(KELD_ConvertedBaseIniSettings)"));
    CKELD_ReName::LoadRenameProfile(nullptr);
}

TEST_F(RenameProfile, AnUnreadablePreferenceIsNoFailure) {
    world.fail("OPT_ask_char_values");
    EXPECT_EQ(world::both(0), world::rename(world, item, "XYZ"));
    EXPECT_EQ("plan XYZ", planName());
}
