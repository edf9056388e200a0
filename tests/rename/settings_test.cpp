// Where the walk's settings are and which of two keys counts.

#include <array>

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Each;
using testing::IsEmpty;
using testing::StartsWith;
using world::settings;

namespace {

struct Settings {
    logical name = false, description = false;
    std::array<char, 1025> item{}, revision{}, status{};
    std::string itemRelations() const { return item.data(); }
    std::string revisionRelations() const { return revision.data(); }
    std::string onStatus() const { return status.data(); }
};

class RenameSettings : public world::RenameTest {
protected:
    Settings read(const char* type = "Part") {
        Settings found;
        found.item.fill('#');
        found.revision.fill('#');
        found.status.fill('#');
        CKELD_ReName::ReadRenameSettings(type, "PartRevision", &found.name, &found.description,
                                         found.item.data(), found.revision.data(),
                                         found.status.data());
        return found;
    }
};

}  // namespace

TEST_F(RenameSettings, HaveTheirDefaults) {
    const Settings found = read();
    EXPECT_TRUE(found.name);
    EXPECT_FALSE(found.description);
    EXPECT_EQ(";;VANE_based_on;", found.itemRelations());
    EXPECT_EQ(";;VANE_based_on;", found.revisionRelations());
    EXPECT_EQ(";;", found.onStatus());
}

TEST_F(RenameSettings, TheBasedOnRelationIsAlwaysExcluded) {
    settings(world, {"ExcludeItemRelations=A;B", "ExcludeRevisionRelations=C"});
    const Settings found = read();
    EXPECT_EQ(";A;B;VANE_based_on;", found.itemRelations());
    EXPECT_EQ(";C;VANE_based_on;", found.revisionRelations());
}

TEST_F(RenameSettings, ATypesExcludedRelationsOverrideTheGeneralOnes) {
    settings(world, {"ExcludeItemRelations=A", "ExcludeItemRelations.Part=B",
                     "ExcludeRevisionRelations=C", "ExcludeRevisionRelations.Part=D"});
    EXPECT_EQ(";B;VANE_based_on;", read().itemRelations());
    EXPECT_EQ(";D;VANE_based_on;", read().revisionRelations());
    EXPECT_EQ(";A;VANE_based_on;", read("Other").itemRelations());
    EXPECT_EQ(";C;VANE_based_on;", read("Other").revisionRelations());
}

TEST_F(RenameSettings, AnEmptyListOfTheTypeSwitchesTheGeneralOneOff) {
    settings(world, {"ExcludeItemRelations=A", "ExcludeItemRelations.Part=",
                     "ExcludeRevisionRelations=C", "ExcludeRevisionRelations.Part="});
    EXPECT_EQ(";;VANE_based_on;", read().itemRelations());
    EXPECT_EQ(";;VANE_based_on;", read().revisionRelations());
}

TEST_F(RenameSettings, ATypesFlagsAndStatusesComeFirst) {
    settings(world, {"ChangeRevisionName=1", "ChangeRevisionName.Part=0",
                     "ChangeRevisionDescription=0", "ChangeRevisionDescription.Part=1",
                     "RenameOnRevisionStatus=A", "RenameOnRevisionStatus.Part=B;C"});
    EXPECT_FALSE(read().name);
    EXPECT_TRUE(read().description);
    EXPECT_EQ(";B;C;", read().onStatus());
    EXPECT_TRUE(read("Other").name);
    EXPECT_FALSE(read("Other").description);
    EXPECT_EQ(";A;", read("Other").onStatus());
}

TEST_F(RenameSettings, AnEmptyTextOfTheTypeLeavesTheGeneralOneInForce) {
    settings(world,
             {"ChangeRevisionName=0", "ChangeRevisionName.Part=", "ChangeRevisionDescription=1",
              "ChangeRevisionDescription.Part=", "RenameOnRevisionStatus=A",
              "RenameOnRevisionStatus.Part="});
    EXPECT_FALSE(read().name);
    EXPECT_TRUE(read().description);
    EXPECT_EQ(";A;", read().onStatus());
}

TEST_F(RenameSettings, TheRevisionsTypeIsUsedNowhere) {
    settings(world,
             {"ExcludeItemRelations.PartRevision=A", "ExcludeRevisionRelations.PartRevision=A",
              "ChangeRevisionName.PartRevision=0", "ChangeRevisionDescription.PartRevision=1",
              "RenameOnRevisionStatus.PartRevision=A"});
    const Settings found = read();
    EXPECT_TRUE(found.name);
    EXPECT_FALSE(found.description);
    EXPECT_EQ(";;VANE_based_on;", found.itemRelations());
    EXPECT_EQ(";;VANE_based_on;", found.revisionRelations());
    EXPECT_EQ(";;", found.onStatus());
}

