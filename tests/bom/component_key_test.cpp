// The key by which two lines are the same component.

#include "tests/bom/bom_lines.h"

using line_platform::Line;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const kPreference = "PackAndResequenceBOM.NoteTypesToCompare";

class ComponentKey : public bom::BomLines {
protected:
    std::string key(const Line& keyed) { return object(keyed)->getCompareString(); }
    Line line{"4711", "10", "", "A", {{"First", "x"}, {"Second", ""}}};
};

}  // namespace

TEST_F(ComponentKey, IsTheItemAloneWithoutNoteTypes) {
    EXPECT_EQ("4711###", key(line));
}

TEST_F(ComponentKey, HasTheNotesInTheOrderOfThePreference) {
    p.preferences[kPreference] = {"First", "Second"};
    EXPECT_EQ("4711###x######", key(line));
}

TEST_F(ComponentKey, FollowsThePreferencesOrderAndNotTheLines) {
    p.preferences[kPreference] = {"Second", "First"};
    EXPECT_EQ("4711######x###", key(line));
}

TEST_F(ComponentKey, LeavesTheRevisionOut) {
    p.preferences[kPreference] = {"First"};
    Line other = line;
    other.revision = "B";
    other.number = "20";
    EXPECT_EQ(key(line), key(other));
    other.notes["First"] = "X";
    EXPECT_NE(key(line), key(other)) << "byte for byte";
}

TEST_F(ComponentKey, ANoteThatCantBeReadAddsNothingButTheHashes) {
    p.preferences[kPreference] = {"Unknown", "First"};
    EXPECT_EQ("4711######x###", key(line));
    EXPECT_EQ("##QSK_err_4700: OBJ_ask_value_string(...)", bom::messages(world, "E").at(0));
}

TEST_F(ComponentKey, IsBuiltOnceWithOneReadForEachNoteType) {
    p.preferences[kPreference] = {"First", "Second"};
    const auto made = object(line);
    made->getCompareString();
    made->getCompareString();
    EXPECT_THAT(p.calls, ElementsAre("OPT_ask_char_values(PackAndResequenceBOM.NoteTypesToCompare)",
                                     "OBJ_ask_value_string(101, First)",
                                     "OBJ_ask_value_string(101, Second)"));
}

TEST_F(ComponentKey, TheNoteTypesAreReadOnceForTheProcess) {
    p.preferences[kPreference] = {"First"};
    key(line);
    p.preferences[kPreference] = {"First", "Second"};
    EXPECT_EQ("4711###x###", key(line));
    EXPECT_THAT(p.callsOf("OPT_"), IsEmpty());
    EXPECT_EQ(1, ACBOMLineObject::m_iNoteTypeNamesToCompareCount);
}

TEST_F(ComponentKey, WithoutThePreferenceTheLogSaysSoForEveryLine) {
    for (int i = 0; i < 3; ++i) {
        key(line);
        EXPECT_THAT(world.lines("EWT"),
                    ElementsAre("ACBOMLineObject::initNoteTypesToCompare()", bom::kNotesNotSet));
        EXPECT_THAT(p.callsOf("OPT_"),
                    ElementsAre("OPT_ask_char_values(PackAndResequenceBOM.NoteTypesToCompare)"));
    }
}

TEST_F(ComponentKey, APreferenceThatIsSetLaterIsFoundAsLongAsNoneWas) {
    EXPECT_EQ("4711###", key(line));
    p.preferences[kPreference] = {"First"};
    EXPECT_EQ("4711###x###", key(line));
}

TEST_F(ComponentKey, APreferenceThatCantBeReadCountsAsNotSet) {
    p.preferences[kPreference] = {"First"};
    const auto made = object(line);
    p.fail("OPT_ask_char_values");
    EXPECT_STREQ("4711###", made->getCompareString());
    const auto errors = bom::messages(world, "E");
    EXPECT_EQ("##QSK_err_4711: OPT_ask_char_values(...)", errors.front());
    EXPECT_EQ(bom::kNotesNotSet, errors.back());
    EXPECT_EQ("4711###x###", key(line)) << "asked again for the next line";
}

TEST_F(ComponentKey, TheArgumentOfTheReadingPlaysNoPart) {
    p.preferences[kPreference] = {"First"};
    const auto made = object(line);
    EXPECT_EQ(0, made->initNoteTypesToCompare("Other"));
    EXPECT_EQ(1, made->getNoteTypeNamesToCompareCount());
    EXPECT_STREQ("First", ACBOMLineObject::m_ppcNoteTypeNamesToCompare[0]);
    EXPECT_THAT(p.calls, Each("OPT_ask_char_values(PackAndResequenceBOM.NoteTypesToCompare)"));
    EXPECT_THAT(world.lines("T"), ElementsAre("ACBOMLineObject::initNoteTypesToCompare()"));
}

TEST_F(ComponentKey, OfALineWithoutAnItemIsStillAKey) {
    EXPECT_EQ("###", key(Line{}));
}
