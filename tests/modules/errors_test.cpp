#include "platform/mv_err.h"

#include <cstring>

#include "platform/mv_supplement.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class ErrorStack : public InterfaceTest {
protected:
    std::string textOf(int number) {
        char* text = nullptr;
        EXPECT_EQ(ERR_ask_error_text(number, &text), 0);
        return taken(text);
    }
};

TEST_F(ErrorStack, HoldsErrorsOldestFirst) {
    EXPECT_EQ(ERR_store_error(ERR_severity_error, 919400), 0);
    EXPECT_EQ(ERR_store_error_s1(ERR_severity_error, 919998, "the reason"), 0);
    int count = 0;
    int* numbers = nullptr;
    char** texts = nullptr;
    EXPECT_EQ(ERR_ask_stack(&count, &numbers, &texts), 0);
    EXPECT_THAT(taken(count, numbers), ElementsAre(919400, 919998));
    EXPECT_THAT(taken(count, texts), ElementsAre(testing::_, HasSubstr("the reason")));
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(ErrorStack, IsCountZeroAndNullWhenEmpty) {
    int count = 3, dummy = 0;
    int* numbers = &dummy;
    char* text = nullptr;
    char** texts = &text;
    EXPECT_EQ(ERR_ask_stack(&count, &numbers, &texts), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(numbers, nullptr);
    EXPECT_EQ(texts, nullptr);
}

TEST_F(ErrorStack, HasAnEntryForEachFailingCallWithObjectAndReason) {
    EXPECT_NE(OBJ_load(kNoSuchTag), 0);
    ASSERT_EQ(wb.errorStack().size(), 1u);
    EXPECT_EQ(wb.errorStack()[0].severity, ERR_severity_error);
    EXPECT_EQ(wb.errorStack()[0].status, kUnknownObject);
    EXPECT_THAT(lastError(), HasSubstr("OBJ_load"));
    EXPECT_THAT(lastError(), HasSubstr(std::to_string(kNoSuchTag)));
}

TEST_F(ErrorStack, GivesTheTextOfTheNewestEntryOfANumber) {
    ERR_store_error_s1(ERR_severity_error, 919998, "first");
    ERR_store_error_s1(ERR_severity_error, 919998, "second");
    ERR_store_error_s1(ERR_severity_error, 919400, "third");
    EXPECT_THAT(textOf(919998), HasSubstr("second"));
}

TEST_F(ErrorStack, GivesTheTextOfTheTableWithoutAnEntry) {
    EXPECT_FALSE(wb.messageText(919500).empty());
    EXPECT_NE(textOf(919500), "(null)");
    EXPECT_EQ(textOf(919500).find("%1$"), std::string::npos);
}

TEST_F(ErrorStack, HasNoTextForAnUnknownNumber) {
    char* text = reinterpret_cast<char*>(8);
    EXPECT_EQ(ERR_ask_error_text(123456, &text), 0);
    EXPECT_EQ(text, nullptr);
}

TEST_F(ErrorStack, TakesANullTextAsEmpty) {
    EXPECT_EQ(ERR_store_error_s1(ERR_severity_error, 919998, nullptr), 0);
    EXPECT_EQ(wb.errorStack().size(), 1u);
}

TEST_F(ErrorStack, IsEmptyAfterClearingInsideAMarkToo) {
    ERR_store_error(ERR_severity_error, 919400);
    int mark = 0;
    EXPECT_EQ(ERR_set_protect_mark(&mark), 0);
    EXPECT_GT(mark, 0);
    ERR_store_error(ERR_severity_error, 919401);
    EXPECT_EQ(ERR_clear_errors(), 0);
    EXPECT_THAT(wb.errorStack(), IsEmpty());
    EXPECT_EQ(ERR_clear_protect_mark(mark), 0);
}

TEST_F(ErrorStack, LosesExpectedErrorsAtTheEndOfTheMark) {
    ERR_store_error(ERR_severity_error, 919400);
    int mark = 0;
    ERR_set_protect_mark(&mark);
    EXPECT_NE(OBJ_load(kNoSuchTag), 0);
    EXPECT_EQ(ERR_clear_protect_mark(mark), 0);
    ASSERT_EQ(wb.errorStack().size(), 1u);
    EXPECT_EQ(wb.errorStack()[0].status, 919400);
}

TEST_F(ErrorStack, RefusesAMarkThatIsNotSet) {
    EXPECT_EQ(ERR_clear_protect_mark(4711), kBadMark);
}

TEST_F(ErrorStack, IsNotHandedOutInPartWithoutMemory) {
    ERR_store_error(ERR_severity_error, 919400);
    for (std::size_t allowed = 0; allowed < 3; ++allowed) {
        wb.failHeapAfter(allowed);
        int count = -1;
        int* numbers = nullptr;
        char** texts = nullptr;
        EXPECT_EQ(ERR_ask_stack(&count, &numbers, &texts), kNoMemory) << allowed;
        EXPECT_EQ(count, -1);
        EXPECT_EQ(blocks(), 0u);
    }
}

class Heap : public InterfaceTest {};

TEST_F(Heap, CountsItsBlocks) {
    void* block = HEAP_alloc(10);
    void* empty = HEAP_alloc(0);
    ASSERT_NE(block, nullptr);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(blocks(), 2u);
    std::memcpy(block, "123456789", 10);
    block = HEAP_realloc(block, 10000);
    EXPECT_STREQ(static_cast<char*>(block), "123456789");
    EXPECT_EQ(blocks(), 2u);
    HEAP_free(block);
    HEAP_free(empty);
    HEAP_free(nullptr);
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Heap, LeavesTheOldBlockWhenItRunsDry) {
    void* block = HEAP_realloc(nullptr, 4);
    std::memcpy(block, "abc", 4);
    wb.failHeapAfter(0);
    EXPECT_EQ(HEAP_alloc(1), nullptr);
    EXPECT_EQ(HEAP_realloc(block, 100), nullptr);
    EXPECT_STREQ(static_cast<char*>(block), "abc");
    HEAP_free(block);
}

TEST_F(Heap, FreesStringsUpToTheNullEntry) {
    char** strings = static_cast<char**>(HEAP_alloc(3 * sizeof(char*)));
    strings[0] = static_cast<char*>(HEAP_alloc(1));
    strings[1] = static_cast<char*>(HEAP_alloc(1));
    strings[2] = nullptr;
    MV_free_strings(strings);
    MV_free_strings(nullptr);
    EXPECT_EQ(blocks(), 0u);
}

}  // namespace mervane::test
