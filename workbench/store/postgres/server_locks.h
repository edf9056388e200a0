#pragma once

// Sessions and modify locks as rows. A session shows that it lives by a lock of the server that its
// own connection holds: whoever can take that lock may take its rows away. The rows are changed on
// another connection, which commits at once, so that everybody sees them while a run lasts.
//
// A run that locks one object after the other reserves those that it will presumably lock next, in
// the same round trip. A reservation is a row with the negated number of the session. The session
// turns it into a lock without waiting for the server, within kReservedToUse of asking for it, and
// tells the server soon afterwards; the commit needs that all of them were still its own. Whoever
// else wants a reserved object takes the reservation away when it is kReserved old and still none,
// so nobody is refused for an object that the run doesn't change.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workbench/store/locks.h"
#include "workbench/store/postgres/server.h"

// The server's own locks have two numbers: the first is the store's, the second one says which. Up
// to 16 are those of the store (postgres_store.cpp), those of sessions come after them. This column
// says whether somebody has the lock of a session.
#define KELD_SESSION_LIVES                                                                        \
    "EXISTS(SELECT 1 FROM pg_locks l WHERE l.locktype='advisory' AND l.granted AND "              \
    "l.objsubid=2 AND l.database=(SELECT oid FROM pg_database WHERE datname=current_database()) " \
    "AND l.classid=$1::bigint::oid AND l.objid=(s.number+16)::oid)"

namespace mervane {

// What the server tells in the round trip that takes a lock.
struct TakenLock {
    std::int64_t session = 0;
    tag_t object = NULLTAG;
    LockOwner holder;
    std::optional<LockOwner> owner;  // who has it instead of the session
    std::int64_t version = 0;        // of the object as it is stored; 0: it isn't
    bool checked_out = false;
    tag_t user = NULLTAG;  // who has it checked out
    std::string date, comment;
    std::string rights_state;  // changes with each change of the rights
};

class ServerLocks final : public Locks {
public:
    // Requires: the connection of the sessions outlives it. `key` is that of the store.
    ServerLocks(ServerConnection& main, std::shared_ptr<ServerConnection> side, std::int64_t key);

    std::int64_t open(const std::string& user) override;
    void close(std::int64_t session) noexcept override;
    std::optional<LockOwner> take(std::int64_t session, tag_t object) override;
    void release(std::int64_t session, tag_t object) override;
    std::optional<LockOwner> owner(tag_t object) override { return askOwner(object, false); }
    std::optional<LockOwner> ownerBeforeChange(tag_t object) override {
        return askOwner(object, true);
    }
    // Whether this session still has a lock that it has released.
    bool keeps(std::int64_t session, tag_t object) const;
    // Whether it says that it does something that others wait for.
    bool isAtWork(std::int64_t session);
    bool keepNumber(std::int64_t session, std::uint32_t number) override;
    std::vector<LockOwner> sessions() override;
    bool isOwn(std::int64_t session) const override;
    void setActivity(std::int64_t session, const std::string& activity) override;
    std::vector<std::string> activities() override;
    std::vector<Held> held() override;
    int reclaim() override;

    // Take the lock, and read what the next questions will be about; the next take() of it is
    // answered from that. `next`: objects to reserve, if the lock isn't reserved already.
    const TakenLock& takeWithObject(std::int64_t session, tag_t object,
                                    const std::function<std::vector<tag_t>()>& next = {});
    // Asked with each call of the platform: tell the server in time what is used.
    void tellInTime();
    bool reserves(tag_t object) const { return reserved_.contains(object); }
    // Failure kLockedByOther if a lock that was reserved has been taken away before the server
    // heard that it is used.
    void needReserved();
    // The last one, if it is of this object and nothing else was done since.
    const TakenLock* taken(tag_t object) const;
    void forgetTaken() { taken_.reset(); }
    // Who is asked for the owner of a lock first: it may have been read with something else. And
    // who hears of a lock that is taken or given back, and, as NULLTAG, of a number that is kept.
    // `free`: it may not be reserved either.
    using Ahead = std::function<const std::optional<LockOwner>*(tag_t object, bool free)>;
    void askFirst(Ahead ahead, std::function<void(tag_t)> changed) {
        ahead_ = std::move(ahead);
        changed_ = std::move(changed);
    }
    // From now on what is released stays locked, until the transaction has ended: what it has
    // stored isn't visible to others before. What is reserved stays so until then, too.
    void keepReleased() { keeps_ = true; }
    void giveReleased() noexcept;

private:
    ServerConnection& main_;
    std::shared_ptr<ServerConnection> side_;
    std::int64_t key_;
    std::optional<TakenLock> taken_;
    Ahead ahead_;
    std::function<void(tag_t)> changed_;
    bool keeps_ = false;
    std::unordered_map<tag_t, std::int64_t> released_;  // and who has done it
    using Clock = std::chrono::steady_clock;
    struct Reserved {
        TakenLock lock;
        Clock::time_point until;  // it may be used
    };
    std::unordered_map<tag_t, Reserved> reserved_;
    // Reserved and used: those of which the server wasn't told, and all of this transaction.
    std::vector<std::pair<tag_t, std::int64_t>> untold_, used_;
    Clock::time_point untold_since_;

    // A row of another session's reservation, and since when it has been seen.
    struct SeenReserved {
        std::int64_t row = 0;
        Clock::time_point since;
    };

    std::optional<LockOwner> askOwner(tag_t object, bool to_change);
    bool useReserved(std::int64_t session, tag_t object);
    void tellUsed();
    bool isOver(SeenReserved& seen, std::int64_t row) const;
    bool reclaimIfDead(std::int64_t session);
};

}  // namespace mervane
