// The backup of deleted datasets with the commands that Windows runs for it.

#include <gmock/gmock.h>

#include "platform/keld_se.h"
#include "tests/support/files.h"
#include "tests/support/world.h"
#include "tests/windows/place.h"

using keld_test::readFile;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

namespace fs = windows_test::fs;

class CommandsOfTheBackup : public testing::Test {
protected:
    CommandsOfTheBackup() {
        useTop(place_ / "backup");
        dataset_ = world.specification(world.item("4711").revision, "Housing");
        file_ = addFile("housing.prt", "solid\n");
        windows_test::setVariable(L"KELD_TEST_COMMANDS", place_ / "commands");
        windows_test::setVariable(L"KELD_TEST_REFUSED", "");
        windows_test::setVariable(L"COMSPEC", KELD_TEST_PROCESSOR);
    }
    void useTop(const fs::path& top) {
        top_ = top;
        fs::create_directory(top_);
        world.bench.setPreference("KELD_DELBackupTopDirCentral", {windows_test::textOf(top_)});
    }
    tag_t addFile(const std::string& name, const std::string& content) {
        const fs::path source = place_ / "source";
        keld_test::writeFile(source, content);
        const tag_t made =
            world.bench.addFile(dataset_, "Text", windows_test::textOf(source), "plain");
        world.put(made, "original_file_name", name);
        return made;
    }
    int service() {
        fs::remove(place_ / "commands");
        world.clearLog();
        world.bench.sendArguments({std::vector<tag_t>{dataset_}});
        int result = 99;
        const int status = KELD_DeleteDeluxe(&result);
        EXPECT_EQ(0, result);
        return status;
    }
    std::vector<std::string> commands() const {
        std::istringstream lines(readFile(place_ / "commands"));
        std::vector<std::string> found;
        for (std::string line; std::getline(lines, line);)
            found.push_back(line);
        return found;
    }
    std::string in(const std::string& below) const {
        return windows_test::textOf(top_) + "\\" + below;
    }
    std::string deleteLog() const { return readFile(top_ / "delete_infodba.log"); }

    keld_test::Directory place_;
    world::World world;
    fs::path top_;
    tag_t dataset_ = NULLTAG, file_ = NULLTAG;
};

}  // namespace

