// One pass of the walk over an item, whatever the action's bits are.

#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

// An item with two revisions; each of the three has a plan and a BOM view. Their names hold the
// item id, those of the revisions also a revision id.
class RenameWalk : public world::RenameTest {
protected:
    RenameWalk() {
        item = world.item("ABC").item;
        world::called(world, item, "Plate");
        world.name(item, "item");
        revisions[0] = world.bench.resolve("ABC/A");
        revisions[1] = world::called(world, world.revision(item, "B"), "ABC");
        item_plan = hang(item, "item plan ABC/A");
        for (int i = 0; i < 2; ++i) {
            const std::string letter(1, static_cast<char>('A' + i));
            world.name(revisions[i], letter);
            plans[i] = hang(revisions[i], "plan ABC/A");
            bvrs[i] = world.bench.bomViewRevision(revisions[i]);
            world.put(bvrs[i], "object_name", "ABC/A-view");
            world.name(plans[i], "plan " + letter);
            world.name(bvrs[i], "bvr " + letter);
            world.name(world.masterForm(revisions[i]), "form " + letter);
        }
        world.name(item_plan, "item plan");
        world.name(world.masterForm(item), "item form");
        view = world.bench.get(bvrs[0], "bom_view").empty()
                   ? NULLTAG
                   : std::get<mervane::Reference>(world.bench.get(bvrs[0], "bom_view")[0]).tag;
        world.put(view, "object_name", "ABC/A-view");
        world.name(view, "view");
        world.bench.createProcessTemplate("Follow", {"Check"});
        world.clearLog();
    }
    tag_t hang(tag_t primary, const std::string& name) {
        const tag_t made = world.dataset(name);
        world.bench.relate(primary, made, "VANE_reference");
        return made;
    }
    int run(tag_t about, const char* id, const char* revision_id, int action,
            const char* name = "Disc") {
        return CKELD_ReName::RenameItemTreeCombined(item, about, id, revision_id, name, "", action);
    }
    std::string name(tag_t object) { return world.storedText(object, "object_name"); }
    std::string revisionId(int i) { return world.storedText(revisions[i], "item_revision_id"); }

    tag_t item = NULLTAG, item_plan = NULLTAG, view = NULLTAG;
    tag_t revisions[2] = {}, plans[2] = {}, bvrs[2] = {};
};

// One of the sixteen actions, about the second revision.
class RenameWalkAction : public RenameWalk, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(RenameWalkAction, ReachesWhatItsBitsSay) {
    const int action = GetParam();
    const bool of_revisions = action & RENAME_REVISIONS, of_item = action & RENAME_ITEM,
               modifies = action & RENAME_MODIFY, id_only = action & RENAME_ID_ONLY;
    world::settings(world, {"StartWorkflowItem=Follow"});
    const std::string before = world.everything();
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(revisions[1], "XYZ", "2", action)); });

    const bool item_changes = of_item && modifies;
    EXPECT_EQ(item_changes ? "XYZ" : "ABC", world.storedText(item, "item_id"));
    EXPECT_EQ(item_changes ? "Disc" : "Plate", name(item));
    // With both ids given, the old revision id is that of the renamed revision.
    EXPECT_EQ(item_changes ? "item plan XYZ/A" : "item plan ABC/A", name(item_plan));
    EXPECT_EQ(item_changes ? "XYZ/A-view" : "ABC/A-view", name(view));
    for (int i = 0; i < 2; ++i) {
        const bool taken = of_revisions && (of_item || i == 1);
        const bool changes = taken && modifies;
        EXPECT_EQ(changes ? "Disc" : "ABC", name(revisions[i]));
        EXPECT_EQ(changes && i == 1 ? "2" : std::string(1, static_cast<char>('A' + i)),
                  revisionId(i));
        EXPECT_EQ(changes ? "plan XYZ/A" : "plan ABC/A", name(plans[i]));
        EXPECT_EQ(changes ? "XYZ/A-view" : "ABC/A-view", name(bvrs[i]));
        EXPECT_EQ(taken, !world::only(calls, {i == 0 ? "OBJ_ask_if_modifiable(plan A"
                                                     : "OBJ_ask_if_modifiable(plan B"})
                              .empty());
    }
    EXPECT_EQ(modifies && (id_only || of_revisions) ? 1 : 0, world.count("FLOWProcess"));
    EXPECT_EQ(of_item, !world::only(calls, {"OBJ_ask_if_modifiable(item plan"}).empty());
    // The statuses are looked at with the item, where a revision id may change.
    EXPECT_EQ(of_item && !id_only,
              !world::tracesWith(world, "CKELD_ReName::CheckRevisionStatuses").empty());
    if (!modifies) {
        EXPECT_EQ(before, world.everything());
        EXPECT_EQ(0u, world.bench.heldLocks());
    }
    EXPECT_EQ(0u, world.newBlocks());
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, RenameWalkAction, testing::Range(0, 16));

