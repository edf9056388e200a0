#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/keld_se.h"
#include "tests/support/world.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using world::World;

namespace {

class Configuration : public testing::Test {
protected:
    Configuration() { revision = world.item("000100").revision; }
    int run(const char* status = "Frozen", const char* type = "ItemRevision") {
        return KELD_StatusManager_ManageStatus(revision, type, status);
    }
    std::vector<std::string> privilegesAsked() {
        std::vector<std::string> found;
        for (const std::string& call : world.calls([&] { EXPECT_EQ(0, run()); }))
            if (call.starts_with("ACL_check_privilege"))
                found.push_back(
                    call.substr(call.find(", ") + 2, call.size() - call.find(", ") - 3));
        return found;
    }

    World world;
    tag_t revision = NULLTAG;
};

}  // namespace

TEST_F(Configuration, WithoutAFileNoTypeIsConfigured) {
    const auto calls = world.calls([&] { EXPECT_EQ(919402, run()); });
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_THAT(world.lines(), ElementsAre("CKELD_StatusManager::ManageStatus selected "
                                           "Type:ItemRevision not configurated"));
}

TEST_F(Configuration, OnlyTheValueOneSelectsAType) {
    for (const char* value : {"0", "2", "-1", "10", "yes", ""}) {
        world.ini(std::string("[SelectWSO]\nItemRevision=") + value + "\n");
        EXPECT_EQ(919402, run()) << value;
    }
    world.ini("[SelectWSO]\nItemRevision=1\n");
    EXPECT_EQ(0, run());
    EXPECT_EQ(919402, run("Frozen", "Item"));
}

TEST_F(Configuration, ANullTypeIsNotConfiguredAndANullStatusIsAnEmptyOne) {
    world.ini("[SelectWSO]\nItemRevision=1\n[_ItemRevision]\nSetReleaseState=Empty\n");
    EXPECT_EQ(919402, run("Frozen", nullptr));
    EXPECT_THAT(world.lines("W"), ElementsAre("CKELD_StatusManager::ManageStatus selected "
                                              "Type:(null) not configurated"));
    EXPECT_EQ(0, run(nullptr));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Empty"));
}

TEST_F(Configuration, ThePrivilegeIsChangeUnlessTheFileNamesAnother) {
    world.ini("[SelectWSO]\nItemRevision=1\n");
    EXPECT_THAT(privilegesAsked(), ElementsAre("CHANGE"));
    world.ini("[SelectWSO]\nItemRevision=1\n[GLOBAL]\nPrivilegName=WRITE\n");
    EXPECT_THAT(privilegesAsked(), ElementsAre("WRITE"));
    world.ini(
        "[SelectWSO]\nItemRevision=1\n[GLOBAL]\nPrivilegName=WRITE\n"
        "[Frozen_ItemRevision]\nPrivilegName=PUBLISH\n");
    EXPECT_THAT(privilegesAsked(), ElementsAre("PUBLISH"));
}

TEST_F(Configuration, ASectionThatDoesNotExistAllowsOnlyObjectsWithoutStatus) {
    world.ini("[SelectWSO]\nItemRevision=1\n");
    EXPECT_EQ(0, run());
    EXPECT_THAT(world.statuses(revision), IsEmpty());
    world.giveStatus(revision, "Working");
    EXPECT_EQ(919403, run());
}

TEST_F(Configuration, NoneAllowsOnlyObjectsWithoutStatus) {
    world.ini("[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nPrevReleaseStatus=none\n");
    EXPECT_EQ(0, run());
    world.giveStatus(revision, "Working");
    EXPECT_EQ(919403, run());
}

TEST_F(Configuration, AListOfStatusesWithoutNoneRefusesObjectsWithoutStatus) {
    world.ini("[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nPrevReleaseStatus=Working\n");
    EXPECT_EQ(919403, run());
    world.giveStatus(revision, "Working");
    EXPECT_EQ(0, run());
}

TEST_F(Configuration, StatusesAreSearchedAsPlainText) {
    world.ini(
        "[SelectWSO]\nItemRevision=1\n"
        "[Frozen_ItemRevision]\nPrevReleaseStatus=Released;Checked\n");
    world.giveStatus(revision, "Rel");
    EXPECT_EQ(0, run());
    world.giveStatus(revision, "ed;Ch");
    EXPECT_EQ(0, run());
    world.giveStatus(revision, "released");
    EXPECT_EQ(919403, run());
}

