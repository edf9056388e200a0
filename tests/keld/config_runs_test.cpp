// config explain of an object, coverage, diff and test: what rehearsals tell of a configuration.

#include <algorithm>

#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

class ConfigRuns : public ProgramWithStore {
protected:
    static constexpr const char* kIni =
        "[SelectWSO]\nItemRevision=1\n"                                                      // 1, 2
        "[Frozen_ItemRevision]\nDoNothingOnReleaseStatus=Frozen;Released\n"                  // 3, 4
        "PrevReleaseStatus=none\nCheckNeedFields=user_data_1;user_data_2\n"                  // 5, 6
        "SetReleaseState=Frozen\nChangeForward=Rel.VANE_specification.*;BOM\n"               // 7, 8
        "SetAttributes=MasterForm\n"                                                         // 9
        "[Frozen_ItemRevision_MasterForm]\nSetDefaultOnEmpty=user_data_1=x;user_data_3=y\n"  // 10
        "SetActUserId=user_data_3\n"                                                         // 12
        "[Frozen_VANE_specification.*]\nSetReleaseState=Frozen\n"                            // 13
        "[Frozen_BOM]\nSetReleaseState=Frozen\n";                                            // 15

    // Without the check of fields, which are empty in the world.
    static std::string open() {
        std::string ini = kIni;
        const std::string check = "CheckNeedFields=user_data_1;user_data_2\n";
        return ini.replace(ini.find(check), check.size(), "CheckNeedFields=\n");
    }
    static nlohmann::json rowOf(const nlohmann::json& document, int line,
                                const nlohmann::json& entry = nullptr) {
        for (const auto& row : document["rows"])
            if (row["line"] == line && row["entry"] == entry)
                return row;
        return {};
    }
    static void expectUses(const nlohmann::json& row, int read, int decided, int refused) {
        EXPECT_EQ(row["read"], read) << row;
        EXPECT_EQ(row["decided"], decided) << row;
        EXPECT_EQ(row["refused"], refused) << row;
    }
};

TEST_F(ConfigRuns, AnObjectIsExplainedRuleByRuleWithWhatWasFoundAndDecided) {
    configure(open());
    const std::string before = done({"export"}).out;
    const auto document = done({"config", "explain", "000100/A", "Frozen", "--json"}).json();
    EXPECT_EQ(document["refused"], nullptr);
    std::vector<std::string> told;
    for (const auto& rule : document["rules"])
        if (rule["did"] == "decided" && rule["entry"].is_null())
            told.push_back((rule["pass"].is_null() ? "" : rule["pass"].get<std::string>() + " ") +
                           (rule["key"].is_null() ? "" : rule["key"].get<std::string>()) + ": " +
                           rule["decided"].get<std::string>());
    EXPECT_EQ(
        told,
        (std::vector<std::string>{
            "ItemRevision: a run may start on this type", "test PrevReleaseStatus: allowed",
            "test : allowed", "test PrivilegName: allowed", "test ChangeForward: leads to 2",
            "attributes ChangeForward: leads to 2", "attributes SetAttributes: 1 filled",
            "attributes SetDefaultOnEmpty: set 2", "attributes SetActUserId: set 1",
            "attributes SetReleaseState: status Frozen", "actions ChangeForward: leads to 2"}))
        << document["rules"].dump(1);
    EXPECT_EQ(document["other_visits"], 6);
    EXPECT_EQ(done({"export"}).out, before) << "nothing is kept";
}

