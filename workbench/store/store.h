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
#include "workbench/store/referrers.h"
#include "workbench/store/registry.h"
#include "workbench/store/sqlite.h"
#include "workbench/store/text_index.h"
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
    // Make a store; it has its name when `fill` has put into it what belongs there. Failure
    // kStoreFailure if something is at the path or at that of a file of the store, kFileFailure if
    // a file can't be made, or what `fill` throws. Nothing is left then, and what somebody else put
    // there stays.
    static void create(const std::string& path,
                       const std::function<void(const std::shared_ptr<Store>&)>& fill = nullptr);
    // Open a store, for reading alone if this process may not write it; ":memory:" makes a fresh
    // one. An older schema is upgraded. Failure kStoreFailure for a path without a store, for a
    // newer schema, and for an older one that can't be written; kFileFailure if the volume or the
    // files of the locks can't be made.
    static std::shared_ptr<Store> open(const std::string& path);
    // For one more session: a connection of its own to a store in a file, the same store in memory.
    // Model, volume and locks are shared.
    static std::shared_ptr<Store> again(const std::shared_ptr<Store>& store);
    // Open batches go back.
    ~Store();
    Store(const Store&) = delete;

    const std::string& path() const { return shared_->path; }
    bool inMemory() const { return shared_->in_memory; }
    // A text that only this store and its copies have.
    std::string identity();
    // It is opened for reading alone, and no file beside it is made.
    bool readOnly() const { return connection_->readsOnly(); }
    Model& model() { return shared_->model; }
    Volume& volume() { return shared_->volume; }
    Locks& locks() { return *shared_->locks; }
    // Failure kStoreFailure if nobody knows whether an earlier change is stored: the store must be
    // opened anew.
    void needSound() const;
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
    bool exists(tag_t tag);
    tag_t typeOf(tag_t tag);            // NULLTAG: there is no object
    std::int64_t versionOf(tag_t tag);  // 0: there is no object
    // Store a new object. Requires: a transaction, there is none with the tag, and each attribute
    // comes once, with values of one kind. `values` is sorted.
    void insert(tag_t tag, tag_t type, std::vector<AttributeValues>& values,
                std::int64_t version = 1);
    // Store new values of these attributes, and count one more save. Returns: false, and nothing is
    // changed, if the stored version is another one or there is no object. Requires: a transaction,
    // and each attribute comes once. `changed` is sorted.
    bool save(tag_t tag, std::int64_t version, std::vector<AttributeValues>& changed);
    // Drop the object with its values and its check-out; none is no failure. Its file and
    // references to it stay. Requires: a transaction.
    void erase(tag_t tag);
    // A tag that no object of the store has had. Failure kStoreFailure if there are none left.
    // Requires: no StoreTransaction outside of a batch, whose rollback would give the tag twice.
    tag_t newTag();

    // What is stored about the contents of a file; only the tag if it isn't stored.
    StoredFile knownFile(tag_t tag);

    // ---- finding, among what is stored ----
    // Each object and attribute once. The reference holds until the next call or change.
    const std::vector<StoredReferrer>& referrers(tag_t target);
    std::vector<StoredReferrer> referrersBy(tag_t attribute, tag_t target);
    // The one with the highest tag, NULLTAG if there is none; quick also if there are many.
    tag_t lastReferrerBy(tag_t attribute, tag_t target);
    struct Hit {
        tag_t tag = NULLTAG, type = NULLTAG;
    };
    // Texts and patterns are compared byte by byte, so with case.
    std::vector<Hit> withText(tag_t attribute, std::string_view text);
    // Who has the text as value of `attribute` and refers to the target by `reference`.
    std::vector<tag_t> referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                         std::string_view text);
    // A pattern of * (any text) and ? (one character).
    std::vector<Hit> withPattern(tag_t attribute, const std::string& pattern);
    // Those of the hits whose text matches, in their order.
    std::vector<Hit> thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                      const std::string& pattern);
    // Nothing: the store has no index of texts.
    std::optional<TextIndexState> textIndex();
    // Make it, anew if it is there, or drop it, in one transaction. Failure kStoreFailure if the
    // SQLite library has no FTS5.
    void setTextIndex(bool on);
    // Texts that differ from this one in a letter, and up to 20 on each side in the order of texts;
    // sorted, each once. None for an empty text or one of more than 128 bytes.
    std::vector<std::string> textsNear(tag_t attribute, const std::string& text);
    // Objects of exactly this type, from this tag on, at most so many; a negative limit is none.
    std::vector<tag_t> ofType(tag_t type, tag_t from = 1, int limit = -1);
    std::vector<Hit> everything();
    std::int64_t objectCount();
    // The stored occurrences of a revision whose parents exist, by occurrence; one statement.
    std::vector<StoredUse> uses(const UsePath& path, tag_t revision);
    // The revisions on the stored lines of a revision, one for each line, in no order; one
    // statement.
    std::vector<tag_t> children(const UsePath& path, tag_t revision);

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
    std::optional<std::vector<std::string>> preference(const std::string& name);
    // By name.
    std::vector<std::pair<std::string, std::vector<std::string>>> preferences();
    void setPreference(const std::string& name, const std::vector<std::string>& values);
    void removePreference(const std::string& name);
    // By position.
    std::vector<Right> rights();
    // The reference holds until the next call about rights.
    const std::vector<Right>& rights(const std::string& privilege);
    // Put it at this position; 0: after all others. Returns: the position. Requires: neither the
    // right nor another one at the position is there.
    std::int64_t addRight(const Right& right, std::int64_t position = 0);
    // Returns: the position that it had; 0: it wasn't there.
    std::int64_t removeRight(const Right& right);
    struct CheckOutRow {
        tag_t object = NULLTAG, user = NULLTAG;
        std::string date, comment;
    };
    // Nothing: it isn't checked out.
    std::optional<CheckOutRow> checkOut(tag_t object);
    std::vector<CheckOutRow> checkOuts();
    // Returns: false, and nothing is changed, if somebody has it already.
    bool addCheckOut(const CheckOutRow& row);
    void removeCheckOut(tag_t object);

    // ---- registry of item ids; a Registry holds as long as the store uses that one ----
    // The one in use. Failure kRegistryDown if it can't be opened or is switched off.
    Registry registry();
    // The same, also if it is switched off.
    Registry registryEvenDown();
    // Change it in one transaction, in which nobody changes it or takes another one. Failure as
    // registry(), or what `change` throws: nothing is changed then.
    void changeRegistry(const std::function<void(Registry&)>& change);
    Registry ownRegistry() { return Registry(*connection_); }
    std::string registryPath();  // empty: the store's own
    // Use the file at the path from now on, which gets the ids of the store's own one; empty: the
    // store's own again. Failure kRegistryDown if the file is no registry, or is switched off and
    // should get ids.
    void useRegistry(const std::string& path);

    // ---- runs ----
    // Whether the store keeps their records.
    bool recordsRuns();
    void recordRuns(bool on);

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
    void letGoOfBatch() noexcept;
    // The outer batch makes a great deal: until its end nothing is read through a mapping of the
    // file, which asks the whole log for each page. Requires: a batch.
    void expectMuch();
    // Whether the database has given up the batch after a failure.
    bool isBatchLost() const;
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
    std::vector<CheckFinding> backup(const std::string& path);

