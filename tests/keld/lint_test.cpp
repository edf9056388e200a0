// What the check and the graphs see in a configuration, below the program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/keld/lint/ini_graph.h"

namespace {

using namespace keld;
using testing::HasSubstr;
using testing::Not;

KnownNames names() {
    KnownNames known;
    known.types = {"Item", "ItemRevision", "Text", "BOMLine"};
    known.relations = {"VANE_specification"};
    known.privileges = {"CHANGE"};
    known.templates = {"Release"};
    known.item_types = {"Item"};
    known.revision_types = {"ItemRevision", "PartRevision"};
    known.dataset_types = {"Text"};
    known.bvr_types = {"STRBOMViewRevision"};
    return known;
}

std::string foundIn(const std::string& text) {
    std::string all;
    for (const Finding& finding : checkIni(parseIni(text), names()))
        all += std::to_string(finding.line) + " " + finding.section + ": " + finding.text + "\n";
    return all;
}

const char kTwice[] = "can meet an object of this section twice";

}  // namespace

TEST(MetTwice, APartByItsLines) {
    const std::string ini =
        "[SelectWSO]\nBOMLine=1\n[F_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
        "[F_ItemRevision]\nSetReleaseState=F\n";
    EXPECT_THAT(foundIn(ini), HasSubstr("6 F_ItemRevision: a run can meet"));
    EXPECT_THAT(foundIn(ini + "DoNothingOnReleaseStatus=F\n"), Not(HasSubstr(kTwice)));
}

TEST(MetTwice, NotFromARevisionThatTheRunStartsOn) {
    EXPECT_THAT(foundIn("[SelectWSO]\nItemRevision=1\n"
                        "[F_ItemRevision]\nSetReleaseState=F\nChangeForward=BOM;"
                        "Rel.VANE_specification.*\nChangeNoRek=OldItemRevision\n"
                        "[F_BOM]\nSetReleaseState=F\n[F_VANE_specification.*]\nSetReleaseState=F\n"
                        "[F_Old_ItemRevision]\nSetReleaseState=G\n"),
                Not(HasSubstr(kTwice)));
}

TEST(MetTwice, WhatHangsBelowWhatIsMetTwiceUnlessThatGoesNoFurther) {
    const std::string ini =
        "[SelectWSO]\nBOMLine=1\n[F_BOMLine]\nChangeForward=bl_revision;ChildBomLines\n"
        "[F_BOM]\nSetReleaseState=F\n[F_ItemRevision]\nChangeForward=BOM\n";
    EXPECT_THAT(foundIn(ini), HasSubstr("F_BOM: a run "));
    EXPECT_THAT(foundIn(ini + "SetReleaseState=F\nDoNothingOnReleaseStatus=F\n"),
                Not(HasSubstr("F_BOM: a run ")));
}

TEST(MetTwice, WhatTwoEntriesOfOneSectionLeadTo) {
    const std::string start = "[SelectWSO]\nItemRevision=1\n[F_BOM]\nSetReleaseState=F\n";
    EXPECT_THAT(foundIn(start + "[F_ItemRevision]\nChangeForward=BOM\nChangeBack=BOM\n"),
                HasSubstr(kTwice));
    EXPECT_THAT(foundIn(start + "[F_ItemRevision]\nChangeForward=BOM;Old_BOM\n"),
                HasSubstr(kTwice));
}

TEST(MetTwice, NotWhatLosesItsStatusOrSetsNone) {
    for (const char* set : {"none", ""})
        EXPECT_THAT(foundIn("[SelectWSO]\nBOMLine=1\n[F_BOMLine]\n"
                            "ChangeForward=ChildBomLines;bl_revision\n[F_ItemRevision]\n"
                            "SetReleaseState=" +
                            std::string(set) + "\n"),
                    Not(HasSubstr(kTwice)));
}

TEST(MetTwice, TypesOfRevisionsAreNoWaysOfTheirOwn) {
    EXPECT_THAT(foundIn("[SelectWSO]\nItem=1\n[F_Item]\nChangeForward=LastItemRevision\n"
                        "[F_ItemRevision]\nSetReleaseState=F\nChangeForward=BOM\n"
                        "[F_PartRevision]\nSetReleaseState=F\nChangeForward=BOM\n"
                        "[F_BOM]\nSetReleaseState=F\n"),
                Not(HasSubstr(kTwice)));
}