TEST_F(ConfigRuns, ARefusedObjectIsExplainedUpToTheRuleThatRefusesIt) {
    configure(kIni);
    const Result result = keld({"config", "explain", "000100/A", "Frozen"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("CheckNeedFields"));
    EXPECT_THAT(result.out, HasSubstr("refused: 919404"));
    EXPECT_THAT(result.out, Not(HasSubstr("attributes")));
    EXPECT_THAT(result.out,
                HasSubstr("the run is refused: 919404 at 000100/A by [Frozen_ItemRevision]"));
    configure("[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\n[Frozen_Text]\n");
    EXPECT_THAT(keld({"config", "explain", "000100/A:drawing", "Frozen"}).out,
                HasSubstr("no run starts on this type"));
}

TEST_F(ConfigRuns, CoverageCountsWhatWasReadDecidedAndRefused) {
    configure(open());
    const auto document = done({"config", "coverage", "Frozen", "--all", "--json"}).json();
    EXPECT_EQ(document["runs"], 3);
    EXPECT_EQ(document["passed"], 3);
    expectUses(rowOf(document, 2), 3, 3, 0);
    expectUses(rowOf(document, 3), 9, 3, 0);
    expectUses(rowOf(document, 5), 3, 3, 0);
    expectUses(rowOf(document, 7), 3, 3, 0);
    expectUses(rowOf(document, 8, "Rel.VANE_specification.*"), 9, 3, 0);
    expectUses(rowOf(document, 8, "BOM"), 9, 6, 0);
    expectUses(rowOf(document, 11, "user_data_1=x"), 3, 3, 0);
    expectUses(rowOf(document, 12), 3, 3, 0);
    expectUses(rowOf(document, 14), 1, 1, 0);
    // No object has one of these statuses in the passes that read the key.
    expectUses(rowOf(document, 4), 9, 0, 0);
    expectUses(rowOf(document, 4, "Released"), 0, 0, 0);
}

TEST_F(ConfigRuns, CoverageTellsWhatRefusesAndWhatIsNeverReached) {
    configure(std::string(kIni) + "[Gone_Text]\nPurge=1\n");
    const auto document =
        done({"config", "coverage", "--of", "000100/A", "000102/A", "--json"}).json();
    EXPECT_EQ(document["runs"], 2);
    EXPECT_EQ(document["passed"], 0);
    expectUses(rowOf(document, 6), 2, 0, 2);
    expectUses(rowOf(document, 6, "user_data_1"), 2, 0, 2);
    expectUses(rowOf(document, 6, "user_data_2"), 0, 0, 0);
    expectUses(rowOf(document, 7), 0, 0, 0);
    expectUses(rowOf(document, 18), 0, 0, 0);
    const std::string copy = done({"config", "coverage", "--of", "000100/A", "--annotated"}).out;
    EXPECT_THAT(copy, HasSubstr("       1        0        1 | CheckNeedFields=user_data_1"));
    EXPECT_THAT(copy, HasSubstr("   #####                   | SetReleaseState=Frozen"));
    EXPECT_THAT(copy, HasSubstr("   #####                   | [Gone_Text]"));
}

TEST_F(ConfigRuns, CoverageNeedsObjectsAndStatusesThatAreThere) {
    configure(kIni);
    EXPECT_EQ(keld({"config", "coverage", "Frozen"}).exit_code, 2);
    EXPECT_THAT(keld({"config", "coverage", "Frosen", "--all"}).err,
                HasSubstr("Did you mean Frozen?"));
    EXPECT_EQ(keld({"config", "coverage", "--of", "999999"}).exit_code, 1);
}

TEST_F(ConfigRuns, DiffTellsRefusalsThatComeAndStatusesThatDiffer) {
    configure(open());
    writeFile(path("same.ini"), "; the same\n" + open());
    const Result same = done({"config", "diff", "keld_statusmanager.ini", "same.ini", "--all"});
    EXPECT_EQ(same.out, "3 runs: 3 equal, 0 different; 0 refusals more, 0 less\n");
    writeFile(path("strict.ini"), kIni);
    const Result strict = keld({"config", "diff", ".", "strict.ini", "--of", "000102/A"});
    EXPECT_EQ(strict.exit_code, 1);
    EXPECT_THAT(strict.out, HasSubstr("passes  refused: 919404 at 000102/A"));
    EXPECT_THAT(strict.out, HasSubstr("1 refusal more, 0 less"));
    std::string other = open();
    other.replace(other.rfind("SetReleaseState=Frozen"), 22, "SetReleaseState=Held");
    other.replace(other.find("=user_data_1=x"), 14, "=user_data_1=z");
    writeFile(path("other.ini"), other + "[Held_ItemRevision]\nSetReleaseState=Held\n");
    const auto document =
        keld({"config", "diff", ".", "other.ini", "--of", "000100/A", "--json"}).json();
    EXPECT_EQ(document["runs"], 2);
    ASSERT_EQ(document["differences"].size(), 2u);
    EXPECT_EQ(document["differences"][1]["before"], "no such run");
    const auto changes = document["differences"][0]["changes"];
    ASSERT_EQ(changes.size(), 2u) << changes;
    EXPECT_THAT(changes.dump(), HasSubstr("\"after\":\"none -> Held\""));
    EXPECT_THAT(changes.dump(), HasSubstr("user_data_1 none -> z"));
}

class ConfigCases : public Program {
protected:
    void SetUp() override {
        fs::create_directory(path("cases"));
        fs::copy_file(KELD_SOURCE_DIR "/tests/keld/world.json", path("cases/world.json"));
        fs::copy_file(KELD_SOURCE_DIR "/tests/keld/config/keld_statusmanager.ini",
                      path("cases/keld_statusmanager.ini"));
    }
    void write(const std::string& name, const std::string& text) {
        writeFile(path("cases/" + name + ".case"), text);
    }
};

TEST_F(ConfigCases, PassFailAndBreakWithWhatDiffersAndAJUnitReport) {
    write("a",
          "run keld status set 000102/A Frozen\nexpect\n"
          "OBJECT TYPE PREVIOUS STATUS NEW STATUS\n000102/A ItemRevision none Frozen\n...\n");
    write("b",
          "before keld checkout 000102/A\nrun keld status set 000102/A Frozen\nexpect\n"
          "nothing changed\nrefused: 919403: wrong\n...\n");
    write("c", "world gone.json\nrun keld show 1\n");
    write("d", "before keld show 1\nrun keld show 1\n");
    write("e", "run ls\n");
    const Result result = keld({"config", "test", "cases", "--junit", "report.xml"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("ok        a\n"));
    EXPECT_THAT(result.out, HasSubstr("failed    b\n      nothing changed\n"));
    EXPECT_THAT(result.out, HasSubstr("    - refused: 919403: wrong\n"));
    EXPECT_THAT(result.out, HasSubstr("    + refused: 919405: The object is checked out\n"));
    EXPECT_THAT(result.out, HasSubstr("broken    c\n    there is no world"));
    EXPECT_THAT(result.out, HasSubstr("broken    d\n    a command before it ended with 1:"));
    EXPECT_THAT(result.out, HasSubstr("broken    e\n    line 1: 'ls' is no command"));
    EXPECT_THAT(result.out, HasSubstr("5 cases: 1 passed, 4 failed"));
    const std::string report = readFile(path("report.xml"));
    EXPECT_THAT(report, HasSubstr("tests=\"5\" failures=\"1\" errors=\"3\""));
}

TEST_F(ConfigCases, AcceptWritesWhatIsExpectedAndKeepsTheRest) {
    write("a", "; why\nbefore keld checkout 000102/A\nrun keld status set 000102/A Frozen\n");
    EXPECT_EQ(keld({"config", "test", "cases"}).exit_code, 1);
    EXPECT_THAT(done({"config", "test", "cases", "--accept"}).out,
                HasSubstr("1 case: 0 passed, 1 accepted, 0 failed"));
    const std::string text = readText(path("cases/a.case"));
    EXPECT_THAT(text, testing::StartsWith("; why\nbefore keld checkout 000102/A\nrun keld status "
                                          "set 000102/A Frozen\nexpect\n"));
    EXPECT_THAT(text, HasSubstr("refused: 919405"));
    EXPECT_THAT(text, Not(HasSubstr(directory().string())));
    EXPECT_THAT(done({"config", "test", "cases"}).out, HasSubstr("1 case: 1 passed, 0 failed"));
    EXPECT_EQ(std::distance(fs::directory_iterator(path("cases")), fs::directory_iterator()), 3);
}

TEST_F(ConfigCases, HaveAWorldOfTheirOwnWhichMayBeAStore) {
    done({"init", "--store", "cases/other.db"});
    done({"load", path("cases/world.json").string(), "--store", "cases/other.db"});
    done({"checkout", "000102/A", "--store", "cases/other.db"});
    const std::string held = readFile(path("cases/other.db"));
    for (const char* name : {"a", "b", "c"})
        write(name, "world other.db\nrun keld checkin 000102/A\nexpect\nchecked in 000102/A\n");
    write("d", "run keld checkin 000102/A\nexpect\n...\n");
    EXPECT_THAT(done({"config", "test", "cases", "--jobs", "3"}).out,
                HasSubstr("4 cases: 4 passed, 0 failed"));
    EXPECT_EQ(readFile(path("cases/other.db")), held);
}

TEST_F(ConfigCases, ADirectoryWithoutCasesIsTold) {
    EXPECT_THAT(keld({"config", "test", "cases"}).err, HasSubstr("there is no file *.case in"));
    EXPECT_THAT(keld({"config", "test", "nowhere"}).err, HasSubstr("there is no directory"));
}

TEST_F(ConfigCases, ThoseOfTheSampleConfigurationPass) {
    const Result result = keld({"config", "test", KELD_SOURCE_DIR "/samples/cases"});
    EXPECT_EQ(result.exit_code, 0) << result.out;
}
