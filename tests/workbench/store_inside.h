#pragma once

// The connection of a store, for tests that damage what is below it.

#include "workbench/store/store.h"

namespace mervane {

class StoreInside {
public:
    static Connection& connection(Store& store) { return *store.connection_; }
};

}  // namespace mervane
