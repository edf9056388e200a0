#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "platform/mv_art.h"
#include "tests/support/held_file.h"
#include "tests/support/places.h"
#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Processes : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = keld_test::storeIn(directory_.string(), "plant");
        bench().createStore(path_);
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
        item_ = bench().createItem("1", "old", "", "A", nullptr);
    }
    void TearDown() override {
        if (store_)
            bench().closeStore(store_);
    }
    std::string tag() const { return std::to_string(item_); }
    // Where there are any: on a server a session proves that it lives by its connection.
    void expectSessionFiles(std::size_t expected, const char* why = "") const {
        if (keld_test::onServer())
            return;
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& each :
             std::filesystem::directory_iterator(path_ + "-sessions"))
            ++count;
        EXPECT_EQ(count, expected) << why;
    }

    Directory directory_;
    std::string path_;
    Workbench::StoreId store_ = 0;
    tag_t item_ = NULLTAG;
};

TEST_F(Processes, ALockOfThisProcessIsAConflictInAnotherOne) {
    ASSERT_EQ(OBJ_lock(item_), 0);
    Child child({"try", path_, tag()});
    const std::string said = child.line();
    EXPECT_EQ(said.substr(0, 7), std::to_string(kLockedByOther) + " ") << said;
    EXPECT_NE(said.find("infodba"), std::string::npos) << said;
    EXPECT_NE(said.find(std::to_string(getpid())), std::string::npos) << said;
    ASSERT_EQ(OBJ_refresh(item_, false), 0);
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ");
}

TEST_F(Processes, ALockOfALivingProcessHoldsAndThatOfAKilledOneIsReclaimed) {
    Child child({"hold", path_, tag()});
    ASSERT_EQ(child.line(), "held");
    EXPECT_EQ(OBJ_lock(item_), kLockedByOther);
    EXPECT_NE(bench().errorStack().back().text.find(std::to_string(child.process())),
              std::string::npos);
    child.kill();
    EXPECT_EQ(OBJ_lock(item_), 0);
    expectSessionFiles(1, "the file of the dead session is gone");
}

TEST_F(Processes, AProcessThatEndsByItselfGivesItsLocksUp) {
    Child child({"hold", path_, tag()});
    ASSERT_EQ(child.line(), "held");
    EXPECT_EQ(child.end(), 0);
    EXPECT_EQ(OBJ_lock(item_), 0);
    expectSessionFiles(1);
}

TEST_F(Processes, ADeadSessionCanBeSeenAndRemovedByTheCheck) {
    Child child({"hold", path_, tag()});
    ASSERT_EQ(child.line(), "held");
    child.kill();
    const auto findings = bench().check(store_, false);
    EXPECT_TRUE(errorsIn(findings).empty());
    EXPECT_TRUE(mentions(findings, "lock on #" + tag()));
    bench().check(store_, true);
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_F(Processes, TwoWhoLookAfterADeadSessionDontTakeEachOtherForIt) {
    Child child({"hold", path_, tag()});
    ASSERT_EQ(child.line(), "held");
    std::string file;
    for (const auto& each : std::filesystem::directory_iterator(path_ + "-sessions"))
        file = std::max(file, each.path().string());
    child.kill();
    const int look = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(look, LOCK_SH | LOCK_NB), 0);
    EXPECT_EQ(OBJ_lock(item_), 0);
    ::close(look);
}

TEST_F(Processes, ASessionThatOpensTakesAwayWhatKilledOnesLeft) {
    Child living({"hold", path_, tag()});
    ASSERT_EQ(living.line(), "held");
    const tag_t other = bench().createItem("2", "", "", "A", nullptr);
    {
        Child killed({"hold", path_, std::to_string(other)});
        ASSERT_EQ(killed.line(), "held");
    }
    // A process that was killed before it had a row.
    std::ofstream(path_ + "-sessions/4711").flush();
    expectSessionFiles(4);
    bench().openSession(store_, {});
    expectSessionFiles(3);
    EXPECT_TRUE(bench().check(store_, false).empty());
    EXPECT_EQ(OBJ_lock(item_), kLockedByOther);
}

TEST_F(Processes, TheCheckFindsNoDamageWhileAnotherOneDeletesFiles) {
    std::ofstream(directory_.at("a.txt")) << std::string(2000, 'a');
    Child child({"files", path_, directory_.at("a.txt")});
    ASSERT_NE(child.line(), "");
    // Not by number: the store grows and each check takes longer.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < end)
        for (const std::string& text : errorsIn(bench().check(store_, false)))
            ADD_FAILURE() << text;
    child.kill();
    EXPECT_GT(child.remainingLines().size(), 4u);
}

TEST_F(Processes, DamagedLockTablesAreMadeAnewWhenNobodyLives) {
    bench().closeStore(store_);
    store_ = 0;
    for (const char* table : {"-locks", "-locks-held"}) {
        std::ofstream(path_ + table, std::ios::trunc) << std::string(5000, 'x');
        store_ = bench().openStore(path_);
        bench().openSession(store_, {});
        EXPECT_EQ(OBJ_lock(item_), 0);
        EXPECT_EQ(Child({"try", path_, tag()}).line().substr(0, 6), std::to_string(kLockedByOther));
        bench().closeStore(store_);
        store_ = 0;
    }
}

