// A stretch of saves as one transaction, seen from inside the workbench.

#include <sqlite3.h>

#include <fstream>

#include "tests/workbench/store_inside.h"
#include "tests/workbench/support.h"
#include "workbench/session/items.h"
#include "workbench/session/session.h"

using namespace mervane;
using namespace mervane::test;

class Batch : public OnBothStores {
protected:
    Session& session() { return mervane::currentSession(); }
    Object& folder(const std::string& name) {
        Object& made = session().create(*session().model().findType("Folder"));
        session().put(made, "object_name", {name});
        session().save(made);
        return made;
    }
    std::size_t folders() { return bench().find({"", "Folder", "", 0}).size(); }
};
ON_BOTH_STORES(Batch);

TEST_P(Batch, IsSeenByOthersWhenItIsCommittedAndNotBefore) {
    // The sessions of a store in memory share one connection, so only writing is kept apart there.
    const bool memory = std::string(GetParam()) == "memory";
    const auto second = anotherSession();
    use(first_);
    session().beginBatch();
    const tag_t tag = folder("f").tag;
    use(second);
    if (!memory) {
        EXPECT_EQ(OBJ_load(tag), kUnknownObject);
    }
    use(first_);
    session().commitBatch();
    use(second);
    EXPECT_EQ(OBJ_load(tag), 0);
}

