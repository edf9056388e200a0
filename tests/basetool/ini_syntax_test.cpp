#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <string_view>

#include "platform/keld_basetool.h"
#include "tests/support/files.h"
#include "tests/support/log_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

class IniFile : public LogFixture {
protected:
    void content(const std::string& text) { keld_test::writeFile(path_, text); }
    std::string value(const char* section, const char* key) const {
        char out[1025] = "before";
        KELD_GetProfileString(section, key, out, "default", path_.string().c_str());
        return out;
    }
    int number(const char* section, const char* key) const {
        return KELD_GetProfileInt(section, key, -77, path_.string().c_str());
    }

    const std::filesystem::path path_ = directory_ / "test.ini";
};

TEST_F(IniFile, HasValuesBySectionAndKey) {
    content("[A]\nx=1\ny=2\n[B]\nx=3");
    EXPECT_EQ(value("A", "x"), "1");
    EXPECT_EQ(value("A", "y"), "2");
    EXPECT_EQ(value("B", "x"), "3");
}

TEST_F(IniFile, GivesTheDefaultForAnAbsentSectionOrKey) {
    content("[A]\nx=1\n");
    EXPECT_EQ(value("C", "x"), "default");
    EXPECT_EQ(value("A", "z"), "default");
    EXPECT_EQ(number("A", "z"), -77);
    EXPECT_EQ(number("C", "x"), -77);
}

TEST_F(IniFile, ThatIsMissingGivesTheDefault) {
    EXPECT_EQ(value("A", "x"), "default");
    EXPECT_EQ(number("A", "x"), -77);
}

TEST_F(IniFile, ThatIsADirectoryGivesTheDefault) {
    std::filesystem::create_directory(path_);
    EXPECT_EQ(value("A", "x"), "default");
}

TEST_F(IniFile, MayEndItsLinesWithEitherSystemsBreak) {
    content("[A]\r\nx=1\r\ny=2\n\r\nz=3\r\n");
    EXPECT_EQ(value("A", "x"), "1");
    EXPECT_EQ(value("A", "y"), "2");
    EXPECT_EQ(value("A", "z"), "3");
}

TEST_F(IniFile, MayBeginWithASignature) {
    content("\xEF\xBB\xBF[A]\nx=1\n");
    EXPECT_EQ(value("A", "x"), "1");
}

TEST_F(IniFile, MayHaveBlanksAroundSectionsKeysAndValues) {
    content(" \t[ A \t] \n\t x \t=\t  a b \t\n");
    EXPECT_EQ(value("A", "x"), "a b");
}

TEST_F(IniFile, LosesOnePairOfQuotesAndKeepsTheirBlanks) {
    content("[A]\na=\" x \"\nb=\"\"x\"\"\nc=\"\"\nd=\"\ne=\"x\nf=x\"\ng=\"a\" \"b\"\n");
    EXPECT_EQ(value("A", "a"), " x ");
    EXPECT_EQ(value("A", "b"), "\"x\"");
    EXPECT_EQ(value("A", "c"), "");
    EXPECT_EQ(value("A", "d"), "\"");
    EXPECT_EQ(value("A", "e"), "\"x");
    EXPECT_EQ(value("A", "f"), "x\"");
    EXPECT_EQ(value("A", "g"), "a\" \"b");
}

TEST_F(IniFile, HasCommentsOnLinesOfTheirOwnOnly) {
    content("[A]\n;x=1\n  #y=2\n; [B]\nz=3 ;more #and more\n");
    EXPECT_EQ(value("A", "x"), "default");
    EXPECT_EQ(value("A", ";x"), "default");
    EXPECT_EQ(value("A", "#y"), "default");
    EXPECT_EQ(value("A", "z"), "3 ;more #and more");
}

TEST_F(IniFile, ComparesNamesWithoutRegardToAsciiCase) {
    content("[SecTION]\nKeY=1\n\xC3\x84=2\n");
    EXPECT_EQ(value("sECtion", "kEy"), "1");
    EXPECT_EQ(value("SECTION", "\xC3\x84"), "2");
    EXPECT_EQ(value("SECTION", "\xC3\xA4"), "default");
}

TEST_F(IniFile, TakesTheFirstOfTwoEqualKeys) {
    content("[A]\nx=1\nX=2\n[B]\n[a]\nx=3\ny=4\n");
    EXPECT_EQ(value("A", "x"), "1");
}

TEST_F(IniFile, TakesASectionThatOccursTwiceAsOne) {
    content("[A]\nx=1\n[B]\nx=2\n[a]\ny=3\n");
    EXPECT_EQ(value("A", "x"), "1");
    EXPECT_EQ(value("A", "y"), "3");
}

TEST_F(IniFile, HasPresentKeysWithNothingAfterTheSign) {
    content("[A]\nx=\ny=   \n");
    EXPECT_EQ(value("A", "x"), "");
    EXPECT_EQ(value("A", "y"), "");
    EXPECT_EQ(number("A", "x"), 0);
}

TEST_F(IniFile, SplitsAtTheFirstSign) {
    content("[A]\nx=a=b\n");
    EXPECT_EQ(value("A", "x"), "a=b");
}

TEST_F(IniFile, IgnoresKeysInFrontOfTheFirstSection) {
    content("x=1\n[A]\ny=2\n");
    EXPECT_EQ(value("", "x"), "default");
    EXPECT_EQ(value("A", "x"), "default");
    EXPECT_EQ(value("A", "y"), "2");
}

