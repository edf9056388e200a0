#pragma once

// The tables of runs: heads and entries. A store that records no runs has them as temporary tables,
// which live and die with its connection.

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/run.h"
#include "workbench/store/run_entry.h"

namespace mervane {

// Failure kStoreFailure if the store can't be read or written, or a record is damaged.
class RunTables {
public:
    virtual ~RunTables() = default;

    // Store the head of the run with the token, unless it is there; `session` is the number of the
    // session that runs it. Returns: the run's number, above 0.
    virtual std::int64_t begin(const std::string& token, const RunHead& head,
                               std::int64_t session) = 0;
    virtual std::int64_t numberOf(const std::string& token) = 0;  // 0: its head isn't stored
    virtual void add(std::int64_t run, const StoredEntry& entry) = 0;
    // Store outcome, end and counts under the head's number.
    virtual void end(const RunHead& head) = 0;
    // Drop head and entries.
    virtual void remove(std::int64_t run) = 0;

    // Store a whole head under its number, with its token: that of another store. `entries` and
    // `undone` of the head don't count.
    virtual void put(const std::string& token, const RunHead& head, std::int64_t session) = 0;
    virtual std::string tokenOf(std::int64_t run) = 0;
    // Fill the head, but for `running`, and the number of its session. Returns: false, and nothing
    // is filled, if there is no such run.
    virtual bool head(std::int64_t run, RunHead& head, std::int64_t* session) = 0;

    // Newest first. This, before() and removedFiles() never look into temporary tables.
    virtual std::vector<std::int64_t> find(const RunQuery& query) = 0;
    // In order. What `each` throws travels up.
    virtual void entries(std::int64_t run,
                         const std::function<void(StoredEntry&&)>& each) const = 0;
    // Runs that ended before the moment; of those that didn't end, those that began before it.
    virtual std::vector<std::int64_t> before(const std::string& moment) = 0;
    // Files that were removed in runs whose record is kept, by tag, each once.
    virtual std::vector<tag_t> removedFiles() const = 0;
};

// The columns of a head that have several texts: each with its length before it. Failure
// kStoreFailure for a text that isn't made so.
std::string packedTexts(const std::vector<std::string>& texts);
std::vector<std::string> unpackedTexts(std::string_view all);
std::string packedCounts(const std::map<std::string, std::int64_t>& counts);
std::map<std::string, std::int64_t> unpackedCounts(std::string_view all);

}  // namespace mervane
