#include "workbench/store/postgres/postgres_store.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "workbench/model/status.h"
#include "workbench/store/postgres/schema.h"
#include "workbench/store/postgres/server_directory.h"
#include "workbench/store/postgres/server_runs.h"
#include "workbench/store/postgres/server_volume.h"
#include "workbench/system/system.h"

// Making, opening, and the transactions.

namespace mervane {

namespace {

// Changes that the sessions of this process have made.
std::atomic<std::uint64_t> changes{0};

std::chrono::milliseconds freshness() {
    const std::string set = system::environment("MERVANE_FRESH_MS");
    return std::chrono::milliseconds(set.empty() ? 50 : std::max(0, std::atoi(set.c_str())));
}

// Of a store's key, who writes has the lock 1: alone, or shared with others who write.
constexpr const char* kWriteShared = "SELECT pg_advisory_xact_lock_shared($1::bigint::int, 1)";
constexpr const char* kWriteAlone = "SELECT pg_advisory_xact_lock($1::bigint::int, 1)";
// Runs write at the same time. Those that delete or change settings have the lock 3 besides, one
// after the other: to wait for the end of all others, as who writes alone does, two of them would
// wait for one another.
constexpr const char* kRunAlone = "SELECT pg_advisory_xact_lock($1::bigint::int, 3)";

// The first 31 bits of the store's id: those that two stores of one database have in common would
// only make them wait for one another.
std::int64_t keyOf(const std::string& identity) {
    return static_cast<std::int64_t>(std::strtoul(identity.substr(0, 8).c_str(), nullptr, 16) &
                                     0x7FFFFFFFUL);
}

// Of "Key (kind, owner, id)=(4, 0, \x313030) already exists." what the bytes are: ": 100".
std::string lastBytesIn(const std::string& detail) {
    const auto digit = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    };
    const std::size_t begin = detail.rfind("\\x");
    std::string bytes;
    if (begin != std::string::npos)
        for (std::size_t i = begin + 2;
             i + 1 < detail.size() && digit(detail[i]) >= 0 && digit(detail[i + 1]) >= 0; i += 2)
            bytes += static_cast<char>(digit(detail[i]) * 16 + digit(detail[i + 1]));
    return bytes.empty() ? "" : ": " + bytes;
}

}  // namespace

// ---- making and opening ----

void PostgresStore::make(const std::string& address,
                         const std::function<void(const std::shared_ptr<Store>&)>& fill,
                         const std::string& volume) {
    ServerConnection connection(ServerAddress::of(address));
    std::optional<NewDirectory> directory;
    if (!volume.empty())
        directory.emplace(volume);
    createServerTables(connection);
    try {
        if (directory)
            connection.ask(
                "INSERT INTO meta VALUES('volume', convert_from($1::bytea, 'UTF8')), "
                "('volume_mark', convert_from($2::bytea, 'UTF8'))",
                Parameters()
                    .add(std::string_view(directory->place().directory))
                    .add(std::string_view(directory->place().mark)));
        if (fill)
            fill(openAs(address, true));
        finishStore(connection, directory.has_value());
    } catch (...) {
        try {
            dropServerTables(connection);
        } catch (const Failure&) {
            // What is left is no store, and whoever opens it is told so; or the answer of the
            // server was lost, and it is one, with its files.
            if (directory)
                directory->keep();
        }
        throw;
    }
    if (directory)
        directory->keep();
}

std::shared_ptr<Store> PostgresStore::openAt(const std::string& address) {
    return openAs(address, false);
}

std::shared_ptr<Store> PostgresStore::openAs(const std::string& address, bool unfinished) {
    const ServerAddress parsed = ServerAddress::of(address);
    auto shared = std::make_shared<Shared>();
    shared->path = parsed.shown;
    auto side = std::make_shared<ServerConnection>(parsed);
    // Locks are lost with the sessions, and a block of tags is on the disk before an object that
    // has one of them: nobody has to wait for the disk here.
    side->ask("SELECT set_config('synchronous_commit', 'off', false)");
    needServerStore(*side, unfinished);
    const Answer known = side->ask(
        "SELECT name, convert_to(value, 'UTF8') FROM meta WHERE name IN ('store_id', 'volume', "
        "'volume_mark')");
    std::map<std::string, std::string> values;
    for (int i = 0; i < known.rows(); ++i)
        values[known.text(i, 0)] = known.text(i, 1);
    const std::int64_t key = keyOf(values["store_id"]);
    if (values.contains("volume"))
        shared->volume = std::make_unique<ServerDirectory>(
            ServerDirectory::Place{values["volume"], values["volume_mark"]}, unfinished, side, key);
    else
        shared->volume = std::make_unique<ServerVolume>(side, key);
    shared->locks = memoryLocks();
    const std::shared_ptr<PostgresStore> store(
        new PostgresStore(std::move(shared), parsed, std::move(side)));
    if (const auto* directory = dynamic_cast<ServerDirectory*>(&store->volume()))
        directory->needPlace(!store->readOnly());
    store->loadAdditions();
    return store;
}

