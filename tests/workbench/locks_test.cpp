#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Locks : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        bench().createUser("miller", "Miller", "dba");
        second_ = anotherSession("miller");
        use(first_);
    }
    tag_t item_ = NULLTAG;
    Workbench::SessionId second_ = 0;
};
ON_BOTH_STORES(Locks);

TEST_P(Locks, TakingALockTwiceIsUndoneByOneRelease) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(OBJ_lock(item_), 0);
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    EXPECT_EQ(bench().heldLocks(), 1u);
    EXPECT_TRUE(bench().holdsLock(item_));
    ASSERT_EQ(OBJ_refresh(item_, false), 0);
    EXPECT_EQ(bench().heldLocks(), 0u);
    use(second_);
    EXPECT_EQ(OBJ_refresh(item_, true), 0);
}

TEST_P(Locks, AConflictIsAStatusWhoseTextNamesTheOwner) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    use(second_);
    EXPECT_EQ(OBJ_refresh(item_, true), kLockedByOther);
    EXPECT_EQ(OBJ_lock(item_), kLockedByOther);
    ASSERT_FALSE(bench().errorStack().empty());
    const std::string text = bench().errorStack().back().text;
    EXPECT_NE(text.find("infodba"), std::string::npos) << text;
    EXPECT_NE(text.find(std::to_string(getpid())), std::string::npos) << text;
    EXPECT_EQ(bench().heldLocks(), 0u);
    use(first_);
    EXPECT_EQ(setName(item_, "new"), 0) << "the owner isn't disturbed";
    EXPECT_EQ(OBJ_save(item_), 0);
}

TEST_P(Locks, ASaveKeepsTheLock) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "new"), 0);
    ASSERT_EQ(OBJ_save(item_), 0);
    EXPECT_TRUE(bench().holdsLock(item_));
}

TEST_P(Locks, UnloadGivesTheLockUpAndDropsValues) {
    ASSERT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(setName(item_, "new"), 0);
    ASSERT_EQ(OBJ_unload(item_), 0);
    EXPECT_EQ(bench().heldLocks(), 0u);
    EXPECT_EQ(stored(item_, "object_name"), "old");
    use(second_);
    EXPECT_EQ(OBJ_lock(item_), 0);
}

TEST_P(Locks, ClosingASessionGivesItsLocksUp) {
    use(second_);
    ASSERT_EQ(OBJ_lock(item_), 0);
    bench().closeSession(second_);
    use(first_);
    EXPECT_EQ(OBJ_lock(item_), 0);
}

TEST_P(Locks, ALockTakesNoNoticeOfOtherObjects) {
    const tag_t other = bench().createItem("2", "", "", "A", nullptr);
    ASSERT_EQ(OBJ_lock(item_), 0);
    use(second_);
    EXPECT_EQ(OBJ_lock(other), 0);
}

TEST_P(Locks, ALockedObjectIsNotModifiableForOthersAndNotDeletedByThem) {
    ASSERT_EQ(OBJ_lock(item_), 0);
    logical modifiable = false;
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &modifiable), 0);
    EXPECT_TRUE(modifiable);
    use(second_);
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &modifiable), 0);
    EXPECT_FALSE(modifiable);
    EXPECT_EQ(OBJ_delete(item_), kLockedByOther);
    EXPECT_EQ(DBO_delete_instances(1, &item_), kLockedByOther);
    EXPECT_EQ(statusOf([&] { bench().set(item_, "object_name", {std::string("x")}); }),
              kLockedByOther);
    EXPECT_EQ(bench().resolve("1"), item_);
}

TEST_P(Locks, RefreshingWhatWasDeletedMeanwhileFailsAndLeavesNoLock) {
    ASSERT_EQ(OBJ_load(item_), 0);
    use(second_);
    ASSERT_EQ(OBJ_delete(item_), 0);
    use(first_);
    EXPECT_EQ(OBJ_refresh(item_, true), kUnknownObject);
    EXPECT_EQ(bench().heldLocks(), 0u);
    EXPECT_EQ(OBJ_load(item_), kUnknownObject);
}

TEST_P(Locks, ANewObjectIsWrittenAndSavedWithoutALockAndRefreshKeepsItsValues) {
    tag_t item = NULLTAG, revision = NULLTAG;
    ASSERT_EQ(ART_create_item("77", "fresh", "Item", "A", &item, &revision), 0);
    ASSERT_EQ(setName(item, "written"), 0);
    ASSERT_EQ(OBJ_refresh(item, true), 0);
    EXPECT_TRUE(bench().holdsLock(item));
    EXPECT_EQ(stored(item, "object_name"), "written");
    ASSERT_EQ(OBJ_refresh(item, false), 0);
    EXPECT_EQ(stored(item, "object_name"), "written");
    EXPECT_EQ(bench().heldLocks(), 0u);
    use(second_);
    EXPECT_EQ(OBJ_load(item), kUnknownObject) << "not saved yet";
    use(first_);
    ASSERT_EQ(OBJ_save(item), 0);
    use(second_);
    EXPECT_EQ(OBJ_load(item), 0);
    EXPECT_EQ(OBJ_load(revision), 0) << "the first revision is stored with the item";
    use(first_);
    EXPECT_EQ(setName(item, "again"), kNotLocked) << "from now on it is a stored object";
}

TEST_P(Locks, AClosedSessionLeavesNothingOfWhatItNeverSaved) {
    use(second_);
    tag_t item = NULLTAG, revision = NULLTAG;
    ASSERT_EQ(ART_create_item("77", "fresh", "Item", "A", &item, &revision), 0);
    bench().closeSession(second_);
    use(first_);
    EXPECT_EQ(OBJ_load(item), kUnknownObject);
    EXPECT_TRUE(bench().find({"77", "", "", 0}).empty());
}
