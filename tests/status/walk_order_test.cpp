// In which order a run visits and changes, and how deep it goes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "platform/keld_se.h"
#include "tests/status/visits.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using world::visits;
using world::World;

namespace {

// Folders that refer to each other by a relation of each direction's name; the names of the objects
// show in the journal as they get their status.
class WalkOrder : public testing::Test {
protected:
    WalkOrder() {
        for (const char* relation : {"To_forward", "To_back", "To_norek"})
            world.bench.defineRelationType(relation);
    }
    tag_t folder(const std::string& name) {
        const tag_t made = world.bench.createFolder(name);
        world.name(made, name);
        folders[name] = made;
        return made;
    }
    // A folder with one more at the end of each relation; their names have f, b or n appended.
    void surround(tag_t center, const std::string& name, int levels) {
        if (levels == 0)
            return;
        for (const auto& [letter, relation] :
             {std::pair{"f", "To_forward"}, {"b", "To_back"}, {"n", "To_norek"}}) {
            const tag_t next = folder(name + letter);
            world.bench.relate(center, next, relation);
            surround(next, name + letter, levels - 1);
        }
    }
    // Every section walks all three lists.
    void configureAllSections() {
        std::string text = "[SelectWSO]\nFolder=1\n";
        for (const char* reached : {"Folder", "To_forward.*", "To_back.*", "To_norek.*"})
            text += std::string("[S_") + reached +
                    "]\nChangeForward=Rel.To_forward.*\nChangeBack=Rel.To_back.*\n"
                    "ChangeNoRek=Rel.To_norek.*\nSetReleaseState=Frozen\n"
                    "DoNothingOnReleaseStatus=Frozen\n";
        world.ini(text);
    }
    int run(tag_t start) { return KELD_StatusManager_ManageStatus(start, "Folder", "S"); }

    // The folders in the order in which an operation was called for them.
    std::vector<std::string> order(const std::vector<std::string>& calls,
                                   const std::string& operation) {
        std::vector<std::string> found;
        for (const std::string& call : calls)
            if (call.starts_with(operation + "("))
                found.push_back(call.substr(operation.size() + 1,
                                            call.find_first_of(",)") - operation.size() - 1));
        return found;
    }

    World world;
    std::map<std::string, tag_t> folders;
};

}  // namespace

TEST_F(WalkOrder, NoFurtherThenForwardThenTheObjectThenBack) {
    const tag_t start = folder("s");
    surround(start, "s", 2);
    configureAllSections();
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(start)); });
    // The test pass checks an object when it reaches it. An object that was reached forward leads
    // to its "no further" and forward targets; one reached back, to its "no further" and back
    // targets; one reached by "no further", nowhere.
    EXPECT_THAT(order(calls, "CKO_is_checked_out"),
                ElementsAre("s", "sn", "sf", "sfn", "sff", "sb", "sbn", "sbb"));
    // In the attribute pass the leaves of the way forward come before the objects above them.
    std::vector<std::string> changed = order(calls, "DBO_class_of_instance");
    EXPECT_THAT(changed, ElementsAre("sn", "sfn", "sff", "sf", "s", "sbn", "sb", "sbb"));
}

TEST_F(WalkOrder, TheBypassIsOnInTheAttributePassAlone) {
    const tag_t start = folder("s");
    world.bench.relate(start, folder("b"), "To_back");
    configureAllSections();
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(start)); });
    const auto on = std::find(calls.begin(), calls.end(), "ACL__set_application_bypass(true)");
    const auto off = std::find(calls.begin(), calls.end(), "ACL__set_application_bypass(false)");
    ASSERT_TRUE(on < off && off != calls.end());
    for (auto call = calls.begin(); call != calls.end(); ++call) {
        if (call->starts_with("DBO_save_instances") || call->starts_with("RLS_create")) {
            EXPECT_TRUE(on < call && call < off) << *call;
        }
        if (call->starts_with("CKO_")) {
            EXPECT_TRUE(call < on) << *call;
        }
    }
}

TEST_F(WalkOrder, TheStatusIsSetWhateverTheUsersRights) {
    const tag_t start = folder("s");
    configureAllSections();
    world.bench.addRight({"all", "", "all", "", "WRITE", false});
    EXPECT_EQ(0, run(start));
    EXPECT_THAT(world.statuses(start), ElementsAre("Frozen"));
}