std::string PostgresStore::directoryOfFiles() {
    const auto* directory = dynamic_cast<ServerDirectory*>(&volume());
    return directory ? directory->directory() : "";
}

std::shared_ptr<Store> PostgresStore::another(const std::shared_ptr<Store>&) {
    return std::shared_ptr<Store>(new PostgresStore(sharedWithAll(), main_->address(), side_));
}

PostgresStore::PostgresStore(std::shared_ptr<Shared> all, const ServerAddress& address,
                             std::shared_ptr<ServerConnection> side)
    : Store(std::move(all)),
      main_(std::make_unique<ServerConnection>(address)),
      side_(std::move(side)),
      registry_(*this) {
    key_ = keyOf(identity());
    read_only_ = main_->ask("SELECT has_table_privilege('object', 'INSERT')").integer(0, 0) == 0;
    locks_ = std::make_unique<ServerLocks>(*main_, side_, key_);
    const auto who = [this] {
        std::string texts;
        try {
            for (const std::string& each : locks_->activities())
                texts += (texts.empty() ? "" : "; ") + each;
        } catch (const Failure&) {
            // This failure must not replace the one that is being told.
        }
        return texts;
    };
    main_->onBusy(who);
    locks_->askFirst(
        [this](tag_t object, bool free) -> const std::optional<LockOwner>* {
            const auto at = states_.find(object);
            return at != states_.end() && isFresh(at->second.read) && !(free && at->second.reserved)
                       ? &at->second.owner
                       : nullptr;
        },
        [this](tag_t object) {
            // Until a number was kept, another session may have stored an id with it.
            if (object == NULLTAG)
                forgetTexts();
            if (const auto at = states_.find(object); at != states_.end())
                at->second.owner.reset();
            noteChange();
        });
    const auto handle = [this](const char* cls, const char* attribute) {
        return model().findAttribute(*model().findClass(cls), attribute)->handle;
    };
    item_id_ = handle("Item", "item_id");
    revision_id_ = handle("ItemRevision", "item_revision_id");
    revision_item_ = handle("ItemRevision", "items_tag");
}

PostgresStore::~PostgresStore() {
    closeBatches();
}

// Each call of the platform asks this first.
void PostgresStore::needSound() const {
    ++call_;
    main_->needSound();
    side_->needSound();
    locks_->tellInTime();
}

void PostgresStore::needWriting() const {
    if (read_only_)
        throw Failure(kStoreFailure, "store " + path() +
                                         " can't be changed: the user of the database has no right "
                                         "to do that");
}

// ---- what was read ----

PostgresStore::Stamp PostgresStore::now() const {
    return {call_, changes.load(std::memory_order_relaxed) - own_changes_,
            std::chrono::steady_clock::now()};
}

bool PostgresStore::isFresh(const Stamp& read) const {
    static const std::chrono::milliseconds limit = freshness();
    if (lasts() || read.call == call_)
        return true;
    return changes.load(std::memory_order_relaxed) - own_changes_ == read.others &&
           std::chrono::steady_clock::now() - read.time < limit;
}

// Sessions of this process never take what this one has changed for what it was.
void PostgresStore::noteChange() noexcept {
    changes.fetch_add(1, std::memory_order_relaxed);
    ++own_changes_;
}

// ---- transactions ----

bool PostgresStore::begin(bool alone) {
    main_->needSound();
    const bool part = open_;
    if (!part) {
        needWriting();
        parts_.clear();
        needed_.clear();
        open_ = true;
        begun_ = false;
        alone_ = false;
        // Of a batch that is given up the reason stays.
        if (!held_) {
            why_lost_.clear();
            first_locked_ = false;
        }
    }
    parts_.emplace_back();
    if (!alone || alone_)
        return part;
    if (!part) {
        beginToLast();
        alone_ = true;
    } else if (!run_alone_) {
        run_alone_ = true;
        queueBegin();
        main_->later(kRunAlone, Parameters().add(key_));
    }
    return part;
}

