#include "workbench/store/tag_ranges.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

using mervane::TagRanges;

TEST(TagRanges, HasWhatWasAddedAndNothingElse) {
    std::minstd_rand random(1);
    for (int round = 0; round < 200; ++round) {
        TagRanges all, more;
        std::set<tag_t> wanted;
        for (int i = 0; i < 60; ++i) {
            const tag_t tag = 1 + static_cast<tag_t>(random() % 90);
            (i % 3 == 0 ? more : all).add(tag);
            wanted.insert(tag);
        }
        all.add(more);
        for (tag_t tag = 0; tag < 100; ++tag)
            ASSERT_EQ(all.contains(tag), wanted.contains(tag)) << round << ": " << tag;
    }
}

TEST(TagRanges, EndsAtTheHighestTag) {
    constexpr tag_t kHighest = 2147483647;
    TagRanges ranges;
    ranges.add(kHighest - 1);
    ranges.add(kHighest);
    EXPECT_TRUE(ranges.contains(kHighest));
    EXPECT_FALSE(ranges.contains(kHighest + 1));
    EXPECT_FALSE(ranges.contains(kHighest - 2));
}
