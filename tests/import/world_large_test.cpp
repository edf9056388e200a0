// Documents of so many elements that they aren't in memory: they mean what short ones mean, and a
// defect at the very end leaves nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/import/world_support.h"

using namespace keld_test;
using testing::HasSubstr;

namespace {

constexpr int kMany = 600;

std::string itemList(const std::string& last = "") {
    std::string text = R"("items": [)";
    for (int i = 0; i < kMany; ++i)
        text += (i ? ",\n" : "\n") + std::string(R"({"id": "p)") + std::to_string(i) +
                R"(", "label": "L)" + std::to_string(i) + R"("})";
    return text + last + "]";
}

std::string objectList(const std::string& last = "") {
    std::string text = R"("objects": [)";
    for (int i = 0; i < kMany; ++i)
        // Each refers to the one after it, the last one to the first.
        text += (i ? ",\n" : "\n") + std::string(R"({"label": "L)") + std::to_string(i) +
                R"(", "type": "Folder", "values": {"object_name": "f)" + std::to_string(i) +
                R"(", "contents": ["L)" + std::to_string((i + 1) % kMany) + R"("]}})";
    return text + last + "]";
}

// With a megabyte, from which on a document is kept in a file.
std::string world(const std::string& members) {
    return R"({"world": 1, "datasets": [{"type": "Text", "name": "n", "files": [
               {"reference": "Text", "name": "a", "text": ")" +
           std::string(1u << 20, 'x') + "\"}]}],\n" + members + "}";
}

void expectRefused(const OpenStore& store, const std::string& document,
                   const std::string& refusal) {
    SCOPED_TRACE(refusal);
    const std::string before = store.exported();
    EXPECT_THAT(failureOf([&] { store.import(document); }), HasSubstr(refusal));
    EXPECT_TRUE(store.exported() == before) << "the store has changed";
    EXPECT_TRUE(store->check(store.id(), false).empty());
}

}  // namespace

TEST(LargeWorlds, ADefectInTheLastElementLeavesNothing) {
    const OpenStore store;
    const std::string file = R"(, {"label": "f", "type": "VaneFile", "values": {},
                                   "file": {"text": "x"}})";
    for (const auto& [document, refusal] : {
             std::pair{world(itemList(R"(, {"id": "p0"})")), "$.items[600]: there is an item p0"},
             std::pair{world(itemList(R"(, {"id": "x", "label": "L7"})")),
                       "$.items[600].label: expected a label of its own, found \"L7\""},
             std::pair{world(itemList(R"(, {"id": "x", "owner": "L600"})")),
                       "$.items[600].owner: expected a label of the document or the name of an "
                       "object, found \"L600\" (nearest: \"L100\")"},
             std::pair{world(itemList(R"(, {"id": "x", "revisions": [{"id": "A",
                                            "bom": [{"item": "p600"}]}]})")),
                       "$.items[600].revisions[0].bom[0].item: expected the id of an item"},
             std::pair{world(itemList(R"(, {"id": "x", "id": "y"})")),
                       "$.items[600].id: expected each key once, found it twice"},
             std::pair{world(itemList(",")), "w.json:603:33: syntax error"},
             std::pair{world(objectList(file + R"(, {"label": "L7", "type": "Folder",
                                                     "values": {}})")),
                       "$.objects[601].label: expected a label of its own, found \"L7\""},
             std::pair{world(objectList(file + R"(, {"label": "x", "type": "Folder",
                                                     "values": {"contents": ["L600"]}})")),
                       "$.objects[601].values.contents[0]: expected a label"},
             std::pair{world(objectList(file + ", 5")),
                       "$.objects[601]: expected an object, found an integer"},
             std::pair{world(objectList(file) + R"(, "rights": [{}])"),
                       "$.rights[0]: expected the key \"subject_kind\""},
         })
        expectRefused(store, document, refusal);
}

TEST(LargeWorlds, EveryObjectMayReferToALaterOne) {
    const OpenStore store;
    store.import(world(objectList()));
    const auto found = store->find({"f0", "", "", 0});
    ASSERT_EQ(found.size(), 1u);
    const tag_t first = found[0].tag;
    tag_t at = first;
    for (int i = 0; i < kMany; ++i) {
        ASSERT_EQ(store.text(at, "object_name"), "f" + std::to_string(i));
        at = std::get<mervane::Reference>(store->get(at, "contents").at(0)).tag;
    }
    EXPECT_EQ(at, first);
}

TEST(LargeWorlds, StructuresAndDatasetsOfRevisionsFindTheirRevisionsAmongMany) {
    std::string text = R"("items": [)";
    for (int i = 0; i < kMany; ++i) {
        const std::string next = std::to_string((i + 1) % kMany), id = std::to_string(i);
        text += (i ? ",\n" : "\n") + std::string(R"({"id": "p)") + id +
                R"(", "revisions": [{"id": "A"}, {"id": "B")";
        if (i % 3 == 0)
            text += R"(, "datasets": [{"type": "Text", "name": "d)" + id + R"("}])";
        if (i % 2 == 0)
            text += R"(, "bom": [{"item": "p)" + next + R"(", "revision": "A", "number": ")" + id +
                    R"("}])";
        text += "}, {\"id\": \"C\"";
        if (i % 6 == 0)
            text += R"(, "datasets": [{"type": "Text", "name": "c)" + id + R"("}])";
        text += "}]}";
    }
    const OpenStore store;
    const auto report = store.import(world(text + "]"));
    EXPECT_EQ(report.items, kMany);
    EXPECT_EQ(report.revisions, 3 * kMany);
    EXPECT_EQ(report.occurrences, kMany / 2);
    for (int i = 0; i < kMany; ++i) {
        const std::string id = std::to_string(i);
        EXPECT_EQ(failureOf([&] { (void)store->resolve("p" + id + "/B:d" + id); }) == "no failure",
                  i % 3 == 0)
            << i;
        EXPECT_EQ(failureOf([&] { (void)store->resolve("p" + id + "/C:c" + id); }) == "no failure",
                  i % 6 == 0)
            << i;
    }
}

TEST(LargeWorlds, TheExportOfOneMakesTheSameStore) {
    const OpenStore store;
    store.import(world(itemList()));
    const std::string whole = store.exported();
    const OpenStore again;
    again.import(whole);
    EXPECT_TRUE(again.exported() == whole);
}
