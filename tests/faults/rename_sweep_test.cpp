// Faults in every platform call of the rename.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/keld_se.h"
#include "platform/mv_reg.h"
#include "tests/faults/rename_rules.h"
#include "tests/faults/service.h"
#include "tests/faults/sweep.h"
#include "tests/support/places.h"

using faults::Outcome;
using faults::Scenario;
using world::World;

namespace {

struct Product {
    tag_t item = NULLTAG, first = NULLTAG, last = NULLTAG;
};
Product product;  // of the scenario that runs

// Everything that a rename follows: forms, documents with files and older versions, BOM views, a
// classification object, three revisions.
void build(World& world, const std::vector<std::string>& settings) {
    ::setenv("KELD_DISABLE_LOCPREF_CACHE", "1", 1);
    std::vector<std::string> values = {
        "SaveOldId=im.previous_id", "StartWorkflowItem=Follow", "ExcludeDatasetNR=Other",
        "ChangeObjectDescription.Item.VANE_reference.Text=2", "ChangeRevisionDescription=1"};
    values.insert(values.end(), settings.begin(), settings.end());
    world.bench.setPreference("KELD_ItemRename", values);
    world.bench.createProcessTemplate("Follow", {"Check"});

    const world::ItemTags made = world.item("ABC");
    product = {made.item, made.revision, NULLTAG};
    world.put(made.item, "object_desc", "flat");
    const tag_t plan = world.dataset("item plan ABC");
    world.put(plan, "object_desc", "flat");
    world.bench.relate(made.item, plan, "VANE_reference");
    world.bench.relate(made.item, world.dataset("based on ABC"), "VANE_based_on");
    const tag_t ico = world.bench.create("icm0");
    world.put(ico, "id", "ABC");
    world.bench.relate(made.item, ico, "VANE_reference");

    const tag_t drawing = world.specification(made.revision, "ABC-A", "Text");
    world.bench.addFile(drawing, "Text", KELD_SOURCE_DIR "/.clang-format", "ABC-A.txt");
    const tag_t form = world.bench.createForm("Form", "ABC-A");
    world.bench.addNamedReference(drawing, "Text", form);
    world.bench.createDatasetVersion(drawing);
    world.bench.createDatasetVersion(drawing);
    world.bench.bomViewRevision(made.revision);

    const tag_t second = world.revision(made.item, "B");
    world.specification(second, "other plan");
    product.last = world.revision(made.item, "C");
    world.bench.bomViewRevision(product.last);
}

// An active registry that knows the old id, in a mode of its own.
void withRegistry(World& world, const std::string& mode) {
    build(world, {"ChangeRegisteredItemId=" + mode});
    const tag_t site = world.bench.create("Site");
    world.put(site, "site_name", "HQ");
    world.bench.set(site, "site_id", {std::int64_t{7}});
    world.bench.setPreference("ART_id_registry", {"true"});
    world.bench.setPreference("ART_id_registry_site", {"HQ"});
    world.bench.setPreference("ART_id_always_register_on_creation", {"true"});
    (void)REG_register_item_id("ABC", 7);
}

Outcome service(World& world) {
    return faults::callService(world, "KELD_ReNameItem", KELD_ReNameItem,
                               {"XYZ", "Disc", "round", product.item});
}

// If the rename fails after registering an id, the id stays registered. A client then gets 100304
// until an administrator removes the id.
Outcome serviceAgain(World& world) {
    int registered = 0;
    if (REG_is_item_id_registered("XYZ", &registered, 7) == 0 && registered == 1)
        (void)REG_unregister_item_id("XYZ", 7);
    return service(world);
}

Outcome extended(World& world) {
    return faults::callService(world, "KELD_ReNameItemExtended", KELD_ReNameItemExtended,
                               {"XYZ", "9", "Disc", "round", product.item, product.last, 7});
}

// The present value, as this session has it.
std::string now(World& world, tag_t object, const char* attribute) {
    const mervane::Values values = world.bench.get(object, attribute);
    return values.empty() ? "" : std::get<std::string>(values[0]);
}

Outcome batch(World& world) {
    const std::string id = now(world, product.item, "item_id");
    return {KELD_BatchReName(id.c_str(), nullptr, "XYZ", nullptr, "", ""), {}};
}

Outcome batchOfARevision(World& world) {
    const std::string id = now(world, product.item, "item_id"),
                      revision = now(world, product.last, "item_revision_id");
    return {KELD_BatchReName(id.c_str(), revision.c_str(), "XYZ", "9", "", ""), {}};
}

// If a dataset or form can't be asked whether it may change, the test pass refuses. The modifying
// pass leaves it unchanged, and an older version too.
bool modifyingPass(const faults::Record& record, std::size_t call, const std::string& function,
                   const std::string& inner) {
    if (function != "CKELD_ReName::ProcessRelatedObj" ||
        inner != "KELD_TestModifiableAndNotCheckout")
        return false;
    for (std::size_t i = 0; i < call; ++i)
        if (std::strcmp(record.calls[i].operation, "DBO_set_attr_string") == 0)
            return true;
    return false;
}

// In mode 3 the status of the question for the privilege replaces any earlier one.
bool untilThePrivilege(const faults::Record& record, std::size_t call, const std::string& function,
                       const std::string& inner) {
    if (function == "CKELD_ReName::CheckItemIdRegistry")
        for (std::size_t i = call + 1; i < record.calls.size(); ++i)
            if (std::strcmp(record.calls[i].operation, "ACL_check_privilege") == 0)
                return true;
    return modifyingPass(record, call, function, inner);
}

Scenario scenario(const std::string& name, const std::function<void(World&)>& make,
                  const std::function<Outcome(World&)>& run,
                  const std::function<Outcome(int)>& gives) {
    Scenario made;
    made.name = name;
    made.build = make;
    made.run = run;
    made.gives = gives;
    made.drops = modifyingPass;
    made.changes_from = "DBO_set_attr_string";
    made.on_the_way = {"process_stage_list"};
    return made;
}

Outcome alone(int status) {
    return {status, {}};
}

}  // namespace

TEST(FaultSweep, Rename) {
    const auto plain = [](World& world) { build(world, {}); };
    expectSweep("rename",
                {scenario("item", plain, service, faults::givenBy("KELD_ReNameItem")),
                 scenario("item and revision", plain, extended,
                          faults::givenBy("KELD_ReNameItemExtended"))},
                faults::renameRules());
}

TEST(FaultSweep, RenameWithRegistry) {
    std::vector<Scenario> scenarios;
    for (const char* mode : {"0", "1", "3"}) {  // mode 2 refuses every change
        const auto make = [mode](World& world) { withRegistry(world, mode); };
        scenarios.push_back(scenario(std::string("item and registry, mode ") + mode, make, service,
                                     faults::givenBy("KELD_ReNameItem")));
        scenarios.back().again = serviceAgain;
    }
    scenarios.back().drops = untilThePrivilege;
    expectSweep("rename with registry", scenarios, faults::renameRules());
}

TEST(FaultSweep, BatchRename) {
    const auto plain = [](World& world) { build(world, {}); };
    expectSweep("batch rename",
                {scenario("batch", plain, batch, alone),
                 scenario("batch of a revision", plain, batchOfARevision, alone)},
                faults::renameRules());
}
