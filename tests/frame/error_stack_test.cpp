#include <gmock/gmock.h>

#include <cstring>

#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_supplement.h"
#include "tests/support/frame_platform.h"
#include "tests/support/log_fixture.h"

static int stack_status = 0;

// A platform that shows its error stack: two entries, the second without a text.
KELD_EXPORT int ERR_ask_stack(int* count, int** numbers, char*** texts) {
    if (stack_status != 0)
        return stack_status;
    *count = 2;
    *numbers = static_cast<int*>(HEAP_alloc(2 * sizeof(int)));
    (*numbers)[0] = 919401;
    (*numbers)[1] = 515001;
    *texts = static_cast<char**>(HEAP_alloc(3 * sizeof(char*)));
    (*texts)[0] = KELD_CopyString("no privilege for %s");
    (*texts)[1] = nullptr;
    (*texts)[2] = nullptr;
    return 0;
}

class ErrorStack : public LogFixture {};

TEST_F(ErrorStack, IsWrittenOldestFirstBeforeTheTextOfTheStatus) {
    frame_platform::setErrorText(919401, "Privilege");
    KELD_ReportLastQskError(919401);
    EXPECT_THAT(texts(), testing::ElementsAre("E ##QSK_stack_919401: no privilege for %s",
                                              "E ##QSK_stack_515001: (null)",
                                              "E ##QSK_text_919401: Privilege"));
    EXPECT_EQ(frame_platform::liveBlocks(), 0);
}

TEST_F(ErrorStack, ThatCantBeReadLeavesTheTextOfTheStatus) {
    stack_status = 5;
    KELD_ReportLastQskError(7);
    EXPECT_THAT(texts(), testing::ElementsAre("E ##QSK_text_7: (null)"));
}
