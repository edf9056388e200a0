// A disk that is full, as a limit of the process.

#include <sys/resource.h>

#include <csignal>

#include "tests/jobs/jobs.h"

using testing::ElementsAre;

namespace {

class JobDisk : public jobs::JobTest {};

}  // namespace

TEST_F(JobDisk, AFileThatIsCutByAFullDiskIsAWarning) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    part("part1");
    auto call = forRevision();
    call.options = std::string(1000000, 'o');
    KELD_SetLogLevel(2);  // the options don't go to the log, too
    rlimit limit = before;
    limit.rlim_cur = 500000;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    EXPECT_EQ(0, write(call));
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
    EXPECT_EQ(500000u, options().size());
    EXPECT_THAT(world.lines("W"), ElementsAre("File " + jobDirectory() +
                                              "/options.txt couldn't be written completely"));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1")));
}
