// Sessions that store at the same time, on connections of their own.

#include <gmock/gmock.h>

#include <chrono>
#include <set>
#include <sstream>
#include <stdexcept>

#include "platform/mv_art.h"
#include "platform/mv_cko.h"
#include "platform/mv_obj.h"
#include "tests/server/server_store.h"
#include "tests/workbench/child.h"

using namespace mervane;
using namespace mervane::test;

class AtOnce : public ServerStore {
protected:
    void SetUp() override {
        ServerStore::SetUp();
        first_ = bench().openSession(store_, {});
        second_ = bench().openSession(store_, {});
    }
    void TearDown() override {
        ::unsetenv("MERVANE_WAIT_MS");
        ServerStore::TearDown();
    }
    static tag_t unsavedItem(const char* id) {
        tag_t item = NULLTAG, revision = NULLTAG;
        EXPECT_EQ(ART_create_item(id, "name", "Item", "A", &item, &revision), 0);
        return item;
    }
    // The first session is in use then.
    void makeTwoItems() {
        use(first_);
        a_ = bench().createItem("a", "", "", "A", nullptr);
        b_ = bench().createItem("b", "", "", "A", nullptr);
    }

    Workbench::SessionId first_ = 0, second_ = 0;
    tag_t a_ = NULLTAG, b_ = NULLTAG;
};

TEST_F(AtOnce, AnIdThatTwoHaveGivenIsOfTheOneThatSavesFirst) {
    use(first_);
    const tag_t mine = unsavedItem("77");
    use(second_);
    const tag_t other = unsavedItem("77");
    EXPECT_EQ(OBJ_save(other), 0);
    use(first_);
    EXPECT_EQ(OBJ_save(mine), kDuplicateId);
    use(second_);
    EXPECT_EQ(bench().find({"77", "Item", "", 0}).size(), 1u);
    EXPECT_EQ(bench().resolve("77"), other);
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, WhoGivesAnIdThatARunHasGivenWaitsForItsEndAndNoLonger) {
    ::setenv("MERVANE_WAIT_MS", "200", 1);
    const auto store = bench().openStore(path_);
    const auto third = bench().openSession(store, {});
    use(first_);
    bench().beginRun({RunWay::Whole, "KELD_Long", "", "", ""});
    bench().createItem("77", "", "", "A", nullptr);
    // Its statements are with the server now.
    EXPECT_EQ(bench().find({"77", "Item", "", 0}).size(), 1u);
    use(third);
    const auto began = std::chrono::steady_clock::now();
    std::string text;
    EXPECT_EQ(statusOf([] { bench().createItem("77", "", "", "A", nullptr); }, &text),
              kStoreFailure);
    EXPECT_THAT(text, testing::HasSubstr("KELD_Long"));
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    EXPECT_EQ(statusOf([] { bench().createItem("78", "", "", "A", nullptr); }), 0)
        << "another id isn't held up";
    use(first_);
    bench().endRun({}, true, nullptr);
    use(third);
    EXPECT_EQ(statusOf([] { bench().createItem("77", "", "", "A", nullptr); }), kDuplicateId);
    EXPECT_TRUE(isSound());
    bench().closeStore(store);
}

