// Files of comma-separated values: what is read, and what is told of bad ones, place by place.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <sstream>

#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tools/keld/host/bom_table.h"
#include "tools/keld/host/rename_table.h"
#include "tools/keld/host/value_table.h"

using namespace keld;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using Texts = std::vector<std::string>;

const std::map<std::string, tag_t> kItems = {
    {"000100", 100}, {"000101", 101}, {"000102", 102}, {"000109", 109}};

tag_t itemNamed(const std::string& id) {
    const auto found = kItems.find(id);
    return found == kItems.end() ? NULLTAG : found->second;
}

// 000100/A has the lines 10: 000101/A and 20: 000102/A, 000101/A has 10: 000102/A. Of 000102 there
// is B, too. 000109/A is used by #2041 and that by 000100/A.
class SmallBom final : public BomStore {
public:
    tag_t item(const std::string& id) override { return itemNamed(id); }
    Revision latest(tag_t item) override {
        return item == 102 ? Revision{1022, "B"} : Revision{item * 10 + 1, "A"};
    }
    tag_t revision(tag_t item, const std::string& id) override {
        return id == "A" ? item * 10 + 1 : id == "B" && item == 102 ? 1022 : NULLTAG;
    }
    std::vector<StoredLine> lines(tag_t revision) override {
        if (revision == 1001)
            return {{1, 1011, "10", "2"}, {2, 1021, "20", "1"}};
        if (revision == 1011)
            return {{3, 1021, "10", "4"}};
        return {};
    }
    tag_t itemOf(tag_t revision) override { return revision / 10; }
    std::vector<tag_t> parents(tag_t revision) override {
        if (revision == 1021)
            return {1001, 1011};
        if (revision == 1091)
            return {2041};  // which no row names
        return revision == 1011 || revision == 2041 ? std::vector<tag_t>{1001}
                                                    : std::vector<tag_t>{};
    }
    std::string title(tag_t revision) override { return "#" + std::to_string(revision); }
    std::vector<std::string> itemTypes() override { return {"Item", "StandardPart"}; }
};

class SmallIds final : public RenameStore {
public:
    Found find(const std::string& name, bool) override {
        return {itemNamed(name), name, "there is no item '" + name + "'"};
    }
    tag_t holder(const std::string& id) override { return itemNamed(id); }
};

class SmallValues final : public ValueStore {
public:
    Found find(const std::string& name, bool) override {
        if (name == "000102/A:notes")
            return {NULLTAG, "several datasets are called 000102/A:notes: #7, #8"};
        return {itemNamed(name), "there is no object '" + name + "'"};
    }
    std::string whyNotProperty(const std::string& property) override {
        return property == "item_id" ? "'item_id' isn't set by hand; use keld rename" : "";
    }
    std::string whyNotValue(tag_t, const std::string& property, const std::string& text) override {
        return property == "weight" && text == "heavy" ? "\"heavy\" is no number" : "";
    }
};

BomPlan bom(const std::string& text, CsvProblems& problems, bool ignore_columns = false) {
    std::istringstream in(text);
    SmallBom store;
    return readBom(in, 0, ignore_columns, store, problems);
}

BomPlan goodBom(const std::string& text) {
    CsvProblems problems("f.csv");
    BomPlan plan = bom(text, problems);
    EXPECT_THAT(problems.texts(), IsEmpty());
    return plan;
}

// "000100/A > 000101/A 10 x2" for each line that changes something.
Texts changes(const BomPlan& plan) {
    Texts all;
    for (const BomLine& line : plan.lines)
        if (line.changes())
            all.push_back((line.occurrence == NULLTAG ? "" : "set ") +
                          plan.title(plan.parts[line.parent]) + " > " +
                          plan.title(plan.parts[line.child]) + " " + line.number +
                          (line.quantity.empty() ? "" : " x" + line.quantity));
    return all;
}

Texts problemsOfBom(const std::string& text) {
    CsvProblems problems("f.csv");
    (void)bom(text, problems);
    return problems.texts();
}

Texts problemsOfRenames(const std::string& text) {
    CsvProblems problems("f.csv");
    std::istringstream in(text);
    SmallIds store;
    (void)readRenames(in, 0, false, store, problems);
    return problems.texts();
}

Texts problemsOfValues(const std::string& text) {
    CsvProblems problems("f.csv");
    std::istringstream in(text);
    SmallValues store;
    (void)readValues(in, 0, store, problems);
    return problems.texts();
}

