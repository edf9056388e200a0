#pragma once

// A store: one database with its volume, its locks and its model. SQL stays in workbench/store/;
// all callers work with objects and values.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "workbench/model/model.h"
#include "workbench/store/effort.h"
#include "workbench/store/locks.h"
#include "workbench/store/object_data.h"
#include "workbench/store/referrer.h"
#include "workbench/store/registry.h"
#include "workbench/store/row_taker.h"
#include "workbench/store/runs.h"
#include "workbench/store/volume.h"
#include "workbench/store/where_used.h"

namespace mervane {

// What holds for every member unless it says otherwise.
// - Failure kStoreFailure if the database can't be read or written: it is damaged or full, another
//   process has written for longer than the wait limit, or an open batch is lost.
// - A change is on disk when the call returns; within a StoreTransaction or a batch, when that is
//   committed. Nobody is asked for rights or locks, and nothing is recorded: sessions do that. They
//   call mayWrite() first.
// - Handles of types and attributes are those of the model. Lists are by tag, each object once.
class Store {
public:
    // The kind of a store is that of its name. Make a store; it has its name when `fill` has put
    // into it what belongs there. `volume`: the new or empty directory for the files of one on a
    // server, whose database has them otherwise. Failure kStoreFailure if something is at the path,
    // at that of a file of the store or in the directory, kFileFailure if a file can't be made,
    // kBadValue for a store in a file with such a directory, or what `fill` throws. Nothing is left
    // then, and what somebody else put there stays.
    static void create(const std::string& path,
                       const std::function<void(const std::shared_ptr<Store>&)>& fill = nullptr,
                       const std::string& volume = "");
    // Open a store, for reading alone if this process may not write it; ":memory:" makes a fresh
    // one. An older schema is upgraded. Failure kStoreFailure for a path without a store, for a
    // newer schema, and for an older one that can't be written; kFileFailure if the volume or the
    // files of the locks can't be made, or the directory for the files of a store on a server isn't
    // in its place.
    static std::shared_ptr<Store> open(const std::string& path);
    // For one more session: a connection of its own to a store in a file, the same store in memory.
    // Model, volume and locks are shared.
    static std::shared_ptr<Store> again(const std::shared_ptr<Store>& store) {
        return store->another(store);
    }
    // Open batches go back.
    virtual ~Store();
    Store(const Store&) = delete;

    const std::string& path() const { return shared_->path; }
    // A text that only this store and its copies have.
    virtual std::string identity() = 0;
    // It is opened for reading alone, and no file beside it is made.
    virtual bool readOnly() const = 0;
    Model& model() { return shared_->model; }
    Volume& volume() { return *shared_->volume; }
    virtual Locks& locks() { return *shared_->locks; }
    // Hints to a kind for which each question costs much; without them it works as well. The
    // session asks for the check-out, the rights and the version of the object next, and takes its
    // lock.
    virtual void aboutToLock(std::int64_t, tag_t) {}
    // It takes no lock after all, or has given it up.
    virtual void notLocked(std::int64_t, tag_t) noexcept {}
    virtual void unlocked(tag_t) noexcept {}
    // The session asks for the rights, the check-out and the lock of the object next.
    virtual void aboutToAsk(tag_t) {}
    // The session is told that it may change the object, and will presumably do so. In a batch that
    // is one transaction the first of them stays locked from here to the end, so that another such
    // batch on it meets this one before it has read all. Returns: who has the lock instead.
    virtual std::optional<LockOwner> lockFirst(std::int64_t, tag_t) { return std::nullopt; }
    // It asks for the objects with each of these texts next, one after the other.
    virtual void aboutToFind(tag_t, const std::vector<std::string>&) {}
    // It deletes these objects unless somebody refers to them, which it asks next. Requires: a
    // transaction.
    virtual void aboutToDelete(const std::vector<tag_t>&) {}
    // What the session reads of this object next, or of all of them for NULLTAG, must be asked for.
    virtual void forgetReadAhead(tag_t) noexcept {}
    // Failure kStoreFailure if nobody knows whether an earlier change is stored: the store must be
    // opened anew.
    virtual void needSound() const = 0;
    bool isSound() const noexcept;
    // The session was told that another one has locked the object. In a batch that is one
    // transaction, beside which another such run has the lock: Failure kLockedByOther, since this
    // batch can't be kept without the object.
    virtual void lockMet(const std::string&, const LockOwner&) {}
    // The failure of a batch that can't be kept because of another session's run, until its end.
    virtual void needNoConflict() const {}
    // Take the file of an object that isn't stored out of the volume. It stays if nobody knows
    // whether the object is stored: a file without an object is no damage, an object without its
    // file is.
    void discardFile(tag_t tag) noexcept;