TEST_F(AtOnce, AnIdThatARunChoosesIsFreeAlsoIfItHasReadOtherwise) {
    use(first_);
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    EXPECT_EQ(statusOf([] { bench().resolve("000001"); }), kUnknownObject);
    use(second_);
    const tag_t theirs = bench().createItem("", "", "", "A", nullptr);
    EXPECT_EQ(bench().resolve("000001"), theirs);
    bench().closeSession(second_);
    use(first_);
    const tag_t item = bench().createItem("", "", "", "A", nullptr);
    bench().endRun({}, true, nullptr);
    EXPECT_EQ(bench().resolve("000002"), item);
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, ProcessesThatMakeItemsOfTheSameIdsMakeEachOnce) {
    Child a({"items", path_, "x"}), b({"items", path_, "x"});
    // One of them soon meets an id of the other one and says so.
    const std::vector<std::string> all_of_b = b.linesUntil("failed:", 40),
                                   all_of_a = a.linesUntil("failed:", 40);
    EXPECT_TRUE(all_of_a.back().starts_with("failed:") || all_of_b.back().starts_with("failed:"));
    a.kill();
    b.kill();
    use(first_);
    const auto found = bench().find({"x-*", "Item", "", 0});
    std::set<std::string> ids;
    for (const Found& each : found)
        EXPECT_TRUE(ids.insert(each.id).second) << each.id;
    EXPECT_GT(ids.size(), 0u);
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, WhatARunHasStoredStaysLockedUntilItsEnd) {
    makeTwoItems();
    use(first_);
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    use(second_);
    bench().beginRun({RunWay::Whole, "two", "", "", ""});
    use(first_);
    EXPECT_EQ(rename(a_, "first"), 0);
    use(second_);
    EXPECT_EQ(rename(b_, "second"), 0);
    EXPECT_EQ(rename(a_, "second"), kLockedByOther);
    EXPECT_THAT(bench().errorStack().front().text, testing::HasSubstr("infodba, process"));
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }), kLockedByOther);
    use(first_);
    bench().endRun({}, true, nullptr);
    use(second_);
    EXPECT_EQ(rename(a_, "third"), 0) << "free, and seen as the other one stored it";
    use(first_);
    ASSERT_EQ(OBJ_refresh(a_, false), 0);
    ASSERT_EQ(OBJ_refresh(b_, false), 0);
    EXPECT_EQ(stored(a_, "object_name"), "third");
    EXPECT_EQ(stored(b_, "object_name"), "b");
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, ALockThatNoRunKeepsIsPassedOverByAWholeRunToo) {
    makeTwoItems();
    ASSERT_EQ(OBJ_lock(a_), 0);
    use(second_);
    bench().beginRun({RunWay::Whole, "KELD_PassesOver", "", "", ""});
    logical modifiable = true;
    EXPECT_EQ(OBJ_ask_if_modifiable(a_, &modifiable), 0);
    EXPECT_FALSE(modifiable);
    EXPECT_EQ(OBJ_lock(a_), kLockedByOther);
    bench().set(b_, "object_name", {std::string("changed")});
    bench().endRun({}, true, nullptr);
    EXPECT_EQ(stored(b_, "object_name"), "changed");
}

TEST_F(AtOnce, AWholeRunThatMeetsAnotherOneFailsFromThereOnAndGoesBack) {
    makeTwoItems();
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    ASSERT_EQ(OBJ_lock(a_), 0);
    ASSERT_EQ(setName(a_, "one"), 0);
    ASSERT_EQ(OBJ_save(a_), 0);
    for (const bool asks : {true, false}) {
        use(second_);
        bench().beginRun({RunWay::Whole, "two", "", "", ""});
        bench().set(b_, "object_name", {std::string("two")});
        ERR_clear_errors();
        logical modifiable = true;
        EXPECT_EQ(asks ? OBJ_ask_if_modifiable(a_, &modifiable) : OBJ_lock(a_), kLockedByOther);
        EXPECT_THAT(bench().errorStack().front().text,
                    testing::AllOf(testing::HasSubstr("is locked by user infodba, process"),
                                   testing::HasSubstr("whose run goes on")));
        EXPECT_EQ(OBJ_load(b_), kLockedByOther) << "what it would still do goes back anyway";
        std::string text;
        EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }, &text), kLockedByOther);
        EXPECT_THAT(text, testing::HasSubstr("is locked by user infodba, process"));
        EXPECT_FALSE(bench().inRun());
        EXPECT_EQ(stored(b_, "object_name"), "b");
    }
    use(first_);
    bench().endRun({}, true, nullptr);
    use(second_);
    EXPECT_EQ(bench().runs({}).size(), 1u);
    EXPECT_EQ(stored(a_, "object_name"), "one");
    EXPECT_TRUE(isSound());
}

