// The sweep itself: planted mistakes have to be reported, each by the check that is there for it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_acl.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "tests/faults/counts.h"
#include "tests/faults/service.h"
#include "tests/faults/status_rules.h"
#include "tests/faults/sweep.h"

using faults::Outcome;
using faults::Rules;
using faults::Scenario;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using world::World;

namespace {

tag_t revision = NULLTAG;

Outcome service(World& world) {
    return faults::callService(world, "KELD_StatusManager", KELD_StatusManager,
                               {"S", "ItemRevision", revision});
}

// One revision whose status is set, with a mistake after or inside the service.
Scenario scenario(const std::function<void(World&, Outcome*)>& mistake) {
    Scenario made;
    made.name = "control";
    made.build = [](World& world) {
        revision = world.item("000100").revision;
        world.ini(
            "[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nSetReleaseState=Frozen\n"
            "PrevReleaseStatus=none;Frozen;Release Status\n");
    };
    made.run = [mistake](World& world) {
        Outcome outcome = service(world);
        if (outcome.slot != 0)
            mistake(world, &outcome);
        return outcome;
    };
    made.again = service;
    made.gives = faults::givenBy("KELD_StatusManager");
    made.on_the_way = {"release_status_list", "date_released"};
    return made;
}

std::vector<std::string> problemsOf(const std::function<void(World&, Outcome*)>& mistake) {
    return faults::sweep(scenario(mistake), faults::statusRules()).problems;
}

// The rules with one entry changed.
Rules changed(const char* function, const char* travels, const char* dropped) {
    Rules rules = faults::statusRules();
    for (auto& row : rules)
        if (std::strcmp(row.function, function) == 0)
            row = {function, travels, dropped};
    return rules;
}

}  // namespace

TEST(FaultSweepControl, WithoutAMistakeNothingIsReported) {
    EXPECT_THAT(problemsOf([](World&, Outcome*) {}), IsEmpty());
}

TEST(FaultSweepControl, AStatusThatIsNotTheInjectedOneIsReported) {
    EXPECT_THAT(problemsOf([](World&, Outcome* outcome) { outcome->slot = 0; }),
                Contains(HasSubstr("slot 0 instead of")));
}

TEST(FaultSweepControl, ABypassThatStaysOnIsReported) {
    EXPECT_THAT(problemsOf([](World&, Outcome*) { (void)ACL__set_application_bypass(true); }),
                Contains(HasSubstr("the bypass is on")));
}

TEST(FaultSweepControl, ALogThatIsDeeperIsReported) {
    EXPECT_THAT(problemsOf([](World&, Outcome*) { KELD_IncTraceSpaces(); }),
                Contains(HasSubstr("the log is at depth 1, not 0")));
}

TEST(FaultSweepControl, ASavedValueThatIsLostIsReported) {
    EXPECT_THAT(problemsOf([](World& world, Outcome*) {
                    world.put(revision, "object_name", "something else");
                }),
                Contains(HasSubstr("has another object_name")));
}

TEST(FaultSweepControl, ACrashIsReported) {
    EXPECT_THAT(problemsOf([](World&, Outcome*) { ::_exit(3); }),
                Contains(HasSubstr("ended with exit code 3")));
}

TEST(FaultSweepControl, AWrongEntryOfTheRulesIsReported) {
    const Rules travels =
        changed("CKELD_Status1::DelRelTagOnNotReferenze", "", "DBO_delete_instances");
    EXPECT_THAT(faults::sweep(scenario([](World&, Outcome*) {}), travels).problems,
                Contains(HasSubstr("no rule says what a failure of DBO_referencers_of_instance")));
    const Rules dropped = changed("CKELD_Status1::Set",
                                  "DBO_refresh_instances_any_class DBO_append_attr_tags "
                                  "DBO_set_attr_date DBO_save_instances",
                                  "CKELD_Status1::DelAllState OBJ_ask_if_modifiable");
    EXPECT_THAT(faults::sweep(scenario([](World&, Outcome*) {}), dropped).problems,
                Contains(HasSubstr("(OBJ_ask_if_modifiable gives")));
}

