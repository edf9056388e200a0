// Names that try to lead out of the backup directory or into a command. None may write or delete
// anything outside the directory, and no process may be started.

#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "tests/delete/backup_world.h"

namespace {

int processes_started = 0;

}  // namespace

// The ways to start a process; what this program links finds these in place of the system's.
extern "C" {
int posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                char* const[], char* const[]) {
    ++processes_started;
    return 38;
}
int posix_spawnp(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                 char* const[], char* const[]) {
    ++processes_started;
    return 38;
}
int system(const char*) {
    ++processes_started;
    return -1;
}
FILE* popen(const char*, const char*) {
    ++processes_started;
    return nullptr;
}
}

namespace delete_test {
namespace {

constexpr std::size_t kLongestName = 128;  // of an id or a name
constexpr std::size_t kLongestFileName = 132;

// Written by hand.
const std::vector<std::string>& handMade() {
    static const std::vector<std::string> names = {"..",
                                                   ".",
                                                   "...",
                                                   ".hidden",
                                                   "a/b",
                                                   "a\\b",
                                                   "../x",
                                                   "..\\x",
                                                   "../../outside/victim.txt",
                                                   "..\\..\\outside\\victim.txt",
                                                   "/etc/passwd",
                                                   "/",
                                                   "\\",
                                                   "//",
                                                   "a/",
                                                   "/a",
                                                   "a/../../b",
                                                   "C:",
                                                   "C:\\x",
                                                   "C:x",
                                                   "a:b",
                                                   "file.txt::$DATA",
                                                   "a;rm -rf x",
                                                   "a;rm${IFS}-rf${IFS}..",
                                                   "$(x)",
                                                   "$(touch ../../outside/hit)",
                                                   "`x`",
                                                   "`touch ../../outside/hit`",
                                                   "%TEMP%",
                                                   "%TEMP%\\..\\x",
                                                   "$HOME",
                                                   "${HOME}",
                                                   "~",
                                                   "~root",
                                                   "a&b",
                                                   "a&&touch hit",
                                                   "a|b",
                                                   "a||b",
                                                   "a>b",
                                                   "a<b",
                                                   "a>>../../outside/victim.txt",
                                                   "a^&b",
                                                   "\"",
                                                   "\"a\" b",
                                                   "'",
                                                   "'; touch hit; '",
                                                   "a b",
                                                   " ",
                                                   "   ",
                                                   " a",
                                                   "a ",
                                                   "a.",
                                                   "a. ",
                                                   "-rf",
                                                   "--help",
                                                   "-",
                                                   "*",
                                                   "?",
                                                   "a*b",
                                                   "[a]",
                                                   "{a,b}",
                                                   "!",
                                                   "#",
                                                   "a\nb",
                                                   "\n",
                                                   "a\r\nb",
                                                   "a\ttab",
                                                   "a\x01"
                                                   "b",
                                                   "\x7f",
                                                   "\x1b[31m",
                                                   "CON",
                                                   "con.txt",
                                                   "NUL",
                                                   "nul",
                                                   "COM1",
                                                   "LPT9.prt",
                                                   "AUX",
                                                   "PRN",
                                                   "CONIN$",
                                                   "\xC3\xA4\xC3\xB6\xC3\xBC",
                                                   "\xE2\x80\xAE"
                                                   "gnp.exe",
                                                   "\xC0\xAE\xC0\xAE/",
                                                   "\xE0\x80\xAF",
                                                   "\xFF\xFE",
                                                   "\x80",
                                                   "\xED\xA0\x80",
                                                   "\xEF\xBC\x8F",
                                                   "\xE2\x88\x95",
                                                   "\xC2\xA0",
                                                   "\xE3\x80\x80",
                                                   "a\xC2\x85"
                                                   "b",
                                                   "delete_infodba.log",
                                                   "%s%s%s%n",
                                                   "%d",
                                                   "\\\\server\\share",
                                                   "\\\\?\\C:\\x",
                                                   "@a",
                                                   "+",
                                                   "_",
                                                   "__",
                                                   "a,b",
                                                   "a=b",
                                                   "() { :; }; touch hit"};
    return names;
}

// Pieces of such names put together, and every kind of character at full length.
std::vector<std::string> generated(std::uint32_t seed) {
    static const std::vector<std::string> pieces = {"..",      ".",
                                                    "/",       "\\",
                                                    ":",       ";",
                                                    "|",       "&",
                                                    "$(",      ")",
                                                    "`",       "%",
                                                    "\"",      "'",
                                                    " ",       "\n",
                                                    "\r",      "*",
                                                    "?",       "<",
                                                    ">",       "a",
                                                    "rm -rf ", "TEMP",
                                                    "C:",      "\t",
                                                    "~",       "^",
                                                    "CON",     "\xC3\xA4",
                                                    "\xC0",    "\xE2\x80",
                                                    "outside", "victim.txt",
                                                    "-",       "#",
                                                    "\x7f",    "\x02",
                                                    "{",       "}",
                                                    ",",       "=",
                                                    "!",       "touch hit",
                                                    "del ",    "\xF0\x9F\x98\x80"};
    std::mt19937 random(seed);
    std::vector<std::string> names;
    while (names.size() < 200) {
        std::string name;
        for (std::size_t count = 1 + random() % 12; count > 0; --count)
            name += pieces[random() % pieces.size()];
        name.resize(std::min(name.size(), kLongestName));
        names.push_back(name);
    }
    for (const std::string& piece : pieces) {
        std::string name;
        while (name.size() < kLongestName)
            name += piece;
        names.push_back(name.substr(0, kLongestName));
    }
    return names;
}

class HostileNames : public BackupWorld {
protected:
    HostileNames() {
        configureBackup();
        fs::create_directory(place / "hit");  // so that names in it lead somewhere
        fs::create_directory(outside / "deep");
        fs::current_path(outside);
    }
    ~HostileNames() override { fs::current_path("/"); }

