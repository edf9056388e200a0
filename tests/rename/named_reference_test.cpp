// Files and objects that a dataset refers to follow its name.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::settings;

namespace {

class NamedReference : public world::RenameTest {
protected:
    NamedReference() {
        world.bench.defineDatasetType("Kit", "KitTool", {"KIT"}, {"Text", "Image", "Te"});
        dataset = world.dataset("XYZ-02", "Kit");
        world.name(dataset, "ds");
    }
    tag_t file(const std::string& name, const std::string& reference = "Text") {
        const tag_t made = world.bench.addFile(dataset, reference, world::someFile(), name);
        world.name(made, "file");
        return made;
    }
    tag_t form(const std::string& name, const std::string& reference = "Text") {
        const tag_t made = world.bench.createForm("Form", name);
        world.bench.addNamedReference(dataset, reference, made);
        world.name(made, "form");
        return made;
    }
    int run(const char* old_name = "ABC-01", const std::string& new_name = "XYZ-02") {
        std::vector<char> text(1025, '\0');
        std::copy(new_name.begin(), new_name.end(), text.begin());
        const int status = CKELD_ReName::RenameNamedRef(dataset, old_name, text.data());
        name_after = text.data();
        return status;
    }
    std::string fileName(tag_t tag) { return world.storedText(tag, "original_file_name"); }

    tag_t dataset = NULLTAG;
    std::string name_after;
};

}  // namespace

TEST_F(NamedReference, AFileTakesTheNewNameAndKeepsItsExtension) {
    const tag_t made = file("ABC-01.txt");
    EXPECT_EQ(0, run());
    EXPECT_EQ("XYZ-02.txt", fileName(made));
    EXPECT_FALSE(world.locked(made));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(NamedReference, OnlyAFileWhoseBaseNameIsTheStartOfTheOldNameFollows) {
    const tag_t start = file("ABC.txt"), other = file("REPORT.txt"), longer = file("ABC-01-x.txt"),
                lower = file("abc-01.txt"), inner = file("BC-01.txt");
    EXPECT_EQ(0, run());
    EXPECT_EQ("XYZ-02.txt", fileName(start));
    EXPECT_EQ("REPORT.txt", fileName(other));
    EXPECT_EQ("ABC-01-x.txt", fileName(longer));
    EXPECT_EQ("abc-01.txt", fileName(lower));
    EXPECT_EQ("BC-01.txt", fileName(inner));
}

TEST_F(NamedReference, TheExtensionBeginsAtTheLastDot) {
    const tag_t made = file("ABC-01.tar.gz");
    EXPECT_EQ(0, run("ABC-01.tar", "XYZ-02"));
    EXPECT_EQ("XYZ-02.gz", fileName(made));
}

TEST_F(NamedReference, AFileWithoutADotTakesTheNewNameAlone) {
    const tag_t made = file("ABC-01"), other = file("NOTES");
    EXPECT_EQ(0, run());
    EXPECT_EQ("XYZ-02", fileName(made));
    EXPECT_EQ("NOTES", fileName(other));
}

TEST_F(NamedReference, ABaseNameOfNothingIsTheStartOfEveryName) {
    const tag_t made = file(".txt");
    EXPECT_EQ(0, run());
    EXPECT_EQ("XYZ-02.txt", fileName(made));
}

TEST_F(NamedReference, WithoutAnOldNameEveryFileFollows) {
    const tag_t made = file("REPORT.txt");
    EXPECT_EQ(0, run(nullptr));
    EXPECT_EQ("XYZ-02.txt", fileName(made));
}

TEST_F(NamedReference, NamesAreClearedOfWhatFileNamesDontHold) {
    // The file's own name was cleaned the same way when it was made.
    const tag_t made = file("ABC-01.txt");
    EXPECT_EQ(0, run("A:B*C-0?1 ", " X/Y|Z-02 "));
    EXPECT_EQ("XYZ-02.txt", fileName(made));
    EXPECT_EQ(" X/Y|Z-02 ", name_after);
}

TEST_F(NamedReference, AnEqualFileNameIsNotWritten) {
    file("XYZ-02.txt");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run("XYZ-02", "XYZ-02")); });
    EXPECT_THAT(world::only(calls, {"OBJ_lock", "FIL_set", "OBJ_save"}), IsEmpty());
}

TEST_F(NamedReference, AFileIsLockedNamedSavedAndReleased) {
    file("ABC-01.txt");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(calls,
                ElementsAre("ENT_ask_object_type(ds)", "DST_ask_dataset_ref_count(ds)",
                            "DST_find_dataset_named_ref(ds, 0)", "DBO_class_of_instance(file)",
                            "DBO_name_of_class()", "DBO_class_of_instance(file)",
                            "DBO_name_of_class()", "MVTYPE_find_type(VaneFile, WorkspaceObject)",
                            "FIL_ask_original_file_name(file)", "OBJ_lock(file)",
                            "FIL_set_original_file_name(file, XYZ-02.txt)", "OBJ_save(file)",
                            "OBJ_refresh(file, false)"));
}

