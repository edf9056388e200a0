#include "workbench/store/postgres/server_locks.h"

#include <algorithm>
#include <set>
#include <thread>

#include "workbench/model/status.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

// A session uses what it has reserved for the first half of the time after which others take it.
constexpr std::chrono::milliseconds kReserved{200}, kReservedToUse{100}, kTellUsed{20};

// The sessions of this process: key of the store and number. Each has locks of its own.
std::set<std::pair<std::int64_t, std::int64_t>> opened_here;

using ObjectAndSession = std::pair<tag_t, std::int64_t>;

Parameters asLists(const std::vector<ObjectAndSession>& pairs) {
    std::vector<std::int64_t> objects, sessions;
    for (const auto& [object, session] : pairs) {
        objects.push_back(object);
        sessions.push_back(session);
    }
    return Parameters().add(objects).add(sessions);
}

LockOwner ownerOf(const Answer& answer, int row, int column) {
    LockOwner owner;
    owner.session = answer.integer(row, column);
    owner.user = answer.text(row, column + 1);
    owner.host = answer.text(row, column + 2);
    owner.process = static_cast<int>(answer.integer(row, column + 3));
    return owner;
}

}  // namespace

ServerLocks::ServerLocks(ServerConnection& main, std::shared_ptr<ServerConnection> side,
                         std::int64_t key)
    : main_(main), side_(std::move(side)), key_(key) {
}

std::int64_t ServerLocks::open(const std::string& user) {
    reclaim();
    // The lock first: who saw a row without it would take the session for one that has ended.
    const Answer number = main_.ask(
        "SELECT n, pg_advisory_lock($1::bigint::int, (n+16)::int) FROM nextval('session_number') n",
        Parameters().add(key_));
    const std::int64_t session = number.integer(0, 0);
    side_->ask(
        "INSERT INTO session(number, by_user, host, process) VALUES($1::bigint, $2::bytea, "
        "$3::bytea, $4::bigint)",
        Parameters()
            .add(session)
            .add(std::string_view(user))
            .add(std::string_view(system::hostName()))
            .add(std::int64_t{system::processNumber()}));
    opened_here.emplace(key_, session);
    return session;
}

void ServerLocks::close(std::int64_t session) noexcept {
    taken_.reset();
    opened_here.erase({key_, session});
    const auto is_its = [session](const auto& each) { return each.second == session; };
    std::erase_if(untold_, is_its);
    std::erase_if(used_, is_its);
    std::erase_if(released_, is_its);
    std::erase_if(reserved_,
                  [session](const auto& each) { return each.second.lock.session == session; });
    try {
        for (const char* sql : {"DELETE FROM held WHERE session IN ($1::bigint, -$1::bigint)",
                                "DELETE FROM kept_number WHERE session=$1::bigint",
                                "DELETE FROM session WHERE number=$1::bigint"})
            side_->later(sql, Parameters().add(session));
        side_->settle();
        main_.ask("SELECT pg_advisory_unlock($1::bigint::int, ($2::bigint+16)::int)",
                  Parameters().add(key_).add(session));
    } catch (...) {
        // The server's lock ends with the connection, and others reclaim the rows.
    }
}

