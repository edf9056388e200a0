// Where the walk goes from one object, and under which section.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/keld_se.h"
#include "tests/status/visits.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::visits;
using world::World;

namespace {

constexpr int kTest = 0, kAttributes = 1, kActions = 2;  // index of a pass in a run

class Walk : public testing::Test {
protected:
    Walk() {
        made = world.item("000100");
        second = world.revision(made.item, "B");
        third = world.revision(made.item, "C");
    }
    // Run on an object with the sections given; the start types of these tests are selected.
    int run(tag_t object, const char* type, const std::string& sections) {
        world.ini("[SelectWSO]\nItem=1\nItemRevision=1\nBOMLine=1\nFolder=1\nDataset=1\n" +
                  sections);
        world.clearLog();
        return KELD_StatusManager_ManageStatus(object, type, "S");
    }
    std::vector<std::string> pass(int index) {
        return visits(world).at(static_cast<std::size_t>(index));
    }

    World world;
    world::ItemTags made;
    tag_t second = NULLTAG, third = NULLTAG;
};

}  // namespace

TEST_F(Walk, VisitsTheStartObjectInEachPass) {
    EXPECT_EQ(0, run(made.revision, "ItemRevision", ""));
    EXPECT_EQ((std::vector<std::vector<std::string>>{
                  {"S_ItemRevision"}, {"S_ItemRevision"}, {"S_ItemRevision"}}),
              visits(world));
    EXPECT_THAT(world.lines("D"), ElementsAre("########## Prozess Test #############",
                                              "########## Prozess Attribute #############",
                                              "########## Prozess Aktions #############"));
}

TEST_F(Walk, WritesEachStepToTheTrace) {
    EXPECT_EQ(0, run(made.revision, "ItemRevision", "[S_ItemRevision]\nChangeBack=ItemOfRev\n"));
    const auto lines = world.lines("T");
    ASSERT_GE(lines.size(), 7u);
    EXPECT_THAT(
        (std::vector<std::string>(lines.begin(), lines.begin() + 7)),
        ElementsAre("### Process on:S_ItemRevision LastStat: ###",
                    "### Break from:S_ItemRevision ###", "### Break from:S_ItemRevision ###",
                    "#Go from:S_ItemRevision to ItemOfRev / 1.1.",
                    "### Process on:S_Item LastStat: ###", "### Break from:S_Item ###",
                    "### Break from:S_Item ###"));
    EXPECT_THAT(lines, Contains("#Go from:S_ItemRevision to ItemOfRev / 1.0."));
    EXPECT_THAT(lines, Contains("#Go from:S_ItemRevision to ItemOfRev / 1.2."));
}

TEST_F(Walk, GoesFromAnItemToItsLatestRevision) {
    const auto calls = world.calls([&] {
        world.name(made.item, "item");
        EXPECT_EQ(0, run(made.item, "Item",
                         "[S_Item]\nChangeForward=LastItemRevision\n"
                         "[S_ItemRevision]\nSetReleaseState=Frozen\n"));
    });
    EXPECT_THAT(pass(kTest), ElementsAre("S_Item", "S_ItemRevision"));
    EXPECT_THAT(calls, Contains("ART_ask_latest_rev(item)"));
    EXPECT_THAT(world.statuses(third), ElementsAre("Frozen"));
    EXPECT_THAT(world.statuses(second), IsEmpty());
}

TEST_F(Walk, GoesFromARevisionToItsItem) {
    EXPECT_EQ(0, run(second, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=ItemOfRev\n"
                     "[S_Item]\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision", "S_Item"));
    EXPECT_THAT(world.statuses(made.item), ElementsAre("Frozen"));
}

TEST_F(Walk, GoesToOlderRevisionsUnderAPrefixButNotInTheTestPass) {
    EXPECT_EQ(0, run(third, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=OldItemRevision\n"
                     "[S_Old_ItemRevision]\nSetReleaseState=Obsolete\nPrevReleaseStatus=Never\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision"));
    EXPECT_THAT(pass(kAttributes),
                ElementsAre("S_ItemRevision", "S_Old_ItemRevision", "S_Old_ItemRevision"));
    EXPECT_THAT(pass(kActions),
                ElementsAre("S_ItemRevision", "S_Old_ItemRevision", "S_Old_ItemRevision"));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Obsolete"));
    EXPECT_THAT(world.statuses(second), ElementsAre("Obsolete"));
    EXPECT_THAT(world.statuses(third), IsEmpty());
}

