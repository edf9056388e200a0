// The worked example of docs/status-manager-ini.md does what the document says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "platform/keld_se.h"
#include "tests/support/places.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using world::World;

namespace {

// The first block of this kind.
std::string block(const std::string& kind) {
    std::ifstream file(KELD_SOURCE_DIR "/docs/status-manager-ini.md");
    std::string text;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line == "```" + kind)
            inside = true;
        else if (inside && line == "```")
            return text;
        else if (inside)
            text += line + "\n";
    }
    return text;
}

}  // namespace

TEST(Documentation, TheWorkedExampleVisitsWhatItShows) {
    World world;
    const world::ItemTags made = world.item("000100");
    const tag_t revision = world.revision(made.item, "B");
    const tag_t drawing = world.specification(revision, "drawing", "Drawing");
    world.specification(revision, "note");
    world.occurrence(revision, world.item("000200").revision);
    world.bench.createProcessTemplate("Release", {"Review"});
    const tag_t form = world.masterForm(revision);
    world.ini(block("ini"));

    EXPECT_EQ(919404, KELD_StatusManager_ManageStatus(revision, "ItemRevision", "Released"));
    world.put(form, "user_data_1", "x");
    world.clearLog();
    EXPECT_EQ(0, KELD_StatusManager_ManageStatus(revision, "ItemRevision", "Released"));

    std::string shown;
    for (const std::string& line : world.lines("TD"))
        if (line.starts_with("### Process on:") || line.starts_with("##########"))
            shown += line + "\n";
    EXPECT_EQ(block("text"), shown);
    EXPECT_THAT(world.statuses(revision), ElementsAre("Released"));
    EXPECT_THAT(world.statuses(made.revision), ElementsAre("Superseded"));
    EXPECT_THAT(world.statuses(drawing), ElementsAre("Released"));
    EXPECT_THAT(world.statuses(world.bench.bomViewRevision(revision)), ElementsAre("Released"));
    EXPECT_EQ("no remarks", world.storedText(form, "item_comment"));
    EXPECT_NE("", world.storedText(form, "user_data_2"));
    EXPECT_EQ(1u, world.storedTags(revision, "process_stage_list").size());
}