std::vector<std::vector<std::string>> rowsOf(const std::string& text, char separator = 0) {
    CsvProblems problems("f.csv");
    std::istringstream in(text);
    CsvReader reader(in, separator, problems);
    std::vector<std::vector<std::string>> rows;
    for (CsvRow row; reader.next(row);)
        rows.push_back(row.cells);
    EXPECT_THAT(problems.texts(), IsEmpty());
    return rows;
}

}  // namespace

// ---- the file ----

TEST(CsvFile, QuotesHoldSeparatorsBreaksAndQuotes) {
    EXPECT_THAT(rowsOf("a,b\n\"1,\r\n2\",\"say \"\"x\"\"\"\r\n"),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("1,\r\n2", "say \"x\"")));
}

TEST(CsvFile, TheFirstLineTellsTheSeparatorUnlessItIsGiven) {
    EXPECT_THAT(rowsOf("a;\"b,c,d\"\n1;2,5\n"),
                ElementsAre(ElementsAre("a", "b,c,d"), ElementsAre("1", "2,5")));
    EXPECT_THAT(rowsOf("a\tb;c\n", '\t'), ElementsAre(ElementsAre("a", "b;c")));
}

TEST(CsvFile, ASignatureBlankLinesEmptyRowsAndAMissingLastBreakAreNothing) {
    EXPECT_THAT(rowsOf("\xEF\xBB\xBF"
                       "a,b\n\n,\n  \n1, x "),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("1", " x ")));
}

TEST(CsvFile, LinesMayEndWithACarriageReturnAlone) {
    EXPECT_THAT(rowsOf("a,b\r1,2\r"), ElementsAre(ElementsAre("a", "b"), ElementsAre("1", "2")));
}

TEST(CsvFile, ACellKnowsTheLineInWhichItBegins) {
    CsvProblems problems("f.csv");
    std::istringstream in("a,b\n\n\"1\n2\",\"3\n4\"\n5,6\n");
    CsvReader reader(in, 0, problems);
    CsvRow row;
    ASSERT_TRUE(reader.next(row) && reader.next(row));
    EXPECT_THAT(row.lines, ElementsAre(3, 4));
    ASSERT_TRUE(reader.next(row));
    EXPECT_THAT(row.lines, ElementsAre(6, 6));
}

TEST(CsvFile, OfManyProblemsAHundredAreToldInTheOrderOfTheirPlaces) {
    CsvProblems problems("f.csv");
    for (std::size_t line = 250; line > 0; --line)
        problems.add({line, 1}, "bad");
    const Texts texts = problems.texts();
    ASSERT_THAT(texts, SizeIs(101));
    EXPECT_EQ(texts[0], "f.csv:1:1: bad");
    EXPECT_EQ(texts[99], "f.csv:100:1: bad");
    EXPECT_EQ(texts[100], "f.csv: and 150 more");
}

// ---- twenty bad files ----

struct BadFile {
    const char* name;
    Texts (*read)(const std::string& text);
    std::string text;
    Texts told;
};

void PrintTo(const BadFile& file, std::ostream* out) {
    *out << file.name;
}

class BadFiles : public testing::TestWithParam<BadFile> {};

TEST_P(BadFiles, AreToldRowByRow) {
    const BadFile& file = GetParam();
    EXPECT_EQ(file.read(file.text), file.told);
}

const std::string kLong(129, 'x');

