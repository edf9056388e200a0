// Where an object is used, what happened to it, how two revisions differ, and trees with filters.

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Uses : public ProgramWithStore {
protected:
    std::vector<std::string> users(const std::vector<std::string>& arguments) {
        std::vector<std::string> words{"where-used"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        words.emplace_back("--json");
        std::vector<std::string> found;
        const nlohmann::json document = done(words).json();
        for (const auto& use : document["uses"])
            found.push_back(std::to_string(use["level"].get<int>()) + " " +
                            use["object"].get<std::string>() + " " + use["by"].get<std::string>());
        return found;
    }
};

TEST_F(Uses, TheStructuresThatUseARevisionAreShownByLevel) {
    using testing::ElementsAre;
    EXPECT_THAT(users({"000101/A"}), ElementsAre("1 000100/A structure"));
    EXPECT_THAT(users({"000102/A"}),
                testing::UnorderedElementsAre("1 000100/A structure", "1 000101/A structure"));
    done({"new", "item", "000200", "--name", "Plant"});
    done({"bom", "add", "000200", "000101"});
    EXPECT_THAT(users({"000102", "--all-levels"}),
                testing::UnorderedElementsAre("1 000100/A structure", "1 000101/A structure",
                                              "2 000200/A structure"));
    EXPECT_THAT(done({"where-used", "000200"}).out, HasSubstr("nothing uses 000200"));
}

TEST_F(Uses, RelationsAndFoldersAreUsesToo) {
    const auto folder = done({"new", "folder", "Pumps", "--json"}).json()["tag"].get<unsigned>();
    done({"attach", "000100/A:drawing", "--to", "#" + std::to_string(folder)});
    EXPECT_THAT(users({"000100/A:drawing"}),
                testing::ElementsAre("1 000100/A VANE_specification",
                                     "1 #" + std::to_string(folder) + " folder"));
}

TEST_F(Uses, TheHistoryTellsWhoSetWhichStatusWhen) {
    done({"users", "add", "kelda", "--in-group", "design", "--new-group"});
    done({"set", "000102/A", "object_desc=steel", "--user", "kelda"});
    done({"status", "set", "000102/A", "Frozen", "--user", "kelda"});
    done({"status", "set", "000102/A", "Released"});
    const auto steps = done({"history", "000102/A", "--json"}).json()["history"];
    ASSERT_GE(steps.size(), 3u) << steps;
    EXPECT_EQ(steps[0]["what"], "status Frozen -> Released");
    EXPECT_EQ(steps[0]["user"], "infodba");
    EXPECT_GT(steps[0]["run"].get<int>(), steps.back()["run"].get<int>()) << "newest first";
    const Result statuses = done({"history", "000102/A", "--status"});
    EXPECT_THAT(statuses.out, ContainsRegex("kelda +KELD_StatusManager.*status none -> Frozen"));
    EXPECT_THAT(statuses.out, Not(HasSubstr("steel")));
    EXPECT_THAT(done({"history", "000102/A"}).out,
                ContainsRegex("kelda +set .*object_desc nothing -> steel"));
}

TEST_F(Uses, TheHistoryOfAnItemCanHaveThatOfItsRevisions) {
    done({"set", "000102/A", "object_desc=steel"});
    EXPECT_THAT(done({"history", "000102"}).out, Not(HasSubstr("steel")));
    EXPECT_THAT(done({"history", "000102", "--revisions"}).out, HasSubstr("steel"));
    EXPECT_EQ(keld({"history", "000102/A", "--revisions"}).exit_code, 2);
}

TEST_F(Uses, TwoRevisionsAreComparedInPropertiesFormsAndLines) {
    done({"revise", "000100"});
    EXPECT_THAT(done({"compare", "000100/A", "000100/A"}).out, HasSubstr("don't differ"));
    done({"set", "000100/B", "object_desc=second", "form.item_comment=tried"});
    done({"bom", "set", "000100/B", "000101", "--quantity", "3"});
    done({"bom", "remove", "000100/B", "/20"});
    done({"new", "item", "000103", "--name", "Nut"});
    done({"bom", "add", "000100/B", "000103", "--quantity", "5"});
    const Result compared = done({"compare", "000100/A", "000100/B"});
    EXPECT_THAT(compared.out, ContainsRegex("object_desc +second"));
    EXPECT_THAT(compared.out, ContainsRegex("form.item_comment +tried"));
    EXPECT_THAT(compared.out, ContainsRegex("10 +000101/A +Housing +quantity 2 -> 3"));
    EXPECT_THAT(compared.out, ContainsRegex("20 +000102/A +Screw +only in 000100/A"));
    EXPECT_THAT(compared.out, ContainsRegex("20 +000103/A +Nut +only in 000100/B, quantity 5"));
    EXPECT_THAT(compared.out, Not(HasSubstr("object_name")));
    const auto document = done({"compare", "000100/A", "000100/B", "--json", "--all"}).json();
    EXPECT_EQ(document["lines"].size(), 3u);
    EXPECT_EQ(document["lines"][0]["change"], "changed");
    EXPECT_EQ(document["lines"][0]["right"]["quantity"], "3");
}

TEST_F(Uses, CompareTakesRevisionsOnly) {
    const Result result = keld({"compare", "000100/A", "000100/A:drawing"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("expected a revision like 000123/A"));
}

TEST_F(Uses, ATreeWithAFilterShowsWhatMatchesAndWhatLeadsToIt) {
    done({"checkout", "000102/A"});
    const Result tree = done({"tree", "000100", "--checked-out"});
    EXPECT_THAT(tree.out, HasSubstr("000101/A"));
    EXPECT_THAT(tree.out, HasSubstr("000102/A"));
    EXPECT_THAT(tree.err, HasSubstr("2 parts of these match"));
    done({"checkin", "000102/A"});
    done({"status", "set", "000101/A", "Frozen"});
    const auto frozen = done({"tree", "000100", "--status", "Frozen", "--json"}).json();
    ASSERT_EQ(frozen["children"].size(), 1u);
    EXPECT_EQ(frozen["matches"], false);
    EXPECT_EQ(frozen["children"][0]["object"], "000101/A");
    EXPECT_EQ(frozen["children"][0]["matches"], true);
    EXPECT_TRUE(frozen["children"][0]["children"].empty());
    const Result unknown = keld({"tree", "000100", "--status", "Forzen"});
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_THAT(unknown.err, HasSubstr("Did you mean Frozen?"));
}

TEST_F(Uses, FindTakesTheSameFilters) {
    done({"status", "set", "000102/A", "Frozen"});
    done({"checkout", "000100/A"});
    const auto names = [&](const std::vector<std::string>& filter) {
        std::vector<std::string> words{"find", "--json"};
        words.insert(words.end(), filter.begin(), filter.end());
        std::vector<std::string> found;
        const nlohmann::json document = done(words).json();
        for (const auto& each : document["found"])
            found.push_back(each["object"].get<std::string>());
        return found;
    };
    using testing::ElementsAre;
    EXPECT_THAT(names({"--status", "Frozen", "--type", "ItemRevision"}), ElementsAre("000102/A"));
    EXPECT_THAT(names({"--status", "none", "--type", "ItemRevision"}),
                ElementsAre("000100/A", "000101/A"));
    EXPECT_THAT(names({"--checked-out"}), ElementsAre("000100/A"));
    EXPECT_THAT(names({"--checked-out-by", "infodba", "--type", "Dataset"}), ElementsAre());
    EXPECT_THAT(keld({"find", "--checked-out-by", "infodab"}).err,
                HasSubstr("Did you mean infodba?"));
}
