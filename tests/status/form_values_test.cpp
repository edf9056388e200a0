#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

#include "platform/keld_se.h"
#include "platform/mv_obj.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::World;

namespace {

bool isToday(date_s date) {
    const std::time_t now = std::time(nullptr);
    const std::tm local = *std::localtime(&now);
    return date.year == local.tm_year + 1900 && date.month == local.tm_mon &&
           date.day == local.tm_mday;
}

std::string today(const char* format) {
    const std::time_t now = std::time(nullptr);
    const std::tm local = *std::localtime(&now);
    char text[100];
    return {text, std::strftime(text, sizeof(text), format, &local)};
}

class FormValues : public testing::Test {
protected:
    FormValues() {
        const world::ItemTags made = world.item("000100");
        item = made.item;
        form = world.masterForm(item);
        world.name(form, "form");
        world.name(item, "item");
        world.name(made.revision, "rev");
        EXPECT_EQ(0, OBJ_refresh(form, true));
    }
    // Apply a list, and store what it did.
    int apply(const char* config, const char* type, bool only_if_empty = false) {
        const int status = KELD_SetFormValue_byType(form, item, config, type, only_if_empty);
        EXPECT_EQ(0, OBJ_save(form));
        return status;
    }
    std::string value(const char* property) { return world.storedText(form, property); }

    World world;
    tag_t item = NULLTAG, form = NULLTAG;
};

}  // namespace

TEST_F(FormValues, AnEmptyListDoesNothing) {
    for (const char* config : {"", static_cast<const char*>(nullptr)}) {
        const auto calls = world.calls(
            [&] { EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, config, "Nonsense", true)); });
        EXPECT_THAT(calls, IsEmpty());
    }
    EXPECT_THAT(world.lines(), IsEmpty());
}

TEST_F(FormValues, ValueTakesTheTextAfterTheSign) {
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_1=one;user_data_2=two words",
                                              "Value", false));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_UIF_set_value(form, user_data_1, one)",
                                   "OBJ_UIF_set_value(form, user_data_2, two words)"));
    EXPECT_EQ("", value("user_data_1"));  // the caller saves
    EXPECT_EQ(0, OBJ_save(form));
    EXPECT_EQ("one", value("user_data_1"));
    EXPECT_EQ("two words", value("user_data_2"));
}

TEST_F(FormValues, BlanksBelongToNamesAndValues) {
    EXPECT_EQ(0, apply("user_data_1= one ", "Value"));
    EXPECT_EQ(" one ", value("user_data_1"));
    EXPECT_NE(0, KELD_SetFormValue_byType(form, item, " user_data_1=one", "Value", false));
}

TEST_F(FormValues, ASecondSignEndsTheValue) {
    EXPECT_EQ(0, apply("user_data_1=a=b", "Value"));
    EXPECT_EQ("a", value("user_data_1"));
}

TEST_F(FormValues, AnEntryWithoutAValueGetsTheOneBeforeIt) {
    EXPECT_EQ(0, apply("user_data_1=one;user_data_2;user_data_3=", "Value"));
    EXPECT_EQ("one", value("user_data_2"));
    EXPECT_EQ("one", value("user_data_3"));
}

TEST_F(FormValues, AFirstEntryWithoutAValueEmptiesTheProperty) {
    EXPECT_EQ(0, apply("user_data_1=one", "Value"));
    EXPECT_EQ(0, apply("user_data_1", "Value"));
    EXPECT_EQ("", value("user_data_1"));
}

TEST_F(FormValues, AnEmptyEntryIsAnEntryWithAnEmptyName) {
    const auto calls = world.calls([&] {
        EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "user_data_1=one;;user_data_2=two",
                                              "Value", false));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_UIF_set_value(form, user_data_1, one)",
                                   "OBJ_UIF_set_value(form, , one)"));
    // A separator at the end makes no entry.
    EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_1=one;", "Value", false));
}

TEST_F(FormValues, PropReadsTheObject) {
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_1=item_id", "Prop", false));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_UIF_ask_value(item, item_id)",
                                   "OBJ_UIF_set_value(form, user_data_1, 000100)"));
}

