#include "workbench/store/store.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "workbench/model/status.h"
#include "workbench/store/making.h"
#include "workbench/store/schema.h"
#include "workbench/system/system.h"

namespace mervane {

// One statement sees one moment, so version and values fit together whoever commits meanwhile. The
// first row is the object's head.
const char* const Store::kLoad =
    "SELECT 0, version, type FROM object WHERE tag=?1 "
    "UNION ALL SELECT attr, idx, v FROM value WHERE tag=?1 "
    "UNION ALL SELECT attr, idx, target FROM ref WHERE tag=?1";

// ---- dates as stored ----

namespace {

std::atomic<std::uint64_t> objects_worked_on{0};

std::string storedDate(const date_s& date) {
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", date.year, date.month + 1,
                  date.day, date.hour, date.minute, date.second);
    return text;
}

Date dateOf(std::string_view text) {
    int year = 0, month = 1, day = 0, hour = 0, minute = 0, second = 0;
    std::sscanf(std::string(text).c_str(), "%d-%d-%dT%d:%d:%d", &year, &month, &day, &hour, &minute,
                &second);
    Date date;
    date.date.year = static_cast<std::int16_t>(year);
    date.date.month = static_cast<std::uint8_t>(month - 1);
    date.date.day = static_cast<std::uint8_t>(day);
    date.date.hour = static_cast<std::uint8_t>(hour);
    date.date.minute = static_cast<std::uint8_t>(minute);
    date.date.second = static_cast<std::uint8_t>(second);
    return date;
}

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

Value Cell::as(Kind kind) const {
    switch (kind) {
        case Kind::String:
            return std::string(row_.text(2));
        case Kind::Int:
            return row_.integer(2);
        case Kind::Double:
            return row_.real(2);
        case Kind::Logical:
            return row_.integer(2) != 0;
        case Kind::Date:
            return dateOf(row_.text(2));
        case Kind::Reference:
            return Reference{tagOf(row_.integer(2))};
    }
    throw Failure(kInternal, "a value of no kind");
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
    connection->execute("PRAGMA cache_size=-65536; PRAGMA mmap_size=268435456");
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
        // First, because it refuses what is no store: a change of the mode writes into any
        // database.
        upgradeSchema(*connection);
        if (!read_only)
            connection->useWriteAheadLog();
    }
    auto shared = std::make_shared<Shared>(path, memory);
    if (!memory && !read_only)
        shared->volume.makeDirectory();
    // A reader changes nothing, so nobody has to see its locks.
    shared->locks = memory || read_only ? memoryLocks() : fileLocks(path);
    std::shared_ptr<Store> store(new Store(std::move(shared), std::move(connection)));
    store->loadAdditions();
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
    // Model misses ask the newest connection; any would do.
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

void Store::insert(tag_t tag, tag_t type, std::int64_t version) {
    countObject();
    referrers_.erased(tag);
    connection_->statement("INSERT INTO object(tag, type, version) VALUES(?, ?, ?)")
        .bind(number(tag))
        .bind(number(type))
        .bind(version)
        .run();
}

bool Store::countSave(tag_t tag, std::int64_t version) {
    connection_->statement("UPDATE object SET version=version+1 WHERE tag=? AND version=?")
        .bind(number(tag))
        .bind(version)
        .run();
    return connection_->changes() == 1;
}

void Store::write(tag_t tag, tag_t attribute, std::size_t index, const Value& value, bool fresh) {
    if (const auto* reference = std::get_if<Reference>(&value)) {
        referrers_.changed(tag, attribute);
        connection_
            ->statement(fresh ? "INSERT INTO ref(tag, attr, idx, target) VALUES(?, ?, ?, ?)"
                              : "INSERT OR REPLACE INTO ref(tag, attr, idx, target) "
                                "VALUES(?, ?, ?, ?)")
            .bind(number(tag))
            .bind(number(attribute))
            .bind(static_cast<std::int64_t>(index))
            .bind(number(reference->tag))
            .run();
        return;
    }
    // A text is bound without a copy, so this one has to live until the row is written.
    std::string date;
    Statement row = connection_->statement(
        fresh ? "INSERT INTO value(tag, attr, idx, v) VALUES(?, ?, ?, ?)"
              : "INSERT OR REPLACE INTO value(tag, attr, idx, v) VALUES(?, ?, ?, ?)");
    row.bind(number(tag)).bind(number(attribute)).bind(static_cast<std::int64_t>(index));
    if (const auto* text = std::get_if<std::string>(&value))
        row.bind(std::string_view(*text));
    else if (const auto* integer = std::get_if<std::int64_t>(&value))
        row.bind(*integer);
    else if (const auto* real = std::get_if<double>(&value))
        row.bind(*real);
    else if (const auto* logical_value = std::get_if<bool>(&value))
        row.bind(std::int64_t{*logical_value});
    else {
        date = storedDate(std::get<Date>(value).date);
        row.bind(std::string_view(date));
    }
    row.run();
}

void Store::trim(tag_t tag, const Attribute& attribute, std::size_t from) {
    if (attribute.kind == Kind::Reference)
        referrers_.changed(tag, attribute.handle);
    connection_
        ->statement(attribute.kind == Kind::Reference
                        ? "DELETE FROM ref WHERE tag=? AND attr=? AND idx>=?"
                        : "DELETE FROM value WHERE tag=? AND attr=? AND idx>=?")
        .bind(number(tag))
        .bind(number(attribute.handle))
        .bind(static_cast<std::int64_t>(from))
        .run();
}

void Store::erase(tag_t tag) {
    referrers_.erased(tag);
    for (const char* sql :
         {"DELETE FROM value WHERE tag=?", "DELETE FROM ref WHERE tag=?",
          "DELETE FROM checkout WHERE object=?", "DELETE FROM object WHERE tag=?"})
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
            row.run();
        }
        // Only after the statement is committed: another session would get a failed block, too.
        next_tag_ = end - tag_block_;
        tags_end_ = end;
        // Blocks double, so imports reserve rarely.
        tag_block_ = std::min<tag_t>(tag_block_ * 2, 4096);
    }
    return next_tag_++;
}