const BadFile kBadFiles[] = {
    {"Empty", problemsOfBom, "", {"f.csv:1: there is no line of headings"}},
    {"HeadingsAlone",
     problemsOfBom,
     "level,item\n",
     {"f.csv:1: there is no row below the headings"}},
    {"Utf16",
     problemsOfBom,
     std::string("\xFF\xFEl\0e\0", 6),
     {"f.csv:1: the file is UTF-16; expected UTF-8 (spreadsheets call it \"CSV UTF-8\")"}},
    {"Latin1",
     problemsOfBom,
     "level,item,name\n0,P1,Geh\xE4use\n1,P2,D\xFCse\n",
     {"f.csv:2:3: found the byte 0xE4, which is no UTF-8; expected UTF-8 (spreadsheets call it "
      "\"CSV UTF-8\")",
      "f.csv:3:3: found the byte 0xFC, which is no UTF-8; expected UTF-8 (spreadsheets call it "
      "\"CSV UTF-8\")"}},
    {"ByteZero",
     problemsOfBom,
     std::string("level,item\n0,P\0\n", 16),
     {"f.csv:2:2: found a byte 0 in the cell, expected text"}},
    {"QuoteInside",
     problemsOfBom,
     "level,item,name\n0,P1,2\" tube\n1,P2,\"x\"y\n",
     {"f.csv:2:3: found a quote inside the cell; expected a cell without one, or one that is "
      "in quotes as a whole, with each quote in it doubled",
      "f.csv:3:3: found a quote inside the cell; expected a cell without one, or one that is "
      "in quotes as a whole, with each quote in it doubled"}},
    {"QuoteWithoutEnd",
     problemsOfBom,
     "level,item,name\n0,P1,Pump\n1,P2,\"Housing\n1,P3,Screw\n",
     {"f.csv:3:3: found the end of the file inside quotes; expected the quote that ends the cell"}},
    {"CellsTooFewAndTooMany",
     problemsOfBom,
     "level,item,quantity\n0,P1\n1,P2,3,4\n",
     {"f.csv:2:3: found 2 cells, expected 3, one for each heading",
      "f.csv:3:4: found 4 cells, expected 3, one for each heading"}},
    {"UnknownHeadings",
     problemsOfBom,
     "level,item,quantitty,,Item ID\n0,P1,,,\n",
     {"f.csv:1:3: found the heading 'quantitty', which has no meaning here; --ignore-columns "
      "leaves the column out. Did you mean quantity?",
      "f.csv:1:4: the column has no heading; --ignore-columns leaves it out",
      "f.csv:1:5: found the heading 'Item ID', which means the same as 'item' in column 2"}},
    {"NeitherLevelNorParent",
     problemsOfBom,
     "revision,quantity\nA,1\n",
     {"f.csv:1: found neither a column for the level nor one for the parent, expected one of them, "
      "like \"level\" or \"parent\"",
      "f.csv:1: found no column for the item, expected one like \"item\""}},
    {"NumbersThatAreNone",
     problemsOfBom,
     "level,item,number,quantity\n0,P1,,\none,P2,10,1\n1,P3,1O,2\n1,P4,30,1,5\n1,P5,40,-1\n",
     {"f.csv:3:1: found 'one', expected a level: 0, 1, 2, ...",
      "f.csv:4:3: found '1O', expected a number like 10",
      "f.csv:5:5: found 5 cells, expected 4, one for each heading",
      "f.csv:6:4: found '-1', expected a decimal number like 4 or 1.5"}},
    {"LevelJumps",
     problemsOfBom,
     "level,item\n1,P1\n3,P2\n2,P3\n0,P4\n",
     {"f.csv:3:1: found level 3 below level 1, expected at most 2",
      "f.csv:5:1: found level 0, but the first row has 1"}},
    {"IdsEmptyAndTooLong",
     problemsOfBom,
     "level,item,revision\n0," + kLong + ",A\n1,,A\n1,P2," + kLong + "\n1,\"P\n3\",A\n",
     {"f.csv:2:2: found a text of 129 bytes, '" + std::string(60, 'x') +
          "...', at most 128 are allowed",
      "f.csv:3:2: the cell is empty, expected the id of an item",
      "f.csv:4:3: found a text of 129 bytes, '" + std::string(60, 'x') +
          "...', at most 128 are allowed",
      "f.csv:5:2: found a control character or a line break, expected a text"}},
    {"TypesAndNames",
     problemsOfBom,
     "level,item,name,type\n0,P1,Pump,\n1,P2,Screw,StandardPrt\n1,P1x,Pin,Item\n2,P1,Pmp,\n",
     {"f.csv:3:4: there is no type of items 'StandardPrt'. Did you mean StandardPart?",
      "f.csv:5:3: found 'Pmp' for item P1, which has 'Pump' in line 2"}},
    {"CircleInTheFile",
     problemsOfBom,
     "parent,item\n,P1\nP1,P2\nP2,P3\nP3,P1\nP4,P4\n",
     {"f.csv:5:2: the part is used in itself: P1/A > P2/A > P3/A > P1/A",
      "f.csv:6:2: the part is used in itself: P4/A > P4/A"}},
    {"CircleOverTheStore",
     problemsOfBom,
     "parent,parent rev,item,revision\n000102,A,P1,\nP1,,000100,A\n",
     {"f.csv:2:3: the part is used in itself: P1/A > 000100/A > 000102/A > P1/A"}},
    {"CircleOverAStoredRevisionThatNoRowNames",
     problemsOfBom,
     "parent,item\n000109,000100\n",
     {"f.csv:2:2: the part is used in itself: 000100/A > #2041 > 000109/A > 000100/A"}},
    {"NumbersThatAreTaken",
     problemsOfBom,
     "parent,item,number\n000100,P1,20\n000100,P2,30\n000100,P3,30\n",
     {"f.csv:2:3: the number 20 of 000100/A shows #1021 in the store, expected P1/A or a number "
      "that is free",
      "f.csv:4:3: the number 30 of 000100/A is in line 3 already"}},
    {"OneAssemblyTwoWays",
     problemsOfBom,
     "level,item,quantity\n0,P1,\n1,P2,1\n2,P3,4\n2,P4,1\n1,P5,1\n2,P2,1\n3,P3,5\n1,P6,1\n2,P2,2\n"
     "3,P3,4\n",
     {"f.csv:8:2: the lines of P2/A differ from those below line 3",
      "f.csv:10:2: the lines of P2/A differ from those below line 3: it ends early"}},
    {"Renames",
     problemsOfRenames,
     "old,new\n000100,N1\n000100,N2\n000101,N1\n000107,N3\n000102," + kLong + "\n,N5\n",
     {"f.csv:3:1: '000100' is in line 2 already", "f.csv:4:2: the new id 'N1' is in line 2 already",
      "f.csv:5:1: there is no item '000107'",
      "f.csv:6:2: found an id of 129 bytes, '" + std::string(60, 'x') +
          "...', at most 128 are allowed",
      "f.csv:7:1: the cell is empty, expected the id of an item"}},
    {"RenamesToIdsThatAreTaken",
     problemsOfRenames,
     "000100,000102\n000101,000101\n",
     {"f.csv:1:2: the new id '000102' is taken, and the file doesn't rename the item that has it",
      "f.csv:2:2: the new id is the old one, '000101'"}},
    {"RenamesInACircle",
     problemsOfRenames,
     "000100,000101\n000101,000102\n000102,000100\n",
     {"f.csv:1:2: the renames lead in a circle: 000100 > 000101 > 000102 > 000100; give one of "
      "them another id in between"}},
    {"Values",
     problemsOfValues,
     "OBJECT,object_name,weight\n000100,Pump,heavy\n000107,x,1\n000102/"
     "A:notes,x,\n000100,y,2\n,z,\n",
     {"f.csv:2:3: \"heavy\" is no number", "f.csv:3:1: there is no object '000107'",
      "f.csv:4:1: several datasets are called 000102/A:notes: #7, #8",
      "f.csv:5:1: '000100' is in line 2 already",
      "f.csv:6:1: the cell is empty, expected the name of an object"}},
    {"ValuesOfBadHeadings",
     problemsOfValues,
     "OBJECT,item_id,weight,weight,\n000100,x,1,2,3\n",
     {"f.csv:1:2: 'item_id' isn't set by hand; use keld rename",
      "f.csv:1:4: the property 'weight' is in column 3 already",
      "f.csv:1:5: the column has no heading, expected a property"}},
};

