#include "workbench/store/sqlite/run_tables.h"

#include "workbench/model/status.h"
#include "workbench/store/sqlite/schema.h"
#include "workbench/store/sqlite/sqlite.h"
#include "workbench/workbench.h"

namespace mervane {

SqliteRunTables::SqliteRunTables(Connection& connection, bool temporary)
    : connection_(connection), temporary_(temporary) {
    if (temporary_)
        createTemporaryRuns(connection_);
}

// Each statement names its schema: a temporary table would hide the store's of the same name.
std::int64_t SqliteRunTables::numberOf(const std::string& token) {
    Statement known =
        connection_.statement(temporary_ ? "SELECT number FROM temp.run WHERE token=?"
                                         : "SELECT number FROM main.run WHERE token=?");
    known.bindBytes(token);
    return known.step() ? known.integer(0) : 0;
}

std::int64_t SqliteRunTables::begin(const std::string& token, const RunHead& head,
                                    std::int64_t session) {
    if (const std::int64_t known = numberOf(token))
        return known;
    Statement made = connection_.statement(
        temporary_
            ? "INSERT INTO temp.run(token, way, service, arguments, user, user_group, host, "
              "process, session, began, version, configuration, configuration_sha256, undoes) "
              "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING number"
            : "INSERT INTO main.run(token, way, service, arguments, user, user_group, host, "
              "process, session, began, version, configuration, configuration_sha256, undoes) "
              "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING number");
    made.bindBytes(token)
        .bind(static_cast<std::int64_t>(head.way))
        .bind(std::string_view(head.service))
        .bind(std::string_view(head.arguments))
        .bind(std::string_view(head.user))
        .bind(std::string_view(head.group))
        .bind(std::string_view(head.host))
        .bind(std::int64_t{head.process})
        .bind(session)
        .bind(std::string_view(head.began))
        .bind(std::string_view(head.version))
        .bind(std::string_view(head.configuration))
        .bind(std::string_view(head.configuration_sha256))
        .bind(head.undoes);
    std::int64_t number = 0;
    if (made.step())
        number = made.integer(0);
    made.run();
    return number;
}

void SqliteRunTables::add(std::int64_t run, const StoredEntry& entry) {
    const std::string data = encoded(entry);
    connection_
        .statement(temporary_ ? "INSERT INTO temp.run_entry VALUES(?, ?, ?, ?, ?)"
                              : "INSERT INTO main.run_entry VALUES(?, ?, ?, ?, ?)")
        .bind(run)
        .bind(entry.position)
        .bind(static_cast<std::int64_t>(entry.change))
        .bind(std::int64_t{entry.object})
        .bindBytes(data)
        .run();
}

void SqliteRunTables::end(const RunHead& head) {
    const std::string stack = packedTexts(head.outcome.stack),
                      notes = packedTexts(head.outcome.notes), counts = packedCounts(head.counts);
    connection_
        .statement(temporary_ ? "UPDATE temp.run SET ended=?, result=?, status=?, slot=?, stack=?, "
                                "notes=?, counts=? WHERE number=?"
                              : "UPDATE main.run SET ended=?, result=?, status=?, slot=?, stack=?, "
                                "notes=?, counts=? WHERE number=?")
        .bind(std::string_view(head.ended))
        .bind(static_cast<std::int64_t>(head.outcome.result))
        .bind(std::int64_t{head.outcome.status})
        .bind(std::string_view(head.outcome.slot))
        .bindBytes(stack)
        .bindBytes(notes)
        .bindBytes(counts)
        .bind(head.number)
        .run();
}

void SqliteRunTables::remove(std::int64_t run) {
    connection_
        .statement(temporary_ ? "DELETE FROM temp.run_entry WHERE run=?"
                              : "DELETE FROM main.run_entry WHERE run=?")
        .bind(run)
        .run();
    connection_
        .statement(temporary_ ? "DELETE FROM temp.run WHERE number=?"
                              : "DELETE FROM main.run WHERE number=?")
        .bind(run)
        .run();
}

// Only the tables of the store itself are copied.
void SqliteRunTables::put(const std::string& token, const RunHead& head, std::int64_t session) {
    const std::int64_t given = begin(token, head, session);
    connection_.statement("UPDATE main.run SET number=? WHERE number=?")
        .bind(head.number)
        .bind(given)
        .run();
    // One that hasn't ended has no end in the copy, either.
    if (!head.ended.empty())
        end(head);
}

std::string SqliteRunTables::tokenOf(std::int64_t run) {
    Statement row = connection_.statement("SELECT token FROM main.run WHERE number=?");
    row.bind(run);
    return row.step() ? std::string(row.bytes(0)) : "";
}

bool SqliteRunTables::head(std::int64_t run, RunHead& head, std::int64_t* session) {
    constexpr const char* kMain =
        "SELECT way, service, arguments, user, user_group, host, process, session, began, version, "
        "configuration, configuration_sha256, undoes, ended, result, status, slot, stack, notes, "
        "counts, (SELECT count(*) FROM main.run_entry WHERE run=number), "
        "(SELECT coalesce(max(u.number), 0) FROM main.run u WHERE u.undoes=r.number) "
        "FROM main.run r WHERE number=?";
    constexpr const char* kTemporary =
        "SELECT way, service, arguments, user, user_group, host, process, session, began, version, "
        "configuration, configuration_sha256, undoes, ended, result, status, slot, stack, notes, "
        "counts, (SELECT count(*) FROM temp.run_entry WHERE run=number), 0 "
        "FROM temp.run r WHERE number=?";
    Statement row = connection_.statement(temporary_ ? kTemporary : kMain);
    row.bind(run);
    if (!row.step())
        return false;
    const auto text = [&](int column) { return std::string(row.text(column)); };
    head = {};
    head.number = run;
    head.way = static_cast<RunWay>(row.integer(0));
    head.service = text(1);
    head.arguments = text(2);
    head.user = text(3);
    head.group = text(4);
    head.host = text(5);
    head.process = static_cast<int>(row.integer(6));
    *session = row.integer(7);
    head.began = text(8);
    head.version = text(9);
    head.configuration = text(10);
    head.configuration_sha256 = text(11);
    head.undoes = row.integer(12);
    head.ended = text(13);
    head.outcome.result = static_cast<RunResult>(row.integer(14));
    head.outcome.status = static_cast<int>(row.integer(15));
    head.outcome.slot = text(16);
    head.outcome.stack = unpackedTexts(row.bytes(17));
    head.outcome.notes = unpackedTexts(row.bytes(18));
    head.counts = unpackedCounts(row.bytes(19));
    head.entries = row.integer(20);
    head.undone = row.integer(21);
    return true;
}

std::vector<std::int64_t> SqliteRunTables::find(const RunQuery& query) {
    std::vector<std::int64_t> numbers;
    // What isn't asked for is an empty text.
    Statement rows = connection_.statement(
        query.object == NULLTAG
            ? "SELECT number FROM main.run WHERE (?1='' OR user=?1) AND (?2='' OR service=?2) AND "
              "(?3='' OR began>=?3) ORDER BY number DESC LIMIT ?4"
            : "SELECT number FROM main.run WHERE (?1='' OR user=?1) AND (?2='' OR service=?2) AND "
              "(?3='' OR began>=?3) AND number IN (SELECT run FROM main.run_entry WHERE object=?5) "
              "ORDER BY number DESC LIMIT ?4");
    rows.bind(std::string_view(query.user))
        .bind(std::string_view(query.service))
        .bind(std::string_view(query.since))
        .bind(std::int64_t{query.limit > 0 ? query.limit : -1});
    if (query.object != NULLTAG)
        rows.bind(std::int64_t{query.object});
    while (rows.step())
        numbers.push_back(rows.integer(0));
    return numbers;
}

void SqliteRunTables::entries(std::int64_t run,
                              const std::function<void(StoredEntry&&)>& each) const {
    Statement rows =
        connection_.statement(temporary_ ? "SELECT position, change, object, data FROM "
                                           "temp.run_entry WHERE run=? ORDER BY position"
                                         : "SELECT position, change, object, data FROM "
                                           "main.run_entry WHERE run=? ORDER BY position");
    rows.bind(run);
    while (rows.step()) {
        StoredEntry entry;
        entry.position = rows.integer(0);
        entry.change = static_cast<RunChange>(rows.integer(1));
        entry.object = static_cast<tag_t>(rows.integer(2));
        decode(rows.bytes(3), entry);
        each(std::move(entry));
    }
}

std::vector<std::int64_t> SqliteRunTables::before(const std::string& moment) {
    std::vector<std::int64_t> numbers;
    Statement rows = connection_.statement(
        "SELECT number FROM main.run WHERE coalesce(ended, began)<? ORDER BY number");
    rows.bind(std::string_view(moment));
    while (rows.step())
        numbers.push_back(rows.integer(0));
    return numbers;
}

std::vector<tag_t> SqliteRunTables::removedFiles() const {
    std::vector<tag_t> tags;
    Statement rows = connection_.statement(
        "SELECT DISTINCT object FROM main.run_entry WHERE change=? ORDER BY object");
    rows.bind(static_cast<std::int64_t>(RunChange::FileRemoved));
    while (rows.step())
        tags.push_back(static_cast<tag_t>(rows.integer(0)));
    return tags;
}

}  // namespace mervane
