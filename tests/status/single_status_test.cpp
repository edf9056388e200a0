#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <type_traits>

#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::World;

namespace {

const date_s kDate = {2013, 10, 14, 16, 13, 5};

bool operator==(date_s left, date_s right) {
    return left.year == right.year && left.month == right.month && left.day == right.day &&
           left.hour == right.hour && left.minute == right.minute && left.second == right.second;
}

class SingleStatus : public testing::Test {
protected:
    SingleStatus() {
        revision = world.item("000100").revision;
        other = world.item("000101").revision;
        world.name(revision, "rev");
        world.name(other, "other");
    }

    World world;
    tag_t revision = NULLTAG, other = NULLTAG;
};

}  // namespace

static_assert(!std::is_polymorphic_v<CKELD_Status1>);

TEST_F(SingleStatus, ItsFieldsAreInTheirOrder) {
    EXPECT_EQ(0u, offsetof(CKELD_Status1, _cState));
    EXPECT_EQ(36u, offsetof(CKELD_Status1, _tagRelState));
    EXPECT_EQ(40u, offsetof(CKELD_Status1, _dateRelease));
    EXPECT_EQ(48u, offsetof(CKELD_Status1, _tagReleaseStatusAttribute));
    EXPECT_EQ(52u, offsetof(CKELD_Status1, _tagReleaseDateAttribute));
}

TEST_F(SingleStatus, PreparingMakesADatedStatusObjectInOrder) {
    const auto calls = world.calls([&] {
        CKELD_Status1 status("Frozen", &kDate);
        EXPECT_STREQ("Frozen", status._cState);
        EXPECT_TRUE(world.exists(status._tagRelState));
        EXPECT_EQ("Frozen", world.storedText(status._tagRelState, "name"));
        EXPECT_TRUE(kDate == world.storedDate(status._tagRelState, "date_released"));
    });
    EXPECT_THAT(calls,
                ElementsAre("DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                            "DBO_attr_id_of_attr(name, ReleaseStatus)",
                            "DBO_attr_id_of_attr(date_released, WorkspaceObject)",
                            "RLS_create_release_status(Release Status)",
                            "DBO_set_attr_string(1, Frozen)", "DBO_set_attr_date(1)",
                            "DBO_save_instances(1, false)", "DBO_refresh_instances_any_class(1, 0)",
                            // the destructor, since nobody took it up
                            "DBO_referencers_of_instance(?, 1, 9003)", "DBO_delete_instances(1)"));
}

TEST_F(SingleStatus, TheDateIsNowTheGivenOneOrTheOneOfTheText) {
    const std::time_t before = std::time(nullptr);
    CKELD_Status1 now("Frozen");
    std::tm local = *std::localtime(&before);
    EXPECT_EQ(local.tm_year + 1900, now._dateRelease.year);
    EXPECT_EQ(local.tm_mon, now._dateRelease.month);
    CKELD_Status1 given("Frozen", &kDate);
    EXPECT_TRUE(kDate == given._dateRelease);
    CKELD_Status1 text("Frozen", "24.12.2013");
    EXPECT_TRUE((date_s{2013, 11, 24, 0, 0, 0}) == text._dateRelease);
}

TEST_F(SingleStatus, ADateTextThatCantBeReadLeavesTheStartValues) {
    CKELD_Status1 status("Frozen", "tomorrow");
    EXPECT_TRUE((date_s{1970, 1, 1, 0, 0, 0}) == status._dateRelease);
    CKELD_Status1 none("Frozen", static_cast<const char*>(nullptr));
    EXPECT_TRUE((date_s{1970, 1, 1, 0, 0, 0}) == none._dateRelease);
}

TEST_F(SingleStatus, TheDateTextIsReadByAnInLineTracedCall) {
    CKELD_Status1 status("Frozen", "tomorrow");
    bool found = false;
    for (const auto& line : world.log())
        found |= line.level == 'E' &&
                 line.text.find(
                     "Funktion:TIME_string_to_date(date, \"%d.%m.%Y\", &month, &day, "
                     "&year, &hour, &minute, &second) returned ") != std::string::npos;
    EXPECT_TRUE(found);
}

TEST_F(SingleStatus, ANullDateIsTheNullDate) {
    CKELD_Status1 status("Frozen", static_cast<const date_s*>(nullptr));
    EXPECT_TRUE(date_s{} == status._dateRelease);
}

TEST_F(SingleStatus, AnEmptyNameGetsAPlaceholderAndNoStatusObject) {
    for (const char* name : {"", static_cast<const char*>(nullptr)}) {
        world.clearLog();
        const auto calls = world.calls([&] {
            CKELD_Status1 status(name, &kDate);
            EXPECT_STREQ("KELD_UNDEF_OR_EMPTY_STATE_DEF", status._cState);
            EXPECT_EQ(NULLTAG, status._tagRelState);
            EXPECT_EQ(NULLTAG, status._tagReleaseStatusAttribute);
            EXPECT_EQ(0, status.Set(revision));
        });
        EXPECT_THAT(calls, IsEmpty());
        EXPECT_THAT(world.lines("EW"),
                    ElementsAre("CKELD_Status1::Init empty Status",
                                "CKELD_Status1::Set _tagRelState==NULLTAG (not init)"));
    }
}

