#pragma once

// What the workers said, and whether the store agrees.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/kills/bare_store.h"
#include "tests/kills/running.h"

namespace kills {

class Ledger {
public:
    // Of a store on a server the workers tell what a run has changed when the run ends, so that it
    // may have changed more when its worker was killed.
    void hearWholeRuns() { hears_each_save_ = false; }
    // Of these nobody need have told that they are gone.
    void excuse(std::int64_t tag) { known_[tag].gone = true; }
    // What must be there, as far as it was told.
    std::vector<std::int64_t> wanted() const;
    void clear() {
        known_.clear();
        absent_intents_.clear();
    }
    // Read a line of a worker. False: it can't be understood.
    void hear(Running& worker, const std::string& line);
    // Find what is wrong with the objects of a killed worker. Everything that it reported as stored
    // must be stored like that; what it was about to commit must be there completely or not at all.
    // Notes which of the two. `listen` reads what the others said up to this look into the store,
    // since tags of an uncommitted transaction are given out again.
    std::vector<std::string> settle(BareStore& store, Running& dead,
                                    const std::vector<std::unique_ptr<Running>>& all,
                                    const std::function<void()>& listen);
    // Look again for the transactions that weren't there when their worker was killed. Its commit
    // may be in the log without the others having heard of it; if nobody writes until all have
    // closed the store, whoever opens it next reads the log anew, and the commit is there.
    // Requires: nobody is at work, and all workers are settled.
    std::vector<std::string> settleAbsent(BareStore& store);
    // The same for everything that was ever reported. Requires: all workers are settled.
    std::vector<std::string> compare(BareStore& store) const;

    std::uint64_t acknowledged() const { return acknowledged_; }
    std::uint64_t whole() const { return whole_; }
    std::uint64_t absent() const { return absent_; }

private:
    struct Known {
        Stored stored;
        bool gone = false;
        bool shared = true;   // others may have saved it since it was reported
        bool others = false;  // a process that didn't make it has saved it
    };
    std::map<std::int64_t, Known> known_;
    std::vector<std::string> contradictions_;
    std::vector<Intent> absent_intents_;  // of transactions that nobody saw
    bool hears_each_save_ = true;
    std::uint64_t acknowledged_ = 0, whole_ = 0, absent_ = 0;

    void saved(Running& worker, std::int64_t tag, const Stored& stored);
    std::string compare(BareStore& store, std::int64_t tag, const Known& known) const;
};

}  // namespace kills
