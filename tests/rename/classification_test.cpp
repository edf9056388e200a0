// The id of a classification object follows the item's.

#include "platform/mv_obj.h"
#include "rename/keld_rn.h"
#include "tests/rename/rename_world.h"
#include "tests/status/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using world::FailingRun;
using world::World;

namespace {

constexpr int kIdOnly = 15, kExtended = 7;

tag_t classificationOf(World& world, const std::string& id) {
    const tag_t made = world.bench.create("icm0");
    world.put(made, "id", id);
    world.name(made, "ico");
    return made;
}

class ClassificationObject : public world::RenameTest {
protected:
    int run(tag_t object, int action = kIdOnly, const char* new_revision = nullptr) {
        return CKELD_ReName::ChangeIcoId(object, "ABC", "1", "XYZ", new_revision, action);
    }
    std::string id(tag_t object) { return world.storedText(object, "id"); }
};

}  // namespace

TEST_F(ClassificationObject, ItsIdIsWrittenAtThePersistenceLevel) {
    const tag_t made = classificationOf(world, "ABC/1");
    ASSERT_EQ(0, run(made));
    world.put(made, "id", "ABC/1");  // the attribute is known from here on
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(made)); });
    EXPECT_THAT(calls, ElementsAre("CLF_ask_classification_object_id(ico)",
                                   "DBO_refresh_instances_any_class(1, 1)",
                                   "DBO_set_attr_string(1, XYZ/1)", "DBO_save_instances(1, false)",
                                   "DBO_refresh_instances_any_class(1, 0)"));
    EXPECT_EQ("XYZ/1", id(made));
    EXPECT_EQ(0u, world.bench.heldLocks());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(ClassificationObject, TheAttributeIsLookedForOncePerProcess) {
    const tag_t made = classificationOf(world, "ABC");
    const auto calls = world.calls([&] {
        EXPECT_EQ(0, run(made));
        EXPECT_EQ(0, run(made));
    });
    EXPECT_EQ("DBO_attr_id_of_attr(id, icm0)", calls.at(0));
    EXPECT_THAT(world::only(calls, {"DBO_attr_id_of_attr"}),
                ElementsAre("DBO_attr_id_of_attr(id, icm0)"));
    EXPECT_THAT(world::traced(world),
                Contains("DBO_attr_id_of_attr(\"id\", \"icm0\", &tIcoIdAttrId)"));
}