TEST_F(Walk, GoesToOlderRevisionsOldestFirst) {
    world.name(made.revision, "A");
    world.name(second, "B");
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, run(third, "ItemRevision", "[S_ItemRevision]\nChangeNoRek=OldItemRevision\n"));
    });
    std::vector<std::string> asked;
    for (const std::string& call : calls)
        if (call.starts_with("ENT_ask_object_type"))
            asked.push_back(call);
    EXPECT_THAT(asked, ElementsAre("ENT_ask_object_type(A)", "ENT_ask_object_type(B)",
                                   "ENT_ask_object_type(A)", "ENT_ask_object_type(B)"));
}

TEST_F(Walk, FindsNoOlderRevisionOfTheFirst) {
    EXPECT_EQ(
        0, run(made.revision, "ItemRevision", "[S_ItemRevision]\nChangeForward=OldItemRevision\n"));
    EXPECT_THAT(pass(kAttributes), ElementsAre("S_ItemRevision"));
}

TEST_F(Walk, CarriesThePrefixOnBelowAnOlderRevision) {
    world.specification(made.revision, "drawing");
    EXPECT_EQ(0,
              run(second, "ItemRevision",
                  "[S_ItemRevision]\nChangeForward=OldItemRevision\n"
                  "[S_Old_ItemRevision]\nChangeForward=Old_Rel.VANE_specification.*;ItemOfRev\n"));
    EXPECT_THAT(pass(kAttributes), ElementsAre("S_ItemRevision", "S_Old_ItemRevision",
                                               "S_Old_VANE_specification.*", "S_Old_Item"));
    EXPECT_THAT(world.lines("T"), Contains("#Go from:S_Old_ItemRevision to ItemOfRev / 0.0.Old_"));
}

TEST_F(Walk, GoesToBomViewRevisionsByBothNames) {
    world.occurrence(made.revision, world.item("000200").revision);
    const tag_t bvr = world.bench.bomViewRevision(made.revision);
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=BOM;Old_BOM\n"
                     "[S_BOM]\nSetReleaseState=Frozen\nDoNothingOnReleaseStatus=Frozen\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision", "S_BOM", "S_BOM"));
    EXPECT_THAT(world.statuses(bvr), ElementsAre("Frozen"));
}

TEST_F(Walk, GoesDownBomLinesToTheirRevisions) {
    const tag_t child = world.item("000200").revision;
    world.occurrence(made.revision, child);
    world.occurrence(made.revision, world.item("000300").revision);
    const tag_t top = world.bench.openBomWindow(made.revision);
    EXPECT_EQ(0, run(top, "BOMLine",
                     "[S_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
                     "SetReleaseState=Never\nPrevReleaseStatus=Never\n"
                     "[S_ItemRevision]\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_BOMLine", "S_BOMLine", "S_ItemRevision", "S_BOMLine",
                                         "S_ItemRevision", "S_ItemRevision"));
    EXPECT_THAT(world.statuses(child), ElementsAre("Frozen"));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Frozen"));
}

TEST_F(Walk, ABomLineHasNoStatusAndNoChecks) {
    const tag_t top = world.bench.openBomWindow(made.revision);
    world.giveStatus(made.revision, "Working");
    for (const char* type : {"BOMLine", "bomline"}) {
        const auto calls = world.calls([&] {
            EXPECT_EQ(0, run(top, type,
                             "[S_BOMLine]\nSetAttributes=MasterForm\nPurge=1\n"
                             "DeleteDatasets=VANE_specification.*\n"
                             "CheckNeedFields=user_data_1\n"));
        });
        EXPECT_THAT(calls, ElementsAre("ACL__set_application_bypass(true)",
                                       "ACL__set_application_bypass(false)"));
    }
}

TEST_F(Walk, GoesToRelatedObjectsOfAllTypes) {
    world.specification(made.revision, "text");
    world.specification(made.revision, "drawing", "Drawing");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=Rel.VANE_specification.*\n"));
    EXPECT_THAT(pass(kTest),
                ElementsAre("S_ItemRevision", "S_VANE_specification.*", "S_VANE_specification.*"));
}

TEST_F(Walk, GoesToRelatedObjectsOfOneType) {
    const tag_t text = world.specification(made.revision, "text");
    const tag_t drawing = world.specification(made.revision, "drawing", "Drawing");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=Old_Rel.VANE_specification.Drawing\n"
                     "[S_VANE_specification.Drawing]\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision", "S_VANE_specification.Drawing"));
    EXPECT_THAT(world.statuses(drawing), ElementsAre("Frozen"));
    EXPECT_THAT(world.statuses(text), IsEmpty());
}

