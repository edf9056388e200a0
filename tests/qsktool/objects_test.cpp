// Classes, types and states of objects.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <vector>

#include "platform/keld_qsktool.h"
#include "platform/mv_dbo.h"
#include "platform/mv_rel.h"
#include "tests/support/world.h"

using testing::ElementsAre;
using testing::IsEmpty;
using world::World;

namespace {

class ObjectSupport : public testing::Test {
protected:
    ObjectSupport() {
        made = world.item("000100");
        world.name(made.revision, "rev");
    }
    bool isClass(tag_t object, const char* name) {
        logical result = false;
        EXPECT_EQ(0, KELD_isObjectOfClass(object, name, &result));
        return result;
    }
    bool isType(tag_t object, const char* name, bool with_subtypes) {
        logical result = false;
        EXPECT_EQ(0, KELD_isObjectOfTypeExt(object, name, &result, with_subtypes));
        return result;
    }
    std::string latest(tag_t object) {
        char status[33] = "before";
        EXPECT_EQ(0, KELD_ask_latest_status(object, status));
        return status;
    }

    World world;
    world::ItemTags made;
};

}  // namespace

TEST_F(ObjectSupport, AnObjectIsOfItsClassAndOfThoseAbove) {
    EXPECT_TRUE(isClass(made.item, "Item"));
    EXPECT_TRUE(isClass(made.item, "WorkspaceObject"));
    EXPECT_FALSE(isClass(made.item, "ItemRevision"));
    EXPECT_FALSE(isClass(made.item, "ORLAJob"));
    EXPECT_FALSE(isClass(made.item, "No such class"));
    EXPECT_FALSE(isClass(made.item, ""));
    EXPECT_FALSE(isClass(made.item, nullptr));
    EXPECT_TRUE(isClass(world.dataset("drawing", "Drawing"), "Dataset"));
}

TEST_F(ObjectSupport, ATypeCountsWithItsSubtypesIfAsked) {
    world.bench.defineType("Part", "Item", {});
    world.bench.defineType("Casting", "Part", {});
    const tag_t casting = world.item("000200", "Casting").item;
    for (const bool with_subtypes : {false, true}) {
        EXPECT_TRUE(isType(casting, "Casting", with_subtypes));
        EXPECT_EQ(with_subtypes, isType(casting, "Part", with_subtypes));
        EXPECT_EQ(with_subtypes, isType(casting, "Item", with_subtypes));
        EXPECT_FALSE(isType(casting, "Folder", with_subtypes));
        EXPECT_FALSE(isType(casting, "No such type", with_subtypes));
        EXPECT_FALSE(isType(casting, nullptr, with_subtypes));
        EXPECT_FALSE(isType(made.item, "Casting", with_subtypes));
    }
}

