#pragma once

// The store between two kills, as a fresh session sees it.

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/kills/bare_store.h"
#include "tests/support/record_check.h"
#include "workbench/workbench.h"

namespace kills {

class Plant {
public:
    // Opens the store and a session on it.
    explicit Plant(const std::string& path);
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
    // What is left of other sessions and their locks.
    std::vector<std::string> leftLocks() { return bare_->leftLocks(); }
    // Whether a record of a run tells that the object was deleted.
    static bool isRecordedAsGone(std::int64_t object);

    BareStore& bare() { return *bare_; }

private:
    mervane::Workbench::StoreId store_ = 0;
    std::unique_ptr<BareStore> bare_;
};

}  // namespace kills
