// What the attribute pass and the action pass do to one object.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "platform/keld_se.h"
#include "platform/mv_obj.h"
#include "tests/support/patterns.h"
#include "tests/support/world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using world::World;

namespace {

class Actions : public testing::Test {
protected:
    Actions() {
        made = world.item("000100");
        world.name(made.item, "item");
        world.name(made.revision, "rev");
    }
    int run(tag_t object, const char* type, const std::string& sections) {
        world.ini("[SelectWSO]\nItem=1\nItemRevision=1\nDataset=1\nFolder=1\nText=1\nBOMLine=1\n" +
                  sections);
        world.clearLog();
        return KELD_StatusManager_ManageStatus(object, type, "S");
    }
    // Messages above the trace, without those of traced calls that failed.
    std::vector<std::string> messages() {
        std::vector<std::string> found;
        for (const std::string& line : world.lines("EW"))
            if (!line.starts_with("##QSK_"))
                found.push_back(line);
        return found;
    }

    World world;
    world::ItemTags made;
};

}  // namespace

TEST_F(Actions, WithoutKeysDoNothing) {
    const std::string before = world.everything();
    EXPECT_EQ(0, run(made.revision, "ItemRevision", "[S_ItemRevision]\n"));
    EXPECT_EQ(before, world.everything());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Actions, FillTheMasterFormOfAnItemAndOfARevision) {
    EXPECT_EQ(0, run(made.item, "Item",
                     "[S_Item]\nSetAttributes=MasterForm\n"
                     "[S_Item_MasterForm]\nSetDefault=user_data_1=of the item\n"));
    EXPECT_EQ("of the item", world.storedText(world.masterForm(made.item), "user_data_1"));
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nSetAttributes=MasterForm\n"
                     "[S_ItemRevision_MasterForm]\nSetDefault=user_data_1=of the revision\n"));
    EXPECT_EQ("of the revision", world.storedText(world.masterForm(made.revision), "user_data_1"));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Actions, KnowNoOtherFormOfAnItem) {
    EXPECT_EQ(0, run(made.item, "Item",
                     "[S_Item]\nSetAttributes=masterform;Spec;MasterForm\n"
                     "[S_Item_MasterForm]\nSetDefault=user_data_1=x\n"));
    EXPECT_THAT(messages(),
                ElementsAre("Form:masterform not supported", "Form:Spec not supported"));
    EXPECT_EQ("x", world.storedText(world.masterForm(made.item), "user_data_1"));
}

TEST_F(Actions, FillAFormThatADatasetRefersTo) {
    world.bench.defineDatasetType("Sheet", "TextEditor", {"TEXT"}, {"Values", "File"});
    const tag_t dataset = world.dataset("sheet", "Sheet");
    const tag_t form = world.bench.createForm("Item Master", "values");
    world.bench.addNamedReference(dataset, "Values", form);
    EXPECT_EQ(0, run(dataset, "Dataset",
                     "[S_Dataset]\nSetAttributes=File;Values\n"
                     "[S_Dataset_Values]\nSetDefault=user_data_1=x\n"));
    EXPECT_THAT(messages(), ElementsAre("NamedRefForm:File not found and cant create"));
    EXPECT_EQ("x", world.storedText(form, "user_data_1"));
}

