#include <gmock/gmock.h>
#include <unistd.h>

#include "os/keld_os.h"
#include "platform/keld_basetool.h"
#include "tests/support/files.h"
#include "tests/support/fixed_os.h"
#include "tests/support/log_fixture.h"

namespace fs = std::filesystem;
using testing::HasSubstr;

class LogFile : public LogFixture {
protected:
    LogFile() {
        for (const char* name : {"mv", "temp", "tmp"})
            fs::create_directory(directory_ / name);
    }
    std::string ownName() const { return "keld_" + std::to_string(getpid()) + ".log"; }
    std::string in(const char* directory) const { return (directory_ / directory).string(); }
};

TEST_F(LogFile, IsTheOneOfTheEnvironment) {
    EXPECT_EQ(KELD_GetLogFilePath(), log_path_.string());
    EXPECT_TRUE(fs::exists(log_path_));
}

TEST_F(LogFile, LiesInTheFirstDirectoryOfTheEnvironmentThatIsSet) {
    fixed_os::setEnv("KELD_LOG_FILE", "");
    fixed_os::setEnv("MV_TMP_DIR", in("mv"));
    fixed_os::setEnv("TEMP", in("temp"));
    fixed_os::setEnv("TMP", in("tmp"));
    EXPECT_EQ(KELD_GetLogFilePath(), in("mv") + keld_os::szPathSeparator + ownName());
}

TEST_F(LogFile, LiesInTempWithoutTheFirst) {
    fixed_os::unsetEnv("KELD_LOG_FILE");
    fixed_os::setEnv("TEMP", in("temp") + keld_os::szPathSeparator);
    fixed_os::setEnv("TMP", in("tmp"));
    EXPECT_EQ(KELD_GetLogFilePath(), in("temp") + keld_os::szPathSeparator + ownName());
}

TEST_F(LogFile, LiesInTmpWithoutTheFirstTwo) {
    fixed_os::unsetEnv("KELD_LOG_FILE");
    fixed_os::setEnv("TEMP", "");
    fixed_os::setEnv("TMP", in("tmp"));
    EXPECT_EQ(KELD_GetLogFilePath(), in("tmp") + keld_os::szPathSeparator + ownName());
}

TEST_F(LogFile, LiesInTheSystemsTemporaryDirectoryElse) {
    fixed_os::unsetEnv("KELD_LOG_FILE");
    const std::string path = KELD_GetLogFilePath();
    fs::remove(path);
    // A directory without its drive is none on Windows, where the log's path has one.
    EXPECT_EQ(path, keld_os::AbsolutePath(keld_os::TempDirectory() + keld_os::szPathSeparator +
                                          ownName()));
}

TEST_F(LogFile, StaysTheSameForTheProcess) {
    KELD_ERROR("a");
    fixed_os::setEnv("KELD_LOG_FILE", (directory_ / "other.log").string());
    KELD_ERROR("b");
    EXPECT_EQ(KELD_GetLogFilePath(), log_path_.string());
    EXPECT_EQ(lines().size(), 2U);
}

TEST_F(LogFile, KeepsWhatWasInIt) {
    keld_test::writeFile(log_path_, "earlier\n");
    KELD_ERROR("now");
    EXPECT_EQ(written(), "earlier\n2013-11-14 16:13:00.000 E now\n");
}

TEST_F(LogFile, ThatCantBeOpenedIsNotedOnceAndItsLinesAreDropped) {
    fixed_os::setEnv("KELD_LOG_FILE", (directory_ / "missing" / "x.log").string());
    testing::internal::CaptureStderr();
    KELD_ERROR("a");
    KELD_TRACE("b");
    KELD_PRINTLOG("c");
    EXPECT_EQ(KELD_GetLogFilePath(), nullptr);
    EXPECT_EQ(splitLines(testing::internal::GetCapturedStderr()).size(), 1U);
    fs::create_directory(directory_ / "missing");
    KELD_ERROR("d");
    EXPECT_EQ(KELD_GetLogFilePath(), nullptr);
}

TEST_F(LogFile, ThatIsADirectoryCantBeOpened) {
    fixed_os::setEnv("KELD_LOG_FILE", directory_.string());
    testing::internal::CaptureStderr();
    EXPECT_EQ(KELD_GetLogFilePath(), nullptr);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(directory_.string()));
}

