// A dataset is found by its name and exactly its type.

#include "tests/bom/upload.h"
#include "tests/status/failing_calls.h"

using testing::ElementsAre;
using world::World;

namespace {

class FindDataset : public testing::Test {
protected:
    tag_t find(const char* type, const char* name, int status = 0) {
        tag_t found = 77;
        EXPECT_EQ(status, ACDatasetUtil::findDataset(type, name, &found));
        return found;
    }
    World world;
};

}  // namespace

TEST_F(FindDataset, GivesTheOneOfTheNameAndType) {
    const tag_t dataset = world.dataset("Log");
    world.dataset("Log2");
    EXPECT_EQ(dataset, find("Text", "Log"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(FindDataset, GivesNoneOfAnotherNameOrType) {
    world.dataset("Log", "PDF");
    EXPECT_EQ(NULLTAG, find("Text", "Log"));
    EXPECT_EQ(NULLTAG, find("Text", "Log2"));
    EXPECT_EQ(NULLTAG, find("pdf", "Log")) << "with case";
    EXPECT_EQ(NULLTAG, find("PD", "Log")) << "whole";
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(FindDataset, PassesOverOtherTypesOfTheName) {
    world.dataset("Log", "PDF");
    const tag_t text = world.dataset("Log");
    EXPECT_EQ(text, find("Text", "Log"));
}

TEST_F(FindDataset, OfSeveralGivesTheFirstOfThePlatformsList) {
    world.dataset("Log", "PDF");
    const tag_t first = world.dataset("Log");
    world.dataset("Log");
    EXPECT_EQ(first, find("Text", "Log"));
}

TEST_F(FindDataset, StopsAtTheFirstOfItsType) {
    world.name(world.dataset("Log", "PDF"), "pdf");
    world.name(world.dataset("Log"), "text");
    world.dataset("Log");
    EXPECT_THAT(world.calls([&] { find("Text", "Log"); }),
                ElementsAre("DST_find_all_datasets(Log)", "DST_ask_dataset_datasettype(pdf)",
                            "DST_ask_datasettype_name()", "DST_ask_dataset_datasettype(text)",
                            "DST_ask_datasettype_name()", "DST_ask_dataset(text)"));
}

TEST_F(FindDataset, GivesTheNewestVersion) {
    const tag_t first = world.dataset("Log");
    const tag_t newest = world.bench.createDatasetVersion(first);
    EXPECT_EQ(newest, find("Text", "Log"));
}

TEST_F(FindDataset, NullNamesAreNoneAndNoCrash) {
    tag_t found = 77;
    (void)ACDatasetUtil::findDataset(nullptr, "Log", &found);
    EXPECT_EQ(NULLTAG, found);
    (void)ACDatasetUtil::findDataset("Text", nullptr, &found);
    EXPECT_EQ(NULLTAG, found);
}

TEST(FindDatasetFailing, EveryFailureIsReturnedAndLeavesTheListAllocated) {
    world::FailingRun test{
        [](World& world) { return world.dataset("Log"); },
        [](World&, tag_t dataset) {
            tag_t found = 77;
            const int status = ACDatasetUtil::findDataset("Text", "Log", &found);
            EXPECT_EQ(status == 0 ? dataset : NULLTAG, found);
            return status;
        },
        [](World& world, tag_t, int call) { EXPECT_EQ(call >= 2 ? 1u : 0u, world.newBlocks()); }};
    expectEachFailure(test, {"DST_find_all_datasets", "DST_ask_dataset_datasettype",
                             "DST_ask_datasettype_name", "DST_ask_dataset"});
}
