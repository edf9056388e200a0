// What the short forms of a world document make, seen through the admin interface.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "tests/import/world_support.h"
#include "tests/support/files.h"
#include "tests/support/places.h"

using namespace keld_test;
using mervane::Reference;
using mervane::Value;
using mervane::Values;
using testing::ElementsAre;

namespace {

std::string world(const std::string& members) {
    return "{\"world\": 1, " + members + "}";
}

std::vector<tag_t> children(tag_t line) {
    int count = 0;
    tag_t* lines = nullptr;
    EXPECT_EQ(LINE_ask_child_lines(line, &count, &lines), 0);
    std::vector<tag_t> all(lines, lines + count);
    HEAP_free(lines);
    return all;
}

std::string lineText(tag_t line, const char* property) {
    char* text = nullptr;
    EXPECT_EQ(OBJ_ask_value_string(line, property, &text), 0);
    const std::string copy = text ? text : "";
    HEAP_free(text);
    return copy;
}

}  // namespace

TEST(WorldShortForms, AnItemHasItsRevisionsInTheirOrder) {
    const OpenStore store;
    const auto report = store.import(world(
        R"("items": [{"id": "1", "name": "Wheel", "description": "d",
                      "revisions": [{"id": "A"}, {"id": "B", "name": "Wheel 2"}]}])"));
    EXPECT_EQ(report.items, 1);
    EXPECT_EQ(report.revisions, 2);
    EXPECT_EQ(store.text("1", "object_name"), "Wheel");
    EXPECT_EQ(store.text("1", "object_desc"), "d");
    EXPECT_EQ(store.text("1/A", "object_name"), "Wheel");
    EXPECT_EQ(store.text("1/B", "object_name"), "Wheel 2");
}

TEST(WorldShortForms, AnItemWithoutRevisionsGetsOne) {
    const OpenStore store;
    EXPECT_EQ(store.import(world(R"("items": [{"id": "1"}])")).revisions, 1);
    EXPECT_EQ(store.text("1/A", "item_revision_id"), "A");
}

TEST(WorldShortForms, TheMasterFormGetsItsValues) {
    const OpenStore store;
    store.import(world(R"("items": [{"id": "1", "form": {"weight": 1.25, "checked": true},
                          "revisions": [{"id": "A", "form": {"user_data_1": "x"}}]}])"));
    int found = 0;
    for (const auto& each : store->find({"*", "Form", "", 0})) {
        const Values weight = store->get(each.tag, "weight");
        const Values user_data = store->get(each.tag, "user_data_1");
        found += weight == Values{1.25} && user_data.empty();
        found += weight.empty() && user_data == Values{std::string("x")};
    }
    EXPECT_EQ(found, 2);
}

TEST(WorldShortForms, StatusesAreObjectsOfTheirOwn) {
    const OpenStore store;
    store.import(world(R"("items": [{"id": "1", "revisions": [{"id": "A", "status":
        ["Pending", {"name": "Released", "date": "2026-02-03 04:05:06"}]}]}])"));
    const Values list = store->get(store->resolve("1/A"), "release_status_list");
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(store.text(std::get<Reference>(list[0]).tag, "name"), "Pending");
    EXPECT_EQ(store.text(std::get<Reference>(list[1]).tag, "name"), "Released");
    const Values released = store->get(store->resolve("1/A"), "date_released");
    EXPECT_EQ(released, (Values{mervane::Date{{2026, 1, 3, 4, 5, 6}}}));
}

TEST(WorldShortForms, ABomHasALineForEachEntry) {
    const OpenStore store;
    const auto report = store.import(world(
        R"("items": [{"id": "1", "revisions": [{"id": "A", "bom": [
             {"item": "2", "revision": "A", "quantity": "2", "number": "10"},
             {"item": "2", "number": "20", "notes": {"position": "left"}},
             {"object": "2/A"}]}]},
           {"id": "2", "revisions": [{"id": "A"}, {"id": "B"}]}])"));
    EXPECT_EQ(report.occurrences, 3);
    const tag_t top = store->openBomWindow(store->resolve("1/A"));
    const auto lines = children(top);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lineText(lines[0], "bl_quantity"), "2");
    EXPECT_EQ(lineText(lines[1], "bl_quantity"), "");
    store->closeBomWindow(top);
}

