#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

class Datasets : public StructureTest {
protected:
    tag_t type(const char* name) {
        tag_t found = NULLTAG;
        EXPECT_EQ(0, DST_find_datasettype(name, &found));
        return found;
    }
    Tags find(const char* name) {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(0, DST_find_all_datasets(name, &count, &list));
        return taken(count, list);
    }
    tag_t latest(tag_t dataset) {
        tag_t found = NULLTAG;
        EXPECT_EQ(0, DST_ask_dataset(dataset, &found));
        return found;
    }
};

TEST_F(Datasets, ATypeIsFoundByNameAndSaysItsName) {
    char name[129];
    ASSERT_NE(NULLTAG, type("Text"));
    ASSERT_EQ(0, DST_ask_datasettype_name(type("Text"), name));
    EXPECT_STREQ("Text", name);
}

TEST_F(Datasets, AnUnknownNameOrANameOfAnotherTypeFindsNoDatasetType) {
    EXPECT_EQ(NULLTAG, type("Poem"));
    EXPECT_EQ(NULLTAG, type("Item"));
    tag_t tool = 7;
    EXPECT_NE(0, DST_ask_datasettype_def_tool(NULLTAG, &tool));
    EXPECT_EQ(7u, tool);
    char name[129] = "before";
    EXPECT_EQ(kUnknownType, DST_ask_datasettype_name(12345, name));
    EXPECT_STREQ("before", name);
}

TEST_F(Datasets, TheDefaultToolOffersItsFormats) {
    bench_.defineDatasetType("Plan", "PlanEditor", {"DWG", "SVG"}, {"Plan"});
    tag_t tool = NULLTAG;
    ASSERT_EQ(0, DST_ask_datasettype_def_tool(type("Plan"), &tool));
    int count = 0;
    char** formats = nullptr;
    ASSERT_EQ(0, DST_ask_tool_output_formats(tool, &count, &formats));
    ASSERT_EQ(2, count);
    EXPECT_STREQ("DWG", formats[0]);
    EXPECT_STREQ("SVG", formats[1]);
    EXPECT_EQ(nullptr, formats[2]);
    MV_free_strings(formats);
    EXPECT_NE(0, DST_ask_tool_output_formats(type("Plan"), &count, &formats));
}

TEST_F(Datasets, ANewDatasetIsSetUpWithoutALockAndSeenByOthersOnceItIsSaved) {
    tag_t tool = NULLTAG, dataset = NULLTAG;
    ASSERT_EQ(0, DST_ask_datasettype_def_tool(type("Text"), &tool));
    ASSERT_EQ(0, DST_create_dataset_with_id(type("Text"), "protocol", "of today", nullptr, nullptr,
                                            &dataset));
    ASSERT_EQ(0, DST_set_dataset_tool(dataset, tool));
    ASSERT_EQ(0, DST_set_dataset_format(dataset, "TEXT"));
    ASSERT_EQ(0, OBJ_refresh(dataset, true));
    const auto second = secondSession();
    EXPECT_TRUE(find("protocol").empty());

    bench_.selectSession(session_);
    ASSERT_EQ(0, OBJ_save(dataset));
    ASSERT_EQ(0, OBJ_refresh(dataset, false));

    bench_.selectSession(second);
    ASSERT_EQ(Tags{dataset}, find("protocol"));
    EXPECT_EQ("of today", textOf(dataset, "object_desc"));
    EXPECT_EQ("TEXT", textOf(dataset, "format"));
    tag_t found_type = NULLTAG;
    ASSERT_EQ(0, DST_ask_dataset_datasettype(dataset, &found_type));
    EXPECT_EQ(type("Text"), found_type);
    EXPECT_EQ(dataset, latest(dataset));
    tag_t anchor = NULLTAG;
    int versions = 0;
    ASSERT_EQ(0, DST_ask_dataset_anchor(dataset, &anchor));
    ASSERT_EQ(0, DST_count_anchor_revisions(anchor, &versions));
    EXPECT_EQ(1, versions);
}

TEST_F(Datasets, AFormatThatTheToolDoesNotOfferIsRefused) {
    const tag_t dataset = bench_.createDataset("Text", "letter");
    ASSERT_EQ(0, OBJ_lock(dataset));
    EXPECT_EQ(kBadValue, DST_set_dataset_format(dataset, "MP3"));
    EXPECT_EQ("TEXT", textOf(dataset, "format"));
}

