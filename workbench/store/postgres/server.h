#pragma once

// A connection to a PostgreSQL server. Statements are prepared once, take their parameters in
// binary form, and wait in a pipeline until an answer is needed: what waits and what is asked go to
// the server together.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/types.h"
#include "workbench/workbench.h"

struct pg_conn;
struct pg_result;

namespace mervane {

// A failure that the server has told, kStoreFailure unless the text tells something more exact.
class ServerFailure : public Failure {
public:
    ServerFailure(int status, const std::string& text, std::string state, std::string constraint,
                  std::string detail)
        : Failure(status, text),
          state_(std::move(state)),
          constraint_(std::move(constraint)),
          detail_(std::move(detail)) {}
    const std::string& state() const noexcept { return state_; }  // five letters; empty: none
    const std::string& constraint() const noexcept { return constraint_; }
    // In the server's words, with the values that it is about; empty: none.
    const std::string& detail() const noexcept { return detail_; }

private:
    std::string state_, constraint_, detail_;
};

// The address of a store: what libpq takes, and the schema that "?schema=" names.
struct ServerAddress {
    std::string connection, schema;
    std::string shown;  // without a password

    // Failure kStoreFailure for a text that is no address, or a schema with other characters than
    // letters, digits and underscores.
    static ServerAddress of(const std::string& text);
};

inline std::int64_t toNumber(tag_t tag) {
    return static_cast<std::int64_t>(tag);
}
inline tag_t toTag(std::int64_t number) {
    return static_cast<tag_t>(number);
}

// Values for $1, $2 and so on.
class Parameters {
public:
    Parameters& add(std::int64_t value);
    Parameters& add(std::string_view bytes);
    Parameters& add(const std::vector<std::int64_t>& values);
    Parameters& add(const std::vector<std::string_view>& values);

private:
    friend class ServerConnection;
    std::string bytes_;
    std::vector<std::size_t> ends_;

    void integer32(std::uint32_t value);
    void integer64(std::uint64_t value);
    void end() { ends_.push_back(bytes_.size()); }
};

// Rows of one statement.
class Answer {
public:
    Answer() = default;
    explicit Answer(pg_result* result) : result_(result) {}
    Answer(Answer&& other) noexcept : result_(other.result_) { other.result_ = nullptr; }
    Answer& operator=(Answer&& other) noexcept;
    ~Answer();

    int rows() const;
    // NULL is 0 or empty. Bytes hold as long as the answer.
    std::int64_t integer(int row, int column) const;
    std::string_view bytes(int row, int column) const;
    std::string text(int row, int column) const { return std::string(bytes(row, column)); }
    bool isNull(int row, int column) const;
    // Rows that an INSERT, UPDATE or DELETE has changed.
    std::int64_t changed() const;

private:
    pg_result* result_ = nullptr;
};

// For one thread. Failure: ServerFailure. After one that ends the connection, each later use fails
// with kStoreFailure.
class ServerConnection {
public:
    // The schema needn't be there. Failure kStoreFailure that says what was wrong: the server can't
    // be reached within the wait limit, refuses the user, or has no such database.
    explicit ServerConnection(const ServerAddress& address);
    ~ServerConnection();
    ServerConnection(const ServerConnection&) = delete;

    // Run the statement with the next answer that is asked for. Its text must be a literal: its
    // address is the key of the prepared statement.
    void later(const char* sql, Parameters parameters = {});
    // Run what waits, then this one. Returns: its answer. The first failure is thrown; what comes
    // after it isn't run.
    Answer ask(const char* sql, Parameters parameters = {});
    // Run what waits; nothing to do without any.
    void settle();
    // Give what waits to the server now, which runs it, without waiting for its answers.
    void send() noexcept;
    // Drop what waits, and end the transaction if one is open: nothing of it is stored.
    void rollBack() noexcept;
    // Several statements without parameters, in one round trip of their own.
    void execute(const std::string& sql);

    // As the server told it last; what waits isn't in it.
    bool inTransaction() const;
    bool inFailedTransaction() const;
    // Statements have numbers from 1, in the order in which the server gets them.
    std::uint64_t nextStatement() const { return answered_ + unanswered_ + waiting_.size() + 1; }
    // In a failed transaction, the one that made it fail.
    std::uint64_t failedStatement() const { return failed_; }
    bool isBroken() const { return broken_; }
    // Failure kStoreFailure if the connection is gone.
    void needSound() const;
    // The process of the server, as it told when the connection was made.
    int backend() const;
    const ServerAddress& address() const { return address_; }
    // Asked who is at work when this connection has waited in vain; empty: nobody knows.
    void onBusy(std::function<std::string()> who) { who_is_busy_ = std::move(who); }

private:
    struct Waiting {
        const char* sql;
        Parameters parameters;
    };
    ServerAddress address_;
    pg_conn* connection_ = nullptr;
    std::vector<Waiting> waiting_;  // not sent yet
    std::uint64_t answered_ = 0, unanswered_ = 0, failed_ = 0;
    enum class Sent { Preparation, Statement, End };
    std::vector<Sent> sent_;  // whose answers are still to come
    std::vector<const char*> preparing_;
    std::unordered_map<const char*, int> prepared_;
    int last_name_ = 0;
    bool broken_ = false;
    std::string why_broken_;
    std::function<std::string()> who_is_busy_;

    void breakOff(std::string why) noexcept;
    void give(const char* sql, const Parameters& parameters);
    void end();
    Answer finish();
    [[noreturn]] void fail(pg_result* result);
    [[noreturn]] void failBroken();
};

}  // namespace mervane
