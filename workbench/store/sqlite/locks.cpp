#include "workbench/store/sqlite/locks.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <thread>

#include "workbench/model/status.h"
#include "workbench/store/sqlite/held_locks.h"
#include "workbench/store/sqlite/sqlite.h"
#include "workbench/store/waiting.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

// AUTOINCREMENT: a session's number is never given again. Older programs kept the locks in a table
// "held": one that has the store open at the same time fails at its first lock, since it can't
// write to a view.
constexpr const char* kLockTables = R"(
CREATE TABLE IF NOT EXISTS session(id INTEGER PRIMARY KEY AUTOINCREMENT, user TEXT NOT NULL,
                                   process INTEGER NOT NULL);
CREATE VIEW IF NOT EXISTS held AS SELECT 0 AS object, 0 AS session WHERE 0;
CREATE TABLE IF NOT EXISTS activity(session INTEGER PRIMARY KEY, text TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS kept_number(number INTEGER PRIMARY KEY, session INTEGER NOT NULL);
)";

class FileLocks final : public Locks {
public:
    explicit FileLocks(const std::string& store_path)
        : store_path_(store_path),
          path_(store_path + "-locks"),
          directory_(store_path + "-sessions") {
        if (!system::makeDirectory(directory_, store_path_) && errno != EEXIST)
            throw Failure(kFileFailure,
                          directory_ + " can't be made: " + std::string(std::strerror(errno)));
        guard_ = system::open(path_ + "-guard", system::Open::Lock, store_path_);
        if (guard_ < 0)
            throw Failure(kFileFailure,
                          path_ + "-guard can't be made: " + std::string(std::strerror(errno)));
        try {
            // Of several that wait, each gives way to the others for a time of its own.
            constexpr int kTimes = 100;
            const auto pause = std::chrono::microseconds(500 + system::processNumber() % 64 * 50);
            for (int time = 1; !join(time == kTimes); ++time)
                std::this_thread::sleep_for(pause);
        } catch (...) {
            held_.reset();
            connection_.reset();
            system::close(guard_);
            throw;
        }
    }

    ~FileLocks() override {
        // The guard is given up last: who finds it free may make the tables anew.
        while (!files_.empty())
            close(files_.begin()->first);
        held_.reset();
        connection_.reset();
        system::close(guard_);
    }

    std::int64_t open(const std::string& user) override {
        // Drop the rows of killed sessions now: nobody may ever ask for their objects again.
        reclaim();
        Transaction transaction(*connection_);
        for (;;) {
            std::int64_t id = 0;
            {
                Statement made = connection_->statement(
                    "INSERT INTO session(user, process) VALUES(?, ?) RETURNING id");
                made.bind(user).bind(std::int64_t{system::processNumber()});
                if (made.step())
                    id = made.integer(0);
                made.run();
            }
            if (id > std::numeric_limits<HeldLocks::Session>::max())
                throw Failure(kStoreFailure, path_ + " has no numbers left for sessions");
            const int file = system::open(pathOf(id), system::Open::Lock, store_path_);
            if (file < 0)
                throw Failure(kFileFailure,
                              pathOf(id) + " can't be made: " + std::string(std::strerror(errno)));
            if (system::lockExclusive(file)) {
                // Committed only now: whoever sees the row finds the file locked.
                try {
                    files_[id] = file;
                    transaction.commit();
                } catch (...) {
                    files_.erase(id);
                    system::close(file);
                    throw;
                }
                return id;
            }
            // The tables were made anew, and a living session of the old ones has this file: take
            // the next number.
            const int reason = errno;
            system::close(file);
            if (reason != EAGAIN) {
                system::removeFile(pathOf(id));
                throw Failure(kFileFailure,
                              pathOf(id) + " can't be locked: " + std::strerror(reason));
            }
        }
    }

