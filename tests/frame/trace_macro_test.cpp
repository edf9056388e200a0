#include <gmock/gmock.h>

#include <map>
#include <utility>

#include "frame/keld_trace.h"
#include "tests/support/log_fixture.h"

// The macros as pieces of code: what they print of the source and where they may be used.
class TraceMacro : public LogFixture {
protected:
    static int given(const void*, bool) { return 0; }
    template <typename A, typename B>
    static int sizes(const std::pair<A, B>&) {
        return 0;
    }
    static int counted(int* count) { return ++*count * 0; }
    std::string first() const { return texts().at(0); }
};

TEST_F(TraceMacro, PrintsNamesOfConstantsAsTheyAreWritten) {
    int iRet = 0;
    KELD_CALL(iRet, given(NULL, FALSE));
    EXPECT_EQ(first().substr(0, 24), "T  ->given(NULL, FALSE) ");
}

TEST_F(TraceMacro, PrintsTextsWithTheirQuotesAndEscapes) {
    int iRet = 0;
    KELD_CALL(iRet, given("a,\"b\"%d\n(", TRUE));
    EXPECT_EQ(first().substr(0, 34), "T  ->given(\"a,\\\"b\\\"%d\\n(\", TRUE) t");
}

TEST_F(TraceMacro, PrintsAnExpressionOverSeveralLinesAsOne) {
    int iRet = 0;
    // clang-format off
    KELD_CALL(iRet, given(nullptr,
                          true));
    // clang-format on
    EXPECT_EQ(first().substr(0, 26), "T  ->given(nullptr, true) ");
}

TEST_F(TraceMacro, TakesCommasInTemplateArguments) {
    int iRet = 0;
    const std::pair<int, char> pair;
    const auto function = [&pair] {
        KELD_QSK_CALL(sizes<int, char>(pair));
        return 0;
    };
    KELD_CALL(iRet, sizes<int, char>(pair));
    EXPECT_EQ(first().substr(0, 29), "T  ->sizes<int, char>(pair) t");
    EXPECT_EQ(function(), 0);
    EXPECT_EQ(texts().at(3).substr(0, 28), "T  ->sizes<int, char>(...) t");
}

TEST_F(TraceMacro, EvaluatesItsExpressionOnce) {
    int iCount = 0;
    int iRet = 0;
    KELD_CALL(iRet, counted(&iCount));
    EXPECT_EQ(iCount, 1);
    const auto function = [&iCount] {
        KELD_QSK_CALL(counted(&iCount));
        return 0;
    };
    EXPECT_EQ(function(), 0);
    EXPECT_EQ(iCount, 2);
}

TEST_F(TraceMacro, EvaluatesItsStatusVariableOnce) {
    int iStatuses[3] = {7, 7, 7};
    int* pNext = iStatuses;
    KELD_CALL(*pNext++, given(nullptr, true));
    EXPECT_EQ(iStatuses[0], 0);
    EXPECT_EQ(iStatuses[1], 7);
    EXPECT_EQ(pNext, iStatuses + 1);
}

// -Wdangling-else and -Wmisleading-indentation would be errors here as well.
TEST_F(TraceMacro, WorksInAnUnbracedBranch) {
    int iIf = 7;
    int iElse = 7;
    for (const bool bFirst : {true, false})
        if (bFirst)
            KELD_CALL(iIf, given(nullptr, true));
        else
            KELD_CALL(iElse, given(nullptr, false));
    EXPECT_EQ(iIf, 0);
    EXPECT_EQ(iElse, 0);
    EXPECT_EQ(texts().size(), 6U);
}

TEST_F(TraceMacro, OfTheReturningFormWorksInAnUnbracedBranch) {
    const auto function = [](bool bFirst) {
        if (bFirst)
            KELD_QSK_CALL(given(nullptr, true));
        else
            KELD_QSK_CALL(17);
        return 0;
    };
    EXPECT_EQ(function(true), 0);
    EXPECT_EQ(function(false), 17);
}

TEST_F(TraceMacro, OfScopeLinesWorksInAnUnbracedBranch) {
    for (const bool bEnter : {true, false})
        if (bEnter)
            KELD_FUNC_ENTER("f");
        else
            KELD_FUNC_LEAVE("f");
    EXPECT_EQ(texts().size(), 2U);
}

TEST_F(TraceMacro, PrintsTheFileThatTheBuildNames) {
    KELD_FUNC_ENTER("f");
    EXPECT_EQ(first().substr(0, 30), "T  ->f tests/frame_trace_test:");
}

// The sanitizers move locals off the stack.
#if !defined(__SANITIZE_ADDRESS__)
// A function that calls itself keeps a small frame at each traced call.
static int recursive(int depth, const char** lowest) {
    char here = 0;
    *lowest = &here;
    if (depth > 0)
        KELD_QSK_CALL(recursive(depth - 1, lowest));
    return here;
}

TEST_F(TraceMacro, KeepsNoLargeTextOnTheStackOfAFunctionThatCallsItself) {
    KELD_SetLogLevel(0);
    const char here = 0;
    const char* lowest = nullptr;
    EXPECT_EQ(recursive(1000, &lowest), 0);
    const auto size =
        reinterpret_cast<std::uintptr_t>(&here) - reinterpret_cast<std::uintptr_t>(lowest);
    EXPECT_LT(size / 1000, 300U);
}
#endif