const TakenLock& ServerLocks::takeWithObject(std::int64_t session, tag_t object,
                                             const std::function<std::vector<tag_t>()>& next) {
    const auto told = [&]() -> const TakenLock& {
        if (changed_)
            changed_(object);
        return *taken_;
    };
    if (useReserved(session, object))
        return told();
    if (const auto old = reserved_.find(object); old != reserved_.end()) {
        // Too old to be used unseen, or of another session of this store.
        side_->later(
            "UPDATE held SET session=$2::bigint WHERE object=$1::bigint AND session=$3::bigint",
            Parameters().add(std::int64_t{object}).add(session).add(-old->second.lock.session));
        side_->send();
        reserved_.erase(old);
    }
    std::vector<tag_t> wanted;
    if (next)
        wanted = next();
    wanted.push_back(object);
    // All insert in this order, so that no two wait for one another.
    std::sort(wanted.begin(), wanted.end());
    SeenReserved seen;
    for (;;) {
        const Clock::time_point asked = Clock::now();
        tellUsed();
        std::vector<std::int64_t> objects(wanted.begin(), wanted.end()), sessions;
        for (const tag_t each : wanted)
            sessions.push_back(each == object ? session : -session);
        side_->later(
            "INSERT INTO held SELECT * FROM unnest($1::bigint[], $2::bigint[]) "
            "ON CONFLICT DO NOTHING",
            Parameters().add(objects).add(sessions));
        // A statement of its own: it sees what was stored before the lock was taken.
        const Answer answer = side_->ask(
            "SELECT s.number, s.by_user, s.host, s.process, o.version, c.by_user, c.date, "
            "c.comment, convert_to(m.value, 'UTF8'), h.session, t.tag, h.xmin::text::bigint "
            "FROM unnest($1::bigint[]) t(tag) CROSS JOIN meta m "
            "LEFT JOIN object o ON o.tag=t.tag LEFT JOIN held h ON h.object=t.tag "
            "LEFT JOIN session s ON s.number=abs(h.session) "
            "LEFT JOIN checkout c ON c.object=t.tag WHERE m.name='rights_changed'",
            Parameters().add(objects));
        if (answer.rows() != static_cast<int>(objects.size()))
            throw Failure(kStoreFailure,
                          "store " + side_->address().shown + " is damaged: a row of meta is lost");
        std::int64_t holder = 0, row = 0;
        TakenLock own;
        for (int i = 0; i < answer.rows(); ++i) {
            TakenLock taken;
            taken.session = session;
            taken.object = toTag(answer.integer(i, 10));
            taken.holder = ownerOf(answer, i, 0);
            taken.version = answer.integer(i, 4);
            taken.checked_out = !answer.isNull(i, 5);
            taken.user = toTag(answer.integer(i, 5));
            taken.date = answer.text(i, 6);
            taken.comment = answer.text(i, 7);
            taken.rights_state = answer.text(i, 8);
            if (taken.object == object) {
                holder = answer.integer(i, 9);
                row = answer.integer(i, 11);
                own = std::move(taken);
            } else if (answer.integer(i, 9) == -session) {
                reserved_.insert_or_assign(taken.object,
                                           Reserved{std::move(taken), asked + kReservedToUse});
            }
        }
        wanted = {object};
        if (holder != session) {
            // Without an owner: released in this moment, so try again.
            if (holder == 0 || reclaimIfDead(std::abs(holder)))
                continue;
            if (holder < 0) {
                if (isOver(seen, row)) {
                    side_->later(
                        "UPDATE held SET session=$2::bigint WHERE object=$1::bigint AND "
                        "session=$3::bigint AND xmin::text::bigint=$4::bigint",
                        Parameters().add(std::int64_t{object}).add(session).add(holder).add(row));
                    side_->send();
                }
                continue;
            }
            own.owner = own.holder;
        }
        taken_ = std::move(own);
        return told();
    }
}

bool ServerLocks::useReserved(std::int64_t session, tag_t object) {
    const auto at = reserved_.find(object);
    if (at == reserved_.end() || at->second.lock.session != session)
        return false;
    const Clock::time_point now = Clock::now();
    if (now >= at->second.until)
        return false;
    taken_ = std::move(at->second.lock);
    reserved_.erase(at);
    if (untold_.empty())
        untold_since_ = now;
    untold_.emplace_back(object, session);
    return true;
}

void ServerLocks::tellInTime() {
    if (!untold_.empty() && Clock::now() - untold_since_ > kTellUsed)
        tellUsed();
}

// Tell the server which reservations are locks now. Its answer isn't waited for.
void ServerLocks::tellUsed() {
    if (untold_.empty())
        return;
    side_->later(
        "UPDATE held h SET session=u.session FROM unnest($1::bigint[], $2::bigint[]) "
        "u(object, session) WHERE h.object=u.object AND h.session=-u.session",
        asLists(untold_));
    side_->send();
    used_.insert(used_.end(), untold_.begin(), untold_.end());
    untold_.clear();
}

