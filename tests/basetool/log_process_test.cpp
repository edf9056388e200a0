#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "tests/support/files.h"

namespace fs = std::filesystem;

// The log across processes and at their end, over the real system.
class LogProcess : public testing::Test {
protected:
    LogProcess() { setenv("KELD_LOG_FILE", path().c_str(), 1); }

    std::string path() const { return (directory_ / "shared.log").string(); }

    // Run in a process of its own, which ends by exit if the function returns.
    template <typename Function>
    static pid_t start(Function function) {
        const pid_t child = fork();
        if (child == 0) {
            function();
            std::exit(0);
        }
        return child;
    }
    static int waitFor(pid_t child) {
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }
    std::vector<std::string> lines(const std::string& path) const {
        std::vector<std::string> result;
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);)
            result.push_back(line);
        return result;
    }

    keld_test::Directory directory_;
};

// Write many lines of different lengths; most of them wait in memory for a while.
static void writeManyLines(int writer) {
    for (int i = 0; i < 2000; ++i) {
        KELD_TRACE("->%d %d\n", writer, i);
        KELD_IncTraceSpaces();
        const std::string text(static_cast<std::size_t>(i % 300), static_cast<char>('a' + writer));
        KELD_TRACE("%d %d <%s>\n", writer, i, text.c_str());
        if (i % 50 == 0)
            KELD_ERROR("%d %d <%s>\n", writer, i, text.c_str());
        KELD_DecTraceSpaces();
        KELD_TRACE("<-%d %d\n", writer, i);
    }
}

TEST_F(LogProcess, SharesItsFileWithoutATornLine) {
    std::vector<pid_t> children;
    for (int writer = 0; writer < 3; ++writer)
        children.push_back(start([writer] { writeManyLines(writer); }));
    for (const pid_t child : children)
        EXPECT_EQ(waitFor(child), 0);
    const std::regex form(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} [TE] (->\d \d+|<-\d \d+|  \d \d+ <(a*|b*|c*)>))");
    const auto all = lines(path());
    EXPECT_EQ(all.size(), 3U * (2000U * 3U + 40U));
    for (const std::string& line : all)
        ASSERT_TRUE(std::regex_match(line, form)) << line;
}

TEST_F(LogProcess, SharesItsLimitWithoutALostLine) {
    setenv("KELD_LOG_MAX_MB", "1", 1);
    std::vector<pid_t> children;
    for (int writer = 0; writer < 3; ++writer)
        children.push_back(start([writer] {
            const std::string text(500, 'x');
            for (int i = 0; i < 1200; ++i)
                KELD_ERROR("%d %d %s\n", writer, i, text.c_str());
        }));
    for (const pid_t child : children)
        EXPECT_EQ(waitFor(child), 0);
    // About 1.9 MB: the file was begun anew once, and both generations hold everything.
    const auto newer = lines(path());
    const auto older = lines(path() + ".1");
    std::set<std::string> different(newer.begin(), newer.end());
    different.insert(older.begin(), older.end());
    EXPECT_GT(older.size(), 1800U);
    EXPECT_EQ(newer.size() + older.size(), 3600U);
    EXPECT_EQ(different.size(), 3600U);
}

