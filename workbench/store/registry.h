#pragma once

// A registry of item ids: the store's own tables, or a file that several stores share. Both have
// the same tables, so that a registry is whatever a connection shows.

#include <memory>
#include <string>
#include <vector>

#include "workbench/store/sqlite.h"

namespace mervane {

class Registry {
public:
    explicit Registry(Connection& connection) : connection_(connection) {}

    // Make a registry file. Failure kStoreFailure if something is there already.
    static void create(const std::string& path);
    // Failure kRegistryDown for a file that isn't there or is no registry.
    static std::unique_ptr<Connection> open(const std::string& path);

    std::vector<std::string> ids();  // in their order
    bool has(const std::string& item_id);
    void add(const std::string& item_id);  // once is enough
    void remove(const std::string& item_id);
    void clear();
    bool isReachable();
    void setReachable(bool reachable);

private:
    Connection& connection_;
};

}  // namespace mervane
