#include <fstream>

#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Deletion : public OnBothStores {
protected:
    std::size_t objects() { return bench().find({"*", "Instance", "", 0}).size(); }
    std::string lastError() {
        return bench().errorStack().empty() ? "" : bench().errorStack().back().text;
    }
    std::string fileNamed(const std::string& name, const std::string& contents) {
        std::ofstream(directory_.at(name)) << contents;
        return directory_.at(name);
    }
};
ON_BOTH_STORES(Deletion);

TEST_P(Deletion, AnItemTakesAlongRevisionsMasterFormsViewsAndRelationsOfItsOwn) {
    tag_t child = NULLTAG;
    bench().createItem("child", "", "", "A", &child);
    const std::size_t before = objects();
    tag_t revision = NULLTAG;
    const tag_t item = bench().createItem("1", "", "", "A", &revision);
    bench().createRevision(item, "B");
    bench().addOccurrence(revision, child, "2", "10");
    bench().relate(revision, child, "VANE_specification");
    ASSERT_EQ(OBJ_delete(item), 0) << lastError();
    EXPECT_EQ(objects(), before);
    EXPECT_TRUE(errorsIn(bench().check(store_, false)).empty());
    EXPECT_EQ(OBJ_load(child), 0);
}

TEST_P(Deletion, WhatOthersReferToStaysAndTheTextNamesTheReferrer) {
    tag_t child = NULLTAG, parent = NULLTAG;
    const tag_t child_item = bench().createItem("child", "", "", "A", &child);
    bench().createItem("parent", "", "", "A", &parent);
    const tag_t occurrence = bench().addOccurrence(parent, child, "1", "10");
    const std::size_t before = objects();
    EXPECT_EQ(OBJ_delete(child_item), kStillReferenced);
    EXPECT_NE(lastError().find("#" + std::to_string(occurrence)), std::string::npos) << lastError();
    EXPECT_EQ(objects(), before) << "nothing of it is gone";
}

TEST_P(Deletion, ARelationInWhichItIsSecondaryCountsAsReferring) {
    const tag_t one = bench().createFolder("one"), two = bench().createFolder("two");
    const tag_t relation = bench().relate(one, two, "VANE_specification");
    EXPECT_EQ(OBJ_delete(two), kStillReferenced);
    EXPECT_EQ(OBJ_delete(one), 0) << "its relation goes along";
    EXPECT_EQ(OBJ_load(relation), kUnknownObject);
    EXPECT_EQ(OBJ_delete(two), 0);
}

TEST_P(Deletion, AReferenceThatIsSetButNotSavedCounts) {
    const tag_t folder = bench().createFolder("f"), content = bench().createFolder("c");
    tag_t attribute = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("contents", "Folder", &attribute), 0);
    ASSERT_EQ(OBJ_lock(folder), 0);
    ASSERT_EQ(DBO_append_attr_tags(1, &folder, attribute, 1, &content), 0);
    EXPECT_EQ(OBJ_delete(content), kStillReferenced);
    ASSERT_EQ(DBO_remove_from_attr(1, &folder, attribute, 0, 1), 0);
    EXPECT_EQ(OBJ_delete(content), 0);
}

TEST_P(Deletion, AReferenceThatIsTakenOutButNotSavedNoLongerCounts) {
    const tag_t folder = bench().createFolder("f"), content = bench().createFolder("c");
    bench().addToFolder(folder, content);
    tag_t attribute = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("contents", "Folder", &attribute), 0);
    EXPECT_EQ(OBJ_delete(content), kStillReferenced);
    ASSERT_EQ(OBJ_lock(folder), 0);
    ASSERT_EQ(DBO_remove_from_attr(1, &folder, attribute, 0, 1), 0);
    EXPECT_EQ(OBJ_delete(content), 0);
}

TEST_P(Deletion, ADatasetTakesAlongItsVersionsAndFiles) {
    const std::size_t before = objects();
    const tag_t dataset = bench().createDataset("Text", "notes");
    const tag_t file = bench().addFile(dataset, "Text", fileNamed("a.txt", "one"), "a.txt");
    const tag_t newer = bench().createDatasetVersion(dataset);
    ASSERT_EQ(OBJ_delete(newer), 0) << lastError();
    EXPECT_EQ(objects(), before);
    EXPECT_EQ(OBJ_load(file), kUnknownObject);
    EXPECT_FALSE(mentions(bench().check(store_, false), "volume"));
}

TEST_P(Deletion, AProcessTakesAlongItsTasksAndTheirEntriesInTheirTargets) {
    tag_t revision = NULLTAG;
    bench().createItem("1", "", "", "A", &revision);
    bench().createProcessTemplate("release", {"check", "sign"});
    const tag_t process = [&] {
        const auto found = bench().find({"release", "FLOWTemplate", "", 0});
        tag_t made = NULLTAG;
        const int target = 1;
        EXPECT_EQ(found.size(), 1u);
        EXPECT_EQ(FLOW_create_process("p", nullptr, found.at(0).tag, 1, &revision, &target, &made),
                  0);
        return made;
    }();
    ASSERT_EQ(bench().get(revision, "process_stage_list").size(), 2u);
    ASSERT_EQ(OBJ_delete(process), 0) << lastError();
    EXPECT_TRUE(bench().get(revision, "process_stage_list").empty());
    anotherSession();
    EXPECT_TRUE(bench().get(revision, "process_stage_list").empty());
    EXPECT_TRUE(bench().check(store_, false).empty());
}

TEST_P(Deletion, ThePersistenceLayerAsksNobodyAndLeavesReferencesThatTheCheckLists) {
    const tag_t folder = bench().createFolder("f"), content = bench().createFolder("c");
    bench().addToFolder(folder, content);
    ASSERT_EQ(DBO_delete_instances(1, &content), 0);
    EXPECT_EQ(bench().get(folder, "contents"), Values{Reference{content}});
    const auto findings = bench().check(store_, false);
    EXPECT_TRUE(errorsIn(findings).empty());
    EXPECT_TRUE(mentions(findings, "#" + std::to_string(content)));
    // An array with such an entry can still be changed.
    bench().addToFolder(folder, bench().createFolder("d"));
    EXPECT_EQ(bench().get(folder, "contents").size(), 2u);
}

TEST_P(Deletion, DeletingOneOfSeveralThatDontExistDeletesNone) {
    const tag_t folder = bench().createFolder("f");
    const tag_t both[] = {folder, folder + 5000};
    EXPECT_EQ(DBO_delete_instances(2, both), kUnknownObject);
    EXPECT_EQ(OBJ_load(folder), 0);
}

TEST_P(Deletion, AnObjectThatWasNeverSavedCanBeDeleted) {
    tag_t item = NULLTAG, revision = NULLTAG;
    ASSERT_EQ(ART_create_item("77", "fresh", "Item", "A", &item, &revision), 0);
    EXPECT_EQ(OBJ_delete(item), 0) << lastError();
    EXPECT_EQ(OBJ_load(item), kUnknownObject);
    EXPECT_EQ(OBJ_load(revision), kUnknownObject);
}
