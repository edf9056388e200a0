#include "tests/structures/structure.h"
#include "tests/support/files.h"

namespace mervane::test {
namespace {

class Files : public StructureTest {
protected:
    tag_t import(const std::string& path, const char* new_name = nullptr) {
        tag_t made = NULLTAG;
        int descriptor = 0;
        EXPECT_EQ(0, FIL_import_file(path.c_str(), new_name, 4096, &made, &descriptor));
        return made;
    }
    std::string name(tag_t file) {
        char text[133];
        EXPECT_EQ(0, FIL_ask_original_file_name(file, text));
        return text;
    }
    std::string target(const char* name) { return (directory_ / name).string(); }
};

TEST_F(Files, AnImportedFileIsSavedWithoutALockAndExportedByAnotherSession) {
    const std::string content("a\0b\r\n\xff", 6);
    const tag_t made = import(file("in.bin", content));
    ASSERT_EQ(0, OBJ_save(made));
    ASSERT_EQ(0, OBJ_refresh(made, false));
    secondSession();
    EXPECT_EQ("in.bin", name(made));
    ASSERT_EQ(0, FIL_export_file(made, target("out.bin").c_str()));
    EXPECT_EQ(content, keld_test::readFile(target("out.bin")));
    EXPECT_EQ(Values{std::int64_t{4096}}, bench_.get(made, "file_type"));
}

TEST_F(Files, TheVolumeHasACopyOfItsOwn) {
    const std::string path = file("in.txt", "before");
    const tag_t made = import(path);
    file("in.txt", "after");
    std::filesystem::remove(path);
    ASSERT_EQ(0, FIL_export_file(made, target("out.txt").c_str()));
    EXPECT_EQ("before", keld_test::readFile(target("out.txt")));
}

TEST_F(Files, AnotherNameCanBeGivenAtTheImport) {
    EXPECT_EQ("letter.txt", name(import(file("tmp4711", "x"), "letter.txt")));
}

TEST_F(Files, WhatIsNoReadableRegularFileIsRefusedAndLeavesNothing) {
    tag_t made = 7;
    int descriptor = 5;
    EXPECT_EQ(kFileFailure,
              FIL_import_file(target("none").c_str(), nullptr, 0, &made, &descriptor));
    EXPECT_EQ(kFileFailure,
              FIL_import_file(directory_.string().c_str(), nullptr, 0, &made, &descriptor));
    EXPECT_EQ(kFileFailure, FIL_import_file("", nullptr, 0, &made, &descriptor));
    EXPECT_EQ(7u, made);
    EXPECT_EQ(5, descriptor);
    EXPECT_TRUE(bench_.check(store_, false).empty());
}

TEST_F(Files, ANameLongerThanItsFieldIsRefused) {
    const std::string fits(132, 'n'), longer(133, 'n');
    const tag_t made = import(file("in.txt", "x"), fits.c_str());
    EXPECT_EQ(fits, name(made));
    tag_t other = 7;
    int descriptor = 0;
    EXPECT_EQ(kTooLong,
              FIL_import_file(target("in.txt").c_str(), longer.c_str(), 0, &other, &descriptor));
    EXPECT_EQ(kTooLong, FIL_set_original_file_name(made, longer.c_str()));
    EXPECT_EQ(fits, name(made));
}

TEST_F(Files, TheOriginalNameIsChangedUnderTheLock) {
    const tag_t made = import(file("in.txt", "x"));
    ASSERT_EQ(0, OBJ_save(made));
    EXPECT_EQ(kNotLocked, FIL_set_original_file_name(made, "new.txt"));
    ASSERT_EQ(0, OBJ_lock(made));
    ASSERT_EQ(0, FIL_set_original_file_name(made, "new.txt"));
    ASSERT_EQ(0, OBJ_save(made));
    ASSERT_EQ(0, OBJ_refresh(made, false));
    secondSession();
    EXPECT_EQ("new.txt", name(made));
}

TEST_F(Files, TheOriginalNameMayBeEmpty) {
    const tag_t made = import(file("in.txt", "x"));
    ASSERT_EQ(0, FIL_set_original_file_name(made, ""));
    EXPECT_EQ("", name(made));
}

TEST_F(Files, AnExportNeverOverwrites) {
    const tag_t made = import(file("in.txt", "new"));
    file("out.txt", "old");
    EXPECT_EQ(kFileFailure, FIL_export_file(made, target("out.txt").c_str()));
    EXPECT_EQ("old", keld_test::readFile(target("out.txt")));
    EXPECT_EQ(kFileFailure, FIL_export_file(made, directory_.string().c_str()));
}

TEST_F(Files, AnExportNeverFollowsALink) {
    const tag_t made = import(file("in.txt", "new"));
    std::filesystem::create_symlink(target("victim.txt"), target("link.txt"));
    EXPECT_EQ(kFileFailure, FIL_export_file(made, target("link.txt").c_str()));
    EXPECT_FALSE(std::filesystem::exists(target("victim.txt")));
    EXPECT_TRUE(std::filesystem::is_symlink(target("link.txt")));
}

TEST_F(Files, AnExportIntoNowhereIsRefused) {
    const tag_t made = import(file("in.txt", "x"));
    EXPECT_EQ(kFileFailure, FIL_export_file(made, target("no/such/out.txt").c_str()));
    EXPECT_EQ(kFileFailure, FIL_export_file(made, ""));
    EXPECT_EQ(kWrongClass, FIL_export_file(revision("1"), target("out.txt").c_str()));
    EXPECT_FALSE(std::filesystem::exists(target("out.txt")));
}

}  // namespace
}  // namespace mervane::test