void ServerLocks::needReserved() {
    tellUsed();
    if (used_.empty())
        return;
    const Answer lost = side_->ask(
        "SELECT s.number, s.by_user, s.host, s.process, u.object FROM unnest($1::bigint[], "
        "$2::bigint[]) u(object, session) LEFT JOIN held h ON h.object=u.object LEFT JOIN session "
        "s "
        "ON s.number=abs(h.session) WHERE h.session IS DISTINCT FROM u.session LIMIT 1",
        asLists(used_));
    if (lost.rows() != 0)
        throw Failure(kLockedByOther,
                      "#" + std::to_string(lost.integer(0, 4)) +
                          " was locked for this run, which then paused for so long that " +
                          (lost.isNull(0, 0) ? "another session" : described(ownerOf(lost, 0, 0))) +
                          " took the lock over");
}

// Whether others may take away the reservation that this row is. Waits a moment if not.
bool ServerLocks::isOver(SeenReserved& seen, std::int64_t row) const {
    const Clock::time_point now = Clock::now();
    if (seen.row != row)
        seen = {row, now};
    if (now - seen.since >= kReserved)
        return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return false;
}

const TakenLock* ServerLocks::taken(tag_t object) const {
    return taken_ && taken_->object == object ? &*taken_ : nullptr;
}

std::optional<LockOwner> ServerLocks::take(std::int64_t session, tag_t object) {
    if (keeps(session, object)) {
        released_.erase(object);
        return std::nullopt;
    }
    const TakenLock* known = taken(object);
    if (!known || known->session != session)
        known = &takeWithObject(session, object);
    return known->owner;
}

void ServerLocks::release(std::int64_t session, tag_t object) {
    if (taken(object))
        taken_.reset();
    if (changed_)
        changed_(object);
    if (keeps_) {
        released_.emplace(object, session);
        return;
    }
    side_->later("DELETE FROM held WHERE object=$1::bigint AND session=$2::bigint",
                 Parameters().add(std::int64_t{object}).add(session));
    side_->send();
}

void ServerLocks::giveReleased() noexcept {
    keeps_ = false;
    taken_.reset();
    try {
        std::vector<ObjectAndSession> given(released_.begin(), released_.end());
        released_.clear();
        // Those that were used and not released stay.
        tellUsed();
        used_.clear();
        for (const auto& [object, each] : std::exchange(reserved_, {}))
            given.emplace_back(object, -each.lock.session);
        if (given.empty())
            return;
        side_->later(
            "DELETE FROM held h USING unnest($1::bigint[], $2::bigint[]) r(object, session) "
            "WHERE h.object=r.object AND h.session=r.session",
            asLists(given));
        side_->send();
    } catch (...) {
        // They go with the session, at the latest.
    }
}

bool ServerLocks::keeps(std::int64_t session, tag_t object) const {
    const auto at = released_.find(object);
    return at != released_.end() && at->second == session;
}

std::optional<LockOwner> ServerLocks::askOwner(tag_t object, bool to_change) {
    if (ahead_)
        // An owner that doesn't live any more is looked at below.
        if (const auto* known = ahead_(object, to_change); known && (!*known || (*known)->alive))
            return *known;
    // What this session uses isn't a reservation.
    tellUsed();
    for (SeenReserved seen;;) {
        const Answer answer = side_->ask(
            "SELECT s.number, s.by_user, s.host, s.process, h.session, "
            "h.xmin::text::bigint, " KELD_SESSION_LIVES
            " FROM held h JOIN session s ON s.number=abs(h.session) WHERE "
            "h.object=$2::bigint",
            Parameters().add(key_).add(std::int64_t{object}));
        if (answer.rows() == 0 || reserves(object))
            return std::nullopt;
        LockOwner owner = ownerOf(answer, 0, 0);
        const std::int64_t holder = answer.integer(0, 4), row = answer.integer(0, 5);
        if (answer.integer(0, 6) == 0 && reclaimIfDead(owner.session))
            return std::nullopt;
        if (holder > 0)
            return owner;
        if (!to_change)
            return std::nullopt;
        // The session that has reserved it would take what it knows of it for current.
        if (isOver(seen, row))
            side_->later(
                "DELETE FROM held WHERE object=$1::bigint AND session=$2::bigint AND "
                "xmin::text::bigint=$3::bigint",
                Parameters().add(std::int64_t{object}).add(holder).add(row));
    }
}