TEST_P(Batch, ARollbackLeavesTheStoreTheModelAndTheVolumeAsTheyWere) {
    const tag_t kept = folder("kept").tag;
    session().beginBatch();
    folder("gone");
    bench().defineType("GoneForm", "Form", {{"colour", Kind::String, false, 20}});
    bench().createForm("GoneForm", "gone");
    bench().set(kept, "object_name", {std::string("changed")});
    bench().setPreference("gone", {"1"});
    Object& file = session().create(*session().model().findType("VaneFile"));
    session().store().volume().placeBytes(file.tag, "gone");
    session().save(file);
    session().rollbackBatch();
    EXPECT_EQ(stored(kept, "object_name"), "kept");
    EXPECT_EQ(folders(), 1u);
    EXPECT_TRUE(bench().preferences().empty());
    EXPECT_EQ(session().model().findType("GoneForm"), nullptr);
    EXPECT_TRUE(bench().check(store_, false).empty());
    bench().defineType("GoneForm", "Form", {{"other", Kind::Int, false, 0}});
    bench().createForm("GoneForm", "new");
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_P(Batch, AFileDeletedInABatchStaysUntilItIsCommitted) {
    Object& file = session().create(*session().model().findType("VaneFile"));
    const tag_t tag = file.tag;
    session().store().volume().placeBytes(tag, "contents");
    session().save(file);
    session().beginBatch();
    session().erase(std::vector<tag_t>{tag});
    EXPECT_TRUE(session().store().volume().exists(tag));
    session().rollbackBatch();
    EXPECT_EQ(OBJ_load(tag), 0);
    EXPECT_TRUE(bench().check(store_, false).empty());
    session().beginBatch();
    session().erase(std::vector<tag_t>{tag});
    session().commitBatch();
    EXPECT_FALSE(session().store().volume().exists(tag));
}

// From then on another session may get its tag for a file of its own.
TEST_P(Batch, AFileOfABatchIsGoneBeforeItsTagIsFreeAgain) {
    struct Seen {
        std::string path;
        bool undone = false, there = false;
    } seen;
    session().beginBatch();
    Object& file = session().create(*session().model().findType("VaneFile"));
    session().store().volume().placeBytes(file.tag, "contents");
    session().save(file);
    seen.path = dynamic_cast<DirectoryVolume&>(session().store().volume()).pathOf(file.tag);
    ASSERT_TRUE(std::filesystem::exists(seen.path));
    sqlite3* database = StoreInside::connection(session().store()).raw();
    sqlite3_rollback_hook(
        database,
        [](void* context) {
            auto& at = *static_cast<Seen*>(context);
            at.undone = true;
            at.there = std::filesystem::exists(at.path);
        },
        &seen);
    session().rollbackBatch();
    sqlite3_rollback_hook(database, nullptr, nullptr);
    EXPECT_TRUE(seen.undone);
    EXPECT_FALSE(seen.there);
}

TEST(VolumeOfAStore, ARepairLeavesWhatACopyStillNeeds) {
    const Directory directory;
    bench().createStore(directory.at("plant"));
    const auto store = bench().openStore(directory.at("plant"));
    bench().openSession(store, {});
    const std::string volume = (directory.at("plant")) + ".volume/";
    for (const char* name : {"5.removed", "2000000000"})
        std::ofstream(volume + name) << "contents";
    {
        const auto copying = mervane::currentSession().store().volume().hold();
        EXPECT_TRUE(mentions(bench().check(store, true), "; kept for a copy"));
        EXPECT_TRUE(std::filesystem::exists(volume + "5.removed"));
        EXPECT_TRUE(std::filesystem::exists(volume + "2000000000"));
    }
    bench().check(store, true);
    EXPECT_TRUE(bench().check(store, false).empty());
    bench().closeStore(store);
}

TEST_P(Batch, AnInnerBatchIsAPartOfTheOuterOne) {
    session().beginBatch();
    folder("outer");
    session().beginBatch();
    folder("inner");
    session().commitBatch();
    session().rollbackBatch();
    EXPECT_EQ(folders(), 0u);
}

TEST_P(Batch, AnInnerRollbackUndoesWhatTheInnerOneDidAlone) {
    session().beginBatch();
    folder("before");
    session().beginBatch();
    folder("inner");
    bench().defineType("InnerForm", "Form", {});
    session().rollbackBatch();
    EXPECT_EQ(session().model().findType("InnerForm"), nullptr);
    folder("after");
    session().commitBatch();
    EXPECT_EQ(folders(), 2u);
    EXPECT_EQ(statusOf([&] { session().commitBatch(); }), kStoreFailure);
}

// Denies the next time that a batch inside of another one is to end.
int denyEnd(void* left, int action, const char* what, const char* name, const char*, const char*) {
    int& times = *static_cast<int*>(left);
    return action == SQLITE_SAVEPOINT && what == std::string_view("RELEASE") &&
                   name == std::string_view("part") && times-- > 0
               ? SQLITE_DENY
               : SQLITE_OK;
}

TEST_P(Batch, WhatFailsToEndInsideGoesBackAloneWhoeverHasBegunIt) {
    session().beginBatch();
    folder("outer");
    int left = 1;
    sqlite3* database = StoreInside::connection(session().store()).raw();
    sqlite3_set_authorizer(database, denyEnd, &left);
    // A change without a transaction of its own: the batch's end is the first one.
    const int status =
        statusOf([&] { bench().asOne([&] { session().store().removePreference("p"); }); });
    sqlite3_set_authorizer(database, nullptr, nullptr);
    EXPECT_LE(left, 0);
    EXPECT_EQ(status, kStoreFailure);
    folder("after");
    session().commitBatch();
    EXPECT_EQ(folders(), 2u);
}

// What went back with the inner one isn't taken for what is stored.
TEST_P(Batch, AfterAnInnerRollbackALockedObjectIsSavedAgain) {
    const tag_t tag = folder("f").tag;
    ASSERT_EQ(OBJ_lock(tag), 0);
    const auto version = session().store().versionOf(tag);
    session().beginBatch();
    folder("outer");
    session().beginBatch();
    ASSERT_EQ(setName(tag, "inner"), 0);
    ASSERT_EQ(OBJ_save(tag), 0);
    // A search over all texts needs what was saved.
    EXPECT_EQ(bench().find({"inn*", "Folder", "", 0}).size(), 1u);
    session().rollbackBatch();
    session().commitBatch();
    EXPECT_EQ(session().store().versionOf(tag), version);
    EXPECT_EQ(stored(tag, "object_name"), "f");
    ASSERT_EQ(setName(tag, "after"), 0);
    EXPECT_EQ(OBJ_save(tag), 0);
    session().forgetAll();
    EXPECT_EQ(stored(tag, "object_name"), "after");
}

// An index of a server takes no long rows.
TEST_P(Batch, ATextOfAnyLengthIsFoundAndTheCheckIsClean) {
    bench().defineType("LongForm", "Form", {{"essay", Kind::String, false, 0}});
    const std::string begin(3000, 'a'), other = begin + "b";
    const tag_t one = bench().createForm("LongForm", "one"),
                two = bench().createForm("LongForm", "two");
    bench().set(one, "essay", {begin});
    bench().set(two, "essay", {other});
    const Attribute& essay = session().attribute(session().object(one), "essay");
    const auto tagsOf = [](const std::vector<Store::Hit>& hits) {
        std::vector<tag_t> tags;
        for (const Store::Hit& hit : hits)
            tags.push_back(hit.tag);
        return tags;
    };
    const auto matching = [&](const std::string& pattern) {
        return tagsOf(session().store().withPattern(essay.handle, pattern));
    };
    EXPECT_EQ(tagsOf(session().store().withText(essay.handle, other)), std::vector<tag_t>{two});
    EXPECT_EQ(matching("aa*b"), std::vector<tag_t>{two});
    EXPECT_EQ(matching("a*"), (std::vector<tag_t>{one, two}));
    EXPECT_EQ(matching("*" + begin), std::vector<tag_t>{one});
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_P(Batch, ASaveThatFailsInsideLeavesNoPartOfItself) {
    Object& one = folder("one");
    Object& two = folder("two");
    const tag_t one_tag = one.tag, two_tag = two.tag;
    session().beginBatch();
    session().put(one, "object_name", {std::string("1")});
    session().put(two, "object_name", {std::string("2")});
    // As if somebody had stored it meanwhile.
    two.version += 5;
    Object* const both[] = {&one, &two};
    EXPECT_EQ(statusOf([&] { session().save(both); }), kChangedMeanwhile);
    session().commitBatch();
    session().forgetAll();
    EXPECT_EQ(stored(one_tag, "object_name"), "one");
    EXPECT_EQ(stored(two_tag, "object_name"), "two");
}

TEST_P(Batch, LocksOutliveARollback) {
    const tag_t tag = folder("f").tag;
    ASSERT_EQ(OBJ_lock(tag), 0);
    session().beginBatch();
    session().rollbackBatch();
    EXPECT_TRUE(bench().holdsLock(tag));
    EXPECT_EQ(setName(tag, "still mine"), 0);
    EXPECT_EQ(OBJ_save(tag), 0);
}

TEST(BatchInMemory, OtherSessionsCantWriteMeanwhile) {
    const auto store = bench().openStore(":memory:");
    const auto first = bench().openSession(store, {});
    const auto second = bench().openSession(store, {});
    bench().selectSession(first);
    mervane::currentSession().beginBatch();
    bench().selectSession(second);
    EXPECT_EQ(statusOf([] { bench().createFolder("f"); }), kStoreFailure);
    bench().selectSession(first);
    mervane::currentSession().rollbackBatch();
    bench().selectSession(second);
    EXPECT_EQ(statusOf([] { bench().createFolder("f"); }), 0);
    bench().closeStore(store);
}

TEST_P(Batch, AReferenceToWhatTheBatchHasDeletedIsRefused) {
    Object& target = folder("target");
    const tag_t tag = target.tag;
    session().beginBatch();
    Object& first = folder("first");
    session().lock(first);
    session().put(first, "contents", {Reference{tag}});
    session().save(first);
    session().put(first, "contents", {});
    session().save(first);
    session().remove(session().object(tag));
    session().put(first, "contents", {Reference{tag}});
    EXPECT_EQ(statusOf([&] { session().save(session().object(first.tag)); }), kUnknownObject);
    session().rollbackBatch();
    Object& second = folder("second");
    session().lock(second);
    session().put(second, "contents", {Reference{tag}});
    session().save(second);
}

TEST_P(Batch, AReferenceToWhatWentBackWithAnInnerBatchIsRefused) {
    session().beginBatch();
    session().beginBatch();
    folder("its tag is given again");
    const tag_t gone = folder("gone").tag;
    Object& first = folder("first");
    session().lock(first);
    session().put(first, "contents", {Reference{gone}});
    session().save(first);
    session().rollbackBatch();
    Object& second = folder("second");
    session().lock(second);
    session().put(second, "contents", {Reference{gone}});
    EXPECT_EQ(statusOf([&] { session().save(second); }), kUnknownObject);
    session().rollbackBatch();
}

TEST_P(Batch, TwoRevisionsOfOneIdAreNotStoredWithTheirNewItem) {
    Object* first = nullptr;
    Object& item = newItem(session(), *session().model().findType("Item"), "77", "", "A", &first);
    Object& second = newRevision(session(), item, "B");
    session().put(second, "item_revision_id", {std::string("A")});
    Object* const both[] = {&item, &second};
    EXPECT_EQ(statusOf([&] { session().save(both); }), kDuplicateId);
    session().put(second, "item_revision_id", {std::string("C")});
    session().save(both);
    session().lock(second);
    session().put(second, "item_revision_id", {std::string("A")});
    EXPECT_EQ(statusOf([&] { session().save(second); }), kDuplicateId) << "of a stored item, too";
}

TEST_P(Batch, ARevisionIsNotGivenToAnItemThatHasItsId) {
    const tag_t from = bench().createItem("78", "", "", "A", nullptr);
    const tag_t to = bench().createItem("79", "", "", "A", nullptr);
    const tag_t moved = bench().resolve("78/A");
    ASSERT_NE(from, NULLTAG);
    session().lock(session().object(moved));
    session().put(session().object(moved), "items_tag", {Reference{to}});
    EXPECT_EQ(statusOf([&] { session().save(session().object(moved)); }), kDuplicateId);
}

TEST(Statements, AnObjectIsReadWithOneAndSavedWithFiveStatements) {
    const auto store = keld_test::openFreshStore();
    bench().openSession(store, {});
    const tag_t item = bench().createItem("1", "old", "", "A", nullptr);
    const tag_t other = bench().createItem("2", "other", "", "A", nullptr);
    bench().openSession(store, {});
    EXPECT_EQ(OBJ_refresh(other, true), 0);  // from here on the rights are known
    const auto count = [](auto&& body) {
        const auto before = bench().statementsRun();
        body();
        return bench().statementsRun() - before;
    };
    EXPECT_EQ(count([&] { OBJ_load(item); }), 1u);
    EXPECT_EQ(count([&] { OBJ_load(item); }), 0u);
    // Three questions: have the rights changed, is it checked out, and has its version changed.
    EXPECT_EQ(count([&] { OBJ_refresh(item, true); }), 3u);
    EXPECT_EQ(count([&] { setName(item, "new"); }), 0u);
    // Begin, read the object, write one text, write the object, commit.
    EXPECT_LE(count([&] { OBJ_save(item); }), 5u);
    EXPECT_EQ(count([&] { OBJ_save(item); }), 0u);
    EXPECT_EQ(count([&] { OBJ_refresh(item, false); }), 1u);
    bench().closeStore(store);
}

// A long run takes no more memory than some thousand objects do.
TEST(Cache, ForgetsWhatWasOnlyReadAndKeepsWhatIsLockedOrUnsaved) {
    const auto store = keld_test::openFreshStore();
    bench().openSession(store, {});
    const tag_t unsaved = bench().createFolder("old"), locked = bench().createFolder("locked"),
                read = bench().createFolder("read");
    std::ostringstream world;
    world << R"({"world": 1, "folders": [)";
    constexpr int kMany = 25000;
    for (int i = 0; i < kMany; ++i)
        world << (i ? "," : "") << R"({"name": "f"})";
    world << "]}";
    std::istringstream document(world.str());
    bench().importWorld(document, "w.json");
    bench().openSession(store, {});
    ASSERT_EQ(OBJ_lock(unsaved), 0);
    ASSERT_EQ(setName(unsaved, "new"), 0);
    ASSERT_EQ(OBJ_lock(locked), 0);
    ASSERT_EQ(OBJ_load(read), 0);
    const auto statements = [](tag_t tag) {
        const auto before = bench().statementsRun();
        EXPECT_EQ(OBJ_load(tag), 0);
        return bench().statementsRun() - before;
    };
    EXPECT_EQ(statements(read), 0u);
    const auto all = bench().find({"f", "Folder", "", 0});
    EXPECT_EQ(all.size(), static_cast<std::size_t>(kMany));
    for (const Found& each : all)
        ASSERT_EQ(OBJ_load(each.tag), 0);
    EXPECT_EQ(statements(read), 1u);
    EXPECT_EQ(statements(unsaved), 0u);
    EXPECT_EQ(statements(locked), 0u);
    EXPECT_TRUE(bench().holdsLock(locked));
    EXPECT_EQ(stored(unsaved, "object_name"), "new");
    EXPECT_EQ(OBJ_save(unsaved), 0);
    bench().closeStore(store);
}
