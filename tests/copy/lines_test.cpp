// What the lines of the preferences become.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/mv_rel.h"
#include "tests/copy/lists.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using world::Lists;
using world::stackNumbers;
using world::World;

namespace {

constexpr char kWso[] = "KELD_CopyAttributes_WSO";
constexpr char kForm[] = "KELD_CopyAttributes_Form";
constexpr char kRelation[] = "KELD_CopyAttributes_Relation";

// The error lines of the log with their indentation.
std::vector<std::string> errors(World& world) {
    std::vector<std::string> found;
    for (const world::LogLine& line : world.log())
        if (line.level == 'E' && !line.text.starts_with(" File:"))
            found.push_back(std::string(2 * static_cast<std::size_t>(line.depth), ' ') + line.text);
    return found;
}

class CopyLines : public testing::Test {
protected:
    CopyLines() {
        defineSheet(world);
        world.bench.defineType("Pocket", "Folder", {});
    }
    int read() { return ReadCopyAttrPref(&lists.objects, &lists.relations); }
    int readWso(const std::vector<std::string>& lines) {
        world.bench.setPreference(kWso, lines);
        return read();
    }

    World world;
    Lists lists;
};

using CopyLine = CopyLines;

}  // namespace

// ---- reading the preferences ----

TEST_F(CopyLines, AreReadInTheOrderOfThePreferencesAndTheirValues) {
    world.bench.setPreference(kRelation, {"Item;revision_list;ItemRevision"});
    world.bench.setPreference(kForm, {"Sheet;s", "Sheet;i"});
    world.bench.setPreference(kWso, {"Item;object_desc"});
    world.clearLog();
    std::vector<std::string> calls = world.calls([&] { EXPECT_EQ(0, read()); });
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Item;object_desc", "Sheet;s", "Sheet;i"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre("Item;revision_list;ItemRevision"));
    EXPECT_THAT(
        calls,
        ElementsAre(
            "OPT_ask_char_values(KELD_CopyAttributes_WSO)",
            "MVTYPE_find_type(Item, WorkspaceObject)", "MVTYPE_ask_property_by_name(object_desc)",
            "OPT_ask_char_values(KELD_CopyAttributes_Form)",
            "MVTYPE_find_type(Sheet, WorkspaceObject)", "MVTYPE_ask_property_by_name(s)",
            "MVTYPE_find_type(Sheet, WorkspaceObject)", "MVTYPE_ask_property_by_name(i)",
            "OPT_ask_char_values(KELD_CopyAttributes_Relation)", "MVTYPE_find_type(Item, Item)",
            "MVTYPE_find_type(Dataset, Dataset)", "MVTYPE_find_type(Item, WorkspaceObject)",
            "MVTYPE_find_type(ItemRevision, WorkspaceObject)"));
}

TEST_F(CopyLines, AreTracedWithTheirFunctions) {
    world.bench.setPreference(kWso, {"Item;object_desc"});
    world.bench.setPreference(kRelation, {"Item;revision_list;ItemRevision"});
    EXPECT_EQ(0, read());
    std::vector<std::string> entered;
    for (const world::LogLine& line : world.log())
        if (line.text.starts_with(" ->"))
            entered.push_back(std::to_string(line.depth) +
                              line.text.substr(3, line.text.rfind(' ') - 3));
    EXPECT_THAT(
        entered,
        ElementsAre("0ReadCopyAttrPref", "1KELD_GetPreferenceArray(name, &count, &values, 0)",
                    "1AddAttribute", "2KELD_add_attribute",
                    "3MVTYPE_find_type(object, \"WorkspaceObject\", &tObjectType)",
                    "3MVTYPE_ask_property_by_name(tObjectType, attribute, &tProperty)",
                    "1KELD_GetPreferenceArray(name, &count, &values, 0)",
                    "1KELD_GetPreferenceArray(name, &count, &values, 0)", "1AddRelation",
                    "2KELD_add_relation_combination",
                    "3MVTYPE_find_type(\"Item\", \"Item\", &tItemType)",
                    "3MVTYPE_find_type(\"Dataset\", \"Dataset\", &tDatasetType)",
                    "3MVTYPE_find_type(primary, \"WorkspaceObject\", &tPrimaryObjectType)",
                    "3MVTYPE_find_type(secondary, \"WorkspaceObject\", &tSecondaryObjectType)"));
}