TEST_F(Datasets, ToolAndFormatOfAStoredDatasetNeedTheLock) {
    const tag_t dataset = bench_.createDataset("Text", "letter");
    tag_t tool = NULLTAG;
    ASSERT_EQ(0, DST_ask_datasettype_def_tool(type("Text"), &tool));
    EXPECT_EQ(kNotLocked, DST_set_dataset_tool(dataset, tool));
    EXPECT_EQ(kNotLocked, DST_set_dataset_format(dataset, "TEXT"));
}

TEST_F(Datasets, SaveMyselfStoresADatasetKeepsItsLockAndTakesNothingElse) {
    const tag_t dataset = bench_.createDataset("Text", "letter");
    ASSERT_EQ(0, OBJ_refresh(dataset, true));
    ASSERT_EQ(0, ENT_set_name(dataset, "reply"));
    ASSERT_EQ(0, DST_save_myself(dataset));
    EXPECT_TRUE(bench_.holdsLock(dataset));
    EXPECT_EQ(kWrongClass, DST_save_myself(revision("1")));
    secondSession();
    EXPECT_EQ(Tags{dataset}, find("reply"));
}

TEST_F(Datasets, VersionsAreListedAtTheAnchorOldestFirst) {
    const tag_t first = bench_.createDataset("Text", "letter");
    const tag_t second = bench_.createDatasetVersion(first);
    const tag_t third = bench_.createDatasetVersion(first);
    tag_t anchor = NULLTAG, found = NULLTAG;
    int versions = 0;
    ASSERT_EQ(0, DST_ask_dataset_anchor(second, &anchor));
    ASSERT_EQ(0, DST_count_anchor_revisions(anchor, &versions));
    EXPECT_EQ(3, versions);
    ASSERT_EQ(0, DST_ask_anchor_revision(anchor, 0, &found));
    EXPECT_EQ(first, found);
    ASSERT_EQ(0, DST_ask_anchor_revision(anchor, 2, &found));
    EXPECT_EQ(third, found);
    EXPECT_EQ(third, latest(first));
    ASSERT_EQ(0, DST_ask_dataset_prev_rev(third, &found));
    EXPECT_EQ(second, found);
    EXPECT_EQ(Tags{third}, find("letter"));
}

TEST_F(Datasets, AnIndexThatNoVersionHasIsRefused) {
    tag_t anchor = NULLTAG, found = 7;
    ASSERT_EQ(0, DST_ask_dataset_anchor(bench_.createDataset("Text", "letter"), &anchor));
    EXPECT_EQ(kBadIndex, DST_ask_anchor_revision(anchor, 1, &found));
    EXPECT_EQ(kBadIndex, DST_ask_anchor_revision(anchor, -1, &found));
    EXPECT_EQ(7u, found);
}

TEST_F(Datasets, BeforeTheFirstVersionIsTheEndOfTheChain) {
    const tag_t first = bench_.createDataset("Text", "letter");
    tag_t found = 7;
    EXPECT_EQ(9112, DST_ask_dataset_prev_rev(first, &found));
    EXPECT_EQ(7u, found);
}

TEST_F(Datasets, WhatShowedTheDatasetShowsItsNewVersion) {
    const tag_t owner = revision("1");
    const tag_t first = bench_.createDataset("Text", "letter");
    const tag_t folder = bench_.createFolder("letters");
    bench_.addToFolder(folder, first);
    const tag_t relation = bench_.relate(owner, first, "VANE_specification");
    const tag_t second = bench_.createDatasetVersion(first);
    EXPECT_EQ(Values{Reference{second}}, bench_.get(folder, "contents"));
    EXPECT_EQ(Values{Reference{second}}, bench_.get(relation, "secondary"));
    tag_t previous = NULLTAG;
    ASSERT_EQ(0, DST_ask_dataset_prev_rev(second, &previous));
    EXPECT_EQ(first, previous);
}

TEST_F(Datasets, OtherObjectsAreNoDatasets) {
    const tag_t other = revision("1");
    tag_t found = 7;
    EXPECT_EQ(kWrongClass, DST_ask_dataset(other, &found));
    EXPECT_EQ(kWrongClass, DST_ask_dataset_anchor(other, &found));
    EXPECT_EQ(kWrongClass, DST_ask_anchor_revision(other, 0, &found));
    EXPECT_EQ(kUnknownObject, DST_ask_dataset(NULLTAG, &found));
    EXPECT_EQ(7u, found);
}

TEST_F(Datasets, LeavingTheModuleIsHarmless) {
    EXPECT_EQ(0, DST_exit_module());
    EXPECT_EQ(0, DST_exit_module());
    EXPECT_NE(NULLTAG, type("Text"));
}

}  // namespace
}  // namespace mervane::test