TEST_F(ObjectSupport, AnUnknownObjectIsAFailureThatLeavesTheResult) {
    logical result = true;
    char text[129] = "before";
    for (const tag_t object : {NULLTAG, tag_t{999999}}) {
        EXPECT_NE(0, KELD_isObjectOfClass(object, "Item", &result));
        EXPECT_NE(0, KELD_isObjectOfTypeExt(object, "Item", &result, true));
        EXPECT_NE(0, KELD_isItemReplica(object, &result));
        EXPECT_NE(0, KELD_ask_latest_status(object, text));
        EXPECT_NE(0, KELD_MVTYPE_ask_name(object, text));
    }
    EXPECT_TRUE(result);
    EXPECT_STREQ("before", text);
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(ObjectSupport, AFailedQuestionForTheTypesIsAFailureThatLeavesTheResult) {
    world.bench.defineType("Part", "Item", {});
    const tag_t part = world.item("000200", "Part").item;
    logical result = false;
    ASSERT_EQ(0, KELD_isObjectOfTypeExt(part, "Item", &result, true));
    ASSERT_TRUE(result);
    const std::pair<const char*, int> calls[] = {{"ENT_ask_object_type", 1},
                                                 {"MVTYPE_find_type", 1},
                                                 {"MVTYPE_find_type", 2},
                                                 {"MVTYPE_ask_subtypes", 1}};
    for (const auto& [operation, n] : calls) {
        world.fail(operation, n);
        EXPECT_EQ(4711, KELD_isObjectOfTypeExt(part, "Folder", &result, true)) << operation << n;
        world.failNothing();
        EXPECT_TRUE(result);
        EXPECT_EQ(0u, world.newBlocks());
    }
}

TEST_F(ObjectSupport, ANullResultIsAFailure) {
    EXPECT_NE(0, KELD_isObjectOfClass(made.item, "Item", nullptr));
    EXPECT_NE(0, KELD_isObjectOfTypeExt(made.item, "Item", nullptr, true));
    EXPECT_NE(0, KELD_isItemReplica(made.item, nullptr));
    EXPECT_NE(0, KELD_ask_latest_status(made.item, nullptr));
    EXPECT_NE(0, KELD_MVTYPE_ask_name(NULLTAG, nullptr));
    EXPECT_NE(0, KELD_ART_find_item("000100", nullptr));
    EXPECT_NE(0, KELD_GetTime(nullptr));
}

TEST_F(ObjectSupport, ARelationTypeHasAName) {
    tag_t type = NULLTAG;
    ASSERT_EQ(0, REL_find_relation_type("VANE_specification", &type));
    char name[129] = "";
    EXPECT_EQ(0, KELD_MVTYPE_ask_name(type, name));
    EXPECT_STREQ("VANE_specification", name);
}

TEST_F(ObjectSupport, AnItemIsFoundByItsId) {
    tag_t item = NULLTAG;
    EXPECT_EQ(0, KELD_ART_find_item("000100", &item));
    EXPECT_EQ(made.item, item);
    for (const char* id : {"0001", "000100 ", "", static_cast<const char*>(nullptr)}) {
        item = 99;
        EXPECT_EQ(0, KELD_ART_find_item(id, &item));
        EXPECT_EQ(NULLTAG, item);
    }
}

TEST_F(ObjectSupport, AnObjectWithoutAStatusHasAnEmptyLatestOne) {
    EXPECT_EQ("", latest(made.revision));
}

TEST_F(ObjectSupport, TheLatestStatusIsTheLastThatCanBeLoaded) {
    world.giveStatus(made.revision, "Working");
    world.giveStatus(made.revision, "Frozen");
    EXPECT_EQ("Frozen", latest(made.revision));
    const tag_t gone = world.giveStatus(made.revision, "Gone");
    EXPECT_EQ("Gone", latest(made.revision));
    ASSERT_EQ(0, DBO_delete_instances(1, &gone));
    EXPECT_EQ("Frozen", latest(made.revision));
    EXPECT_EQ(0u, world.newBlocks());
}

TEST_F(ObjectSupport, ALatestStatusOf32CharactersIsWhole) {
    const std::string name(32, 'x');
    world.giveStatus(made.revision, name);
    EXPECT_EQ(name, latest(made.revision));
}

TEST_F(ObjectSupport, EveryFailureOfTheLatestStatusIsReturnedAndLeavesNothing) {
    world.giveStatus(made.revision, "Frozen");
    const auto calls = world.calls([&] { EXPECT_EQ("Frozen", latest(made.revision)); });
    EXPECT_THAT(calls,
                ElementsAre("DBO_attr_id_of_attr(release_status_list, WorkspaceObject)",
                            "DBO_length_of_attr(rev)", "DBO_ask_attr_tags(rev, 0, 1)",
                            "DBO_load_instances_possible(1)",
                            "DBO_attr_id_of_attr(name, ReleaseStatus)", "DBO_ask_attr_string(?)"));
    for (int n = 1; n <= 6; ++n) {
        char status[33] = "before";
        world.fail("", n);
        EXPECT_EQ(4711, KELD_ask_latest_status(made.revision, status));
        world.failNothing();
        EXPECT_STREQ("before", status);
        EXPECT_EQ(0u, world.newBlocks());
    }
}

TEST_F(ObjectSupport, AnObjectIsModifiableIfNobodyHasItCheckedOut) {
    EXPECT_TRUE(KELD_TestModifiableAndNotCheckout(made.revision));
    world.bench.checkOut(made.revision, "mine");
    EXPECT_FALSE(KELD_TestModifiableAndNotCheckout(made.revision));
    world.bench.checkIn(made.revision);
    for (const char* operation : {"OBJ_ask_if_modifiable", "CKO_is_checked_out"}) {
        world.fail(operation);
        EXPECT_FALSE(KELD_TestModifiableAndNotCheckout(made.revision));
    }
    world.failNothing();
    world.bench.addRight({"all", "", "all", "", "WRITE", false});
    EXPECT_FALSE(KELD_TestModifiableAndNotCheckout(made.revision));
    EXPECT_FALSE(KELD_TestModifiableAndNotCheckout(NULLTAG));
}

TEST_F(ObjectSupport, AnItemThatAnotherSiteOwnsIsAReplica) {
    logical replica = true;
    EXPECT_EQ(0, KELD_isItemReplica(made.item, &replica));
    EXPECT_FALSE(replica);
    const tag_t site = world.bench.create("Site");
    world.bench.set(made.item, "owning_site", {mervane::Reference{site}});
    EXPECT_EQ(0, KELD_isItemReplica(made.item, &replica));
    EXPECT_TRUE(replica);
}

TEST_F(ObjectSupport, TheTimeIsLocalWithMonthsFromZero) {
    const std::time_t before = std::time(nullptr);
    date_s now{};
    EXPECT_EQ(0, KELD_GetTime(&now));
    std::tm local{};
    local.tm_year = now.year - 1900;
    local.tm_mon = now.month;
    local.tm_mday = now.day;
    local.tm_hour = now.hour;
    local.tm_min = now.minute;
    local.tm_sec = now.second;
    local.tm_isdst = -1;
    const std::time_t age = std::mktime(&local) - before;
    EXPECT_TRUE(age >= 0 && age < 60) << age;
}
