#include "platform/mv_dir.h"
#include "tests/workbench/support.h"

// What one session deletes or stores while another has it in its cache.

using namespace mervane;
using namespace mervane::test;

class TwoSessions : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        form_ = bench().createForm("", "form");
        folder_ = bench().createFolder("folder");
        item_ = bench().createItem("1", "item", "", "A", nullptr);
        second_ = anotherSession();
        use(first_);
        for (const tag_t tag : {form_, folder_, item_})
            EXPECT_EQ(OBJ_load(tag), 0);
    }
    void deleteElsewhere(tag_t object) {
        use(second_);
        ASSERT_EQ(DBO_delete_instances(1, &object), 0);
        use(first_);
    }
    // Every stored reference leads to an object, except those left by unconditional deletions.
    void expectNothingDangles() {
        EXPECT_FALSE(mentions(bench().check(store_, false), "isn't there"));
    }
    tag_t attribute(const char* name, const char* cls) {
        tag_t handle = NULLTAG;
        EXPECT_EQ(DBO_attr_id_of_attr(name, cls, &handle), 0);
        return handle;
    }
    tag_t relationType() {
        tag_t type = NULLTAG;
        EXPECT_EQ(REL_find_relation_type("VANE_specification", &type), 0);
        return type;
    }
    tag_t form_ = NULLTAG, folder_ = NULLTAG, item_ = NULLTAG;
    Workbench::SessionId second_ = 0;
};
ON_BOTH_STORES(TwoSessions);

TEST_P(TwoSessions, WhatAnotherOneDeletedIsNotLockedAndNoLockIsLeft) {
    deleteElsewhere(form_);
    EXPECT_EQ(OBJ_lock(form_), kUnknownObject);
    EXPECT_EQ(bench().heldLocks(), 0u);
    EXPECT_EQ(OBJ_load(form_), kUnknownObject) << "the session has dropped it";
}

TEST_P(TwoSessions, WhatAnotherOneDeletedIsNotRefreshed) {
    deleteElsewhere(form_);
    EXPECT_EQ(OBJ_refresh(form_, true), kUnknownObject);
    EXPECT_EQ(bench().heldLocks(), 0u);
}

TEST_P(TwoSessions, WhatAnotherOneStoredIsNotLockedAndNoLockIsLeft) {
    use(second_);
    bench().set(form_, "object_name", {std::string("other")});
    use(first_);
    EXPECT_EQ(OBJ_lock(form_), kChangedMeanwhile);
    EXPECT_EQ(bench().heldLocks(), 0u);
    EXPECT_EQ(stored(form_, "object_name"), "form") << "nothing is read anew";
    EXPECT_EQ(OBJ_refresh(form_, true), 0);
    EXPECT_EQ(stored(form_, "object_name"), "other");
}

TEST_P(TwoSessions, WhoHoldsALockIsToldInEachSession) {
    EXPECT_FALSE(bench().lockOf(form_));
    ASSERT_EQ(OBJ_lock(form_), 0);
    ASSERT_TRUE(bench().lockOf(form_));
    EXPECT_EQ(bench().lockOf(form_)->user, "infodba");
    EXPECT_NE(bench().lockOf(form_)->process, 0);
    EXPECT_TRUE(bench().lockOf(form_)->own);
    use(second_);
    ASSERT_TRUE(bench().lockOf(form_));
    EXPECT_FALSE(bench().lockOf(form_)->own);
    use(first_);
    ASSERT_EQ(OBJ_refresh(form_, false), 0);
    EXPECT_FALSE(bench().lockOf(form_));
}

TEST_P(TwoSessions, ALockThatIsHeldIsNoFailureAgain) {
    ASSERT_EQ(OBJ_lock(form_), 0);
    ASSERT_EQ(setName(form_, "mine"), 0);
    ASSERT_EQ(OBJ_save(form_), 0);
    EXPECT_EQ(OBJ_lock(form_), 0);
}

TEST_P(TwoSessions, WhatAnotherOneDeletedIsNotDeletedAgain) {
    deleteElsewhere(form_);
    EXPECT_EQ(OBJ_delete(form_), kUnknownObject);
    deleteElsewhere(folder_);
    EXPECT_EQ(DBO_delete_instances(1, &folder_), kUnknownObject);
}

