#include <gmock/gmock.h>

#include "platform/keld_basetool.h"
#include "tests/support/files.h"
#include "tests/support/fixed_os.h"
#include "tests/support/log_fixture.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

static constexpr char origin[] = "KELD_ConvertedBaseIniSettings";

class Settings : public LogFixture {
protected:
    Settings() { fixed_os::setEnv("KELD_CFG_PATH", directory_.string()); }
    void baseFile(const std::string& text) {
        keld_test::writeFile(directory_ / "keld_base.ini", text);
    }
    static void fill(const char* name, std::vector<std::string> lines) {
        std::vector<char*> values;
        for (std::string& line : lines)
            values.push_back(line.data());
        KELD_CreateProfileFromPref(name, static_cast<int>(values.size()), values.data(), origin, 0);
    }
    static std::string value(const char* section, const char* key) {
        char out[1025] = "before";
        KELD_GetIniString(section, key, out, "default");
        return out;
    }
};

TEST_F(Settings, WithoutAFileGiveDefaults) {
    EXPECT_EQ(value("S", "k"), "default");
    EXPECT_EQ(KELD_GetIniInt("S", "k", 5), 5);
}

TEST_F(Settings, StartWithTheBaseFileOfTheConfigurationDirectory) {
    baseFile("[KELD_DateFormat]\nformat=%d.%m.%Y\nn= -3\n");
    EXPECT_EQ(value("keld_dateformat", "FORMAT"), "%d.%m.%Y");
    EXPECT_EQ(KELD_GetIniInt("KELD_DateFormat", "n", 5), -3);
}

TEST_F(Settings, SeeAChangeOfTheBaseFile) {
    baseFile("[S]\nk=1\n");
    EXPECT_EQ(value("S", "k"), "1");
    baseFile("[S]\nk=2\n");
    EXPECT_EQ(value("S", "k"), "2");
}

TEST_F(Settings, LeaveTheBufferThatIsItsOwnDefault) {
    baseFile("[S]\ngeneral=g\nspecific=s\n");
    char out[1025] = "";
    KELD_GetIniString("S", "general", out, "");
    KELD_GetIniString("S", "missing", out, out);
    EXPECT_STREQ(out, "g");
    KELD_GetIniString("S", "specific", out, out);
    EXPECT_STREQ(out, "s");
}

TEST_F(Settings, OfAPreferenceAreKeysAndValues) {
    fill("KELD_ItemRename", {"a=1", "  b  =  two words  ", "c=x=y", "d=", "e=\"q\""});
    EXPECT_EQ(value("KELD_ItemRename", "a"), "1");
    EXPECT_EQ(value("keld_itemrename", "B"), "two words");
    EXPECT_EQ(value("KELD_ItemRename", "c"), "x=y");
    EXPECT_EQ(value("KELD_ItemRename", "d"), "");
    EXPECT_EQ(value("KELD_ItemRename", "e"), "\"q\"");
    EXPECT_EQ(KELD_GetIniInt("KELD_ItemRename", "a", 9), 1);
}

TEST_F(Settings, OfAPreferenceHaveCommentsAndBlankLines) {
    fill("P", {"", "   ", ";a=1", "  # b=2", "c=3"});
    EXPECT_EQ(value("P", "a"), "default");
    EXPECT_EQ(value("P", ";a"), "default");
    EXPECT_EQ(value("P", "c"), "3");
    EXPECT_THAT(texts(), Not(Contains(HasSubstr("W "))));
}

TEST_F(Settings, OfAPreferenceIgnoreALineWithoutSignOrKeyWithAWarning) {
    fill("P", {"nothing", "=value", "a=1"});
    EXPECT_EQ(value("P", "a"), "1");
    EXPECT_EQ(value("P", "nothing"), "default");
    EXPECT_THAT(texts(), Contains("W Preference P: line without key ignored: nothing"));
    EXPECT_THAT(texts(), Contains("W Preference P: line without key ignored: =value"));
}

TEST_F(Settings, OfAPreferenceTakeTheFirstOfTwoEqualKeys) {
    fill("P", {"a=1", "A=2"});
    EXPECT_EQ(value("P", "a"), "1");
}

TEST_F(Settings, OfAPreferenceNameTheirOriginInTheLog) {
    fill("P", {"a=1"});
    EXPECT_THAT(texts(), Contains(HasSubstr(origin)));
}

