#pragma once

// What the workers said, and whether the store agrees.

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/kills/digest.h"
#include "tests/kills/running.h"

namespace kills {

class Ledger {
public:
    void clear() { known_.clear(); }
    // A line of a worker. False: it can't be understood.
    void hear(Running& worker, const std::string& line);
    // What is wrong with the objects of a worker that was killed: everything that it said was
    // stored must be as it said, and what it was about to commit be there whole or not at all.
    // Takes note of which. What the others said up to the look into the store is heard by `listen`:
    // tags of a transaction that wasn't committed are given out again.
    std::vector<std::string> settle(sqlite3* store, Running& dead,
                                    const std::vector<std::unique_ptr<Running>>& all,
                                    const std::function<void()>& listen);
    // The same for everything that was ever said. Requires: all workers are settled.
    std::vector<std::string> compare(sqlite3* store) const;

    std::uint64_t acknowledged() const { return acknowledged_; }
    std::uint64_t whole() const { return whole_; }
    std::uint64_t absent() const { return absent_; }

private:
    struct Known {
        Stored stored;
        bool gone = false;
        bool shared = true;   // may have been saved by others since it was told of
        bool others = false;  // others than who made it have saved it
    };
    std::map<std::int64_t, Known> known_;
    std::vector<std::string> contradictions_;
    std::uint64_t acknowledged_ = 0, whole_ = 0, absent_ = 0;

    void saved(Running& worker, std::int64_t tag, const Stored& stored);
    std::string compare(sqlite3* store, std::int64_t tag, const Known& known) const;
};

}  // namespace kills
