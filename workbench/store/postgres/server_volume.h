#pragma once

// Stored files in the database, in pieces, so that one backup has everything.

#include <memory>

#include "workbench/store/postgres/server.h"
#include "workbench/store/volume.h"

namespace mervane {

class ServerVolume final : public Volume {
public:
    // A connection that commits at once: a file is whole there before its object is stored. `key`
    // is that of the store, for the server's own locks.
    ServerVolume(std::shared_ptr<ServerConnection> side, std::int64_t key)
        : side_(std::move(side)), key_(key) {}

    void remove(tag_t tag) noexcept override;
    bool exists(tag_t tag) const override;
    std::vector<tag_t> tags() const override;
    std::vector<std::string> leftOvers() const override;
    bool removeLeftOver(const std::string& name) override;
    std::unique_ptr<Hold> hold() const override;

protected:
    void tell(const StoredFile& file, const Receiver& receiver) const override;
    FileFacts take(tag_t tag, const std::function<void(const Receiver&)>& fill) override;

private:
    std::shared_ptr<ServerConnection> side_;
    std::int64_t key_;

    void drop(tag_t tag) const;
};

}  // namespace mervane
