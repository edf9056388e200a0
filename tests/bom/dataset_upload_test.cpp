// A file becomes the content of a dataset.

#include "tests/bom/upload.h"

using bom::upload;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class DatasetUpload : public testing::Test {
protected:
    world::World world;
    const std::string path = bom::fileWith("first\n");
};

std::vector<std::string> errors(world::World& world) {
    return world.lines("E");
}

}  // namespace

TEST_F(DatasetUpload, MakesADatasetThatHoldsTheFile) {
    tag_t made = NULLTAG;
    EXPECT_EQ(0, upload(path, NULLTAG, &made));
    EXPECT_THAT(bom::contents(made), ElementsAre("first\n"));
    EXPECT_EQ("Log", world.storedText(made, "object_name"));
    EXPECT_EQ("About", world.storedText(made, "object_desc"));
    EXPECT_EQ("TextEditor", world.storedText(made, "tool"));
    EXPECT_EQ("TEXT", world.storedText(made, "format"));
    EXPECT_EQ(1u, bom::versions(made).size());
    const tag_t file = bom::namedReferences(made).at(0);
    EXPECT_EQ("protocol.log", world.storedText(file, "original_file_name"));
    EXPECT_EQ(mervane::Values{std::int64_t{4096}}, world.stored(file, "file_type"));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(DatasetUpload, MakesItInThisOrder) {
    EXPECT_THAT(
        world.calls([&] { upload(path, NULLTAG); }),
        ElementsAre("DST_find_datasettype(Text)", "DST_ask_datasettype_def_tool()",
                    "DST_ask_tool_output_formats()",
                    "DST_create_dataset_with_id(Log, About, null, null)", "DST_set_dataset_tool(?)",
                    "DST_set_dataset_format(?, TEXT)", "FIL_import_file(" + path + ", null, 4096)",
                    "OBJ_save(?)", "OBJ_refresh(?, false)", "OBJ_load(?)", "OBJ_refresh(?, true)",
                    "DST_add_dataset_named_ref(?, Text, 2, ?)", "OBJ_save(?)",
                    "OBJ_refresh(?, false)", "DST_ask_dataset(?)", "DST_exit_module()"));
    // Of the tool's formats only the list is given back.
    EXPECT_EQ(1u, world.newBlocks());
}

TEST_F(DatasetUpload, ReplacesTheFileInTheNewestVersionOfADataset) {
    tag_t made = NULLTAG, again = NULLTAG;
    EXPECT_EQ(0, upload(path, NULLTAG, &made));
    bom::fileWith("second\n");
    EXPECT_EQ(0, upload(path, made, &again));
    EXPECT_EQ(made, again);
    EXPECT_THAT(bom::contents(made), ElementsAre("second\n"));
    EXPECT_EQ(1u, bom::versions(made).size());
    EXPECT_EQ(1, world.count("Dataset"));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(DatasetUpload, ReplacesItInThisOrder) {
    tag_t made = NULLTAG;
    EXPECT_EQ(0, upload(path, NULLTAG, &made));
    world.name(made, "dataset");
    world.name(bom::namedReferences(made).at(0), "old");
    EXPECT_THAT(
        world.calls([&] { upload(path, made); }),
        ElementsAre(
            "DST_find_datasettype(Text)", "DST_ask_datasettype_def_tool()",
            "DST_ask_tool_output_formats()", "DST_ask_dataset_anchor(dataset)",
            "DST_count_anchor_revisions(?)", "DST_ask_anchor_revision(?, 0)",
            "FIL_import_file(" + path + ", null, 4096)", "OBJ_save(?)", "OBJ_refresh(?, false)",
            "OBJ_load(dataset)", "OBJ_refresh(dataset, true)",
            "DST_ask_all_dataset_named_refs(dataset, Text)", "FIL_ask_original_file_name(old)",
            "DST_replace_dataset_named_ref(dataset, old, Text, 2, ?)", "OBJ_save(dataset)",
            "OBJ_refresh(dataset, false)", "DST_ask_dataset(dataset)", "DST_exit_module()"));
    EXPECT_EQ(2u, world.newBlocks()) << "the name of the format of both runs";
}

TEST_F(DatasetUpload, OfSeveralVersionsTheNewestIsWrittenAndTheOthersStay) {
    tag_t first = NULLTAG, result = NULLTAG;
    EXPECT_EQ(0, upload(path, NULLTAG, &first));
    const tag_t newest = world.bench.createDatasetVersion(first);
    bom::fileWith("second\n");
    EXPECT_EQ(0, upload(path, first, &result));
    EXPECT_EQ(newest, result);
    EXPECT_THAT(bom::contents(newest), ElementsAre("second\n"));
    EXPECT_THAT(bom::contents(first), ElementsAre("first\n"));
    EXPECT_THAT(bom::versions(first), ElementsAre(first, newest));
}

TEST_F(DatasetUpload, ADatasetWithoutAFileIsAskedToReplaceNone) {
    const tag_t empty = world.dataset("Log");
    world.name(empty, "dataset");
    EXPECT_THAT(
        world.calls([&] { EXPECT_EQ(0, upload(path, empty)); }),
        testing::AllOf(testing::Contains("DST_replace_dataset_named_ref(dataset, ?, Text, 2, ?)"),
                       testing::Not(testing::Contains(StartsWith("FIL_ask_original_file_name")))));
    EXPECT_THAT(bom::contents(empty), ElementsAre("first\n"));
}

TEST_F(DatasetUpload, OfSeveralFilesTheFirstIsReplaced) {
    const tag_t dataset = world.dataset("Log");
    world.bench.addFile(dataset, "Text", bom::fileWith("one", "1.txt"), "1.txt");
    world.bench.addFile(dataset, "Text", bom::fileWith("two", "2.txt"), "2.txt");
    EXPECT_EQ(0, upload(path, dataset));
    EXPECT_THAT(bom::contents(dataset), ElementsAre("first\n", "two"));
}

TEST_F(DatasetUpload, OfAnUnknownTypeFailsAndMakesNothing) {
    tag_t result = 77;
    EXPECT_NE(0, upload(path, NULLTAG, &result, "NoSuchType"));
    EXPECT_EQ(NULLTAG, result);
    EXPECT_EQ(0, world.count("Dataset"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(DatasetUpload, OfAFileThatIsNotThereLeavesNothingStored) {
    tag_t result = NULLTAG;
    EXPECT_NE(0, upload((bom::scratch() / "none.log").string(), NULLTAG, &result));
    EXPECT_NE(NULLTAG, result) << "as far as it came";
    EXPECT_EQ(0, world.count("Dataset"));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_THAT(errors(world), testing::Contains(testing::HasSubstr("FIL_import_file(...)")));
}

TEST_F(DatasetUpload, TracesThePathOfItsFile) {
    upload(path, NULLTAG);
    EXPECT_THAT(world.lines("T"),
                testing::Contains("->int NewDatasetOperation::importFile(" + path + ")"));
}

TEST_F(DatasetUpload, KnowsWhetherItHasADataset) {
    const NewDatasetOperation none("Log", "", "Text", "Text", 4096, "", NULLTAG);
    EXPECT_FALSE(const_cast<NewDatasetOperation&>(none).existsDataset());
    NewDatasetOperation one("Log", "", "Text", "Text", 4096, "", 5);
    EXPECT_TRUE(one.existsDataset());
    EXPECT_EQ(1, one.m_iCountToolFormat);
    EXPECT_STREQ("TEXT", one.m_acToolOutputFormats[0]);
}

TEST_F(DatasetUpload, ATypeWithoutFormatsSetsNone) {
    world.bench.defineDatasetType("Plain", "PlainTool", {}, {"Text"});
    tag_t made = NULLTAG;
    const auto calls = world.calls([&] { EXPECT_EQ(0, upload(path, NULLTAG, &made, "Plain")); });
    EXPECT_THAT(calls, testing::Not(testing::Contains(StartsWith("DST_set_dataset_format"))));
    EXPECT_EQ("PlainTool", world.storedText(made, "tool"));
    EXPECT_EQ("", world.storedText(made, "format"));
}

TEST_F(DatasetUpload, CutsLongTextsWithAWarningButNeverAPath) {
    const std::string text(300, 'n'), long_path = (bom::scratch() / std::string(300, 'p')).string();
    const NewDatasetOperation operation(text.c_str(), text.c_str(), text.c_str(), text.c_str(),
                                        4096, long_path.c_str(), NULLTAG);
    EXPECT_EQ(std::string(239, 'n'), operation.m_sDatasetName);
    EXPECT_EQ(std::string(239, 'n'), operation.m_sDatasetDescr);
    EXPECT_EQ(std::string(239, 'n'), operation.m_sReferenceName);
    EXPECT_STREQ("", operation.m_sPathFileName);
    EXPECT_THAT(world.lines("W"), testing::Each(StartsWith("Text cut to 239 characters: ")));
    EXPECT_GE(world.lines("W").size(), 3u);
    const std::string fits(259, 'p');
    const NewDatasetOperation longest("n", "n", "Text", "Text", 4096, fits.c_str(), NULLTAG);
    EXPECT_EQ(fits, longest.m_sPathFileName);
    EXPECT_NE(0, upload(long_path, NULLTAG)) << "a path that doesn't fit can't be imported";
    EXPECT_EQ(0, world.count("Dataset"));
}

TEST_F(DatasetUpload, NullTextsAreEmpty) {
    const NewDatasetOperation operation(nullptr, nullptr, nullptr, nullptr, 4096, nullptr, NULLTAG);
    EXPECT_STREQ("", operation.m_sDatasetName);
    EXPECT_STREQ("", operation.m_sPathFileName);
    EXPECT_THAT(world.lines("W"), IsEmpty());
}
