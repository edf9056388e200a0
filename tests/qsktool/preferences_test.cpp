#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"
#include "tests/support/world.h"

using world::World;

namespace {

class Preferences : public testing::Test {
protected:
    std::string text(const char* name, const char* default_value) {
        char* value = nullptr;
        EXPECT_EQ(0, KELD_get_string_pref(MV_preference_site, name, &value, default_value));
        const std::string found = value != nullptr ? value : "(null)";
        HEAP_free(value);
        return found;
    }
    bool flag(const char* name, bool default_value) {
        logical value = !default_value;
        EXPECT_EQ(0, KELD_get_logical_pref(MV_preference_site, name, &value, default_value));
        return value;
    }

    World world;
};

}  // namespace

TEST_F(Preferences, AnArrayHasAllValues) {
    world.bench.setPreference("P", {"one", "", "three"});
    int count = 0;
    char** values = nullptr;
    EXPECT_EQ(0, KELD_GetPreferenceArray("P", &count, &values, 0));
    ASSERT_EQ(3, count);
    EXPECT_STREQ("one", values[0]);
    EXPECT_STREQ("", values[1]);
    EXPECT_STREQ("three", values[2]);
    EXPECT_EQ(nullptr, values[3]);
    MV_free_strings(values);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Preferences, AnUnknownArrayIsEmptyAndNoFailure) {
    int count = 99;
    char* mark = nullptr;
    char** values = &mark;
    EXPECT_EQ(0, KELD_GetPreferenceArray("No such", &count, &values, MV_preference_site));
    EXPECT_EQ(0, count);
    EXPECT_EQ(nullptr, values);
    EXPECT_EQ(0, KELD_GetPreferenceArray(nullptr, &count, &values, 0));
    EXPECT_NE(0, KELD_GetPreferenceArray("P", nullptr, &values, 0));
    EXPECT_NE(0, KELD_GetPreferenceArray("P", &count, nullptr, 0));
}

TEST_F(Preferences, AValueIsTheFirst) {
    world.bench.setPreference("P", {"one", "two"});
    char* value = nullptr;
    EXPECT_EQ(0, KELD_GetPreferenceValue("P", &value, nullptr));
    EXPECT_STREQ("one", value);
    HEAP_free(value);
    value = nullptr;
    EXPECT_EQ(0, KELD_GetPreferenceValue("No such", &value, nullptr));
    EXPECT_EQ(nullptr, value);
    EXPECT_EQ(0, KELD_GetPreferenceValue("No such", &value, "default"));
    EXPECT_STREQ("default", value);
    HEAP_free(value);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Preferences, ATextIsTheValueOrACopyOfTheDefault) {
    world.bench.setPreference("P", {"one"});
    world.bench.setPreference("Empty", {""});
    EXPECT_EQ("one", text("P", "default"));
    EXPECT_EQ("", text("Empty", "default"));
    EXPECT_EQ("default", text("No such", "default"));
    EXPECT_EQ("", text("No such", nullptr));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Preferences, AFlagIsTheValueOrTheDefault) {
    const std::pair<const char*, bool> values[] = {{"true", true}, {"TRUE", true}, {"1", true},
                                                   {"yes", true},  {"On", true},   {"false", false},
                                                   {"0", false},   {"No", false},  {"off", false}};
    for (const auto& [value, expected] : values) {
        world.bench.setPreference("P", {value});
        EXPECT_EQ(expected, flag("P", true)) << value;
        EXPECT_EQ(expected, flag("P", false)) << value;
    }
    for (const char* value : {"maybe", "", "tru", "truer"}) {
        world.bench.setPreference("P", {value});
        EXPECT_TRUE(flag("P", true)) << value;
        EXPECT_FALSE(flag("P", false)) << value;
    }
    EXPECT_TRUE(flag("No such", true));
    EXPECT_FALSE(flag("No such", false));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Preferences, AFailureOfThePlatformIsReturned) {
    world.bench.setFaults({{"OPT_ask_char_value", 0, 4711}, {"OPT_ask_char_values", 0, 4711}});
    int count = 0;
    char** values = nullptr;
    char* value = nullptr;
    logical flag_value = true;
    EXPECT_EQ(4711, KELD_GetPreferenceArray("P", &count, &values, 0));
    EXPECT_EQ(4711, KELD_GetPreferenceValue("P", &value, "default"));
    EXPECT_EQ(4711, KELD_get_string_pref(0, "P", &value, "default"));
    EXPECT_EQ(4711, KELD_get_logical_pref(0, "P", &flag_value, false));
    EXPECT_EQ(nullptr, value);
    EXPECT_TRUE(flag_value);
    EXPECT_NE(0, KELD_GetPreferenceValue("P", nullptr, nullptr));
    EXPECT_NE(0, KELD_get_logical_pref(0, "P", nullptr, false));
}

TEST_F(Preferences, WithoutMemoryADefaultIsAFailure) {
    world.bench.failHeapAfter(0);
    char* value = nullptr;
    EXPECT_NE(0, KELD_get_string_pref(0, "No such", &value, "default"));
    world.bench.failHeapAfter({});
    EXPECT_EQ(nullptr, value);
}
