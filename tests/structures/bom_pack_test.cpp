#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

class Packing : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        top_ = revision("100");
        part_ = revision("200");
        other_ = revision("300");
    }
    // A window over lines of the part, by quantity and number.
    Tags lines(const std::vector<std::pair<std::string, std::string>>& list) {
        for (const auto& [quantity, number] : list)
            occurrences_.push_back(bench_.addOccurrence(top_, part_, quantity, number));
        line_ = bench_.openBomWindow(top_);
        return childrenOf(line_);
    }
    std::string quantity(tag_t line) { return textOf(line, "bl_quantity"); }
    tag_t top_ = NULLTAG, part_ = NULLTAG, other_ = NULLTAG, line_ = NULLTAG;
    Tags occurrences_;
};

TEST_F(Packing, LikeLinesAreMergedAndTheSumIsExact) {
    const Tags all = lines({{"0.1", "10"}, {"0.2", "10"}, {"5", "20"}});
    ASSERT_EQ(0, LINE_pack(all[0]));
    EXPECT_EQ((Tags{all[0], all[2]}), childrenOf(line_));
    EXPECT_EQ("0.3", quantity(all[0]));
    EXPECT_EQ("5", quantity(all[2]));
}

TEST_F(Packing, SumsKeepEveryDigit) {
    const Tags all = lines({{"99999999999999999999.999", "10"}, {"0.001", "10"}, {".5", "10"}});
    ASSERT_EQ(0, LINE_pack(all[1]));
    EXPECT_EQ("100000000000000000000.5", quantity(all[1]));
}

TEST_F(Packing, AnEmptyQuantityCountsAsOneInASumAndStaysEmptyAlone) {
    const Tags all = lines({{"", "10"}, {"2", "10"}, {"", "20"}});
    ASSERT_EQ(0, LINE_pack(all[0]));
    ASSERT_EQ(0, LINE_pack(all[2]));
    EXPECT_EQ("3", quantity(all[0]));
    EXPECT_EQ("", quantity(all[2]));
}

TEST_F(Packing, UnpackingGivesTheLinesBackWithTheirQuantitiesAtTheirPlaces) {
    const Tags all = lines({{"", "10"}, {"7", "20"}, {"2.50", "10"}, {"4", "10"}});
    ASSERT_EQ(0, LINE_pack(all[2]));
    EXPECT_EQ((Tags{all[1], all[2]}), childrenOf(line_));
    EXPECT_EQ("7.5", quantity(all[2]));
    ASSERT_EQ(0, LINE_unpack(all[2]));
    EXPECT_EQ(all, childrenOf(line_));
    EXPECT_EQ("", quantity(all[0]));
    EXPECT_EQ("2.50", quantity(all[2]));
    EXPECT_EQ("4", quantity(all[3]));
}

TEST_F(Packing, NumbersAreComparedAsTexts) {
    const Tags all = lines({{"1", "10"}, {"1", "010"}, {"1", ""}, {"1", ""}});
    ASSERT_EQ(0, LINE_pack(all[0]));
    ASSERT_EQ(0, LINE_pack(all[2]));
    EXPECT_EQ((Tags{all[0], all[1], all[2]}), childrenOf(line_));
}

TEST_F(Packing, OtherRevisionsNotesAndParentsAreNotLike) {
    const Tags made = lines({{"1", "10"}, {"1", "10"}});
    bench_.addOccurrence(top_, other_, "1", "10");
    bench_.addOccurrence(other_, part_, "1", "10");
    bench_.set(occurrences_[1], "note_names", {std::string("Usage")});
    bench_.set(occurrences_[1], "note_values", {std::string("left")});
    line_ = bench_.openBomWindow(top_);
    const Tags all = childrenOf(line_);
    for (tag_t line : all)
        ASSERT_EQ(0, LINE_pack(line));
    EXPECT_EQ(all, childrenOf(line_));
    EXPECT_EQ(1u, childrenOf(all[2]).size());
}

TEST_F(Packing, AnEmptyNoteIsNoNote) {
    lines({{"1", "10"}, {"1", "10"}});
    bench_.set(occurrences_[1], "note_names", {std::string("Usage")});
    bench_.set(occurrences_[1], "note_values", {std::string()});
    line_ = bench_.openBomWindow(top_);
    ASSERT_EQ(0, LINE_pack(childrenOf(line_)[0]));
    EXPECT_EQ(1u, childrenOf(line_).size());
}