TEST_F(Configuration, TheTargetStatusChoosesTheSection) {
    world.ini(
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nSetReleaseState=Cold\n"
        "[Working_ItemRevision]\nPrevReleaseStatus=Cold\nSetReleaseState=Warm\n");
    EXPECT_EQ(0, run("Frozen"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Cold"));
    EXPECT_EQ(0, run("Working"));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Warm"));
}

TEST_F(Configuration, TheFileIsReadAnewAndItsPathIsKept) {
    world.ini("[SelectWSO]\nItemRevision=1\n");
    EXPECT_EQ(0, run());
    const std::string path = std::getenv("KELD_CFG_PATH");
    ::setenv("KELD_CFG_PATH", "/nowhere", 1);
    EXPECT_EQ(0, run());
    ::setenv("KELD_CFG_PATH", path.c_str(), 1);
    world.ini("[SelectWSO]\nItemRevision=0\n");
    EXPECT_EQ(919402, run());
}

TEST_F(Configuration, AWalkEntryWithoutATypeVisitsNothing) {
    world.specification(revision, "drawing");
    world.ini(
        "[SelectWSO]\nItemRevision=1\n"
        "[Frozen_ItemRevision]\nChangeForward=Rel.VANE_specification\n");
    EXPECT_EQ(0, run());
    int visits = 0;
    for (const std::string& line : world.lines("T"))
        visits += line.starts_with("### Process on:") ? 1 : 0;
    EXPECT_EQ(3, visits);  // the start object in each pass
}

TEST_F(Configuration, ATargetStatusOf99CharactersIsWholeAndALongerOneIsCut) {
    const std::string status(99, 's');
    world.ini("[SelectWSO]\nItemRevision=1\n[" + status +
              "_ItemRevision]\nSetReleaseState=Frozen\n");
    EXPECT_EQ(0, run(status.c_str()));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
    EXPECT_THAT(world.lines("W"), IsEmpty());
    world.giveStatus(revision, "Other");
    EXPECT_EQ(919403, run((status + "t").c_str()));
    EXPECT_THAT(world.lines("W"), ElementsAre("Text cut to 99 characters: m_cStatus"));
}

TEST_F(Configuration, ASectionNameEndsAt199Characters) {
    const std::string status(99, 's'), type(128, 't');
    const std::string longest = (status + "_" + type).substr(0, 199);
    world.ini("[SelectWSO]\n" + type + "=1\n[" + longest + "]\nSetReleaseState=Frozen\n");
    EXPECT_EQ(0, run(status.c_str(), type.c_str()));
    EXPECT_THAT(world.statuses(revision), ElementsAre("Frozen"));
    EXPECT_THAT(world.lines("T"), Contains("### Process on:" + longest + " LastStat: ###"));
}

namespace {

// In a process of its own, since the path is built once: run with the file in a directory whose
// name makes its path this long, and tell the outcome by the exit code.
[[noreturn]] void runWithAPathOf(std::size_t length, World& world, tag_t revision) {
    const std::string file = "/keld_statusmanager.ini";
    std::string directory = std::string(std::getenv("KELD_CFG_PATH")) + "/";
    directory.resize(length - file.size(), 'd');
    std::filesystem::create_directory(directory);
    std::ofstream(directory + file) << "[SelectWSO]\nItemRevision=1\n";
    ::setenv("KELD_CFG_PATH", directory.c_str(), 1);
    world.clearLog();
    const int status = KELD_StatusManager_ManageStatus(revision, "ItemRevision", "Frozen");
    std::exit(status == 0 ? 10 : status == 919402 ? 11 : 12);
}

}  // namespace

TEST_F(Configuration, APathOf259CharactersIsReadAndALongerOneIsAFileThatIsNotThere) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithAPathOf(259, world, revision), testing::ExitedWithCode(10), "");
    EXPECT_EXIT(runWithAPathOf(260, world, revision), testing::ExitedWithCode(11), "");
}
