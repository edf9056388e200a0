#pragma once

// A file that is put into a dataset.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "libkeld_flow/keld_par/keld_acdatasetutil.h"
#include "libkeld_flow/keld_par/keld_acnewdatasetoperation.h"
#include "platform/mv_dst.h"
#include "platform/mv_fil.h"
#include "platform/mv_heap.h"
#include "tests/support/files.h"
#include "tests/support/world.h"

namespace bom {

inline std::filesystem::path scratch() {
    static const keld_test::Directory made;
    return made;
}

inline std::string fileWith(const std::string& content, const std::string& name = "protocol.log") {
    const auto path = scratch() / name;
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
}

inline std::vector<tag_t> namedReferences(tag_t dataset, const char* name = "Text") {
    int count = 0;
    tag_t* list = nullptr;
    EXPECT_EQ(0, DST_ask_all_dataset_named_refs(dataset, name, &count, &list));
    std::vector<tag_t> found(list, list + count);
    HEAP_free(list);
    return found;
}

// The contents of the files that a dataset holds, read back from the store.
inline std::vector<std::string> contents(tag_t dataset) {
    std::vector<std::string> found;
    for (const tag_t file : namedReferences(dataset)) {
        const auto copy = scratch() / "exported";
        EXPECT_EQ(0, FIL_export_file(file, copy.string().c_str()));
        found.push_back(keld_test::readFile(copy));
        std::filesystem::remove(copy);
    }
    return found;
}

inline std::vector<tag_t> versions(tag_t dataset) {
    tag_t anchor = NULLTAG;
    int count = 0;
    EXPECT_EQ(0, DST_ask_dataset_anchor(dataset, &anchor));
    EXPECT_EQ(0, DST_count_anchor_revisions(anchor, &count));
    std::vector<tag_t> list(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        EXPECT_EQ(0, DST_ask_anchor_revision(anchor, i, &list[static_cast<std::size_t>(i)]));
    return list;
}

// One upload of a file, with the status of its run.
inline int upload(const std::string& path, tag_t base, tag_t* result = nullptr,
                  const char* type = "Text") {
    NewDatasetOperation operation("Log", "About", type, "Text", 4096, path.c_str(), base);
    const int status = operation.execute();
    if (result)
        *result = operation.m_tagNewDataset;
    return status;
}

}  // namespace bom
