#include "workbench/model/status.h"
#include "workbench/store/sqlite/run_tables.h"
#include "workbench/store/sqlite/sqlite_store.h"

// Preferences, rights, check-outs and the registry of item ids.

namespace mervane {

// ---- preferences: a row with index -1 says that it exists, the values follow ----

std::optional<std::vector<std::string>> SqliteStore::preference(const std::string& name) {
    Statement rows =
        connection_->statement("SELECT idx, value FROM preference WHERE name=? ORDER BY idx");
    rows.bind(std::string_view(name));
    if (!rows.step())
        return std::nullopt;
    std::vector<std::string> values;
    while (rows.step())
        values.emplace_back(rows.text(1));
    return values;
}

std::vector<std::pair<std::string, std::vector<std::string>>> SqliteStore::preferences() {
    std::vector<std::pair<std::string, std::vector<std::string>>> all;
    Statement rows =
        connection_->statement("SELECT name, idx, value FROM preference ORDER BY name, idx");
    while (rows.step()) {
        if (rows.integer(1) < 0)
            all.emplace_back(std::string(rows.text(0)), std::vector<std::string>());
        else if (!all.empty())
            all.back().second.emplace_back(rows.text(2));
    }
    return all;
}

void SqliteStore::setPreference(const std::string& name, const std::vector<std::string>& values) {
    Transaction transaction(*connection_);
    removePreference(name);
    const auto insert = [&](std::int64_t index, std::string_view value) {
        connection_->statement("INSERT INTO preference VALUES(?, ?, ?)")
            .bind(std::string_view(name))
            .bind(index)
            .bind(value)
            .run();
    };
    insert(-1, "");
    for (std::size_t i = 0; i < values.size(); ++i)
        insert(static_cast<std::int64_t>(i), values[i]);
    transaction.commit();
}

void SqliteStore::removePreference(const std::string& name) {
    connection_->statement("DELETE FROM preference WHERE name=?")
        .bind(std::string_view(name))
        .run();
}

// ---- rights ----

namespace {
Right rightOf(const Statement& row) {
    return {std::string(row.text(0)), std::string(row.text(1)), std::string(row.text(2)),
            std::string(row.text(3)), std::string(row.text(4)), row.integer(5) != 0};
}

Statement& bindRight(Statement& row, const Right& right) {
    return row.bind(std::string_view(right.subject_kind))
        .bind(std::string_view(right.subject))
        .bind(std::string_view(right.scope_kind))
        .bind(std::string_view(right.scope))
        .bind(std::string_view(right.privilege))
        .bind(std::int64_t{right.allowed});
}
}  // namespace

std::vector<Right> SqliteStore::rights() {
    std::vector<Right> all;
    Statement rows = connection_->statement(
        "SELECT subject_kind, subject, scope_kind, scope, privilege, allowed FROM rights "
        "ORDER BY position");
    while (rows.step())
        all.push_back(rightOf(rows));
    return all;
}

const std::vector<Right>& SqliteStore::rights(const std::string& privilege) {
    // Each lock asks for rights: they are read again only if they may have changed.
    if (rights_fresh_.isLost(*connection_))
        rights_.clear();
    if (const auto known = rights_.find(privilege); known != rights_.end())
        return known->second;
    std::vector<Right> all;
    Statement rows = connection_->statement(
        "SELECT subject_kind, subject, scope_kind, scope, privilege, allowed FROM rights "
        "WHERE privilege=? ORDER BY position");
    rows.bind(std::string_view(privilege));
    while (rows.step())
        all.push_back(rightOf(rows));
    return rights_.insert_or_assign(privilege, std::move(all)).first->second;
}

std::int64_t SqliteStore::addRight(const Right& right, std::int64_t position) {
    // Nobody tells the cache of a change that this connection makes itself.
    rights_.clear();
    // With NULL the database chooses the next position.
    Statement row = connection_->statement(
        "INSERT INTO rights(subject_kind, subject, scope_kind, scope, privilege, allowed, "
        "position) VALUES(?, ?, ?, ?, ?, ?, nullif(?, 0)) RETURNING position");
    bindRight(row, right).bind(position);
    std::int64_t given = 0;
    if (row.step())
        given = row.integer(0);
    row.run();
    return given;
}

std::int64_t SqliteStore::removeRight(const Right& right) {
    rights_.clear();
    Statement row = connection_->statement(
        "DELETE FROM rights WHERE subject_kind=? AND subject=? AND scope_kind=? AND scope=? AND "
        "privilege=? AND allowed=? RETURNING position");
    bindRight(row, right);
    std::int64_t had = 0;
    if (row.step())
        had = row.integer(0);
    row.run();
    return had;
}

// ---- check-outs ----

std::optional<Store::CheckOutRow> SqliteStore::checkOut(tag_t object) {
    Statement row =
        connection_->statement("SELECT object, user, date, comment FROM checkout WHERE object=?");
    row.bind(std::int64_t{object});
    if (!row.step())
        return std::nullopt;
    return CheckOutRow{static_cast<tag_t>(row.integer(0)), static_cast<tag_t>(row.integer(1)),
                       std::string(row.text(2)), std::string(row.text(3))};
}

std::vector<Store::CheckOutRow> SqliteStore::checkOuts() {
    std::vector<CheckOutRow> all;
    Statement rows =
        connection_->statement("SELECT object, user, date, comment FROM checkout ORDER BY object");
    while (rows.step())
        all.push_back({static_cast<tag_t>(rows.integer(0)), static_cast<tag_t>(rows.integer(1)),
                       std::string(rows.text(2)), std::string(rows.text(3))});
    return all;
}

bool SqliteStore::addCheckOut(const CheckOutRow& row) {
    connection_->statement("INSERT INTO checkout VALUES(?, ?, ?, ?) ON CONFLICT DO NOTHING")
        .bind(std::int64_t{row.object})
        .bind(std::int64_t{row.user})
        .bind(std::string_view(row.date))
        .bind(std::string_view(row.comment))
        .run();
    return connection_->changes() == 1;
}

void SqliteStore::removeCheckOut(tag_t object) {
    connection_->statement("DELETE FROM checkout WHERE object=?").bind(std::int64_t{object}).run();
}

// ---- runs ----

std::string SqliteStore::identity() {
    Statement row = connection_->statement("SELECT value FROM meta WHERE name='store_id'");
    return row.step() ? std::string(row.text(0)) : "";
}

bool SqliteStore::recordsRuns() {
    Statement row = connection_->statement("SELECT 1 FROM meta WHERE name='records_no_runs'");
    return !row.step();
}

void SqliteStore::recordRuns(bool on) {
    connection_
        ->statement(on ? "DELETE FROM meta WHERE name='records_no_runs'"
                       : "INSERT OR REPLACE INTO meta VALUES('records_no_runs', 1)")
        .run();
}

std::unique_ptr<RunTables> SqliteStore::runs(bool temporary) {
    // To make a table is a change that isn't counted.
    if (temporary)
        changes_before_ = -1;
    return std::make_unique<SqliteRunTables>(*connection_, temporary);
}

// ---- registry of item ids ----

std::string SqliteStore::registryPath() {
    Statement row = connection_->statement("SELECT value FROM meta WHERE name='registry_path'");
    return row.step() ? std::string(row.text(0)) : "";
}

Registry& SqliteStore::registryEvenDown() {
    const std::string used = registryPath();
    if (used.empty())
        return own_registry_;
    if (!shared_registry_ || shared_registry_->path() != used)
        shared_registry_ = std::make_unique<RegistryFile>(used);
    return shared_registry_->tables();
}

void SqliteStore::changeRegistry(const std::function<void(Registry&)>& change) {
    // The store's write lock: nobody takes another registry until the change is committed.
    Transaction transaction(*connection_);
    Registry& used = registry();
    if (registryPath().empty()) {
        change(used);
    } else {
        Transaction taking(shared_registry_->connection());
        change(used);
        taking.commit();
    }
    transaction.commit();
}

void SqliteStore::useRegistry(const std::string& path) {
    // The store's write lock: nobody registers an id in its own table meanwhile.
    Transaction transaction(*connection_);
    if (path.empty()) {
        connection_->statement("DELETE FROM meta WHERE name='registry_path'").run();
    } else {
        RegistryFile file(path);
        const auto own = own_registry_.ids();
        if (!own.empty() && !file.tables().isReachable())
            throw Failure(kRegistryDown, path + " is switched off, so it can't take the store's " +
                                             std::to_string(own.size()) + " ids");
        Transaction taking(file.connection());
        for (const std::string& id : own)
            file.tables().add(id);
        // The shared file first: a kill between the commits leaves the ids in both, never in none.
        taking.commit();
        own_registry_.clear();
        connection_->statement("INSERT OR REPLACE INTO meta VALUES('registry_path', ?)")
            .bind(std::string_view(path))
            .run();
    }
    transaction.commit();
    // Only now: if the commit fails, the store goes on with the registry that it had.
    shared_registry_.reset();
}

}  // namespace mervane