    // ---- objects ----
    // Tell an object: `head` gets type and version, then `value` gets attribute, index and value of
    // each, those of an attribute one after the other. Returns: false, and nothing is told, if
    // there is none. Failure kStoreFailure also if its values are damaged; some may have been told
    // then.
    template <typename Head, typename Each>
    bool load(tag_t tag, Head&& head, Each&& value);
    // The same with all values at once: `values` gets a reader, which is at their begin.
    template <typename Head, typename All>
    bool loadAll(tag_t tag, Head&& head, All&& values);
    // Cheaper than loading it.
    bool exists(tag_t tag) { return typeOf(tag) != NULLTAG; }
    virtual tag_t typeOf(tag_t tag) = 0;            // NULLTAG: there is no object
    virtual std::int64_t versionOf(tag_t tag) = 0;  // 0: there is no object
    // Store a new object. Requires: a transaction, there is none with the tag, and each attribute
    // comes once, with values of one kind. `values` is sorted.
    virtual void insert(tag_t tag, tag_t type, std::vector<AttributeValues>& values,
                        std::int64_t version = 1) = 0;
    // Store new values of these attributes, and count one more save. Returns: false, and nothing is
    // changed, if the stored version is another one or there is no object. Requires: a transaction,
    // and each attribute comes once. `changed` is sorted.
    virtual bool save(tag_t tag, std::int64_t version, std::vector<AttributeValues>& changed) = 0;
    // Drop the object with its values and its check-out; none is no failure. Its file and
    // references to it stay. Requires: a transaction.
    virtual void erase(tag_t tag) = 0;
    // A tag that no object of the store has had. Failure kStoreFailure if there are none left.
    // Requires: no StoreTransaction outside of a batch, whose rollback would give the tag twice.
    tag_t newTag();

    // What is stored about the contents of a file; only the tag if it isn't stored.
    StoredFile knownFile(tag_t tag);

