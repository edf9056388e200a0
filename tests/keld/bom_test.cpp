#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

class Bom : public Program {
protected:
    void SetUp() override {
        done({"init"});
        done({"load", KELD_SOURCE_DIR "/tests/keld/bom_world.json"});
        environment()["MV_TMP_DIR"] = directory().string();
    }

    // "10 000201/A 0.3 x2": number, what the line shows, quantity, how many lines are packed.
    std::vector<std::string> lines(const std::string& object,
                                   const std::vector<std::string>& options = {}) {
        std::vector<std::string> arguments{"bom", "show", object, "--json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        std::vector<std::string> texts;
        const json shown = done(arguments).json();
        for (const json& child : shown["children"])
            texts.push_back(child["number"].get<std::string>() + " " +
                            child["object"].get<std::string>() + " " +
                            child["quantity"].get<std::string>() + " x" + child["packed"].dump());
        return texts;
    }

    // "000201/A 20 10 modified": component, old and new number, status, after "000200/A:".
    static std::vector<std::string> rows(const json& document) {
        std::vector<std::string> texts;
        for (const json& block : document["protocol"]) {
            texts.push_back(block["parent"].get<std::string>() + ":");
            for (const json& line : block["lines"])
                texts.push_back(line["component"].get<std::string>() + " " +
                                line["old"].get<std::string>() + " " +
                                (line["new"].is_null() ? "-" : line["new"].get<std::string>()) +
                                " " + line["status"].get<std::string>());
        }
        return texts;
    }

    std::vector<std::string> resequence(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"bom", "resequence"});
        arguments.push_back("--json");
        return rows(done(arguments).json());
    }

    const std::vector<std::string> kUntouched{"10 000201/A 0.1 x1", "10 000202/A 1 x1",
                                              "20 000201/A 0.2 x1", " 000203/A  x1",
                                              "30 000202/A 2 x1"};
    const std::vector<std::string> kKept{"000200/A:",
                                         "000201/A 10 - use existing",
                                         "000202/A 10 30 modified",
                                         "000201/A 20 10 modified",
                                         "000203/A  40 modified",
                                         "000202/A 30 - use existing"};
};

using Lines = std::vector<std::string>;

TEST_F(Bom, ShowPacksLikeLinesAndSumsTheirQuantities) {
    EXPECT_EQ(lines("000200"), kUntouched);
    resequence({"000200", "--save"});
    EXPECT_EQ(lines("000200"),
              (Lines{"10 000201/A 0.3 x2", "30 000202/A 3 x2", "40 000203/A  x1"}));
    EXPECT_EQ(lines("000200", {"--unpacked"}),
              (Lines{"10 000201/A 0.1 x1", "30 000202/A 1 x1", "10 000201/A 0.2 x1",
                     "40 000203/A  x1", "30 000202/A 2 x1"}));
}

TEST_F(Bom, ShowIsATree) {
    const std::string text = done({"bom", "show", "000220/A"}).out;
    EXPECT_THAT(text, ContainsRegex("LINE +NUMBER +QUANTITY +PACKED +NAME"));
    EXPECT_THAT(text, ContainsRegex("├─ 000200/A +10 +1 +Frame\n│  ├─ 000201/A +10 +0.1 +Tube"));
    EXPECT_THAT(text, ContainsRegex("└─ 000203/A +20 +4 +Nut"));
    EXPECT_THAT(done({"bom", "show", "000220/A", "--depth", "1"}).out, Not(HasSubstr("000201")));
}

TEST_F(Bom, TheProtocolIsATable) {
    const Result result = done({"bom", "resequence", "000200/A"});
    EXPECT_THAT(result.out, ContainsRegex("PARENT +COMPONENT +OLD +NEW +STATUS"));
    EXPECT_THAT(result.out, ContainsRegex("000200/A +000201/A +10 +use existing"));
    EXPECT_THAT(result.out, ContainsRegex("000202/A +10 +30 +modified"));
    EXPECT_THAT(result.out, ContainsRegex("in the dataset PSE_RPBOM_infodba \\(#" DIGIT "+\\)"));
    EXPECT_THAT(result.out, HasSubstr("isn't saved"));
}

TEST_F(Bom, NumbersAreKeptWhereTheyCanBe) {
    EXPECT_EQ(resequence({"000200"}), kKept);
}

