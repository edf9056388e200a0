#include "tests/keld/program.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class Delete : public ProgramWithStore {
protected:
    void SetUp() override {
        ProgramWithStore::SetUp();
        writeFile(path("more.json"), R"({
          "world": 1,
          "model": { "types": [{ "name": "CADMASTER", "parent": "Dataset", "tool": "Cad",
                                 "formats": ["PRT"], "reference_names": ["Part"] }] },
          "items": [{ "id": "000300", "revisions": [{ "id": "A", "datasets": [
              { "type": "CADMASTER", "name": "model",
                "files": [{ "reference": "Part", "name": "model.prt", "text": "solid\n" }] },
              { "type": "Text", "name": "notes", "versions": [
                  { "files": [{ "reference": "Text", "name": "notes.txt", "text": "old\n" }] },
                  { "files": [{ "reference": "Text", "name": "notes.txt", "text": "new\n" }] }] }
            ] }] }, { "id": "000301", "revisions": [{ "id": "A",
              "bom": [{ "item": "000302", "quantity": "1", "number": "10" }] }] },
            { "id": "000302", "revisions": [{ "id": "A", "datasets": [
              { "type": "CADMASTER", "name": "bolt" }] }] }],
          "folders": [{ "name": "Empty" }, { "name": "Full", "contents": ["000300", "000301"] },
                      { "name": "Letters", "contents": ["000300/A:notes"] }]
        })");
        done({"load", path("more.json").string()});
        fs::create_directory(path("backup"));
        done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("backup").string()});
    }
    std::string folder(const std::string& name) {
        const auto found = done({"find", name, "--type", "Folder", "--json"}).json()["found"];
        return found.empty() ? "" : "#" + std::to_string(found[0]["tag"].get<unsigned>());
    }
    nlohmann::json row(const nlohmann::json& document, std::size_t index) {
        return document["objects"].at(index);
    }
    bool exists(const std::string& object) { return keld({"show", object}).exit_code == 0; }
};

TEST_F(Delete, AGoAheadSavesTheFilesAndDeletesNothing) {
    const auto document =
        done({"delete-check", "000300/A:model", folder("Empty"), "--json"}).json();
    EXPECT_EQ(document["go_ahead"], true);
    EXPECT_EQ(row(document, 0)["answer"], "ok");
    EXPECT_EQ(row(document, 0)["deleted"], false);
    EXPECT_EQ(row(document, 1)["answer"], "ok");
    const std::string saved = path("backup/000300_A/model/model.prt").string();
    EXPECT_EQ(document["files"][0]["path"], saved);
    EXPECT_EQ(document["files"][0]["object"], "000300/A:model");
    EXPECT_EQ(readFile(saved), "solid\n");
    EXPECT_THAT(readText(path("backup/delete_infodba.log")),
                HasSubstr(",infodba:000300/A;model (CADMASTER);" + saved + "\n"));
    EXPECT_TRUE(exists("000300/A:model"));
}

TEST_F(Delete, TheFirstBackupHasItsLineInTheDeleteLog) {
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("fresh").string()});
    done({"delete-check", "000300/A:model"});
    EXPECT_THAT(readText(path("fresh/delete_infodba.log")), HasSubstr("model.prt"));
}

TEST_F(Delete, TheAnswerIsATableWithTheFilesSaved) {
    const Result result = done({"delete-check", "000300/A:model"});
    EXPECT_THAT(result.out, ContainsRegex("000300/A:model +CADMASTER +ok"));
    EXPECT_THAT(result.out,
                HasSubstr("saved " + path("backup/000300_A/model/model.prt").string() + "\n"));
    EXPECT_THAT(result.out, HasSubstr("go ahead\n"));
}