TEST_F(RenameSettings, OnlyTheFirstCharacterOfAFlagCounts) {
    for (const auto& [value, expected] : {std::pair{"1", true},
                                          {"10", true},
                                          {"1no", true},
                                          {"0", false},
                                          {"01", false},
                                          {"true", false},
                                          {"yes", false},
                                          {"2", false}}) {
        settings(world, {std::string("ChangeRevisionName=") + value,
                         std::string("ChangeRevisionDescription=") + value});
        EXPECT_EQ(expected, read().name) << value;
        EXPECT_EQ(expected, read().description) << value;
    }
}

TEST_F(RenameSettings, AnEmptyGeneralFlagIsFalse) {
    settings(world, {"ChangeRevisionName=", "ChangeRevisionDescription="});
    EXPECT_FALSE(read().name);
    EXPECT_FALSE(read().description);
}

// ---- length ----

TEST_F(RenameSettings, AnOverlongListIsCutAndTheBasedOnRelationStays) {
    const std::string longest(1024, 'r');
    settings(world, {"ExcludeItemRelations=" + longest, "ExcludeRevisionRelations=" + longest,
                     "RenameOnRevisionStatus=" + longest});
    const Settings found = read();
    const std::string suffix = ";VANE_based_on;";
    EXPECT_EQ(";" + longest.substr(0, 1024 - 1 - suffix.size()) + suffix, found.itemRelations());
    EXPECT_EQ(found.itemRelations(), found.revisionRelations());
    EXPECT_LE(found.onStatus().size(), 1024u);
    EXPECT_EQ(';', found.onStatus().front());
    const auto warnings = world.lines("W");
    EXPECT_EQ(3u, warnings.size());
    EXPECT_THAT(warnings, Each(StartsWith("Text cut to ")));
}

TEST_F(RenameSettings, AListThatJustFitsIsKeptWhole) {
    const std::string longest(1024 - 1 - std::string(";VANE_based_on;").size(), 'r');
    settings(world, {"ExcludeItemRelations=" + longest,
                     "RenameOnRevisionStatus=" + std::string(1022, 's')});
    EXPECT_EQ(";" + longest + ";VANE_based_on;", read().itemRelations());
    EXPECT_EQ(";" + std::string(1022, 's') + ";", read().onStatus());
    EXPECT_THAT(world.lines("W"), IsEmpty());
}

TEST_F(RenameSettings, ATypeTooLongForAKeyHasTheGeneralSettings) {
    const std::string type(128, 't');
    settings(world, {"ExcludeItemRelations=A", "ExcludeItemRelations." + type + "=B",
                     "ChangeRevisionName=0", "ChangeRevisionName." + type + "=1",
                     "RenameOnRevisionStatus=A", "RenameOnRevisionStatus." + type + "=B"});
    const Settings found = read(type.c_str());
    EXPECT_EQ(";A;VANE_based_on;", found.itemRelations());
    EXPECT_FALSE(found.name);
    EXPECT_EQ(";A;", found.onStatus());
    read(std::string(5000, 't').c_str());
}

TEST_F(RenameSettings, WithoutAPlaceForEachOfThemNoneIsRead) {
    logical name = true, description = true;
    char item[1025] = "i", revision[1025] = "r", status[1025] = "s";
    for (int without = 0; without < 5; ++without)
        CKELD_ReName::ReadRenameSettings(
            "Part", "PartRevision", without == 0 ? nullptr : &name,
            without == 1 ? nullptr : &description, without == 2 ? nullptr : item,
            without == 3 ? nullptr : revision, without == 4 ? nullptr : status);
    EXPECT_TRUE(name && description);
    EXPECT_STREQ("i", item);
    EXPECT_STREQ("r", revision);
    EXPECT_STREQ("s", status);
    int mode = 9;
    CKELD_ReName::ReadObjectChangeModes("Item", "R", "Text", &mode, nullptr);
    CKELD_ReName::ReadObjectChangeModes("Item", "R", "Text", nullptr, &mode);
    EXPECT_EQ(9, mode);
}

TEST_F(RenameSettings, ANullTypeIsNoCrash) {
    settings(world, {"ExcludeItemRelations=A"});
    EXPECT_EQ(";A;VANE_based_on;", read(nullptr).itemRelations());
    CKELD_ReName::ReadRenameSettings(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
}