    void close(std::int64_t session) noexcept override {
        const auto at = files_.find(session);
        if (at == files_.end())
            return;
        try {
            // While the file is still locked: others would take the rows for a dead session's.
            Transaction transaction(*connection_);
            forget(session);
            transaction.commit();
            system::removeFile(pathOf(session));
        } catch (...) {
            // The lock on the file ends below, and others reclaim the rows.
        }
        system::close(at->second);
        files_.erase(at);
    }

    std::optional<LockOwner> take(std::int64_t session, tag_t object) override {
        for (;;) {
            const std::int64_t holder = held_->take(object, numberOf(session));
            if (holder == session)
                return std::nullopt;
            // Without an owner: released or reclaimed in this moment, so try again.
            if (std::optional<LockOwner> owner = ownerIfAlive(holder))
                return owner;
        }
    }

    void release(std::int64_t session, tag_t object) override {
        held_->release(object, numberOf(session));
    }

    std::optional<LockOwner> owner(tag_t object) override {
        const std::int64_t holder = held_->owner(object);
        return holder ? ownerIfAlive(holder) : std::nullopt;
    }

    bool keepNumber(std::int64_t session, std::uint32_t number) override {
        for (;;) {
            connection_
                ->statement(
                    "INSERT INTO kept_number(number, session) VALUES(?, ?) ON CONFLICT DO NOTHING")
                .bind(std::int64_t{number})
                .bind(session)
                .run();
            if (connection_->changes() == 1)
                return true;
            std::int64_t keeper = 0;
            {
                Statement row =
                    connection_->statement("SELECT session FROM kept_number WHERE number=?");
                row.bind(std::int64_t{number});
                if (!row.step())
                    continue;  // given up in this moment
                keeper = row.integer(0);
            }
            if (keeper == session)
                return true;
            if (!reclaimIfDead(keeper))
                return false;
        }
    }

    std::vector<LockOwner> sessions() override {
        std::vector<LockOwner> all;
        {
            Statement rows = connection_->statement("SELECT id, user, process FROM session");
            while (rows.step())
                all.push_back({rows.integer(0), std::string(rows.text(1)),
                               static_cast<int>(rows.integer(2)), true});
        }
        for (LockOwner& each : all)
            each.alive = lives(each.session);
        return all;
    }

    bool isOwn(std::int64_t session) const override { return files_.count(session) != 0; }

    void setActivity(std::int64_t session, const std::string& activity) override {
        if (activity.empty())
            connection_->statement("DELETE FROM activity WHERE session=?").bind(session).run();
        else
            connection_->statement("INSERT OR REPLACE INTO activity VALUES(?, ?)")
                .bind(session)
                .bind(std::string_view(activity))
                .run();
    }

    std::vector<std::string> activities() override {
        std::vector<std::pair<std::int64_t, std::string>> all;
        {
            Statement rows =
                connection_->statement("SELECT session, text FROM activity ORDER BY session");
            while (rows.step())
                all.emplace_back(rows.integer(0), std::string(rows.text(1)));
        }
        std::vector<std::string> texts;
        for (auto& [session, text] : all)
            if (lives(session))
                texts.push_back(std::move(text));
        return texts;
    }

    std::vector<Held> held() override {
        std::map<std::int64_t, LockOwner> owners;
        std::vector<Held> all;
        for (const auto& [object, session] : held_->all()) {
            const auto [at, first] = owners.emplace(session, LockOwner{});
            if (first) {
                at->second = knownOwner(session);
                at->second.alive = lives(session);
            }
            all.push_back({object, at->second});
        }
        return all;
    }

    int reclaim() override {
        int dead = 0;
        for (const LockOwner& each : sessions())
            dead += reclaimIfDead(each.session);
        removeStrayFiles();
        return dead;
    }

private:
    std::string store_path_, path_, directory_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<HeldLocks> held_;
    std::map<std::int64_t, int> files_;  // the living sessions of this process
    int guard_ = -1;                     // locked by all who have the tables open

