// The old id leaves the registry after a rename.

#include "tests/rename/registry_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using world::RegistryTest;

namespace {

class Unregister : public RegistryTest {
protected:
    int run(const char* id = "OLD", int mode = 0) {
        return CKELD_ReName::UnregisterOldItemId(id, mode);
    }
};

}  // namespace

TEST_F(Unregister, AnIdThatNoItemHasIsTakenOutWithTheSiteNumberZero) {
    registered("OLD");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(calls, ElementsAre("OPT_ask_char_value(ART_id_unregister_on_delete, 0)",
                                   "OPT_ask_char_value(ART_id_registry_site, 0)",
                                   "ORG_find_site(HQ)", "REG_is_item_id_registered(OLD, 0)",
                                   "ART_find_item(OLD)", "REG_unregister_item_id(OLD, 0)"));
    EXPECT_FALSE(isRegistered("OLD"));
    EXPECT_THAT(world.lines(),
                ElementsAre("ART_id_unregister_on_delete=true", "ART_id_registry_site=HQ",
                            "OLD is registered=true (0)"));
    EXPECT_EQ(0u, world.newBlocks());
    const auto traced = world::traced(world);
    for (const char* call : {"KELD_get_logical_pref(MV_preference_site, "
                             "\"ART_id_unregister_on_delete\", &lUnregisterOnDelete, true)",
                             "KELD_ART_find_item(sOldItemId, &tOldItem)",
                             "ORG_find_site(spRegistrySite, &tRegistrySite)",
                             "REG_is_item_id_registered(sOldItemId, &iIsRegistered, 0)",
                             "REG_unregister_item_id(sOldItemId, 0)"})
        EXPECT_THAT(traced, Contains(call));
}

TEST_F(Unregister, ThePreferenceSwitchesItOff) {
    registered("OLD");
    world.bench.setPreference("ART_id_unregister_on_delete", {"false"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_EQ(1u, calls.size());
    EXPECT_TRUE(isRegistered("OLD"));
    EXPECT_THAT(world.lines(), ElementsAre("ART_id_unregister_on_delete=false"));
}

TEST_F(Unregister, AnIdThatAnItemStillHasStays) {
    registered("ABC");
    EXPECT_EQ(0, run("ABC"));
    EXPECT_TRUE(isRegistered("ABC"));
    EXPECT_EQ("ABC still exists in DB, so do not unregister", world.lines().back());
}

TEST_F(Unregister, ModeThreeLeavesItRegistered) {
    registered("OLD");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run("OLD", 3)); });
    EXPECT_TRUE(isRegistered("OLD"));
    EXPECT_EQ("Mode=3; no unregister here", world.lines().back());
    EXPECT_THAT(world::only(calls, {"ART_find_item"}), ElementsAre("ART_find_item(OLD)"));
    for (const int mode : {0, 1, 2}) {
        setRegistered("OLD", true);
        EXPECT_EQ(0, run("OLD", mode));
        EXPECT_FALSE(isRegistered("OLD"));
    }
}

TEST_F(Unregister, AnIdThatIsNotRegisteredIsNoFailure) {
    EXPECT_EQ(0, run());
    EXPECT_EQ("OLD is NOT registered (0)", world.lines().back());
    EXPECT_TRUE(world::only(world::traced(world), {"REG_unregister"}).empty());
}

TEST_F(Unregister, AnUnreachableRegistryIsNoFailureWhateverThePreference) {
    for (const bool go_on : {true, false})
        for (const char* operation :
             {"REG_is_item_id_registered", "REG_unregister_item_id", "ORG_find_site"}) {
            setRegistered("OLD", true);
            world.bench.setPreference("ART_id_allow_if_registry_down", {go_on ? "true" : "false"});
            world.bench.setFaults({{operation, 1, kDown}});
            world.clearLog();
            EXPECT_EQ(0, run()) << operation;
            world.bench.setFaults({});
            EXPECT_TRUE(isRegistered("OLD"));
            EXPECT_THAT(world.lines(), Contains("ART_id_allow_if_registry_downsite=OLD"));
            EXPECT_EQ(go_on ? 1u : 0u,
                      world::tracesWith(world,
                                        "REG_registry_not_available set to true, so "
                                        "continue without error")
                          .size());
        }
}

