#pragma once

// A workbench on a fresh store with a few readable makers, and the platform's answers as values.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_fil.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_mv.h"
#include "platform/mv_obj.h"
#include "platform/mv_rls.h"
#include "platform/mv_str.h"
#include "tests/support/files.h"
#include "tests/support/store_kind.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane::test {

using Tags = std::vector<tag_t>;

inline Tags taken(int count, tag_t* list) {
    Tags tags(list, list + count);
    HEAP_free(list);
    return tags;
}

inline std::string textOf(tag_t object, const char* property) {
    char* value = nullptr;
    EXPECT_EQ(0, OBJ_ask_value_string(object, property, &value)) << property;
    const std::string text = value ? value : "";
    HEAP_free(value);
    return text;
}

inline Tags tagsOf(tag_t object, const char* property) {
    int count = 0;
    tag_t* list = nullptr;
    EXPECT_EQ(0, OBJ_ask_value_tags(object, property, &count, &list)) << property;
    return taken(count, list);
}

inline Tags childrenOf(tag_t line) {
    int count = 0;
    tag_t* list = nullptr;
    EXPECT_EQ(0, LINE_ask_child_lines(line, &count, &list));
    return taken(count, list);
}

inline tag_t lineTag(tag_t line, const char* attribute) {
    int id = 0;
    tag_t value = NULLTAG;
    EXPECT_EQ(0, LINE_look_up_attribute(attribute, &id)) << attribute;
    EXPECT_EQ(0, LINE_ask_attribute_tag(line, id, &value)) << attribute;
    return value;
}

class StructureTest : public testing::Test {
protected:
    void SetUp() override {
        store_ = keld_test::openFreshStore();
        session_ = bench_.openSession(store_, {});
    }
    void TearDown() override { bench_.closeStore(store_); }

    Workbench::SessionId secondSession() { return bench_.openSession(store_, {}); }
    // The message on top of the error stack.
    std::string lastError() {
        const auto stack = bench_.errorStack();
        return stack.empty() ? "" : stack.back().text;
    }

    tag_t revision(const std::string& id) {
        tag_t first = NULLTAG;
        bench_.createItem(id, "Part " + id, "", "A", &first);
        return first;
    }
    std::string file(const std::string& name, const std::string& content) {
        keld_test::writeFile(directory_ / name, content);
        return directory_.at(name);
    }

    Workbench& bench_ = *mervane_workbench();
    keld_test::Directory directory_;
    Workbench::StoreId store_ = 0;
    Workbench::SessionId session_ = 0;
};

}  // namespace mervane::test
