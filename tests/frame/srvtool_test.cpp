#include <gmock/gmock.h>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "tests/support/fixed_os.h"
#include "tests/support/frame_platform.h"
#include "tests/support/log_fixture.h"

using frame_platform::sendArguments;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class SrvCall : public LogFixture {
protected:
    // The result text of the general call, which returns 0 always.
    static std::string call(int type, int level, const std::string& text) {
        sendArguments({type, level, text});
        return take(&KELD_SrvCall);
    }
    static std::string take(int (*service)(char**)) {
        char* szResult = nullptr;
        EXPECT_EQ(service(&szResult), 0);
        EXPECT_EQ(frame_platform::argumentsLeft(), 0U);
        const std::string result = szResult != nullptr ? szResult : "(null)";
        HEAP_free(szResult);
        return result;
    }
};

TEST_F(SrvCall, OfType0PutsTheTextIntoTheLogAsItIs) {
    KELD_SetLogLevel(0);
    EXPECT_EQ(call(0, 5, "100%s\nof it"), "SRV_call_ok");
    EXPECT_EQ(written(), "100%s\nof it\n");
}

TEST_F(SrvCall, OfType1GivesTheLogsPath) {
    EXPECT_EQ(call(1, 5, "x"), log_path_.string());
}

TEST_F(SrvCall, OfType1FailsWithoutALog) {
    fixed_os::setEnv("KELD_LOG_FILE", (directory_ / "missing" / "x.log").string());
    testing::internal::CaptureStderr();
    EXPECT_EQ(call(1, 5, "x"), "SRV_call_fail");
    (void)testing::internal::GetCapturedStderr();
}

TEST_F(SrvCall, OfType3GivesTheLevelThatType2HasSet) {
    EXPECT_EQ(call(3, 99, ""), "3");
    for (const int level : {4, 0, -17, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(call(2, level, ""), "SRV_call_ok");
        EXPECT_EQ(KELD_GetLogLevel(), level);
        EXPECT_EQ(call(3, 99, ""), std::to_string(level));
    }
}

TEST_F(SrvCall, OfType10GivesAVariableOfTheEnvironment) {
    fixed_os::setEnv("SOME_NAME", "some value");
    EXPECT_EQ(call(10, 0, "SOME_NAME"), "some value");
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(SrvCall, OfType10GivesTheEmptyTextAndAWarningForAVariableThatIsNotSet) {
    EXPECT_EQ(call(10, 0, "NO_NAME"), "");
    EXPECT_THAT(texts(), ElementsAre("W KELD_SrvCallGetEnv: env:NO_NAME not found"));
}

TEST_F(SrvCall, OfType10GivesAnEmptyValueWithoutAWarning) {
    fixed_os::setEnv("EMPTY", "");
    EXPECT_EQ(call(10, 0, "EMPTY"), "");
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(SrvCall, OfAnyOtherTypeSaysOkAndWarns) {
    for (const int type : {4, 5, 6, 7, 8, 9, 11, -1, -10, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(call(type, 1, "x"), "SRV_call_ok");
        EXPECT_EQ(texts().back(), "W KELD_SrvCall Type:" + std::to_string(type) + " not supported");
    }
    EXPECT_EQ(texts().size(), 11U);
}

TEST_F(SrvCall, TakesAShortArgumentListAsEmptyValues) {
    sendArguments({});
    EXPECT_EQ(take(&KELD_SrvCall), "SRV_call_ok");
    EXPECT_EQ(written(), "\n");
    sendArguments({10});
    EXPECT_EQ(take(&KELD_SrvCall), "");
    EXPECT_EQ(texts().back(), "W KELD_SrvCallGetEnv: env:(null) not found");
}

TEST_F(SrvCall, DoesntFreeTheTextThatItRead) {
    (void)call(3, 0, "text");
    EXPECT_EQ(frame_platform::liveBlocks(), 1);
}

TEST_F(SrvCall, GivesNullWithoutMemoryForTheResult) {
    char* szResult = nullptr;
    frame_platform::failAllocations(true);
    sendArguments({3, 0});
    EXPECT_EQ(KELD_SrvCall(&szResult), 0);
    EXPECT_EQ(szResult, nullptr);
}

TEST_F(SrvCall, OfTheEnvironmentIsAFailureWithoutMemoryForTheResult) {
    char* szResult = nullptr;
    frame_platform::failAllocations(true);
    sendArguments({"KELD_TEST_X"});
    EXPECT_EQ(KELD_SrvCallGetEnv(&szResult), 2002);
    EXPECT_EQ(szResult, nullptr);
}

TEST_F(SrvCall, TakesANullSlot) {
    sendArguments({3, 0, "x"});
    EXPECT_EQ(KELD_SrvCall(nullptr), 0);
    sendArguments({"x"});
    EXPECT_EQ(KELD_SrvCallGetEnv(nullptr), 0);
}

class SrvCallGetEnv : public SrvCall {};

TEST_F(SrvCallGetEnv, GivesAVariableOfTheEnvironment) {
    fixed_os::setEnv("SOME_NAME", "some value");
    sendArguments({"SOME_NAME"});
    EXPECT_EQ(take(&KELD_SrvCallGetEnv), "some value");
    const auto all = texts();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all.at(0).substr(0, 60),
              "T  ->SVCARG_get_string_argument(...) frame/keld_srvtool.cpp:");
    EXPECT_EQ(all.at(2), "T KELD_SrvCallGetEnv: cEnvVar");
}

TEST_F(SrvCallGetEnv, GivesTheEmptyTextAndAWarningForAVariableThatIsNotSet) {
    sendArguments({"NO_NAME"});
    EXPECT_EQ(take(&KELD_SrvCallGetEnv), "");
    EXPECT_EQ(texts().back(), "W KELD_SrvCallGetEnv: env:NO_NAME not found");
}

TEST_F(SrvCallGetEnv, ReturnsTheStatusOfAFailedReadAndLeavesTheSlotAlone) {
    char cKept[] = "kept";
    char* szResult = cKept;
    sendArguments({});
    EXPECT_EQ(KELD_SrvCallGetEnv(&szResult), frame_platform::read_failed);
    EXPECT_EQ(szResult, cKept);
    EXPECT_THAT(texts(), Not(Contains("T KELD_SrvCallGetEnv: cEnvVar")));
    EXPECT_THAT(texts(), Contains("E   ##QSK_text_4711: (null)"));
}

TEST_F(SrvCallGetEnv, DoesntFreeTheTextThatItRead) {
    sendArguments({"X"});
    (void)take(&KELD_SrvCallGetEnv);
    EXPECT_EQ(frame_platform::liveBlocks(), 1);
}
