// The mode that keeps the order of the lines and what numbers it can.

#include "tests/bom/resequence.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using KeepingNumbers = bom::Resequence;

const std::string kWrite = "OBJ_set_value_string(";

}  // namespace

TEST_F(KeepingNumbers, DistinctNumbersOfDistinctComponentsAreLeftAlone) {
    const bom::Outcome run = keep({{"X", "10"}, {"Y", "20"}, {"Z", "15"}});
    EXPECT_THAT(run.assigned, Each(""));
    EXPECT_THAT(run.statuses, Each("use existing"));
    EXPECT_THAT(p.callsOf(kWrite), IsEmpty());
}

TEST_F(KeepingNumbers, TheWorkedRun) {
    const bom::Outcome run = keep({{"X", "10"}, {"Y", "10"}, {"X", "20"}, {"Z", ""}, {"Y", "30"}});
    EXPECT_THAT(run.assigned, ElementsAre("", "30", "10", "40", ""));
    EXPECT_THAT(run.numbers, ElementsAre("10", "30", "10", "40", "30"));
    EXPECT_THAT(run.statuses,
                ElementsAre("use existing", "modified", "modified", "modified", "use existing"));
    EXPECT_EQ(40, run.last_number);
    EXPECT_THAT(p.callsOf(kWrite), ElementsAre(kWrite + "102, bl_sequence_no, 30)",
                                               kWrite + "103, bl_sequence_no, 10)",
                                               kWrite + "104, bl_sequence_no, 40)"));
    // The list is printed after each line that had a number in the first pass, so not after Z.
    const std::string after_x =
        "00 X### 10-10-\n01 Y### 10-30-30\n02 X### 20-10-10\n03 Z### --\n04 Y### 30-30-\n";
    EXPECT_EQ(after_x + after_x + after_x + after_x, run.printed);
}

TEST_F(KeepingNumbers, TwoLinesOfOneComponentTakeTheFirstsNumber) {
    const bom::Outcome run = keep({{"X", "10"}, {"X", "20"}});
    EXPECT_THAT(run.assigned, ElementsAre("", "10"));
    EXPECT_THAT(run.statuses, ElementsAre("use existing", "modified"));
}

TEST_F(KeepingNumbers, TheSecondOfTwoComponentsOnOneNumberTakesAFreshOne) {
    const bom::Outcome run = keep({{"X", "20"}, {"Y", "20"}});
    EXPECT_THAT(run.assigned, ElementsAre("", "30"));
}

TEST_F(KeepingNumbers, AFreshNumberIsNotCheckedAgainstThoseInUse) {
    const bom::Outcome run = keep({{"X", "50"}, {"Y", "50"}, {"Z", "10"}}, 40);
    EXPECT_THAT(run.assigned, ElementsAre("", "50", ""));
    EXPECT_THAT(run.statuses, ElementsAre("use existing", "modified", "use existing"));
    EXPECT_THAT(p.callsOf(kWrite), ElementsAre(kWrite + "102, bl_sequence_no, 50)"));
}

TEST_F(KeepingNumbers, TheCounterStartsFromTheLastLineAndNotFromTheHighest) {
    EXPECT_THAT(keep({{"X", "90"}, {"Y", "90"}, {"Z", "20"}}).assigned, ElementsAre("", "30", ""));
    EXPECT_THAT(keep({{"X", "90"}, {"Y", "90"}, {"Z", ""}}).assigned, ElementsAre("", "10", "20"));
}

TEST_F(KeepingNumbers, NumbersAreComparedAsTexts) {
    EXPECT_THAT(keep({{"X", "10"}, {"Y", "010"}}).assigned, ElementsAre("", ""));
    EXPECT_THAT(keep({{"X", "10"}, {"X", "010"}}).assigned, ElementsAre("", "10"));
    EXPECT_THAT(keep({{"X", "010"}, {"X", "10"}}).assigned, ElementsAre("", "010"));
    EXPECT_THAT(keep({{"X", "10"}, {"Y", "10 "}, {"Z", " 10"}}).assigned, Each(""));
}

TEST_F(KeepingNumbers, ATextThatDoesNotBeginWithANumberIsNone) {
    for (const char* none :
         {"", "0", "000", "A10", "-", "+", "-0", "+-5", "- 5", "  ", ".5", "x", "\t10"}) {
        SCOPED_TRACE(none);
        const bom::Outcome run = keep({{"X", none}});
        EXPECT_THAT(run.assigned, ElementsAre("10"));
        EXPECT_EQ("", run.printed) << "a line without a number prints nothing";
    }
    for (const char* number :
         {"1", " 7", "+7", "-7", "7A", "1.5", "99999999999999999999", "  -3x"}) {
        SCOPED_TRACE(number);
        EXPECT_THAT(keep({{"X", number}}).assigned, ElementsAre(""));
    }
}

TEST_F(KeepingNumbers, AnIncrementOfNothingLeavesAClashOnTheCountersValue) {
    const bom::Outcome run = keep({{"X", "10"}, {"Y", "10"}, {"Z", "10"}}, 0);
    EXPECT_THAT(run.assigned, ElementsAre("", "10", "10"));
    EXPECT_EQ(10, run.last_number);
}

