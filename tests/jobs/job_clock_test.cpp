// The time stamp of the job directory, and a command that can't be run, over a seam of the test's
// own.

#include <unistd.h>

#include "tests/jobs/jobs.h"
#include "tests/support/fixed_os.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

// The log's place, which the process keeps, before the world's first line is written.
struct FixedEnvironment {
    FixedEnvironment() { fixed_os::setEnv("KELD_LOG_FILE", log().path.string()); }
    struct Log {
        const jobs::fs::path path = jobs::fs::temp_directory_path() /
                                    ("keld_job_clock_" + std::to_string(::getpid()) + ".log");
        ~Log() {
            std::error_code ignored;
            jobs::fs::remove(path, ignored);
        }
    };
    static const Log& log() {
        static const Log made;
        return made;
    }
};

class JobClock : protected FixedEnvironment, public jobs::JobTest {
protected:
    JobClock() {
        fixed_os::setClock(kMorning);
        fixed_os::setLocalOffset(0);
    }
    ~JobClock() override { fixed_os::failCommands(false); }

    static constexpr std::int64_t kMorning = 1794641825000;  // 2026-11-14 07:37:05 UTC

    std::string name() const { return jobs::fs::path(jobDirectory()).filename().string(); }
};

}  // namespace

TEST_F(JobClock, TheDirectoryHasTheLocalTimeAndTheUsersId) {
    fixed_os::setLocalOffset(60);
    ASSERT_EQ(0, write({}));
    EXPECT_EQ("20261114083705u4711", name());
    EXPECT_EQ((directory_ / "20261114083705u4711").string(), jobDirectory());
}

TEST_F(JobClock, SmallNumbersHaveTheirZeros) {
    fixed_os::setClock(1767229445000);  // 2026-01-01 01:04:05 UTC
    ASSERT_EQ(0, write({}));
    EXPECT_EQ("20260101010405u4711", name());
}

TEST_F(JobClock, ASecondCallWithinTheSecondFindsTheDirectoryThere) {
    part("part1");
    ASSERT_EQ(0, write(forRevision()));
    const std::string first = jobDirectory();
    fixed_os::advanceClock(999);
    EXPECT_EQ(515186, write(forRevision()));
    EXPECT_EQ("untouched", jobDirectory());
    EXPECT_EQ(1u, filesIn(first).size());
    fixed_os::advanceClock(1);
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_EQ("20261114073706u4711", name());
}

TEST_F(JobClock, AFileInTheDirectorysPlaceIsAFailureToo) {
    std::ofstream(directory_ / "20261114073705u4711") << "here first";
    EXPECT_EQ(515186, write({}));
    EXPECT_EQ("here first", jobs::readText(directory_ / "20261114073705u4711"));
}

TEST_F(JobClock, TheUsersIdIsTheSessionsNotTheNames) {
    char name[256] = "";
    EXPECT_EQ(0, KELD_buildDirName(name));
    EXPECT_STREQ("20261114073705u4711", name);
    world.fail("DBO_get_user_id", 1);
    EXPECT_EQ(jobs::kPlanned, KELD_buildDirName(name));
    EXPECT_STREQ("", name);
}

TEST_F(JobClock, ACommandThatCantBeRunIsRefusedAndTheFilesStay) {
    part("part1");
    fixed_os::failCommands(true);
    const jobs::fs::path ran = directory_ / "ran";
    world.bench.sendArguments({std::string("CADPART"), directory_.string(), directory_.string(),
                               std::string(""), std::string(""), std::string(""), std::string(""),
                               std::string(""), "touch " + ran.string(),
                               std::vector<tag_t>{made.revision}});
    int slot = 99;
    testing::internal::CaptureStdout();
    EXPECT_EQ(919998, KELD_SrvCallCRJFromPortal(&slot));
    std::fflush(stdout);
    EXPECT_EQ("ERROR starting the server!\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(0, slot);
    EXPECT_FALSE(jobs::fs::exists(ran));
    EXPECT_EQ(1u, filesIn(directory_ / "20261114073705u4711").size());
    EXPECT_THAT(
        stack(),
        ElementsAre(
            Pair(919998, HasSubstr("ERROR: \"KELD_CRJ_from_portal\" did not start the server."))));
}

TEST_F(JobClock, WithoutTheVariableTheBaseDirectoryIsTheSystems) {
    // The seam's environment has no TEMP. The unknown relation ends the service before the writer.
    world.bench.sendArguments({std::string(""), std::string(""), std::string(" "), std::string(""),
                               std::string(""), std::string(""), std::string(""),
                               std::string("nosuchrelation")});
    int slot = 99;
    EXPECT_EQ(919998, KELD_SrvCallCRJFromPortal(&slot));
    KELD_GetLogFilePath();  // what waits reaches the file
    EXPECT_THAT(jobs::readText(log().path),
                HasSubstr(std::string("Destination-Path with extended path-variable will be <") +
                          (keld_os::bWindows ? "c:\\temp\\job" : "/tmp/job") + ">\n"));
}