TEST_F(Actions, AMissingFormKeepsNoStatusFromBeingSet) {
    const tag_t dataset = world.dataset("text");
    EXPECT_EQ(0, run(dataset, "Text", "[S_Text]\nSetAttributes=Values\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(messages(), ElementsAre("NamedRefForm:Values not found and cant create"));
    EXPECT_THAT(world.statuses(dataset), ElementsAre("Frozen"));
}

TEST_F(Actions, PassOverOtherClassesWithoutAWord) {
    world.bench.defineClass("KeldItem", "Item", {});
    const tag_t below = world.item("000200", "KeldItem").item;
    const tag_t folder = world.bench.createFolder("f");
    for (const tag_t object : {below, folder}) {
        const auto calls = world.calls([&] {
            EXPECT_EQ(0, run(object, "Folder", "[S_Folder]\nSetAttributes=MasterForm;Values\n"));
        });
        EXPECT_THAT(messages(), IsEmpty());
        EXPECT_THAT(calls, Not(Contains(StartsWith("OBJ_refresh"))));
    }
}

TEST_F(Actions, ApplyTheKeysOfAFormInTheirOrder) {
    const tag_t form = world.masterForm(made.item);
    world.name(form, "form");
    std::string section = "[S_Item]\nSetAttributes=MasterForm\n[S_Item_MasterForm]\n";
    const std::pair<const char*, const char*> keys[] = {
        {"SetDefault", "user_data_1=default"}, {"SetActUserId", "user_data_2"},
        {"SetActUserName", "user_data_2"},     {"SetActDate", "user_data_2=%Y"},
        {"SetActDateDate", "effective_date"},  {"Del_Date", "effective_date"},
        {"SetActRevId", "user_data_3"},        {"SetActGroup", "item_comment=item_id"},
        {"SetProp", "project_id=item_id"},
    };
    for (auto key = std::rbegin(keys); key != std::rend(keys); ++key)
        section += std::string(key->first) + "=" + key->second + "\n" + key->first +
                   "OnEmpty=" + key->second + "\n";
    auto calls = world.calls([&] { EXPECT_EQ(0, run(made.item, "Item", section)); });
    calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "OBJ_refresh(form, true)"));
    const auto end = std::find(calls.begin(), calls.end(), "OBJ_refresh(form, false)");
    ASSERT_NE(calls.end(), end);
    calls.erase(end + 1, calls.end());
    for (std::string& call : calls)
        call = call.substr(0, call.find(')'));
    std::tm local{};
    const std::time_t now = std::time(nullptr);
    char year[8];
    std::strftime(year, sizeof(year), "%Y", localtime_r(&now, &local));
    const std::string user = "OBJ_UIF_set_value(form, user_data_2, ";
    const std::vector<std::string> expected = {
        "OBJ_refresh(form, true", "OBJ_UIF_set_value(form, user_data_1, default",
        "OBJ_UIF_ask_value(form, user_data_1",  // is set by now
        "DBO_get_user_id(", user, "DBO_get_user_id(", "OBJ_UIF_ask_value(form, user_data_2",
        "DBO_get_user(", user, "DBO_get_user(", "OBJ_UIF_ask_value(form, user_data_2",
        "TIME_date_to_string(%Y", user + year, "TIME_date_to_string(%Y",
        "OBJ_UIF_ask_value(form, user_data_2", "OBJ_set_value_date(form, effective_date",
        "OBJ_UIF_ask_value(form, effective_date", "OBJ_set_value_date(form, effective_date",
        "OBJ_set_value_date(form, effective_date",
        // the revision id's key takes the group, the group's key a property
        "DBO_ask_group(", "OBJ_UIF_set_value(form, user_data_3, ", "DBO_ask_group(",
        "OBJ_UIF_ask_value(form, user_data_3", "OBJ_UIF_ask_value(item, item_id",
        "OBJ_UIF_set_value(form, item_comment, 000100", "OBJ_UIF_ask_value(item, item_id",
        "OBJ_UIF_ask_value(form, item_comment", "OBJ_save(form", "OBJ_refresh(form, false"};
    ASSERT_EQ(expected.size(), calls.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_THAT(calls[i], StartsWith(expected[i])) << i;
    EXPECT_THAT(world.lines("D"), Contains("SetDefaultValuesByForm1"));
    EXPECT_THAT(world.stored(form, "effective_date"), IsEmpty());
}

TEST_F(Actions, AListThatFailsKeepsNoOtherFromBeingApplied) {
    const tag_t form = world.masterForm(made.item);
    EXPECT_EQ(0, run(made.item, "Item",
                     "[S_Item]\nSetAttributes=MasterForm\nSetReleaseState=Frozen\n"
                     "[S_Item_MasterForm]\nSetDefault=no_such=x\n"
                     "SetDefaultOnEmpty=user_data_1=one\nSetActGroup=user_data_2=item_id\n"));
    EXPECT_EQ("one", world.storedText(form, "user_data_1"));
    EXPECT_EQ("000100", world.storedText(form, "user_data_2"));
    EXPECT_FALSE(world.locked(form));
    EXPECT_THAT(world.statuses(made.item), ElementsAre("Frozen"));
}

TEST_F(Actions, AFormThatCantBeSavedStaysLockedAndTheStatusIsSet) {
    const tag_t form = world.masterForm(made.item);
    world.fail("OBJ_save");
    EXPECT_EQ(0, run(made.item, "Item",
                     "[S_Item]\nSetAttributes=MasterForm\nSetReleaseState=Frozen\n"
                     "[S_Item_MasterForm]\nSetDefault=user_data_1=x\n"));
    EXPECT_TRUE(world.locked(form));
    EXPECT_THAT(world.statuses(made.item), ElementsAre("Frozen"));
    EXPECT_EQ(1u, world.newBlocks());  // the class name
}

TEST_F(Actions, AFormsLockIsGivenUpUnderANameOfItsOwnInTheLog) {
    EXPECT_EQ(0, run(made.item, "Item",
                     "[S_Item]\nSetAttributes=MasterForm\n"
                     "[S_Item_MasterForm]\nSetDefault=user_data_1=x\n"));
    std::vector<std::string> entered;
    for (const world::LogLine& line : world.log())
        if (line.text.starts_with(" ->OBJ_"))
            entered.push_back(line.text.substr(0, line.text.find(')') + 1));
    EXPECT_THAT(entered, ElementsAre(" ->OBJ_refresh(...)", " ->OBJ_UIF_set_value(...)",
                                     " ->OBJ_save(...)", " ->OBJ_unlock(...)"));
    EXPECT_FALSE(world.locked(world.masterForm(made.item)));
}

TEST_F(Actions, AFailedSearchForAReferencedFormCountsAsNone) {
    world.bench.defineDatasetType("Sheet", "TextEditor", {"TEXT"}, {"Values"});
    const tag_t dataset = world.dataset("sheet", "Sheet");
    const tag_t form = world.bench.createForm("Item Master", "values");
    world.bench.addNamedReference(dataset, "Values", form);
    world.fail("DST_ask_all_dataset_named_refs");
    EXPECT_EQ(0, run(dataset, "Dataset",
                     "[S_Dataset]\nSetAttributes=Values;Values\n"
                     "[S_Dataset_Values]\nSetDefault=user_data_1=x\n"));
    EXPECT_THAT(world.lines("EW"), ElementsAre("NamedRefForm:Values not found and cant create"));
    EXPECT_EQ("x", world.storedText(form, "user_data_1"));  // by the second entry
}

TEST_F(Actions, AreDoneInOrderBeforeTheStatusIsSet) {
    const tag_t dataset = world.dataset("text");
    world.bench.relate(dataset, world.dataset("old"), "VANE_reference");
    world.name(dataset, "dataset");
    auto calls = world.calls([&] {
        EXPECT_EQ(0, run(dataset, "Text",
                         "[S_Text]\nSetReleaseState=Frozen\nPurge=1\nSetAttributes=Values\n"
                         "DeleteDatasets=VANE_reference.*\n"));
    });
    std::vector<std::string> steps;
    for (const std::string& call : calls)
        for (const char* step : {"DST_ask_all_dataset_named_refs(dataset", "OBJ_lock(dataset",
                                 "DST_purge_dataset_revs(dataset", "RLS_create_release_status("})
            if (call.starts_with(step))
                steps.push_back(call.substr(0, call.find('(')));
    EXPECT_THAT(steps, ElementsAre("DST_ask_all_dataset_named_refs", "OBJ_lock",
                                   "DST_purge_dataset_revs", "RLS_create_release_status"));
}

// ---- datasets ----

TEST_F(Actions, DeleteNothingWithoutATypeEvenIfNoTypeCanBeRead) {
    const tag_t dataset = world.specification(made.revision, "drawing", "Drawing");
    world.fail("ENT_ask_object_type", 0);
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDeleteDatasets=VANE_specification\n"));
    EXPECT_TRUE(world.exists(dataset));
}

TEST_F(Actions, DeleteTheDatasetsOfARelationWhateverTheirType) {
    const tag_t text = world.specification(made.revision, "text");
    const tag_t drawing = world.specification(made.revision, "drawing", "Drawing");
    const tag_t other = world.dataset("other");
    world.bench.relate(made.revision, other, "VANE_reference");
    world.name(text, "text");
    world.name(drawing, "drawing");
    auto calls = world.calls([&] {
        EXPECT_EQ(0, run(made.revision, "ItemRevision",
                         "[S_ItemRevision]\nDeleteDatasets=VANE_specification.*\n"));
    });
    EXPECT_FALSE(world.exists(text));
    EXPECT_FALSE(world.exists(drawing));
    EXPECT_TRUE(world.exists(other));
    calls.erase(calls.begin(), std::find(calls.begin(), calls.end(), "OBJ_lock(rev)"));
    calls.resize(std::min<std::size_t>(calls.size(), 10));
    EXPECT_THAT(calls,
                ElementsAre("OBJ_lock(rev)", "REL_find_relation_type(VANE_specification)",
                            "REL_list_secondary_objects(rev)", "REL_delete_relation(?)",
                            "OBJ_unload(text)", "DST_delete_all_dataset_revs(text)",
                            "REL_delete_relation(?)", "OBJ_unload(drawing)",
                            "DST_delete_all_dataset_revs(drawing)", "OBJ_refresh(rev, false)"));
    const auto lines = world.lines("D");
    EXPECT_THAT(lines, Contains("Delete Dateset 0"));
    EXPECT_THAT(lines, Contains("Delete Dateset 1"));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Actions, DeleteOnlyDatasetsOfTheTypeNamed) {
    const tag_t text = world.specification(made.revision, "text");
    const tag_t drawing = world.specification(made.revision, "drawing", "Drawing");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDeleteDatasets=VANE_specification.Drawing;"
                     "VANE_specification;VANE_specification.text\n"));
    EXPECT_TRUE(world.exists(text));
    EXPECT_FALSE(world.exists(drawing));
    EXPECT_THAT(world.lines("D"), Contains("Delete Dateset 1 Drawing"));
}

