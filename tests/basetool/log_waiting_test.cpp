#include <gmock/gmock.h>

#include "platform/keld_basetool.h"
#include "tests/support/fixed_os.h"
#include "tests/support/log_fixture.h"

// When lines reach the file.
class LogWaiting : public LogFixture {
protected:
    std::size_t writtenLines() const { return splitLines(written()).size(); }
};

TEST_F(LogWaiting, EndsAtOnceForErrorsAndWarnings) {
    KELD_IncTraceSpaces();
    KELD_ERROR("e");
    EXPECT_EQ(writtenLines(), 1U);
    KELD_WARNING("w");
    EXPECT_EQ(writtenLines(), 2U);
    KELD_TRACE("t");
    KELD_ERROR("with what waited before it");
    EXPECT_EQ(writtenLines(), 4U);
}

TEST_F(LogWaiting, EndsWithTheNextLineAtTheDepthOfTheFirst) {
    KELD_TRACE("->service");
    KELD_IncTraceSpaces();
    KELD_TRACE("->call");
    KELD_TRACE("<-call");
    EXPECT_EQ(writtenLines(), 0U);
    KELD_DecTraceSpaces();
    KELD_TRACE("<-service");
    EXPECT_EQ(writtenLines(), 4U);
}

TEST_F(LogWaiting, EndsWithALineAboveTheDepthOfTheFirst) {
    KELD_IncTraceSpaces();
    KELD_TRACE("a");
    KELD_DecTraceSpaces();
    KELD_TRACE("b");
    EXPECT_EQ(writtenLines(), 2U);
}

TEST_F(LogWaiting, EndsForTheLastLineOfAServiceAlsoAfterAnError) {
    KELD_TRACE("->service");
    KELD_IncTraceSpaces();
    KELD_ERROR("e");
    KELD_DecTraceSpaces();
    KELD_TRACE("<-service");
    EXPECT_EQ(writtenLines(), 3U);
}

TEST_F(LogWaiting, EndsAtTheDepthOfTheFirstWaitingLineAfterAnError) {
    KELD_TRACE("->service");
    KELD_IncTraceSpaces();
    KELD_ERROR("e");
    KELD_TRACE("a");
    EXPECT_EQ(writtenLines(), 2U);
    KELD_TRACE("b");
    EXPECT_EQ(writtenLines(), 4U);
}

TEST_F(LogWaiting, EndsForTheNextServicesAlsoWhenTheIndentationHasLostItsBalance) {
    KELD_TRACE("->service");
    KELD_IncTraceSpaces();
    KELD_ERROR("left by an error");
    for (std::size_t service = 1; service <= 3; ++service) {
        KELD_TRACE("->service");
        KELD_IncTraceSpaces();
        KELD_TRACE("inside");
        KELD_DecTraceSpaces();
        KELD_TRACE("<-service");
        EXPECT_EQ(writtenLines(), 2 + 3 * service);
    }
}

TEST_F(LogWaiting, EndsWhen64KiBAreWaiting) {
    KELD_TRACE("->service");
    KELD_IncTraceSpaces();
    const std::string text(1000, 'x');
    std::size_t size = 0;
    std::size_t most_waiting = 0;
    for (int i = 0; i < 300; ++i) {
        KELD_TRACE("%s", text.c_str());
        size += 26 + 2 + 1000 + 1;
        const std::size_t in_file = written().size();
        most_waiting = std::max(most_waiting, size - std::min(size, in_file));
        if (in_file != 0) {
            EXPECT_EQ(written().back(), '\n');
        }
    }
    EXPECT_LT(most_waiting, 64U * 1024U);
    EXPECT_GT(most_waiting, 60U * 1024U);
    KELD_DecTraceSpaces();
    KELD_TRACE("<-service");
    EXPECT_EQ(writtenLines(), 302U);
}

TEST_F(LogWaiting, EndsForAClientsText) {
    KELD_TRACE("t");
    EXPECT_EQ(writtenLines(), 0U);
    KELD_PRINTLOG("p");
    EXPECT_EQ(written(), "2013-11-14 16:13:00.000 T t\np\n");
}

TEST_F(LogWaiting, EndsForTheQuestionWhereTheLogIs) {
    KELD_TRACE("t");
    EXPECT_EQ(KELD_GetLogFilePath(), log_path_.string());
    EXPECT_EQ(writtenLines(), 1U);
}