// ---- finding ----
//
// CROSS JOIN keeps the order in which the tables are written: first the one whose index gives few
// rows, in the order of their tags. An array may have an object twice; the repeated tag is dropped
// here, since DISTINCT would make the database sort once more.

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
        if (const tag_t tag = tagOf(rows.integer(0)); all.empty() || all.back().tag != tag)
            all.push_back({tag, attribute, tagOf(rows.integer(1))});
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
        "SELECT v.tag, o.type FROM value v CROSS JOIN object o ON o.tag=v.tag "
        "WHERE v.attr=? AND v.v=? ORDER BY v.tag");
    rows.bind(number(attribute)).bind(text);
    while (rows.step())
        if (const tag_t tag = tagOf(rows.integer(0)); all.empty() || all.back().tag != tag)
            all.push_back({tag, tagOf(rows.integer(1))});
    return all;
}

std::vector<tag_t> Store::referrersWithText(tag_t reference, tag_t target, tag_t attribute,
                                            std::string_view text) {
    constexpr std::int64_t kFew = 16;
    std::int64_t with_text = 0;
    {
        Statement few = connection_->statement(
            "SELECT count(*) FROM (SELECT 1 FROM value WHERE attr=? AND v=? LIMIT ?)");
        few.bind(number(attribute)).bind(text).bind(kFew + 1);
        with_text = few.step() ? few.integer(0) : 0;
    }
    std::vector<tag_t> all;
    // Begin on the side with fewer rows: one item may have thousands of revisions, and thousands of
    // items may have a revision of this id.
    Statement rows = connection_->statement(
        with_text <= kFew
            ? "SELECT v.tag FROM value v CROSS JOIN ref r ON r.tag=v.tag "
              "WHERE v.attr=?1 AND v.idx=0 AND v.v=?4 AND r.target=?2 AND r.attr=?3 ORDER BY v.tag"
            : "SELECT r.tag FROM ref r CROSS JOIN value v ON v.tag=r.tag "
              "WHERE r.target=?2 AND r.attr=?3 AND v.attr=?1 AND v.idx=0 AND v.v=?4 "
              "ORDER BY r.tag");
    rows.bind(number(attribute)).bind(number(target)).bind(number(reference)).bind(text);
    while (rows.step())
        if (const tag_t tag = tagOf(rows.integer(0)); all.empty() || all.back() != tag)
            all.push_back(tag);
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
        Statement row = connection_->statement("SELECT 1 FROM value WHERE attr=? AND v=? LIMIT 1");
        row.bind(number(attribute)).bind(std::string_view(each));
        if (row.step())
            found.push_back(each);
    }
    for (const char* sql :
         {"SELECT DISTINCT v FROM value WHERE attr=? AND v>=? ORDER BY v LIMIT ?",
          "SELECT DISTINCT v FROM value WHERE attr=? AND v<? ORDER BY v DESC LIMIT ?"}) {
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
    std::string behind = prefix;
    while (!behind.empty() && static_cast<unsigned char>(behind.back()) == 0xFF)
        behind.pop_back();
    if (!behind.empty())
        behind.back() = static_cast<char>(static_cast<unsigned char>(behind.back()) + 1);
    if (auto indexed = byTextIndex(attribute, pattern, prefix, behind))
        return std::move(*indexed);
    std::vector<Hit> all;
    auto collect = [&](Statement& rows) {
        while (rows.step())
            all.push_back({tagOf(rows.integer(0)), tagOf(rows.integer(1))});
    };
    if (behind.empty()) {
        Statement rows = connection_->statement(
            "SELECT DISTINCT v.tag, o.type FROM value v JOIN object o ON o.tag=v.tag "
            "WHERE v.attr=? AND matches(?, v.v)");
        rows.bind(number(attribute)).bind(std::string_view(pattern));
        collect(rows);
    } else {
        Statement rows = connection_->statement(
            "SELECT DISTINCT v.tag, o.type FROM value v JOIN object o ON o.tag=v.tag "
            "WHERE v.attr=? AND v.v>=? AND v.v<? AND matches(?, v.v)");
        rows.bind(number(attribute))
            .bind(std::string_view(prefix))
            .bind(std::string_view(behind))
            .bind(std::string_view(pattern));
        collect(rows);
    }
    std::sort(all.begin(), all.end(), [](const Hit& a, const Hit& b) { return a.tag < b.tag; });
    return all;
}

std::optional<std::vector<Store::Hit>> Store::byTextIndex(tag_t attribute,
                                                          const std::string& pattern,
                                                          const std::string& prefix,
                                                          const std::string& behind) {
    std::vector<Hit> all;
    try {
        if (!text_index_.search(attribute, pattern, prefix, behind, [&](tag_t tag, tag_t type) {
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
    if (hits.size() <= kFew) {
        std::erase_if(hits, [&](const Hit& hit) {
            Statement row = connection_->statement(
                "SELECT 1 FROM value WHERE tag=? AND attr=? AND matches(?, v)");
            row.bind(number(hit.tag)).bind(number(attribute)).bind(std::string_view(pattern));
            return !row.step();
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
    if (inner)
        connection_->holdTransaction(true);
    else
        batch_owner_ = nullptr;
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