TEST_F(FormValues, PropMfReadsTheForm) {
    EXPECT_EQ(0, apply("user_data_1=one", "Value"));
    const auto calls = world.calls([&] {
        EXPECT_EQ(0,
                  KELD_SetFormValue_byType(form, item, "user_data_2=user_data_1", "PropMF", false));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_UIF_ask_value(form, user_data_1)",
                                   "OBJ_UIF_set_value(form, user_data_2, one)"));
}

TEST_F(FormValues, ASourcePropertyIsNotCarriedOver) {
    const auto calls = world.calls([&] {
        EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "user_data_1=item_id;user_data_2", "Prop",
                                              false));
    });
    EXPECT_EQ("OBJ_UIF_ask_value(item, )", calls.back());
}

TEST_F(FormValues, UserAndGroupComeFromTheSession) {
    const auto smith = world.otherUser("smith");
    world.bench.selectSession(smith);
    ASSERT_EQ(0, OBJ_load(form));
    const auto calls = world.calls([&] {
        EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "user_data_1", "UserId", false));
        EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "user_data_2", "UserName", false));
        EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "user_data_3", "Group", false));
    });  // refused, since the other session has the form locked
    EXPECT_THAT(calls,
                ElementsAre("DBO_get_user_id()", "OBJ_UIF_set_value(form, user_data_1, smith)",
                            "DBO_get_user()", "OBJ_UIF_set_value(form, user_data_2, smith)",
                            "DBO_ask_group()", "OBJ_UIF_set_value(form, user_data_3, smiths)"));
}

TEST_F(FormValues, TodayAsTextHasTheFormatOfTheEntry) {
    EXPECT_EQ(0, apply("user_data_1=%Y/%m/%d", "Str_Date"));
    EXPECT_EQ(today("%Y/%m/%d"), value("user_data_1"));
}

TEST_F(FormValues, TodayAsTextHasTheUsualFormatWithoutOne) {
    EXPECT_EQ(0, apply("user_data_1=%Y;user_data_2;user_data_3=", "Str_Date"));
    EXPECT_EQ(today("%d.%m.%Y"), value("user_data_2"));  // the format isn't carried over
    EXPECT_EQ(today("%d.%m.%Y"), value("user_data_3"));
}

TEST_F(FormValues, TodayAsTextHasTheFormatOfTheSettings) {
    world.configure("keld_base.ini", "[KELD_DateFormat]\nDateFormat=%Y-%m-%d\n");
    EXPECT_EQ(0, apply("user_data_1", "Str_Date"));
    EXPECT_EQ(today("%Y-%m-%d"), value("user_data_1"));
}

TEST_F(FormValues, ADateIsSetAndNulledAsADate) {
    auto calls = world.calls([&] { EXPECT_EQ(0, apply("effective_date", "Date_Date")); });
    EXPECT_EQ("OBJ_set_value_date(form, effective_date)", calls.at(0));
    EXPECT_TRUE(isToday(world.storedDate(form, "effective_date")));
    calls = world.calls([&] { EXPECT_EQ(0, apply("effective_date", "Del_Date")); });
    EXPECT_EQ("OBJ_set_value_date(form, effective_date)", calls.at(0));
    EXPECT_THAT(world.stored(form, "effective_date"), IsEmpty());
}

TEST_F(FormValues, AnUnknownTypeIsAnErrorLineForEachEntry) {
    for (const char* type : {"value", "Date", static_cast<const char*>(nullptr)}) {
        world.clearLog();
        EXPECT_EQ(0,
                  KELD_SetFormValue_byType(form, item, "user_data_1=a;user_data_2=b", type, false));
        const std::string line = "Wrong ConfigType " + std::string(type ? type : "(null)");
        EXPECT_THAT(world.lines(), ElementsAre(line, line));
    }
}