class LogFileLimit : public LogFile {
protected:
    const fs::path older_path_ = log_path_.string() + ".1";
    const std::string text_ = std::string(100000, 'x');
};

TEST_F(LogFileLimit, IsNoneAtTheStart) {
    for (int i = 0; i < 30; ++i)
        KELD_ERROR("%s", text_.c_str());
    EXPECT_FALSE(fs::exists(older_path_));
}

TEST_F(LogFileLimit, BeginsANewFileAndKeepsOneGeneration) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    for (int i = 0; i < 25; ++i)
        KELD_ERROR("%d %s", i, text_.c_str());
    // A file holds eleven such lines when it is past its limit.
    const auto older = splitLines(keld_test::readFile(older_path_));
    const auto newer = lines();
    ASSERT_EQ(older.size(), 11U);
    ASSERT_EQ(newer.size(), 3U);
    EXPECT_THAT(older.at(0), HasSubstr("E 11 x"));
    EXPECT_THAT(newer.at(0), HasSubstr("E 22 x"));
    EXPECT_FALSE(fs::exists(log_path_.string() + ".2"));
}

TEST_F(LogFileLimit, FindsARelativePathAgainInAnotherCurrentDirectory) {
    const fs::path before = fs::current_path();
    fs::current_path(directory_);
    fixed_os::setEnv("KELD_LOG_FILE", "relative.log");
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    KELD_ERROR("first");
    fs::current_path(directory_ / "mv");
    const fs::path path = directory_ / "relative.log";
    EXPECT_TRUE(fs::path(KELD_GetLogFilePath()).is_absolute());
    EXPECT_TRUE(fs::equivalent(KELD_GetLogFilePath(), path));
    for (int i = 0; i < 12; ++i)
        KELD_ERROR("%d %s", i, text_.c_str());
    fs::current_path(before);
    EXPECT_EQ(splitLines(keld_test::readFile(path.string() + ".1")).size(), 12U);
    EXPECT_EQ(splitLines(keld_test::readFile(path)).size(), 1U);
    EXPECT_TRUE(fs::is_empty(directory_ / "mv"));
}

TEST_F(LogFileLimit, CountsWhatWasInTheFile) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    keld_test::writeFile(log_path_, std::string(1024 * 1024 + 1, 'y'));
    KELD_ERROR("a");
    EXPECT_EQ(lines().size(), 1U);
    EXPECT_EQ(fs::file_size(older_path_), 1024U * 1024U + 1U);
}

TEST_F(LogFileLimit, IsNotReachedByAFileOfExactlyThatSize) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    keld_test::writeFile(log_path_, std::string(1024 * 1024, 'y'));
    KELD_ERROR("a");
    EXPECT_FALSE(fs::exists(older_path_));
}

TEST_F(LogFileLimit, FollowsTheFileThatAnotherProcessHasBegun) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    KELD_ERROR("a");
    fs::rename(log_path_, older_path_);
    keld_test::writeFile(log_path_, "of the other\n");
    KELD_ERROR("b");
    EXPECT_EQ(written(), "of the other\n2013-11-14 16:13:00.000 E b\n");
}

TEST_F(LogFileLimit, ThatCantBeKeptLeavesTheOneFileGrowing) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    fs::create_directories(older_path_ / "in the way");
    for (int i = 0; i < 25; ++i)
        KELD_ERROR("%s", text_.c_str());
    EXPECT_EQ(lines().size(), 25U);
}

TEST_F(LogFileLimit, InADirectoryThatIsGoneDropsTheLinesWithOneNote) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "1");
    KELD_ERROR("a");
    fs::rename(directory_, directory_.string() + "_gone");
    testing::internal::CaptureStderr();
    KELD_ERROR("b");
    KELD_ERROR("c");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "KELD: the log file " + log_path_.string() + " can't be opened, log lines are dropped\n");
    fs::rename(directory_.string() + "_gone", directory_);
    KELD_ERROR("d");
    EXPECT_EQ(splitLines(written()).size(), 1U);
    EXPECT_EQ(KELD_GetLogFilePath(), nullptr);
}

TEST_F(LogFileLimit, ThatIsNoNumberOrNegativeIsNone) {
    fixed_os::setEnv("KELD_LOG_MAX_MB", "-1");
    keld_test::writeFile(log_path_, std::string(1024 * 1024 + 1, 'y'));
    KELD_ERROR("a");
    EXPECT_FALSE(fs::exists(older_path_));
}
