#include "workbench/store/postgres/schema.h"

#include "workbench/model/status.h"
#include "workbench/store/postgres/server.h"

namespace mervane {

namespace {

// Texts are bytes, since they come back as they were, also what isn't UTF-8 or has a NUL. text.v is
// a text up to 1,000 bytes, of a longer one its begin and its sum: an index takes no long rows.
// unique_id: what two sessions can't store at once. need(): a statement that doesn't find what it
// needs is a failure, so that what follows it in the same round trip isn't run.
constexpr const char* kServerTables = R"(
CREATE TABLE meta(name text PRIMARY KEY, value text NOT NULL);
CREATE TABLE object(tag bigint PRIMARY KEY, type bigint NOT NULL, version bigint NOT NULL,
                    data bytea NOT NULL);
CREATE INDEX object_by_type ON object(type, tag);
CREATE TABLE text(attr bigint NOT NULL, v bytea NOT NULL, tag bigint NOT NULL,
                  PRIMARY KEY(attr, v, tag));
CREATE TABLE ref(target bigint NOT NULL, attr bigint NOT NULL, tag bigint NOT NULL,
                 PRIMARY KEY(target, attr, tag));
CREATE INDEX ref_by_tag ON ref(tag, attr);
CREATE TABLE unique_id(kind bigint NOT NULL, owner bigint NOT NULL, id bytea NOT NULL,
                       tag bigint NOT NULL, PRIMARY KEY(kind, owner, id));
CREATE TABLE model(position bigserial PRIMARY KEY, kind text NOT NULL, name bytea NOT NULL,
                   parent bytea NOT NULL, UNIQUE(kind, name));
CREATE TABLE model_part(position bigint NOT NULL, idx bigint NOT NULL, name bytea NOT NULL,
                        kind bigint NOT NULL, is_array bigint NOT NULL, max_length bigint NOT NULL,
                        PRIMARY KEY(position, idx));
CREATE TABLE preference(name bytea NOT NULL, idx bigint NOT NULL, value bytea NOT NULL,
                        PRIMARY KEY(name, idx));
CREATE TABLE rights(position bigint PRIMARY KEY, subject_kind bytea NOT NULL, subject bytea NOT NULL,
                    scope_kind bytea NOT NULL, scope bytea NOT NULL, privilege bytea NOT NULL,
                    allowed bigint NOT NULL);
CREATE TABLE checkout(object bigint PRIMARY KEY, by_user bigint NOT NULL, date bytea NOT NULL,
                      comment bytea NOT NULL);
CREATE TABLE registry(item_id bytea PRIMARY KEY);
CREATE TABLE run(number bigserial PRIMARY KEY, token bytea NOT NULL UNIQUE, way bigint NOT NULL,
                 service bytea NOT NULL, arguments bytea NOT NULL, by_user bytea NOT NULL,
                 by_group bytea NOT NULL, host bytea NOT NULL, process bigint NOT NULL,
                 session bigint NOT NULL, began bytea NOT NULL, version bytea NOT NULL,
                 configuration bytea NOT NULL, configuration_sha256 bytea NOT NULL,
                 undoes bigint NOT NULL, ended bytea, result bigint, status bigint, slot bytea,
                 stack bytea, notes bytea, counts bytea);
CREATE INDEX run_by_undoes ON run(undoes) WHERE undoes<>0;
CREATE TABLE run_entry(run bigint NOT NULL, position bigint NOT NULL, change bigint NOT NULL,
                       object bigint NOT NULL, data bytea NOT NULL, PRIMARY KEY(run, position));
CREATE INDEX run_entry_by_object ON run_entry(object, run) WHERE object<>0;
CREATE TABLE file(tag bigint PRIMARY KEY, removed boolean NOT NULL DEFAULT false);
CREATE TABLE file_piece(tag bigint NOT NULL, piece bigint NOT NULL, bytes bytea NOT NULL,
                        PRIMARY KEY(tag, piece));
CREATE TABLE session(number bigint PRIMARY KEY, by_user bytea NOT NULL, host bytea NOT NULL,
                     process bigint NOT NULL, activity bytea NOT NULL DEFAULT ''::bytea);
CREATE TABLE held(object bigint PRIMARY KEY, session bigint NOT NULL);
CREATE TABLE kept_number(number bigint PRIMARY KEY, session bigint NOT NULL);
CREATE SEQUENCE session_number;
CREATE FUNCTION need(holds boolean, what text) RETURNS void LANGUAGE plpgsql AS $$
BEGIN
    IF holds IS NOT TRUE THEN
        RAISE EXCEPTION USING ERRCODE = 'KV001', MESSAGE = what;
    END IF;
END $$;
ALTER TABLE file_piece ALTER COLUMN bytes SET STORAGE EXTERNAL;
INSERT INTO meta VALUES('format', 'mervane making'), ('next_tag', '1'), ('rights_changed', '0'),
                       ('store_id', upper(replace(gen_random_uuid()::text, '-', '')));
)";

}  // namespace

