#pragma once

// Modify locks, owned by a session. A session shows that it lives by a lock of the operating system
// on a file of its own beside the store; the locks of one whose file can be locked are taken away.
// Nobody ever waits for a modify lock.

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
    std::string host = {};  // empty: this one
};

// "user A, process 12", with "on HOST" for one of another machine.
std::string described(const LockOwner& owner);

// Locks in a file: Failure kStoreFailure if their tables can't be read or written.
class Locks {
public:
    virtual ~Locks() = default;
    // Register a session of this process. Returns: its number, above 0, which is never used again.
    // Failure kFileFailure if the file by which it shows that it lives can't be made.
    virtual std::int64_t open(const std::string& user) = 0;
    // Give up all of its locks and forget it.
    virtual void close(std::int64_t session) noexcept = 0;
    // Take the lock; one that the session has stays. Returns: nothing, or the owner if another
    // living session has it.
    virtual std::optional<LockOwner> take(std::int64_t session, tag_t object) = 0;
    // A lock that the session doesn't have is no failure.
    virtual void release(std::int64_t session, tag_t object) = 0;
    // The living session that has the lock; nothing: nobody.
    virtual std::optional<LockOwner> owner(tag_t object) = 0;
    // As owner(), for a session that is about to change the object without its lock.
    virtual std::optional<LockOwner> ownerBeforeChange(tag_t object) { return owner(object); }
    // Keep a number for the ids that this session chooses, until it ends. Returns: false if another
    // living session has it; true also for one that this session keeps already.
    virtual bool keepNumber(std::int64_t session, std::uint32_t number) = 0;
    // Also those whose process ended without close(): `alive` is false then.
    virtual std::vector<LockOwner> sessions() = 0;
    // Whether the session was opened here. The number of its process can't tell: processes of
    // several machines may have the same.
    virtual bool isOwn(std::int64_t session) const = 0;
    // Say what the session does that others wait for; empty: nothing.
    virtual void setActivity(std::int64_t session, const std::string& activity) = 0;
    // Of the living sessions, a text each.
    virtual std::vector<std::string> activities() = 0;
    struct Held {
        tag_t object = NULLTAG;
        LockOwner owner;
    };
    // By object, of sessions that have ended too.
    virtual std::vector<Held> held() = 0;
    // Take away what sessions left that have ended. Returns: the number of them.
    virtual int reclaim() = 0;
};

// Locks of this process alone: of a store in memory, or of one that it may only read.
std::shared_ptr<Locks> memoryLocks();

}  // namespace mervane
