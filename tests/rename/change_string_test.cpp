// The substitution that every rename uses.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/rename/substitution_model.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

struct Changed {
    bool hit;
    std::string text;
    bool operator==(const Changed&) const = default;
};
void PrintTo(const Changed& changed, std::ostream* out) {
    *out << (changed.hit ? "hit: " : "no hit: ") << changed.text;
}

Changed change(const char* old, const char* old_id, const char* new_id) {
    std::vector<char> text(1025, '#');
    const bool hit = CKELD_ReName::ChangeString(old, old_id, new_id, text.data());
    return {hit, text.data()};
}

class ChangeString : public world::RenameTest {};

}  // namespace

TEST_F(ChangeString, PutsTheNewIdInThePlaceOfTheOld) {
    EXPECT_EQ((Changed{true, "plan of XYZ-02, final"}),
              change("plan of ABC-01, final", "ABC-01", "XYZ-02"));
    EXPECT_EQ((Changed{true, "XYZ-02 plan"}), change("ABC-01 plan", "ABC-01", "XYZ-02"));
    EXPECT_EQ((Changed{true, "plan XYZ-02"}), change("plan ABC-01", "ABC-01", "XYZ-02"));
    EXPECT_EQ((Changed{true, "XYZ-02"}), change("ABC-01", "ABC-01", "XYZ-02"));
}

TEST_F(ChangeString, WithoutAHitTheTextStays) {
    EXPECT_EQ((Changed{false, "plan"}), change("plan", "ABC", "XYZ"));
    EXPECT_EQ((Changed{false, ""}), change("", "ABC", "XYZ"));
    EXPECT_EQ((Changed{false, "AB"}), change("AB", "ABC", "XYZ"));
}

TEST_F(ChangeString, RegardsCase) {
    EXPECT_EQ((Changed{false, "abc"}), change("abc", "ABC", "XYZ"));
}

TEST_F(ChangeString, OnlyTheFirstOccurrenceChanges) {
    EXPECT_EQ((Changed{true, "XYZ and ABC"}), change("ABC and ABC", "ABC", "XYZ"));
    EXPECT_EQ((Changed{true, "XA"}), change("AAA", "AA", "X"));
}

TEST_F(ChangeString, AHitCountsAlsoIfBothIdsAreEqual) {
    EXPECT_EQ((Changed{true, "plan ABC"}), change("plan ABC", "ABC", "ABC"));
}

TEST_F(ChangeString, AnEmptyOldIdIsAtTheStart) {
    EXPECT_EQ((Changed{true, "XYZplan"}), change("plan", "", "XYZ"));
    EXPECT_EQ((Changed{true, "XYZ"}), change("", "", "XYZ"));
}

TEST_F(ChangeString, AnEmptyNewIdTakesTheOldOneOut) {
    EXPECT_EQ((Changed{true, "plan "}), change("plan ABC", "ABC", ""));
}

TEST_F(ChangeString, NullTextsCountAsEmpty) {
    EXPECT_EQ((Changed{true, "XYZ"}), change(nullptr, nullptr, "XYZ"));
    EXPECT_EQ((Changed{false, ""}), change(nullptr, "ABC", "XYZ"));
    EXPECT_EQ((Changed{true, "plan "}), change("plan ABC", "ABC", nullptr));
    EXPECT_TRUE(CKELD_ReName::ChangeString("ABC", "ABC", "XYZ", nullptr));
}

TEST_F(ChangeString, TracesItsTexts) {
    change("plan ABC", "ABC", "XYZ");
    change("plan", "ABC", "XYZ");
    EXPECT_THAT(
        world.lines(),
        ElementsAre(
            "CKELD_ReName::ChangeString: cOld=plan ABC", "CKELD_ReName::ChangeString: cOldId=ABC",
            "CKELD_ReName::ChangeString: cNewId=XYZ", "CKELD_ReName::ChangeString: cNew=plan XYZ",
            "CKELD_ReName::ChangeString: cOld=plan", "CKELD_ReName::ChangeString: cOldId=ABC",
            "CKELD_ReName::ChangeString: cNewId=XYZ", "CKELD_ReName::ChangeString: cNew=plan"));
    for (const world::LogLine& line : world.log())
        EXPECT_EQ('T', line.level) << line.text;
}

TEST_F(ChangeString, IsNoTracedCallItself) {
    change("plan ABC", "ABC", "XYZ");
    EXPECT_TRUE(world::traced(world).empty());
}

TEST_F(ChangeString, AResultOf1024CharactersFits) {
    const std::string rest(1021, 'r');
    EXPECT_EQ((Changed{true, "XYZ" + rest}), change(("A" + rest).c_str(), "A", "XYZ"));
    EXPECT_TRUE(world.lines("W").empty());
}

TEST_F(ChangeString, ALongerResultIsCutAtTheBuffersEndWithAWarning) {
    const std::string rest(1022, 'r');
    EXPECT_EQ((Changed{true, "XYZ" + rest.substr(1)}), change(("A" + rest).c_str(), "A", "XYZ"));
    EXPECT_THAT(world.lines("W"), ElementsAre(StartsWith("Text cut to 1024 characters: ")));
}

TEST_F(ChangeString, AnOverlongTextWithoutAHitIsCutToo) {
    const std::string old(5000, 'r');
    EXPECT_EQ((Changed{false, old.substr(0, 1024)}), change(old.c_str(), "A", "XYZ"));
    EXPECT_THAT(world.lines("W"), ElementsAre(StartsWith("Text cut to 1024 characters: ")));
}

TEST_F(ChangeString, ACutLeavesWholeCharacters) {
    const std::string rest = std::string(1020, 'r') + "\xC3\xBC\xC3\xBC";
    EXPECT_EQ((Changed{true, "XYZ" + std::string(1020, 'r')}),
              change(("A" + rest).c_str(), "A", "XYZ"));
}

TEST_F(ChangeString, AgreesWithTheModelOnRandomTexts) {
    KELD_SetLogLevel(0);
    model::Texts texts;
    for (int i = 0; i < 20000; ++i) {
        const std::string old = texts.text(14), old_id = texts.text(3), new_id = texts.text(4);
        const auto expected = model::substituted(old, old_id, new_id);
        ASSERT_EQ((Changed{expected.has_value(), expected.value_or(old)}),
                  change(old.c_str(), old_id.c_str(), new_id.c_str()))
            << texts.replay() << ", old \"" << old << "\", \"" << old_id << "\" to \"" << new_id
            << '"';
    }
    EXPECT_GT(texts.made(), 0);
}
