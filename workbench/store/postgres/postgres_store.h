#pragma once

// A store on a PostgreSQL server.
//
// A round trip to the server costs more than anything that is done here, so:
// - What a transaction changes waits in memory, in parts (Pending), and goes to the server together
//   with the next question that needs it, or with the commit. Reads see it.
// - In a transaction that lasts, which sees the store as its first reads found it, what was read is
//   kept: objects, lists of referrers, texts. Its own changes are put into it.
// - An object that a list names comes with the list. Objects that were named together are read
//   together as soon as one of them is asked for, and so are the lists of their referrers.
// - Outside of such a transaction an object that was read ahead serves one reading. What else was
//   read holds for the call of the platform in which it was read, and as long as MERVANE_FRESH_MS
//   says (50 ms), unless a session of this process has changed something since. What is about to be
//   changed is always asked for: the round trip that takes its lock tells what is stored.

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "workbench/store/postgres/pending.h"
#include "workbench/store/postgres/server.h"
#include "workbench/store/postgres/server_locks.h"
#include "workbench/store/postgres/server_registry.h"
#include "workbench/store/store.h"

namespace mervane {

// The key of a text in its table.
std::string textKey(std::string_view text);
// Whether the key is the whole text.
bool isWholeKey(std::string_view key);

class PostgresStore final : public Store {
public:
    // Store::create() and Store::open() of this kind.
    static void make(const std::string& address,
                     const std::function<void(const std::shared_ptr<Store>&)>& fill,
                     const std::string& volume);
    static std::shared_ptr<Store> openAt(const std::string& address);
    ~PostgresStore() override;

    std::string identity() override;
    bool readOnly() const override { return read_only_; }
    void needSound() const override;
    // Who changes nothing has no locks that others must see.
    Locks& locks() override { return read_only_ ? *shared().locks : *locks_; }
    void aboutToLock(std::int64_t session, tag_t tag) override;
    void notLocked(std::int64_t session, tag_t tag) noexcept override;
    void unlocked(tag_t tag) noexcept override { locked_.erase(tag); }
    std::optional<LockOwner> lockFirst(std::int64_t session, tag_t tag) override;
    void aboutToAsk(tag_t tag) override;
    void aboutToDelete(const std::vector<tag_t>& tags) override;
    void forgetReadAhead(tag_t tag) noexcept override;

    tag_t typeOf(tag_t tag) override;
    std::int64_t versionOf(tag_t tag) override;
    void insert(tag_t tag, tag_t type, std::vector<AttributeValues>& values,
                std::int64_t version) override;
    bool save(tag_t tag, std::int64_t version, std::vector<AttributeValues>& changed) override;
    void erase(tag_t tag) override;

    const std::vector<StoredReferrer>& referrers(tag_t target) override;
    std::vector<StoredReferrer> referrersBy(tag_t attribute, tag_t target) override;
    tag_t lastReferrerBy(tag_t attribute, tag_t target) override;
    std::vector<Hit> withText(tag_t attribute, std::string_view text) override;
    void aboutToFind(tag_t attribute, const std::vector<std::string>& texts) override;
    std::vector<tag_t> referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                         std::string_view text) override;
    std::vector<Hit> withPattern(tag_t attribute, const std::string& pattern) override;
    std::vector<Hit> thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                      const std::string& pattern) override;
    std::optional<TextIndexState> textIndex() override { return std::nullopt; }
    void setTextIndex(bool on) override;
    std::vector<std::string> textsNear(tag_t attribute, const std::string& text) override;
    std::vector<tag_t> ofType(tag_t type, tag_t from, int limit) override;
    std::vector<Hit> everything() override;
    std::int64_t objectCount() override;
    std::vector<StoredUse> uses(const UsePath& path, tag_t revision) override;
    std::vector<tag_t> children(const UsePath& path, tag_t revision) override;

    std::optional<std::vector<std::string>> preference(const std::string& name) override;
    std::vector<std::pair<std::string, std::vector<std::string>>> preferences() override;
    void setPreference(const std::string& name, const std::vector<std::string>& values) override;
    void removePreference(const std::string& name) override;
    std::vector<Right> rights() override;
    const std::vector<Right>& rights(const std::string& privilege) override;
    std::int64_t addRight(const Right& right, std::int64_t position) override;
    std::int64_t removeRight(const Right& right) override;
    std::optional<CheckOutRow> checkOut(tag_t object) override;
    std::vector<CheckOutRow> checkOuts() override;
    bool addCheckOut(const CheckOutRow& row) override;
    void removeCheckOut(tag_t object) override;

    Registry& registryEvenDown() override { return registry_; }
    void changeRegistry(const std::function<void(Registry&)>& change) override;
    Registry& ownRegistry() override { return registry_; }
    std::string registryPath() override { return ""; }
    void useRegistry(const std::string& path) override;

    bool recordsRuns() override;
    void recordRuns(bool on) override;
    std::unique_ptr<RunTables> runs(bool temporary) override;

    bool isBatchLost() const override;
    void lockMet(const std::string& name, const LockOwner& owner) override;
    void needNoConflict() const override;
    std::vector<CheckFinding> backup(const std::string& path) override;
    std::vector<std::pair<std::string, std::string>> serverFacts() override;
    std::vector<std::string> serverWarnings() override;

