// Structures, renames and values from files of comma-separated values.

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

class CsvImport : public ProgramWithStore {
protected:
    std::string file(const std::string& name, const std::string& text) {
        writeFile(path(name), text);
        return name;
    }
    std::string shownAs(const std::string& object, const std::string& property) {
        return done({"show", object, "--json"}).json()["properties"][property];
    }
};

TEST_F(CsvImport, AStructureComesBackAsItWasWritten) {
    const std::string text =
        "LEVEL,LINE,NUMBER,QUANTITY,PACKED,NAME\n"
        "0,P-1/A,,,,\"Pump, small\"\n"
        "1,000101/A,10,1,,Housing\n"
        "2,000102/A,10,4,,Screw\n"
        "1,P-2/03,20,2.5,,Hose\n";
    file("p.csv", text);
    const Result rehearsed = done({"bom", "import", "p.csv", "--dry-run"});
    EXPECT_THAT(rehearsed.out, HasSubstr("2    new item  P-1/A  "));
    EXPECT_THAT(rehearsed.out, HasSubstr("5    new line  P-1/A > P-2/03    20      2.5\n"));
    EXPECT_THAT(rehearsed.out, HasSubstr("4 rows: 2 new items, 0 further revisions, 2 new lines, "
                                         "0 lines with another quantity, 1 line as before\n"));
    EXPECT_EQ(keld({"show", "P-1"}).exit_code, 1) << "a rehearsal keeps nothing";
    const auto document = done({"bom", "import", "p.csv", "--json"}).json();
    EXPECT_EQ(document["new_lines"], 2);
    EXPECT_EQ(done({"bom", "show", "P-1", "--csv"}).out, text);
    EXPECT_THAT(done({"bom", "import", "p.csv"}).out,
                HasSubstr("4 rows: 0 new items, 0 further revisions, 0 new lines, 0 lines with "
                          "another quantity, 3 lines as before\n"));
    done({"runs", "undo", std::to_string(document["run"]["run"].get<int>())});
    EXPECT_EQ(keld({"show", "P-1"}).exit_code, 1);
}

TEST_F(CsvImport, QuantitiesOfLinesThatAreThereAreSet) {
    file("p.csv", "parent,item,revision,number,quantity\n000100,000101,,10,7\n000102,X-1,B,,\n");
    EXPECT_THAT(done({"bom", "import", "p.csv"}).out,
                HasSubstr("1 new item, 0 further revisions, 1 new line, 1 line with another "
                          "quantity, 0 lines as before"));
    EXPECT_EQ(done({"bom", "show", "000100", "--csv"}).out,
              "LEVEL,LINE,NUMBER,QUANTITY,PACKED,NAME\n"
              "0,000100/A,,,,Pump\n"
              "1,000101/A,10,7,,Housing\n"
              "2,000102/A,10,4,,Screw\n"
              "3,X-1/B,10,,,X-1\n"
              "1,000102/A,20,1,,Screw\n"
              "2,X-1/B,10,,,X-1\n");
}

