// Which related objects take part in a rename, in the test pass and in the modifying one.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::settings;

namespace {

class RelatedObject : public world::RenameTest {
protected:
    RelatedObject() {
        item = world.item("ABC").item;
        world.bench.defineRelationType("VANE_ref");
        dataset = related("plan ABC", "VANE_reference");
        world.name(dataset, "ds");
    }
    tag_t related(const std::string& name, const std::string& relation) {
        const tag_t made = world.dataset(name);
        world.bench.relate(item, made, relation);
        return made;
    }
    // Action 11 is the test pass, 15 the modifying one.
    int run(tag_t secondary, int action, const char* excluded = ";;VANE_based_on;",
            const char* new_revision = nullptr) {
        return CKELD_ReName::ProcessRelatedObj(world::entryOf(item, secondary), excluded, "Item",
                                               action, "ABC", "1", "Plate", "flat", "XYZ",
                                               new_revision, "Disc", "round", &changed);
    }
    std::string name(tag_t object) { return world.storedText(object, "object_name"); }

    tag_t item = NULLTAG, dataset = NULLTAG;
    logical changed = false;
};

}  // namespace

TEST_F(RelatedObject, TheTestPassAsksAndChangesNothing) {
    const auto entry = world::entryOf(item, dataset);
    const std::string before = world.everything();
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, CKELD_ReName::ProcessRelatedObj(entry, ";;", "Item", 11, "ABC", "1", "", "",
                                                     "XYZ", nullptr, "", "", &changed));
    });
    EXPECT_THAT(calls,
                ElementsAre("MVTYPE_ask_name()", "DBO_class_of_instance(ds)", "DBO_name_of_class()",
                            "MVTYPE_find_type(Dataset, WorkspaceObject)",
                            "DBO_class_of_instance(ds)", "DBO_name_of_class()",
                            "MVTYPE_find_type(Dataset, icm0)", "OBJ_ask_if_modifiable(ds)",
                            "CKO_is_checked_out(ds)", "ENT_ask_object_type(ds)"));
    EXPECT_EQ(before, world.everything());
    EXPECT_FALSE(changed);
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(RelatedObject, TheTestPassRefusesWhatCantBeChanged) {
    world::writeProtect(world, dataset);
    EXPECT_EQ(919342, run(dataset, 11));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
    EXPECT_THAT(world.lines(), Contains("bTestOnly = 1, modify=0, ignore=0"));
}

TEST_F(RelatedObject, WhatIsCheckedOutIsRefusedAlsoForItsUser) {
    world.bench.checkOut(dataset, "");
    EXPECT_EQ(919342, run(dataset, 11));
}

TEST_F(RelatedObject, ASettingLetsTheTestPassGoOnWithoutWriteAccess) {
    world::writeProtect(world, dataset);
    settings(world, {"IgnoreNoWriteAccess.Item.VANE_reference.Text=1"});
    EXPECT_EQ(0, run(dataset, 11));
    EXPECT_THAT(world.lines(), Contains("bTestOnly = 1, modify=0, ignore=1"));
    EXPECT_THAT(world::stack(world), IsEmpty());
}

TEST_F(RelatedObject, TheSettingWaivesTheTestButNotTheAttempt) {
    world::writeProtect(world, dataset);
    settings(world, {"IgnoreNoWriteAccess.Item.VANE_reference.Text=1"});
    EXPECT_EQ(mervane::kNotAllowed, run(dataset, 15));
    EXPECT_EQ("plan ABC", name(dataset));
}

TEST_F(RelatedObject, TheModifyingPassPassesOverWhatCantBeChanged) {
    world::writeProtect(world, dataset);
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(dataset, 15)); });
    EXPECT_EQ("plan ABC", name(dataset));
    EXPECT_FALSE(changed);
    EXPECT_THAT(world::only(calls, {"OBJ_refresh", "ENT_set"}), IsEmpty());
    EXPECT_THAT(world::stack(world), IsEmpty());
    EXPECT_THAT(world.lines(), Contains("bTestOnly = 0, modify=0, ignore=0"));
}