TEST_F(NamedReference, AnObjectWithTheOldNameTakesTheNewOne) {
    const tag_t same = form("ABC-01"), other = form("ABC-01x"), start = form("ABC");
    EXPECT_EQ(0, run());
    EXPECT_EQ("XYZ-02", world.storedText(same, "object_name"));
    EXPECT_EQ("ABC-01x", world.storedText(other, "object_name"));
    EXPECT_EQ("ABC", world.storedText(start, "object_name"));
}

TEST_F(NamedReference, AnObjectIsLockedNamedSavedAndReleased) {
    form("ABC-01");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(world::only(calls, {"ENT_ask_name", "ENT_set", "OBJ_", "DST_save"}),
                ElementsAre("ENT_ask_name(form)", "OBJ_lock(form)", "ENT_set_name(form, XYZ-02)",
                            "OBJ_save(form)", "OBJ_refresh(form, false)"));
}

TEST_F(NamedReference, WithoutAnOldNameEveryObjectFollows) {
    const tag_t other = form("any");
    EXPECT_EQ(0, run(nullptr));
    EXPECT_EQ("XYZ-02", world.storedText(other, "object_name"));
}

TEST_F(NamedReference, WhatIsNeitherFileNorWorkspaceObjectIsPassedOver) {
    world.bench.addNamedReference(dataset, "Text", world.bench.create("Person"));
    const tag_t after = file("ABC-01.txt");
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.lines("T"), Contains("lIsVaneFile=0; lIsWso=0"));
    EXPECT_EQ("XYZ-02.txt", fileName(after));
}

TEST_F(NamedReference, AnExcludedOneIsSkippedWhicheverClassItHas) {
    settings(world, {"ExcludeDatasetNR=Image"});
    const tag_t picture = file("ABC-01.png", "Image"), sheet = form("ABC-01", "Image"),
                text = file("ABC-01.txt");
    EXPECT_EQ(0, run());
    EXPECT_EQ("ABC-01.png", fileName(picture));
    EXPECT_EQ("ABC-01", world.storedText(sheet, "object_name"));
    EXPECT_EQ("XYZ-02.txt", fileName(text));
    EXPECT_EQ(
        2, std::ranges::count(world.lines("T"), std::string("Rename Skip NamedReference: Image")));
}

TEST_F(NamedReference, APartOfAnExcludedNameIsExcludedToo) {
    settings(world, {"ExcludeDatasetNR=Text;Image"});
    const tag_t part = file("ABC-01.te", "Te");
    EXPECT_EQ(0, run());
    EXPECT_EQ("ABC-01.te", fileName(part));
}

TEST_F(NamedReference, TheDatasetTypesExclusionComesBeforeTheGeneralOne) {
    settings(world, {"ExcludeDatasetNR.Kit=Text", "ExcludeDatasetNR=Image"});
    const tag_t picture = file("ABC-01.png", "Image"), text = file("ABC-01.txt");
    EXPECT_EQ(0, run());
    EXPECT_EQ("XYZ-02.png", fileName(picture));
    EXPECT_EQ("ABC-01.txt", fileName(text));
}

TEST_F(NamedReference, AnEmptyExclusionOfTheTypeLeavesTheGeneralOneInForce) {
    settings(world, {"ExcludeDatasetNR.Kit=", "ExcludeDatasetNR=Image"});
    const tag_t picture = file("ABC-01.png", "Image");
    EXPECT_EQ(0, run());
    EXPECT_EQ("ABC-01.png", fileName(picture));
}

TEST_F(NamedReference, TracesWhatItSees) {
    settings(world, {"ExcludeDatasetNR=Image"});
    file("ABC-01.txt");
    file("ABC-01.png", "Image");
    form("ABC-01");
    world.clearLog();
    EXPECT_EQ(0, run());
    EXPECT_THAT(
        world.lines(),
        ElementsAre("count=3", "lIsVaneFile=1; lIsWso=0", "filename=ABC-01.txt\tnewname=XYZ-02.txt",
                    "Rename Skip NamedReference: Image", "lIsVaneFile=0; lIsWso=1",
                    "cObjectName=ABC-01", "cRefName=Text"));
    EXPECT_THAT(world::only(world::traced(world), {"ENT_", "DST_", "FIL_", "OBJ_"}),
                ElementsAre("ENT_ask_object_type(...)", "DST_ask_dataset_ref_count(...)",
                            "DST_find_dataset_named_ref(...)", "FIL_ask_original_file_name(...)",
                            "OBJ_lock(...)", "FIL_set_original_file_name(...)", "OBJ_save(...)",
                            "OBJ_refresh(...)", "DST_find_dataset_named_ref(...)",
                            "DST_find_dataset_named_ref(...)", "ENT_ask_name(...)", "OBJ_lock(...)",
                            "ENT_set_name(...)", "OBJ_save(...)", "OBJ_refresh(...)"));
}

TEST_F(NamedReference, WithoutAnyNothingIsDone) {
    world.clearLog();
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.lines(), ElementsAre("count=0"));
}
