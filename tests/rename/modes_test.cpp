// The name and description modes of an object: where they are read, and what each does.

#include <optional>

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/rename/substitution_model.h"

using world::settings;

namespace {

class RenameModes : public world::RenameTest {
protected:
    std::pair<int, int> modes(const char* primary, const char* relation, const char* type) {
        int name = 77, description = 77;
        CKELD_ReName::ReadObjectChangeModes(primary, relation, type, &name, &description);
        return {name, description};
    }
    using Pair = std::pair<int, int>;
};

}  // namespace

TEST_F(RenameModes, TheNameIsSubstitutedAndTheDescriptionLeftAloneByDefault) {
    EXPECT_EQ((Pair{1, 0}), modes("Item", "VANE_reference", "Text"));
    EXPECT_EQ((Pair{1, 0}), modes("Item", nullptr, "Text"));
    EXPECT_EQ((Pair{1, 0}), modes(nullptr, nullptr, "STRBOMView"));
}

TEST_F(RenameModes, AreUnderPrimaryTypeRelationAndObjectType) {
    settings(world, {"ChangeObjectName.Item.VANE_reference.Text=3",
                     "ChangeObjectDescription.Item.VANE_reference.Text=4"});
    EXPECT_EQ((Pair{3, 4}), modes("Item", "VANE_reference", "Text"));
    EXPECT_EQ((Pair{1, 0}), modes("Item", "VANE_reference", "PDF"));
    EXPECT_EQ((Pair{1, 0}), modes("Item", "VANE_attachment", "Text"));
    EXPECT_EQ((Pair{1, 0}), modes("ItemRevision", "VANE_reference", "Text"));
    EXPECT_EQ((Pair{1, 0}), modes("Item", nullptr, "Text"));
}

TEST_F(RenameModes, AreUnderPrimaryTypeAndObjectTypeWhereThereIsNoRelation) {
    settings(world, {"ChangeObjectName.Item.Text=2", "ChangeObjectDescription.Item.Text=1"});
    EXPECT_EQ((Pair{2, 1}), modes("Item", nullptr, "Text"));
    EXPECT_EQ((Pair{1, 0}), modes("Item", "VANE_reference", "Text"));
}

TEST_F(RenameModes, ABomViewsKeyShowsTheAbsentPrimaryTypeAsNull) {
    settings(world, {"ChangeObjectName.(null).STRBOMView=4",
                     "ChangeObjectDescription.(null).STRBOMView=2"});
    EXPECT_EQ((Pair{4, 2}), modes(nullptr, nullptr, "STRBOMView"));
}

TEST_F(RenameModes, OneMayBeSetWithoutTheOther) {
    settings(world, {"ChangeObjectName.Item.R.Text=0"});
    EXPECT_EQ((Pair{0, 0}), modes("Item", "R", "Text"));
    settings(world, {"ChangeObjectDescription.Item.R.Text=3"});
    EXPECT_EQ((Pair{1, 3}), modes("Item", "R", "Text"));
}

TEST_F(RenameModes, AValueOutsideZeroToFourCountsAsZero) {
    for (const char* value : {"5", "-1", "10", "99999999999", "-99999999999", "x", "", "1.5x"}) {
        settings(world, {std::string("ChangeObjectName.Item.R.Text=") + value,
                         std::string("ChangeObjectDescription.Item.R.Text=") + value});
        const int expected = std::string(value) == "1.5x" ? 1 : 0;  // the digits in front count
        EXPECT_EQ((Pair{expected, expected}), modes("Item", "R", "Text")) << value;
    }
}

TEST_F(RenameModes, AnOverlongKeyIsReadAsAbsent) {
    const std::string relation(83, 'r');
    settings(world, {"ChangeObjectName.Item." + relation + ".Text=3"});
    EXPECT_EQ((Pair{1, 0}), modes("Item", relation.c_str(), "Text"));
    EXPECT_EQ((Pair{1, 0}), modes(std::string(5000, 'p').c_str(), relation.c_str(), "Text"));
    // A key of exactly 100 characters is one.
    const std::string longest(100 - std::string("ChangeObjectName.Item..Text").size(), 'r');
    settings(world, {"ChangeObjectName.Item." + longest + ".Text=3"});
    EXPECT_EQ((Pair{3, 0}), modes("Item", longest.c_str(), "Text"));
    settings(world, {"ChangeObjectName.Item." + longest + "r.Text=3"});
    EXPECT_EQ((Pair{1, 0}), modes("Item", (longest + "r").c_str(), "Text"));
}

