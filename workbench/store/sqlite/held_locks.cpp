#include "workbench/store/sqlite/held_locks.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "workbench/model/status.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

// A slot has the object in its upper half and the session that has the lock, or 0, in its lower
// half. A slot that is all 0 is free. Once it has an object it keeps it, so an object is always
// found in the first slot that could ever take it: no two processes put it into different ones.
// That is also why no process must lock the table to add or to look for an object.
//
// The slots of an object in a segment are kWindow slots from its place on. When others have all of
// them the next segment is asked, which is twice as large. Nothing ever moves.
using Slot = std::atomic_ref<std::uint64_t>;
static_assert(Slot::is_always_lock_free, "other processes know nothing of a lock in this one");

constexpr unsigned kFirstBits = 13;  // 64 KB, the least that every system can map by itself
constexpr unsigned kSegments = 32 - kFirstBits;
constexpr std::size_t kWindow = 16;
// In the first slot of the first segment. Its upper half is no object.
constexpr std::uint64_t kMark = 0x6B31;

std::uint64_t word(tag_t object, HeldLocks::Session session) {
    return std::uint64_t{object} << 32U | session;
}

tag_t objectIn(std::uint64_t word) {
    return static_cast<tag_t>(word >> 32U);
}

HeldLocks::Session sessionIn(std::uint64_t word) {
    return static_cast<HeldLocks::Session>(word & 0xFFFFFFFFU);
}

std::size_t sizeOfSegment(std::size_t number) {
    return std::size_t{1} << (kFirstBits + number);
}

// The segments before it have 1, 2, 4 ... times the size of the first one.
std::uint64_t offsetOfSegment(std::size_t number) {
    return (sizeOfSegment(number) - sizeOfSegment(0)) * sizeof(std::uint64_t);
}

// Tags follow each other: multiplied like this, neighbours are far from each other.
std::size_t placeIn(std::size_t segment_size, tag_t object) {
    const std::uint32_t mixed = std::uint32_t{object} * 2654435769U;
    return static_cast<std::size_t>(std::uint64_t{mixed} * segment_size >> 32U);
}

}  // namespace

HeldLocks::HeldLocks(std::string path, const std::string& like, bool make, OneAtATime one_at_a_time)
    : path_(std::move(path)), one_at_a_time_(std::move(one_at_a_time)) {
    file_ = system::open(path_, make ? system::Open::Lock : system::Open::LockExisting, like);
    if (file_ < 0)
        failFile("can't be opened");
    try {
        if (!system::isRegular(file_))
            throw Failure(kStoreFailure, path_ + " is no regular file");
        // Only an empty file: one that a kill has left without its mark fails below, and the caller
        // removes it.
        if (make && system::sizeOf(file_) == 0)
            makeFirst();
        if (!mapNext(false) || Slot(segments_[0].slots[0]).load() != kMark)
            throw Failure(kStoreFailure, path_ + " is damaged");
    } catch (...) {
        unmapAll();
        system::close(file_);
        throw;
    }
}

HeldLocks::~HeldLocks() {
    unmapAll();
    system::close(file_);
}

HeldLocks::Session HeldLocks::take(tag_t object, Session session) {
    const std::uint64_t wanted = word(object, session);
    for (std::size_t number = 0;; ++number) {
        if (number == segments_.size())
            needNext();
        const Segment& segment = segments_[number];
        const std::size_t place = placeIn(segment.size, object);
        for (std::size_t step = 0; step < kWindow; ++step) {
            const Slot slot(segment.slots[(place + step) % segment.size]);
            std::uint64_t found = slot.load();
            // Another process may change the slot at any time: it may take a free one for another
            // object, or take or release this lock.
            while (found == 0 || found == word(object, 0))
                if (slot.compare_exchange_weak(found, wanted))
                    return session;
            if (objectIn(found) == object)
                return sessionIn(found);
        }
    }
}

void HeldLocks::release(tag_t object, Session session) noexcept {
    try {
        if (std::uint64_t* slot = slotOf(object)) {
            std::uint64_t held = word(object, session);
            Slot(*slot).compare_exchange_strong(held, word(object, 0));
        }
    } catch (...) {
        // A part that can't be mapped now: the lock ends with the session.
    }
}

HeldLocks::Session HeldLocks::owner(tag_t object) {
    std::uint64_t* slot = slotOf(object);
    return slot ? sessionIn(Slot(*slot).load()) : 0;
}

