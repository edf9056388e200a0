#include "workbench/store/postgres/server.h"

#include <libpq-fe.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "workbench/address.h"
#include "workbench/model/status.h"
#include "workbench/store/effort.h"
#include "workbench/store/waiting.h"

namespace mervane {

namespace {

constexpr std::uint32_t kBytesType = 17, kIntegerType = 20;

std::string trimmed(const char* text) {
    std::string all = text ? text : "";
    // libpq's texts are for a terminal: several lines, with a break at the end, and a question.
    for (std::size_t at; (at = all.find("\n\tIs the server running")) != std::string::npos;)
        all.erase(at, std::min(all.find('\n', at + 1), all.size()) - at);
    std::replace(all.begin(), all.end(), '\n', ' ');
    std::replace(all.begin(), all.end(), '\t', ' ');
    while (!all.empty() && (all.back() == ' ' || all.back() == '.'))
        all.pop_back();
    return all;
}

std::string field(const PGresult* result, int code) {
    const char* text = PQresultErrorField(result, code);
    return text ? text : "";
}

bool isPlainName(const std::string& name) {
    return !name.empty() && name.size() <= 63 &&
           std::all_of(name.begin(), name.end(),
                       [](unsigned char c) { return (c < 0x80 && std::isalnum(c)) || c == '_'; });
}

void beQuiet(void*, const PGresult*) {
}

// What to do about a server that can't be reached or doesn't let anybody in.
const char* adviceFor(const std::string& reason) {
    const auto has = [&](const char* part) { return reason.find(part) != std::string::npos; };
    if (has("password") || has("authentication") || has("pg_hba.conf"))
        return ". Give the password by PGPASSWORD or a password file, or ask whoever runs "
               "the server to let this user in (pg_hba.conf)";
    if (has("permission denied"))
        return ". Ask whoever runs the server for the right to do so";
    if (has("too many clients") || has("connection slots"))
        return ". The server has all the connections that it takes (max_connections): try again, "
               "or ask for more";
    if (has("database") && has("does not exist"))
        return ". Make the database first: createdb NAME";
    if (has("role") && has("does not exist"))
        return ". Make the user first: createuser NAME";
    if (has("starting up") || has("shutting down") || has("recovery"))
        return ". Try again in a moment";
    if (has("could not translate") || has("refused") || has("timeout") || has("timed out") ||
        has("No such file") || has("unreachable") || has("No route"))
        return ". Compare host and port with the server's, and see whether it runs";
    return "";
}

}  // namespace

// ---- address ----

ServerAddress ServerAddress::of(const std::string& text) {
    ServerAddress address;
    address.schema = "keld";
    // libpq doesn't know the schema, so it is taken out.
    const std::size_t query = text.find('?');
    std::string rest = text.substr(0, query);
    if (query != std::string::npos) {
        char before = '?';
        for (std::size_t at = query + 1; at <= text.size();) {
            const std::size_t end = std::min(text.find('&', at), text.size());
            const std::string part = text.substr(at, end - at);
            if (part.starts_with("schema=")) {
                address.schema = part.substr(7);
            } else if (!part.empty()) {
                rest += before + part;
                before = '&';
            }
            at = end + 1;
        }
    }
    address.connection = rest;
    // libpq's texts would quote a part of the password as host or port.
    const std::size_t authority = text.find("://") + 3;
    if (const std::string host =
            text.substr(authority, text.find_first_of("/?", authority) - authority);
        isCutPassword(text) || std::count(host.begin(), host.end(), '@') > 1)
        throw Failure(kStoreFailure,
                      "The address of a store on a server isn't one: " + withoutPassword(text) +
                          ". Write @ / ? : of a user or password as %40 %2F %3F %3A");
    char* reason = nullptr;
    PQconninfoOption* options = PQconninfoParse(rest.c_str(), &reason);
    // Its text may quote the address with the password in it.
    PQfreemem(reason);
    if (!options)
        throw Failure(
            kStoreFailure,
            "The address of a store on a server isn't one: " + withoutPassword(text) +
                ". It has the form postgresql://USER@HOST:PORT/DATABASE?schema=NAME; other "
                "parameters are those of libpq");
    PQconninfoFree(options);
    if (!isPlainName(address.schema))
        throw Failure(kStoreFailure, "The schema \"" + address.schema +
                                         "\" of a store has other characters than letters, digits "
                                         "and underscores, or more than 63");
    address.shown = withoutPassword(text);
    return address;
}

// ---- parameters and answers ----

void Parameters::integer32(std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes_.push_back(static_cast<char>(value >> shift));
}

void Parameters::integer64(std::uint64_t value) {
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes_.push_back(static_cast<char>(value >> shift));
}

Parameters& Parameters::add(std::int64_t value) {
    integer64(static_cast<std::uint64_t>(value));
    end();
    return *this;
}

Parameters& Parameters::add(std::string_view bytes) {
    bytes_ += bytes;
    end();
    return *this;
}

// One dimension, no NULL, the type of the elements, their number, the first index; then each with
// its length.
Parameters& Parameters::add(const std::vector<std::int64_t>& values) {
    for (const std::uint32_t head :
         {1U, 0U, kIntegerType, static_cast<std::uint32_t>(values.size()), 1U})
        integer32(head);
    for (const std::int64_t value : values) {
        integer32(8);
        integer64(static_cast<std::uint64_t>(value));
    }
    end();
    return *this;
}

Parameters& Parameters::add(const std::vector<std::string_view>& values) {
    for (const std::uint32_t head :
         {1U, 0U, kBytesType, static_cast<std::uint32_t>(values.size()), 1U})
        integer32(head);
    for (const std::string_view value : values) {
        integer32(static_cast<std::uint32_t>(value.size()));
        bytes_ += value;
    }
    end();
    return *this;
}

Answer::~Answer() {
    PQclear(result_);
}

Answer& Answer::operator=(Answer&& other) noexcept {
    std::swap(result_, other.result_);
    return *this;
}

int Answer::rows() const {
    return PQntuples(result_);
}

std::int64_t Answer::integer(int row, int column) const {
    const std::string_view all = bytes(row, column);
    if (all.empty())
        return 0;
    // Eight, four, two or one byte, the highest first.
    std::uint64_t value = static_cast<signed char>(all[0]) < 0 ? ~std::uint64_t{0} : 0;
    for (const char byte : all)
        value = value << 8 | static_cast<unsigned char>(byte);
    return static_cast<std::int64_t>(value);
}

std::string_view Answer::bytes(int row, int column) const {
    return {PQgetvalue(result_, row, column),
            static_cast<std::size_t>(PQgetlength(result_, row, column))};
}

bool Answer::isNull(int row, int column) const {
    return PQgetisnull(result_, row, column) != 0;
}

std::int64_t Answer::changed() const {
    return std::strtoll(PQcmdTuples(result_), nullptr, 10);
}

// ---- connection ----

ServerConnection::ServerConnection(const ServerAddress& address) : address_(address) {
    const std::string milliseconds = std::to_string(waitLimit().count());
    const std::string seconds = std::to_string(
        std::max<std::int64_t>(2, std::chrono::ceil<std::chrono::seconds>(waitLimit()).count()));
    // What comes before the address is taken unless the address says otherwise.
    const char* const names[] = {"connect_timeout", "tcp_user_timeout", "fallback_application_name",
                                 "dbname",          "client_encoding",  nullptr};
    const char* const values[] = {seconds.c_str(), milliseconds.c_str(),
                                  "keld",          address_.connection.c_str(),
                                  "UTF8",          nullptr};
    connection_ = PQconnectdbParams(names, values, 1);
    if (!connection_ || PQstatus(connection_) != CONNECTION_OK) {
        const std::string reason = connection_ ? trimmed(PQerrorMessage(connection_)) : "no memory";
        PQfinish(connection_);
        throw Failure(kStoreFailure, "The store " + address_.shown + " can't be opened: " + reason +
                                         adviceFor(reason));
    }
    PQsetNoticeReceiver(connection_, beQuiet, nullptr);
    try {
        if (PQserverVersion(connection_) < 130000)
            throw Failure(kStoreFailure, "The store " + address_.shown +
                                             " can't be opened: the server is older than version "
                                             "13");
        if (PQenterPipelineMode(connection_) != 1)
            failBroken();
        ask("SELECT set_config('search_path', quote_ident(convert_from($1::bytea, 'UTF8')), "
            "false), "
            "set_config('lock_timeout', $2::bigint::text, false), "
            "set_config('statement_timeout', '0', false), "
            "set_config('idle_in_transaction_session_timeout', '0', false), "
            "set_config('default_transaction_isolation', 'read committed', false), "
            "set_config('default_transaction_read_only', 'off', false), "
            // A table that has just been filled has no statistics yet: without these, the server
            // would read the whole of it for each question that an index answers.
            "set_config('enable_hashjoin', 'off', false), "
            "set_config('enable_mergejoin', 'off', false), "
            "set_config('enable_seqscan', 'off', false), "
            // They would make it compile each of the few that read a whole table, and begin other
            // processes for each question that may have many answers.
            "set_config('jit', 'off', false), "
            "set_config('max_parallel_workers_per_gather', '0', false)",
            Parameters().add(std::string_view(address_.schema)).add(waitLimit().count()));
    } catch (...) {
        PQfinish(connection_);
        throw;
    }
}

ServerConnection::~ServerConnection() {
    PQfinish(connection_);
}

void ServerConnection::needSound() const {
    if (broken_)
        throw Failure(kStoreFailure, "store " + address_.shown + " can't be used: " + why_broken_ +
                                         ". Its locks and unsaved values are gone. Open it anew");
}

void ServerConnection::breakOff(std::string why) noexcept {
    if (broken_)
        return;
    broken_ = true;
    why_broken_ = std::move(why);
    waiting_.clear();
}

void ServerConnection::failBroken() {
    breakOff("the connection to the server is gone (" + trimmed(PQerrorMessage(connection_)) +
             "); a change that was under way may be stored or not");
    needSound();
    throw Failure(kInternal, "a sound connection was called broken");
}

void ServerConnection::later(const char* sql, Parameters parameters) {
    needSound();
    waiting_.push_back({sql, std::move(parameters)});
}

Answer ServerConnection::ask(const char* sql, Parameters parameters) {
    later(sql, std::move(parameters));
    return finish();
}

void ServerConnection::settle() {
    needSound();
    if (!waiting_.empty() || !sent_.empty())
        finish();
}

void ServerConnection::send() noexcept {
    try {
        for (const Waiting& each : std::exchange(waiting_, {}))
            give(each.sql, each.parameters);
        end();
        PQflush(connection_);
    } catch (...) {
        // Some of it may be lost: what follows must not be taken for all.
        breakOff("no memory left");  // short: it needs none
    }
}

void ServerConnection::rollBack() noexcept {
    waiting_.clear();
    try {
        try {
            // What was sent may have begun the transaction.
            settle();
        } catch (const Failure&) {
            // It goes back.
        }
        // A refused one would leave the connection in the transaction.
        for (int i = 0; i < 2 && inTransaction(); ++i)
            try {
                ask("ROLLBACK");
            } catch (const ServerFailure&) {
                // Once more.
            }
    } catch (...) {
        // The connection is gone: the server undoes what is left.
    }
    if (!broken_ && inTransaction())
        breakOff("no rollback");  // short: it needs no memory
}

// Hand a statement to libpq, with its preparation if this is its first run.
void ServerConnection::give(const char* sql, const Parameters& parameters) {
    const auto [known, fresh] = prepared_.try_emplace(sql, last_name_ + 1);
    const std::string name = "s" + std::to_string(known->second);
    if (fresh) {
        ++last_name_;
        preparing_.push_back(sql);
        if (PQsendPrepare(connection_, name.c_str(), sql, 0, nullptr) != 1)
            failBroken();
        sent_.push_back(Sent::Preparation);
    }
    const std::size_t count = parameters.ends_.size();
    std::vector<const char*> values(count);
    std::vector<int> lengths(count), formats(count, 1);
    std::size_t begin = 0;
    for (std::size_t i = 0; i < count; ++i) {
        // An empty value isn't NULL.
        values[i] = parameters.bytes_.data() + begin;
        lengths[i] = static_cast<int>(parameters.ends_[i] - begin);
        begin = parameters.ends_[i];
    }
    countStatement();
    if (PQsendQueryPrepared(connection_, name.c_str(), static_cast<int>(count), values.data(),
                            lengths.data(), formats.data(), 1) != 1)
        failBroken();
    sent_.push_back(Sent::Statement);
    ++unanswered_;
}

// What was sent since the last end is a transaction of its own, unless one is open.
void ServerConnection::end() {
    if (PQpipelineSync(connection_) != 1)
        failBroken();
    sent_.push_back(Sent::End);
}

// Send what waits and take all answers. Returns: that of the last statement.
Answer ServerConnection::finish() {
    needSound();
    const Timed timed;
    for (const Waiting& each : std::exchange(waiting_, {}))
        give(each.sql, each.parameters);
    end();
    countRoundTrip();
    const bool failed_before = inFailedTransaction();
    Answer last;
    PGresult* failure = nullptr;
    for (const Sent sent : sent_) {
        PGresult* result = PQgetResult(connection_);
        if (!result || PQstatus(connection_) == CONNECTION_BAD) {
            PQclear(result);
            PQclear(failure);
            failBroken();
        }
        const ExecStatusType status = PQresultStatus(result);
        if (sent == Sent::End) {
            PQclear(result);
            continue;
        }
        if (sent == Sent::Statement) {
            ++answered_;
            --unanswered_;
        }
        if (status == PGRES_FATAL_ERROR && !failure) {
            failure = result;
            if (!failed_before)
                failed_ = answered_ + (sent == Sent::Preparation ? 1 : 0);
        } else {
            last = Answer(result);
        }
        PQgetResult(connection_);  // the end of this answer
    }
    sent_.clear();
    if (failure)
        // Nobody knows which of them the server has prepared: they are prepared anew, under other
        // names.
        for (const char* sql : preparing_)
            prepared_.erase(sql);
    preparing_.clear();
    if (failure)
        fail(failure);
    return last;
}

void ServerConnection::execute(const std::string& sql) {
    settle();
    const Timed timed;
    countRoundTrip();
    countStatement();
    if (PQexitPipelineMode(connection_) != 1)
        failBroken();
    PGresult* result = PQexec(connection_, sql.c_str());
    const ExecStatusType status = PQresultStatus(result);
    if (PQstatus(connection_) == CONNECTION_BAD) {
        PQclear(result);
        failBroken();
    }
    PQenterPipelineMode(connection_);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        fail(result);
    PQclear(result);
}

void ServerConnection::fail(PGresult* result) {
    const std::string state = field(result, PG_DIAG_SQLSTATE),
                      constraint = field(result, PG_DIAG_CONSTRAINT_NAME),
                      detail = field(result, PG_DIAG_MESSAGE_DETAIL);
    std::string reason = field(result, PG_DIAG_MESSAGE_PRIMARY);
    PQclear(result);
    int status = kStoreFailure;
    std::string operation = " can't be read or changed: ";
    if (state == "55P03" || state == "57014") {
        char seconds[40];
        std::snprintf(seconds, sizeof seconds, "%g s",
                      static_cast<double>(waitLimit().count()) / 1000);
        reason = std::string("another session has been writing for more than ") + seconds;
        if (who_is_busy_)
            if (const std::string who = who_is_busy_(); !who.empty())
                reason += ": " + who;
    } else if (state == "40P01") {
        status = kLockedByOther;
        reason = "it and another session waited for one another";
        if (who_is_busy_)
            if (const std::string who = who_is_busy_(); !who.empty())
                reason += ": " + who;
    } else if (state == "40001") {
        status = kChangedMeanwhile;
        reason = "another session has changed what this one has read";
    } else if (state == "42501") {
        reason = "the user of the database has no right to do that (" + reason + ")";
    } else if (state == "42P01" || state == "42703" || state == "42883" || state == "42804") {
        reason = "the schema \"" + address_.schema + "\" has other tables than a store (" + reason +
                 "): name another one by ?schema=NAME";
    } else if (state == "53100") {
        reason = "the disk of the server is full";
    } else if (state.starts_with("57P") || state.starts_with("08")) {
        // The server ends this session.
        breakOff("the server has ended the connection (" + reason + ")");
        needSound();
    }
    throw ServerFailure(status, "store " + address_.shown + operation + reason, state, constraint,
                        detail);
}

bool ServerConnection::inTransaction() const {
    const PGTransactionStatusType status = PQtransactionStatus(connection_);
    return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
}

bool ServerConnection::inFailedTransaction() const {
    return PQtransactionStatus(connection_) == PQTRANS_INERROR;
}

int ServerConnection::backend() const {
    return PQbackendPID(connection_);
}

}  // namespace mervane