TEST_F(CsvImport, BadRowsAreToldWithLineAndColumnAndNothingIsChanged) {
    file("bom.csv", "parent,item,quantity\n000100,P-1,two\n000102,000100,1\n000100,P-2,1\n");
    Result result = keld({"bom", "import", "bom.csv"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.err,
              "keld: bom.csv:2:3: found 'two', expected a decimal number like 4 or 1.5\n"
              "keld: bom.csv:3:2: the part is used in itself: 000100/A > 000102/A > 000100/A\n");
    EXPECT_EQ(result.out, "2 problems in bom.csv; nothing changed\n");

    file("ids.csv", "000100,000101\n000101,000100\n000103,N-1\n");
    result = keld({"rename", "--from", "ids.csv", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const auto problems = result.json()["problems"];
    EXPECT_EQ(problems[0]["line"], 3);
    EXPECT_THAT(problems[0]["text"].get<std::string>(),
                HasSubstr("there is no item '000103'. Did you mean"));
    file("circle.csv", "000100,000101\n000101,000100\n");
    EXPECT_THAT(
        keld({"rename", "--from", "circle.csv"}).err,
        HasSubstr("circle.csv:1:2: the renames lead in a circle: 000100 > 000101 > 000100"));

    file("values.csv",
         "OBJECT;object_nam;creation_date\n000100;x;\n000101/A:gone;;\n000102;;tomorrow\n");
    result = keld({"set", "--from", "values.csv"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("values.csv:2:2: the type Item has no property 'object_nam' "
                                      "Did you mean object_name"));
    EXPECT_THAT(result.err, HasSubstr("values.csv:3:1: there is no object '000101/A:gone'"));
    EXPECT_THAT(result.err, HasSubstr("values.csv:4:3: "));
    EXPECT_THAT(done({"runs"}).out, Not(HasSubstr("rename")));
    EXPECT_EQ(keld({"show", "P-2"}).exit_code, 1);
}

TEST_F(CsvImport, RenamesFollowEachOtherAndGoBackTogether) {
    file("ids.csv", "old;new\n000100;000101\n000101;000102\n000102;N-1\n");
    const Result renamed = done({"rename", "--from", "ids.csv"});
    EXPECT_THAT(renamed.out, HasSubstr("ROW  OLD     NEW\n"
                                       "4    000102  N-1\n"
                                       "3    000101  000102\n"
                                       "2    000100  000101\n"
                                       "3 items renamed\n"));
    EXPECT_EQ(shownAs("000102", "object_name"), "Housing");
    done({"checkout", "000101/A"});
    file("back.csv", "N-1,M-1\n000101,M-2\n");
    const Result refused = keld({"--user", "infodba", "rename", "--from", "back.csv"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("back.csv:2: "));
    EXPECT_THAT(refused.out, HasSubstr("nothing changed\n"));
    EXPECT_EQ(keld({"show", "M-1"}).exit_code, 1) << "the first of them went back, too";
}

TEST_F(CsvImport, ValuesAreSetAndEmptyCellsLeaveThemAsTheyAre) {
    file("values.csv",
         "OBJECT,object_name,object_desc\n000100,\"Pump, 12 V\",\n000101/A,,\"two\nlines\"\n"
         "000102,Screw,\n");
    EXPECT_THAT(done({"set", "--from", "values.csv", "--dry-run"}).out,
                HasSubstr("2    000100    object_name\n3    000101/A  object_desc\n"
                          "3 rows: 2 values of 2 objects set\n"));
    done({"set", "--from", "values.csv", "--dry-run", "--plan", "p.json"});
    EXPECT_EQ(shownAs("000100", "object_name"), "Pump");
    fs::create_directory(path("elsewhere"));
    done({"apply", "p.json"});
    EXPECT_EQ(shownAs("000100", "object_name"), "Pump, 12 V");
    EXPECT_EQ(shownAs("000101/A", "object_name"), "Housing");
    EXPECT_EQ(shownAs("000101/A", "object_desc"), "two\nlines");
}

TEST_F(CsvImport, AFileIsNeededThatCanBeRead) {
    EXPECT_THAT(keld({"bom", "import", "none.csv"}).err, HasSubstr("there is no file none.csv"));
    EXPECT_EQ(keld({"bom", "import", "-"}).err,
              "keld: standard input:1: there is no line of headings\n");
    file("p.csv", "a,b\n");
    EXPECT_EQ(keld({"bom", "import", "p.csv", "--separator", "ab"}).exit_code, 2);
    EXPECT_EQ(keld({"rename", "000100", "--from", "p.csv"}).exit_code, 2);
    EXPECT_EQ(keld({"rename", "000100"}).exit_code, 2);
    EXPECT_EQ(keld({"set", "000100", "--from", "p.csv"}).exit_code, 2);
    EXPECT_EQ(keld({"set", "--from", "-", "--dry-run", "--plan", "p.json"}).exit_code, 2);
}
