#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

// Every pointer null in turn, the other arguments good: a status, never a crash.
class NullArguments : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        dataset_ = bench_.createDataset("Text", "letter");
        file_ = bench_.addFile(dataset_, "Text", file("a.txt", "x"), "");
        EXPECT_EQ(0, DST_ask_dataset_anchor(dataset_, &anchor_));
        EXPECT_EQ(0, DST_find_datasettype("Text", &type_));
        EXPECT_EQ(0, DST_ask_datasettype_def_tool(type_, &tool_));
        top_ = revision("1");
        bench_.addOccurrence(top_, revision("2"), "1", "10");
        view_ = bench_.bomViewRevision(top_);
        line_ = bench_.openBomWindow(top_);
        template_ = bench_.createProcessTemplate("Release", {"Check"});
        EXPECT_EQ(0, OBJ_refresh(dataset_, true));
        EXPECT_EQ(0, OBJ_refresh(file_, true));
    }
    tag_t dataset_, file_, anchor_, type_, tool_, top_, view_, line_, template_;
    int count_ = 5;
    tag_t tag_ = 7;
    tag_t* list_ = &tag_;
    char buffer_[133] = "before";
};

TEST_F(NullArguments, OfDatasets) {
    int kind = 0;
    char** texts = nullptr;
    EXPECT_EQ(kNullArgument, DST_find_datasettype(nullptr, &tag_));
    EXPECT_EQ(kNullArgument, DST_find_datasettype("Text", nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_datasettype_name(type_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_datasettype_def_tool(type_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_tool_output_formats(tool_, nullptr, &texts));
    EXPECT_EQ(kNullArgument, DST_ask_tool_output_formats(tool_, &count_, nullptr));
    EXPECT_EQ(kNullArgument, DST_find_all_datasets(nullptr, &count_, &list_));
    EXPECT_EQ(kNullArgument, DST_find_all_datasets("letter", nullptr, &list_));
    EXPECT_EQ(kNullArgument, DST_find_all_datasets("letter", &count_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_dataset(dataset_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_dataset_datasettype(dataset_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_dataset_anchor(dataset_, nullptr));
    EXPECT_EQ(kNullArgument, DST_count_anchor_revisions(anchor_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_anchor_revision(anchor_, 0, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_dataset_prev_rev(dataset_, nullptr));
    EXPECT_EQ(kNullArgument,
              DST_create_dataset_with_id(type_, nullptr, "", nullptr, nullptr, &tag_));
    EXPECT_EQ(kNullArgument,
              DST_create_dataset_with_id(type_, "n", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(kNullArgument, DST_set_dataset_format(dataset_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_dataset_ref_count(dataset_, nullptr));
    EXPECT_EQ(kNullArgument, DST_find_dataset_named_ref(dataset_, 0, nullptr, &kind, &tag_));
    EXPECT_EQ(kNullArgument, DST_find_dataset_named_ref(dataset_, 0, buffer_, nullptr, &tag_));
    EXPECT_EQ(kNullArgument, DST_find_dataset_named_ref(dataset_, 0, buffer_, &kind, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_dataset_named_refs(dataset_, nullptr, &list_));
    EXPECT_EQ(kNullArgument, DST_ask_dataset_named_refs(dataset_, &count_, nullptr));
    EXPECT_EQ(kNullArgument, DST_ask_all_dataset_named_refs(dataset_, nullptr, &count_, &list_));
    EXPECT_EQ(kNullArgument, DST_ask_all_dataset_named_refs(dataset_, "Text", nullptr, &list_));
    EXPECT_EQ(kNullArgument, DST_ask_all_dataset_named_refs(dataset_, "Text", &count_, nullptr));
    EXPECT_EQ(kNullArgument, DST_add_dataset_named_ref(dataset_, nullptr, 2, file_));
    EXPECT_EQ(kNullArgument, DST_replace_dataset_named_ref(dataset_, file_, nullptr, 2, file_));
    EXPECT_EQ(5, count_);
    EXPECT_EQ(7u, tag_);
    EXPECT_EQ(&tag_, list_);
    EXPECT_STREQ("before", buffer_);
}

TEST_F(NullArguments, OfFiles) {
    EXPECT_EQ(kNullArgument, FIL_ask_original_file_name(file_, nullptr));
    EXPECT_EQ(kNullArgument, FIL_set_original_file_name(file_, nullptr));
    EXPECT_EQ(kNullArgument, FIL_export_file(file_, nullptr));
    EXPECT_EQ(kNullArgument, FIL_import_file(nullptr, nullptr, 0, &tag_, &count_));
    const std::string path = file("b.txt", "x");
    EXPECT_EQ(kNullArgument, FIL_import_file(path.c_str(), nullptr, 0, nullptr, &count_));
    EXPECT_EQ(7u, tag_);
    EXPECT_EQ(0, FIL_import_file(path.c_str(), nullptr, 0, &tag_, nullptr));
}

TEST_F(NullArguments, OfStructures) {
    int* levels = nullptr;
    EXPECT_EQ(kNullArgument, STR_list_occurrences_of_bvr(view_, nullptr, &list_));
    EXPECT_EQ(kNullArgument, STR_list_occurrences_of_bvr(view_, &count_, nullptr));
    EXPECT_EQ(kNullArgument, STR_where_used_all(top_, 1, nullptr, &levels, &list_));
    EXPECT_EQ(kNullArgument, STR_where_used_all(top_, 1, &count_, nullptr, &list_));
    EXPECT_EQ(kNullArgument, STR_where_used_all(top_, 1, &count_, &levels, nullptr));
    EXPECT_EQ(kNullArgument, LINE_look_up_attribute(nullptr, &count_));
    EXPECT_EQ(kNullArgument, LINE_look_up_attribute("bl_revision", nullptr));
    EXPECT_EQ(kNullArgument, LINE_ask_attribute_tag(line_, 1, nullptr));
    EXPECT_EQ(kNullArgument, LINE_ask_child_lines(line_, nullptr, &list_));
    EXPECT_EQ(kNullArgument, LINE_ask_child_lines(line_, &count_, nullptr));
    EXPECT_EQ(5, count_);
}

TEST_F(NullArguments, OfWorkflows) {
    const int target = 1;
    EXPECT_EQ(kNullArgument, FLOW_ask_name(top_, nullptr));
    EXPECT_EQ(kNullArgument, FLOW_find_process_template(nullptr, &tag_));
    EXPECT_EQ(kNullArgument, FLOW_find_process_template("Release", nullptr));
    EXPECT_EQ(kNullArgument, FLOW_create_process(nullptr, "", template_, 1, &top_, &target, &tag_));
    EXPECT_EQ(kNullArgument, FLOW_create_process("job", "", template_, 1, nullptr, &target, &tag_));
    EXPECT_EQ(kNullArgument, FLOW_create_process("job", "", template_, 1, &top_, nullptr, &tag_));
    EXPECT_EQ(kNullArgument, FLOW_create_process("job", "", template_, 1, &top_, &target, nullptr));
    EXPECT_TRUE(tagsOf(top_, "process_stage_list").empty());
    EXPECT_EQ(7u, tag_);
}

TEST_F(NullArguments, AFailureWhileHandingOutLeavesNothingAllocated) {
    const auto before = bench_.liveHeapBlocks();
    int* levels = nullptr;
    const tag_t part = revision("3");
    bench_.addOccurrence(top_, part, "", "");
    bench_.failHeapAfter(1);
    EXPECT_EQ(kNoMemory, STR_where_used_all(part, 1, &count_, &levels, &list_));
    bench_.failHeapAfter(0);
    EXPECT_EQ(kNoMemory, LINE_ask_child_lines(line_, &count_, &list_));
    EXPECT_EQ(kNoMemory, DST_find_all_datasets("letter", &count_, &list_));
    bench_.failHeapAfter(std::nullopt);
    EXPECT_EQ(before, bench_.liveHeapBlocks());
    EXPECT_EQ(5, count_);
    EXPECT_EQ(&tag_, list_);
}

}  // namespace
}  // namespace mervane::test