TEST_F(KeepingNumbers, ANegativeIncrementCountsDown) {
    const bom::Outcome run = keep({{"X", "20"}, {"Y", "20"}, {"Z", "20"}, {"W", "5"}}, -10);
    EXPECT_THAT(run.assigned, ElementsAre("", "-5", "-15", ""));
}

TEST_F(KeepingNumbers, AFreshNumberOfNothingLeavesTheLineToTheSecondPass) {
    const bom::Outcome run = keep({{"X", "10"}, {"Y", "10"}}, -10);
    EXPECT_THAT(run.assigned, ElementsAre("", "-10"));
}

TEST_F(KeepingNumbers, ANumberOfALineThatWasReadLikeTheFirstsIsNoOffer) {
    // The last X has 25 when the other X has to leave 20, but it was read with 15, like Z.
    const bom::Outcome run = keep({{"W", "15"}, {"Z", "15"}, {"X", "20"}, {"X", "15"}}, 5);
    EXPECT_THAT(run.assigned, ElementsAre("", "20", "30", "30"));
    EXPECT_EQ(30, run.last_number);
}

TEST_F(KeepingNumbers, TheFirstOfferIsTakenAndOnlyTheLineInQuestionMoves) {
    const bom::Outcome run =
        keep({{"X", "10"}, {"Y", "10"}, {"Y", ""}, {"Y", "10"}, {"Y", "40"}, {"Y", "30"}});
    // Each Y then follows the first of its component.
    EXPECT_THAT(run.assigned, ElementsAre("", "40", "40", "40", "", "40"));
    EXPECT_EQ(30, run.last_number) << "no fresh number was needed";
}

TEST_F(KeepingNumbers, AFreshNumberGoesToAllLaterLinesOfTheComponent) {
    const bom::Outcome run = keep({{"X", "10"}, {"Y", "10"}, {"Y", ""}, {"Y", "10"}});
    EXPECT_THAT(run.assigned, ElementsAre("", "20", "20", "20"));
    EXPECT_EQ(20, run.last_number);
}

TEST_F(KeepingNumbers, ALineWithoutANumberCopiesALaterOneOfItsComponent) {
    EXPECT_THAT(keep({{"X", ""}, {"Y", "20"}, {"X", "30"}}).assigned, ElementsAre("30", "", ""));
    EXPECT_THAT(keep({{"X", "30"}, {"Y", "20"}, {"X", ""}}).assigned, ElementsAre("", "", "30"))
        << "an earlier one has given its number in the first pass";
}

TEST_F(KeepingNumbers, LinesWithoutANumberShareOneFreshNumberByComponent) {
    const bom::Outcome run = keep({{"X", ""}, {"Y", "A1"}, {"X", "0"}, {"Y", ""}, {"Z", "40"}});
    EXPECT_THAT(run.assigned, ElementsAre("50", "60", "50", "60", ""));
}

TEST_F(KeepingNumbers, TheNoteTypesSeparateLinesOfOneItem) {
    p.preferences["PackAndResequenceBOM.NoteTypesToCompare"] = {"Usage"};
    const bom::Outcome run = keep({{"X", "10", "", "A", {{"Usage", "left"}}},
                                   {"X", "10", "", "B", {{"Usage", "right"}}},
                                   {"X", "10", "", "C", {{"Usage", "left"}}}});
    EXPECT_THAT(run.assigned, ElementsAre("", "20", ""));
}

TEST_F(KeepingNumbers, TwoRevisionsOfOneItemGetOneNumber) {
    EXPECT_THAT(keep({{"X", "10", "", "A"}, {"X", "20", "", "B"}}).assigned, ElementsAre("", "10"));
}

TEST_F(KeepingNumbers, ItemIdsAreComparedWithCase) {
    EXPECT_THAT(keep({{"x", "10"}, {"X", "10"}}).assigned, ElementsAre("", "20"));
}

TEST_F(KeepingNumbers, HugeNumbersAreNumbersAndTheCounterStaysAnInteger) {
    const bom::Outcome run = keep({{"X", "5"}, {"Y", "5"}, {"Z", "99999999999999999999"}}, -1);
    EXPECT_THAT(run.assigned, ElementsAre("", "2147483646", ""));
    const bom::Outcome low = keep({{"X", "5"}, {"Y", "5"}, {"Z", "-99999999999999999999"}}, 1);
    EXPECT_THAT(low.assigned, ElementsAre("", "-2147483647", ""));
}

TEST_F(KeepingNumbers, TheIndexInTheDumpHasAtLeastTwoDigits) {
    std::vector<line_platform::Line> lines(101, line_platform::Line{"X", "10"});
    const std::string printed = keep(lines).printed;
    EXPECT_EQ(0u, printed.find("00 X### 10-10-\n01 X### 10-10-\n"));
    EXPECT_NE(std::string::npos, printed.find("\n99 X### 10-10-\n100 X### 10-10-\n00 X###"));
}
