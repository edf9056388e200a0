// What the sources read by name from the environment and from preferences is told to
// administrators.

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "tests/support/files.h"
#include "tests/support/places.h"

namespace {

namespace fs = std::filesystem;

std::set<std::string> matches(const std::string& text, const std::string& pattern) {
    std::set<std::string> found;
    const std::regex expression(pattern);
    for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it)
        found.insert((*it)[1]);
    return found;
}

TEST(SettingNames, EveryVariableAndPreferenceThatTheLibrariesReadIsInTheListOfSettings) {
    std::string sources;
    for (const auto& entry : fs::recursive_directory_iterator(KELD_SOURCE_DIR "/src"))
        if (entry.path().extension() == ".cpp")
            sources += keld_test::readText(entry.path());
    std::set<std::string> names = matches(sources, "GetEnv\\(\"([A-Z_]+)\"");
    names.merge(matches(
        sources,
        "\"((?:KELD_(?:CFG|LOG|DISABLE|DEL|CopyAttributes_)|ART_id_|PackAndResequenceBOM\\.|MV_TMP)"
        "[A-Za-z_]*)\""));
    ASSERT_GE(names.size(), 20u);
    const std::string settings = keld_test::readText(KELD_SOURCE_DIR "/docs/settings.md");
    for (const std::string& name : names)
        EXPECT_NE(settings.find("`" + name + "`"), std::string::npos)
            << name << " is read, but isn't in docs/settings.md";
}

}  // namespace