TEST_P(TwoSessions, OneThatIsGoneKeepsTheRestOfADeletion) {
    deleteElsewhere(form_);
    const tag_t both[] = {folder_, form_};
    EXPECT_EQ(DBO_delete_instances(2, both), kUnknownObject);
    use(second_);
    EXPECT_EQ(OBJ_refresh(folder_, false), 0);
}

TEST_P(TwoSessions, WhatAnotherOneDeletedIsNotAppended) {
    deleteElsewhere(form_);
    ASSERT_EQ(OBJ_lock(folder_), 0);
    EXPECT_EQ(DBO_append_attr_tags(1, &folder_, attribute("contents", "Folder"), 1, &form_),
              kUnknownObject);
    EXPECT_EQ(OBJ_save(folder_), 0);
    expectNothingDangles();
}

TEST_P(TwoSessions, WhatIsDeletedBetweenAppendingAndSavingIsNotStored) {
    ASSERT_EQ(OBJ_lock(folder_), 0);
    ASSERT_EQ(DBO_append_attr_tags(1, &folder_, attribute("contents", "Folder"), 1, &form_), 0);
    deleteElsewhere(form_);
    EXPECT_EQ(OBJ_save(folder_), kUnknownObject);
    EXPECT_NE(bench().errorStack().back().text.find("its contents refers to #" +
                                                    std::to_string(form_) + ", which isn't there"),
              std::string::npos)
        << bench().errorStack().back().text;
    int length = 0;
    ASSERT_EQ(DBO_length_of_attr(folder_, attribute("contents", "Folder"), &length), 0);
    EXPECT_EQ(length, 1) << "the unsaved value stays";
    expectNothingDangles();
}

TEST_P(TwoSessions, ARelationToWhatAnotherOneDeletedIsNotMade) {
    deleteElsewhere(form_);
    tag_t relation = NULLTAG;
    EXPECT_EQ(REL_create_relation(item_, form_, relationType(), NULLTAG, &relation),
              kUnknownObject);
    EXPECT_EQ(REL_create_relation(form_, item_, relationType(), NULLTAG, &relation),
              kUnknownObject);
    EXPECT_EQ(relation, NULLTAG);
}

TEST_P(TwoSessions, ARelationToWhatIsDeletedMeanwhileIsNotStored) {
    tag_t relation = NULLTAG;
    ASSERT_EQ(REL_create_relation(item_, form_, relationType(), NULLTAG, &relation), 0);
    deleteElsewhere(form_);
    EXPECT_EQ(REL_save_relation(relation), kUnknownObject);
    expectNothingDangles();
}

TEST_P(TwoSessions, WhatAnotherOneDeletedDropsOutOfLists) {
    bench().addToFolder(folder_, form_);
    bench().relate(item_, form_, "VANE_specification");
    deleteElsewhere(form_);
    int count = -1;
    EXPECT_EQ(DIR_ask_size(folder_, &count), 0);
    EXPECT_EQ(count, 0);
    tag_t* tags = nullptr;
    EXPECT_EQ(REL_list_secondary_objects_only(item_, relationType(), &count, &tags), 0);
    EXPECT_EQ(count, 0);
    const tag_t both[] = {form_, item_};
    EXPECT_EQ(DBO_load_instances_possible(2, both, &count, &tags), 0);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(tags[0], item_);
    HEAP_free(tags);
}

TEST_P(TwoSessions, WhatAnotherOneDeletedHasNoRelations) {
    deleteElsewhere(form_);
    int count = -1;
    tag_t* tags = nullptr;
    EXPECT_EQ(REL_list_secondary_objects_only(form_, NULLTAG, &count, &tags), kUnknownObject);
    EXPECT_EQ(count, -1);
}

TEST_P(TwoSessions, WhatAnotherOneDeletedIsNotCheckedOut) {
    deleteElsewhere(form_);
    EXPECT_EQ(statusOf([&] { bench().checkOut(form_, ""); }), kUnknownObject);
    EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
}
