// What keld offers to shells, its topics, and the log of one run.

#include <sstream>

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Completion : public ProgramWithStore {
protected:
    std::vector<std::string> offered(std::vector<std::string> words) {
        words.insert(words.begin(), {"complete", "--"});
        const Result result = done(words);
        EXPECT_EQ(result.err, "");
        std::vector<std::string> lines;
        std::istringstream in(result.out);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }
};

TEST_F(Completion, IdsOfItemsRevisionsAndDatasets) {
    EXPECT_THAT(offered({"show", "00010"}), ElementsAre("000100", "000101", "000102"));
    EXPECT_THAT(offered({"show", "000101"}), ElementsAre("000101", "000101/A"));
    EXPECT_THAT(offered({"tree", "000101/"}), ElementsAre("000101/A"));
    EXPECT_THAT(offered({"cat", "000100/A:d"}), ElementsAre("000100/A:drawing"));
    EXPECT_THAT(offered({"delete", "000100", "--cut", "00010"}), Contains("000101"));
    EXPECT_THAT(offered({"show", "nothing"}), IsEmpty());
}

TEST_F(Completion, StatusesTypesServicesUsersAndProperties) {
    EXPECT_THAT(offered({"status", "set", "000100/A", "F"}), ElementsAre("Frozen"));
    EXPECT_THAT(offered({"find", "--type", "ItemR"}), Contains("ItemRevision"));
    EXPECT_THAT(offered({"call", "KELD_ReName"}),
                ElementsAre("KELD_ReNameItem", "KELD_ReNameItemExtended"));
    EXPECT_THAT(offered({"find", "--owner", "info"}), ElementsAre("infodba"));
    EXPECT_THAT(offered({"rights", "check", "info"}), ElementsAre("infodba"));
    EXPECT_THAT(offered({"rights", "add", "deny", "WR"}), ElementsAre("WRITE"));
    EXPECT_THAT(offered({"attach", "000100", "--relation", "VANE_spec"}),
                ElementsAre("VANE_specification"));
    EXPECT_THAT(offered({"set", "000100", "object_n"}), ElementsAre("object_name="));
}

TEST_F(Completion, VerbsAndOptions) {
    EXPECT_THAT(offered({"where"}), ElementsAre("where-used"));
    EXPECT_THAT(offered({"rights", "a"}), ElementsAre("add"));
    EXPECT_THAT(offered({"index", "text", "o"}), ElementsAre("on", "off"));
    EXPECT_THAT(offered({"set", "000100", "--toget"}), ElementsAre("--together"));
    EXPECT_THAT(offered({"help", "obj"}), ElementsAre("objects"));
    EXPECT_THAT(offered({""}), Not(Contains("complete")));
    EXPECT_THAT(offered({"frobnicate", ""}), IsEmpty());
}

TEST_F(Completion, WithoutAStoreNothingIsOfferedAndNothingIsSaid) {
    EXPECT_THAT(offered({"--store", "nowhere.db", "show", "0"}), IsEmpty());
    EXPECT_FALSE(fs::exists(path("nowhere.db")));
}

TEST_F(Completion, TopicsAreTold) {
    EXPECT_THAT(done({"help", "objects"}).out, HasSubstr("000123/A:drawing"));
    EXPECT_THAT(done({"help"}).out, HasSubstr("keld help TOPIC tells about: objects, many"));
    const Result unknown = keld({"help", "objetcs"});
    EXPECT_EQ(unknown.exit_code, 2);
    EXPECT_THAT(unknown.err, HasSubstr("Did you mean objects?"));
    EXPECT_THAT(done({"help", "many", "--json"}).json()["help"].get<std::string>(),
                HasSubstr("--together"));
}

TEST_F(Completion, TheLogOfARunAndOfAnObjectIsShown) {
    const auto first = done({"status", "set", "000102/A", "Frozen", "--json"}).json();
    std::string log = readText(path("keld.log"));
    ASSERT_NE(log, "");
    // Older lines, of another day.
    writeFile(path("keld.log"), "2001-02-03 04:05:06.000 T old line of 000101/A\n" + log);
    const std::string number = std::to_string(first["run"]["run"].get<int>());
    const Result run = done({"log", "show", "--run", number});
    EXPECT_THAT(run.out, HasSubstr("KELD_StatusManager"));
    EXPECT_THAT(run.out, Not(HasSubstr("old line")));
    EXPECT_THAT(done({"log", "show", "--object", "000101/A"}).out, HasSubstr("old line"));
    EXPECT_THAT(done({"log", "show", "--object", "000101/A", "--run", number}).out,
                Not(HasSubstr("old line")));
    EXPECT_THAT(done({"log", "show"}).out, HasSubstr("old line"));
    EXPECT_EQ(keld({"log", "show", "--run", "4711"}).exit_code, 1);
    EXPECT_EQ(keld({"log", "show", "--run", "x"}).exit_code, 2);
}