TEST_F(RelatedObject, OnlyTheFirstCharacterOfTheSettingCountsAndNoOtherKey) {
    world::writeProtect(world, dataset);
    for (const char* line : {"IgnoreNoWriteAccess.Item.VANE_reference.Text=0",
                             "IgnoreNoWriteAccess.Item.VANE_reference.Text=true",
                             "IgnoreNoWriteAccess.Item.VANE_reference=1", "IgnoreNoWriteAccess=1",
                             "IgnoreNoWriteAccess.ItemRevision.VANE_reference.Text=1"}) {
        settings(world, {line});
        EXPECT_EQ(919342, run(dataset, 11)) << line;
    }
    settings(world, {"IgnoreNoWriteAccess.Item.VANE_reference.Text=1 or so"});
    EXPECT_EQ(0, run(dataset, 11));
}

TEST_F(RelatedObject, AnUnreadableTypeMeansNoIgnoring) {
    settings(world, {"IgnoreNoWriteAccess.Item.VANE_reference.Text=1"});
    EXPECT_TRUE(CKELD_ReName::IgnoreNoWriteAccess("Item", "VANE_reference", dataset));
    world.fail("ENT_ask_object_type");
    EXPECT_FALSE(CKELD_ReName::IgnoreNoWriteAccess("Item", "VANE_reference", dataset));
    world.failNothing();
    EXPECT_FALSE(CKELD_ReName::IgnoreNoWriteAccess("Item", "VANE_reference", NULLTAG));
}

TEST_F(RelatedObject, AnExcludedRelationIsSkippedBeforeTheObjectIsLookedAt) {
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, run(dataset, 15, ";VANE_reference;VANE_based_on;")); });
    EXPECT_THAT(world::only(calls, {"DBO_", "OBJ_", "ENT_"}), IsEmpty());
    EXPECT_THAT(world.lines(), ElementsAre("Rename Skip Relation:VANE_reference"));
    EXPECT_EQ("plan ABC", name(dataset));
}

TEST_F(RelatedObject, APartOfAnExcludedNameIsExcludedToo) {
    const tag_t part = related("part ABC", "VANE_ref");
    EXPECT_EQ(0, run(part, 15, ";VANE_reference;VANE_based_on;"));
    EXPECT_EQ("part ABC", name(part));
    // Not the other way round.
    EXPECT_EQ(0, run(dataset, 15, ";VANE_ref;VANE_based_on;"));
    EXPECT_EQ("plan XYZ", name(dataset));
}

TEST_F(RelatedObject, WithoutASettingTheBasedOnRelationAndPartsOfItsNameAreSkipped) {
    settings(world, {"ExcludeItemRelations="});
    for (const char* relation : {"based_on", "VANE", "VANE_based_on2"})
        world.bench.defineRelationType(relation);
    const tag_t origin = related("origin ABC", "VANE_based_on"),
                part = related("p ABC", "based_on"), start = related("s ABC", "VANE"),
                more = related("m ABC", "VANE_based_on2");
    ASSERT_EQ(0, CKELD_ReName::RenameItem(item, "XYZ", "", ""));
    EXPECT_EQ("origin ABC", name(origin));
    EXPECT_EQ("p ABC", name(part));
    EXPECT_EQ("s ABC", name(start));
    EXPECT_EQ("m XYZ", name(more));
    EXPECT_EQ("plan XYZ", name(dataset));
}

TEST_F(RelatedObject, WhatIsNeitherWorkspaceNorClassificationObjectIsSkipped) {
    const tag_t person = world.bench.create("Person");
    world.bench.relate(item, person, "VANE_reference");
    for (const int action : {11, 15}) {
        world.clearLog();
        EXPECT_EQ(0, run(person, action));
        EXPECT_THAT(
            world.lines(),
            ElementsAre("Rename Skip non WorkspaceObjects/ICOs in Relation:VANE_reference"));
    }
}

