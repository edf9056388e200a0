// This program brings functions of the platform itself, and the library calls those.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "platform/api.h"
#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "tests/status/visits.h"

using testing::ElementsAre;
using world::World;

static std::vector<tag_t> listed;

extern "C" KELD_EXPORT int ART_list_all_revs(tag_t, int* count, tag_t** revisions) {
    *count = static_cast<int>(listed.size());
    *revisions = static_cast<tag_t*>(HEAP_alloc(listed.size() * sizeof(tag_t)));
    std::copy(listed.begin(), listed.end(), *revisions);
    return 0;
}

// A platform that fills all six lists.
extern "C" KELD_EXPORT int DBO_referencers_of_instance(tag_t instance, int, int, int* count,
                                                       tag_t** instances, int** levels, int** where,
                                                       int* class_count, tag_t** classes,
                                                       int** class_levels, int** class_where) {
    *count = *class_count = 1;
    for (tag_t** list : {instances, classes}) {
        *list = static_cast<tag_t*>(HEAP_alloc(sizeof(tag_t)));
        **list = instance;
    }
    for (int** list : {levels, where, class_levels, class_where}) {
        *list = static_cast<int*>(HEAP_alloc(sizeof(int)));
        **list = 1;
    }
    return 0;
}

// A platform that gives a time of day though the format has none.
extern "C" KELD_EXPORT int TIME_string_to_date(const char*, const char*, int* month, int* day,
                                               int* year, int* hour, int* minute, int* second) {
    *year = 2026, *month = 10, *day = 14;
    *hour = 8, *minute = 37, *second = 5;
    return 0;
}

extern "C" KELD_EXPORT int ACL__set_application_bypass(logical on) {
    KELD_TRACE("bypass %s\n", on ? "on" : "off");
    return 0;
}

namespace {

std::vector<std::string> visitsFrom(World& world, tag_t revision) {
    world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nChangeForward=OldItemRevision\n");
    EXPECT_EQ(0, KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S"));
    return world::visits(world).at(1);
}

}  // namespace

TEST(OldItemRevision, OfAnObjectThatIsNotInTheListVisitsAll) {
    World world;
    const world::ItemTags made = world.item("000100");
    const tag_t second = world.revision(made.item, "B");
    const tag_t third = world.revision(made.item, "C");
    listed = {made.revision, second};
    EXPECT_THAT(visitsFrom(world, third),
                ElementsAre("S_ItemRevision", "S_Old_ItemRevision", "S_Old_ItemRevision"));
}

TEST(OldItemRevision, StopsAtTheObjectInTheListAndGivesTheListBack) {
    World world;
    const world::ItemTags made = world.item("000100");
    const tag_t second = world.revision(made.item, "B");
    const tag_t third = world.revision(made.item, "C");
    listed = {third, second, made.revision};
    EXPECT_THAT(visitsFrom(world, second), ElementsAre("S_ItemRevision", "S_Old_ItemRevision"));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST(SingleStatus, FreesTwoOfTheSixListsOfReferrers) {
    World world;
    const world::ItemTags made = world.item("000100");
    world.giveStatus(made.revision, "Working");
    CKELD_Status1 status("none");
    const auto blocks = world.blocks();
    EXPECT_EQ(0, status.Set(made.revision));
    // The levels and places of instances and classes stay allocated by design.
    EXPECT_EQ(blocks + 4, world.blocks());
}

TEST(SingleStatusOfADateText, IsOfMidnightWhateverThePlatformReads) {
    World world;
    CKELD_Status1 status("Released", "14.11.2026");
    const date_s date = status._dateRelease;
    EXPECT_THAT((std::vector<int>{date.year, date.month, date.day}), ElementsAre(2026, 10, 14));
    EXPECT_THAT((std::vector<int>{date.hour, date.minute, date.second}), ElementsAre(0, 0, 0));
}

TEST(AttributePass, ItsFailureIsLoggedAfterTheBypassIsOff) {
    World world;
    world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nPurge=1\n");
    world.fail("DST_purge_dataset_revs");
    EXPECT_EQ(4711,
              KELD_StatusManager_ManageStatus(world.item("000100").revision, "ItemRevision", "S"));
    const auto lines = world.lines();
    const auto off = std::find(lines.begin(), lines.end(), "bypass off");
    ASSERT_NE(off, lines.end());
    const auto told = [&](auto from, auto to) {
        return std::count_if(from, to, [](const std::string& line) {
            return line.starts_with("##QSK_err_4711: iRet");
        });
    };
    EXPECT_EQ(0, told(lines.begin(), off));
    EXPECT_EQ(1, told(off, lines.end()));
}
