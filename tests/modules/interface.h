#pragma once

// A fresh store with a session, and what the tests of the interface share.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"
#include "platform/mv_obj.h"
#include "tests/support/store_kind.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane::test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr tag_t kNoSuchTag = 0x7FFFFFF0u;

class InterfaceTest : public testing::Test {
protected:
    InterfaceTest() : wb(*mervane_workbench()) {
        ERR_clear_errors();
        store = keld_test::openFreshStore();
        session = wb.openSession(store, {});
    }
    ~InterfaceTest() override {
        wb.failHeapAfter({});
        wb.closeStore(store);
    }

    // Blocks handed out and not given back.
    std::size_t blocks() { return wb.liveHeapBlocks() - blocks_before; }

    // The text of the newest error.
    std::string lastError() {
        const auto stack = wb.errorStack();
        return stack.empty() ? "" : stack.back().text;
    }
    // What a function handed out, given back.
    std::string taken(char* text) {
        std::string copy = text ? text : "(null)";
        HEAP_free(text);
        return copy;
    }
    template <typename T>
    std::vector<T> taken(int count, T* list) {
        std::vector<T> copy(list, list + count);
        HEAP_free(list);
        return copy;
    }
    std::vector<std::string> taken(int count, char** texts) {
        std::vector<std::string> copy(texts, texts + count);
        MV_free_strings(texts);
        return copy;
    }
    std::string text(tag_t object, const char* property) {
        char* value = nullptr;
        EXPECT_EQ(OBJ_UIF_ask_value(object, property, &value), 0) << lastError();
        return taken(value);
    }
    // An item with a first revision "A".
    struct Part {
        tag_t item = NULLTAG, revision = NULLTAG;
    };
    Part part(const std::string& id) {
        Part made;
        made.item = wb.createItem(id, "name of " + id, "", "A", &made.revision);
        return made;
    }

    Workbench& wb;
    Workbench::StoreId store;
    Workbench::SessionId session;
    const std::size_t blocks_before = wb.liveHeapBlocks();
};

}  // namespace mervane::test
