#include <sqlite3.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/mv_cko.h"
#include "platform/mv_reg.h"
#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

namespace {

void runSql(const std::string& path, const std::string& text) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(database, text.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_close(database);
}

}  // namespace

class Upgrade : public ::testing::Test {
protected:
    Directory directory_;
    std::string path_ = directory_.at("plant");
};

TEST_F(Upgrade, AStoreOfVersion1IsUpgradedWhenItIsOpenedAndKeepsWhatItHas) {
    runSql(path_, keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_1.sql"));
    for (int time = 0; time < 2; ++time) {
        const auto store = bench().openStore(path_);
        bench().openSession(store, {});
        const tag_t item = bench().resolve("000123");
        EXPECT_EQ(stored(item, "object_name"), "Bracket");
        EXPECT_EQ(bench().get(bench().resolve("000123/A"), "items_tag"), Values{Reference{item}});
        logical answer = false;
        EXPECT_EQ(CKO_is_checked_out(item, &answer), 0);
        EXPECT_TRUE(answer);
        // What only the newer version has works too.
        const tag_t other = bench().createItem("", "", "", "", nullptr);
        bench().checkOut(other, "with a comment");
        int registered = -1;
        EXPECT_EQ(REG_register_item_id("000123", 0), time == 0 ? 0 : kDuplicateId);
        EXPECT_EQ(REG_is_item_id_registered("000123", &registered, 0), 0);
        EXPECT_EQ(registered, 1);
        EXPECT_TRUE(bench().check(store, false).empty());
        bench().closeStore(store);
    }
}

TEST_F(Upgrade, AStoreOfVersion3HasTheSameValuesInTheRowsOfItsObjects) {
    runSql(path_, keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_3.sql"));
    for (int time = 0; time < 2; ++time) {
        const auto store = bench().openStore(path_);
        bench().openSession(store, {});
        std::ostringstream exported;
        bench().exportWorld(exported);
        EXPECT_EQ(exported.str(),
                  keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_3.json"));
        const tag_t item = bench().resolve("000200");
        EXPECT_EQ(bench().get(item, "ratios"), (Values{1.0, 0.1, 1e300, -2.0}));
        EXPECT_EQ(bench().get(item, "flag"), Values{false});
        EXPECT_EQ(bench().get(item, "others"), (Values{Reference{item}, Reference{item}}));
        EXPECT_EQ(bench().get(bench().resolve("000200/A"), "items_tag"), Values{Reference{item}});
        EXPECT_EQ(bench().runs({}).size(), 3u);
        EXPECT_TRUE(bench().check(store, false).empty());
        bench().closeStore(store);
    }
}

TEST_F(Upgrade, TheIndexOfTextsOfVersion3IsMadeAnew) {
    const std::string tables =
        "CREATE TABLE text_attribute(attr INTEGER PRIMARY KEY, position INTEGER NOT NULL);"
        "CREATE TABLE text_pending(tag INTEGER NOT NULL, attr INTEGER NOT NULL, old,"
        "                          PRIMARY KEY(tag, attr)) WITHOUT ROWID;"
        "INSERT INTO text_attribute SELECT DISTINCT attr, 0 FROM value WHERE v='Bracket';"
        "CREATE VIEW text_indexed AS SELECT v.tag*64+a.position AS key, v.v AS text FROM value v "
        "CROSS JOIN text_attribute a ON a.attr=v.attr WHERE v.idx=0;"
        "CREATE VIRTUAL TABLE text_index USING fts5(text, content='text_indexed', "
        "content_rowid='key', tokenize='trigram case_sensitive 1', detail=none, columnsize=0);"
        "INSERT INTO text_index(text_index) VALUES('rebuild');"
        "CREATE TRIGGER text_inserted BEFORE INSERT ON value BEGIN SELECT 1; END;"
        "CREATE TRIGGER text_updated BEFORE UPDATE ON value BEGIN SELECT 1; END;"
        "CREATE TRIGGER text_deleted BEFORE DELETE ON value BEGIN SELECT 1; END;";
    runSql(path_, keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_3.sql") + tables);
    const auto store = bench().openStore(path_);
    bench().openSession(store, {});
    ASSERT_TRUE(bench().textIndex());
    EXPECT_GT(bench().textIndex()->texts, 1);
    EXPECT_EQ(bench().find({"*rack*", "Item", "", 0}).size(), 1u);
    bench().createItem("000201", "Tracker", "", "A", nullptr);
    EXPECT_EQ(bench().find({"*rack*", "Item", "", 0}).size(), 2u);
    EXPECT_TRUE(bench().check(store, false).empty());
    bench().closeStore(store);
}

TEST_F(Upgrade, AStoreWithoutRunsRecordsThemFromThenOn) {
    runSql(path_, keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_3.sql") +
                      "DROP TABLE run; DROP TABLE run_entry; "
                      "UPDATE meta SET value=2 WHERE name='schema_version'");
    const auto store = bench().openStore(path_);
    bench().openSession(store, {});
    EXPECT_TRUE(bench().runs({}).empty());
    bench().beginRun({RunWay::Whole, "s", "", "", ""});
    bench().createFolder("f");
    EXPECT_EQ(bench().endRun({}, true, nullptr).number, 1);
    EXPECT_EQ(bench().runs({}).size(), 1u);
    bench().closeStore(store);
}

TEST_F(Upgrade, ANewerVersionIsRefusedWithAClearText) {
    bench().createStore(path_);
    runSql(path_, "UPDATE meta SET value=99 WHERE name='schema_version'");
    std::string text;
    EXPECT_EQ(statusOf([&] { bench().openStore(path_); }, &text), kStoreFailure);
    EXPECT_NE(text.find("99"), std::string::npos) << text;
    EXPECT_NE(text.find("newer"), std::string::npos) << text;
}

TEST_F(Upgrade, AFileThatIsNoStoreIsRefusedAndLeftAsItIs) {
    std::ofstream(path_) << "this is a text and no database at all";
    EXPECT_EQ(statusOf([&] { bench().openStore(path_); }), kStoreFailure);
    EXPECT_EQ(keld_test::readText(path_), "this is a text and no database at all");
    const std::string other = directory_.at("other");
    runSql(other, "CREATE TABLE t(x)");
    EXPECT_EQ(statusOf([&] { bench().openStore(other); }), kStoreFailure);
    EXPECT_EQ(statusOf([&] { bench().openStore(directory_.at("nothing")); }), kStoreFailure);
    EXPECT_FALSE(std::filesystem::exists(directory_.at("nothing")));
}

TEST_F(Upgrade, ANewStoreIsNotMadeOverSomething) {
    std::ofstream(path_) << "mine";
    EXPECT_EQ(statusOf([&] { bench().createStore(path_); }), kStoreFailure);
    EXPECT_EQ(keld_test::readText(path_), "mine");
    EXPECT_NE(statusOf([&] { bench().createStore(directory_.at("no/such/place")); }), 0);
}

TEST_F(Upgrade, AnEmptyDatabaseIsRefusedWithTheWayOut) {
    std::ofstream(path_).flush();
    std::string text;
    EXPECT_EQ(statusOf([&] { bench().openStore(path_); }, &text), kStoreFailure);
    EXPECT_NE(text.find("remove it and make it anew"), std::string::npos) << text;
    std::filesystem::remove(path_);
    EXPECT_EQ(statusOf([&] { bench().createStore(path_); }), 0);
}

TEST_F(Upgrade, AStoreThatSomebodyWritesIsOpenedWhenTheWriterHasEnded) {
    bench().createStore(path_);
    runSql(path_, "PRAGMA journal_mode=DELETE");
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &writer), SQLITE_OK);
    // Its commit needs the store alone, so it waits for a moment at which the opener doesn't read.
    sqlite3_busy_timeout(writer, 10000);
    ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    int committed = -1;
    std::thread ending([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        committed = sqlite3_exec(writer, "COMMIT", nullptr, nullptr, nullptr);
    });
    std::string text;
    EXPECT_EQ(statusOf([&] { bench().closeStore(bench().openStore(path_)); }, &text), 0) << text;
    ending.join();
    EXPECT_EQ(committed, SQLITE_OK);
    sqlite3_close(writer);
}
