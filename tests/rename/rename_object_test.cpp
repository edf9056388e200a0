// New name and description of one object.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::settings;

namespace {

class RenameObject : public world::RenameTest {
protected:
    RenameObject() {
        dataset = world::called(world, world.dataset("plan ABC"), "plan ABC");
        world.put(dataset, "object_desc", "about ABC");
        world.name(dataset, "ds");
    }
    int run(tag_t object) {
        changed = false;
        return CKELD_ReName::RenameObj(object, "XYZ", "ABC", &changed, "Plate", "flat", "Disc",
                                       "round", "Item", "R");
    }
    int runExtended(tag_t object) {
        changed = false;
        return CKELD_ReName::RenameObjExtended(object, "XYZ", "2", "ABC", "1", &changed, "Plate",
                                               "flat", "Disc", "round", "Item", "R");
    }
    // Second lines of texts of two.
    world::Lines continued() {
        world::Lines found;
        for (const world::LogLine& line : world.log())
            if (line.level == ' ')
                found.push_back(line.text);
        return found;
    }
    std::string name(tag_t object) { return world.storedText(object, "object_name"); }
    std::string description(tag_t object) { return world.storedText(object, "object_desc"); }

    tag_t dataset = NULLTAG;
    logical changed = false;
};

}  // namespace

TEST_F(RenameObject, ADatasetIsLockedNamedSavedAsADatasetAndReleased) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(dataset)); });
    EXPECT_THAT(calls,
                ElementsAre("OBJ_refresh(ds, false)", "ENT_ask_name(ds)", "ENT_ask_object_type(ds)",
                            "OBJ_refresh(ds, true)", "ENT_set_name(ds, plan XYZ)",
                            "DBO_class_of_instance(ds)", "DBO_name_of_class()",
                            "DST_save_myself(ds)", "OBJ_refresh(ds, false)"));
    EXPECT_TRUE(changed);
    EXPECT_EQ("plan XYZ", name(dataset));
    EXPECT_EQ("about ABC", description(dataset));
    EXPECT_FALSE(world.locked(dataset));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(RenameObject, AnyOtherObjectIsSavedAsAnObject) {
    const tag_t form = world::called(world, world.bench.createForm("Form", ""), "sheet ABC");
    world.name(form, "form");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(form)); });
    EXPECT_THAT(world::only(calls, {"OBJ_save", "DST_save"}), ElementsAre("OBJ_save(form)"));
    EXPECT_EQ("sheet XYZ", name(form));
}

TEST_F(RenameObject, TheDescriptionIsAskedOnlyUnderAModeAndSetAfterTheName) {
    settings(world, {"ChangeObjectDescription.Item.R.Text=1"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(dataset)); });
    EXPECT_THAT(calls,
                ElementsAre("OBJ_refresh(ds, false)", "ENT_ask_name(ds)", "ENT_ask_object_type(ds)",
                            "OBJ_refresh(ds, true)", "ENT_set_name(ds, plan XYZ)",
                            "ENT_ask_description(ds)", "ENT_set_description(ds, about XYZ)",
                            "DBO_class_of_instance(ds)", "DBO_name_of_class()",
                            "DST_save_myself(ds)", "OBJ_refresh(ds, false)"));
    EXPECT_EQ("about XYZ", description(dataset));
}

TEST_F(RenameObject, WithBothModesZeroNothingIsLocked) {
    settings(world, {"ChangeObjectName.Item.R.Text=0"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(dataset)); });
    EXPECT_THAT(calls, ElementsAre("OBJ_refresh(ds, false)", "ENT_ask_name(ds)",
                                   "ENT_ask_object_type(ds)"));
    EXPECT_FALSE(changed);
    EXPECT_FALSE(world.locked(dataset));
}

TEST_F(RenameObject, AnUnchangedObjectIsNotWrittenAndKeepsItsLock) {
    world::called(world, dataset, "plan");
    world.name(dataset, "ds");
    changed = true;
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(dataset)); });
    EXPECT_THAT(calls, ElementsAre("OBJ_refresh(ds, false)", "ENT_ask_name(ds)",
                                   "ENT_ask_object_type(ds)", "OBJ_refresh(ds, true)"));
    EXPECT_FALSE(changed);
    EXPECT_TRUE(world.locked(dataset));
}

TEST_F(RenameObject, ALockOfTheSessionIsGivenUpAtTheStart) {
    settings(world, {"ChangeObjectName.Item.R.Text=0"});
    ASSERT_EQ(0, run(dataset));
    world::called(world, dataset, "plan");
    settings(world, {});
    ASSERT_EQ(0, run(dataset));
    ASSERT_TRUE(world.locked(dataset));
    settings(world, {"ChangeObjectName.Item.R.Text=0"});
    ASSERT_EQ(0, run(dataset));
    EXPECT_FALSE(world.locked(dataset));
}

