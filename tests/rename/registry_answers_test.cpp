// Every answer of the registry at each of its calls, in every mode, by group and privilege, with
// the preference for an unreachable registry on and off.

#include "tests/rename/registry_world.h"
#include "tests/status/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::RegistryTest;

namespace {

enum class Answer { Registered, NotRegistered, Down, Fails };
constexpr Answer all_answers[] = {Answer::Registered, Answer::NotRegistered, Answer::Down,
                                  Answer::Fails};

struct Case {
    Answer about_old, about_new, to_registering;
    int mode;
    bool dba, publish, go_on_when_down, always_register;
};

// What the check has to give.
struct Expected {
    int status = 0;
    bool old_registered = false;
    bool asked_about_new = false;
    bool tried_to_register = false;
    bool read_down_preference = false;
};

int statusOf(Answer answer) {
    return answer == Answer::Down ? 100309 : answer == Answer::Fails ? 4711 : 0;
}

// Written from the rules as a decision, not as steps.
Expected expectedOf(const Case& c) {
    Expected expected;
    const bool old_known = c.about_old == Answer::Registered;
    // The status of the privilege replaces that of a failed look-up of the old id.
    const int after_old = c.mode == 3 ? 0 : statusOf(c.about_old);
    expected.old_registered = old_known;
    const bool forbidden =
        old_known && (c.mode == 2 || (c.mode == 1 && !c.dba) || (c.mode == 3 && !c.publish));
    if (forbidden) {
        expected.status = 919345;
    } else if (after_old != 0) {
        expected.status = after_old;
    } else {
        expected.asked_about_new = true;
        if (const int failure = statusOf(c.about_new); failure != 0)
            expected.status = failure;
        else if (c.about_new == Answer::Registered)
            expected.status = 100304;
        else if (c.always_register) {
            expected.tried_to_register = true;
            expected.status = statusOf(c.to_registering);
        }
    }
    if (expected.status == 100309) {
        expected.status = 0;
        expected.read_down_preference = true;
        if (c.go_on_when_down)
            expected.old_registered = false;
    }
    return expected;
}

class RegistryAnswers : public RegistryTest {
protected:
    void answer(const Case& c) {
        setRegistered("ABC", c.about_old == Answer::Registered);
        setRegistered("XYZ", c.about_new == Answer::Registered);
        std::vector<mervane::Fault> faults;
        int question = 1;
        if (statusOf(c.about_old))
            faults.push_back({"REG_is_item_id_registered", question, statusOf(c.about_old)});
        if (statusOf(c.about_new))
            faults.push_back({"REG_is_item_id_registered", ++question, statusOf(c.about_new)});
        if (statusOf(c.to_registering))
            faults.push_back({"REG_register_item_id", 1, statusOf(c.to_registering)});
        world.bench.setFaults(faults);
    }
    void run(const Case& c) {
        setMode(std::to_string(c.mode));
        world.bench.setPreference("ART_id_allow_if_registry_down",
                                  {c.go_on_when_down ? "true" : "false"});
        world.bench.setPreference("ART_id_always_register_on_creation",
                                  {c.always_register ? "true" : "false"});
        answer(c);
        const Expected expected = expectedOf(c);
        int status = 99;
        const auto calls = world.calls(
            [&] { world.as(c.dba ? world.session() : others, [&] { status = check("XYZ"); }); });
        world.bench.setFaults({});
        SCOPED_TRACE(testing::Message()
                     << "old " << static_cast<int>(c.about_old) << ", new "
                     << static_cast<int>(c.about_new) << ", registering "
                     << static_cast<int>(c.to_registering) << ", mode " << c.mode << ", dba "
                     << c.dba << ", publish " << c.publish << ", down preference "
                     << c.go_on_when_down << ", always " << c.always_register);
        EXPECT_EQ(expected.status, status);
        EXPECT_EQ(expected.old_registered, old_registered);
        EXPECT_EQ(expected.asked_about_new,
                  !world::only(calls, {"REG_is_item_id_registered(XYZ"}).empty());
        EXPECT_EQ(expected.tried_to_register, !world::only(calls, {"REG_register"}).empty());
        EXPECT_EQ(expected.read_down_preference,
                  !world::only(calls, {"OPT_ask_char_value(ART_id_allow_if"}).empty());
        EXPECT_EQ(c.about_new == Answer::Registered ||
                      (expected.tried_to_register && statusOf(c.to_registering) == 0),
                  isRegistered("XYZ"));
        ++runs;
    }
    int runs = 0;
};

}  // namespace