TEST_F(FormValues, OnlyIfEmptyKeepsWhatIsThere) {
    EXPECT_EQ(0, apply("user_data_1=one", "Value"));
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_1=two;user_data_2=two",
                                              "Value", true));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_UIF_ask_value(form, user_data_1)",
                                   "OBJ_UIF_ask_value(form, user_data_2)",
                                   "OBJ_UIF_set_value(form, user_data_2, two)"));
    EXPECT_EQ(0, OBJ_save(form));
    EXPECT_EQ("one", value("user_data_1"));
    EXPECT_EQ("two", value("user_data_2"));
}

TEST_F(FormValues, OnlyIfEmptyWorksOutTheValueFirst) {
    EXPECT_EQ(0, apply("user_data_1=one", "Value"));
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_1", "UserId", true)); });
    EXPECT_THAT(calls, ElementsAre("DBO_get_user_id()", "OBJ_UIF_ask_value(form, user_data_1)"));
}

TEST_F(FormValues, OnlyIfEmptyHoldsForDatesButNotForNullingThem) {
    const date_s date = {2013, 10, 14, 16, 13, 5};
    ASSERT_EQ(0, OBJ_set_value_date(form, "effective_date", date));
    EXPECT_EQ(0, apply("effective_date", "Date_Date", true));
    EXPECT_EQ(2013, world.storedDate(form, "effective_date").year);
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, apply("effective_date", "Del_Date", true)); });
    EXPECT_EQ("OBJ_set_value_date(form, effective_date)", calls.at(0));
    EXPECT_THAT(world.stored(form, "effective_date"), IsEmpty());
    EXPECT_EQ(0, apply("effective_date", "Date_Date", true));
    EXPECT_TRUE(isToday(world.storedDate(form, "effective_date")));
}

TEST_F(FormValues, AStarGivesTheValueToEveryPropertyWithThePrefix) {
    const std::size_t blocks = world.blocks();
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_data_*=x", "Value", false));
    });
    EXPECT_THAT(calls,
                ElementsAre("SHEET_ask_prop_names(form)", "OBJ_UIF_set_value(form, user_data_1, x)",
                            "OBJ_UIF_set_value(form, user_data_2, x)",
                            "OBJ_UIF_set_value(form, user_data_3, x)"));
    EXPECT_EQ(blocks, world.blocks());
}

TEST_F(FormValues, WhatFollowsTheStarIsIgnoredAndCaseCounts) {
    auto calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "user_*_1*=x", "Value", false)); });
    EXPECT_EQ(4u, calls.size());
    calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "User_*=x", "Value", false)); });
    EXPECT_THAT(calls, ElementsAre("SHEET_ask_prop_names(form)"));
}

TEST_F(FormValues, ANameThatHasThePrefixFurtherInIsNotMeant) {
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_SetFormValue_byType(form, item, "data_*=x", "Value", false)); });
    EXPECT_THAT(calls, ElementsAre("SHEET_ask_prop_names(form)"));
}

TEST_F(FormValues, AStarAloneMeansAllProperties) {
    const auto calls =
        world.calls([&] { (void)KELD_SetFormValue_byType(form, item, "*", "Value", false); });
    ASSERT_GE(calls.size(), 5u);
    EXPECT_EQ("SHEET_ask_prop_names(form)", calls[0]);
}

TEST_F(FormValues, OnlyIfEmptyAsksForTheNameWithTheStarInIt) {
    const auto calls = world.calls([&] {
        EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "user_data_*=x", "Value", true));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_UIF_ask_value(form, user_data_*)"));
}

TEST_F(FormValues, DatesAsDatesLookForNoStar) {
    for (const char* type : {"Date_Date", "Del_Date"}) {
        const auto calls = world.calls([&] {
            EXPECT_NE(0, KELD_SetFormValue_byType(form, item, "effective_*", type, false));
        });
        EXPECT_THAT(calls, ElementsAre("OBJ_set_value_date(form, effective_*)"));
    }
}

TEST_F(FormValues, AFailureEndsTheListAndTheEntriesBeforeItStay) {
    EXPECT_NE(0, apply("user_data_1=one;no_such=two;user_data_2=two", "Value"));
    EXPECT_EQ("one", value("user_data_1"));
    EXPECT_EQ("", value("user_data_2"));
}