    // ---- finding, among what is stored ----
    // Each object and attribute once. The reference holds until the next call or change.
    virtual const std::vector<StoredReferrer>& referrers(tag_t target) = 0;
    virtual std::vector<StoredReferrer> referrersBy(tag_t attribute, tag_t target) = 0;
    // The one with the highest tag, NULLTAG if there is none; quick also if there are many.
    virtual tag_t lastReferrerBy(tag_t attribute, tag_t target) = 0;
    struct Hit {
        tag_t tag = NULLTAG, type = NULLTAG;
    };
    // Texts and patterns are compared byte by byte, so with case.
    virtual std::vector<Hit> withText(tag_t attribute, std::string_view text) = 0;
    // Who has the text as value of `attribute` and refers to the target by `reference`.
    virtual std::vector<tag_t> referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                                 std::string_view text) = 0;
    // A pattern of * (any text) and ? (one character).
    virtual std::vector<Hit> withPattern(tag_t attribute, const std::string& pattern) = 0;
    // Those of the hits whose text matches, in their order.
    virtual std::vector<Hit> thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                              const std::string& pattern) = 0;
    // Nothing: the store has no index of texts.
    virtual std::optional<TextIndexState> textIndex() = 0;
    // Make it, anew if it is there, or drop it, in one transaction. Failure kStoreFailure if the
    // SQLite library has no FTS5.
    virtual void setTextIndex(bool on) = 0;
    // Texts that differ from this one in a letter, and up to 20 on each side in the order of texts;
    // sorted, each once. None for an empty text or one of more than 128 bytes.
    virtual std::vector<std::string> textsNear(tag_t attribute, const std::string& text) = 0;
    // Objects of exactly this type, from this tag on, at most so many; a negative limit is none.
    virtual std::vector<tag_t> ofType(tag_t type, tag_t from = 1, int limit = -1) = 0;
    virtual std::vector<Hit> everything() = 0;
    virtual std::int64_t objectCount() = 0;
    // The stored occurrences of a revision whose parents exist, by occurrence; one statement.
    virtual std::vector<StoredUse> uses(const UsePath& path, tag_t revision) = 0;
    // The revisions on the stored lines of a revision, one for each line, in no order; one
    // statement.
    virtual std::vector<tag_t> children(const UsePath& path, tag_t revision) = 0;

    // ---- model ----
    // Add to the model of every session, in one transaction each. Failure as the Model's additions
    // have it (kBadValue, kUnknownClass, kUnknownType); the model is as before then.
    void addClass(const std::string& name, const std::string& parent,
                  const std::vector<AttributeSpec>& attributes);
    void addType(const std::string& name, const std::string& parent,
                 const std::vector<AttributeSpec>& attributes);
    void addRelationType(const std::string& name);
    void addDatasetType(const std::string& name, const std::string& parent, const std::string& tool,
                        const std::vector<std::string>& formats,
                        const std::vector<std::string>& reference_names);

    // ---- settings, rights, check-outs; to remove what isn't there is no failure ----
    // Nothing: it isn't there.
    virtual std::optional<std::vector<std::string>> preference(const std::string& name) = 0;
    // By name.
    virtual std::vector<std::pair<std::string, std::vector<std::string>>> preferences() = 0;
    virtual void setPreference(const std::string& name, const std::vector<std::string>& values) = 0;
    virtual void removePreference(const std::string& name) = 0;
    // By position.
    virtual std::vector<Right> rights() = 0;
    // The reference holds until the next call about rights.
    virtual const std::vector<Right>& rights(const std::string& privilege) = 0;
    // Put it at this position; 0: after all others. Returns: the position. Requires: neither the
    // right nor another one at the position is there.
    virtual std::int64_t addRight(const Right& right, std::int64_t position = 0) = 0;
    // Returns: the position that it had; 0: it wasn't there.
    virtual std::int64_t removeRight(const Right& right) = 0;
    struct CheckOutRow {
        tag_t object = NULLTAG, user = NULLTAG;
        std::string date, comment;
    };
    // Nothing: it isn't checked out.
    virtual std::optional<CheckOutRow> checkOut(tag_t object) = 0;
    virtual std::vector<CheckOutRow> checkOuts() = 0;
    // Returns: false, and nothing is changed, if somebody has it already.
    virtual bool addCheckOut(const CheckOutRow& row) = 0;
    virtual void removeCheckOut(tag_t object) = 0;

    // ---- registry of item ids; a reference holds until the next call about registries ----
    // The one in use. Failure kRegistryDown if it can't be opened or is switched off.
    Registry& registry();
    // The same, also if it is switched off.
    virtual Registry& registryEvenDown() = 0;
    // Change it in one transaction, in which nobody changes it or takes another one. Failure as
    // registry(), or what `change` throws: nothing is changed then.
    virtual void changeRegistry(const std::function<void(Registry&)>& change) = 0;
    virtual Registry& ownRegistry() = 0;
    virtual std::string registryPath() = 0;  // empty: the store's own
    // Use the file at the path from now on, which gets the ids of the store's own one; empty: the
    // store's own again. Failure kRegistryDown if the file is no registry, or is switched off and
    // should get ids.
    virtual void useRegistry(const std::string& path) = 0;

    // ---- runs ----
    // Whether the store keeps their records.
    virtual bool recordsRuns() = 0;
    virtual void recordRuns(bool on) = 0;

    // Their tables; with `temporary` those that live and die with this connection. Requires: the
    // store outlives them.
    virtual std::unique_ptr<RunTables> runs(bool temporary) = 0;

    // ---- transactions ----
    // A long transaction of one session; `owner` is its address. Other processes that write wait;
    // other sessions on this connection (of a store in memory) may not write. An inner batch is a
    // part of the outer one, and goes back alone. Failure as mayWrite().
    void beginBatch(const void* owner);
    // After a failure, also kStoreFailure without a batch, rollbackBatch() must follow.
    void commitBatch();
    // Undo the batch, with what it added to the model; nothing without one.
    void rollbackBatch() noexcept;
    // Let statements run again although the database has given up the batch. Requires:
    // rollbackBatch() follows.
    void letGoOfBatch() noexcept { holdTransaction(false); }
    // The batch makes a great deal, and what fails in it makes all of it go back. Requires: a
    // batch.
    virtual void expectMuch() {}
    // Whether the database has given up the batch after a failure.
    virtual bool isBatchLost() const = 0;
    // Failure kStoreFailure if another session's batch is open on this connection.
    void mayWrite(const void* owner) const;

    // ---- care ----
    // Check database, volume, locks and index of texts; damage is a finding. With `repair`, remove
    // what sessions that have ended left and, unless other processes have sessions, files that no
    // object owns; and make an index that isn't right anew. `unsaved_files`: tags of files whose
    // objects sessions of this process haven't saved yet. Failure kFileFailure if a file can't be
    // removed.
    std::vector<CheckFinding> check(bool repair, const std::vector<tag_t>& unsaved_files);
    // Copy store and volume as of one moment, while others write. Returns: the damaged files, which
    // the copy doesn't have. Failure kStoreFailure if something is at the path or at "PATH.volume";
    // kFileFailure if the copy can't be written. Nothing is left then.
    virtual std::vector<CheckFinding> backup(const std::string& path) = 0;
    // Name and value each, of a server; empty for a file. Settings that weaken what is promised.
    virtual std::vector<std::pair<std::string, std::string>> serverFacts() { return {}; }
    virtual std::vector<std::string> serverWarnings() { return {}; }
    // Make a store of any kind with all that this one has, as of one moment: tags, versions and
    // records of runs are the same. Returns: what the copy doesn't have. Failure as create().
    std::vector<CheckFinding> copyTo(const std::string& path, const std::string& volume = "");

