#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

using Look = ProgramWithStore;

TEST_F(Look, ShowGivesThePropertiesOfAnItem) {
    const auto shown = done({"show", "000100", "--json"}).json();
    EXPECT_EQ(shown["type"], "Item");
    EXPECT_EQ(shown["properties"]["item_id"], "000100");
    EXPECT_EQ(shown["properties"]["object_name"], "Pump");
}

TEST_F(Look, ShowGivesTheRelationsOfARevisionInBothDirections) {
    const auto revision = done({"show", "000100/A", "--json"}).json();
    bool out = false;
    for (const auto& relation : revision["relations"])
        out |= relation["relation"] == "VANE_specification" && relation["direction"] == "to" &&
               relation["name"] == "drawing";
    EXPECT_TRUE(out) << revision["relations"];
    const auto dataset = done({"show", "000100/A:drawing", "--json"}).json();
    bool in = false;
    for (const auto& relation : dataset["relations"])
        in |= relation["direction"] == "from" && relation["object"] == "000100/A";
    EXPECT_TRUE(in) << dataset["relations"];
}

TEST_F(Look, ShowGivesTheVersionsAndFilesOfADataset) {
    const auto shown = done({"show", "000100/A:drawing", "--json"}).json();
    ASSERT_FALSE(shown["versions"].empty());
    const auto& file = shown["versions"].back()["files"].at(0);
    EXPECT_EQ(file["reference"], "Text");
    EXPECT_EQ(file["name"], "drawing.txt");
}

TEST_F(Look, ShowTakesATag) {
    const auto tag = done({"show", "000100/A", "--json"}).json()["tag"].get<unsigned>();
    EXPECT_EQ(done({"show", "#" + std::to_string(tag), "--json"}).json()["object"], "000100/A");
}

TEST_F(Look, AnUnknownObjectIsAnsweredWithTheNearestOnes) {
    const Result result = keld({"show", "000107"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("no object '000107'"));
    EXPECT_THAT(result.err, HasSubstr("Did you mean"));
    EXPECT_THAT(result.err, HasSubstr("00010"));
}

TEST_F(Look, AnUnknownObjectIsAJsonErrorToo) {
    const Result result = keld({"show", "nothing-like-it", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.json()["error"]["text"].get<std::string>(), HasSubstr("nothing-like-it"));
}

TEST_F(Look, ATagThatDoesNotExistIsRefused) {
    EXPECT_EQ(keld({"show", "#99999999"}).exit_code, 1);
    EXPECT_EQ(keld({"show", "#x"}).exit_code, 1);
}

TEST_F(Look, TreeShowsTheStructureOfTheLatestRevision) {
    const auto tree = done({"tree", "000100", "--json"}).json();
    EXPECT_EQ(tree["object"], "000100/A");
    ASSERT_EQ(tree["children"].size(), 2u);
    EXPECT_EQ(tree["children"][0]["object"], "000101/A");
    EXPECT_EQ(tree["children"][0]["quantity"], "2");
    EXPECT_EQ(tree["children"][0]["owner"], tree["owner"]);
}

TEST_F(Look, TreeIsPlainTextWithoutATerminal) {
    const Result result = done({"tree", "000100/A"});
    EXPECT_THAT(result.out, HasSubstr("000101/A"));
    EXPECT_THAT(result.out, Not(HasSubstr("\x1b[")));
}

TEST_F(Look, TreeEndsAtTheDepthAskedFor) {
    const auto tree = done({"tree", "000100/A", "--depth", "1", "--json"}).json();
    for (const auto& child : tree["children"])
        EXPECT_TRUE(child["children"].empty());
    EXPECT_EQ(keld({"tree", "000100/A", "--depth", "-1"}).exit_code, 2);
}

TEST_F(Look, TreeTellsWhoHasCheckedAPartOut) {
    done({"checkout", "000101/A"});
    EXPECT_THAT(done({"tree", "000100"}).out, HasSubstr("checked out by"));
}

TEST_F(Look, FindTakesWildcardsAndTypes) {
    const auto found = done({"find", "00010?", "--type", "Item", "--json"}).json()["found"];
    EXPECT_EQ(found.size(), 3u);
    for (const auto& each : found)
        EXPECT_EQ(each["type"], "Item");
}

TEST_F(Look, FindSaysThatThereIsMore) {
    const Result result = done({"find", "*", "--limit", "1"});
    EXPECT_THAT(result.out, HasSubstr("there are more"));
    EXPECT_EQ(done({"find", "*", "--limit", "1", "--json"}).json()["found"].size(), 1u);
    EXPECT_EQ(done({"find", "*", "--limit", "0", "--json"}).json()["more"], false);
}

TEST_F(Look, FindOfNothingSaysSo) {
    EXPECT_THAT(done({"find", "zzz"}).out, HasSubstr("nothing found"));
}

TEST_F(Look, FindRefusesUnknownTypesAndUsersWithTheNearestOnes) {
    const Result type = keld({"find", "*", "--type", "ItemRevison"});
    EXPECT_EQ(type.exit_code, 1);
    EXPECT_THAT(type.err, HasSubstr("ItemRevision"));
    const Result owner = keld({"find", "*", "--owner", "infodab"});
    EXPECT_EQ(owner.exit_code, 1);
    EXPECT_THAT(owner.err, HasSubstr("infodba"));
    EXPECT_EQ(keld({"find", "*", "--limit", "-1"}).exit_code, 2);
}
