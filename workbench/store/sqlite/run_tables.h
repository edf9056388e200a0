#pragma once

#include "workbench/store/runs.h"

namespace mervane {

class Connection;

// Requires: the connection outlives it.
class SqliteRunTables final : public RunTables {
public:
    // With `temporary`, on the temporary tables, which are made if they aren't there.
    SqliteRunTables(Connection& connection, bool temporary);

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
    Connection& connection_;
    bool temporary_;
};

}  // namespace mervane
