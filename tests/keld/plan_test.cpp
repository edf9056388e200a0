// Plans at the command line: one rehearses, another carries out, and only what was rehearsed.

#include <chrono>
#include <thread>

#include "tests/keld/plan_support.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Plans : public WithPlans {
protected:
    nlohmann::json objectIn(const nlohmann::json& plan, const std::string& object) {
        for (const auto& each : plan["objects"])
            if (each["object"] == object)
                return each;
        return {};
    }
    void addKelda() { done({"users", "add", "kelda", "--in-group", "dba"}); }
};

TEST_F(Plans, WhatIsRehearsedIsCarriedOut) {
    const std::string before = exported();
    planned({"status", "set", "000100/A", "Released", "--structure"});
    EXPECT_EQ(exported(), before);
    const auto document = done({"apply", "plan.json", "--json"}).json();
    EXPECT_EQ(document["run"]["way"], "whole");
    EXPECT_EQ(document["run"]["plan"]["carried_out"], true);
    EXPECT_EQ(document["run"]["plan"]["differences"].size(), 0u);
    for (const char* object : {"000100/A", "000101/A", "000102/A"})
        EXPECT_EQ(status(object), "Released") << object;
    const auto runs = done({"runs", "-n", "1", "--json"}).json()["runs"];
    EXPECT_EQ(runs[0]["number"], document["run"]["run"]);
    EXPECT_EQ(runs[0]["service"], "KELD_StatusManager");
}

TEST_F(Plans, ThePlanTellsWhatTheRunReadsCallsAndChanges) {
    const auto plan = planned({"status", "set", "000102/A", "Frozen"});
    EXPECT_EQ(plan["plan"], 1);
    EXPECT_EQ(plan["command"], nlohmann::json({"status", "set", "000102/A", "Frozen"}));
    EXPECT_EQ(plan["store"].get<std::string>().size(), 32u);
    EXPECT_EQ(plan["configuration"]["sha256"].get<std::string>().size(), 64u);
    EXPECT_THAT(plan["configuration"]["path"].get<std::string>(),
                HasSubstr("keld_statusmanager.ini"));
    EXPECT_EQ(plan["run"]["user"], "infodba");
    EXPECT_EQ(plan["outcome"]["result"], "done");
    const auto revision = objectIn(plan, "000102/A");
    EXPECT_EQ(revision["type"], "ItemRevision");
    EXPECT_GE(revision["version"].get<int>(), 1);
    ASSERT_EQ(plan["calls"].size(), 1u);
    EXPECT_EQ(plan["calls"][0]["service"], "KELD_StatusManager");
    EXPECT_EQ(plan["calls"][0]["arguments"],
              nlohmann::json::parse("[{\"string\": \"Frozen\"}, {\"string\": \"ItemRevision\"}, "
                                    "{\"object\": " +
                                    revision["tag"].dump() + "}]"));
    bool changed = false;
    for (const auto& entry : plan["entries"])
        for (const auto& value : entry["values"])
            if (entry["tag"] == revision["tag"] && value["attribute"] == "release_status_list") {
                changed = true;
                EXPECT_TRUE(value["before"].empty());
                EXPECT_EQ(value["after"].size(), 1u);
            }
    EXPECT_TRUE(changed);
    // Every changed object was read before.
    for (const auto& entry : plan["entries"])
        if (entry["change"] == "changed") {
            bool read = false;
            for (const auto& object : plan["objects"])
                read = read || (object["tag"] == entry["tag"] && object["version"] > 0);
            EXPECT_TRUE(read) << entry;
        }
}

