#include <gmock/gmock.h>
#include <sqlite3.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Check : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_.at("plant");
        bench().createStore(path_);
        open();
        std::ofstream(directory_.at("a.txt")) << "contents";
        dataset_ = bench().createDataset("Text", "notes");
        file_ = bench().addFile(dataset_, "Text", directory_.at("a.txt"), "a.txt");
    }
    void TearDown() override { bench().closeStore(store_); }
    void open() {
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
    }
    std::vector<CheckFinding> check(bool repair = false) { return bench().check(store_, repair); }
    std::string volumeFile(const std::string& name) { return path_ + ".volume/" + name; }
    // Damage that no operation does.
    void sql(const std::string& text) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(path_.c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }

    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    tag_t dataset_ = NULLTAG, file_ = NULLTAG;
};

TEST_F(Check, ASoundStoreHasNoFindings) {
    EXPECT_TRUE(check().empty());
}

TEST_F(Check, AFileThatIsMissingInTheVolumeIsAnError) {
    std::filesystem::remove(volumeFile(std::to_string(file_)));
    ASSERT_EQ(errorsIn(check()).size(), 1u);
    EXPECT_TRUE(mentions(check(), "missing"));
}

TEST_F(Check, AFileOfAnotherLengthIsAnError) {
    std::ofstream(volumeFile(std::to_string(file_)), std::ios::app) << "more";
    ASSERT_EQ(errorsIn(check()).size(), 1u);
    EXPECT_TRUE(mentions(check(), "12 bytes"));
}

TEST_F(Check, AFileWithOtherContentsIsAnError) {
    std::ofstream(volumeFile(std::to_string(file_))) << "Contents";
    ASSERT_EQ(errorsIn(check()).size(), 1u);
    EXPECT_TRUE(mentions(check(), "other contents"));
}

TEST_F(Check, FilesThatNoObjectOwnsAreListedAndRemovedByTheRepair) {
    std::ofstream(volumeFile("2000000000")) << "orphan";
    std::ofstream(volumeFile("new-1-1")) << "half written";
    const auto findings = check();
    EXPECT_EQ(findings.size(), 2u);
    EXPECT_TRUE(errorsIn(findings).empty());
    EXPECT_TRUE(std::filesystem::exists(volumeFile("2000000000")));
    check(true);
    EXPECT_FALSE(std::filesystem::exists(volumeFile("2000000000")));
    EXPECT_FALSE(std::filesystem::exists(volumeFile("new-1-1")));
    EXPECT_TRUE(check().empty());
}

TEST_F(Check, AFileThatASessionHasNotSavedYetIsLeftAlone) {
    tag_t file = NULLTAG;
    int descriptor = 0;
    ASSERT_EQ(FIL_import_file(directory_.at("a.txt").c_str(), nullptr, 0, &file, &descriptor), 0);
    EXPECT_TRUE(check(true).empty());
    ASSERT_EQ(OBJ_save(file), 0);
    EXPECT_TRUE(check().empty());
}

// As one of another container may be that has the same number as this process.
TEST_F(Check, AFileThatAProcessWithTheSameNumberHasNotSavedYetIsLeftAlone) {
    const auto other = bench().openStore(path_);
    bench().openSession(other, {});
    tag_t file = NULLTAG;
    int descriptor = 0;
    ASSERT_EQ(FIL_import_file(directory_.at("a.txt").c_str(), nullptr, 0, &file, &descriptor), 0);
    EXPECT_TRUE(mentions(check(true), "other sessions are at work"));
    ASSERT_EQ(OBJ_save(file), 0);
    EXPECT_TRUE(check().empty());
    bench().closeStore(other);
}

TEST_F(Check, AFileWhoseObjectIsStoredDuringTheRepairIsKept) {
    const std::string type =
        "SELECT tag, type, 1, x'' FROM (SELECT (SELECT value FROM meta WHERE name='next_tag') - 1 "
        "AS "
        "tag, type FROM object WHERE tag=" +
        std::to_string(file_) + ")";
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(
                  other,
                  ("BEGIN IMMEDIATE; INSERT INTO object(tag, type, version, data) " + type).c_str(),
                  nullptr, nullptr, nullptr),
              SQLITE_OK)
        << sqlite3_errmsg(other);
    const auto placed = static_cast<tag_t>(sqlite3_last_insert_rowid(other));
    std::ofstream(volumeFile(std::to_string(placed))) << "contents";
    std::thread commit([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
    });
    check(true);
    commit.join();
    sqlite3_close(other);
    EXPECT_TRUE(std::filesystem::exists(volumeFile(std::to_string(placed))));
    EXPECT_TRUE(check().empty());
}

TEST_F(Check, ValuesOfWhatIsNotStoredAreAnErrorAndGoWithTheRepair) {
    sql("DELETE FROM object WHERE tag=" + std::to_string(dataset_));
    EXPECT_TRUE(mentions(check(), "the table of texts lacks a value or has one too many"));
    EXPECT_TRUE(mentions(check(), "the table of references lacks a value or has one too many"));
    EXPECT_EQ(errorsIn(check()).size(), 2u);
    EXPECT_TRUE(mentions(check(true),
                         "the table of texts lacks a value or has one too many; made "
                         "anew"));
    EXPECT_FALSE(mentions(check(), "the table of"));
}

