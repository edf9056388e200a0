#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "os/keld_os.h"
#include "platform/keld_qsktool.h"
#include "tests/support/world.h"

using world::World;

namespace {

std::string cleaned(std::string text) {
    text.resize(std::strlen(text.c_str()));
    KELD_RepSpecialChar(text.data());
    return text;
}

struct Extended {
    int status;
    std::string path;
};

// With one buffer for both, as the callers do.
Extended extended(const std::string& path) {
    char buffer[1024] = "";
    std::strcpy(buffer, path.c_str());
    const int status = KELD_ExtendPathVar(buffer, buffer);
    return {status, buffer};
}

class FileNames : public testing::Test {
protected:
    FileNames() { dataset = world.dataset("drawing 1"); }
    std::string build(const char* directory, const char* extension, bool only_pid, int counter,
                      int expected = 0) {
        char path[256];
        std::memset(path, '#', sizeof(path));
        EXPECT_EQ(expected,
                  KELD_buildFileNameNew(dataset, directory, path, extension, only_pid, counter));
        return path;
    }

    World world;
    tag_t dataset = NULLTAG;
    const std::string sep = keld_os::szPathSeparator;
    const std::string pid = std::to_string(::getpid());
};

}  // namespace

TEST(CleanNames, LettersDigitsAndAFewSignsStay) {
    EXPECT_EQ("abcXYZ019.-_+@", cleaned("abcXYZ019.-_+@"));
    EXPECT_EQ("", cleaned(""));
    KELD_RepSpecialChar(nullptr);
}

TEST(CleanNames, EveryOtherAsciiCharacterBecomesAnUnderscore) {
    for (int c = 1; c < 128; ++c) {
        const char one = static_cast<char>(c);
        const bool stays = std::isalnum(c) != 0 || std::strchr("-_+@", c) != nullptr || c == '.';
        EXPECT_EQ(std::string("a") + (stays ? one : '_') + "b",
                  cleaned(std::string("a") + one + "b"))
            << c;
    }
}

TEST(CleanNames, WellFormedUtf8StaysAndAnyOtherByteDoesNot) {
    for (const char* text : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xED\x9F\xBF"})
        EXPECT_EQ(text, cleaned(text));
    EXPECT_EQ("_", cleaned("\xC3"));
    EXPECT_EQ("_a", cleaned("\xC3"
                            "a"));
    EXPECT_EQ("__", cleaned("\xC0\x80"));            // overlong
    EXPECT_EQ("___", cleaned("\xE0\x80\x80"));       // overlong
    EXPECT_EQ("___", cleaned("\xED\xA0\x80"));       // a surrogate
    EXPECT_EQ("____", cleaned("\xF4\x90\x80\x80"));  // beyond the last character
    EXPECT_EQ("____", cleaned("\xF0\x80\x80\x80"));
    EXPECT_EQ("_", cleaned("\xA4"));
    EXPECT_EQ("__", cleaned("\xE2\x82"));
    EXPECT_EQ("_", cleaned("\xFF"));
}

TEST(CleanNames, NoNameLeavesItsDirectory) {
    EXPECT_EQ("_", cleaned("."));
    EXPECT_EQ("__", cleaned(".."));
    EXPECT_EQ("_._", cleaned("..."));
    EXPECT_EQ("_.__etc", cleaned("../_etc"));
    EXPECT_EQ("_hidden", cleaned(".hidden"));
    EXPECT_EQ("name_", cleaned("name."));
    EXPECT_EQ("C__Windows", cleaned("C:\\Windows"));
}

TEST(CleanNames, NoNameMeansADevice) {
    for (const char* name : {"CON", "con", "Nul", "PRN", "aux.txt", "COM1", "lpt9.a.b",
                             "COM\xC2\xB9", "COM\xC2\xB2", "lpt\xC2\xB3.txt"})
        EXPECT_EQ("_" + std::string(name).substr(1), cleaned(name));
    for (const char* name :
         {"CONS", "COM", "COM10", "xCON", "a.con", "LPTx", "COM\xC2\xB4", "COM-"})
        EXPECT_EQ(name, cleaned(name));
}

TEST(CleanNames, CleaningTwiceChangesNothingMore) {
    const std::string bytes = "CONcom1.\xC3\xA4 /\\%$&\xE2\x82\xAC..:";
    unsigned seed = 1;
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (int i = 0; i < 12; ++i) {
            seed = seed * 1664525u + 1013904223u;
            text += bytes[(seed >> 16) % bytes.size()];
        }
        const std::string once = cleaned(text);
        EXPECT_EQ(once, cleaned(once)) << "seed of round " << round;
        EXPECT_EQ(std::strlen(text.c_str()), once.size());
    }
}

TEST(PathVariables, AreReplacedByTheEnvironment) {
    ::setenv("KELD_TEST_DIR", "/data", 1);
    ::setenv("KELD_TEST_EMPTY", "", 1);
    EXPECT_EQ("/data/jobs", extended("%KELD_TEST_DIR%/jobs").path);
    EXPECT_EQ("x/data/data/", extended("x%KELD_TEST_DIR%%KELD_TEST_DIR%/").path);
    EXPECT_EQ("ab", extended("a%KELD_TEST_EMPTY%b").path);
}