TEST_F(SingleStatus, ANameOf32CharactersIsAccepted) {
    const std::string name(32, 'x');
    CKELD_Status1 status(name.c_str());
    EXPECT_EQ(name, status._cState);
    EXPECT_NE(NULLTAG, status._tagRelState);
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_THAT(world.statuses(revision), ElementsAre(name));
}

TEST_F(SingleStatus, ANameOf33CharactersGetsAPlaceholderAndNoStatusObject) {
    const std::string name(33, 'x');
    CKELD_Status1 status(name.c_str());
    EXPECT_STREQ("KELD_TO_LONG_STATE_DEF", status._cState);
    EXPECT_EQ(NULLTAG, status._tagRelState);
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_THAT(world.statuses(revision), IsEmpty());
    EXPECT_THAT(world.lines("E"), ElementsAre("CKELD_Status1::Init Status to long:" + name));
    EXPECT_THAT(world.lines("W"),
                ElementsAre("CKELD_Status1::Set _tagRelState==NULLTAG (not init)"));
}

TEST_F(SingleStatus, NoneMakesNoStatusObject) {
    const auto calls = world.calls([&] {
        CKELD_Status1 status("none");
        EXPECT_EQ(NULLTAG, status._tagRelState);
        EXPECT_NE(NULLTAG, status._tagReleaseStatusAttribute);
        EXPECT_NE(NULLTAG, status._tagReleaseDateAttribute);
    });
    EXPECT_EQ(3u, calls.size());
}

TEST_F(SingleStatus, SettingReplacesAllStatusesByThisOne) {
    const tag_t old = world.giveStatus(revision, "Working");
    {
        CKELD_Status1 status("Frozen", &kDate);
        EXPECT_EQ(0, status.Set(revision));
    }
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
    EXPECT_TRUE(kDate == world.storedDate(revision, "date_released"));
    EXPECT_FALSE(world.exists(old));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

TEST_F(SingleStatus, SettingMakesItsCallsInOrder) {
    CKELD_Status1 status("Frozen", &kDate);
    world.name(status._tagRelState, "status");
    const auto calls = world.calls([&] { EXPECT_EQ(0, status.Set(revision)); });
    EXPECT_THAT(
        calls,
        ElementsAre("DBO_refresh_instances_any_class(1, 0)", "DBO_length_of_attr(rev)",
                    "OBJ_ask_if_modifiable(rev)", "DBO_refresh_instances_any_class(1, 1)",
                    "DBO_append_attr_tags(1, 1)", "DBO_set_attr_date(1)",
                    "DBO_save_instances(1, false)", "DBO_refresh_instances_any_class(1, 0)"));
}

TEST_F(SingleStatus, RemovingMakesItsCallsInOrderAndAsksForEachStatus) {
    const tag_t first = world.giveStatus(revision, "Working");
    const tag_t second = world.giveStatus(revision, "Frozen");
    world.bench.set(other, "release_status_list", {mervane::Reference{second}});
    world.put(revision, "date_released", kDate);
    world.name(first, "first");
    world.name(second, "second");
    CKELD_Status1 status("none");
    const std::size_t blocks = world.blocks();
    const auto calls = world.calls([&] { EXPECT_EQ(0, status.DelAllState(revision)); });
    EXPECT_THAT(
        calls,
        ElementsAre("DBO_refresh_instances_any_class(1, 0)", "DBO_length_of_attr(rev)",
                    "OBJ_ask_if_modifiable(rev)", "DBO_ask_attr_tags(rev, 0, 2)",
                    "DBO_load_instances_possible(2)", "DBO_refresh_instances_any_class(1, 1)",
                    "DBO_remove_from_attr(1, 0, 2)", "DBO_set_attr_null(1)",
                    "DBO_save_instances(1, false)", "DBO_refresh_instances_any_class(1, 0)",
                    "DBO_referencers_of_instance(first, 1, 9003)", "DBO_delete_instances(1)",
                    "DBO_referencers_of_instance(second, 1, 9003)"));
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), IsEmpty());
    EXPECT_TRUE(date_s{} == world.storedDate(revision, "date_released"));
    EXPECT_FALSE(world.exists(first));
    EXPECT_TRUE(world.exists(second));  // the other object still has it
    EXPECT_EQ(blocks, world.blocks());
    EXPECT_THAT(world.lines("T"), ElementsAre("Delete StausObject"));
}

TEST_F(SingleStatus, SettingNoneClearsListAndDate) {
    const tag_t first = world.giveStatus(revision, "Working");
    const tag_t shared = world.giveStatus(revision, "Frozen");
    world.bench.set(other, "release_status_list", {mervane::Reference{shared}});
    world.put(revision, "date_released", kDate);
    CKELD_Status1 status("none");
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), IsEmpty());
    EXPECT_TRUE(date_s{} == world.storedDate(revision, "date_released"));
    EXPECT_FALSE(world.exists(first));
    EXPECT_THAT(world.statuses(other), ElementsAre("Frozen"));
}

