// Faults in every platform call of pack and resequence.

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/keld_se.h"
#include "tests/faults/bom_rules.h"
#include "tests/faults/service.h"
#include "tests/faults/sweep.h"
#include "tests/support/files.h"
#include "tests/support/places.h"

using faults::Outcome;
using faults::Scenario;
using world::World;

namespace {

constexpr int kBefore = 77;  // value of the slot before the call
tag_t top_line = NULLTAG;    // of the scenario that runs

Outcome run(World& world, int sort) {
    faults::sendTo(world, "KELD_PSE_PackAndResequenceBom",
                   {top_line, std::vector<tag_t>{top_line}, 0, sort});
    tag_t dataset = kBefore;
    const int status = KELD_PSE_PackAndResequenceBom(&dataset);
    // The dataset's tag is the platform's choice.
    return {status, dataset == kBefore ? std::optional<int>(kBefore) : std::nullopt};
}

Outcome argumentsAlone(int status) {
    return {status, status != 0 ? std::optional<int>(kBefore) : std::nullopt};
}

// Two levels with like lines, clashes, notes and empty quantities.
void build(World& world) {
    world.bench.setPreference("PackAndResequenceBOM.SetDefaultQuantity", {"1"});
    world.bench.setPreference("PackAndResequenceBOM.NoteTypesToCompare", {"Usage", "Place"});
    world.bench.setPreference("PackAndResequenceBOM.SEQNO_INCR", {"5"});
    const tag_t top = world.item("100").revision;
    const tag_t part = world.item("900").revision;
    for (int i = 0; i < 3; ++i) {
        const tag_t child = world.item("20" + std::to_string(i)).revision;
        world.bench.addOccurrence(top, child, i == 0 ? "" : "2", "10");
        world.bench.addOccurrence(child, part, "", "10");
        world.bench.addOccurrence(child, part, "3", "10");
        world.bench.addOccurrence(child, world.item("").revision, "", "x");
    }
    // The volume is made here, for all the processes that follow.
    world.bench.addFile(world.dataset("file"), "Text", KELD_SOURCE_DIR "/.clang-format", "a.txt");
    top_line = world.bench.openBomWindow(top);
}

void buildWithProtocol(World& world) {
    build(world);
    const tag_t dataset = world.dataset("PSE_RPBOM_infodba");
    world.bench.addFile(dataset, "Text", KELD_SOURCE_DIR "/.clang-format", "old.log");
    world.bench.createDatasetVersion(dataset);
}

Scenario scenario(const std::string& name, const std::function<void(World&)>& make, int sort) {
    Scenario made;
    made.name = name;
    made.build = make;
    made.run = [sort](World& world) { return run(world, sort); };
    made.gives = argumentsAlone;
    made.on_the_way = {"ref_list", "ref_names", "ref_types"};
    return made;
}

}  // namespace

TEST(FaultSweep, PackAndResequence) {
    const keld_test::Directory directory;
    ::setenv("MV_TMP_DIR", (directory / "p").c_str(), 1);
    expectSweep("pack and resequence",
                {scenario("keeping, first protocol", build, 0),
                 scenario("sorting, second protocol", buildWithProtocol, 1)},
                faults::bomRules());
}