TEST(PathVariables, HaveTheDollarFormsOutsideWindows) {
    ::setenv("KELD_TEST_DIR", "/data", 1);
    const auto shown = [](const char* windows, const char* elsewhere) {
        return keld_os::bWindows ? windows : elsewhere;
    };
    EXPECT_EQ(shown("$KELD_TEST_DIR/jobs", "/data/jobs"), extended("$KELD_TEST_DIR/jobs").path);
    EXPECT_EQ(shown("${KELD_TEST_DIR}jobs", "/datajobs"), extended("${KELD_TEST_DIR}jobs").path);
    EXPECT_EQ(shown("x/data$KELD_TEST_DIR/", "x/data/data/"),
              extended("x%KELD_TEST_DIR%$KELD_TEST_DIR/").path);
}

TEST(PathVariables, UnsetOnesStayAsWritten) {
    ::unsetenv("KELD_TEST_NONE");
    ::setenv("KELD_TEST_DIR", "/data", 1);
    for (const char* path :
         {"", "a", "%KELD_TEST_NONE%", "$KELD_TEST_NONE/x", "${KELD_TEST_NONE}", "100%", "%%", "%",
          "$", "${", "${}", "$/", "a$", "${KELD_TEST_DIR", "${KELD_TEST_DIR/x}"})
        EXPECT_EQ(path, extended(path).path);
    EXPECT_EQ("%KELD_TEST_NONE/data", extended("%KELD_TEST_NONE%KELD_TEST_DIR%").path);
}

TEST(PathVariables, AValueIsNotExtendedAgain) {
    ::setenv("KELD_TEST_A", "%KELD_TEST_B%", 1);
    ::setenv("KELD_TEST_B", "b", 1);
    EXPECT_EQ("%KELD_TEST_B%", extended("%KELD_TEST_A%").path);
}

TEST(PathVariables, AResultOf1023CharactersIsWholeAndALongerOneAFailure) {
    ::setenv("KELD_TEST_LONG", std::string(1020, 'x').c_str(), 1);
    EXPECT_EQ(0, extended("%KELD_TEST_LONG%abc").status);
    EXPECT_EQ(1023u, extended("%KELD_TEST_LONG%abc").path.size());
    const Extended failed = extended("%KELD_TEST_LONG%abcd");
    EXPECT_EQ(2010, failed.status);
    EXPECT_EQ("%KELD_TEST_LONG%abcd", failed.path);  // never cut
    char out[1024] = "before";
    EXPECT_EQ(0, KELD_ExtendPathVar(nullptr, out));
    EXPECT_STREQ("", out);
    EXPECT_NE(0, KELD_ExtendPathVar("a", nullptr));
}

TEST_F(FileNames, HaveTheIdTheProcessAndTheCounter) {
    EXPECT_EQ("/jobs" + sep + "drawing_1_" + pid + "_0001.job", build("/jobs", "job", false, 1));
    EXPECT_EQ("/jobs" + sep + "drawing_1_" + pid + "_12345.job",
              build("/jobs", "job", false, 12345));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(FileNames, HaveTheProcessAloneIfAsked) {
    const auto calls = world.calls(
        [&] { EXPECT_EQ("/jobs" + sep + pid + "_0007.job", build("/jobs", "job", true, 7)); });
    EXPECT_TRUE(calls.empty());
}

TEST_F(FileNames, TakeAtMost64BytesOfTheIdOnAWholeCharacter) {
    world.put(dataset, "object_name", std::string(63, 'x') + "\xC3\xA4z");
    EXPECT_EQ("/jobs" + sep + std::string(63, 'x') + "_" + pid + "_0001.job",
              build("/jobs", "job", false, 1));
    world.put(dataset, "object_name", std::string(62, 'x') + "\xC3\xA4z");
    EXPECT_EQ("/jobs" + sep + std::string(62, 'x') + "\xC3\xA4_" + pid + "_0001.job",
              build("/jobs", "job", false, 1));
}

TEST_F(FileNames, ThatDoNotFitAreAFailureAndEmpty) {
    const std::string tail = sep + pid + "_0001.job";
    const std::string directory(255 - tail.size(), 'd');
    EXPECT_EQ(directory + tail, build(directory.c_str(), "job", true, 1));
    EXPECT_EQ("", build((directory + "d").c_str(), "job", true, 1, 2010));
}

TEST_F(FileNames, OfAnUnknownObjectAreAFailureAndEmpty) {
    dataset = 999999;
    char path[256] = "before";
    EXPECT_NE(0, KELD_buildFileNameNew(dataset, "/jobs", path, "job", false, 1));
    EXPECT_STREQ("", path);
    EXPECT_NE(0, KELD_buildFileNameNew(dataset, "/jobs", nullptr, "job", true, 1));
    EXPECT_EQ(sep + pid + "_0001.", build(nullptr, nullptr, true, 1));
}