TEST_F(ClassificationObject, WithoutAHitNothingIsLockedOrWritten) {
    const tag_t made = classificationOf(world, "DEF");
    const auto calls = world.calls([&] { EXPECT_EQ(0, run(made)); });
    EXPECT_THAT(world::only(calls, {"DBO_refresh", "DBO_set", "DBO_save"}), IsEmpty());
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(ClassificationObject, TheExtendedModeWithARevisionIdChangesBoth) {
    const tag_t made = classificationOf(world, "ABC/1");
    EXPECT_EQ(0, run(made, kExtended, "2"));
    EXPECT_EQ("XYZ/2", id(made));
}

TEST_F(ClassificationObject, TheExtendedModeWithoutARevisionIdChangesTheItemId) {
    const tag_t made = classificationOf(world, "ABC/1");
    EXPECT_EQ(0, run(made, kExtended));
    EXPECT_EQ("XYZ/1", id(made));
}

TEST_F(ClassificationObject, TheIdOnlyModeLeavesTheRevisionId) {
    const tag_t made = classificationOf(world, "ABC/1");
    EXPECT_EQ(0, run(made, kIdOnly, "2"));
    EXPECT_EQ("XYZ/1", id(made));
}

TEST_F(ClassificationObject, AnOverlongNewIdIsNotCutButRefused) {
    const tag_t made = classificationOf(world, "ABC" + std::string(120, 'c'));
    EXPECT_EQ(mervane::kTooLong,
              CKELD_ReName::ChangeIcoId(made, "ABC", "1", "XYZ-TOO-LONG", nullptr, kIdOnly));
    EXPECT_EQ("ABC" + std::string(120, 'c'), id(made));
    EXPECT_EQ(0u, world.bench.heldLocks());
}

// ---- as a related object ----

namespace {

class RelatedClassification : public ClassificationObject {
protected:
    RelatedClassification() {
        item = world.item("ABC").item;
        made = classificationOf(world, "ABC/1");
        world.bench.relate(item, made, "VANE_reference");
        entry = world::entryOf(item, made);
        world.clearLog();
    }
    int process(int action, const char* new_revision = nullptr) {
        logical changed = false;
        return CKELD_ReName::ProcessRelatedObj(entry, ";;", "Item", action, "ABC", "1", "", "",
                                               "XYZ", new_revision, "", "", &changed);
    }
    tag_t item = NULLTAG, made = NULLTAG;
    rel_entry_s entry{};
};

}  // namespace

TEST_F(RelatedClassification, TheTestPassNeverRefusesIt) {
    world::writeProtect(world, made);
    const auto calls = world.calls([&] { EXPECT_EQ(0, process(11)); });
    EXPECT_THAT(world::only(calls, {"OBJ_ask", "CKO_", "ENT_", "CLF_"}), IsEmpty());
    EXPECT_THAT(world.lines(), ElementsAre("bTestOnly = 1, modify=1, ignore=1"));
    EXPECT_EQ("ABC/1", id(made));
}

TEST_F(RelatedClassification, TheModifyingPassWritesItsIdAndNothingElse) {
    const auto calls = world.calls([&] { EXPECT_EQ(0, process(15)); });
    EXPECT_THAT(world::only(calls, {"ENT_", "OBJ_", "DST_"}), IsEmpty());
    EXPECT_THAT(world.lines(), Contains("RenameAttachment: icm0 (ICO)"));
    EXPECT_EQ("XYZ/1", id(made));
}

TEST_F(RelatedClassification, TheExtendedModeReachesItsRevisionId) {
    EXPECT_EQ(0, process(7, "2"));
    EXPECT_EQ("XYZ/2", id(made));
}

TEST_F(RelatedClassification, AnExcludedRelationLeavesIt) {
    logical changed = false;
    EXPECT_EQ(0, CKELD_ReName::ProcessRelatedObj(entry, ";VANE_reference;", "Item", 15, "ABC", "1",
                                                 "", "", "XYZ", nullptr, "", "", &changed));
    EXPECT_EQ("ABC/1", id(made));
}

// ---- failures ----

TEST(ClassificationFailing, EachFailureIsReturnedAndTheLockGivenUp) {
    {
        World first;  // the attribute is found once per process
        ASSERT_EQ(0, CKELD_ReName::ChangeIcoId(classificationOf(first, "ABC"), "ABC", "1", "XYZ",
                                               nullptr, kIdOnly));
    }
    FailingRun test{[](World& world) { return classificationOf(world, "ABC"); },
                    [](World&, tag_t made) {
                        return CKELD_ReName::ChangeIcoId(made, "ABC", "1", "XYZ", nullptr, kIdOnly);
                    },
                    [](World& world, tag_t made, int call) {
                        EXPECT_EQ(call == 5, world.locked(made));
                        EXPECT_EQ(call == 0 || call == 5 ? "XYZ" : "ABC",
                                  world.storedText(made, "id"));
                        EXPECT_EQ(0u, world.newBlocks());
                    }};
    // The status of the last one is dropped.
    expectEachFailure(
        test, {"CLF_ask_classification_object_id", "DBO_refresh_instances_any_class",
               "DBO_set_attr_string", "DBO_save_instances", "~DBO_refresh_instances_any_class"});
}

TEST(ClassificationFailing, WithoutTheAttributeNothingIsAskedAndTheNextCallLooksAgain) {
    World world;
    const tag_t made = classificationOf(world, "ABC");
    world.fail("DBO_attr_id_of_attr");
    const auto calls = world.calls([&] {
        EXPECT_EQ(world::kPlanned,
                  CKELD_ReName::ChangeIcoId(made, "ABC", "1", "XYZ", nullptr, kIdOnly));
    });
    EXPECT_THAT(calls, ElementsAre("DBO_attr_id_of_attr(id, icm0)"));
    world.failNothing();
    EXPECT_EQ(0, CKELD_ReName::ChangeIcoId(made, "ABC", "1", "XYZ", nullptr, kIdOnly));
    EXPECT_EQ("XYZ", world.storedText(made, "id"));
}

TEST(ClassificationFailing, ALockOfAnotherSessionIsItsStatus) {
    World world;
    const tag_t made = classificationOf(world, "ABC");
    const auto other = world.otherUser("tom");
    world.as(other, [&] { ASSERT_EQ(0, OBJ_lock(made)); });
    EXPECT_EQ(mervane::kLockedByOther,
              CKELD_ReName::ChangeIcoId(made, "ABC", "1", "XYZ", nullptr, kIdOnly));
    EXPECT_EQ("ABC", world.storedText(made, "id"));
}
