// The page that says what is proven where names every command, and none that isn't there.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "tests/support/files.h"
#include "tests/support/places.h"

namespace {

namespace fs = std::filesystem;

// The names after "scripts/" in a text.
std::set<std::string> named(const std::string& text) {
    std::set<std::string> names;
    const std::regex expression("scripts/([a-z-]+(?:\\.sh)?)");
    for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it)
        names.insert((*it)[1]);
    return names;
}

TEST(ProofPage, NamesEveryCommandAndNoneThatIsNotThere) {
    std::set<std::string> there;
    for (const auto& entry : fs::directory_iterator(KELD_SOURCE_DIR "/scripts"))
        there.insert(entry.path().filename().string());
    ASSERT_GE(there.size(), 10u);
    EXPECT_EQ(named(keld_test::readText(KELD_SOURCE_DIR "/docs/proof.md")), there);
}

// The first table of the page is what is run; a step that CI loses is lost here, too.
TEST(ProofPage, TellsTheStepsThatEveryRunTakes) {
    const std::string page = keld_test::readText(KELD_SOURCE_DIR "/docs/proof.md");
    const std::size_t first = page.find("## In every CI run"),
                      second = page.find("## By a command");
    ASSERT_LT(first, second);
    const std::string run = keld_test::readText(KELD_SOURCE_DIR "/.ci/run");
    const std::string steps = page.substr(first, second - first);
    const std::regex row("\n\\| `([^`]+)`");
    int rows = 0;
    for (std::sregex_iterator it(steps.begin(), steps.end(), row), end; it != end; ++it, ++rows)
        EXPECT_NE(run.find((*it)[1].str()), std::string::npos) << (*it)[1] << " isn't in .ci/run";
    EXPECT_GE(rows, 6);
}

}  // namespace
