// The environment and temporary files, as the workbench and keld see them.

#include "workbench/system/system.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;
using namespace mervane;

namespace {

// The temporary directory is where the environment says; afterwards it is what it was.
class TemporaryDirectoryAt {
public:
    explicit TemporaryDirectoryAt(const std::string& path) { say(path); }
    ~TemporaryDirectoryAt() { say(before_); }

private:
    static void say(const std::string& path) {
        for (const char* variable : {"TMPDIR", "TMP"})
            system::setEnvironment(variable, path);
    }
    const std::string before_ = fs::temp_directory_path().string();
};

}  // namespace

TEST(System, AVariableOfTheEnvironmentIsReadAsItWasSet) {
    EXPECT_FALSE(system::isSet("MERVANE_TEST_VARIABLE"));
    EXPECT_EQ(system::environment("MERVANE_TEST_VARIABLE"), "");
    for (const char* value : {"plain", "K\xC3\xB6rper = \xE2\x82\xAC"}) {
        system::setEnvironment("MERVANE_TEST_VARIABLE", value);
        EXPECT_TRUE(system::isSet("MERVANE_TEST_VARIABLE"));
        EXPECT_EQ(system::environment("MERVANE_TEST_VARIABLE"), value);
    }
}

TEST(System, ATemporaryFileIsEmptyAndHasANameOfItsOwn) {
    const std::string one = system::makeTemporaryFile("one-system");
    const std::string other = system::makeTemporaryFile("one-system");
    EXPECT_NE(one, other);
    for (const std::string& each : {one, other}) {
        EXPECT_TRUE(system::regularFileAt(each)) << each;
        EXPECT_EQ(fs::file_size(system::pathOf(each)), 0U);
        const fs::path name = system::pathOf(each).filename();
        EXPECT_TRUE(name.string().starts_with("one-system-")) << each;
        EXPECT_TRUE(system::removeFile(each));
    }
}

TEST(System, ATemporaryDirectoryIsEmptyAndHasANameOfItsOwn) {
    const std::string one = system::makeTemporaryDirectory("one-system");
    const std::string other = system::makeTemporaryDirectory("one-system");
    EXPECT_NE(one, other);
    for (const std::string& each : {one, other}) {
        EXPECT_TRUE(fs::is_directory(system::pathOf(each))) << each;
        const fs::path name = system::pathOf(each).filename();
        EXPECT_TRUE(name.string().starts_with("one-system-")) << each;
        EXPECT_TRUE(fs::remove(system::pathOf(each))) << "it isn't empty";
    }
}

TEST(System, NothingTemporaryIsMadeWithoutATemporaryDirectory) {
    const TemporaryDirectoryAt nowhere((fs::temp_directory_path() / "no such directory").string());
    EXPECT_EQ(system::makeTemporaryFile("one-system"), "");
    EXPECT_EQ(system::makeTemporaryDirectory("one-system"), "");
}
