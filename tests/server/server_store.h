#pragma once

// A new store on the server of the tests, open.

#include <gtest/gtest.h>

#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "tests/support/store_kind.h"
#include "tests/workbench/support.h"

namespace mervane::test {

class ServerStore : public ::testing::Test {
protected:
    void SetUp() override {
        bench().createStore(path_);
        store_ = bench().openStore(path_);
    }
    void TearDown() override {
        ERR_clear_errors();
        bench().closeStore(store_);
    }
    static void use(Workbench::SessionId session) { bench().selectSession(session); }
    // As services do it: the lock is given back when the object is stored.
    static int rename(tag_t object, const std::string& name) {
        int status = OBJ_refresh(object, true);
        if (status == 0)
            status = setName(object, name);
        if (status == 0)
            status = OBJ_save(object);
        (void)OBJ_refresh(object, false);
        return status;
    }
    // Requires: a session that is in no run.
    bool isSound() { return errorsIn(bench().check(store_, false)).empty(); }

    const std::string path_ = keld_test::freshServerStore();
    Workbench::StoreId store_ = 0;
};

}  // namespace mervane::test
