// Ids of items and revisions are unique, whichever way they are set.

#include "platform/mv_art.h"
#include "platform/mv_dbo.h"
#include "platform/mv_supplement.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class UniqueIds : public InterfaceTest {
protected:
    // As the rename does it: below the properties, under the lock.
    int setItemId(tag_t item, const char* id) {
        tag_t attribute = NULLTAG;
        EXPECT_EQ(DBO_attr_id_of_attr("item_id", "Item", &attribute), 0);
        EXPECT_EQ(OBJ_refresh(item, true), 0);
        EXPECT_EQ(DBO_set_attr_string(1, &item, attribute, id), 0) << lastError();
        return OBJ_save(item);
    }
    tag_t found(const char* id) {
        tag_t item = NULLTAG;
        EXPECT_EQ(ART_find_item(id, &item), 0);
        return item;
    }
};

TEST_F(UniqueIds, AnItemDoesNotTakeTheIdOfAnother) {
    const auto one = part("1"), two = part("2");
    EXPECT_EQ(setItemId(one.item, "2"), kDuplicateId);
    EXPECT_THAT(lastError(), HasSubstr("there is an item 2 already"));
    EXPECT_EQ(OBJ_refresh(one.item, false), 0);
    EXPECT_EQ(text(one.item, "item_id"), "1");
    EXPECT_EQ(found("2"), two.item);
}

TEST_F(UniqueIds, AnItemTakesAnIdThatIsFree) {
    const auto one = part("1");
    EXPECT_EQ(setItemId(one.item, "3"), 0) << lastError();
    EXPECT_EQ(found("1"), NULLTAG);
    EXPECT_EQ(found("3"), one.item);
    EXPECT_EQ(setItemId(one.item, "3"), 0) << "its own id again";
    part("1");
}

TEST_F(UniqueIds, AnotherSessionsItemIsSeenAtTheSave) {
    const auto one = part("1");
    tag_t attribute = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("item_id", "Item", &attribute), 0);
    ASSERT_EQ(OBJ_refresh(one.item, true), 0);
    ASSERT_EQ(DBO_set_attr_string(1, &one.item, attribute, "2"), 0);
    const auto second = wb.openSession(store, {});
    part("2");
    wb.selectSession(session);
    EXPECT_EQ(OBJ_save(one.item), kDuplicateId);
    wb.closeSession(second);
}

TEST_F(UniqueIds, TwoItemsCanExchangeTheirIdsInOneSave) {
    const auto one = part("1"), two = part("2");
    tag_t attribute = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("item_id", "Item", &attribute), 0);
    const tag_t both[] = {one.item, two.item};
    ASSERT_EQ(DBO_refresh_instances_any_class(2, both, DBO_modify_lock), 0);
    ASSERT_EQ(DBO_set_attr_string(1, &both[0], attribute, "2"), 0);
    ASSERT_EQ(DBO_set_attr_string(1, &both[1], attribute, "1"), 0);
    EXPECT_EQ(DBO_save_instances(2, both, false), 0) << lastError();
    EXPECT_EQ(found("1"), two.item);
}

TEST_F(UniqueIds, ARevisionDoesNotTakeTheIdOfAnotherOfItsItem) {
    const auto made = part("1");
    const tag_t second = wb.createRevision(made.item, "B");
    ASSERT_EQ(OBJ_refresh(second, true), 0);
    EXPECT_EQ(ART_set_rev_id(second, "A"), kDuplicateId);
    ASSERT_EQ(OBJ_set_value_string(second, "item_revision_id", "A"), 0) << lastError();
    EXPECT_EQ(OBJ_save(second), kDuplicateId);
    EXPECT_THAT(lastError(), HasSubstr("has a revision \"A\" already"));
    EXPECT_EQ(OBJ_refresh(second, false), 0);
    EXPECT_EQ(text(second, "item_revision_id"), "B");
}

TEST_F(UniqueIds, RevisionsOfDifferentItemsMayShareAnId) {
    const auto one = part("1"), two = part("2");
    ASSERT_EQ(OBJ_refresh(one.revision, true), 0);
    EXPECT_EQ(ART_set_rev_id(one.revision, "B"), 0);
    EXPECT_EQ(OBJ_save(one.revision), 0) << lastError();
    ASSERT_EQ(OBJ_refresh(two.revision, true), 0);
    EXPECT_EQ(ART_set_rev_id(two.revision, "B"), 0);
    EXPECT_EQ(OBJ_save(two.revision), 0) << lastError();
}

TEST_F(UniqueIds, AnotherSessionsRevisionIsSeenAtTheSave) {
    const auto made = part("1");
    ASSERT_EQ(OBJ_refresh(made.revision, true), 0);
    ASSERT_EQ(ART_set_rev_id(made.revision, "C"), 0);
    const auto second = wb.openSession(store, {});
    wb.createRevision(made.item, "C");
    wb.selectSession(session);
    EXPECT_EQ(OBJ_save(made.revision), kDuplicateId);
    wb.closeSession(second);
}

}  // namespace mervane::test
