// Disks that fill up, directories that can't be written and directories that vanish.

#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/delete/backup_world.h"

using testing::Contains;
using testing::HasSubstr;

using namespace delete_test;
namespace {

constexpr int kFileFailure = 710024;

class BackupDisk : public BackupWorld {
protected:
    BackupDisk() {
        configureBackup();
        revision = world.item("1").revision;
        small = drawing(revision, "small", "small.txt", "fits");
    }
    tag_t revision = NULLTAG, small = NULLTAG;
};

// No file can grow past a size while this lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        rlimit now = before_;
        now.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

}  // namespace

TEST_F(BackupDisk, AFileThatDoesNotFitIsAFailureThatLeavesWhatWasSavedAndNoPiece) {
    const tag_t large = drawing(revision, "large", "large.txt", std::string(3 << 20, 'x'));
    const tag_t after = drawing(revision, "after", "after.txt", "later");
    const Tree before = treeOf(outside);
    {
        const FileSizeLimit limit(1 << 20);
        EXPECT_EQ(kFileFailure, service({small, large, after}));
    }
    EXPECT_EQ((Tree{{"1_A", "dir"},
                    {"1_A/small", "dir"},
                    {"1_A/small/small.txt", "fits"},
                    {"1_A/large", "dir"}}),
              saved());
    EXPECT_EQ("<time>,infodba:1/A;small (Text);" + path("1_A/small/small.txt") + "\n", deleteLog());
    // With room again the same list goes through.
    EXPECT_EQ(0, service({small, large, after}));
    EXPECT_EQ(3u << 20, saved().at("1_A/large/large.txt").size());
    EXPECT_EQ(4, std::ranges::count(deleteLog(), '\n'));
    EXPECT_EQ(before, treeOf(outside));
}

TEST_F(BackupDisk, ALogThatCannotGrowIsAnErrorLineAndTheFilesAreSaved) {
    std::string earlier;
    while (earlier.size() < 4 << 20)  // more than the library's own log needs
        earlier += "an earlier line\n";
    writeFile(top / "delete_infodba.log", earlier);
    {
        const FileSizeLimit limit(4 << 20);
        EXPECT_EQ(0, service({small}));
    }
    EXPECT_EQ("fits", saved().at("1_A/small/small.txt"));
    EXPECT_EQ(earlier, readFile(top / "delete_infodba.log"));
    EXPECT_THAT(world.lines("E"), Contains("The delete log " + path("delete_infodba.log") +
                                           " can't be written, lines are missing"));
}

TEST_F(BackupDisk, AFullFileSystemIsAFailureThatLosesNothing) {
    const fs::path disk = place / "disk";
    fs::create_directory(disk);
    if (::mount("keld_test", disk.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "no file system can be mounted here; the limit on a file's size stands in";
    const tag_t large = drawing(revision, "large", "large.txt", std::string(1 << 20, 'x'));
    configureBackup(disk.string());
    EXPECT_EQ(kFileFailure, service({small, large}));
    EXPECT_EQ("fits", readFile(disk / "1_A/small/small.txt"));
    EXPECT_FALSE(fs::exists(disk / "1_A/large/large.txt"));
    EXPECT_THAT(readFile(disk / "delete_infodba.log"), HasSubstr("small.txt\n"));
    ::umount(disk.c_str());
}

TEST_F(BackupDisk, AFileInTheDirectorysPlaceIsAFailureAndStays) {
    fs::create_directory(top / "1_A");
    writeFile(top / "1_A/small", "in the way");
    EXPECT_EQ(kFileFailure, service({small}));  // it exists, but nothing can be put into it
    EXPECT_EQ("in the way", saved().at("1_A/small"));
    EXPECT_EQ("", deleteLog());
}

TEST_F(BackupDisk, AFileInTheParentsPlaceIsADirectoryThatCannotBeMade) {
    writeFile(top / "1_A", "in the way");
    EXPECT_EQ(1100, service({small}));
    EXPECT_EQ((Tree{{"1_A", "in the way"}}), saved());
    EXPECT_EQ(1100, stack().back().status);
}

TEST_F(BackupDisk, AFileInTheTopDirectorysPlaceIsADirectoryThatCannotBeMade) {
    fs::remove_all(top);
    writeFile(top, "in the way");
    EXPECT_EQ(1100, service({small}));
    EXPECT_EQ("in the way", readFile(top));
    EXPECT_THAT(world.lines("E"),
                Contains("The delete log " + path("delete_infodba.log") + " can't be opened"));
}