// So another one learns it before it has read a whole structure.
TEST_F(AtOnce, WhatAWholeRunChecksFirstIsLockedUntilItsEnd) {
    makeTwoItems();
    enum class Then { Changes, GoesBack, ChangesNothing };
    for (const Then then : {Then::Changes, Then::GoesBack, Then::ChangesNothing}) {
        use(first_);
        bench().beginRun({RunWay::Whole, "one", "", "", ""});
        ASSERT_EQ(CKO_assert_object_modifiable(a_), 0);
        ASSERT_EQ(CKO_assert_object_modifiable(b_), 0);
        use(second_);
        EXPECT_EQ(OBJ_lock(b_), 0) << "of what a run checks, only the first object";
        EXPECT_EQ(OBJ_unlock(b_), 0);
        EXPECT_EQ(OBJ_lock(a_), kLockedByOther);
        EXPECT_EQ(CKO_assert_object_modifiable(a_), 0) << "as far as check-outs go";
        bench().beginRun({RunWay::Whole, "two", "", "", ""});
        ERR_clear_errors();
        EXPECT_EQ(CKO_assert_object_modifiable(a_), kLockedByOther);
        EXPECT_THAT(bench().errorStack().front().text,
                    testing::AllOf(testing::HasSubstr("is locked by user infodba, process"),
                                   testing::HasSubstr("whose run goes on")));
        EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }), kLockedByOther);
        use(first_);
        if (then != Then::ChangesNothing) {
            EXPECT_EQ(rename(a_, then == Then::Changes ? "one" : "two"), 0);
        }
        bench().endRun({}, then != Then::GoesBack, nullptr);
        use(second_);
        EXPECT_EQ(OBJ_lock(a_), 0);
        EXPECT_EQ(OBJ_unlock(a_), 0);
    }
    EXPECT_EQ(stored(a_, "object_name"), "one");
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, ALockThatAWholeRunHadBeforeItsCheckIsKeptAsItIs) {
    makeTwoItems();
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    ASSERT_EQ(OBJ_lock(a_), 0);
    ASSERT_EQ(CKO_assert_object_modifiable(a_), 0);
    bench().endRun({}, true, nullptr);
    use(second_);
    EXPECT_EQ(OBJ_lock(a_), kLockedByOther) << "the service has locked it, and not unlocked it";
    use(first_);
    EXPECT_EQ(OBJ_unlock(a_), 0);
    use(second_);
    EXPECT_EQ(OBJ_lock(a_), 0);
}

TEST_F(AtOnce, ACheckAsTheServerLocksNothing) {
    makeTwoItems();
    for (const bool in_run : {false, true}) {
        use(first_);
        if (in_run)
            bench().beginRun({RunWay::AsServer, "one", "", "", ""});
        ASSERT_EQ(CKO_assert_object_modifiable(a_), 0);
        use(second_);
        EXPECT_EQ(OBJ_lock(a_), 0);
        EXPECT_EQ(OBJ_unlock(a_), 0);
    }
    use(first_);
    bench().endRun({}, true, nullptr);
}

TEST_F(AtOnce, AWholeRunWhoseReadingIsOvertakenGoesBack) {
    makeTwoItems();
    use(second_);
    bench().beginRun({RunWay::Whole, "two", "", "", ""});
    EXPECT_EQ(stored(a_, "object_name"), "a");
    bench().set(b_, "object_name", {std::string("two")});
    use(first_);
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    bench().set(a_, "object_name", {std::string("one")});
    const std::int64_t run = bench().endRun({}, true, nullptr).number;
    use(second_);
    ERR_clear_errors();
    EXPECT_EQ(OBJ_lock(a_), kChangedMeanwhile);
    EXPECT_THAT(bench().errorStack().front().text,
                testing::HasSubstr("was stored by run " + std::to_string(run) +
                                   " of user infodba, process"));
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }), kChangedMeanwhile);
    EXPECT_EQ(stored(b_, "object_name"), "b");
    use(first_);
    EXPECT_EQ(OBJ_lock(a_), 0) << "the refused lock isn't left";
    EXPECT_TRUE(isSound());
}