TEST_F(RenameWalk, BothPassesVisitTheSameObjectsInTheSameOrder) {
    // The named objects of a pass in the order in which they are first spoken of.
    const auto visited = [&](int action) {
        world::Lines order;
        world::Lines calls =
            world.calls([&] { EXPECT_EQ(0, run(NULLTAG, "XYZ", nullptr, action)); });
        calls.erase(calls.begin(), calls.begin() + 7);  // the old data
        for (const std::string& call : calls) {
            const std::size_t open = call.find('(');
            const std::string first =
                call.substr(open + 1, call.find_first_of(",)", open) - open - 1);
            const bool named =
                !first.empty() && first.find_first_not_of("0123456789#?") != std::string::npos;
            const bool object = call.starts_with("OBJ_") || call.starts_with("ENT_") ||
                                call.starts_with("ART_") || call.starts_with("REL_") ||
                                call.starts_with("DBO_class_of");
            if (named && object && std::ranges::find(order, first) == order.end())
                order.push_back(first);
        }
        return order;
    };
    const auto tested = visited(11), modified = visited(15);
    EXPECT_THAT(tested, ElementsAre("item", "item form", "item plan", "view", "A", "form A",
                                    "plan A", "bvr A", "B", "form B", "plan B", "bvr B"));
    EXPECT_EQ(tested, modified);
}

TEST_F(RenameWalk, ReadsTheOldDataFirst) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(NULLTAG, "XYZ", nullptr, 11)); });
    EXPECT_THAT(world::Lines(calls.begin(), calls.begin() + 9),
                ElementsAre("ART_ask_id(item)", "ENT_ask_name(item)", "ENT_ask_description(item)",
                            "ENT_ask_object_type(item)", "ART_list_all_revs(item)",
                            "ART_ask_rev_id(A)", "ENT_ask_object_type(A)",
                            "OBJ_ask_if_modifiable(item)", "CKO_is_checked_out(item)"));
}

TEST_F(RenameWalk, ItsCallsAreTracedAsTheyAreWritten) {
    ASSERT_EQ(0, run(revisions[1], "XYZ", "2", 7));
    world::Lines calls = world::traced(world, 0);
    const std::string related =
        "ProcessRelatedObj(RelationInfoList[jj], cExclItemRelations, cItemType, iAction, "
        "cOldItemId, cOldRevId, cOldName, cOldDesc, cNewItemId, cNewRevId, pcNewName, pcNewDesc, "
        "&bChanged)";
    const std::string revision =
        "ChangeRevInfos(tagRev, RevList[ii], cItemRevisionType, cExclRevRelations, "
        "cRenameOnStatus, cOldItemId, cOldRevId, cOldName, cOldDesc, cNewItemId, cNewRevId, "
        "pcNewName, pcNewDesc, iAction, lChangeRevisionName, lChangeRevisionDesc)";
    EXPECT_THAT(
        calls,
        ElementsAre(
            "ART_ask_id(tagItem, cOldItemId)", "ENT_ask_name(tagItem, cOldName)",
            "ENT_ask_description(tagItem, cOldDesc)", "ENT_ask_object_type(tagItem, cItemType)",
            "ART_list_all_revs(tagItem, &iRevCount, &RevList)", "ART_ask_rev_id(tagRev, cOldRevId)",
            "ENT_ask_object_type(tagRev, cItemRevisionType)",
            "ChangeItemInfos(tagItem, cOldItemId, cOldName, cOldDesc, cNewItemId, "
            "pcNewName, pcNewDesc)",
            "SaveOldItemIdToAttribute(tagItem, cOldItemId, false)",
            "REL_list_secondary_objects(tagItem, NULLTAG, &iRelationCount, "
            "&RelationInfoList)",
            related, related, "ART_list_bom_views(tagItem, &iBomCount, &BOMList)",
            "RenameObj(BOMList[jj], cNewItemId, cOldItemId, NULL, NULL, NULL, NULL, NULL, "
            "NULL, NULL)",
            "CheckRevisionStatuses(iRevCount, RevList, cRenameOnStatus, &iAction)",
            StartsWith("ENT_ask_object_id_string("), revision,
            StartsWith("ENT_ask_object_id_string("), revision, "StartWorkflow(tagItem, tagRev)"));
    EXPECT_EQ(0, world.log().back().depth);
}

