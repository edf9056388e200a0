#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

class BomLines : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        top_ = revision("100");
        part_ = revision("200");
        leaf_ = revision("300");
        first_ = bench_.addOccurrence(top_, part_, "2", "10");
        second_ = bench_.addOccurrence(top_, leaf_, "", "20");
        bench_.addOccurrence(part_, leaf_, "0.5", "");
        line_ = bench_.openBomWindow(top_);
    }
    tag_t child(std::size_t index) { return childrenOf(line_).at(index); }
    int set(tag_t line, const char* name, const char* value) {
        return OBJ_set_value_string(line, name, value);
    }
    void setNote(tag_t occurrence, const char* type, const char* text) {
        bench_.set(occurrence, "note_names", {std::string(type)});
        bench_.set(occurrence, "note_values", {std::string(text)});
    }
    tag_t top_ = NULLTAG, part_ = NULLTAG, leaf_ = NULLTAG;
    tag_t first_ = NULLTAG, second_ = NULLTAG, line_ = NULLTAG;
};

TEST_F(BomLines, AWindowShowsTheStructureInStoredOrder) {
    EXPECT_EQ(top_, lineTag(line_, "bl_revision"));
    ASSERT_EQ(2u, childrenOf(line_).size());
    EXPECT_EQ(part_, lineTag(child(0), "bl_revision"));
    EXPECT_EQ(leaf_, lineTag(child(1), "bl_revision"));
    ASSERT_EQ(1u, childrenOf(child(0)).size());
    EXPECT_EQ(leaf_, lineTag(childrenOf(child(0)).front(), "bl_revision"));
    EXPECT_TRUE(childrenOf(child(1)).empty());
    EXPECT_EQ(childrenOf(line_), childrenOf(line_));
}

TEST_F(BomLines, ALineShowsItsItemItsRevisionAndItsOccurrence) {
    EXPECT_EQ("200", textOf(child(0), "bl_item_item_id"));
    EXPECT_EQ("A", textOf(child(0), "bl_rev_item_revision_id"));
    EXPECT_EQ("Part 200", textOf(child(0), "bl_rev_object_name"));
    EXPECT_EQ("10", textOf(child(0), "bl_sequence_no"));
    EXPECT_EQ("2", textOf(child(0), "bl_quantity"));
    EXPECT_EQ("", textOf(child(1), "bl_quantity"));
    EXPECT_EQ("200/A", textOf(child(0), "object_string"));
    EXPECT_EQ(line_, lineTag(child(0), "bl_parent"));
    EXPECT_EQ(first_, lineTag(child(0), "bl_occurrence"));
    char* level = nullptr;
    ASSERT_EQ(0, OBJ_UIF_ask_value(childrenOf(child(0)).front(), "bl_level", &level));
    EXPECT_STREQ("2", level);
    HEAP_free(level);
}

TEST_F(BomLines, TheViewRevisionBelowALineIsThereOnlyIfItHasOne) {
    EXPECT_EQ(bench_.bomViewRevision(part_), lineTag(child(0), "bl_bomview_rev"));
    EXPECT_EQ(NULLTAG, lineTag(child(1), "bl_bomview_rev"));
    EXPECT_EQ(NULLTAG, lineTag(line_, "bl_parent"));
    EXPECT_EQ(NULLTAG, lineTag(line_, "bl_occurrence"));
}

TEST_F(BomLines, ALineIsABomLine) {
    char type[129];
    ASSERT_EQ(0, ENT_ask_object_type(child(0), type));
    EXPECT_STREQ("BOMLine", type);
    tag_t of_line = NULLTAG, cls = NULLTAG;
    ASSERT_EQ(0, DBO_class_of_instance(child(0), &of_line));
    ASSERT_EQ(0, DBO_class_id_of_class("BOMLine", &cls));
    EXPECT_EQ(cls, of_line);
    EXPECT_EQ("BOMLine", textOf(child(0), "object_type"));
}

