// Whether the revisions of an item may change, and the exception for an item with an old revision
// in a forbidden status.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

constexpr int kAll = RENAME_REVISIONS | RENAME_ITEM | RENAME_MODIFY;

class RevisionStatuses : public world::RenameTest {
protected:
    RevisionStatuses() {
        const world::ItemTags made = world.item("ABC");
        revisions = {made.revision, world.revision(made.item, "B"), world.revision(made.item, "C")};
        world::writeProtectStatus(world, "Frozen");
        world::writeProtectStatus(world, "Released");
        for (std::size_t i = 0; i < revisions.size(); ++i)
            world.name(revisions[i], std::string(1, static_cast<char>('A' + i)));
        world.clearLog();
    }
    int run(const char* on_status = ";Released;", int start_action = kAll) {
        action = start_action;
        return CKELD_ReName::CheckRevisionStatuses(static_cast<int>(revisions.size()),
                                                   revisions.data(), on_status, &action);
    }
    std::vector<tag_t> revisions;
    int action = 0;
};

}  // namespace

TEST_F(RevisionStatuses, RevisionsThatCanBeChangedPassInOrder) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run()); });
    EXPECT_THAT(world::only(calls, {"OBJ_ask_if", "ENT_ask_object_id", "DBO_"}),
                ElementsAre("ENT_ask_object_id_string(A)", "OBJ_ask_if_modifiable(A)",
                            "ENT_ask_object_id_string(B)", "OBJ_ask_if_modifiable(B)",
                            "ENT_ask_object_id_string(C)", "OBJ_ask_if_modifiable(C)"));
    EXPECT_EQ(kAll, action);
    EXPECT_EQ(0u, world.newBlocks());
    const auto lines = world.lines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_THAT(lines[0],
                testing::StartsWith("CKELD_ReName::CheckRevisionStatuses: Revision[0]:<#"));
    EXPECT_THAT(lines[2],
                testing::StartsWith("CKELD_ReName::CheckRevisionStatuses: Revision[2]:<#"));
    EXPECT_TRUE(lines[2].ends_with(">")) << lines[2];
    EXPECT_THAT(world::traced(world),
                ElementsAre("ENT_ask_object_id_string(...)", "ENT_ask_object_id_string(...)",
                            "ENT_ask_object_id_string(...)"));
}

TEST_F(RevisionStatuses, ACheckedOutRevisionWithoutStatusIsRefused) {
    world.bench.checkOut(revisions[1], "");
    EXPECT_EQ(919342, run());
    EXPECT_THAT(world::errors(world), ElementsAre("Revision readonly or checked out"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
    EXPECT_EQ(kAll, action);
    EXPECT_EQ(2u, world::tracesWith(world, "CKELD_ReName::CheckRevisionStatuses").size());
}

TEST_F(RevisionStatuses, AListedStatusPasses) {
    world.giveStatus(revisions[0], "Released");
    EXPECT_EQ(0, run());
    EXPECT_EQ(kAll, action);
    EXPECT_EQ(
        "Revision readonly, but is released with latest Status Released so continue with "
        "next",
        world.lines().at(1));
    EXPECT_EQ(3u, world::tracesWith(world, "CKELD_ReName::CheckRevisionStatuses").size());
}

TEST_F(RevisionStatuses, APartOfAListedStatusCountsAsListed) {
    world.giveStatus(revisions[2], "Frozen");
    EXPECT_EQ(0, run(";Frozen Deep;"));
    EXPECT_EQ(kAll, action);
}

TEST_F(RevisionStatuses, AForbiddenOldStatusBeforeALastRevisionWithoutStatusLeavesTheItemOut) {
    world.giveStatus(revisions[0], "Frozen");
    EXPECT_EQ(0, run());
    EXPECT_EQ(kAll & ~RENAME_ITEM, action);
    EXPECT_THAT(world::stack(world), IsEmpty());
    EXPECT_THAT(world.lines("E"), IsEmpty());
    // Nothing after it is looked at.
    EXPECT_EQ(1u, world::tracesWith(world, "CKELD_ReName::CheckRevisionStatuses").size());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(RevisionStatuses, WithoutRevisionsInTheActionThereIsNoWayOut) {
    world.giveStatus(revisions[0], "Frozen");
    EXPECT_EQ(919343, run(";;", RENAME_ITEM | RENAME_MODIFY));
    EXPECT_EQ(RENAME_ITEM | RENAME_MODIFY, action);
    EXPECT_THAT(world::errors(world), ElementsAre("Revision readonly, and has latest Status Frozen "
                                                  "which is not allowed for rename"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919343"));
}

TEST_F(RevisionStatuses, ALastRevisionWithAnyStatusClosesTheWayOut) {
    world.giveStatus(revisions[0], "Frozen");
    world.giveStatus(revisions[2], "Working");
    EXPECT_EQ(919343, run());
    EXPECT_EQ(kAll, action);
}

TEST_F(RevisionStatuses, AForbiddenStatusOfTheLastRevisionIsRefused) {
    world.giveStatus(revisions[2], "Frozen");
    EXPECT_EQ(919343, run());
}

TEST_F(RevisionStatuses, TheFirstRefusalEndsTheWork) {
    world.bench.checkOut(revisions[0], "");
    world.giveStatus(revisions[1], "Frozen");
    EXPECT_EQ(919342, run());
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342"));
}

TEST_F(RevisionStatuses, NoRevisionsAreNoRefusal) {
    revisions.clear();
    EXPECT_EQ(0, run());
    int untouched = 3;
    EXPECT_EQ(0, CKELD_ReName::CheckRevisionStatuses(0, nullptr, nullptr, &untouched));
    EXPECT_EQ(3, untouched);
}

// ---- failures ----

namespace {

std::vector<tag_t> both_revisions;

int runBoth(World&, tag_t) {
    int action = kAll;
    const int status = CKELD_ReName::CheckRevisionStatuses(2, both_revisions.data(), ";;", &action);
    if (status == 0) {
        EXPECT_EQ(kAll & ~RENAME_ITEM, action);
    } else {
        EXPECT_EQ(kAll, action);
    }
    return status;
}

}  // namespace

TEST(RevisionStatusesFailing, EachFailureOfAStatusReadIsReturned) {
    FailingRun test{[](World& world) {
                        const world::ItemTags made = world.item("ABC");
                        world::writeProtectStatus(world, "Frozen");
                        world.giveStatus(made.revision, "Frozen");
                        both_revisions = {made.revision, world.revision(made.item, "B")};
                        return made.item;
                    },
                    runBoth, nullptr};
    // A failed question whether the revision can be changed counts as no.
    expectEachFailure(test,
                      {"ENT_ask_object_id_string", "~OBJ_ask_if_modifiable",
                       // its latest status
                       "DBO_attr_id_of_attr", "DBO_length_of_attr", "DBO_ask_attr_tags",
                       "DBO_load_instances_possible", "DBO_attr_id_of_attr", "DBO_ask_attr_string",
                       // that of the last revision
                       "DBO_attr_id_of_attr", "DBO_length_of_attr"});
}
