#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

using Log = ProgramWithStore;

TEST_F(Log, TheLogLiesBesideTheStoreUnlessSetElsewhere) {
    EXPECT_EQ(done({"log", "path"}).out, path("keld.log").string() + "\n");
    EXPECT_EQ(done({"log"}).out, path("keld.log").string() + "\n");
    EXPECT_EQ(done({"log", "path", "--store", path("else/x.db").string()}).out,
              path("else/keld.log").string() + "\n");
    environment()["KELD_LOG_FILE"] = "/tmp/other.log";
    EXPECT_EQ(done({"log", "path"}).out, "/tmp/other.log\n");
}

TEST_F(Log, TailShowsTheLastLines) {
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:first"});
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:second"});
    const auto lines = done({"log", "tail", "-n", "2", "--json"}).json()["lines"];
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(done({"log", "tail"}).out, HasSubstr("first\n"));
    EXPECT_EQ(done({"log", "tail", "-n", "0"}).out, "");
}

TEST_F(Log, TailWithoutALogSaysSo) {
    const Result result = keld({"log", "tail"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("keld.log"));
}

TEST_F(Log, TailRefusesANegativeNumber) {
    EXPECT_EQ(keld({"log", "tail", "-n", "-1"}).exit_code, 2);
}

TEST_F(Log, LevelTellsWhereItComesFrom) {
    EXPECT_EQ(done({"log", "level", "--json"}).json()["from"], "default");
    done({"log", "level", "2"});
    EXPECT_EQ(done({"log", "level", "--json"}).json()["from"], "store");
    environment()["KELD_LOG_LEVEL"] = "4";
    EXPECT_EQ(done({"log", "level", "--json"}).json()["from"], "environment");
    EXPECT_EQ(done({"log", "level", "--json", "--log-level", "1"}).json()["level"], 1);
}

TEST_F(Log, ALevelThatIsNoNumberIsRefused) {
    EXPECT_EQ(keld({"log", "level", "loud"}).exit_code, 2);
}

TEST_F(Log, TailMakesNoLog) {
    keld({"log", "tail"});
    keld({"log", "tail", "--log-level", "4"});
    EXPECT_FALSE(fs::exists(path("keld.log")));
}

#if !defined(_WIN32)
TEST_F(Log, TailFollowsWhatIsAdded) {
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:first"});
    const std::string command = "cd '" + directory().string() +
                                "' && '" KELD_PROGRAM "' log tail -f >followed.txt & echo $!";
    FILE* shell = popen(command.c_str(), "r");
    int follower = 0;
    ASSERT_EQ(std::fscanf(shell, "%d", &follower), 1);
    const auto waitFor = [&](const std::string& text) {
        for (int i = 0; i < 200; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(50)))
            if (readFile(path("followed.txt")).find(text) != std::string::npos)
                return true;
        return false;
    };
    EXPECT_TRUE(waitFor("first\n"));
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:second"});
    EXPECT_TRUE(waitFor("second\n"));
    // A full log is renamed, and a new one begins; the last lines of the full one are shown all the
    // same.
    const std::string padding(100, 'x');
    std::ofstream log(path("keld.log"), std::ios::app);
    for (int i = 0; i < 12000; ++i)
        log << padding << "\n";
    log << "the last of it\n" << std::flush;
    environment()["KELD_LOG_MAX_MB"] = "1";
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:third"});
    EXPECT_TRUE(fs::exists(path("keld.log.1")));
    EXPECT_TRUE(waitFor("third\n"));
    EXPECT_THAT(readFile(path("followed.txt")), HasSubstr("the last of it\n"));
    // Another one that is longer from the start.
    fs::rename(path("keld.log"), path("keld.log.1"));
    writeFile(path("keld.log"), "another log\n" + std::string(3000000, 'y') + "\nits end\n");
    EXPECT_TRUE(waitFor("its end\n"));
    EXPECT_THAT(readFile(path("followed.txt")), HasSubstr("\nanother log\n"));
    kill(follower, SIGTERM);
    pclose(shell);
    EXPECT_EQ(keld({"log", "tail", "-f", "--json"}).exit_code, 2);
}
#endif