TEST_F(Delete, ARefusalShowsTheReasonOfEachObject) {
    const Result result = keld({"delete-check", folder("Full"), "000302/A:bolt", "000300/A:model",
                                "000301", "--then-delete", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const auto document = result.json();
    EXPECT_EQ(document["go_ahead"], false);
    EXPECT_EQ(document["outcome"]["status"], 919500);
    EXPECT_EQ(row(document, 0)["answer"], "refused");
    EXPECT_EQ(row(document, 0)["reason"], "the folder isn't empty: 2 entries");
    EXPECT_EQ(row(document, 1)["answer"], "refused");
    EXPECT_EQ(row(document, 1)["reason"], "000302/A is used in 000301/A");
    EXPECT_EQ(row(document, 2)["answer"], "ok");
    EXPECT_EQ(row(document, 3)["answer"], "passed over");
    EXPECT_TRUE(document["files"].empty());
    EXPECT_FALSE(fs::exists(path("backup/000300_A")));
    EXPECT_TRUE(exists("000300/A:model"));  // a refusal holds the whole deletion back
}

TEST_F(Delete, ARefusedDatasetAloneIsToldToo) {
    const Result result = keld({"delete-check", "000302/A:bolt"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("refused: 919502: "));
    EXPECT_THAT(result.out, HasSubstr("000302/A is used in 000301/A"));
}

TEST_F(Delete, AFailureShowsTheObjectAndWhatWasNotLookedAt) {
    writeFile(path("backup/000300_A"), "in the way");
    const Result result =
        keld({"delete-check", "000300/A:model", "000300/A:notes", "--then-delete", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const auto document = result.json();
    EXPECT_EQ(document["outcome"]["status"], 1100);
    EXPECT_EQ(row(document, 0)["answer"], "failed");
    EXPECT_THAT(row(document, 0)["reason"].get<std::string>(), HasSubstr("1100: "));
    EXPECT_FALSE(document["outcome"]["error_stack"].empty());
    EXPECT_TRUE(exists("000300/A:model"));
    environment()["MERVANE_FAULTS"] = "DBO_class_of_instance:1=4711";
    EXPECT_EQ(row(keld({"delete-check", "000300/A:model", "000300/A:notes", "--json"}).json(),
                  1)["answer"],
              "not looked at");
}

TEST_F(Delete, ThenDeleteDeletesWhatWasChecked) {
    const std::string empty = folder("Empty");
    const auto document = done({"delete-check", "000300/A:model", "000300/A:notes", empty, "000301",
                                "--then-delete", "--json"})
                              .json();
    for (const std::size_t i : {0u, 1u, 2u}) {
        EXPECT_EQ(row(document, i)["deleted"], true) << row(document, i);
        EXPECT_EQ(row(document, i)["answer"], "deleted");
    }
    EXPECT_EQ(row(document, 3)["deleted"], false);
    EXPECT_FALSE(exists("000300/A:model"));
    EXPECT_FALSE(exists("000300/A:notes"));
    EXPECT_FALSE(exists(empty));
    EXPECT_TRUE(exists("000301"));  // the check doesn't cover it
    EXPECT_EQ(readFile(path("backup/000300_A/notes/notes.txt")), "new\n");
    EXPECT_EQ(done({"tree", folder("Letters"), "--json"}).json()["children"].size(), 0u);
    done({"check"});
}

TEST_F(Delete, WhatIsStillReferredToIsNotDeletedAndKeepsItsRelations) {
    writeFile(path("more2.json"), R"({ "world": 1,
      "processes": [{ "name": "run", "template": "Release", "targets": ["000300/A:model"] }] })");
    done({"load", path("more2.json").string()});
    const Result result =
        keld({"delete-check", "000300/A:model", "000300/A:notes", "--then-delete", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const auto document = result.json();
    EXPECT_EQ(document["go_ahead"], true);
    EXPECT_EQ(row(document, 0)["answer"], "not deleted");
    EXPECT_THAT(row(document, 0)["reason"].get<std::string>(), HasSubstr("refers to it"));
    EXPECT_EQ(row(document, 1)["answer"], "kept") << "all of them or none";
    EXPECT_TRUE(exists("000300/A:notes"));
    EXPECT_TRUE(exists("000300/A:model"));
}

TEST_F(Delete, WhatAnotherUserHasCheckedOutIsNotDeleted) {
    done({"users", "add", "smith", "--in-group", "smiths", "--new-group"});
    done({"checkout", "000300/A:model", "--user", "smith"});
    const Result result = keld({"delete-check", "000300/A:model", "--then-delete"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("not deleted"));
    EXPECT_TRUE(exists("000300/A:model"));
}

TEST_F(Delete, WhatMayNotBeDeletedKeepsItsRelationsAndItsPlaceInFolders) {
    writeFile(path("rights.json"), R"({ "world": 1, "rights": [{ "subject_kind": "all",
        "scope_kind": "type", "scope": "Text", "privilege": "DELETE", "allowed": false }] })");
    done({"load", path("rights.json").string()});
    const Result result = keld({"delete-check", "000300/A:notes", "000300/A:model", "--then-delete",
                                "--as-server", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(row(result.json(), 0)["answer"], "not deleted");
    EXPECT_THAT(row(result.json(), 0)["reason"].get<std::string>(), HasSubstr("may not DELETE"));
    EXPECT_EQ(row(result.json(), 1)["answer"], "deleted");
    EXPECT_TRUE(exists("000300/A:notes")) << "found through its relation";
    EXPECT_EQ(done({"tree", folder("Letters"), "--json"}).json()["children"].size(), 1u);
}

TEST_F(Delete, AnOlderVersionIsNeverDeleted) {
    const auto versions = done({"show", "000300/A:notes", "--json"}).json();
    const std::string latest = "#" + std::to_string(versions["tag"].get<unsigned>());
    std::string older;
    for (const auto& found : versions["versions"])
        if ("#" + std::to_string(found["tag"].get<unsigned>()) != latest)
            older = "#" + std::to_string(found["tag"].get<unsigned>());
    ASSERT_FALSE(older.empty()) << versions;
    const Result result = keld({"delete-check", older, "--then-delete"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr(latest));
    EXPECT_TRUE(exists(latest));
    EXPECT_EQ(keld({"delete-check", older}).exit_code, 0);
}

TEST_F(Delete, ADryRunSavesAndDeletesNothingAndShowsWhatItWould) {
    const std::string before = done({"export"}).out;
    const auto document =
        done({"delete-check", "000300/A:model", "--then-delete", "--dry-run", "--json"}).json();
    EXPECT_EQ(document["dry_run"], true);
    EXPECT_EQ(row(document, 0)["answer"], "deleted");
    EXPECT_EQ(document["files"][0]["path"], path("backup/000300_A/model/model.prt").string());
    EXPECT_TRUE(fs::is_empty(path("backup")));
    EXPECT_EQ(done({"export"}).out, before);
}

TEST_F(Delete, WithoutABackupDirectoryNothingIsSaved) {
    done({"prefs", "remove", "KELD_DELBackupTopDirCentral"});
    const auto document = done({"delete-check", "000300/A:model", "--json"}).json();
    EXPECT_EQ(document["go_ahead"], true);
    EXPECT_TRUE(document["files"].empty());
}

TEST_F(Delete, AnObjectNamedTwiceIsTakenOnce) {
    const auto document =
        done({"delete-check", "000300/A:model", "000300/A:model", "--then-delete", "--json"})
            .json();
    EXPECT_EQ(document["objects"].size(), 1u);
    EXPECT_EQ(document["files"].size(), 1u);
}

TEST_F(Delete, UnknownObjectsAndMissingOnesAreRefused) {
    EXPECT_EQ(keld({"delete-check", "999999"}).exit_code, 1);
    EXPECT_EQ(keld({"delete-check"}).exit_code, 2);
}
