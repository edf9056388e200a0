// The delete log byte for byte under a fixed clock, and several processes that write to one.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <set>

#include "delete/keld_delete_log.h"
#include "os/keld_os.h"
#include "tests/delete/backup_world.h"
#include "tests/support/fixed_os.h"

namespace delete_test {
namespace {

// 2011-03-07 14:05:09 local time.
constexpr std::int64_t kThen = 1299503109000;

// The log of the libraries goes to the test's directory before a world is made.
class FixedSystem {
public:
    FixedSystem() {
        fixed_os::setEnv("KELD_LOG_FILE", (place / "keld.log").string());
        fixed_os::setLocalOffset(60);
        fixed_os::setClock(kThen);
    }
    keld_test::Directory place;
};

class DeleteLog : public FixedSystem, public BackupWorld {
protected:
    using BackupWorld::place;
    DeleteLog() { configureBackup(); }
    std::string wholeLog() const { return readFile(top / "delete_infodba.log"); }
    std::string keldLog() const {
        (void)KELD_GetLogFilePath();
        return readFile(FixedSystem::place / "keld.log");
    }
};

}  // namespace

TEST_F(DeleteLog, TreeFilesAndLogAreToldToTheByte) {
    world.bench.setPreference("KELD_DEL_DELUXE_TYPES", {"CADMASTER"});
    const auto housing = world.item("4711");
    const std::string bytes("\0\r\n\xFF%s\n", 8);
    const tag_t part = world.specification(housing.revision, "Housing", type("CADMASTER"));
    file(part, "housing.prt", bytes);
    file(part, "preview.jpg", "");
    const tag_t notes = world.specification(housing.item, "No/tes; \"old\"");
    file(notes, "notes.txt", "36 spokes\n");
    const tag_t loose = world.dataset("100% loose");
    file(loose, "a:b.txt", "x");

    ASSERT_EQ(0, service({part, world.bench.createFolder("empty"), notes}));
    fixed_os::advanceClock(86400000LL * 300);
    ASSERT_EQ(0, service({loose}));

    const std::string t = top.string() + "/";
    const std::string log = "2011-03-07 14:05:09,infodba:4711/A;Housing (CADMASTER);" + t +
                            "4711_A/Housing/housing.prt\n"
                            "2011-03-07 14:05:09,infodba:4711/A;Housing (CADMASTER);" +
                            t +
                            "4711_A/Housing/preview.jpg\n"
                            "2011-03-07 14:05:09,infodba:4711;No/tes; \"old\" (Text);" +
                            t +
                            "4711/No_tes___old_/notes.txt\n"
                            "2012-01-01 14:05:09,infodba:infodba;100% loose (Text);" +
                            t + "infodba/100__loose/a_b.txt\n";
    EXPECT_EQ((Tree{{"4711", "dir"},
                    {"4711/No_tes___old_", "dir"},
                    {"4711/No_tes___old_/notes.txt", "36 spokes\n"},
                    {"4711_A", "dir"},
                    {"4711_A/Housing", "dir"},
                    {"4711_A/Housing/housing.prt", bytes},
                    {"4711_A/Housing/preview.jpg", ""},
                    {"infodba", "dir"},
                    {"infodba/100__loose", "dir"},
                    {"infodba/100__loose/a_b.txt", "x"},
                    {"delete_infodba.log", log}}),
              treeOf(top));
}

TEST_F(DeleteLog, AnExistingLogIsContinued) {
    writeFile(top / "delete_infodba.log", "an earlier line\n");
    ASSERT_EQ(0, service({drawing(world.item("1").revision)}));
    EXPECT_EQ("an earlier line\n2011-03-07 14:05:09,infodba:1/A;drawing (Text);" +
                  path("1_A/drawing/drawing.txt") + "\n",
              wholeLog());
}

TEST_F(DeleteLog, ALineIsMadeOfItsPartsAsTheyAre) {
    FILE* const log = std::fopen(path("own.log").c_str(), "a");
    ASSERT_NE(nullptr, log);
    EXPECT_EQ(0, WriteToDeleteLog(log, "abc", "4711/A", "Housing", "CADMASTER",
                                  "S:\\backup\\4711_A\\Housing\\housing.prt"));
    EXPECT_EQ(0, WriteToDeleteLog(log, "", "", "", "", ""));
    EXPECT_EQ(0, WriteToDeleteLog(log, "%s", "%n", "a\nb", "%d", "%"));
    EXPECT_EQ(0, WriteToDeleteLog(log, nullptr, nullptr, nullptr, nullptr, nullptr));
    const std::string huge(200000, 'x');
    EXPECT_EQ(0, WriteToDeleteLog(log, huge.c_str(), "", "", "", ""));
    std::fclose(log);
    const std::string now = "2011-03-07 14:05:09,";
    EXPECT_EQ(now + "abc:4711/A;Housing (CADMASTER);S:\\backup\\4711_A\\Housing\\housing.prt\n" +
                  now + ":; ();\n" + now + "%s:%n;a\nb (%d);%\n" + now +
                  ":(null); ((null));(null)\n" + now + huge + ":; ();\n",
              readFile(path("own.log")));
}

TEST_F(DeleteLog, TheLogsNameHasTheUsersIdAsItIs) {
    const std::string separator = keld_os::szPathSeparator;
    for (const std::string id : {"abc", "a b", " .", "u.", "..", "con", "50%", "%", "%4", "%zz",
                                 "\xC3\xA4", "\xFF", "a&b;c$d'e", "O'Hara, J. (x)"})
        EXPECT_EQ("top" + separator + "delete_" + id + ".log",
                  KELD_DeleteLogPath("top", id.c_str()));
    EXPECT_EQ(separator + "delete_.log", KELD_DeleteLogPath(nullptr, nullptr));
}

TEST_F(DeleteLog, OnlyWhatCantBeInAFileNameIsWrittenAsHexDigitsInItsName) {
    const std::string start = std::string("top") + keld_os::szPathSeparator + "delete_";
    for (const auto& [id, name] : std::map<std::string, std::string>{
             {"a/b", "a%2Fb"},
             {"/", "%2F"},
             {"../../x", "..%2F..%2Fx"},
             {"a\nb\x1F\x7F", "a%0Ab%1F%7F"},
             {"50% a/b", "50%25 a%2Fb"},
             {"\xC3\xA4/", "\xC3\xA4%2F"},
         })
        EXPECT_EQ(start + name + ".log", KELD_DeleteLogPath("top", id.c_str()));
    const std::string special = "\\:*?\"<>|";
    EXPECT_EQ(start + (keld_os::bWindows ? "%5C%3A%2A%3F%22%3C%3E%7C" : special) + ".log",
              KELD_DeleteLogPath("top", special.c_str()));
}

TEST_F(DeleteLog, TwoUsersNeverShareALogWhateverTheirIds) {
    // Every id of up to five of the characters that escapes are made of.
    const std::string letters = "%2Ff/5_";
    std::set<std::string> names;
    std::vector<std::string> ids = {""};
    for (std::size_t i = 0; i < ids.size(); ++i) {
        names.insert(KELD_DeleteLogPath("top", ids[i].c_str()));
        if (ids[i].size() < 5)
            for (const char c : letters)
                ids.push_back(ids[i] + c);
    }
    EXPECT_EQ(ids.size(), names.size());
}

TEST_F(DeleteLog, WhatHasReachedTheFileEndsWithALineAtAnyTime) {
    FILE* const log = KELD_OpenDeleteLog(path("long.log"));
    ASSERT_NE(nullptr, log);
    std::string before;
    int writes = 0;
    for (int i = 0; i < 3000; ++i) {
        const std::string name(static_cast<std::size_t>(10 + i % 90), 'n');
        ASSERT_EQ(0, WriteToDeleteLog(log, "abc", "4711/A", name.c_str(), "Text", "/b/f"));
        const std::string now = readFile(path("long.log"));
        if (now == before)
            continue;
        ++writes;
        ASSERT_TRUE(now.ends_with("\n")) << "after line " << i;
        // The next line didn't fit and waits; it isn't split to fill the buffer.
        ASSERT_EQ(i, std::count(now.begin(), now.end(), '\n'));
        before = now;
    }
    EXPECT_GE(writes, 3);
    KELD_CloseDeleteLog(log);
}

TEST_F(DeleteLog, ALineLongerThanTheLogsBufferIsThereWholeAtOnce) {
    FILE* const log = KELD_OpenDeleteLog(path("long.log"));
    ASSERT_NE(nullptr, log);
    const std::string huge(200000, 'x');
    ASSERT_EQ(0, WriteToDeleteLog(log, "abc", "1", "a", "Text", "/b/1"));
    ASSERT_EQ(0, WriteToDeleteLog(log, "abc", "2", huge.c_str(), "Text", "/b/2"));
    const std::string now = "2011-03-07 14:05:09,abc:";
    const std::string expected = now + "1;a (Text);/b/1\n" + now + "2;" + huge + " (Text);/b/2\n";
    EXPECT_EQ(expected, readFile(path("long.log")));
    ASSERT_EQ(0, WriteToDeleteLog(log, "abc", "3", "c", "Text", "/b/3"));
    KELD_CloseDeleteLog(log);
    EXPECT_EQ(expected + now + "3;c (Text);/b/3\n", readFile(path("long.log")));
}

TEST_F(DeleteLog, ALogThatIsCutByAFullDiskIsAnErrorAtItsEnd) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
    rlimit limit = before;
    limit.rlim_cur = 300000;
    const std::string error =
        "The delete log " + path("full.log") + " can't be written, lines are missing";
    // One long line, many that fill the buffer again and again, one that waits for the end.
    for (const auto& [lines, length] : {std::pair(1, 400000), {40, 10000}, {1, 20}}) {
        writeFile(path("full.log"), std::string(static_cast<std::size_t>(300000 - 10), 'e'));
        FILE* const log = KELD_OpenDeleteLog(path("full.log"));
        ASSERT_NE(nullptr, log);
        const std::string name(static_cast<std::size_t>(length), 'n');
        KELD_SetLogLevel(1);
        ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
        for (int i = 0; i < lines; ++i)
            EXPECT_EQ(0, WriteToDeleteLog(log, "abc", "1", name.c_str(), "Text", "/b/f"));
        KELD_CloseDeleteLog(log);
        ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
        EXPECT_EQ(300000u, readFile(path("full.log")).size());
        EXPECT_TRUE(keldLog().ends_with(" E " + error + "\n")) << keldLog();
        fs::resize_file(KELD_GetLogFilePath(), 0);
    }
}