    // Everything around the backup directory.
    Tree around() const {
        Tree tree = treeOf(place);
        std::erase_if(tree, [](const auto& each) { return each.first.starts_with("backup/"); });
        return tree;
    }
    // A dataset of an object that has this text in all of its names.
    tag_t datasetNamed(const std::string& name, int form) {
        const std::string counter = std::to_string(++made_);
        const tag_t dataset = world.dataset("plain");
        world.put(dataset, "object_name", form == 4 ? "plain" : name);
        file(dataset, form == 3 ? "plain.txt" : name, "content " + counter);
        if (form == 0 || form == 3 || form == 4) {
            const auto item = world.item("i" + counter);
            world.put(item.item, "item_id", counter + name.substr(0, 100));
            world.put(item.revision, "item_revision_id", name);
            world.bench.relate(item.revision, dataset, "VANE_specification");
        } else if (form == 1) {
            const auto item = world.item("i" + counter);
            world.put(item.item, "item_id", name);
            world.bench.relate(item.item, dataset, "VANE_specification");
            items_.push_back(item.item);
        } else {
            const tag_t folder = world.bench.createFolder("x");
            world.put(folder, "object_name", name);
            world.bench.relate(folder, dataset, "VANE_specification");
        }
        return dataset;
    }
    void tryName(const std::string& name) {
        for (int form = 0; form < 5; ++form) {
            tag_t dataset = NULLTAG;
            try {
                dataset = datasetNamed(name, form);
            } catch (const mervane::Failure&) {
                continue;  // the store itself refuses it
            }
            const int status = service({dataset});
            ++(status == 0 ? saved_ : refused_);
            // A go-ahead means that the file is there, in a path of at most three steps.
            if (status == 0) {
                const std::string content = "content " + std::to_string(made_);
                bool found = false;
                for (const auto& [path, text] : saved())
                    if (text == content) {
                        found = true;
                        EXPECT_LE(std::ranges::count(path, '/'), 2) << path;
                    }
                EXPECT_TRUE(found) << testing::PrintToString(name);
            } else {
                EXPECT_EQ(1100, status) << testing::PrintToString(name);
            }
            if (form == 1 && !items_.empty())
                world.put(items_.back(), "item_id", "done" + std::to_string(made_));
            std::error_code ignored;
            for (const auto& entry : fs::directory_iterator(top))
                fs::remove_all(entry.path(), ignored);
        }
    }
    void expectUntouched(const std::vector<std::string>& names) {
        processes_started = 0;
        const Tree before = around();
        for (const std::string& name : names)
            tryName(name);
        EXPECT_EQ(before, around());
        EXPECT_EQ(0, processes_started);
        EXPECT_FALSE(fs::exists("/hit"));
        std::printf("%zu names: %d saved, %d refused\n", names.size(), saved_, refused_);
        EXPECT_GE(saved_, static_cast<int>(names.size()));
    }