TEST_F(Bom, NothingButTheProtocolIsStoredWithoutSave) {
    const json document = done({"bom", "resequence", "000200", "--json"}).json();
    EXPECT_EQ(document["saved"], false);
    EXPECT_EQ(lines("000200"), kUntouched);
}

TEST_F(Bom, SortingNumbersFromTheStartByThePreferences) {
    done({"prefs", "set", "PackAndResequenceBOM.SEQNO_FIRST", "5"});
    done({"prefs", "set", "PackAndResequenceBOM.SEQNO_INCR", "100"});
    EXPECT_EQ(
        resequence({"000200", "--sort", "--save"}),
        (Lines{"000200/A:", "000201/A 10 5 modified", "000201/A 20 5 modified",
               "000202/A 10 105 modified", "000202/A 30 105 modified", "000203/A  205 modified"}));
    EXPECT_EQ(lines("000200"),
              (Lines{"5 000201/A 0.3 x2", "105 000202/A 3 x2", "205 000203/A  x1"}));
}

TEST_F(Bom, TwoRevisionsOfAnItemShareANumberAndStayTwoLines) {
    EXPECT_EQ(resequence({"000210", "--save"}),
              (Lines{"000210/A:", "000201/A 10 - use existing", "000201/B 20 10 modified"}));
    EXPECT_EQ(lines("000210"), (Lines{"10 000201/A 1 x1", "10 000201/B 2 x1"}));
}

TEST_F(Bom, LinesWithoutAQuantityGetTheDefault) {
    done({"prefs", "set", "PackAndResequenceBOM.SetDefaultQuantity", "7"});
    resequence({"000200", "--save"});
    EXPECT_EQ(lines("000200").back(), "40 000203/A 7 x1");
}

TEST_F(Bom, NotesThatThePreferenceNamesKeepLinesApart) {
    done({"load", [this] {
              writeFile(path("noted.json"), R"({"world": 1, "items": [{"id": "000230",
                  "revisions": [{"id": "A", "bom": [
                      {"item": "000202", "number": "10", "notes": {"position": "left"}},
                      {"item": "000202", "number": "20", "notes": {"position": "right"}}]}]}]})");
              return path("noted.json").string();
          }()});
    EXPECT_EQ(resequence({"000230"})[2], "000202/A 20 10 modified");
    done({"prefs", "set", "PackAndResequenceBOM.NoteTypesToCompare", "position"});
    EXPECT_EQ(resequence({"000230"})[2], "000202/A 20 - use existing");
}

TEST_F(Bom, AllLevelsAreWorkedOnUnlessALevelIsGiven) {
    const auto parents = [this](const Lines& arguments) {
        Lines found;
        for (const std::string& row : resequence(arguments))
            if (row.ends_with(":"))
                found.push_back(row);
        return found;
    };
    const Lines all{"000220/A:", "000200/A:", "000210/A:"};
    EXPECT_EQ(parents({"000220"}), all);
    EXPECT_EQ(parents({"000220", "--level", "0"}), all);
    EXPECT_EQ(parents({"000220", "--level", "2"}), all);
    EXPECT_EQ(parents({"000220", "--level", "1"}), Lines{"000220/A:"});
}

TEST_F(Bom, ALineIsNamedByWhatItShows) {
    EXPECT_EQ(resequence({"000220", "--line", "000200"}), kKept);
    EXPECT_EQ(resequence({"000220", "--line", "000200/A", "--line", "000200"}), kKept);
    EXPECT_EQ(resequence({"000200", "--line", "000200"}), kKept);
}

TEST_F(Bom, ALineIsNamedByItsNumbers) {
    EXPECT_EQ(resequence({"000220", "--line", "/10"}), kKept);
    EXPECT_EQ(resequence({"000200", "--line", "/"}), kKept);
    EXPECT_TRUE(resequence({"000220", "--line", "/10/20"}).empty());
}

TEST_F(Bom, SeveralLinesAreWorkedOnInTheOrderOfTheirNames) {
    const Lines found = resequence({"000220", "--line", "000210", "--line", "/10"});
    ASSERT_EQ(found.size(), 9u);
    EXPECT_EQ(found[0], "000210/A:");
    EXPECT_EQ(found[3], "000200/A:");
}