TEST_F(Unregister, ThePreferencesFailedReadTakesTheStatussPlace) {
    registered("OLD");
    world.bench.setFaults(
        {{"REG_unregister_item_id", 1, kDown}, {"OPT_ask_char_value", 3, kFails}});
    EXPECT_EQ(kFails, run());
}

TEST_F(Unregister, EachFailureIsReturned) {
    const struct {
        const char* operation;
        int n;
        const char* last_line;
    } failures[] = {{"OPT_ask_char_value", 1, nullptr},
                    {"OPT_ask_char_value", 2, "OLD is NOT registered (0)"},
                    {"ORG_find_site", 1, "OLD is NOT registered (0)"},
                    {"REG_is_item_id_registered", 1, "OLD is NOT registered (0)"},
                    {"ART_find_item", 1, "OLD still exists in DB, so do not unregister"},
                    {"REG_unregister_item_id", 1, "OLD is registered=true (0)"}};
    registered("OLD");
    for (const auto& failure : failures) {
        SCOPED_TRACE(failure.operation);
        world.bench.setFaults({{failure.operation, failure.n, kFails}});
        world.clearLog();
        EXPECT_EQ(kFails, run());
        world.bench.setFaults({});
        EXPECT_TRUE(isRegistered("OLD"));
        const auto lines = world.lines("TD");
        if (failure.last_line == nullptr)
            EXPECT_THAT(lines, IsEmpty());
        else
            EXPECT_THAT(lines.back(), StartsWith(failure.last_line));
        EXPECT_EQ(0u, world.newBlocks());
    }
}

// Every answer at each of its calls, in every mode, with both preferences on and off.
TEST_F(Unregister, TheOutcomeAgreesWithTheModelInEveryCombination) {
    KELD_SetLogLevel(0);
    int runs = 0;
    for (const int asking : {0, kDown, kFails})
        for (const int removing : {0, kDown, kFails})
            for (const bool known : {true, false})
                for (const bool item_left : {true, false})
                    for (int mode = 0; mode <= 3; ++mode)
                        for (int bits = 0; bits < 4; ++bits, ++runs) {
                            const bool wanted = bits & 1, go_on = bits & 2;
                            const char* id = item_left ? "ABC" : "OLD";
                            setRegistered(id, known);
                            world.bench.setPreference("ART_id_unregister_on_delete",
                                                      {wanted ? "true" : "false"});
                            world.bench.setPreference("ART_id_allow_if_registry_down",
                                                      {go_on ? "true" : "false"});
                            std::vector<mervane::Fault> faults;
                            if (asking)
                                faults.push_back({"REG_is_item_id_registered", 1, asking});
                            if (removing)
                                faults.push_back({"REG_unregister_item_id", 1, removing});
                            world.bench.setFaults(faults);
                            const int status = run(id, mode);
                            world.bench.setFaults({});
                            const bool removes =
                                wanted && !asking && known && !item_left && mode != 3;
                            const bool fails =
                                (wanted && asking == kFails) || (removes && removing == kFails);
                            ASSERT_EQ(fails ? kFails : 0, status) << runs;
                            ASSERT_EQ(known && !(removes && !removing), isRegistered(id)) << runs;
                        }
    EXPECT_EQ(3 * 3 * 2 * 2 * 4 * 4, runs);
}

TEST_F(Unregister, AFailedSearchInModeThreeIsReturnedToo) {
    registered("OLD");
    world.bench.setFaults({{"ART_find_item", 1, kFails}});
    EXPECT_EQ(kFails, run("OLD", 3));
    EXPECT_EQ("Mode=3; no unregister here", world.lines("TD").back());
}

TEST_F(Unregister, AnUnknownSiteIsNoFailureSinceItsNumberIsNotAsked) {
    registered("OLD");
    world.bench.setPreference("ART_id_registry_site", {"Nowhere"});
    EXPECT_EQ(0, run());
    EXPECT_FALSE(isRegistered("OLD"));
}

TEST_F(Unregister, AnEmptyIdIsRegisteredNowhereAndANullOneIsNoCrash) {
    EXPECT_EQ(0, run(""));
    (void)run(nullptr);
    EXPECT_TRUE(world::only(world::traced(world), {"REG_unregister"}).empty());
}
