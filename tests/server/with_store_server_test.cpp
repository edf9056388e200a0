// scripts/with-store-server, by which all tests on a server have theirs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/support/own_server.h"
#include "tests/support/started_proxy.h"

namespace {

using keld_test::Child;
using keld_test::OwnServer;

constexpr char kScript[] = KELD_SOURCE_DIR "/scripts/with-store-server";

// The first value of the answer; empty after a failure.
std::string asked(const std::string& address, const char* sql) {
    PGconn* connection = PQconnectdb(address.c_str());
    PGresult* result = PQexec(connection, sql);
    const std::string value = PQntuples(result) > 0 ? PQgetvalue(result, 0, 0) : "";
    PQclear(result);
    PQfinish(connection);
    return value;
}

bool isGoneSoon(const std::string& path) {
    for (int i = 0; i < 1000 && std::filesystem::exists(path); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return !std::filesystem::exists(path);
}

TEST(WithStoreServer, KeepsWhatWasStoredWhenItIsStoppedOrKilledAndLeavesNothing) {
    std::string directory;
    {
        const OwnServer server;
        directory = keld_test::socketDirectory(server.address());
        EXPECT_TRUE(std::filesystem::exists(directory));
        asked(server.address(), "CREATE TABLE t AS SELECT 4711");
        server.stop();
        EXPECT_EQ(asked(server.address(), "TABLE t"), "");
        server.start();
        EXPECT_EQ(asked(server.address(), "TABLE t"), "4711");
        server.kill();
        server.start();
        EXPECT_EQ(asked(server.address(), "TABLE t"), "4711");
    }
    EXPECT_FALSE(std::filesystem::exists(directory));
}

TEST(WithStoreServer, ItsExitCodeIsThatOfTheCommand) {
    EXPECT_EQ(WEXITSTATUS(Child(kScript, {"sh", "-c", "exit 7"}).end()), 7);
    EXPECT_EQ(WEXITSTATUS(Child(kScript, {}).end()), 1);
}

TEST(WithStoreServer, NothingIsLeftIfItIsEndedOrKilled) {
    for (const int signal : {SIGTERM, SIGKILL}) {
        Child script(kScript, {"sh", "-c", "echo \"$KELD_TEST_SERVER\"; exec sleep 3"});
        const std::string directory = keld_test::socketDirectory(script.line());
        ::kill(script.process(), signal);
        EXPECT_TRUE(isGoneSoon(directory)) << signal;
    }
}

}  // namespace
