// Tables as comma-separated values.

#include <algorithm>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

using Csv = ProgramWithStore;

TEST_F(Csv, ATableHasItsHeadingsAndARecordForEachRow) {
    EXPECT_EQ(done({"bom", "show", "000100", "--csv"}).out,
              "LEVEL,LINE,NUMBER,QUANTITY,PACKED,NAME\n"
              "0,000100/A,,,,Pump\n"
              "1,000101/A,10,2,,Housing\n"
              "2,000102/A,10,4,,Screw\n"
              "1,000102/A,20,1,,Screw\n");
}

TEST_F(Csv, CommasQuotesAndBreaksAreInQuotes) {
    done({"set", "000100", "object_name=Pump, 12 \"V\"\nnew"});
    EXPECT_THAT(done({"find", "000100", "--type", "Item", "--csv"}).out,
                HasSubstr("000100,Item,\"Pump, 12 \"\"V\"\"\nnew\",#"));
}

TEST_F(Csv, OtherTextIsLeftOutAndJsonExcludesIt) {
    const Result found = done({"find", "*", "--limit", "1", "--csv"});
    EXPECT_EQ(std::count(found.out.begin(), found.out.end(), '\n'), 2) << found.out;
    EXPECT_EQ(keld({"find", "*", "--csv", "--json"}).exit_code, 2);
}

TEST_F(Csv, NamesAndValuesAreNotEscaped) {
    done({"set", "000100", "object_name=a\tb"});
    EXPECT_THAT(done({"find", "000100", "--type", "Item", "--csv"}).out, HasSubstr("a\tb"));
}
