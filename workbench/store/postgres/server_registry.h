#pragma once

#include "workbench/store/registry.h"

namespace mervane {

class PostgresStore;

// The ids that a store on a server has registered. Requires: the store outlives it.
class ServerRegistry final : public Registry {
public:
    explicit ServerRegistry(PostgresStore& store) : store_(store) {}

    std::vector<std::string> ids() override;
    bool has(const std::string& item_id) override;
    void add(const std::string& item_id) override;
    void remove(const std::string& item_id) override;
    void clear() override;
    bool isReachable() override;
    void setReachable(bool reachable) override;

private:
    PostgresStore& store_;
};

}  // namespace mervane
