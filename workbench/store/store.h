#pragma once

// A store: one database with its volume, its locks and its model. The only place that speaks SQL;
// everything above works with objects and values.

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
#include "workbench/store/referrers.h"
#include "workbench/store/registry.h"
#include "workbench/store/sqlite.h"
#include "workbench/store/text_index.h"
#include "workbench/store/volume.h"
#include "workbench/store/where_used.h"

namespace mervane {

// One stored value as it is read; good until the next one.
class Cell {
public:
    explicit Cell(const Statement& row) : row_(row) {}
    Value as(Kind kind) const;

private:
    const Statement& row_;
};

class Store {
public:
    // Make a store that isn't there yet; it has its name when `fill` has put into it what belongs
    // there. Failure; nothing is left then, and what somebody else put there stays.
    static void create(const std::string& path,
                       const std::function<void(const std::shared_ptr<Store>&)>& fill = nullptr);
    // ":memory:" makes a fresh one.
    static std::shared_ptr<Store> open(const std::string& path);
    // For one more session: a connection of its own to a store in a file, the same store in memory.
    static std::shared_ptr<Store> again(const std::shared_ptr<Store>& store);
    ~Store();
    Store(const Store&) = delete;

    const std::string& path() const { return shared_->path; }
    bool inMemory() const { return shared_->in_memory; }
    // That of its copies is the same.
    std::string identity();
    // This process may not write it: it is opened for reading, and no file beside it is made.
    bool readOnly() const { return connection_->readsOnly(); }
    Model& model() { return shared_->model; }
    Volume& volume() { return shared_->volume; }
    Locks& locks() { return *shared_->locks; }
    // Failure kStoreFailure if it isn't known whether an earlier change is stored.
    void needSound() const;
    // Take out the file of an object that isn't stored. It stays if nobody knows whether the object
    // is: a file without an object is no damage, the other way round is.
    void discardFile(tag_t tag) noexcept;

    // ---- objects ----
    // False: there is none. `head` gets type and version, `value` attribute, index and cell.
    template <typename Head, typename Each>
    bool load(tag_t tag, Head&& head, Each&& value);
    // False: there is no object. Cheaper than loading it.
    bool exists(tag_t tag);
    tag_t typeOf(tag_t tag);            // handle; NULLTAG: there is no object
    std::int64_t versionOf(tag_t tag);  // 0: there is no object
    void insert(tag_t tag, tag_t type, std::int64_t version = 1);
    // Count one more save; false: the stored version is another one.
    bool countSave(tag_t tag, std::int64_t version);
    // `fresh`: there is no such row yet.
    void write(tag_t tag, tag_t attribute, std::size_t index, const Value& value, bool fresh);
    // Drop the elements from this index on.
    void trim(tag_t tag, const Attribute& attribute, std::size_t from);
    void erase(tag_t tag);
    tag_t newTag();

    // What is stored about the contents of a file; nothing if it isn't stored.
    StoredFile knownFile(tag_t tag);

