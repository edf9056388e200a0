// Whether a registered id may change, and what the registry is asked.

#include "platform/mv_reg.h"
#include "rename/keld_rn.h"
#include "tests/rename/registry_world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::RegistryTest;

namespace {
class Registry : public RegistryTest {};
}  // namespace

TEST_F(Registry, InactiveNothingIsAskedWhicheverModeIsSet) {
    world.bench.removePreference("ART_id_registry");
    registered("ABC");
    registered("XYZ");
    for (const char* mode : {"0", "1", "2", "3"}) {
        setMode(mode);
        const auto calls = world.calls([&] { EXPECT_EQ(0, check("XYZ")); });
        EXPECT_THAT(calls, ElementsAre("OBJ_ask_value_string(item, object_type)",
                                       "OPT_ask_char_value(ART_id_registry, 0)"));
        EXPECT_EQ("", old_id);
        EXPECT_FALSE(old_registered);
        EXPECT_EQ(mode[0] - '0', found_mode);
    }
    world.bench.setPreference("ART_id_registry", {"false"});
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_THAT(world.lines(), Contains("ART_id_registry=false"));
}

TEST_F(Registry, IsAskedInOrder) {
    registered("ABC");
    setMode("3");
    world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
    const auto calls = world.calls([&] { EXPECT_EQ(0, check("XYZ")); });
    EXPECT_THAT(calls,
                ElementsAre("OBJ_ask_value_string(item, object_type)",
                            "OPT_ask_char_value(ART_id_registry, 0)",
                            "OPT_ask_char_value(ART_id_registry_site, 0)",
                            "OPT_ask_char_value(ART_id_always_register_on_creation, 0)",
                            "ORG_find_site(HQ)", "ORG_ask_site_info(site)", "ART_ask_id(item)",
                            "REG_is_item_id_registered(ABC, 7)", "DBO_ask_group()",
                            "ACL_check_privilege(item, PUBLISH)",
                            "REG_is_item_id_registered(XYZ, 7)", "REG_register_item_id(XYZ, 7)"));
    EXPECT_EQ("ABC", old_id);
    EXPECT_TRUE(old_registered);
    EXPECT_EQ(3, found_mode);
    EXPECT_TRUE(isRegistered("XYZ"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Registry, ThePrivilegeIsAskedInModeThreeAlone) {
    for (const char* mode : {"0", "1", "2"}) {
        setMode(mode);
        const auto calls = world.calls([&] { EXPECT_EQ(0, check("XYZ")); });
        EXPECT_THAT(world::only(calls, {"ACL_"}), IsEmpty());
    }
}

TEST_F(Registry, ItsCallsAreTracedInTheInLineForm) {
    registered("ABC");
    setMode("3");
    world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
    EXPECT_EQ(0, check("XYZ"));
    const auto calls = world::traced(world);
    for (const char* call :
         {"OBJ_ask_value_string(tagItem, \"object_type\", &sItemType)",
          "KELD_get_logical_pref(MV_preference_site, \"ART_id_registry\", &lItemIdRegistry, false)",
          "KELD_get_string_pref(MV_preference_site, \"ART_id_registry_site\", &spRegistrySite, "
          "\"\")",
          "KELD_get_logical_pref(MV_preference_site, \"ART_id_always_register_on_creation\", "
          "&lAlwaysRegisterOnCreation, false)",
          "ORG_find_site(spRegistrySite, &tRegistrySite)",
          "ORG_ask_site_info(tRegistrySite, sRegistrySite, &iRegistrySiteId)",
          "ART_ask_id(tagItem, sOldItemId)", "DBO_ask_group(&sGroupName, &tGroup)",
          "ACL_check_privilege(tagItem, \"PUBLISH\", &publish_allowed)",
          "REG_is_item_id_registered(sOldItemId, &iIsRegistered, iRegistrySiteId)",
          "REG_is_item_id_registered(sNewItemId, &iIsRegistered, iRegistrySiteId)",
          "REG_register_item_id(sNewItemId, iRegistrySiteId)"})
        EXPECT_THAT(calls, Contains(call));
}

TEST_F(Registry, TracesWhatItFinds) {
    registered("ABC");
    setMode("3");
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_THAT(
        world.lines(),
        ElementsAre("ART_id_registry=true", "ART_id_registry_site=HQ",
                    "ART_id_always_register_on_creation=false", "ABC is registered=true (7)",
                    "ChangeRegisteredItemId=3, publish_allowed : Yes",
                    "XYZ is registered=false (7)",
                    "ART_id_always_register_on_creation set to false, so do NOT register new id"));
    EXPECT_FALSE(isRegistered("XYZ"));
    world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
    world.clearLog();
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_THAT(world.lines(), Contains("ART_id_always_register_on_creation=true"));
    EXPECT_EQ("ART_id_always_register_on_creation set to true, so register new id",
              world.lines().back());
}

TEST_F(Registry, AnUnchangedIdIsNotLookedForAtAll) {
    registered("ABC");
    for (const char* mode : {"0", "2", "3"}) {
        setMode(mode);
        world.clearLog();
        const auto calls = world.calls([&] { EXPECT_EQ(0, check("ABC")); });
        EXPECT_THAT(world::only(calls, {"REG_", "DBO_", "ACL_"}), IsEmpty());
        const auto lines = world.lines();
        ASSERT_EQ(5u, lines.size());
        EXPECT_EQ("Item Id not Changed ABC (sOldItemId) == ABC (sNewItemId)", lines[3]);
        EXPECT_EQ("No need to check global registry", lines[4]);
        EXPECT_FALSE(old_registered);
        EXPECT_EQ("ABC", old_id);
    }
}

TEST_F(Registry, ARegisteredIdMayChangeByModeGroupAndPrivilege) {
    registered("ABC");
    for (const int mode : {0, 1, 2, 3})
        for (const bool dba : {true, false})
            for (const bool publish : {true, false}) {
                SCOPED_TRACE(testing::Message()
                             << "mode " << mode << ", dba " << dba << ", publish " << publish);
                setMode(std::to_string(mode));
                const Publish privilege(world, publish);
                const auto session = dba ? world.session() : others;
                int status = 99;
                const std::size_t before = world.bench.errorStack().size();
                world.clearLog();
                world.as(session, [&] { status = check("XYZ"); });
                const bool may = mode == 0 || (mode == 1 && dba) || (mode == 3 && publish);
                EXPECT_EQ(may ? 0 : 919345, status);
                EXPECT_EQ(before + (may ? 0 : 1), world.bench.errorStack().size());
                EXPECT_TRUE(old_registered);  // also after a refusal
                if (!may) {
                    const auto lines = world.lines();
                    ASSERT_GE(lines.size(), 4u);
                    EXPECT_THAT(
                        world::Lines(lines.end() - 4, lines.end()),
                        ElementsAre("ChangeRegisteredItemId=" + std::to_string(mode) +
                                        ", current group=" + (dba ? "dba" : "toms"),
                                    "The Item Id is registered, so not allow to rename this Item",
                                    "If current group is dba and you want to be able to change "
                                    "the Id",
                                    "the ChangeRegisteredItemId mode needs to be set to 1 instead "
                                    "of 2."));
                }
            }
    EXPECT_THAT(world::stack(world), testing::Each("3:919345"));
}

TEST_F(Registry, AGroupWhoseNameOnlyBeginsWithDbaIsNotIt) {
    registered("ABC");
    setMode("1");
    const auto session = world.otherUser("dba");  // of the group "dbas"
    int status = 0;
    world.as(session, [&] { status = check("XYZ"); });
    EXPECT_EQ(919345, status);
}

TEST_F(Registry, AnIdThatIsNotRegisteredMayChangeInEveryMode) {
    for (const char* mode : {"0", "1", "2", "3"}) {
        setMode(mode);
        const Publish none(world, false);
        world.as(others, [&] { EXPECT_EQ(0, check("XYZ")); });
        EXPECT_FALSE(old_registered);
    }
}

TEST_F(Registry, TheModeIsReadForTheTypeWithTheGeneralOneAsDefault) {
    for (const auto& [general, special, expected] : {std::tuple{"2", "", 2},
                                                     {"2", "1", 1},
                                                     {"", "3", 3},
                                                     {"0", "2", 2},
                                                     {"9", "x", 0},
                                                     {"12", "", 1},
                                                     {"-1", "", 0}}) {
        world::Lines lines;
        if (*general)
            lines.push_back(std::string("ChangeRegisteredItemId=") + general);
        if (*special)
            lines.push_back(std::string("ChangeRegisteredItemId.Item=") + special);
        lines.push_back("ChangeRegisteredItemId.Other=3");
        world::settings(world, lines);
        EXPECT_EQ(0, check("XYZ"));
        EXPECT_EQ(expected, found_mode) << general << " and " << special;
    }
    // An empty value of the type is one.
    world::settings(world, {"ChangeRegisteredItemId=2", "ChangeRegisteredItemId.Item="});
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_EQ(0, found_mode);
}

TEST_F(Registry, ARegisteredNewIdIsRefusedAfterTheModeTest) {
    registered("XYZ");
    EXPECT_EQ(100304, check("XYZ"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:100304"));
    EXPECT_NE(std::string::npos, world.bench.errorStack().at(0).text.find("XYZ"));
    EXPECT_EQ("XYZ is registered=true (7)", world.lines().back());
    // The mode's refusal comes first.
    registered("ABC");
    setMode("2");
    EXPECT_EQ(919345, check("XYZ"));
    EXPECT_EQ(100304, (setMode("0"), check("XYZ")));
    EXPECT_TRUE(old_registered);
}

TEST_F(Registry, OutputsAreClearedFirstAndMayBeNull) {
    world.bench.removePreference("ART_id_registry");
    old_registered = true;
    found_mode = 77;
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_FALSE(old_registered);
    EXPECT_EQ(0, found_mode);
    world.bench.setPreference("ART_id_registry", {"true"});
    EXPECT_EQ(0, CKELD_ReName::CheckItemIdRegistry(item, "XYZ", nullptr, nullptr, nullptr));
    char id[129] = "";
    (void)CKELD_ReName::CheckItemIdRegistry(item, nullptr, id, nullptr, nullptr);
    EXPECT_STREQ("ABC", id);
}

TEST_F(Registry, AnUnknownSiteIsTheSitesFailure) {
    world.bench.setPreference("ART_id_registry_site", {"Nowhere"});
    EXPECT_EQ(mervane::kUnknownObject, check("XYZ"));
    EXPECT_FALSE(old_registered);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(Registry, AnOverlongNewIdIsRefusedByTheRegistryAndHarmsNothing) {
    world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
    const std::string huge(3000, 'i');
    EXPECT_EQ(mervane::kTooLong, check(huge.c_str()));
    EXPECT_EQ("ABC", old_id);
}