// The server hears of a transaction with the first question that needs it.
void PostgresStore::queueBegin() {
    if (!open_ || begun_)
        return;
    main_->later("BEGIN");
    main_->later(alone_ ? kWriteAlone : kWriteShared, Parameters().add(key_));
    begun_ = true;
}

// With one name for all, a part could go back to one that is in it and hasn't ended.
const PostgresStore::PartWords& PostgresStore::partWords(std::size_t depth) {
    while (part_words_.size() <= depth) {
        const std::string name = "SAVEPOINT part" + std::to_string(part_words_.size());
        part_words_.push_back({name, "ROLLBACK TO " + name, "RELEASE " + name});
    }
    return part_words_[depth];
}

// Give everything that waits to the server, part by part.
void PostgresStore::queueParts(bool all) {
    bool anything = all && open_;
    for (const Pending& part : parts_)
        anything = anything || !part.empty();
    if (!anything)
        return;
    queueBegin();
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        if (i > 0 && !parts_[i].begun) {
            parts_[i].begun_at = main_->nextStatement();
            main_->later(partWords(i).begin.c_str());
            parts_[i].begun = true;
        }
        queue(parts_[i]);
    }
    queueNeeded();
}

// What is referred to must be there, and stay until the end of the transaction: who deletes it
// waits for that.
void PostgresStore::queueNeeded() {
    // What this transaction has made nobody else can delete: of a large import that is most.
    std::erase_if(needed_, [&](const auto& each) {
        return std::any_of(parts_.begin(), parts_.end(),
                           [&](const Pending& part) { return part.made.contains(each.first); });
    });
    std::vector<std::int64_t> tags;
    for (const auto& [tag, from] : needed_)
        if (from.tag != NULLTAG && !hasSent(tag) && guarded_.insert(tag).second)
            tags.push_back(tag);
    if (!tags.empty())
        main_->later(
            "SELECT need((SELECT count(*) FROM (SELECT 1 FROM object WHERE tag=ANY($1::bigint[]) "
            "FOR KEY SHARE) there)=$2::bigint, 'target')",
            Parameters().add(tags).add(static_cast<std::int64_t>(tags.size())));
}

void PostgresStore::aboutToDelete(const std::vector<tag_t>& tags) {
    // Who writes alone has nobody beside it.
    if (!open_ || alone_)
        return;
    std::vector<std::int64_t> numbers(tags.begin(), tags.end());
    std::sort(numbers.begin(), numbers.end());
    ask("SELECT tag FROM object WHERE tag=ANY($1::bigint[]) ORDER BY tag FOR UPDATE",
        Parameters().add(numbers));
    // Who refers to them is asked again: from here on nobody else begins to.
    for (const tag_t tag : tags)
        all_lists_.erase(tag);
}

Answer PostgresStore::ask(const char* sql, Parameters parameters) {
    queueParts();
    return askPast(sql, std::move(parameters));
}

Answer PostgresStore::change(const char* sql, Parameters parameters) {
    needWriting();
    queueBegin();
    // A part that goes back takes this change along.
    queueParts(true);
    return askPast(sql, std::move(parameters));
}

Answer PostgresStore::askPast(const char* sql, Parameters parameters) {
    needNoConflict();
    if (held_ && isBatchLost())
        failLost();
    // What a transaction that lasts reads is read in it.
    if (open_ && (held_ || alone_))
        queueBegin();
    try {
        Answer answer = main_->ask(sql, std::move(parameters));
        sent_.clear();
        return answer;
    } catch (const ServerFailure& failure) {
        explainAndNote(failure);
    }
}

// The server works on one piece while the next one is made. A failure comes with the next answer
// that is asked for.
void PostgresStore::sendIfMuch() {
    constexpr std::size_t kMuch = 256 << 10;
    std::size_t waits = 0;
    for (const Pending& part : parts_)
        waits += part.bytes;
    if (waits < kMuch)
        return;
    queueParts();
    main_->send();
}

// What comes without a save of its own, as in a copy, doesn't wait for the end of one.
void PostgresStore::sendIfMuchAlone() {
    if (held_ && parts_.size() == 1)
        sendIfMuch();
}

