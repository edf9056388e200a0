// Where files are saved, which are, and what the delete log says.

#include "tests/delete/backup_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;

using namespace delete_test;
namespace {

class Backup : public BackupWorld {
protected:
    Backup() { configureBackup(); }
    void expectFiles(const std::vector<std::string>& expected) {
        std::vector<std::string> files;
        for (const auto& [name, content] : saved())
            if (content != "dir")
                files.push_back(name);
        EXPECT_EQ(expected, files);
    }
};

}  // namespace

TEST_F(Backup, AnEmptyListOpensAndClosesTheLogWithoutALine) {
    EXPECT_EQ(0, service({}));
    EXPECT_EQ((Tree{{"delete_infodba.log", ""}}), treeOf(top));
    EXPECT_THAT(world.lines("T"), Contains("Using central log file=" + path("delete_infodba.log")));
}

TEST_F(Backup, ADatasetOfARevisionLandsInTheRevisionsDirectory) {
    EXPECT_EQ(0,
              service({drawing(world.item("4711").revision, "Housing", "housing.prt", "solid")}));
    EXPECT_EQ(
        (Tree{
            {"4711_A", "dir"}, {"4711_A/Housing", "dir"}, {"4711_A/Housing/housing.prt", "solid"}}),
        saved());
    EXPECT_EQ("<time>,infodba:4711/A;Housing (Text);" + path("4711_A/Housing/housing.prt") + "\n",
              deleteLog());
    EXPECT_EQ(fs::perms::all, fs::status(top / "4711_A/Housing").permissions());
}

TEST_F(Backup, TheRevisionOfTheCheckGoesFirstAlsoIfOthersHoldTheDatasetToo) {
    const tag_t dataset = world.dataset("Housing", type("CADMASTER"));
    file(dataset, "housing.prt", "solid");
    world.bench.defineRelationType("Shows");
    world.bench.relate(world.item("1").item, dataset, "Shows");
    world.bench.relate(world.item("2").revision, dataset, "Shows");
    world.bench.relate(world.item("3").revision, dataset, "VANE_specification");
    const auto calls = world.calls([&] { EXPECT_EQ(0, service({dataset})); });
    EXPECT_THAT(calls, testing::Not(Contains(testing::StartsWith("REL_list_primary_objects("))));
    expectFiles({"3_A/Housing/housing.prt"});
}

TEST_F(Backup, ADatasetOfAnItemLandsUnderItsIdWithoutARevision) {
    EXPECT_EQ(0, service({drawing(world.item("4711").item)}));
    expectFiles({"4711/drawing/drawing.txt"});
    EXPECT_EQ("<time>,infodba:4711;drawing (Text);" + path("4711/drawing/drawing.txt") + "\n",
              deleteLog());
}

TEST_F(Backup, ADatasetOfAnItemAndARevisionHasTheItemsIdAndTheRevisionsId) {
    const tag_t dataset = drawing(world.item("1").item);
    const tag_t revision = world.item("2").revision;
    world.bench.relate(revision, dataset, "VANE_specification");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"1_A/drawing/drawing.txt"});
    EXPECT_THAT(deleteLog(), HasSubstr(":1/A;"));
}

TEST_F(Backup, ADatasetOfAnotherObjectLandsUnderItsName) {
    world.bench.defineRelationType("Holds");
    const tag_t dataset = world.dataset("drawing");
    file(dataset, "drawing.txt", "x");
    world.bench.relate(world.bench.createFolder("My letters"), dataset, "Holds");
    world.bench.relate(world.bench.createFolder("Others"), dataset, "Holds");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"My_letters/drawing/drawing.txt"});
    EXPECT_THAT(deleteLog(), HasSubstr(":My letters;"));
}

TEST_F(Backup, ADatasetOfAnObjectWithoutANameLandsUnderTheUser) {
    world.bench.defineRelationType("Holds");
    const tag_t dataset = world.dataset("drawing"), folder = world.bench.createFolder("x");
    world.put(folder, "object_name", "");
    file(dataset, "drawing.txt", "x");
    world.bench.relate(folder, dataset, "Holds");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"infodba/drawing/drawing.txt"});
}

TEST_F(Backup, ADatasetWithNoRelationLandsUnderTheUser) {
    const tag_t dataset = world.dataset("drawing");
    file(dataset, "drawing.txt", "x");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"infodba/drawing/drawing.txt"});
    EXPECT_THAT(deleteLog(), HasSubstr(",infodba:infodba;drawing (Text);"));
}