void HeldLocks::releaseAll(const std::function<bool(Session)>& of) {
    mapAll();
    for (const Segment& segment : segments_)
        for (std::size_t i = 0; i < segment.size; ++i) {
            const Slot slot(segment.slots[i]);
            std::uint64_t found = slot.load();
            // If it fails, the owner itself has just released it.
            if (objectIn(found) != NULLTAG && sessionIn(found) != 0 && of(sessionIn(found)))
                slot.compare_exchange_strong(found, word(objectIn(found), 0));
        }
}

std::vector<std::pair<tag_t, HeldLocks::Session>> HeldLocks::all() {
    mapAll();
    std::vector<std::pair<tag_t, Session>> held;
    for (const Segment& segment : segments_)
        for (std::size_t i = 0; i < segment.size; ++i) {
            // Read once: object and session are of one moment.
            const std::uint64_t found = Slot(segment.slots[i]).load();
            if (objectIn(found) != NULLTAG && sessionIn(found) != 0)
                held.emplace_back(objectIn(found), sessionIn(found));
        }
    std::sort(held.begin(), held.end());
    return held;
}

void HeldLocks::compact() {
    const auto held = all();
    const auto taken = std::count_if(segments_[0].slots, segments_[0].slots + segments_[0].size,
                                     [](std::uint64_t slot) { return slot != 0; });
    if (segments_.size() == 1 && static_cast<std::size_t>(taken) < segments_[0].size / 4)
        return;
    // Some systems cut no file that is mapped. On the others the process dies when it touches what
    // is mapped beyond the new end.
    unmapAll();
    if (!system::makeEmpty(file_))
        failFile("can't be written");
    makeFirst();
    mapNext(false);
    for (const auto& [object, session] : held)
        take(object, session);
}

void HeldLocks::makeFirst() {
    const std::size_t bytes = sizeOfSegment(0) * sizeof(std::uint64_t);
    if (!system::reserve(file_, bytes))
        failFile("can't be made");
    void* part = system::map(file_, 0, bytes);
    if (!part)
        failFile("can't be mapped");
    // Last: a table that a kill leaves before this is seen as damaged, and made anew.
    Slot(*static_cast<std::uint64_t*>(part)).store(kMark);
    system::unmap(part, bytes);
}

// Map the next segment. Returns: false, unless `make` is set, if no process has needed it yet.
bool HeldLocks::mapNext(bool make) {
    const std::size_t number = segments_.size();
    if (number == kSegments)
        throw Failure(kStoreFailure, path_ + " is full");
    const std::uint64_t offset = offsetOfSegment(number);
    const std::size_t size = sizeOfSegment(number);
    const std::size_t bytes = size * sizeof(std::uint64_t);
    const std::uint64_t end = offset + bytes;
    // Room on the disk is needed before a page is written: without it the system kills the process
    // at that moment. Where a file system can't reserve, the C library writes to the file instead:
    // not while another process uses what is new.
    if (make)
        one_at_a_time_([&] {
            if (static_cast<std::uint64_t>(system::sizeOf(file_)) < end &&
                !system::reserve(file_, end))
                failFile("can't be made longer");
        });
    const std::int64_t there = system::sizeOf(file_);
    if (there < 0 || static_cast<std::uint64_t>(there) < end)
        return false;
    // Room first: nobody would unmap a part that isn't noted.
    segments_.reserve(number + 1);
    void* part = system::map(file_, offset, bytes);
    if (!part)
        failFile("can't be mapped");
    segments_.push_back({static_cast<std::uint64_t*>(part), size});
    return true;
}

void HeldLocks::needNext() {
    if (!mapNext(true))
        failFile("can't be looked at");
}

void HeldLocks::mapAll() {
    while (segments_.size() < kSegments && mapNext(false)) {
    }
}

void HeldLocks::unmapAll() noexcept {
    for (const Segment& segment : segments_)
        system::unmap(segment.slots, segment.size * sizeof(std::uint64_t));
    segments_.clear();
}

// Null: nobody has ever had the object locked.
std::uint64_t* HeldLocks::slotOf(tag_t object) {
    for (std::size_t number = 0;; ++number) {
        if (number == segments_.size() && (number == kSegments || !mapNext(false)))
            return nullptr;
        const Segment& segment = segments_[number];
        const std::size_t place = placeIn(segment.size, object);
        for (std::size_t step = 0; step < kWindow; ++step) {
            std::uint64_t* slot = &segment.slots[(place + step) % segment.size];
            const std::uint64_t found = Slot(*slot).load();
            if (objectIn(found) == object)
                return slot;
            // No slot becomes free again: if the object had one, it would be before this one.
            if (found == 0)
                return nullptr;
        }
    }
}

void HeldLocks::failFile(const char* what) const {
    throw Failure(kFileFailure, path_ + " " + what + ": " + std::strerror(errno));
}

}  // namespace mervane
