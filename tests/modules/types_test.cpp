#include "platform/mv_dbo.h"
#include "platform/mv_mvtype.h"
#include "platform/mv_rel.h"
#include "platform/mv_sheet.h"
#include "platform/mv_supplement.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Types : public InterfaceTest {
protected:
    tag_t find(const char* name, const char* parent) {
        tag_t found = kNoSuchTag;
        EXPECT_EQ(MVTYPE_find_type(name, parent, &found), 0);
        return found;
    }
    std::vector<std::string> below(tag_t type, bool direct = false) {
        int count = 0;
        tag_t* list = nullptr;
        EXPECT_EQ(MVTYPE_ask_subtypes(type, direct, &count, &list), 0);
        std::vector<std::string> names;
        for (tag_t each : taken(count, list)) {
            char name[129];
            EXPECT_EQ(MVTYPE_ask_name(each, name), 0);
            names.push_back(name);
        }
        return names;
    }
    bool hasProperty(tag_t type, const char* name) {
        tag_t handle = kNoSuchTag;
        EXPECT_EQ(MVTYPE_ask_property_by_name(type, name, &handle), 0);
        return handle != NULLTAG;
    }
};

TEST_F(Types, AreFoundAtOrBelowAClass) {
    EXPECT_NE(find("Item", "Item"), NULLTAG);
    EXPECT_EQ(find("Item", "WorkspaceObject"), find("Item", "Item"));
    EXPECT_NE(find("Text", "Dataset"), NULLTAG);
    EXPECT_EQ(find("Item", "Dataset"), NULLTAG);
    EXPECT_EQ(find("WorkspaceObject", "Item"), NULLTAG);
    EXPECT_EQ(find("NoSuchType", "Item"), NULLTAG);
    EXPECT_EQ(find("Item", "NoSuchClass"), NULLTAG);
}

TEST_F(Types, EveryClassHasOneOfItsName) {
    for (const char* name : {"WorkspaceObject", "ReleaseStatus", "Item", "ItemRevision", "Dataset",
                             "Form", "Folder", "VaneFile", "STRBOMView", "STRBOMViewRevision",
                             "BOMLine", "FLOWTask", "icm0", "ORLAJob"}) {
        EXPECT_NE(find(name, name), NULLTAG) << name;
        tag_t cls = NULLTAG;
        EXPECT_EQ(DBO_class_id_of_class(name, &cls), 0) << name;
    }
}

TEST_F(Types, HaveSubtypes) {
    wb.defineType("Part", "Item", {});
    wb.defineType("Screw", "Part", {});
    EXPECT_THAT(below(find("Item", "Item")), testing::IsSupersetOf({"ORLAJob", "Part", "Screw"}));
    EXPECT_THAT(below(find("Item", "Item"), true), testing::Not(testing::Contains("Screw")));
    EXPECT_THAT(below(find("Screw", "Item")), IsEmpty());
    int count = 5;
    tag_t dummy = NULLTAG;
    tag_t* list = &dummy;
    EXPECT_EQ(MVTYPE_ask_subtypes(find("Screw", "Item"), false, &count, &list), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(list, nullptr);
}

TEST_F(Types, KnowTheirProperties) {
    const tag_t item = find("Item", "Item"), revision = find("ItemRevision", "ItemRevision");
    EXPECT_TRUE(hasProperty(item, "object_name"));
    EXPECT_TRUE(hasProperty(item, "item_id"));
    EXPECT_TRUE(hasProperty(item, "object_type"));
    EXPECT_TRUE(hasProperty(revision, "item_id"));
    EXPECT_FALSE(hasProperty(item, "item_revision_id"));
    EXPECT_FALSE(hasProperty(item, "no_such"));
    EXPECT_FALSE(hasProperty(item, ""));
}

TEST_F(Types, KnowThePropertiesOfTheTypesAboveThem) {
    wb.defineType("Part", "Item", {{"colour", Kind::String, false, 20}});
    wb.defineType("Screw", "Part", {{"thread", Kind::String, false, 20}});
    const tag_t part_type = find("Part", "WorkspaceObject");
    const tag_t screw = find("Screw", "WorkspaceObject");
    for (const char* name : {"object_name", "item_id", "colour", "thread", "is_modifiable"})
        EXPECT_TRUE(hasProperty(screw, name)) << name;
    EXPECT_FALSE(hasProperty(part_type, "thread"));
    EXPECT_FALSE(hasProperty(find("Item", "Item"), "colour"));
}

TEST_F(Types, OfOtherHandlesAreRefused) {
    tag_t kept = 5;
    int count = 6;
    tag_t* list = nullptr;
    char name[129] = "kept";
    const tag_t item = part("1").item;
    EXPECT_EQ(MVTYPE_ask_subtypes(item, false, &count, &list), kUnknownType);
    EXPECT_EQ(MVTYPE_ask_property_by_name(NULLTAG, "x", &kept), kUnknownType);
    EXPECT_EQ(MVTYPE_ask_name(item, name), kUnknownType);
    EXPECT_EQ(kept, 5u);
    EXPECT_EQ(count, 6);
    EXPECT_STREQ(name, "kept");
}

TEST_F(Types, OfRelationsHaveNamesToo) {
    tag_t type = NULLTAG;
    REL_find_relation_type("VANE_based_on", &type);
    char name[129];
    EXPECT_EQ(MVTYPE_ask_name(type, name), 0);
    EXPECT_STREQ(name, "VANE_based_on");
}

TEST_F(Types, OfFormsNameTheirOwnPropertiesOnly) {
    wb.defineType("Sheet", "Form",
                  {{"keld_a", Kind::String, false, 20}, {"keld_b", Kind::Date, false, 0}});
    wb.defineType("SubSheet", "Sheet", {{"other", Kind::String, false, 20}});
    int count = 0;
    char** names = nullptr;
    EXPECT_EQ(SHEET_ask_prop_names(wb.createForm("SubSheet", "f"), &count, &names), 0);
    EXPECT_THAT(taken(count, names), ElementsAre("keld_a", "keld_b", "other"));
    names = reinterpret_cast<char**>(8);
    EXPECT_EQ(SHEET_ask_prop_names(wb.createForm("Form", "f"), &count, &names), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(names, nullptr);
    count = 7;
    EXPECT_EQ(SHEET_ask_prop_names(part("1").item, &count, &names), kWrongClass);
    EXPECT_EQ(count, 7);
    EXPECT_EQ(blocks(), 0u);
}

}  // namespace mervane::test