TEST_F(Settings, OfAPreferenceReplaceAnEarlierFilling) {
    fill("P", {"a=1", "b=2"});
    fill("p", {"a=3"});
    EXPECT_EQ(value("P", "a"), "3");
    EXPECT_EQ(value("P", "b"), "default");
}

TEST_F(Settings, OfAPreferenceHideTheFilesSectionUntilTheyAreDropped) {
    fixed_os::setEnv("KELD_DISABLE_LOCPREF_CACHE", "1");
    baseFile("[P]\na=file\nb=file\n[Q]\na=file\n");
    fill("P", {"a=preference"});
    EXPECT_EQ(value("P", "a"), "preference");
    EXPECT_EQ(value("P", "b"), "default");
    EXPECT_EQ(value("Q", "a"), "file");
    KELD_DeletePrefProfile();
    EXPECT_EQ(value("P", "a"), "file");
}

TEST_F(Settings, OfAnEmptyPreferenceHideTheFilesSectionToo) {
    baseFile("[P]\na=file\n");
    KELD_CreateProfileFromPref("P", 0, nullptr, origin, 0);
    EXPECT_EQ(value("P", "a"), "default");
}

TEST_F(Settings, OfAPreferenceStayWhileTheCacheIsOn) {
    fill("P", {"a=1"});
    KELD_DeletePrefProfile();
    EXPECT_EQ(value("P", "a"), "1");
}

TEST_F(Settings, TakeNullPointers) {
    char first[] = "a=1";
    char* values[] = {nullptr, first};
    KELD_CreateProfileFromPref("P", 2, values, nullptr, 0);
    KELD_CreateProfileFromPref(nullptr, 2, values, origin, 0);
    KELD_CreateProfileFromPref("Q", -5, values, origin, 0);
    EXPECT_EQ(value("P", "a"), "1");
    EXPECT_EQ(value(nullptr, "a"), "default");
    EXPECT_EQ(value("P", nullptr), "default");
    KELD_GetIniString("P", "a", nullptr, "");
}

TEST_F(Settings, KeepTheCallersValuesUnchanged) {
    char text[] = "  a  =  1  ";
    char* values[] = {text};
    KELD_CreateProfileFromPref("P", 1, values, origin, 0);
    EXPECT_STREQ(text, "  a  =  1  ");
}

TEST_F(Settings, CutAValueOfAPreferenceWhenItIsRead) {
    fill("P", {"a=" + std::string(3000, 'v')});
    EXPECT_EQ(value("P", "a"), std::string(1024, 'v'));
    EXPECT_THAT(texts(), Contains("W Text cut to 1024 characters: a"));
}

TEST_F(Settings, CacheIsDisabledByANonEmptyValueOtherThanZero) {
    EXPECT_FALSE(KELD_IsLocPrefCacheDisabled());
    for (const char* off : {"1", "yes", "00", " "}) {
        fixed_os::setEnv("KELD_DISABLE_LOCPREF_CACHE", off);
        EXPECT_TRUE(KELD_IsLocPrefCacheDisabled()) << off;
    }
    for (const char* on : {"", "0"}) {
        fixed_os::setEnv("KELD_DISABLE_LOCPREF_CACHE", on);
        EXPECT_FALSE(KELD_IsLocPrefCacheDisabled()) << on;
    }
}

TEST(ConfigurationDirectory, IsThatOfTheEnvironmentWithoutTrailingSeparator) {
    fixed_os::setEnv("KELD_CFG_PATH", "/some/where/");
    const char* path = KELD_GetCfgPath();
    EXPECT_STREQ(path, "/some/where");
    fixed_os::setEnv("KELD_CFG_PATH", "/else/where");
    EXPECT_EQ(KELD_GetCfgPath(), path);
    EXPECT_STREQ(path, "/some/where");
}

TEST(ConfigurationDirectory, IsTheCurrentOneElse) {
    EXPECT_STREQ(KELD_GetCfgPath(), ".");
}

TEST(ConfigurationDirectory, IsTheCurrentOneForAnEmptyVariable) {
    fixed_os::setEnv("KELD_CFG_PATH", "");
    EXPECT_STREQ(KELD_GetCfgPath(), ".");
}