// A function of the rules' list that is written wrongly: it forgets a block and a lock.
namespace forgetful {
int Change(tag_t object) {
    if (const int status = OBJ_refresh(object, true); status != 0)
        return status;
    void* list = HEAP_alloc(8);
    const int status = OBJ_save(object);
    if (status == 0) {
        HEAP_free(list);
        return OBJ_refresh(object, false);
    }
    return status;
}
}  // namespace forgetful

TEST(FaultSweepControl, ABlockAndALockThatNoEntryAllowsAreReported) {
    Scenario made = scenario([](World&, Outcome*) {});
    made.run = [](World&) { return Outcome{forgetful::Change(revision), {}}; };
    made.again = {};
    made.gives = [](int status) { return Outcome{status, {}}; };
    const Rules rules = {{"forgetful::Change", "OBJ_refresh OBJ_save", ""}};
    const auto problems = faults::sweep(made, rules).problems;
    EXPECT_THAT(problems,
                Contains(HasSubstr("1 blocks of HEAP_alloc in forgetful::Change stay, not 0")));
    EXPECT_THAT(problems, Contains(HasSubstr("that OBJ_refresh took in forgetful::Change stays")));
}

TEST(FaultSweepShare, TheSharesTogetherAreTheWholeAndNoneRunsWhatAnotherDoes) {
    constexpr int of = 4;
    const auto run = [](const keld_test::Share& share, int before) {
        return faults::sweep(scenario([](World&, Outcome*) {}), faults::statusRules(), share,
                             before);
    };
    const int all = run({}, 0).run;
    int together = 0;
    for (int part = 1; part <= of; ++part) {
        const faults::Sums sums = run({part, of}, 3);
        EXPECT_EQ(sums.injections, all);
        EXPECT_NEAR(sums.run, all / of, 1);
        together += sums.run;
    }
    EXPECT_EQ(together, all);
    for (int number = 0; number < 3 * of; ++number) {
        int in = 0;
        for (int part = 1; part <= of; ++part)
            in += keld_test::Share{part, of}.has(number);
        EXPECT_EQ(in, 1) << number;
    }
}

TEST(FaultSweepShare, IsReadFromItsTwoNumbers) {
    const keld_test::Share share = keld_test::readShare("3/4");
    EXPECT_EQ(share.part, 3);
    EXPECT_EQ(share.of, 4);
    EXPECT_EQ(keld_test::readShare(nullptr).of, 1);
    EXPECT_EQ(keld_test::readShare("").of, 1);
}

TEST(FaultSweepShare, AnythingElseIsRefusedWithWhatWasExpected) {
    for (const char* text : {"0/4", "5/4", "1", "1/", "/4", "1/4x", "x", "1/0", "-1/4", "1 / 4"})
        EXPECT_THAT([&] { (void)keld_test::readShare(text); },
                    testing::ThrowsMessage<std::invalid_argument>(
                        testing::AllOf(HasSubstr(text), HasSubstr("PART/OF"))))
            << text;
}

// Each sweep must reach its own number, so together they reach the sum.
TEST(FaultSweepSum, TheSweepsMakeMoreThanTwentyThousandInjectionsTogether) {
    int sum = 0;
    for (const auto& [service, count] : faults::counts())
        sum += count;
    std::printf("fault sweep: at least %d injections\n", sum);
    EXPECT_GT(sum, 20'000);
}

// A fourth is the smallest share that a run of all tests takes.
TEST(FaultSweepSum, AFourthIsMoreThanFiveThousand) {
    int sum = 0;
    for (const auto& [service, count] : faults::counts())
        sum += count / 4;
    EXPECT_GT(sum, 5'000);
}
