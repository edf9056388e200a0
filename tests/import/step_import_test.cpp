// STEP files imported into a store: what is there afterwards, and that it is all or nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/mv_art.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tests/import/step_text.h"
#include "tests/import/world_support.h"
#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tests/support/step_generator.h"

using namespace keld_test;
using mervane::Reference;
using mervane::Values;
using testing::ElementsAre;

namespace {

long long explodedLines(tag_t line) {
    int count = 0;
    tag_t* lines = nullptr;
    EXPECT_EQ(LINE_ask_child_lines(line, &count, &lines), 0);
    long long all = 1;
    for (int i = 0; i < count; ++i)
        all += explodedLines(lines[i]);
    HEAP_free(lines);
    return all;
}

long long exploded(const OpenStore& store, tag_t revision) {
    const tag_t top = store->openBomWindow(revision);
    const long long all = explodedLines(top);
    store->closeBomWindow(top);
    return all;
}

std::vector<tag_t> secondaries(tag_t primary, const char* relation_type) {
    tag_t type = NULLTAG;
    EXPECT_EQ(REL_find_relation_type(relation_type, &type), 0);
    int count = 0;
    tag_t* objects = nullptr;
    EXPECT_EQ(REL_list_secondary_objects_only(primary, type, &count, &objects), 0);
    std::vector<tag_t> all(objects, objects + count);
    HEAP_free(objects);
    return all;
}

struct RealFile {
    const char* name;
    int products, usages;
    long long exploded;
    int renamed;
};

}  // namespace

class RealStepImport : public testing::TestWithParam<RealFile> {};

TEST_P(RealStepImport, HasItsItemsItsOccurrencesAndItsExplodedLines) {
    const RealFile& file = GetParam();
    const std::string path = std::string(KELD_SOURCE_DIR) + "/../shared/data/step/" + file.name;
    const std::string text = readFile(path);
    if (text.empty())
        GTEST_SKIP() << "the real product structures are not beside the project";
    const OpenStore store;
    const auto report = store.importStep(text, path);
    EXPECT_EQ(report.items, file.products);
    EXPECT_EQ(report.revisions, file.products);
    EXPECT_EQ(report.occurrences, file.usages);
    EXPECT_EQ(report.renamed_ids, file.renamed);
    ASSERT_NE(report.top, NULLTAG);
    EXPECT_EQ(exploded(store, report.top), file.exploded);
    EXPECT_EQ(static_cast<int>(store->find({"*", "Item", "", 0}).size()), file.products);
    const auto datasets = secondaries(report.top, "VANE_specification");
    ASSERT_EQ(datasets.size(), 1u);
    EXPECT_EQ(store->describe(datasets[0]).type, "STEP");
    EXPECT_EQ(store.text(datasets[0], "object_name"),
              std::string(file.name).substr(0, std::string(file.name).rfind('.')));
    const Values files = store->get(datasets[0], "ref_list");
    ASSERT_EQ(files.size(), 1u);
    const tag_t kept = std::get<Reference>(files[0]).tag;
    EXPECT_EQ(store->get(kept, "byte_size"), Values{static_cast<std::int64_t>(text.size())});
    EXPECT_EQ(store.text(kept, "original_file_name"), file.name);
    EXPECT_TRUE(store->check(store.id(), false).empty());
}

INSTANTIATE_TEST_SUITE_P(All, RealStepImport,
                         testing::Values(RealFile{"as1-oc-214.stp", 9, 13, 28, 0},
                                         RealFile{"t-embed-full-shell.stp", 13, 12, 13, 0},
                                         RealFile{"pushdevice-assembly.step", 68, 67, 68, 63},
                                         RealFile{"stamp-c6lora-smd.step", 313, 548, 1010, 112}),
                         [](const auto& file) {
                             return "Number" + std::to_string(file.index + 1);
                         });

TEST(StepImport, IdsNamesDescriptionsAndRevisionsAreThoseOfTheFile) {
    const OpenStore store;
    const auto report =
        store.importStep(stepFile("#1=PRODUCT('W-1','Wh\\X\\E9el','round',());\n"
                                  "#2=PRODUCT_DEFINITION_FORMATION('07','first',#1);\n"
                                  "#3=PRODUCT_DEFINITION('','',#2,$);\n"));
    EXPECT_EQ(store->resolve("W-1/07"), report.top);
    EXPECT_EQ(store.text("W-1", "object_name"),
              "Wh\xC3\xA9"
              "el");
    EXPECT_EQ(store.text("W-1", "object_desc"), "round");
    EXPECT_EQ(store.text("W-1/07", "object_desc"), "first");
    EXPECT_EQ(store.text("W-1", "source_id"), "W-1");
}

