// Files that are damaged or replaced, and processes that have the same number.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "tests/injection/program_run.h"
#include "tests/injection/sandbox.h"
#include "tests/support/files.h"

using namespace injection;
using keld_test::readFile;
using keld_test::writeFile;

namespace {

using Damage = std::function<void(const std::string&)>;

struct Kind {
    const char* name;
    Damage damage;
};

void replace(const std::string& path, const std::function<int(const char*)>& make) {
    fs::remove_all(path);
    ASSERT_EQ(make(path.c_str()), 0) << path;
}

const Kind kKinds[] = {
    {"missing", [](const auto& path) { fs::remove_all(path); }},
    {"empty", [](const auto& path) { writeFile(path, ""); }},
    {"cut", [](const auto& path) { fs::resize_file(path, fs::file_size(path) / 2); }},
    {"changed",
     [](const auto& path) {
         std::string bytes = readFile(path);
         for (std::size_t i = bytes.size() / 3; i < bytes.size(); i += 97)
             bytes[i] = static_cast<char>(bytes[i] ^ 0x5A);
         writeFile(path, bytes);
     }},
    {"something else", [](const auto& path) { writeFile(path, std::string(20'000, 'x') + "\n"); }},
    {"directory",
     [](const auto& path) { replace(path, [](const char* at) { return ::mkdir(at, 0700); }); }},
    {"pipe",
     [](const auto& path) { replace(path, [](const char* at) { return ::mkfifo(at, 0600); }); }},
    {"link to an endless device",
     [](const auto& path) {
         replace(path, [](const char* at) { return ::symlink("/dev/zero", at); });
     }},
    {"link to itself",
     [](const auto& path) {
         replace(path, [&](const char* at) { return ::symlink(path.c_str(), at); });
     }},
};

class OneFile : public testing::TestWithParam<const char*> {
protected:
    // Whether a new file repairs the damage: the store itself can't be made anew.
    static bool isReplaceable(const std::string& name) { return name != "keld.db"; }
    static std::string prepared(const Sandbox& sandbox, const std::string& name) {
        if (name != "keld.db.volume/*")
            return sandbox.path(name);
        for (const auto& entry : fs::directory_iterator(sandbox.path("keld.db.volume")))
            if (readFile(entry.path()) == "sheet 1\n")
                return entry.path().string();
        return "";
    }
};

}  // namespace

// Whatever happens to the file, no program hangs, ends by a signal or says nothing. All damage but
// that of the store itself is gone when the file is restored.
TEST_P(OneFile, IsDamagedOrReplacedWithoutHarm) {
    const Sandbox sandbox;
    const std::string name = GetParam();
    const State before = sandbox.state();
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(name + ": " + kind.name);
        sandbox.renew();
        const std::string path = prepared(sandbox, name);
        if (!fs::exists(path))
            writeFile(path, std::string(5000, 'y'));
        const std::string kept = path + ".kept";
        fs::copy(path, kept, fs::copy_options::recursive);
        if (fs::is_directory(path) && std::string(kind.name) != "missing")
            fs::remove_all(path);
        if (!fs::exists(path) && std::string(kind.name) == "cut")
            writeFile(path, "cut");
        kind.damage(path);
        const std::vector<std::vector<std::string>> commands = {
            {"cat", "000100/A:drawing"}, {"check"}, {"load", "loaded.json"}};
        for (const auto& command : commands) {
            const Result result = runKeld(sandbox.directory(), command);
            EXPECT_FALSE(result.hung) << command[0];
            EXPECT_LE(result.exit_code, 1) << command[0] << "\n" << result.out << result.err;
            EXPECT_TRUE(result.exit_code == 0 || !(result.out + result.err).empty()) << command[0];
            EXPECT_TRUE(command[0] != "cat" || result.exit_code != 0 || result.out == "sheet 1\n")
                << result.out;
        }
        if (!isReplaceable(name))
            continue;
        fs::remove_all(path);
        fs::rename(kept, path);
        const State after = sandbox.state();
        EXPECT_EQ(after.failure, "");
        EXPECT_EQ(after.errors, std::vector<std::string>());
        EXPECT_TRUE(after.world == before.world ||
                    after.world.find("loaded text") != std::string::npos)
            << "as before, or with what was loaded";
    }
}
INSTANTIATE_TEST_SUITE_P(Of, OneFile,
                         testing::Values("keld.db", "keld.db-wal", "keld.db-locks",
                                         "keld.db-locks-guard", "keld.db-locks-held",
                                         "keld.db-sessions", "keld.db.volume/*",
                                         "keld.db.volume/.hold", "loaded.json", "keld.log"),
                         [](const auto& each) {
                             std::string name;
                             for (const char* c = each.param; *c; ++c)
                                 name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
                             return name;
                         });

// Containers and machines that share a store have processes of one number.
TEST(EqualNumbers, OfProcessesHarmNothing) {
    const Sandbox sandbox;
    constexpr int kProcesses = 6, kRounds = 4;
    for (int round = 0; round < kRounds; ++round) {
        std::vector<std::unique_ptr<ProgramRun>> runs;
        for (int i = 0; i < kProcesses; ++i) {
            const std::string id = "E" + std::to_string(round) + std::to_string(i);
            writeFile(
                sandbox.path(id + ".json"),
                R"({"world": 1, "items": [{"id": ")" + id +
                    R"(", "revisions": [{"id": "A", "datasets": [{"type": "Text", "name": "n",)" +
                    R"("files": [{"reference": "Text", "name": "n.txt", "text": "words of )" + id +
                    R"("}]}]}]}]})");
            runs.push_back(std::make_unique<ProgramRun>(
                sandbox.directory(), std::vector<std::string>{"load", id + ".json"},
                Environment{{"KELD_CALLS_PROCESS", "4711"}, {"MERVANE_WAIT_MS", "30000"}}));
        }
        for (auto& run : runs) {
            const Result result = run->wait();
            EXPECT_EQ(result.exit_code, 0) << result.err;
        }
    }
    const State state = sandbox.state();
    EXPECT_EQ(state.failure, "");
    EXPECT_EQ(state.errors, std::vector<std::string>());
    for (int round = 0; round < kRounds; ++round)
        for (int i = 0; i < kProcesses; ++i)
            EXPECT_NE(state.world.find("words of E" + std::to_string(round) + std::to_string(i)),
                      std::string::npos);
}

TEST(Interposer, GivesTheNumberThatItIsTold) {
    const Sandbox sandbox;
    ProgramRun run(sandbox.directory(), {"prefs", "set", "A", "b"},
                   {{"KELD_CALLS_PROCESS", "4711"}, {"KELD_CALLS_AT", "pwrite:9:STOP"}});
    ASSERT_TRUE(run.waitForStop()) << "and stops where it is told";
    const Result other = runKeld(sandbox.directory(), {"prefs", "set", "C", "d"});
    run.send(SIGCONT);
    EXPECT_EQ(run.wait().exit_code, 0);
    EXPECT_EQ(other.exit_code, 1) << other.out;
    EXPECT_NE(other.err.find("for more than 0.4 s"), std::string::npos) << other.err;
}
