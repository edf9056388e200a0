// Runs at the command line: whole, as the server, rehearsed; listed, shown, taken back.

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Runs : public ProgramWithStore {
protected:
    nlohmann::json runs(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), "runs");
        arguments.emplace_back("--json");
        return done(arguments).json()["runs"];
    }
    int numberOf(const Result& result) { return result.json()["run"]["run"].get<int>(); }
    std::string status(const std::string& object) {
        const auto shown = done({"status", "show", object, "--json"}).json()["status"];
        return shown.is_null() ? "" : shown.get<std::string>();
    }
    // A status whose section starts a workflow from a template that isn't there.
    void configureFailure() {
        writeFile(path("keld_statusmanager.ini"),
                  "[GLOBAL]\nPrivilegName=CHANGE\n[SelectWSO]\nItemRevision=1\n"
                  "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
                  "StartJob=NoSuchTemplate\n");
        environment()["KELD_CFG_PATH"] = directory().string();
    }
};

TEST_F(Runs, AWholeRunIsListedShownAndTakenBack) {
    const std::string before = exported();
    const Result frozen = done({"status", "set", "000102/A", "Frozen", "--json"});
    const int number = numberOf(frozen);
    EXPECT_EQ(frozen.json()["run"]["way"], "whole");
    EXPECT_EQ(frozen.json()["run"]["result"], "done");
    const auto listed = runs();
    ASSERT_GE(listed.size(), 1u);
    EXPECT_EQ(listed[0]["number"], number);
    EXPECT_EQ(listed[0]["service"], "KELD_StatusManager");
    EXPECT_THAT(listed[0]["arguments"].get<std::string>(),
                HasSubstr("s:Frozen s:ItemRevision t:000102/A"));
    const Result shown = done({"runs", "show", std::to_string(number)});
    EXPECT_THAT(shown.out, ContainsRegex("changed +000102/A +ItemRevision"));
    EXPECT_THAT(shown.out, HasSubstr("keld_statusmanager.ini, SHA-256 "));
    EXPECT_THAT(shown.out, ContainsRegex("counts +" DIGIT "+ platform calls"));
    const auto record = done({"runs", "show", std::to_string(number), "--json"}).json();
    EXPECT_EQ(record["user"], "infodba");
    EXPECT_GT(record["counts"]["OBJ_save"].get<int>(), 0);
    const std::string after = exported();
    const auto undone = done({"runs", "undo", std::to_string(number), "--json"}).json();
    EXPECT_EQ(undone["undo"], number + 1);
    EXPECT_EQ(exported(), before);
    EXPECT_THAT(done({"runs"}).out, HasSubstr("taken back by " + std::to_string(number + 1)));
    done({"runs", "undo", std::to_string(number + 1)});
    EXPECT_EQ(exported(), after);
}

TEST_F(Runs, OthersChangesAreNotReportedAsOnesOwn) {
    done({"status", "set", "000102/A", "Frozen"});
    const auto document = done({"status", "set", "000101/A", "Frozen", "--json"}).json();
    for (const auto& change : document["changes"])
        EXPECT_NE(change["object"], "000102/A");
}