TEST_F(RenameObject, AnEqualNewIdIsSetAndSavedWithoutVisibleChange) {
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, CKELD_ReName::RenameObj(dataset, "ABC", "ABC", &changed, nullptr, nullptr,
                                             nullptr, nullptr, "Item", "R"));
    });
    EXPECT_THAT(world::only(calls, {"ENT_set", "DST_save"}),
                ElementsAre("ENT_set_name(ds, plan ABC)", "DST_save_myself(ds)"));
    EXPECT_TRUE(changed);
}

TEST_F(RenameObject, AnUnreadableNameIsNoFailureAndPassesTheObjectOver) {
    world.fail("ENT_ask_name");
    changed = true;
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, CKELD_ReName::RenameObj(dataset, "XYZ", "ABC", nullptr, nullptr, nullptr,
                                             nullptr, nullptr, "Item", "R"));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_refresh(ds, false)", "ENT_ask_name(ds)"));
    EXPECT_THAT(world.lines(), Contains("CKELD_ReName::RenameObj: ENT_ask_name von tag=" +
                                        std::to_string(dataset) + " iRetcode=4711"));
    EXPECT_THAT(world::traced(world), ElementsAre("OBJ_refresh(...)"));
    EXPECT_EQ("plan ABC", name(dataset));
    world.fail("ENT_ask_name");
    world.clearLog();
    EXPECT_EQ(0, runExtended(dataset));
    EXPECT_THAT(world.lines(), Contains("CKELD_ReName::RenameObjExtended: ENT_ask_name von tag=" +
                                        std::to_string(dataset) + " iRetcode=4711"));
}

TEST_F(RenameObject, TracesItsTextsInOrder) {
    settings(world, {"ChangeObjectDescription.Item.R.Text=1"});
    ASSERT_EQ(0, run(dataset));
    auto lines = world.lines();
    std::erase_if(lines, [](const std::string& line) {
        return line.starts_with("CKELD_ReName::ChangeString:");
    });
    EXPECT_THAT(lines, ElementsAre("CKELD_ReName::RenameObj: tagObj=" + std::to_string(dataset),
                                   "CKELD_ReName::RenameObj: pcNewId=XYZ",
                                   "CKELD_ReName::RenameObj: pcOldId=ABC",
                                   "CKELD_ReName::RenameObj: pcOldName=Plate",
                                   "CKELD_ReName::RenameObj: pcOldDesc=flat",
                                   "CKELD_ReName::RenameObj: pcNewName=Disc",
                                   "CKELD_ReName::RenameObj: pcNewDesc=round",
                                   "CKELD_ReName::RenameObj:Text:plan ABC",
                                   "CKELD_ReName::RenameObj set new name=plan XYZ",
                                   "CKELD_ReName::RenameObj set new desc=about XYZ"));
    EXPECT_THAT(continued(), ElementsAre("\ttausche:ABC->XYZ"));
    EXPECT_THAT(
        world::traced(world),
        ElementsAre("OBJ_refresh(...)", "ENT_ask_object_type(...)", "OBJ_refresh(...)",
                    "ENT_set_name(...)", "ENT_ask_description(...)", "ENT_set_description(...)",
                    "KELD_isObjectOfClass(...)", "DST_save_myself(...)", "OBJ_refresh(...)"));
}

TEST_F(RenameObject, TheExtendedFormTracesBothIds) {
    world::called(world, dataset, "plan ABC/1");
    settings(world, {"ChangeObjectDescription.Item.R.Text=1"});
    ASSERT_EQ(0, runExtended(dataset));
    const auto lines = world.lines();
    for (const char* text :
         {"pcNewItemId=XYZ", "pcNewRevId=2", "pcOldItemId=ABC", "pcOldRevId=1", "pcNewName=Disc",
          "pcNewDesc=round", "pcOldName=Plate", "pcOldDesc=flat"})
        EXPECT_THAT(lines, Contains(std::string("CKELD_ReName::RenameObjExtended: ") + text));
    EXPECT_THAT(lines,
                Contains("CKELD_ReName::RenameObjExtended: tagObj=" + std::to_string(dataset)));
    EXPECT_THAT(lines, Contains("CKELD_ReName::RenameObjExtended:Text:plan ABC/1"));
    EXPECT_THAT(continued(), ElementsAre("\ttausche:ABC und 1->XYZ und 2"));
    EXPECT_THAT(lines, Contains("CKELD_ReName::RenameObjExtended set new name=plan XYZ/2"));
    EXPECT_THAT(lines, Contains("CKELD_ReName::RenameObjExtended set new desc=about XYZ"));
    EXPECT_EQ("plan XYZ/2", name(dataset));
}