TEST_F(CommandsOfTheBackup, MakeTheDirectoriesAndGiveThemToEverybody) {
    EXPECT_EQ(0, service());
    const std::string directory = in("4711_A\\Housing");
    EXPECT_THAT(commands(),
                ElementsAre("mkdir " + directory, "cacls " + directory + " /E /G Jeder:F > nul"));
    EXPECT_EQ("solid\n", readFile(top_ / "4711_A" / "Housing" / "housing.prt"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
    EXPECT_THAT(world.lines("T"), Contains("Using central log file=" + in("delete_infodba.log")));
}

TEST_F(CommandsOfTheBackup, DeleteTheOlderBackupOfTheSameName) {
    EXPECT_EQ(0, service());
    keld_test::writeFile(top_ / "4711_A" / "Housing" / "housing.prt", "an older and longer one");
    EXPECT_EQ(0, service());
    EXPECT_THAT(commands(), ElementsAre("del " + in("4711_A\\Housing\\housing.prt")));
    EXPECT_EQ("solid\n", readFile(top_ / "4711_A" / "Housing" / "housing.prt"));
}

TEST_F(CommandsOfTheBackup, LeaveALogWithBackslashesAndCarriageReturns) {
    EXPECT_EQ(0, service());
    EXPECT_EQ(0, service());
    const std::string line =
        ",infodba:4711/A;Housing (Text);" + in("4711_A\\Housing\\housing.prt") + "\r\n";
    const std::string log = deleteLog();
    ASSERT_EQ(log.size(), 2 * (line.size() + 19)) << log;
    EXPECT_EQ(line, log.substr(19, line.size()));
    EXPECT_EQ(line, log.substr(log.size() - line.size()));
}

TEST_F(CommandsOfTheBackup, OfMkdirMayFailIfRightsCanBeGiven) {
    windows_test::setVariable(L"KELD_TEST_REFUSED", "mkdir");
    // Without the directory no rights can be given.
    EXPECT_EQ(1100, service());
    const std::string directory = in("4711_A\\Housing");
    EXPECT_THAT(commands(), ElementsAre("mkdir " + directory));
    EXPECT_THAT(world.lines("W"),
                ElementsAre("mkdir " + directory + " (_WIN32=1) returned 3",
                            "cacls " + directory + " /E /G Jeder:F > nul (_WIN32=1) returned -1"));
}

TEST_F(CommandsOfTheBackup, OfCaclsMustNotFail) {
    windows_test::setVariable(L"KELD_TEST_REFUSED", "cacls");
    EXPECT_EQ(1100, service());
    const std::string directory = in("4711_A\\Housing");
    EXPECT_THAT(world.lines("W"),
                ElementsAre("cacls " + directory + " /E /G Jeder:F > nul (_WIN32=1) returned 3"));
    ASSERT_THAT(world.bench.errorStack(), SizeIs(1));
    EXPECT_EQ(1100, world.bench.errorStack()[0].status);
    EXPECT_THAT(world.bench.errorStack()[0].text, HasSubstr(directory));
    EXPECT_TRUE(fs::is_empty(top_ / "4711_A" / "Housing"));
    EXPECT_EQ("", deleteLog());
}

TEST_F(CommandsOfTheBackup, OfDelMayFailAndTheExportMeetsTheOldFile) {
    EXPECT_EQ(0, service());
    windows_test::setVariable(L"KELD_TEST_REFUSED", "del");
    (void)service();
    EXPECT_THAT(world.lines("W"),
                Contains("del " + in("4711_A\\Housing\\housing.prt") + " (_WIN32=1) returned 3"));
}

TEST_F(CommandsOfTheBackup, WithoutACommandProcessorCantBeRun) {
    windows_test::setVariable(L"COMSPEC", place_ / "none.exe");
    EXPECT_EQ(1100, service());
    EXPECT_THAT(world.lines("W"),
                Contains("mkdir " + in("4711_A\\Housing") + " (_WIN32=1) returned -1"));
}

TEST_F(CommandsOfTheBackup, AreNotRunForNamesThatMeanSomethingToTheProcessor) {
    useTop(place_ / windows_test::pathOf(windows_test::kUmlauts + " & co"));
    EXPECT_EQ(0, service());
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_EQ("solid\n", readFile(top_ / "4711_A" / "Housing" / "housing.prt"));
    EXPECT_THAT(deleteLog(), HasSubstr(in("4711_A\\Housing\\housing.prt") + "\r\n"));
    keld_test::writeFile(top_ / "4711_A" / "Housing" / "housing.prt", "an older and longer one");
    EXPECT_EQ(0, service());
    EXPECT_THAT(commands(), IsEmpty());
    EXPECT_EQ("solid\n", readFile(top_ / "4711_A" / "Housing" / "housing.prt"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(CommandsOfTheBackup, AreNotRunForFilesWithUmlauts) {
    world.put(file_, "original_file_name", "Geh\xC3\xA4use.prt");
    EXPECT_EQ(0, service());
    EXPECT_EQ(0, service());
    EXPECT_THAT(commands(), IsEmpty());  // the directory is there, the file's name isn't plain
    EXPECT_TRUE(
        fs::exists(top_ / "4711_A" / "Housing" / windows_test::pathOf("Geh\xC3\xA4use.prt")));
}

TEST_F(CommandsOfTheBackup, ReachTheRealProcessor) {
    wchar_t system[MAX_PATH] = {};
    ASSERT_NE(0U, GetSystemDirectoryW(system, MAX_PATH));
    windows_test::setVariable(L"COMSPEC", fs::path(system) / "cmd.exe");
    EXPECT_EQ(0, service());
    EXPECT_EQ(0, service());
    EXPECT_EQ("solid\n", readFile(top_ / "4711_A" / "Housing" / "housing.prt"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}
