// The reference model by itself, and a control that a wrong one is noticed.

#include "tests/bom/reference_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using bom_model::Component;
using testing::ElementsAre;

TEST(ReferenceModel, GivesTheWorkedRun) {
    const auto outcome =
        bom_model::keep({{"X", "10"}, {"Y", "10"}, {"X", "20"}, {"Z", ""}, {"Y", "30"}}, 10);
    EXPECT_THAT(outcome.assigned, ElementsAre("", "30", "10", "40", ""));
    EXPECT_THAT(outcome.order, ElementsAre(0u, 1u, 2u, 3u, 4u));
    const std::string dump = "00 X 10-10-\n01 Y 10-30-30\n02 X 20-10-10\n03 Z --\n04 Y 30-30-\n";
    EXPECT_EQ(dump + dump + dump + dump, outcome.dump);
}

TEST(ReferenceModel, SortsStablyAndNumbersByComponent) {
    const auto outcome =
        bom_model::sortAndNumber({{"Z", "1"}, {"X", "2"}, {"Z", "3"}, {"Y", ""}}, 100, 5);
    EXPECT_THAT(outcome.order, ElementsAre(1u, 3u, 0u, 2u));
    EXPECT_THAT(outcome.assigned, ElementsAre("110", "100", "110", "105"));
    EXPECT_EQ("", outcome.dump);
}

TEST(ReferenceModel, KnowsWhatANumberIs) {
    for (const char* text : {"1", " 7", "+7", "-7", "7A", "007", "99999999999999999999"})
        EXPECT_TRUE(bom_model::isNumber(text)) << text;
    for (const char* text : {"", "0", "-00", "A10", "+-5", "- 5", "-"})
        EXPECT_FALSE(bom_model::isNumber(text)) << text;
    EXPECT_EQ(-7, bom_model::valueOf("  -007x"));
    EXPECT_EQ(0, bom_model::valueOf("A10"));
    EXPECT_EQ(2147483647, bom_model::valueOf("99999999999999999999"));
    EXPECT_EQ(-2147483648LL, bom_model::valueOf("-99999999999999999999"));
}

// A walk that forgets one of its conditions gives another result than the model.
TEST(ReferenceModel, TellsANeighbouringRuleApart) {
    EXPECT_THAT(bom_model::keep({{"W", "15"}, {"Z", "15"}, {"X", "20"}, {"X", "15"}}, 5).assigned,
                ElementsAre("", "20", "30", "30"));
    EXPECT_THAT(bom_model::keep({{"X", "50"}, {"Y", "50"}, {"Z", "10"}}, 40).assigned,
                ElementsAre("", "50", ""));
}
