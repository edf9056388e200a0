// This program answers the search for a dataset's older version itself: the same version again is
// the end of the chain.

#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "tests/rename/rename_world.h"

using testing::IsEmpty;

static int asked = 0;
static int answer = 0;

extern "C" KELD_EXPORT int DST_ask_dataset_prev_rev(tag_t dataset, tag_t* previous) {
    ++asked;
    if (answer == 0)
        *previous = dataset;
    else
        ERR_store_error(3, answer);
    return answer;
}

namespace {

class OwnVersions : public world::RenameTest {
protected:
    OwnVersions() {
        const world::ItemTags made = world.item("ABC");
        plan = world.specification(made.revision, "plan ABC");
        newer = world.bench.createDatasetVersion(plan);
        asked = 0;
    }
    int run() { return KELD_BatchReName("ABC", nullptr, "XYZ", nullptr, "", ""); }
    tag_t plan = NULLTAG, newer = NULLTAG;
};

}  // namespace

TEST_F(OwnVersions, TheSameVersionBackEndsTheChain) {
    answer = 0;
    ERR_store_error(3, 1234);
    EXPECT_EQ(0, run());
    EXPECT_EQ(1, asked);
    EXPECT_EQ("plan XYZ", world.storedText(newer, "object_name"));
    EXPECT_EQ("plan ABC", world.storedText(plan, "object_name"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_THAT(world::tracesWith(world, "tPreviousDatasetRev="),
                testing::ElementsAre("tPreviousDatasetRev=" + std::to_string(newer)));
}

TEST_F(OwnVersions, TheEndsNumberIsNoFailureAndLeavesNothingOnTheErrorStack) {
    answer = 9112;
    EXPECT_EQ(0, run());
    EXPECT_EQ(1, asked);
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(OwnVersions, AnyOtherNumberIsReturned) {
    answer = 4711;
    EXPECT_EQ(4711, run());
}
