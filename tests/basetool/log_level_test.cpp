#include <gmock/gmock.h>

#include <climits>

#include "platform/keld_basetool.h"
#include "tests/support/fixed_os.h"
#include "tests/support/log_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

class LogLevel : public LogFixture {
protected:
    static void writeOneOfEach() {
        KELD_ERROR("e");
        KELD_WARNING("w");
        KELD_TRACE("t");
        KELD_LOG(1, 1, "l");
        KELD_DEBUG("d");
    }
};

TEST_F(LogLevel, IsTraceAtTheStart) {
    EXPECT_EQ(KELD_GetLogLevel(), 3);
    writeOneOfEach();
    EXPECT_THAT(texts(), ElementsAre("E e", "W w", "T t", "T l"));
}

TEST_F(LogLevel, LetsThroughWhatIsAtOrBelowIt) {
    KELD_SetLogLevel(2);
    writeOneOfEach();
    KELD_SetLogLevel(1);
    writeOneOfEach();
    KELD_SetLogLevel(4);
    writeOneOfEach();
    EXPECT_THAT(texts(), ElementsAre("E e", "W w", "E e", "E e", "W w", "T t", "T l", "D d"));
}

TEST_F(LogLevel, OfZeroOrLessWritesNothingButAClientsText) {
    for (const int level : {0, -1, INT_MIN}) {
        KELD_SetLogLevel(level);
        writeOneOfEach();
        KELD_PRINTLOG("p");
    }
    EXPECT_EQ(written(), "p\np\np\n");
}

TEST_F(LogLevel, IsGivenBackAsItWasSet) {
    for (const int level : {7, 0, -3, INT_MAX, INT_MIN}) {
        KELD_SetLogLevel(level);
        EXPECT_EQ(KELD_GetLogLevel(), level);
    }
}

TEST_F(LogLevel, ComesFromTheEnvironmentAtTheFirstLine) {
    fixed_os::setEnv("KELD_LOG_LEVEL", "1");
    writeOneOfEach();
    fixed_os::setEnv("KELD_LOG_LEVEL", "4");
    writeOneOfEach();
    EXPECT_THAT(texts(), ElementsAre("E e", "E e"));
}

TEST_F(LogLevel, OfTheEnvironmentMayBeNegative) {
    fixed_os::setEnv("KELD_LOG_LEVEL", "-2");
    EXPECT_EQ(KELD_GetLogLevel(), -2);
}

TEST_F(LogLevel, OfTheEnvironmentThatIsNoNumberIsNotTaken) {
    fixed_os::setEnv("KELD_LOG_LEVEL", "high");
    EXPECT_EQ(KELD_GetLogLevel(), 3);
}

TEST_F(LogLevel, SetByACallGoesBeforeTheEnvironment) {
    fixed_os::setEnv("KELD_LOG_LEVEL", "1");
    KELD_SetLogLevel(2);
    writeOneOfEach();
    EXPECT_THAT(texts(), ElementsAre("E e", "W w"));
}

TEST_F(LogLevel, OfTraceIsNeededForTheVersionReportInTheLogButNotOnStandardOutput) {
    KELD_SetLogLevel(2);
    testing::internal::CaptureStdout();
    KELD_PRINT_VERINFO("v\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "v\n");
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(LogLevel, ThatLetsNothingThroughOpensNoFile) {
    KELD_SetLogLevel(0);
    writeOneOfEach();
    EXPECT_FALSE(std::filesystem::exists(log_path_));
}