INSTANTIATE_TEST_SUITE_P(Csv, BadFiles, testing::ValuesIn(kBadFiles),
                         [](const auto& file) { return std::string(file.param.name); });

// ---- bills of materials ----

TEST(CsvBom, LevelsAndParentsSayTheSame) {
    const Texts lines = {"P1/A > P2/A 10 x2", "P1/A > P3/A 20 x1", "P2/A > P3/A 10 x4"};
    EXPECT_EQ(changes(goodBom("Level;Item_ID;Find No;Qty\n0;P1;;\n1;P2;10;2\n2;P3;10;4\n"
                              "1;P3;20;1\n")),
              lines);
    EXPECT_EQ(changes(goodBom("parent,child,pos,amount\n,P1,,\nP2,P3,10,4\nP1,P2,10,2\n"
                              "P1,P3,20,1\n")),
              lines);
}

TEST(CsvBom, WhatBomShowWritesIsReadAgain) {
    const BomPlan plan = goodBom(
        "LEVEL,LINE,NUMBER,QUANTITY,PACKED,NAME\n0,\"\"\"a/b\"\"/A\",,,,Pump\n1,P2/C,10,2,2,Pin\n");
    EXPECT_EQ(changes(plan), Texts{"\"a/b\"/A > P2/C 10 x2"});
    EXPECT_EQ(plan.items[1].name, "Pin");
}

