// Every platform call about a related object fails once.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

// The object's entry, made before calls are counted.
rel_entry_s entry;

tag_t form(World& world) {
    const tag_t item = world.item("ABC").item;
    const tag_t made = world.bench.createForm("Form", "sheet ABC");
    world.bench.relate(item, made, "VANE_reference");
    entry = world::entryOf(item, made);
    return made;
}

tag_t dataset(World& world) {
    const tag_t item = world.item("ABC").item;
    const tag_t made = world.specification(item, "plan ABC");
    world.bench.addFile(made, "Text", world::someFile(), "plan ABC.txt");
    const tag_t newer = world.bench.createDatasetVersion(made);
    entry = world::entryOf(item, newer);
    return newer;
}

int run(int action) {
    logical changed = false;
    return CKELD_ReName::ProcessRelatedObj(entry, ";;", "Item", action, "ABC", "1", "", "", "XYZ",
                                           nullptr, "", "", &changed);
}

}  // namespace

TEST(RelatedObjectFailing, TheTestPassReturnsEachFailureOfATracedCall) {
    FailingRun test{form, [](World&, tag_t) { return run(11); },
                    [](World& world, tag_t, int) {
                        EXPECT_EQ(0u, world.bench.heldLocks());
                        EXPECT_EQ(0u, world.newBlocks());
                    }};
    // A failure of the questions whether it can be changed counts as no.
    expectEachFailure(
        test, {"MVTYPE_ask_name", "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
               "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
               "!OBJ_ask_if_modifiable", "!CKO_is_checked_out", "~ENT_ask_object_type"});
}

TEST(RelatedObjectFailing, TheModifyingPassReturnsEachFailureOfATracedCall) {
    FailingRun test{form, [](World&, tag_t) { return run(15); },
                    [](World& world, tag_t object, int call) {
                        EXPECT_EQ(call >= 17 && call <= 22, world.locked(object)) << call;
                        const bool renamed = call == 0 || call == 10 || call >= 22;
                        EXPECT_EQ(renamed ? "sheet XYZ" : "sheet ABC",
                                  world.storedText(object, "object_name"));
                    }};
    expectEachFailure(
        test, {"MVTYPE_ask_name", "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
               "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
               // not to be changed: passed over
               "~OBJ_ask_if_modifiable", "~CKO_is_checked_out", "~ENT_ask_object_type",
               "ENT_ask_id_string", "ENT_ask_object_type",
               // the object itself, its lock with the fourth call
               "OBJ_refresh", "~ENT_ask_name", "ENT_ask_object_type", "OBJ_refresh", "ENT_set_name",
               "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type", "OBJ_save",
               "OBJ_refresh",
               // is it a dataset
               "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type"});
}

TEST(RelatedObjectFailing, AfterARefusedLookAtTheRelationNothingElseIsAsked) {
    World world;
    form(world);
    world.fail("MVTYPE_ask_name");
    const auto calls = world.calls([&] { EXPECT_EQ(world::kPlanned, run(15)); });
    EXPECT_THAT(world::only(calls, {"DBO_", "ENT_", "OBJ_", "CKO_"}), IsEmpty());
}

TEST(RelatedObjectFailing, ADatasetsFollowingStepsReturnEachFailure) {
    FailingRun test{dataset, [](World&, tag_t) { return run(15); }, nullptr};
    expectEachFailure(
        test,
        {"MVTYPE_ask_name", "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
         "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type", "~OBJ_ask_if_modifiable",
         "~CKO_is_checked_out", "~ENT_ask_object_type", "ENT_ask_id_string", "ENT_ask_object_type",
         "OBJ_refresh", "~ENT_ask_name", "ENT_ask_object_type", "OBJ_refresh", "ENT_set_name",
         "DBO_class_of_instance", "DBO_name_of_class", "DST_save_myself", "OBJ_refresh",
         "DBO_class_of_instance", "DBO_name_of_class", "ENT_ask_id_string",
         // named references of the newest version
         "ENT_ask_object_type", "DST_ask_dataset_ref_count", "DST_find_dataset_named_ref",
         "DBO_class_of_instance", "DBO_name_of_class", "DBO_class_of_instance", "DBO_name_of_class",
         "MVTYPE_find_type", "FIL_ask_original_file_name", "OBJ_lock", "FIL_set_original_file_name",
         "OBJ_save", "OBJ_refresh",
         // the version before; a version that seems not to be changed is passed over
         "ERR_set_protect_mark", "DST_ask_dataset_prev_rev", "~ERR_clear_protect_mark",
         "~OBJ_ask_if_modifiable", "~CKO_is_checked_out", "OBJ_refresh", "ENT_set_name",
         "DST_save_myself", "OBJ_refresh", "ENT_ask_object_type", "DST_ask_dataset_ref_count",
         "DST_find_dataset_named_ref", "DBO_class_of_instance", "DBO_name_of_class",
         "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
         "FIL_ask_original_file_name",
         // the end of the chain
         "ERR_set_protect_mark", "DST_ask_dataset_prev_rev", "~ERR_ask_error_text",
         "ERR_clear_errors", "~ERR_clear_protect_mark"});
}
