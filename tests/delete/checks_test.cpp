// What is refused and what isn't.

#include "tests/delete/backup_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;

using namespace delete_test;
namespace {

class DeleteChecks : public BackupWorld {
protected:
    tag_t folderWith(const std::string& name, tag_t content) {
        const tag_t folder = world.bench.createFolder(name);
        world.bench.addToFolder(folder, content);
        return folder;
    }
    // A revision that a structure uses.
    tag_t usedRevision(const std::string& id) {
        const tag_t part = world.item(id).revision;
        world.occurrence(world.item(id + "-top").revision, part);
        return part;
    }
    tag_t part(tag_t revision, const std::string& type_name = "CADMASTER") {
        return world.specification(revision, "part", type(type_name));
    }
};

}  // namespace

TEST_F(DeleteChecks, AnEmptyFolderMayBeDeleted) {
    EXPECT_EQ(0, service({world.bench.createFolder("empty")}));
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(DeleteChecks, AFolderThatIsNotEmptyIsRefusedAndTheOtherObjectsAreStillChecked) {
    const tag_t folder = folderWith("letters", world.item("1").item);
    const tag_t second = folderWith("bills", world.item("2").item);
    const tag_t dataset = part(world.item("3").revision);
    world.name(dataset, "part");
    const auto calls = world.calls([&] { EXPECT_EQ(919500, service({folder, second, dataset})); });
    EXPECT_THAT(calls, Contains("REL_list_primary_objects_only(part)"));
    ASSERT_EQ(2u, stack().size());
    EXPECT_EQ(3, stack()[0].severity);
    EXPECT_EQ(919500, stack()[0].status);
    EXPECT_THAT(stack()[0].text, HasSubstr("letters"));
    EXPECT_THAT(stack()[1].text, HasSubstr("bills"));
}

TEST_F(DeleteChecks, AFolderWhoseNameCannotBeReadIsRefusedAllTheSame) {
    const tag_t folder = folderWith("letters", world.item("1").item);
    world.fail("OBJ_UIF_ask_value");
    EXPECT_EQ(919500, service({folder}));
    EXPECT_EQ(919500, stack().back().status);  // after the planned failure's own entry
    EXPECT_EQ(std::string::npos, stack().back().text.find("letters"));
}

TEST_F(DeleteChecks, ADatasetOfARevisionInAStructureIsRefusedWithNothingOnTheStack) {
    EXPECT_EQ(919502, service({part(usedRevision("1"))}));
    EXPECT_THAT(stack(), IsEmpty());
}

TEST_F(DeleteChecks, ARefusedFolderGoesBeforeARefusedDataset) {
    const tag_t dataset = part(usedRevision("1"));
    const tag_t folder = folderWith("letters", world.item("2").item);
    EXPECT_EQ(919500, service({dataset, folder}));
    EXPECT_EQ(1u, stack().size());
    EXPECT_EQ(919500, service({folder, dataset}));
}

TEST_F(DeleteChecks, ADatasetOnARevisionThatNoStructureUsesPasses) {
    const tag_t revision = world.item("1").revision;
    world.occurrence(revision, world.item("2").revision);  // uses, but isn't used
    EXPECT_EQ(0, service({part(revision)}));
}

TEST_F(DeleteChecks, ADatasetOfATypeOutsideTheListIsNeverRefused) {
    const tag_t revision = usedRevision("1");
    EXPECT_EQ(0, service({world.specification(revision, "text", "Text"),
                          part(revision, "cadmaster"), part(revision, "CADMASTER2")}));
}

TEST_F(DeleteChecks, EachBuiltInTypeIsChecked) {
    const tag_t revision = usedRevision("1");
    for (const char* name :
         {"MantaPrt", "MantaAsm", "OrbPart", "OrbProduct", "orbis", "TK Part", "TK Assembly",
          "VelPrt", "VelAsm", "FormaPart", "FormaAssembly", "DR20PART", "CADMASTER"})
        EXPECT_EQ(919502, service({part(revision, name)})) << name;
}

TEST_F(DeleteChecks, APreferenceWithOneTypeReplacesTheBuiltInList) {
    world.bench.setPreference("KELD_DEL_DELUXE_TYPES", {"Sketch"});
    const tag_t revision = usedRevision("1");
    EXPECT_EQ(0, service({part(revision)}));
    EXPECT_EQ(919502, service({part(revision, "Sketch")}));
}

TEST_F(DeleteChecks, OnlyTheSpecificationTiesADatasetToARevision) {
    const tag_t revision = usedRevision("1");
    const tag_t dataset = world.dataset("part", type("CADMASTER"));
    world.bench.defineRelationType("Shows");
    world.bench.relate(revision, dataset, "Shows");
    EXPECT_EQ(0, service({dataset}));
}

TEST_F(DeleteChecks, ADatasetOfTwoRevisionsIsRefusedIfEitherIsUsed) {
    const tag_t free = world.item("1").revision, used = usedRevision("2");
    const tag_t first = part(used), second = world.specification(free, "part", "CADMASTER");
    world.bench.relate(free, first, "VANE_specification");
    world.bench.relate(used, second, "VANE_specification");
    EXPECT_EQ(919502, service({first}));
    EXPECT_EQ(919502, service({second}));
}

TEST_F(DeleteChecks, TheLastRevisionExaminedIsHandedOut) {
    const tag_t first = world.item("1").revision, second = world.item("2").revision;
    const tag_t used = usedRevision("3"), fourth = world.item("4").revision;
    const tag_t dataset = part(first);
    world.bench.relate(world.item("5").item, dataset, "VANE_specification");
    world.bench.relate(second, dataset, "VANE_specification");
    tag_t revision = 7;
    EXPECT_EQ(0, check_dataset(dataset, &revision));
    EXPECT_EQ(second, revision);
    world.bench.relate(used, dataset, "VANE_specification");
    world.bench.relate(fourth, dataset, "VANE_specification");
    EXPECT_EQ(919502, check_dataset(dataset, &revision));
    EXPECT_EQ(used, revision);  // a refusal ends the search
}

TEST_F(DeleteChecks, WithoutARevisionNothingIsHandedOut) {
    tag_t revision = 7;
    EXPECT_EQ(0, check_dataset(world.dataset("alone"), &revision));
    EXPECT_EQ(NULLTAG, revision);
    revision = 7;
    world.fail("REL_list_primary_objects_only");
    EXPECT_EQ(4711, check_dataset(world.dataset("alone"), &revision));
    EXPECT_EQ(NULLTAG, revision);
}

TEST_F(DeleteChecks, ARevisionIsHandedOutAlsoIfItsCheckFails) {
    const tag_t made = world.item("1").revision;
    const tag_t dataset = part(made);
    tag_t revision = NULLTAG;
    world.fail("STR_where_used_all");
    EXPECT_EQ(4711, check_dataset(dataset, &revision));
    EXPECT_EQ(made, revision);
}

TEST_F(DeleteChecks, AnObjectThatIsNeitherAFolderNorADatasetIsPassedOver) {
    configureBackup();
    const auto made = world.item("1");
    EXPECT_EQ(0, service({made.item, made.revision, world.masterForm(made.item)}));
    EXPECT_THAT(saved(), IsEmpty());
    EXPECT_THAT(world.lines("T"), Contains("check object no.: 3"));
}

TEST_F(DeleteChecks, AnUnknownObjectEndsTheChecks) {
    const tag_t folder = folderWith("letters", world.item("1").item);
    EXPECT_EQ(710003, service({folder, 999999, folder}));
    EXPECT_THAT(world.lines("T"), testing::Not(Contains("check object no.: 3")));
}

TEST_F(DeleteChecks, TheLinesOfARunTellWhatIsChecked) {
    const tag_t dataset = world.dataset("letter");
    EXPECT_EQ(0, service({world.bench.createFolder("empty"), dataset}));
    EXPECT_THAT(
        world.lines("T"),
        ElementsAre("number of objects to check: 2", "check object no.: 1", "Object is a Folder",
                    "check object no.: 2", "Object is a Dataset", "Dataset Type: Text"));
    std::vector<std::string> entered;
    for (const auto& line : world.log())
        if (line.text.starts_with(" ->"))
            entered.push_back(line.text.substr(0, line.text.rfind(' ')));
    EXPECT_THAT(
        entered,
        ElementsAre(" ->KELD_DeleteDeluxe",
                    " ->SVCARG_get_tag_array_argument(&iObjectsCount, &tObjects)",
                    " ->delete_deluxe_check(iObjectsCount, tObjects)",
                    " ->KELD_GetPreferenceValue(KELD_DELBackupTopDirCentral, "
                    "&szCentralBackupDir, NULL)",
                    " ->KELD_GetPreferenceArray(KELD_DEL_DELUXE_TYPES, &iDsTypeCount, "
                    "&DsTypeList, MV_preference_site)",
                    " ->KELD_isObjectOfClass(object, \"Folder\", &lIsFolder)",
                    " ->KELD_isObjectOfClass(object, \"Dataset\", &lIsDataset)",
                    " ->check_folder(object)", " ->DIR_ask_size(tFolder, &iNumberOfEntries)",
                    " ->KELD_isObjectOfClass(object, \"Folder\", &lIsFolder)",
                    " ->KELD_isObjectOfClass(object, \"Dataset\", &lIsDataset)",
                    " ->OBJ_ask_value_string(object, \"object_type\", &sObjectType)"));
    EXPECT_EQ(0, world.log().back().depth);
}

TEST_F(DeleteChecks, ARunMakesItsCallsInOrder) {
    const tag_t revision = usedRevision("1");
    const tag_t folder = folderWith("letters", revision), dataset = part(revision);
    world.name(folder, "folder");
    world.name(dataset, "part");
    world.name(revision, "1/A");
    std::vector<std::string> shown;
    for (const std::string& call : world.calls([&] { (void)service({folder, dataset}); }))
        if (!call.starts_with("DBO_") && !call.starts_with("MVTYPE_"))
            shown.push_back(call);
    EXPECT_THAT(
        shown,
        ElementsAre(
            "SVCARG_get_tag_array_argument()", "OPT_ask_char_value(KELD_DELBackupTopDirCentral, 0)",
            "OPT_ask_char_values(KELD_DEL_DELUXE_TYPES)", "DIR_ask_size(folder)",
            "OBJ_UIF_ask_value(folder, object_name)", "ERR_store_error_s1(3, 919500, letters)",
            "OBJ_ask_value_string(part, object_type)", "REL_find_relation_type(VANE_specification)",
            "REL_list_primary_objects_only(part)", "STR_where_used_all(1/A, 1)",
            "OBJ_UIF_ask_value(part, object_name)"));
    shown.clear();
    for (const std::string& call : world.calls([&] { (void)service({dataset}); }))
        if (call.starts_with("OPT_") || call.starts_with("REL_find"))
            shown.push_back(call);
    EXPECT_THAT(shown, IsEmpty());  // kept for the process
}

TEST_F(DeleteChecks, OnlyTheArgumentsStayAllocated) {
    configureBackup();
    const tag_t folder = folderWith("letters", world.item("1").item);
    const tag_t refused = part(usedRevision("2"));
    const tag_t saved_part = drawing(world.item("3").revision);
    (void)service({saved_part});  // the preferences are kept
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, service({saved_part}));
    EXPECT_EQ(before + 1, world.blocks());
    EXPECT_EQ(919500, service({refused, folder}));
    EXPECT_EQ(before + 2, world.blocks());
    EXPECT_EQ(0, delete_deluxe_check(0, nullptr));
    EXPECT_EQ(before + 2, world.blocks());
}