// What is much goes to the server before its end, and nobody waits for the answer.
TEST_F(AtOnce, APieceOfARunThatTheServerRefusesIsAFailureOfTheRun) {
    use(first_);
    const tag_t form = bench().createForm("Item Master", "form");
    for (const bool asks : {false, true}) {
        const std::string id = asks ? "78" : "77";
        use(first_);
        bench().beginRun({RunWay::Whole, "one", "", "", ""});
        ASSERT_EQ(OBJ_lock(form), 0);
        // The head of the run's record goes to the server with its first change.
        ASSERT_EQ(setName(form, "first"), 0);
        ASSERT_EQ(OBJ_save(form), 0);
        const tag_t mine = unsavedItem(id.c_str());
        ASSERT_EQ(OBJ_save(mine), 0);
        use(second_);
        bench().createItem(id, "", "", "A", nullptr);
        use(first_);
        const std::uint64_t trips = bench().roundTrips();
        for (int i = 0; i < 3000; ++i) {
            ASSERT_EQ(setName(form, std::to_string(i)), 0);
            ASSERT_EQ(OBJ_save(form), 0);
        }
        EXPECT_LE(bench().roundTrips() - trips, 2u);
        if (asks) {
            EXPECT_EQ(statusOf([] { bench().find({"a*", "Folder", "", 0}); }), kDuplicateId);
            EXPECT_NE(statusOf([] { bench().find({"a*", "Folder", "", 0}); }), 0);
        }
        std::string text;
        EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }, &text),
                  asks ? kStoreFailure : kDuplicateId)
            << text;
        EXPECT_FALSE(bench().inRun());
        EXPECT_EQ(stored(form, "object_name"), "form");
    }
    EXPECT_TRUE(isSound());
}

// What a step stores is sent without waiting, and the answer comes in the next one.
TEST_F(AtOnce, AStepThatGoesBackTakesNoneBeforeItAlong) {
    use(first_);
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    EXPECT_EQ(statusOf([] { bench().resolve("dup"); }), kUnknownObject);
    use(second_);
    bench().createItem("dup", "", "", "A", nullptr);
    use(first_);
    bench().asOne([] {
        bench().createFolder("of the first step");
        // The step has begun on the server.
        bench().find({"*", "Item", "", 0});
        bench().createItem("dup", "", "", "A", nullptr);
    });
    EXPECT_EQ(statusOf([] {
                  bench().asOne([] {
                      bench().createFolder("of the second step");
                      bench().find({"*", "Item", "", 0});
                  });
              }),
              kDuplicateId);
    std::string text;
    EXPECT_EQ(statusOf([] { bench().endRun({}, true, nullptr); }, &text), kStoreFailure);
    EXPECT_THAT(text, testing::HasSubstr("with the same id meanwhile: dup"));
    EXPECT_TRUE(bench().find({"of the*", "Folder", "", 0}).empty());
    EXPECT_TRUE(isSound());
}

