#include <fstream>

#include "tests/workbench/child.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Processes : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = directory_ / "plant";
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
    std::size_t sessionFiles() const {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& each :
             std::filesystem::directory_iterator(path_ + "-sessions"))
            ++count;
        return count;
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
    EXPECT_EQ(sessionFiles(), 1u) << "the file of the dead session is gone";
}

TEST_F(Processes, AProcessThatEndsByItselfGivesItsLocksUp) {
    Child child({"hold", path_, tag()});
    ASSERT_EQ(child.line(), "held");
    EXPECT_EQ(child.end(), 0);
    EXPECT_EQ(OBJ_lock(item_), 0);
    EXPECT_EQ(sessionFiles(), 1u);
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

TEST_F(Processes, DamagedLockTablesAreMadeAnewWhenNobodyLives) {
    bench().closeStore(store_);
    store_ = 0;
    std::ofstream(path_ + "-locks", std::ios::trunc) << std::string(5000, 'x');
    store_ = bench().openStore(path_);
    bench().openSession(store_, {});
    EXPECT_EQ(OBJ_lock(item_), 0);
    EXPECT_EQ(Child({"try", path_, tag()}).line().substr(0, 6), std::to_string(kLockedByOther));
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

TEST_F(Processes, TheEnvironmentCanPlanFailuresAndKeepAJournal) {
    ::setenv("MERVANE_FAULTS", "OBJ_lock:1=4711", 1);
    ::setenv("MERVANE_JOURNAL", (directory_ / "journal").c_str(), 1);
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
    std::ifstream file(directory_ / "journal");
    std::string first, second;
    std::getline(file, first);
    std::getline(file, second);
    EXPECT_EQ(first, "OBJ_lock(#" + tag() + ") = 4711");
    EXPECT_EQ(second, "OBJ_lock(#" + tag() + ") = 0");
}
