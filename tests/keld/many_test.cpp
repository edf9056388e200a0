// One verb for many objects: a line of outcome for each, and a sum that is equal to what was given.

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;

class ManyObjects : public ProgramWithStore {
protected:
    std::string status(const std::string& object) {
        const auto shown = done({"status", "show", object, "--json"}).json()["status"];
        return shown.is_null() ? "" : shown.get<std::string>();
    }
    static void expectSum(const nlohmann::json& document) {
        std::size_t sum = 0;
        for (const auto& [word, count] : document["sum"].items())
            sum += word == "given" ? 0 : count.get<std::size_t>();
        EXPECT_EQ(document["sum"]["given"], sum) << document["sum"];
        EXPECT_EQ(document["objects"].size(), sum);
    }
};

TEST_F(ManyObjects, EachHasARunOfItsOwnAndALineOfOutcome) {
    const Result result =
        keld({"status", "set", "000101/A", "000102/A", "000107/A", "000101/A", "Frozen", "--json"});
    EXPECT_EQ(result.exit_code, 1) << "one of them isn't there";
    const auto document = result.json();
    expectSum(document);
    EXPECT_EQ(document["objects"][0]["outcome"], "done");
    EXPECT_EQ(document["objects"][0]["text"], "Frozen, was none");
    EXPECT_EQ(document["objects"][2]["outcome"], "unknown");
    EXPECT_EQ(document["objects"][3]["outcome"], "named before");
    EXPECT_NE(document["objects"][0]["run"], document["objects"][1]["run"]);
    EXPECT_EQ(status("000102/A"), "Frozen");
    done({"runs", "undo", std::to_string(document["objects"][1]["run"].get<int>())});
    EXPECT_EQ(status("000102/A"), "");
    EXPECT_EQ(status("000101/A"), "Frozen");
}

TEST_F(ManyObjects, OneThatIsRefusedDoesNotHoldUpTheOthersAndItsReasonIsTold) {
    done({"checkout", "000101/A", "--comment", "new bearing"});
    const Result result = keld({"status", "set", "000101/A", "000102/A", "Frozen"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, ContainsRegex("000101/A +refused +it is checked out"));
    EXPECT_THAT(result.out, ContainsRegex("000102/A +done +" DIGIT "+ +Frozen, was none"));
    EXPECT_THAT(result.out, HasSubstr("2 objects: 1 done, 1 refused\n"));
    EXPECT_THAT(result.err, ContainsRegex("held by +user infodba since .*: new bearing"));
}

TEST_F(ManyObjects, TogetherAllOfThemAreChangedOrNone) {
    done({"checkout", "000101/A"});
    const std::vector<std::string> words = {"status",   "set",    "000102/A",  "000101/A",
                                            "000100/A", "Frozen", "--together"};
    const Result refused = keld(words);
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.out, ContainsRegex("000102/A +went back"));
    EXPECT_THAT(refused.out, ContainsRegex("000101/A +refused +it is checked out"));
    EXPECT_THAT(refused.out, HasSubstr("3 objects: 1 refused, 2 went back\n"));
    EXPECT_EQ(status("000102/A"), "");
    done({"checkin", "000101/A"});
    std::vector<std::string> as_document = words;
    as_document.emplace_back("--json");
    const auto document = done(as_document).json();
    expectSum(document);
    EXPECT_EQ(status("000102/A"), "Frozen");
    done({"runs", "undo", std::to_string(document["run"]["run"].get<int>())});
    EXPECT_EQ(status("000102/A"), "");
    EXPECT_EQ(status("000101/A"), "");
}

TEST_F(ManyObjects, TogetherNothingRunsIfOneOfThemIsUnknown) {
    const Result result =
        keld({"checkout", "000101/A", "000107", "000102/A", "--together", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    expectSum(result.json());
    EXPECT_EQ(result.json()["objects"][0]["outcome"], "not reached");
    EXPECT_THAT(done({"find", "--checked-out"}).out, HasSubstr("nothing found"));
}

TEST_F(ManyObjects, NamesComeFromAFileAndFromStandardInput) {
    writeFile(path("names.txt"), "000101/A\r\n\n  000102/A \n");
    const auto document = done({"checkout", "--from", "names.txt", "--json"}).json();
    EXPECT_EQ(document["sum"]["done"], 2);
    EXPECT_EQ(document["objects"][1]["object"], "000102/A");
    const std::string command = "cd '" + directory().string() +
                                "' && printf '000101/A\\n000102/A\\n' | '" KELD_PROGRAM
                                "' checkin 000100/A - >out.txt 2>err.txt";
    if (fs::path(KELD_PROGRAM).extension() != ".exe") {
        (void)std::system(command.c_str());
        EXPECT_THAT(readFile(path("out.txt")), HasSubstr("3 objects: 2 done, 1 refused"))
            << readFile(path("err.txt"));
    }
    EXPECT_THAT(keld({"checkin", "--from", "nowhere.txt"}).err,
                HasSubstr("can't read the names in nowhere.txt"));
    EXPECT_EQ(keld({"checkin"}).exit_code, 2);
}

TEST_F(ManyObjects, ARehearsalOfManyKeepsNothing) {
    const Result result =
        done({"set", "000100", "000101", "object_desc=steel", "--dry-run", "--together"});
    EXPECT_THAT(result.out, HasSubstr("dry run, nothing is changed"));
    EXPECT_THAT(result.out, HasSubstr("2 objects: 2 would be done"));
    EXPECT_THAT(result.out, ContainsRegex("changed +000101 +Item +object_desc +steel"));
    EXPECT_THAT(done({"history", "000101"}).out, testing::Not(HasSubstr("steel")));
}

TEST_F(ManyObjects, APlanOfManyIsOneRunAndHasTheirNames) {
    writeFile(path("names.txt"), "000101\n000102\n");
    const std::vector<std::string> words = {"set",       "--from", "names.txt", "object_desc=steel",
                                            "--dry-run", "--plan", "plan.json"};
    const Result separate = keld(words);
    EXPECT_EQ(separate.exit_code, 2);
    EXPECT_THAT(separate.err, HasSubstr("a plan is of one run: give --together"));
    std::vector<std::string> together = words;
    together.emplace_back("--together");
    done(together);
    fs::remove(path("names.txt"));
    done({"apply", "plan.json"});
    EXPECT_EQ(done({"show", "000102", "--json"}).json()["properties"]["object_desc"], "steel");
}
