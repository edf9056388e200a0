#include "workbench/store/postgres/server_locks.h"

#include <set>

#include "workbench/model/status.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

// The sessions of this process: key of the store and number. Each has locks of its own.
std::set<std::pair<std::int64_t, std::int64_t>> opened_here;

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
    try {
        for (const char* sql : {"DELETE FROM held WHERE session=$1::bigint",
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

const TakenLock& ServerLocks::takeWithObject(std::int64_t session, tag_t object) {
    for (;;) {
        TakenLock taken;
        taken.session = session;
        taken.object = object;
        side_->later("INSERT INTO held VALUES($1::bigint, $2::bigint) ON CONFLICT DO NOTHING",
                     Parameters().add(std::int64_t{object}).add(session));
        // A statement of its own: it sees what was stored before the lock was taken.
        const Answer answer = side_->ask(
            "SELECT s.number, s.by_user, s.host, s.process, o.version, c.by_user, c.date, "
            "c.comment, convert_to(m.value, 'UTF8'), h.session FROM meta m "
            "LEFT JOIN object o ON o.tag=$1::bigint LEFT JOIN held h ON h.object=$1::bigint "
            "LEFT JOIN session s ON s.number=h.session "
            "LEFT JOIN checkout c ON c.object=$1::bigint WHERE m.name='rights_changed'",
            Parameters().add(std::int64_t{object}));
        if (answer.rows() != 1)
            throw Failure(kStoreFailure,
                          "store " + side_->address().shown + " is damaged: a row of meta is lost");
        const std::int64_t holder = answer.integer(0, 9);
        taken.holder = ownerOf(answer, 0, 0);
        if (holder != session) {
            // Without an owner: released in this moment, so try again.
            if (answer.isNull(0, 9) || reclaimIfDead(holder))
                continue;
            taken.owner = taken.holder;
        }
        taken.version = answer.integer(0, 4);
        taken.checked_out = !answer.isNull(0, 5);
        taken.user = toTag(answer.integer(0, 5));
        taken.date = answer.text(0, 6);
        taken.comment = answer.text(0, 7);
        taken.rights_state = answer.text(0, 8);
        taken_ = std::move(taken);
        if (changed_)
            changed_(object);
        return *taken_;
    }
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
        std::vector<std::int64_t> objects, sessions;
        for (const auto& [object, session] : std::exchange(released_, {})) {
            sessions.push_back(session);
            objects.push_back(object);
        }
        if (objects.empty())
            return;
        side_->later(
            "DELETE FROM held h USING unnest($1::bigint[], $2::bigint[]) r(object, session) "
            "WHERE h.object=r.object AND h.session=r.session",
            Parameters().add(objects).add(sessions));
        side_->send();
    } catch (...) {
        // They go with the session, at the latest.
    }
}

bool ServerLocks::keeps(std::int64_t session, tag_t object) const {
    const auto at = released_.find(object);
    return at != released_.end() && at->second == session;
}

std::optional<LockOwner> ServerLocks::owner(tag_t object) {
    if (ahead_)
        // An owner that doesn't live any more is looked at below.
        if (const auto* known = ahead_(object); known && (!*known || (*known)->alive))
            return *known;
    const Answer answer =
        side_->ask("SELECT s.number, s.by_user, s.host, s.process, " KELD_SESSION_LIVES
                   " FROM held h JOIN session s ON s.number=h.session WHERE h.object=$2::bigint",
                   Parameters().add(key_).add(std::int64_t{object}));
    if (answer.rows() == 0)
        return std::nullopt;
    LockOwner owner = ownerOf(answer, 0, 0);
    if (answer.integer(0, 4) == 0 && reclaimIfDead(owner.session))
        return std::nullopt;
    return owner;
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
        if (keeper.integer(0, 0) == session)
            return true;
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
        ", h.object FROM held h LEFT JOIN session s ON s.number=h.session ORDER BY h.object",
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
    for (const char* sql : {"DELETE FROM held WHERE session=$1::bigint",
                            "DELETE FROM kept_number WHERE session=$1::bigint",
                            "DELETE FROM session WHERE number=$1::bigint"})
        side_->later(sql, Parameters().add(session));
    side_->ask("SELECT pg_advisory_unlock($1::bigint::int, ($2::bigint+16)::int)",
               Parameters().add(key_).add(session));
    return true;
}

}  // namespace mervane
