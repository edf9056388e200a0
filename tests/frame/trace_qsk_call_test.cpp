#include <gmock/gmock.h>

#include "frame/keld_trace.h"
#include "tests/support/fixed_os.h"
#include "tests/support/frame_platform.h"
#include "tests/support/log_fixture.h"

using testing::ElementsAre;

// The lines of the returning form, in their order.
class TraceQskCall : public LogFixture {
protected:
    static int callThatTakes(int ms, int status = 0) {
        fixed_os::advanceClock(ms);
        return status;
    }
    // The n-th text of the lines that a call leaves; empty if there is none.
    std::string text(std::size_t n) const {
        const auto all = texts();
        return n < all.size() ? all.at(n) : "";
    }
    bool wentOn_ = false;
};

#undef KELD_TRACE_FILE
#define KELD_TRACE_FILE "frame\\qsk.cpp"
#line 100

TEST_F(TraceQskCall, ThatSucceedsLeavesTwoLinesAndGoesOn) {
    const auto function = [this] {
        KELD_QSK_CALL(callThatTakes(1, 0));
        wentOn_ = true;
        return 0;
    };
    EXPECT_EQ(function(), 0);
    EXPECT_TRUE(wentOn_);
    EXPECT_THAT(texts(), ElementsAre("T  ->callThatTakes(...) qsk.cpp:103",
                                     "T  <-callThatTakes(...) qsk.cpp:103"));
}

TEST_F(TraceQskCall, ThatFailsReportsAndReturnsTheStatus) {
    frame_platform::setErrorText(919320, "No new id");
    const auto function = [this] {
        KELD_QSK_CALL(callThatTakes(1, 919320));
        wentOn_ = true;
        return 0;
    };
    EXPECT_EQ(function(), 919320);
    EXPECT_FALSE(wentOn_);
    EXPECT_THAT(texts(), ElementsAre("T  ->callThatTakes(...) qsk.cpp:116",
                                     "E   ##QSK_err_919320: callThatTakes(...)   qsk.cpp:116",
                                     "E   ##QSK_text_919320: No new id",
                                     "T  <-callThatTakes(...) qsk.cpp:116"));
}

TEST_F(TraceQskCall, LeavesTheDepthAsItWasOnBothOutcomes) {
    const auto function = [](int status) {
        KELD_QSK_CALL(callThatTakes(0, status));
        return 0;
    };
    EXPECT_EQ(function(0), 0);
    EXPECT_EQ(function(-8), -8);
    KELD_TRACE("end\n");
    EXPECT_EQ(texts().back(), "T end");
}

TEST_F(TraceQskCall, ThatFailsBetweenScopeLinesLeavesTheLogOneStepDeeper) {
    const auto function = [] {
        KELD_FUNC_ENTER("f");
        KELD_QSK_CALL(callThatTakes(0, 3));
        KELD_FUNC_LEAVE("f");
        return 0;
    };
    EXPECT_EQ(function(), 3);
    KELD_TRACE("end\n");
    EXPECT_EQ(texts().back(), "T   end");
    EXPECT_EQ(texts().size(), 6U);
}

TEST_F(TraceQskCall, AroundAVariableShowsItsName) {
    const int iRet = 0;
    const auto function = [iRet] {
        KELD_QSK_CALL(iRet);
        return 0;
    };
    EXPECT_EQ(function(), 0);
    EXPECT_EQ(text(0), "T  ->iRet(...) qsk.cpp:155");
}

TEST_F(TraceQskCall, ShowsNothingOfCallsInItsArguments) {
    const auto zero = [](int value) { return value * 0; };
    const auto function = [&zero] {
        KELD_QSK_CALL(callThatTakes(zero(callThatTakes(0)), (0)));
        return 0;
    };
    EXPECT_EQ(function(), 0);
    EXPECT_EQ(text(0), "T  ->callThatTakes(...) qsk.cpp:165");
}

TEST_F(TraceQskCall, OfExactlyASecondIsNotLong) {
    const auto function = [] {
        KELD_QSK_CALL(callThatTakes(1000));
        return 0;
    };
    EXPECT_EQ(function(), 0);
    EXPECT_EQ(texts().size(), 2U);
}

