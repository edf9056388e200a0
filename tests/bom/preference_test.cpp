// Preferences with a default.

#include <set>

#include "libkeld_flow/keld_par/keld_acpreference.h"
#include "tests/bom/bom_lines.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Preferences : public bom::BomLines {
protected:
    // What is read with the default "none" into a field of this size.
    std::string text(const char* key, std::size_t size = 100, int status = 0) {
        std::string buffer(size, '!');
        EXPECT_EQ(status, ACPreference::getStringValue(key, "none", buffer.data(), size));
        return buffer.c_str();
    }
    int number(const char* key, int status = 0) {
        int value = 77;
        EXPECT_EQ(status, ACPreference::getIntValue(key, 12, &value));
        return value;
    }
    void set(const char* key, const char* value) { p.preferences[key] = {value, "second"}; }
};

}  // namespace

TEST_F(Preferences, ThatAreSetGiveTheirFirstValue) {
    set("Text", "some");
    set("Number", "-4");
    EXPECT_EQ("some", text("Text"));
    EXPECT_EQ(-4, number("Number"));
    EXPECT_THAT(p.calls, ElementsAre("OPT_initialize()", "OPT_ask_char_value(Text, 0)",
                                     "OPT_ask_int_value(Number, 0)"));
    EXPECT_THAT(world.lines(), ElementsAre("ACPreference::getStringValue(Text) returns [some]",
                                           "ACPreference::getIntValue(Number) returns [-4]"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Preferences, ThatDontExistWarnAndGiveTheDefault) {
    EXPECT_EQ("none", text("Text"));
    EXPECT_EQ(12, number("Number"));
    EXPECT_THAT(world.lines("EWT"), ElementsAre("Pref:Text not set use default=none",
                                                "ACPreference::getStringValue(Text) returns [none]",
                                                "Pref:Number not set use default=12",
                                                "ACPreference::getIntValue(Number) returns [12]"));
    EXPECT_THAT(world.lines("W"), testing::SizeIs(2));
}

TEST_F(Preferences, ShowOnePlaceInAllLinesOfTheirTracedCall) {
    p.fail("OPT_ask_char_value");
    (void)text("Text", 100, line_platform::kFailed);
    p.fail("OPT_ask_int_value");
    (void)number("Number", line_platform::kFailed);
    for (const std::string operation : {"OPT_ask_char_value(...)", "OPT_ask_int_value(...)"}) {
        std::vector<std::string> texts;
        std::set<std::string> places;
        for (const world::LogLine& line : world.log())
            if (line.text.find(operation) != std::string::npos) {
                const std::size_t place = line.text.rfind(' ');
                texts.push_back(line.text.substr(0, place));
                places.insert(line.text.substr(place));
            }
        EXPECT_THAT(texts, ElementsAre(" ->" + operation, "##QSK_err_4711: " + operation + "  ",
                                       " <-" + operation));
        EXPECT_EQ(1u, places.size()) << testing::PrintToString(places);
    }
}

TEST_F(Preferences, ThatGiveNoTextWarnLikeMissingOnes) {
    set("Text", "some");
    p.null_preferences = {"Text"};
    EXPECT_EQ("none", text("Text"));
    EXPECT_THAT(world.lines("EW"), ElementsAre("Pref:Text not set use default=none"));
}

TEST_F(Preferences, AnEmptyTextIsAValue) {
    set("Text", "");
    EXPECT_EQ("", text("Text"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(Preferences, GiveTheDefaultWithoutAWarningIfTheyCantBeStarted) {
    set("Text", "some");
    set("Number", "5");
    p.fail("OPT_initialize");
    EXPECT_EQ("none", text("Text"));
    EXPECT_THAT(world.lines("W"), IsEmpty());
    EXPECT_EQ("##QSK_err_4711: OPT_initialize(...)", bom::messages(world, "E").at(0));
    EXPECT_THAT(world.lines("T"), ElementsAre("ACPreference::getStringValue(Text) returns [none]"));
    p.fail("OPT_initialize");
    EXPECT_EQ(12, number("Number"));
    EXPECT_THAT(p.callsOf("OPT_ask_"), IsEmpty());
    EXPECT_EQ("some", text("Text")) << "started again on the next read";
    EXPECT_EQ(3u, p.callsOf("OPT_initialize").size());
}

TEST_F(Preferences, AreStartedOnceInTheLifeOfTheProcess) {
    for (int i = 0; i < 3; ++i)
        text("Text");
    EXPECT_THAT(p.callsOf("OPT_initialize"), testing::SizeIs(1));
    EXPECT_EQ(0, ACPreference::init());
    EXPECT_TRUE(ACPreference::m_bInitialized);
    EXPECT_THAT(p.callsOf("OPT_initialize"), testing::SizeIs(1));
}

TEST_F(Preferences, AnyOtherFailureIsReportedAndReturned) {
    set("Text", "some");
    set("Number", "5");
    p.fail("OPT_ask_char_value");
    EXPECT_EQ("none", text("Text", 100, line_platform::kFailed));
    p.fail("OPT_ask_int_value");
    EXPECT_EQ(12, number("Number", line_platform::kFailed));
    EXPECT_THAT(world.lines("WT"), IsEmpty()) << "neither a warning nor a result";
    const auto errors = bom::messages(world, "E");
    EXPECT_THAT(errors, testing::Contains("##QSK_err_4711: OPT_ask_char_value(...)"));
    EXPECT_THAT(errors, testing::Contains("##QSK_err_4711: OPT_ask_int_value(...)"));
    EXPECT_THAT(errors, testing::Contains(testing::StartsWith("##QSK_text_4711: ")));
}

TEST_F(Preferences, ThatAreTooLongAreCutWithAWarning) {
    set("Text", std::string(300, 'x').c_str());
    EXPECT_EQ(std::string(99, 'x'), text("Text"));
    EXPECT_THAT(world.lines("W"), ElementsAre(testing::StartsWith("Text cut to 99 characters: ")));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Preferences, AreReadAnewEachTime) {
    set("Text", "one");
    EXPECT_EQ("one", text("Text"));
    set("Text", "two");
    EXPECT_EQ("two", text("Text"));
}
