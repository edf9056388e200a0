#include "workbench/store/sqlite/sqlite_store.h"

#include <algorithm>
#include <filesystem>
#include <unordered_set>
#include <utility>

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/store/near.h"
#include "workbench/store/pattern.h"
#include "workbench/store/sqlite/locks.h"
#include "workbench/store/sqlite/schema.h"
#include "workbench/system/system.h"

namespace mervane {

const char* const SqliteStore::kLoad = "SELECT type, version, data FROM object WHERE tag=?";

namespace {

constexpr const char* kMapping = "PRAGMA mmap_size=134217728";

std::int64_t number(tag_t tag) {
    return static_cast<std::int64_t>(tag);
}

tag_t tagOf(std::int64_t value) {
    return static_cast<tag_t>(value);
}

const char* synchronous() {
    const std::string wanted = system::environment("MERVANE_SYNC");
    if (wanted == "off")
        return "PRAGMA synchronous=OFF";
    return wanted == "normal" ? "PRAGMA synchronous=NORMAL" : "PRAGMA synchronous=FULL";
}

}  // namespace

// ---- making and opening ----

void SqliteStore::make(const std::string& path,
                       const std::function<void(const std::shared_ptr<Store>&)>& fill) {
    // What an earlier store left there would be taken for a part of this one.
    for (const char* suffix : {".volume", "-locks", "-sessions", "-wal"})
        needNothingAt(path + suffix);
    const MakingPlace place(path);
    const std::string made = place / "store";
    {
        Connection connection(made, Connection::Mode::Create);
        connection.useWriteAheadLog();
        connection.execute(synchronous());
        Transaction transaction(connection);
        createSchema(connection);
        transaction.commit();
    }
    if (fill)
        fill(openAt(made));
    // The last connection to close moves the log into the database. A log that is still there would
    // be lost with this directory.
    if (system::somethingAt(made + "-wal"))
        throw Failure(kStoreFailure, "The store " + path + " can't be written to disk");
    // Files first, so a store under its name has them. Without any, a kill here leaves nothing.
    const bool has_volume = !DirectoryVolume(made + ".volume", made).tags().empty();
    if (has_volume)
        place.put("store.volume", path + ".volume");
    try {
        place.put("store", path);
    } catch (...) {
        if (has_volume)
            place.takeBack("store.volume", path + ".volume");
        throw;
    }
    // The store is whole already. Opening it makes a missing volume, and tells why it can't.
    try {
        DirectoryVolume(path + ".volume", path).makeDirectory();
    } catch (const Failure&) {
    }
}

std::unique_ptr<Connection> SqliteStore::connect(const std::string& path, bool read_only) {
    auto connection = std::make_unique<Connection>(
        path, read_only ? Connection::Mode::Read : Connection::Mode::Open);
    connection->execute("PRAGMA foreign_keys=OFF; PRAGMA temp_store=MEMORY");
    if (!read_only)
        connection->execute(synchronous());
    // 64 MiB of pages, enough for the indexes of a hundred thousand items.
    connection->execute("PRAGMA cache_size=-65536");
    connection->execute(kMapping);
    return connection;
}

namespace {

// Ask for the directory, too: files come and go beside the store.
bool mayWriteWithin(const std::string& path) {
    const std::string directory =
        std::filesystem::absolute(system::pathOf(path)).parent_path().string();
    return system::mayWrite(path) && system::mayWrite(directory);
}

}  // namespace

std::shared_ptr<Store> SqliteStore::openAt(const std::string& path) {
    const bool memory = path == ":memory:";
    if (!memory && !system::somethingAt(path))
        throw Failure(kStoreFailure, "There is no store at " + path);
    std::unique_ptr<Connection> connection;
    bool read_only = false;
    if (memory) {
        connection = std::make_unique<Connection>(path, Connection::Mode::Create);
        connection->execute("PRAGMA temp_store=MEMORY");
        Transaction transaction(*connection);
        createSchema(*connection);
        transaction.commit();
    } else {
        read_only = !mayWriteWithin(path);
        connection = connect(path, read_only);
        // First: a change of the mode writes into any database.
        needStore(*connection);
        if (!read_only)
            connection->useWriteAheadLog();
    }
    auto shared = std::make_shared<Shared>();
    shared->path = path;
    auto volume =
        std::make_unique<DirectoryVolume>(memory ? "" : path + ".volume", memory ? "" : path);
    if (!memory && !read_only)
        volume->makeDirectory();
    shared->volume = std::move(volume);
    // A reader changes nothing, so nobody has to see its locks.
    shared->locks = memory || read_only ? memoryLocks() : fileLocks(path);
    const std::shared_ptr<SqliteStore> store(
        new SqliteStore(std::move(shared), std::move(connection), memory));
    // The upgrade comes after the locks, which refuse while an older program has sessions: that
    // program would lose its tables. It comes after the additions, too, since the kinds of the
    // attributes tell what the old values are.
    store->loadAdditions();
    if (!memory)
        store->upgrade();
    return store;
}

std::shared_ptr<Store> SqliteStore::another(const std::shared_ptr<Store>& self) {
    // A database in memory belongs to one connection, so sessions share it.
    if (in_memory_)
        return self;
    return std::shared_ptr<Store>(
        new SqliteStore(sharedWithAll(), connect(path(), readOnly()), false));
}

SqliteStore::SqliteStore(std::shared_ptr<Shared> all, std::unique_ptr<Connection> connection,
                         bool in_memory)
    : Store(std::move(all)),
      connection_(std::move(connection)),
      in_memory_(in_memory),
      own_registry_(*connection_),
      referrers_(*connection_),
      text_index_(*connection_) {
    if (!in_memory_ && shared().locks)
        connection_->onBusy([locks = shared().locks.get()] {
            try {
                std::string all_texts;
                for (const std::string& each : locks->activities())
                    all_texts += (all_texts.empty() ? "" : "; ") + each;
                return all_texts;
            } catch (const Failure&) {
                // This failure must not replace the one that is being told.
                return std::string();
            }
        });
}

SqliteStore::~SqliteStore() {
    closeBatches();
}

void SqliteStore::needSound() const {
    connection_->needSound();
    if (shared_registry_)
        shared_registry_->connection().needSound();
}

// ---- objects ----

bool SqliteStore::row(tag_t tag, RowTaker take) {
    Statement row = connection_->statement(kLoad);
    row.bind(number(tag));
    if (!row.step())
        return false;
    take({tagOf(row.integer(0)), row.integer(1), row.bytes(2)});
    return true;
}

tag_t SqliteStore::typeOf(tag_t tag) {
    Statement row = connection_->statement("SELECT type FROM object WHERE tag=?");
    row.bind(number(tag));
    return row.step() ? tagOf(row.integer(0)) : NULLTAG;
}

std::int64_t SqliteStore::versionOf(tag_t tag) {
    Statement row = connection_->statement("SELECT version FROM object WHERE tag=?");
    row.bind(number(tag));
    return row.step() ? row.integer(0) : 0;
}

namespace {

// Those of some values that aren't among others.
class Missing {
public:
    explicit Missing(const Values& others) {
        for (const Value& value : others)
            if (const auto* text = std::get_if<std::string>(&value))
                texts_.insert(*text);
            else
                targets_.insert(std::get<Reference>(value).tag);
    }
    bool operator()(const Value& value) const {
        if (const auto* text = std::get_if<std::string>(&value))
            return texts_.count(*text) == 0;
        return targets_.count(std::get<Reference>(value).tag) == 0;
    }

private:
    std::unordered_set<std::string_view> texts_;
    std::unordered_set<tag_t> targets_;
};

bool isIndexed(const Values& values) {
    return !values.empty() && (std::holds_alternative<std::string>(values.front()) ||
                               std::holds_alternative<Reference>(values.front()));
}

}  // namespace

void SqliteStore::insert(tag_t tag, tag_t type, std::vector<AttributeValues>& values,
                         std::int64_t version) {
    countObject();
    // The lists are told before the change: a note too many costs a look-up, a missing one would
    // hide a referrer.
    referrers_.erased(tag);
    indexed_.clear();
    const std::string data = objectData(values);
    connection_->statement("INSERT INTO object(tag, type, version, data) VALUES(?, ?, ?, ?)")
        .bind(number(tag))
        .bind(number(type))
        .bind(version)
        .bindBytes(data)
        .run();
    for (const AttributeValues& each : values)
        if (isIndexed(*each.values))
            for (const Value& value : *each.values)
                indexed_.emplace_back(each.attribute, &value);
    indexNew(tag);
}

bool SqliteStore::save(tag_t tag, std::int64_t version, std::vector<AttributeValues>& changed) {
    std::string data;
    {
        Statement row = connection_->statement(kLoad);
        row.bind(number(tag));
        if (!row.step() || row.integer(1) != version)
            return false;
        data = changedData(tag, row.bytes(2), changed, before_);
    }
    for (std::size_t i = 0; i < changed.size(); ++i)
        indexDifference(tag, changed[i].attribute, before_[i], *changed[i].values);
    connection_->statement("UPDATE object SET version=version+1, data=? WHERE tag=?")
        .bindBytes(data)
        .bind(number(tag))
        .run();
    return true;
}

// Make what is in `indexed_` found from the other side: several rows by one statement, which takes
// less time than one for each.
void SqliteStore::indexNew(tag_t tag) {
    static constexpr const char* kTexts[] = {
        "INSERT OR IGNORE INTO text(attr, v, tag) VALUES(?, ?, ?)",
        "INSERT OR IGNORE INTO text(attr, v, tag) VALUES(?, ?, ?), (?, ?, ?)",
        "INSERT OR IGNORE INTO text(attr, v, tag) VALUES(?, ?, ?), (?, ?, ?), (?, ?, ?)",
        "INSERT OR IGNORE INTO text(attr, v, tag) VALUES(?, ?, ?), (?, ?, ?), (?, ?, ?), "
        "(?, ?, ?)"};
    static constexpr const char* kReferences[] = {
        "INSERT OR IGNORE INTO ref(target, attr, tag) VALUES(?, ?, ?)",
        "INSERT OR IGNORE INTO ref(target, attr, tag) VALUES(?, ?, ?), (?, ?, ?)",
        "INSERT OR IGNORE INTO ref(target, attr, tag) VALUES(?, ?, ?), (?, ?, ?), (?, ?, ?)",
        "INSERT OR IGNORE INTO ref(target, attr, tag) VALUES(?, ?, ?), (?, ?, ?), (?, ?, ?), "
        "(?, ?, ?)"};
    // One statement fills one table.
    const auto middle = std::partition(indexed_.begin(), indexed_.end(), [](const auto& each) {
        return std::holds_alternative<std::string>(*each.second);
    });
    // Nobody asks who refers to nothing.
    const auto end = std::remove_if(middle, indexed_.end(), [](const auto& each) {
        return std::get<Reference>(*each.second).tag == NULLTAG;
    });
    for (auto at = indexed_.begin(); at != end;) {
        const bool texts = at < middle;
        const auto rows = std::min<std::ptrdiff_t>((texts ? middle : end) - at, 4);
        Statement made = connection_->statement((texts ? kTexts : kReferences)[rows - 1]);
        for (const auto last = at + rows; at != last; ++at) {
            if (texts)
                made.bind(number(at->first))
                    .bind(std::string_view(std::get<std::string>(*at->second)));
            else
                made.bind(number(std::get<Reference>(*at->second).tag)).bind(number(at->first));
            made.bind(number(tag));
        }
        made.run();
    }
    // The values are the caller's: no pointer to them stays.
    indexed_.clear();
}

// Make a value found from the other side. An array may have it twice.
void SqliteStore::index(tag_t tag, tag_t attribute, const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        connection_->statement("INSERT OR IGNORE INTO text(attr, v, tag) VALUES(?, ?, ?)")
            .bind(number(attribute))
            .bind(std::string_view(*text))
            .bind(number(tag))
            .run();
    else if (const tag_t target = std::get<Reference>(value).tag; target != NULLTAG)
        connection_->statement("INSERT OR IGNORE INTO ref(target, attr, tag) VALUES(?, ?, ?)")
            .bind(number(target))
            .bind(number(attribute))
            .bind(number(tag))
            .run();
}

void SqliteStore::unindex(tag_t tag, tag_t attribute, const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        connection_->statement("DELETE FROM text WHERE attr=? AND v=? AND tag=?")
            .bind(number(attribute))
            .bind(std::string_view(*text))
            .bind(number(tag))
            .run();
    else
        connection_->statement("DELETE FROM ref WHERE target=? AND attr=? AND tag=?")
            .bind(number(std::get<Reference>(value).tag))
            .bind(number(attribute))
            .bind(number(tag))
            .run();
}

// Both steps at once. Returns: false, and nothing is changed, where that can't be done.
bool SqliteStore::reindex(tag_t tag, tag_t attribute, const Value& before, const Value& now) {
    if (const auto* text = std::get_if<std::string>(&now)) {
        connection_->statement("UPDATE OR IGNORE text SET v=? WHERE attr=? AND v=? AND tag=?")
            .bind(std::string_view(*text))
            .bind(number(attribute))
            .bind(std::string_view(std::get<std::string>(before)))
            .bind(number(tag))
            .run();
    } else {
        if (std::get<Reference>(now).tag == NULLTAG)
            return false;
        connection_
            ->statement("UPDATE OR IGNORE ref SET target=? WHERE target=? AND attr=? AND tag=?")
            .bind(number(std::get<Reference>(now).tag))
            .bind(number(std::get<Reference>(before).tag))
            .bind(number(attribute))
            .bind(number(tag))
            .run();
    }
    return connection_->changes() == 1;
}

void SqliteStore::indexDifference(tag_t tag, tag_t attribute, const Values& before,
                                  const Values& now) {
    const bool was = isIndexed(before), is = isIndexed(now);
    if ((!was && !is) || before == now)
        return;
    referrers_.changed(tag, attribute);
    // Nothing to compare, or damage: values of another kind than those that the attribute has.
    if (!was || !is || before.front().index() != now.front().index()) {
        if (was)
            for (const Value& value : before)
                unindex(tag, attribute, value);
        if (is)
            for (const Value& value : now)
                index(tag, attribute, value);
        return;
    }
    // What goes before what comes: the index of texts takes a text that goes for the old one.
    if (before.size() == 1 && now.size() == 1 && reindex(tag, attribute, before[0], now[0]))
        return;
    // By value and not by index: a value that an array has twice keeps its row until both are gone,
    // and one that only moves is left alone.
    const Missing in_now(now), in_before(before);
    for (const Value& value : before)
        if (in_now(value))
            unindex(tag, attribute, value);
    for (const Value& value : now)
        if (in_before(value))
            index(tag, attribute, value);
}

void SqliteStore::erase(tag_t tag) {
    referrers_.erased(tag);
    {
        // Only the object's own row tells under which values it is found.
        Statement row = connection_->statement(kLoad);
        row.bind(number(tag));
        if (row.step()) {
            ObjectReader in(tag, row.bytes(2));
            while (in.next())
                if (in.kind() == Kind::String || in.kind() == Kind::Reference)
                    while (in.left() > 0)
                        unindex(tag, in.attribute(), in.value());
        }
    }
    for (const char* sql :
         {"DELETE FROM checkout WHERE object=?", "DELETE FROM object WHERE tag=?"})
        connection_->statement(sql).bind(number(tag)).run();
}

tag_t SqliteStore::takeTags(tag_t count) {
    Statement row = connection_->statement(
        "UPDATE meta SET value=value+?1 WHERE name='next_tag' AND value+?1<=2147483647 "
        "RETURNING value");
    row.bind(std::int64_t{count});
    if (!row.step())
        throw Failure(kStoreFailure, "The store has no tags left");
    const tag_t end = tagOf(row.integer(0));
    // The change is committed when the statement has run to its end.
    row.run();
    return end;
}

tag_t SqliteStore::nextTag() {
    Statement row = connection_->statement("SELECT value FROM meta WHERE name='next_tag'");
    return row.step() ? tagOf(row.integer(0)) : NULLTAG;
}

void SqliteStore::takeOver(const std::string& identity, tag_t next_tag) {
    connection_->statement("UPDATE meta SET value=? WHERE name='store_id'")
        .bind(std::string_view(identity))
        .run();
    connection_->statement("UPDATE meta SET value=? WHERE name='next_tag'")
        .bind(number(next_tag))
        .run();
}

// ---- finding ----
//
// CROSS JOIN keeps the order in which the tables are written: first the one that gives few rows, in
// the order of their tags.

const std::vector<StoredReferrer>& SqliteStore::referrers(tag_t target) {
    return referrers_.of(target);
}

std::vector<StoredReferrer> SqliteStore::referrersBy(tag_t attribute, tag_t target) {
    std::vector<StoredReferrer> all;
    Statement rows = connection_->statement(
        "SELECT r.tag, o.type FROM ref r CROSS JOIN object o ON o.tag=r.tag "
        "WHERE r.target=? AND r.attr=? ORDER BY r.tag");
    rows.bind(number(target)).bind(number(attribute));
    while (rows.step())
        all.push_back({tagOf(rows.integer(0)), attribute, tagOf(rows.integer(1))});
    return all;
}

tag_t SqliteStore::lastReferrerBy(tag_t attribute, tag_t target) {
    Statement row = connection_->statement(
        "SELECT r.tag FROM ref r JOIN object o ON o.tag=r.tag WHERE r.target=? AND r.attr=? "
        "ORDER BY r.tag DESC LIMIT 1");
    row.bind(number(target)).bind(number(attribute));
    return row.step() ? tagOf(row.integer(0)) : NULLTAG;
}

std::vector<Store::Hit> SqliteStore::withText(tag_t attribute, std::string_view text) {
    std::vector<Hit> all;
    Statement rows = connection_->statement(
        "SELECT v.tag, o.type FROM text v CROSS JOIN object o ON o.tag=v.tag "
        "WHERE v.attr=? AND v.v=? ORDER BY v.tag");
    rows.bind(number(attribute)).bind(text);
    while (rows.step())
        all.push_back({tagOf(rows.integer(0)), tagOf(rows.integer(1))});
    return all;
}

std::vector<tag_t> SqliteStore::referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                                  std::string_view text) {
    constexpr std::int64_t kFew = 16;
    std::int64_t with_text = 0;
    {
        Statement few = connection_->statement(
            "SELECT count(*) FROM (SELECT 1 FROM text WHERE attr=? AND v=? LIMIT ?)");
        few.bind(number(attribute)).bind(text).bind(kFew + 1);
        with_text = few.step() ? few.integer(0) : 0;
    }
    std::vector<tag_t> all;
    // Begin on the side with fewer rows: one item may have thousands of revisions, and thousands of
    // items may have a revision of this id.
    Statement rows = connection_->statement(
        with_text <= kFew
            ? "SELECT v.tag FROM text v CROSS JOIN ref r ON r.tag=v.tag "
              "WHERE v.attr=?1 AND v.v=?4 AND r.target=?2 AND r.attr=?3 ORDER BY v.tag"
            : "SELECT r.tag FROM ref r CROSS JOIN text v ON v.tag=r.tag "
              "WHERE r.target=?2 AND r.attr=?3 AND v.attr=?1 AND v.v=?4 ORDER BY r.tag");
    rows.bind(number(attribute)).bind(number(target)).bind(number(reference)).bind(text);
    while (rows.step())
        all.push_back(tagOf(rows.integer(0)));
    return all;
}

