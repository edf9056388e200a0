#pragma once

// One database connection with its prepared statements. Texts are bound and read as bytes, so that
// what isn't UTF-8 comes back as it was.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace mervane {

class Connection;

// A run of a prepared statement: bind in order, step or run, read columns. Its end makes the
// statement ready for the next run. Requires: no other run of the same literal lives, and the
// connection outlives it. All but reading columns: Failure kStoreFailure.
class Statement {
public:
    explicit Statement(sqlite3_stmt* statement, Connection& connection)
        : statement_(statement), connection_(connection) {}
    ~Statement();
    Statement(const Statement&) = delete;

    Statement& bind(std::int64_t value);
    // Not copied: text and bytes must live as long as the run.
    Statement& bind(std::string_view text);
    Statement& bindBytes(std::string_view bytes);

    // Returns: whether there is a row; after the last one always false.
    bool step();
    // All steps; rows are dropped.
    void run();

    // Columns of the row, from 0. NULL is 0 or empty. Text and bytes hold until the next step.
    std::int64_t integer(int column) const;
    double real(int column) const;
    std::string_view text(int column) const;
    std::string_view bytes(int column) const;
    bool isNull(int column) const;

private:
    sqlite3_stmt* statement_;
    Connection& connection_;
    int bound_ = 0;
    bool started_ = false, done_ = false;
};

// A connection, for one thread. Failure kStoreFailure if the database can't be read or written, if
// another process has written for longer than the wait limit, if the connection is broken, and if
// the transaction that is held is lost.
class Connection {
public:
    // Create makes what isn't there, Open and Read refuse it. Read: nothing is made or changed,
    // neither the database nor a file beside it.
    enum class Mode { Open, Create, Read };
    // The path is a name in the file system, whatever it looks like; ":memory:" with Create is a
    // database in memory. Pipes and devices are refused.
    Connection(const std::string& path, Mode mode);
    ~Connection();
    Connection(const Connection&) = delete;

    // The text must be a literal: its address is the key of the prepared statement.
    Statement statement(const char* sql);
    // One or more statements without parameters or results.
    void execute(const char* sql);
    // A whole copy of what is committed, at a path where nothing or an empty file is. Requires: no
    // transaction is open.
    void copyTo(const std::string& path);
    // Puts the database into the mode in which readers and a writer don't wait for each other.
    void useWriteAheadLog();
    // `who` is asked who is at work when this connection has waited in vain; empty: nobody knows.
    void onBusy(std::function<std::string()> who) { who_is_busy_ = std::move(who); }
    // End a transaction or a part of one by this statement, so that it goes back.
    void takeBack(const char* sql);
    // How often something went back, or may have.
    std::uint64_t undone() const { return undone_; }
    // Rows that the last INSERT, UPDATE or DELETE has changed.
    std::int64_t changes() const;
    // Rows that it has changed since it was opened.
    std::int64_t allChanges() const;
    bool inTransaction() const;
    // While this is on, all work is for the transaction that is open now: if a failure makes the
    // database give it up, nothing more is done, since it would be stored outside of it.
    void holdTransaction(bool hold) { held_ = hold; }
    bool holdsTransaction() const { return held_; }
    bool isHeldTransactionLost() const { return held_ && !inTransaction(); }
    // Throw Failure kStoreFailure for the database's last error; `operation` says what couldn't be
    // done, as "can't be read". The text of a statement isn't told. If nobody knows whether a
    // change reached the disk, the connection is broken then.
    [[noreturn]] void fail(const char* operation);
    // Every later use fails; the database must be opened anew.
    bool isBroken() const { return broken_; }
    bool readsOnly() const { return reads_only_; }
    // Failure kStoreFailure if the connection is broken.
    void needSound() const;
    const std::string& path() const { return path_; }
    sqlite3* raw() const { return database_; }

private:
    // As needSound(), also if the transaction that is held is lost.
    void needTransaction() const;

    std::string path_;
    sqlite3* database_ = nullptr;
    bool broken_ = false, reads_only_ = false, held_ = false;
    std::uint64_t undone_ = 0;
    std::function<std::string()> who_is_busy_;
    std::unordered_map<const char*, sqlite3_stmt*> statements_;
};

// The steps of a transaction. Inside another one it is a part of that: begin returns this, the
// others get it. It takes the right to write at once and waits for it no longer than the wait
// limit: Failure kStoreFailure.
bool beginTransaction(Connection& connection);
void commitTransaction(Connection& connection, bool part);
void rollbackTransaction(Connection& connection, bool part) noexcept;

// A transaction that is undone unless it is committed.
class Transaction {
public:
    explicit Transaction(Connection& connection)
        : connection_(connection), part_(beginTransaction(connection)) {}
    ~Transaction() {
        if (open_)
            rollbackTransaction(connection_, part_);
    }
    Transaction(const Transaction&) = delete;
    // After a failure the transaction is open still, and is undone at the end of this object.
    void commit() {
        commitTransaction(connection_, part_);
        open_ = false;
    }

private:
    Connection& connection_;
    bool part_;
    bool open_ = true;
};

// Whether what was read before may be out of date: another connection has written since, or a
// change of this one has gone back. What this one has changed isn't told.
class Freshness {
public:
    // Since the last call; the first one gives true. Failure kStoreFailure.
    bool isLost(Connection& connection);

private:
    std::int64_t others_ = -1;
    std::uint64_t undone_ = 0;
};

}  // namespace mervane