TEST_F(RenameObject, TheExtendedFormLeavesANameWithoutTheItemId) {
    world::called(world, dataset, "plan 1");
    ASSERT_EQ(0, runExtended(dataset));
    EXPECT_EQ("plan 1", name(dataset));
    EXPECT_FALSE(changed);
    EXPECT_TRUE(world.locked(dataset));
}

TEST_F(RenameObject, NullTextsAreShownAsNullAndAllFromTheFlagOnMayBeNull) {
    EXPECT_EQ(0, CKELD_ReName::RenameObj(dataset, "XYZ", "ABC", nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr, nullptr));
    EXPECT_THAT(world.lines(), Contains("CKELD_ReName::RenameObj: pcOldName=(null)"));
    EXPECT_THAT(world.lines(), Contains("CKELD_ReName::RenameObj: pcNewDesc=(null)"));
    EXPECT_EQ("plan XYZ", name(dataset));
    EXPECT_EQ(
        0, CKELD_ReName::RenameObjExtended(dataset, "DEF", nullptr, "XYZ", nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ("plan DEF", name(dataset));
}

// ---- length ----

TEST_F(RenameObject, AGrownNameIsCutAt128CharactersSilently) {
    const std::string rest(117, 'r');
    world::called(world, dataset, "ABC" + rest);
    const std::string new_id = "XYZ" + std::string(20, 'n');
    logical set = false;
    ASSERT_EQ(0, CKELD_ReName::RenameObj(dataset, new_id.c_str(), "ABC", &set, nullptr, nullptr,
                                         nullptr, nullptr, "Item", "R"));
    EXPECT_EQ((new_id + rest).substr(0, 128), name(dataset));
    EXPECT_TRUE(set);
    EXPECT_THAT(world.lines("EW"), IsEmpty());
    EXPECT_THAT(world.lines(),
                Contains("CKELD_ReName::RenameObj set new name=" + (new_id + rest).substr(0, 128)));
}

TEST_F(RenameObject, AGrownDescriptionIsCutAt240CharactersSilently) {
    settings(world, {"ChangeObjectDescription.Item.R.Text=1"});
    const std::string rest(237, 'r');
    world.put(dataset, "object_desc", "ABC" + rest);
    ASSERT_EQ(0, CKELD_ReName::RenameObjExtended(dataset, "WXYZ", "2", "ABC", "1", &changed, "", "",
                                                 "", "", "Item", "R"));
    EXPECT_EQ("WXYZ" + rest.substr(0, 236), description(dataset));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(RenameObject, TheCutIsAtTheByteAlsoInsideACharacter) {
    world::called(world, dataset, "ABC" + std::string(123, 'r') + "\xC3\xBC");
    ASSERT_EQ(
        0, CKELD_ReName::RenameObj(dataset, "VXYZ", "ABC", &changed, "", "", "", "", "Item", "R"));
    EXPECT_EQ("VXYZ" + std::string(123, 'r') + "\xC3", name(dataset));
}

TEST_F(RenameObject, LongestTextsStayWhole) {
    settings(world, {"ChangeObjectDescription.Item.R.Text=1"});
    world::called(world, dataset, "ABC" + std::string(125, 'r'));
    world.put(dataset, "object_desc", "ABC" + std::string(237, 'r'));
    ASSERT_EQ(0, run(dataset));
    EXPECT_EQ("XYZ" + std::string(125, 'r'), name(dataset));
    EXPECT_EQ("XYZ" + std::string(237, 'r'), description(dataset));
}

TEST_F(RenameObject, AnOverlongNewItemTextIsCutLikeAGrownOne) {
    settings(world, {"ChangeObjectName.Item.R.Text=4", "ChangeObjectDescription.Item.R.Text=4"});
    world::called(world, dataset, "Plate");
    world.put(dataset, "object_desc", "flat");
    const std::string huge(3000, 'h');
    ASSERT_EQ(0, CKELD_ReName::RenameObj(dataset, "XYZ", "ABC", &changed, "Plate", "flat",
                                         huge.c_str(), huge.c_str(), "Item", "R"));
    EXPECT_EQ(huge.substr(0, 128), name(dataset));
    EXPECT_EQ(huge.substr(0, 240), description(dataset));
    EXPECT_THAT(world.lines("E"), IsEmpty());
}
