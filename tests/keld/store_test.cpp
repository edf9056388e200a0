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
