// Faults in every platform call of the attribute copy.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/keld_se.h"
#include "tests/faults/copy_rules.h"
#include "tests/faults/functions.h"
#include "tests/faults/service.h"
#include "tests/faults/sweep.h"

using faults::Outcome;
using faults::Scenario;
using world::World;

namespace {

tag_t source = NULLTAG;
std::vector<tag_t> destinations;

Outcome service(World& world) {
    return faults::callService(world, "KELD_CopyAttr", KELD_CopyAttr, {source, destinations});
}

bool isIn(const faults::Call& call, const char* function) {
    for (const faults::Frame& frame : call.frames)
        if (faults::functionAt(frame.code) == function)
            return true;
    return false;
}

// Only the last line of the preferences decides the status: the failure of any other is dropped. An
// attribute line first asks for its type, a relation line last for its relation.
bool earlierLine(const faults::Record& record, std::size_t call, const std::string& function,
                 const std::string&) {
    if (function != "ReadCopyAttrPref")
        return false;
    for (std::size_t i = call + 1; i < record.calls.size(); ++i) {
        const faults::Call& later = record.calls[i];
        if (std::strcmp(later.operation, "REL_find_relation_type") == 0 ||
            (std::strcmp(later.operation, "MVTYPE_find_type") == 0 &&
             isIn(later, "CheckAttribute")))
            return true;
    }
    return false;
}

void lines(World& world) {
    world.bench.defineType("Sheet", "Form", {{"s"}, {"s2"}, {"s3"}});
    world.bench.defineRelationType("Rel");
    world.bench.defineDatasetType("Box", "BoxTool", {"BOX"}, {"Sheets"});
    world.bench.setPreference("KELD_CopyAttributes_WSO",
                              {"ItemRevision;object_desc", "Folder;object_desc;null"});
    world.bench.setPreference("KELD_CopyAttributes_Form",
                              {"Sheet;s", "# none", "Sheet;s2;null", "Sheet;s3"});
    world.bench.setPreference(
        "KELD_CopyAttributes_Relation",
        {"Item;revision_list;ItemRevision", "ItemRevision;Rel;Box", "Box;Sheets;Sheet",
         "Folder;Rel;Folder", "ItemRevision;Rel;Sheet", "Folder;Rel;Sheet"});
}

tag_t sheet(World& world, const std::string& name, const std::string& value) {
    const tag_t made = world.bench.createForm("Sheet", name);
    for (const char* attribute : {"s", "s2", "s3"})
        world.put(made, attribute, value);
    return made;
}

tag_t box(World& world, const std::string& name, const std::string& value) {
    const tag_t made = world.dataset(name, "Box");
    for (const char* each : {"x", "y"})
        world.bench.addNamedReference(made, "Sheets", sheet(world, each, value));
    return made;
}

// Items with revisions; the destinations have one that the source doesn't have.
tag_t item(World& world, const std::string& id, const std::string& value,
           const std::string& revision) {
    const world::ItemTags made = world.item(id);
    for (const tag_t each : {made.revision, world.revision(made.item, revision)}) {
        world.put(each, "object_desc", value);
        world.bench.relate(each, sheet(world, "form", value), "Rel");
        world.bench.relate(each, box(world, "box", value), "Rel");
    }
    return made.item;
}

void items(World& world) {
    lines(world);
    source = item(world, "000100", "new", "B");
    destinations = {item(world, "000200", "old", "X"), source, item(world, "000300", "old", "B")};
}

tag_t folder(World& world, const std::string& name, const std::string& value) {
    const tag_t top = world.bench.createFolder(name), below = world.bench.createFolder("below");
    world.put(top, "object_desc", value);
    world.put(below, "object_desc", value);
    world.bench.relate(top, below, "Rel");
    for (const char* each : {"x", "y"})
        world.bench.relate(below, sheet(world, each, value), "Rel");
    world.bench.relate(top, sheet(world, "z", value), "Rel");
    return top;
}

void folders(World& world) {
    lines(world);
    source = folder(world, "source", "new");
    destinations = {folder(world, "first", "old"), folder(world, "second", "old")};
}

Scenario scenario(const std::string& name, const std::function<void(World&)>& build) {
    Scenario made;
    made.name = name;
    made.build = build;
    made.run = service;
    made.gives = faults::givenBy("KELD_CopyAttr");
    made.drops = earlierLine;  // each destination is tried, whatever became of the others
    return made;
}

}  // namespace

TEST(FaultSweep, AttributeCopy) {
    ::setenv("KELD_DISABLE_COPYATTR_CACHE", "1", 1);
    expectSweep("attribute copy", {scenario("items", items), scenario("folders", folders)},
                faults::copyRules());
    ::unsetenv("KELD_DISABLE_COPYATTR_CACHE");
}
