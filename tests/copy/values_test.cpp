// What is copied from one object to another.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/mv_obj.h"
#include "tests/copy/lists.h"

using mervane::Values;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using world::Lists;
using world::World;

namespace {

class CopyValues : public testing::Test {
protected:
    CopyValues() {
        defineSheet(world);
        source = world.bench.createForm("Sheet", "source");
        destination = world.bench.createForm("Sheet", "destination");
        world.put(source, "s", "new");
        world.put(destination, "s", "old");
        world.name(source, "source");
        world.name(destination, "destination");
    }
    int copy(const std::vector<std::string>& attributes,
             const std::vector<std::string>& relations = {}) {
        const Lists lists(attributes, relations);
        return CopyAttributes(source, destination, lists.objects, lists.relations);
    }
    std::vector<std::string> callsOf(const Lists& lists, int expected = 0) {
        return world.calls([&] {
            EXPECT_EQ(expected,
                      CopyAttributes(source, destination, lists.objects, lists.relations));
        });
    }
    void giveToOtherSite(tag_t object) {
        const tag_t site = world.bench.create("Site");
        world.bench.set(object, "owning_site", {mervane::Reference{site}});
    }
    void forbid(tag_t object) {
        world.bench.addRight({"all", "", "object", std::to_string(object), "WRITE", false});
    }

    World world;
    tag_t source = NULLTAG, destination = NULLTAG;
};

}  // namespace

TEST_F(CopyValues, GoByDisplayTextUnderOneLockWithOneSave) {
    world.put(source, "s2", "two");
    const Lists lists({"Sheet;s", "Sheet;s2"}, {});
    EXPECT_THAT(
        callsOf(lists),
        ElementsAre("OBJ_refresh(source, false)", "OBJ_refresh(destination, false)",
                    "ENT_ask_object_type(source)", "OBJ_get_value_tag(destination, owning_site)",
                    "OBJ_ask_value_logical(destination, is_modifiable)",
                    "OBJ_refresh(destination, true)", "OBJ_UIF_ask_value(source, s)",
                    "OBJ_UIF_set_value(destination, s, new)", "OBJ_UIF_ask_value(source, s2)",
                    "OBJ_UIF_set_value(destination, s2, two)", "OBJ_save(destination)",
                    "OBJ_refresh(destination, false)"));
    EXPECT_EQ("new", world.storedText(destination, "s"));
    EXPECT_EQ("two", world.storedText(destination, "s2"));
    EXPECT_FALSE(world.locked(destination));
}

TEST_F(CopyValues, AreTracedAsTheCallsAreWritten) {
    EXPECT_EQ(0, copy({"Sheet;s"}));
    std::vector<std::string> entered;
    for (const world::LogLine& line : world.log())
        if (line.text.starts_with(" ->") && line.text.find("AddAttribute") == std::string::npos &&
            line.depth < 2)
            entered.push_back(std::to_string(line.depth) +
                              line.text.substr(3, line.text.rfind(' ') - 3));
    entered.erase(entered.begin(), std::find(entered.begin(), entered.end(), "0CopyAttributes"));
    EXPECT_THAT(
        entered,
        ElementsAre("0CopyAttributes", "1OBJ_refresh(tSource, false)", "1OBJ_refresh(tDest, false)",
                    "1ENT_ask_object_type(tSource, sObjectType)",
                    "1OBJ_get_value_tag(tDest, \"owning_site\", &tOwningSite)",
                    "1OBJ_ask_value_logical(tDest, \"is_modifiable\", &lIsModifiable)",
                    "1OBJ_refresh(tDest, true)",
                    "1OBJ_UIF_ask_value(tSource, attribute_name, &spValue)",
                    "1OBJ_UIF_set_value(tDest, attribute_name, spValue)", "1OBJ_save(tDest)",
                    "1OBJ_refresh(tDest, false)"));
}

