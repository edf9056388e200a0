// The old id is kept in a property of the item or of its master form.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::settings;
using world::World;

namespace {

class SaveOldId : public world::RenameTest {
protected:
    SaveOldId() {
        world.bench.defineType("Part", "Item", {{"My_prop", mervane::Kind::String, false, 128}});
        item = world.item("ABC", "Part").item;
        form = world.masterForm(item);
        world.name(item, "item");
        world.name(form, "form");
        world.clearLog();
    }
    int run(bool test_only = false) {
        return CKELD_ReName::SaveOldItemIdToAttribute(item, "OLD", test_only);
    }
    tag_t item = NULLTAG, form = NULLTAG;
};

}  // namespace

TEST_F(SaveOldId, UnsetThereIsNoLockAndNoRead) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(calls, ElementsAre("ENT_ask_object_type(item)"));
    EXPECT_THAT(world::traced(world), ElementsAre("ENT_ask_object_type(...)"));
}

TEST_F(SaveOldId, GoesToThePropertyOfTheItem) {
    settings(world, {"SaveOldId=item.My_prop"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(calls, ElementsAre("ENT_ask_object_type(item)", "OBJ_refresh(item, true)",
                                   "OBJ_ask_value_string(item, My_prop)",
                                   "OBJ_set_value_string(item, My_prop, OLD)", "OBJ_save(item)",
                                   "OBJ_refresh(item, false)"));
    EXPECT_EQ("OLD", world.storedText(item, "My_prop"));
    EXPECT_FALSE(world.locked(item));
    EXPECT_EQ(0u, world.newBlocks());
    EXPECT_THAT(world::traced(world),
                ElementsAre("ENT_ask_object_type(...)", "OBJ_refresh(...)",
                            "OBJ_ask_value_string(tObject, cProperty, &pcOldAttrValue)",
                            "OBJ_set_value_string(tObject, cProperty, pcOldId)",
                            "OBJ_save(tObject)", "OBJ_refresh(tObject, false)"));
}

TEST_F(SaveOldId, ThePlaceIsReadWithoutCaseAndThePropertyKeepsIts) {
    settings(world, {"SaveOldId=ITEM.My_prop"});
    EXPECT_EQ(0, run());
    EXPECT_EQ("OLD", world.storedText(item, "My_prop"));
    settings(world, {"SaveOldId=item.my_prop"});
    EXPECT_EQ(mervane::kUnknownAttribute, run());
    EXPECT_FALSE(world.locked(item));
}

TEST_F(SaveOldId, GoesToThePropertyOfTheMasterForm) {
    settings(world, {"SaveOldId=Im.previous_id"});
    EXPECT_EQ(0, run());
    EXPECT_EQ("OLD", world.storedText(form, "previous_id"));
    EXPECT_FALSE(world.locked(form));
    EXPECT_THAT(world::traced(world, 0), Contains("KELD_GetMasterForm(...)"));
}

TEST_F(SaveOldId, AnEarlierValueIsOverwritten) {
    settings(world, {"SaveOldId=im.previous_id"});
    world.put(form, "previous_id", "OLDER");
    EXPECT_EQ(0, run());
    EXPECT_EQ("OLD", world.storedText(form, "previous_id"));
}

TEST_F(SaveOldId, AnEqualValueIsNotWrittenButTheLockIsTakenAndGivenUp) {
    settings(world, {"SaveOldId=im.previous_id"});
    world.put(form, "previous_id", "OLD");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(world::only(calls, {"OBJ_"}),
                ElementsAre("OBJ_refresh(form, true)", "OBJ_ask_value_string(form, previous_id)",
                            "OBJ_refresh(form, false)"));
}

TEST_F(SaveOldId, ATestSetsTheValueAndDropsIt) {
    settings(world, {"SaveOldId=im.previous_id"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(true)); });
    EXPECT_THAT(
        world::only(calls, {"OBJ_"}),
        ElementsAre("OBJ_refresh(form, true)", "OBJ_ask_value_string(form, previous_id)",
                    "OBJ_set_value_string(form, previous_id, OLD)", "OBJ_refresh(form, false)"));
    EXPECT_EQ("", world.storedText(form, "previous_id"));
}

TEST_F(SaveOldId, TheTypesKeyComesFirst) {
    settings(world, {"SaveOldId.Part=item.My_prop", "SaveOldId=im.previous_id"});
    EXPECT_EQ(0, run());
    EXPECT_EQ("OLD", world.storedText(item, "My_prop"));
    EXPECT_EQ("", world.storedText(form, "previous_id"));
}

TEST_F(SaveOldId, AnEmptyKeyOfTheTypeLeavesTheGeneralOneInForce) {
    settings(world, {"SaveOldId.Part=", "SaveOldId=im.previous_id"});
    EXPECT_EQ(0, run());
    EXPECT_EQ("OLD", world.storedText(form, "previous_id"));
}

TEST_F(SaveOldId, AnotherPlaceIsRefusedAndNamedByTheTypesKey) {
    settings(world, {"SaveOldId=form.My_prop"});
    EXPECT_EQ(919344, run());
    EXPECT_THAT(world.lines("E"),
                ElementsAre("Invalid Attribute specified SaveOldId.Part=form.My_prop"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    for (const char* value : {"previous_id", ".previous_id", "items.x", "rev.x"}) {
        settings(world, {std::string("SaveOldId=") + value});
        EXPECT_EQ(919344, run()) << value;
    }
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(SaveOldId, AnItemWithoutAMasterFormIsRefused) {
    item = world.bench.create("Part");
    settings(world, {"SaveOldId.Part=im.previous_id"});
    EXPECT_EQ(919344, run());
    EXPECT_THAT(world.lines("E"),
                ElementsAre("Invalid Attribute specified SaveOldId.Part=im.previous_id"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(SaveOldId, APlaceWithoutAPropertyFailsAtTheProperty) {
    settings(world, {"SaveOldId=item"});
    EXPECT_EQ(mervane::kUnknownAttribute, run());
    EXPECT_FALSE(world.locked(item));
}

TEST_F(SaveOldId, AnOverlongValueKeepsMemoryWhole) {
    settings(world, {"SaveOldId=item." + std::string(2000, 'p')});
    EXPECT_NE(0, run());
    settings(world, {"SaveOldId=" + std::string(2000, 'p') + ".x"});
    EXPECT_EQ(919344, run());
}

TEST_F(SaveOldId, AFailureInTheWalkComesBeforeTheRelations) {
    const tag_t plan = world.dataset("plan ABC");
    world.bench.relate(item, plan, "VANE_reference");
    settings(world, {"SaveOldId=form.x"});
    EXPECT_EQ(919344, CKELD_ReName::RenameItem(item, "XYZ", "Disc", ""));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_EQ("plan ABC", world.storedText(plan, "object_name"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(SaveOldId, TheWalkKeepsTheIdFromBeforeTheLatestRename) {
    settings(world, {"SaveOldId=im.previous_id"});
    EXPECT_EQ(0, CKELD_ReName::RenameItem(item, "DEF", "", ""));
    EXPECT_EQ("ABC", world.storedText(form, "previous_id"));
    EXPECT_EQ(0, CKELD_ReName::RenameItem(item, "XYZ", "", ""));
    EXPECT_EQ("DEF", world.storedText(form, "previous_id"));
}

// ---- failures ----

TEST(SaveOldIdFailing, EachFailureIsReturnedAndTheLockGivenUp) {
    FailingRun test{[](World& world) {
                        settings(world, {"SaveOldId=item.object_desc"});
                        return world.item("ABC").item;
                    },
                    [](World&, tag_t item) {
                        return CKELD_ReName::SaveOldItemIdToAttribute(item, "OLD", false);
                    },
                    [](World& world, tag_t item, int call) {
                        EXPECT_EQ(call == 6, world.locked(item));
                        EXPECT_EQ(call == 0 || call == 6 ? "OLD" : "",
                                  world.storedText(item, "object_desc"));
                        EXPECT_EQ(0u, world.newBlocks());
                    }};
    expectEachFailure(test, {"ENT_ask_object_type", "OBJ_refresh", "OBJ_ask_value_string",
                             "OBJ_set_value_string", "OBJ_save", "OBJ_refresh"});
}

TEST(SaveOldIdFailing, TheFirstOfTwoFailuresIsReturned) {
    World world;
    settings(world, {"SaveOldId=item.object_desc"});
    const tag_t item = world.item("ABC").item;
    world.bench.setFaults({{"OBJ_save", 1, 4711}, {"OBJ_refresh", 2, 4712}});
    EXPECT_EQ(4711, CKELD_ReName::SaveOldItemIdToAttribute(item, "OLD", false));
}