TEST_F(Bom, ALineThatDoesNotExistIsRefused) {
    const Result number = keld({"bom", "resequence", "000220", "--line", "/11"});
    EXPECT_EQ(number.exit_code, 1);
    EXPECT_THAT(number.err, HasSubstr("no line has the number '11'"));
    EXPECT_THAT(number.err, HasSubstr("Did you mean 10"));
    const Result item = keld({"bom", "resequence", "000200", "--line", "000210"});
    EXPECT_EQ(item.exit_code, 1);
    EXPECT_THAT(item.err, HasSubstr("no line of 000200/A shows 000210"));
    EXPECT_EQ(keld({"bom", "resequence", "000200", "--line", "999999"}).exit_code, 1);
}

TEST_F(Bom, ANumberOfTwoComponentsNamesNoLine) {
    const Result result = keld({"bom", "resequence", "000220", "--line", "/20"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("000210/A, 000203/A"));
    EXPECT_THAT(result.err, HasSubstr("name the line by its item"));
}

TEST_F(Bom, WithoutWriteAccessNothingIsChangedAndTheProtocolIsEmpty) {
    const Result result =
        keld({"bom", "resequence", "000200", "--save", "--json", "--user", "guest"});
    EXPECT_EQ(result.exit_code, 1);
    const json document = result.json();
    EXPECT_EQ(document["succeeded"], false);
    EXPECT_EQ(document["outcome"]["error_stack"].at(0)["status"], 515001);
    EXPECT_EQ(document["dataset"]["name"], "PSE_RPBOM_guest");
    EXPECT_TRUE(document["protocol"].empty());
    EXPECT_EQ(lines("000200"), kUntouched);
    EXPECT_THAT(keld({"bom", "resequence", "000200", "--user", "guest"}).err,
                HasSubstr("error 515001: There is no write access to the top line"));
}

TEST_F(Bom, ALineThatIsCheckedOutIsPassedOverWithAllBelowIt) {
    const json views =
        done({"find", "000200*", "--type", "STRBOMViewRevision", "--json"}).json()["found"];
    ASSERT_EQ(views.size(), 1u);
    const std::string view = "#" + views[0]["tag"].dump();
    done({"checkout", view});
    const Lines found = resequence({"000220"});
    EXPECT_EQ(found[0], "000220/A:");
    EXPECT_EQ(std::count(found.begin(), found.end(), "000200/A:"), 0);
    EXPECT_EQ(std::count(found.begin(), found.end(), "000210/A:"), 1);
}

TEST_F(Bom, AFailureTakesAllBack) {
    environment()["MERVANE_FAULTS"] = "LINE_pack:1=4711";
    const std::string before = done({"export"}).out;
    EXPECT_EQ(keld({"bom", "resequence", "000200", "--save"}).exit_code, 1);
    environment().erase("MERVANE_FAULTS");
    EXPECT_EQ(done({"export"}).out, before);
}

TEST_F(Bom, AsTheServerAFailureIsShownAndWhatIsNumberedIsSavedAllTheSame) {
    environment()["MERVANE_FAULTS"] = "LINE_pack:1=4711";
    const Result result = keld({"bom", "resequence", "000200", "--save", "--as-server", "--json"});
    environment().erase("MERVANE_FAULTS");
    EXPECT_EQ(result.exit_code, 3) << "done, with a failure";
    const json document = result.json();
    EXPECT_EQ(rows(document), kKept);
    EXPECT_EQ(document["saved"], true);
    EXPECT_FALSE(document["outcome"]["log_problems"].empty());
    EXPECT_EQ(lines("000200")[0], "10 000201/A 0.3 x2");
}

TEST_F(Bom, AFailureSavesNothingWithoutSave) {
    environment()["MERVANE_FAULTS"] = "LINE_pack:1=4711";
    EXPECT_EQ(keld({"bom", "resequence", "000200"}).exit_code, 1);
    environment().erase("MERVANE_FAULTS");
    EXPECT_EQ(lines("000200"), kUntouched);
}

TEST_F(Bom, TheNextRunReplacesTheFileInTheSameDataset) {
    const json first = done({"bom", "resequence", "000200", "--json"}).json()["dataset"];
    const json second = done({"bom", "resequence", "000210", "--json"}).json()["dataset"];
    EXPECT_EQ(first["tag"], second["tag"]);
    const std::string tag = "#" + second["tag"].dump();
    EXPECT_EQ(done({"show", tag, "--json"}).json()["versions"].size(), 1u);
    EXPECT_THAT(done({"cat", tag}).out, HasSubstr("000210/A\n"));
    EXPECT_THAT(done({"cat", tag}).out, Not(HasSubstr("000200/A")));
    EXPECT_EQ(done({"find", "PSE_RPBOM_infodba", "--json"}).json()["found"].size(), 1u);
    done({"check"});
}

TEST_F(Bom, TheStoredProtocolIsReadBackByteForByte) {
    const json document = done({"bom", "resequence", "000200", "--json"}).json();
    EXPECT_EQ(done({"cat", "#" + document["dataset"]["tag"].dump()}).out,
              "\t\tComponent\t\tSeqNo. alt\tSeqNo. neu\tStatus\n"
              "000200/A\n"
              "\t\t000201/A\t\t10\t\t\t\tuse existing\n"
              "\t\t000202/A\t\t10\t\t30\t\tmodified\n"
              "\t\t000201/A\t\t20\t\t10\t\tmodified\n"
              "\t\t000203/A\t\t\t\t40\t\tmodified\n"
              "\t\t000202/A\t\t30\t\t\t\tuse existing\n"
              "\n");
}

TEST_F(Bom, WithoutADirectoryForTheProtocolTheRunIsAFailure) {
    environment()["MV_TMP_DIR"] = path("not-there").string();
    EXPECT_EQ(keld({"bom", "resequence", "000200", "--save"}).exit_code, 1);
    EXPECT_EQ(lines("000200"), kUntouched);
    const Result result = keld({"bom", "resequence", "000200", "--save", "--as-server", "--json"});
    EXPECT_EQ(result.exit_code, 3) << "done, with a failure";
    EXPECT_EQ(result.json()["protocol"], nullptr);
    EXPECT_EQ(lines("000200")[0], "10 000201/A 0.3 x2");
}

TEST_F(Bom, ADryRunShowsWhatWouldBeStoredAndChangesNothing) {
    environment()["TMPDIR"] = path("tmp").string();
    fs::create_directory(path("tmp"));
    const std::string before = done({"export"}).out;
    const json document =
        done({"bom", "resequence", "000200", "--save", "--dry-run", "--json"}).json();
    EXPECT_EQ(rows(document), kKept);
    bool renumbered = false;
    for (const json& change : document["changes"])
        for (const json& value : change["values"])
            renumbered |=
                value["attribute"] == "seq_no" && value["before"] == "20" && value["after"] == "10";
    EXPECT_TRUE(renumbered) << document["changes"];
    EXPECT_EQ(done({"export"}).out, before);
    EXPECT_TRUE(fs::is_empty(path("tmp")));
    EXPECT_FALSE(fs::exists(path("keld.log")));
}

TEST_F(Bom, WhatTheServicePrintsIsShownOnlyOnRequest) {
    EXPECT_EQ(done({"bom", "resequence", "000200"}).err, "");
    const Result result = done({"bom", "resequence", "000200", "--dump", "--json"});
    EXPECT_EQ(rows(result.json()), kKept);
    EXPECT_THAT(result.err, HasSubstr("01 000202### 10-30-30\n"));
}

TEST_F(Bom, NegativeLevelsAndDepthsAreRefused) {
    EXPECT_EQ(keld({"bom", "resequence", "000200", "--level", "-1"}).exit_code, 2);
    EXPECT_EQ(keld({"bom", "show", "000200", "--depth", "-1"}).exit_code, 2);
}

class Cat : public ProgramWithStore {};

TEST_F(Cat, AFileIsWrittenToAPathThatIsFree) {
    EXPECT_EQ(done({"cat", "000100/A:drawing"}).out, "sheet 1\n");
    done({"cat", "000100/A:drawing", "--reference", "Text", "--output", path("out").string()});
    EXPECT_EQ(readFile(path("out")), "sheet 1\n");
    writeFile(path("out"), "mine");
    EXPECT_EQ(keld({"cat", "000100/A:drawing", "--output", path("out").string()}).exit_code, 1);
    EXPECT_EQ(readFile(path("out")), "mine");
}

TEST_F(Cat, WithJsonTheContentIsAText) {
    const json document = done({"cat", "000100/A:drawing", "--json"}).json();
    EXPECT_EQ(document["text"], "sheet 1\n");
    EXPECT_EQ(document["name"], "drawing.txt");
    EXPECT_EQ(document["bytes"], 8);
}

TEST_F(Cat, WhatIsNoDatasetOrHasNoSuchFileIsRefused) {
    EXPECT_THAT(keld({"cat", "000100/A"}).err, HasSubstr("not a dataset"));
    const Result result = keld({"cat", "000100/A:drawing", "--reference", "Texd"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("Did you mean Text?"));
}

}  // namespace