// The server hears of a step and of one in it at once, and refuses the outer one.
TEST_F(AtOnce, AStepThatIsRefusedTogetherWithOneInItGoesBackAsAWhole) {
    use(first_);
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    EXPECT_EQ(statusOf([] { bench().resolve("dup"); }), kUnknownObject);
    const tag_t before = bench().createFolder("before");
    use(second_);
    bench().createItem("dup", "", "", "A", nullptr);
    use(first_);
    std::string text;
    EXPECT_NE(
        statusOf(
            [&] {
                bench().asOne([&] {
                    bench().createItem("dup", "", "", "A", nullptr);
                    EXPECT_EQ(
                        statusOf([] { bench().asOne([] {
                                          bench().find({"*", "Item", "", 0});
                                      }); },
                                 &text),
                        kDuplicateId);
                    EXPECT_THAT(text, testing::EndsWith("with the same id meanwhile: dup"));
                    bench().createItem("q", "", "", "A", nullptr);
                });
            },
            &text),
        0);
    EXPECT_THAT(text, testing::HasSubstr("with the same id meanwhile: dup"));
    const tag_t after = bench().createFolder("after");
    bench().endRun({}, true, nullptr);
    EXPECT_TRUE(bench().find({"q", "Item", "", 0}).empty());
    EXPECT_EQ(bench().find({"dup", "Item", "", 0}).size(), 1u);
    EXPECT_EQ(stored(before, "object_name"), "before");
    EXPECT_EQ(stored(after, "object_name"), "after");
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, RunsThatDeleteDontEndOneAnother) {
    Child a({"deletes", path_, "a"}), b({"deletes", path_, "b"});
    for (Child* each : {&a, &b}) {
        const std::vector<std::string> said = each->linesUntil("failed:", 25);
        EXPECT_EQ(said.size(), 25u) << testing::PrintToString(said);
    }
    a.kill();
    b.kill();
    use(first_);
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, KnownIdsGoBackWithAStep) {
    use(first_);
    for (const char* id : {"k2", "k4", "k6"})
        bench().createItem(id, "", "", "A", nullptr);
    bench().beginRun({RunWay::Whole, "one", "", "", ""});
    for (const char* id : {"j1", "j2", "j3", "j4", "j5", "j6"})
        EXPECT_EQ(statusOf([&] { bench().resolve(id); }), kUnknownObject);
    EXPECT_NE(bench().resolve("k4"), NULLTAG);
    EXPECT_THROW(bench().asOne([&] {
        const tag_t k5 = bench().createItem("k5", "", "", "A", nullptr);
        EXPECT_EQ(bench().find({"k*", "Item", "", 0}).size(), 4u);
        EXPECT_EQ(bench().resolve("k5"), k5);
        EXPECT_EQ(OBJ_refresh(k5, true), 0);
        throw std::runtime_error("goes back");
    }),
                 std::runtime_error);
    EXPECT_NE(bench().resolve("k2"), NULLTAG);
    EXPECT_EQ(statusOf([&] { bench().resolve("k5"); }), kUnknownObject);
    EXPECT_EQ(statusOf([&] { bench().createItem("k4", "", "", "A", nullptr); }), kDuplicateId);
    const tag_t k5 = bench().createItem("k5", "", "", "A", nullptr);
    EXPECT_EQ(bench().resolve("k5"), k5);
    EXPECT_EQ(statusOf([&] { bench().createItem("k5", "", "", "A", nullptr); }), kDuplicateId);
    bench().endRun({}, true, nullptr);
    EXPECT_EQ(bench().resolve("k5"), k5);
    EXPECT_TRUE(isSound());
}

TEST_F(AtOnce, AnImportThatFailsLeavesNoIdsKnown) {
    const auto load = [](const std::string& last, std::string* text = nullptr) {
        std::string items;
        for (int i = 0; i < 20; ++i)
            items += R"({"id": "w)" + std::to_string(10 + i) + "\"}, ";
        std::istringstream in(R"({"world": 1, "items": [)" + items + last + "]}");
        return statusOf([&] { bench().importWorld(in, "w.json"); }, text);
    };
    use(first_);
    bench().createItem("w40", "", "", "A", nullptr);
    std::string text;
    EXPECT_NE(load(R"({"id": "w15"})", &text), 0);
    EXPECT_THAT(text, testing::HasSubstr("there is an item w15 already"));
    EXPECT_EQ(bench().find({"w*", "Item", "", 0}).size(), 1u);
    EXPECT_NE(load(R"({"id": "w40"})", &text), 0);
    EXPECT_THAT(text, testing::HasSubstr("there is an item w40 already"));
    EXPECT_EQ(load(R"({"id": "w30"})"), 0);
    EXPECT_EQ(bench().find({"w??", "Item", "", 0}).size(), 22u);
    EXPECT_TRUE(isSound());
}
