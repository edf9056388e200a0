#pragma once

// A store in one SQLite file, or in memory, with its volume in a directory beside it.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "workbench/store/directory_volume.h"
#include "workbench/store/sqlite/referrers.h"
#include "workbench/store/sqlite/registry.h"
#include "workbench/store/sqlite/sqlite.h"
#include "workbench/store/sqlite/text_index.h"
#include "workbench/store/store.h"

namespace mervane {

class SqliteStore final : public Store {
public:
    // Store::create() and Store::open() of this kind.
    static void make(const std::string& path,
                     const std::function<void(const std::shared_ptr<Store>&)>& fill);
    static std::shared_ptr<Store> openAt(const std::string& path);
    ~SqliteStore() override;

    std::string identity() override;
    bool readOnly() const override { return connection_->readsOnly(); }
    void needSound() const override;

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
    std::vector<tag_t> referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                         std::string_view text) override;
    std::vector<Hit> withPattern(tag_t attribute, const std::string& pattern) override;
    std::vector<Hit> thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                      const std::string& pattern) override;
    std::optional<TextIndexState> textIndex() override;
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

    Registry& registryEvenDown() override;
    void changeRegistry(const std::function<void(Registry&)>& change) override;
    Registry& ownRegistry() override { return own_registry_; }
    std::string registryPath() override;
    void useRegistry(const std::string& path) override;

    bool recordsRuns() override;
    void recordRuns(bool on) override;
    std::unique_ptr<RunTables> runs(bool temporary) override;

    void expectMuch() override;
    bool isBatchLost() const override;
    std::vector<CheckFinding> backup(const std::string& path) override;

protected:
    std::shared_ptr<Store> another(const std::shared_ptr<Store>& self) override;
    bool row(tag_t tag, RowTaker take) override;
    bool begin(bool alone) override;
    void commit(bool part) override;
    void rollback(bool part) noexcept override;
    void holdTransaction(bool hold) noexcept override;
    void completeBatch() override;
    bool beginMoment() override;
    void endMoment(bool begun) noexcept override;
    tag_t takeTags(tag_t count) override;
    tag_t nextTag() override;
    void takeOver(const std::string& identity, tag_t next_tag) override;
    std::vector<Addition> additionsAfter(std::int64_t position) override;
    std::int64_t storeAddition(const Addition& addition) override;
    bool checkDatabase(Findings& findings) override;
    IndexDamage compareIndexes(Findings& findings) override;
    void makeIndexes() override;
    void checkTexts(bool repair, Findings& findings) override;
    std::vector<tag_t> typesInUse() override;
    void lostReferences(const std::function<void(const LostReference&)>& each) override;
    tag_t tagNotGivenYet() override;
    std::vector<tag_t> checkOutsOfNothing() override;

private:
    friend class StoreInside;  // of the tests that damage a store

    std::unique_ptr<Connection> connection_;
    bool in_memory_;
    RegistryTables own_registry_;
    std::unique_ptr<RegistryFile> shared_registry_;  // once it is needed
    StoredReferrers referrers_;
    TextIndex text_index_;
    std::map<std::string, std::vector<Right>> rights_;  // by privilege
    Freshness rights_fresh_;
    // Parts of the transaction that is open, the outer one first.
    enum class Part {
        Savepoint,
        First,     // nothing was changed before it: all goes back with it
        Together,  // it goes back with the one around it
    };
    std::vector<Part> parts_;
    std::int64_t changes_before_ = 0;  // of the connection, when the transaction began
    bool much_ = false;                // until the outer batch ends
    // Members, so that their memory is used again.
    std::vector<Values> before_;
    std::vector<std::pair<tag_t, const Value*>> indexed_;

    SqliteStore(std::shared_ptr<Shared> all, std::unique_ptr<Connection> connection,
                bool in_memory);
    static std::unique_ptr<Connection> connect(const std::string& path, bool read_only);
    void upgrade();
    void moveValues();
    // Nothing: search without the index.
    std::optional<std::vector<Hit>> byTextIndex(tag_t attribute, const std::string& pattern,
                                                const std::string& prefix, const std::string& end);
    void mapAgain() noexcept;
    void indexNew(tag_t tag);
    void index(tag_t tag, tag_t attribute, const Value& value);
    void unindex(tag_t tag, tag_t attribute, const Value& value);
    bool reindex(tag_t tag, tag_t attribute, const Value& before, const Value& now);
    void indexDifference(tag_t tag, tag_t attribute, const Values& before, const Values& now);

    static const char* const kLoad;
};

}  // namespace mervane
