#include "workbench/store/sqlite/sqlite.h"

#include <sqlite3.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>

#include "workbench/model/status.h"
#include "workbench/store/effort.h"
#include "workbench/store/object_data.h"
#include "workbench/store/pattern.h"
#include "workbench/store/waiting.h"
#include "workbench/system/system.h"
#include "workbench/workbench.h"

namespace mervane {

namespace {
constexpr const char* kRead = "can't be read";
constexpr const char* kChange = "can't be changed";

// Some builds of SQLite read a name that begins with "file:" as an address with options.
std::string plainName(const std::string& path) {
    return path.starts_with("file:") ? "./" + path : path;
}

// SQLite takes no lock on an immutable database and makes no file beside it. Requires: nobody
// writes it.
std::string quietAddress(const std::string& path) {
    std::string address = "file:";
    for (const char c : path) {
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned char>(c));
        if (std::isalnum(static_cast<unsigned char>(c)) || c == '/' || c == '.')
            address += c;
        else
            address += escape;
    }
    return address + "?immutable=1";
}

// The reason in words that people know; empty: SQLite's own text will do.
std::string plainReason(int code, int system_error, const std::string& path) {
    switch (code & 0xFF) {
        case SQLITE_FULL:
            return "the disk is full";
        case SQLITE_READONLY:
        case SQLITE_PERM:
            return "no permission to write " + path;
        case SQLITE_CANTOPEN:
            return "it or a file beside it can't be opened" +
                   (system_error ? std::string(": ") + std::strerror(system_error) : "");
        case SQLITE_IOERR:
            if (system_error == ENOSPC)
                return "the disk is full";
            return system_error ? std::strerror(system_error) : "";
        case SQLITE_CORRUPT:
            return "it is damaged";
        case SQLITE_NOTADB:
            return "it is no database";
        case SQLITE_NOMEM:
            return "there is no memory";
        default:
            return "";
    }
}

// Whether the call failed after the change was written: nobody knows if it is on the disk.
bool leavesUnknown(int code) {
    return code == SQLITE_IOERR_FSYNC || code == SQLITE_IOERR_DIR_FSYNC ||
           code == SQLITE_IOERR_TRUNCATE || code == SQLITE_IOERR_DELETE;
}

std::string_view textOf(sqlite3_value* value) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return bytes ? std::string_view(bytes, static_cast<std::size_t>(sqlite3_value_bytes(value)))
                 : std::string_view();
}

// matches(pattern, text): the pattern is taken apart once for a statement's run.
void matches(sqlite3_context* context, int, sqlite3_value** arguments) noexcept {
    try {
        auto* pattern = static_cast<Pattern*>(sqlite3_get_auxdata(context, 0));
        if (pattern) {
            sqlite3_result_int(context, pattern->matches(textOf(arguments[1])));
            return;
        }
        pattern = new Pattern(textOf(arguments[0]));
        sqlite3_result_int(context, pattern->matches(textOf(arguments[1])));
        // Last: the database may delete the pattern at once.
        sqlite3_set_auxdata(context, 0, pattern,
                            [](void* old) { delete static_cast<Pattern*>(old); });
    } catch (...) {
        sqlite3_result_error_nomem(context);
    }
}