TEST_F(Processes, LocksThatAreGoneFromTheirPlaceAreNotMadeAnewWhileAnotherProcessHasThem) {
    ASSERT_EQ(OBJ_lock(item_), 0);
    std::filesystem::remove(keld_test::heldPath(path_));
    EXPECT_EQ(Child({"try", path_, tag()}).line().substr(0, 7), "failed:");
    EXPECT_FALSE(std::filesystem::exists(keld_test::heldPath(path_)));
    bench().closeStore(store_);
    store_ = 0;
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ");
}

TEST_F(Processes, TheLocksOfAnOlderProgramThatHasEndedAreGone) {
    bench().closeStore(store_);
    store_ = 0;
    sqlite3* locks = nullptr;
    ASSERT_EQ(sqlite3_open((path_ + "-locks").c_str(), &locks), SQLITE_OK);
    const std::string older =
        "DROP VIEW held; CREATE TABLE held(object INTEGER PRIMARY KEY, session INTEGER NOT NULL); "
        "INSERT INTO held VALUES(" +
        tag() + ", 1);";
    ASSERT_EQ(sqlite3_exec(locks, older.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    store_ = bench().openStore(path_);
    bench().openSession(store_, {});
    EXPECT_EQ(OBJ_lock(item_), 0);
    // What it says if it is started now.
    EXPECT_EQ(sqlite3_exec(locks,
                           "CREATE TABLE IF NOT EXISTS held(object INTEGER PRIMARY KEY, session "
                           "INTEGER NOT NULL);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_NE(sqlite3_exec(locks, "INSERT INTO held VALUES(1, 1)", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_THAT(sqlite3_errmsg(locks), testing::HasSubstr("view"));
    sqlite3_close(locks);
}

TEST_F(Processes, ALivingOlderProgramsLocksAreNotLost) {
    bench().closeStore(store_);
    store_ = 0;
    sqlite3* locks = nullptr;
    ASSERT_EQ(sqlite3_open((path_ + "-locks").c_str(), &locks), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(locks,
                           "DROP VIEW held; CREATE TABLE held(object INTEGER PRIMARY KEY, session "
                           "INTEGER NOT NULL); INSERT INTO held VALUES(1, 4711);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(locks);
    std::ofstream(path_ + "-sessions/4711").flush();
    const int living = open((path_ + "-sessions/4711").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(flock(living, LOCK_EX), 0);
    std::string refusal;
    try {
        bench().openStore(path_);
    } catch (const Failure& failure) {
        refusal = failure.what();
    }
    EXPECT_THAT(refusal, testing::HasSubstr("An older program has " + path_ + " open: end it"));
    close(living);
    store_ = bench().openStore(path_);
}

TEST_F(Processes, AStoreOfAnOlderVersionIsBroughtUpToDateOnceByAllThatOpenItAtOnce) {
    const std::string older = directory_.at("older");
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(older.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(
        sqlite3_exec(database,
                     keld_test::readText(KELD_SOURCE_DIR "/tests/workbench/version_3.sql").c_str(),
                     nullptr, nullptr, nullptr),
        SQLITE_OK);
    sqlite3_close(database);
    {
        Child all[] = {Child({"items", older, "a"}), Child({"items", older, "b"}),
                       Child({"items", older, "c"}), Child({"items", older, "d"})};
        for (Child& each : all)
            EXPECT_THAT(each.line(), testing::EndsWith("-1"));
    }
    const auto store = bench().openStore(older);
    bench().openSession(store, {});
    EXPECT_THAT(errorsIn(bench().check(store, false)), testing::IsEmpty());
    EXPECT_NE(bench().resolve("000200"), NULLTAG);
    EXPECT_NE(bench().resolve("d-1"), NULLTAG);
    bench().closeStore(store);
}

TEST_F(Processes, LocksWhoseSessionIsNotStoredAreGoneWhenNobodyLives) {
    bench().closeStore(store_);
    store_ = 0;
    sqlite3* locks = nullptr;
    ASSERT_EQ(sqlite3_open((path_ + "-locks").c_str(), &locks), SQLITE_OK);
    const std::string rows =
        "DELETE FROM session; DELETE FROM sqlite_sequence; INSERT INTO activity VALUES(7, 'x'); "
        "INSERT INTO kept_number VALUES(5, 7);";
    ASSERT_EQ(sqlite3_exec(locks, rows.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(locks);
    keld_test::writeHeld(path_, 100, item_, 1);
    keld_test::writeHeld(path_, 101, 77, 7);
    ASSERT_THAT(keld_test::heldInFile(path_), testing::SizeIs(2));
    store_ = bench().openStore(path_);
    bench().openSession(store_, {});
    EXPECT_THAT(bench().check(store_, false), testing::IsEmpty());
    ASSERT_EQ(sqlite3_open((path_ + "-locks").c_str(), &locks), SQLITE_OK);
    int rows_left = 0;
    const auto count = [](void* sum, int, char** values, char**) {
        *static_cast<int*>(sum) += std::stoi(values[0]);
        return 0;
    };
    for (const char* table : {"activity", "kept_number"})
        ASSERT_EQ(sqlite3_exec(locks, ("SELECT count(*) FROM " + std::string(table)).c_str(), count,
                               &rows_left, nullptr),
                  SQLITE_OK);
    sqlite3_close(locks);
    EXPECT_EQ(rows_left, 0);
    EXPECT_THAT(keld_test::heldInFile(path_), testing::IsEmpty());
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ") << "the first session has no lock";
}

TEST_F(Processes, DamagedLockTablesStayWhileAnotherProcessHasThemOpen) {
    // Reopen the store, so that the rows are in the file and not in its log.
    bench().closeStore(store_);
    store_ = bench().openStore(path_);
    std::ofstream(path_ + "-locks", std::ios::trunc) << std::string(5000, 'x');
    EXPECT_EQ(Child({"try", path_, tag()}).line().substr(0, 7), "failed:");
    bench().closeStore(store_);
    store_ = 0;
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ");
}

TEST_F(Processes, WhatIsDefinedInOneProcessIsKnownInOthers) {
    Child child({"items", path_, "x"});
    ASSERT_EQ(child.line(), "x-1");
    child.kill();
    const auto found = bench().find({"x-1", "Item", "", 0});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(bench().resolve("x-1/A"), bench().find({"x-1/A", "", "", 0}).at(0).tag);
}

TEST_F(Processes, TwoProcessesMakeItemsAtOnceAndNoTagIsGivenTwice) {
    Child a({"items", path_, "a"}), b({"items", path_, "b"});
    for (int i = 0; i < 10; ++i) {
        ASSERT_NE(a.line(), "");
        ASSERT_NE(b.line(), "");
    }
    a.kill();
    b.kill();
    EXPECT_GE(bench().find({"a-*", "Item", "", 0}).size(), 10u);
    EXPECT_GE(bench().find({"b-*", "Item", "", 0}).size(), 10u);
    EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
}

TEST_F(Processes, AnIdThatOneProcessHasChosenIsNotChosenByAnother) {
    tag_t item = NULLTAG, revision = NULLTAG;
    char id[129] = "";
    Child other({"choose", path_, "Item"});
    EXPECT_EQ(other.line(), "000001");
    ASSERT_EQ(ART_create_item(nullptr, nullptr, "Item", nullptr, &item, &revision), 0);
    ASSERT_EQ(ART_ask_id(item, id), 0);
    EXPECT_STREQ(id, "000002");
    EXPECT_EQ(OBJ_save(item), 0);
    EXPECT_EQ(other.end(), 0);
    EXPECT_EQ(other.line(), "0") << "the other one saves";
}

TEST_F(Processes, AnIdThatAKilledProcessHadChosenIsFreeAgain) {
    tag_t item = NULLTAG, revision = NULLTAG;
    char id[129] = "";
    Child other({"choose", path_, "Item"});
    EXPECT_EQ(other.line(), "000001");
    other.kill();
    ASSERT_EQ(ART_create_item(nullptr, nullptr, "Item", nullptr, &item, &revision), 0);
    ASSERT_EQ(ART_ask_id(item, id), 0);
    EXPECT_STREQ(id, "000001");
}

TEST_F(Processes, TheEnvironmentCanPlanFailuresAndKeepAJournal) {
    ::setenv("MERVANE_FAULTS", "OBJ_lock:1=4711", 1);
    ::setenv("MERVANE_JOURNAL", directory_.at("journal").c_str(), 1);
    EXPECT_EQ(Child({"try", path_, tag()}).line().substr(0, 5), "4711 ");
    ::setenv("MERVANE_FAULTS", "nonsense", 1);
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ") << "a wrong plan plans nothing";
    ::setenv("MERVANE_FAULTS", "OBJ_lock:1+=4711", 1);
    EXPECT_EQ(Child({"try", path_, tag()}).line().substr(0, 5), "4711 ");
    ::setenv("MERVANE_FAULTS", "OBJ_lock:2+=4711", 1);
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ");
    ::setenv("MERVANE_FAULTS", "OBJ_lock:+=4711", 1);
    EXPECT_EQ(Child({"try", path_, tag()}).line(), "0 ") << "a wrong plan plans nothing";
    ::unsetenv("MERVANE_FAULTS");
    ::unsetenv("MERVANE_JOURNAL");
    std::ifstream file(directory_.at("journal"));
    std::string first, second;
    std::getline(file, first);
    std::getline(file, second);
    EXPECT_EQ(first, "OBJ_lock(#" + tag() + ") = 4711");
    EXPECT_EQ(second, "OBJ_lock(#" + tag() + ") = 0");
}
