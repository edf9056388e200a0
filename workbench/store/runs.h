#pragma once

// The tables of runs: heads and entries. Those that only this connection to the store has
// ("temporary") are for runs of a store that records nothing.

#include <functional>
#include <string>
#include <vector>

#include "workbench/run.h"
#include "workbench/store/run_entry.h"

namespace mervane {

class Connection;
class Store;

class RunTables {
public:
    RunTables(Store& store, bool temporary);
    // Those of a database that is no store yet, or whose store asks itself.
    RunTables(Connection& connection, bool temporary);

    // The number of the run with the token; its head is stored first if it isn't there. `session`
    // is the one that runs it.
    std::int64_t begin(const std::string& token, const RunHead& head, std::int64_t session);
    std::int64_t numberOf(const std::string& token);  // 0: its head isn't stored
    void add(std::int64_t run, const StoredEntry& entry);
    // Outcome, end and counts.
    void end(const RunHead& head);
    void remove(std::int64_t run);

    // Without `running`. False: there is no such run.
    bool head(std::int64_t run, RunHead& head, std::int64_t* session);
    // Newest first.
    std::vector<std::int64_t> find(const RunQuery& query);
    // In order.
    void entries(std::int64_t run, const std::function<void(StoredEntry&&)>& each) const;
    // Those that ended, or began and never will, before the moment.
    std::vector<std::int64_t> before(const std::string& moment);
    // Files that were removed in runs whose record is kept, by tag, each once.
    std::vector<tag_t> removedFiles() const;

private:
    Connection& connection_;
    bool temporary_;
};

}  // namespace mervane