TEST_F(Log, TailReadsTheEndOfALogThatHasNoLastBreak) {
    std::string log;
    for (int i = 0; i < 20000; ++i)
        log += "line " + std::to_string(i) + "\n";
    writeFile(path("keld.log"), log + "the end");
    EXPECT_EQ(done({"log", "tail", "-n", "3"}).out, "line 19998\nline 19999\nthe end\n");
    const std::string all = done({"log", "tail", "-n", "30000"}).out;
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 20001);
}

TEST_F(Log, OfKeldItIsLimitedTo64MegabytesUnlessTheEnvironmentSaysOtherwise) {
    const auto megabytes = [&](int count) {
        writeFile(path("keld.log"), "old\n");
        fs::resize_file(path("keld.log"), static_cast<std::uintmax_t>(count) << 20U);
    };
    megabytes(63);
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:x"});
    EXPECT_FALSE(fs::exists(path("keld.log.1")));
    megabytes(65);
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:x"});
    EXPECT_EQ(fs::file_size(path("keld.log.1")) >> 20U, 65u);
    EXPECT_LT(fs::file_size(path("keld.log")), 10000u);
    fs::remove(path("keld.log.1"));
    megabytes(65);
    environment()["KELD_LOG_MAX_MB"] = "100";
    done({"call", "KELD_SrvCall", "i:0", "i:0", "s:x"});
    EXPECT_FALSE(fs::exists(path("keld.log.1")));
}

TEST_F(Log, TheReasonsOfARunAreFoundAlsoIfItsLogIsBegunAnewMeanwhile) {
    done({"checkout", "000102/A"});
    environment()["KELD_LOG_MAX_MB"] = "1";
    environment()["KELD_CFG_PATH"] = KELD_SOURCE_DIR "/samples";
    // At each of these sizes the limit is reached at another line of the run.
    for (const std::uintmax_t room : {0, 300, 1500, 3000, 6000}) {
        writeFile(path("keld.log"), "2001-01-01 00:00:00.000 E old trouble\n");
        fs::resize_file(path("keld.log"), (std::uintmax_t{1} << 20U) - room);
        fs::remove(path("keld.log.1"));
        const Result result = keld({"status", "set", "000100/A", "Frozen", "--structure"});
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_THAT(result.err, HasSubstr("is checkout")) << room;
        EXPECT_THAT(result.err, testing::Not(HasSubstr("old trouble"))) << room;
    }
}

class UnusableLog : public Log, public testing::WithParamInterface<std::string> {};

TEST_P(UnusableLog, IsToldAndStopsNothing) {
    if (GetParam() == "/dev/full" && !fs::exists(GetParam()))
        GTEST_SKIP() << "no /dev/full on this system";
    environment()["KELD_LOG_FILE"] = GetParam();
    const Result result = keld({"status", "set", "000102/A", "Frozen"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("the log " + GetParam() + " can't be written: "));
    EXPECT_EQ(result.err.find("keld: the log"), result.err.rfind("keld: the log"));
    done({"checkout", "000102/A"});
    // Explanations work without the log.
    EXPECT_THAT(keld({"status", "set", "000102/A", "Released"}).err, HasSubstr("is checkout"));
    const Result doctor = keld({"doctor"});
    EXPECT_EQ(doctor.exit_code, 1);
    EXPECT_THAT(doctor.out, HasSubstr("log: " + GetParam() + " can't be written: "));
}

#if defined(_WIN32)
// On Windows only the library refuses a directory.
INSTANTIATE_TEST_SUITE_P(Log, UnusableLog, testing::Values("/nonexistent/directory/keld.log"));
#else
INSTANTIATE_TEST_SUITE_P(Log, UnusableLog,
                         testing::Values("/nonexistent/directory/keld.log", "/dev/full", "/tmp"));
#endif