TEST_F(DeleteChecks, TheServiceIsBetweenItsScopeLines) {
    EXPECT_EQ(0, service({}));
    const auto log = world.log();
    ASSERT_GE(log.size(), 2u);
    EXPECT_TRUE(log.front().text.starts_with(" ->KELD_DeleteDeluxe ")) << log.front().text;
    EXPECT_TRUE(log.back().text.starts_with(" <-KELD_DeleteDeluxe ")) << log.back().text;
}

TEST_F(DeleteChecks, NullPointersAreTaken) {
    EXPECT_EQ(0, delete_deluxe_check(3, nullptr));
    EXPECT_EQ(0, delete_deluxe_check(-1, nullptr));
    EXPECT_EQ(0, check_dataset(part(world.item("1").revision), nullptr));
    world.bench.sendArguments({std::vector<tag_t>{}});
    EXPECT_EQ(0, KELD_DeleteDeluxe(nullptr));
    EXPECT_NE(0, check_folder(NULLTAG));
    EXPECT_NE(0, check_revision(NULLTAG, NULLTAG));
}

TEST_F(DeleteChecks, AnArgumentThatCannotBeReadEndsTheServiceAtOnce) {
    configureBackup();
    world.bench.sendArguments({std::string("no list")});
    int result = 99;
    const auto calls = world.calls([&] { EXPECT_EQ(710019, KELD_DeleteDeluxe(&result)); });
    EXPECT_EQ(0, result);
    EXPECT_THAT(calls, ElementsAre("SVCARG_get_tag_array_argument()"));
    EXPECT_TRUE(fs::is_empty(top));
}
