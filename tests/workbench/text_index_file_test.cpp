// The index of texts in a store that others change, damage, copy and have open.

#include <sqlite3.h>

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class StoredTextIndex : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_.at("plant");
        bench().createStore(path_);
        store_ = open();
        folder_ = bench().createFolder("Bracket");
        bench().setTextIndex(true);
    }
    void TearDown() override { bench().closeStore(store_); }
    Workbench::StoreId open() {
        const auto store = bench().openStore(path_);
        session_ = bench().openSession(store, {});
        return store;
    }
    // As another program does it.
    void sql(const std::string& text) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(path_.c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, text.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    // The index is left without any text, so that who uses it finds nothing.
    void empty() { sql("INSERT INTO text_index(text_index) VALUES('delete-all')"); }
    std::size_t found(const std::string& text = "*rack*") {
        return bench().find({text, "Folder", "", 0}).size();
    }
    std::vector<std::string> errors() { return errorsIn(bench().check(store_, false)); }
    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    Workbench::SessionId session_ = 0;
    tag_t folder_ = NULLTAG;
};

TEST_F(StoredTextIndex, IsWhatASearchWithinTextsAsks) {
    EXPECT_EQ(found(), 1u);
    empty();
    EXPECT_EQ(found(), 0u);
    EXPECT_EQ(found("Brack*"), 1u) << "a beginning is looked up in the order of texts";
    EXPECT_EQ(found("*ra*"), 1u) << "two characters are too few";
    EXPECT_EQ(found("Bra*ket"), 1u) << "few texts begin so";
}

TEST_F(StoredTextIndex, ThatLacksATextIsAnErrorAndMadeAnewByTheRepair) {
    EXPECT_EQ(errors().size(), 0u);
    empty();
    ASSERT_EQ(errors().size(), 1u);
    EXPECT_NE(errors()[0].find("index of texts"), std::string::npos) << errors()[0];
    const auto repaired = bench().check(store_, true);
    EXPECT_TRUE(errorsIn(repaired).empty());
    EXPECT_TRUE(mentions(repaired, "made anew"));
    EXPECT_EQ(found(), 1u);
    EXPECT_EQ(errors().size(), 0u);
}

TEST_F(StoredTextIndex, ThatHasATextTooManyOrLacksATriggerIsAnError) {
    sql("INSERT INTO text_index(rowid, text) VALUES(64, 'xyzzy')");
    EXPECT_EQ(errors().size(), 1u);
    bench().check(store_, true);
    EXPECT_EQ(errors().size(), 0u);
    sql("DROP TRIGGER text_deleted");
    EXPECT_EQ(errors().size(), 1u);
    bench().check(store_, true);
    EXPECT_EQ(errors().size(), 0u);
}

// The index is of the table of texts, whoever changes that. What the table should be the objects
// tell.
TEST_F(StoredTextIndex, IsKeptByWhateverAnotherProgramDoes) {
    const std::string spring = std::to_string(bench().createFolder("Spring"));
    const std::string row = " FROM text WHERE v='Bracket'";
    for (const std::string& change :
         {std::string("UPDATE text SET v='Flange' WHERE v='Bracket'"),
          "INSERT OR REPLACE INTO text SELECT attr, v, tag" + row,
          "INSERT OR IGNORE INTO text SELECT attr, v, tag" + row,
          "INSERT INTO text SELECT attr, v, tag" + row + " ON CONFLICT DO UPDATE SET v='Gasket'",
          "PRAGMA recursive_triggers=ON; INSERT OR REPLACE INTO text SELECT attr, v, tag" + row,
          std::string("DELETE FROM text WHERE v='Bracket'"),
          "DELETE FROM text WHERE tag=" + spring}) {
        bench().setTextIndex(true);  // no text waits for indexing
        sql(change);
        for (const std::string& error : errors())
            EXPECT_EQ(error.find("index of texts"), std::string::npos) << change;
        EXPECT_EQ(errorsIn(bench().check(store_, true)).size(), 0u) << change;
        EXPECT_EQ(errors().size(), 0u) << change;
        EXPECT_EQ(found(), 1u) << change;
        EXPECT_EQ(found("*prin*"), 1u) << change;
    }
}

TEST_F(StoredTextIndex, IsUsedByOtherSessionsFromTheirNextSearchOn) {
    const auto mine = session_;
    const auto other = open();
    bench().selectSession(mine);
    bench().setTextIndex(false);
    const auto others = session_;
    bench().selectSession(others);
    EXPECT_EQ(found(), 1u);
    bench().selectSession(mine);
    bench().setTextIndex(true);
    empty();
    bench().selectSession(others);
    EXPECT_EQ(found(), 0u);
    // A text that one session stores is in the other's index.
    bench().createFolder("Brackets");
    bench().selectSession(mine);
    EXPECT_EQ(found(), 1u);
    bench().closeStore(other);
}

TEST_F(StoredTextIndex, ThatIsDamagedHoldsUpNeitherSearchesNorChanges) {
    sql("UPDATE text_index_data SET block=x'00' WHERE id>10");
    EXPECT_EQ(found(), 1u);
    bench().asOne([] {
        for (int i = 0; i < 1100; ++i)
            bench().createFolder("part" + std::to_string(i));
    });
    EXPECT_EQ(found("*part1099*"), 1u);
    EXPECT_EQ(errors().size(), 1u);
    bench().check(store_, true);
    EXPECT_EQ(errors().size(), 0u);
    EXPECT_EQ(found("*part1099*"), 1u);
}

TEST_F(StoredTextIndex, GoesAlongWithACopy) {
    bench().createFolder("Brackets");
    bench().backup(store_, directory_.at("copy"));
    const auto copy = bench().openStore(directory_.at("copy"));
    bench().openSession(copy, {});
    EXPECT_EQ(bench().textIndex().value().waiting, 1);
    EXPECT_EQ(found(), 2u);
    EXPECT_TRUE(bench().check(copy, false).empty());
    bench().closeStore(copy);
    bench().selectSession(session_);
}
