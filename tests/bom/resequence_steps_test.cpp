// The steps after the numbering, their order, and what a failure in one of them does.

#include "tests/bom/resequence.h"

using line_platform::kParent;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ResequenceSteps : public bom::Resequence {
protected:
    // Written and packed, in order.
    std::vector<std::string> changes() {
        std::vector<std::string> found;
        for (const std::string& call : p.calls)
            if (call.starts_with("OBJ_set_") || call.starts_with("LINE_pack"))
                found.push_back(call);
        return found;
    }
};

const std::string kWrite = "OBJ_set_value_string(";
const std::string kOwn = "ACBOMLineChildrenObjects::";

}  // namespace

TEST_F(ResequenceSteps, QuantitiesThenNumbersThenPacking) {
    p.give({{"X", "10", ""}, {"Y", "10", "2"}, {"Z", "5", ""}});
    run(10, false, "1");
    EXPECT_THAT(changes(),
                ElementsAre(kWrite + "101, bl_quantity, 1)", kWrite + "103, bl_quantity, 1)",
                            kWrite + "102, bl_sequence_no, 15)", "LINE_pack(101)", "LINE_pack(102)",
                            "LINE_pack(103)"));
}

TEST_F(ResequenceSteps, AnEmptyDefaultQuantityLeavesQuantitiesAlone) {
    p.give({{"X", "10", ""}});
    run(10, false, "");
    EXPECT_THAT(changes(), ElementsAre("LINE_pack(101)"));
    p.give({{"X", "10", ""}});
    run(10, false, nullptr);
    EXPECT_THAT(changes(), ElementsAre("LINE_pack(101)"));
}

TEST_F(ResequenceSteps, AQuantityOfBlanksIsOne) {
    p.give({{"X", "10", " "}, {"X", "10", "0"}});
    run(10, false, "1");
    EXPECT_THAT(p.callsOf(kWrite), IsEmpty());
}

TEST_F(ResequenceSteps, TheKeepingModeTracesItsNameAtItsEnd) {
    p.give({{"X", "10"}, {"Y", "10"}});
    ACBOMLineChildrenObjects children(kParent);
    EXPECT_THAT(world.lines("T"), ElementsAre(kOwn + "init()", "ACBOMLineObject::initMembers()",
                                              "ACBOMLineObject::initMembers()"));
    world.clearLog();
    children.resequenceAndPack(10, "", false);
    const std::string notes = "ACBOMLineObject::initNoteTypesToCompare()";
    EXPECT_THAT(
        world.lines("EWT"),
        ElementsAre(
            notes, bom::kNotesNotSet, notes, bom::kNotesNotSet,
            kOwn + "eliminateEqualSeqonoDifferentComponentsEqualComponentsDifferentSeqono()",
            kOwn + "setDefaultQuantities()", kOwn + "setNewSequenceNumbers()", kOwn + "pack()"));
}

TEST_F(ResequenceSteps, OneNoteMessageForEachLineInBothModes) {
    const std::vector<line_platform::Line> lines = {{"X", "10"}, {"Y", "10"}, {"X", ""}};
    keep(lines);
    EXPECT_THAT(world.lines("E"),
                ElementsAre(bom::kNotesNotSet, bom::kNotesNotSet, bom::kNotesNotSet));
    world.clearLog();
    sorted(lines);
    EXPECT_THAT(world.lines("E"),
                ElementsAre(bom::kNotesNotSet, bom::kNotesNotSet, bom::kNotesNotSet));
}

TEST_F(ResequenceSteps, ChildrenThatCantBeReadAreNoneAndEveryStepFindsNothingToDo) {
    p.give({{"X", "10"}, {"X", "20"}});
    for (const bool sort : {false, true}) {
        world.clearLog();
        p.fail("LINE_ask_child_lines");
        ACBOMLineChildrenObjects children(kParent);
        EXPECT_EQ(0, children.m_iBomLineObjCount);
        EXPECT_EQ("##QSK_err_4711: LINE_ask_child_lines(...)", bom::messages(world, "E").at(0));
        EXPECT_EQ(0, children.resequenceAndPack(10, "1", sort));
        EXPECT_THAT(changes(), IsEmpty());
        p.fail("LINE_ask_child_lines");
        EXPECT_EQ(line_platform::kFailed, children.init());
    }
}

