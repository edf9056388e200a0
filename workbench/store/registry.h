#pragma once

// A registry of item ids: the store's own tables, or a file that several stores share. Both have
// the same tables, so that a registry is whatever a connection shows.

#include <memory>
#include <string>
#include <vector>

#include "workbench/store/sqlite.h"

namespace mervane {

// Requires: the connection outlives it. Failure kStoreFailure if it can't be read or written.
class Registry {
public:
    explicit Registry(Connection& connection) : connection_(connection) {}

    // Make a registry file, with no ids. Failure kStoreFailure if something is at the path,
    // kFileFailure if it can't be made; nothing is left then.
    static void create(const std::string& path);
    // Failure kRegistryDown for a file that isn't there or is no registry.
    static std::unique_ptr<Connection> open(const std::string& path);

    std::vector<std::string> ids();  // sorted
    bool has(const std::string& item_id);
    // An id that is there already, or isn't, is no failure.
    void add(const std::string& item_id);
    void remove(const std::string& item_id);
    void clear();
    // False: it is switched off. The other members work all the same.
    bool isReachable();
    void setReachable(bool reachable);

private:
    Connection& connection_;
};

}  // namespace mervane