TEST_F(Actions, ADatasetThatCantBeDeletedKeepsNoOtherFromIt) {
    const tag_t first = world.specification(made.revision, "first");
    const tag_t second = world.specification(made.revision, "second");
    world.fail("REL_delete_relation");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDeleteDatasets=VANE_specification.*\n"
                     "SetReleaseState=Frozen\n"));
    EXPECT_TRUE(world.exists(first));
    EXPECT_FALSE(world.exists(second));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Frozen"));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(Actions, ADatasetThatCantBeUnloadedIsDeletedAllTheSame) {
    const tag_t dataset = world.specification(made.revision, "text");
    world.fail("OBJ_unload");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDeleteDatasets=VANE_specification.*\n"));
    EXPECT_FALSE(world.exists(dataset));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(Actions, AFailureBeforeTheDeletionLeavesTheLock) {
    const tag_t dataset = world.specification(made.revision, "first");
    world.fail("REL_list_secondary_objects");
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nDeleteDatasets=VANE_specification.*\n"));
    EXPECT_TRUE(world.exists(dataset));
    EXPECT_TRUE(world.locked(made.revision));
}

TEST_F(Actions, PurgeOldVersionsForTheValueOneAlone) {
    const tag_t dataset = world.dataset("text");
    const tag_t newest = world.bench.createDatasetVersion(dataset);
    world.name(newest, "newest");
    auto purges = [&](const std::string& value) {
        const auto calls = world.calls(
            [&] { EXPECT_EQ(0, run(newest, "Text", "[S_Text]\nPurge=" + value + "\n")); });
        return std::count(calls.begin(), calls.end(), "DST_purge_dataset_revs(newest)");
    };
    EXPECT_EQ(0, purges("0"));
    EXPECT_EQ(0, purges("2"));
    EXPECT_TRUE(world.exists(dataset));
    EXPECT_EQ(1, purges("1"));
    EXPECT_FALSE(world.exists(dataset));
    EXPECT_TRUE(world.exists(newest));
}