TEST_F(Plans, EachObjectThatWasChangedMeanwhileIsNamedBeforeAnythingRuns) {
    planned({"status", "set", "000100/A", "Released", "--structure"});
    done({"status", "set", "000102/A", "Frozen"});
    done({"status", "set", "000101/A", "Frozen"});
    const std::string before = exported();
    const Result result = keld({"apply", "plan.json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("doesn't fit the store any more, nothing is changed"));
    for (const char* object : {"000101/A", "000102/A"})
        EXPECT_THAT(result.err, ContainsRegex(std::string(object) +
                                              " \\(ItemRevision\\) is changed: version " DIGIT
                                              "+, in the plan " DIGIT "+; last changed by user "));
    EXPECT_THAT(result.err, Not(HasSubstr("000100/A (ItemRevision)")));
    EXPECT_EQ(exported(), before);
    const auto document = keld({"apply", "plan.json", "--json"}).json();
    EXPECT_EQ(document["carried_out"], false);
    bool named = false;
    for (const auto& conflict : document["conflicts"])
        if (conflict["object"] == "000102/A") {
            named = true;
            EXPECT_EQ(conflict["is"], "changed");
            EXPECT_LT(conflict["then"].get<int>(), conflict["now"].get<int>());
        }
    EXPECT_TRUE(named) << document;
}

TEST_F(Plans, AnObjectThatIsGoneIsNamed) {
    planned({"status", "set", "000100/A", "Released"});
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("backup").string()});
    done({"delete-check", "000100/A:drawing", "--then-delete"});
    expectRefusal("000100/A:drawing is gone");
}

TEST_F(Plans, AnObjectThatIsNewWhereThePlanHadNoneIsNamed) {
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("backup").string()});
    const auto deletion = done({"delete-check", "000100/A:drawing", "--then-delete", "--json"});
    planned({"status", "set", "000100/A", "Released"});
    done({"runs", "undo", deletion.json()["run"]["run"].dump()});
    // The drawing is related to the revision again.
    expectRefusal(" (Relation) is new");
}

TEST_F(Plans, AConfigurationWithOtherContentsIsRefused) {
    const std::string ini = readFile(KELD_SOURCE_DIR "/tests/keld/config/keld_statusmanager.ini");
    configure(ini);
    planned({"status", "set", "000102/A", "Frozen"});
    configure(ini + "; a word more\n");
    expectRefusal("has other contents: SHA-256 ");
    fs::remove(path("keld_statusmanager.ini"));
    expectRefusal("keld_statusmanager.ini isn't there");
    // Where it lies doesn't matter.
    environment()["KELD_CFG_PATH"] = KELD_SOURCE_DIR "/tests/keld/config";
    done({"apply", "plan.json"});
    EXPECT_EQ(status("000102/A"), "Frozen");
}

TEST_F(Plans, AnotherVersionOfTheLibrariesIsRefused) {
    auto plan = planned({"status", "set", "000102/A", "Frozen"});
    plan["version"] = "0.0.1";
    rewrite(plan);
    expectRefusal("in the plan 0.0.1");
}

TEST_F(Plans, APlanIsOfOneStoreAndItsCopies) {
    planned({"status", "set", "000102/A", "Frozen"});
    done({"backup", "copy.db"});
    done({"init", "--store", "other.db"});
    const Result other = keld({"apply", "plan.json", "--store", "other.db"});
    EXPECT_EQ(other.exit_code, 1);
    EXPECT_THAT(other.err, HasSubstr("is of the store "));
    EXPECT_THAT(other.err, HasSubstr("not of other.db"));
    done({"apply", "plan.json", "--store", "copy.db"});
    EXPECT_EQ(status("000102/A"), "");
    done({"apply", "plan.json"});
    EXPECT_EQ(status("000102/A"), "Frozen");
}

TEST_F(Plans, AnotherUserCarriesItOutLaterInHisOwnName) {
    planned({"status", "set", "000100/A", "Frozen"});
    addKelda();  // what the run makes gets other tags now
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const Result result = done({"apply", "plan.json", "--user", "kelda"});
    EXPECT_THAT(result.out, HasSubstr("carried out the plan plan.json"));
    EXPECT_EQ(status("000100/A"), "Frozen");
    // The configuration puts the user on the master form, and the moment into the job's name.
    EXPECT_THAT(done({"export"}).out, HasSubstr("\"user_data_1\": \"kelda\""));
    EXPECT_EQ(done({"runs", "-n", "1", "--json"}).json()["runs"][0]["user"], "kelda");
}