TEST_F(BomLines, AnAttributeKeepsItsNumber) {
    int first = 0, again = 0, other = 0, value = 7;
    ASSERT_EQ(0, LINE_look_up_attribute("bl_rev_object_name", &first));
    ASSERT_EQ(0, LINE_look_up_attribute("bl_revision", &other));
    ASSERT_EQ(0, LINE_look_up_attribute("bl_rev_object_name", &again));
    EXPECT_EQ(first, again);
    EXPECT_NE(first, other);
    for (const char* unknown : {"bl_colour", "bl_rev_colour", "bl_item_", "", "BL_REVISION"})
        EXPECT_EQ(kUnknownAttribute, LINE_look_up_attribute(unknown, &value)) << unknown;
    EXPECT_EQ(7, value);
}

TEST_F(BomLines, ANumberOfAnotherKindOrNoneGivesNoTag) {
    int id = 0;
    tag_t value = 7;
    ASSERT_EQ(0, LINE_look_up_attribute("bl_quantity", &id));
    EXPECT_EQ(kWrongKind, LINE_ask_attribute_tag(line_, id, &value));
    for (int unknown : {0, -1, 500, 999999})
        EXPECT_EQ(kUnknownAttribute, LINE_ask_attribute_tag(line_, unknown, &value)) << unknown;
    EXPECT_EQ(7u, value);
}

TEST_F(BomLines, WhatIsNoLineIsRefused) {
    int id = 0, count = 5;
    tag_t value = 7;
    tag_t* list = &value;
    ASSERT_EQ(0, LINE_look_up_attribute("bl_revision", &id));
    for (tag_t wrong : {tag_t{NULLTAG}, top_, line_ + 1000, tag_t{0xE0000000u}}) {
        EXPECT_EQ(kUnknownObject, LINE_ask_attribute_tag(wrong, id, &value)) << wrong;
        EXPECT_EQ(kUnknownObject, LINE_ask_child_lines(wrong, &count, &list)) << wrong;
        EXPECT_EQ(kUnknownObject, LINE_pack(wrong)) << wrong;
        EXPECT_EQ(kUnknownObject, LINE_unpack(wrong)) << wrong;
    }
    EXPECT_EQ(7u, value);
    EXPECT_EQ(5, count);
}

TEST_F(BomLines, AClosedWindowTakesItsLinesWithIt) {
    const tag_t below = child(0);
    bench_.closeBomWindow(below);
    char* value = nullptr;
    for (tag_t gone : {line_, below}) {
        EXPECT_EQ(kUnknownObject, LINE_pack(gone));
        EXPECT_EQ(kUnknownObject, OBJ_ask_value_string(gone, "bl_quantity", &value));
    }
    EXPECT_THROW(bench_.closeBomWindow(line_), Failure);
    EXPECT_THROW(bench_.saveBomWindow(line_), Failure);
}

TEST_F(BomLines, ALineOfOneSessionIsNoneOfAnother) {
    secondSession();
    EXPECT_EQ(kUnknownObject, LINE_pack(line_));
    EXPECT_NE(line_, bench_.openBomWindow(top_));
}

TEST_F(BomLines, OnlyARevisionCanBeTheTop) {
    EXPECT_THROW(bench_.openBomWindow(bench_.bomViewRevision(top_)), Failure);
    EXPECT_THROW(bench_.openBomWindow(NULLTAG), Failure);
}

TEST_F(BomLines, NumberAndQuantityAreWrittenWithoutALock) {
    EXPECT_EQ(0, set(child(1), "bl_sequence_no", "70"));
    EXPECT_EQ(0, set(child(1), "bl_quantity", "1.5"));
    EXPECT_EQ("70", textOf(child(1), "bl_sequence_no"));
    EXPECT_EQ("1.5", textOf(child(1), "bl_quantity"));
    EXPECT_EQ("10", textOf(child(0), "bl_sequence_no"));
    EXPECT_EQ(0u, bench_.heldLocks());
}

