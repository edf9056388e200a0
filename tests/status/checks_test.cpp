// What the test pass refuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/keld_se.h"
#include "platform/mv_obj.h"
#include "tests/support/patterns.h"
#include "tests/support/world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::World;

namespace {

class Checks : public testing::Test {
protected:
    Checks() {
        revision = world.item("000100").revision;
        form = world.masterForm(revision);
        world.name(revision, "rev");
        world.name(form, "form");
        world.put(revision, "object_name", "Bracket");
    }
    int run(const std::string& section) {
        world.ini("[SelectWSO]\nItemRevision=1\n[S_ItemRevision]\n" + section);
        world.clearLog();
        return KELD_StatusManager_ManageStatus(revision, "ItemRevision", "S");
    }
    // Lines of a refusal: without those of the traced call that carries it out.
    std::vector<std::string> errors() {
        std::vector<std::string> found;
        for (const std::string& line : world.lines("EW"))
            if (!line.starts_with("##QSK_"))
                found.push_back(line);
        return found;
    }

    World world;
    tag_t revision = NULLTAG, form = NULLTAG;
};

}  // namespace

TEST_F(Checks, AreMadeInOrder) {
    world.put(form, "user_data_1", "x");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run("CheckNeedFields=user_data_1\n")); });
    const std::vector<std::string> pass(
        calls.begin(), std::find(calls.begin(), calls.end(), "ACL__set_application_bypass(true)"));
    EXPECT_THAT(pass,
                ElementsAre("DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                            "DBO_length_of_attr(rev)", "CKO_is_checked_out(rev)",
                            "CKO_assert_object_modifiable(rev)", "ACL_check_privilege(rev, CHANGE)",
                            "REL_find_relation_type(VANE_master_form)",
                            "REL_list_secondary_objects_only(rev)", "DBO_class_of_instance(form)",
                            "DBO_name_of_class()", "OBJ_refresh(form, false)",
                            "OBJ_UIF_ask_value(form, user_data_1)"));
}

TEST_F(Checks, APreviousStatusThatIsNotAllowedIsRefused) {
    world.giveStatus(revision, "Working");
    world.giveStatus(revision, "Released");
    EXPECT_EQ(919403, run("PrevReleaseStatus=Working\nSetReleaseState=Frozen\n"));
    EXPECT_THAT(errors(),
                ElementsAre("ReleaseStatuswechsel von Released nach Frozen nicht erlaubt"));
    EXPECT_EQ(0, run("PrevReleaseStatus=Working;Released\n"));
}

TEST_F(Checks, TheRefusalIsTracedAsItLeaves) {
    world.giveStatus(revision, "Working");
    EXPECT_EQ(919403, run(""));
    EXPECT_THAT(world.lines("E"),
                Contains(testing::StartsWith("##QSK_err_919403: Process(...)   " SHOWN_SOURCE(
                    "status", "keld_statusmanager1.cpp:"))));
}

TEST_F(Checks, ACheckedOutObjectIsRefusedWhoeverHasIt) {
    world.bench.checkOut(revision, "mine");
    EXPECT_EQ(919405, run(""));
    EXPECT_THAT(errors(), ElementsAre("Frg prozess fail: ItemRevision Bracket is checkout"));
    world.bench.checkIn(revision);
    EXPECT_EQ(0, run(""));
    world.as(world.otherUser("smith"), [&] { world.bench.checkOut(revision, "his"); });
    EXPECT_EQ(919405, run(""));
}

TEST_F(Checks, ACheckOutThatThePlatformReportsOnlyAsNotModifiableIsRefused) {
    world.fail("CKO_assert_object_modifiable");
    EXPECT_EQ(919401, run(""));
    EXPECT_THAT(errors(), ElementsAre("Object is checked out by other user",
                                      "You have not change privilege on ItemRevision Bracket"));
}

TEST_F(Checks, AMissingPrivilegeIsRefused) {
    world.bench.addRight({"all", "", "all", "", "CHANGE", false});
    EXPECT_EQ(919401, run(""));
    EXPECT_THAT(errors(), ElementsAre("You have not change privilege on ItemRevision Bracket"));
    EXPECT_EQ(0, run("PrivilegName=WRITE\n"));
}

TEST_F(Checks, AMisspeltPrivilegeNeverCountsAsAllowed) {
    EXPECT_NE(0, run("PrivilegName=CHNAGE\n"));
    EXPECT_THAT(world.statuses(revision), IsEmpty());
}

TEST_F(Checks, AnEmptyNeededFieldIsRefusedWithoutALineOfItsOwn) {
    world.put(form, "user_data_1", "x");
    EXPECT_EQ(919404, run("CheckNeedFields=user_data_1;user_data_2\n"));
    EXPECT_THAT(errors(), IsEmpty());
    EXPECT_THAT(world.lines("T"), Contains("CKELD_StatusManager::CheckNeedFields=S_ItemRevision "
                                           "CheckNeedFields=user_data_1;user_data_2"));
    world.put(form, "user_data_2", std::string(240, 'y'));
    EXPECT_EQ(0, run("CheckNeedFields=user_data_1;user_data_2\n"));
}

TEST_F(Checks, NeededFieldsAreReadAsStored) {
    ASSERT_EQ(0, OBJ_refresh(form, true));
    ASSERT_EQ(0, OBJ_UIF_set_value(form, "user_data_1", "not saved"));
    EXPECT_EQ(919404, run("CheckNeedFields=user_data_1\n"));
}

TEST_F(Checks, AFieldThatDoesNotExistStopsTheRunWithItsStatus) {
    const int status = run("CheckNeedFields=no_such_field\n");
    EXPECT_NE(0, status);
    EXPECT_NE(919404, status);
    EXPECT_THAT(world.statuses(revision), IsEmpty());
}

TEST_F(Checks, AnObjectWithoutAMasterFormStopsTheRun) {
    const tag_t folder = world.bench.createFolder("f");
    world.ini("[SelectWSO]\nFolder=1\n[S_Folder]\nCheckNeedFields=user_data_1\n");
    const int status = KELD_StatusManager_ManageStatus(folder, "Folder", "S");
    EXPECT_NE(0, status);
    EXPECT_NE(919404, status);
}

TEST_F(Checks, EveryFailureOnTheWayToANeededFieldStopsTheRunWithItsStatus) {
    world.put(form, "user_data_1", "x");
    for (const char* operation : {"REL_find_relation_type", "OBJ_refresh", "OBJ_UIF_ask_value"}) {
        world.fail(operation);
        EXPECT_EQ(4711, run("CheckNeedFields=user_data_1\n")) << operation;
    }
    EXPECT_EQ(0, run("CheckNeedFields=user_data_1\n"));
}

TEST_F(Checks, AFailedQuestionForTheNameTakesThePlaceOfTheRefusal) {
    world.bench.checkOut(revision, "mine");
    world.fail("ENT_ask_name");
    EXPECT_EQ(4711, run(""));
    EXPECT_THAT(errors(), IsEmpty());
    world.bench.checkIn(revision);
    world.bench.addRight({"all", "", "all", "", "CHANGE", false});
    world.fail("ENT_ask_name");
    EXPECT_EQ(4711, run(""));
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Checks, NoRefusalReachesTheErrorStack) {
    world.giveStatus(revision, "Working");
    EXPECT_EQ(919403, run(""));
    EXPECT_EQ(919404, run("PrevReleaseStatus=Working\nCheckNeedFields=user_data_1\n"));
    world.bench.checkOut(revision, "mine");
    EXPECT_EQ(919405, run("PrevReleaseStatus=Working\n"));
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
}