TEST_F(Check, AValueThatIsNotFoundFromTheOtherSideIsAnErrorAndFoundAfterTheRepair) {
    const std::string name = stored(dataset_, "object_name");
    const auto found = [&] { return bench().find({name, "Dataset", "", 0}).size(); };
    bench().openSession(store_, {});
    const std::size_t before = found();
    ASSERT_GT(before, 0u);
    for (const char* damage : {"DELETE FROM text", "DELETE FROM ref",
                               "INSERT INTO text SELECT attr, v||'x', tag FROM text LIMIT 1",
                               "UPDATE ref SET target=target+1 WHERE target IN (SELECT max(target) "
                               "FROM ref)"}) {
        sql(damage);
        EXPECT_TRUE(mentions(check(), "lacks a value or has one too many")) << damage;
        EXPECT_TRUE(errorsIn(check(true)).empty()) << damage;
        EXPECT_TRUE(check().empty()) << damage;
        EXPECT_EQ(found(), before) << damage;
    }
}

TEST_F(Check, ARowTooManyHindersNoSave) {
    bench().openSession(store_, {});
    sql("INSERT INTO text SELECT attr, 'later', tag FROM text WHERE v='" +
        stored(dataset_, "object_name") + "' AND tag=" + std::to_string(dataset_));
    ASSERT_EQ(OBJ_refresh(dataset_, true), 0);
    ASSERT_EQ(setName(dataset_, "later"), 0);
    EXPECT_EQ(OBJ_save(dataset_), 0);
    EXPECT_EQ(bench().find({"later", "Dataset", "", 0}).size(), 1u);
    EXPECT_TRUE(errorsIn(check()).empty());
}

TEST_F(Check, ValuesOfAnotherKindAreAnErrorAndGoWithTheNextSave) {
    const std::string tag = std::to_string(dataset_);
    const std::string name = stored(dataset_, "object_name");
    // The name as a reference: the same handle, then kind 5 and the target 9.
    sql("UPDATE object SET data=substr(data, 1, at+4)||x'0509'||substr(data, at+7+length('" + name +
        "')) FROM (SELECT instr(data, CAST('" + name +
        "' AS BLOB))-7 AS at FROM object WHERE tag=" + tag + ") WHERE tag=" + tag);
    EXPECT_TRUE(mentions(check(), "#" + tag + " has values of another kind in object_name"));
    bench().openSession(store_, {});
    ASSERT_EQ(OBJ_refresh(dataset_, true), 0);
    EXPECT_EQ(stored(dataset_, "object_name"), "");
    ASSERT_EQ(setName(dataset_, "anew"), 0);
    EXPECT_EQ(OBJ_save(dataset_), 0);
    EXPECT_EQ(bench().find({"anew", "Dataset", "", 0}).size(), 1u);
    bench().check(store_, true);
    EXPECT_TRUE(errorsIn(check()).empty());
}

TEST_F(Check, ADamagedFileObjectEndsNeitherTheCheckNorACopy) {
    sql("UPDATE object SET data=x'ff' WHERE tag=" + std::to_string(file_));
    EXPECT_TRUE(mentions(check(), "the object #" + std::to_string(file_) + " is damaged"));
    const auto damaged = bench().backup(store_, path_ + "-copy");
    ASSERT_EQ(damaged.size(), 1u);
    EXPECT_THAT(damaged[0].text, testing::HasSubstr("is damaged"));
    EXPECT_TRUE(std::filesystem::exists(path_ + "-copy.volume/" + std::to_string(file_)));
}

TEST_F(Check, AnObjectWhoseValuesCantBeReadIsAnErrorAndNoCrash) {
    const std::string tag = std::to_string(dataset_);
    for (const char* data :
         {"x'ff'", "x'ffffffffff'", "substr(data, 1, length(data)-1)", "data||x'80'",
          "zeroblob(100)", "x'80808080090f'", "randomblob(300)"}) {
        sql("CREATE TABLE kept AS SELECT data FROM object WHERE tag=" + tag);
        sql(std::string("UPDATE object SET data=") + data + " WHERE tag=" + tag);
        EXPECT_FALSE(errorsIn(check()).empty()) << data;
        bench().openSession(store_, {});
        EXPECT_EQ(OBJ_load(dataset_), kStoreFailure) << data;
        EXPECT_THAT(bench().errorStack().back().text,
                    testing::HasSubstr("the object #" + tag + " is damaged"))
            << data;
        sql("UPDATE object SET data=(SELECT data FROM kept) WHERE tag=" + tag +
            "; DROP TABLE kept");
        EXPECT_TRUE(check().empty()) << data;
        bench().openSession(store_, {});
        EXPECT_EQ(OBJ_load(dataset_), 0) << data;
    }
}

TEST_F(Check, ObjectsOfAnUndefinedTypeAreAnError) {
    sql("UPDATE object SET type=12345 WHERE tag=" + std::to_string(dataset_));
    EXPECT_EQ(errorsIn(check()).size(), 1u);
    bench().openSession(store_, {});
    EXPECT_NE(OBJ_load(dataset_), 0);
}

TEST_F(Check, ADamagedDatabaseIsAnErrorAndNoCrash) {
    bench().closeStore(store_);
    {
        std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096 * 3 + 8);
        file << std::string(2000, '\xAA');
    }
    std::vector<std::string> errors;
    const int status = statusOf([&] {
        open();
        errors = errorsIn(check());
    });
    EXPECT_TRUE(status != 0 || !errors.empty());
    if (status != 0)
        store_ = bench().openStore(":memory:");
}
