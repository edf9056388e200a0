// One revision with what hangs on it.

#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr int kTest = 11, kIdOnly = 15, kExtended = 7, kExtendedTest = 3;

class RevisionInfos : public world::RenameTest {
protected:
    RevisionInfos() {
        const world::ItemTags made = world.item("ABC");
        item = made.item;
        revision = world::called(world, made.revision, "Plate");
        world.put(revision, "object_desc", "flat");
        world.name(revision, "rev");
        form = world.masterForm(revision);
        world.name(form, "form");
        world.clearLog();
    }
    struct Call {
        int action = kIdOnly;
        const char* new_revision = nullptr;
        const char* name = "Disc";
        const char* description = "round";
        bool change_name = true, change_description = false;
        const char* on_status = ";Released;";
        tag_t about = NULLTAG;  // the revision that the rename is about; this one unless set
    };
    int run(const Call& call) {
        return CKELD_ReName::ChangeRevInfos(call.about == NULLTAG ? revision : call.about, revision,
                                            "ItemRevision", ";;VANE_based_on;", call.on_status,
                                            "ABC", "A", "Old Plate", "old", "XYZ",
                                            call.new_revision, call.name, call.description,
                                            call.action, call.change_name, call.change_description);
    }
    int run() { return run(Call{}); }
    world::Lines now() {
        return {world.storedText(revision, "item_revision_id"),
                world.storedText(revision, "object_name"),
                world.storedText(revision, "object_desc")};
    }
    tag_t item = NULLTAG, revision = NULLTAG, form = NULLTAG;
};

}  // namespace

TEST_F(RevisionInfos, TheModifyingPassWritesUnderOneLockAndThenListsWhatHangsOnIt) {
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, run({.action = kExtended, .new_revision = "2", .change_description = true}));
    });
    ASSERT_GE(calls.size(), 10u);
    EXPECT_THAT(
        world::Lines(calls.begin(), calls.begin() + 11),
        ElementsAre("OBJ_ask_if_modifiable(rev)", "CKO_is_checked_out(rev)", "ENT_ask_name(rev)",
                    "ENT_ask_description(rev)", "OBJ_refresh(rev, true)", "ART_set_rev_id(rev, 2)",
                    "ENT_set_name(rev, Disc)", "ENT_set_description(rev, round)", "OBJ_save(rev)",
                    "OBJ_refresh(rev, false)", "REL_list_secondary_objects(rev, ?)"));
    EXPECT_EQ("ART_rev_list_bom_view_revs(rev)", calls.back());
    EXPECT_THAT(now(), ElementsAre("2", "Disc", "round"));
    EXPECT_FALSE(world.locked(revision));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(RevisionInfos, TheTestPassWritesNothing) {
    const std::string before = world.everything();
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, run({.action = kTest, .new_revision = "2"}));
        EXPECT_EQ(0, run({.action = kExtendedTest, .new_revision = "2"}));
    });
    EXPECT_THAT(world::only(calls, {"OBJ_refresh", "OBJ_lock", "ENT_set", "ART_set", "OBJ_save"}),
                IsEmpty());
    EXPECT_EQ(before, world.everything());
}

TEST_F(RevisionInfos, ItsTracedCallsHaveTheirForms) {
    EXPECT_EQ(0, run({.action = kExtended, .new_revision = "2", .change_description = true}));
    EXPECT_THAT(world::traced(world, 0),
                ElementsAre("ENT_ask_name(...)", "ENT_ask_description(...)", "OBJ_refresh(...)",
                            "ART_set_rev_id(...)", "ENT_set_name(...)", "ENT_set_description(...)",
                            "OBJ_save(tagThisRev)", "REL_list_secondary_objects(...)",
                            StartsWith("ProcessRelatedObj(RelationInfoList[jj], cExclRevRelations, "
                                       "cItemRevisionType, iAction, cOldItemId, cOldRevId, "
                                       "cOldName, cOldDesc, cNewItemId, cNewRevId, pcNewName, "
                                       "pcNewDesc, &bChanged)"),
                            "ART_rev_list_bom_view_revs(tagThisRev, &iBomCount, &BOMList)"));
}

TEST_F(RevisionInfos, OnlyTheRevisionThatTheRenameIsAboutTakesTheNewRevisionId) {
    const tag_t other = world.revision(item, "B");
    EXPECT_EQ(0, run({.action = kExtended, .new_revision = "2", .about = other}));
    EXPECT_THAT(now(), ElementsAre("A", "Disc", "flat"));
}

TEST_F(RevisionInfos, AnEqualOrNullRevisionIdIsNotSet) {
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, run({.action = kExtended, .new_revision = "A"}));
        EXPECT_EQ(0, run({.action = kExtended, .new_revision = nullptr}));
    });
    EXPECT_THAT(world::only(calls, {"ART_set"}), IsEmpty());
}

TEST_F(RevisionInfos, NameAndDescriptionFollowOnlyWhereTheSettingsSaySo) {
    EXPECT_EQ(0, run({.change_name = false, .change_description = false}));
    EXPECT_THAT(now(), ElementsAre("A", "Plate", "flat"));
    EXPECT_EQ(0, run({.change_name = false, .change_description = true}));
    EXPECT_THAT(now(), ElementsAre("A", "Plate", "round"));
    EXPECT_EQ(0, run({.change_name = true, .change_description = false}));
    EXPECT_THAT(now(), ElementsAre("A", "Disc", "round"));
}

