#pragma once

// Which session has which modify lock: a table in a file that all processes map, so that a lock is
// taken and released in memory. A process may be killed at any point: one word in memory says all
// about a lock, and is changed in one step.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/types.h"

namespace mervane {

class HeldLocks {
public:
    // The number of a session, never used again; 0: none.
    using Session = std::uint32_t;
    // Runs its steps while no other process runs such steps.
    using OneAtATime = std::function<void(const std::function<void()>& steps)>;

    // Open the table; `make`: make it if the file is empty or not there, with the rights of the
    // file `like`. Failure kStoreFailure if the file is no such table; kFileFailure if it can't be
    // made, opened or mapped.
    HeldLocks(std::string path, const std::string& like, bool make, OneAtATime one_at_a_time);
    ~HeldLocks();
    HeldLocks(const HeldLocks&) = delete;

    // Take the lock if nobody has it. Returns: the session that has it now. Failure kFileFailure if
    // there is no room for it on the disk. Requires: an object and a session.
    Session take(tag_t object, Session session);
    // If the session has it; else nothing happens.
    void release(tag_t object, Session session) noexcept;
    Session owner(tag_t object);
    // Release all locks of the sessions for which `of` gives true.
    void releaseAll(const std::function<bool(Session)>& of);
    // By object.
    std::vector<std::pair<tag_t, Session>> all();
    // Forget the objects that nobody has locked, and make the file small again. Requires: no other
    // process has it open.
    void compact();

private:
    struct Segment {
        std::uint64_t* slots = nullptr;
        std::size_t size = 0;  // in slots
    };
    std::string path_;
    OneAtATime one_at_a_time_;
    int file_ = -1;
    std::vector<Segment> segments_;

    void makeFirst();
    bool mapNext(bool make);
    void needNext();
    void mapAll();
    void unmapAll() noexcept;
    std::uint64_t* slotOf(tag_t object);
    [[noreturn]] void failFile(const char* what) const;
};

}  // namespace mervane
