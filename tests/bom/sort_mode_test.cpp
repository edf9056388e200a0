// The mode that sorts the lines by component and numbers them from the start.

#include "tests/bom/resequence.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SortingLines : public bom::Resequence {
protected:
    void first(const char* number) { p.preferences["PackAndResequenceBOM.SEQNO_FIRST"] = {number}; }
};

const std::string kWrite = "OBJ_set_value_string(";

}  // namespace

TEST_F(SortingLines, AreNumberedFromTenByComponent) {
    const bom::Outcome run = sorted({{"Z", "10"}, {"X", "10"}, {"Z", "20"}, {"Y", ""}});
    EXPECT_THAT(run.items, ElementsAre("X", "Y", "Z", "Z"));
    EXPECT_THAT(run.assigned, ElementsAre("10", "20", "30", "30"));
    EXPECT_THAT(run.statuses, Each("modified"));
    EXPECT_EQ(30, run.last_number);
    EXPECT_EQ("", run.printed) << "the dump belongs to the other mode";
}

TEST_F(SortingLines, AreWrittenInTheSortedOrderAndThePlatformsOrderStays) {
    sorted({{"Z", "10"}, {"X", "10"}});
    EXPECT_THAT(p.callsOf(kWrite), ElementsAre(kWrite + "102, bl_sequence_no, 10)",
                                               kWrite + "101, bl_sequence_no, 20)"));
    EXPECT_THAT(p.callsOf("LINE_pack"), ElementsAre("LINE_pack(102)", "LINE_pack(101)"));
    EXPECT_THAT(p.children[line_platform::kParent], ElementsAre(101u, 102u));
}

TEST_F(SortingLines, ALineWhoseNumberHappensToStayIsModifiedAndWrittenToo) {
    const bom::Outcome run = sorted({{"X", "10"}});
    EXPECT_THAT(run.statuses, ElementsAre("modified"));
    EXPECT_THAT(p.callsOf(kWrite), ElementsAre(kWrite + "101, bl_sequence_no, 10)"));
}

TEST_F(SortingLines, ASingleLineTakesTheFirstNumber) {
    first("700");
    EXPECT_THAT(sorted({{"X", "3"}}).assigned, ElementsAre("700"));
}

TEST_F(SortingLines, FirstNumberAndIncrementMayBeAnything) {
    const std::vector<line_platform::Line> lines = {{"X", "1"}, {"Y", "1"}, {"Z", "1"}};
    first("0");
    EXPECT_THAT(sorted(lines, 0).assigned, ElementsAre("0", "0", "0"));
    first("-5");
    EXPECT_THAT(sorted(lines, -10).assigned, ElementsAre("-5", "-15", "-25"));
    first("2147483647");
    EXPECT_THAT(sorted(lines, -1).assigned, ElementsAre("2147483647", "2147483646", "2147483645"));
}

TEST_F(SortingLines, ThatAreOfOneComponentKeepTheirOrder) {
    const bom::Outcome run = sorted(
        {{"Y", "1", "", "B"}, {"X", "2", "", "C"}, {"Y", "3", "", "A"}, {"X", "4", "", "A"}});
    EXPECT_THAT(run.items, ElementsAre("X", "X", "Y", "Y"));
    EXPECT_THAT(p.callsOf("LINE_pack"), ElementsAre("LINE_pack(102)", "LINE_pack(104)",
                                                    "LINE_pack(101)", "LINE_pack(103)"));
}

TEST_F(SortingLines, AreComparedByteByByteAsUnsigned) {
    // The "###" after the item is compared too: '#' is smaller than the digits and greater than a
    // blank.
    const bom::Outcome run = sorted({{"\xC3\xA4", "1"},
                                     {"a", "1"},
                                     {"B", "1"},
                                     {"10", "1"},
                                     {"1", "1"},
                                     {"1 ", "1"},
                                     {"", "1"}});
    EXPECT_THAT(run.items, ElementsAre("", "1 ", "1", "10", "B", "a", "\xC3\xA4"));
}

TEST_F(SortingLines, NotesTakePartInTheOrder) {
    p.preferences["PackAndResequenceBOM.NoteTypesToCompare"] = {"Usage"};
    const bom::Outcome run = sorted({{"X", "1", "", "B", {{"Usage", "right"}}},
                                     {"X", "1", "", "A", {{"Usage", "left"}}},
                                     {"X", "1", "", "A", {{"Usage", "right"}}}});
    EXPECT_THAT(run.assigned, ElementsAre("10", "20", "20"));
    EXPECT_THAT(p.callsOf("LINE_pack"),
                ElementsAre("LINE_pack(102)", "LINE_pack(101)", "LINE_pack(103)"));
}

TEST_F(SortingLines, TwoRevisionsOfOneItemGetOneNumber) {
    EXPECT_THAT(sorted({{"X", "10", "", "B"}, {"X", "20", "", "A"}}).assigned,
                ElementsAre("10", "10"));
}

TEST_F(SortingLines, AnUnsetFirstNumberWarnsAndIsTen) {
    sorted({{"X", "1"}});
    EXPECT_THAT(world.lines("W"),
                ElementsAre("Pref:PackAndResequenceBOM.SEQNO_FIRST not set use default=10"));
    EXPECT_THAT(world.lines("T"),
                testing::Contains(
                    "ACPreference::getIntValue(PackAndResequenceBOM.SEQNO_FIRST) returns [10]"));
}

TEST_F(SortingLines, ThatAreNoneStayNone) {
    const bom::Outcome run = sorted({});
    EXPECT_THAT(run.items, IsEmpty());
    EXPECT_THAT(p.callsOf("LINE_pack"), IsEmpty());
    EXPECT_THAT(p.callsOf(kWrite), IsEmpty());
    EXPECT_EQ(0, keep({}).last_number);
}
