// Every platform call of an upload fails once.

#include "platform/mv_obj.h"
#include "tests/bom/upload.h"
#include "tests/status/failing_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::World;

TEST(UploadFailing, OfANewDatasetReturnsTheFirstFailureAndMayLeaveTheLock) {
    FailingRun test{[](World&) { return tag_t{NULLTAG}; },
                    [](World&, tag_t) {
                        tag_t made = NULLTAG;
                        return bom::upload(bom::fileWith("new"), NULLTAG, &made);
                    },
                    [](World& world, tag_t, int call) {
                        SCOPED_TRACE(call);
                        // From the lock to the call that releases it.
                        EXPECT_EQ(call >= 12 && call <= 14 ? 1u : 0u, world.bench.heldLocks());
                        const bool succeeded = call == 0 || call == 3;
                        EXPECT_EQ(succeeded || call >= 14 ? 1 : 0, world.count("Dataset"));
                        EXPECT_EQ(succeeded || call >= 9 ? 1 : 0, world.count("VaneFile"));
                        // The name of the one format, if it was asked for.
                        EXPECT_EQ(call >= 1 && call <= 3 ? 0u : 1u, world.newBlocks());
                    }};
    expectEachFailure(
        test, {// Without type or tool a later call refuses; without formats none is set.
               "!DST_find_datasettype", "!DST_ask_datasettype_def_tool",
               "~DST_ask_tool_output_formats", "DST_create_dataset_with_id", "DST_set_dataset_tool",
               "DST_set_dataset_format", "FIL_import_file", "OBJ_save", "OBJ_refresh", "OBJ_load",
               "OBJ_refresh", "DST_add_dataset_named_ref", "OBJ_save", "OBJ_refresh",
               "DST_ask_dataset", "~DST_exit_module"});
}

TEST(UploadFailing, IntoADatasetReturnsTheFirstFailureAndMayLeaveTheLock) {
    FailingRun test{[](World& world) {
                        const tag_t dataset = world.dataset("Log");
                        world.bench.addFile(dataset, "Text", bom::fileWith("old", "old.log"),
                                            "old.log");
                        return dataset;
                    },
                    [](World&, tag_t dataset) {
                        tag_t result = NULLTAG;
                        const int status = bom::upload(bom::fileWith("new"), dataset, &result);
                        EXPECT_EQ(result, status == 0 ? dataset : result);
                        return status;
                    },
                    [](World& world, tag_t dataset, int call) {
                        SCOPED_TRACE(call);
                        EXPECT_EQ(call >= 12 && call <= 16 ? 1u : 0u, world.bench.heldLocks());
                        EXPECT_EQ(call >= 12 && call <= 16, world.locked(dataset));
                        const std::size_t format = call >= 1 && call <= 3 ? 0 : 1;
                        // The list of references stays when the old file's name can't be read.
                        EXPECT_EQ(format + (call == 13 ? 1 : 0), world.newBlocks());
                        EXPECT_EQ(1, world.count("Dataset"));
                    }};
    expectEachFailure(test, {"~DST_find_datasettype", "~DST_ask_datasettype_def_tool",
                             "~DST_ask_tool_output_formats", "DST_ask_dataset_anchor",
                             "DST_count_anchor_revisions", "DST_ask_anchor_revision",
                             "FIL_import_file", "OBJ_save", "OBJ_refresh", "OBJ_load",
                             "OBJ_refresh", "DST_ask_all_dataset_named_refs",
                             "FIL_ask_original_file_name", "DST_replace_dataset_named_ref",
                             "OBJ_save", "OBJ_refresh", "DST_ask_dataset", "~DST_exit_module"});
}

TEST(UploadFailing, LeavesTheOldFileUntilTheDatasetIsSaved) {
    World world;
    const tag_t dataset = world.dataset("Log");
    world.bench.addFile(dataset, "Text", bom::fileWith("old", "old.log"), "old.log");
    world.fail("OBJ_save", 2);
    EXPECT_EQ(world::kPlanned, bom::upload(bom::fileWith("new"), dataset));
    EXPECT_EQ(1u, world.storedTags(dataset, "ref_list").size());
    const tag_t stored = world.storedTags(dataset, "ref_list").at(0);
    EXPECT_EQ("old.log", world.storedText(stored, "original_file_name"));
    EXPECT_TRUE(world.locked(dataset));
}

TEST(UploadFailing, OfTheVersionSearchGivesNoDataset) {
    for (const char* operation : {"DST_ask_dataset_anchor", "DST_count_anchor_revisions",
                                  "DST_ask_anchor_revision", "DST_ask_dataset"}) {
        World world;
        const tag_t dataset = world.dataset("Log");
        world.fail(operation);
        tag_t result = 77;
        EXPECT_EQ(world::kPlanned, bom::upload(bom::fileWith("new"), dataset, &result));
        EXPECT_EQ(NULLTAG, result) << operation;
    }
}

TEST(UploadFailing, IntoALockedDatasetIsRefused) {
    World world;
    const tag_t dataset = world.dataset("Log");
    world.as(world.otherUser("other"), [&] { EXPECT_EQ(0, OBJ_lock(dataset)); });
    EXPECT_NE(0, bom::upload(bom::fileWith("new"), dataset));
    EXPECT_THAT(bom::contents(dataset), IsEmpty());
    EXPECT_THAT(world.lines("E"), testing::Contains(testing::HasSubstr("OBJ_refresh(...)")));
}
