// The item's own id, name and description.

#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

tag_t itemOf(World& world) {
    const tag_t made = world.item("ABC").item;
    world::called(world, made, "Plate");
    world.put(made, "object_desc", "flat");
    world.name(made, "item");
    return made;
}

class ItemInfos : public world::RenameTest {
protected:
    ItemInfos() {
        item = itemOf(world);
        // The attribute of the id is found once per process.
        EXPECT_EQ(
            0, CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat", "ABC", "Plate", "flat"));
        world.clearLog();
    }
    int run(const char* id, const char* name, const char* description) {
        return CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat", id, name, description);
    }
    world::Lines now() {
        return {world.storedText(item, "item_id"), world.storedText(item, "object_name"),
                world.storedText(item, "object_desc")};
    }
    tag_t item = NULLTAG;
};

}  // namespace

TEST_F(ItemInfos, AllAreWrittenUnderOneLock) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run("XYZ", "Disc", "round")); });
    EXPECT_THAT(calls, ElementsAre("OBJ_refresh(item, true)", "DBO_set_attr_string(1, XYZ)",
                                   "ENT_set_name(item, Disc)", "ENT_set_description(item, round)",
                                   "OBJ_save(item)", "OBJ_refresh(item, false)"));
    EXPECT_THAT(now(), ElementsAre("XYZ", "Disc", "round"));
    EXPECT_FALSE(world.locked(item));
}

TEST_F(ItemInfos, ItsCallsAreTracedApartFromTheLast) {
    EXPECT_EQ(0, run("XYZ", "Disc", "round"));
    EXPECT_THAT(world::traced(world),
                ElementsAre("OBJ_refresh(tagItem, DBO_modify_lock)",
                            "DBO_set_attr_string(1, &tagItem, item_id_att_tag, cNewId)",
                            "ENT_set_name(tagItem, sEffectiveNewName)",
                            "ENT_set_description(tagItem, cNewDesc)", "OBJ_save(tagItem)"));
}

TEST_F(ItemInfos, NothingNewIsNotSaved) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run("ABC", "Plate", "flat")); });
    EXPECT_THAT(calls, ElementsAre("OBJ_refresh(item, true)", "OBJ_refresh(item, false)"));
}

TEST_F(ItemInfos, WithoutANameTheNewIdIsTheName) {
    EXPECT_EQ(0, run("XYZ", "", "flat"));
    EXPECT_THAT(now(), ElementsAre("XYZ", "XYZ", "flat"));
    EXPECT_EQ(0, CKELD_ReName::ChangeItemInfos(item, "XYZ", "XYZ", "flat", "DEF", nullptr, "flat"));
    EXPECT_THAT(now(), ElementsAre("DEF", "DEF", "flat"));
}

TEST_F(ItemInfos, AnEmptyDescriptionClearsAndANullOneLeaves) {
    EXPECT_EQ(0, run("ABC", "Plate", nullptr));
    EXPECT_THAT(now(), ElementsAre("ABC", "Plate", "flat"));
    EXPECT_EQ(0, run("ABC", "Plate", ""));
    EXPECT_THAT(now(), ElementsAre("ABC", "Plate", ""));
}

TEST_F(ItemInfos, ANullIdIsLeftAlone) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(nullptr, "Disc", nullptr)); });
    EXPECT_THAT(world::only(calls, {"DBO_set"}), IsEmpty());
    EXPECT_THAT(now(), ElementsAre("ABC", "Disc", "flat"));
}

TEST_F(ItemInfos, OnlyWhatDiffersIsSet) {
    const auto set = [&](const char* id, const char* name, const char* description) {
        return world::only(world.calls([&] { EXPECT_EQ(0, run(id, name, description)); }),
                           {"DBO_set", "ENT_set", "OBJ_save"});
    };
    EXPECT_THAT(set("XYZ", "Plate", "flat"),
                ElementsAre("DBO_set_attr_string(1, XYZ)", "OBJ_save(item)"));
    EXPECT_THAT(set("ABC", "Disc", "flat"),
                ElementsAre("ENT_set_name(item, Disc)", "OBJ_save(item)"));
    EXPECT_THAT(set("ABC", "Plate", "round"),
                ElementsAre("ENT_set_description(item, round)", "OBJ_save(item)"));
}

TEST_F(ItemInfos, TheGivenOldTextsDecideWhatDiffers) {
    // The stored texts aren't asked for.
    const auto calls = world.calls([&] {
        EXPECT_EQ(
            0, CKELD_ReName::ChangeItemInfos(item, "XYZ", "Disc", "round", "XYZ", "Disc", "round"));
    });
    EXPECT_THAT(calls, ElementsAre("OBJ_refresh(item, true)", "OBJ_refresh(item, false)"));
}