std::vector<std::string> SqliteStore::textsNear(tag_t attribute, const std::string& text) {
    constexpr std::int64_t kNeighbours = 20;
    std::vector<std::string> found;
    if (text.empty() || text.size() > kLongestNear)
        return found;
    for (const std::string& each : oneLetterAway(text)) {
        Statement row = connection_->statement("SELECT 1 FROM text WHERE attr=? AND v=? LIMIT 1");
        row.bind(number(attribute)).bind(std::string_view(each));
        if (row.step())
            found.push_back(each);
    }
    for (const char* sql :
         {"SELECT DISTINCT v FROM text WHERE attr=? AND v>=? ORDER BY v LIMIT ?",
          "SELECT DISTINCT v FROM text WHERE attr=? AND v<? ORDER BY v DESC LIMIT ?"}) {
        Statement rows = connection_->statement(sql);
        rows.bind(number(attribute)).bind(std::string_view(text)).bind(kNeighbours);
        while (rows.step())
            found.emplace_back(rows.text(0));
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

std::vector<Store::Hit> SqliteStore::withPattern(tag_t attribute, const std::string& pattern) {
    const std::size_t wildcard = pattern.find_first_of("*?");
    if (wildcard == std::string::npos)
        return withText(attribute, pattern);
    const std::string prefix = pattern.substr(0, wildcard);
    // Texts with the prefix are at least the prefix, and less than the prefix with its last byte
    // counted up. A byte 0xFF can't be counted up: it is dropped.
    std::string end = prefix;
    while (!end.empty() && static_cast<unsigned char>(end.back()) == 0xFF)
        end.pop_back();
    if (!end.empty())
        end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
    if (auto indexed = byTextIndex(attribute, pattern, prefix, end))
        return std::move(*indexed);
    std::vector<Hit> all;
    auto collect = [&](Statement& rows) {
        while (rows.step())
            all.push_back({tagOf(rows.integer(0)), tagOf(rows.integer(1))});
    };
    if (end.empty()) {
        Statement rows = connection_->statement(
            "SELECT DISTINCT v.tag, o.type FROM text v JOIN object o ON o.tag=v.tag "
            "WHERE v.attr=? AND matches(?, v.v)");
        rows.bind(number(attribute)).bind(std::string_view(pattern));
        collect(rows);
    } else {
        Statement rows = connection_->statement(
            "SELECT DISTINCT v.tag, o.type FROM text v JOIN object o ON o.tag=v.tag "
            "WHERE v.attr=? AND v.v>=? AND v.v<? AND matches(?, v.v)");
        rows.bind(number(attribute))
            .bind(std::string_view(prefix))
            .bind(std::string_view(end))
            .bind(std::string_view(pattern));
        collect(rows);
    }
    std::sort(all.begin(), all.end(), [](const Hit& a, const Hit& b) { return a.tag < b.tag; });
    return all;
}

std::optional<std::vector<Store::Hit>> SqliteStore::byTextIndex(tag_t attribute,
                                                                const std::string& pattern,
                                                                const std::string& prefix,
                                                                const std::string& end) {
    std::vector<Hit> all;
    try {
        if (!text_index_.search(attribute, pattern, prefix, end, [&](tag_t tag, tag_t type) {
                all.push_back({tag, type});
            }))
            return std::nullopt;
    } catch (const Failure&) {
        // Search without an index that is damaged, or that somebody has just dropped. The check
        // tells the damage.
        if (connection_->isBroken() || (!text_index_.hasFailed() && text_index_.isThere()))
            throw;
        return std::nullopt;
    }
    std::sort(all.begin(), all.end(), [](const Hit& a, const Hit& b) { return a.tag < b.tag; });
    all.erase(std::unique(all.begin(), all.end(),
                          [](const Hit& a, const Hit& b) { return a.tag == b.tag; }),
              all.end());
    return all;
}

std::vector<Store::Hit> SqliteStore::thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
                                                      const std::string& pattern) {
    constexpr std::size_t kFew = 1000;
    // Few objects are read more quickly than all texts are searched.
    if (hits.size() <= kFew) {
        const Pattern wanted(pattern);
        std::erase_if(hits, [&](const Hit& hit) {
            Statement row = connection_->statement(kLoad);
            row.bind(number(hit.tag));
            const auto text = row.step() ? firstText(hit.tag, row.bytes(2), attribute)
                                         : std::optional<std::string_view>();
            return !text || !wanted.matches(*text);
        });
        return hits;
    }
    const std::vector<Hit> all = withPattern(attribute, pattern);
    std::erase_if(hits, [&](const Hit& hit) {
        return !std::binary_search(all.begin(), all.end(), hit,
                                   [](const Hit& a, const Hit& b) { return a.tag < b.tag; });
    });
    return hits;
}

std::optional<TextIndexState> SqliteStore::textIndex() {
    if (!text_index_.isThere())
        return std::nullopt;
    return text_index_.state();
}

void SqliteStore::setTextIndex(bool on) {
    if (on)
        text_index_.make(model());
    else
        text_index_.drop();
}

std::vector<tag_t> SqliteStore::ofType(tag_t type, tag_t from, int limit) {
    std::vector<tag_t> all;
    Statement rows = connection_->statement(
        "SELECT tag FROM object WHERE type=? AND tag>=? ORDER BY tag LIMIT ?");
    rows.bind(number(type)).bind(number(from)).bind(std::int64_t{limit});
    while (rows.step())
        all.push_back(tagOf(rows.integer(0)));
    return all;
}

std::vector<Store::Hit> SqliteStore::everything() {
    std::vector<Hit> all;
    Statement rows = connection_->statement("SELECT tag, type FROM object ORDER BY tag");
    while (rows.step())
        all.push_back({tagOf(rows.integer(0)), tagOf(rows.integer(1))});
    return all;
}

std::int64_t SqliteStore::objectCount() {
    Statement row = connection_->statement("SELECT count(*) FROM object");
    return row.step() ? row.integer(0) : 0;
}

// ---- transactions ----

// A database in a file has one writer at a time.
bool SqliteStore::begin(bool) {
    if (!connection_->inTransaction()) {
        parts_.clear();
        beginTransaction(*connection_);
        changes_before_ = connection_->allChanges();
        return false;
    }
    // A savepoint keeps the old contents of each page that is changed after it, in memory, and its
    // end walks through all of them: an import of much does without.
    Part part = Part::Savepoint;
    if (much_)
        part = Part::Together;
    else if (parts_.empty() && connection_->allChanges() == changes_before_)
        part = Part::First;
    parts_.reserve(parts_.size() + 1);
    if (part == Part::Savepoint)
        beginTransaction(*connection_);
    parts_.push_back(part);
    return true;
}

void SqliteStore::commit(bool part) {
    if (!part || parts_.back() == Part::Savepoint)
        commitTransaction(*connection_, part);
    if (part)
        parts_.pop_back();
    else
        mapAgain();
}

void SqliteStore::rollback(bool part) noexcept {
    const Part kind = part && !parts_.empty() ? parts_.back() : Part::Savepoint;
    if (part && !parts_.empty())
        parts_.pop_back();
    // What can't go back alone takes all with it, and the batch counts as given up.
    rollbackTransaction(*connection_, part && kind == Part::Savepoint);
    if (kind == Part::First) {
        const bool held = connection_->holdsTransaction();
        connection_->holdTransaction(false);
        try {
            // The outer one goes on: it has lost nothing.
            beginTransaction(*connection_);
            changes_before_ = connection_->allChanges();
        } catch (...) {
            // Somebody else writes now: the batch counts as given up.
        }
        connection_->holdTransaction(held);
    }
    if (!part) {
        parts_.clear();
        mapAgain();
    }
}

// A page that is read through the mapping is looked for in the log each time, also if it is in the
// cache: in a log of gigabytes that takes longer than all else.
void SqliteStore::expectMuch() {
    if (much_)
        return;
    if (!in_memory_)
        connection_->execute("PRAGMA mmap_size=0");
    much_ = true;
}

void SqliteStore::mapAgain() noexcept {
    if (!std::exchange(much_, false) || in_memory_)
        return;
    try {
        connection_->execute(kMapping);
    } catch (...) {
        // Reading takes a little longer then.
    }
}

void SqliteStore::holdTransaction(bool hold) noexcept {
    connection_->holdTransaction(hold);
}

void SqliteStore::completeBatch() {
    // In the same transaction, so a run that goes back leaves nothing in the index.
    text_index_.takeUp();
}

bool SqliteStore::isBatchLost() const {
    return connection_->isHeldTransactionLost();
}

bool SqliteStore::beginMoment() {
    if (connection_->inTransaction())
        return false;
    // Deferred: no write lock; the first read fixes the moment.
    connection_->execute("BEGIN");
    return true;
}

void SqliteStore::endMoment(bool begun) noexcept {
    try {
        if (begun && connection_->inTransaction())
            connection_->execute("ROLLBACK");
    } catch (const Failure&) {
        // Nothing was written: the next statement begins anew.
    }
}

// ---- additions to the model ----

std::vector<Store::Addition> SqliteStore::additionsAfter(std::int64_t position) {
    std::vector<Addition> additions;
    {
        Statement rows = connection_->statement(
            "SELECT position, kind, name, parent FROM model WHERE position>? ORDER BY position");
        rows.bind(position);
        while (rows.step())
            additions.push_back({rows.integer(0),
                                 std::string(rows.text(1)),
                                 std::string(rows.text(2)),
                                 std::string(rows.text(3)),
                                 {}});
    }
    for (Addition& each : additions) {
        Statement rows = connection_->statement(
            "SELECT name, kind, is_array, max_length FROM model_part WHERE position=? "
            "ORDER BY idx");
        rows.bind(each.position);
        while (rows.step())
            each.parts.push_back({std::string(rows.text(0)), static_cast<Kind>(rows.integer(1)),
                                  rows.integer(2) != 0, static_cast<int>(rows.integer(3))});
    }
    return additions;
}

std::int64_t SqliteStore::storeAddition(const Addition& addition) {
    std::int64_t position = 0;
    {
        Statement row = connection_->statement(
            "INSERT INTO model(kind, name, parent) VALUES(?, ?, ?) RETURNING position");
        row.bind(std::string_view(addition.kind))
            .bind(std::string_view(addition.name))
            .bind(std::string_view(addition.parent));
        if (row.step())
            position = row.integer(0);
        row.run();
    }
    for (std::size_t i = 0; i < addition.parts.size(); ++i)
        connection_->statement("INSERT INTO model_part VALUES(?, ?, ?, ?, ?, ?)")
            .bind(position)
            .bind(static_cast<std::int64_t>(i))
            .bind(std::string_view(addition.parts[i].name))
            .bind(static_cast<std::int64_t>(addition.parts[i].kind))
            .bind(std::int64_t{addition.parts[i].array})
            .bind(std::int64_t{addition.parts[i].max_length})
            .run();
    return position;
}

}  // namespace mervane
