// A disk that is full, as a limit of the process.

#include <sys/resource.h>

#include <csignal>

#include "tests/jobs/jobs.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

class JobDisk : public jobs::JobTest {
protected:
    // Run the writer while no file may become longer than this.
    int writeWithRoomFor(rlim_t bytes, const jobs::WriterCall& call) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit before{};
        EXPECT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
        KELD_SetLogLevel(1);  // what is traced would go to the log, too
        rlimit limit = before;
        limit.rlim_cur = bytes;
        EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
        const int status = write(call);
        EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
        return status;
    }
    static std::string refusal(const std::string& file) {
        return "ERROR: File " + file + " couldn't be written completely!";
    }
};

}  // namespace

TEST_F(JobDisk, OptionsThatAreCutByAFullDiskEndTheJobWith2010) {
    part("part1");
    auto call = forRevision();
    call.options = std::string(1000000, 'o');
    const int before = depth();
    EXPECT_EQ(2010, writeWithRoomFor(500000, call));
    EXPECT_EQ(500000u, options().size());
    const std::string text = refusal(jobDirectory() + "/options.txt");
    EXPECT_THAT(world.lines("EW"), ElementsAre(text));
    EXPECT_THAT(stack(), ElementsAre(Pair(2010, HasSubstr(text))));
    EXPECT_THAT(contents(), ElementsAre(header("CADPART") + object("part1")));
    KELD_SetLogLevel(3);
    EXPECT_EQ(before, depth());
}

TEST_F(JobDisk, AJobFileThatIsCutByAFullDiskIsTheLastThatIsMade) {
    part("part1");
    part("part2");
    world.put(made.item, "object_name", "item");
    world.clearLog();
    // One file for each attachment, for the type of both, for the item.
    for (const auto& [flag, type] :
         {std::pair{"false", "CADPART"}, {"true", "CADPART"}, {"false", "Item"}}) {
        auto call = forRevision();
        call.destination = (directory_ / (std::string(flag) + type)).string();
        jobs::fs::create_directory(call.destination);
        call.file_flag = flag;
        call.type = std::string(type) + ";CADMASTER";
        call.all_types = "true";
        const std::size_t told = stack().size();
        EXPECT_EQ(2010, writeWithRoomFor(100, call)) << flag << type;
        EXPECT_FALSE(hasOptions());
        const auto files = filesIn(jobDirectory());
        ASSERT_EQ(1u, files.size());
        EXPECT_EQ(100u, files.front().content.size());
        ASSERT_EQ(told + 1, stack().size());
        EXPECT_THAT(stack().back(),
                    Pair(2010, HasSubstr(refusal(jobDirectory() + "/" + files.front().name))));
    }
}
