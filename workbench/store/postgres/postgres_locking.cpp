#include <algorithm>

#include "workbench/model/status.h"
#include "workbench/store/postgres/postgres_store.h"

// What is asked about an object before it is changed, and its lock.

namespace mervane {

void PostgresStore::aboutToLock(std::int64_t session, tag_t tag) {
    // It was released, and is locked still: nobody has changed it.
    if (locks_->keeps(session, tag))
        return;
    const TakenLock& taken =
        locks_->takeWithObject(session, tag, [&] { return nextToLock(session, tag); });
    if (taken.rights_state != rights_state_) {
        rights_.clear();
        rights_state_ = taken.rights_state;
    }
    rights_read_ = now();
    State& state = states_[tag];
    state.read = now();
    state.owner = taken.holder;
    state.reserved = false;
    state.check_out.reset();
    if (taken.checked_out)
        state.check_out = {tag, taken.user, taken.date, taken.comment};
    if (!taken.owner && !hasSent(tag))
        locked_[tag] = taken.version;
    const auto at = rows_.find(tag);
    if (at == rows_.end() || !lasts() || hasSent(tag) || at->second.version == taken.version)
        return;
    // Somebody has stored it since this transaction has read it: nothing of what was read is sure,
    // and a run may have decided by it.
    const bool decided = held_ && !at->second.ahead;
    forgetReads();
    if (!decided)
        return;
    notLocked(session, tag);
    meetConflict(kChangedMeanwhile, "#" + std::to_string(tag) + " was stored by " +
                                        lastStoredBy(tag) + " since this run has read it");
}

// A run that locks a second object of a type goes on with those that were named after it,
// presumably. What it didn't use tells that it doesn't.
std::vector<tag_t> PostgresStore::nextToLock(std::int64_t session, tag_t tag) {
    constexpr std::size_t kFirst = 8, kMost = 64;
    std::vector<tag_t> next;
    const auto group = groups_.find(tag);
    const tag_t type = knownType(tag);
    if (!held_ || type == NULLTAG || group == groups_.end())
        return next;
    const auto [at, first] = reserving_.try_emplace(type);
    Reserving& now = at->second;
    const bool wasted = std::any_of(now.tags.begin(), now.tags.end(),
                                    [&](tag_t each) { return locks_->reserves(each); });
    now.many = first || wasted ? 0 : std::clamp(now.many * 4, kFirst, kMost);
    const std::vector<tag_t>& tags = *group->second;
    for (auto each = std::find(tags.begin(), tags.end(), tag);
         each != tags.end() && next.size() < now.many; ++each)
        if (*each != tag && knownType(*each) == type && !locked_.contains(*each) &&
            !locks_->reserves(*each) && !locks_->keeps(session, *each))
            next.push_back(*each);
    now.tags = next;
    return next;
}

std::optional<LockOwner> PostgresStore::lockFirst(std::int64_t session, tag_t tag) {
    if (!held_ || std::exchange(first_locked_, true))
        return std::nullopt;
    aboutToLock(session, tag);
    std::optional<LockOwner> owner = locks_->take(session, tag);
    if (!owner)
        locks_->release(session, tag);  // which keeps it until the end
    unlocked(tag);
    return owner;
}

void PostgresStore::notLocked(std::int64_t session, tag_t tag) noexcept {
    locked_.erase(tag);
    try {
        if (const TakenLock* taken = locks_->taken(tag); taken && !taken->owner)
            locks_->release(session, tag);
        locks_->forgetTaken();
    } catch (...) {
        // It goes with the session, at the latest.
    }
}

void PostgresStore::aboutToAsk(tag_t tag) {
    const auto known = states_.find(tag);
    if (known == states_.end() || !isFresh(known->second.read))
        look(tag);
}

// Read what the questions about an object need, also of those that were named together with it: the
// object, who has it checked out or locked, and whether the rights have changed.
void PostgresStore::look(tag_t tag) {
    std::vector<std::int64_t> tags = together(tag, true);
    std::erase_if(tags, [&](std::int64_t each) {
        const auto known = states_.find(toTag(each));
        return toTag(each) != tag && known != states_.end() && isFresh(known->second.read);
    });
    const Answer rows = askPast(
        "SELECT t.tag, o.type, o.version, o.data, c.by_user, c.date, c.comment, s.number, "
        "s.by_user, s.host, s.process, CASE WHEN s.number IS NOT NULL THEN " KELD_SESSION_LIVES
        " END, m.state, COALESCE(h.session<0, false) FROM unnest($2::bigint[]) t(tag) "
        "CROSS JOIN (SELECT convert_to(value, 'UTF8') AS state FROM meta WHERE "
        "name='rights_changed') m LEFT JOIN object o ON o.tag=t.tag "
        "LEFT JOIN checkout c ON c.object=t.tag LEFT JOIN held h ON h.object=t.tag "
        "LEFT JOIN session s ON s.number=h.session",
        Parameters().add(key_).add(tags));
    for (int i = 0; i < rows.rows(); ++i) {
        const tag_t each = toTag(rows.integer(i, 0));
        State& state = states_[each];
        state.read = now();
        state.check_out.reset();
        state.owner.reset();
        state.reserved = rows.integer(i, 13) != 0;
        if (!rows.isNull(i, 4))
            state.check_out = {each, toTag(rows.integer(i, 4)), rows.text(i, 5), rows.text(i, 6)};
        if (!rows.isNull(i, 7))
            state.owner = LockOwner{rows.integer(i, 7), rows.text(i, 8),
                                    static_cast<int>(rows.integer(i, 10)), rows.integer(i, 11) != 0,
                                    rows.text(i, 9)};
        if (!rows.isNull(i, 1) && !(lasts() && rows_.contains(each)))
            keep(each, toTag(rows.integer(i, 1)), rows.integer(i, 2), rows.bytes(i, 3), lasts());
        if (rows.bytes(i, 12) != rights_state_) {
            rights_.clear();
            rights_state_ = rows.text(i, 12);
        }
    }
    rights_read_ = now();
}

}  // namespace mervane
