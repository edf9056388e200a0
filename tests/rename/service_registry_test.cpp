// The service that renames an item where an id registry is active.

#include "platform/mv_reg.h"
#include "tests/rename/rename_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::both;

namespace {

class RenameServiceRegistry : public world::RenameTest {
protected:
    RenameServiceRegistry() {
        const world::ItemTags made = world.item("ABC");
        item = made.item;
        plan = world.specification(made.revision, "plan ABC");
        const tag_t site = world.bench.create("Site");
        world.put(site, "site_name", "HQ");
        world.bench.set(site, "site_id", {std::int64_t{7}});
        world.bench.setPreference("ART_id_registry", {"true"});
        world.bench.setPreference("ART_id_registry_site", {"HQ"});
        world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
        EXPECT_EQ(0, REG_register_item_id("ABC", 7));
        world.clearLog();
    }
    bool isRegistered(const char* id) {
        int answer = -1;
        EXPECT_EQ(0, REG_is_item_id_registered(id, &answer, 7));
        return answer == 1;
    }
    tag_t item = NULLTAG, plan = NULLTAG;
};

}  // namespace

TEST_F(RenameServiceRegistry, TheNewIdIsRegisteredBeforeTheRenameAndTheOldTakenOutAfterIt) {
    const auto calls = world.calls([&] { EXPECT_EQ(both(0), world::rename(world, item, "XYZ")); });
    EXPECT_THAT(world::only(calls, {"REG_register", "REG_unregister", "DBO_set_attr_string"}),
                ElementsAre("REG_register_item_id(XYZ, 7)", "DBO_set_attr_string(1, XYZ)",
                            "REG_unregister_item_id(ABC, 0)"));
    EXPECT_TRUE(isRegistered("XYZ"));
    EXPECT_FALSE(isRegistered("ABC"));
    EXPECT_EQ(3u, world.newBlocks());
}