TEST_F(Backup, ADatasetWithoutANameLandsInItsParentsDirectory) {
    const tag_t dataset = drawing(world.item("4711").revision);
    world.put(dataset, "object_name", "");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"4711_A/drawing.txt"});
}

TEST_F(Backup, OfTwoRevisionsTheFirstIsTheParentAndTheSpecifiedOneEndsTheSearch) {
    const auto first = world.item("1"), second = world.item("2"), third = world.item("3");
    const tag_t dataset = world.dataset("drawing");
    file(dataset, "drawing.txt", "x");
    world.bench.defineRelationType("Shows");
    world.bench.relate(first.revision, dataset, "Shows");
    world.bench.relate(second.revision, dataset, "VANE_specification");
    world.bench.relate(third.item, dataset, "Shows");
    world.name(third.item, "third");
    const auto calls = world.calls([&] { EXPECT_EQ(0, service({dataset})); });
    EXPECT_THAT(calls, testing::Not(Contains("DBO_class_of_instance(third)")));
    expectFiles({"1_A/drawing/drawing.txt"});
}

TEST_F(Backup, ASearchThatNoSpecificationEndsLooksAtAllParents) {
    const tag_t dataset = world.dataset("drawing");
    file(dataset, "drawing.txt", "x");
    world.bench.defineRelationType("Shows");
    world.bench.relate(world.item("1").revision, dataset, "Shows");
    world.bench.relate(world.item("2").revision, dataset, "Shows");
    world.bench.relate(world.item("3").item, dataset, "Shows");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"3_A/drawing/drawing.txt"});  // the item's id, the first revision's
}

TEST_F(Backup, ASecondBackupReplacesTheFilesAndAddsLines) {
    const tag_t dataset = world.specification(world.item("1").revision, "drawing");
    const tag_t stored = file(dataset, "drawing.txt", "old");
    EXPECT_EQ(0, service({dataset}));
    world.bench.set(dataset, "ref_list", {});
    (void)stored;
    file(dataset, "drawing.txt", "new");
    EXPECT_EQ(0, service({dataset}));
    EXPECT_EQ("new", saved().at("1_A/drawing/drawing.txt"));
    EXPECT_EQ(2, std::ranges::count(deleteLog(), '\n'));
    EXPECT_THAT(world.lines("T"),
                Contains("File <" + path("1_A/drawing/drawing.txt") + "> already exists"));
}

TEST_F(Backup, TwoReferencesWithOneFileNameLeaveOneFileAndTwoLines) {
    const tag_t dataset = drawing(world.item("1").revision, "drawing", "a.txt", "first");
    file(dataset, "a.txt", "second");
    EXPECT_EQ(0, service({dataset}));
    EXPECT_EQ("second", saved().at("1_A/drawing/a.txt"));
    const std::string line =
        "<time>,infodba:1/A;drawing (Text);" + path("1_A/drawing/a.txt") + "\n";
    EXPECT_EQ(line + line, deleteLog());
    EXPECT_THAT(world.lines("T"), Contains("2 named references found for dataset"));
    EXPECT_THAT(world.lines("W"), IsEmpty());
}

TEST_F(Backup, AReferenceThatIsNoFileLeavesNothing) {
    const tag_t dataset = world.specification(world.item("1").revision, "drawing");
    world.bench.addNamedReference(dataset, "Text", world.bench.createForm("Form", "form"));
    file(dataset, "a.txt", "x");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"1_A/drawing/a.txt"});
    EXPECT_EQ(1, std::ranges::count(deleteLog(), '\n'));
}

TEST_F(Backup, AFileWithoutANameIsPassedOver) {
    const tag_t dataset = drawing(world.item("1").revision, "drawing", "");
    file(dataset, "a.txt", "x");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"1_A/drawing/a.txt"});
}

TEST_F(Backup, AnOlderVersionLeavesNoFileAndNoFailure) {
    const tag_t old = drawing(world.item("1").revision);
    const tag_t latest = world.bench.createDatasetVersion(old);
    world.name(old, "old");
    const auto calls = world.calls([&] { EXPECT_EQ(0, service({old})); });
    EXPECT_THAT(calls, testing::Not(Contains(testing::StartsWith("FIL_"))));
    expectFiles({});
    EXPECT_EQ("", deleteLog());
    EXPECT_EQ(0, service({latest}));
    expectFiles({"1_A/drawing/drawing.txt"});
}

TEST_F(Backup, ACopyOfAnotherSitesDatasetLeavesNoFileAndNoFailure) {
    const tag_t dataset = drawing(world.item("1").revision);
    world.bench.set(dataset, "owning_site", {mervane::Reference{world.bench.create("Site")}});
    EXPECT_EQ(0, service({dataset}));
    expectFiles({});
}

