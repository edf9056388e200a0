#pragma once

// Stands between clients and a server on local sockets: forwards what they say, counts how often
// they wait for each other, and can be slow, break off or let a statement fail.

#include <signal.h>

#include <chrono>
#include <cstdint>
#include <list>
#include <random>
#include <string>

namespace keld_test {

struct ProxyOptions {
    std::string listen;  // path of the socket that clients use; made, and removed at the end
    std::string server;  // path of the server's socket
    // Each answer comes so much later, however many pieces it has: as if the two were far apart.
    std::chrono::microseconds delay{0};
    // A connection breaks after so many bytes of answers; 0: never.
    std::uint64_t cut_after = 0;
    // One in so many answers, of all connections, breaks its connection in the middle; 0: none.
    unsigned cut_every = 0;
    // Above 0: the distances between these cuts and the places in the answers are random.
    unsigned seed = 0;
    // The two speak PostgreSQL's protocol, and what clients say goes on message by message. Needed
    // to count statements and to let them fail.
    bool reads_messages = false;
};

enum class StatementFault {
    Error,      // the server answers it with an error
    CutBefore,  // its connection is cut, and the server doesn't get it
    CutAfter    // its connection is cut when the server has done it and what was sent with it
};
inline constexpr int kFaults = 3;

struct ProxyCounts {
    std::uint64_t connections = 0;
    std::uint64_t round_trips = 0;          // that a client said something and got an answer
    std::uint64_t asked = 0, answered = 0;  // bytes
    std::uint64_t cuts = 0;
    // Since the last failAt(). A statement: a Bind message, or a Query message.
    std::uint64_t statements = 0, faults = 0;
};

// One thread. Failures of the system while it begins throw std::system_error.
class Proxy {
public:
    explicit Proxy(const ProxyOptions& options);
    ~Proxy();
    Proxy(const Proxy&) = delete;

    // Forward until a signal comes that this mask lets through.
    void work(const sigset_t* mask);
    // Break the next answer in the middle.
    void cutNext() { cut_next_ = true; }
    // Let the n-th statement of all connections from now on fail, from 1; 0: none.
    void failAt(std::uint64_t n, StatementFault fault);
    const ProxyCounts& counts() const { return counts_; }

private:
    using Clock = std::chrono::steady_clock;
    struct Connection {
        int client = -1, server = -1;
        std::string to_client, to_server;
        bool client_ended = false, server_ended = false;
        bool asked = false;      // and no answer has come yet
        Clock::time_point held;  // nothing goes to the client before
        std::uint64_t left = 0;  // bytes that the client still gets before the cut
        bool will_be_cut = false;
        // With messages: what of the next one is here, and how many answers have no end yet, with
        // that of the begin of the connection.
        std::string heard;
        bool has_begun = false;
        int open_answers = 1;
        std::string answer_head;
        std::size_t answer_left = 0;
        bool ends_with_this = false;  // the message that ends this piece is the last one
        bool ends_with_answer = false;
    };

    ProxyOptions options_;
    ProxyCounts counts_;
    std::mt19937 random_;
    int listener_ = -1;
    std::list<Connection> connections_;
    bool cut_next_ = false;
    std::uint64_t answers_until_cut_ = 0;
    std::uint64_t fails_at_ = 0;
    StatementFault fault_ = StatementFault::Error;

    void accept();
    void chooseNextCut();
    void answerBegins(Connection& at, std::size_t size);
    void hearClient(Connection& at);
    void hearMessage(Connection& at, std::string message);
    static void hearAnswers(Connection& at, std::size_t size);
    void hearServer(Connection& at);
    void tellClient(Connection& at);
    static void tellServer(Connection& at);
    static bool isDone(const Connection& at);
};

}  // namespace keld_test