protected:
    friend class StoreTransaction;
    friend class OneMoment;

    // What all sessions of a process on one store share.
    struct Shared {
        std::string path;
        Model model;
        std::unique_ptr<Volume> volume;
        std::shared_ptr<Locks> locks;
        std::int64_t model_position = 0;  // last addition that the model knows
        std::vector<Store*> askers;       // any of them can ask for additions
    };
    struct Addition {
        std::int64_t position = 0;
        std::string kind, name, parent;
        std::vector<AttributeSpec> parts;
    };
    using Findings = std::vector<CheckFinding>;

    // For a name that it doesn't know the model asks this store what others have added.
    explicit Store(std::shared_ptr<Shared> shared);
    Shared& shared() { return *shared_; }
    const std::shared_ptr<Shared>& sharedWithAll() const { return shared_; }
    // Requires of the destructor of a kind: it calls this first.
    void closeBatches() noexcept;
    bool loadAdditions();
    // The objects that have a file in the volume.
    std::vector<tag_t> storedFiles();

    // ---- what a kind of store does for this class; failures as above ----
    virtual std::shared_ptr<Store> another(const std::shared_ptr<Store>& self) = 0;
    // Tell the row of an object to `take`, unless there is none, which gives false.
    virtual bool row(tag_t tag, RowTaker take) = 0;
    // Of a transaction that may write; inside another one it is a part of that, which is what
    // begin() returns and the others get. `alone`: nobody else writes until it ends.
    virtual bool begin(bool alone) = 0;
    virtual void commit(bool part) = 0;
    virtual void rollback(bool part) noexcept = 0;
    // While this is on, all work is for the transaction that is open now: if the database gives it
    // up, nothing more is done.
    virtual void holdTransaction(bool hold) noexcept = 0;
    // The last step of the outer batch before its commit.
    virtual void completeBatch() = 0;
    // Returns: whether this call has begun the moment; endMoment() gets it.
    virtual bool beginMoment() = 0;
    virtual void endMoment(bool begun) noexcept = 0;
    // So many tags that follow one another. Returns: the one after the last. Failure kStoreFailure
    // if there are none left.
    virtual tag_t takeTags(tag_t count) = 0;
    // In order of their positions.
    virtual std::vector<Addition> additionsAfter(std::int64_t position) = 0;
    // Returns: its position.
    virtual std::int64_t storeAddition(const Addition& addition) = 0;
    // The first tag that was never given.
    virtual tag_t nextTag() = 0;
    // Be a copy of a store: with its identity and its next tag.
    virtual void takeOver(const std::string& identity, tag_t next_tag) = 0;
    // Steps of check(). Returns: whether the rest can be read.
    virtual bool checkDatabase(Findings& findings) = 0;
    struct IndexDamage {
        bool texts = false, references = false;
    };
    // Compare the tables of texts and references with the objects, as of one moment. Damage of the
    // objects is a finding.
    virtual IndexDamage compareIndexes(Findings& findings) = 0;
    // Make them anew, in one transaction.
    virtual void makeIndexes() = 0;
    virtual void checkTexts(bool repair, Findings& findings) = 0;
    virtual std::vector<tag_t> typesInUse() = 0;
    struct LostReference {
        tag_t object = NULLTAG, attribute = NULLTAG, target = NULLTAG;
    };
    // References whose target is gone, by object, attribute and target.
    virtual void lostReferences(const std::function<void(const LostReference&)>& each) = 0;
    // The highest tag of an object that the store gives later; NULLTAG: none.
    virtual tag_t tagNotGivenYet() = 0;
    virtual std::vector<tag_t> checkOutsOfNothing() = 0;

