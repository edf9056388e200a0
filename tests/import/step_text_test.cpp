#include "workbench/import/step_text.h"

#include <gtest/gtest.h>

using mervane::BadStepText;
using mervane::decodeStepText;

TEST(StepText, AnApostropheIsWrittenTwiceAndReadOnce) {
    EXPECT_EQ(decodeStepText("it''s ''"), "it's '");
}

TEST(StepText, ADoubledBackslashIsOne) {
    EXPECT_EQ(decodeStepText("a\\\\b"), "a\\b");
}

TEST(StepText, ABackslashThatBeginsNoDirectiveIsItself) {
    EXPECT_EQ(decodeStepText("C:\\Users\\tmp"), "C:\\Users\\tmp");
    EXPECT_EQ(decodeStepText("end\\"), "end\\");
    EXPECT_EQ(decodeStepText("\\X-file"), "\\X-file");
}

TEST(StepText, TwoHexadecimalDigitsNameACharacterOfLatinOne) {
    EXPECT_EQ(decodeStepText("\\X\\E4b\\X\\10"),
              "\xC3\xA4"
              "b\x10");
}

TEST(StepText, FourAndEightDigitsNameUnicodeCharacters) {
    EXPECT_EQ(decodeStepText("<\\X2\\03A9040A\\X0\\>"), "<\xCE\xA9\xD0\x8A>");
    EXPECT_EQ(decodeStepText("\\X4\\0001F600\\X0\\"), "\xF0\x9F\x98\x80");
}

TEST(StepText, SurrogatesAreJoinedAndLoneOnesReplaced) {
    EXPECT_EQ(decodeStepText("\\X2\\D83DDE00\\X0\\"), "\xF0\x9F\x98\x80");
    EXPECT_EQ(decodeStepText("\\X2\\D83D0041\\X0\\"),
              "\xEF\xBF\xBD"
              "A");
    EXPECT_EQ(decodeStepText("\\X2\\D83D\\X0\\x"), "\xEF\xBF\xBDx");
}

TEST(StepText, AShiftedCharacterIsOfThePageThatWasChosen) {
    EXPECT_EQ(decodeStepText("\\S\\d"), "\xC3\xA4");          // ISO 8859-1
    EXPECT_EQ(decodeStepText("\\PE\\\\S\\0"), "\xD0\x90");    // ISO 8859-5
    EXPECT_EQ(decodeStepText("\\PB\\\\S\\1x"), "\xC4\x85x");  // ISO 8859-2
    EXPECT_EQ(decodeStepText("\\S\\'''"), "\xC2\xA7'");  // a doubled apostrophe is shifted as one
}

TEST(StepText, LineBreaksAndPrintControlAreLeftOut) {
    EXPECT_EQ(decodeStepText("a\r\nb\\N\\c\\F\\d"), "abcd");
    EXPECT_EQ(decodeStepText("\\X2\\0041\n0042\\X0\\"), "AB");
}

TEST(StepText, BytesThatAreUtf8StayAndOthersAreLatinOne) {
    EXPECT_EQ(decodeStepText("\xC3\xA4"), "\xC3\xA4");
    EXPECT_EQ(decodeStepText("\xE4"), "\xC3\xA4");
}

TEST(StepText, ACharacterAboveAsciiIsNeverTornByADirective) {
    EXPECT_EQ(decodeStepText("\\S\\\xC3\xA4"), "\\S\\\xC3\xA4");
    EXPECT_EQ(decodeStepText("\\S\\\xE4"), "\\S\\\xC3\xA4");
    EXPECT_EQ(decodeStepText("'\xC3\xA4"), "'\xC3\xA4");
}

TEST(StepText, AnUnfinishedDirectiveIsRefused) {
    for (const char* bad :
         {"\\X\\", "\\X\\4", "\\X\\G0", "\\X2\\", "\\X2\\004", "\\X2\\0041", "\\X2\\00410\\X0\\",
          "\\X2\\zzzz\\X0\\", "\\X4\\0041\\X0\\", "\\X\\00", "\\X2\\0000\\X0\\"})
        EXPECT_THROW(decodeStepText(bad), BadStepText) << bad;
}
