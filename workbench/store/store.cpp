#include "workbench/store/store.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <unordered_set>

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/store/pattern.h"
#include "workbench/store/schema.h"
#include "workbench/system/system.h"

namespace mervane {

const char* const Store::kLoad = "SELECT type, version, data FROM object WHERE tag=?";

namespace {

constexpr const char* kMapping = "PRAGMA mmap_size=134217728";

std::atomic<std::uint64_t> objects_worked_on{0};

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

void countObject() noexcept {
    objects_worked_on.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t objectsWorkedOn() {
    return objects_worked_on.load();
}

// ---- making and opening ----

void Store::create(const std::string& path,
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
        fill(open(made));
    // The last connection to close moves the log into the database. A log that is still there would
    // be lost with this directory.
    if (system::somethingAt(made + "-wal"))
        throw Failure(kStoreFailure, "The store " + path + " can't be written to disk");
    place.put("store", path);
    // The store is whole already. Opening it makes a missing volume, and tells why it can't.
    try {
        Volume(path + ".volume", path).makeDirectory();
    } catch (const Failure&) {
    }
}

std::unique_ptr<Connection> Store::connect(const std::string& path, bool read_only) {
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

std::shared_ptr<Store> Store::open(const std::string& path) {
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
    auto shared = std::make_shared<Shared>(path, memory);
    if (!memory && !read_only)
        shared->volume.makeDirectory();
    // A reader changes nothing, so nobody has to see its locks.
    shared->locks = memory || read_only ? memoryLocks() : fileLocks(path);
    std::shared_ptr<Store> store(new Store(std::move(shared), std::move(connection)));
    // The upgrade comes after the locks, which refuse while an older program has sessions: that
    // program would lose its tables. It comes after the additions, too, since the kinds of the
    // attributes tell what the old values are.
    store->loadAdditions();
    if (!memory)
        store->upgrade();
    return store;
}

std::shared_ptr<Store> Store::again(const std::shared_ptr<Store>& store) {
    // A database in memory belongs to one connection, so sessions share it.
    if (store->inMemory())
        return store;
    return std::shared_ptr<Store>(
        new Store(store->shared_, connect(store->path(), store->readOnly())));
}

Store::Store(std::shared_ptr<Shared> shared, std::unique_ptr<Connection> connection)
    : shared_(std::move(shared)),
      connection_(std::move(connection)),
      referrers_(*connection_),
      text_index_(*connection_) {
    // For a name that it doesn't know the model asks a connection what other processes have added.
    // It asks the newest one, but any would do.
    shared_->model.onMiss([this] { return loadAdditions(); });
    shared_->askers.push_back(this);
    if (!shared_->in_memory)
        connection_->onBusy([locks = shared_->locks.get()] {
            try {
                std::string all;
                for (const std::string& each : locks->activities())
                    all += (all.empty() ? "" : "; ") + each;
                return all;
            } catch (const Failure&) {
                // This failure must not replace the one that is being told.
                return std::string();
            }
        });
}

Store::~Store() {
    while (!batches_.empty())
        rollbackBatch();
    std::erase(shared_->askers, this);
    // The model may live longer than this store, and must not ask it any more.
    if (shared_->askers.empty())
        shared_->model.onMiss(nullptr);
    else
        shared_->model.onMiss([other = shared_->askers.back()] { return other->loadAdditions(); });
}

void Store::needSound() const {
    connection_->needSound();
    if (registry_connection_)
        registry_connection_->needSound();
}

void Store::discardFile(tag_t tag) noexcept {
    if (!connection_->isBroken())
        volume().remove(tag);
}

// ---- objects ----

bool Store::exists(tag_t tag) {
    return typeOf(tag) != NULLTAG;
}

tag_t Store::typeOf(tag_t tag) {
    Statement row = connection_->statement("SELECT type FROM object WHERE tag=?");
    row.bind(number(tag));
    return row.step() ? tagOf(row.integer(0)) : NULLTAG;
}

std::int64_t Store::versionOf(tag_t tag) {
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

void Store::insert(tag_t tag, tag_t type, std::vector<AttributeValues>& values,
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

bool Store::save(tag_t tag, std::int64_t version, std::vector<AttributeValues>& changed) {
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
void Store::indexNew(tag_t tag) {
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
void Store::index(tag_t tag, tag_t attribute, const Value& value) {
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

void Store::unindex(tag_t tag, tag_t attribute, const Value& value) {
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
bool Store::reindex(tag_t tag, tag_t attribute, const Value& before, const Value& now) {
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

void Store::indexDifference(tag_t tag, tag_t attribute, const Values& before, const Values& now) {
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

void Store::erase(tag_t tag) {
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

// Tags are taken in blocks: to take one is a change of the store, with a wait for the disk.
tag_t Store::newTag() {
    if (next_tag_ == tags_end_) {
        tag_t end = NULLTAG;
        {
            Statement row = connection_->statement(
                "UPDATE meta SET value=value+?1 WHERE name='next_tag' AND value+?1<=2147483647 "
                "RETURNING value");
            row.bind(std::int64_t{tag_block_});
            if (!row.step())
                throw Failure(kStoreFailure, "The store has no tags left");
            end = tagOf(row.integer(0));
            // The change is committed when the statement has run to its end.
            row.run();
        }
        // Only after the statement is committed: another session would get a failed block, too.
        next_tag_ = end - tag_block_;
        tags_end_ = end;
        // Each block is twice as large as the one before, so an import seldom takes another one.
        tag_block_ = std::min<tag_t>(tag_block_ * 2, 4096);
    }
    return next_tag_++;
}

// ---- finding ----
//
// CROSS JOIN keeps the order in which the tables are written: first the one that gives few rows, in
// the order of their tags.

const std::vector<StoredReferrer>& Store::referrers(tag_t target) {
    return referrers_.of(target);
}

std::vector<StoredReferrer> Store::referrersBy(tag_t attribute, tag_t target) {
    std::vector<StoredReferrer> all;
    Statement rows = connection_->statement(
        "SELECT r.tag, o.type FROM ref r CROSS JOIN object o ON o.tag=r.tag "
        "WHERE r.target=? AND r.attr=? ORDER BY r.tag");
    rows.bind(number(target)).bind(number(attribute));
    while (rows.step())
        all.push_back({tagOf(rows.integer(0)), attribute, tagOf(rows.integer(1))});
    return all;
}

tag_t Store::lastReferrerBy(tag_t attribute, tag_t target) {
    Statement row = connection_->statement(
        "SELECT r.tag FROM ref r JOIN object o ON o.tag=r.tag WHERE r.target=? AND r.attr=? "
        "ORDER BY r.tag DESC LIMIT 1");
    row.bind(number(target)).bind(number(attribute));
    return row.step() ? tagOf(row.integer(0)) : NULLTAG;
}

std::vector<Store::Hit> Store::withText(tag_t attribute, std::string_view text) {
    std::vector<Hit> all;
    Statement rows = connection_->statement(
        "SELECT v.tag, o.type FROM text v CROSS JOIN object o ON o.tag=v.tag "
        "WHERE v.attr=? AND v.v=? ORDER BY v.tag");
    rows.bind(number(attribute)).bind(text);
    while (rows.step())
        all.push_back({tagOf(rows.integer(0)), tagOf(rows.integer(1))});
    return all;
}

std::vector<tag_t> Store::referrersWithText(tag_t reference, tag_t target, tag_t attribute,
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

namespace {

// One letter left out, put in, changed or swapped with its neighbour.
std::vector<std::string> oneLetterAway(const std::string& text) {
    constexpr std::string_view kLetters =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_./ ";
    std::vector<std::string> all;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        for (const char letter : kLetters) {
            all.push_back(std::string(text).insert(i, 1, letter));
            if (i < text.size() && letter != text[i])
                (all.emplace_back(text))[i] = letter;
        }
        if (i < text.size())
            all.push_back(std::string(text).erase(i, 1));
        if (i + 1 < text.size()) {
            std::string swapped = text;
            std::swap(swapped[i], swapped[i + 1]);
            all.push_back(std::move(swapped));
        }
    }
    return all;
}

}  // namespace

std::vector<std::string> Store::textsNear(tag_t attribute, const std::string& text) {
    // Each byte of the text costs more than a hundred look-ups.
    constexpr std::size_t kLongest = 128;
    constexpr std::int64_t kNeighbours = 20;
    std::vector<std::string> found;
    if (text.empty() || text.size() > kLongest)
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

std::vector<Store::Hit> Store::withPattern(tag_t attribute, const std::string& pattern) {
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

std::optional<std::vector<Store::Hit>> Store::byTextIndex(tag_t attribute,
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

std::vector<Store::Hit> Store::thoseWithPattern(std::vector<Hit> hits, tag_t attribute,
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

std::optional<TextIndexState> Store::textIndex() {
    if (!text_index_.isThere())
        return std::nullopt;
    return text_index_.state();
}

void Store::setTextIndex(bool on) {
    if (on)
        text_index_.make(model());
    else
        text_index_.drop();
}

std::vector<tag_t> Store::ofType(tag_t type, tag_t from, int limit) {
    std::vector<tag_t> all;
    Statement rows = connection_->statement(
        "SELECT tag FROM object WHERE type=? AND tag>=? ORDER BY tag LIMIT ?");
    rows.bind(number(type)).bind(number(from)).bind(std::int64_t{limit});
    while (rows.step())
        all.push_back(tagOf(rows.integer(0)));
    return all;
}

std::vector<Store::Hit> Store::everything() {
    std::vector<Hit> all;
    Statement rows = connection_->statement("SELECT tag, type FROM object ORDER BY tag");
    while (rows.step())
        all.push_back({tagOf(rows.integer(0)), tagOf(rows.integer(1))});
    return all;
}

std::int64_t Store::objectCount() {
    Statement row = connection_->statement("SELECT count(*) FROM object");
    return row.step() ? row.integer(0) : 0;
}

// ---- transactions ----

void Store::mayWrite(const void* owner) const {
    if (batch_owner_ && batch_owner_ != owner)
        throw Failure(kStoreFailure,
                      "store " + path() + ": a run or an import of another session is under way");
}

void Store::beginBatch(const void* owner) {
    mayWrite(owner);
    // Room first: if memory ran out after the savepoint, no batch would know of it.
    batches_.reserve(batches_.size() + 1);
    if (!batches_.empty()) {
        connection_->statement("SAVEPOINT batch").run();
        batches_.push_back({model().mark(), shared_->model_position});
        return;
    }
    loadAdditions();
    Transaction transaction(*connection_);
    // Again under the write lock: a definition after this one is the batch's, and goes back with
    // it.
    loadAdditions();
    batches_.push_back({model().mark(), shared_->model_position});
    next_tag_ = tags_end_ = 0;  // blocks taken inside go back with the rest
    transaction.leaveOpen();
    connection_->holdTransaction(true);
    batch_owner_ = owner;
}

void Store::commitBatch() {
    if (batches_.empty())
        throw Failure(kStoreFailure, "store " + path() + ": no run or import is under way");
    if (batches_.size() == 1)
        // In the same transaction, so a run that goes back leaves nothing in the index.
        text_index_.takeUp();
    connection_->statement(batches_.size() > 1 ? "RELEASE batch" : "COMMIT").run();
    batches_.pop_back();
    if (!batches_.empty())
        return;
    connection_->holdTransaction(false);
    batch_owner_ = nullptr;
    mapAgain();
}

// A page that is read through the mapping is looked for in the log each time, also if it is in the
// cache: in a log of gigabytes that takes longer than all else.
void Store::expectMuch() {
    if (unmapped_ || inMemory())
        return;
    connection_->execute("PRAGMA mmap_size=0");
    unmapped_ = true;
}

void Store::mapAgain() noexcept {
    if (!std::exchange(unmapped_, false))
        return;
    try {
        connection_->execute(kMapping);
    } catch (...) {
        // Reading takes a little longer then.
    }
}

bool Store::isBatchLost() const {
    return connection_->isHeldTransactionLost();
}

void Store::rollbackBatch() noexcept {
    if (batches_.empty())
        return;
    const bool inner = batches_.size() > 1;
    letGoOfBatch();
    try {
        if (connection_->inTransaction()) {
            connection_->takeBack(inner ? "ROLLBACK TO batch" : "ROLLBACK");
            if (inner)
                connection_->statement("RELEASE batch").run();
        }
    } catch (...) {
        // Closing the connection undoes what is left.
    }
    try {
        model().backTo(batches_.back().mark);
    } catch (...) {
        // No memory: the process knows more types than the store.
    }
    shared_->model_position = batches_.back().position;
    // The store gives tags taken inside to others from now on.
    next_tag_ = tags_end_ = 0;
    batches_.pop_back();
    // The outer batch goes on, and must notice if the database has given it up.
    if (inner) {
        connection_->holdTransaction(true);
        return;
    }
    batch_owner_ = nullptr;
    mapAgain();
}

void Store::letGoOfBatch() noexcept {
    connection_->holdTransaction(false);
}

OneMoment::OneMoment(Store& store)
    : connection_(*store.connection_), own_(!connection_.inTransaction()) {
    if (own_)
        // Deferred: no write lock; the first read fixes the moment.
        connection_.execute("BEGIN");
}

OneMoment::~OneMoment() {
    try {
        if (own_ && connection_.inTransaction())
            connection_.execute("ROLLBACK");
    } catch (const Failure&) {
        // Nothing was written: the next statement begins anew.
    }
}

}  // namespace mervane
