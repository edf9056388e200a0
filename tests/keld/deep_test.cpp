// Structures that are deep, and structures in which a few parts make many paths.

#include <algorithm>
#include <cstdio>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

class Deep : public Program {
protected:
    void SetUp() override {
        done({"init"});
        environment()["KELD_CFG_PATH"] = KELD_SOURCE_DIR "/samples";
    }

    static nlohmann::json item(const std::string& id, const std::vector<std::string>& parts) {
        nlohmann::json revision = {{"id", "A"}, {"bom", nlohmann::json::array()}};
        int number = 0;
        for (const std::string& part : parts)
            revision["bom"].push_back(
                {{"item", part}, {"quantity", "1"}, {"number", std::to_string(number += 10)}});
        return {{"id", id}, {"name", "part"}, {"revisions", {revision}}};
    }
    void load(const nlohmann::json& items) {
        writeFile(path("world.json"), nlohmann::json{{"world", 1}, {"items", items}}.dump());
        limited("load world.json");
    }
    // c0 is on top of a chain of so many levels.
    void loadChain(int levels) {
        nlohmann::json items = nlohmann::json::array();
        for (int i = 0; i <= levels; ++i) {
            const std::string next = "c" + std::to_string(i + 1);
            items.push_back(item("c" + std::to_string(i),
                                 i < levels ? std::vector{next} : std::vector<std::string>{}));
        }
        load(items);
    }
    // Layers of two parts, each of which has both parts of the next layer.
    void loadLayers(int layers) {
        nlohmann::json items = nlohmann::json::array();
        for (int i = 0; i < layers; ++i)
            for (const char* side : {"l", "r"}) {
                const std::string next = std::to_string(i + 1);
                items.push_back(item(side + std::to_string(i),
                                     i + 1 < layers ? std::vector{"l" + next, "r" + next}
                                                    : std::vector<std::string>{}));
            }
        load(items);
    }
    // keld with a small stack, which a level of the structure must not cost any of.
    std::string limited(const std::string& verb) {
        const std::string command = "cd '" + directory().string() +
                                    "' && ulimit -s 512 && '" KELD_PROGRAM "' " + verb +
                                    " >out.txt 2>err.txt";
        EXPECT_EQ(std::system(command.c_str()), 0) << verb << readFile(path("err.txt"));
        return readFile(path("out.txt"));
    }
};