TEST_F(Plans, ARunThatComesToSomethingElseGoesBack) {
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "Item;object_desc"});
    writeFile(path("more.json"),
              R"({"world": 1, "items": [{"id": "C-1", "name": "one", "description": "first"},
                  {"id": "C-2", "name": "two"}]})");
    done({"load", path("more.json").string()});
    planned({"copy-attr", "C-1", "C-2"});
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "Item;object_name"});
    expectRefusal("doesn't come to what the plan plan.json says");
    const Result result = keld({"apply", "plan.json"});
    EXPECT_THAT(result.err, HasSubstr("C-2 (Item) object_desc: "));
    EXPECT_THAT(result.err, HasSubstr("\"first\""));
    EXPECT_THAT(result.err, HasSubstr("C-2 (Item) object_name: "));
    EXPECT_THAT(result.out, HasSubstr("nothing changed"));
    const auto document = keld({"apply", "plan.json", "--json"}).json();
    EXPECT_EQ(document["run"]["kept"], false);
    EXPECT_EQ(document["run"]["plan"]["differences"].size(), 2u);
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "Item;object_desc"});
    done({"apply", "plan.json"});
    EXPECT_THAT(done({"show", "C-2"}).out, ContainsRegex("object_desc +first"));
}

TEST_F(Plans, ARunThatIsRefusedNowGoesBack) {
    planned({"status", "set", "000102/A", "Frozen"});
    done({"checkout", "000102/A"});
    expectRefusal("919405");
    const Result result = keld({"apply", "plan.json"});
    EXPECT_THAT(result.err, HasSubstr("the result is refused, in the plan done"));
}

TEST_F(Plans, AChangedEntryOfThePlanIsFound) {
    const auto plan = planned({"status", "set", "000102/A", "Frozen"});
    auto less = plan;
    less["entries"].erase(less["entries"].size() - 1);
    rewrite(less);
    expectRefusal("doesn't come to what the plan");
    // Values made from the moment or the user must match those of the plan's run.
    const std::vector<std::pair<std::string, nlohmann::json>> values = {
        {"name", "Released"},
        {"date_released", {{"date", "2001-02-03T04:05:06"}}},
        {"owning_user", {{"tag", 1}}},
        {"user_data_1", "otto"}};
    for (const auto& [attribute, other] : values) {
        auto changed = plan;
        int count = 0;
        for (auto& entry : changed["entries"])
            for (auto& value : entry["values"])
                if (value["attribute"] == attribute && !value["after"].empty()) {
                    value["after"] = nlohmann::json::array({other});
                    ++count;
                }
        ASSERT_GT(count, 0) << attribute;
        rewrite(changed);
        expectRefusal(attribute + ": from ");
    }
    auto job = plan;
    for (auto& entry : job["entries"])
        if (entry["change"] == "workflow started")
            entry["text"] = "STATMGR_1";
    ASSERT_NE(job, plan);
    rewrite(job);
    expectRefusal("in the plan workflow started STATMGR_1");
}

TEST_F(Plans, ANameThatLeadsElsewhereIsRefused) {
    auto plan = planned({"status", "set", "000102/A", "Frozen"});
    plan["command"][2] = "000101/A";
    rewrite(plan);
    expectRefusal("call 1 is another one than in the plan plan.json, nothing is changed");
    plan["command"] = {"status", "set", "000102/A", "Released"};
    rewrite(plan);
    expectRefusal("call 1 is another one than in the plan");
}

TEST_F(Plans, AnApplicationCanBeRehearsed) {
    planned({"status", "set", "000102/A", "Frozen"});
    const std::string before = exported();
    EXPECT_THAT(done({"apply", "plan.json", "--dry-run"}).out,
                HasSubstr("this is what the plan says: plan.json"));
    EXPECT_EQ(exported(), before);
    done({"checkout", "000102/A"});
    EXPECT_EQ(keld({"apply", "--dry-run", "plan.json"}).exit_code, 1);
}