TEST(CsvBom, AnAssemblyMayBeInSeveralPlacesWithItsLinesOrWithout) {
    EXPECT_EQ(changes(goodBom("level,item\n0,P1\n1,P2\n2,P3\n1,P4\n2,P2\n3,P3\n1,P5\n2,P2\n")),
              (Texts{"P1/A > P2/A 10 x1", "P1/A > P4/A 20 x1", "P1/A > P5/A 30 x1",
                     "P5/A > P2/A 10 x1", "P4/A > P2/A 10 x1", "P2/A > P3/A 10 x1"}));
}

TEST(CsvBom, LinesThatAreThereAreKeptAndTheirQuantitySet) {
    EXPECT_EQ(changes(goodBom("parent,item,number,quantity\n000100,000101,10,3\n"
                              "000100,000102,20,1\n000100,000101,,5\n")),
              (Texts{"set 000100/A > 000101/A 10 x3", "000100/A > 000101/A 30 x5"}));
}

TEST(CsvBom, ARowWithoutANumberMeansTheLineThatShowsItsPart) {
    EXPECT_THAT(changes(goodBom("parent,item,quantity\n000100,000102,\n000100,000101,2\n")),
                IsEmpty());
}

TEST(CsvBom, ItemsThatAreThereAreUsedAndMissingRevisionsMade) {
    const BomPlan plan =
        goodBom("parent,parent rev,item,rev\nP1,,000102,\nP1,,000101,C\nP1,,P2,C\nP1,,P2,D\n");
    EXPECT_EQ(plan.newItems(), 2);
    EXPECT_EQ(plan.newRevisions(), 2) << "000101/C, and P2/D beside P2/C";
    EXPECT_THAT(changes(plan), ElementsAre("P1/A > 000102/B 10 x1", "P1/A > 000101/C 20 x1",
                                           "P1/A > P2/C 30 x1", "P1/A > P2/D 40 x1"));
}

TEST(CsvBom, AnEmptyQuantityIsNone) {
    EXPECT_THAT(changes(goodBom("parent,item,quantity\nP1,P2,\nP1,P3,1.50\n")),
                ElementsAre("P1/A > P2/A 10", "P1/A > P3/A 20 x1.50"));
}

TEST(CsvBom, OtherColumnsAreLeftOutIfSaidSo) {
    CsvProblems problems("f.csv");
    EXPECT_EQ(changes(bom("parent,colour,item\nP1,red,P2\n", problems, true)),
              Texts{"P1/A > P2/A 10 x1"});
    EXPECT_THAT(problems.texts(), IsEmpty());
}

TEST(CsvBom, TheHeadingsAreThoseOfTheManual) {
    const std::string manual = keld_test::readText(KELD_SOURCE_DIR "/docs/command-line.md");
    std::string table;
    for (const auto& fields : {bomFields(), renameFields()})
        for (const CsvField& field : fields) {
            std::string headings;
            for (const char* heading : field.headings)
                headings += (headings.empty() ? "`" : ", `") + std::string(heading) + "`";
            table = "| " + headings + " | " + field.holds + " |\n";
            EXPECT_THAT(manual, HasSubstr(table));
        }
}

// ---- renames ----

TEST(CsvRenames, AnIdIsFreeWhenItIsGiven) {
    CsvProblems problems("f.csv");
    std::istringstream in("new id,old id\n000101,000100\n000102,000101\nN1,000102\n");
    SmallIds store;
    std::string order;
    for (const Rename& rename : readRenames(in, 0, false, store, problems))
        order += rename.from + ">" + rename.to + " ";
    EXPECT_EQ(order, "000102>N1 000101>000102 000100>000101 ");
    EXPECT_THAT(problems.texts(), IsEmpty());
}

// ---- values ----

TEST(CsvValues, AnEmptyCellIsNoValue) {
    CsvProblems problems("f.csv");
    std::istringstream in("OBJECT,object_name,weight\n000100, Pump ,\n000101,,1.5\n");
    SmallValues store;
    const ValueTable table = readValues(in, 0, store, problems);
    ASSERT_THAT(table.rows, SizeIs(2));
    ASSERT_THAT(table.rows[0].values, SizeIs(1));
    EXPECT_EQ(table.rows[0].values[0].text, " Pump ") << "a cell is taken as it is";
    EXPECT_EQ(table.rows[1].values[0].column, 3);
    EXPECT_EQ(table.rows[1].object, 101u);
}
