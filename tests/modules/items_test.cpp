#include "platform/mv_art.h"
#include "platform/mv_rel.h"
#include "platform/mv_supplement.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Items : public InterfaceTest {
protected:
    std::string buffer(int (*ask)(tag_t, char*), tag_t object) {
        char text_buffer[129] = "kept";
        EXPECT_EQ(ask(object, text_buffer), 0);
        return text_buffer;
    }
    std::vector<tag_t> related(tag_t primary, const char* relation) {
        tag_t type = NULLTAG;
        REL_find_relation_type(relation, &type);
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(REL_list_secondary_objects_only(primary, type, &count, &list), 0);
        return taken(count, list);
    }
    std::vector<tag_t> revisions(tag_t item) {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(ART_list_all_revs(item, &count, &list), 0);
        return taken(count, list);
    }
};

TEST_F(Items, HaveIdsAndNames) {
    const auto made = part("000123");
    EXPECT_EQ(buffer(ART_ask_id, made.item), "000123");
    EXPECT_EQ(buffer(ART_ask_name, made.item), "name of 000123");
    EXPECT_EQ(buffer(ART_ask_rev_id, made.revision), "A");
    tag_t item = NULLTAG;
    EXPECT_EQ(ART_ask_item_of_rev(made.revision, &item), 0);
    EXPECT_EQ(item, made.item);
    EXPECT_EQ(ART_find_item("000123", &item), 0);
    EXPECT_EQ(item, made.item);
    EXPECT_EQ(ART_find_item("none", &item), 0);
    EXPECT_EQ(item, NULLTAG);
}

TEST_F(Items, TakeNoObjectsOfOtherClasses) {
    const auto made = part("000123");
    char kept[129] = "kept";
    tag_t tag = 5;
    int count = 6;
    tag_t* list = nullptr;
    EXPECT_EQ(ART_ask_id(made.revision, kept), kWrongClass);
    EXPECT_EQ(ART_ask_name(made.revision, kept), kWrongClass);
    EXPECT_EQ(ART_ask_rev_id(made.item, kept), kWrongClass);
    EXPECT_EQ(ART_ask_id(kNoSuchTag, kept), kUnknownObject);
    EXPECT_EQ(ART_ask_item_of_rev(made.item, &tag), kWrongClass);
    EXPECT_EQ(ART_ask_latest_rev(made.revision, &tag), kWrongClass);
    EXPECT_EQ(ART_find_revision(made.revision, "A", &tag), kWrongClass);
    EXPECT_EQ(ART_list_all_revs(made.revision, &count, &list), kWrongClass);
    EXPECT_EQ(ART_list_bom_views(made.revision, &count, &list), kWrongClass);
    EXPECT_EQ(ART_rev_list_bom_view_revs(made.item, &count, &list), kWrongClass);
    EXPECT_EQ(ART_set_rev_id(made.item, "B"), kWrongClass);
    EXPECT_STREQ(kept, "kept");
    EXPECT_EQ(tag, 5u);
    EXPECT_EQ(count, 6);
}

TEST_F(Items, ListTheirRevisionsOldestFirst) {
    const auto made = part("1");
    const tag_t b = wb.createRevision(made.item, "B"), a2 = wb.createRevision(made.item, "A2");
    EXPECT_THAT(revisions(made.item), ElementsAre(made.revision, b, a2));
    tag_t found = NULLTAG;
    EXPECT_EQ(ART_ask_latest_rev(made.item, &found), 0);
    EXPECT_EQ(found, a2);
    EXPECT_EQ(ART_find_revision(made.item, "B", &found), 0);
    EXPECT_EQ(found, b);
    EXPECT_EQ(ART_find_revision(made.item, "b", &found), 0);
    EXPECT_EQ(found, NULLTAG);
}

TEST_F(Items, AreMadeWithRevisionAndFormsAndStoredTogether) {
    tag_t item = NULLTAG, revision = NULLTAG;
    ASSERT_EQ(ART_create_item("X-1", "a name", "Item", "01", &item, &revision), 0) << lastError();
    const auto forms = related(item, "VANE_master_form");
    const auto revision_forms = related(revision, "VANE_master_form");
    ASSERT_EQ(forms.size(), 1u);
    ASSERT_EQ(revision_forms.size(), 1u);
    EXPECT_EQ(text(forms[0], "object_type"), "Item Master");
    EXPECT_EQ(text(revision_forms[0], "object_type"), "ItemRevision Master");
    const auto reader = wb.openSession(store, {});
    EXPECT_NE(OBJ_load(item), 0);
    wb.selectSession(session);
    ASSERT_EQ(OBJ_save(item), 0) << lastError();
    wb.selectSession(reader);
    EXPECT_EQ(buffer(ART_ask_id, item), "X-1");
    EXPECT_EQ(buffer(ART_ask_name, item), "a name");
    EXPECT_EQ(buffer(ART_ask_rev_id, revision), "01");
    EXPECT_THAT(related(item, "VANE_master_form"), forms);
    EXPECT_THAT(related(revision, "VANE_master_form"), revision_forms);
    EXPECT_THAT(revisions(item), ElementsAre(revision));
}

TEST_F(Items, GetIdsFromTheStoreWhenNoneIsGiven) {
    part("000001");
    tag_t item = NULLTAG, revision = NULLTAG, item2 = NULLTAG, revision2 = NULLTAG;
    ASSERT_EQ(ART_create_item(nullptr, nullptr, "ORLAJob", nullptr, &item, &revision), 0)
        << lastError();
    ASSERT_EQ(ART_create_item("", "", "Item", "", &item2, &revision2), 0) << lastError();
    EXPECT_EQ(buffer(ART_ask_id, item), "000002");
    EXPECT_EQ(buffer(ART_ask_name, item), "000002");
    EXPECT_EQ(buffer(ART_ask_rev_id, revision), "A");
    EXPECT_EQ(buffer(ART_ask_id, item2), "000003");
}