    int made_ = 0, saved_ = 0, refused_ = 0;
    std::vector<tag_t> items_;
};

}  // namespace

TEST_F(HostileNames, TheCountingOfProcessesWorks) {
    processes_started = 0;
    EXPECT_NE(0, system("true"));
    EXPECT_EQ(1, processes_started);
}

TEST_F(HostileNames, NamesWrittenByHandStayInTheDirectory) {
    ASSERT_GE(handMade().size(), 50u);
    expectUntouched(handMade());
}

TEST_F(HostileNames, GeneratedNamesStayInTheDirectory) {
    std::uint32_t seed = 20110307;
    if (const char* given = std::getenv("KELD_TEST_SEED"))
        seed = static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10));
    std::printf("seed %u (KELD_TEST_SEED replays it)\n", seed);
    const auto names = generated(seed);
    ASSERT_GE(names.size(), 200u);
    expectUntouched(names);
}

TEST_F(HostileNames, UserIdsStayInTheDirectory) {
    const Tree before = around();
    const tag_t dataset = world.dataset("drawing");
    file(dataset, "a.txt", "x");
    const tag_t user = world.bench.find({"infodba", "User", "", 0}).front().tag;
    for (const char* id : {"../outside/victim", "..", "/tmp/x", "a/b", "C:\\x", "a\nb", "con"}) {
        world.put(user, "user_id", id);
        EXPECT_EQ(0, service({dataset})) << id;
    }
    EXPECT_EQ(before, around());
    EXPECT_EQ(fs::is_regular_file(top / "delete_..%2Foutside%2Fvictim.log"), true);
}

// ---- links and other things planted in the tree ----

class PlantedObjects : public HostileNames {
protected:
    PlantedObjects() {
        revision = world.item("1").revision;
        dataset = drawing(revision);
        before = around();
    }
    void expectRefused(int status) {
        const int answer = service({dataset});
        EXPECT_EQ(status, answer);
        EXPECT_EQ(before, around());
        EXPECT_EQ("", deleteLog());
    }

    tag_t revision = NULLTAG, dataset = NULLTAG;
    Tree before;
};

TEST_F(PlantedObjects, ALinkAtTheDirectorysPlaceIsNotFollowed) {
    fs::permissions(outside / "deep", fs::perms::owner_all);
    fs::create_directory(top / "1_A");
    fs::create_directory_symlink(outside / "deep", top / "1_A/drawing");
    expectRefused(1100);
    EXPECT_EQ(fs::perms::owner_all, fs::status(outside / "deep").permissions());
    EXPECT_THAT(stack().back().text, testing::HasSubstr(path("1_A/drawing")));
    EXPECT_EQ(2u, world.lines("W").size());
}

TEST_F(PlantedObjects, ALinkAtTheParentsPlaceIsNotFollowed) {
    fs::create_directory_symlink(outside / "deep", top / "1_A");
    expectRefused(1100);
    fs::create_directory(outside / "deep/drawing");
    before = around();
    expectRefused(1100);
}

TEST_F(PlantedObjects, ALinkToNowhereIsNotFollowed) {
    fs::create_directory(top / "1_A");
    fs::create_symlink(outside / "new", top / "1_A/drawing");
    expectRefused(1100);
    EXPECT_FALSE(fs::exists(outside / "new"));
}

TEST_F(PlantedObjects, ALinkAtTheFilesPlaceIsNeitherFollowedNorDeleted) {
    fs::create_directories(top / "1_A/drawing");
    fs::create_symlink(outside / "victim.txt", top / "1_A/drawing/drawing.txt");
    expectRefused(710024);
    EXPECT_TRUE(fs::is_symlink(top / "1_A/drawing/drawing.txt"));
    EXPECT_THAT(world.lines("W"), testing::ElementsAre("del " + path("1_A/drawing/drawing.txt") +
                                                       " (_WIN32=0) returned -1"));
}

