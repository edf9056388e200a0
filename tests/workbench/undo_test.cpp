// Taking runs back: the store is what it was, or nothing is changed and the conflicts are told.

#include "tests/workbench/run_support.h"

using namespace mervane;
using namespace mervane::test;

class Undo : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        item_ = bench().createItem("OLD", "old", "", "A", &revision_);
        folder_ = bench().createFolder("folder");
        bench().addToFolder(folder_, item_);
        dataset_ = bench().createDataset("Text", "text");
        bench().relate(revision_, dataset_, "VANE_specification");
        writeFile(directory_.at("old"), "old content");
        bench().addFile(dataset_, "Text", directory_.at("old"), "old.txt");
    }
    // Run the steps, take them back, do them again, and compare.
    template <typename Steps>
    void thereAndBack(Steps&& steps) {
        const std::string before = exported();
        begin(RunWay::Whole);
        steps();
        const std::int64_t run = end().head.number;
        ASSERT_NE(run, 0);
        const std::string after = exported();
        ASSERT_NE(after, before);
        const UndoReport undone = bench().undoRun(run, "");
        EXPECT_TRUE(undone.done) << (undone.conflicts.empty() ? "" : undone.conflicts.front());
        EXPECT_TRUE(undone.not_undone.empty());
        EXPECT_EQ(exported(), before);
        EXPECT_EQ(bench().run(run).undone, undone.run);
        EXPECT_EQ(bench().run(undone.run).undoes, run);
        EXPECT_EQ(bench().run(undone.run).service, "undo");
        const UndoReport again = bench().undoRun(undone.run, "");
        EXPECT_TRUE(again.done) << (again.conflicts.empty() ? "" : again.conflicts.front());
        EXPECT_EQ(exported(), after);
        EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
    }
    template <typename Steps>
    std::int64_t ran(Steps&& steps) {
        begin(RunWay::Whole);
        steps();
        return end().head.number;
    }
    // Expect a refusal with one conflict that contains the text, and an unchanged store.
    void isRefused(std::int64_t run, const std::string& part) {
        const std::string before = exported();
        const UndoReport report = bench().undoRun(run, "");
        EXPECT_FALSE(report.done);
        EXPECT_EQ(report.run, 0);
        ASSERT_EQ(report.conflicts.size(), 1u);
        EXPECT_NE(report.conflicts[0].find(part), std::string::npos) << report.conflicts[0];
        EXPECT_EQ(exported(), before);
        EXPECT_EQ(bench().run(run).undone, 0);
    }

    tag_t item_ = 0, revision_ = 0, folder_ = 0, dataset_ = 0;
};
ON_BOTH_STORES(Undo);

TEST_P(Undo, BringsChangedValuesBack) {
    thereAndBack([&] {
        bench().set(item_, "object_name", {std::string("one")});
        bench().set(item_, "object_name", {std::string("two")});
        bench().set(item_, "object_desc", {std::string("fresh")});
        bench().set(revision_, "object_name", {});
    });
}

TEST_P(Undo, DeletesWhatTheRunMade) {
    thereAndBack([&] {
        tag_t revision = NULLTAG;
        bench().createItem("NEW", "new", "", "A", &revision);
        bench().addOccurrence(revision_, revision, "2", "10");
        const tag_t dataset = bench().createDataset("Text", "made");
        writeFile(directory_.at("new"), "new content");
        bench().addFile(dataset, "Text", directory_.at("new"), "new.txt");
        bench().relate(revision, dataset, "VANE_specification");
        bench().addToFolder(folder_, revision);
    });
}

TEST_P(Undo, BringsDeletedObjectsBackWithTheirFilesVersionsAndRelations) {
    const tag_t latest = bench().createDatasetVersion(dataset_);
    thereAndBack([&] {
        int count = 0;
        rel_entry_s* list = nullptr;
        ASSERT_EQ(REL_list_primary_objects(latest, NULLTAG, &count, &list), 0);
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(REL_delete_relation(list[i].relation), 0);
        HEAP_free(list);
        ASSERT_GT(count, 0);
        ASSERT_EQ(OBJ_delete(latest), 0);
    });
}

TEST_P(Undo, GivesTheContentsOfADeletedFileBack) {
    int count = 0;
    rel_entry_s* list = nullptr;
    ASSERT_EQ(REL_list_primary_objects(dataset_, NULLTAG, &count, &list), 0);
    ASSERT_EQ(count, 1);
    const tag_t relation = list[0].relation;
    HEAP_free(list);
    ASSERT_EQ(REL_delete_relation(relation), 0);
    const std::int64_t run = ran([&] { ASSERT_EQ(OBJ_delete(dataset_), 0); });
    EXPECT_EQ(OBJ_load(dataset_), kUnknownObject);
    ASSERT_TRUE(bench().undoRun(run, "").done);
    EXPECT_NE(exported().find("old content"), std::string::npos);
}