TEST_F(CopyLines, ThatAreNotThereChangeNothing) {
    EXPECT_EQ(0, read());
    EXPECT_EQ(0, readWso({}));
    EXPECT_EQ(0, lists.objects.count);
    EXPECT_EQ(nullptr, lists.objects.object_attributes);
    EXPECT_EQ(0, lists.relations.count);
    EXPECT_THAT(stackNumbers(world), IsEmpty());
}

TEST_F(CopyLines, AnEmptyPreferenceLeavesTheStatusOfAnEarlierOne) {
    world.bench.setPreference(kForm, {});
    world.bench.setPreference(kRelation, {});
    EXPECT_EQ(2010, readWso({"no separator"}));
}

TEST_F(CopyLines, APreferenceThatCannotBeReadIsAnEmptyOne) {
    world.bench.setPreference(kWso, {"Sheet;s"});
    world.bench.setPreference(kForm, {"Sheet;i"});
    world.fail("OPT_ask_char_values", 1, 515155);
    EXPECT_EQ(0, read());
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Sheet;i"));
    EXPECT_THAT(world.lines("E"), ElementsAre("--planned failure (OPT_ask_char_values)--"));
}

TEST_F(CopyLines, LeaveTheirTextsAllocatedAndFreeTheArrays) {
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, readWso({"# a comment", "ab", "Sheet;s"}));
    // Three values; the list, and the two texts of its entry.
    EXPECT_EQ(before + 3 + 1 + 2, world.blocks());
}

TEST_F(CopyLines, ThatAreCommentsOrShortAreSkippedWithoutAMessage) {
    EXPECT_EQ(0, readWso({"#Sheet;s", "#;;", "", "a", ";;", "ab", "   ", " \r\n", "a; ", "# no"}));
    EXPECT_THAT(lists.attributeEntries(), IsEmpty());
    EXPECT_THAT(stackNumbers(world), IsEmpty());
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(CopyLines, OfThreeCharactersAreRead) {
    EXPECT_EQ(2010, readWso({"a;b"}));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("a;b"));
}

TEST_F(CopyLines, ACommentBeginsInTheFirstColumnOnly) {
    EXPECT_EQ(2010, readWso({" #Sheet;s"}));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre(" #Sheet;s"));
}

TEST_F(CopyLines, LoseBlanksAndLineEndsAtTheirEnd) {
    EXPECT_EQ(0, readWso({"Sheet;s   ", "Sheet;s\r", "Sheet;s\n", "Sheet;s\r\n", "Sheet;s \r\n",
                          "Sheet;s \r \r\r\n\r\n"}));
    EXPECT_THAT(lists.attributeEntries(), testing::Each(testing::StrEq("Sheet;s")));
    EXPECT_EQ(6, lists.objects.count);
}

TEST_F(CopyLines, KeepALineFeedThatABlankFollows) {
    EXPECT_EQ(2010, readWso({"Sheet;s\n "}));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Sheet;s\n"));
}

TEST_F(CopyLines, KeepTabsAndBlanksElsewhere) {
    EXPECT_EQ(2010, readWso({"Sheet;s\t"}));
    EXPECT_EQ(2010, readWso({" Sheet;s"}));
    EXPECT_EQ(2010, readWso({"Sheet; s"}));
    EXPECT_EQ(2010, readWso({"Sheet ;s"}));
    EXPECT_THAT(lists.attributeEntries(),
                ElementsAre("Sheet;s\t", " Sheet;s", "Sheet; s", "Sheet ;s"));
}

TEST_F(CopyLines, AFaultStopsNoLineAndTheLastLineDecides) {
    EXPECT_EQ(0, readWso({"Sheet;nothing", "Sheet;s"}));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Sheet;nothing", "Sheet;s"));
    EXPECT_THAT(stackNumbers(world), ElementsAre(2010));
    EXPECT_EQ(2010, readWso({"Sheet;s", "Sheet;nothing", "# last"}));
}

TEST_F(CopyLines, AFaultOfAnEarlierPreferenceCountsNoMoreAfterALaterOne) {
    world.bench.setPreference(kWso, {"Nothing;s"});
    world.bench.setPreference(kRelation, {"Folder;nothing;Item"});
    EXPECT_EQ(35004, read());
    world.bench.setPreference(kRelation, {"Item;revision_list;ItemRevision"});
    EXPECT_EQ(0, read());
}

