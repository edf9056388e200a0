// Jobs on Windows: base directory, line ends, and the batch program.

#include <gmock/gmock.h>

#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "tests/support/world.h"
#include "tests/windows/place.h"

using keld_test::readFile;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using windows_test::textOf;

namespace {

namespace fs = windows_test::fs;

class WindowsJobs : public testing::Test {
protected:
    WindowsJobs() {
        world.bench.defineType("CADPART", "Dataset", {});
        made_ = world.item("000123");
        world.specification(made_.revision, "part1", "CADPART");
        useTemp(place_);
    }
    // The variable TEMP and the directory of jobs below it.
    void useTemp(const fs::path& temp) {
        fs::create_directory(temp);
        windows_test::setVariable(L"TEMP", temp);
        base_ = temp / "job";
        fs::create_directory(base_);
    }
    int call(const std::string& windows, const std::string& elsewhere, const std::string& program,
             const std::string& options = "") {
        world.clearLog();
        world.bench.sendArguments({std::string("CADPART"), windows, elsewhere, std::string("PRINT"),
                                   std::string("released"), options, std::string("false"),
                                   std::string(""), program, std::vector<tag_t>{made_.revision}});
        int slot = 99;
        const int status = KELD_SrvCallCRJFromPortal(&slot);
        EXPECT_EQ(0, slot);
        return status;
    }
    static fs::path onlyEntryOf(const fs::path& directory, const std::string& extension = "") {
        fs::path found;
        for (const auto& entry : fs::directory_iterator(directory)) {
            if (!extension.empty() && entry.path().extension() != extension)
                continue;
            EXPECT_TRUE(found.empty()) << entry.path();
            found = entry.path();
        }
        EXPECT_FALSE(found.empty()) << directory;
        return found;
    }
    // A batch program that leaves a note in the job's directory.
    std::string program(int code) {
        keld_test::writeFile(place_ / "batch.bat",
                             "@echo off\r\ntype nul >%1\\started\r\necho %2>>%1\\started\r\n"
                             "exit /b " +
                                 std::to_string(code) + "\r\n");
        return textOf(place_ / "batch.bat");
    }

    keld_test::Directory place_;
    world::World world;
    world::ItemTags made_;
    fs::path base_;
};

}  // namespace

TEST_F(WindowsJobs, LieBelowTempByDefaultAndTheDirectoryElsewhereHasNoUse) {
    EXPECT_EQ(0, call("", textOf(place_ / "nowhere"), ""));
    EXPECT_THAT(world.lines("T"), Contains("_WIN32"));
    EXPECT_THAT(world.lines("T"), Not(Contains("_UNIX")));
    EXPECT_THAT(
        world.lines("T"),
        Contains("Destination-Path with extended path-variable will be <" + textOf(base_) + ">"));
    EXPECT_THAT(textOf(onlyEntryOf(base_)), EndsWith("infodba"));
    EXPECT_FALSE(fs::exists(place_ / "nowhere"));
}

TEST_F(WindowsJobs, LieInTheDirectoryOnWindowsWithItsVariables) {
    windows_test::setVariable(L"KELD_TEST_BASE", place_);
    fs::create_directory(place_ / "chosen");
    EXPECT_EQ(0, call("%KELD_TEST_BASE%\\chosen", "", ""));
    EXPECT_TRUE(fs::exists(onlyEntryOf(place_ / "chosen") / "options.txt"));
    // Variables in the form of other systems aren't replaced.
    EXPECT_EQ(515186, call("$KELD_TEST_BASE\\chosen", "", ""));
}

TEST_F(WindowsJobs, HaveFilesWithCarriageReturns) {
    EXPECT_EQ(0, call("", "", "", "one\ntwo\n"));
    const fs::path job = onlyEntryOf(base_);
    EXPECT_EQ("one\r\ntwo\r\n", readFile(job / "options.txt"));
    const std::string text = readFile(onlyEntryOf(job, ".job"));
    EXPECT_THAT(text, testing::StartsWith("-typ=CADPART\r\n-iid=000123\r\n-irv=A\r\n"));
    EXPECT_THAT(text, EndsWith("-obj=part1\r\n-rel=VANE_specification\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("\r\r")));
}

TEST_F(WindowsJobs, AreHandedToTheBatchProgramWhoseCodeIsNotLookedAt) {
    EXPECT_EQ(0, call("", "", program(7)));
    const fs::path job = onlyEntryOf(base_);
    EXPECT_TRUE(fs::exists(job / "started"));
    EXPECT_THAT(world.lines("T"),
                Contains("system_command <" + program(7) + " " + textOf(job) + ">"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(WindowsJobs, MayLieBelowUmlauts) {
    useTemp(place_ / windows_test::pathOf(windows_test::kUmlauts));
    EXPECT_EQ(0, call("", "", program(0)));
    const fs::path job = onlyEntryOf(base_);
    EXPECT_THAT(textOf(job), HasSubstr(windows_test::kUmlauts));
    EXPECT_TRUE(fs::exists(onlyEntryOf(job, ".job")));
    EXPECT_TRUE(fs::exists(job / "started"));
}

TEST_F(WindowsJobs, AreMadeForAProgramThatIsNotThere) {
    // The command processor ran and says so; that is no failure of the service.
    EXPECT_EQ(0, call("", "", textOf(place_ / "none.bat") + " 2>nul"));
    EXPECT_TRUE(fs::exists(onlyEntryOf(base_) / "options.txt"));
}

TEST_F(WindowsJobs, StayWhenNoCommandCanBeRun) {
    windows_test::setVariable(L"COMSPEC", place_ / "none.exe");
    EXPECT_EQ(919998, call("", "", program(0)));
    const auto stack = world.bench.errorStack();
    ASSERT_THAT(stack, SizeIs(1));
    EXPECT_EQ(919998, stack[0].status);
    EXPECT_THAT(stack[0].text, HasSubstr("did not start the server"));
    EXPECT_TRUE(fs::exists(onlyEntryOf(base_) / "options.txt"));
}