    // Have the tables open, together with others or made here. Returns: false, if whoever was
    // making them was killed at that. `last`: throw the failure then.
    bool join(bool last) {
        if (system::lockExclusive(guard_))
            prepareAlone();
        // Who is alone may be making the tables anew: wait until it has connected.
        waitForSharedLock(guard_, path_ + "-guard");
        try {
            if (!connection_)
                connect(false);
            openHeld(false);
            return true;
        } catch (const Failure&) {
            held_.reset();
            connection_.reset();
            if (last || anyoneLives())
                throw;
            // Another one that waits can be alone now.
            system::unlock(guard_);
            return false;
        }
    }

    // Requires: the guard, for this process alone.
    void prepareAlone() {
        const bool anyone = anyoneLives();
        connectOrMakeAnew(anyone);
        if (anyone)
            openHeld(false);
        else
            makeHeldReady();
        // Before the guard is shared: until then nobody opens a session, so a lock without a row is
        // nobody's.
        forgetWithoutSession();
        // In the moment in which the guard is given up to be shared another process may be alone,
        // and make the file small: it mustn't be mapped here.
        held_.reset();
    }

    // The tables aren't synchronised, so a power failure may break them. They are made anew only
    // when nobody has them open: who went on with the old file would see other locks than the rest.
    void connectOrMakeAnew(bool anyone_lives) {
        try {
            connect(true);
        } catch (const Failure&) {
            if (anyone_lives)
                throw;
            connection_.reset();
            for (const char* suffix : {"", "-wal", "-shm"})
                system::removeFile(path_ + suffix);
            connect(true);
        }
    }

    void openHeld(bool make) {
        held_ = std::make_unique<HeldLocks>(path_ + "-held", store_path_, make,
                                            [this](const std::function<void()>& steps) {
                                                Transaction transaction(*connection_);
                                                steps();
                                                transaction.commit();
                                            });
    }

    // As connectOrMakeAnew().
    void makeHeldReady() {
        try {
            openHeld(true);
        } catch (const Failure&) {
            system::removeFile(path_ + "-held");
            openHeld(true);
        }
        // Objects that nobody has locked any more are dropped while that disturbs nobody.
        held_->compact();
    }

    void connect(bool alone) {
        // Make the file with the rights of the store's. Never open an existing one here: closing it
        // would end the locks that this process's other connections have on it.
        if (const int made = system::open(path_, system::Open::WriteNew, store_path_); made >= 0)
            system::close(made);
        connection_ = std::make_unique<Connection>(path_, Connection::Mode::Create);
        connection_->useWriteAheadLog();
        connection_->execute("PRAGMA synchronous=OFF");
        {
            // SQLite tells damage only when it reads the page, and then sessions may hold locks
            // already. Now the tables may still be made anew.
            Statement check = connection_->statement("PRAGMA quick_check");
            if (!check.step() || check.text(0) != "ok")
                throw Failure(kStoreFailure, path_ + " is damaged");
        }
        // First: the view isn't made while the table has its name.
        dropHeldOfOlderProgram(alone);
        connection_->execute(kLockTables);
    }

    // The sessions of an older program that has ended have no locks any more. One that is still at
    // work has locks that this program doesn't see.
    void dropHeldOfOlderProgram(bool alone) {
        {
            Statement row = connection_->statement(
                "SELECT 1 FROM sqlite_schema WHERE type='table' AND name='held'");
            if (!row.step())
                return;
        }
        if (!alone || anyoneLives())
            throw Failure(kStoreFailure,
                          "An older program has " + store_path_ + " open: end it first");
        connection_->execute("DROP TABLE held");
    }

    std::string pathOf(std::int64_t session) const {
        return directory_ + "/" + std::to_string(session);
    }

    static bool fileIsLocked(const std::string& path) {
        const int file = system::open(path, system::Open::LockExisting);
        if (file < 0)
            return errno != ENOENT;  // a file that can't be looked at may be a living session's
        // A shared lock, so that two who look at once don't take each other for the session.
        const bool locked = !system::lockShared(file);
        system::close(file);
        return locked;
    }

