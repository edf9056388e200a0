#include "tests/support/proxy.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

namespace keld_test {

namespace {

// More than this isn't read before the other side has taken it.
constexpr std::size_t kRoom = 256 * 1024;

[[noreturn]] void failed(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        failed(path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

int newSocket() {
    return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

// Returns: false if the other side is gone.
bool readInto(int socket, std::string& text, std::size_t* size) {
    char buffer[65536];
    const ssize_t got = ::recv(socket, buffer, sizeof buffer, MSG_DONTWAIT);
    *size = got > 0 ? static_cast<std::size_t>(got) : 0;
    text.append(buffer, *size);
    return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
}

// Returns: how much of the text was taken.
std::size_t writeFrom(int socket, std::string& text, std::size_t most) {
    const ssize_t said =
        ::send(socket, text.data(), std::min(text.size(), most), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (said < 0 && errno != EAGAIN && errno != EINTR)
        text.clear();  // nobody hears it any more, which reading tells
    if (said <= 0)
        return 0;
    text.erase(0, static_cast<std::size_t>(said));
    return static_cast<std::size_t>(said);
}

// A number of a message's head: four bytes, the highest first.
std::size_t sizeAt(const std::string& text, std::size_t place) {
    std::size_t size = 0;
    for (std::size_t i = place; i < place + 4; ++i)
        size = size << 8 | static_cast<unsigned char>(text[i]);
    return size;
}

// Take the first message from the text, if all of it is here; one has a kind before its size.
bool takeMessage(std::string& text, bool has_kind, std::string& message) {
    const std::size_t kind = has_kind ? 1 : 0;
    if (text.size() < kind + 4 || text.size() < kind + sizeAt(text, kind))
        return false;
    const std::size_t size = kind + sizeAt(text, kind);
    message = text.substr(0, size);
    text.erase(0, size);
    return true;
}

// The server can't do such a statement: no prepared one has this name, no text begins like this.
void spoil(std::string& message) {
    constexpr std::size_t kHead = 5;
    // A Bind message names a portal before the prepared statement.
    const std::size_t place = message[0] == 'B' ? message.find('\0', kHead) + 1 : kHead;
    message.at(place) = '?';
}

}  // namespace

Proxy::Proxy(const ProxyOptions& options) : options_(options), random_(options.seed) {
    const sockaddr_un address = addressOf(options.listen);
    addressOf(options.server);
    listener_ = newSocket();
    if (listener_ < 0 ||
        ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 64) != 0)
        failed(options.listen);
    chooseNextCut();
}

Proxy::~Proxy() {
    for (Connection& each : connections_) {
        ::close(each.client);
        ::close(each.server);
    }
    ::close(listener_);
    ::unlink(options_.listen.c_str());
}

void Proxy::chooseNextCut() {
    answers_until_cut_ = options_.cut_every;
    if (options_.cut_every > 0 && options_.seed > 0)
        answers_until_cut_ =
            std::uniform_int_distribution<unsigned>(1, 2 * options_.cut_every - 1)(random_);
}

void Proxy::accept() {
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0)
        return;
    const sockaddr_un address = addressOf(options_.server);
    const int server = newSocket();
    if (server < 0 ||
        ::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(server);
        ::close(client);
        return;
    }
    ++counts_.connections;
    Connection& made = connections_.emplace_back();
    made.client = client;
    made.server = server;
    made.will_be_cut = options_.cut_after > 0;
    made.left = options_.cut_after;
}

// The first piece of an answer is here.
void Proxy::answerBegins(Connection& at, std::size_t size) {
    ++counts_.round_trips;
    at.held = Clock::now() + options_.delay;
    bool cut = std::exchange(cut_next_, false);
    if (options_.cut_every > 0 && --answers_until_cut_ == 0) {
        chooseNextCut();
        cut = true;
    }
    if (!cut || at.will_be_cut)
        return;
    at.will_be_cut = true;
    at.left = at.to_client.size() - size;
    at.left += options_.seed > 0 ? std::uniform_int_distribution<std::size_t>(0, size - 1)(random_)
                                 : size / 2;
}

void Proxy::hearClient(Connection& at) {
    std::size_t size = 0;
    at.client_ended =
        !readInto(at.client, options_.reads_messages ? at.heard : at.to_server, &size);
    counts_.asked += size;
    at.asked = at.asked || size > 0;
    std::string message;
    while (options_.reads_messages && takeMessage(at.heard, at.has_begun, message))
        hearMessage(at, std::move(message));
}

void Proxy::failAt(std::uint64_t n, StatementFault fault) {
    fails_at_ = n;
    fault_ = fault;
    counts_.statements = counts_.faults = 0;
}

void Proxy::hearMessage(Connection& at, std::string message) {
    if (at.ends_with_answer || at.client_ended)
        return;
    const char kind = at.has_begun ? message[0] : '\0';
    at.has_begun = true;
    if ((kind == 'B' || kind == 'Q') && ++counts_.statements == fails_at_) {
        ++counts_.faults;
        if (fault_ == StatementFault::Error)
            spoil(message);
        else if (fault_ == StatementFault::CutAfter)
            at.ends_with_this = true;
        else
            at.client_ended = true;
    }
    if (at.client_ended)
        return;
    // A Sync or a Query ends what the server does as one, and gets an answer with an end.
    if (kind == 'S' || kind == 'Q') {
        ++at.open_answers;
        at.ends_with_answer = at.ends_with_this;
    }
    at.to_server += message;
}

// Count the ends of answers (ReadyForQuery) in the last bytes of the server.
void Proxy::hearAnswers(Connection& at, std::size_t size) {
    constexpr std::size_t kHead = 5;
    std::size_t place = at.to_client.size() - size;
    while (place < at.to_client.size()) {
        const std::size_t skipped = std::min(at.answer_left, at.to_client.size() - place);
        at.answer_left -= skipped;
        place += skipped;
        if (place == at.to_client.size())
            return;
        at.answer_head += at.to_client[place++];
        if (at.answer_head.size() < kHead)
            continue;
        at.open_answers -= at.answer_head[0] == 'Z';
        at.answer_left = sizeAt(at.answer_head, 1) - 4;
        at.answer_head.clear();
    }
}

void Proxy::hearServer(Connection& at) {
    std::size_t size = 0;
    at.server_ended = !readInto(at.server, at.to_client, &size);
    counts_.answered += size;
    if (options_.reads_messages)
        hearAnswers(at, size);
    if (size > 0 && std::exchange(at.asked, false))
        answerBegins(at, size);
    // Nothing of it gets through, and when it has ended all is done.
    if (at.ends_with_this) {
        at.to_client.clear();
        at.server_ended = at.server_ended || (at.ends_with_answer && at.open_answers == 0);
    }
}

void Proxy::tellClient(Connection& at) {
    const std::size_t most = at.will_be_cut ? at.left : at.to_client.size();
    const std::size_t said = writeFrom(at.client, at.to_client, most);
    if (at.will_be_cut)
        at.left -= said;
}

void Proxy::tellServer(Connection& at) {
    writeFrom(at.server, at.to_server, at.to_server.size());
}

bool Proxy::isDone(const Connection& at) {
    return (at.client_ended && at.to_server.empty()) || (at.server_ended && at.to_client.empty());
}

void Proxy::work(const sigset_t* mask) {
    for (;;) {
        std::vector<pollfd> all{{listener_, POLLIN, 0}};
        const auto now = Clock::now();
        auto wake = Clock::time_point::max();
        for (const Connection& each : connections_) {
            short client = each.to_server.size() < kRoom && !each.client_ended ? POLLIN : 0;
            short server = each.to_client.size() < kRoom && !each.server_ended ? POLLIN : 0;
            if (!each.to_client.empty()) {
                if (each.held <= now)
                    client |= POLLOUT;
                else
                    wake = std::min(wake, each.held);
            }
            if (!each.to_server.empty())
                server |= POLLOUT;
            // One that has ended would be told of again and again.
            all.push_back({each.client_ended ? -1 : each.client, client, 0});
            all.push_back({each.server_ended ? -1 : each.server, server, 0});
        }
        timespec wait{};
        if (wake != Clock::time_point::max()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::nanoseconds>(wake - now).count();
            wait = {left / 1'000'000'000, left % 1'000'000'000};
        }
        const bool is_limited = wake != Clock::time_point::max();
        if (::ppoll(all.data(), all.size(), is_limited ? &wait : nullptr, mask) < 0) {
            if (errno == EINTR)
                return;
            failed("poll");
        }
        std::size_t place = 1;
        for (auto at = connections_.begin(); at != connections_.end();) {
            const short client = all[place].revents, server = all[place + 1].revents;
            place += 2;
            if (client & (POLLIN | POLLHUP | POLLERR))
                hearClient(*at);
            if (server & POLLOUT)
                tellServer(*at);
            if (server & (POLLIN | POLLHUP | POLLERR))
                hearServer(*at);
            if (!at->to_client.empty() && at->held <= Clock::now())
                tellClient(*at);
            const bool cut = at->will_be_cut && at->left == 0;
            counts_.cuts += cut;
            if (cut || isDone(*at)) {
                ::close(at->client);
                ::close(at->server);
                at = connections_.erase(at);
            } else {
                ++at;
            }
        }
        if (all[0].revents & POLLIN)
            accept();
    }
}

}  // namespace keld_test
