#pragma once

// The store between two kills, as a fresh session sees it.

#include <sqlite3.h>

#include <set>
#include <string>
#include <vector>

#include "tests/support/record_check.h"
#include "workbench/workbench.h"

namespace kills {

class Plant {
public:
    // Opens the store and a session on it.
    explicit Plant(std::string path);
    ~Plant();
    Plant(const Plant&) = delete;

    // The check's errors; with `alone`, when no other process works on the store, also what is left
    // after its repair.
    std::vector<std::string> check(bool alone);
    // Each object's lock can be taken, unless a process that lives holds it.
    std::vector<std::string> takeLocks(const std::set<std::int64_t>& objects,
                                       const std::set<int>& living);
    // Whether the records of runs fit what is stored. Requires: all that changed is recorded.
    keld_test::RecordCheck checkRecords();
    // Lock rows, session rows and session files that are not of this session.
    std::vector<std::string> leftLocks();

    sqlite3* database() const { return database_; }

private:
    std::string path_;
    mervane::Workbench::StoreId store_ = 0;
    sqlite3* database_ = nullptr;
};

}  // namespace kills