TEST_F(LogProcess, LeavesTheFileAloneThatAnotherProcessHasBegunAnewMeanwhile) {
    setenv("KELD_LOG_MAX_MB", "1", 1);
    const std::string full(1024 * 1024 + 1, 'y');
    std::ofstream(path()) << full;
    keld_os::AppendFile held;
    ASSERT_TRUE(held.Open(path().c_str()));
    ASSERT_TRUE(held.Lock());
    const pid_t child = start([] { KELD_ERROR("of the child\n"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    fs::rename(path(), path() + ".1");
    std::ofstream(path()) << "begun anew\n";
    held.Close();
    EXPECT_EQ(waitFor(child), 0);
    EXPECT_EQ(fs::file_size(path() + ".1"), full.size());
    const auto all = lines(path());
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all.at(0), "begun anew");
}

TEST_F(LogProcess, GoesOnInAFileThatAStoppedProcessHolds) {
    setenv("KELD_LOG_MAX_MB", "1", 1);
    const std::string full = std::string(1024 * 1024 + 1, 'y') + "\n";
    std::ofstream(path()) << full;
    keld_os::AppendFile held;
    ASSERT_TRUE(held.Open(path().c_str()));
    ASSERT_TRUE(held.Lock());
    const auto began = std::chrono::steady_clock::now();
    const std::string text(500, 'x');
    // It waits once, not at each line, and tries again when the file has grown by as much once
    // more.
    EXPECT_EQ(waitFor(start([&] {
                  for (int i = 0; i < 1000; ++i)
                      KELD_ERROR("%d %s\n", i, text.c_str());
              })),
              0);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(30));
    EXPECT_EQ(lines(path()).size(), 1001U);
    EXPECT_FALSE(fs::exists(path() + ".1"));
    held.Close();
    EXPECT_EQ(waitFor(start([] { KELD_ERROR("after\n"); })), 0);
    EXPECT_EQ(lines(path() + ".1").size(), 1001U);
    EXPECT_EQ(lines(path()).size(), 1U);
}

TEST_F(LogProcess, WritesWhatWaitsAtItsEnd) {
    waitFor(start([] { KELD_TRACE("last\n"); }));
    EXPECT_EQ(lines(path()).size(), 1U);
}

TEST_F(LogProcess, LosesOnlyWhatWaitedWhenItIsKilled) {
    const int status = waitFor(start([] {
        KELD_TRACE("->service\n");
        KELD_TRACE("<-service\n");
        KELD_ERROR("error\n");
        KELD_TRACE("waits\n");
        std::raise(SIGKILL);
    }));
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(lines(path()).size(), 3U);
}

TEST_F(LogProcess, GoesOnWhenTheDiskIsFull) {
    if (!fs::exists("/dev/full"))
        GTEST_SKIP() << "the system has no full device";
    setenv("KELD_LOG_FILE", "/dev/full", 1);
    EXPECT_EQ(waitFor(start([] {
                  testing::internal::CaptureStderr();
                  for (int i = 0; i < 10; ++i)
                      KELD_ERROR("dropped\n");
                  if (testing::internal::GetCapturedStderr() !=
                      "KELD: the log file /dev/full can't be written, log lines are dropped\n")
                      ::_exit(1);  // it is told once
              })),
              0);
}

TEST_F(LogProcess, LeavesTheLinesThatWaitToTheProcessThatWroteThem) {
    KELD_TRACE("->service of the parent\n");
    KELD_IncTraceSpaces();
    KELD_TRACE("step of the parent\n");
    EXPECT_EQ(waitFor(start([] { KELD_ERROR("of the child\n"); })), 0);
    EXPECT_EQ(waitFor(start([] { KELD_TRACE("waits to the child's end\n"); })), 0);
    EXPECT_EQ(waitFor(start([] {})), 0);
    KELD_DecTraceSpaces();
    KELD_TRACE("<-service of the parent\n");
    std::vector<std::string> texts;
    for (const std::string& line : lines(path()))
        texts.push_back(line.substr(24));
    EXPECT_EQ(texts,
              (std::vector<std::string>{"E   of the child", "T   waits to the child's end",
                                        "T ->service of the parent", "T   step of the parent",
                                        "T <-service of the parent"}));
}

namespace {

// Limit the size of files, as if the disk were full.
class DiskWithRoomFor {
public:
    explicit DiskWithRoomFor(std::uintmax_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit limit = before_;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~DiskWithRoomFor() { setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

}  // namespace

TEST_F(LogProcess, KeepsALineThatAFullDiskHasCutApartFromTheNext) {
    KELD_ERROR("first\n");
    const auto size = fs::file_size(path());
    {
        const DiskWithRoomFor room(size + 28);
        KELD_ERROR("cut\n");
        KELD_ERROR("lost\n");
    }
    KELD_ERROR("next\n");
    KELD_ERROR("last\n");
    const auto all = lines(path());
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all.at(1).substr(24), "E cu");
    EXPECT_EQ(all.at(2).substr(24), "E next");
    EXPECT_EQ(all.at(3).substr(24), "E last");
}

TEST_F(LogProcess, LeavesNoEmptyLineForLinesThatAFullDiskHasTakenWhole) {
    KELD_ERROR("first\n");
    const auto size = fs::file_size(path());
    {
        const DiskWithRoomFor room(size);
        KELD_ERROR("lost\n");
    }
    KELD_ERROR("next\n");
    {
        const DiskWithRoomFor room(2 * size - 1 + size);  // "next" is a byte shorter
        KELD_TRACE("stays\n");
        KELD_IncTraceSpaces();
        KELD_TRACE("lost\n");
        KELD_DecTraceSpaces();
        KELD_TRACE("lost\n");
    }
    KELD_ERROR("last\n");
    const auto all = lines(path());
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all.at(1).substr(24), "E next");
    EXPECT_EQ(all.at(2).substr(24), "T stays");
    EXPECT_EQ(all.at(3).substr(24), "E last");
}

// Made before the log's static objects, so destroyed after them.
struct WritesLate {
    ~WritesLate() {
        if (armed)
            KELD_TRACE("from a static object\n");
    }
    bool armed = false;
};
[[gnu::init_priority(101)]] static WritesLate late;

TEST_F(LogProcess, TakesLinesWhileStaticObjectsAreDestroyed) {
    waitFor(start([] {
        std::atexit([] { KELD_TRACE("from a handler\n"); });
        late.armed = true;
        KELD_TRACE("first\n");
    }));
    EXPECT_EQ(lines(path()).size(), 3U);
}
