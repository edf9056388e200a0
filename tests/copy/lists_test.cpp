// The entries of the two lists and their checks.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/mv_rel.h"
#include "tests/copy/lists.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using world::Lists;
using world::stackNumbers;
using world::World;

namespace {

class CopyLists : public testing::Test {
protected:
    CopyLists() {
        defineSheet(world);
        world.bench.defineType("Part", "Item", {});
        world.bench.defineType("Screw", "Part", {});
        world.bench.defineType("Scan", "Text", {});
        world.bench.defineRelationType("Rel");
    }
    int attribute(const char* object, const char* name, logical empty = false) {
        return KELD_add_attribute(&lists.objects, object, name, empty);
    }
    // In the order of a line.
    int relation(const char* primary, const char* name, const char* secondary) {
        return KELD_add_relation_combination(&lists.relations, primary, secondary, name);
    }

    World world;
    Lists lists;
};

using AttributeEntry = CopyLists;
using RelationEntry = CopyLists;

}  // namespace

// ---- attributes ----

TEST_F(AttributeEntry, IsCheckedAgainstTheTypeSystem) {
    EXPECT_EQ(0, attribute("Item", "item_id"));
    EXPECT_EQ(0, attribute("Screw", "item_id", true));      // inherited
    EXPECT_EQ(0, attribute("ItemRevision", "item_id"));     // worked out
    EXPECT_EQ(0, attribute("Item Master", "user_data_1"));  // a form's own
    EXPECT_EQ(0, attribute("WorkspaceObject", "object_name"));
    EXPECT_THAT(lists.attributeEntries(),
                ElementsAre("Item;item_id", "Screw;item_id;null", "ItemRevision;item_id",
                            "Item Master;user_data_1", "WorkspaceObject;object_name"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(AttributeEntry, OfAnUnknownTypeStaysInTheList) {
    for (const char* type : {"Nothing", "item", "Person", "Instance", ""}) {
        world.clearLog();
        EXPECT_EQ(2010, attribute(type, "object_name"));
        EXPECT_THAT(world.lines("E"),
                    ElementsAre(std::string("ERROR: the object type ") + type +
                                " specified in preference does not exist or is no "
                                "WorkspaceObject."));
        EXPECT_THAT(world::stack(world).back(),
                    HasSubstr(std::string("The object type ") + type +
                              " specified in preference does not exist or is no "
                              "WorkspaceObject.\n"));
        EXPECT_EQ(2010, stackNumbers(world).back());
        EXPECT_EQ(std::string(type) + ";object_name", lists.attributeEntries().back());
    }
}

TEST_F(AttributeEntry, OfAnUnknownPropertyStaysInTheList) {
    EXPECT_EQ(2010, attribute("Sheet", "colour", true));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Sheet;colour;null"));
    EXPECT_THAT(
        world.lines("E"),
        ElementsAre("ERROR: the property named colour is not known for object type Sheet."));
    EXPECT_THAT(
        world::stack(world),
        ElementsAre(HasSubstr("The property named colour is not known for object type Sheet.\n")));
}

TEST_F(AttributeEntry, OfANullTextCountsAsEmpty) {
    EXPECT_EQ(2010, attribute(nullptr, "s"));
    EXPECT_EQ(2010, attribute("Sheet", nullptr));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre(";s", "Sheet;"));
}

TEST_F(AttributeEntry, AFailedQuestionIsItsStatus) {
    world.fail("MVTYPE_find_type", 1, 515001);
    EXPECT_EQ(515001, attribute("Sheet", "s"));
    world.fail("MVTYPE_ask_property_by_name", 1, 515002);
    EXPECT_EQ(515002, attribute("Sheet", "s"));
    EXPECT_EQ(2, lists.objects.count);
}

TEST_F(AttributeEntry, AFailedErrorStackChangesNoStatus) {
    world.fail("ERR_store_error_s1", 0, 515001);
    EXPECT_EQ(2010, attribute("Sheet", "colour"));
    EXPECT_EQ(2010, AddAttribute(&lists.objects, "Sheet"));
    EXPECT_EQ(2010, AddRelation(&lists.relations, "Sheet"));
}

TEST_F(AttributeEntry, WithoutMemoryForTheListIsDroppedAndStillChecked) {
    EXPECT_EQ(0, attribute("Sheet", "s"));
    world.bench.failHeapAfter(0);
    EXPECT_EQ(0, attribute("Sheet", "i"));
    EXPECT_EQ(2010, attribute("Sheet", "colour"));
    world.bench.failHeapAfter(std::nullopt);
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Sheet;s"));
    EXPECT_EQ(0, attribute("Sheet", "d"));
    EXPECT_THAT(lists.attributeEntries(), ElementsAre("Sheet;s", "Sheet;d"));
}

TEST_F(AttributeEntry, WithoutMemoryForATextIsStatus2002WithoutAnyCheck) {
    for (std::size_t texts : {0u, 1u}) {
        world.bench.failHeapAfter(1 + texts);
        EXPECT_THAT(world.calls([&] { EXPECT_EQ(2002, attribute("Sheet", "colour")); }), IsEmpty());
        world.bench.failHeapAfter(std::nullopt);
    }
    EXPECT_EQ(2, lists.objects.count);
    EXPECT_EQ(nullptr, lists.objects.object_attributes[0].object_type);
    EXPECT_EQ(nullptr, lists.objects.object_attributes[1].attribute_name);
    // Such an entry harms no copy.
    const tag_t from = world.bench.createForm("Sheet", "from");
    const tag_t to = world.bench.createForm("Sheet", "to");
    (void)CopyAttributes(from, to, lists.objects, lists.relations);
}

// ---- relations ----

TEST_F(RelationEntry, OfAnOrdinaryTypeNeedsARelationType) {
    EXPECT_EQ(0, relation("ItemRevision", "Rel", "Text"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre("ItemRevision;Rel;Text=tag"));
    tag_t expected = NULLTAG;
    EXPECT_EQ(0, REL_find_relation_type("Rel", &expected));
    EXPECT_EQ(expected, lists.relations.relation_combination[0].relation_type_tag);
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(RelationEntry, OfAnUnknownRelationIs35004AndStays) {
    EXPECT_EQ(35004, relation("ItemRevision", "nothing", "Text"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre("ItemRevision;nothing;Text"));
    EXPECT_THAT(stackNumbers(world), ElementsAre(35004));
    EXPECT_EQ(3, world.bench.errorStack()[0].severity);
    EXPECT_THAT(world.lines("E"),
                ElementsAre("ERROR: undefined relation type nothing specified in preference."));
}

TEST_F(RelationEntry, OfAnItemTypeKnowsTheRevisionList) {
    for (const char* type : {"Item", "Part", "Screw", "ORLAJob"}) {
        world.clearLog();
        EXPECT_EQ(0, relation(type, "revision_list", "ItemRevision"));
        EXPECT_THAT(world.lines(),
                    ElementsAre("primary object is an Item so revision_list is valid."));
        EXPECT_EQ(
            NULLTAG,
            lists.relations.relation_combination[lists.relations.count - 1].relation_type_tag);
    }
}

TEST_F(RelationEntry, OfAnItemTypeWithAnotherRelationGoesByTheRelation) {
    EXPECT_EQ(0, relation("Part", "Rel", "Sheet"));
    EXPECT_EQ(35004, relation("Part", "revision_lists", "ItemRevision"));
    EXPECT_THAT(lists.relationEntries(),
                ElementsAre("Part;Rel;Sheet=tag", "Part;revision_lists;ItemRevision"));
}

TEST_F(RelationEntry, OfAFolderHasNoRevisionListUnlessThereIsSuchARelation) {
    EXPECT_EQ(35004, relation("Folder", "revision_list", "ItemRevision"));
    world.bench.defineRelationType("revision_list");
    EXPECT_EQ(0, relation("Folder", "revision_list", "ItemRevision"));
    EXPECT_EQ(0, relation("Item", "revision_list", "ItemRevision"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre("Folder;revision_list;ItemRevision",
                                                     "Folder;revision_list;ItemRevision=tag",
                                                     "Item;revision_list;ItemRevision"));
}

TEST_F(RelationEntry, OfADatasetTypeNeverHasARelationType) {
    for (const char* type : {"Dataset", "Text", "Scan"}) {
        world.clearLog();
        EXPECT_EQ(0, relation(type, "Text", "Sheet"));
        EXPECT_THAT(world.lines(),
                    ElementsAre("primary object is a Dataset and Relation does not exist, so "
                                "assume this is a valid NamedReference."));
        world.clearLog();
        EXPECT_EQ(0, relation(type, "Rel", "Sheet"));
        EXPECT_THAT(world.lines(), IsEmpty());
        EXPECT_EQ(0, relation(type, "revision_list", "Sheet"));
    }
    for (const std::string& entry : lists.relationEntries())
        EXPECT_THAT(entry, testing::Not(testing::EndsWith("=tag")));
}

TEST_F(RelationEntry, OfADatasetTypeSurvivesAFailedSearch) {
    world.fail("REL_find_relation_type", 1, 515001);
    EXPECT_EQ(0, relation("Text", "Rel", "Sheet"));
    EXPECT_THAT(world.lines("T"),
                ElementsAre("primary object is a Dataset and Relation does not exist, so assume "
                            "this is a valid NamedReference."));
}

TEST_F(RelationEntry, OfAnUnknownPrimaryIsToldAndGoesByItsRelation) {
    EXPECT_THAT(
        world.calls([&] { EXPECT_EQ(0, relation("Nothing", "Rel", "Nobody")); }),
        ElementsAre("MVTYPE_find_type(Item, Item)", "MVTYPE_find_type(Dataset, Dataset)",
                    "MVTYPE_find_type(Nothing, WorkspaceObject)",
                    "ERR_store_error_s1(3, 39014, Nothing)", "REL_find_relation_type(Rel)"));
    EXPECT_THAT(world.lines("E"),
                ElementsAre("ERROR: the object type Nothing, specified in preference, does not "
                            "exist or is no WorkspaceObject."));
    EXPECT_EQ(35004, relation("Nothing", "nothing", "Sheet"));
    EXPECT_THAT(lists.relationEntries(),
                ElementsAre("Nothing;Rel;Nobody=tag", "Nothing;nothing;Sheet"));
    EXPECT_THAT(stackNumbers(world), ElementsAre(39014, 39014, 35004));
}

TEST_F(RelationEntry, OfAnUnknownSecondaryIsToldAndGoesByItsRelation) {
    // The primary's kind isn't asked for any more: not even revision_list is known then.
    EXPECT_EQ(35004, relation("Item", "revision_list", "Nobody"));
    EXPECT_EQ(35004, relation("Text", "Text", "Nobody"));
    EXPECT_EQ(0, relation("Text", "Rel", "Nobody"));
    EXPECT_THAT(lists.relationEntries(), ElementsAre("Item;revision_list;Nobody",
                                                     "Text;Text;Nobody", "Text;Rel;Nobody=tag"));
    EXPECT_THAT(stackNumbers(world), ElementsAre(39014, 35004, 39014, 35004, 39014));
    EXPECT_THAT(world.lines("E")[0],
                "ERROR: the object type Nobody, specified in preference, does not exist or is no "
                "WorkspaceObject.");
}

TEST_F(RelationEntry, FindsItemAndDatasetOnce) {
    const auto find = [&](const char* type) {
        return world.calls([&] { EXPECT_EQ(0, relation(type, "Rel", "Sheet")); });
    };
    EXPECT_THAT(
        find("Folder"),
        ElementsAre("MVTYPE_find_type(Item, Item)", "MVTYPE_find_type(Dataset, Dataset)",
                    "MVTYPE_find_type(Folder, WorkspaceObject)",
                    "MVTYPE_find_type(Sheet, WorkspaceObject)", "MVTYPE_ask_subtypes(false)",
                    "MVTYPE_ask_subtypes(false)", "REL_find_relation_type(Rel)"));
    // An item's subtype is found in the first list, the two themselves without any.
    EXPECT_THAT(find("Part"),
                ElementsAre("MVTYPE_find_type(Part, WorkspaceObject)",
                            "MVTYPE_find_type(Sheet, WorkspaceObject)",
                            "MVTYPE_ask_subtypes(false)", "REL_find_relation_type(Rel)"));
    EXPECT_THAT(
        find("Scan"),
        ElementsAre("MVTYPE_find_type(Scan, WorkspaceObject)",
                    "MVTYPE_find_type(Sheet, WorkspaceObject)", "MVTYPE_ask_subtypes(false)",
                    "MVTYPE_ask_subtypes(false)", "REL_find_relation_type(Rel)"));
    for (const char* type : {"Item", "Dataset"})
        EXPECT_EQ(3u, find(type).size()) << type;
    // Three texts for each of five entries, and the list.
    EXPECT_EQ(5u * 3u + 1u, world.newBlocks());
}

TEST_F(RelationEntry, WithoutTheBaseTypesGoesByItsRelationAndAsksAgain) {
    world.fail("MVTYPE_find_type", 1, 515001);
    EXPECT_THAT(
        world.calls([&] { EXPECT_EQ(35004, relation("Item", "revision_list", "ItemRevision")); }),
        ElementsAre("MVTYPE_find_type(Item, Item)", "REL_find_relation_type(revision_list)",
                    "ERR_store_error(3, 35004)"));
    world.fail("MVTYPE_find_type", 2, 515001);
    EXPECT_THAT(
        world.calls([&] { EXPECT_EQ(35004, relation("Item", "revision_list", "ItemRevision")); }),
        ElementsAre("MVTYPE_find_type(Item, Item)", "MVTYPE_find_type(Dataset, Dataset)",
                    "REL_find_relation_type(revision_list)", "ERR_store_error(3, 35004)"));
    world.failNothing();
    EXPECT_EQ(0, relation("Item", "revision_list", "ItemRevision"));
    EXPECT_EQ(0, relation("Text", "Text", "Sheet"));
}

TEST_F(RelationEntry, AFailedSearchForATypeGoesOnToTheRelation) {
    EXPECT_EQ(0, relation("Item", "revision_list", "ItemRevision"));
    for (int nth : {1, 2}) {
        world.fail("MVTYPE_find_type", nth, 515001);
        EXPECT_EQ(35004, relation("Item", "revision_list", "ItemRevision")) << nth;
        world.fail("MVTYPE_find_type", nth, 515001);
        EXPECT_EQ(0, relation("Text", "Rel", "Sheet")) << nth;
        EXPECT_NE(
            NULLTAG,
            lists.relations.relation_combination[lists.relations.count - 1].relation_type_tag);
    }
}

TEST_F(RelationEntry, AFailedListOfSubtypesIsAnEmptyOne) {
    world.fail("MVTYPE_ask_subtypes", 1, 515001);
    EXPECT_EQ(35004, relation("Part", "revision_list", "ItemRevision"));
    world.fail("MVTYPE_ask_subtypes", 2, 515001);
    EXPECT_EQ(35004, relation("Scan", "Text", "Sheet"));
    world.fail("MVTYPE_ask_subtypes", 0, 515001);
    EXPECT_EQ(0, relation("Item", "revision_list", "ItemRevision"));
    EXPECT_EQ(0, relation("Dataset", "Text", "Sheet"));
    world.fail("MVTYPE_ask_subtypes", 1, 515001);
    EXPECT_EQ(0, relation("Scan", "Text", "Sheet"));
}

TEST_F(RelationEntry, AFailedSearchForTheRelationIsTheStatus) {
    world.fail("REL_find_relation_type", 1, 515001);
    EXPECT_EQ(515001, relation("Folder", "Rel", "Sheet"));
    EXPECT_EQ(1, lists.relations.count);
    EXPECT_THAT(world.lines("E"), testing::Not(testing::Contains(HasSubstr("undefined relation"))));
}

TEST_F(RelationEntry, WithoutMemoryForTheListIsDroppedAndStillChecked) {
    EXPECT_EQ(0, relation("Folder", "Rel", "Sheet"));
    world.bench.failHeapAfter(0);
    EXPECT_EQ(35004, relation("Folder", "nothing", "Sheet"));
    EXPECT_EQ(0, relation("Folder", "Rel", "Sheet"));
    world.bench.failHeapAfter(std::nullopt);
    EXPECT_EQ(1, lists.relations.count);
}

TEST_F(RelationEntry, WithoutMemoryForATextGoesByItsRelation) {
    for (std::size_t texts : {0u, 1u, 2u}) {
        world.bench.failHeapAfter(1 + texts);
        EXPECT_EQ(35004, relation("Item", "revision_list", "ItemRevision"));
        world.bench.failHeapAfter(std::nullopt);
    }
    EXPECT_EQ(3, lists.relations.count);
    const auto made = world.item("000100"), other = world.item("000200");
    EXPECT_EQ(0, CopyAttributes(made.item, other.item, lists.objects, lists.relations));
}
