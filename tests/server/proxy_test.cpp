// The proxy, between this test and a server that says what it hears.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "tests/support/started_proxy.h"

namespace {

using keld_test::Directory;
using keld_test::StartedProxy;
using Clock = std::chrono::steady_clock;

sockaddr_un socketIn(const std::string& directory) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (directory + "/.s.PGSQL.5432").c_str());
    return address;
}

// Says what it hears, to each by itself.
class EchoServer {
public:
    explicit EchoServer(const std::string& directory)
        : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = socketIn(directory);
        if (::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener_, 8) != 0)
            throw std::runtime_error("no server");
        thread_ = std::thread([this] { serve(); });
    }
    ~EchoServer() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }

private:
    int listener_;
    std::thread thread_;

    void serve() const {
        std::vector<pollfd> all{{listener_, POLLIN, 0}};
        while (::poll(all.data(), all.size(), -1) >= 0) {
            for (std::size_t i = 1; i < all.size(); ++i) {
                char buffer[65536];
                if (!all[i].revents)
                    continue;
                const ssize_t got = ::read(all[i].fd, buffer, sizeof buffer);
                if (got <= 0 ||
                    ::send(all[i].fd, buffer, static_cast<std::size_t>(got), MSG_NOSIGNAL) != got) {
                    ::close(all[i].fd);
                    all[i].fd = -1;
                }
            }
            if (!all[0].revents)
                continue;
            const int client = ::accept(listener_, nullptr, nullptr);
            if (client < 0)
                break;
            all.push_back({client, POLLIN, 0});
        }
        for (std::size_t i = 1; i < all.size(); ++i)
            ::close(all[i].fd);
    }
};

class Client {
public:
    explicit Client(const std::string& directory)
        : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_un address = socketIn(directory);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("no connection");
    }
    ~Client() { ::close(socket_); }
    Client(const Client&) = delete;

    void say(const std::string& text) const {
        ASSERT_EQ(::send(socket_, text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
    }
    // So many bytes, or what comes until the connection has ended.
    std::string hear(std::size_t size) const {
        std::string heard;
        char buffer[65536];
        while (heard.size() < size) {
            const ssize_t got =
                ::recv(socket_, buffer, std::min(sizeof buffer, size - heard.size()), 0);
            if (got <= 0)
                break;
            heard.append(buffer, static_cast<std::size_t>(got));
        }
        return heard;
    }
    std::string asked(const std::string& text) const {
        say(text);
        return hear(text.size());
    }

private:
    int socket_;
};

class ProxyTest : public testing::Test {
protected:
    StartedProxy proxy(std::vector<std::string> options = {}) const {
        return {STORE_PROXY, directory_.string(), std::move(options)};
    }
    Directory directory_;
    EchoServer server_{directory_.string()};
};

TEST_F(ProxyTest, ForwardsWhatBothSay) {
    const StartedProxy between = proxy();
    const Client client(between.directory());
    EXPECT_EQ(client.asked("one"), "one");
    EXPECT_EQ(client.asked(std::string("t\0wo", 4)), std::string("t\0wo", 4));
}

TEST_F(ProxyTest, ForwardsMoreThanItHasRoomFor) {
    const StartedProxy between = proxy();
    const Client client(between.directory());
    std::string text;
    for (int i = 0; text.size() < 3'000'000; ++i)
        text += std::to_string(i);
    std::thread speaker([&] { client.say(text); });
    EXPECT_TRUE(client.hear(text.size()) == text);
    speaker.join();
}

TEST_F(ProxyTest, KeepsConnectionsApart) {
    const StartedProxy between = proxy();
    const Client first(between.directory()), second(between.directory());
    first.say("first");
    second.say("second");
    EXPECT_EQ(second.hear(6), "second");
    EXPECT_EQ(first.hear(5), "first");
}

TEST_F(ProxyTest, CountsQuestionsThatGotAnAnswer) {
    StartedProxy between = proxy();
    const Client first(between.directory()), second(between.directory());
    for (int i = 0; i < 10; ++i)
        first.asked("x");
    second.asked(std::string(1000, 'y'));
    const auto counts = between.counts();
    EXPECT_EQ(counts.connections, 2u);
    EXPECT_EQ(counts.round_trips, 11u);
    EXPECT_EQ(counts.asked, 1010u);
    EXPECT_EQ(counts.answered, 1010u);
    EXPECT_EQ(counts.cuts, 0u);
}

TEST_F(ProxyTest, AnswersComeLaterByTheDelayEach) {
    const StartedProxy between = proxy({"--delay", "5000"});
    const Client client(between.directory());
    const auto began = Clock::now();
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(client.asked("x"), "x");
    EXPECT_GE(Clock::now() - began, std::chrono::milliseconds(50));
}

TEST_F(ProxyTest, AConnectionBreaksAfterItsBytes) {
    StartedProxy between = proxy({"--cut-after", "10"});
    for (int i = 0; i < 2; ++i) {
        const Client client(between.directory());
        EXPECT_EQ(client.asked("1234567"), "1234567");
        EXPECT_EQ(client.asked("8901"), "890");
        EXPECT_EQ(client.hear(1), "");
    }
    EXPECT_EQ(between.counts().cuts, 2u);
}

TEST_F(ProxyTest, EveryThirdAnswerBreaksInTheMiddle) {
    StartedProxy between = proxy({"--cut-every", "3"});
    const Client living(between.directory());
    EXPECT_EQ(living.asked("aaaa"), "aaaa");
    for (int i = 0; i < 2; ++i) {
        const Client client(between.directory());
        EXPECT_EQ(client.asked("bbbb"), "bbbb");
        EXPECT_EQ(client.asked("cccc"), "cc");
        EXPECT_EQ(living.asked("dddd"), "dddd");
    }
    EXPECT_EQ(between.counts().cuts, 2u);
}

TEST_F(ProxyTest, ASeedRepeatsItsCuts) {
    std::vector<std::string> heard;
    for (const char* seed : {"7", "7", "8"}) {
        const StartedProxy between = proxy({"--cut-every", "4", "--seed", seed});
        std::string all;
        for (int i = 0; i < 10; ++i) {
            const Client client(between.directory());
            for (std::string got = "12345678"; got.size() == 8; all += std::to_string(got.size()))
                got = client.asked(got);
        }
        heard.push_back(all);
    }
    EXPECT_EQ(heard[0], heard[1]);
    EXPECT_NE(heard[0], heard[2]);
}

TEST_F(ProxyTest, TheNextAnswerBreaksWhenItIsAskedFor) {
    StartedProxy between = proxy();
    const Client first(between.directory()), second(between.directory());
    EXPECT_EQ(first.asked("1234"), "1234");
    between.cutNext();
    EXPECT_EQ(second.asked("1234"), "12");
    EXPECT_EQ(first.asked("1234"), "1234");
}

TEST_F(ProxyTest, AClientWhoseServerIsGoneIsTold) {
    const Directory nobody;
    const StartedProxy between(STORE_PROXY, nobody.string());
    const Client client(between.directory());
    EXPECT_EQ(client.hear(1), "");
}

TEST_F(ProxyTest, DoesNotStartWhereItCantListen) {
    EXPECT_THROW(StartedProxy(STORE_PROXY, directory_.string(), {"--delay"}), std::runtime_error);
    EXPECT_THROW(StartedProxy(STORE_PROXY, directory_.string() + std::string(200, 'x')),
                 std::runtime_error);
}

}  // namespace
