#pragma once

// The kind of store that tests work on: a file, or memory, unless KELD_TEST_STORE is "postgres".
// Then it is a schema of its own on the server of KELD_TEST_SERVER, which goes with this process.
// With KELD_TEST_VOLUME=directory the files of a fresh one are in a directory, which goes with it,
// too.

#include <string>

#include "workbench/workbench.h"

namespace keld_test {

// Throws std::runtime_error if KELD_TEST_STORE is something else.
bool onServer();

// What a store with this name in this directory is called: its path or, on the server, its address;
// the same each time. What an earlier process left there is gone. Throws std::runtime_error if the
// server can't be reached, with a text that says how to run such a test.
std::string storeIn(const std::string& directory, const std::string& name);

// A name for a store that isn't there yet: ":memory:", or an address that nobody else has. Failures
// as storeIn().
std::string freshStore();

// The same on the server, whatever kind of store the tests work on.
std::string freshServerStore();

// Where a fresh store has its files: a directory that isn't there yet; empty: in the database, in
// memory or beside the store.
std::string freshVolume();

// The address of KELD_TEST_SERVER, whatever kind of store the tests work on. Failures as storeIn(),
// except that the server isn't asked.
std::string serverAddress();

// A new store that goes with its process or, in memory, when it is closed.
inline mervane::Workbench::StoreId openFreshStore() {
    const std::string name = freshStore();
    if (onServer())
        mervane_workbench()->createStore(name, freshVolume());
    return mervane_workbench()->openStore(name);
}

}  // namespace keld_test