// Tell a failure of what was sent in the words of who has changed something.
void PostgresStore::explain(const ServerFailure& failure) {
    const std::vector<std::pair<tag_t, std::int64_t>> sent = std::move(sent_);
    sent_.clear();
    const std::unordered_map<tag_t, StoredReferrer> needed = needed_;
    if (failure.state() == "23505" && failure.constraint() == "unique_id_pkey")
        throw Failure(kDuplicateId,
                      "another session has stored an object with the same id meanwhile" +
                          lastBytesIn(failure.detail()));
    if (failure.state() != "KV001")
        throw failure;
    // As it is stored, for which this transaction doesn't count.
    std::vector<std::int64_t> tags;
    for (const auto& [tag, from] : needed)
        tags.push_back(tag);
    for (const auto& [tag, version] : sent)
        tags.push_back(tag);
    const Answer stored = side_->ask("SELECT tag, version FROM object WHERE tag=ANY($1::bigint[])",
                                     Parameters().add(tags));
    std::unordered_map<tag_t, std::int64_t> versions;
    for (int i = 0; i < stored.rows(); ++i)
        versions[static_cast<tag_t>(stored.integer(i, 0))] = stored.integer(i, 1);
    for (const auto& [tag, version] : sent)
        if (const auto at = versions.find(tag); at == versions.end() || at->second != version)
            throw Failure(kChangedMeanwhile,
                          "#" + std::to_string(tag) +
                              (at == versions.end() ? " was deleted since it was read"
                                                    : " was stored by another session since it "
                                                      "was read"));
    for (const auto& [tag, from] : needed)
        if (!versions.contains(tag)) {
            const Type* type = model().typeOf(from.type);
            const Attribute* attribute = model().attributeOf(from.attribute);
            throw Failure(kUnknownObject,
                          "#" + std::to_string(from.tag) + " (" + (type ? type->name : "?") +
                              ") can't be stored: its " + (attribute ? attribute->name : "?") +
                              " refers to #" + std::to_string(tag) + ", which isn't there");
        }
    throw Failure(kChangedMeanwhile,
                  "store " + path() + ": another session has changed what is to be stored");
}

// The same, and remember the first failure of a transaction.
void PostgresStore::explainAndNote(const ServerFailure& failure) {
    try {
        explain(failure);
    } catch (const Failure& told) {
        if (begun_ && why_lost_.empty())
            why_lost_ = told.what();
        throw;
    }
}

void PostgresStore::commit(bool part) {
    if (part) {
        if (parts_.back().begun) {
            queueParts();
            main_->later(partWords(parts_.size() - 1).end.c_str());
        }
        Pending above = std::move(parts_.back());
        parts_.pop_back();
        parts_.back().take(std::move(above));
        sendIfMuch();
        return;
    }
    needNoConflict();
    // The server would answer the end of such a transaction without a failure.
    if (begun_ && main_->inFailedTransaction())
        failLost();
    locks_->needReserved();
    queueParts();
    if (begun_) {
        queueNeeded();
        main_->later("COMMIT");
        try {
            main_->settle();
            sent_.clear();
        } catch (const ServerFailure& failure) {
            explain(failure);
        }
    }
    temporary_.insert(temporary_.end(), std::make_move_iterator(parts_[0].temporary.begin()),
                      std::make_move_iterator(parts_[0].temporary.end()));
    const bool lasted = held_ || alone_;
    for (const auto& [tag, version] : parts_[0].sent)
        if (const auto at = locked_.find(tag); at != locked_.end())
            at->second = version;
    const std::int64_t made = std::exchange(made_, 0);
    endTransaction();
    if (lasted)
        forgetReads();
    // Until the server looks by itself how large the tables have become, it would read all of them
    // for a question about one object.
    constexpr std::int64_t kMany = 10000;
    if (made >= kMany)
        countTables();
}

// For who doesn't own the tables it does nothing.
void PostgresStore::countTables() noexcept {
    try {
        side_->ask("ANALYZE object, text, ref, unique_id, run_entry");
    } catch (const Failure&) {
        // What is stored is stored, and the server looks by itself in a while.
    }
}

