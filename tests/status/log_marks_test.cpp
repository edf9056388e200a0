// The texts by which the command line reads a run from its log are what the library writes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "tests/support/world.h"
#include "tools/keld/host/status_marks.h"

using testing::Contains;
using testing::ElementsAreArray;
using testing::StartsWith;
using world::World;

namespace {

namespace marks = keld::marks;

class LogMarks : public testing::Test {
protected:
    std::vector<std::string> log() {
        std::vector<std::string> texts;
        for (const world::LogLine& line : world.log())
            texts.push_back(
                line.text.substr(std::min(line.text.find_first_not_of(' '), line.text.size())));
        return texts;
    }
    // The lines that have one of the marks at their start, as the marks.
    std::vector<std::string> walked() {
        const std::string enter = std::string(marks::kEnter) + marks::kVisitCall,
                          leave = std::string(marks::kLeave) + marks::kVisitCall;
        std::vector<std::string> found;
        for (const std::string& text : log())
            for (const std::string& mark :
                 {std::string(marks::kTestPass), std::string(marks::kAttributePass),
                  std::string(marks::kActionPass), std::string(marks::kVisit), enter, leave})
                if (text.starts_with(mark))
                    found.push_back(mark);
        return found;
    }
    static auto entered(const std::string& call) {
        return Contains(StartsWith(std::string(marks::kEnter) + call));
    }
    static auto left(const std::string& call) {
        return Contains(StartsWith(std::string(marks::kLeave) + call));
    }

    World world;
};

}  // namespace

TEST_F(LogMarks, PassesAndVisitsComeInThisOrder) {
    const tag_t revision = world.item("000100").revision;
    world.specification(revision, "plan");
    world.ini(
        "[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nSetReleaseState=Frozen\n"
        "ChangeForward=Rel.VANE_specification.*\n[S_VANE_specification.*]\nSetReleaseState=Frozen\n"
        "PrevReleaseStatus=none;Frozen\n");
    ASSERT_EQ(KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"), 0);
    const std::string enter = std::string(marks::kEnter) + marks::kVisitCall,
                      leave = std::string(marks::kLeave) + marks::kVisitCall;
    const std::vector<std::string> inner{enter, marks::kVisit, leave};
    std::vector<std::string> expected{marks::kTestPass, enter, marks::kVisit};
    expected.insert(expected.end(), inner.begin(), inner.end());
    expected.insert(expected.end(), {leave, marks::kAttributePass, marks::kVisit});
    expected.insert(expected.end(), inner.begin(), inner.end());
    expected.insert(expected.end(), {marks::kActionPass, enter, marks::kVisit});
    expected.insert(expected.end(), inner.begin(), inner.end());
    expected.push_back(leave);
    EXPECT_THAT(walked(), ElementsAreArray(expected))
        << "the start object's visit in the attribute pass has no call around it";
}

TEST_F(LogMarks, AVisitHasItsSectionAndStatusBetweenItsMarks) {
    const tag_t revision = world.item("000100").revision;
    world.giveStatus(revision, "Work");
    world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nDoNothingOnReleaseStatus=Work\n");
    ASSERT_EQ(KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"), 0);
    EXPECT_THAT(log(), Contains(std::string(marks::kVisit) + "S_ItemRevision" + marks::kLastStatus +
                                "Work" + marks::kVisitEnd));
    EXPECT_THAT(log(), Contains(StartsWith(marks::kSkipped)));
}

TEST_F(LogMarks, AFailureComesBeforeTheEndOfItsCall) {
    const tag_t revision = world.item("000100").revision;
    world.bench.checkOut(revision, "");
    world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nSetReleaseState=Frozen\n");
    ASSERT_EQ(KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"), 919405);
    const std::vector<std::string> texts = log();
    const auto failed = std::find_if(texts.begin(), texts.end(), [](const std::string& text) {
        return text.starts_with(std::string(marks::kFailed) + "919405: " + marks::kVisitCall);
    });
    ASSERT_NE(failed, texts.end());
    EXPECT_TRUE(std::any_of(failed, texts.end(), [](const std::string& text) {
        return text.starts_with(std::string(marks::kLeave) + marks::kVisitCall);
    }));
}

TEST_F(LogMarks, CallsOnLinesFormsDatasetsAndWorkflowsAreTraced) {
    const tag_t top = world.item("000100").revision, part = world.item("000101").revision;
    world.occurrence(top, part);
    world.specification(part, "plan");
    const tag_t kept = world.dataset("versions");
    world.bench.relate(part, kept, "VANE_reference");
    world.bench.createProcessTemplate("Follow", {"Check"});
    world.ini(
        "[SelectWSO]\nBOMLine=1\n[S_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
        "[S_ItemRevision]\nSetAttributes=MasterForm\nDeleteDatasets=VANE_specification.*\n"
        "ChangeForward=Rel.VANE_reference.*\nStartJob=Follow\n"
        "[S_ItemRevision_MasterForm]\nSetDefault=object_desc=new\n"
        "[S_VANE_reference.*]\nPurge=1\n");
    ASSERT_EQ(KELD_StatusManager_ManageStatus(world.bench.openBomWindow(top), "BOMLine", "S"), 0);
    for (const char* call :
         {marks::kChildLines, marks::kLineTag, marks::kSaveForm, marks::kDeleteDataset,
          marks::kPurge, marks::kFindJob, marks::kStartJob}) {
        EXPECT_THAT(log(), entered(call));
        EXPECT_THAT(log(), left(call));
    }
}

// keld finds the objects by the calls. Only a visit of an object asks for an attribute and then at
// once for the length of its list; a visit of a line makes the calls named above.
TEST_F(LogMarks, EachVisitOfAnObjectHasOneQuestionForItsStatuses) {
    const tag_t revision = world.item("000100").revision;
    world.giveStatus(revision, "Work");
    world.specification(revision, "plan");
    world.bench.createProcessTemplate("Follow", {"Check"});
    world.ini(
        "[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nSetReleaseState=Frozen\n"
        "PrevReleaseStatus=Work\nChangeForward=Rel.VANE_specification.*\nStartJob=Follow\n"
        "SetAttributes=MasterForm\n[S_ItemRevision_MasterForm]\nSetDefault=object_desc=new\n"
        "[S_VANE_specification.*]\nSetReleaseState=Frozen\nPrevReleaseStatus=none\n");
    std::vector<tag_t> asked;
    bool attribute = false;
    world.bench.startJournal([&](const mervane::JournalEntry& entry) {
        if (attribute && entry.operation == "DBO_length_of_attr")
            asked.push_back(entry.object());
        attribute = entry.operation == "DBO_attr_id_of_attr";
    });
    ASSERT_EQ(KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"), 0);
    world.bench.stopJournal();
    const std::vector<std::string> texts = log();
    const auto visits = std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
        return text.starts_with(marks::kVisit);
    });
    EXPECT_EQ(static_cast<std::size_t>(visits), asked.size());
    EXPECT_EQ(std::count(asked.begin(), asked.end(), revision), 3);
}
