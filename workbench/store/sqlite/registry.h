#pragma once

// Registries in SQLite databases: a store's own tables and a file of its own have the same ones, so
// that a registry is whatever a connection shows.

#include <memory>
#include <string>
#include <vector>

#include "workbench/store/registry.h"
#include "workbench/store/sqlite/sqlite.h"

namespace mervane {

// Requires: the connection outlives it.
class RegistryTables : public Registry {
public:
    explicit RegistryTables(Connection& connection) : connection_(connection) {}

    std::vector<std::string> ids() override;
    bool has(const std::string& item_id) override;
    void add(const std::string& item_id) override;
    void remove(const std::string& item_id) override;
    void clear() override;
    bool isReachable() override;
    void setReachable(bool reachable) override;

private:
    Connection& connection_;
};

// One that several stores share, with its connection.
class RegistryFile {
public:
    // Failure kRegistryDown for a file that isn't there or is no registry.
    explicit RegistryFile(const std::string& path);
    Connection& connection() { return *connection_; }
    const std::string& path() const { return connection_->path(); }
    RegistryTables& tables() { return tables_; }

private:
    std::unique_ptr<Connection> connection_;
    RegistryTables tables_;
};

}  // namespace mervane
