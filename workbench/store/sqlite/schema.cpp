#include "workbench/store/sqlite/schema.h"

#include <sqlite3.h>

#include "workbench/model/status.h"
#include "workbench/store/sqlite/sqlite.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

// data: the values, as workbench/store/object_data.h has them. text answers each find, ref each
// question who refers to an object: a row for each different string or target of an attribute.
constexpr const char* kObjects = R"(
CREATE TABLE object(tag INTEGER PRIMARY KEY, type INTEGER NOT NULL, version INTEGER NOT NULL,
                    data BLOB NOT NULL);
CREATE INDEX object_by_type ON object(type, tag);
CREATE TABLE text(attr INTEGER NOT NULL, v TEXT NOT NULL, tag INTEGER NOT NULL,
                  PRIMARY KEY(attr, v, tag)) WITHOUT ROWID;
CREATE TABLE ref(target INTEGER NOT NULL, attr INTEGER NOT NULL, tag INTEGER NOT NULL,
                 PRIMARY KEY(target, attr, tag)) WITHOUT ROWID;
)";

// model, model_part: what was added to the standard data model, in the order of definition.
constexpr const char* kTables = R"(
CREATE TABLE meta(name TEXT PRIMARY KEY, value) WITHOUT ROWID;
CREATE TABLE model(position INTEGER PRIMARY KEY, kind TEXT NOT NULL, name TEXT NOT NULL,
                   parent TEXT NOT NULL, UNIQUE(kind, name));
CREATE TABLE model_part(position INTEGER NOT NULL, idx INTEGER NOT NULL, name TEXT NOT NULL,
                        kind INTEGER NOT NULL, is_array INTEGER NOT NULL,
                        max_length INTEGER NOT NULL, PRIMARY KEY(position, idx)) WITHOUT ROWID;
CREATE TABLE preference(name TEXT NOT NULL, idx INTEGER NOT NULL, value TEXT NOT NULL,
                        PRIMARY KEY(name, idx)) WITHOUT ROWID;
CREATE TABLE rights(position INTEGER PRIMARY KEY, subject_kind TEXT NOT NULL, subject TEXT NOT NULL,
                    scope_kind TEXT NOT NULL, scope TEXT NOT NULL, privilege TEXT NOT NULL,
                    allowed INTEGER NOT NULL);
CREATE INDEX rights_by_privilege ON rights(privilege);
CREATE TABLE checkout(object INTEGER PRIMARY KEY, user INTEGER NOT NULL, date TEXT NOT NULL,
                      comment TEXT NOT NULL DEFAULT '');
CREATE TABLE registry(item_id TEXT PRIMARY KEY) WITHOUT ROWID;
INSERT INTO meta VALUES('format', 'mervane'), ('next_tag', 1), ('store_id', hex(randomblob(16)));
)";

// run: the heads. AUTOINCREMENT: a number is never given again, also after a record was pruned.
// token: by it the recorder finds its own head. run_entry: what a run changed, in order, as
// workbench/store/run_entry.h has it.
constexpr const char* kRuns = R"(
CREATE TABLE run(number INTEGER PRIMARY KEY AUTOINCREMENT, token BLOB NOT NULL UNIQUE,
                 way INTEGER NOT NULL, service TEXT NOT NULL, arguments TEXT NOT NULL,
                 user TEXT NOT NULL, user_group TEXT NOT NULL, host TEXT NOT NULL,
                 process INTEGER NOT NULL, session INTEGER NOT NULL, began TEXT NOT NULL,
                 version TEXT NOT NULL, configuration TEXT NOT NULL,
                 configuration_sha256 TEXT NOT NULL, undoes INTEGER NOT NULL DEFAULT 0, ended TEXT,
                 result INTEGER, status INTEGER, slot TEXT, stack TEXT, notes TEXT, counts TEXT);
