#include <gmock/gmock.h>

#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "tests/support/frame_platform.h"
#include "tests/support/log_fixture.h"

// Over a platform that can't show its error stack.
class ReportError : public LogFixture {};

TEST_F(ReportError, WritesTheTextOfTheStatus) {
    frame_platform::setErrorText(2010, "%s: file can't be opened");
    KELD_ReportLastQskError(2010);
    EXPECT_THAT(texts(), testing::ElementsAre("E ##QSK_text_2010: %s: file can't be opened"));
    EXPECT_EQ(frame_platform::liveBlocks(), 0);
}

TEST_F(ReportError, WritesAStatusWithoutText) {
    KELD_ReportLastQskError(-1);
    EXPECT_THAT(texts(), testing::ElementsAre("E ##QSK_text_-1: (null)"));
}

TEST(CopyString, IsAFreshCopyOnThePlatformsHeap) {
    const std::string text(5000, 't');
    char* szCopy = KELD_CopyString(text.c_str());
    EXPECT_EQ(szCopy, text);
    EXPECT_NE(szCopy, text.c_str());
    EXPECT_EQ(frame_platform::liveBlocks(), 1);
    HEAP_free(szCopy);
    EXPECT_EQ(frame_platform::liveBlocks(), 0);
}

TEST(CopyString, OfAnEmptyTextIsEmpty) {
    char* szCopy = KELD_CopyString("");
    EXPECT_STREQ(szCopy, "");
    HEAP_free(szCopy);
}

TEST(CopyString, IsNullForNullOrWithoutMemory) {
    EXPECT_EQ(KELD_CopyString(nullptr), nullptr);
    frame_platform::failAllocations(true);
    EXPECT_EQ(KELD_CopyString("x"), nullptr);
}
