#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_qsktool.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using world::World;

namespace {

class Forms : public testing::Test {
protected:
    Forms() { made = world.item("000100"); }
    tag_t masterForm(tag_t object) {
        tag_t form = 99;
        EXPECT_EQ(0, KELD_GetMasterForm(object, &form));
        return form;
    }

    World world;
    world::ItemTags made;
};

}  // namespace

TEST_F(Forms, ItemsAndRevisionsHaveMasterForms) {
    EXPECT_EQ(world.masterForm(made.item), masterForm(made.item));
    EXPECT_EQ(world.masterForm(made.revision), masterForm(made.revision));
    EXPECT_NE(masterForm(made.item), masterForm(made.revision));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Forms, AnObjectWithoutAMasterFormHasNone) {
    const tag_t folder = world.bench.createFolder("f");
    EXPECT_EQ(NULLTAG, masterForm(folder));
    // Other relations, and objects that are no forms, don't count.
    world.bench.relate(folder, world.bench.createForm("Item Master", "other"), "VANE_reference");
    world.bench.relate(folder, world.dataset("text"), "VANE_master_form");
    EXPECT_EQ(NULLTAG, masterForm(folder));
}

TEST_F(Forms, TheLongerNameOfTheRelationIsHonoured) {
    const tag_t folder = world.bench.createFolder("f");
    const tag_t form = world.bench.createForm("ItemRevision Master", "form");
    world.bench.relate(folder, form, "VANE_master_form_rev");
    EXPECT_EQ(form, masterForm(folder));
}

TEST_F(Forms, TheShorterNameOfTheRelationComesFirst) {
    const tag_t folder = world.bench.createFolder("f");
    const tag_t form = world.bench.createForm("Item Master", "form");
    world.bench.relate(folder, world.bench.createForm("ItemRevision Master", "later"),
                       "VANE_master_form_rev");
    world.bench.relate(folder, form, "VANE_master_form");
    EXPECT_EQ(form, masterForm(folder));
}

TEST_F(Forms, EveryFailureOfTheMasterFormIsReturned) {
    for (const char* operation : {"REL_find_relation_type", "REL_list_secondary_objects_only",
                                  "DBO_class_of_instance", "DBO_name_of_class"}) {
        tag_t form = 99;
        world.fail(operation);
        EXPECT_EQ(4711, KELD_GetMasterForm(made.item, &form)) << operation;
        EXPECT_EQ(99u, form);
        EXPECT_EQ(0u, world.newBlocks());
    }
    EXPECT_NE(0, KELD_GetMasterForm(made.item, nullptr));
}

TEST_F(Forms, AFormIsFoundUnderTheNameOfItsReference) {
    world.bench.defineDatasetType("Sheet", "TextEditor", {"TEXT"}, {"Values", "Other"});
    const tag_t dataset = world.dataset("sheet", "Sheet");
    const tag_t form = world.bench.createForm("Item Master", "values");
    world.name(form, "form");
    world.bench.addNamedReference(dataset, "Values", form);
    tag_t found = 99;
    auto calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_GetNamedRefForm(dataset, "Values", &found, true, nullptr)); });
    EXPECT_EQ(form, found);
    EXPECT_EQ("OBJ_load(form)", calls.back());
    calls = world.calls(
        [&] { EXPECT_EQ(0, KELD_GetNamedRefForm(dataset, "Values", &found, false, nullptr)); });
    EXPECT_NE("OBJ_load(form)", calls.back());
    found = 99;
    EXPECT_EQ(0, KELD_GetNamedRefForm(dataset, "Other", &found, true, nullptr));
    EXPECT_EQ(NULLTAG, found);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Forms, TheFormOfAReferenceIsSetOnEveryOutcome) {
    tag_t found = 99;
    EXPECT_NE(0, KELD_GetNamedRefForm(made.item, "Values", &found, true, nullptr));
    EXPECT_EQ(NULLTAG, found);
    EXPECT_NE(0, KELD_GetNamedRefForm(made.item, nullptr, nullptr, true, nullptr));
}

TEST_F(Forms, AValueIsCutButItsLengthIsTheWholeOne) {
    const tag_t form = world.masterForm(made.item);
    world.put(form, "user_data_1", "abcdef");
    char text[241] = "";
    int length = -1;
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "user_data_1", 240, text, &length));
    EXPECT_STREQ("abcdef", text);
    EXPECT_EQ(6, length);
    char small[5] = {'#', '#', '#', '#', '#'};
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "user_data_1", 3, small, &length));
    EXPECT_STREQ("abc", small);
    EXPECT_EQ('#', small[4]);  // nothing written after the terminator
    EXPECT_EQ(6, length);
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "user_data_1", 0, small, &length));
    EXPECT_STREQ("", small);
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "user_data_1", -1, nullptr, nullptr));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Forms, AnEmptyFieldHasTheLengthZeroAndAnUnknownOneIsAFailure) {
    const tag_t form = world.masterForm(made.item);
    char text[241] = "before";
    int length = -1;
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "user_data_1", 240, text, &length));
    EXPECT_EQ(0, length);
    EXPECT_STREQ("", text);
    for (const char* field : {"no_such", "", static_cast<const char*>(nullptr)})
        EXPECT_NE(0, KELD_SHEET_ask_value(form, field, 240, text, &length));
}

TEST_F(Forms, AFieldOfAnyKindIsAskedAsText) {
    const tag_t form = world.masterForm(made.item);
    world.put(form, "effective_date", date_s{2013, 10, 14, 16, 13, 0});
    char text[241] = "";
    int length = 0;
    EXPECT_EQ(0, KELD_SHEET_ask_value(form, "effective_date", 240, text, &length));
    EXPECT_STREQ("2013-11-14 16:13:00", text);
}