CREATE INDEX run_by_undoes ON run(undoes) WHERE undoes<>0;
CREATE TABLE run_entry(run INTEGER NOT NULL, position INTEGER NOT NULL, change INTEGER NOT NULL,
                       object INTEGER NOT NULL, data BLOB NOT NULL,
                       PRIMARY KEY(run, position)) WITHOUT ROWID;
CREATE INDEX run_entry_by_object ON run_entry(object, run) WHERE object<>0;
)";

// From version 1: check-outs had no comment, ids no registry of their own.
constexpr const char* kFrom1 = R"(
ALTER TABLE checkout ADD COLUMN comment TEXT NOT NULL DEFAULT '';
CREATE TABLE registry(item_id TEXT PRIMARY KEY) WITHOUT ROWID;
)";

// From version 3: a row for each value, in two tables.
// An index keeps its name when its table is renamed, and the new tables need that name.
constexpr const char* kFrom3 = R"(
DROP INDEX object_by_type;
DROP INDEX ref_by_target;
ALTER TABLE object RENAME TO object_3;
ALTER TABLE ref RENAME TO ref_3;
)";

void setVersion(Connection& connection) {
    connection.statement("INSERT OR REPLACE INTO meta VALUES('schema_version', ?)")
        .bind(std::int64_t{kSchemaVersion})
        .run();
}

// The same tables and indexes, made in the schema that a connection has for itself.
std::string inTemporarySchema(std::string sql) {
    for (const std::string_view made : {"CREATE TABLE ", "CREATE INDEX "})
        for (std::size_t at = 0; (at = sql.find(made, at)) != std::string::npos;) {
            at += made.size();
            sql.insert(at, "IF NOT EXISTS temp.");
        }
    return sql;
}

bool isEmpty(Connection& connection) {
    Statement any = connection.statement("SELECT 1 FROM sqlite_schema");
    return !any.step();
}

void refuseWrong(Connection& connection, int version) {
    if (version < 1 && isEmpty(connection))
        throw Failure(kStoreFailure, connection.path() +
                                         " is an empty database: if the making of a store was "
                                         "interrupted there, remove it and make it anew");
    if (version < 1)
        throw Failure(kStoreFailure, connection.path() + " is not a store of this workbench");
    if (version > kSchemaVersion)
        throw Failure(kStoreFailure, "The store " + connection.path() + " has schema version " +
                                         std::to_string(version) + ", this program knows up to " +
                                         std::to_string(kSchemaVersion) +
                                         ": use the newer program that wrote it");
}

}  // namespace

int schemaVersion(Connection& connection) {
    {
        // Without its tables, the question below would be a failure and not the answer "no store".
        Statement known = connection.statement(
            "SELECT 1 FROM sqlite_schema WHERE type='table' AND name IN ('meta', 'object')");
        if (!known.step() || !known.step())
            return 0;
    }
    // Other databases may have tables of these names, too: only the format tells a store.
    Statement version = connection.statement(
        "SELECT value FROM meta WHERE name='schema_version' AND "
        "EXISTS (SELECT 1 FROM meta WHERE name='format' AND value='mervane')");
    return version.step() ? static_cast<int>(version.integer(0)) : 0;
}

void createSchema(Connection& connection) {
    connection.execute(kObjects);
    connection.execute(kTables);
    connection.execute(kRuns);
    setVersion(connection);
}

void createTemporaryRuns(Connection& connection) {
    connection.execute(inTemporarySchema(kRuns).c_str());
}

void needStore(Connection& connection) {
    refuseWrong(connection, schemaVersion(connection));
}

void upgradeSchema(Connection& connection, const std::function<void()>& move_values) {
    const int version = schemaVersion(connection);
    refuseWrong(connection, version);
    if (version == 1)
        connection.execute(kFrom1);
    if (version < 3)
        connection.execute(kRuns);
    if (version < 4) {
        connection.execute(kFrom3);
        connection.execute(kObjects);
        move_values();
        connection.execute("DROP TABLE object_3; DROP TABLE value; DROP TABLE ref_3");
    }
    setVersion(connection);
}

}  // namespace mervane