TEST_F(Packing, AMergedLineKeepsItsTagAndTakesPartInNothing) {
    const Tags all = lines({{"1", "10"}, {"2", "10"}, {"4", "10"}});
    ASSERT_EQ(0, LINE_pack(all[0]));
    EXPECT_EQ(0, LINE_pack(all[1]));
    EXPECT_EQ(0, LINE_unpack(all[2]));
    EXPECT_EQ("2", quantity(all[1]));
    EXPECT_EQ("10", textOf(all[1], "bl_sequence_no"));
    EXPECT_EQ(part_, lineTag(all[1], "bl_revision"));
    EXPECT_EQ(kReadOnly, OBJ_set_value_string(all[1], "bl_sequence_no", "50"));
    EXPECT_EQ(Tags{all[0]}, childrenOf(line_));
    EXPECT_EQ("7", quantity(all[0]));
}

TEST_F(Packing, PackingEveryLineOfAListPacksEachOnce) {
    const Tags all = lines({{"1", "10"}, {"2", "20"}, {"4", "10"}, {"8", "20"}, {"16", "30"}});
    for (tag_t line : all)
        ASSERT_EQ(0, LINE_pack(line));
    EXPECT_EQ((Tags{all[0], all[1], all[4]}), childrenOf(line_));
    EXPECT_EQ("5", quantity(all[0]));
    EXPECT_EQ("10", quantity(all[1]));
}

TEST_F(Packing, PackedLinesMergeWithWhatBecameLikeThem) {
    const Tags all = lines({{"1", "10"}, {"2", "10"}, {"4", "20"}, {"8", "20"}});
    ASSERT_EQ(0, LINE_pack(all[0]));
    ASSERT_EQ(0, LINE_pack(all[2]));
    ASSERT_EQ(0, OBJ_set_value_string(all[2], "bl_sequence_no", "10"));
    ASSERT_EQ(0, LINE_pack(all[2]));
    EXPECT_EQ(Tags{all[2]}, childrenOf(line_));
    EXPECT_EQ("15", quantity(all[2]));
    ASSERT_EQ(0, LINE_unpack(all[2]));
    EXPECT_EQ(all, childrenOf(line_));
    EXPECT_EQ("10", textOf(all[3], "bl_sequence_no"));
}

TEST_F(Packing, ASumIsNotWritten) {
    const Tags all = lines({{"1", "10"}, {"2", "10"}});
    ASSERT_EQ(0, LINE_pack(all[0]));
    EXPECT_EQ(kReadOnly, OBJ_set_value_string(all[0], "bl_quantity", "9"));
    EXPECT_NE(std::string::npos, lastError().find("unpack")) << lastError();
    ASSERT_EQ(0, LINE_unpack(all[0]));
    EXPECT_EQ(0, OBJ_set_value_string(all[0], "bl_quantity", "9"));
}

TEST_F(Packing, TheTopLineAndLinesThatAreNotPackedAreLeftAlone) {
    const Tags all = lines({{"1", "10"}});
    EXPECT_EQ(0, LINE_pack(line_));
    EXPECT_EQ(0, LINE_unpack(line_));
    EXPECT_EQ(0, LINE_pack(all[0]));
    EXPECT_EQ(0, LINE_unpack(all[0]));
    EXPECT_EQ(all, childrenOf(line_));
    EXPECT_EQ("1", quantity(all[0]));
}

TEST_F(Packing, AStoredQuantityThatIsNoNumberIsNeverSummed) {
    lines({{"1", "10"}, {"2", "10"}, {"4", "10"}});
    bench_.set(occurrences_[1], "quantity", {std::string("some")});
    line_ = bench_.openBomWindow(top_);
    const Tags all = childrenOf(line_);
    for (tag_t line : all)
        ASSERT_EQ(0, LINE_pack(line));
    EXPECT_EQ((Tags{all[0], all[1]}), childrenOf(line_));
    EXPECT_EQ("5", quantity(all[0]));
    EXPECT_EQ("some", quantity(all[1]));
}

}  // namespace
}  // namespace mervane::test
