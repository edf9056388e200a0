#include <gmock/gmock.h>

#include "platform/keld_basetool.h"
#include "tests/support/fixed_os.h"
#include "tests/support/log_fixture.h"

using testing::ElementsAre;

class LogLine : public LogFixture {};

TEST_F(LogLine, HasTheLocalTimeWithMillisecondsTheLevelAndTheText) {
    fixed_os::advanceClock(7);
    KELD_TRACE("hello %s\n", "world");
    EXPECT_THAT(lines(), ElementsAre("2013-11-14 16:13:00.007 T hello world"));
}

TEST_F(LogLine, TakesTheTimeAnewForEveryLine) {
    fixed_os::advanceClock(999);
    KELD_TRACE("a\n");
    fixed_os::advanceClock(1);
    KELD_TRACE("b\n");
    fixed_os::setLocalOffset(120);
    fixed_os::advanceClock(3600000 * 6 - 1);
    KELD_TRACE("c\n");
    fixed_os::advanceClock(1);
    KELD_TRACE("d\n");
    EXPECT_THAT(lines(), ElementsAre("2013-11-14 16:13:00.999 T a", "2013-11-14 16:13:01.000 T b",
                                     "2013-11-15 00:13:00.999 T c", "2013-11-15 00:13:01.000 T d"));
}

TEST_F(LogLine, ShowsTheLettersOfTheFourLevels) {
    KELD_SetLogLevel(4);
    KELD_ERROR("e\n");
    KELD_WARNING("w\n");
    KELD_TRACE("t\n");
    KELD_LOG(1, 1, "l\n");
    KELD_DEBUG("d\n");
    EXPECT_THAT(texts(), ElementsAre("E e", "W w", "T t", "T l", "D d"));
}

TEST_F(LogLine, IsIndentedByTwoBlanksForEachStep) {
    KELD_TRACE("0\n");
    KELD_IncTraceSpaces();
    KELD_TRACE("1\n");
    KELD_IncTraceSpaces();
    KELD_ERROR("2\n");
    KELD_DecTraceSpaces();
    KELD_TRACE("1\n");
    EXPECT_THAT(texts(), ElementsAre("T 0", "T   1", "E     2", "T   1"));
}

TEST_F(LogLine, IsNeverIndentedLessThanNotAtAll) {
    KELD_DecTraceSpaces();
    KELD_DecTraceSpaces();
    KELD_TRACE("0\n");
    KELD_IncTraceSpaces();
    KELD_TRACE("1\n");
    EXPECT_THAT(texts(), ElementsAre("T 0", "T   1"));
}

TEST_F(LogLine, HasOneBreakAtItsEndWithOrWithoutOneInTheText) {
    KELD_TRACE("with\n");
    KELD_TRACE("without");
    KELD_TRACE("%s", "");
    KELD_TRACE("several\n\n\n");
    KELD_TRACE("last");
    (void)KELD_GetLogFilePath();
    EXPECT_EQ(written(),
              "2013-11-14 16:13:00.000 T with\n2013-11-14 16:13:00.000 T without\n"
              "2013-11-14 16:13:00.000 T \n2013-11-14 16:13:00.000 T several\n"
              "2013-11-14 16:13:00.000 T last\n");
}

TEST_F(LogLine, KeepsTheLinesOfATextAndIndentsThemAlike) {
    KELD_IncTraceSpaces();
    KELD_LOG(1, 1, " ->%s %s:%d\n", "service\n", "x.cpp", 12);
    KELD_TRACE("a\nbc\n\nd");
    EXPECT_THAT(lines(),
                ElementsAre("2013-11-14 16:13:00.000 T    ->service",
                            "                             x.cpp:12",
                            "2013-11-14 16:13:00.000 T   a", "                            bc",
                            "                            ", "                            d"));
}

TEST_F(LogLine, PassesBytesThrough) {
    KELD_TRACE("\xC3\xA4\xFF\x01\t%s\n", "\x80\r");
    EXPECT_EQ(lines().at(0), "2013-11-14 16:13:00.000 T \xC3\xA4\xFF\x01\t\x80\r");
}

TEST_F(LogLine, HasNoLimitOfLength) {
    const std::string text(300000, 'x');
    KELD_TRACE("<%s>\n", text.c_str());
    KELD_TRACE("next\n");
    EXPECT_THAT(texts(), ElementsAre("T <" + text + ">", "T next"));
}

TEST_F(LogLine, ShowsANullTextAndANullFormat) {
    const char* text = nullptr;
    KELD_ERROR("--%s--\n", text);
    KELD_ERROR(text);
    EXPECT_THAT(texts(), ElementsAre("E --(null)--", "E "));
}

TEST_F(LogLine, OfAClientIsWrittenAsItIs) {
    KELD_IncTraceSpaces();
    KELD_PRINTLOG("100%s %n\n\tof it");
    KELD_PRINTLOG("broken\n");
    KELD_PRINTLOG("");
    KELD_PRINTLOG(nullptr);
    EXPECT_EQ(written(), "100%s %n\n\tof it\nbroken\n\n\n");
}

TEST_F(LogLine, OfTheVersionReportGoesToStandardOutputAndTheLog) {
    testing::internal::CaptureStdout();
    KELD_PRINT_VERINFO("  Version %d%%\n", 7);
    KELD_PRINT_VERINFO("\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "  Version 7%\n\n");
    EXPECT_THAT(texts(), ElementsAre("T   Version 7%", "T "));
}
