#include <gmock/gmock.h>

#include "frame/keld_trace.h"
#include "tests/support/fixed_os.h"
#include "tests/support/frame_platform.h"
#include "tests/support/log_fixture.h"

using testing::ElementsAre;

// The lines of the in-line form and of the scope lines, in their order.
class TraceCall : public LogFixture {
protected:
    static int callThatTakes(int ms, int status = 0) {
        fixed_os::advanceClock(ms);
        return status;
    }
    std::string longCallLine(int ms) const {
        int iRet = 0;
        KELD_CALL(iRet, callThatTakes(ms));
        const auto all = texts();
        return all.size() == 4 ? all.at(2) : "";
    }
};

#undef KELD_TRACE_FILE
#define KELD_TRACE_FILE "frame\\trace.cpp"
#line 100

TEST_F(TraceCall, ThatSucceedsLeavesThreeLines) {
    int iRet = 7;
    KELD_CALL(iRet, callThatTakes(0));
    EXPECT_EQ(iRet, 0);
    EXPECT_THAT(texts(), ElementsAre("T  ->callThatTakes(0) trace.cpp:103",
                                     "T    File:trace.cpp Line:103 Funktion:callThatTakes(0)",
                                     "T  <-callThatTakes(0) trace.cpp:103"));
}

TEST_F(TraceCall, ThatFailsLeavesTheErrorAndItsTextAndGoesOn) {
    frame_platform::setErrorText(919320, "No new id");
    int iRet = 0;
    bool bWentOn = false;
    KELD_CALL(iRet, callThatTakes(0, 919320));
    bWentOn = true;
    EXPECT_TRUE(bWentOn);
    EXPECT_EQ(iRet, 919320);
    EXPECT_THAT(
        texts(),
        ElementsAre("T  ->callThatTakes(0, 919320) trace.cpp:114",
                    "T    File:trace.cpp Line:114 Funktion:callThatTakes(0, 919320)",
                    "E    File:trace.cpp Line:114 Funktion:callThatTakes(0, 919320) returned "
                    "919320 ",
                    "E   --No new id--", "T  <-callThatTakes(0, 919320) trace.cpp:114"));
    EXPECT_EQ(frame_platform::liveBlocks(), 0);
}

TEST_F(TraceCall, ThatFailsWithoutAnErrorTextShowsNull) {
    int iRet = 0;
    KELD_CALL(iRet, callThatTakes(0, -5));
    EXPECT_EQ(iRet, -5);
    EXPECT_EQ(texts().at(3), "E   --(null)--");
}

TEST_F(TraceCall, IsIndentedByItsDepthAndLeavesTheDepthAsItWas) {
    int iRet = 0;
    const auto inner = [] {
        int iInner = 0;
        KELD_CALL(iInner, callThatTakes(0, 12));
        return iInner;
    };
    KELD_CALL(iRet, inner());
    KELD_TRACE("end\n");
    const auto all = texts();
    ASSERT_EQ(all.size(), 11U);
    EXPECT_EQ(all.at(0).substr(0, 6), "T  ->i");
    EXPECT_EQ(all.at(1).substr(0, 8), "T    ->c");
    EXPECT_EQ(all.at(2).substr(0, 9), "T      Fi");
    EXPECT_EQ(all.at(3).substr(0, 9), "E      Fi");
    EXPECT_EQ(all.at(4), "E     --(null)--");
    EXPECT_EQ(all.at(5).substr(0, 8), "T    <-c");
    EXPECT_EQ(all.at(6).substr(0, 8), "T    Fil");
    EXPECT_EQ(all.at(9).substr(0, 6), "T  <-i");
    EXPECT_EQ(all.at(10), "T end");
}

TEST_F(TraceCall, OfExactlyASecondIsNotLong) {
    int iRet = 0;
    KELD_CALL(iRet, callThatTakes(1000));
    EXPECT_EQ(texts().size(), 3U);
}

TEST_F(TraceCall, OfMoreThanASecondIsLongInWholeSeconds) {
    int iRet = 0;
    KELD_CALL(iRet, callThatTakes(1001));
    EXPECT_THAT(texts(),
                ElementsAre("T  ->callThatTakes(1001) trace.cpp:165",
                            "T    File:trace.cpp Line:165 Funktion:callThatTakes(1001)",
                            "T   1s for call File:trace.cpp Line:165 Funktion:callThatTakes(1001)",
                            "T  <-callThatTakes(1001) trace.cpp:165"));
}

TEST_F(TraceCall, Of1999MillisecondsHasTakenOneSecond) {
    EXPECT_EQ(longCallLine(1999).substr(0, 6), "T   1s");
}