TEST_P(Undo, BringsTheCheckOutOfADeletedObjectBack) {
    bench().checkOut(folder_, "mine");
    thereAndBack([&] { ASSERT_EQ(OBJ_delete(folder_), 0); });
    EXPECT_FALSE(bench().checkOutOf(folder_).has_value());
    const RunQuery all;
    ASSERT_TRUE(bench().undoRun(bench().runs(all).front().number, "").done);
    ASSERT_TRUE(bench().checkOutOf(folder_).has_value());
    EXPECT_EQ(bench().checkOutOf(folder_)->comment, "mine");
}

TEST_P(Undo, EndsAndMakesCheckOuts) {
    bench().checkOut(revision_, "before");
    thereAndBack([&] {
        bench().checkOut(item_, "mine");
        bench().checkIn(revision_);
    });
}

TEST_P(Undo, TakesRegisteredIdsOutAndPutsThemBack) {
    ASSERT_EQ(REG_register_item_id("ONE", 0), 0);
    thereAndBack([&] {
        ASSERT_EQ(REG_register_item_id("TWO", 0), 0);
        ASSERT_EQ(REG_unregister_item_id("ONE", 0), 0);
    });
}

TEST_P(Undo, SetsPreferencesAndRightsAsTheyWereInTheirOrder) {
    bench().setPreference("p", {"1"});
    bench().setPreference("gone", {});
    const Right first{"all", "", "all", "", "COPY", false};
    const Right second{"all", "", "all", "", "EXPORT", false};
    bench().addRight(first);
    bench().addRight(second);
    thereAndBack([&] {
        bench().setPreference("p", {"2", "3"});
        bench().setPreference("new", {"x"});
        bench().removePreference("gone");
        bench().removeRight(first);
        bench().addRight({"all", "", "all", "", "IMPORT", false});
    });
}

TEST_P(Undo, TakesAnImportBackButForNewTypes) {
    const std::string before = exported();
    std::istringstream world(R"({"world": 1, "model": {"types": [{"name": "NewForm",
        "parent": "Form", "attributes": []}]}, "items": [{"id": "IMPORTED", "name": "n"}]})");
    begin(RunWay::Whole, "import");
    bench().importWorld(world, "world.json");
    const std::int64_t run = end().head.number;
    const UndoReport report = bench().undoRun(run, "");
    EXPECT_TRUE(report.done);
    EXPECT_EQ(report.not_undone, std::vector<std::string>{"the store keeps the type NewForm"});
    EXPECT_TRUE(bench().find({"IMPORTED", "", "", 0}).empty());
}

TEST_P(Undo, ListsWhatHappenedOutsideTheStoreAsNotUndone) {
    begin(RunWay::Whole);
    bench().set(item_, "object_name", {std::string("x")});
    const std::int64_t run =
        end(true, {RunResult::Done, 0, "", {}, {"file /x was made"}}).head.number;
    EXPECT_EQ(bench().undoRun(run, "").not_undone, std::vector<std::string>{"file /x was made"});
}

TEST_P(Undo, TakesBackARunAsTheServerThatWasNotEnded) {
    const auto second = anotherSession();
    begin(RunWay::AsServer);
    bench().set(item_, "object_name", {std::string("left")});
    std::string text;
    use(first_);
    EXPECT_EQ(statusOf([] { bench().undoRun(1, ""); }, &text), kBadValue);
    EXPECT_NE(text.find("hasn't ended: process "), std::string::npos) << text;
    bench().closeSession(second);
    use(first_);
    EXPECT_EQ(bench().run(1).ended, "");
    EXPECT_FALSE(bench().run(1).running);
    EXPECT_TRUE(bench().undoRun(1, "").done);
    EXPECT_EQ(stored(item_, "object_name"), "old");
}

TEST_P(Undo, IsRefusedIfAValueIsAnotherOneNow) {
    const auto run = ran([&] { bench().set(item_, "object_name", {std::string("new")}); });
    bench().set(item_, "object_name", {std::string("later")});
    isRefused(run, "object_name has the value \"later\" now; the run has set \"new\"");
}

