#pragma once

// The connection of a store, for tests that damage what is below it.

#include "workbench/store/sqlite/sqlite_store.h"

namespace mervane {

class StoreInside {
public:
    static Connection& connection(Store& store) {
        return *dynamic_cast<SqliteStore&>(store).connection_;
    }
};

}  // namespace mervane
