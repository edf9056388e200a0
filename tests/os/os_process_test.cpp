#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "os/keld_os.h"
#include "tests/support/places.h"

TEST(OsClock, CountsTicksSince1601) {
    using namespace std::chrono;
    const auto unix_ms =
        duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const std::int64_t ms = keld_os::WallClock() / 10000 - 11644473600000;
    EXPECT_NEAR(static_cast<double>(ms), static_cast<double>(unix_ms), 1000);
    const std::int64_t coarse = keld_os::CoarseWallClock() / 10000 - 11644473600000;
    EXPECT_NEAR(static_cast<double>(coarse), static_cast<double>(ms), 1000);
}

TEST(OsClock, GivesTheLocalTimeOfTheProcess) {
    setenv("TZ", "XXX-5:30", 1);
    tzset();
    std::tm time{};
    ASSERT_TRUE(keld_os::LocalTime(116444736000000000 + 864000000000 + 9999999, &time));
    EXPECT_EQ(time.tm_year, 70);
    EXPECT_EQ(time.tm_mon, 0);
    EXPECT_EQ(time.tm_mday, 2);
    EXPECT_EQ(time.tm_hour, 5);
    EXPECT_EQ(time.tm_min, 30);
    EXPECT_EQ(time.tm_sec, 0);
    ASSERT_TRUE(keld_os::LocalTime(116444736000000000 - 1, &time));
    EXPECT_EQ(time.tm_sec, 59);
    EXPECT_FALSE(keld_os::LocalTime(0, nullptr));
}

TEST(OsEnvironment, TellsUnsetFromEmpty) {
    std::string value = "kept";
    unsetenv("KELD_TEST_X");
    EXPECT_FALSE(keld_os::GetEnv("KELD_TEST_X", &value));
    EXPECT_EQ(value, "kept");
    setenv("KELD_TEST_X", "", 1);
    EXPECT_TRUE(keld_os::GetEnv("KELD_TEST_X", &value));
    EXPECT_EQ(value, "");
    setenv("KELD_TEST_X", "x=y", 1);
    EXPECT_TRUE(keld_os::GetEnv("KELD_TEST_X", &value));
    EXPECT_EQ(value, "x=y");
    EXPECT_FALSE(keld_os::GetEnv(nullptr, &value));
    EXPECT_FALSE(keld_os::GetEnv("", &value));
}

TEST(OsProcess, HasItsNumberAndATemporaryDirectory) {
    EXPECT_EQ(keld_os::ProcessId(), static_cast<std::uint32_t>(getpid()));
    EXPECT_TRUE(std::filesystem::is_directory(keld_os::TempDirectory()));
}

static int forked_children = 0;

TEST(OsProcess, CallsAFunctionInEachForkedChildAlone) {
    ASSERT_TRUE(keld_os::CallInForkedChild([] { ++forked_children; }));
    for (int child = 0; child < 2; ++child) {
        const pid_t pid = fork();
        if (pid == 0)
            _exit(forked_children == 1 ? 0 : 1);
        int status = -1;
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(forked_children, 0);
    }
}

TEST(OsCommand, GivesTheExitCode) {
    EXPECT_EQ(keld_os::RunCommand("exit 0"), 0);
    EXPECT_EQ(keld_os::RunCommand("exit 7"), 7);
    EXPECT_EQ(keld_os::RunCommand("test 'a b' = 'a b' && exit 3"), 3);
    EXPECT_EQ(keld_os::RunCommand(""), 0);
}

TEST(OsCommand, ThatIsNotFoundHasRunInTheCommandProcessor) {
    EXPECT_EQ(keld_os::RunCommand("/no/such/program 2>/dev/null"), 127);
}

TEST(OsCommand, ThatIsKilledDoesntCountAsSuccess) {
    EXPECT_EQ(keld_os::RunCommand("kill -9 $$"), 128 + 9);
}

TEST(OsCommand, ReadsNothingFromStandardInput) {
    // A command would read this if it had the host's standard input.
    ASSERT_NE(std::freopen((std::string(KELD_SOURCE_DIR) + "/README.md").c_str(), "r", stdin),
              nullptr);
    EXPECT_EQ(keld_os::RunCommand("read line; test $? -ne 0"), 0);
}

TEST(OsCommand, HasRunAlsoWhenTheHostIgnoresItsChildren) {
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(keld_os::RunCommand("exit 5"), 0);
}

TEST(OsCommand, OfNullOrTooLongCantBeRun) {
    EXPECT_EQ(keld_os::RunCommand(nullptr), -1);
    EXPECT_EQ(keld_os::RunCommand(std::string(20000000, 'x').c_str()), -1);
}

TEST(OsFunction, IsFoundByItsNameInWhatIsLoaded) {
    EXPECT_NE(keld_os::FindFunction("malloc"), nullptr);
    EXPECT_EQ(keld_os::FindFunction("KELD_no_such_function"), nullptr);
    EXPECT_EQ(keld_os::FindFunction(nullptr), nullptr);
}
