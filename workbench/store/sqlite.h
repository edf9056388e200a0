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

// A run of a prepared statement: bind in order, step or run, read columns. Given back at its end.
class Statement {
public:
    explicit Statement(sqlite3_stmt* statement, Connection& connection)
        : statement_(statement), connection_(connection) {}
    ~Statement();
    Statement(const Statement&) = delete;

    Statement& bind(std::int64_t value);
    Statement& bind(double value);
    // Not copied: the text must live as long as the run.
    Statement& bind(std::string_view text);
    Statement& bindBytes(std::string_view bytes);  // likewise

    bool step();  // true: a row is there. Failure kStoreFailure.
    void run();   // all steps, rows dropped

    std::int64_t integer(int column) const;
    double real(int column) const;
    std::string_view text(int column) const;  // until the next step
    std::string_view bytes(int column) const;
    bool isNull(int column) const;

private:
    sqlite3_stmt* statement_;
    Connection& connection_;
    int bound_ = 0;
    bool started_ = false, done_ = false;
};

class Connection {
public:
    // Read: nothing is made or changed, neither the database nor a file beside it.
    enum class Mode { Open, Create, Read };
    // The path is a name in the file system, whatever it looks like; ":memory:" with Create is a
    // database in memory. Failure kStoreFailure.
    Connection(const std::string& path, Mode mode);
    ~Connection();
    Connection(const Connection&) = delete;

    // The text must be a literal: its address is the key of the prepared statement.
    Statement statement(const char* sql);
    // One or more statements without parameters or results.
    void execute(const char* sql);
    // A whole copy of what is committed, at a path where nothing or an empty file is.
    void copyTo(const std::string& path);
    // Puts the database into the mode in which readers and a writer don't wait for each other.
    void useWriteAheadLog();
    // Asked who is at work when this connection has waited in vain; gives empty if nobody knows.
    void onBusy(std::function<std::string()> who) { who_is_busy_ = std::move(who); }
    // End a transaction or a part of one by this statement, so that it goes back.
    void takeBack(const char* sql);
    // How often something went back, or may have.
    std::uint64_t undone() const { return undone_; }
    std::int64_t changes() const;
    bool inTransaction() const;
    // As long as this holds, all work is for the transaction that is open now: if a failure makes
    // the database give it up, nothing more is done, or it would be stored for itself.
    void holdTransaction(bool hold) { held_ = hold; }
    bool isHeldTransactionLost() const { return held_ && !inTransaction(); }
    // `operation` is told as "can't be read" is; the text of a statement is never told. When nobody
    // knows whether a change reached the disk, the connection is of no use afterwards.
    [[noreturn]] void fail(const char* operation);
    bool isBroken() const { return broken_; }
    bool readsOnly() const { return reads_only_; }
    // Failure kStoreFailure if it is.
    void needSound() const;
    const std::string& path() const { return path_; }
    sqlite3* raw() const { return database_; }

private:
    // The same, and if the transaction that is held is lost.
    void needTransaction() const;

    std::string path_;
    sqlite3* database_ = nullptr;
    bool broken_ = false, reads_only_ = false, held_ = false;
    std::uint64_t undone_ = 0;
    std::function<std::string()> who_is_busy_;
    std::unordered_map<const char*, sqlite3_stmt*> statements_;
};

// A transaction that is undone unless it is committed. Inside another one it is a part of that.
class Transaction {
public:
    explicit Transaction(Connection& connection);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    void commit();
    // It outlives this object; somebody else ends it. Requires: not inside another one.
    void leaveOpen() { open_ = false; }

private:
    Connection& connection_;
    bool nested_;
    bool open_ = true;
};

// Whether what was read before may be outdated: another connection has committed since, or
// something of this one went back. This connection's own changes don't count: who makes them knows
// them.
class Freshness {
public:
    // Ask, and begin anew.
    bool isLost(Connection& connection);

private:
    std::int64_t others_ = -1;
    std::uint64_t undone_ = 0;
};

}  // namespace mervane
