// Three processes on a store on a server, each through a proxy of its own. One of them is killed,
// or the server ends its connections, or the proxy cuts one in the middle of an answer, or the
// server is stopped or killed and begins again.

#include <libpq-fe.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <set>
#include <stdexcept>
#include <thread>

#include "tests/kills/kill_rounds.h"
#include "tests/support/started_proxy.h"

namespace kills {

namespace {

using namespace std::chrono_literals;
using keld_test::StartedProxy;

enum class Strike {
    ProcessKilled,
    ConnectionsEnded,
    ConnectionCut,
    ServerProcessKilled,
    ServerStopped,
    ServerKilled
};

// Of twenty strikes each kind has its part, in a random order, so that none is missing.
struct Share {
    Strike kind;
    const char* text;
    std::size_t of_twenty;
};
constexpr Share kShares[] = {
    {Strike::ProcessKilled, "processes killed", 7},
    {Strike::ConnectionsEnded, "processes whose connections were ended", 5},
    {Strike::ConnectionCut, "connections cut in the middle of an answer", 5},
    {Strike::ServerProcessKilled, "processes of the server killed", 1},
    {Strike::ServerStopped, "server stopped", 1},
    {Strike::ServerKilled, "server killed", 1}};

// Longer than anything takes, also on a busy machine.
constexpr auto kPatience = 60s;

std::string fromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    if (!value || !*value)
        throw std::runtime_error(std::string(name) +
                                 " isn't set: run this by scripts/with-store-server");
    return value;
}

class Server {
public:
    ~Server() { PQfinish(connection_); }

    const std::string& address() const { return address_; }
    // Of the only column, a value a row. Throws std::runtime_error.
    std::vector<std::string> ask(const std::string& sql) {
        if (!connection_) {
            connection_ = PQconnectdb(address_.c_str());
            PQsetNoticeProcessor(
                connection_, [](void*, const char*) {}, nullptr);
        }
        PGresult* result = PQexec(connection_, sql.c_str());
        const bool answered =
            PQresultStatus(result) == PGRES_TUPLES_OK || PQresultStatus(result) == PGRES_COMMAND_OK;
        std::vector<std::string> values;
        for (int i = 0; i < PQntuples(result); ++i)
            values.push_back(PQgetvalue(result, i, 0));
        PQclear(result);
        if (!answered)
            throw std::runtime_error("the server answers: " +
                                     std::string(PQerrorMessage(connection_)));
        return values;
    }
    // One of its processes was killed: it ends all others, which it needn't have done yet, and
    // begins again by itself.
    void waitForNewBegin() {
        const auto began = Clock::now();
        while (answers() && Clock::now() - began < kPatience)
            std::this_thread::sleep_for(1ms);
        do
            disconnect();
        while (!answers() && Clock::now() - began < kPatience);
        ask("SELECT 1");
    }
    // stop, kill or start.
    void control(const std::string& verb) {
        disconnect();
        if (std::system((control_ + " " + verb).c_str()) != 0)
            throw std::runtime_error("the server doesn't " + verb);
    }

private:
    std::string address_ = fromEnvironment("KELD_TEST_SERVER"),
                control_ = fromEnvironment("KELD_TEST_SERVER_CONTROL");
    PGconn* connection_ = nullptr;

    bool answers() {
        try {
            ask("SELECT 1");
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }
    void disconnect() {
        PQfinish(connection_);
        connection_ = nullptr;
    }
};

class ServerRounds final : public KillRounds {
public:
    explicit ServerRounds(const Options& options) : KillRounds(options) { ledger_.hearWholeRuns(); }

private:
    Server server_;
    const std::string socket_ = keld_test::socketDirectory(server_.address());
    // A worker's place has one; it may have to be replaced.
    std::vector<std::unique_ptr<StartedProxy>> proxies_;
    int schemas_ = 0;
    std::vector<Strike> next_strikes_;
    std::map<Strike, int> strikes_;

