// Every platform call of the renaming of one object fails once.

#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::ElementsAre;
using world::FailingRun;
using world::World;

namespace {

tag_t plan(World& world) {
    world::settings(world, {"ChangeObjectDescription.Item.R.Text=1"});
    const tag_t dataset = world.dataset("plan ABC");
    world.put(dataset, "object_desc", "about ABC");
    return dataset;
}

// The fourth call takes the lock, the last one releases it.
void lookAtPlan(World& world, tag_t dataset, int call) {
    EXPECT_EQ(call >= 5, world.locked(dataset));
    const bool stored = call == 0 || call == 11;
    EXPECT_EQ(stored ? "plan XYZ" : "plan ABC", world.storedText(dataset, "object_name"));
    EXPECT_EQ(stored ? "about XYZ" : "about ABC", world.storedText(dataset, "object_desc"));
    EXPECT_EQ(0u, world.newBlocks());
}

const std::vector<std::string> plan_calls = {
    "OBJ_refresh",       "~ENT_ask_name",       "ENT_ask_object_type", "OBJ_refresh",
    "ENT_set_name",      "ENT_ask_description", "ENT_set_description", "DBO_class_of_instance",
    "DBO_name_of_class", "DST_save_myself",     "OBJ_refresh"};

}  // namespace

TEST(RenameObjectFailing, EveryFailureButThatOfTheNameIsReturnedAndKeepsTheLock) {
    FailingRun test{plan,
                    [](World&, tag_t dataset) {
                        logical changed = false;
                        return CKELD_ReName::RenameObj(dataset, "XYZ", "ABC", &changed, "", "", "",
                                                       "", "Item", "R");
                    },
                    lookAtPlan};
    expectEachFailure(test, plan_calls);
}

TEST(RenameObjectFailing, TheExtendedFormDoesTheSame) {
    FailingRun test{plan,
                    [](World&, tag_t dataset) {
                        logical changed = false;
                        return CKELD_ReName::RenameObjExtended(
                            dataset, "XYZ", "2", "ABC", "1", &changed, "", "", "", "", "Item", "R");
                    },
                    lookAtPlan};
    expectEachFailure(test, plan_calls);
}

TEST(RenameObjectFailing, AnObjectThatIsNoDatasetFailsAtItsOwnSave) {
    FailingRun test{
        [](World& world) { return world.bench.createForm("Form", "sheet ABC"); },
        [](World&, tag_t form) {
            return CKELD_ReName::RenameObj(form, "XYZ", "ABC", nullptr, "", "", "", "", "Item",
                                           "R");
        },
        [](World& world, tag_t form, int call) { EXPECT_EQ(call >= 5, world.locked(form)); }};
    expectEachFailure(test, {"OBJ_refresh", "~ENT_ask_name", "ENT_ask_object_type", "OBJ_refresh",
                             "ENT_set_name", "DBO_class_of_instance", "DBO_name_of_class",
                             "MVTYPE_find_type", "OBJ_save", "OBJ_refresh"});
}

TEST(RenameObjectFailing, AFailureIsLoggedAndItsCallLeft) {
    World world;
    const tag_t dataset = plan(world);
    world.fail("ENT_set_name");
    EXPECT_EQ(world::kPlanned,
              CKELD_ReName::RenameObj(dataset, "XYZ", "ABC", nullptr, "", "", "", "", "Item", "R"));
    const auto lines = world.lines("E");
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], testing::StartsWith("##QSK_err_4711: ENT_set_name(...)   "));
    EXPECT_EQ(0, world.log().back().depth);
    EXPECT_THAT(world::stack(world), ElementsAre("3:4711"));
}

TEST(RenameObjectFailing, ALockOfAnotherSessionIsItsStatus) {
    World world;
    const tag_t dataset = plan(world);
    const auto other = world.otherUser("tom");
    world.as(other, [&] { ASSERT_EQ(0, OBJ_lock(dataset)); });
    EXPECT_EQ(mervane::kLockedByOther,
              CKELD_ReName::RenameObj(dataset, "XYZ", "ABC", nullptr, "", "", "", "", "Item", "R"));
    EXPECT_FALSE(world.locked(dataset));
}