TEST_F(RenameServiceRegistry, ARefusedIdChangesNothingAndTheOldOneStaysRegistered) {
    world::settings(world, {"ChangeRegisteredItemId=2"});
    const std::string before = world.everything();
    EXPECT_EQ(both(919345), world::rename(world, item, "XYZ"));
    EXPECT_EQ(before, world.everything());
    EXPECT_TRUE(isRegistered("ABC"));
    EXPECT_FALSE(isRegistered("XYZ"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919345"));
    // The step after the rename runs after a refusal too.
    EXPECT_THAT(world.lines("T"), Contains("ABC still exists in DB, so do not unregister"));
}

TEST_F(RenameServiceRegistry, ATakenIdIsRefused) {
    ASSERT_EQ(0, REG_register_item_id("XYZ", 7));
    EXPECT_EQ(both(100304), world::rename(world, item, "XYZ"));
    EXPECT_EQ("ABC", world.storedText(item, "item_id"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:100304"));
    EXPECT_TRUE(isRegistered("ABC"));
}

TEST_F(RenameServiceRegistry, ARefusedTestPassLeavesTheNewIdRegisteredAndTheObjectsAsTheyWere) {
    world::writeProtect(world, plan);
    const std::string before = world.everything();
    EXPECT_EQ(both(919342), world::rename(world, item, "XYZ"));
    EXPECT_TRUE(isRegistered("XYZ"));
    EXPECT_TRUE(isRegistered("ABC"));
    ASSERT_EQ(0, REG_unregister_item_id("XYZ", 7));
    EXPECT_EQ(before, world.everything());
}

TEST_F(RenameServiceRegistry, ARenameThatFailsAfterTheNewIdTakesTheOldOneOut) {
    world.bench.setFaults({{"DST_save_myself", 1, 4711}});
    EXPECT_EQ(both(4711), world::rename(world, item, "XYZ"));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_FALSE(isRegistered("ABC"));
    EXPECT_TRUE(isRegistered("XYZ"));
}

TEST_F(RenameServiceRegistry, TheFirstFailureOfTheSequenceIsTheResult) {
    world.bench.setFaults({{"REG_unregister_item_id", 1, 4712}});
    EXPECT_EQ(both(4712), world::rename(world, item, "XYZ"));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    ASSERT_EQ(0, REG_register_item_id("DEF", 7));
    world.bench.setFaults({{"ART_find_item", 1, 4712}});
    ASSERT_TRUE(isRegistered("XYZ"));
    EXPECT_EQ(both(100304), world::rename(world, item, "DEF"));
}

TEST_F(RenameServiceRegistry, AnUnchangedIdIsNotLookedForButTheWalkRuns) {
    const auto calls =
        world.calls([&] { EXPECT_EQ(both(0), world::rename(world, item, "ABC", "Disc")); });
    EXPECT_THAT(world::only(calls, {"REG_"}), IsEmpty());
    EXPECT_EQ("Disc", world.storedText(item, "object_name"));
    EXPECT_TRUE(isRegistered("ABC"));
}

TEST_F(RenameServiceRegistry, AnUnreachableRegistryDoesntKeepTheRenameAway) {
    for (const char* go_on : {"false", "true"}) {
        world.put(item, "item_id", "ABC");
        world.bench.setPreference("ART_id_allow_if_registry_down", {go_on});
        world.bench.setFaults({{"REG_is_item_id_registered", 0, 100309},
                               {"REG_register_item_id", 0, 100309},
                               {"REG_unregister_item_id", 0, 100309}});
        EXPECT_EQ(both(0), world::rename(world, item, "XYZ"));
        world.bench.setFaults({});
        EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
        EXPECT_TRUE(isRegistered("ABC"));
    }
}

TEST_F(RenameServiceRegistry, ThePreferenceForAnUnreachableOneDropsTheStepAfterTheRename) {
    for (const bool go_on : {false, true}) {
        world.put(item, "item_id", "ABC");
        world.bench.setPreference("ART_id_allow_if_registry_down", {go_on ? "true" : "false"});
        // The old id is registered, the answer about the new one doesn't come.
        world.bench.setFaults({{"REG_is_item_id_registered", 2, 100309}});
        EXPECT_EQ(both(0), world::rename(world, item, "XYZ"));
        world.bench.setFaults({});
        EXPECT_EQ(go_on, isRegistered("ABC"));
        if (!go_on) {
            ASSERT_EQ(0, REG_register_item_id("ABC", 7));
        }
    }
}

TEST_F(RenameServiceRegistry, AnEmptyIdIsRefusedAfterTheQuestionAboutIt) {
    world.bench.setPreference("ART_id_always_register_on_creation", {"false"});
    const auto calls =
        world.calls([&] { EXPECT_EQ(both(919320), world::rename(world, item, "")); });
    EXPECT_THAT(world::only(calls, {"REG_"}),
                ElementsAre("REG_is_item_id_registered(ABC, 7)", "REG_is_item_id_registered(7)",
                            "REG_is_item_id_registered(ABC, 0)"));
}

// ---- a failure at each of the registry's calls of a run ----

TEST_F(RenameServiceRegistry, AFailureAtEachCallInEachModeHasItsOutcome) {
    const struct Call {
        const char* operation;
        int n;
    } calls[] = {{"REG_is_item_id_registered", 1},  // the old id
                 {"REG_is_item_id_registered", 2},  // the new one
                 {"REG_register_item_id", 1},       // the new one
                 {"REG_is_item_id_registered", 3},  // the old one again, after the rename
                 {"REG_unregister_item_id", 1}};
    int runs = 0;
    for (int call = 0; call < 5; ++call)
        for (const int failure : {100309, 4711})
            for (int mode = 0; mode <= 3; ++mode)
                for (const bool go_on : {false, true}) {
                    SCOPED_TRACE(testing::Message() << "call " << call << ", failure " << failure
                                                    << ", mode " << mode << ", go on " << go_on);
                    if (!isRegistered("ABC")) {
                        ASSERT_EQ(0, REG_register_item_id("ABC", 7));
                    }
                    if (isRegistered("XYZ")) {
                        ASSERT_EQ(0, REG_unregister_item_id("XYZ", 7));
                    }
                    world.put(item, "item_id", "ABC");
                    world::settings(world, {"ChangeRegisteredItemId=" + std::to_string(mode)});
                    world.bench.setPreference("ART_id_allow_if_registry_down",
                                              {go_on ? "true" : "false"});
                    world.bench.setFaults({{calls[call].operation, calls[call].n, failure}});
                    const world::Outcome outcome = world::rename(world, item, "XYZ");
                    world.bench.setFaults({});

                    // In mode 3 the privilege replaces the first question.
                    const bool made_up = call == 0 && mode == 3;
                    const bool forbidden = mode == 2 && call != 0;
                    const bool down = failure == 100309;
                    const bool renames = !forbidden && (down || call >= 3 || made_up);
                    // The last call isn't reached in mode 3.
                    const bool reached = call != 4 || mode != 3;
                    const bool fails = !down && !made_up && reached;
                    EXPECT_EQ(both(forbidden ? 919345 : fails ? 4711 : 0), outcome);
                    EXPECT_EQ(renames ? "XYZ" : "ABC", world.storedText(item, "item_id"));
                    EXPECT_EQ(!forbidden && (call >= 3 || made_up), isRegistered("XYZ"));
                    // The old id is unregistered only if every call before that was answered.
                    const bool leaves = renames && mode != 3 && (call == 1 || call == 2) && !go_on;
                    EXPECT_EQ(!leaves, isRegistered("ABC"));
                    ++runs;
                }
    EXPECT_EQ(5 * 2 * 4 * 2, runs);
}
