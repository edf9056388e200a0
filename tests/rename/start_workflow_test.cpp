// A workflow starts after the rename, on the item or on the revision.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::settings;
using world::World;

namespace {

class StartWorkflow : public world::RenameTest {
protected:
    StartWorkflow() {
        world.bench.defineType("Part", "Item", {});
        const world::ItemTags made = world.item("ABC", "Part");
        item = world::called(world, made.item, "Plate");
        revision = world::called(world, made.revision, "Plate A");
        world.name(item, "item");
        world.name(revision, "rev");
        for (const char* name : {"W1", "W2", "W3", "W4"})
            world.bench.createProcessTemplate(name, {"Check"});
        world.clearLog();
    }
    // The names of the templates of the processes that an object is in.
    world::Lines processesOf(tag_t object) {
        world::Lines found;
        for (const tag_t task : world.storedTags(object, "process_stage_list")) {
            const tag_t process = world.storedTags(task, "process").at(0);
            found.push_back(world.storedText(world.storedTags(process, "process_template").at(0),
                                             "object_name"));
        }
        return found;
    }
    tag_t item = NULLTAG, revision = NULLTAG;
};

}  // namespace

TEST_F(StartWorkflow, UnsetNothingIsStarted) {
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, revision));
        EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, NULLTAG));
    });
    EXPECT_THAT(calls, ElementsAre("ENT_ask_object_type(item)", "ENT_ask_object_type(item)"));
    EXPECT_EQ(0, world.count("FLOWProcess"));
}

TEST_F(StartWorkflow, TheFourKeysAreReadInTheirOrder) {
    const world::Lines keys = {"StartWorkflowItemRevision.Part=W1", "StartWorkflowItem.Part=W2",
                               "StartWorkflowItemRevision=W3", "StartWorkflowItem=W4"};
    // Every choice of set keys, with and without a revision.
    for (unsigned set = 0; set < 16; ++set)
        for (const bool with_revision : {true, false}) {
            world::Lines chosen;
            std::string expected;
            bool on_revision = false;
            for (unsigned i = 0; i < 4; ++i) {
                // An empty key counts as absent.
                chosen.push_back(set & (1u << i) ? keys[i]
                                                 : keys[i].substr(0, keys[i].find('=') + 1));
                const bool of_revision = i % 2 == 0;
                if (set & (1u << i) && expected.empty() && (with_revision || !of_revision)) {
                    expected = keys[i].substr(keys[i].find('=') + 1);
                    on_revision = of_revision;
                }
            }
            settings(world, chosen);
            world.bench.set(item, "process_stage_list", {});
            world.bench.set(revision, "process_stage_list", {});
            ASSERT_EQ(0, CKELD_ReName::StartWorkflow(item, with_revision ? revision : NULLTAG));
            const world::Lines one = expected.empty() ? world::Lines{} : world::Lines{expected};
            EXPECT_EQ(on_revision ? one : world::Lines{}, processesOf(revision)) << set;
            EXPECT_EQ(on_revision ? world::Lines{} : one, processesOf(item)) << set;
        }
}

TEST_F(StartWorkflow, TheItemsTypeIsInTheKeysAlsoForTheRevision) {
    settings(world, {"StartWorkflowItemRevision.PartRevision=W1",
                     "StartWorkflowItemRevision.ItemRevision=W2"});
    EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, revision));
    EXPECT_EQ(0, world.count("FLOWProcess"));
}

TEST_F(StartWorkflow, TheProcessIsNamedAfterItsTargetAndHasNoDescription) {
    settings(world, {"StartWorkflowItemRevision=W1"});
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, revision)); });
    EXPECT_THAT(
        calls,
        ElementsAre("ENT_ask_object_type(item)", "ENT_ask_name(rev)", "ENT_ask_object_type(rev)",
                    "OBJ_ask_value_tags(rev, process_stage_list)", "FLOW_find_process_template(W1)",
                    "FLOW_create_process(Plate A, null, ?, 1)", "RLS_refresh_job(?)"));
    EXPECT_EQ(0u, world.newBlocks());
    const tag_t task = world.storedTags(revision, "process_stage_list").at(0);
    const tag_t process = world.storedTags(task, "process").at(0);
    EXPECT_EQ("Plate A", world.storedText(process, "object_name"));
    EXPECT_THAT(world.storedTags(process, "attachments"), ElementsAre(revision));
    EXPECT_EQ((mervane::Values{std::int64_t{1}}), world.stored(process, "attachment_types"));
}

TEST_F(StartWorkflow, TracesTheStartAndItsCalls) {
    settings(world, {"StartWorkflowItem=W1"});
    EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, NULLTAG));
    EXPECT_THAT(world.lines(), ElementsAre("Start Workflow \"W1\" on Plate (object_type: Part) "
                                           "with Jobname Plate"));
    EXPECT_THAT(
        world::traced(world),
        ElementsAre("ENT_ask_object_type(...)", "ENT_ask_name(...)", "ENT_ask_object_type(...)",
                    "OBJ_ask_value_tags(...)", "FLOW_find_process_template(...)",
                    "FLOW_create_process(...)", "RLS_refresh_job(tJobNew)"));
}