void PostgresStore::rollback(bool part) noexcept {
    if (!open_)
        return;
    ++undone_;
    try {
        if (part && parts_.size() > 1) {
            const bool begun = parts_.back().begun;
            const std::uint64_t begun_at = parts_.back().begun_at;
            parts_.pop_back();
            if (begun) {
                try {
                    // The begin or the end of a part may wait still.
                    main_->settle();
                } catch (const ServerFailure& failure) {
                    try {
                        explainAndNote(failure);
                    } catch (const Failure&) {
                        // It goes back, too, unless it is of a piece that was sent before this
                        // part.
                    }
                }
                // The server's locks that were taken in it go, too.
                guarded_.clear();
                run_alone_ = false;
                // After a failure in what was sent before, the server hasn't begun this part: one
                // of the same name would be another. The transaction stays lost.
                if (!main_->inFailedTransaction() || main_->failedStatement() > begun_at) {
                    main_->later(partWords(parts_.size()).back.c_str());
                    main_->later(partWords(parts_.size()).end.c_str());
                    main_->settle();
                    why_lost_.clear();
                }
            }
            forgetReads();
            return;
        }
    } catch (...) {
        // The connection is gone: the server undoes what is left.
    }
    if (!part) {
        main_->rollBack();
        endTransaction();
        forgetReads();
    }
}

void PostgresStore::endTransaction() noexcept {
    const bool begun = begun_;
    conflict_.reset();
    made_ = 0;
    open_ = begun_ = alone_ = check_outs_changed_ = false;
    run_alone_ = false;
    parts_.clear();
    needed_.clear();
    guarded_.clear();
    sent_.clear();
    reserving_.clear();
    if (begun)
        noteChange();
    locks_->giveReleased();
}

void PostgresStore::holdTransaction(bool hold) noexcept {
    if (hold && !held_) {
        beginToLast();
        locks_->keepReleased();
    }
    held_ = hold;
}

// Two runs of one transaction each do what one of them would do after the other: the one that meets
// the other goes back, and its host is told at once instead of with each object.
void PostgresStore::meetConflict(int status, const std::string& text) {
    conflict_.emplace(status, text + ", so this run goes back");
    throw Failure(conflict_->first, conflict_->second);
}

void PostgresStore::needNoConflict() const {
    if (conflict_)
        throw Failure(conflict_->first, conflict_->second);
}

void PostgresStore::lockMet(const std::string& name, const LockOwner& owner) {
    if (held_ && locks_->isAtWork(owner.session))
        meetConflict(kLockedByOther,
                     name + " is locked by " + described(owner) + ", whose run goes on");
}

// The last run that is recorded with a change of the object; else another session.
std::string PostgresStore::lastStoredBy(tag_t tag) {
    const Answer run = side_->ask(
        "SELECT r.number, r.by_user, r.host, r.process FROM run_entry e JOIN run r ON "
        "r.number=e.run WHERE e.object=$1::bigint AND e.object<>0 ORDER BY e.run DESC LIMIT 1",
        Parameters().add(std::int64_t{tag}));
    if (run.rows() == 0)
        return "another session";
    LockOwner owner;
    owner.user = run.text(0, 1);
    owner.host = run.text(0, 2);
    owner.process = static_cast<int>(run.integer(0, 3));
    return "run " + std::to_string(run.integer(0, 0)) + " of " + described(owner);
}

void PostgresStore::failLost() {
    main_->needSound();
    side_->needSound();
    throw Failure(kStoreFailure, "store " + path() +
                                     ": the database has given up the transaction after a "
                                     "failure, so all of it goes back" +
                                     (why_lost_.empty() ? "" : " (" + why_lost_ + ")"));
}

bool PostgresStore::isBatchLost() const {
    return held_ && (conflict_ || main_->isBroken() || !open_ || main_->inFailedTransaction());
}

// From here on what is read stays as it is, so nothing may be left from before.
void PostgresStore::beginToLast() noexcept {
    forgetReads();
    ahead_ = kFirstAhead;
    rights_.clear();
}

bool PostgresStore::hasSent(tag_t tag) const {
    return std::any_of(parts_.begin(), parts_.end(),
                       [&](const Pending& part) { return part.hasSent(tag); });
}

void PostgresStore::forgetReads() noexcept {
    rows_.clear();
    rows_bytes_ = 0;
    lists_.clear();
    all_lists_.clear();
    forgetTexts();
    // What was named together is only a hint, which stays.
    constexpr std::size_t kMostNamed = 1 << 18;
    if (groups_.size() > kMostNamed)
        groups_.clear();
    states_.clear();
    last_read_ = NULLTAG;
    in_a_row_ = 0;
}

bool PostgresStore::beginMoment() {
    if (open_ || moment_)
        return false;
    beginToLast();
    main_->later("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    moment_ = true;
    return true;
}

void PostgresStore::endMoment(bool begun) noexcept {
    if (!begun)
        return;
    moment_ = false;
    forgetReads();
    main_->rollBack();
}

}  // namespace mervane