    // ---- finding; by tag ----
    // Good until the next call or change.
    const std::vector<StoredReferrer>& referrers(tag_t target);
    std::vector<StoredReferrer> referrersBy(tag_t attribute, tag_t target);
    tag_t lastReferrerBy(tag_t attribute, tag_t target);  // NULLTAG: there is none
    struct Hit {
        tag_t tag = NULLTAG, type = NULLTAG;
    };
    std::vector<Hit> withText(tag_t attribute, std::string_view text);
    // Who has the text and refers to the target.
    std::vector<tag_t> referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                         std::string_view text);
    // A pattern of * and ?, compared with case.
    std::vector<Hit> withPattern(tag_t attribute, const std::string& pattern);
    // Those of the hits whose text matches.
    std::vector<Hit> thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                      const std::string& pattern);
    // Nothing: there is none.
    std::optional<TextIndexState> textIndex();
    void setTextIndex(bool on);
    // Texts that differ from this one in a letter or stand beside it in the order of the index.
    std::vector<std::string> textsNear(tag_t attribute, const std::string& text);
    // From this tag on, at most so many; a negative limit is none.
    std::vector<tag_t> ofType(tag_t type, tag_t from = 1, int limit = -1);
    std::vector<Hit> everything();
    std::int64_t objectCount();
    // The stored occurrences of a revision whose parents exist, by occurrence; one statement.
    std::vector<StoredUse> uses(const UsePath& path, tag_t revision);
    // The revisions on the stored lines of a revision, one for each line, in no order; one
    // statement.
    std::vector<tag_t> children(const UsePath& path, tag_t revision);

    // ---- model ----
    void addClass(const std::string& name, const std::string& parent,
                  const std::vector<AttributeSpec>& attributes);
    void addType(const std::string& name, const std::string& parent,
                 const std::vector<AttributeSpec>& attributes);
    void addRelationType(const std::string& name);
    void addDatasetType(const std::string& name, const std::string& parent, const std::string& tool,
                        const std::vector<std::string>& formats,
                        const std::vector<std::string>& reference_names);

    // ---- settings, rights, check-outs ----
    std::optional<std::vector<std::string>> preference(const std::string& name);
    std::vector<std::pair<std::string, std::vector<std::string>>> preferences();
    void setPreference(const std::string& name, const std::vector<std::string>& values);
    void removePreference(const std::string& name);
    std::vector<Right> rights();
    // Good until the next call.
    const std::vector<Right>& rights(const std::string& privilege);
    // Its position among them: behind all others, or what is given. Requires: it isn't there.
    std::int64_t addRight(const Right& right, std::int64_t position = 0);
    // The position that it had; 0: it wasn't there.
    std::int64_t removeRight(const Right& right);
    struct CheckOutRow {
        tag_t object = NULLTAG, user = NULLTAG;
        std::string date, comment;
    };
    std::optional<CheckOutRow> checkOut(tag_t object);
    std::vector<CheckOutRow> checkOuts();
    // False: somebody has it already.
    bool addCheckOut(const CheckOutRow& row);
    void removeCheckOut(tag_t object);

    // ---- registry of item ids ----
    // The one in use. Failure kRegistryDown if it can't be opened or is switched off.
    Registry registry();
    // The same, also if it is switched off.
    Registry registryEvenDown();
    // Change it in one transaction, in which nobody changes it or takes another one.
    void changeRegistry(const std::function<void(Registry&)>& change);
    Registry ownRegistry() { return Registry(*connection_); }
    std::string registryPath();  // empty: the store's own
    // Take another one from now on; ids of the store's own go along to it.
    void useRegistry(const std::string& path);

    // ---- runs ----
    bool recordsRuns();
    void recordRuns(bool on);

    // ---- transactions ----
    // A long transaction of one session; others of this process that share the connection wait in
    // vain: Failure kStoreFailure for their writes. An inner one is a part of the outer one, and
    // goes back alone.
    void beginBatch(const void* owner);
    void commitBatch();
    void rollbackBatch() noexcept;
    // Let statements run again although the database has given the batch up. Requires: it is rolled
    // back next.
    void letGoOfBatch() noexcept;
    // Whether the database has given it up after a failure.
    bool isBatchLost() const;
    // Failure if another session's batch is open on this connection.
    void mayWrite(const void* owner) const;

    // ---- care ----
    // `unsaved_files`: tags of files whose objects sessions of this process haven't saved yet.
    std::vector<CheckFinding> check(bool repair, const std::vector<tag_t>& unsaved_files);
    // Files that are damaged are left out; gives them.
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
    const void* batch_owner_ = nullptr;
    struct Batch {
        Model::Mark mark;
        std::int64_t position = 0;  // of the model
    };
    std::vector<Batch> batches_;  // the outer one first

    Store(std::shared_ptr<Shared> shared, std::unique_ptr<Connection> connection);
    static std::unique_ptr<Connection> connect(const std::string& path, bool read_only);
    bool loadAdditions();
    // Nothing: the search is to be done without the index.
    std::optional<std::vector<Hit>> byTextIndex(tag_t attribute, const std::string& pattern,
                                                const std::string& prefix,
                                                const std::string& behind);
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

    static const char* const kLoad;
};

// A transaction of a store, which goes back unless it is committed. Inside another one, or a batch,
// it is a part of that. Others who would write wait until it ends.
class StoreTransaction {
public:
    explicit StoreTransaction(Store& store) : transaction_(*store.connection_) {}
    void commit() { transaction_.commit(); }

private:
    Transaction transaction_;
};

// While it lives, the store is seen as it was at the first read; others may write.
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
    Statement rows = connection_->statement(kLoad);
    rows.bind(std::int64_t{tag});
    if (!rows.step())
        return false;
    // The first row is the object itself; values without one are damage that the check reports.
    if (rows.integer(0) != 0)
        return false;
    head(static_cast<tag_t>(rows.integer(2)), rows.integer(1));
    countObject();
    const Cell cell(rows);
    while (rows.step())
        value(static_cast<tag_t>(rows.integer(0)), static_cast<std::size_t>(rows.integer(1)), cell);
    return true;
}

}  // namespace mervane