TEST_F(PlantedObjects, ADirectoryOrDeviceAtTheFilesPlaceIsNotDeleted) {
    fs::create_directories(top / "1_A/drawing/drawing.txt");
    writeFile(top / "1_A/drawing/drawing.txt/inside", "kept");
    expectRefused(710024);
    EXPECT_EQ("kept", readFile(top / "1_A/drawing/drawing.txt/inside"));
    fs::remove_all(top / "1_A/drawing/drawing.txt");
    ASSERT_EQ(0, mkfifo((top / "1_A/drawing/drawing.txt").c_str(), 0600));
    expectRefused(710024);
    EXPECT_TRUE(fs::is_fifo(top / "1_A/drawing/drawing.txt"));
}

TEST_F(PlantedObjects, AHardLinkAtTheFilesPlaceLosesOnlyItsName) {
    fs::create_directories(top / "1_A/drawing");
    fs::create_hard_link(outside / "victim.txt", top / "1_A/drawing/drawing.txt");
    EXPECT_EQ(0, service({dataset}));
    EXPECT_EQ("sheet 1\n", saved().at("1_A/drawing/drawing.txt"));
    EXPECT_EQ("precious", readFile(outside / "victim.txt"));
}

TEST_F(PlantedObjects, ALinkAtTheLogsPlaceIsNotFollowed) {
    fs::create_symlink(outside / "victim.txt", top / "delete_infodba.log");
    EXPECT_EQ(0, service({dataset}));
    EXPECT_EQ(before, around());
    EXPECT_EQ("sheet 1\n", saved().at("1_A/drawing/drawing.txt"));
    EXPECT_THAT(
        world.lines("E"),
        testing::ElementsAre("The delete log " + path("delete_infodba.log") + " can't be opened"));
}

TEST_F(PlantedObjects, TheTopDirectoryItselfMayBeALink) {
    fs::create_directory_symlink(top, place / "link");
    configureBackup((place / "link").string());
    EXPECT_EQ(0, service({dataset}));
    EXPECT_EQ("sheet 1\n", saved().at("1_A/drawing/drawing.txt"));
}

// ---- names that meet, names that are too long ----

TEST_F(HostileNames, DatasetsWhoseNamesMeetWhenCleanedShareADirectory) {
    const tag_t revision = world.item("1").revision;
    const tag_t first = drawing(revision, "a/b", "first.txt", "1");
    const tag_t second = drawing(revision, "a:b", "second.txt", "2");
    const tag_t third = drawing(revision, "a_b", "first.txt", "3");
    EXPECT_EQ(0, service({first, second, third}));
    EXPECT_EQ("3", saved().at("1_A/a_b/first.txt"));  // the later one, as of one dataset
    EXPECT_EQ("2", saved().at("1_A/a_b/second.txt"));
    EXPECT_EQ(3, std::ranges::count(deleteLog(), '\n'));
}

TEST_F(HostileNames, ADirectoryNameLongerThanTheFileSystemAllowsIsRefused) {
    const auto item = world.item(std::string(128, 'i'));
    world.put(item.revision, "item_revision_id", std::string(128, 'r'));  // 257 with the sign
    const Tree before = treeOf(top);
    EXPECT_EQ(1100, service({drawing(item.revision)}));
    EXPECT_THAT(saved(), testing::IsEmpty());
    EXPECT_THAT(stack().back().text, testing::HasSubstr(std::string(128, 'r')));
}

TEST_F(HostileNames, ATopDirectoryThatLeavesNoRoomForAPathIsRefused) {
    const tag_t dataset = drawing(world.item("1").revision, "drawing", std::string(132, 'f'));
    for (const std::size_t length : {900u, 960u, 980u, 1000u, 1024u, 2000u, 100000u}) {
        std::string directory = top.string();
        while (directory.size() + 100 < length)
            directory += "/" + std::string(90, 'd');
        directory += "/" + std::string(length - directory.size() - 1, 'e');
        const int status = PerformCentralBackup(dataset, NULLTAG, directory.c_str(), nullptr);
        // 12 characters for the directory, 133 for the file, 26 for the longest command.
        const int expected = length + 12 + 26 > 1024 ? 1100 : length + 12 + 133 > 1024 ? 2010 : 0;
        EXPECT_EQ(expected, status) << length;
    }
}

}  // namespace delete_test