protected:
    std::shared_ptr<Store> another(const std::shared_ptr<Store>& self) override;
    bool row(tag_t tag, RowTaker take) override;
    bool begin(bool alone) override;
    void commit(bool part) override;
    void rollback(bool part) noexcept override;
    void holdTransaction(bool hold) noexcept override;
    void completeBatch() override {}
    bool beginMoment() override;
    void endMoment(bool begun) noexcept override;
    tag_t takeTags(tag_t count) override;
    tag_t nextTag() override;
    void takeOver(const std::string& identity, tag_t next_tag) override;
    std::vector<Addition> additionsAfter(std::int64_t position) override;
    std::int64_t storeAddition(const Addition& addition) override;
    bool checkDatabase(Findings&) override { return true; }
    IndexDamage compareIndexes(Findings& findings) override;
    void makeIndexes() override;
    void checkTexts(bool, Findings&) override {}
    std::vector<tag_t> typesInUse() override;
    void lostReferences(const std::function<void(const LostReference&)>& each) override;
    tag_t tagNotGivenYet() override;
    std::vector<tag_t> checkOutsOfNothing() override;

private:
    friend class ServerRuns;
    friend class ServerRegistry;

    // When something was read.
    struct Stamp {
        std::uint64_t call = 0;
        std::uint64_t others = 0;  // changes that other sessions of this process had made
        std::chrono::steady_clock::time_point time;
    };
    struct List {
        std::vector<StoredReferrer> all;
        Stamp read;
    };
    struct CachedRow {
        tag_t type = NULLTAG;      // NULLTAG: there is no object
        std::int64_t version = 0;  // 0: likewise
        bool ahead = false;        // read ahead, and not given to anybody yet
        Stamp read;
        std::string data;
    };
    using ListKey = std::pair<tag_t, tag_t>;  // attribute, target
    struct ListHash {
        std::size_t operator()(const ListKey& key) const {
            return std::hash<std::uint64_t>()(std::uint64_t{key.first} << 32 | key.second);
        }
    };

    std::unique_ptr<ServerConnection> main_;
    std::shared_ptr<ServerConnection> side_;  // commits at once; for all sessions of the process
    std::unique_ptr<ServerLocks> locks_;
    ServerRegistry registry_;
    bool read_only_ = false;
    std::int64_t key_ = 0;  // of the store, for the server's own locks
    tag_t item_id_ = NULLTAG, revision_id_ = NULLTAG, revision_item_ = NULLTAG;

    // The transaction, with one part at least while it is open.
    std::vector<Pending> parts_;
    // Statements about a part, by how many are around it. They stay where they are.
    struct PartWords {
        std::string begin, back, end;
    };
    std::deque<PartWords> part_words_;
    bool open_ = false, alone_ = false, held_ = false, moment_ = false;
    bool begun_ = false;               // the server knows of the transaction
    bool first_locked_ = false;        // by the batch
    bool run_alone_ = false;           // of all runs, this one deletes or changes settings
    bool check_outs_changed_ = false;  // by it
    std::uint64_t undone_ = 0;
    // Why the run can only go back: it met another one that goes on, or what that has stored.
    std::optional<std::pair<int, std::string>> conflict_;
    std::string why_lost_;   // the first failure that the server has given up the transaction for
    std::int64_t made_ = 0;  // objects that were sent in this transaction and weren't there before
    // What must be there when this transaction is committed, and who refers to it.
    std::unordered_map<tag_t, StoredReferrer> needed_;
    std::unordered_set<tag_t> guarded_;  // those of which the server knows
    // Objects whose change was sent, and the version that they should have had.
    std::vector<std::pair<tag_t, std::int64_t>> sent_;

    // What was read.
    mutable std::uint64_t call_ = 1;  // of the platform
    std::uint64_t own_changes_ = 0;
    struct State {
        Stamp read;
        std::optional<CheckOutRow> check_out;
        std::optional<LockOwner> owner;
        bool reserved = false;  // by another session, which may lock it without a further word
    };
    std::unordered_map<tag_t, State> states_;
    // Objects that this session has locked, and their stored version, which nobody else changes.
    std::unordered_map<tag_t, std::int64_t> locked_;
    // What this run reserves, by the type of the objects: how many at once, and the last ones.
    struct Reserving {
        std::size_t many = 0;
        std::vector<tag_t> tags;
    };
    std::unordered_map<tag_t, Reserving> reserving_;
    std::unordered_map<tag_t, CachedRow> rows_;
    std::size_t rows_bytes_ = 0;
    std::unordered_map<ListKey, List, ListHash> lists_;
    std::unordered_map<tag_t, List> all_lists_;
    std::map<std::pair<tag_t, std::string>, std::vector<Hit>> texts_;
    // An import asks for the ids of its items, and most aren't there: those that follow are read
    // together. Of all ids from the first to the last, which isn't one of them, `texts_` has those
    // that are there.
    struct KnownIds {
        bool any = false, to_end = false, used = false;
        std::string from, to;
        int misses = 0, wait = kFirstWait;  // ids that weren't there before others are read
        static constexpr int kFirstWait = 3;

        bool has(const std::string& id) const { return any && id >= from && (to_end || id < to); }
    } known_ids_;
    // Objects that were named together, in that order.
    std::unordered_map<tag_t, std::shared_ptr<const std::vector<tag_t>>> groups_;
    static constexpr std::size_t kFirstAhead = 32;
    std::size_t ahead_ = kFirstAhead;  // so many are read at once in a run, more and more
    tag_t last_read_ = NULLTAG;        // the last object that was read alone
    int in_a_row_ = 0;
    std::vector<StoredReferrer> last_;
    std::map<std::string, std::vector<Right>> rights_;  // by privilege
    std::string rights_state_;
    Stamp rights_read_;
    std::vector<StoredEntry> temporary_;
    std::vector<Values> before_;

    PostgresStore(std::shared_ptr<Shared> all, const ServerAddress& address,
                  std::shared_ptr<ServerConnection> side);
    static std::shared_ptr<Store> openAs(const std::string& address, bool unfinished);
    // Whether what was read stays as it is.
    bool lasts() const { return held_ || moment_ || alone_; }
    // A question that needs what waits to be on the server first.
    Answer ask(const char* sql, Parameters parameters = {});
    // One that doesn't.
    Answer askPast(const char* sql, Parameters parameters = {});
    // A change that goes to the server at once.
    Answer change(const char* sql, Parameters parameters = {});
    void queueBegin();
    void queueNeeded();
    const PartWords& partWords(std::size_t depth);
    // `all`: also the begins of parts without changes.
    void queueParts(bool all = false);
    void queue(Pending& part);
    void sendIfMuch();
    void sendIfMuchAlone();
    [[noreturn]] void failLost();
    [[noreturn]] void meetConflict(int status, const std::string& text);
    std::string lastStoredBy(tag_t tag);
    [[noreturn]] void explain(const ServerFailure& failure);
    [[noreturn]] void explainAndNote(const ServerFailure& failure);
    void endTransaction() noexcept;
    void countTables() noexcept;
    // Whether it has stored or deleted the object, and the server knows it.
    bool hasSent(tag_t tag) const;
    void beginToLast() noexcept;
    void forgetReads() noexcept;
    void forgetTexts() noexcept;
    void keepTextsFew() noexcept;
    bool knowsId(const std::string& id);
    Pending& top() { return parts_.back(); }
    const PendingRow* pendingRow(tag_t tag) const;
    // Null: there is none. Asks the server unless it is known.
    const CachedRow* known(tag_t tag, bool once);
    bool cachedFresh(tag_t tag) const;
    // Null: none is kept, or there is no object.
    const CachedRow* cached(tag_t tag) const;
    void keep(tag_t tag, tag_t type, std::int64_t version, std::string_view data, bool ahead);
    void name(const std::vector<tag_t>& tags);
    void nameTargets(const std::vector<std::pair<tag_t, std::string_view>>& rows);
    std::vector<std::int64_t> together(tag_t tag, bool lists);
    std::vector<tag_t> nextToLock(std::int64_t session, tag_t tag);
    void fetch(tag_t tag);
    void look(tag_t tag);
    Stamp now() const;
    bool isFresh(const Stamp& read) const;
    void noteChange() noexcept;
    void addReference(tag_t tag, tag_t type, tag_t attribute, tag_t target, bool there);
    void addText(tag_t tag, tag_t type, tag_t attribute, std::string_view text, bool there);
    void index(tag_t tag, tag_t type, tag_t attribute, const Values& values, bool there);
    void changeIds(tag_t tag, std::string_view before, std::string_view now);
    void correct(std::vector<StoredReferrer>& list, tag_t attribute, tag_t target) const;
    void correct(std::vector<Hit>& list, tag_t attribute, const std::string& key) const;
    tag_t knownType(tag_t tag) const;
    bool isNewHere(tag_t tag) const;
    std::vector<Hit> hitsOf(const Answer& answer);
    bool hasText(tag_t tag, tag_t attribute, std::string_view text);
    void needWriting() const;
    // Empty: they are in the database.
    std::string directoryOfFiles();
    void eachObject(const std::function<void(tag_t, std::string_view)>& each);
};

}  // namespace mervane
