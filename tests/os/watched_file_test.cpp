// Whether a file is as it was, asked many times: each change is seen by the next question, whether
// the file is held open or not.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "os/keld_os.h"
#include "tests/support/files.h"

namespace fs = std::filesystem;

namespace {

class WatchedFile : public testing::Test {
protected:
    WatchedFile() {
        fs::create_directory(directory_ / "cfg");
        path_ = (directory_ / "cfg" / "file").string();
        write("one");
        EXPECT_TRUE(keld_os::GetFileState(path_.c_str(), &state_));
    }

    void write(const std::string& text) const { keld_test::writeFile(path_, text); }
    bool is() { return file_.Is(path_.c_str(), state_); }
    // A file that has just changed isn't held open: its next change could have the same time.
    void hold() {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        const auto before = openFiles();
        ASSERT_TRUE(is());
        ASSERT_EQ(openFiles(), before + 1);
    }
    static std::ptrdiff_t openFiles() {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    keld_test::Directory directory_;
    std::string path_;
    keld_os::FileState state_;
    keld_os::WatchedFile file_;
};

}  // namespace

TEST_F(WatchedFile, StaysAsItWas) {
    EXPECT_TRUE(is());
    hold();
    const auto open = openFiles();
    for (int i = 0; i < 100'000; ++i)
        ASSERT_TRUE(is());
    EXPECT_EQ(openFiles(), open);
    file_.Release();
    EXPECT_EQ(openFiles(), open - 1);
    EXPECT_TRUE(is());
}

TEST_F(WatchedFile, ThatWasChangedJustNowIsNotHeld) {
    write("one");
    ASSERT_TRUE(keld_os::GetFileState(path_.c_str(), &state_));
    const auto before = openFiles();
    EXPECT_TRUE(is());
    EXPECT_EQ(openFiles(), before);
    // Of another size: within a step of the clock the time of the file stays the same.
    write("another");
    EXPECT_FALSE(is());
}

TEST_F(WatchedFile, IsSeenToBeWrittenInPlace) {
    hold();
    write("two");
    EXPECT_FALSE(is());
    ASSERT_TRUE(keld_os::GetFileState(path_.c_str(), &state_));
    EXPECT_TRUE(is());
}

TEST_F(WatchedFile, IsSeenToGrow) {
    hold();
    std::ofstream(path_, std::ios::app) << "more";
    EXPECT_FALSE(is());
}

TEST_F(WatchedFile, IsSeenToBeReplacedByOneOfTheSameSizeAndTime) {
    hold();
    const std::string other = path_ + ".new";
    std::ofstream(other) << "two";
    fs::last_write_time(other, fs::last_write_time(path_));
    fs::rename(other, path_);
    EXPECT_FALSE(is());
}

TEST_F(WatchedFile, IsSeenToBeRemoved) {
    hold();
    fs::remove(path_);
    EXPECT_FALSE(is());
}

TEST_F(WatchedFile, IsSeenToBeMovedAwayAndBack) {
    hold();
    fs::rename(path_, path_ + ".old");
    EXPECT_FALSE(is());
    fs::rename(path_ + ".old", path_);
    EXPECT_TRUE(is());
}

TEST_F(WatchedFile, IsSeenToBeElsewhereWhenItsDirectoryIs) {
    hold();
    fs::rename(directory_ / "cfg", directory_ / "old");
    // The clock's next step.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(is());
}

TEST_F(WatchedFile, IsAsItWasWithAnotherNameBesideIts) {
    hold();
    fs::create_hard_link(path_, path_ + ".link");
    EXPECT_TRUE(is());
}

TEST_F(WatchedFile, IsNoDirectoryAndNoPathAtAll) {
    EXPECT_FALSE(file_.Is(directory_.string().c_str(), state_));
    EXPECT_FALSE(file_.Is(nullptr, state_));
}

// A host that starts as a daemon closes every descriptor that it doesn't know.
TEST_F(WatchedFile, WhoseNumberAnotherFileHasByNowLeavesThatOneOpen) {
    hold();
    const std::string other = (directory_ / "other").string();
    std::ofstream(other) << "other";
    int number = -1;
    for (int i = 3; i < 256 && number == -1; ++i) {
        struct stat status {};
        if (fstat(i, &status) == 0 && status.st_ino == state_.m_ullId &&
            status.st_dev == state_.m_ullDevice)
            number = i;
    }
    ASSERT_NE(number, -1);
    close(number);
    ASSERT_EQ(open(other.c_str(), O_RDONLY), number);
    EXPECT_TRUE(is());
    file_.Release();
    struct stat status {};
    EXPECT_EQ(fstat(number, &status), 0) << "it was closed";
    close(number);
}

TEST_F(WatchedFile, IsOneOfEightThatAreHeld) {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const auto before = openFiles();
    std::vector<std::unique_ptr<keld_os::WatchedFile>> files;
    for (int i = 0; i < 20; ++i) {
        files.push_back(std::make_unique<keld_os::WatchedFile>());
        EXPECT_TRUE(files.back()->Is(path_.c_str(), state_));
    }
    EXPECT_EQ(openFiles(), before + 8);
    write("two");
    for (const auto& file : files)
        EXPECT_FALSE(file->Is(path_.c_str(), state_));
    files.clear();
    EXPECT_EQ(openFiles(), before);
}