TEST_F(Deep, AChainOfManyLevelsIsReadAndShownWithASmallStack) {
    constexpr int kLevels = 2000;
    loadChain(kLevels);
    const auto lines = [](const std::string& text) {
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(lines(limited("tree c0")), kLevels + 1);
    EXPECT_THAT(limited("tree c0"), HasSubstr("(level 2000) └─ 10  c2000/A"));
    EXPECT_EQ(lines(limited("bom show c0")), kLevels + 2);
    EXPECT_THAT(limited("check"), HasSubstr("sound"));
    limited("export world2.json");
    limited("show c0/A");
    for (const char* verb : {"tree c0 --json", "bom show c0 --json"}) {
        nlohmann::json top = nlohmann::json::parse(limited(verb));
        const nlohmann::json* at = &top;
        int levels = 0;
        for (; !(*at)["children"].empty(); ++levels)
            at = &(*at)["children"][0];
        EXPECT_EQ(levels, kLevels) << verb;
        EXPECT_EQ((*at)["object"], "c2000/A") << verb;
    }
}

TEST_F(Deep, ATreeShowsWhatIsBelowAPartOnce) {
    loadLayers(30);
    const std::string tree = done({"tree", "l0"}).out;
    EXPECT_EQ(std::count(tree.begin(), tree.end(), '\n'), 1 + 2 * 2 * 28 + 2);
    EXPECT_THAT(tree, HasSubstr("(as above)"));
    const auto json = done({"tree", "l0", "--json"}).json();
    EXPECT_FALSE(json["children"][0].contains("as_above"));
    EXPECT_EQ(json["children"][1]["children"][0]["as_above"], true);
    EXPECT_EQ(json["children"][1]["children"][0]["children"], nlohmann::json::array());
}

TEST_F(Deep, WhatADepthHidesIsNotAbove) {
    // s is two levels down, where the depth hides its part, and then below the top.
    load({item("p", {}), item("s", {"p"}), item("m", {"s"}), item("top", {"m", "s"})});
    const auto tree = done({"tree", "top", "--depth", "2", "--json"}).json();
    EXPECT_TRUE(tree["children"][0]["children"][0]["children"].empty());
    EXPECT_EQ(tree["children"][1]["children"][0]["object"], "p/A");
}

TEST_F(Deep, WhatIsAboveIsCountedWhereADepthHidesIt) {
    load({item("p", {}), item("s", {"p"}), item("m", {"s"}), item("top", {"s", "m"})});
    const std::string tree = done({"tree", "top", "--depth", "2"}).out;
    EXPECT_THAT(tree, HasSubstr("(1 child line)"));
    EXPECT_THAT(tree, Not(HasSubstr("(as above)")));
}

TEST_F(Deep, WhatWasShownWithMoreRoomStaysAbove) {
    // s is shown whole, then hidden by the depth, and then comes where there is room for it again.
    load({item("p", {}), item("s", {"p"}), item("n", {"s"}), item("m", {"n"}),
          item("top", {"s", "m", "s"})});
    const auto tree = done({"tree", "top", "--depth", "3", "--json"}).json();
    EXPECT_EQ(tree["children"][0]["children"].size(), 1u);
    EXPECT_EQ(tree["children"][2]["as_above"], true);
    EXPECT_TRUE(tree["children"][2]["children"].empty());
}

TEST_F(Deep, HowManyLinesARunVisitsIsSaidBeforeIt) {
    loadLayers(18);
    // Refused by the service at once, so that nobody waits for the end.
    writeFile(path("keld_statusmanager.ini"), "[SelectWSO]\nItem=1\n");
    environment()["KELD_CFG_PATH"] = directory().string();
    const Result result = keld({"status", "set", "l0", "Frozen", "--structure"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("the structure of l0/A has 262142 lines of 35 revisions; the "
                                      "run visits every line, in each of its passes"));
}

TEST_F(Deep, HowManyLinesAreVisitedIsSaidByEachVerbThatRunsOrRehearsesTheStatusManager) {
    loadLayers(18);
    writeFile(path("keld_statusmanager.ini"),
              "[SelectWSO]\nBOMLine=1\n[Frozen_BOMLine]\nWSO=NONE\n");
    environment()["KELD_CFG_PATH"] = directory().string();
    const std::string told =
        "the structure of l0/A has 262142 lines of 35 revisions; the run visits every line";
    for (const std::vector<std::string>& verb : std::vector<std::vector<std::string>>{
             {"status", "objections", "l0", "Frozen", "--structure"},
             {"call", "KELD_StatusManager", "s:Frozen", "s:BOMLine", "l:l0/A", "--dry-run"},
             {"config", "coverage", "--of", "l0/A"},
             {"config", "explain", "l0/A", "Frozen", "--structure"}}) {
        const Result result = keld(verb);
        EXPECT_THAT(result.err, HasSubstr(told)) << verb[0] << " " << verb[1] << result.out;
    }
}

TEST_F(Deep, ATreeEndsAtTheLimitAndSaysThatThereIsMore) {
    loadLayers(5);
    const Result result = done({"tree", "l0", "--limit", "4"});
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 4);
    EXPECT_THAT(result.err, HasSubstr("there are more"));
    EXPECT_EQ(done({"tree", "l0", "--limit", "4", "--json"}).json()["object"], "l0/A");
    EXPECT_EQ(done({"tree", "l4", "--limit", "1"}).err, "");
    EXPECT_EQ(keld({"tree", "l0", "--limit", "-1"}).exit_code, 2);
}

TEST_F(Deep, ManyLinesAreToldBeforeTheyAreShownAndCanBeLimited) {
    loadLayers(30);
    const Result result = done({"bom", "show", "l0", "--limit", "50"});
    EXPECT_THAT(result.err, HasSubstr("the structure has 1073741822 lines on 29 levels"));
    EXPECT_THAT(result.err, HasSubstr("there are more lines"));
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 52);
    const Result shallow = done({"bom", "show", "l0", "--depth", "2"});
    EXPECT_EQ(std::count(shallow.out.begin(), shallow.out.end(), '\n'), 8);
    EXPECT_EQ(shallow.err, "");
}

TEST_F(Deep, WhoeverReadsTheStartOfATreeDoesNotWaitForItsEnd) {
    loadChain(3000);
    const std::string command = "cd '" + directory().string() +
                                "' && { '" KELD_PROGRAM
                                "' tree c0; echo $? >code.txt; } | head -n 1 >out.txt";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_THAT(readFile(path("out.txt")), HasSubstr("c0/A"));
    EXPECT_EQ(readFile(path("code.txt")), "141\n");  // ended by the closed pipe
}

TEST_F(Deep, AStructureDeeperThanTheLibraryGoesIsToldBeforeAndWithTheObjectReached) {
    loadChain(1200);
    const Result result = keld({"status", "set", "c0/A", "Frozen", "--structure"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("the structure of c0/A is 1200 levels deep; the library "
                                      "follows 1000 at most"));
    EXPECT_THAT(result.err,
                HasSubstr("refused: the structure is 1200 levels deep, the library's limit is "
                          "1000; it was reached at c999/A"));
    EXPECT_THAT(result.err, Not(HasSubstr("cycle")));
    EXPECT_THAT(result.err, Not(HasSubstr("no memory")));
    const auto depth =
        keld({"status", "set", "c0/A", "Frozen", "--structure", "--json"}).json()["depth"];
    EXPECT_EQ(depth["levels"], 1200);
    EXPECT_EQ(depth["limit"], 1000);
    EXPECT_EQ(depth["reached"], "c999/A");
}

TEST_F(Deep, AStructureThatTheLibraryCanFollowIsNotToldOf) {
    loadChain(50);
    EXPECT_EQ(done({"status", "set", "c0/A", "Frozen", "--structure"}).err, "");
}