TEST_F(WalkOrder, TheOutcomeOfTheAttributePassIsTracedAsAVariable) {
    const tag_t start = folder("s");
    configureAllSections();
    EXPECT_EQ(0, run(start));
    std::vector<std::string> top;
    for (const world::LogLine& line : world.log())
        if (line.depth == 0 && line.text.starts_with(" ->"))
            top.push_back(line.text.substr(0, line.text.find(")") + 1));
    EXPECT_THAT(top, Contains(" ->iRet(...)"));
    EXPECT_EQ(2, std::count(top.begin(), top.end(), " ->Process(...)"));
}

TEST_F(WalkOrder, ARefusalDeepInTheTreeLeavesEverythingAsItWas) {
    const tag_t start = folder("s");
    surround(start, "s", 3);
    configureAllSections();
    world.giveStatus(folders.at("sfff"), "Other");
    const std::string before = world.everything();
    EXPECT_EQ(919403, run(start));
    EXPECT_EQ(before, world.everything());
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_THAT(world.bench.errorStack(), IsEmpty());
    EXPECT_EQ(1u, visits(world).size());
}

TEST_F(WalkOrder, AnObjectVisitedTwiceWithoutItsStatusLeftAloneFails) {
    const tag_t start = folder("s");
    const tag_t twice = folder("t");
    world.bench.relate(start, twice, "To_forward");
    world.bench.relate(start, twice, "To_back");
    world.ini(
        "[SelectWSO]\nFolder=1\n[S_Folder]\nChangeNoRek=Rel.To_forward.*;Rel.To_back.*\n"
        "[S_To_forward.*]\nSetReleaseState=Frozen\n"
        "[S_To_back.*]\nSetReleaseState=Frozen\n");
    // The second visit deletes the status that it is about to set.
    EXPECT_NE(0, run(start));
    EXPECT_THAT(world.statuses(twice), IsEmpty());
}

TEST_F(WalkOrder, AnObjectVisitedTwiceIsLeftAloneTheSecondTime) {
    const tag_t start = folder("s");
    const tag_t twice = folder("t");
    world.bench.relate(start, twice, "To_forward");
    world.bench.relate(start, twice, "To_back");
    world.ini(
        "[SelectWSO]\nFolder=1\n[S_Folder]\nChangeNoRek=Rel.To_forward.*;Rel.To_back.*\n"
        "[S_To_forward.*]\nSetReleaseState=Frozen\n"
        "[S_To_back.*]\nSetReleaseState=Frozen\nDoNothingOnReleaseStatus=Frozen\n");
    EXPECT_EQ(0, run(start));
    EXPECT_THAT(world.statuses(twice), ElementsAre("Frozen"));
}

// ---- depth ----

namespace {

class WalkDepth : public WalkOrder {
protected:
    tag_t chain(int levels) {
        std::vector<tag_t> links;
        for (int i = 0; i < levels; ++i)
            links.push_back(world.bench.createFolder("f"));
        for (std::size_t i = 1; i < links.size(); ++i)
            world.bench.relate(links[i - 1], links[i], "To_forward");
        last = links.back();
        world.ini(
            "[SelectWSO]\nFolder=1\n[S_Folder]\nChangeForward=Rel.To_forward.*\n"
            "[S_To_forward.*]\nChangeForward=Rel.To_forward.Folder\n"
            "[S_To_forward.Folder]\nChangeForward=Rel.To_forward.Folder\n"
            "SetReleaseState=Frozen\n");
        return links.front();
    }
    tag_t last = NULLTAG;
};

}  // namespace

TEST_F(WalkDepth, WalksNineHundredLevels) {
    const tag_t start = chain(900);
    EXPECT_EQ(0, run(start));
    EXPECT_THAT(world.statuses(last), ElementsAre("Frozen"));
}

TEST_F(WalkDepth, AThousandLevelsAreTheMost) {
    EXPECT_EQ(0, run(chain(1000)));
    world.clearLog();
    EXPECT_EQ(2002, run(chain(1001)));
    EXPECT_THAT(world.lines("E"), Contains("S_To_forward.Folder: more than 1000 levels, the "
                                           "configuration has a cycle"));
}

TEST_F(WalkDepth, ACycleEndsInTheTestPassAndChangesNothing) {
    const tag_t start = folder("s");
    world.bench.relate(start, start, "To_forward");
    world.ini(
        "[SelectWSO]\nFolder=1\n[S_Folder]\nChangeForward=Rel.To_forward.*\n"
        "[S_To_forward.*]\nChangeForward=Rel.To_forward.*\nSetReleaseState=Frozen\n");
    EXPECT_EQ(2002, run(start));
    EXPECT_THAT(world.statuses(start), IsEmpty());
    EXPECT_EQ(1u, visits(world).size());
}