TEST_F(RenameModes, NullPlacesAreNotWritten) {
    CKELD_ReName::ReadObjectChangeModes("Item", "R", nullptr, nullptr, nullptr);
}

// ---- every pair of modes against the model ----

namespace {

// Texts of the object and of the item, old id "ABC", new id "XYZ".
struct Texts {
    const char* object;
    const char* item_old;
};
const Texts texts[] = {{"plan ABC", "Plate"},  {"plan", "Plate"}, {"Plate", "Plate"},
                       {"ABC", "ABC"},         {"", ""},          {"", "Plate"},
                       {"plan ABC ABC", "ABC"}};
const char* const new_texts[] = {nullptr, "", "Disc"};

class RenameModeTable : public RenameModes {
protected:
    RenameModeTable() {
        object = world.dataset("object");
        KELD_SetLogLevel(0);
    }
    std::string now(const char* attribute) {
        const mervane::Values values = world.bench.get(object, attribute);
        return values.empty() ? "" : std::get<std::string>(values[0]);
    }
    // Runs one combination; true if it was as the model has it.
    void run(int name_mode, int description_mode, const Texts& name, const Texts& description,
             const char* new_name, const char* new_description, bool extended) {
        world.put(object, "object_name", name.object);
        world.put(object, "object_desc", description.object);
        logical changed = true;
        const int status =
            extended ? CKELD_ReName::RenameObjExtended(object, "XYZ", "2", "ABC", "1", &changed,
                                                       name.item_old, description.item_old,
                                                       new_name, new_description, "Item", "R")
                     : CKELD_ReName::RenameObj(object, "XYZ", "ABC", &changed, name.item_old,
                                               description.item_old, new_name, new_description,
                                               "Item", "R");
        const auto expect = [&](int mode, const Texts& text, const char* new_text) {
            return model::renamed(mode, text.object,
                                  extended
                                      ? model::substitutedBoth(text.object, "ABC", "1", "XYZ", "2")
                                      : model::substituted(text.object, "ABC", "XYZ"),
                                  text.item_old, new_text);
        };
        const auto name_after = expect(name_mode, name, new_name);
        const auto description_after = expect(description_mode, description, new_description);
        EXPECT_EQ(0, status);
        EXPECT_EQ(name_after || description_after, changed);
        EXPECT_EQ(name_after.value_or(name.object), now("object_name"));
        EXPECT_EQ(description_after.value_or(description.object), now("object_desc"));
        // Unchanged under a mode, an object keeps its lock.
        EXPECT_EQ(!changed && name_mode + description_mode > 0, world.locked(object));
        ++runs;
    }
    void runAll(bool extended) {
        for (int name_mode = 0; name_mode <= 4; ++name_mode)
            for (int description_mode = 0; description_mode <= 4; ++description_mode) {
                settings(world, {"ChangeObjectName.Item.R.Text=" + std::to_string(name_mode),
                                 "ChangeObjectDescription.Item.R.Text=" +
                                     std::to_string(description_mode)});
                for (const Texts& name : texts)
                    for (const Texts& description : texts)
                        for (const char* new_text : new_texts) {
                            SCOPED_TRACE(testing::Message()
                                         << "modes " << name_mode << " and " << description_mode
                                         << ", name \"" << name.object << "\", description \""
                                         << description.object << "\", new "
                                         << (new_text ? new_text : "null"));
                            run(name_mode, description_mode, name, description, new_text, new_text,
                                extended);
                            if (HasFailure())
                                return;
                        }
            }
    }

    tag_t object = NULLTAG;
    int runs = 0;
};

}  // namespace

TEST_F(RenameModeTable, EveryPairOfModesDoesWhatTheModelSays) {
    runAll(false);
    EXPECT_EQ(5 * 5 * 7 * 7 * 3, runs);
}

TEST_F(RenameModeTable, EveryPairOfModesDoesWhatTheModelSaysWithRevisionIds) {
    runAll(true);
    EXPECT_EQ(5 * 5 * 7 * 7 * 3, runs);
}

TEST_F(RenameModeTable, TheNewTextsOfNameAndDescriptionAreIndependent) {
    settings(world, {"ChangeObjectName.Item.R.Text=4", "ChangeObjectDescription.Item.R.Text=4"});
    for (const char* name : new_texts)
        for (const char* description : new_texts)
            run(4, 4, {"Plate", "Plate"}, {"flat", "flat"}, name, description, false);
    EXPECT_EQ(9, runs);
}
