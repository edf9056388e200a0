#include <set>

#include "platform/mv_mvtype.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class ModelTest : public OnBothStores {
protected:
    tag_t attribute(const char* name, const char* cls) {
        tag_t handle = NULLTAG;
        EXPECT_EQ(DBO_attr_id_of_attr(name, cls, &handle), 0) << name;
        return handle;
    }
    tag_t type(const char* name, const char* below) {
        tag_t handle = NULLTAG;
        EXPECT_EQ(MVTYPE_find_type(name, below, &handle), 0) << name;
        return handle;
    }
};
ON_BOTH_STORES(ModelTest);

TEST_P(ModelTest, HandlesAreTheSameInEveryStore) {
    bench().defineClass("Part", "Item", {{"colour", Kind::String, false, 20}});
    const tag_t before[] = {attribute("item_id", "Item"), attribute("colour", "Part"),
                            type("Part", "Item"), type("Text", "Dataset")};
    const auto other = keld_test::openFreshStore();
    bench().openSession(other, {});
    bench().defineType("Filler", "Form", {{"colour", Kind::String, false, 20}});
    bench().defineClass("Part", "Item", {{"colour", Kind::String, false, 20}});
    const tag_t after[] = {attribute("item_id", "Item"), attribute("colour", "Part"),
                           type("Part", "Item"), type("Text", "Dataset")};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(before[i], after[i]) << i;
    bench().closeStore(other);
}

TEST_P(ModelTest, AnInheritedAttributeHasOneHandle) {
    EXPECT_EQ(attribute("date_released", "WorkspaceObject"),
              attribute("date_released", "ReleaseStatus"));
    tag_t handle = 7;
    EXPECT_NE(DBO_attr_id_of_attr("item_id", "Folder", &handle), 0);
    EXPECT_EQ(handle, 7u);
}

TEST_P(ModelTest, EveryClassHasATypeOfItsNameAndAttributesHaveDifferentHandles) {
    std::set<std::string> names;
    for (const std::string& name : bench().typeNames("Instance"))
        EXPECT_TRUE(names.insert(name).second) << name;
    for (const char* name :
         {"WorkspaceObject", "ReleaseStatus", "Item", "ItemRevision", "Dataset", "Form", "Folder",
          "VaneFile", "STRBOMView", "STRBOMViewRevision", "BOMLine", "FLOWTask", "icm0", "ORLAJob"})
        EXPECT_TRUE(names.count(name)) << name;
}

TEST_P(ModelTest, AnOwnItemTypeHasItsOwnRevisionsAndMasterForms) {
    bench().defineType("Part", "Item", {});
    bench().defineType("PartRevision", "ItemRevision", {});
    bench().defineType("Part Master", "Item Master", {{"colour", Kind::String, false, 20}});
    tag_t revision = NULLTAG;
    const tag_t item = bench().createItem("1", "", "Part", "A", &revision);
    EXPECT_EQ(bench().describe(item).type, "Part");
    EXPECT_EQ(bench().describe(revision).type, "PartRevision");
    EXPECT_EQ(bench().find({"", "Part Master", "", 0}).size(), 1u);
    EXPECT_EQ(bench().find({"", "ItemRevision Master", "", 0}).size(), 1u);
}

TEST_P(ModelTest, DefinitionsAreKnownToSessionsThatAreOpenAlready) {
    anotherSession();
    bench().defineType("Special", "Form", {{"colour", Kind::String, false, 20}});
    bench().defineRelationType("VANE_special");
    const tag_t form = bench().createForm("Special", "f");
    bench().set(form, "colour", {std::string("red")});
    use(first_);
    EXPECT_EQ(stored(form, "colour"), "red");
    const auto names = bench().relationTypeNames();
    EXPECT_NE(std::find(names.begin(), names.end(), "VANE_special"), names.end());
}

TEST_P(ModelTest, NamesThatAreTakenAndParentsThatArentThereAreRefused) {
    bench().defineType("Special", "Form", {});
    EXPECT_NE(statusOf([] { bench().defineType("Special", "Form", {}); }), 0);
    EXPECT_NE(statusOf([] { bench().defineType("Item", "Form", {}); }), 0);
    EXPECT_NE(statusOf([] { bench().defineClass("Item", "WorkspaceObject", {}); }), 0);
    EXPECT_EQ(statusOf([] { bench().defineType("X", "Nothing", {}); }), kUnknownType);
    EXPECT_EQ(statusOf([] { bench().defineClass("X", "Nothing", {}); }), kUnknownClass);
    EXPECT_NE(statusOf([] { bench().defineRelationType("VANE_based_on"); }), 0);
    EXPECT_NE(statusOf([] { bench().defineType("", "Form", {}); }), 0);
    EXPECT_NE(statusOf([] { bench().defineType(std::string(129, 'x'), "Form", {}); }), 0);
}

TEST_P(ModelTest, ARefusedDefinitionLeavesNothingBehind) {
    const AttributeSpec twice[] = {{"a", Kind::Int, false, 0}, {"a", Kind::Int, false, 0}};
    EXPECT_NE(statusOf([&] { bench().defineType("X", "Form", {twice[0], twice[1]}); }), 0);
    EXPECT_NE(statusOf([&] {
                  bench().defineType("X", "Form", {{"object_name", Kind::Int, false, 0}});
              }),
              0);
    EXPECT_NE(statusOf([] { bench().defineDatasetType("X", "TextEditor", {"OTHER"}, {"X"}); }), 0);
    bench().defineType("X", "Form", {twice[0]});
    EXPECT_EQ(bench().attributeNames(bench().createForm("X", "x")).back(), "a");
}

TEST_P(ModelTest, ADatasetTypeHasItsToolFormatsAndReferenceNames) {
    bench().defineDatasetType("Model", "Modeller", {"MODEL", "TEXT"}, {"Geometry", "Notes"});
    tag_t found = NULLTAG, tool = NULLTAG;
    ASSERT_EQ(DST_find_datasettype("Model", &found), 0);
    ASSERT_EQ(DST_ask_datasettype_def_tool(found, &tool), 0);
    int count = 0;
    char** formats = nullptr;
    ASSERT_EQ(DST_ask_tool_output_formats(tool, &count, &formats), 0);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(formats[1], "TEXT");
    for (int i = 0; i < count; ++i)
        HEAP_free(formats[i]);
    HEAP_free(formats);
}

TEST(ModelInAFile, DefinitionsAreThereAfterReopening) {
    Directory directory;
    const std::string path = keld_test::storeIn(directory.string(), "plant");
    bench().createStore(path);
    auto store = bench().openStore(path);
    bench().openSession(store, {});
    bench().defineClass("Part", "Item", {{"colour", Kind::String, false, 20}});
    bench().defineType("Bolt", "Part", {{"threads", Kind::Int, true, 0}});
    const tag_t bolt = bench().createItem("1", "", "Bolt", "", nullptr);
    bench().set(bolt, "threads", {std::int64_t{1}, std::int64_t{2}});
    bench().closeStore(store);
    store = bench().openStore(path);
    bench().openSession(store, {});
    EXPECT_EQ(bench().get(bolt, "threads").size(), 2u);
    EXPECT_EQ(bench().describe(bolt).cls, "Part");
    EXPECT_EQ(statusOf([&] { bench().set(bolt, "colour", {std::string(21, 'x')}); }), kTooLong);
    bench().closeStore(store);
}