    void placeStore() override;
    std::string pathFor(std::size_t place) override;
    Strike nextStrike();
    std::vector<std::size_t> strike(std::size_t place) override;
    bool isExpected(const Running& dead) const override;
    void beforeSettling(Plant& plant, const std::vector<std::int64_t>& objects) override;
    void waitUntilGone(const Running& dead) override;
    bool endConnections(const Running& worker);
    bool cutConnection(std::size_t place);
    void letEnd(Running& worker);

public:
    void reportStrikes() {
        for (const Share& each : kShares)
            std::cout << "  " << each.text << ": " << strikes_[each.kind] << "\n";
    }
    bool hasLost() const {
        return std::any_of(wrong_.begin(), wrong_.end(),
                           [](const std::string& text) { return text.starts_with("lost: "); });
    }
};

void ServerRounds::placeStore() {
    const std::string schema = "kills_" + std::to_string(++schemas_);
    server_.ask("DROP SCHEMA IF EXISTS " + schema + " CASCADE");
    path_ = server_.address() + "&schema=" + schema;
}

std::string ServerRounds::pathFor(std::size_t place) {
    proxies_.resize(std::max(proxies_.size(), place + 1));
    if (!proxies_[place])
        proxies_[place] = std::make_unique<StartedProxy>(STORE_PROXY, socket_);
    return proxies_[place]->through(path_, socket_);
}

Strike ServerRounds::nextStrike() {
    if (options_.expect_loss)
        return Strike::ServerStopped;
    if (next_strikes_.empty()) {
        for (const Share& each : kShares)
            next_strikes_.insert(next_strikes_.end(), each.of_twenty, each.kind);
        std::shuffle(next_strikes_.begin(), next_strikes_.end(), random_);
    }
    const Strike next = next_strikes_.back();
    next_strikes_.pop_back();
    return next;
}

// One of its connections, or all of them. Returns: false if it has none.
bool ServerRounds::endConnections(const Running& worker) {
    const std::string own = " FROM pg_stat_activity WHERE application_name = '" + worker.name + "'";
    const std::string limit = upTo(1) == 0 ? "" : " ORDER BY random() LIMIT 1";
    return !server_.ask("SELECT pg_terminate_backend(pid)" + own + limit).empty();
}

// The one that gets an answer next. Returns: false if the worker has ended before.
bool ServerRounds::cutConnection(std::size_t place) {
    StartedProxy& proxy = *proxies_[place];
    const auto before = proxy.counts().cuts;
    proxy.cutNext();
    workers_[place]->askToEnd();
    letEnd(*workers_[place]);
    if (proxy.counts().cuts > before)
        return true;
    // It would cut a connection of the next worker.
    proxies_[place].reset();
    return false;
}

// Its connections are gone: it says so and ends.
void ServerRounds::letEnd(Running& worker) {
    const auto began = Clock::now();
    while (!worker.ended && Clock::now() - began < kPatience)
        hear(1ms, nullptr);
    hearLast(worker);
    if (!worker.ended) {
        note({worker.name + " goes on without its connections, it was " + worker.phase}, "broken");
        worker.kill();
        return;
    }
    const int status = worker.wait();
    if (WIFSIGNALED(status))
        note({worker.name + " has crashed by signal " + std::to_string(WTERMSIG(status)) +
              ", it was " + worker.phase},
             "broken");
    else if (status != 0 && worker.error.empty())
        note({worker.name + " ended with " + std::to_string(status) + " and no word, it was " +
              worker.phase},
             "broken");
}

std::vector<std::size_t> ServerRounds::strike(std::size_t place) {
    Strike kind = nextStrike();
    Running& worker = *workers_[place];
    std::vector<std::string> some;
    if (kind == Strike::ServerProcessKilled)
        some = server_.ask("SELECT pid FROM pg_stat_activity WHERE application_name = '" +
                           worker.name + "' LIMIT 1");
    if ((kind == Strike::ServerProcessKilled && some.empty()) ||
        (kind == Strike::ConnectionsEnded && !endConnections(worker)))
        kind = Strike::ProcessKilled;
    if (kind == Strike::ConnectionsEnded) {
        // What has its session open may end without another call.
        worker.askToEnd();
        letEnd(worker);
    } else if (kind == Strike::ConnectionCut && !cutConnection(place)) {
        return {place};
    }
    ++strikes_[kind];
    if (kind == Strike::ProcessKilled)
        return KillRounds::strike(place);
    ++kills_;
    if (kind == Strike::ConnectionsEnded || kind == Strike::ConnectionCut) {
        count(worker);
        return {place};
    }
    if (kind == Strike::ServerProcessKilled)
        // One of the server's processes that crashes takes all connections along.
        ::kill(std::stoi(some.front()), SIGKILL);
    else
        server_.control(kind == Strike::ServerStopped ? "stop" : "kill");
    std::vector<std::size_t> all;
    for (std::size_t each = 0; each < kWorkers; ++each) {
        workers_[each]->askToEnd();
        letEnd(*workers_[each]);
        all.push_back(each);
    }
    count(worker);
    if (kind == Strike::ServerProcessKilled)
        server_.waitForNewBegin();
    else
        server_.control("start");
    return all;
}

bool ServerRounds::isExpected(const Running& dead) const {
    return dead.error.empty() || dead.error.find("connection") != std::string::npos;
}

void ServerRounds::beforeSettling(Plant& plant, const std::vector<std::int64_t>& objects) {
    // A run as the server that was killed has deleted what its record tells.
    for (const std::int64_t object : std::set<std::int64_t>(objects.begin(), objects.end()))
        if (plant.bare().storedOf(object).version == 0 && Plant::isRecordedAsGone(object))
            ledger_.excuse(object);
}

// A killed process doesn't hear what becomes of the commit that it has sent.
void ServerRounds::waitUntilGone(const Running& dead) {
    const std::string sql =
        "SELECT pid FROM pg_stat_activity WHERE application_name = '" + dead.name + "'";
    for (const auto began = Clock::now(); Clock::now() - began < kPatience;
         std::this_thread::sleep_for(2ms))
        if (server_.ask(sql).empty())
            return;
    note({"the server keeps the connections of " + dead.name + ", which is dead"}, "gone");
}

}  // namespace

int runServer(const Options& options) {
    ServerRounds rounds(options);
    const int result = rounds.run();
    rounds.reportStrikes();
    if (!options.expect_loss)
        return result;
    if (!rounds.hasLost())
        std::cout << "a loss was expected, none was found" << std::endl;
    return rounds.hasLost() ? 0 : 1;
}

}  // namespace kills