std::string_view bytesOf(sqlite3_value* value) {
    // Asked in this order: the bytes may move when their number is asked for.
    const auto* bytes = static_cast<const char*>(sqlite3_value_blob(value));
    return {bytes, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

// The arguments of both functions are an object's tag, its data and an attribute. The result is
// the first value, NULL if there is none.
template <typename Give>
void giveFromObject(sqlite3_context* context, sqlite3_value** arguments, Give&& give) noexcept {
    try {
        give(static_cast<tag_t>(sqlite3_value_int64(arguments[0])), bytesOf(arguments[1]),
             static_cast<tag_t>(sqlite3_value_int64(arguments[2])));
    } catch (const std::bad_alloc&) {
        sqlite3_result_error_nomem(context);
    } catch (const Failure&) {
        // A damaged object has no value here, so that others are found; the check tells it.
        sqlite3_result_null(context);
    }
}

void textIn(sqlite3_context* context, int, sqlite3_value** arguments) noexcept {
    giveFromObject(context, arguments, [&](tag_t tag, std::string_view data, tag_t attribute) {
        if (const auto text = firstText(tag, data, attribute))
            sqlite3_result_text64(context, text->data(), text->size(), SQLITE_TRANSIENT,
                                  SQLITE_UTF8);
    });
}

void referenceIn(sqlite3_context* context, int, sqlite3_value** arguments) noexcept {
    giveFromObject(context, arguments, [&](tag_t tag, std::string_view data, tag_t attribute) {
        if (const auto target = firstReference(tag, data, attribute))
            sqlite3_result_int64(context, *target);
    });
}

bool addFunctions(sqlite3* database) {
    constexpr int kPure = SQLITE_UTF8 | SQLITE_DETERMINISTIC;
    return sqlite3_create_function_v2(database, "matches", 2, kPure, nullptr, matches, nullptr,
                                      nullptr, nullptr) == SQLITE_OK &&
           sqlite3_create_function_v2(database, "text_in", 3, kPure, nullptr, textIn, nullptr,
                                      nullptr, nullptr) == SQLITE_OK &&
           sqlite3_create_function_v2(database, "reference_in", 3, kPure, nullptr, referenceIn,
                                      nullptr, nullptr, nullptr) == SQLITE_OK;
}

}  // namespace

// ---- statement ----

Statement::~Statement() {
    // Ends the read, too: a statement that isn't reset holds up the log's clean-up.
    sqlite3_reset(statement_);
    if (bound_)
        sqlite3_clear_bindings(statement_);
}

Statement& Statement::bind(std::int64_t value) {
    if (sqlite3_bind_int64(statement_, ++bound_, value) != SQLITE_OK)
        connection_.fail(kRead);
    return *this;
}

Statement& Statement::bind(std::string_view text) {
    // A null pointer would bind NULL: an empty text is a text.
    const char* bytes = text.data() ? text.data() : "";
    if (sqlite3_bind_text64(statement_, ++bound_, bytes, text.size(), SQLITE_STATIC, SQLITE_UTF8) !=
        SQLITE_OK)
        connection_.fail(kRead);
    return *this;
}

Statement& Statement::bindBytes(std::string_view bytes) {
    if (sqlite3_bind_blob64(statement_, ++bound_, bytes.data() ? bytes.data() : "", bytes.size(),
                            SQLITE_STATIC) != SQLITE_OK)
        connection_.fail(kRead);
    return *this;
}

bool Statement::step() {
    if (done_)
        return false;  // another step would begin anew
    if (!started_) {
        started_ = true;
        countStatement();
    }
    const Timed timed;
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW)
        return true;
    if (result != SQLITE_DONE)
        connection_.fail(sqlite3_stmt_readonly(statement_) ? kRead : kChange);
    done_ = true;
    return false;
}

void Statement::run() {
    while (step()) {
    }
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double Statement::real(int column) const {
    return sqlite3_column_double(statement_, column);
}

std::string_view Statement::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (!bytes)
        return {};
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::string_view Statement::bytes(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    if (!bytes)
        return {};
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

bool Statement::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

// ---- connection ----

namespace {

// Refuse what is no file: to open a pipe is to wait for its writer, without a limit. Links are
// resolved as SQLite does it. A missing file is SQLite's to report.
void needRegularFiles(const std::string& path) {
    if (path == ":memory:")
        return;
    std::error_code unknown;
    const std::filesystem::path real =
        std::filesystem::weakly_canonical(system::pathOf(path), unknown);
    const std::filesystem::path base = unknown ? system::pathOf(path) : real;
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
        std::filesystem::path file = base;
        file += suffix;
        const auto kind = std::filesystem::symlink_status(file, unknown).type();
        if (kind != std::filesystem::file_type::not_found &&
            kind != std::filesystem::file_type::regular && kind != std::filesystem::file_type::none)
            throw Failure(kStoreFailure, "The store " + path + " can't be opened: " +
                                             file.string() + " is no regular file");
    }
}

}  // namespace

Connection::Connection(const std::string& path, Mode mode) : path_(path) {
    // Nobody asks how much memory SQLite takes; counting it costs a tenth of its time. The switch
    // is refused if the process uses SQLite already, and then counting goes on.
    static const int counting = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    (void)counting;
    needRegularFiles(path);
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    flags |= mode == Mode::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    if (mode == Mode::Create)
        flags |= SQLITE_OPEN_CREATE;
    reads_only_ = mode == Mode::Read;
    std::string name = plainName(path);
    // A log beside the store has committed changes, which a reader must see. Without one, only an
    // immutable database is read without making files beside it.
    if (reads_only_ && !system::somethingAt(path + "-wal")) {
        name = quietAddress(path);
        flags |= SQLITE_OPEN_URI;
    }
    if (sqlite3_open_v2(name.c_str(), &database_, flags, nullptr) != SQLITE_OK) {
        std::string reason = database_ ? sqlite3_errmsg(database_) : "no memory";
        if (database_)
            if (const std::string plain = plainReason(sqlite3_extended_errcode(database_),
                                                      sqlite3_system_errno(database_), path);
                !plain.empty())
                reason = plain;
        sqlite3_close_v2(database_);
        throw Failure(kStoreFailure, "The store " + path + " can't be opened: " + reason);
    }
    // No wait for another process is without a limit.
    sqlite3_busy_timeout(database_, static_cast<int>(waitLimit().count()));
    if (!addFunctions(database_)) {
        sqlite3_close_v2(database_);
        throw Failure(kStoreFailure, "The store " + path + " can't be searched");
    }
}

Connection::~Connection() {
    for (const auto& [sql, statement] : statements_)
        sqlite3_finalize(statement);
    sqlite3_close_v2(database_);
}

Statement Connection::statement(const char* sql) {
    needTransaction();
    sqlite3_stmt*& prepared = statements_[sql];
    if (!prepared && sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                                        nullptr) != SQLITE_OK)
        fail(kRead);
    return Statement(prepared, *this);
}

