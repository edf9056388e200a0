// Texts that are longer than the fields of a line: cut with one warning, never further.

#include "tests/bom/resequence.h"

using line_platform::Line;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using LongTexts = bom::Resequence;

std::string text(std::size_t length, char c = 'x') {
    return std::string(length, c);
}

std::vector<std::string> warnings(world::World& world) {
    return world.lines("W");
}

}  // namespace

TEST_F(LongTexts, AFieldOfALineTakes128Bytes) {
    for (const std::size_t length : {127u, 128u, 129u, 130u, 5000u}) {
        SCOPED_TRACE(length);
        world.clearLog();
        p.give({Line{text(length, 'i'), text(length, '1'), text(length, 'q'), text(length, 'r')}});
        const ACBOMLineObject made(101);
        const std::size_t kept = std::min<std::size_t>(length, 128);
        EXPECT_EQ(text(kept, 'i'), made.m_sItemId);
        EXPECT_EQ(text(kept, 'r'), made.m_sRevisionId);
        EXPECT_EQ(text(kept, '1'), made.m_sOldSeqNo);
        EXPECT_EQ(text(kept, 'q'), made.m_sQuantity);
        if (length <= 128)
            EXPECT_THAT(warnings(world), IsEmpty());
        else
            EXPECT_THAT(warnings(world), ElementsAre(StartsWith("Text cut to 128 characters: "),
                                                     StartsWith("Text cut to 128 characters: "),
                                                     StartsWith("Text cut to 128 characters: "),
                                                     StartsWith("Text cut to 128 characters: ")));
    }
}

TEST_F(LongTexts, ACutLeavesCharactersWhole) {
    p.give({Line{text(127) + "\xC3\xA4 and more", "1"}});
    const ACBOMLineObject made(101);
    EXPECT_EQ(text(127), made.m_sItemId);
}

TEST_F(LongTexts, AStatusAndANewNumberTake128Bytes) {
    const auto made = object({"X", "1"});
    made->setStatus(text(200).c_str());
    EXPECT_EQ(text(128), made->getStatus());
    made->setNewSeqNo(text(200, '3').c_str());
    EXPECT_EQ(text(128, '3'), made->m_sNewSeqNo);
    EXPECT_STREQ("modified", made->getStatus());
    EXPECT_THAT(warnings(world), ElementsAre(StartsWith("Text cut to 128 characters: "),
                                             StartsWith("Text cut to 128 characters: ")));
}

TEST_F(LongTexts, TheLogLineHoldsFieldsOfFullLength) {
    p.give({Line{text(128, 'i'), text(128, '1'), "", text(128, 'r')}});
    ACBOMLineObject made(101);
    made.setNewSeqNo(text(128, '2').c_str());
    made.setStatus(text(128, 's').c_str());
    EXPECT_EQ("\t\t" + text(128, 'i') + "/" + text(128, 'r') + "\t\t" + text(128, '1') + "\t\t" +
                  text(128, '2') + "\t\t" + text(128, 's') + "\n",
              made.getLogLine());
}

TEST_F(LongTexts, ALongKeyIsComparedWhole) {
    p.preferences["PackAndResequenceBOM.NoteTypesToCompare"] = {"Usage"};
    Line one{"X", "10", "", "A", {{"Usage", text(5000) + "1"}}};
    Line two = one, three = one;
    two.notes["Usage"] = text(5000) + "2";
    two.number = "10";
    EXPECT_EQ("X###" + text(5000) + "1###", object(one)->getCompareString());
    EXPECT_THAT(keep({one, two, three}).assigned, ElementsAre("", "20", ""));
    EXPECT_THAT(sorted({two, one, three}).assigned, ElementsAre("10", "10", "20"));
}

TEST_F(LongTexts, ManyLongNotesMakeOneLongKey) {
    auto& types = p.preferences["PackAndResequenceBOM.NoteTypesToCompare"];
    Line line{"X", "10"};
    std::string expected = "X###";
    for (int i = 0; i < 20; ++i) {
        types.push_back("Note" + std::to_string(i));
        line.notes[types.back()] = text(300, static_cast<char>('a' + i));
        expected += line.notes[types.back()] + "###";
    }
    EXPECT_EQ(expected, object(line)->getCompareString());
}

TEST_F(LongTexts, TheDefaultQuantityTakes99Bytes) {
    p.give({Line{"X", "10"}});
    run(10, false, text(99, '1').c_str());
    EXPECT_EQ(text(99, '1'), p.lines[101].quantity);
    EXPECT_THAT(warnings(world), IsEmpty());
    p.give({Line{"X", "10"}});
    run(10, false, text(3000, '1').c_str());
    EXPECT_EQ(text(99, '1'), p.lines[101].quantity);
    EXPECT_THAT(warnings(world), ElementsAre(StartsWith("Text cut to 99 characters: ")));
}

TEST_F(LongTexts, TheDumpShows1023BytesOfAKey) {
    p.preferences["PackAndResequenceBOM.NoteTypesToCompare"] = {"Usage"};
    const Line line{"X", "10", "", "A", {{"Usage", text(3000, 'u')}}};
    EXPECT_EQ("00 X###" + text(1019, 'u') + " 10-10-\n", keep({line}).printed);
}

TEST_F(LongTexts, ALongNumberIsCopiedWhole) {
    const std::string number = text(128, '7');
    EXPECT_THAT(keep({{"X", number}, {"X", "10"}}).assigned, ElementsAre("", number));
}