TEST_F(Walk, ComparesTheTypeWithCase) {
    world.specification(made.revision, "drawing", "Drawing");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=Rel.VANE_specification.drawing\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision"));
}

TEST_F(Walk, AnObjectWhoseTypeCantBeReadIsPassedOver) {
    world.specification(made.revision, "one", "Drawing");
    world.specification(made.revision, "two", "Drawing");
    world.ini(
        "[SelectWSO]\nItemRevision=1\n"
        "[S_ItemRevision]\nChangeForward=Rel.VANE_specification.Drawing;"
        "Rel.VANE_specification\n");
    world.fail("ENT_ask_object_type", 1);
    EXPECT_EQ(0, KELD_StatusManager_ManageStatus(made.revision, "ItemRevision", "S"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision", "S_VANE_specification.Drawing"));
}

TEST_F(Walk, AMissingTypeDoesNotMeanObjectsWhoseTypeCantBeRead) {
    world.specification(made.revision, "one", "Drawing");
    world.fail("ENT_ask_object_type", 0);
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=Rel.VANE_specification\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision"));
}

TEST_F(Walk, AMisspeltRelationMeansAllRelations) {
    world.specification(made.revision, "drawing", "Drawing");
    world.bench.relate(made.revision, world.dataset("note"), "VANE_reference");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=Rel.VANE_specfication.*\n"));
    // The two datasets and the master form.
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision", "S_VANE_specfication.*",
                                         "S_VANE_specfication.*", "S_VANE_specfication.*"));
}

TEST_F(Walk, WarnsOfAnUnknownKindAndGoesOn) {
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=Itemofrev.x;;.y;ItemOfRev;\n"));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision", "S_Item"));
    const auto warnings = world.lines("W");
    ASSERT_EQ(9u, warnings.size());  // three in each pass
    EXPECT_EQ("CKELD_StatusManager::ChangeRel Relation Itemofrev not supported", warnings[0]);
    EXPECT_EQ("CKELD_StatusManager::ChangeRel Relation  not supported", warnings[1]);
    EXPECT_EQ("CKELD_StatusManager::ChangeRel Relation  not supported", warnings[2]);
}

TEST_F(Walk, ReadsAWalkListUpToEntry127) {
    std::string list;
    for (int i = 0; i < 200; ++i)
        list += "x;";
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=" + list + "ItemOfRev\n"));
    EXPECT_EQ(3u * 128u, world.lines("W").size());
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision"));
}

TEST_F(Walk, SkipsAnObjectThatHasAStatusToBeLeftAloneExceptInTheActionPass) {
    world.giveStatus(made.revision, "Froz");
    world.giveStatus(second, "Other");
    const std::string sections =
        "[S_ItemRevision]\nDoNothingOnReleaseStatus=Frozen\nSetReleaseState=New\n"
        "ChangeForward=ItemOfRev\n[S_Item]\nSetReleaseState=New\n";
    EXPECT_EQ(0, run(made.revision, "ItemRevision", sections));
    EXPECT_THAT(pass(kTest), ElementsAre("S_ItemRevision"));
    EXPECT_THAT(pass(kAttributes), ElementsAre("S_ItemRevision"));
    EXPECT_THAT(pass(kActions), ElementsAre("S_ItemRevision", "S_Item"));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Froz"));
    EXPECT_THAT(world.statuses(made.item), IsEmpty());
    const auto lines = world.lines("T");
    EXPECT_EQ(
        2, std::count(lines.begin(), lines.end(), " Scip Process on:S_ItemRevision Status:Froz"));
    EXPECT_EQ(919403, run(second, "ItemRevision", sections));
}

TEST_F(Walk, AnEmptyStatusIsNeverLeftAlone) {
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDoNothingOnReleaseStatus=Frozen\nSetReleaseState=New\n"));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("New"));
}

TEST_F(Walk, ReadsTheStatusesToBeLeftAloneInEachPassAsTheFirstKey) {
    // A value that is too long is cut with a warning wherever it is read.
    const std::string long_value(1100, 'x');
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDoNothingOnReleaseStatus=" + long_value +
                         "\nChangeForward=" + long_value + "\n"));
    std::vector<std::string> cut;
    for (const std::string& line : world.lines("W"))
        if (line.starts_with("Text cut to 1024 characters: "))
            cut.push_back(line.substr(29));
    EXPECT_THAT(cut,
                ElementsAre("DoNothingOnReleaseStatus", "ChangeForward", "DoNothingOnReleaseStatus",
                            "ChangeForward", "DoNothingOnReleaseStatus", "ChangeForward"));
}