private:
    friend class StoreTransaction;
    friend class OneMoment;
    friend class RunTables;
    friend class StoreInside;  // of the tests that damage a store

    struct Shared {
        std::string path;
        bool in_memory;
        Model model;
        Volume volume;
        std::shared_ptr<Locks> locks;
        std::int64_t model_position = 0;  // last addition that the model knows
        std::vector<Store*> askers;       // any of them can ask for additions
        Shared(const std::string& store_path, bool memory)
            : path(store_path),
              in_memory(memory),
              volume(memory ? "" : store_path + ".volume", memory ? "" : store_path) {}
    };
    std::shared_ptr<Shared> shared_;
    std::unique_ptr<Connection> connection_;
    StoredReferrers referrers_;
    TextIndex text_index_;
    std::map<std::string, std::vector<Right>> rights_;  // by privilege
    Freshness rights_fresh_;
    std::unique_ptr<Connection> registry_connection_;  // to a shared registry, once it is needed
    tag_t next_tag_ = 0, tags_end_ = 0;
    tag_t tag_block_ = 16;
    // Members, so that their memory is used again.
    std::vector<Values> before_;
    std::vector<std::pair<tag_t, const Value*>> indexed_;
    const void* batch_owner_ = nullptr;
    struct Batch {
        Model::Mark mark;
        std::int64_t position = 0;  // of the model
    };
    std::vector<Batch> batches_;  // the outer one first
    bool unmapped_ = false;       // until the outer batch ends

    Store(std::shared_ptr<Shared> shared, std::unique_ptr<Connection> connection);
    static std::unique_ptr<Connection> connect(const std::string& path, bool read_only);
    void upgrade();
    void moveValues();
    bool loadAdditions();
    // Nothing: search without the index.
    std::optional<std::vector<Hit>> byTextIndex(tag_t attribute, const std::string& pattern,
                                                const std::string& prefix, const std::string& end);
    template <typename Steps>
    void define(Steps&& steps);
    void storeAddition(const char* kind, const std::string& name, const std::string& parent,
                       const std::vector<AttributeSpec>& parts);
    void applyAddition(const std::string& kind, const std::string& name, const std::string& parent,
                       const std::vector<AttributeSpec>& parts);
    void checkFiles(bool repair, const std::vector<tag_t>& unsaved_files,
                    std::vector<CheckFinding>& findings);
    void checkTexts(bool repair, std::vector<CheckFinding>& findings);
    void checkSessions(bool repair, std::vector<CheckFinding>& findings);
    std::vector<tag_t> storedFiles();
    void mapAgain() noexcept;
    void indexNew(tag_t tag);
    void index(tag_t tag, tag_t attribute, const Value& value);
    void unindex(tag_t tag, tag_t attribute, const Value& value);
    bool reindex(tag_t tag, tag_t attribute, const Value& before, const Value& now);
    void indexDifference(tag_t tag, tag_t attribute, const Values& before, const Values& now);
    void checkIndexes(bool repair, std::vector<CheckFinding>& findings);
    void indexAll();

    static const char* const kLoad;
};

// A transaction of a store, which goes back unless it is committed. Inside another one, or a batch,
// it is a part of that. Others who write wait until it ends. Failure kStoreFailure if somebody else
// writes for longer than the wait limit.
class StoreTransaction {
public:
    explicit StoreTransaction(Store& store) : transaction_(*store.connection_) {}
    void commit() { transaction_.commit(); }

private:
    Transaction transaction_;
};

// While it lives, this connection sees the store as it was at the first read; others may write.
class OneMoment {
public:
    explicit OneMoment(Store& store);
    ~OneMoment();
    OneMoment(const OneMoment&) = delete;

private:
    Connection& connection_;
    bool own_;
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
    Statement row = connection_->statement(kLoad);
    row.bind(std::int64_t{tag});
    if (!row.step())
        return false;
    head(static_cast<tag_t>(row.integer(0)), row.integer(1));
    countObject();
    ObjectReader in(tag, row.bytes(2));
    values(in);
    return true;
}

}  // namespace mervane