TEST_F(IniFile, IgnoresLinesOfNoForm) {
    for (const char* line : {"no sign", "=no key", " = ", "[open", "]", "[", "\x01\x02\xFF"}) {
        content(std::string("[A]\nx=1\n") + line + "\ny=2\n");
        EXPECT_EQ(value("A", "x"), "1") << line;
        EXPECT_EQ(value("A", "y"), "2") << line;
        EXPECT_EQ(value("A", ""), "default") << line;
    }
}

TEST_F(IniFile, OfNothingButBreaksAndNullBytesIsEmpty) {
    content(std::string("\n\r\n\0\n=\n[]\n", 11));
    EXPECT_EQ(value("A", "x"), "default");
}

TEST_F(IniFile, EndsAValueAtANullByte) {
    content(std::string("[A]\nx=a\0b\ny=2\n", 15));
    EXPECT_EQ(value("A", "x"), "a");
    EXPECT_EQ(value("A", "y"), "2");
}

TEST_F(IniFile, HasIntegersWithBlanksAndSign) {
    content("[A]\na= 12\nb=-3x\nc=+4\nd=text\ne=99999999999\nf=\" 5\"\ng=0x10\n");
    EXPECT_EQ(number("A", "a"), 12);
    EXPECT_EQ(number("A", "b"), -3);
    EXPECT_EQ(number("A", "c"), 4);
    EXPECT_EQ(number("A", "d"), 0);
    EXPECT_EQ(number("A", "e"), INT_MAX);
    EXPECT_EQ(number("A", "f"), 5);
    EXPECT_EQ(number("A", "g"), 0);
}

TEST_F(IniFile, CutsAValueOfMoreThan1024BytesWithAWarning) {
    const std::string text(1024, 'v');
    content("[A]\nx=" + text + "\ny=" + text + "w\nz=" + std::string(1000000, 'z') + "\n");
    EXPECT_EQ(value("A", "x"), text);
    EXPECT_THAT(texts(), IsEmpty());
    EXPECT_EQ(value("A", "y"), text);
    EXPECT_EQ(value("A", "z"), std::string(1024, 'z'));
    EXPECT_THAT(texts(), ElementsAre("W Text cut to 1024 characters: y",
                                     "W Text cut to 1024 characters: z"));
}

TEST_F(IniFile, CutsADefaultLikewise) {
    char out[1025] = "";
    KELD_GetProfileString("A", "x", out, std::string(2000, 'd').c_str(), path_.string().c_str());
    EXPECT_EQ(out, std::string(1024, 'd'));
}

TEST_F(IniFile, MayHaveNamesOfAnyLength) {
    const std::string name(100000, 'n');
    content("[" + name + "]\n" + name + "=1\n");
    EXPECT_EQ(value(name.c_str(), name.c_str()), "1");
}

TEST_F(IniFile, TakesNullPointersAsEmptyTexts) {
    content("[A]\nx=1\n");
    EXPECT_EQ(value(nullptr, "x"), "default");
    EXPECT_EQ(value("A", nullptr), "default");
    char out[1025] = "before";
    KELD_GetProfileString("A", "z", out, nullptr, path_.string().c_str());
    EXPECT_STREQ(out, "");
    KELD_GetProfileString("A", "x", out, "default", nullptr);
    EXPECT_STREQ(out, "default");
    KELD_GetProfileString("A", "x", nullptr, "default", path_.string().c_str());
    EXPECT_EQ(KELD_GetProfileInt(nullptr, nullptr, 5, nullptr), 5);
}

TEST_F(IniFile, LeavesTheBufferAloneThatIsItsOwnDefault) {
    content("[A]\nx=1\n");
    char out[1025] = "kept";
    KELD_GetProfileString("A", "z", out, out, path_.string().c_str());
    EXPECT_STREQ(out, "kept");
    KELD_GetProfileString("A", "x", out, out, path_.string().c_str());
    EXPECT_STREQ(out, "1");
}

// Sections and keys are looked up by a hash value: FNV-1a with 64 bits over the lower-case letters.
TEST_F(IniFile, TellsNamesOfOneHashValueApart) {
    const auto hash = [](std::string_view text) {
        std::uint64_t value = 14695981039346656037U;
        for (const char c : text)
            value = (value ^ static_cast<unsigned char>(c)) * 1099511628211U;
        return value;
    };
    ASSERT_EQ(hash("y3xws4hfr2lgox"), hash("ms6seadpunkfmx"));
    ASSERT_EQ(hash("wemobnz4xkqxkx"), hash("kjdwectwxgayg"));
    content(
        "[y3xws4hfr2lgox]\ny3xws4hfr2lgox=1\nms6seadpunkfmx=2\nwemobnz4xkqxkx=3\nkjdwectwxgayg=4\n"
        "[ms6seadpunkfmx]\nwemobnz4xkqxkx=5\n");
    EXPECT_EQ(value("y3xws4hfr2lgox", "y3xws4hfr2lgox"), "1");
    EXPECT_EQ(value("y3xws4hfr2lgox", "MS6SEADPUNKFMX"), "2");
    EXPECT_EQ(value("y3xws4hfr2lgox", "wemobnz4xkqxkx"), "3");
    EXPECT_EQ(value("y3xws4hfr2lgox", "KjdwectwxGayg"), "4");
    EXPECT_EQ(value("ms6seadpunkfmx", "wemobnz4xkqxkx"), "5");
    EXPECT_EQ(value("ms6seadpunkfmx", "kjdwectwxgayg"), "default");
}
