#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

class DatasetDeletion : public StructureTest {
protected:
    void SetUp() override {
        StructureTest::SetUp();
        first_ = bench_.createDataset("Text", "letter");
        file_ = bench_.addFile(first_, "Text", file("letter.txt", "Dear Sir"), "");
        second_ = bench_.createDatasetVersion(first_);
    }
    bool exists(tag_t object) { return OBJ_load(object) == 0; }
    // The file in the volume, seen by taking it out.
    bool hasContent(tag_t file) {
        static int number = 0;
        return FIL_export_file(file, (directory_ / std::to_string(++number)).string().c_str()) == 0;
    }
    // A file of the newest version alone, in place of the one it shares with the older one.
    tag_t newFile() {
        tag_t made = NULLTAG;
        int descriptor = 0;
        EXPECT_EQ(0, FIL_import_file(file("new.txt", "Dear Madam").c_str(), nullptr, 0, &made,
                                     &descriptor));
        EXPECT_EQ(0, OBJ_save(made));
        EXPECT_EQ(0, OBJ_refresh(second_, true));
        EXPECT_EQ(0, DST_replace_dataset_named_ref(second_, file_, "Text", 2, made));
        EXPECT_EQ(0, OBJ_save(second_));
        EXPECT_EQ(0, OBJ_refresh(second_, false));
        return made;
    }
    tag_t first_ = NULLTAG, second_ = NULLTAG, file_ = NULLTAG;
};

TEST_F(DatasetDeletion, AllVersionsTheAnchorAndTheFilesGo) {
    tag_t anchor = NULLTAG;
    ASSERT_EQ(0, DST_ask_dataset_anchor(first_, &anchor));
    ASSERT_EQ(0, DST_delete_all_dataset_revs(first_));
    secondSession();
    for (tag_t gone : {first_, second_, anchor, file_})
        EXPECT_FALSE(exists(gone)) << gone;
    EXPECT_TRUE(bench_.check(store_, false).empty());
}

TEST_F(DatasetDeletion, AFileOfAnotherDatasetStays) {
    const tag_t other = bench_.createDataset("Text", "copy");
    bench_.addNamedReference(other, "Text", file_);
    ASSERT_EQ(0, DST_delete_all_dataset_revs(second_));
    EXPECT_FALSE(exists(first_));
    EXPECT_TRUE(exists(file_));
    EXPECT_TRUE(hasContent(file_));
}

TEST_F(DatasetDeletion, ItIsRefusedWhileARelationRefersAndTheReferrerIsNamed) {
    const tag_t relation = bench_.relate(revision("1"), second_, "VANE_specification");
    EXPECT_EQ(kStillReferenced, DST_delete_all_dataset_revs(first_));
    EXPECT_NE(std::string::npos, lastError().find(std::to_string(relation))) << lastError();
    for (tag_t kept : {first_, second_, file_})
        EXPECT_TRUE(exists(kept)) << kept;
    EXPECT_TRUE(hasContent(file_));
}

TEST_F(DatasetDeletion, OtherObjectsAreRefused) {
    const tag_t other = revision("1");
    EXPECT_EQ(kWrongClass, DST_delete_all_dataset_revs(other));
    EXPECT_EQ(kWrongClass, DST_purge_dataset_revs(other));
    EXPECT_EQ(kUnknownObject, DST_delete_all_dataset_revs(NULLTAG));
    EXPECT_EQ(kUnknownObject, DST_purge_dataset_revs(NULLTAG));
    EXPECT_TRUE(exists(other));
}

TEST_F(DatasetDeletion, APurgeLeavesTheNewestVersionAndTheFilesThatItShares) {
    ASSERT_EQ(0, DST_purge_dataset_revs(first_));
    secondSession();
    EXPECT_FALSE(exists(first_));
    EXPECT_TRUE(exists(second_));
    EXPECT_TRUE(hasContent(file_));
    tag_t previous = NULLTAG;
    EXPECT_EQ(9112, DST_ask_dataset_prev_rev(second_, &previous));
    EXPECT_TRUE(bench_.check(store_, false).empty());
}

TEST_F(DatasetDeletion, APurgeTakesTheFilesThatOnlyOldVersionsHad) {
    const tag_t made = newFile();
    ASSERT_EQ(0, DST_purge_dataset_revs(second_));
    EXPECT_FALSE(exists(file_));
    EXPECT_FALSE(hasContent(file_));
    EXPECT_TRUE(hasContent(made));
}

TEST_F(DatasetDeletion, APurgeOfASingleVersionDoesNothing) {
    const tag_t single = bench_.createDataset("Text", "note");
    EXPECT_EQ(0, DST_purge_dataset_revs(single));
    EXPECT_TRUE(exists(single));
}

TEST_F(DatasetDeletion, APurgeIsRefusedWhileSomethingRefersToAnOldVersion) {
    const tag_t relation = bench_.relate(revision("1"), first_, "VANE_specification");
    EXPECT_EQ(kStillReferenced, DST_purge_dataset_revs(second_));
    EXPECT_NE(std::string::npos, lastError().find(std::to_string(relation))) << lastError();
    EXPECT_TRUE(exists(first_));
}

TEST_F(DatasetDeletion, APurgeIsRefusedWhileAnotherSessionHasAnOldVersionLocked) {
    const auto second = secondSession();
    ASSERT_EQ(0, OBJ_lock(first_));
    bench_.selectSession(session_);
    EXPECT_EQ(kLockedByOther, DST_purge_dataset_revs(second_));
    EXPECT_TRUE(exists(first_));
    bench_.selectSession(second);
    ASSERT_EQ(0, OBJ_refresh(first_, false));
    bench_.selectSession(session_);
    EXPECT_EQ(0, DST_purge_dataset_revs(second_));
    EXPECT_EQ(0u, bench_.heldLocks());
}

}  // namespace
}  // namespace mervane::test
