#pragma once

#include "workbench/store/runs.h"

namespace mervane {

class PostgresStore;

// The records of runs on a server. Requires: the store outlives it.
class ServerRuns final : public RunTables {
public:
    // With `temporary`, entries are kept in memory, and there is no head.
    ServerRuns(PostgresStore& store, bool temporary) : store_(store), temporary_(temporary) {}

    std::int64_t begin(const std::string& token, const RunHead& head,
                       std::int64_t session) override;
    std::int64_t numberOf(const std::string& token) override;
    void add(std::int64_t run, const StoredEntry& entry) override;
    void end(const RunHead& head) override;
    void remove(std::int64_t run) override;
    void put(const std::string& token, const RunHead& head, std::int64_t session) override;
    std::string tokenOf(std::int64_t run) override;
    bool head(std::int64_t run, RunHead& head, std::int64_t* session) override;
    std::vector<std::int64_t> find(const RunQuery& query) override;
    void entries(std::int64_t run, const std::function<void(StoredEntry&&)>& each) const override;
    std::vector<std::int64_t> before(const std::string& moment) override;
    std::vector<tag_t> removedFiles() const override;

private:
    PostgresStore& store_;
    bool temporary_;
    // The run whose head is known to be there, unless something went back since.
    std::string token_;
    std::int64_t number_ = 0;
    std::uint64_t undone_ = 0;
};

}  // namespace mervane