TEST_F(Actions, AFailedPurgeStopsTheRunBeforeTheStatus) {
    const tag_t dataset = world.dataset("text");
    world.fail("DST_purge_dataset_revs");
    EXPECT_EQ(4711, run(dataset, "Text", "[S_Text]\nPurge=1\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(world.statuses(dataset), IsEmpty());
}

// ---- workflows ----

TEST_F(Actions, StartAWorkflowOnTheObjectInTheActionPass) {
    world.bench.createProcessTemplate("Release", {"Review", "Approve"});
    const std::time_t before = std::time(nullptr);
    auto calls = world.calls([&] {
        EXPECT_EQ(0, run(made.revision, "ItemRevision",
                         "[S_ItemRevision]\nStartJob=Release\nSetReleaseState=Frozen\n"));
    });
    std::string job;
    for (const std::string& line : world.lines("T"))
        if (line.starts_with("Job name <"))
            job = line.substr(10, line.size() - 11);
    ASSERT_TRUE(job.starts_with("STATMGR_")) << job;
    const std::time_t seconds = std::stol(job.substr(8));
    EXPECT_TRUE(seconds >= before && seconds <= std::time(nullptr));
    ASSERT_GE(calls.size(), 4u);
    calls.erase(calls.begin(),
                std::find(calls.begin(), calls.end(), "FLOW_find_process_template(Release)"));
    ASSERT_GE(calls.size(), 3u);
    EXPECT_THAT(calls[1], StartsWith("FLOW_create_process(" + job + ", S_ItemRevision, ?, 1"));
    EXPECT_THAT(calls[2], StartsWith("RLS_refresh_job("));
    EXPECT_EQ(2u, world.storedTags(made.revision, "process_stage_list").size());
}

TEST_F(Actions, TakeTheStartOfTheJobNameFromTheFile) {
    world.bench.createProcessTemplate("Release", {"Review"});
    const std::string section = "[S_ItemRevision]\nStartJob=Release\nJobPrefix=";
    EXPECT_EQ(0, run(made.revision, "ItemRevision", section + "My \n"));
    EXPECT_THAT(world.lines("T"), Contains(StartsWith("Job name <My")));
    EXPECT_EQ(0, run(made.revision, "ItemRevision", section + std::string(120, 'p') + "\n"));
    EXPECT_THAT(world.lines("T"), Contains("Job name <" + std::string(99, 'p') + ">"));
    EXPECT_THAT(messages(), ElementsAre("Text cut to 99 characters: job name"));
}

TEST_F(Actions, StartAWorkflowOnABomLineAndOnABomViewRevision) {
    world.bench.createProcessTemplate("Release", {"Review"});
    world.occurrence(made.revision, world.item("000200").revision);
    const tag_t top = world.bench.openBomWindow(made.revision);
    EXPECT_EQ(0, run(top, "BOMLine", "[S_BOMLine]\nStartJob=Release\n"));
    EXPECT_EQ(1u, world.storedTags(made.revision, "process_stage_list").size());
    const tag_t bvr = world.bench.bomViewRevision(made.revision);
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nChangeForward=BOM\n[S_BOM]\nStartJob=Release\n"));
    EXPECT_EQ(1u, world.storedTags(bvr, "process_stage_list").size());
}

TEST_F(Actions, AWorkflowThatDoesNotStartStopsNothing) {
    EXPECT_EQ(0, run(made.revision, "ItemRevision",
                     "[S_ItemRevision]\nStartJob=No such\nChangeBack=ItemOfRev\n"
                     "[S_Item]\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(world.statuses(made.item), ElementsAre("Frozen"));
    EXPECT_THAT(world.lines("E"), Contains(StartsWith("##QSK_err_")));
}

// ---- failures ----

// A call that fails, the action that makes it and the traced call that reports it.
TEST(ActionsFailing, NoFailureOfAnActionKeepsTheStatusFromBeingSet) {
    struct Case {
        const char* action;
        const char* operation;
        int n;
        const char* traced;
    };
    const char* const forms = "SetAttributes=MasterForm";
    const char* const datasets = "DeleteDatasets=VANE_specification.*";
    const char* const job = "StartJob=Release";
    const Case cases[] = {
        {forms, "DBO_class_of_instance", 1, "DBO_class_of_instance"},
        {forms, "DBO_name_of_class", 1, "DBO_name_of_class"},
        {forms, "REL_find_relation_type", 1, "KELD_GetMasterForm"},
        {forms, "OBJ_refresh", 1, "SetDefaultValuesByForm1"},
        {forms, "OBJ_save", 1, "SetDefaultValuesByForm1"},
        {forms, "OBJ_refresh", 2, "OBJ_unlock"},
        {datasets, "OBJ_lock", 1, "OBJ_lock"},
        {datasets, "REL_find_relation_type", 1, "REL_find_relation_type"},
        {datasets, "REL_list_secondary_objects", 1, "REL_list_secondary_objects"},
        {datasets, "REL_delete_relation", 1, "REL_delete_relation"},
        {datasets, "DST_delete_all_dataset_revs", 1, "DST_delete_all_dataset_revs"},
        {datasets, "OBJ_refresh", 1, "OBJ_unlock"},
        {job, "FLOW_find_process_template", 1, "FLOW_find_process_template"},
        {job, "FLOW_create_process", 1, "FLOW_create_process"},
        {job, "RLS_refresh_job", 1, "RLS_refresh_job"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(std::string(each.action) + ", " + each.operation);
        World world;
        const tag_t revision = world.item("000100").revision;
        world.specification(revision, "text");
        world.bench.createProcessTemplate("Release", {"Review"});
        world.ini(std::string("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\n") + each.action +
                  "\nSetReleaseState=Frozen\n"
                  "[S_ItemRevision_MasterForm]\nSetDefault=user_data_1=x\n");
        world.fail(each.operation, each.n);
        EXPECT_EQ(0, KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"));
        EXPECT_THAT(world.lines("E"),
                    Contains(StartsWith(std::string("##QSK_err_4711: ") + each.traced +
                                        "(...)   " SHOWN_SOURCE("status", ""))));
        EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
    }
}