TEST_F(Backup, NamesAreCleanedInThePathAndUnchangedInTheLog) {
    const tag_t dataset =
        drawing(world.item("47 11").revision, "Hous/ing (old)", "hous ing.prt", "solid");
    EXPECT_EQ(0, service({dataset}));
    expectFiles({"47_11_A/Hous_ing__old_/hous ing.prt"});
    EXPECT_EQ("<time>,infodba:47 11/A;Hous/ing (old) (Text);" +
                  path("47_11_A/Hous_ing__old_/hous ing.prt") + "\n",
              deleteLog());
}

TEST_F(Backup, ARefusedListIsNotSavedButItsLogIsOpened) {
    const tag_t folder = world.bench.createFolder("letters");
    const tag_t dataset = drawing(world.item("1").revision);
    world.bench.addToFolder(folder, dataset);
    EXPECT_EQ(919500, service({dataset, folder}));
    EXPECT_EQ((Tree{{"delete_.log", ""}}), treeOf(top));
}

TEST_F(Backup, ADatasetWhoseTypeIsNotCheckedIsSavedAllTheSame) {
    const tag_t used = world.item("1").revision;
    world.occurrence(world.item("2").revision, used);
    EXPECT_EQ(0, service({drawing(used)}));
    expectFiles({"1_A/drawing/drawing.txt"});
}

TEST_F(Backup, EachUserHasALog) {
    const tag_t dataset = drawing(world.item("1").revision);
    const auto smith = world.otherUser("smith");
    EXPECT_EQ(0, service({dataset}));
    world.as(smith, [&] { EXPECT_EQ(0, service({dataset})); });
    EXPECT_THAT(deleteLog(), HasSubstr(",infodba:1/A;"));
    EXPECT_THAT(deleteLog("smith"), HasSubstr(",smith:1/A;"));
    EXPECT_EQ(1, std::ranges::count(deleteLog(), '\n'));
}

TEST_F(Backup, MissingDirectoriesAboveAreMadeTooAlsoTheTop) {
    fs::remove_all(top);
    EXPECT_EQ(0, service({drawing(world.item("1").revision)}));
    expectFiles({"1_A/drawing/drawing.txt"});
    // The log was opened before there was a directory for it.
    EXPECT_THAT(world.lines("E"),
                ElementsAre("The delete log " + path("delete_infodba.log") + " can't be opened"));
}

TEST_F(Backup, ABackupMakesItsCallsInOrder) {
    const tag_t revision = world.item("1").revision;
    const tag_t dataset = world.specification(revision, "drawing");
    world.name(dataset, "drawing");
    world.name(revision, "1/A");
    world.name(file(dataset, "a.txt", "x"), "file");
    std::vector<std::string> shown;
    for (const std::string& call : world.calls([&] { EXPECT_EQ(0, backup(dataset)); }))
        if (!call.starts_with("DBO_name") && !call.starts_with("MVTYPE_") &&
            !call.starts_with("DBO_class_id"))
            shown.push_back(call);
    EXPECT_THAT(
        shown,
        ElementsAre("DBO_get_user_id()", "REL_find_relation_type(VANE_specification)",
                    "REL_list_primary_objects(drawing, ?)", "DBO_class_of_instance(1/A)",
                    "OBJ_ask_value_string(drawing, object_type)",
                    "OBJ_ask_value_string(drawing, object_name)",
                    "OBJ_ask_value_string(1/A, item_id)",
                    "OBJ_ask_value_string(1/A, item_revision_id)", "DST_ask_dataset(drawing)",
                    "DBO_is_cached(drawing)", "DST_ask_dataset_named_refs(drawing)",
                    "DBO_class_of_instance(file)", "FIL_ask_original_file_name(file)",
                    "FIL_export_file(file, " + path("1_A/drawing/a.txt") + ")",
                    "TIME_date_to_string(%Y-%m-%d %H:%M:%S)"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Backup, NullPointersAndEmptyPathsAreTaken) {
    EXPECT_EQ(0, CreateAndCheckSubDir(nullptr));
    EXPECT_EQ(0, CreateAndCheckSubDir(""));
    const tag_t dataset = drawing(world.item("1").revision);
    EXPECT_EQ(0, ExportAllNamedRefs(dataset, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, ExportAllNamedRefs(dataset, "", nullptr, "u", "p", "n", "t"));
    EXPECT_NE(0, PerformCentralBackup(NULLTAG, NULLTAG, nullptr, nullptr));
    EXPECT_EQ(0, WriteToDeleteLog(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    expectFiles({});
}