TEST_F(TraceQskCall, OfMoreThanASecondIsLongInWholeSeconds) {
    for (const int ms : {1001, 1999, 2999}) {
        const auto function = [ms] {
            KELD_QSK_CALL(callThatTakes(ms));
            return 0;
        };
        EXPECT_EQ(function(), 0);
    }
    EXPECT_EQ(text(1), "T   ##Long Call: callThatTakes(...)   1s qsk.cpp:184");
    EXPECT_EQ(text(4), "T   ##Long Call: callThatTakes(...)   1s qsk.cpp:184");
    EXPECT_EQ(text(7), "T   ##Long Call: callThatTakes(...)   2s qsk.cpp:184");
}

TEST_F(TraceQskCall, ThatFailsAfterALongTimeShowsTheTimeFirst) {
    const auto function = [] {
        KELD_QSK_CALL(callThatTakes(7000, 5));
        return 0;
    };
    EXPECT_EQ(function(), 5);
    EXPECT_EQ(text(1), "T   ##Long Call: callThatTakes(...)   7s qsk.cpp:196");
    EXPECT_EQ(text(2), "E   ##QSK_err_5: callThatTakes(...)   qsk.cpp:196");
}

TEST_F(TraceQskCall, DoesntCountTheTimeOfItsLines) {
    fixed_os::advanceClockPerReading(1000);
    const auto function = [] {
        KELD_QSK_CALL(callThatTakes(0));
        return 0;
    };
    EXPECT_EQ(function(), 0);
    EXPECT_EQ(texts().size(), 2U);
}

TEST_F(TraceQskCall, ThatFailsFreesNothingButLocalObjects) {
    bool bDestroyed = false;
    struct Local {
        bool* pDestroyed;
        ~Local() { *pDestroyed = true; }
    };
    const auto function = [&bDestroyed] {
        const Local local{&bDestroyed};
        KELD_QSK_CALL(callThatTakes(0, 1));
        return 0;
    };
    EXPECT_EQ(function(), 1);
    EXPECT_TRUE(bDestroyed);
}

TEST_F(TraceQskCall, WritesOnlyErrorsAtTheirLevel) {
    KELD_SetLogLevel(1);
    const auto function = [] {
        KELD_QSK_CALL(callThatTakes(7000, 5));
        return 0;
    };
    EXPECT_EQ(function(), 5);
    EXPECT_THAT(texts(), ElementsAre("E   ##QSK_err_5: callThatTakes(...)   qsk.cpp:232",
                                     "E   ##QSK_text_5: (null)"));
}

// A text as long as the compiler allows.
class TraceShortText : public LogFixture {
protected:
    static std::string firstLineOf(const std::string& expression) {
        const auto start = KELD_TraceQskCallEnter(expression.c_str(), "f.cpp", 1);
        KELD_TraceQskCallLeave(start, 0, expression.c_str(), "f.cpp", 1);
        return expression;
    }
};

TEST_F(TraceShortText, Of995CharactersAndTheSuffixIsWhole) {
    const std::string name(995, 'n');
    firstLineOf(name + "(a)");
    EXPECT_THAT(texts(),
                ElementsAre("T  ->" + name + "(...) f.cpp:1", "T  <-" + name + "(...) f.cpp:1"));
}

TEST_F(TraceShortText, ThatDoesntFitIsCutOnAWholeCharacterWithOneWarning) {
    const std::string name(994, 'n');
    firstLineOf(name + "\xC3\xA4");
    EXPECT_THAT(texts(),
                ElementsAre("W Text cut to 1000 characters: trace text",
                            "T  ->" + name + "(...) f.cpp:1", "T  <-" + name + "(...) f.cpp:1"));
}

TEST_F(TraceShortText, OfAVeryLongCallHasNoWarning) {
    firstLineOf("f(" + std::string(100000, 'x') + ")");
    EXPECT_THAT(texts(), ElementsAre("T  ->f(...) f.cpp:1", "T  <-f(...) f.cpp:1"));
}