TEST_F(CopyValues, OfEveryKindReachTheDestination) {
    const tag_t other = world.bench.createFolder("other");
    const std::vector<std::pair<std::string, Values>> all = {
        {"s", {std::string("text, with; signs")}},
        {"i", {std::int64_t{-7}}},
        {"d", {2.5}},
        {"l", {true}},
        {"t", {mervane::Date{{2026, 2, 31, 14, 5, 9}}}},
        {"r", {mervane::Reference{other}}},
        {"ss", {std::string("one"), std::string("two")}},
        {"ii", {std::int64_t{1}, std::int64_t{2}}},
        {"rr", {mervane::Reference{other}, mervane::Reference{source}}},
    };
    std::vector<std::string> lines;
    for (const auto& [name, values] : all) {
        world.bench.set(source, name, values);
        lines.push_back("Sheet;" + name);
    }
    EXPECT_EQ(0, copy(lines));
    for (const auto& [name, values] : all)
        EXPECT_EQ(values, world.stored(destination, name)) << name;
    EXPECT_EQ("destination", world.storedText(destination, "object_name"));
}

TEST_F(CopyValues, OfKindsThatDifferGoByTheText) {
    world.put(source, "s", "42");
    const tag_t master = world.masterForm(world.item("000100").item);
    const Lists lists({"Sheet;s"}, {});
    world.bench.defineType("Card", "Form", {{"s", mervane::Kind::Int, false, 0}});
    const tag_t card = world.bench.createForm("Card", "card");
    EXPECT_EQ(0, CopyAttributes(source, card, lists.objects, lists.relations));
    EXPECT_EQ(Values{std::int64_t{42}}, world.stored(card, "s"));
    world.put(source, "s", "42 mm");
    EXPECT_NE(0, CopyAttributes(source, card, lists.objects, lists.relations));
    EXPECT_EQ(Values{std::int64_t{42}}, world.stored(card, "s"));
    EXPECT_TRUE(world.locked(card));
    // The destination needn't have the property at all.
    EXPECT_NE(0, CopyAttributes(source, master, lists.objects, lists.relations));
}

TEST_F(CopyValues, OfTheSourceItselfAreNotTouched) {
    destination = source;
    const Lists lists({"Sheet;s"}, {"Sheet;VANE_specification;Text"});
    world.clearLog();
    EXPECT_THAT(callsOf(lists), IsEmpty());
    EXPECT_THAT(world.lines(),
                ElementsAre("The source and destination objects are the same, so skip this objects "
                            "and all references."));
}

TEST_F(CopyValues, ThatAreEmptyLeaveTheDestinationAlone) {
    world.bench.set(source, "s", {});
    const Lists lists({"Sheet;s"}, {});
    EXPECT_THAT(callsOf(lists), Not(Contains(StartsWith("OBJ_UIF_set_value"))));
    EXPECT_EQ("old", world.storedText(destination, "s"));
}

TEST_F(CopyValues, ThatAreEmptyEmptyTheDestinationOnRequest) {
    world.bench.set(source, "s", {});
    for (const char* name : {"i", "d", "l", "t", "r", "ss", "ii", "rr"})
        world.bench.set(source, name, {});
    world.bench.set(destination, "i", {std::int64_t{1}});
    world.bench.set(destination, "t", {mervane::Date{{2026, 0, 1, 0, 0, 0}}});
    world.bench.set(destination, "rr", {mervane::Reference{source}});
    EXPECT_EQ(0,
              copy({"Sheet;s;null", "Sheet;i;null", "Sheet;d;null", "Sheet;l;null", "Sheet;t;null",
                    "Sheet;r;null", "Sheet;ss;null", "Sheet;ii;null", "Sheet;rr;null"}));
    for (const char* name : {"s", "i", "d", "l", "t", "r", "ss", "ii", "rr"})
        EXPECT_EQ(Values{}, world.stored(destination, name)) << name;
}

TEST_F(CopyValues, WithoutAnyToSetTheLockIsTakenAndGivenUpWithoutASave) {
    const Lists lists({"Folder;object_name"}, {});
    EXPECT_THAT(
        callsOf(lists),
        ElementsAre("OBJ_refresh(source, false)", "OBJ_refresh(destination, false)",
                    "ENT_ask_object_type(source)", "OBJ_get_value_tag(destination, owning_site)",
                    "OBJ_ask_value_logical(destination, is_modifiable)",
                    "OBJ_refresh(destination, true)", "OBJ_refresh(destination, false)"));
}

TEST_F(CopyValues, ApplyToSourcesOfExactlyTheType) {
    world.bench.defineType("Special", "Sheet", {});
    source = world.bench.createForm("Special", "special");
    world.put(source, "s", "special");
    EXPECT_EQ(0, copy({"Sheet;s", "Form;object_name", "WorkspaceObject;object_name"}));
    EXPECT_EQ("old", world.storedText(destination, "s"));
    EXPECT_EQ(0, copy({"Special;s"}));
    EXPECT_EQ("special", world.storedText(destination, "s"));
}