TEST_F(Items, OfTheJobClassHaveTheirOwnForm) {
    tag_t item = NULLTAG, revision = NULLTAG;
    ASSERT_EQ(ART_create_item(nullptr, nullptr, "ORLAJob", nullptr, &item, &revision), 0);
    ASSERT_EQ(OBJ_save(item), 0);
    EXPECT_EQ(text(item, "object_type"), "ORLAJob");
    EXPECT_EQ(text(revision, "object_type"), "ORLAJobRevision");
    const auto forms = related(item, "VANE_master_form");
    ASSERT_EQ(forms.size(), 1u);
    EXPECT_EQ(OBJ_refresh(forms[0], true), 0);
    EXPECT_EQ(OBJ_set_value_string(forms[0], "orla_m_job_s_01", "queue"), 0);
    EXPECT_EQ(OBJ_set_value_logical(forms[0], "orla_m_job_l_01", true), 0);
    EXPECT_EQ(OBJ_set_value_int(forms[0], "orla_m_job_i_01", 1), 0);
    EXPECT_EQ(OBJ_save(forms[0]), 0);
    EXPECT_EQ(OBJ_refresh(item, true), 0);
    EXPECT_EQ(OBJ_delete(item), 0) << lastError();
    EXPECT_EQ(OBJ_load(forms[0]), kUnknownObject);
}

TEST_F(Items, AreNotMadeWithATakenIdOrAWrongClass) {
    part("000001");
    tag_t item = 5, revision = 6;
    EXPECT_EQ(ART_create_item("000001", "x", "Item", "A", &item, &revision), kDuplicateId);
    EXPECT_EQ(ART_create_item("2", "x", "Folder", "A", &item, &revision), kWrongClass);
    EXPECT_EQ(ART_create_item("2", "x", "NoSuchClass", "A", &item, &revision), kUnknownClass);
    const std::string too_long(129, 'x');
    EXPECT_EQ(ART_create_item(too_long.c_str(), "x", "Item", "A", &item, &revision), kTooLong);
    EXPECT_EQ(ART_create_item("2", too_long.c_str(), "Item", "A", &item, &revision), kTooLong);
    EXPECT_EQ(ART_create_item("2", "x", "Item", too_long.c_str(), &item, &revision), kTooLong);
    EXPECT_EQ(item, 5u);
    EXPECT_EQ(revision, 6u);
    tag_t found = NULLTAG;
    EXPECT_EQ(ART_find_item("2", &found), 0);
    EXPECT_EQ(found, NULLTAG);
}

TEST_F(Items, TakeTheLongestIdThatFits) {
    const std::string id(128, 'i');
    tag_t item = NULLTAG, revision = NULLTAG;
    ASSERT_EQ(ART_create_item(id.c_str(), nullptr, "Item", id.c_str(), &item, &revision), 0)
        << lastError();
    ASSERT_EQ(OBJ_save(item), 0);
    EXPECT_EQ(buffer(ART_ask_id, item), id);
    EXPECT_EQ(buffer(ART_ask_rev_id, revision), id);
}

TEST_F(Items, RenameARevisionUnderItsLock) {
    const auto made = part("1");
    wb.createRevision(made.item, "B");
    EXPECT_EQ(ART_set_rev_id(made.revision, "C"), kNotLocked);
    OBJ_lock(made.revision);
    EXPECT_EQ(ART_set_rev_id(made.revision, "B"), kDuplicateId);
    EXPECT_EQ(ART_set_rev_id(made.revision, std::string(129, 'x').c_str()), kTooLong);
    EXPECT_EQ(ART_set_rev_id(made.revision, ""), kBadValue);
    EXPECT_EQ(ART_set_rev_id(made.revision, "A"), 0);
    EXPECT_EQ(ART_set_rev_id(made.revision, "C"), 0);
    EXPECT_EQ(OBJ_save(made.revision), 0);
    EXPECT_EQ(buffer(ART_ask_rev_id, made.revision), "C");
}

TEST_F(Items, ListTheirStructures) {
    const auto parent = part("1"), child = part("2");
    int count = 5;
    tag_t dummy = NULLTAG;
    tag_t* list = &dummy;
    EXPECT_EQ(ART_rev_list_bom_view_revs(parent.revision, &count, &list), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
    wb.addOccurrence(parent.revision, child.revision, "1", "10");
    EXPECT_EQ(ART_rev_list_bom_view_revs(parent.revision, &count, &list), 0);
    EXPECT_THAT(taken(count, list), ElementsAre(wb.bomViewRevision(parent.revision)));
    EXPECT_EQ(ART_list_bom_views(parent.item, &count, &list), 0);
    EXPECT_EQ(taken(count, list).size(), 1u);
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Items, ARevisionIsNotStoredWithAnEmptyId) {
    const auto made = part("1");
    ASSERT_EQ(OBJ_refresh(made.revision, true), 0);
    ASSERT_EQ(OBJ_set_value_string(made.revision, "item_revision_id", ""), 0);
    EXPECT_EQ(OBJ_save(made.revision), kBadValue);
    ASSERT_EQ(OBJ_refresh(made.revision, true), 0);
    EXPECT_EQ(buffer(ART_ask_rev_id, made.revision), "A");
}

}  // namespace mervane::test