TEST(WorldShortForms, ADatasetHasItsVersionsAndFiles) {
    const OpenStore store;
    store.import(world(R"("items": [{"id": "1", "revisions": [{"id": "A", "datasets": [
        {"type": "Text", "name": "notes", "label": "newest", "versions": [
          {"label": "old", "files": [{"reference": "Text", "name": "a.txt", "text": "one"}]},
          {"files": [{"reference": "Text", "name": "b.txt", "base64": "dHdv"}]}]}]}]}],
        "folders": [{"name": "f", "contents": ["newest", "old", "1/A:notes"]}])"));
    const auto found = store->find({"f", "Folder", "", 0});
    ASSERT_EQ(found.size(), 1u);
    const Values contents = store->get(found[0].tag, "contents");
    ASSERT_EQ(contents.size(), 3u);
    EXPECT_EQ(contents[0], contents[2]);
    const auto fileName = [&](const Value& dataset) {
        const Values files = store->get(std::get<Reference>(dataset).tag, "ref_list");
        EXPECT_EQ(files.size(), 1u);
        return store.text(std::get<Reference>(files.at(0)).tag, "original_file_name");
    };
    EXPECT_EQ(fileName(contents[0]), "b.txt");
    EXPECT_EQ(fileName(contents[1]), "a.txt");
    EXPECT_NE(store.exported().find("\"text\": \"two\""), std::string::npos);
}

TEST(WorldShortForms, ADatasetMayReferToAnObjectThatIsThere) {
    const OpenStore store;
    store.import(world(R"("forms": [{"label": "form", "type": "Item Master", "name": "f",
                                     "values": {"project_id": "P"}}],
        "datasets": [{"type": "Misc", "name": "d",
                      "files": [{"reference": "File", "object": "form"}]}])"));
    const auto datasets = store->find({"d", "Misc", "", 0});
    ASSERT_EQ(datasets.size(), 1u);
    const Values list = store->get(datasets[0].tag, "ref_list");
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(store.text(std::get<Reference>(list[0]).tag, "project_id"), "P");
}

TEST(WorldShortForms, OwnersUsersAndGroupsAreFoundByName) {
    const OpenStore store;
    store.import(world(R"("groups": [{"name": "design"}, {"name": "dba"}],
        "users": [{"id": "smith", "name": "S", "group": "design"}, {"id": "infodba", "group": "dba"}],
        "items": [{"id": "1", "owner": "user:smith"}],
        "check_outs": [{"object": "1/A", "user": "user:smith", "comment": "c"}])"));
    const auto found = store->find({"1", "Item", "smith", 0});
    EXPECT_EQ(found.size(), 1u);
    EXPECT_EQ(store->find({"1", "Item", "infodba", 0}).size(), 0u);
}

TEST(WorldShortForms, AProcessPutsItsTasksIntoItsTargets) {
    const OpenStore store;
    store.import(world(R"("process_templates": [{"name": "release", "tasks": ["look", "sign"]}],
        "items": [{"id": "1"}],
        "processes": [{"name": "p", "template": "release", "targets": ["1/A"],
                       "references": ["1"]}])"));
    EXPECT_EQ(store->get(store->resolve("1/A"), "process_stage_list").size(), 2u);
    EXPECT_TRUE(store->get(store->resolve("1"), "process_stage_list").empty());
}

TEST(WorldShortForms, PreferencesReplaceThoseOfTheirName) {
    const OpenStore store;
    store->setPreference("a", {"old"});
    store->setPreference("b", {"stays"});
    store.import(world(R"("preferences": [{"name": "a", "values": ["x", "y"]}])"));
    EXPECT_THAT(store->preferences(),
                ElementsAre(std::pair(std::string("a"), std::vector<std::string>{"x", "y"}),
                            std::pair(std::string("b"), std::vector<std::string>{"stays"})));
}

TEST(WorldShortForms, ARightForSomebodyUnknownIsNoted) {
    const OpenStore store;
    const auto report = store.import(world(
        R"("rights": [{"subject_kind": "user", "subject": "nobody", "scope_kind": "all",
                       "privilege": "WRITE", "allowed": false}])"));
    EXPECT_THAT(report.notes, ElementsAre("$.rights[0]: there is no user \"nobody\""));
    EXPECT_EQ(store->rights().size(), 1u);
}

TEST(WorldShortForms, TheSampleIsAWholeProduct) {
    const OpenStore store;
    const auto report =
        store.import(readFile(std::string(KELD_SOURCE_DIR) + "/samples/gearbox.json"));
    EXPECT_EQ(report.items, 14);
    EXPECT_EQ(report.revisions, 16);
    EXPECT_EQ(report.occurrences, 17);
    EXPECT_TRUE(report.notes.empty());
    EXPECT_TRUE(store->check(store.id(), false).empty());
}

TEST(WorldShortForms, TheWorkedExamplesOfTheDocumentAreImported) {
    const std::string document = readFile(std::string(KELD_SOURCE_DIR) + "/docs/json-world.md");
    int examples = 0;
    for (std::size_t at = 0; (at = document.find("```json\n", at)) != std::string::npos;) {
        at += 8;
        const OpenStore store;
        EXPECT_EQ(
            failureOf([&] { store.import(document.substr(at, document.find("```", at) - at)); }),
            "no failure");
        ++examples;
    }
    EXPECT_EQ(examples, 3);
}
