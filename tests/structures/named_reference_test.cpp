#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

class NamedReferences : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        bench_.defineDatasetType("Pack", "PackEditor", {"ZIP"}, {"Main", "Extra"});
        dataset_ = bench_.createDataset("Pack", "pack");
    }
    tag_t stored(const std::string& name) {
        tag_t made = NULLTAG;
        int descriptor = 0;
        EXPECT_EQ(0, FIL_import_file(file(name, "content of " + name).c_str(), nullptr, 0, &made,
                                     &descriptor));
        EXPECT_EQ(0, OBJ_save(made));
        return made;
    }
    Tags all() {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(0, DST_ask_dataset_named_refs(dataset_, &count, &list));
        return taken(count, list);
    }
    Tags byName(const char* name) {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(0, DST_ask_all_dataset_named_refs(dataset_, name, &count, &list));
        return taken(count, list);
    }
    tag_t dataset_ = NULLTAG;
};

TEST_F(NamedReferences, TheyAreKeptInOrderWithNameAndKind) {
    const tag_t one = stored("one.txt"), two = stored("two.txt");
    const tag_t form = bench_.createForm("Item Master", "values");
    ASSERT_EQ(0, OBJ_refresh(dataset_, true));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Main", 2, one));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Extra", 1, form));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Main", 2, two));
    ASSERT_EQ(0, OBJ_save(dataset_));
    ASSERT_EQ(0, OBJ_refresh(dataset_, false));

    secondSession();
    int count = 0;
    ASSERT_EQ(0, DST_ask_dataset_ref_count(dataset_, &count));
    EXPECT_EQ(3, count);
    char name[33];
    int kind = 0;
    tag_t object = NULLTAG;
    ASSERT_EQ(0, DST_find_dataset_named_ref(dataset_, 1, name, &kind, &object));
    EXPECT_STREQ("Extra", name);
    EXPECT_EQ(1, kind);
    EXPECT_EQ(form, object);
    EXPECT_EQ((Tags{one, form, two}), all());
    EXPECT_EQ((Tags{one, two}), byName("Main"));
    EXPECT_TRUE(byName("Other").empty());
}

TEST_F(NamedReferences, AddingNeedsTheLockAnExistingObjectAndANameOfTheType) {
    const tag_t one = stored("one.txt");
    EXPECT_EQ(kNotLocked, DST_add_dataset_named_ref(dataset_, "Main", 2, one));
    ASSERT_EQ(0, OBJ_refresh(dataset_, true));
    EXPECT_EQ(kUnknownObject, DST_add_dataset_named_ref(dataset_, "Main", 2, 99999));
    EXPECT_EQ(kBadValue, DST_add_dataset_named_ref(dataset_, "Poem", 2, one));
    EXPECT_NE(std::string::npos, lastError().find("Main, Extra")) << lastError();
    EXPECT_TRUE(all().empty());
}

TEST_F(NamedReferences, AnIndexAfterTheLastIsRefusedAndNothingIsWritten) {
    char name[33] = "before";
    int kind = 5;
    tag_t object = 7;
    EXPECT_EQ(kBadIndex, DST_find_dataset_named_ref(dataset_, 0, name, &kind, &object));
    EXPECT_STREQ("before", name);
    EXPECT_EQ(5, kind);
    EXPECT_EQ(7u, object);
}

TEST_F(NamedReferences, OneIsReplacedAtItsPlace) {
    const tag_t one = stored("one.txt"), two = stored("two.txt"), three = stored("three.txt");
    ASSERT_EQ(0, OBJ_refresh(dataset_, true));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Main", 2, one));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Main", 2, two));
    ASSERT_EQ(0, DST_replace_dataset_named_ref(dataset_, one, "Main", 2, three));
    EXPECT_EQ((Tags{three, two}), all());
}

TEST_F(NamedReferences, ReplacingNothingAdds) {
    const tag_t one = stored("one.txt");
    ASSERT_EQ(0, OBJ_refresh(dataset_, true));
    ASSERT_EQ(0, DST_replace_dataset_named_ref(dataset_, NULLTAG, "Main", 2, one));
    EXPECT_EQ(Tags{one}, all());
}

TEST_F(NamedReferences, WhatIsNotThereByThatNameIsNotReplaced) {
    const tag_t one = stored("one.txt"), two = stored("two.txt");
    ASSERT_EQ(0, OBJ_refresh(dataset_, true));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Main", 2, one));
    EXPECT_EQ(kBadValue, DST_replace_dataset_named_ref(dataset_, one, "Extra", 2, two));
    EXPECT_EQ(kBadValue, DST_replace_dataset_named_ref(dataset_, two, "Main", 2, two));
    EXPECT_EQ(Tags{one}, all());
}

TEST_F(NamedReferences, ARefreshDropsWhatWasNotSaved) {
    ASSERT_EQ(0, OBJ_refresh(dataset_, true));
    ASSERT_EQ(0, DST_add_dataset_named_ref(dataset_, "Main", 2, stored("one.txt")));
    ASSERT_EQ(0, OBJ_refresh(dataset_, false));
    EXPECT_TRUE(all().empty());
}

TEST_F(NamedReferences, ANewVersionHasTheReferencesOfTheOneBefore) {
    const tag_t one = bench_.addFile(dataset_, "Main", file("one.txt", "1"), "first.txt");
    const tag_t first = dataset_;
    dataset_ = bench_.createDatasetVersion(dataset_);
    EXPECT_NE(first, dataset_);
    EXPECT_EQ(Tags{one}, all());
}

TEST_F(NamedReferences, TheAdministratorsShortcutsAreStoredAtOnce) {
    const tag_t one = bench_.addFile(dataset_, "Main", file("one.txt", "1"), "");
    const tag_t form = bench_.createForm("Item Master", "values");
    bench_.addNamedReference(dataset_, "Extra", form);
    EXPECT_EQ(0u, bench_.heldLocks());
    EXPECT_THROW(bench_.addFile(dataset_, "Poem", file("two.txt", "2"), ""), Failure);
    EXPECT_THROW(bench_.addNamedReference(dataset_, "Extra", 99999), Failure);
    secondSession();
    EXPECT_EQ((Tags{one, form}), all());
}

}  // namespace
}  // namespace mervane::test