TEST_F(TraceCall, Of2999MillisecondsHasTakenTwoSeconds) {
    EXPECT_EQ(longCallLine(2999).substr(0, 6), "T   2s");
}

TEST_F(TraceCall, ThatFailsAfterALongTimeShowsTheTimeFirst) {
    int iRet = 0;
    KELD_CALL(iRet, callThatTakes(5000, 3));
    const auto all = texts();
    ASSERT_EQ(all.size(), 6U);
    EXPECT_EQ(all.at(2).substr(0, 15), "T   5s for call");
    EXPECT_EQ(all.at(3).substr(0, 9), "E    File");
}

TEST_F(TraceCall, IsNeverLongWhenTheClockGoesBack) {
    EXPECT_EQ(longCallLine(-100000), "");
}

TEST_F(TraceCall, CountsAcrossTheEndOf32Bits) {
    fixed_os::advanceClock(0xFFFFFFFFLL - 500);
    EXPECT_EQ(longCallLine(3000).substr(0, 6), "T   3s");
}

TEST_F(TraceCall, ReadsTheClockTwice) {
    int iRet = 0;
    const int before = fixed_os::clockReadings();
    KELD_CALL(iRet, callThatTakes(0));
    EXPECT_EQ(fixed_os::clockReadings() - before, 2);
}

TEST_F(TraceCall, ShowsOnlyWhatIsAfterTheLastBackslash) {
    int iRet = 0;
#undef KELD_TRACE_FILE
#define KELD_TRACE_FILE "d:\\src/x\\status\\a/b.cpp"
#line 300
    KELD_CALL(iRet, callThatTakes(0));
    EXPECT_EQ(texts().at(0), "T  ->callThatTakes(0) a/b.cpp:300");
}

TEST_F(TraceCall, ShowsAFileWithoutBackslashWhole) {
    int iRet = 0;
#undef KELD_TRACE_FILE
#define KELD_TRACE_FILE "src/status/b.cpp"
#line 300
    KELD_CALL(iRet, callThatTakes(0));
    EXPECT_EQ(texts().at(0), "T  ->callThatTakes(0) src/status/b.cpp:300");
}

TEST_F(TraceCall, ShowsNothingOfAFileThatEndsInABackslash) {
#undef KELD_TRACE_FILE
#define KELD_TRACE_FILE "x\\"
#line 300
    KELD_FUNC_ENTER("f");
    EXPECT_EQ(texts().at(0), "T  ->f :300");
}

TEST_F(TraceCall, WritesNothingBelowTheLevelsOfItsLines) {
    int iRet = 0;
    KELD_SetLogLevel(1);
    KELD_CALL(iRet, callThatTakes(5000, 3));
    EXPECT_EQ(texts().size(), 2U);
    KELD_SetLogLevel(0);
    KELD_CALL(iRet, callThatTakes(5000, 3));
    EXPECT_EQ(texts().size(), 2U);
    EXPECT_EQ(iRet, 3);
}

#undef KELD_TRACE_FILE
#define KELD_TRACE_FILE "frame\\trace.cpp"
#line 400

TEST_F(TraceCall, ScopeLinesAreAroundTheCallsOfAFunction) {
    int iRet = 0;
    KELD_FUNC_ENTER("KELD_fct");
    KELD_CALL(iRet, callThatTakes(9999999));
    KELD_FUNC_LEAVE("KELD_fct");
    const auto all = texts();
    ASSERT_EQ(all.size(), 6U);
    EXPECT_EQ(all.at(0), "T  ->KELD_fct trace.cpp:403");
    EXPECT_EQ(all.at(1), "T    ->callThatTakes(9999999) trace.cpp:404");
    EXPECT_EQ(all.at(5), "T  <-KELD_fct trace.cpp:405");
}

TEST_F(TraceCall, ScopeLinesReadNoClock) {
    const int before = fixed_os::clockReadings();
    KELD_FUNC_ENTER("f");
    KELD_FUNC_LEAVE("f");
    EXPECT_EQ(fixed_os::clockReadings(), before);
}

TEST_F(TraceCall, ScopeLinesMayHaveABreakInTheName) {
    KELD_FUNC_ENTER("KELD_PSE_PackAndResequenceBom\n");
    KELD_FUNC_LEAVE("KELD_PSE_PackAndResequenceBom\n");
    const std::string column(24 + 2, ' ');
    EXPECT_THAT(lines(), ElementsAre("2013-11-14 16:13:00.000 T  ->KELD_PSE_PackAndResequenceBom",
                                     column + " trace.cpp:421",
                                     "2013-11-14 16:13:00.000 T  <-KELD_PSE_PackAndResequenceBom",
                                     column + " trace.cpp:422"));
}