TEST_P(Undo, IsNotHinderedByAnotherAttributeThatWasChangedLater) {
    const auto run = ran([&] { bench().set(item_, "object_name", {std::string("new")}); });
    bench().set(item_, "object_desc", {std::string("later")});
    EXPECT_TRUE(bench().undoRun(run, "").done);
    EXPECT_EQ(stored(item_, "object_name"), "old");
    EXPECT_EQ(stored(item_, "object_desc"), "later");
}

TEST_P(Undo, IsRefusedIfWhatTheRunMadeIsReferredTo) {
    tag_t made = NULLTAG;
    const auto run = ran([&] { made = bench().createFolder("made"); });
    bench().addToFolder(folder_, made);
    isRefused(run, "is referred to by folder (#" + std::to_string(folder_) + ") in contents");
}

TEST_P(Undo, IsRefusedIfWhatTheRunMadeGotAValueSince) {
    tag_t made = NULLTAG;
    const auto run = ran([&] { made = bench().createFolder("made"); });
    bench().set(made, "object_desc", {std::string("since")});
    isRefused(run, "object_desc has the value \"since\" now; the run has set none");
}

TEST_P(Undo, IsRefusedIfAnObjectIsGone) {
    tag_t made = NULLTAG;
    const auto run = ran([&] { made = bench().createFolder("made"); });
    ASSERT_EQ(OBJ_delete(made), 0);
    isRefused(run, "isn't there any more");
}

TEST_P(Undo, IsRefusedIfSomebodyHoldsALock) {
    const auto run = ran([&] { bench().set(item_, "object_name", {std::string("new")}); });
    anotherSession();
    ASSERT_EQ(OBJ_lock(item_), 0);
    use(first_);
    isRefused(run, "is locked by user infodba");
}

TEST_P(Undo, IsRefusedIfSomebodyHasACheckOut) {
    const auto run = ran([&] { bench().set(item_, "object_name", {std::string("new")}); });
    bench().checkOut(item_, "");
    isRefused(run, "is checked out by user infodba");
}

TEST_P(Undo, IsRefusedWithoutTheRightToWrite) {
    const auto run = ran([&] { bench().set(item_, "object_name", {std::string("new")}); });
    bench().addRight({"all", "", "object", std::to_string(item_), "WRITE", false});
    isRefused(run, "may not WRITE");
}

TEST_P(Undo, OfRightsAndPreferencesIsForAdministrators) {
    bench().createGroup("design", "");
    bench().createUser("miller", "Miller", "design");
    const Right right{"all", "", "all", "", "IMPORT", false};
    const auto rights = ran([&] { bench().addRight(right); });
    const auto preference = ran([&] { bench().setPreference("p", {"1"}); });
    const std::string before = exported();
    anotherSession("miller");
    for (const auto run : {rights, preference})
        EXPECT_EQ(statusOf([&] { bench().undoRun(run, "1"); }), kNotAllowed);
    EXPECT_EQ(exported(), before);
}

TEST_P(Undo, IsRefusedIfTheContentsOfAFileAreGone) {
    const tag_t dataset = bench().createDataset("Text", "loose");
    writeFile(directory_.at("loose"), "loose");
    const tag_t file = bench().addFile(dataset, "Text", directory_.at("loose"), "loose.txt");
    const auto run = ran([&] { ASSERT_EQ(OBJ_delete(dataset), 0); });
    if (path_.empty())
        return;  // where the volume of a store in memory lies nobody can know
    ASSERT_TRUE(std::filesystem::remove(path_ + ".volume/" + std::to_string(file)));
    isRefused(run, "\"loose.txt\" is missing in the volume");
}

TEST_P(Undo, IsRefusedIfAPreferenceHasAnotherValue) {
    const auto run = ran([&] { bench().setPreference("p", {"1"}); });
    bench().setPreference("p", {"2"});
    isRefused(run, "the preference p has another value now");
}

TEST_P(Undo, IsRefusedIfARegisteredIdIsTakenOut) {
    const auto run = ran([&] { ASSERT_EQ(REG_register_item_id("ID", 0), 0); });
    ASSERT_EQ(REG_unregister_item_id("ID", 0), 0);
    isRefused(run, "the item id ID isn't registered any more");
}

TEST_P(Undo, TellsEveryConflict) {
    const auto run = ran([&] {
        bench().set(item_, "object_name", {std::string("new")});
        bench().set(folder_, "object_name", {std::string("new")});
    });
    bench().set(item_, "object_name", {std::string("later")});
    bench().set(folder_, "object_name", {std::string("later")});
    EXPECT_EQ(bench().undoRun(run, "").conflicts.size(), 2u);
}