TEST_F(ResequenceSteps, ThePlatformsListIsGivenBackAndNothingElseTaken) {
    p.give({{"X", "10"}, {"X", "20"}});
    run(10, false);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(ResequenceSteps, ALineWhoseNumberCantBeReadHasNone) {
    p.give({{"X", "10"}, {"Y", "20"}});
    p.fail("OBJ_ask_value_string", 3);
    EXPECT_THAT(run(10, false).assigned, ElementsAre("30", ""));
}

// Kept: the run can't tell it from an empty one.
TEST_F(ResequenceSteps, AQuantityThatCantBeReadCountsAsNoneAndGetsTheDefault) {
    p.give({{"X", "10", "7"}, {"Y", "20", "8"}});
    p.fail("OBJ_ask_value_string", 4);
    run(10, false, "1");
    EXPECT_EQ("1", p.lines[101].quantity);
    EXPECT_EQ("8", p.lines[102].quantity);
}

TEST_F(ResequenceSteps, AQuantityThatCantBeWrittenIsLoggedAndTheNextIs) {
    p.give({{"X", "10", ""}, {"Y", "20", ""}});
    p.fail("OBJ_set_value_string");
    run(10, false, "1");
    EXPECT_THAT(changes(),
                ElementsAre(kWrite + "101, bl_quantity, 1)", kWrite + "102, bl_quantity, 1)",
                            "LINE_pack(101)", "LINE_pack(102)"));
    EXPECT_EQ("", p.lines[101].quantity);
    EXPECT_THAT(bom::messages(world, "E"),
                testing::Contains("##QSK_err_4711: OBJ_set_value_string(...)"));
}

TEST_F(ResequenceSteps, ANumberThatCantBeWrittenIsLoggedAndTheNextIs) {
    p.give({{"X", "10"}, {"X", "20"}, {"X", "30"}});
    p.fail("OBJ_set_value_string");
    run(10, false);
    EXPECT_THAT(changes(), ElementsAre(kWrite + "102, bl_sequence_no, 10)",
                                       kWrite + "103, bl_sequence_no, 10)", "LINE_pack(101)",
                                       "LINE_pack(102)", "LINE_pack(103)"));
    EXPECT_EQ("20", p.lines[102].number);
    EXPECT_THAT(bom::messages(world, "E"),
                testing::Contains("##QSK_err_4711: OBJ_set_value_string(...)"));
}

TEST_F(ResequenceSteps, AFailedPackEndsThePackingAndTheRunSucceeds) {
    p.give({{"X", "10"}, {"Y", "20"}, {"Z", "30"}});
    p.fail("LINE_pack", 2);
    ACBOMLineChildrenObjects children(kParent);
    EXPECT_EQ(0, children.resequenceAndPack(10, "", false));
    EXPECT_THAT(changes(), ElementsAre("LINE_pack(101)", "LINE_pack(102)"));
    EXPECT_THAT(bom::messages(world, "E"), testing::Contains("##QSK_err_4711: LINE_pack(...)"));
    EXPECT_THAT(bom::messages(world, "E"),
                testing::Contains(testing::StartsWith("##QSK_text_4711: ")));
    p.fail("LINE_pack", 3);
    EXPECT_EQ(line_platform::kFailed, children.pack());
}

TEST_F(ResequenceSteps, AFirstNumberThatCantBeReadIsTen) {
    p.preferences["PackAndResequenceBOM.SEQNO_FIRST"] = {"500"};
    p.give({{"X", "1"}, {"Y", "1"}});
    p.fail("OPT_ask_int_value");
    EXPECT_THAT(run(10, true).assigned, ElementsAre("10", "20"));
    EXPECT_THAT(bom::messages(world, "E"),
                testing::Contains("##QSK_err_4711: OPT_ask_int_value(...)"));
}

TEST_F(ResequenceSteps, NextNumbersAreWrittenPlainly) {
    ACBOMLineChildrenObjects children(kParent);
    char buffer[100] = "";
    children.getNextSeqNo(5, buffer);
    EXPECT_STREQ("5", buffer);
    children.getNextSeqNo(-12, buffer);
    EXPECT_STREQ("-7", buffer);
    EXPECT_EQ(-7, children.m_iLastSeqNo);
    children.m_iLastSeqNo = 2147483647;
    children.getNextSeqNo(1, buffer);
    EXPECT_STREQ("-2147483648", buffer) << "without an overflow of signed numbers";
}

TEST_F(ResequenceSteps, TheNumbersOfARunAreKeptInItsFields) {
    p.give({{"X", "10"}, {"Y", "70"}});
    ACBOMLineChildrenObjects children(kParent);
    EXPECT_EQ(70, children.m_iLastSeqNo);
    EXPECT_EQ(kParent, children.m_tagBOMLine);
    EXPECT_EQ(2, children.m_iBomLineObjCount);
    children.resequenceAndPack(25, "0.5", false);
    EXPECT_EQ(25, children.m_iSeqNoIncr);
    EXPECT_STREQ("0.5", children.m_sDefaultQuantity);
}
