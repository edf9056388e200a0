// The commands that README and docs show are run unchanged, in one directory per file, and must
// print what the document shows. A shown line of "..." matches any lines.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/places.h"
#ifdef KELD_ON_SERVER
#include "tests/support/store_kind.h"
#endif

namespace {

namespace fs = std::filesystem;

struct Step {
    int line = 0;
    std::string command;
    std::vector<std::string> shown;
};

// The steps of all blocks marked "console", in order.
std::vector<Step> stepsOf(std::istream& document) {
    std::vector<Step> steps;
    bool inside = false;
    int number = 0;
    for (std::string line; std::getline(document, line);) {
        ++number;
        if (line.rfind("```", 0) == 0) {
            inside = !inside && line == "```console";
        } else if (inside && line.rfind("$ ", 0) == 0) {
            steps.push_back({number, line.substr(2), {}});
        } else if (inside && !steps.empty()) {
            steps.back().shown.push_back(line);
        }
    }
    return steps;
}

// What differs from run to run: times, process ids and the directory that the run happens in.
std::string normalised(std::string text, const fs::path& directory) {
    for (std::size_t at; (at = text.find(directory.string())) != std::string::npos;)
        text.replace(at, directory.string().size(), "~/keld-tour");
    static const std::regex time(
        R"(\d{4}-\d\d-\d\d[ T]\d\d:\d\d(:\d\d(\.\d+)?)?|[A-Z][a-z]{2} [ \d]\d \d{4} \d\d:\d\d:\d\d)");
    text = std::regex_replace(text, time, "<time>");
    static const std::regex job(R"(STATMGR_\d+)");
    text = std::regex_replace(text, job, "STATMGR_<time>");
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

bool matches(const std::vector<std::string>& shown, std::size_t s,
             const std::vector<std::string>& printed, std::size_t p) {
    if (s == shown.size())
        return p == printed.size();
    if (shown[s] == "...") {
        for (std::size_t skip = p; skip <= printed.size(); ++skip)
            if (matches(shown, s + 1, printed, skip))
                return true;
        return false;
    }
    return p < printed.size() && shown[s] == printed[p] && matches(shown, s + 1, printed, p + 1);
}

std::string joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const auto& line : lines)
        all += "    " + line + "\n";
    return all;
}

// A progress line, which a slow machine may print.
bool isProgress(const std::string& line) {
    const std::size_t at = line.find(" ... ");
    if (!line.starts_with("keld: ") || at == std::string::npos)
        return false;
    const std::size_t number = at + 5, unit = line.find_first_not_of("0123456789", number);
    return unit != std::string::npos && unit > number && line.compare(unit, 2, " s") == 0 &&
           (unit + 2 == line.size() || line[unit + 2] == ',');
}

// Run the steps of a document in the directory; the differences as text, empty if there are none.
// `before`: what the shell is told first, each time.
std::string run(const std::vector<Step>& steps, const keld_test::Directory& directory,
                const std::string& before = "") {
    for (const char* name : {"samples", "docs"})
        fs::create_directory_symlink(fs::path(KELD_SOURCE_DIR) / name, directory / name);
    std::string differences;
    const std::string prologue =
        "cd '" + directory.string() +
        "' && export PATH='" KELD_PROGRAM_DIR
        ":'\"$PATH\" TZ=UTC LC_ALL=C && unset KELD_CFG_PATH KELD_LOG_FILE KELD_LOG_LEVEL "
        "MERVANE_STORE && exec 2>&1 </dev/null && " +
        before;
    for (const Step& step : steps) {
        std::vector<std::string> printed;
        FILE* pipe = popen((prologue + step.command).c_str(), "r");
        if (!pipe)
            return "popen failed";
        std::string text;
        char buffer[4096];
        for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            text.append(buffer, n);
        pclose(pipe);
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            if (!isProgress(line))
                printed.push_back(normalised(line, directory.path()));
        std::vector<std::string> shown;
        for (const auto& line : step.shown)
            shown.push_back(normalised(line, directory.path()));
        while (!shown.empty() && shown.back().empty())
            shown.pop_back();
        while (!printed.empty() && printed.back().empty())
            printed.pop_back();
        if (!matches(shown, 0, printed, 0))
            differences += "line " + std::to_string(step.line) + ": $ " + step.command +
                           "\n  shown:\n" + joined(shown) + "  printed:\n" + joined(printed);
    }
    return differences;
}

