// The substitution of the item id, and after it of the revision id.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/rename/substitution_model.h"

using testing::Each;
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

Changed change(const char* old, const char* old_item = "ABC", const char* old_revision = "A",
               const char* new_item = "XYZ", const char* new_revision = "B") {
    std::vector<char> text(1025, '#');
    const bool hit = CKELD_ReName::ChangeStringExtended(old, old_item, old_revision, new_item,
                                                        new_revision, text.data());
    return {hit, text.data()};
}

class ChangeStringExtended : public world::RenameTest {};

}  // namespace

TEST_F(ChangeStringExtended, ReplacesTheItemIdAndTheRevisionIdAfterIt) {
    EXPECT_EQ((Changed{true, "XYZ/B"}), change("ABC/A"));
    EXPECT_EQ((Changed{true, "view XYZ/B end"}), change("view ABC/A end"));
}

TEST_F(ChangeStringExtended, TheRevisionIdIsLookedForAnywhereAfterTheItemId) {
    EXPECT_EQ((Changed{true, "XYZ Plate B"}), change("ABC Plate A"));
    // With one letter that may be a letter of a word.
    EXPECT_EQ((Changed{true, "XYZ Bssembly A"}), change("ABC Assembly A"));
}

TEST_F(ChangeStringExtended, ARevisionIdInFrontOfTheItemIdStays) {
    EXPECT_EQ((Changed{true, "A-XYZ"}), change("A-ABC"));
    EXPECT_EQ((Changed{true, "A-XYZ-B"}), change("A-ABC-A"));
}

TEST_F(ChangeStringExtended, WithoutTheItemIdTheRevisionIdStays) {
    EXPECT_EQ((Changed{false, "plan A"}), change("plan A"));
}

TEST_F(ChangeStringExtended, WithoutARevisionIdTheItemIdAloneChanges) {
    EXPECT_EQ((Changed{true, "plan XYZ"}), change("plan ABC"));
}

TEST_F(ChangeStringExtended, OnlyTheFirstOccurrencesChange) {
    EXPECT_EQ((Changed{true, "XYZ B ABC A"}), change("ABC A ABC A"));
}

TEST_F(ChangeStringExtended, AnEmptyOldItemIdIsAtTheStart) {
    EXPECT_EQ((Changed{true, "XYZplBn"}), change("plan", "", "a", "XYZ", "B"));
}

TEST_F(ChangeStringExtended, AnEmptyOldRevisionIdIsRightAfterTheItemId) {
    EXPECT_EQ((Changed{true, "XYZB/A"}), change("ABC/A", "ABC", ""));
}

TEST_F(ChangeStringExtended, NullTextsCountAsEmpty) {
    EXPECT_EQ((Changed{true, "XYZB"}), change(nullptr, nullptr, nullptr));
    EXPECT_EQ((Changed{false, ""}), change(nullptr));
    EXPECT_EQ((Changed{true, "/"}), change("ABC/A", "ABC", "A", nullptr, nullptr));
    EXPECT_TRUE(CKELD_ReName::ChangeStringExtended("ABC", "ABC", "A", "XYZ", "B", nullptr));
}

TEST_F(ChangeStringExtended, TracesItsSteps) {
    change("view ABC/A");
    EXPECT_THAT(
        world.lines(),
        ElementsAre("CKELD_ReName::ChangeStringExtended: cOld=view ABC/A",
                    "CKELD_ReName::ChangeStringExtended: cOldItemId=ABC",
                    "CKELD_ReName::ChangeStringExtended: cOldRevId=A",
                    "CKELD_ReName::ChangeStringExtended: cNewItemId=XYZ",
                    "CKELD_ReName::ChangeStringExtended: cNewRevId=B",
                    "CKELD_ReName::ChangeStringExtended: strncpy cNew=view ",
                    "CKELD_ReName::ChangeStringExtended: strcat cNew=view XYZ",
                    "CKELD_ReName::ChangeStringExtended: cSub=/A",
                    "CKELD_ReName::ChangeString: cOld=/A", "CKELD_ReName::ChangeString: cOldId=A",
                    "CKELD_ReName::ChangeString: cNewId=B", "CKELD_ReName::ChangeString: cNew=/B",
                    "CKELD_ReName::ChangeStringExtended: strcat "
                    "cNew=view XYZ/B"));
}

TEST_F(ChangeStringExtended, AnItemIdAtTheStartHasNoLineForWhatIsBefore) {
    change("ABC");
    EXPECT_THAT(world::tracesWith(world, "CKELD_ReName::ChangeStringExtended: str"),
                ElementsAre("CKELD_ReName::ChangeStringExtended: strcat cNew=XYZ",
                            "CKELD_ReName::ChangeStringExtended: strcat cNew=XYZ"));
}

TEST_F(ChangeStringExtended, WithoutAHitTheTraceEndsWithTheOldText) {
    change("plan A");
    EXPECT_THAT(world.lines(), ElementsAre("CKELD_ReName::ChangeStringExtended: cOld=plan A",
                                           "CKELD_ReName::ChangeStringExtended: cOldItemId=ABC",
                                           "CKELD_ReName::ChangeStringExtended: cOldRevId=A",
                                           "CKELD_ReName::ChangeStringExtended: cNewItemId=XYZ",
                                           "CKELD_ReName::ChangeStringExtended: cNewRevId=B",
                                           "CKELD_ReName::ChangeStringExtended: cNew=cOld=plan A"));
}

TEST_F(ChangeStringExtended, OverlongTextsAreCutWithAWarningAndNothingIsOverrun) {
    const std::string before(1000, 'b'), after(1000, 'e');
    const Changed changed = change((before + "ABC" + after).c_str());
    EXPECT_EQ((Changed{true, (before + "XYZ" + after).substr(0, 1024)}), changed);
    EXPECT_FALSE(world.lines("W").empty());
    EXPECT_THAT(world.lines("W"), Each(StartsWith("Text cut to 1024 characters: ")));
    EXPECT_EQ((Changed{false, before + std::string(24, 'e')}), change((before + after).c_str()));
    const std::string huge(4000, 'i');
    EXPECT_EQ((Changed{true, huge.substr(0, 1024)}), change("ABC/A", "ABC", "A", huge.c_str()));
    EXPECT_EQ((Changed{true, "XYZ/" + huge.substr(0, 1020)}),
              change("ABC/A", "ABC", "A", "XYZ", huge.c_str()));
}

TEST_F(ChangeStringExtended, AgreesWithTheModelOnRandomTexts) {
    KELD_SetLogLevel(0);
    model::Texts texts;
    for (int i = 0; i < 20000; ++i) {
        const std::string old = texts.text(16), old_item = texts.text(3),
                          old_revision = texts.text(2), new_item = texts.text(4),
                          new_revision = texts.text(3);
        const auto expected =
            model::substitutedBoth(old, old_item, old_revision, new_item, new_revision);
        ASSERT_EQ((Changed{expected.has_value(), expected.value_or(old)}),
                  change(old.c_str(), old_item.c_str(), old_revision.c_str(), new_item.c_str(),
                         new_revision.c_str()))
            << texts.replay() << ", old \"" << old << "\", \"" << old_item << "\" \""
            << old_revision << "\" to \"" << new_item << "\" \"" << new_revision << '"';
    }
}
