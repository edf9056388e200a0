// config keys, explain and graph, and a file full of mistakes for the doctor.

#include <sstream>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

using Config = ProgramWithStore;

TEST_F(Config, ThePlantedMistakesAreAllNamedWithTheirLines) {
    const std::string planted = KELD_SOURCE_DIR "/tests/keld/planted.ini";
    const Result result = keld({"doctor", "--json", "--ini", planted});
    EXPECT_EQ(result.exit_code, 1);
    const auto findings = result.json()["findings"];
    std::istringstream lines(readText(planted));
    int number = 0, wanted = 0;
    std::vector<std::string> said;  // for the next line
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const auto colon = line.find(": ");
        if (line.starts_with("; ") && colon != std::string::npos &&
            line.find_first_not_of("0123456789", 2) == colon) {
            said.push_back(line.substr(colon + 2));
            continue;
        }
        const std::string where = "planted.ini:" + std::to_string(number);
        for (const std::string& text : said) {
            ++wanted;
            bool found = false;
            for (const auto& finding : findings) {
                const std::string at = finding["where"];
                found |= at.substr(0, at.find(' ')) == where &&
                         finding["text"].get<std::string>().find(text) != std::string::npos;
            }
            EXPECT_TRUE(found) << where << " " << text;
        }
        said.clear();
    }
    EXPECT_GE(wanted, 30);
    if (HasFailure())
        for (const auto& finding : findings)
            std::cout << finding["where"] << " " << finding["text"] << "\n";
}

TEST_F(Config, KeysAreListedAndFoundByName) {
    const auto all = done({"config", "keys", "--json"}).json();
    EXPECT_EQ(all["sections"].size(), 6u);
    EXPECT_EQ(all["keys"].size(), 23u);
    const auto one = done({"config", "keys", "setreleasestate", "--json"}).json()["keys"];
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0]["limit"], "32 bytes");
    EXPECT_EQ(one[0]["meaning"], "status to set; none takes all away; empty sets none");
    const Result unknown = keld({"config", "keys", "SetReleaseStat"});
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_THAT(unknown.err, HasSubstr("Did you mean SetReleaseState?"));
}

TEST_F(Config, AnExplanationHasEachSectionInTheOrderOfAVisitWithLinesAndDefaults) {
    const auto document = done({"config", "explain", "Released", "--json"}).json();
    EXPECT_EQ(
        document["start_types"][2],
        (nlohmann::json{{"type", "BOMLine"}, {"line", 11}, {"value", "1"}, {"starts", true}}));
    std::vector<std::string> sections;
    for (const auto& run : document["runs"])
        if (run["type"] == "ItemRevision")
            for (const auto& section : run["sections"])
                sections.push_back(section["section"]);
    EXPECT_EQ(sections,
              (std::vector<std::string>{"Released_ItemRevision", "Released_Old_ItemRevision",
                                        "Released_VANE_specification.*", "Released_BOM"}));
    const Result text = done({"config", "explain", "Frozen", "--type", "itemrevision"});
    EXPECT_THAT(text.out, HasSubstr("to Frozen, from ItemRevision"));
    EXPECT_THAT(text.out, HasSubstr("the object must have: no status, Frozen"));
    EXPECT_THAT(text.out, HasSubstr("default  JobPrefix"));
    EXPECT_THAT(text.out, HasSubstr("by BOM of [Frozen_ItemRevision], line "));
    EXPECT_THAT(text.out, HasSubstr("is filled as [Frozen_ItemRevision_MasterForm] says"));
    EXPECT_THAT(text.out, Not(HasSubstr("from Item\n")));
}

TEST_F(Config, OlderRevisionsAreNotCheckedSoTheirChecksAreNoPartOfTheMeaning) {
    writeFile(path("old.ini"),
              "[SelectWSO]\nItemRevision=1\n[R_ItemRevision]\nChangeNoRek=OldItemRevision\n"
              "[R_Old_ItemRevision]\nSetReleaseState=Old\nCheckNeedFields=user_data_1\n");
    const std::string text = done({"config", "explain", "R", "--ini", "old.ini"}).out;
    const std::string old = text.substr(text.find("\n[R_Old_ItemRevision]"));
    EXPECT_THAT(old, HasSubstr("is never read: older revisions aren't checked"));
    EXPECT_THAT(old, Not(HasSubstr("PrevReleaseStatus")));
    EXPECT_THAT(old, Not(HasSubstr("PrivilegName")));
    EXPECT_THAT(text.substr(0, text.find("\n[R_Old_ItemRevision]")), HasSubstr("PrivilegName"));
}

TEST_F(Config, AnExplanationOfAnUnknownStatusOrTypeNamesTheKnownOnes) {
    const Result status = keld({"config", "explain", "Frosen"});
    EXPECT_EQ(status.exit_code, 1);
    EXPECT_THAT(status.err, HasSubstr("Did you mean Frozen?"));
    EXPECT_THAT(keld({"config", "explain", "Frozen", "--type", "Text"}).err,
                HasSubstr("no run starts on the type 'Text' to the status Frozen"));
    EXPECT_EQ(keld({"config", "explain", "a", "b", "c"}).exit_code, 2);
}

TEST_F(Config, TheFileIsExplainedAndDrawnWithoutAStore) {
    const Result result = keld({"config", "explain", "Frozen", "--store", "none.db"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.err, HasSubstr("the names of the standard data model serve"));
    EXPECT_FALSE(fs::exists(path("none.db")));
    EXPECT_THAT(done({"config", "graph", "--store", "none.db"}).out, HasSubstr("(none) -> Frozen"));
}

TEST_F(Config, GraphsAreTextOrForGraphvizAndOneOfThemIsChosen) {
    const std::string statuses = done({"config", "graph", "--only", "statuses"}).out;
    EXPECT_THAT(statuses, HasSubstr("a run to Released sets Superseded on older: ItemRevision"));
    EXPECT_THAT(statuses, Not(HasSubstr("walks to")));
    EXPECT_THAT(done({"config", "graph", "--only", "walks", "--dot"}).out,
                HasSubstr("digraph walks {"));
    const auto document = done({"config", "graph", "--json"}).json();
    EXPECT_EQ(document["walks"]["starts"].size(), 6u) << document["walks"]["starts"];
}

TEST_F(Config, AnImageNeedsGraphvizAndANewFile) {
    writeFile(path("there.svg"), "x");
    EXPECT_THAT(keld({"config", "graph", "--svg", "there.svg"}).err,
                HasSubstr("there is a file there.svg already"));
    // A program of that name in the place of Graphviz's.
    fs::create_directory(path("bin"));
    writeFile(path("bin/dot"), "#!/bin/sh\necho \"<svg $1>\"; cat \"$2\"\n");
    fs::permissions(path("bin/dot"), fs::perms(0755));
    environment()["PATH"] = path("bin").string() + ":/usr/bin:/bin";
    done({"config", "graph", "--only", "walks", "--svg", "walks.svg"});
    EXPECT_THAT(readFile(path("walks.svg")), HasSubstr("<svg -Tsvg>\ndigraph walks {"));
    environment()["PATH"] = path("empty").string();
    const Result without = keld({"config", "graph", "--svg", "other.svg"});
    EXPECT_EQ(without.exit_code, 1);
    EXPECT_THAT(without.err, HasSubstr("Graphviz's program dot can't be run"));
}