TEST_F(BomLines, WrongValuesAreRefusedAndNothingChanges) {
    EXPECT_EQ(kBadValue, set(child(0), "bl_quantity", "many"));
    EXPECT_EQ(kBadValue, set(child(0), "bl_quantity", "-2"));
    EXPECT_EQ(kTooLong, set(child(0), "bl_sequence_no", std::string(129, '1').c_str()));
    EXPECT_EQ(kTooLong, set(child(0), "bl_quantity", std::string(129, '1').c_str()));
    EXPECT_EQ(0, set(child(1), "bl_sequence_no", std::string(128, '1').c_str()));
    EXPECT_EQ("2", textOf(child(0), "bl_quantity"));
    EXPECT_EQ("10", textOf(child(0), "bl_sequence_no"));
}

TEST_F(BomLines, WhatIsWorkedOutIsNotWritten) {
    for (const char* name :
         {"bl_item_item_id", "bl_line_name", "object_type", "bl_rev_object_name"})
        EXPECT_EQ(kReadOnly, set(child(0), name, "9")) << name;
    EXPECT_EQ(kUnknownAttribute, set(child(0), "bl_colour", "red"));
    EXPECT_EQ(kReadOnly, set(line_, "bl_quantity", "9"));
    EXPECT_EQ("", textOf(line_, "bl_quantity"));
}

TEST_F(BomLines, ANoteIsAPropertyOfItsLine) {
    setNote(first_, "Usage", "left");
    line_ = bench_.openBomWindow(top_);
    EXPECT_EQ("left", textOf(child(0), "Usage"));
    EXPECT_EQ("", textOf(child(1), "Usage"));
    EXPECT_EQ(0, set(child(1), "Usage", "right"));
    EXPECT_EQ("right", textOf(child(1), "Usage"));
    EXPECT_EQ(0, set(child(1), "Usage", ""));
    EXPECT_EQ("", textOf(child(1), "Usage"));
    EXPECT_EQ(kTooLong, set(child(1), "Usage", std::string(1025, 'x').c_str()));
}

TEST_F(BomLines, AnUnknownNoteTypeIsAnUnknownAttribute) {
    char* value = nullptr;
    EXPECT_EQ(kUnknownAttribute, OBJ_ask_value_string(child(0), "Colour", &value));
    EXPECT_EQ(kUnknownAttribute, set(child(0), "Colour", "red"));
    const tag_t type = bench_.create("NoteType");
    bench_.set(type, "note_name", {std::string("Colour")});
    EXPECT_EQ(0, set(child(0), "Colour", "red"));
    EXPECT_EQ("red", textOf(child(0), "Colour"));
}

TEST_F(BomLines, DisplayTextsAreThoseOfTheAttributes) {
    char* value = nullptr;
    ASSERT_EQ(0, OBJ_UIF_ask_value(child(0), "bl_revision", &value));
    EXPECT_STREQ("200/A", value);
    HEAP_free(value);
    EXPECT_EQ(0, OBJ_UIF_set_value(child(0), "bl_quantity", "3"));
    EXPECT_EQ("3", textOf(child(0), "bl_quantity"));
    EXPECT_EQ(0, OBJ_UIF_set_value(child(0), "bl_quantity", nullptr));
    EXPECT_EQ("", textOf(child(0), "bl_quantity"));
}

TEST_F(BomLines, AnAssemblyThatIsUsedTwiceShowsTheSameValuesTwice) {
    bench_.addOccurrence(top_, part_, "", "30");
    line_ = bench_.openBomWindow(top_);
    const tag_t one = childrenOf(child(0)).front(), two = childrenOf(child(2)).front();
    EXPECT_NE(one, two);
    EXPECT_EQ(0, set(one, "bl_sequence_no", "5"));
    EXPECT_EQ("5", textOf(two, "bl_sequence_no"));
}

}  // namespace
}  // namespace mervane::test