TEST_F(CopyLines, AreCutAfter1024Characters) {
    const std::string filler(1024 - 10, 'x');
    // "Sheet;s;" and filler: 1024 characters are kept, and the third field isn't "null".
    EXPECT_EQ(0, readWso({"Sheet;s;yz" + filler}));
    // What follows is no part of the line any more.
    EXPECT_EQ(0, readWso({"Sheet;s;yz" + filler + std::string(3976, ';')}));
    // The separator is the last character that counts, or the first that doesn't.
    EXPECT_EQ(2010, readWso({std::string(1023, 'x') + ";s"}));
    world.bench.setPreference(kWso, {std::string(1024, 'x') + ";s"});
    const int entries = lists.objects.count;
    EXPECT_EQ(2010, read());
    EXPECT_EQ(entries, lists.objects.count);
    EXPECT_EQ(0, readWso({"Sheet;s;null" + std::string(1012, ' ') + "after the cut"}));
    EXPECT_EQ("Sheet;s;null", lists.attributeEntries().back());
}

TEST_F(CopyLines, OfFiveThousandCharactersDoNoHarm) {
    for (const char c : {'x', ';', '#', ' ', '\r', '\n', '\t'}) {
        const std::string line(5000, c);
        world.bench.setPreference(kWso, {line});
        world.bench.setPreference(kForm, {"Sheet;" + line});
        world.bench.setPreference(kRelation, {"a;" + line + ";b", line, "a;b;" + line});
        (void)read();
    }
    world.bench.removePreference(kForm);
    world.bench.removePreference(kRelation);
    EXPECT_EQ(0, readWso({"Sheet;s"}));
}

// ---- attribute lines ----

TEST_F(CopyLine, OfATypeAndAPropertyCopiesNoEmptyValue) {
    EXPECT_EQ(0, AddAttribute(&lists.objects, "Sheet;s"));
    EXPECT_FALSE(lists.objects.object_attributes[0].copy_empty);
}

TEST_F(CopyLine, WithNullAsItsThirdFieldCopiesEmptyValues) {
    EXPECT_EQ(0, AddAttribute(&lists.objects, "Sheet;s;null"));
    EXPECT_TRUE(lists.objects.object_attributes[0].copy_empty);
}

TEST_F(CopyLine, WithAnyOtherThirdFieldDoesNot) {
    const std::vector<std::string> others = {"nul", "NULL",   "null ", " null", "nulls",
                                             "",    "null\t", "null;", "x",     "null;x"};
    for (const std::string& other : others)
        EXPECT_EQ(0, AddAttribute(&lists.objects, ("Sheet;s;" + other).c_str())) << other;
    EXPECT_THAT(lists.attributeEntries(), testing::Each(testing::StrEq("Sheet;s")));
    EXPECT_EQ(10, lists.objects.count);
}

TEST_F(CopyLine, WithoutASeparatorIsASyntaxError) {
    EXPECT_EQ(2010, AddAttribute(&lists.objects, "Sheet"));
    EXPECT_EQ(0, lists.objects.count);
    EXPECT_THAT(world::stack(world),
                ElementsAre(HasSubstr("Syntax error in preference line: Sheet\ncombination <object "
                                      "type>;<property> expected\n")));
    EXPECT_EQ(3, world.bench.errorStack()[0].severity);
    // One step in, as a line of AddAttribute.
    EXPECT_THAT(errors(world),
                ElementsAre("  ERROR: syntax error in preference line: Sheet",
                            "         combination <object type>;<property> expected"));
}

TEST_F(CopyLine, ThatIsNullIsASyntaxErrorToo) {
    EXPECT_EQ(2010, AddAttribute(&lists.objects, nullptr));
    EXPECT_EQ(2010, AddRelation(&lists.relations, nullptr));
    EXPECT_THAT(world.lines("E"),
                testing::Contains("ERROR: syntax error in preference line: (null)").Times(2));
    EXPECT_EQ(2010, AddAttribute(nullptr, "Sheet;nothing"));
    EXPECT_EQ(0, AddRelation(nullptr, "Item;revision_list;ItemRevision"));
}

TEST_F(CopyLine, MayHavePercentSignsInIt) {
    EXPECT_EQ(2010, AddAttribute(&lists.objects, "%s%n%d"));
    EXPECT_EQ(2010, AddAttribute(&lists.objects, "%s;%n"));
    EXPECT_EQ(2010, AddRelation(&lists.relations, "%s%n"));
    EXPECT_EQ(35004, AddRelation(&lists.relations, "%s;%n;%d"));
    EXPECT_THAT(world.lines("E"),
                testing::IsSupersetOf({"ERROR: syntax error in preference line: %s%n%d",
                                       "ERROR: undefined relation type %n specified in "
                                       "preference."}));
}

