// The run from its entries to its end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/keld_se.h"
#include "tests/support/world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::World;

namespace {

class StatusService : public testing::Test {
protected:
    StatusService() {
        made = world.item("000100");
        world.ini("[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nSetReleaseState=Frozen\n");
    }

    World world;
    world::ItemTags made;
};

}  // namespace

TEST_F(StatusService, ReadsItsArgumentsAndReportsTheRunInTheSlot) {
    world.bench.sendArguments({std::string("Frozen"), std::string("ItemRevision"), made.revision});
    int result = 99;
    EXPECT_EQ(0, KELD_StatusManager(&result));
    EXPECT_EQ(0, result);
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Frozen"));
    EXPECT_THAT(world.lines("T"), Contains("KELD_StatusManager set Frozen  on ItemRevision:" +
                                           std::to_string(made.revision)));
    // The two texts stay allocated by design.
    EXPECT_EQ(2u, world.newBlocks());
}

TEST_F(StatusService, ReturnsSuccessWhenTheRunIsRefused) {
    world.bench.sendArguments({std::string("Frozen"), std::string("Item"), made.item});
    int result = 99;
    EXPECT_EQ(0, KELD_StatusManager(&result));
    EXPECT_EQ(919402, result);
}

TEST_F(StatusService, AShortArgumentListShowsInEmptyValues) {
    int result = 99;
    EXPECT_EQ(0, KELD_StatusManager(&result));
    EXPECT_EQ(919402, result);
    EXPECT_THAT(world.lines("T"), Contains("KELD_StatusManager set (null)  on (null):0"));
    world.bench.sendArguments({std::string("Frozen"), std::string("ItemRevision")});
    EXPECT_EQ(0, KELD_StatusManager(&result));
    EXPECT_NE(0, result);
}

TEST_F(StatusService, TakesANullSlot) {
    world.bench.sendArguments({std::string("Frozen"), std::string("ItemRevision"), made.revision});
    EXPECT_EQ(0, KELD_StatusManager(nullptr));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Frozen"));
}

TEST_F(StatusService, AnUnknownObjectIsAFailure) {
    EXPECT_NE(0, KELD_StatusManager_ManageStatus(NULLTAG, "ItemRevision", "Frozen"));
    EXPECT_NE(0, KELD_StatusManager_ManageStatus(999999, "ItemRevision", "Frozen"));
}

namespace {

// A revision with six datasets of its own types, which get the statuses named.
class StatusesOfARun : public testing::Test {
protected:
    StatusesOfARun() { revision = world.item("000100").revision; }
    tag_t with(const std::string& status) {
        const std::string type = "T" + std::to_string(datasets.size());
        world.bench.defineType(type, "Dataset", {});
        datasets.push_back(world.specification(revision, type, type));
        walk += "Rel.VANE_specification." + type + ";";
        sections += "[S_VANE_specification." + type + "]\nSetReleaseState=" + status + "\n";
        return datasets.back();
    }
    int run() {
        world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\nChangeForward=" + walk + "\n" +
                  sections);
        return KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S");
    }
    tag_t statusOf(tag_t object) {
        const auto tags = world.storedTags(object, "release_status_list");
        return tags.size() == 1 ? tags[0] : NULLTAG;
    }

    World world;
    tag_t revision = NULLTAG;
    std::vector<tag_t> datasets;
    std::string walk, sections;
};

}  // namespace

TEST_F(StatusesOfARun, TheFirstTwoAreSharedAndAnyFurtherIsMadeForEachObject) {
    const tag_t a1 = with("First"), b1 = with("Second"), c1 = with("Third"), a2 = with("First"),
                b2 = with("Second"), c2 = with("Third");
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.statuses(c1), ElementsAre("Third"));
    EXPECT_THAT(world.statuses(c2), ElementsAre("Third"));
    EXPECT_NE(NULLTAG, statusOf(a1));
    EXPECT_EQ(statusOf(a1), statusOf(a2));
    EXPECT_NE(NULLTAG, statusOf(b1));
    EXPECT_EQ(statusOf(b1), statusOf(b2));
    EXPECT_NE(statusOf(c1), statusOf(c2));
    EXPECT_THAT(world.lines("W"), ElementsAre("More As 2 ReleaseState define in Prozess",
                                              "More As 2 ReleaseState define in Prozess"));
    EXPECT_EQ(4, world.count("ReleaseStatus"));
}

TEST_F(StatusesOfARun, NoneIsAStatusNameLikeAnother) {
    const tag_t cleared = with("none");
    const tag_t old = world.giveStatus(cleared, "Working");
    sections += "PrevReleaseStatus=Working\n";
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.storedTags(cleared, "release_status_list"), IsEmpty());
    EXPECT_FALSE(world.exists(old));
}

TEST_F(StatusesOfARun, ANameOfMoreThan32CharactersNeverMatchesAndSetsNothing) {
    const std::string name(33, 'x');
    const tag_t first = with(name), second = with("Frozen"), third = with("Frozen");
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.statuses(first), IsEmpty());
    // Its placeholders hold both places, so the other name is made for each object.
    EXPECT_THAT(world.statuses(second), ElementsAre("Frozen"));
    EXPECT_THAT(world.statuses(third), ElementsAre("Frozen"));
    EXPECT_NE(statusOf(second), statusOf(third));
    const std::string more = "More As 2 ReleaseState define in Prozess";
    const std::string nothing = "CKELD_Status1::Set _tagRelState==NULLTAG (not init)";
    EXPECT_THAT(world.lines("W"), ElementsAre(more, nothing, more, more));
    EXPECT_EQ(2, world.count("ReleaseStatus"));
}

TEST_F(StatusesOfARun, AFailureBeyondTheFirstTwoStopsNothing) {
    const tag_t a = with("First"), b = with("Second"), c = with("Third"), d = with("First");
    (void)a, (void)b;
    world.fail("DBO_append_attr_tags", 3);
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.statuses(c), IsEmpty());
    EXPECT_THAT(world.statuses(d), ElementsAre("First"));
    EXPECT_EQ(2, world.count("ReleaseStatus"));
}

TEST_F(StatusesOfARun, AFailureOfASharedOneStopsTheRunAndItsStatusIsRemoved) {
    const tag_t a = with("First"), b = with("Second");
    world.fail("DBO_append_attr_tags", 2);
    EXPECT_EQ(4711, run());
    EXPECT_THAT(world.statuses(a), ElementsAre("First"));  // what was done stays done
    EXPECT_THAT(world.statuses(b), IsEmpty());
    EXPECT_TRUE(world.locked(b));
    EXPECT_EQ(1, world.count("ReleaseStatus"));  // "Second" was never taken up
}

TEST_F(StatusesOfARun, ARefusedRunMakesNoStatusObject) {
    const tag_t a = with("First");
    const auto colleague = world.otherUser("smith");
    world.as(colleague, [&] { world.bench.checkOut(a, "his"); });
    EXPECT_EQ(919405, run());
    EXPECT_EQ(0, world.count("ReleaseStatus"));
}
