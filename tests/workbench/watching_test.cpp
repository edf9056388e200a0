#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Watching : public ::testing::Test {
protected:
    void SetUp() override {
        store_ = keld_test::openFreshStore();
        bench().openSession(store_, {});
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        ERR_clear_errors();
    }
    void TearDown() override {
        bench().setFaults({});
        bench().failHeapAfter(std::nullopt);
        bench().closeStore(store_);
    }
    Workbench::StoreId store_ = 0;
    tag_t item_ = NULLTAG;
};

TEST_F(Watching, ThePlannedCallOfAnOperationFailsAndDoesNothing) {
    bench().setFaults({{"OBJ_refresh", 2, 4711}});
    EXPECT_EQ(OBJ_refresh(item_, false), 0);
    EXPECT_EQ(OBJ_refresh(item_, true), 4711);
    EXPECT_EQ(bench().heldLocks(), 0u);
    EXPECT_EQ(OBJ_refresh(item_, true), 0);
}

TEST_F(Watching, ThePlannedCallOfAllFails) {
    bench().setFaults({{"", 2, 4711}});
    EXPECT_EQ(OBJ_load(item_), 0);
    EXPECT_EQ(OBJ_refresh(item_, false), 4711);
    EXPECT_EQ(OBJ_refresh(item_, false), 0);
}

TEST_F(Watching, EveryCallOfAnOperationFails) {
    bench().setFaults({{"OBJ_save", 0, 5}});
    EXPECT_EQ(OBJ_save(item_), 5);
    EXPECT_EQ(OBJ_save(item_), 5);
    bench().setFaults({});
    EXPECT_EQ(OBJ_save(item_), 0);
}

TEST_F(Watching, ThePlannedCallAndEveryLaterOneFail) {
    bench().setFaults({{"OBJ_lock", 2, 5, true}});
    EXPECT_EQ(OBJ_lock(item_), 0);
    EXPECT_EQ(OBJ_lock(item_), 5);
    EXPECT_EQ(OBJ_load(item_), 0);
    EXPECT_EQ(OBJ_lock(item_), 5);
    bench().setFaults({{"", 2, 6, true}});
    EXPECT_EQ(OBJ_lock(item_), 0);
    EXPECT_EQ(OBJ_load(item_), 6);
    EXPECT_EQ(OBJ_lock(item_), 6);
}

TEST_F(Watching, APlannedFailureLeavesOutParametersAlone) {
    bench().setFaults({{"OBJ_ask_if_modifiable", 1, 5}});
    logical value = true;
    EXPECT_EQ(OBJ_ask_if_modifiable(NULLTAG, &value), 5);
    EXPECT_TRUE(value);
}

TEST_F(Watching, FailuresAreOnTheErrorStackWithTheirText) {
    EXPECT_EQ(OBJ_load(item_ + 5000), kUnknownObject);
    ASSERT_EQ(bench().errorStack().size(), 1u);
    EXPECT_EQ(bench().errorStack()[0].status, kUnknownObject);
    EXPECT_NE(bench().errorStack()[0].text.find("#" + std::to_string(item_ + 5000)),
              std::string::npos);
    ERR_clear_errors();
    EXPECT_TRUE(bench().errorStack().empty());
}

TEST_F(Watching, WhatFailsInsideAProtectMarkLeavesTheStackWithTheMark) {
    ERR_store_error(ERR_severity_error, 919342);
    int mark = 0;
    ASSERT_EQ(ERR_set_protect_mark(&mark), 0);
    EXPECT_GT(mark, 0);
    OBJ_load(NULLTAG);
    EXPECT_EQ(bench().errorStack().size(), 2u);
    ASSERT_EQ(ERR_clear_protect_mark(mark), 0);
    ASSERT_EQ(bench().errorStack().size(), 1u);
    EXPECT_EQ(bench().errorStack()[0].status, 919342);
    EXPECT_EQ(ERR_clear_protect_mark(mark), kBadMark);
}

TEST_F(Watching, TheHeapCountsItsLiveBlocks) {
    const std::size_t before = bench().liveHeapBlocks();
    char* text = nullptr;
    ASSERT_EQ(OBJ_ask_value_string(item_, "object_name", &text), 0);
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(bench().liveHeapBlocks(), before + 1);
    HEAP_free(text);
    HEAP_free(nullptr);
    EXPECT_EQ(bench().liveHeapBlocks(), before);
}

TEST_F(Watching, AHeapThatRunsDryIsAStatusAndLeavesNothingAllocated) {
    const std::size_t before = bench().liveHeapBlocks();
    bench().failHeapAfter(0);
    char* text = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(item_, "object_name", &text), kNoMemory);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(HEAP_alloc(1), nullptr);
    void* block = nullptr;
    bench().failHeapAfter(1);
    ASSERT_NE(block = HEAP_alloc(10), nullptr);
    EXPECT_EQ(HEAP_realloc(block, 20), nullptr) << "the old block stays";
    HEAP_free(block);
    EXPECT_EQ(bench().liveHeapBlocks(), before);
}

TEST_F(Watching, WithoutASessionEveryOperationGivesAStatus) {
    bench().closeSession(bench().currentSession());
    EXPECT_EQ(OBJ_load(item_), kNoSession);
    EXPECT_EQ(OBJ_load(NULLTAG), kNoSession);
    EXPECT_EQ(statusOf([] { bench().createFolder("x"); }), kNoSession);
}

TEST_F(Watching, EveryKnownStatusHasAText) {
    for (const int number : bench().messageNumbers())
        EXPECT_FALSE(bench().messageText(number).empty()) << number;
    for (int status = kNoSession; status <= kInternal; ++status)
        EXPECT_FALSE(bench().messageText(status).empty()) << status;
    EXPECT_TRUE(bench().messageText(123456).empty());
}