TEST(StepImport, ATakenIdGetsASuffixAndTheSourceIdStays) {
    const OpenStore store;
    store->createItem("a", "mine", "", "A", nullptr);
    const auto report = store.importStep(stepFile(stepProduct(1, "a", "theirs")));
    EXPECT_EQ(report.renamed_ids, 1);
    EXPECT_EQ(store.text("a", "object_name"), "mine");
    EXPECT_EQ(store.text("a-2", "object_name"), "theirs");
    EXPECT_EQ(store.text("a-2", "source_id"), "a");
}

TEST(StepImport, AFileCanBeImportedTwice) {
    const OpenStore store;
    const std::string text =
        stepFile(stepProduct(1, "a") + stepProduct(11, "b") + stepUsage(20, 1, 11));
    store.importStep(text);
    const auto report = store.importStep(text);
    EXPECT_EQ(report.renamed_ids, 2);
    EXPECT_EQ(report.top, store->resolve("a-2/A"));
    EXPECT_EQ(exploded(store, report.top), 2);
}

TEST(StepImport, OccurrencesAreInTheOrderOfTheFileWithoutQuantityAndNumber) {
    const OpenStore store;
    const auto report = store.importStep(stepFile(stepProduct(1, "top") + stepProduct(11, "b") +
                                                  stepProduct(21, "c") + stepUsage(31, 1, 21) +
                                                  stepUsage(32, 1, 11) + stepUsage(33, 1, 21)));
    const tag_t top = store->openBomWindow(report.top);
    int count = 0;
    tag_t* lines = nullptr;
    ASSERT_EQ(LINE_ask_child_lines(top, &count, &lines), 0);
    std::vector<std::string> shown;
    for (int i = 0; i < count; ++i)
        for (const char* property : {"bl_item_item_id", "bl_quantity", "bl_sequence_no"}) {
            char* text = nullptr;
            ASSERT_EQ(OBJ_ask_value_string(lines[i], property, &text), 0) << property;
            shown.push_back(text);
            HEAP_free(text);
        }
    HEAP_free(lines);
    EXPECT_THAT(shown, ElementsAre("c", "", "", "b", "", "", "c", "", ""));
    store->closeBomWindow(top);
}

TEST(StepImport, EveryTopGetsTheFile) {
    const OpenStore store;
    const auto report = store.importStep(stepFile(stepProduct(1, "a") + stepProduct(11, "b") +
                                                  stepProduct(21, "c") + stepUsage(31, 1, 21)));
    EXPECT_EQ(report.top, NULLTAG);
    const auto a = secondaries(store->resolve("a/A"), "VANE_specification");
    EXPECT_EQ(a.size(), 1u);
    EXPECT_EQ(secondaries(store->resolve("b/A"), "VANE_specification"), a);
    EXPECT_TRUE(secondaries(store->resolve("c/A"), "VANE_specification").empty());
}

TEST(StepImport, ARefusedFileLeavesTheStoreAsItWas) {
    const OpenStore store;
    store->createItem("there", "", "", "A", nullptr);
    const std::string before = store.exported();
    for (const std::string& text :
         {std::string("no STEP file"), stepFile(""), stepFile(stepProduct(1, "a")).substr(0, 100),
          stepFile(stepProduct(1, "a") + stepUsage(9, 1, 1)),
          stepFile(stepProduct(1, "a") + stepUsage(9, 1, 5))}) {
        EXPECT_NE(failureOf([&] { store.importStep(text); }), "no failure") << text;
        EXPECT_EQ(store.exported(), before);
    }
    EXPECT_TRUE(store->check(store.id(), false).empty());
}

TEST(StepImport, AnImportOfAnExportHasTheSameStructure) {
    std::ostringstream text;
    const StepCounts counts = writeStep(
        text, {.parts = 30, .children = 3, .uses = 2, .bytes = 100'000, .duplicate_ids = true});
    const OpenStore store, other;
    const auto report = store.importStep(text.str());
    EXPECT_EQ(report.items, counts.products);
    EXPECT_EQ(exploded(store, report.top), counts.exploded);
    const std::string name = store->describe(report.top).id;
    const std::string world = store.exported();
    other.import(world);
    EXPECT_EQ(exploded(other, other->resolve(name)), counts.exploded);
    EXPECT_EQ(other.exported(), world);
}