TEST_F(CopyValues, OfTwoLinesForOnePropertyAreSetTwice) {
    const Lists lists({"Sheet;s", "Sheet;s;null"}, {});
    EXPECT_THAT(callsOf(lists), Contains("OBJ_UIF_set_value(destination, s, new)").Times(2));
}

TEST_F(CopyValues, AreThoseStoredNotThoseUnsaved) {
    OBJ_lock(source);
    OBJ_set_value_string(source, "s", "unsaved");
    OBJ_lock(destination);
    OBJ_set_value_string(destination, "s2", "unsaved");
    EXPECT_EQ(0, copy({"Sheet;s"}));
    EXPECT_EQ("new", world.storedText(destination, "s"));
    EXPECT_EQ("", world.storedText(destination, "s2"));
}

TEST_F(CopyValues, LeaveNothingAllocated) {
    const Lists lists({"Sheet;s", "Sheet;s2", "Sheet;i;null"}, {});
    const std::size_t before = world.blocks();
    EXPECT_EQ(0, CopyAttributes(source, destination, lists.objects, lists.relations));
    EXPECT_EQ(before, world.blocks());
}

// ---- destinations that take no values ----

TEST_F(CopyValues, AreNotSetOnADestinationOfAnotherSite) {
    giveToOtherSite(destination);
    const Lists lists({"Sheet;s"}, {});
    EXPECT_THAT(
        callsOf(lists),
        ElementsAre("OBJ_refresh(source, false)", "OBJ_refresh(destination, false)",
                    "ENT_ask_object_type(source)", "OBJ_get_value_tag(destination, owning_site)"));
    EXPECT_EQ("old", world.storedText(destination, "s"));
}

TEST_F(CopyValues, AreNotSetOnADestinationThatMayNotBeChanged) {
    forbid(destination);
    const Lists lists({"Sheet;s"}, {});
    EXPECT_THAT(
        callsOf(lists),
        ElementsAre("OBJ_refresh(source, false)", "OBJ_refresh(destination, false)",
                    "ENT_ask_object_type(source)", "OBJ_get_value_tag(destination, owning_site)",
                    "OBJ_ask_value_logical(destination, is_modifiable)"));
    EXPECT_EQ("old", world.storedText(destination, "s"));
    EXPECT_FALSE(world.locked(destination));
}

TEST_F(CopyValues, AreReadFromASourceOfAnotherSiteThatMayNotBeChanged) {
    giveToOtherSite(source);
    forbid(source);
    EXPECT_EQ(0, copy({"Sheet;s"}));
    EXPECT_EQ("new", world.storedText(destination, "s"));
}

TEST_F(CopyValues, AreNotSetWhileAnotherUserHasTheDestination) {
    const auto other = world.otherUser("miller");
    world.as(other, [&] { world.bench.checkOut(destination, ""); });
    EXPECT_EQ(0, copy({"Sheet;s"}));
    EXPECT_EQ("old", world.storedText(destination, "s"));
}

TEST_F(CopyValues, BelowADestinationOfAnotherSiteAreSet) {
    const tag_t to = world.bench.createForm("Sheet", "below"),
                from = world.bench.createForm("Sheet", "below");
    world.put(from, "s", "below");
    world.bench.defineRelationType("Rel");
    for (const bool foreign : {true, false}) {
        const auto source_item = world.item(foreign ? "000100" : "000101");
        const auto destination_item = world.item(foreign ? "000200" : "000201");
        world.bench.relate(source_item.item, from, "Rel");
        world.bench.relate(destination_item.item, to, "Rel");
        world.put(source_item.item, "object_desc", "new");
        world.put(to, "s", "");
        if (foreign)
            giveToOtherSite(destination_item.item);
        else
            forbid(destination_item.item);
        source = source_item.item;
        destination = destination_item.item;
        EXPECT_EQ(0, copy({"Item;object_desc", "Sheet;s"}, {"Item;Rel;Sheet"}));
        EXPECT_EQ("", world.storedText(destination, "object_desc"));
        EXPECT_EQ("below", world.storedText(to, "s"));
    }
}