TEST_F(StartWorkflow, AnObjectInAProcessGetsNoSecondOne) {
    settings(world, {"StartWorkflowItem=W1"});
    ASSERT_EQ(0, CKELD_ReName::StartWorkflow(item, NULLTAG));
    world.clearLog();
    EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, NULLTAG));
    EXPECT_THAT(world.lines(), ElementsAre("Plate (object_type: Part) is already in process of "
                                           "beeing released:"));
    EXPECT_EQ(1, world.count("FLOWProcess"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(StartWorkflow, AnUnknownTemplateIsAFailure) {
    settings(world, {"StartWorkflowItem=Unknown"});
    EXPECT_EQ(mervane::kUnknownObject, CKELD_ReName::StartWorkflow(item, NULLTAG));
    EXPECT_THAT(processesOf(item), IsEmpty());
}

TEST_F(StartWorkflow, AnOverlongTemplateNameKeepsMemoryWhole) {
    settings(world, {"StartWorkflowItem=" + std::string(2000, 'w')});
    EXPECT_NE(0, CKELD_ReName::StartWorkflow(item, NULLTAG));
}

TEST_F(StartWorkflow, AJobThatCantBeRefreshedIsDeletedAgain) {
    settings(world, {"StartWorkflowItem=W1"});
    world.fail("RLS_refresh_job");
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, CKELD_ReName::StartWorkflow(item, NULLTAG)); });
    EXPECT_EQ("OBJ_delete(?)", calls.back());
    EXPECT_EQ(0, world.count("FLOWProcess"));
    EXPECT_THAT(processesOf(item), IsEmpty());
    EXPECT_EQ("OBJ_delete(tJobNew)", world::traced(world).back());
}

TEST_F(StartWorkflow, IfTheJobCantBeDeletedEitherThatIsTheStatus) {
    settings(world, {"StartWorkflowItem=W1"});
    world.bench.setFaults({{"RLS_refresh_job", 1, 4711}, {"OBJ_delete", 1, 4712}});
    EXPECT_EQ(4712, CKELD_ReName::StartWorkflow(item, NULLTAG));
    EXPECT_EQ(1, world.count("FLOWProcess"));
}

// ---- in the walk ----

TEST_F(StartWorkflow, TheIdOnlyRenameLooksAtTheItemsKeysAlone) {
    settings(world, {"StartWorkflowItemRevision=W1", "StartWorkflowItemRevision.Part=W2"});
    EXPECT_EQ(0, CKELD_ReName::RenameItem(item, "XYZ", "", ""));
    EXPECT_EQ(0, world.count("FLOWProcess"));
    settings(world, {"StartWorkflowItemRevision=W1", "StartWorkflowItem=W4"});
    EXPECT_EQ(0, CKELD_ReName::RenameItem(item, "DEF", "", ""));
    EXPECT_THAT(processesOf(item), ElementsAre("W4"));
}

TEST_F(StartWorkflow, AnItemsTypeKeyWinsOverTheRevisionsPlainKey) {
    settings(world, {"StartWorkflowItemRevision=W3", "StartWorkflowItem.Part=W2"});
    EXPECT_EQ(0, CKELD_ReName::RenameItemExtended(item, revision, "XYZ", "2", "", "", 7));
    EXPECT_THAT(processesOf(item), ElementsAre("W2"));
    EXPECT_THAT(processesOf(revision), IsEmpty());
}

TEST_F(StartWorkflow, ARenameOfTheRevisionIdAloneStartsNone) {
    settings(world, {"StartWorkflowItemRevision=W1", "StartWorkflowItem=W4"});
    EXPECT_EQ(0, CKELD_ReName::RenameItemExtended(item, revision, "ABC", "2", "", "", 7));
    EXPECT_EQ("2", world.storedText(revision, "item_revision_id"));
    EXPECT_EQ(0, world.count("FLOWProcess"));
}

TEST_F(StartWorkflow, AFailedStartLeavesEverythingRenamed) {
    settings(world, {"StartWorkflowItem=Unknown"});
    EXPECT_EQ(mervane::kUnknownObject, CKELD_ReName::RenameItem(item, "XYZ", "Disc", ""));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_EQ("Disc", world.storedText(revision, "object_name"));
}

// ---- failures ----

TEST(StartWorkflowFailing, EachFailureBeforeTheStartIsReturned) {
    FailingRun test{[](World& world) {
                        settings(world, {"StartWorkflowItem=W"});
                        world.bench.createProcessTemplate("W", {"Check"});
                        return world.item("ABC").item;
                    },
                    [](World&, tag_t item) { return CKELD_ReName::StartWorkflow(item, NULLTAG); },
                    [](World& world, tag_t, int call) {
                        EXPECT_EQ(call == 0 ? 1 : 0, world.count("FLOWProcess"));
                    }};
    // A job that can't be refreshed is deleted again, and all is well.
    expectEachFailure(
        test, {"ENT_ask_object_type", "ENT_ask_name", "ENT_ask_object_type", "OBJ_ask_value_tags",
               "FLOW_find_process_template", "FLOW_create_process", "~RLS_refresh_job"});
}
