#pragma once

// The tables of runs: heads and entries. A store that records no runs has them as temporary tables,
// which live and die with its connection.

#include <functional>
#include <string>
#include <vector>

#include "workbench/run.h"
#include "workbench/store/run_entry.h"

namespace mervane {

class Connection;
class Store;

// Requires: the store outlives it. Failure kStoreFailure if the store can't be read or written, or
// a record is damaged.
class RunTables {
public:
    // With `temporary`, on the temporary tables, which are made if they aren't there.
    RunTables(Store& store, bool temporary);
    // Those of a database that is no store yet, or whose store asks itself.
    RunTables(Connection& connection, bool temporary);

    // Store the head of the run with the token, unless it is there; `session` is the number of the
    // session that runs it. Returns: the run's number, above 0.
    std::int64_t begin(const std::string& token, const RunHead& head, std::int64_t session);
    std::int64_t numberOf(const std::string& token);  // 0: its head isn't stored
    void add(std::int64_t run, const StoredEntry& entry);
    // Store outcome, end and counts under the head's number.
    void end(const RunHead& head);
    // Drop head and entries.
    void remove(std::int64_t run);

    // Fill the head, but for `running`, and the number of its session. Returns: false, and nothing
    // is filled, if there is no such run.
    bool head(std::int64_t run, RunHead& head, std::int64_t* session);

    // Newest first. This, before() and removedFiles() never look into temporary tables.
    std::vector<std::int64_t> find(const RunQuery& query);
    // In order. What `each` throws travels up.
    void entries(std::int64_t run, const std::function<void(StoredEntry&&)>& each) const;
    // Runs that ended before the moment; of those that didn't end, those that began before it.
    std::vector<std::int64_t> before(const std::string& moment);
    // Files that were removed in runs whose record is kept, by tag, each once.
    std::vector<tag_t> removedFiles() const;

private:
    Connection& connection_;
    bool temporary_;
};

}  // namespace mervane