bool ServerLocks::keepNumber(std::int64_t session, std::uint32_t number) {
    for (;;) {
        side_->later(
            "INSERT INTO kept_number VALUES($1::bigint, $2::bigint) ON CONFLICT DO NOTHING",
            Parameters().add(std::int64_t{number}).add(session));
        const Answer keeper = side_->ask("SELECT session FROM kept_number WHERE number=$1::bigint",
                                         Parameters().add(std::int64_t{number}));
        if (keeper.rows() == 0)
            continue;  // given up in this moment
        if (keeper.integer(0, 0) == session) {
            if (changed_)
                changed_(NULLTAG);
            return true;
        }
        if (!reclaimIfDead(keeper.integer(0, 0)))
            return false;
    }
}

std::vector<LockOwner> ServerLocks::sessions() {
    std::vector<LockOwner> all;
    const Answer rows =
        side_->ask("SELECT s.number, s.by_user, s.host, s.process, " KELD_SESSION_LIVES
                   " FROM session s ORDER BY s.number",
                   Parameters().add(key_));
    for (int i = 0; i < rows.rows(); ++i) {
        all.push_back(ownerOf(rows, i, 0));
        all.back().alive = rows.integer(i, 4) != 0;
    }
    return all;
}

bool ServerLocks::isOwn(std::int64_t session) const {
    return opened_here.contains({key_, session});
}

void ServerLocks::setActivity(std::int64_t session, const std::string& activity) {
    side_->ask("UPDATE session SET activity=$2::bytea WHERE number=$1::bigint",
               Parameters().add(session).add(std::string_view(activity)));
}

bool ServerLocks::isAtWork(std::int64_t session) {
    return side_
               ->ask("SELECT 1 FROM session WHERE number=$1::bigint AND activity<>''::bytea",
                     Parameters().add(session))
               .rows() != 0;
}

std::vector<std::string> ServerLocks::activities() {
    std::vector<std::string> texts;
    const Answer rows = side_->ask(
        "SELECT s.activity FROM session s WHERE s.activity<>''::bytea AND " KELD_SESSION_LIVES
        " ORDER BY s.number",
        Parameters().add(key_));
    for (int i = 0; i < rows.rows(); ++i)
        texts.push_back(rows.text(i, 0));
    return texts;
}

std::vector<Locks::Held> ServerLocks::held() {
    std::vector<Held> all;
    const Answer rows = side_->ask(
        "SELECT h.session, s.by_user, s.host, s.process, " KELD_SESSION_LIVES
        ", h.object FROM held h LEFT JOIN session s ON s.number=h.session WHERE h.session>0 "
        "ORDER BY h.object",
        Parameters().add(key_));
    for (int i = 0; i < rows.rows(); ++i) {
        all.push_back({static_cast<tag_t>(rows.integer(i, 5)), ownerOf(rows, i, 0)});
        all.back().owner.alive = rows.integer(i, 4) != 0;
    }
    return all;
}

int ServerLocks::reclaim() {
    int dead = 0;
    for (const LockOwner& each : sessions())
        dead += !each.alive && reclaimIfDead(each.session);
    return dead;
}

// Whoever gets the lock of a session knows that it has ended, and that nobody else takes its rows
// away at the same time.
bool ServerLocks::reclaimIfDead(std::int64_t session) {
    const Answer got =
        side_->ask("SELECT pg_try_advisory_lock($1::bigint::int, ($2::bigint+16)::int)",
                   Parameters().add(key_).add(session));
    if (got.integer(0, 0) == 0)
        return false;
    for (const char* sql : {"DELETE FROM held WHERE session IN ($1::bigint, -$1::bigint)",
                            "DELETE FROM kept_number WHERE session=$1::bigint",
                            "DELETE FROM session WHERE number=$1::bigint"})
        side_->later(sql, Parameters().add(session));
    side_->ask("SELECT pg_advisory_unlock($1::bigint::int, ($2::bigint+16)::int)",
               Parameters().add(key_).add(session));
    return true;
}

}  // namespace mervane