    bool lives(std::int64_t session) const {
        return files_.count(session) || fileIsLocked(pathOf(session));
    }

    bool anyoneLives() const {
        std::error_code error;
        for (std::filesystem::directory_iterator at(system::pathOf(directory_), error), end;
             !error && at != end; at.increment(error))
            if (fileIsLocked(at->path().string()))
                return true;
        return false;
    }

    bool isKnownName(const std::string& digits) {
        Statement row = connection_->statement("SELECT 1 FROM session WHERE id=CAST(? AS INTEGER)");
        row.bind(std::string_view(digits));
        return row.step();
    }

    bool isKnown(std::int64_t session) {
        Statement row = connection_->statement("SELECT 1 FROM session WHERE id=?");
        row.bind(session);
        return row.step();
    }

    // As HeldLocks has it; open() sees to it that it fits.
    static HeldLocks::Session numberOf(std::int64_t session) {
        return static_cast<HeldLocks::Session>(session);
    }

    // User and process are empty if the session isn't known.
    LockOwner knownOwner(std::int64_t session) {
        LockOwner owner{session, "", 0, true};
        Statement row = connection_->statement("SELECT user, process FROM session WHERE id=?");
        row.bind(session);
        if (row.step()) {
            owner.user = std::string(row.text(0));
            owner.process = static_cast<int>(row.integer(1));
        }
        return owner;
    }

    // Nothing: the session has ended, and its locks are gone.
    std::optional<LockOwner> ownerIfAlive(std::int64_t session) {
        LockOwner owner = knownOwner(session);
        if (reclaimIfDead(session))
            return std::nullopt;
        return owner;
    }

    // A session that was killed while it opened or closed leaves a file without a row. Nobody opens
    // a session during this transaction, so a file without a row and a lock is nobody's.
    void removeStrayFiles() {
        std::vector<std::string> names;
        std::error_code error;
        for (std::filesystem::directory_iterator at(system::pathOf(directory_), error), end;
             !error && at != end; at.increment(error))
            if (std::string name = at->path().filename().string();
                name.find_first_not_of("0123456789") == std::string::npos && !isKnownName(name))
                names.push_back(std::move(name));
        // Mostly there are none: take no write lock for nothing.
        if (names.empty())
            return;
        Transaction transaction(*connection_);
        for (const std::string& name : names)
            if (!isKnownName(name) && !fileIsLocked(directory_ + "/" + name))
                system::removeFile(directory_ + "/" + name);
        transaction.commit();
    }

    // After a power failure the tables may not fit together. A lock without its session is
    // nobody's, but a new session may get its number.
    void forgetWithoutSession() {
        Transaction transaction(*connection_);
        for (const char* table : {"kept_number", "activity"})
            connection_->execute(("DELETE FROM " + std::string(table) +
                                  " WHERE session NOT IN (SELECT id FROM session)")
                                     .c_str());
        transaction.commit();
        held_->releaseAll([this](HeldLocks::Session session) { return !isKnown(session); });
    }

    void forget(std::int64_t session) {
        held_->releaseAll([session](HeldLocks::Session each) { return each == session; });
        connection_->statement("DELETE FROM kept_number WHERE session=?").bind(session).run();
        connection_->statement("DELETE FROM activity WHERE session=?").bind(session).run();
        connection_->statement("DELETE FROM session WHERE id=?").bind(session).run();
    }

    // Numbers are never used again, so a session seen dead stays dead.
    bool reclaimIfDead(std::int64_t session) {
        if (lives(session))
            return false;
        Transaction transaction(*connection_);
        forget(session);
        transaction.commit();
        system::removeFile(pathOf(session));
        return true;
    }
};

}  // namespace

std::shared_ptr<Locks> fileLocks(const std::string& store_path) {
    return std::make_shared<FileLocks>(store_path);
}

}  // namespace mervane
