// Failing calls and texts of every length.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_se.h"
#include "platform/mv_obj.h"
#include "tests/status/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using world::World;

namespace {

class FormValueLimits : public testing::Test {
protected:
    FormValueLimits() {
        item = world.item("000100").item;
        form = world.masterForm(item);
        EXPECT_EQ(0, OBJ_refresh(form, true));
    }
    std::string value(const char* property) {
        EXPECT_EQ(0, OBJ_save(form));
        return world.storedText(form, property);
    }

    World world;
    tag_t item = NULLTAG, form = NULLTAG;
};

struct FailingCase {
    const char* config;
    const char* type;
    bool only_if_empty;
    std::vector<std::string> operations;
};

}  // namespace

TEST(FormValuesFailing, EveryTracedCallReturnsItsFailure) {
    const FailingCase cases[] = {
        {"user_data_1=a", "Value", false, {"OBJ_UIF_set_value"}},
        {"user_data_1=a", "Value", true, {"OBJ_UIF_ask_value", "OBJ_UIF_set_value"}},
        {"user_data_1=item_id", "Prop", false, {"OBJ_UIF_ask_value", "OBJ_UIF_set_value"}},
        {"user_data_1=user_data_2", "PropMF", false, {"OBJ_UIF_ask_value", "OBJ_UIF_set_value"}},
        {"user_data_1", "UserId", false, {"DBO_get_user_id", "OBJ_UIF_set_value"}},
        {"user_data_1", "UserName", false, {"DBO_get_user", "OBJ_UIF_set_value"}},
        {"user_data_1", "Group", false, {"DBO_ask_group", "OBJ_UIF_set_value"}},
        {"user_data_1", "Str_Date", false, {"TIME_date_to_string", "OBJ_UIF_set_value"}},
        {"effective_date", "Date_Date", true, {"OBJ_UIF_ask_value", "OBJ_set_value_date"}},
        {"effective_date", "Del_Date", false, {"OBJ_set_value_date"}},
        {"user_data_*=x",
         "Value",
         false,
         {"SHEET_ask_prop_names", "OBJ_UIF_set_value", "OBJ_UIF_set_value", "OBJ_UIF_set_value"}},
    };
    for (const FailingCase& each : cases) {
        SCOPED_TRACE(std::string(each.type) + " " + each.config);
        world::FailingRun test{[](World& world) {
                                   const tag_t made = world.masterForm(world.item("000100").item);
                                   EXPECT_EQ(0, OBJ_refresh(made, true));
                                   return made;
                               },
                               [&](World& world, tag_t form) {
                                   return KELD_SetFormValue_byType(
                                       form, world.bench.resolve("000100"), each.config, each.type,
                                       each.only_if_empty);
                               },
                               nullptr};
        expectEachFailure(test, each.operations);
    }
}

TEST_F(FormValueLimits, AnEntryOf99CharactersIsWhole) {
    const std::string text(99 - std::string("user_data_1=").size(), 'x');
    EXPECT_EQ(
        0, KELD_SetFormValue_byType(form, item, ("user_data_1=" + text).c_str(), "Value", false));
    EXPECT_EQ(text, value("user_data_1"));
    EXPECT_THAT(world.lines("W"), IsEmpty());
}

TEST_F(FormValueLimits, ALongerEntryIsCutAt99CharactersWithAWarning) {
    const std::string kept(99 - std::string("user_data_1=").size(), 'x');
    EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, ("user_data_1=" + kept + "y").c_str(),
                                          "Value", false));
    EXPECT_EQ(kept, value("user_data_1"));
    EXPECT_THAT(world.lines("W"), ElementsAre("Text cut to 99 characters: cProp"));
}

TEST_F(FormValueLimits, AnEntryIsCutOnAWholeCharacter) {
    const std::string kept(98 - std::string("user_data_1=").size(), 'x');
    EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, ("user_data_1=" + kept + "\xC3\xA4").c_str(),
                                          "Value", false));
    EXPECT_EQ(kept, value("user_data_1"));
}

TEST_F(FormValueLimits, AValueOf199CharactersIsWholeAndALongerOneIsCut) {
    for (std::size_t length : {198, 199, 200, 240}) {
        SCOPED_TRACE(length);
        const std::string text(length, 'x');
        ASSERT_EQ(0, OBJ_UIF_set_value(form, "user_data_2", text.c_str()));
        world.clearLog();
        EXPECT_EQ(0,
                  KELD_SetFormValue_byType(form, item, "user_data_1=user_data_2", "PropMF", false));
        EXPECT_EQ(text.substr(0, 199), value("user_data_1"));
        if (length > 199) {
            EXPECT_THAT(world.lines("W"), ElementsAre("Text cut to 199 characters: cValue"));
        } else {
            EXPECT_THAT(world.lines("W"), IsEmpty());
        }
    }
}

TEST_F(FormValueLimits, ALongFormatOfTheSettingsIsCutAt99Characters) {
    const std::string format(120, 'f');
    world.configure("keld_base.ini", "[KELD_DateFormat]\nDateFormat=" + format + "\n");
    EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_1", "Str_Date", false));
    EXPECT_EQ(format.substr(0, 99), value("user_data_1"));
    EXPECT_THAT(world.lines("W"), ElementsAre("Text cut to 99 characters: cVaneProp"));
}

namespace {

// The short ones, and those about each size that a buffer has.
std::vector<std::size_t> lengthsAboutLimits() {
    std::vector<std::size_t> all;
    for (std::size_t length = 0; length <= 40; ++length)
        all.push_back(length);
    for (const std::size_t limit : {64, 99, 128, 132, 199, 240, 256, 512, 1024})
        for (std::size_t length = limit - 3; length <= limit + 3; ++length)
            all.push_back(length);
    return all;
}

}  // namespace

// Names, values and lists around every limit; the sanitizers watch.
TEST_F(FormValueLimits, TextsOfEveryLengthOverrunNothing) {
    KELD_SetLogLevel(0);
    for (const char* type : {"Value", "Prop", "PropMF", "UserId", "UserName", "Group", "Str_Date",
                             "Del_Date", "Date_Date", "None"}) {
        for (const std::size_t length : lengthsAboutLimits()) {
            for (const std::string& config :
                 {std::string(length, 'p'), "user_data_1=" + std::string(length, 'v'),
                  std::string(length, '='), std::string(length, ';'),
                  std::string(length, 'p') + "*=x"})
                (void)KELD_SetFormValue_byType(form, item, config.c_str(), type, length % 2 == 0);
        }
    }
    EXPECT_EQ(0u, world.newBlocks());
}