TEST(StatusGraph, HasTheChangesTheOlderRevisionsAndTheEnds) {
    const IniFile ini = parseIni(
        "[SelectWSO]\nItemRevision=1\n"
        "[F_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=F\nChangeForward=BOM\n"
        "[F_BOM]\nSetReleaseState=F\n"
        "[R_ItemRevision]\nPrevReleaseStatus=F\nSetReleaseState=R\nChangeBack=OldItemRevision\n"
        "[R_Old_ItemRevision]\nSetReleaseState=Old\n"
        "[W_ItemRevision]\nPrevReleaseStatus=F;none\nSetReleaseState=none\n");
    const Reachable reachable = followWalks(ini, names());
    EXPECT_EQ(asText(statusGraph(ini, reachable)),
              "statuses\n"
              "  (none) -> F       ItemRevision, BOM\n"
              "  F      -> R       ItemRevision\n"
              "  F      -> (none)  ItemRevision\n"
              "  (none) -> (none)  ItemRevision\n"
              "  a run to R sets Old on older: ItemRevision\n"
              "  no start type goes on from Old\n"
              "  no start type goes on from R\n");
    const std::string dot = asDot(statusGraph(ini, reachable));
    EXPECT_THAT(dot, HasSubstr("\"F\" -> \"R\" [label=\"ItemRevision\"];"));
    EXPECT_THAT(dot, HasSubstr("\"R\" -> \"Old\" [style=dashed, label=\"older ItemRevision\"];"));
    EXPECT_THAT(dot, HasSubstr("\"Old\" [peripheries=2];"));
}

TEST(StatusGraph, WhatIsLeftAloneIsNotAllowed) {
    const IniFile ini = parseIni(
        "[SelectWSO]\nItemRevision=1\n[F_ItemRevision]\nDoNothingOnReleaseStatus=F\n"
        "PrevReleaseStatus=none;F\nSetReleaseState=F\n");
    const StatusGraph graph = statusGraph(ini, followWalks(ini, names()));
    EXPECT_EQ(graph.edges.size(), 1u);
    ASSERT_EQ(graph.ends.size(), 1u);
    EXPECT_EQ(graph.ends[0].status, "F");
    EXPECT_EQ(graph.ends[0].line, 6);
}

TEST(WalkGraph, OpensASectionOnceAndTellsOnesThatAreNotThere) {
    const IniFile ini = parseIni(
        "[SelectWSO]\nItemRevision=1\nBOMLine=1\n"
        "[F_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
        "[F_ItemRevision]\nChangeForward=BOM\nChangeNoRek=OldItemRevision\n");
    const Reachable reachable = followWalks(ini, names());
    EXPECT_EQ(walksAsText(reachable),
              "walks to F\n"
              "  start ItemRevision [F_ItemRevision]\n"
              "    ChangeForward BOM [F_BOM] (no such section)\n"
              "  start BOMLine [F_BOMLine]\n"
              "    ChangeForward ChildBomLines [F_BOMLine]\n"
              "      ChangeForward ChildBomLines [F_BOMLine] (as above)\n"
              "      ChangeForward bl_revision [F_ItemRevision]\n"
              "        ChangeForward BOM [F_BOM] (no such section)\n"
              "    ChangeForward bl_revision [F_ItemRevision] (as above)\n");
    EXPECT_THAT(walksAsDot(reachable), HasSubstr("\"BOMLine\" [shape=oval];"));
    EXPECT_THAT(walksAsDot(reachable),
                HasSubstr("\"F_BOMLine\" -> \"F_ItemRevision\" [label=\"ChangeForward "
                          "bl_revision\"];"));
    EXPECT_THAT(walksAsDot(reachable), HasSubstr("\"F_BOM\" [style=dotted];"));
}

TEST(WalkGraph, QuotesWhatGraphvizWouldRead) {
    const IniFile ini = parseIni("[SelectWSO]\nA\"b\\=1\n[F_A\"b\\]\nSetReleaseState=F\n");
    EXPECT_THAT(walksAsDot(followWalks(ini, names())), HasSubstr("\"A\\\"b\\\\\" [shape=oval];"));
}
