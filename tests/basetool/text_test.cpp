#include <gmock/gmock.h>

#include <climits>
#include <cstring>

#include "basetool/keld_text.h"
#include "os/keld_os_text.h"
#include "platform/keld_basetool.h"
#include "tests/support/log_fixture.h"

static std::string killed(std::string text) {
    KELD_KillExtraChars(text.data());
    return text.c_str();
}

TEST(KillExtraChars, RemovesWhatNoFileNameHas) {
    EXPECT_EQ(killed("a\\b/c:d*e?f\"g<h>i|j"), "abcdefghij");
}

TEST(KillExtraChars, RemovesControlCharacters) {
    EXPECT_EQ(killed("\ta\x01"
                     "b\x1F"
                     "c\x7F\r\n"),
              "abc");
}

TEST(KillExtraChars, RemovesBlanksAtBothEndsOnly) {
    EXPECT_EQ(killed("  a  b  "), "a  b");
    EXPECT_EQ(killed("* a * "), "a");
}

TEST(KillExtraChars, LeavesAllOtherBytesAlone) {
    const std::string kept = "A-z_0.9+@#$%&'(),;=[]^`{}~!\xC3\xA4\xE2\x82\xAC\xFF";
    EXPECT_EQ(killed(kept), kept);
}

TEST(KillExtraChars, MayLeaveNothing) {
    EXPECT_EQ(killed(" <> "), "");
    EXPECT_EQ(killed(""), "");
    KELD_KillExtraChars(nullptr);
}

TEST(ToLower, ChangesAsciiLettersOnly) {
    for (auto* lower : {&KELD_StringToLower, &CKELD_String::string_to_lower}) {
        char text[] = "AZaz@[`{09\xC3\x84\xD6";
        (*lower)(text);
        EXPECT_STREQ(text, "azaz@[`{09\xC3\x84\xD6");
        (*lower)(nullptr);
    }
}

TEST(TextToInt, ReadsBlanksSignAndDigits) {
    EXPECT_EQ(KELD_TextToInt("  +12x"), 12);
    EXPECT_EQ(KELD_TextToInt("\t-7"), -7);
    EXPECT_EQ(KELD_TextToInt("007"), 7);
}

TEST(TextToInt, IsZeroWithoutDigits) {
    for (const char* text : {"", " ", "x1", "-", "+", "- 1", "--1", "+-1"})
        EXPECT_EQ(KELD_TextToInt(text), 0) << text;
}

TEST(TextToInt, EndsAtTheNearestNumber) {
    EXPECT_EQ(KELD_TextToInt("2147483647"), INT_MAX);
    EXPECT_EQ(KELD_TextToInt("2147483648"), INT_MAX);
    EXPECT_EQ(KELD_TextToInt("-2147483648"), INT_MIN);
    EXPECT_EQ(KELD_TextToInt("-99999999999999999999999999999"), INT_MIN);
}

TEST(CutLength, KeepsWholeCharacters) {
    const std::string text = "ab\xE2\x82\xAC";
    EXPECT_EQ(KELD_CutLength(text, 5), 5U);
    EXPECT_EQ(KELD_CutLength(text, 4), 2U);
    EXPECT_EQ(KELD_CutLength(text, 3), 2U);
    EXPECT_EQ(KELD_CutLength(text, 2), 2U);
    EXPECT_EQ(KELD_CutLength(text, 0), 0U);
}

TEST(CutLength, CutsWhatIsNoUtf8AtTheLimit) {
    EXPECT_EQ(KELD_CutLength("\x80\x80\x80\x80\x80\x80", 5), 5U);
    EXPECT_EQ(KELD_CutLength("\x80\x80\x80", 2), 2U);
    EXPECT_EQ(KELD_CutLength("\xF0\x80\x80\x80\x80\x80", 4), 4U);
}

class CopyBounded : public LogFixture {};

TEST_F(CopyBounded, CutsWithOneWarningThatNamesTheField) {
    char out[6] = "#####";
    KELD_CopyBounded(out, "abc\xC3\xA4z", 4, "field");
    EXPECT_STREQ(out, "abc");
    KELD_CopyBounded(out, "12345", 5, "other");
    EXPECT_STREQ(out, "12345");
    EXPECT_THAT(texts(), testing::ElementsAre("W Text cut to 4 characters: field"));
}