// ---- length ----

TEST_F(ItemInfos, ANameIsCutAt128CharactersWithoutALine) {
    EXPECT_EQ(0, run("ABC", std::string(129, 'n').c_str(), nullptr));
    EXPECT_THAT(now(), ElementsAre("ABC", std::string(128, 'n'), "flat"));
    EXPECT_THAT(world.lines("EW"), IsEmpty());
}

TEST_F(ItemInfos, AnOverlongIdOrDescriptionIsThePlatformsRefusalAndNothingIsSaved) {
    EXPECT_EQ(mervane::kTooLong, run(std::string(129, 'i').c_str(), "Disc", "round"));
    EXPECT_EQ(mervane::kTooLong, run("XYZ", "Disc", std::string(241, 'd').c_str()));
    EXPECT_EQ(mervane::kTooLong, run(std::string(5000, 'i').c_str(), "", nullptr));
    EXPECT_THAT(now(), ElementsAre("ABC", "Plate", "flat"));
    EXPECT_FALSE(world.locked(item));
}

TEST_F(ItemInfos, LongestTextsStayWhole) {
    const std::string id(128, 'i'), name(128, 'n'), description(240, 'd');
    EXPECT_EQ(0, run(id.c_str(), name.c_str(), description.c_str()));
    EXPECT_THAT(now(), ElementsAre(id, name, description));
    EXPECT_THAT(world.lines("W"), IsEmpty());
}

// ---- failures ----

TEST(ItemInfosFailing, EachFailureIsReturnedAndTheLockGivenUp) {
    {
        World first;
        ASSERT_EQ(0, CKELD_ReName::ChangeItemInfos(itemOf(first), "ABC", "", "", "XYZ", "", ""));
    }
    FailingRun test{itemOf,
                    [](World&, tag_t item) {
                        return CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat", "XYZ",
                                                             "Disc", "round");
                    },
                    [](World& world, tag_t item, int call) {
                        EXPECT_EQ(call == 6, world.locked(item));
                        const bool saved = call == 0 || call == 6;
                        EXPECT_EQ(saved ? "XYZ" : "ABC", world.storedText(item, "item_id"));
                        EXPECT_EQ(saved ? "Disc" : "Plate", world.storedText(item, "object_name"));
                        EXPECT_EQ(saved ? "round" : "flat", world.storedText(item, "object_desc"));
                    }};
    expectEachFailure(test, {"OBJ_refresh", "DBO_set_attr_string", "ENT_set_name",
                             "ENT_set_description", "OBJ_save", "~OBJ_refresh"});
}

TEST(ItemInfosFailing, AfterAFailureOnlyTheLockIsGivenUp) {
    const world::Lines all = {"OBJ_refresh", "DBO_set", "ENT_set_name", "ENT_set_desc", "OBJ_save"};
    World world;
    const tag_t item = itemOf(world);
    ASSERT_EQ(0,
              CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat", "ABC", "Plate", "flat"));
    for (std::size_t failing = 0; failing < all.size(); ++failing) {
        world.fail("", static_cast<int>(failing) + 1);
        const auto calls = world.calls([&] {
            EXPECT_EQ(world::kPlanned, CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat",
                                                                     "XYZ", "Disc", "round"));
        });
        ASSERT_EQ(failing + 2, calls.size());
        EXPECT_EQ("OBJ_refresh(item, false)", calls.back());
    }
}

TEST(ItemInfosFailing, WithoutTheAttributeNothingIsLockedAndTheNextCallLooksAgain) {
    World world;
    const tag_t item = itemOf(world);
    world.fail("DBO_attr_id_of_attr");
    const auto calls = world.calls([&] {
        EXPECT_EQ(world::kPlanned,
                  CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat", "XYZ", "", ""));
    });
    EXPECT_THAT(calls,
                ElementsAre("DBO_attr_id_of_attr(item_id, Item)", "OBJ_refresh(item, false)"));
    world.failNothing();
    world.clearLog();
    EXPECT_EQ(0, CKELD_ReName::ChangeItemInfos(item, "ABC", "Plate", "flat", "XYZ", "", ""));
    EXPECT_EQ("XYZ", world.storedText(item, "item_id"));
    EXPECT_THAT(world::traced(world),
                Contains("DBO_attr_id_of_attr(\"item_id\", \"Item\", &item_id_att_tag)"));
}