void Connection::execute(const char* sql) {
    needTransaction();
    countStatement();
    const Timed timed;
    if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(kChange);
}

void Connection::copyTo(const std::string& path) {
    needTransaction();
    // VACUUM INTO copies one moment of the database, while others write.
    const std::string name = plainName(path);
    countStatement();
    sqlite3_stmt* copying = nullptr;
    const bool done =
        sqlite3_prepare_v2(database_, "VACUUM INTO ?", -1, &copying, nullptr) == SQLITE_OK &&
        sqlite3_bind_text(copying, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC) ==
            SQLITE_OK &&
        sqlite3_step(copying) == SQLITE_DONE;
    sqlite3_finalize(copying);
    if (!done)
        fail("can't be copied");
}

void Connection::useWriteAheadLog() {
    const char* sql = "PRAGMA journal_mode=WAL";
    // SQLite doesn't wait here: the statement fails at once while others read or change the mode.
    const auto end = std::chrono::steady_clock::now() + waitLimit();
    int result = 0;
    while ((result = sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) & 0xFF) ==
               SQLITE_BUSY &&
           std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (result != SQLITE_OK)
        fail(kChange);
}

std::int64_t Connection::changes() const {
    return sqlite3_changes64(database_);
}

std::int64_t Connection::allChanges() const {
    return sqlite3_total_changes64(database_);
}

bool Connection::inTransaction() const {
    return sqlite3_get_autocommit(database_) == 0;
}

void Connection::needSound() const {
    if (broken_)
        throw Failure(kStoreFailure,
                      "store " + path_ +
                          " can't be used: whether an earlier change is stored isn't "
                          "known. Open it anew");
}

void Connection::needTransaction() const {
    needSound();
    if (isHeldTransactionLost())
        throw Failure(kStoreFailure, "store " + path_ +
                                         ": the database has given up the transaction after a "
                                         "failure, so all of it goes back");
}

void Connection::takeBack(const char* sql) {
    ++undone_;
    // Counted before it runs: if it fails, what was read isn't sure either.
    statement(sql).run();
}

void Connection::fail(const char* operation) {
    ++undone_;  // the database gives up a transaction in some cases
    const int code = sqlite3_extended_errcode(database_);
    std::string reason = plainReason(code, sqlite3_system_errno(database_), path_);
    if (reason.empty())
        reason = sqlite3_errmsg(database_);
    // With a write-ahead log the locks are on the file -shm.
    if ((code & 0xFF) == SQLITE_BUSY)
        reason = waitedInVain(system::lockHolder(path_ + "-shm") > 0 ? path_ + "-shm" : path_);
    if ((code & 0xFF) == SQLITE_BUSY && who_is_busy_)
        if (const std::string who = who_is_busy_(); !who.empty())
            reason += ": " + who;
    if (leavesUnknown(code)) {
        // A second try could succeed although the first one's pages never reached the disk.
        broken_ = true;
        if (inTransaction())
            sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
        reason += "; the change may be stored. Open the store anew to see";
    }
    throw Failure(kStoreFailure, "store " + path_ + " " + operation + ": " + reason);
}

bool Freshness::isLost(Connection& connection) {
    // It counts what other connections commit, and nothing of this one's.
    Statement row = connection.statement("PRAGMA data_version");
    const std::int64_t others = row.step() ? row.integer(0) : 0;
    const bool lost = others != others_ || connection.undone() != undone_;
    others_ = others;
    undone_ = connection.undone();
    return lost;
}

// ---- transaction ----

bool beginTransaction(Connection& connection) {
    const bool part = connection.inTransaction();
    // Take the right to write now. A transaction that begins by reading and asks for it later is
    // refused at once if another one has written in between.
    connection.statement(part ? "SAVEPOINT part" : "BEGIN IMMEDIATE").run();
    return part;
}

void commitTransaction(Connection& connection, bool part) {
    connection.statement(part ? "RELEASE part" : "COMMIT").run();
}

void rollbackTransaction(Connection& connection, bool part) noexcept {
    try {
        if (!connection.inTransaction())
            return;
        connection.takeBack(part ? "ROLLBACK TO part" : "ROLLBACK");
        // The statement before leaves the part open.
        if (part)
            connection.statement("RELEASE part").run();
    } catch (...) {
        // The failure that led here travels up. Closing the connection undoes what is left.
    }
}

}  // namespace mervane