void createServerTables(ServerConnection& connection) {
    const ServerAddress& address = connection.address();
    const auto refuse = [&] {
        throw Failure(kStoreFailure, "There is something at " + address.shown +
                                         " already: the schema \"" + address.schema +
                                         "\" has tables");
    };
    const Answer there = connection.ask(
        "SELECT n.oid IS NOT NULL, EXISTS(SELECT 1 FROM pg_class c WHERE c.relnamespace=n.oid) "
        "FROM (SELECT to_regnamespace(quote_ident(convert_from($1::bytea, 'UTF8')))::oid AS oid) n",
        Parameters().add(std::string_view(address.schema)));
    // Whatever is there is somebody's.
    if (there.integer(0, 1) != 0)
        refuse();
    // The name is of letters, digits and underscores: the address has been compared. A user who may
    // make no schemas can be given an empty one.
    const std::string schema =
        there.integer(0, 0) != 0 ? "" : "CREATE SCHEMA \"" + address.schema + "\";";
    try {
        connection.execute("BEGIN;" + schema + kServerTables + "COMMIT");
    } catch (const ServerFailure& failure) {
        try {
            connection.execute("ROLLBACK");
        } catch (const Failure&) {
            // The first failure is told.
        }
        // Somebody else has made it in this moment.
        if (failure.state().starts_with("42P0") || failure.state() == "42710" ||
            failure.state() == "42723" || failure.state() == "23505")
            refuse();
        throw;
    }
}

void dropServerTables(ServerConnection& connection) {
    connection.execute(
        "DROP TABLE meta, object, text, ref, unique_id, model, model_part, preference, rights, "
        "checkout, registry, run, run_entry, file, file_piece, session, held, kept_number; "
        "DROP SEQUENCE session_number; DROP FUNCTION need(boolean, text)");
}

void finishStore(ServerConnection& connection, bool has_directory) {
    const int version = has_directory ? kServerSchemaVersion : kServerSchemaWithoutDirectory;
    connection.later("INSERT INTO meta VALUES('schema_version', $1::bigint::text)",
                     Parameters().add(std::int64_t{version}));
    connection.ask("UPDATE meta SET value='mervane' WHERE name='format'");
}

int serverSchemaVersion(ServerConnection& connection) {
    if (connection
            .ask("SELECT 1 FROM pg_class c WHERE c.oid=to_regclass('meta') OR "
                 "c.oid=to_regclass('object')")
            .rows() < 2)
        return 0;
    const Answer known = connection.ask(
        "SELECT name, convert_to(value, 'UTF8') FROM meta WHERE name IN ('format', "
        "'schema_version') ORDER BY name");
    if (known.rows() < 1 || known.bytes(0, 0) != "format")
        return 0;
    if (known.bytes(0, 1) == "mervane making")
        return -1;
    if (known.bytes(0, 1) != "mervane" || known.rows() < 2)
        return 0;
    return static_cast<int>(std::strtoll(known.text(1, 1).c_str(), nullptr, 10));
}

void needServerStore(ServerConnection& connection, bool unfinished) {
    const int version = serverSchemaVersion(connection);
    const ServerAddress& address = connection.address();
    if (version == kServerSchemaVersion || version == kServerSchemaWithoutDirectory ||
        (unfinished && version == -1))
        return;
    if (version == 0)
        throw Failure(kStoreFailure,
                      "There is no store at " + address.shown + ": the schema \"" + address.schema +
                          "\" isn't there, isn't for this user or has other tables than a "
                          "store");
    if (version < 0)
        throw Failure(kStoreFailure, "The making of the store " + address.shown +
                                         " was interrupted: drop the schema \"" + address.schema +
                                         "\" and make it anew");
    throw Failure(kStoreFailure, "The store " + address.shown + " has schema version " +
                                     std::to_string(version) + ", this program knows up to " +
                                     std::to_string(kServerSchemaVersion) +
                                     ": use the newer program that wrote it");
}

}  // namespace mervane
