#include <ctime>

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Job : public ProgramWithStore {
protected:
    std::vector<fs::path> jobDirectories(const std::string& base = "") {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(base.empty() ? directory() : path(base)))
            if (entry.is_directory() && entry.path().filename().string().starts_with("2"))
                found.push_back(entry.path());
        return found;
    }
};

// ---- files ----

TEST_F(Job, FilesAreWrittenBelowTheCurrentDirectoryAndShown) {
    const auto document = done({"job", "files", "000100/A", "--types", "Text", "--job-type",
                                "PRINT", "--options", "a=%%", "--json"})
                              .json();
    ASSERT_EQ(jobDirectories().size(), 1u);
    EXPECT_EQ(document["directory"], jobDirectories().front().string());
    ASSERT_EQ(document["files"].size(), 1u);
    const auto& file = document["files"][0];
    EXPECT_EQ(file["typ"], "Text");
    EXPECT_EQ(file["iid"], "000100");
    EXPECT_EQ(file["irv"], "A");
    EXPECT_EQ(file["user"], "infodba");
    EXPECT_EQ(file["usersgroup"], "dba");
    EXPECT_EQ(file["jobtype"], "PRINT");
    EXPECT_EQ(file["bom_views"].size(), 1u);
    EXPECT_EQ(file["objects"][0]["name"], "drawing");
    EXPECT_EQ(file["objects"][0]["relation"], "VANE_specification");
    EXPECT_EQ(document["options"], "a=%");
    EXPECT_EQ(readFile(jobDirectories().front() / "options.txt"), "a=%");
}

TEST_F(Job, AnItemStandsForItsLatestRevisionAndItem) {
    const Result result = done({"job", "files", "000100", "--types", "Item"});
    EXPECT_THAT(result.out, HasSubstr("made " + jobDirectories().front().string()));
    EXPECT_THAT(result.out, ContainsRegex("000100_A_" DIGIT "+_0001.job +Item +000100 +A +Pump"));
    EXPECT_THAT(result.out, HasSubstr("options.txt has 0 bytes"));
}

TEST_F(Job, WithoutAMatchItSaysSo) {
    EXPECT_THAT(done({"job", "files", "000102/A"}).out, HasSubstr("so there is no job file"));
}

TEST_F(Job, TheProgramIsStartedOnTheDirectoryAndWhatItAddsIsShown) {
    fs::create_directory(path("jobs"));
    const Result result = done({"job", "files", "000100/A", "--types", "Text", "--into", "jobs",
                                "--program", KELD_BATCH_PROGRAM});
    EXPECT_THAT(result.out, HasSubstr("the program has added result.txt"));
    EXPECT_THAT(result.err, HasSubstr("keld-batch: 1 job files, 0 problems"));
    const std::string summary = readText(jobDirectories("jobs").front() / "result.txt");
    EXPECT_THAT(summary, HasSubstr("-jobs=1\n"));
    EXPECT_THAT(summary, HasSubstr("-obj=drawing\n"));
}

TEST_F(Job, WithJsonTheProgramsOutputDoesntDisturb) {
    const auto document = done({"job", "files", "000100/A", "--types", "Text", "--program",
                                KELD_BATCH_PROGRAM, "--json"})
                              .json();
    EXPECT_EQ(document["added"][0], "result.txt");
    EXPECT_EQ(document["succeeded"], true);
}

TEST_F(Job, ABlankInThePathIsToldSinceNothingIsQuoted) {
    fs::create_directory(path("two words"));
    const Result result = done({"job", "files", "000100/A", "--types", "Text", "--into",
                                "two words", "--program", KELD_BATCH_PROGRAM});
    EXPECT_THAT(result.err, HasSubstr("has blanks in it"));
    EXPECT_THAT(result.err, HasSubstr("may have blanks in it"));
    EXPECT_THAT(result.out, Not(HasSubstr("result.txt")));
}