TEST_F(SingleStatus, RemovingFromAnObjectWithoutStatusesEndsAtItsLength) {
    world.put(revision, "date_released", kDate);
    CKELD_Status1 status("none");
    const auto calls = world.calls([&] { EXPECT_EQ(0, status.DelAllState(revision)); });
    EXPECT_THAT(calls,
                ElementsAre("DBO_refresh_instances_any_class(1, 0)", "DBO_length_of_attr(rev)"));
    EXPECT_TRUE(kDate == world.storedDate(revision, "date_released"));
}

TEST_F(SingleStatus, RemovingTakesAsManyEntriesAsCouldBeLoadedFromTheFront) {
    const tag_t first = world.giveStatus(revision, "Working");
    const tag_t last = world.giveStatus(revision, "Frozen");
    ASSERT_EQ(0, DBO_delete_instances(1, &first));
    CKELD_Status1 status("none");
    EXPECT_EQ(0, status.DelAllState(revision));
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), ElementsAre(last));
    EXPECT_TRUE(world.exists(last));  // its entry is still there
}

TEST_F(SingleStatus, TwoObjectsShareTheStatusObjectAndTheDate) {
    CKELD_Status1 status("Frozen", &kDate);
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_EQ(0, status.Set(other));
    EXPECT_THAT(world.storedTags(revision, "release_status_list"),
                ElementsAre(status._tagRelState));
    EXPECT_THAT(world.storedTags(other, "release_status_list"), ElementsAre(status._tagRelState));
    EXPECT_TRUE(kDate == world.storedDate(revision, "date_released"));
    EXPECT_TRUE(kDate == world.storedDate(other, "date_released"));
}

TEST_F(SingleStatus, TheDestructorLeavesAStatusThatWasTakenUp) {
    tag_t prepared = NULLTAG;
    {
        CKELD_Status1 status("Frozen");
        prepared = status._tagRelState;
        EXPECT_EQ(0, status.Set(revision));
    }
    EXPECT_TRUE(world.exists(prepared));
}

TEST_F(SingleStatus, TheDestructorDeletesAStatusThatWasNeverSet) {
    tag_t prepared = NULLTAG;
    {
        CKELD_Status1 status("Frozen");
        prepared = status._tagRelState;
        EXPECT_TRUE(world.exists(prepared));
    }
    EXPECT_FALSE(world.exists(prepared));
}

TEST_F(SingleStatus, AnObjectThatIsNotModifiableStaysWithoutTheStatusAndSuccessIsReported) {
    const tag_t old = world.giveStatus(revision, "Working");
    const auto colleague = world.otherUser("smith");
    world.as(colleague, [&] { world.bench.checkOut(revision, "mine"); });
    CKELD_Status1 status("Frozen");
    world.clearLog();
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_THAT(world.storedTags(revision, "release_status_list"), ElementsAre(old));
    EXPECT_THAT(world.lines("EW"), ElementsAre("CKELD_Status1::DelAllState Object not modifiable",
                                               "CKELD_Status1::Set Object not modifiable"));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

// The second visit removes the last referrer, so the shared status is deleted and can't be appended
// any more.
TEST_F(SingleStatus, SettingTheOnlyReferrerASecondTimeFails) {
    CKELD_Status1 status("Frozen");
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_NE(0, status.Set(revision));
    EXPECT_THAT(world.statuses(revision), IsEmpty());
}

TEST_F(SingleStatus, SettingASecondTimeSucceedsWhileAnotherObjectRefersToTheStatus) {
    CKELD_Status1 status("Frozen");
    EXPECT_EQ(0, status.Set(other));
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_EQ(0, status.Set(revision));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
}

TEST_F(SingleStatus, AssigningCopiesTheWholeObject) {
    CKELD_Status1 right("Frozen", &kDate);
    CKELD_Status1 left("none");
    EXPECT_EQ(&left, &(left = right));
    EXPECT_EQ(0, std::memcmp(&left, &right, sizeof(left)));
    left = *&left;
    EXPECT_STREQ("Frozen", left._cState);
}

TEST_F(SingleStatus, AfterAssigningEachDestructorTestsTheOneStatus) {
    tag_t prepared = NULLTAG;
    const auto calls = world.calls([&] {
        CKELD_Status1 right("Frozen", &kDate);
        prepared = right._tagRelState;
        world.name(prepared, "status");
        CKELD_Status1 left("none");
        left = right;
    });
    EXPECT_EQ(
        2, std::count(calls.begin(), calls.end(), "DBO_referencers_of_instance(status, 1, 9003)"));
    EXPECT_FALSE(world.exists(prepared));
}

TEST(Datum, AssigningCopiesTheDate) {
    CKELD_Datum left, right;
    right.m_dsDate = kDate;
    EXPECT_EQ(&left, &(left = right));
    EXPECT_TRUE(kDate == left.m_dsDate);
}