TEST_F(Runs, ARefusalNamesObjectPathRuleAndSection) {
    done({"checkout", "000102/A", "--comment", "new bearing"});
    const Result result = keld({"status", "set", "000100/A", "Released", "--structure", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const auto refusal = result.json()["refusal"];
    EXPECT_EQ(refusal["object"], "000102/A");
    EXPECT_EQ(refusal["type"], "ItemRevision");
    EXPECT_EQ(refusal["status"], 919405);
    EXPECT_EQ(refusal["path"].front(), "000100/A");
    EXPECT_EQ(refusal["path"].back(), "000102/A");
    EXPECT_EQ(refusal["section"], "Released_ItemRevision");
    EXPECT_GT(refusal["line"].get<int>(), 0);
    EXPECT_THAT(refusal["checked_out_by"].get<std::string>(), HasSubstr("user infodba since 20"));
    EXPECT_THAT(refusal["checked_out_by"].get<std::string>(), HasSubstr(": new bearing"));
    EXPECT_EQ(result.json()["run"]["kept"], false);
    const Result text = keld({"status", "set", "000100/A", "Released", "--structure"});
    EXPECT_THAT(text.err, ContainsRegex("path +000100/A > .*000102/A"));
    EXPECT_THAT(text.err, HasSubstr("held by  user infodba since "));
    EXPECT_THAT(text.err, HasSubstr("section  [Released_ItemRevision] in "));
    EXPECT_THAT(text.out, HasSubstr("nothing changed"));
}

TEST_F(Runs, ARefusalForAStatusTellsWhatWasFoundAndAllowed) {
    done({"status", "set", "000102/A", "Released"});
    const auto refusal = keld({"status", "set", "000102/A", "InWork", "--json"}).json()["refusal"];
    EXPECT_EQ(refusal["found"], "the status is Released");
    EXPECT_EQ(refusal["allowed"], "none, Frozen");
    EXPECT_EQ(refusal["section"], "InWork_ItemRevision");
}

TEST_F(Runs, FailuresThatTheRulesDropTakeAWholeRunBackUnlessTheyAreAccepted) {
    configureFailure();
    const std::string before = exported();
    const Result back = keld({"status", "set", "000102/A", "Frozen"});
    EXPECT_EQ(back.exit_code, 1);
    EXPECT_THAT(back.out, HasSubstr("done with failures: 1 error"));
    EXPECT_THAT(back.out, HasSubstr("everything went back (--accept-failures keeps such a run)"));
    EXPECT_THAT(back.out + back.err, Not(HasSubstr("refused: 0")));
    EXPECT_EQ(exported(), before);
    const Result kept =
        keld({"status", "set", "000102/A", "Frozen", "--accept-failures", "--json"});
    EXPECT_EQ(kept.exit_code, 3);
    EXPECT_EQ(kept.json()["run"]["result"], "done with failures");
    EXPECT_EQ(kept.json()["run"]["kept"], true);
    EXPECT_EQ(status("000102/A"), "Frozen");
    const Result server = keld({"status", "set", "000101/A", "Frozen", "--as-server"});
    EXPECT_EQ(server.exit_code, 3);
    EXPECT_EQ(status("000101/A"), "Frozen");
}

TEST_F(Runs, AsTheServerWhatIsSavedBeforeAFailureStaysAndCanBeTakenBack) {
    const std::string before = exported();
    // Of the two saves of the rename the first one is done.
    environment()["MERVANE_FAULTS"] = "OBJ_save:2=515001";
    const Result whole = keld({"rename", "000100", "--to", "P-1"});
    environment().erase("MERVANE_FAULTS");
    EXPECT_EQ(whole.exit_code, 1);
    EXPECT_EQ(exported(), before);
    environment()["MERVANE_FAULTS"] = "OBJ_save:2=515001";
    const Result server = keld({"rename", "000100", "--to", "P-1", "--as-server", "--json"});
    environment().erase("MERVANE_FAULTS");
    EXPECT_EQ(server.exit_code, 1);
    EXPECT_NE(exported(), before);
    done({"runs", "undo", std::to_string(numberOf(server))});
    EXPECT_EQ(exported(), before);
}

TEST_F(Runs, EveryVerbThatChangesTheStoreIsARun) {
    writeFile(path("more.json"), R"({"world": 1, "items": [{"id": "MORE", "name": "n"}]})");
    const std::vector<std::pair<std::vector<std::string>, std::string>> verbs = {
        {{"import", path("more.json").string()}, "import"},
        {{"checkout", "000102/A"}, "checkout"},
        {{"checkin", "000102/A"}, "checkin"},
        {{"prefs", "set", "P", "1"}, "prefs set"},
        {{"prefs", "remove", "P"}, "prefs remove"},
        {{"users", "add", "otto", "--in-group", "staff", "--new-group"}, "users add"},
        {{"registry", "add", "REG"}, "registry add"},
        {{"rename", "MORE", "--to", "MOST"}, "KELD_ReNameItem"},
        {{"bom", "resequence", "000100/A", "--save"}, "KELD_PSE_PackAndResequenceBom"},
        {{"job", "item", "000102/A"}, "KELD_SrvCallCRIFromPortal"},
    };
    std::vector<std::pair<int, std::string>> exports;
    for (const auto& [arguments, service] : verbs) {
        const std::string before = exported();
        done(arguments);
        const auto newest = runs({"-n", "1"});
        ASSERT_EQ(newest.size(), 1u) << service;
        EXPECT_EQ(newest[0]["service"], service);
        exports.emplace_back(newest[0]["number"].get<int>(), before);
    }
    for (std::size_t i = exports.size(); i-- > 0;) {
        done({"runs", "undo", std::to_string(exports[i].first)});
        EXPECT_EQ(exported(), exports[i].second) << verbs[i].second;
    }
}

TEST_F(Runs, ADeletionIsTakenBackWithItsFiles) {
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("backup").string()});
    const std::string set = exported();
    const Result result = done({"delete-check", "000100/A:drawing", "--then-delete", "--json"});
    EXPECT_NE(exported(), set);
    const auto undone = done({"runs", "undo", std::to_string(numberOf(result)), "--json"}).json();
    EXPECT_EQ(exported(), set);
}

