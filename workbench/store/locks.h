#pragma once

// Modify locks: rows owned by a session. A session proves that it lives by an operating-system lock
// on a file of its own beside the store; the rows of one whose file can be locked are reclaimed.
// Nobody ever waits for a lock.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

namespace mervane {

struct LockOwner {
    std::int64_t session = 0;
    std::string user;
    int process = 0;
    bool alive = true;
};

class Locks {
public:
    virtual ~Locks() = default;
    // Register a session of this process.
    virtual std::int64_t open(const std::string& user) = 0;
    // Give up all of its locks and forget it.
    virtual void close(std::int64_t session) noexcept = 0;
    // Take the lock; the owner if another living session holds it.
    virtual std::optional<LockOwner> take(std::int64_t session, tag_t object) = 0;
    virtual void release(std::int64_t session, tag_t object) = 0;
    // The living session that holds the lock, whichever it is.
    virtual std::optional<LockOwner> owner(tag_t object) = 0;
    // Keep a number for the ids that this session chooses until it ends; false if another living
    // session has it. What this one keeps already it may keep again.
    virtual bool keepNumber(std::int64_t session, std::uint32_t number) = 0;
    virtual std::vector<LockOwner> sessions() = 0;
    // Whether the session was opened here. The number of its process can't tell: processes of
    // several machines may have the same.
    virtual bool isOwn(std::int64_t session) const = 0;
    // What a session does that others have to wait for; empty: nothing.
    virtual void setActivity(std::int64_t session, const std::string& activity) = 0;
    // Of the living sessions, a text each.
    virtual std::vector<std::string> activities() = 0;
    struct Held {
        tag_t object = NULLTAG;
        LockOwner owner;
    };
    virtual std::vector<Held> held() = 0;
    // Take away what dead sessions left; the number of them.
    virtual int reclaim() = 0;
};

// The locks of a store in a file, shared by the processes that have it open.
std::shared_ptr<Locks> fileLocks(const std::string& store_path);
// The locks of a store in memory.
std::shared_ptr<Locks> memoryLocks();

}  // namespace mervane
