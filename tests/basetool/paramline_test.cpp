#include <gmock/gmock.h>

#include "platform/keld_basetool.h"
#include "tests/support/log_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

// All entries up to the first missing one.
static std::vector<std::string> entries(const char* text, char separator = ';') {
    CKELD_ParamLine line(text, separator);
    std::vector<std::string> result;
    char out[1025] = "";
    for (int i = 0; line.GetParamString(i, out) > 0; ++i)
        result.emplace_back(out);
    return result;
}

TEST(ParamLine, IsSplitAtEachSeparator) {
    EXPECT_THAT(entries("a;bc;d"), ElementsAre("a", "bc", "d"));
    EXPECT_THAT(entries("key=value", '='), ElementsAre("key", "value"));
    EXPECT_THAT(entries("31.12.2013", '.'), ElementsAre("31", "12", "2013"));
    EXPECT_THAT(entries("a=b=c", '='), ElementsAre("a", "b", "c"));
}

TEST(ParamLine, WithoutSeparatorIsOneEntry) {
    EXPECT_THAT(entries("abc"), ElementsAre("abc"));
}

TEST(ParamLine, HasNoEntryAfterATrailingSeparator) {
    EXPECT_THAT(entries("a;b;"), ElementsAre("a", "b"));
    EXPECT_THAT(entries("p=", '='), ElementsAre("p"));
}

TEST(ParamLine, CountsEmptyEntries) {
    EXPECT_THAT(entries(";a;;b"), ElementsAre("", "a", "", "b"));
    EXPECT_THAT(entries("a;;"), ElementsAre("a", ""));
    EXPECT_THAT(entries(";"), ElementsAre(""));
}

TEST(ParamLine, ThatIsEmptyOrNullHasNoEntry) {
    EXPECT_THAT(entries(""), IsEmpty());
    EXPECT_THAT(entries(nullptr), IsEmpty());
}

TEST(ParamLine, KeepsBlanks) {
    EXPECT_THAT(entries(" a ; b"), ElementsAre(" a ", " b"));
}

TEST(ParamLine, LeavesTheBufferAloneForAMissingEntry) {
    CKELD_ParamLine line("a;b", ';');
    char out[1025] = "kept";
    for (const int index : {2, 3, 1000000, -1, -128}) {
        EXPECT_EQ(line.GetParamString(index, out), 0) << index;
        EXPECT_STREQ(out, "kept");
    }
    out[0] = '\0';
    EXPECT_EQ(line.GetParamString(2, out), 0);
    EXPECT_STREQ(out, "");
}

TEST(ParamLine, GivesOneForAnEntry) {
    CKELD_ParamLine line("a;b", ';');
    char out[1025] = "";
    EXPECT_EQ(line.GetParamString(1, out), 1);
    EXPECT_EQ(line.GetParamString(1, nullptr), 1);
    EXPECT_EQ(line.GetParamString(2, nullptr), 0);
}

class LongParamLine : public LogFixture {};

TEST_F(LongParamLine, Of1024CharactersIsWhole) {
    const std::string text(1024, 'x');
    EXPECT_THAT(entries(text.c_str()), ElementsAre(text));
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(LongParamLine, IsCutOnAWholeCharacterWithAWarning) {
    const std::string text = std::string(1023, 'x') + "\xC3\xA4;more";
    EXPECT_THAT(entries(text.c_str()), ElementsAre(std::string(1023, 'x')));
    EXPECT_THAT(texts(), ElementsAre("W Text cut to 1024 characters: parameter line"));
}
