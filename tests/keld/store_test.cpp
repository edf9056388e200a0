#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

class Store : public Program {
protected:
    const std::string world = KELD_SOURCE_DIR "/tests/keld/world.json";
};

TEST_F(Store, InitMakesAStoreAtTheDefaultPath) {
    const Result result = done({"init"});
    EXPECT_THAT(result.out, HasSubstr("keld.db"));
    EXPECT_TRUE(fs::exists(path("keld.db")));
}

TEST_F(Store, InitNeverTouchesAnExistingStore) {
    writeFile(path("keld.db"), "mine");
    const Result result = keld({"init"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(readFile(path("keld.db")), "mine");
}

TEST_F(Store, TheEnvironmentNamesTheStoreAndTheOptionWins) {
    environment()["MERVANE_STORE"] = path("from-environment.db").string();
    done({"init"});
    EXPECT_TRUE(fs::exists(path("from-environment.db")));
    done({"init", "--store", path("from-option.db").string()});
    EXPECT_TRUE(fs::exists(path("from-option.db")));
}

TEST_F(Store, AFileThatIsNoStoreIsRefused) {
    writeFile(path("keld.db"), "this is no store at all, only some text of a user");
    const Result result = keld({"find", "*"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.err, "");
    EXPECT_EQ(result.out, "");
}

TEST_F(Store, LoadTellsWhatCameIn) {
    done({"init"});
    const auto report = done({"load", world, "--json"}).json();
    EXPECT_GT(report["items"], 0);
    EXPECT_GT(report["occurrences"], 0);
}

TEST_F(Store, ImportTellsJsonByItsContent) {
    done({"init"});
    fs::copy(world, path("world.txt"));
    EXPECT_GT(done({"import", "world.txt", "--json"}).json()["items"], 0);
}

TEST_F(Store, WhatIsNoFileIsNotImportedAndSaysWhatItIs) {
    done({"init"});
    EXPECT_THAT(keld({"import", "-"}).err, HasSubstr("standard input"));
    EXPECT_THAT(keld({"import", "."}).err, HasSubstr(". is a directory"));
#if !defined(_WIN32)
    EXPECT_THAT(keld({"load", "/dev/null"}).err, HasSubstr("is no regular file"));
#endif
    EXPECT_THAT(keld({"import", "missing.json"}).err, HasSubstr("there is no file missing.json"));
}

TEST_F(Store, ImportTellsStepByItsContentAndNamesWhatIsWrong) {
    done({"init"});
    writeFile(path("part.txt"), "ISO-10303-21;\nnothing that a reader knows\n");
    const Result result = keld({"import", "part.txt"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("part.txt"));
}

TEST_F(Store, ImportRefusesWhatIsNeither) {
    done({"init"});
    writeFile(path("notes.txt"), "buy milk\n");
    const Result result = keld({"import", "notes.txt"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("neither a STEP file"));
}

TEST_F(Store, ImportOfAMissingFileNamesIt) {
    done({"init"});
    const Result result = keld({"import", "gone.step"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("gone.step"));
}

TEST_F(Store, ABrokenDocumentLeavesTheStoreAsItWas) {
    done({"init"});
    const std::string before = done({"export"}).out;
    const std::string text = readFile(world);
    writeFile(path("half.json"), text.substr(0, text.size() / 2));
    EXPECT_EQ(keld({"load", "half.json"}).exit_code, 1);
    EXPECT_EQ(done({"export"}).out, before);
}

TEST_F(Store, ExportIsOneDocumentThatLoadsAgain) {
    done({"init"});
    done({"load", world});
    done({"export", "all.json"});
    EXPECT_TRUE(nlohmann::json::accept(readFile(path("all.json"))));
    EXPECT_EQ(nlohmann::json::parse(done({"export"}).out),
              nlohmann::json::parse(readFile(path("all.json"))));
    EXPECT_EQ(done({"export", "--json"}).json(), nlohmann::json::parse(readFile(path("all.json"))));
    done({"init", "--store", "second.db"});
    done({"load", "all.json", "--store", "second.db"});
    EXPECT_EQ(done({"show", "000100/A", "--store", "second.db", "--json"}).json()["type"],
              "ItemRevision");
}

TEST_F(Store, ExportOverwritesOnlyWithForce) {
    done({"init"});
    writeFile(path("all.json"), "mine");
    EXPECT_EQ(keld({"export", "all.json"}).exit_code, 1);
    EXPECT_EQ(readFile(path("all.json")), "mine");
    done({"export", "all.json", "--force"});
    EXPECT_NE(readFile(path("all.json")), "mine");
}

TEST_F(Store, ExportToADirectoryThatIsNotThereIsRefused) {
    done({"init"});
    const Result result = keld({"export", "no/such/all.json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("no/such/all.json"));
}

TEST_F(Store, BackupIsAStoreOfItsOwn) {
    done({"init"});
    done({"load", world});
    done({"backup", "copy.db"});
    done({"show", "000100/A", "--store", "copy.db"});
    EXPECT_EQ(keld({"backup", "copy.db"}).exit_code, 1);
}

TEST_F(Store, CheckFindsASoundStoreSound) {
    done({"init"});
    done({"load", world});
    const auto report = done({"check", "--json"}).json();
    EXPECT_EQ(report["errors"], 0);
}

TEST_F(Store, CheckFindsAMissingFileOfTheVolume) {
    done({"init"});
    done({"load", world});
    int removed = 0;
    for (const auto& entry : fs::recursive_directory_iterator(directory()))
        if (entry.is_regular_file() && entry.path().string().find("volume") != std::string::npos)
            removed += fs::remove(entry.path()) ? 1 : 0;
    ASSERT_GT(removed, 0) << "the world has a dataset with a file";
    const Result result = keld({"check"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("error"));
}

#if !defined(_WIN32)
TEST_F(Store, WhatBelongsToAStoreOfItsOwnerIsReadByNobodyElse) {
    done({"init"});
    fs::permissions(path("keld.db"), fs::perms::owner_read | fs::perms::owner_write);
    fs::remove_all(path("keld.db.volume"));
    done({"load", world});
    done({"backup", "copy.db"});
    done({"export", "all.json"});
    done({"status", "set", "000100/A", "Released", "--cfg", KELD_SOURCE_DIR "/tests/keld/config"});
    ASSERT_TRUE(fs::exists(path("keld.log")));
    for (const auto& entry : fs::recursive_directory_iterator(directory())) {
        if (entry.path().filename() == ".out" || entry.path().filename() == ".err")
            continue;  // of the test
        EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all),
                  fs::perms::none)
            << entry.path();
    }
}
#endif

TEST_F(Store, AnExportLeavesNothingBesideItself) {
    done({"init"});
    done({"export", "all.json"});
    done({"export", "all.json", "--force"});
    EXPECT_EQ(keld({"export", "no/all.json"}).exit_code, 1);
    for (const auto& entry : fs::directory_iterator(directory()))
        EXPECT_EQ(entry.path().string().find(".part"), std::string::npos) << entry.path();
}

TEST_F(Store, AMessageOfADamagedStoreShowsNoStatement) {
    writeFile(path("keld.db"), "SQLite format 3" + std::string(5000, '\0'));
    const Result result = keld({"find", "*"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("keld.db"));
    for (const char* word : {"SELECT", "PRAGMA", "INSERT", "UPDATE"})
        EXPECT_THAT(result.err, testing::Not(HasSubstr(word)));
}

TEST_F(Store, ADamagedFileIsToldByCatBackupAndExportAndTheRestIsCopied) {
    done({"init"});
    writeFile(path("world.json"), R"({"world": 1, "datasets": [
        {"label": "a", "type": "Text", "name": "first",
         "files": [{"reference": "Text", "name": "a.txt", "text": "one"}]},
        {"label": "b", "type": "Text", "name": "second",
         "files": [{"reference": "Text", "name": "b.txt", "text": "two"}]}]})");
    done({"load", "world.json"});
    int changed = 0;
    for (const auto& entry : fs::directory_iterator(path("keld.db.volume")))
        if (readFile(entry.path()) == "one") {
            writeFile(entry.path(), "own");
            ++changed;
        }
    ASSERT_EQ(changed, 1);
    const auto found = done({"find", "first", "--json"}).json();
    const Result shown = keld({"cat", "#" + std::to_string(int(found["found"][0]["tag"]))});
    EXPECT_EQ(shown.exit_code, 1);
    EXPECT_EQ(shown.out, "");
    EXPECT_THAT(shown.err, HasSubstr("a.txt"));
    const Result copied = keld({"backup", "copy.db"});
    EXPECT_EQ(copied.exit_code, 1);
    EXPECT_THAT(copied.err, HasSubstr("a.txt"));
    EXPECT_THAT(copied.out, HasSubstr("without 1 file"));
    EXPECT_EQ(keld({"backup", "copy2.db", "--json"}).json()["damaged"].size(), 1U);
    const Result exported = keld({"export", "all.json"});
    EXPECT_EQ(exported.exit_code, 1);
    EXPECT_THAT(exported.err, HasSubstr("a.txt"));
    for (const char* text : {"\"two\"", "first"})
        EXPECT_THAT(readFile(path("all.json")), HasSubstr(text));
    const auto second = done({"find", "second", "--store", "copy.db", "--json"}).json();
    EXPECT_EQ(
        done({"cat", "#" + std::to_string(int(second["found"][0]["tag"])), "--store", "copy.db"})
            .out,
        "two");
}