TEST_F(Plans, ARunThatWouldNotBeKeptHasNoPlan) {
    done({"checkout", "000102/A"});
    const Result result =
        keld({"status", "set", "000102/A", "Frozen", "--dry-run", "--plan", "plan.json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("no plan is written"));
    EXPECT_FALSE(fs::exists(path("plan.json")));
}

TEST_F(Plans, FailuresThatAreAcceptedAreAPartOfThePlan) {
    configure(
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nPrevReleaseStatus=none\n"
        "SetReleaseState=Frozen\nStartJob=NoSuchTemplate\n");
    const std::vector<std::string> set = {"status",    "set",    "000102/A", "Frozen",
                                          "--dry-run", "--plan", "plan.json"};
    EXPECT_EQ(keld(set).exit_code, 1);
    EXPECT_FALSE(fs::exists(path("plan.json")));
    std::vector<std::string> accepted = set;
    accepted.emplace_back("--accept-failures");
    EXPECT_EQ(keld(accepted).exit_code, 3);
    EXPECT_EQ(keld({"apply", "plan.json"}).exit_code, 3);
    EXPECT_EQ(status("000102/A"), "Frozen");
}

TEST_F(Plans, APlanIsWrittenToANewFileAndByARehearsalAlone) {
    writeFile(path("plan.json"), "mine");
    const Result result =
        keld({"status", "set", "000102/A", "Frozen", "--dry-run", "--plan", "plan.json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("plan.json exists already"));
    EXPECT_EQ(readFile(path("plan.json")), "mine");
    EXPECT_EQ(keld({"status", "set", "000102/A", "Frozen", "--plan", "other.json"}).exit_code, 2);
    EXPECT_EQ(status("000102/A"), "");
}

TEST_F(Plans, EveryVerbThatHasADryRunHasPlans) {
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("backup").string()});
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "Item;object_desc"});
    writeFile(path("more.json"), R"({"world": 1, "items": [
        {"id": "-1", "name": "a dash", "description": "first"}, {"id": "C-2", "name": "two"}]})");
    done({"load", path("more.json").string()});
    const std::vector<std::vector<std::string>> verbs = {
        {"status", "set", "000100/A", "Released", "--structure"},
        {"copy-attr", "--", "\"-1\"", "C-2"},
        {"rename", "C-2", "--to", "C-3", "--name", "", "--desc", "-x"},
        {"rename", "000102", "--rev", "A", "--to", "000102", "--to-rev", "01"},
        {"bom", "resequence", "000100/A", "--line", "000101", "--line", "/", "--sort", "--save"},
        {"job", "item", "000101/A", "--queue", "night"},
        {"call", "KELD_ReNameItem", "s:P-7", "s:n", "s:", "t:C-3"},
        {"delete-check", "000100/A:drawing", "--then-delete"},
    };
    for (std::size_t i = 0; i < verbs.size(); ++i) {
        const std::string before = exported(), name = "plan" + std::to_string(i) + ".json";
        std::vector<std::string> arguments = verbs[i];
        arguments.insert(
            arguments.begin() + 1 +
                (verbs[i][0] == "bom" || verbs[i][0] == "job" || verbs[i][0] == "status"),
            {"--dry-run", "--plan", name});
        done(arguments);
        EXPECT_EQ(exported(), before) << verbs[i][0];
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        done({"apply", name, "--dry-run"});
        EXPECT_EQ(exported(), before) << verbs[i][0];
        done({"apply", name});
        EXPECT_NE(exported(), before) << verbs[i][0];
        // A plan can't be carried out twice.
        EXPECT_EQ(keld({"apply", name}).exit_code, 1) << verbs[i][0];
    }
    EXPECT_THAT(done({"check"}).out, HasSubstr("sound"));
}