private:
    std::shared_ptr<Shared> shared_;
    tag_t next_tag_ = 0, tags_end_ = 0;
    tag_t tag_block_ = 16;
    const void* batch_owner_ = nullptr;
    struct Batch {
        Model::Mark mark;
        std::int64_t position = 0;  // of the model
    };
    std::vector<Batch> batches_;  // the outer one first

    template <typename Steps>
    void define(Steps&& steps);
    void add(Addition addition);
    void applyAddition(const Addition& addition);
    void copyFrom(Store& from, Findings& findings);
    void checkIndexes(bool repair, Findings& findings);
    void checkTypes(Findings& findings);
    void checkReferences(Findings& findings);
    void checkFiles(bool repair, const std::vector<tag_t>& unsaved_files, Findings& findings);
    void checkSessions(bool repair, Findings& findings);
};

// A transaction of a store, which goes back unless it is committed. Inside another one, or a batch,
// it is a part of that. Failure kStoreFailure if somebody else writes for longer than the wait
// limit.
class StoreTransaction {
public:
    // Shared: others may store objects meanwhile, but neither those of this transaction nor the
    // same ids, and nobody deletes. Alone: nobody else writes until it ends. What is read to decide
    // about a change stays true only then.
    enum class Others { Shared, Alone };
    explicit StoreTransaction(Store& store, Others others = Others::Shared)
        : store_(store), part_(store.begin(others == Others::Alone)) {}
    ~StoreTransaction() {
        if (open_)
            store_.rollback(part_);
    }
    StoreTransaction(const StoreTransaction&) = delete;
    // After a failure the transaction is open still, and is undone at the end of this object.
    void commit() {
        store_.commit(part_);
        open_ = false;
    }

private:
    Store& store_;
    bool part_;
    bool open_ = true;
};

// While it lives, this session sees the store as it was at the first read; others may write.
class OneMoment {
public:
    explicit OneMoment(Store& store) : store_(store), begun_(store.beginMoment()) {}
    ~OneMoment() { store_.endMoment(begun_); }
    OneMoment(const OneMoment&) = delete;

private:
    Store& store_;
    bool begun_;
};

template <typename Head, typename Each>
bool Store::load(tag_t tag, Head&& head, Each&& value) {
    return loadAll(tag, head, [&](ObjectReader& in) {
        while (in.next())
            for (std::size_t index = 0; in.left() > 0; ++index)
                value(in.attribute(), index, in.value());
    });
}

template <typename Head, typename All>
bool Store::loadAll(tag_t tag, Head&& head, All&& values) {
    const auto take = [&](const ObjectRow& found) {
        head(found.type, found.version);
        countObject();
        ObjectReader in(tag, found.data);
        values(in);
    };
    return row(tag, take);
}

}  // namespace mervane