TEST_F(DeleteLog, AFileOfAnotherOwnerIsClosedWithoutAWordAboutTheLog) {
    FILE* const log = KELD_OpenDeleteLog(path("own.log"));
    ASSERT_NE(nullptr, log);
    FILE* const other = std::fopen(path("other.log").c_str(), "a");
    ASSERT_NE(nullptr, other);
    ASSERT_EQ(0, WriteToDeleteLog(other, "abc", "1", "a", "Text", "/b/1"));
    KELD_CloseDeleteLog(other);
    ASSERT_EQ(0, WriteToDeleteLog(log, "abc", "2", "b", "Text", "/b/2"));
    KELD_CloseDeleteLog(log);
    KELD_CloseDeleteLog(nullptr);
    const std::string now = "2011-03-07 14:05:09,abc:";
    EXPECT_EQ(now + "1;a (Text);/b/1\n", readFile(path("other.log")));
    EXPECT_EQ(now + "2;b (Text);/b/2\n", readFile(path("own.log")));
    EXPECT_THAT(keldLog(), testing::Not(testing::HasSubstr("The delete log")));
}

// Two server processes of one user back up at the same time: their lines never mix.
TEST_F(DeleteLog, TwoProcessesOfOneUserAppendWithoutTornLines) {
    constexpr int processes = 2, files = 300, rounds = 6;
    std::vector<tag_t> datasets;
    for (int process = 0; process < processes; ++process) {
        const tag_t dataset =
            world.specification(world.item("part" + std::to_string(process)).revision, "drawing");
        for (int i = 0; i < files; ++i)
            file(dataset, std::string(20 + 100 * process, 'f') + "_" + std::to_string(i), "x");
        datasets.push_back(dataset);
    }
    ASSERT_EQ(0, service({}));
    int start[2];
    ASSERT_EQ(0, ::pipe(start));
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(start[1]);
            char go = 0;
            (void)!::read(start[0], &go, 1);
            int status = 0;
            for (int round = 0; round < rounds; ++round)
                status |= service({datasets[static_cast<std::size_t>(process)]});
            ::_exit(status == 0 ? 0 : 1);
        }
        children.push_back(child);
    }
    ::close(start[0]);
    ::close(start[1]);
    for (const pid_t child : children) {
        int ended = 0;
        ::waitpid(child, &ended, 0);
        EXPECT_EQ(0, ended);
    }
    std::multiset<std::string> lines;
    std::istringstream in(wholeLog());
    for (std::string line; std::getline(in, line);)
        lines.insert(line);
    EXPECT_EQ(static_cast<std::size_t>(processes * files * rounds), lines.size());
    for (int process = 0; process < processes; ++process)
        for (int i = 0; i < files; ++i) {
            const std::string id = "part" + std::to_string(process);
            const std::string line =
                "2011-03-07 14:05:09,infodba:" + id + "/A;drawing (Text);" +
                path(id + "_A/drawing/" + std::string(20 + 100 * process, 'f') + "_" +
                     std::to_string(i));
            EXPECT_EQ(static_cast<std::size_t>(rounds), lines.count(line)) << line;
        }
}

}  // namespace delete_test