TEST_F(Runs, AnUndoThatMeetsConflictsTellsThemAndChangesNothing) {
    const int number = numberOf(done({"status", "set", "000102/A", "Frozen", "--json"}));
    done({"status", "set", "000102/A", "Released"});
    const std::string before = exported();
    const Result result = keld({"runs", "undo", std::to_string(number)});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("000102/A"));
    EXPECT_THAT(result.err, HasSubstr("can't be taken back, nothing is changed; "));
    EXPECT_EQ(exported(), before);
}

TEST_F(Runs, AreFoundByObjectAndPruned) {
    done({"status", "set", "000102/A", "Frozen"});
    EXPECT_EQ(runs({"--object", "000102/A"})[0]["service"], "KELD_StatusManager");
    EXPECT_TRUE(runs({"--object", "000101/A", "--service", "KELD_StatusManager"}).empty());
    EXPECT_EQ(keld({"runs", "prune", "--before", "yesterday"}).exit_code, 2);
    EXPECT_THAT(done({"runs", "prune", "--before", "2999-01-01"}).out, HasSubstr("dropped"));
    EXPECT_THAT(done({"runs"}).out, HasSubstr("no runs"));
    EXPECT_THAT(done({"check"}).out, HasSubstr("sound"));
}

TEST_F(Runs, CanBeSwitchedOff) {
    done({"runs", "prune", "--before", "2999-01-01"});
    EXPECT_THAT(done({"runs", "recording", "off"}).out, HasSubstr("recording is off"));
    const auto document = done({"status", "set", "000102/A", "Frozen", "--json"}).json();
    EXPECT_EQ(document["run"]["run"], nullptr);
    EXPECT_GT(document["changes"].size(), 0u);
    EXPECT_TRUE(runs().empty());
    EXPECT_EQ(keld({"runs", "recording", "maybe"}).exit_code, 2);
}

TEST_F(Runs, WhatIsNoRunIsRefused) {
    EXPECT_EQ(keld({"runs", "show", "x"}).exit_code, 2);
    EXPECT_EQ(keld({"runs", "show", "4711"}).exit_code, 1);
    EXPECT_THAT(keld({"runs", "undo", "4711"}).err, HasSubstr("there is no run 4711"));
}

#if !defined(_WIN32)
// Start keld with the arguments, and tell it to end after a while.
static int interrupted(const fs::path& directory, const std::string& arguments, int signal,
                       double seconds) {
    const std::string script = "cd '" + directory.string() + "' && { '" KELD_PROGRAM "' " +
                               arguments + " >i.out 2>i.err & pid=$!; sleep " +
                               std::to_string(seconds) + "; kill -" + std::to_string(signal) +
                               " $pid 2>/dev/null; wait $pid; echo $? >i.code; }";
    EXPECT_EQ(std::system(script.c_str()), 0);
    return std::stoi(readFile(directory / "i.code"));
}

TEST_F(Runs, CtrlCAndTermTakeAWholeRunBackAndSaySo) {
    std::string items;
    for (int i = 0; i < 20000; ++i)
        items += std::string(i ? "," : "") + "{\"id\":\"X" + std::to_string(i) + "\"}";
    writeFile(path("big.json"), "{\"world\":1,\"items\":[" + items + "]}");
    for (const int signal : {2, 15}) {
        // Too early and the run hasn't begun, too late and it is over.
        bool met = false;
        for (double seconds = 0.2; !met && seconds < 10; seconds *= 1.5) {
            const std::string before = exported();
            const int code = interrupted(directory(), "import big.json", signal, seconds);
            met = readFile(path("i.err")).find("interrupted: everything is as it was") !=
                  std::string::npos;
            if (!met)
                continue;
            EXPECT_EQ(code, 128 + signal);
            EXPECT_EQ(exported(), before);
            EXPECT_THAT(done({"check"}).out, HasSubstr("sound"));
        }
        EXPECT_TRUE(met) << signal;
    }
}
#endif