TEST_F(Job, AMissingDirectoryIsTheServicesRefusal) {
    const Result result = keld({"job", "files", "000100/A", "--into", "missing"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("refused: 515186: "));
    EXPECT_THAT(result.err, HasSubstr("Unable to create directory"));
}

TEST_F(Job, JobsOfOneUserWithinASecondWaitForEachOther) {
    for (int i = 0; i < 3; ++i)
        done({"job", "files", "000100/A", "--types", "Text"});
    EXPECT_EQ(jobDirectories().size(), 3u);
}

TEST_F(Job, WaitingForASecondTimeIsTold) {
    // The directories of this second and of the next ones are there already.
    const std::time_t now = std::time(nullptr);
    for (int ahead = 0; ahead < 3; ++ahead) {
        const std::time_t second = now + ahead;
        char name[40];
        std::strftime(name, sizeof name, "%Y%m%d%H%M%Sinfodba", std::localtime(&second));
        fs::create_directory(path(name));
    }
    const Result result = done({"job", "files", "000100/A", "--types", "Text"});
    EXPECT_THAT(result.err, HasSubstr("in the same second; trying again"));
    EXPECT_EQ(jobDirectories().size(), 4u);
}

TEST_F(Job, ADryRunShowsTheFilesAndLeavesNone) {
    fs::create_directory(path("tmp"));
    environment()["TMPDIR"] = path("tmp").string();
    const auto document =
        done({"job", "files", "000100/A", "--types", "Text", "--dry-run", "--json"}).json();
    EXPECT_EQ(document["files"].size(), 1u);
    EXPECT_TRUE(document["directory"].is_null());
    EXPECT_TRUE(fs::is_empty(path("tmp")));
    EXPECT_TRUE(jobDirectories().empty());
    EXPECT_THAT(done({"job", "files", "000100/A", "--types", "Text", "--dry-run"}).out,
                HasSubstr("the files are gone again"));
}

TEST_F(Job, ADryRunWithAProgramIsRefused) {
    EXPECT_EQ(
        keld({"job", "files", "000100/A", "--dry-run", "--program", "touch started"}).exit_code, 2);
    EXPECT_FALSE(fs::exists(path("started")));
}

TEST_F(Job, UnknownNamesAreAnsweredWithTheNearest) {
    Result result = keld({"job", "files", "000100/A", "--types", "Texd"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("Did you mean Text?"));
    result =
        keld({"job", "files", "000100/A", "--types", "Text", "--relations", "VANE_specificatoin"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("Did you mean VANE_specification"));
    EXPECT_EQ(keld({"job", "files", "000999/A"}).exit_code, 1);
    EXPECT_TRUE(jobDirectories().empty());
}

TEST_F(Job, ListsOfTypesAndRelationsReachTheService) {
    const auto document = done({"job", "files", "--types", "Text,Item", "--relations", "all",
                                "--all-types", "000100/A", "000101/A", "--json"})
                              .json();
    EXPECT_EQ(document["files"].size(), 3u);
}

// ---- items ----

TEST_F(Job, AJobItemIsMadeAndShownWithTheMeaningOfItsValues) {
    const auto made =
        done({"job", "item", "000100", "000101/A", "--queue", "night", "--type", "Text",
              "--job-type", "PRINT", "--options", "o", "--relation", "r", "--all-types", "--json"})
            .json()["job_item"];
    const std::string id = made["item"];
    EXPECT_EQ(made["job_state"], 1);
    EXPECT_EQ(made["queue"], "night");
    EXPECT_EQ(made["all_types"], true);
    EXPECT_EQ(made["target"], false);
    EXPECT_EQ(made["user"], "KELDJOBITEMOWNER");
    EXPECT_EQ(made["status"], "IREV");
    EXPECT_EQ(made["objects"][0]["object"], "000100/A");
    EXPECT_EQ(made["objects"][1]["object"], "000101/A");
    EXPECT_EQ(done({"job", "show", id, "--json"}).json(), made);
    const Result shown = done({"job", "show", id});
    EXPECT_THAT(shown.out, ContainsRegex("orla_m_job_i_01 +1 +state of the job"));
    EXPECT_THAT(shown.out, ContainsRegex("orla_m_job_s_07 +PRINT +what is to be done"));
    EXPECT_THAT(shown.out, HasSubstr("refers to 000101/A (ItemRevision)"));
}

TEST_F(Job, WithoutObjectsAJobItemIsMadeAllTheSame) {
    const auto made = done({"job", "item", "--json"}).json()["job_item"];
    EXPECT_TRUE(made["objects"].empty());
    EXPECT_EQ(made["job_state"], 1);
}

TEST_F(Job, ADryRunOfAJobItemLeavesTheStoreAlone) {
    const std::string before = done({"export"}).out;
    const Result result = done({"job", "item", "000100", "--queue", "night", "--dry-run"});
    EXPECT_THAT(result.out, HasSubstr("dry run, nothing is changed"));
    EXPECT_THAT(result.out, ContainsRegex("orla_m_job_s_04 +night"));
    EXPECT_EQ(done({"export"}).out, before);
    EXPECT_THAT(done({"job", "show"}).out, HasSubstr("no job items"));
}

TEST_F(Job, AValueThatIsTooLongLeavesNoJobItem) {
    const Result result = keld({"job", "item", "000100", "--queue", std::string(300, 'q')});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("919400"));
    EXPECT_THAT(done({"job", "show"}).out, HasSubstr("no job items"));
}

TEST_F(Job, AllJobItemsAreListed) {
    done({"job", "item", "000100", "--queue", "night"});
    done({"job", "item", "--queue", "day"});
    const auto document = done({"job", "show", "--json"}).json();
    ASSERT_EQ(document["job_items"].size(), 2u);
    EXPECT_THAT(done({"job", "show"}).out, ContainsRegex(" 1 +night +. +1"));
}

TEST_F(Job, WhatIsNoJobItemIsRefused) {
    const Result result = keld({"job", "show", "000100"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("000100 is no job item"));
}
