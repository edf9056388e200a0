#include "workbench/model/status.h"
#include "workbench/store/postgres/postgres_store.h"
#include "workbench/store/postgres/server_runs.h"

// Preferences, rights, check-outs, the registry and additions to the model. They change seldom, so
// each change goes to the server at once, in the transaction that is open.

namespace mervane {

namespace {

std::string_view view(const std::string& text) {
    return text;
}

Right rightOf(const Answer& rows, int row) {
    return {rows.text(row, 0), rows.text(row, 1), rows.text(row, 2),
            rows.text(row, 3), rows.text(row, 4), rows.integer(row, 5) != 0};
}

Parameters parametersOf(const Right& right) {
    return Parameters()
        .add(view(right.subject_kind))
        .add(view(right.subject))
        .add(view(right.scope_kind))
        .add(view(right.scope))
        .add(view(right.privilege))
        .add(std::int64_t{right.allowed});
}

Store::CheckOutRow checkOutOf(const Answer& rows, int row) {
    return {static_cast<tag_t>(rows.integer(row, 0)), static_cast<tag_t>(rows.integer(row, 1)),
            rows.text(row, 2), rows.text(row, 3)};
}

}  // namespace

// ---- preferences: a row with index -1 says that it exists, the values follow ----

std::optional<std::vector<std::string>> PostgresStore::preference(const std::string& name) {
    const Answer rows = ask("SELECT value FROM preference WHERE name=$1::bytea ORDER BY idx",
                            Parameters().add(view(name)));
    if (rows.rows() == 0)
        return std::nullopt;
    std::vector<std::string> values;
    for (int i = 1; i < rows.rows(); ++i)
        values.push_back(rows.text(i, 0));
    return values;
}

std::vector<std::pair<std::string, std::vector<std::string>>> PostgresStore::preferences() {
    std::vector<std::pair<std::string, std::vector<std::string>>> all;
    const Answer rows = ask("SELECT name, idx, value FROM preference ORDER BY name, idx");
    for (int i = 0; i < rows.rows(); ++i)
        if (rows.integer(i, 1) < 0)
            all.emplace_back(rows.text(i, 0), std::vector<std::string>());
        else if (!all.empty())
            all.back().second.push_back(rows.text(i, 2));
    return all;
}

void PostgresStore::setPreference(const std::string& name, const std::vector<std::string>& values) {
    StoreTransaction transaction(*this, StoreTransaction::Others::Alone);
    removePreference(name);
    std::vector<std::int64_t> places{-1};
    std::vector<std::string_view> texts{""};
    for (std::size_t i = 0; i < values.size(); ++i) {
        places.push_back(static_cast<std::int64_t>(i));
        texts.emplace_back(values[i]);
    }
    change("INSERT INTO preference SELECT $1::bytea, * FROM unnest($2::bigint[], $3::bytea[])",
           Parameters().add(view(name)).add(places).add(texts));
    transaction.commit();
}

void PostgresStore::removePreference(const std::string& name) {
    change("DELETE FROM preference WHERE name=$1::bytea", Parameters().add(view(name)));
}

// ---- rights ----

std::vector<Right> PostgresStore::rights() {
    std::vector<Right> all;
    const Answer rows =
        ask("SELECT subject_kind, subject, scope_kind, scope, privilege, allowed FROM rights "
            "ORDER BY position");
    for (int i = 0; i < rows.rows(); ++i)
        all.push_back(rightOf(rows, i));
    return all;
}

const std::vector<Right>& PostgresStore::rights(const std::string& privilege) {
    const auto known = rights_.find(privilege);
    const bool fresh = isFresh(rights_read_);
    if (known != rights_.end() && fresh)
        return known->second;
    if (!fresh)
        rights_.clear();
    rights_read_ = now();
    std::vector<Right> all;
    const Answer rows =
        ask("SELECT subject_kind, subject, scope_kind, scope, privilege, allowed FROM rights WHERE "
            "privilege=$1::bytea ORDER BY position",
            Parameters().add(view(privilege)));
    for (int i = 0; i < rows.rows(); ++i)
        all.push_back(rightOf(rows, i));
    return rights_.insert_or_assign(privilege, std::move(all)).first->second;
}

std::int64_t PostgresStore::addRight(const Right& right, std::int64_t position) {
    rights_.clear();
    StoreTransaction transaction(*this, StoreTransaction::Others::Alone);
    change("UPDATE meta SET value=(value::bigint+1)::text WHERE name='rights_changed'");
    const Answer row = change(
        "INSERT INTO rights(subject_kind, subject, scope_kind, scope, privilege, allowed, "
        "position) VALUES($1::bytea, $2::bytea, $3::bytea, $4::bytea, $5::bytea, $6::bigint, "
        "coalesce(nullif($7::bigint, 0), (SELECT coalesce(max(position), 0)+1 FROM rights))) "
        "RETURNING position",
        parametersOf(right).add(position));
    transaction.commit();
    return row.integer(0, 0);
}

std::int64_t PostgresStore::removeRight(const Right& right) {
    rights_.clear();
    StoreTransaction transaction(*this, StoreTransaction::Others::Alone);
    change("UPDATE meta SET value=(value::bigint+1)::text WHERE name='rights_changed'");
    const Answer row = change(
        "DELETE FROM rights WHERE subject_kind=$1::bytea AND subject=$2::bytea AND "
        "scope_kind=$3::bytea AND scope=$4::bytea AND privilege=$5::bytea AND allowed=$6::bigint "
        "RETURNING position",
        parametersOf(right));
    transaction.commit();
    return row.rows() ? row.integer(0, 0) : 0;
}

// ---- check-outs ----

std::optional<Store::CheckOutRow> PostgresStore::checkOut(tag_t object) {
    // One of an object that is gone waits to go with it.
    if (const PendingRow* own = pendingRow(object); own && own->gone)
        return std::nullopt;
    const auto known = states_.find(object);
    if (known == states_.end() || check_outs_changed_ || !isFresh(known->second.read))
        look(object);
    return states_[object].check_out;
}

std::vector<Store::CheckOutRow> PostgresStore::checkOuts() {
    std::vector<CheckOutRow> all;
    const Answer rows = ask("SELECT object, by_user, date, comment FROM checkout ORDER BY object");
    for (int i = 0; i < rows.rows(); ++i)
        all.push_back(checkOutOf(rows, i));
    return all;
}

bool PostgresStore::addCheckOut(const CheckOutRow& row) {
    locks_->forgetTaken();
    check_outs_changed_ = open_;
    return change(
               "INSERT INTO checkout VALUES($1::bigint, $2::bigint, $3::bytea, $4::bytea) ON "
               "CONFLICT DO NOTHING",
               Parameters()
                   .add(std::int64_t{row.object})
                   .add(std::int64_t{row.user})
                   .add(view(row.date))
                   .add(view(row.comment)))
               .changed() == 1;
}

void PostgresStore::removeCheckOut(tag_t object) {
    locks_->forgetTaken();
    check_outs_changed_ = open_;
    change("DELETE FROM checkout WHERE object=$1::bigint", Parameters().add(std::int64_t{object}));
}

// ---- runs ----

std::string PostgresStore::identity() {
    const Answer row = ask("SELECT convert_to(value, 'UTF8') FROM meta WHERE name='store_id'");
    return row.rows() ? row.text(0, 0) : "";
}

bool PostgresStore::recordsRuns() {
    return ask("SELECT 1 FROM meta WHERE name='records_no_runs'").rows() == 0;
}

void PostgresStore::recordRuns(bool on) {
    if (on)
        change("DELETE FROM meta WHERE name='records_no_runs'");
    else
        change("INSERT INTO meta VALUES('records_no_runs', '1') ON CONFLICT DO NOTHING");
}

std::unique_ptr<RunTables> PostgresStore::runs(bool temporary) {
    return std::make_unique<ServerRuns>(*this, temporary);
}

// ---- additions to the model ----

std::vector<Store::Addition> PostgresStore::additionsAfter(std::int64_t position) {
    std::vector<Addition> additions;
    const Answer rows =
        ask("SELECT m.position, convert_to(m.kind, 'UTF8'), m.name, m.parent, p.name, p.kind, "
            "p.is_array, p.max_length FROM model m LEFT JOIN model_part p ON "
            "p.position=m.position WHERE m.position>$1::bigint ORDER BY m.position, p.idx",
            Parameters().add(position));
    for (int i = 0; i < rows.rows(); ++i) {
        if (additions.empty() || additions.back().position != rows.integer(i, 0))
            additions.push_back(
                {rows.integer(i, 0), rows.text(i, 1), rows.text(i, 2), rows.text(i, 3), {}});
        if (!rows.isNull(i, 4))
            additions.back().parts.push_back(
                {rows.text(i, 4), static_cast<Kind>(rows.integer(i, 5)), rows.integer(i, 6) != 0,
                 static_cast<int>(rows.integer(i, 7))});
    }
    return additions;
}

std::int64_t PostgresStore::storeAddition(const Addition& addition) {
    // The next position and not one of a sequence: whoever reads those after the last one that it
    // knows must not miss one that was committed later.
    const Answer row = change(
        "INSERT INTO model(position, kind, name, parent) SELECT coalesce(max(position), 0)+1, "
        "convert_from($1::bytea, 'UTF8'), $2::bytea, $3::bytea FROM model RETURNING position",
        Parameters().add(view(addition.kind)).add(view(addition.name)).add(view(addition.parent)));
    const std::int64_t position = row.integer(0, 0);
    std::vector<std::int64_t> places, kinds, arrays, lengths;
    std::vector<std::string_view> names;
    for (const AttributeSpec& part : addition.parts) {
        places.push_back(static_cast<std::int64_t>(places.size()));
        names.emplace_back(part.name);
        kinds.push_back(static_cast<std::int64_t>(part.kind));
        arrays.push_back(part.array ? 1 : 0);
        lengths.push_back(part.max_length);
    }
    if (!places.empty())
        change(
            "INSERT INTO model_part SELECT $1::bigint, * FROM unnest($2::bigint[], $3::bytea[], "
            "$4::bigint[], $5::bigint[], $6::bigint[])",
            Parameters().add(position).add(places).add(names).add(kinds).add(arrays).add(lengths));
    return position;
}

// ---- registry of item ids ----

void PostgresStore::changeRegistry(const std::function<void(Registry&)>& change) {
    StoreTransaction transaction(*this, StoreTransaction::Others::Alone);
    change(registry());
    transaction.commit();
}

void PostgresStore::useRegistry(const std::string& path) {
    if (!path.empty())
        throw Failure(kBadValue, "store " + this->path() +
                                     ": a store on a server has a registry of its own, which all "
                                     "of its users share; it takes no file");
}

std::vector<std::string> ServerRegistry::ids() {
    std::vector<std::string> all;
    const Answer rows = store_.ask("SELECT item_id FROM registry ORDER BY item_id");
    for (int i = 0; i < rows.rows(); ++i)
        all.push_back(rows.text(i, 0));
    return all;
}

bool ServerRegistry::has(const std::string& item_id) {
    return store_
               .ask("SELECT 1 FROM registry WHERE item_id=$1::bytea",
                    Parameters().add(view(item_id)))
               .rows() != 0;
}

void ServerRegistry::add(const std::string& item_id) {
    store_.change("INSERT INTO registry VALUES($1::bytea) ON CONFLICT DO NOTHING",
                  Parameters().add(view(item_id)));
}

void ServerRegistry::remove(const std::string& item_id) {
    store_.change("DELETE FROM registry WHERE item_id=$1::bytea", Parameters().add(view(item_id)));
}

void ServerRegistry::clear() {
    store_.change("DELETE FROM registry");
}

bool ServerRegistry::isReachable() {
    return store_.ask("SELECT 1 FROM meta WHERE name='registry_down'").rows() == 0;
}

void ServerRegistry::setReachable(bool reachable) {
    if (reachable)
        store_.change("DELETE FROM meta WHERE name='registry_down'");
    else
        store_.change("INSERT INTO meta VALUES('registry_down', '1') ON CONFLICT DO NOTHING");
}

}  // namespace mervane
