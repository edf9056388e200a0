#pragma once

// A store for a test, in memory, in a directory of its own or on the server, with sessions on it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/mv_acl.h"
#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_dst.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "platform/mv_fil.h"
#include "platform/mv_flow.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tests/support/files.h"
#include "tests/support/store_kind.h"
#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace mervane::test {

inline Workbench& bench() {
    return *mervane_workbench();
}

using keld_test::Directory;
using keld_test::readFile;
using keld_test::writeFile;

// The status of what throws a Failure; 0 if it doesn't.
template <typename Body>
int statusOf(Body&& body, std::string* text = nullptr) {
    try {
        body();
        return 0;
    } catch (const Failure& failure) {
        if (text)
            *text = failure.what();
        return failure.status();
    }
}

inline std::string textOf(const Values& values) {
    return values.empty() ? "" : std::get<std::string>(values.front());
}

inline std::string stored(tag_t object, const std::string& attribute) {
    return textOf(bench().get(object, attribute));
}

inline int setName(tag_t object, const std::string& name) {
    return OBJ_set_value_string(object, "object_name", name.c_str());
}

// The texts of the check's findings that are errors.
inline std::vector<std::string> errorsIn(const std::vector<CheckFinding>& findings) {
    std::vector<std::string> texts;
    for (const CheckFinding& each : findings)
        if (each.error)
            texts.push_back(each.text);
    return texts;
}

inline bool mentions(const std::vector<CheckFinding>& findings, const std::string& part) {
    for (const CheckFinding& each : findings)
        if (each.text.find(part) != std::string::npos)
            return true;
    return false;
}

// The same cases on a store in memory and on one in a file or, where the tests work on the server,
// on one there.
class OnBothStores : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        if (std::string(GetParam()) != "file") {
            store_ = keld_test::openFreshStore();
        } else {
            path_ = directory_.at("plant");
            bench().createStore(path_);
            store_ = bench().openStore(path_);
        }
        first_ = bench().openSession(store_, {});
    }
    void TearDown() override {
        ERR_clear_errors();
        bench().closeStore(store_);
    }
    Workbench::SessionId anotherSession(const std::string& user = "") {
        return bench().openSession(store_, {user, ""});
    }
    void use(Workbench::SessionId session) { bench().selectSession(session); }

    Directory directory_;
    std::string path_;  // empty: it is no file
    Workbench::StoreId store_ = 0;
    Workbench::SessionId first_ = 0;
};

inline std::vector<const char*> storesOfTests() {
    return keld_test::onServer() ? std::vector{"server"} : std::vector{"memory", "file"};
}

#define ON_BOTH_STORES(Suite)                                                     \
    INSTANTIATE_TEST_SUITE_P(Stores, Suite, ::testing::ValuesIn(storesOfTests()), \
                             [](const auto& each) { return std::string(each.param); })

}  // namespace mervane::test
