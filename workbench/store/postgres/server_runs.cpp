#include "workbench/store/postgres/server_runs.h"

#include "workbench/model/status.h"
#include "workbench/store/postgres/postgres_store.h"

namespace mervane {

namespace {

std::vector<std::int64_t> numbersOf(const Answer& answer) {
    std::vector<std::int64_t> numbers;
    for (int i = 0; i < answer.rows(); ++i)
        numbers.push_back(answer.integer(i, 0));
    return numbers;
}

}  // namespace

std::int64_t ServerRuns::numberOf(const std::string& token) {
    if (token == token_ && undone_ == store_.undone_ && number_ != 0)
        return number_;
    if (temporary_)
        return 0;
    const Answer row = store_.ask("SELECT number FROM run WHERE token=$1::bytea",
                                  Parameters().add(std::string_view(token)));
    number_ = row.rows() ? row.integer(0, 0) : 0;
    token_ = token;
    undone_ = store_.undone_;
    return number_;
}

std::int64_t ServerRuns::begin(const std::string& token, const RunHead& head,
                               std::int64_t session) {
    if (const std::int64_t known = numberOf(token))
        return known;
    token_ = token;
    if (temporary_) {
        // No other run of this connection is under way, so any number will do.
        number_ = 1;
        undone_ = store_.undone_;
        return number_;
    }
    number_ = store_
                  .change(
                      "INSERT INTO run(token, way, service, arguments, by_user, by_group, host, "
                      "process, session, began, version, configuration, configuration_sha256, "
                      "undoes) VALUES($1::bytea, $2::bigint, $3::bytea, $4::bytea, $5::bytea, "
                      "$6::bytea, $7::bytea, $8::bigint, $9::bigint, $10::bytea, $11::bytea, "
                      "$12::bytea, $13::bytea, $14::bigint) RETURNING number",
                      Parameters()
                          .add(std::string_view(token))
                          .add(static_cast<std::int64_t>(head.way))
                          .add(std::string_view(head.service))
                          .add(std::string_view(head.arguments))
                          .add(std::string_view(head.user))
                          .add(std::string_view(head.group))
                          .add(std::string_view(head.host))
                          .add(std::int64_t{head.process})
                          .add(session)
                          .add(std::string_view(head.began))
                          .add(std::string_view(head.version))
                          .add(std::string_view(head.configuration))
                          .add(std::string_view(head.configuration_sha256))
                          .add(head.undoes))
                  .integer(0, 0);
    undone_ = store_.undone_;
    return number_;
}

void ServerRuns::add(std::int64_t run, const StoredEntry& entry) {
    if (temporary_) {
        if (store_.open_)
            store_.top().temporary.push_back(entry);
        else
            store_.temporary_.push_back(entry);
        return;
    }
    PendingEntry pending{run, entry.position, static_cast<std::int64_t>(entry.change),
                         std::int64_t{entry.object}, encoded(entry)};
    if (store_.open_) {
        store_.top().bytes += pending.data.size() + 64;
        store_.top().entries.push_back(std::move(pending));
        store_.sendIfMuchAlone();
        return;
    }
    store_.change(
        "INSERT INTO run_entry VALUES($1::bigint, $2::bigint, $3::bigint, $4::bigint, $5::bytea)",
        Parameters()
            .add(pending.run)
            .add(pending.position)
            .add(pending.change)
            .add(pending.object)
            .add(std::string_view(pending.data)));
}

void ServerRuns::end(const RunHead& head) {
    if (temporary_)
        return;
    store_.change(
        "UPDATE run SET ended=$1::bytea, result=$2::bigint, status=$3::bigint, slot=$4::bytea, "
        "stack=$5::bytea, notes=$6::bytea, counts=$7::bytea WHERE number=$8::bigint",
        Parameters()
            .add(std::string_view(head.ended))
            .add(static_cast<std::int64_t>(head.outcome.result))
            .add(std::int64_t{head.outcome.status})
            .add(std::string_view(head.outcome.slot))
            .add(std::string_view(packedTexts(head.outcome.stack)))
            .add(std::string_view(packedTexts(head.outcome.notes)))
            .add(std::string_view(packedCounts(head.counts)))
            .add(head.number));
}

void ServerRuns::remove(std::int64_t run) {
    if (temporary_) {
        store_.temporary_.clear();
        for (Pending& part : store_.parts_)
            part.temporary.clear();
        number_ = 0;
        return;
    }
    store_.change("DELETE FROM run_entry WHERE run=$1::bigint", Parameters().add(run));
    store_.change("DELETE FROM run WHERE number=$1::bigint", Parameters().add(run));
}

void ServerRuns::put(const std::string& token, const RunHead& head, std::int64_t session) {
    const std::int64_t given = begin(token, head, session);
    store_.change("UPDATE run SET number=$1::bigint WHERE number=$2::bigint",
                  Parameters().add(head.number).add(given));
    // Numbers ascend, so the next run of this store gets one above.
    store_.change("SELECT setval('run_number_seq', $1::bigint)", Parameters().add(head.number));
    number_ = 0;
    // One that hasn't ended has no end in the copy, either.
    if (!head.ended.empty())
        end(head);
}

std::string ServerRuns::tokenOf(std::int64_t run) {
    const Answer row =
        store_.ask("SELECT token FROM run WHERE number=$1::bigint", Parameters().add(run));
    return row.rows() ? row.text(0, 0) : "";
}

bool ServerRuns::head(std::int64_t run, RunHead& head, std::int64_t* session) {
    if (temporary_)
        return false;
    const Answer row = store_.ask(
        "SELECT way, service, arguments, by_user, by_group, host, process, session, began, "
        "version, configuration, configuration_sha256, undoes, ended, result, status, slot, "
        "stack, notes, counts, (SELECT count(*) FROM run_entry e WHERE e.run=r.number), "
        "(SELECT coalesce(max(u.number), 0) FROM run u WHERE u.undoes=r.number AND u.undoes<>0) "
        "FROM run r WHERE number=$1::bigint",
        Parameters().add(run));
    if (row.rows() == 0)
        return false;
    const auto text = [&](int column) { return row.text(0, column); };
    head = {};
    head.number = run;
    head.way = static_cast<RunWay>(row.integer(0, 0));
    head.service = text(1);
    head.arguments = text(2);
    head.user = text(3);
    head.group = text(4);
    head.host = text(5);
    head.process = static_cast<int>(row.integer(0, 6));
    *session = row.integer(0, 7);
    head.began = text(8);
    head.version = text(9);
    head.configuration = text(10);
    head.configuration_sha256 = text(11);
    head.undoes = row.integer(0, 12);
    head.ended = text(13);
    head.outcome.result = static_cast<RunResult>(row.integer(0, 14));
    head.outcome.status = static_cast<int>(row.integer(0, 15));
    head.outcome.slot = text(16);
    head.outcome.stack = unpackedTexts(row.bytes(0, 17));
    head.outcome.notes = unpackedTexts(row.bytes(0, 18));
    head.counts = unpackedCounts(row.bytes(0, 19));
    head.entries = row.integer(0, 20);
    head.undone = row.integer(0, 21);
    return true;
}

std::vector<std::int64_t> ServerRuns::find(const RunQuery& query) {
    // What isn't asked for is an empty text, or no object.
    return numbersOf(store_.ask(
        "SELECT number FROM run WHERE ($1::bytea=''::bytea OR by_user=$1::bytea) AND "
        "($2::bytea=''::bytea OR service=$2::bytea) AND ($3::bytea=''::bytea OR began>=$3::bytea) "
        "AND ($5::bigint=0 OR number IN (SELECT run FROM run_entry WHERE object=$5::bigint AND "
        "object<>0)) ORDER BY number DESC LIMIT CASE WHEN $4::bigint>0 THEN $4::bigint END",
        Parameters()
            .add(std::string_view(query.user))
            .add(std::string_view(query.service))
            .add(std::string_view(query.since))
            .add(std::int64_t{query.limit})
            .add(std::int64_t{query.object})));
}

void ServerRuns::entries(std::int64_t run, const std::function<void(StoredEntry&&)>& each) const {
    if (temporary_) {
        for (const StoredEntry& entry : store_.temporary_)
            each(StoredEntry(entry));
        for (const Pending& part : store_.parts_)
            for (const StoredEntry& entry : part.temporary)
                each(StoredEntry(entry));
        return;
    }
    // In pieces: a run may have changed very many objects.
    constexpr int kPiece = 2000;
    for (std::int64_t last = -1;;) {
        const Answer rows = store_.ask(
            "SELECT position, change, object, data FROM run_entry WHERE run=$1::bigint AND "
            "position>$2::bigint ORDER BY position LIMIT 2000",
            Parameters().add(run).add(last));
        for (int i = 0; i < rows.rows(); ++i) {
            StoredEntry entry;
            entry.position = rows.integer(i, 0);
            entry.change = static_cast<RunChange>(rows.integer(i, 1));
            entry.object = static_cast<tag_t>(rows.integer(i, 2));
            decode(rows.bytes(i, 3), entry);
            last = entry.position;
            each(std::move(entry));
        }
        if (rows.rows() < kPiece)
            return;
    }
}

std::vector<std::int64_t> ServerRuns::before(const std::string& moment) {
    return numbersOf(
        store_.ask("SELECT number FROM run WHERE coalesce(ended, began)<$1::bytea ORDER BY number",
                   Parameters().add(std::string_view(moment))));
}

std::vector<tag_t> ServerRuns::removedFiles() const {
    std::vector<tag_t> tags;
    const Answer rows =
        store_.ask("SELECT DISTINCT object FROM run_entry WHERE change=$1::bigint ORDER BY object",
                   Parameters().add(static_cast<std::int64_t>(RunChange::FileRemoved)));
    for (int i = 0; i < rows.rows(); ++i)
        tags.push_back(static_cast<tag_t>(rows.integer(i, 0)));
    return tags;
}

}  // namespace mervane
