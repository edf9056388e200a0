// Named references with overlong names, and each of their platform calls failing once.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

class NamedReferenceLimits : public world::RenameTest {
protected:
    NamedReferenceLimits() { dataset = world.dataset("plan", "Text"); }
    // Runs in a buffer of exactly the text's size.
    int run(const char* old_name, const std::string& new_name) {
        std::vector<char> text(new_name.begin(), new_name.end());
        text.push_back('\0');
        const int status = CKELD_ReName::RenameNamedRef(dataset, old_name, text.data());
        name_after = text.data();
        return status;
    }
    tag_t file(const std::string& name) {
        return world.bench.addFile(dataset, "Text", world::someFile(), name);
    }
    std::string fileName(tag_t tag) { return world.storedText(tag, "original_file_name"); }

    tag_t dataset = NULLTAG;
    std::string name_after;
};

}  // namespace

TEST_F(NamedReferenceLimits, AnObjectsNameIsCutAt128CharactersInPlace) {
    const tag_t form = world.bench.createForm("Form", "old");
    world.bench.addNamedReference(dataset, "Text", form);
    EXPECT_EQ(0, run("old", std::string(200, 'n')));
    EXPECT_EQ(std::string(128, 'n'), world.storedText(form, "object_name"));
    EXPECT_EQ(std::string(128, 'n'), name_after);
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(NamedReferenceLimits, AFileNameOf132CharactersFits) {
    const tag_t made = file("old.txt");
    EXPECT_EQ(0, run("old", std::string(128, 'n')));
    EXPECT_EQ(std::string(128, 'n') + ".txt", fileName(made));
}

TEST_F(NamedReferenceLimits, AnOverlongFileNameIsNeverCutButFails) {
    const tag_t made = file("old.text");
    EXPECT_EQ(mervane::kTooLong, run("old", std::string(128, 'n')));
    EXPECT_EQ("old.text", fileName(made));
    EXPECT_TRUE(world.locked(made));
    EXPECT_NE(0, run("old", std::string(3000, 'n')));
    EXPECT_EQ("old.text", fileName(made));
}

TEST_F(NamedReferenceLimits, AnOverlongOldNameIsNoFailure) {
    const tag_t made = file("old.txt");
    EXPECT_EQ(0, run(("old" + std::string(3000, 'o')).c_str(), "new"));
    EXPECT_EQ("new.txt", fileName(made));
    EXPECT_THAT(world.lines("W"), testing::ElementsAre("Text cut to 1024 characters: cOldClean"));
}

TEST_F(NamedReferenceLimits, AnOverlongExclusionKeepsMemoryWhole) {
    world::settings(world, {"ExcludeDatasetNR=" + std::string(1020, 'e') + "Text"});
    const tag_t made = file("old.txt");
    EXPECT_EQ(0, run("old", "new"));
    EXPECT_FALSE(world.lines("W").empty());
    (void)made;
}

// ---- failures ----

namespace {

int follow(World&, tag_t dataset) {
    char name[1025] = "new";
    return CKELD_ReName::RenameNamedRef(dataset, "old", name);
}

}  // namespace

TEST(NamedReferenceFailing, EachFailureAboutAFileIsReturned) {
    static tag_t made = NULLTAG;
    FailingRun test{[](World& world) {
                        const tag_t dataset = world.dataset("plan");
                        made = world.bench.addFile(dataset, "Text", world::someFile(), "old.txt");
                        return dataset;
                    },
                    follow,
                    [](World& world, tag_t, int call) {
                        EXPECT_EQ(call >= 11, world.locked(made)) << call;
                        EXPECT_EQ(call == 0 || call == 13 ? "new.txt" : "old.txt",
                                  world.storedText(made, "original_file_name"));
                    }};
    expectEachFailure(
        test, {"ENT_ask_object_type", "DST_ask_dataset_ref_count", "DST_find_dataset_named_ref",
               "DBO_class_of_instance", "DBO_name_of_class", "DBO_class_of_instance",
               "DBO_name_of_class", "MVTYPE_find_type", "FIL_ask_original_file_name", "OBJ_lock",
               "FIL_set_original_file_name", "OBJ_save", "OBJ_refresh"});
}

TEST(NamedReferenceFailing, EachFailureAboutAnObjectIsReturned) {
    static tag_t made = NULLTAG;
    FailingRun test{[](World& world) {
                        const tag_t dataset = world.dataset("plan");
                        made = world.bench.createForm("Form", "old");
                        world.bench.addNamedReference(dataset, "Text", made);
                        return dataset;
                    },
                    follow,
                    [](World& world, tag_t, int call) {
                        EXPECT_EQ(call >= 12, world.locked(made)) << call;
                        EXPECT_EQ(call == 0 || call == 14 ? "new" : "old",
                                  world.storedText(made, "object_name"));
                    }};
    expectEachFailure(
        test, {"ENT_ask_object_type", "DST_ask_dataset_ref_count", "DST_find_dataset_named_ref",
               "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type",
               "DBO_class_of_instance", "DBO_name_of_class", "MVTYPE_find_type", "ENT_ask_name",
               "OBJ_lock", "ENT_set_name", "OBJ_save", "OBJ_refresh"});
}

TEST(NamedReferenceFailing, AFailureLeavesTheReferencesAfterIt) {
    World world;
    const tag_t dataset = world.dataset("plan");
    const tag_t first = world.bench.addFile(dataset, "Text", world::someFile(), "old.a");
    const tag_t second = world.bench.addFile(dataset, "Text", world::someFile(), "old.b");
    world.fail("OBJ_save", 2);
    EXPECT_EQ(world::kPlanned, follow(world, dataset));
    EXPECT_EQ("new.a", world.storedText(first, "original_file_name"));
    EXPECT_EQ("old.b", world.storedText(second, "original_file_name"));
    EXPECT_FALSE(world.locked(first));
    EXPECT_TRUE(world.locked(second));
}
