#pragma once

// Stored files in a directory that all hosts share. The store has its path, and MERVANE_VOLUME may
// name another one on a host. A mark in the directory tells whether it is that of the store, so
// that no file gets into another one: another host wouldn't find it. Who copies is known by a lock
// of the server, since not every shared directory has locks that all hosts see.

#include <memory>
#include <string>
#include <vector>

#include "workbench/store/directory_volume.h"
#include "workbench/store/postgres/server.h"

namespace mervane {

class ServerDirectory final : public DirectoryVolume {
public:
    // What the store knows of it.
    struct Place {
        std::string directory, mark;
    };
    // `key` is that of the store; `is_new`: the directory is where it was made.
    ServerDirectory(const Place& place, bool is_new, std::shared_ptr<ServerConnection> side,
                    std::int64_t key);
    // Failure kFileFailure unless the directory is there with the store's mark and, for who writes,
    // may be written.
    void needPlace(bool writes) const;

    std::vector<tag_t> tags() const override;
    std::vector<std::string> leftOvers() const override;
    std::unique_ptr<Hold> hold() const override;

protected:
    void tell(const StoredFile& file, const Receiver& receiver) const override;
    FileFacts take(tag_t tag, const std::function<void(const Receiver&)>& fill) override;
    bool isCopied() const override;

private:
    std::shared_ptr<ServerConnection> side_;
    std::int64_t key_;
    std::string mark_;
    bool named_here_;  // by MERVANE_VOLUME

    [[noreturn]] void refuse(const std::string& what) const;
    void needMark() const;
};

// The directory of a new store, with its mark.
class NewDirectory {
public:
    // Failure kStoreFailure if there is something in it, kFileFailure if it can't be made.
    explicit NewDirectory(const std::string& directory);
    // Unless it is kept, what was made in it goes, and it too if it wasn't there.
    ~NewDirectory();
    NewDirectory(const NewDirectory&) = delete;
    const ServerDirectory::Place& place() const { return place_; }
    void keep() { kept_ = true; }

private:
    ServerDirectory::Place place_;
    bool made_ = false, kept_ = false;

    void takeBack() noexcept;
};

}  // namespace mervane