TEST_F(RegistryAnswers, OfTheCheckAgreeWithTheModelInEveryCombination) {
    KELD_SetLogLevel(0);
    for (const bool publish : {true, false}) {
        const Publish privilege(world, publish);
        for (const Answer about_old : all_answers)
            for (const Answer about_new : all_answers)
                for (const Answer registering : {Answer::Registered, Answer::Down, Answer::Fails})
                    for (int mode = 0; mode <= 3; ++mode)
                        for (int bits = 0; bits < 8; ++bits) {
                            run({about_old, about_new, registering, mode, (bits & 1) != 0, publish,
                                 (bits & 2) != 0, (bits & 4) != 0});
                            if (HasFailure())
                                return;
                        }
    }
    EXPECT_EQ(2 * 4 * 4 * 3 * 4 * 8, runs);
}

TEST_F(RegistryAnswers, AnUnreachableRegistryIsTracedWithTheOldId) {
    world.bench.setFaults({{"REG_is_item_id_registered", 1, kDown}});
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_THAT(world.lines(), Contains("ART_id_allow_if_registry_downsite=ABC"));
    EXPECT_THAT(world::tracesWith(world, "REG_registry_not_available"), IsEmpty());
    world.bench.setPreference("ART_id_allow_if_registry_down", {"true"});
    world.bench.setFaults({{"REG_is_item_id_registered", 1, kDown}});
    world.clearLog();
    EXPECT_EQ(0, check("XYZ"));
    const auto lines = world.lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_THAT(world::Lines(lines.end() - 2, lines.end()),
                ElementsAre("ART_id_allow_if_registry_downsite=ABC",
                            "REG_registry_not_available set to true, so continue without error"));
    EXPECT_THAT(world::traced(world),
                Contains("KELD_get_logical_pref(MV_preference_site, "
                         "\"ART_id_allow_if_registry_down\", &lAllowIfRegistryDownsite, false)"));
}

TEST_F(RegistryAnswers, TheFailedReadOfThatPreferenceTakesTheStatussPlace) {
    world.bench.setFaults(
        {{"REG_is_item_id_registered", 1, kDown}, {"OPT_ask_char_value", 4, kFails}});
    EXPECT_EQ(kFails, check("XYZ"));
    EXPECT_THAT(world::tracesWith(world, "ART_id_allow_if"), IsEmpty());
}

TEST_F(RegistryAnswers, TheNumberForUnreachableCountsWhereverItComesFrom) {
    for (const char* operation :
         {"ORG_find_site", "ORG_ask_site_info", "ART_ask_id", "DBO_ask_group"}) {
        world.bench.setFaults({{operation, 1, kDown}});
        EXPECT_EQ(0, check("XYZ")) << operation;
        EXPECT_FALSE(old_registered);
    }
}

TEST_F(RegistryAnswers, WhatThePlatformStoredAboutItStaysOnTheStack) {
    world.bench.setFaults({{"REG_is_item_id_registered", 1, kDown}});
    EXPECT_EQ(0, check("XYZ"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:100309"));
}

TEST_F(RegistryAnswers, EachOtherFailureOfTheCheckIsReturned) {
    for (const bool in_mode_three : {false, true}) {
        setMode(in_mode_three ? "3" : "0");
        world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
        for (const char* operation :
             {"OBJ_ask_value_string", "ORG_find_site", "ORG_ask_site_info", "ART_ask_id",
              "DBO_ask_group", "ACL_check_privilege", "REG_register_item_id"}) {
            setRegistered("XYZ", false);
            world.bench.setFaults({{operation, 1, kFails}});
            const int status = check("XYZ");
            world.bench.setFaults({});
            const std::string name = operation;
            const bool is_privilege = name == "ACL_check_privilege";
            // Mode 3 isn't read without the type. In it the privilege's status replaces all earlier
            // ones.
            const bool replaced = in_mode_three && !is_privilege &&
                                  name != "REG_register_item_id" && name != "OBJ_ask_value_string";
            const bool not_asked = !in_mode_three && is_privilege;
            EXPECT_EQ(replaced || not_asked ? 0 : kFails, status) << name;
            EXPECT_EQ(replaced || not_asked, isRegistered("XYZ")) << name;
            EXPECT_EQ(0u, world.newBlocks()) << name;
        }
    }
}

TEST_F(RegistryAnswers, EachFailedReadOfAPreferenceIsReturned) {
    for (int n = 1; n <= 3; ++n) {
        world.bench.setFaults({{"OPT_ask_char_value", n, kFails}});
        const auto calls = world.calls([&] { EXPECT_EQ(kFails, check("XYZ")) << n; });
        EXPECT_THAT(world::only(calls, {"REG_"}), IsEmpty());
        EXPECT_FALSE(old_registered);
    }
}