TEST_F(RevisionInfos, WithoutANameTheNewItemIdIsTheName) {
    EXPECT_EQ(0, run({.name = ""}));
    EXPECT_THAT(now(), ElementsAre("A", "XYZ", "flat"));
    world::called(world, revision, "Plate");
    EXPECT_EQ(0, run({.name = nullptr}));
    EXPECT_THAT(now(), ElementsAre("A", "XYZ", "flat"));
}

TEST_F(RevisionInfos, AnEmptyDescriptionClearsAndANullOneLeaves) {
    EXPECT_EQ(0, run({.description = nullptr, .change_description = true}));
    EXPECT_THAT(now(), ElementsAre("A", "Disc", "flat"));
    EXPECT_EQ(0, run({.description = "", .change_description = true}));
    EXPECT_THAT(now(), ElementsAre("A", "Disc", ""));
}

TEST_F(RevisionInfos, NothingNewIsNotSavedButTheLockIsTakenAndGivenUp) {
    const auto calls =
        world.calls([&] { EXPECT_EQ(0, run({.name = "Plate", .description = "flat"})); });
    EXPECT_THAT(world::only(calls, {"OBJ_refresh(rev", "OBJ_save(rev"}),
                ElementsAre("OBJ_refresh(rev, true)", "OBJ_refresh(rev, false)"));
}

TEST_F(RevisionInfos, ANameIsCutAt128CharactersWithoutALine) {
    EXPECT_EQ(0, run({.name = std::string(300, 'n').c_str()}));
    EXPECT_EQ(std::string(128, 'n'), now()[1]);
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(RevisionInfos, AnOverlongDescriptionOrRevisionIdIsThePlatformsRefusalAndKeepsTheLock) {
    const std::string huge(500, 'd');
    EXPECT_EQ(mervane::kTooLong, run({.action = kExtended, .new_revision = huge.c_str()}));
    EXPECT_TRUE(world.locked(revision));
    EXPECT_EQ(mervane::kTooLong, run({.description = huge.c_str(), .change_description = true}));
    EXPECT_TRUE(world.locked(revision));
    EXPECT_THAT(now(), ElementsAre("A", "Plate", "flat"));
}

// ---- what can't be changed ----

TEST_F(RevisionInfos, AReadOnlyRevisionWithoutAStatusIsRefusedInBothPasses) {
    world::writeProtect(world, revision);
    for (const int action : {kTest, kIdOnly, kExtended, kExtendedTest}) {
        world.clearLog();
        EXPECT_EQ(919342, run({.action = action}));
        EXPECT_THAT(world::errors(world), ElementsAre("Revision readonly or checked out"));
    }
    EXPECT_THAT(world::stack(world), ElementsAre("3:919342", "3:919342", "3:919342", "3:919342"));
    EXPECT_THAT(now(), ElementsAre("A", "Plate", "flat"));
}

TEST_F(RevisionInfos, ACheckedOutRevisionIsRefused) {
    world.bench.checkOut(revision, "");
    EXPECT_EQ(919342, run());
    EXPECT_THAT(world::errors(world), ElementsAre("Revision readonly or checked out"));
}

TEST_F(RevisionInfos, AReadOnlyRevisionWithAListedStatusIsPassedOverWithAllThatHangsOnIt) {
    world.giveStatus(revision, "Released");
    world::writeProtectStatus(world, "Released");
    for (const int action : {kTest, kIdOnly, kExtended}) {
        world.clearLog();
        const auto calls = world.calls([&] { EXPECT_EQ(0, run({.action = action})); });
        EXPECT_THAT(world::only(calls, {"REL_", "ART_", "OBJ_refresh"}), IsEmpty());
        EXPECT_THAT(world.lines(),
                    ElementsAre("Revision readonly, but is released with latest Status Released so "
                                "continue with next"));
    }
    EXPECT_THAT(now(), ElementsAre("A", "Plate", "flat"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}

TEST_F(RevisionInfos, AReadOnlyRevisionWithAnotherStatusIsRefused) {
    world.giveStatus(revision, "Frozen");
    world::writeProtectStatus(world, "Frozen");
    EXPECT_EQ(919343, run());
    EXPECT_THAT(world::errors(world), ElementsAre("Revision readonly, and has latest Status Frozen "
                                                  "which is not allowed for rename"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:919343"));
}

TEST_F(RevisionInfos, APartOfAListedStatusCountsAsListed) {
    world.giveStatus(revision, "Frozen");
    world::writeProtectStatus(world, "Frozen");
    EXPECT_EQ(0, run({.on_status = ";Deep Frozen 2;"}));
    EXPECT_EQ(919343, run({.on_status = ";Froze;"}));
}

TEST_F(RevisionInfos, TheLatestStatusCounts) {
    world.giveStatus(revision, "Frozen");
    world.giveStatus(revision, "Released");
    world::writeProtectStatus(world, "Released");
    EXPECT_EQ(0, run());
}

TEST_F(RevisionInfos, AStatusAloneIsNoHindrance) {
    world.giveStatus(revision, "Frozen");
    EXPECT_EQ(0, run());
    EXPECT_EQ("Disc", now()[1]);
}

TEST_F(RevisionInfos, AFailedStatusReadIsReturnedByTheTracedCall) {
    world::writeProtect(world, revision);
    world.fail("DBO_length_of_attr");
    EXPECT_EQ(4711, run());
    EXPECT_THAT(world::traced(world), ElementsAre("KELD_ask_latest_status(...)"));
    EXPECT_THAT(world::stack(world), ElementsAre("3:4711"));
}
