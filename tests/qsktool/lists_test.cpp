#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::World;

namespace {

class Lists : public testing::Test {
protected:
    std::vector<std::string> split(const char* text, const char* separators) {
        int count = -1;
        char** items = nullptr;
        EXPECT_EQ(0, KELD_splitItemString(text, separators, &count, &items));
        EXPECT_EQ(count == 0, items == nullptr);
        std::vector<std::string> found;
        for (int i = 0; i < count; ++i)
            found.emplace_back(items[i]);
        if (items != nullptr) {
            EXPECT_EQ(nullptr, items[count]);
            for (int i = 0; i < count; ++i)
                HEAP_free(items[i]);
            HEAP_free(items);
        }
        EXPECT_EQ(0u, world.newBlocks());
        return found;
    }

    World world;
};

}  // namespace

TEST_F(Lists, ATextIsSplitAtEachSeparator) {
    EXPECT_THAT(split("a;b;c", ";"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(split("a,b;c", ";,"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(split("a b", ";"), ElementsAre("a b"));
    EXPECT_THAT(split("a;b", ""), ElementsAre("a;b"));
    EXPECT_THAT(split("a;b", nullptr), ElementsAre("a;b"));
}

TEST_F(Lists, AnEmptyEntryCountsBeforeASeparatorButNotAfterTheLast) {
    EXPECT_THAT(split("", ";"), IsEmpty());
    EXPECT_THAT(split(nullptr, ";"), IsEmpty());
    EXPECT_THAT(split(";", ";"), ElementsAre(""));
    EXPECT_THAT(split("a;", ";"), ElementsAre("a"));
    EXPECT_THAT(split(";a;;b;", ";"), ElementsAre("", "a", "", "b"));
}

TEST_F(Lists, ALongTextIsSplitWhole) {
    const std::string entry(5000, 'x');
    EXPECT_THAT(split((entry + ";" + entry).c_str(), ";"), ElementsAre(entry, entry));
}

TEST_F(Lists, TheStringsAreGivenBackTogetherToo) {
    int count = 0;
    char** items = nullptr;
    ASSERT_EQ(0, KELD_splitItemString("a;b", ";", &count, &items));
    MV_free_strings(items);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Lists, WithoutMemoryNothingIsHandedOutOrKept) {
    for (std::size_t allocations = 0; allocations < 4; ++allocations) {
        int count = 99;
        char** items = nullptr;
        world.bench.failHeapAfter(allocations);
        EXPECT_NE(0, KELD_splitItemString("a;b;c", ";", &count, &items)) << allocations;
        world.bench.failHeapAfter({});
        EXPECT_EQ(99, count);
        EXPECT_EQ(nullptr, items);
        EXPECT_EQ(0u, world.newBlocks());
    }
    int count = 0;
    EXPECT_NE(0, KELD_splitItemString("a", ";", &count, nullptr));
    EXPECT_NE(0, KELD_splitItemString("a", ";", nullptr, nullptr));
}

TEST_F(Lists, ATagIsLookedForInAnArray) {
    const tag_t tags[] = {3, 1, 2};
    logical found = false;
    EXPECT_EQ(0, KELD_searchElementInArray(2, tags, 3, &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(0, KELD_searchElementInArray(2, tags, 2, &found));
    EXPECT_FALSE(found);
    found = true;
    EXPECT_EQ(0, KELD_searchElementInArray(2, nullptr, 3, &found));
    EXPECT_FALSE(found);
    EXPECT_NE(0, KELD_searchElementInArray(2, tags, 3, nullptr));
}
