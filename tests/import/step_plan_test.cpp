#include "workbench/import/step_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/import/step_text.h"

using namespace keld_test;
using mervane::StepPlan;

namespace {

StepPlan plan(const std::string& data, const std::set<std::string>& taken = {}) {
    return mervane::planStep(readStepText(stepFile(data)), {},
                             [&](const std::string& id) { return taken.contains(id); });
}

std::vector<std::string> ids(const StepPlan& p) {
    std::vector<std::string> all;
    for (const auto& item : p.items)
        all.push_back(item.id);
    return all;
}

}  // namespace

using testing::ElementsAre;

TEST(StepPlanning, EqualIdsInTheFileGetSuffixesAndTheIdAsWrittenStays) {
    const StepPlan p = plan(stepProduct(1, "Document") + stepProduct(11, "Document") +
                            stepProduct(21, "other") + stepProduct(31, "Document"));
    EXPECT_THAT(ids(p), ElementsAre("Document", "Document-2", "other", "Document-3"));
    EXPECT_EQ(p.items[3].source_id, "Document");
    EXPECT_EQ(p.renamed_ids, 2);
}

TEST(StepPlanning, AnIdThatTheStoreHasGetsASuffixToo) {
    const StepPlan p = plan(stepProduct(1, "a") + stepProduct(11, "a"), {"a", "a-2", "a-3"});
    EXPECT_THAT(ids(p), ElementsAre("a-4", "a-5"));
    EXPECT_EQ(p.renamed_ids, 2);
}

TEST(StepPlanning, ASuffixNeverMeetsAnIdOfTheFile) {
    const StepPlan p = plan(stepProduct(1, "a-2") + stepProduct(11, "a") + stepProduct(21, "a") +
                            stepProduct(31, "a-2"));
    EXPECT_THAT(ids(p), ElementsAre("a-2", "a", "a-3", "a-2-2"));
}

TEST(StepPlanning, ALongIdIsCutOnAWholeCharacter) {
    const std::string umlaut = "\xC3\xA4";
    const std::string start(127, 'x');
    const StepPlan p = plan(stepProduct(1, start + umlaut) + stepProduct(11, start + umlaut));
    EXPECT_THAT(ids(p), ElementsAre(start, start.substr(0, 126) + "-2"));
    EXPECT_EQ(p.items[0].source_id, start + umlaut);
    EXPECT_EQ(p.cut_ids, 2);
    EXPECT_EQ(p.renamed_ids, 1);
}

TEST(StepPlanning, AProductWithoutAnIdTakesItsName) {
    const StepPlan p =
        plan(stepProduct(1, "", "Plate") + stepProduct(11, "", "") + stepProduct(21, "", ""));
    EXPECT_THAT(ids(p), ElementsAre("Plate", "unnamed", "unnamed-2"));
    EXPECT_EQ(p.unnamed, 3);
    EXPECT_EQ(p.items[1].name, "unnamed");
}

TEST(StepPlanning, AVersionWithoutAnIdIsRevisionA) {
    const StepPlan p = plan(stepProduct(1, "a", "a", "") + stepProduct(11, "b", "b", "07"));
    EXPECT_EQ(p.revisions[0].id, "A");
    EXPECT_EQ(p.revisions[1].id, "07");
}

TEST(StepPlanning, TwoVersionsOfAProductAreTwoRevisionsOfOneItem) {
    const StepPlan p = plan(stepProduct(1, "a") + "#10=PRODUCT_DEFINITION_FORMATION('','',#1);\n");
    ASSERT_EQ(p.items.size(), 1u);
    ASSERT_EQ(p.revisions.size(), 2u);
    EXPECT_EQ(p.revisions[0].id, "A");
    EXPECT_EQ(p.revisions[1].id, "A-2");
}

TEST(StepPlanning, AProductWithoutAVersionGetsRevisionA) {
    const StepPlan p = plan("#1=PRODUCT('a','','',());\n");
    ASSERT_EQ(p.revisions.size(), 1u);
    EXPECT_EQ(p.revisions[0].id, "A");
    EXPECT_THAT(p.tops, ElementsAre(0u));
}

TEST(StepPlanning, TheTopsAreWhatNothingUses) {
    const StepPlan p = plan(stepProduct(1, "a") + stepProduct(11, "b") + stepProduct(21, "c") +
                            stepUsage(30, 11, 1));
    EXPECT_THAT(p.tops, ElementsAre(1u, 2u));
    ASSERT_EQ(p.occurrences.size(), 1u);
    EXPECT_EQ(p.occurrences[0].parent, 1u);
    EXPECT_EQ(p.occurrences[0].child, 0u);
}