TEST_F(RenameWalk, EachRevisionIsTracedWithItsNumber) {
    ASSERT_EQ(0, run(NULLTAG, "XYZ", nullptr, 11));
    const auto lines = world::tracesWith(world, "Revision[");
    ASSERT_EQ(2u, lines.size());
    EXPECT_THAT(lines[0], StartsWith("Revision[0]:<#" + std::to_string(revisions[0]) + " "));
    EXPECT_THAT(lines[1], StartsWith("Revision[1]:<#" + std::to_string(revisions[1]) + " "));
}

TEST_F(RenameWalk, WithoutARevisionTheFirstInOrderIsTheOne) {
    EXPECT_EQ(0, run(NULLTAG, "XYZ", "2", 7));
    EXPECT_EQ("2", revisionId(0));
    EXPECT_EQ("B", revisionId(1));
    // The renamed revision's old id counts for all: the names contain "A".
    EXPECT_EQ("plan XYZ/2", name(plans[0]));
    EXPECT_EQ("plan XYZ/2", name(plans[1]));
    EXPECT_EQ("XYZ/2-view", name(bvrs[1]));
    EXPECT_EQ("item plan XYZ/2", name(item_plan));
    // No revision id is known for the item's view.
    EXPECT_EQ("XYZ/A-view", name(view));
}

TEST_F(RenameWalk, AnItemWithoutRevisionsFailsWithThePlatformsAnswer) {
    const tag_t bare = world.bench.create("Item");
    world.put(bare, "item_id", "BARE");
    for (const int action : {11, 15, 7}) {
        EXPECT_EQ(mervane::kUnknownObject, CKELD_ReName::RenameItemTreeCombined(
                                               bare, NULLTAG, "XYZ", nullptr, "", "", action));
        EXPECT_EQ("BARE", world.storedText(bare, "item_id"));
        EXPECT_EQ(0u, world.newBlocks());
    }
}

TEST_F(RenameWalk, AnEmptyNameGivesTheNewIdToItemAndRevisionsAndTheOldNameGuidesTheOthers) {
    world::settings(world, {"ChangeObjectName.Item.VANE_reference.Text=4"});
    world::called(world, item_plan, "Plate");
    for (const char* no_name : {"", static_cast<const char*>(nullptr)}) {
        ASSERT_EQ(0, run(NULLTAG, "XYZ", nullptr, 15, no_name));
        EXPECT_EQ("XYZ", name(item));
        EXPECT_EQ("XYZ", name(revisions[0]));
        EXPECT_EQ("XYZ", name(revisions[1]));
        // An empty new name counts, a null one doesn't.
        EXPECT_EQ(no_name ? "" : "Plate", name(item_plan));
        world::called(world, item, "Plate");
        world::called(world, item_plan, "Plate");
        world.put(item, "item_id", "ABC");
    }
}

TEST_F(RenameWalk, UnchangedObjectsKeepTheirLocksAndAllOthersLoseThem) {
    world::called(world, item_plan, "drawing");
    world.put(view, "object_name", "view");
    ASSERT_EQ(0, run(NULLTAG, "XYZ", nullptr, 15));
    EXPECT_TRUE(world.locked(item_plan));
    EXPECT_TRUE(world.locked(view));
    EXPECT_EQ(2u, world.bench.heldLocks());
}
