#pragma once

// The lock of those who copy files, by which others know that somebody does.

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "workbench/store/postgres/server.h"
#include "workbench/store/volume.h"

namespace mervane {

// Of a store's key, the lock 2, shared by all who copy.
class CopyLock final : public Volume::Hold {
public:
    // `end` removes what was kept, unless somebody else copies.
    CopyLock(std::shared_ptr<ServerConnection> side, std::int64_t key, std::function<void()> end)
        : side_(std::move(side)), key_(key), end_(std::move(end)) {
        side_->ask("SELECT pg_advisory_lock_shared($1::bigint::int, 2)", Parameters().add(key_));
    }
    ~CopyLock() override {
        try {
            side_->ask("SELECT pg_advisory_unlock_shared($1::bigint::int, 2)",
                       Parameters().add(key_));
            end_();
        } catch (...) {
            // It stays as files that no object owns.
        }
    }
    CopyLock(const CopyLock&) = delete;

private:
    std::shared_ptr<ServerConnection> side_;
    std::int64_t key_;
    std::function<void()> end_;
};

}  // namespace mervane
