#include "tests/workbench/support.h"

// A reference is stored when what it leads to is stored, or is stored with it.

using namespace mervane;
using namespace mervane::test;

class SavedFirst : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        EXPECT_EQ(ART_create_item("1", "item", "Item", "A", &item_, &revision_), 0);
        EXPECT_EQ(REL_find_relation_type("VANE_specification", &type_), 0);
    }
    tag_t item_ = NULLTAG, revision_ = NULLTAG, type_ = NULLTAG;
};
ON_BOTH_STORES(SavedFirst);

TEST_P(SavedFirst, ARevisionIsNotStoredBeforeItsItem) {
    EXPECT_EQ(OBJ_save(revision_), kUnknownObject);
    EXPECT_NE(bench().errorStack().back().text.find("(Item), which isn't saved yet"),
              std::string::npos)
        << bench().errorStack().back().text;
    EXPECT_EQ(OBJ_save(item_), 0) << "which stores both";
    EXPECT_EQ(OBJ_save(revision_), 0);
    EXPECT_FALSE(mentions(bench().check(store_, false), "isn't there"));
}

TEST_P(SavedFirst, ARevisionDoesNotOutliveAnItemThatWasNeverSaved) {
    ASSERT_EQ(OBJ_unload(item_), 0);
    EXPECT_EQ(OBJ_load(revision_), kUnknownObject);
    EXPECT_EQ(OBJ_save(revision_), kUnknownObject);
    tag_t again = NULLTAG, revision = NULLTAG;
    EXPECT_EQ(ART_create_item("1", "item", "Item", "A", &again, &revision), 0) << "the id is free";
}

TEST_P(SavedFirst, AStoredItemIsUnloadedAlone) {
    ASSERT_EQ(OBJ_save(item_), 0);
    ASSERT_EQ(OBJ_lock(revision_), 0);
    ASSERT_EQ(setName(revision_, "unsaved"), 0);
    ASSERT_EQ(OBJ_unload(item_), 0);
    EXPECT_EQ(stored(revision_, "object_name"), "unsaved");
}

TEST_P(SavedFirst, ARelationToWhatIsNotSavedIsRefused) {
    const tag_t form = bench().createForm("", "form");
    tag_t relation = NULLTAG;
    ASSERT_EQ(REL_create_relation(form, item_, type_, NULLTAG, &relation), 0);
    EXPECT_EQ(OBJ_save(relation), kUnknownObject);
    ASSERT_EQ(OBJ_save(item_), 0);
    EXPECT_EQ(OBJ_save(relation), 0);
}

TEST_P(SavedFirst, OneSaveStoresReferrerAndTargetInAnyOrder) {
    const tag_t form = bench().createForm("", "form");
    tag_t relation = NULLTAG;
    ASSERT_EQ(REL_create_relation(form, item_, type_, NULLTAG, &relation), 0);
    const tag_t both[] = {relation, item_};
    EXPECT_EQ(DBO_save_instances(2, both, true), 0);
}

TEST_P(SavedFirst, AStatusThatIsNotSavedIsRefused) {
    const tag_t form = bench().createForm("", "form");
    tag_t status = NULLTAG;
    ASSERT_EQ(RLS_create_release_status("Released", &status), 0);
    tag_t list = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("release_status_list", "WorkspaceObject", &list), 0);
    ASSERT_EQ(OBJ_lock(form), 0);
    ASSERT_EQ(DBO_append_attr_tags(1, &form, list, 1, &status), 0);
    EXPECT_EQ(OBJ_save(form), kUnknownObject);
    ASSERT_EQ(OBJ_save(status), 0);
    EXPECT_EQ(OBJ_save(form), 0);
}

TEST_P(SavedFirst, AnArrayWithAnEntryThatIsGoneCanStillBeStored) {
    const tag_t folder = bench().createFolder("folder");
    const tag_t form = bench().createForm("", "form"), other = bench().createForm("", "other");
    bench().addToFolder(folder, form);
    ASSERT_EQ(DBO_delete_instances(1, &form), 0);
    ASSERT_EQ(OBJ_refresh(folder, true), 0);
    tag_t contents = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("contents", "Folder", &contents), 0);
    ASSERT_EQ(DBO_append_attr_tags(1, &folder, contents, 1, &other), 0);
    EXPECT_EQ(OBJ_save(folder), 0);
}

TEST_P(SavedFirst, ANewVersionOfADatasetLeavesOutWhatIsGone) {
    bench().defineDatasetType("Notes", "TextEditor", {"TEXT"}, {"Text"});
    const tag_t dataset = bench().createDataset("Notes", "notes");
    const tag_t form = bench().createForm("", "form");
    bench().addNamedReference(dataset, "Text", form);
    ASSERT_EQ(DBO_delete_instances(1, &form), 0);
    const tag_t version = bench().createDatasetVersion(dataset);
    EXPECT_TRUE(bench().get(version, "ref_list").empty());
}

TEST_P(SavedFirst, TheCheckTellsAStatusThatIsGoneAsAnError) {
    const tag_t form = bench().createForm("", "form"), folder = bench().createFolder("folder");
    tag_t status = bench().create("ReleaseStatus");
    bench().set(form, "release_status_list", {Reference{status}});
    bench().addToFolder(folder, form);
    ASSERT_EQ(DBO_delete_instances(1, &status), 0);
    const auto errors = errorsIn(bench().check(store_, false));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("#" + std::to_string(form) + " refers by release_status_list"),
              std::string::npos)
        << errors[0];
    ASSERT_EQ(DBO_delete_instances(1, &form), 0);
    EXPECT_TRUE(mentions(bench().check(store_, false), "refers by contents"));
    EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
}
