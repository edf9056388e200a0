#include "workbench/store/runs.h"

#include <sstream>

#include "workbench/model/status.h"
#include "workbench/store/schema.h"
#include "workbench/store/store.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {

// Lists of texts in one: each with its length before it.
std::string packed(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += std::to_string(text.size()) + " " + text + "\n";
    return all;
}

std::vector<std::string> unpacked(std::string_view all) {
    std::vector<std::string> texts;
    while (!all.empty()) {
        std::size_t size = 0, at = 0;
        // A damaged length must not grow beyond what a number holds.
        for (; at < all.size() && all[at] >= '0' && all[at] <= '9' && size < all.size(); ++at)
            size = size * 10 + static_cast<std::size_t>(all[at] - '0');
        if (at == 0 || at + 1 + size >= all.size())
            throw Failure(kStoreFailure, "the head of a run's record is damaged");
        texts.emplace_back(all.substr(at + 1, size));
        all.remove_prefix(at + 1 + size + 1);
    }
    return texts;
}

std::string asText(const std::map<std::string, std::int64_t>& counts) {
    std::vector<std::string> texts;
    for (const auto& [name, count] : counts) {
        texts.push_back(name);
        texts.push_back(std::to_string(count));
    }
    return packed(texts);
}

std::map<std::string, std::int64_t> countsOf(std::string_view text) {
    const std::vector<std::string> texts = unpacked(text);
    std::map<std::string, std::int64_t> counts;
    for (std::size_t i = 0; i + 1 < texts.size(); i += 2)
        counts[texts[i]] = std::strtoll(texts[i + 1].c_str(), nullptr, 10);
    return counts;
}

}  // namespace

RunTables::RunTables(Store& store, bool temporary) : RunTables(*store.connection_, temporary) {
}

RunTables::RunTables(Connection& connection, bool temporary)
    : connection_(connection), temporary_(temporary) {
    if (temporary_)
        createTemporaryRuns(connection_);
}

// Each statement names its schema: a temporary table would hide the store's of the same name.
std::int64_t RunTables::numberOf(const std::string& token) {
    Statement known =
        connection_.statement(temporary_ ? "SELECT number FROM temp.run WHERE token=?"
                                         : "SELECT number FROM main.run WHERE token=?");
    known.bindBytes(token);
    return known.step() ? known.integer(0) : 0;
}

std::int64_t RunTables::begin(const std::string& token, const RunHead& head, std::int64_t session) {
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

void RunTables::add(std::int64_t run, const StoredEntry& entry) {
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

void RunTables::end(const RunHead& head) {
    const std::string stack = packed(head.outcome.stack), notes = packed(head.outcome.notes),
                      counts = asText(head.counts);
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

void RunTables::remove(std::int64_t run) {
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

bool RunTables::head(std::int64_t run, RunHead& head, std::int64_t* session) {
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
    head.outcome.stack = unpacked(row.bytes(17));
    head.outcome.notes = unpacked(row.bytes(18));
    head.counts = countsOf(row.bytes(19));
    head.entries = row.integer(20);
    head.undone = row.integer(21);
    return true;
}

std::vector<std::int64_t> RunTables::find(const RunQuery& query) {
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

void RunTables::entries(std::int64_t run, const std::function<void(StoredEntry&&)>& each) const {
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

std::vector<std::int64_t> RunTables::before(const std::string& moment) {
    std::vector<std::int64_t> numbers;
    Statement rows = connection_.statement(
        "SELECT number FROM main.run WHERE coalesce(ended, began)<? ORDER BY number");
    rows.bind(std::string_view(moment));
    while (rows.step())
        numbers.push_back(rows.integer(0));
    return numbers;
}

std::vector<tag_t> RunTables::removedFiles() const {
    std::vector<tag_t> tags;
    Statement rows = connection_.statement(
        "SELECT DISTINCT object FROM main.run_entry WHERE change=? ORDER BY object");
    rows.bind(static_cast<std::int64_t>(RunChange::FileRemoved));
    while (rows.step())
        tags.push_back(static_cast<tag_t>(rows.integer(0)));
    return tags;
}

}  // namespace mervane