TEST_F(CopyLine, WithEmptyFieldsIsReadWithThem) {
    EXPECT_EQ(2010, AddAttribute(&lists.objects, ";"));
    EXPECT_EQ(2010, AddAttribute(&lists.objects, ";s"));
    EXPECT_EQ(2010, AddAttribute(&lists.objects, "Sheet;"));
    EXPECT_EQ(2010, AddAttribute(&lists.objects, "Sheet;;null"));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre(";", ";s", "Sheet;", "Sheet;;null"));
}

TEST_F(CopyLine, HasFieldsOf240Bytes) {
    const std::string longest(240, 'x');
    EXPECT_EQ(2010, AddAttribute(&lists.objects, (longest + ";" + longest).c_str()));
    EXPECT_THAT(world.lines("W"), IsEmpty());
    EXPECT_EQ(2010, AddAttribute(&lists.objects, (longest + "y;" + longest + "yz").c_str()));
    EXPECT_THAT(world.lines("W"), ElementsAre("Text cut to 240 characters: object type",
                                              "Text cut to 240 characters: property"));
    EXPECT_EQ(lists.attributeEntries()[0], lists.attributeEntries()[1]);
    world.clearLog();
    EXPECT_EQ(35004, AddRelation(&lists.relations,
                                 (longest + "y;" + longest + "y;" + longest + "y").c_str()));
    EXPECT_THAT(world.lines("W"), ElementsAre("Text cut to 240 characters: primary object type",
                                              "Text cut to 240 characters: relation",
                                              "Text cut to 240 characters: secondary object type"));
    // Never inside a character.
    EXPECT_EQ(2010, AddAttribute(&lists.objects, (std::string(239, 'x') + "\xC3\xA4;s").c_str()));
    EXPECT_EQ(std::string(239, 'x') + ";s", lists.attributeEntries().back());
}

// ---- relation lines ----

TEST_F(CopyLine, OfARelationNeedsTwoSeparators) {
    for (const char* line : {"Item", "Item;revision_list"}) {
        world.clearLog();
        EXPECT_EQ(2010, AddRelation(&lists.relations, line));
        EXPECT_THAT(errors(world),
                    ElementsAre(std::string("  ERROR: syntax error in preference line: ") + line,
                                "         combination <primary object type>;<relation>;<secondary "
                                "object type> expected"));
    }
    EXPECT_EQ(0, lists.relations.count);
    EXPECT_THAT(
        world::stack(world)[1],
        HasSubstr("Syntax error in preference line: Item;revision_list\ncombination <primary "
                  "object type>;<relation>;<secondary object type> expected\n"));
}

TEST_F(CopyLine, OfARelationKeepsFurtherSeparatorsInTheLastField) {
    EXPECT_EQ(0, AddRelation(&lists.relations, "Folder;VANE_based_on;Item;Folder"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre("Folder;VANE_based_on;Item;Folder=tag"));
    EXPECT_THAT(stackNumbers(world), ElementsAre(39014));
}

TEST_F(CopyLine, TakesTheMasterFormOfARevisionAsThatOfAnItem) {
    EXPECT_EQ(
        0, AddRelation(&lists.relations, "ItemRevision;VANE_master_form_rev;ItemRevision Master"));
    EXPECT_THAT(lists.relationEntries(),
                ElementsAre("ItemRevision;VANE_master_form;ItemRevision Master=tag"));
    tag_t expected = NULLTAG;
    EXPECT_EQ(0, REL_find_relation_type("VANE_master_form", &expected));
    EXPECT_EQ(expected, lists.relations.relation_combination[0].relation_type_tag);
    for (const char* other :
         {"VANE_master_form_re", "VANE_master_form_revs", "vane_master_form_rev"})
        EXPECT_EQ(35004, AddRelation(&lists.relations,
                                     (std::string("ItemRevision;") + other + ";Form").c_str()))
            << other;
}

TEST_F(CopyLine, OfARelationMayHaveEmptyFields) {
    EXPECT_EQ(0, AddRelation(&lists.relations, ";VANE_based_on;"));
    EXPECT_EQ(35004, AddRelation(&lists.relations, ";;"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre(";VANE_based_on;=tag", ";;"));
}