std::string run(const std::vector<Step>& steps) {
    const keld_test::Directory directory;
    return run(steps, directory);
}

std::vector<Step> stepsOf(const char* document) {
    std::ifstream file(fs::path(KELD_SOURCE_DIR) / document);
    return stepsOf(file);
}

class Document : public testing::TestWithParam<const char*> {};

TEST_P(Document, ShowsWhatItsCommandsPrint) {
    const std::vector<Step> steps = stepsOf(GetParam());
    ASSERT_FALSE(steps.empty()) << GetParam() << " shows no commands";
    EXPECT_EQ(run(steps), "");
}

INSTANTIATE_TEST_SUITE_P(Console, Document,
                         testing::Values("README.md", "docs/job-files.md", "docs/cookbook.md",
                                         "docs/configuration.md"));

#ifdef KELD_ON_SERVER
// The page's commands find the server of KELD_TEST_SERVER where they look for one, and its
// administrator behind "sudo".
class ServerPage : public testing::Test {
protected:
    void SetUp() override {
        const std::string address = keld_test::serverAddress(), host = "?host=";
        const std::size_t at = address.find(host);
        ASSERT_NE(at, std::string::npos) << address;
        before_ = "export PGHOST='" + address.substr(at + host.size()) + "' PATH='" +
                  directory_.string() + "/bin':\"$PATH\" && ";
        fs::create_directory(directory_ / "bin");
        keld_test::writeFile(directory_ / "bin/sudo",
                             "#!/bin/sh\n"
                             "[ \"$1\" != apt-get ] || exit 0\n"
                             "shift 2\n"
                             "PGUSER=keld exec \"$@\"\n");
        fs::permissions(directory_ / "bin/sudo", fs::perms::owner_all);
        removeWhatThePageMakes();
    }
    void TearDown() override { removeWhatThePageMakes(); }
    void removeWhatThePageMakes() const {
        std::string commands = "export PGUSER=keld; ";
        for (const char* database : {"plant", "plant_again"})
            commands += "dropdb --if-exists --force " + std::string(database) + "; ";
        for (const char* user : {"workshop", "designer", "visitor"})
            commands += "dropuser --if-exists " + std::string(user) + "; ";
        FILE* pipe = popen(("{ " + before_ + commands + "} >/dev/null 2>&1").c_str(), "r");
        ASSERT_TRUE(pipe);
        EXPECT_EQ(pclose(pipe), 0);
    }
    const keld_test::Directory directory_;
    std::string before_;
};

TEST_F(ServerPage, ShowsWhatItsCommandsPrint) {
    const std::vector<Step> steps = stepsOf("docs/store-server.md");
    ASSERT_GE(steps.size(), 10u);
    EXPECT_EQ(run(steps, directory_, before_), "");
}
#endif

TEST(ConsoleBlocks, OnlyWhatTellsOfProgressIsLeftOut) {
    EXPECT_TRUE(isProgress("keld: running the cases ... 2 s"));
    EXPECT_TRUE(isProgress("keld: importing a.csv ... 12 s, 300 rows"));
    EXPECT_FALSE(isProgress("keld: refused ... x s"));
    EXPECT_FALSE(isProgress("keld: log: a ... 2 seconds"));
    EXPECT_FALSE(isProgress("running ... 2 s"));
}

TEST(ConsoleBlocks, ADifferenceIsFound) {
    std::istringstream document("```console\n$ echo one; echo two\none\nthree\n```\n");
    EXPECT_NE(run(stepsOf(document)), "");
}

TEST(ConsoleBlocks, TimesAndSkippedLinesDoNotCount) {
    std::istringstream document(
        "```console\n$ echo a; echo b; echo c; echo 2001-02-03 04:05:06\na\n...\n1999-01-01 "
        "00:00:00\n```\n```\n$ false\n```\n");
    EXPECT_EQ(run(stepsOf(document)), "");
}

}  // namespace