TEST_F(RelatedObject, TheModifyingPassRenamesAndTracesTheType) {
    EXPECT_EQ(0, run(dataset, 15));
    EXPECT_EQ("plan XYZ", name(dataset));
    EXPECT_TRUE(changed);
    EXPECT_THAT(world.lines(), Contains("bTestOnly = 0, modify=1, ignore=0"));
    EXPECT_THAT(world.lines(), Contains("RenameAttachment:Text"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(RelatedObject, TheTracedCallsOfAFormAreThoseOfOneObject) {
    const tag_t form = world.bench.createForm("Form", "sheet ABC");
    world.bench.relate(item, form, "VANE_reference");
    const auto entry = world::entryOf(item, form);
    world.clearLog();
    ASSERT_EQ(0, CKELD_ReName::ProcessRelatedObj(entry, ";;", "Item", 15, "ABC", "1", "Plate", "",
                                                 "XYZ", nullptr, "", "", &changed));
    EXPECT_THAT(
        world::only(world::traced(world, 0), {"KELD_MVTYPE", "KELD_is", "ENT_"}),
        ElementsAre("KELD_MVTYPE_ask_name(RelationInfo.relation_type, cRelTypeName)",
                    "KELD_isObjectOfClass(RelationInfo.secondary, \"WorkspaceObject\", &lIsWSO)",
                    "KELD_isObjectOfClass(RelationInfo.secondary, \"icm0\", &lIsICO)",
                    testing::StartsWith("ENT_ask_object_type(secondary, "),
                    "ENT_ask_id_string(secondary, &szOrigObjName)",
                    "ENT_ask_object_type(secondary, cObjType)",
                    // the object itself
                    "ENT_ask_object_type(...)", "ENT_set_name(...)", "KELD_isObjectOfClass(...)",
                    // and what follows
                    "KELD_isObjectOfClass(secondary, \"Dataset\", &lIsDataset)"));
}

TEST_F(RelatedObject, OnlyARevisionIdMakesTheExtendedRename) {
    world::called(world, dataset, "plan ABC/1");
    EXPECT_EQ(0, run(dataset, 7, ";;", "2"));
    EXPECT_EQ("plan XYZ/2", name(dataset));
}

TEST_F(RelatedObject, TheExtendedModeWithoutRevisionIdRenamesByTheItemIdAlone) {
    world::called(world, dataset, "plan ABC/1");
    EXPECT_EQ(0, run(dataset, 7));
    EXPECT_EQ("plan XYZ/1", name(dataset));
}

TEST_F(RelatedObject, TheIdOnlyModeLeavesTheRevisionId) {
    world::called(world, dataset, "plan ABC/1");
    EXPECT_EQ(0, run(dataset, 15, ";;", "2"));
    EXPECT_EQ("plan XYZ/1", name(dataset));
}

TEST_F(RelatedObject, AnUnchangedDatasetHasNoNamedReferenceWork) {
    world::called(world, dataset, "plan");
    changed = true;
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(dataset, 15)); });
    EXPECT_FALSE(changed);
    EXPECT_THAT(world::only(calls, {"DST_", "ERR_", "FIL_"}), IsEmpty());
    EXPECT_TRUE(world.locked(dataset));
}

TEST_F(RelatedObject, WithoutAPlaceForTheFlagNoNamedReferenceFollows) {
    const tag_t file = world.bench.addFile(dataset, "Text", world::someFile(), "plan ABC.txt");
    EXPECT_EQ(
        0, CKELD_ReName::ProcessRelatedObj(world::entryOf(item, dataset), ";;", "Item", 15, "ABC",
                                           "1", "", "", "XYZ", nullptr, "", "", nullptr));
    EXPECT_EQ("plan XYZ", name(dataset));
    EXPECT_EQ("plan ABC.txt", world.storedText(file, "original_file_name"));
}

TEST_F(RelatedObject, TheModesOfPrimaryTypeRelationAndTypeAreUsed) {
    settings(world, {"ChangeObjectName.Item.VANE_reference.Text=4",
                     "ChangeObjectDescription.Item.VANE_reference.Text=4"});
    world::called(world, dataset, "Plate");
    world.put(dataset, "object_desc", "flat");
    EXPECT_EQ(0, run(dataset, 15));
    EXPECT_EQ("Disc", name(dataset));
    EXPECT_EQ("round", world.storedText(dataset, "object_desc"));
}

TEST_F(RelatedObject, AnUnknownObjectIsAFailure) {
    rel_entry_s entry = world::entryOf(item, dataset);
    entry.secondary = 999999;
    for (const int action : {11, 15})
        EXPECT_EQ(mervane::kUnknownObject,
                  CKELD_ReName::ProcessRelatedObj(entry, ";;", "Item", action, "ABC", "1", "", "",
                                                  "XYZ", nullptr, "", "", &changed));
}
