// The ways down from a pair of objects: attachments, revisions, named references.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/keld_basetool.h"
#include "tests/copy/lists.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using world::Lists;
using world::World;

namespace {

class CopyWalk : public testing::Test {
protected:
    CopyWalk() {
        defineSheet(world);
        world.bench.defineType("Card", "Form", {{"s", mervane::Kind::String, false, 20}});
        world.bench.defineRelationType("Rel");
        world.bench.defineRelationType("Other");
        source = world.bench.createFolder("source");
        destination = world.bench.createFolder("destination");
        world.name(source, "source");
        world.name(destination, "destination");
    }
    // A form whose value is its own journal name.
    tag_t form(const std::string& journal_name, const std::string& name,
               const std::string& type = "Sheet") {
        const tag_t made = world.bench.createForm(type, name);
        world.put(made, "s", journal_name);
        world.name(made, journal_name);
        return made;
    }
    tag_t attachment(tag_t to, const std::string& journal_name, const std::string& name,
                     const std::string& type = "Sheet", const std::string& relation = "Rel") {
        const tag_t made = form(journal_name, name, type);
        world.bench.relate(to, made, relation);
        return made;
    }
    int copy(const std::vector<std::string>& attributes,
             const std::vector<std::string>& relations) {
        const Lists lists(attributes, relations);
        const std::size_t before = world.blocks();
        const int status = CopyAttributes(source, destination, lists.objects, lists.relations);
        EXPECT_EQ(before, world.blocks());
        return status;
    }
    std::vector<std::string> callsOf(const std::vector<std::string>& attributes,
                                     const std::vector<std::string>& relations) {
        const Lists lists(attributes, relations);
        return world.calls([&] {
            EXPECT_EQ(0, CopyAttributes(source, destination, lists.objects, lists.relations));
        });
    }
    std::string value(tag_t object) { return world.storedText(object, "s"); }

    World world;
    tag_t source = NULLTAG, destination = NULLTAG;
};

class CopyAttachments : public CopyWalk {
protected:
    int copy() { return CopyWalk::copy({"Sheet;s", "Card;s"}, {"Folder;Rel;Sheet"}); }
    // The calls after the two lists of attachments, without those about classes.
    std::vector<std::string> matchingCalls() {
        std::vector<std::string> found;
        bool after = false;
        for (const std::string& call : callsOf({}, {"Folder;Rel;Sheet"})) {
            if (after && (call.starts_with("ENT_") || call.starts_with("OBJ_get_value_tag")))
                found.push_back(call);
            after |= call == "REL_list_secondary_objects_only(source)";
        }
        return found;
    }
};

class CopyRevisions : public CopyWalk {
protected:
    CopyRevisions() {
        from = world.item("000100");
        to = world.item("000200");
        source = from.item;
        destination = to.item;
        world.name(source, "source");
        world.name(destination, "destination");
        describe(from.revision, "from A");
    }
    void describe(tag_t object, const std::string& text) { world.put(object, "object_desc", text); }
    std::string description(tag_t object) { return world.storedText(object, "object_desc"); }
    int copy() {
        return CopyWalk::copy({"ItemRevision;object_desc"}, {"Item;revision_list;ItemRevision"});
    }
    world::ItemTags from, to;
};

class CopyNamedReferences : public CopyWalk {
protected:
    CopyNamedReferences() {
        world.bench.defineDatasetType("Box", "BoxTool", {"BOX"}, {"Sheets", "Cards"});
        source = world.dataset("source", "Box");
        destination = world.dataset("destination", "Box");
        world.name(source, "source");
        world.name(destination, "destination");
    }
    tag_t reference(tag_t to, const std::string& journal_name, const std::string& name,
                    const std::string& type = "Sheet", const std::string& under = "Sheets") {
        const tag_t made = form(journal_name, name, type);
        world.bench.addNamedReference(to, under, made);
        return made;
    }
    int copy(const std::string& line = "Box;Sheets;Sheet") {
        return CopyWalk::copy({"Sheet;s", "Card;s"}, {line});
    }
};

}  // namespace

// ---- attachments ----

TEST_F(CopyAttachments, OfTheRelationAndTypeAreCopied) {
    attachment(source, "source sheet", "x");
    const tag_t sheet = attachment(destination, "sheet", "x");
    const tag_t card = attachment(destination, "card", "x", "Card");
    const tag_t other = attachment(destination, "other", "x", "Sheet", "Other");
    attachment(source, "source card", "x", "Card");
    attachment(source, "source other", "x", "Sheet", "Other");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("source sheet", value(sheet));
    EXPECT_EQ("card", value(card));
    EXPECT_EQ("other", value(other));
}

TEST_F(CopyAttachments, ASingleOneIsMatchedWhateverItsName) {
    attachment(source, "source sheet", "one name");
    const tag_t sheet = attachment(destination, "sheet", "another name");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("source sheet", value(sheet));
}

TEST_F(CopyAttachments, OfTwoSourcesTheFirstOfTheTypeIsTakenWhateverTheNames) {
    attachment(source, "card", "b", "Card");
    attachment(source, "first", "a");
    attachment(source, "second", "b");
    const tag_t same = attachment(destination, "same", "b");
    const tag_t neither = attachment(destination, "neither", "c");
    const tag_t last = attachment(destination, "last", "b");
    EXPECT_EQ(0, copy());
    for (const tag_t each : {same, neither, last})
        EXPECT_EQ("first", value(each));
}

TEST_F(CopyAttachments, TheNameComparedIsThatAtTheDestinationsPlace) {
    attachment(source, "s0", "a");
    attachment(source, "s1", "b");
    attachment(destination, "d0", "a");
    attachment(destination, "d1", "a");
    EXPECT_THAT(matchingCalls(),
                ElementsAre("ENT_ask_object_type(d0)", "ENT_ask_name(d0)",
                            // the names fit at once
                            "ENT_ask_object_type(s0)", "ENT_ask_name(s0)",
                            "ENT_ask_object_type(s0)", "OBJ_get_value_tag(d0, owning_site)",
                            "ENT_ask_object_type(d1)", "ENT_ask_name(d1)",
                            // "a" is the first one's name, but the second one's is asked for
                            "ENT_ask_object_type(s0)", "ENT_ask_name(s1)",
                            "ENT_ask_object_type(s1)", "ENT_ask_name(s1)",
                            "ENT_ask_object_type(s0)", "OBJ_get_value_tag(d1, owning_site)"));
}

TEST_F(CopyAttachments, WithoutASourceAtTheDestinationsPlaceNoNameIsAsked) {
    attachment(source, "s0", "b");
    attachment(destination, "d0", "a");
    attachment(destination, "d1", "b");
    EXPECT_THAT(
        matchingCalls(),
        ElementsAre("ENT_ask_object_type(d0)", "ENT_ask_name(d0)", "ENT_ask_object_type(s0)",
                    "ENT_ask_name(s0)", "ENT_ask_object_type(s0)",
                    "OBJ_get_value_tag(d0, owning_site)", "ENT_ask_object_type(d1)",
                    "ENT_ask_name(d1)", "ENT_ask_object_type(s0)", "ENT_ask_object_type(s0)",
                    "OBJ_get_value_tag(d1, owning_site)"));
    EXPECT_EQ(0, copy());
}

TEST_F(CopyAttachments, WithoutASourceAtTheDestinationsPlaceTheOthersTypesAreAskedAllTheSame) {
    attachment(source, "s0", "a");
    attachment(source, "s1", "b");
    for (const char* name : {"d0", "d1", "d2"})
        attachment(destination, name, "a");
    const auto calls = matchingCalls();
    const auto last = std::find(calls.begin(), calls.end(), "ENT_ask_object_type(d2)");
    ASSERT_NE(calls.end(), last);
    EXPECT_THAT(
        std::vector<std::string>(last + 1, calls.end()),
        ElementsAre("ENT_ask_name(d2)", "ENT_ask_object_type(s0)", "ENT_ask_object_type(s1)",
                    "ENT_ask_object_type(s0)", "OBJ_get_value_tag(d2, owning_site)"));
}

TEST_F(CopyAttachments, TheNameAtThePlaceMayBelongToAnotherType) {
    attachment(source, "card", "a", "Card");
    attachment(source, "s1", "b");
    attachment(source, "s2", "b");
    attachment(destination, "d0", "a");
    EXPECT_THAT(matchingCalls(), ElementsAre("ENT_ask_object_type(d0)", "ENT_ask_name(d0)",
                                             "ENT_ask_object_type(card)", "ENT_ask_object_type(s1)",
                                             "ENT_ask_name(card)", "ENT_ask_object_type(s1)",
                                             "OBJ_get_value_tag(d0, owning_site)"));
}

TEST_F(CopyAttachments, OfATypeThatTheSourceDoesNotHaveAreLeft) {
    attachment(source, "card", "x", "Card");
    const tag_t sheet = attachment(destination, "sheet", "x");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("sheet", value(sheet));
}

TEST_F(CopyAttachments, OfASubtypeAreAnotherType) {
    world.bench.defineType("Special", "Sheet", {});
    attachment(source, "source", "x");
    const tag_t special = attachment(destination, "special", "x", "Special");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("special", value(special));
}

TEST_F(CopyAttachments, ThatAreNoWorkspaceObjectsArePassedOver) {
    const tag_t person = world.bench.create("Person");
    const tag_t other_person = world.bench.create("Person");
    world.bench.relate(source, person, "Rel");
    world.bench.relate(destination, other_person, "Rel");
    world.name(person, "person");
    world.name(other_person, "other person");
    attachment(source, "first", "x");
    const tag_t sheet = attachment(destination, "sheet", "x");
    EXPECT_THAT(matchingCalls(), Not(Contains(testing::HasSubstr("person"))));
    EXPECT_EQ(0, copy());
    EXPECT_EQ("first", value(sheet));
}

TEST_F(CopyAttachments, AnUnknownClassIsPassedOverToo) {
    attachment(source, "first", "x");
    const tag_t sheet = attachment(destination, "sheet", "x");
    const tag_t second = attachment(destination, "second", "x");
    world.fail("DBO_class_of_instance", 1, 515001);
    EXPECT_EQ(0, copy());
    EXPECT_EQ("sheet", value(sheet));
    EXPECT_EQ("first", value(second));
    world.put(second, "s", "second");
    world.fail("DBO_class_of_instance", 2, 515001);
    EXPECT_EQ(0, copy());
    // For the first destination the only source was skipped.
    EXPECT_EQ("sheet", value(sheet));
    EXPECT_EQ("first", value(second));
}

TEST_F(CopyAttachments, TheirClassTestsAreNotTraced) {
    attachment(source, "first", "x");
    attachment(destination, "sheet", "x");
    EXPECT_EQ(0, copy());
    for (const world::LogLine& line : world.log())
        EXPECT_THAT(line.text, Not(testing::HasSubstr("KELD_isObjectOfClass")));
}

TEST_F(CopyAttachments, AreFollowedFromTheSourcesExactTypeOnly) {
    world.bench.defineType("Special", "Folder", {});
    source = world.bench.create("Special");
    world.name(source, "source");
    attachment(source, "first", "x");
    const tag_t sheet = attachment(destination, "sheet", "x");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("sheet", value(sheet));
    EXPECT_EQ(0, CopyWalk::copy({"Sheet;s"}, {"Special;Rel;Sheet"}));
    EXPECT_EQ("first", value(sheet));
}

TEST_F(CopyAttachments, AreFollowedInTheOrderOfTheLines) {
    attachment(source, "s0", "x");
    attachment(source, "s1", "x", "Card", "Other");
    const tag_t sheet = attachment(destination, "sheet", "x");
    const tag_t card = attachment(destination, "card", "x", "Card", "Other");
    world.name(sheet, "sheet");
    const auto calls =
        callsOf({"Sheet;s", "Card;s"}, {"Folder;Other;Card", "Item;Rel;Sheet", "Folder;Rel;Sheet"});
    std::vector<std::string> saves;
    for (const std::string& call : calls)
        if (call.starts_with("OBJ_save"))
            saves.push_back(call);
    EXPECT_THAT(saves, ElementsAre("OBJ_save(card)", "OBJ_save(sheet)"));
    EXPECT_EQ("s1", value(card));
}

TEST_F(CopyAttachments, OfAttachmentsAreFollowedToo) {
    const tag_t upper = attachment(source, "upper", "x");
    const tag_t lower = attachment(destination, "lower", "x");
    attachment(upper, "deep", "x", "Card");
    const tag_t card = attachment(lower, "card", "x", "Card");
    EXPECT_EQ(0, CopyWalk::copy({"Card;s"}, {"Folder;Rel;Sheet", "Sheet;Rel;Card"}));
    EXPECT_EQ("deep", value(card));
    EXPECT_EQ("lower", value(lower));
}

TEST_F(CopyAttachments, TheSameOneOnBothSidesIsSkipped) {
    const tag_t shared = attachment(source, "shared", "x");
    world.bench.relate(destination, shared, "Rel");
    world.clearLog();
    EXPECT_EQ(0, copy());
    EXPECT_THAT(world.lines("T"),
                Contains("The source and destination objects are the same, so skip this objects "
                         "and all references."));
}

// ---- cycles ----

TEST_F(CopyAttachments, ACycleInConfigurationAndDataRecursesUntilAFailure) {
    // Each folder refers to a sheet, which refers to itself by way of another one.
    const tag_t a = attachment(source, "a", "x"), b = attachment(destination, "b", "x");
    const tag_t c = attachment(a, "c", "x"), d = attachment(b, "d", "x");
    world.bench.relate(c, a, "Rel");
    world.bench.relate(d, b, "Rel");
    const Lists lists({"Sheet;s"}, {"Folder;Rel;Sheet", "Sheet;Rel;Sheet"});
    constexpr int kSaves = 900;
    KELD_SetLogLevel(0);
    world.fail("OBJ_save", kSaves + 1, 515001);
    const auto calls = world.calls([&] {
        EXPECT_EQ(515001, CopyAttributes(source, destination, lists.objects, lists.relations));
    });
    EXPECT_THAT(calls, AllOf(Contains("OBJ_save(b)").Times(kSaves / 2 + 1),
                             Contains("OBJ_save(d)").Times(kSaves / 2)));
    // Nothing else stops it: it goes as deep as it may.
    world.fail("OBJ_save", 2 * kSaves + 1, 515001);
    EXPECT_EQ(515001, CopyAttributes(source, destination, lists.objects, lists.relations));
    EXPECT_EQ("a", value(b));
}

// ---- revisions ----

TEST_F(CopyRevisions, MatchById) {
    const tag_t from_b = world.revision(from.item, "B");
    const tag_t from_c = world.revision(from.item, "C");
    const tag_t to_c = world.revision(to.item, "C");
    const tag_t to_b = world.revision(to.item, "B");
    describe(from_b, "from B");
    describe(from_c, "from C");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("from A", description(to.revision));
    EXPECT_EQ("from B", description(to_b));
    EXPECT_EQ("from C", description(to_c));
}

TEST_F(CopyRevisions, WithoutATwinAreFilledFromTheLatest) {
    const tag_t from_b = world.revision(from.item, "B");
    describe(from_b, "from B");
    const tag_t to_x = world.revision(to.item, "X");
    world.name(to.revision, "to A");
    world.name(to_x, "to X");
    const auto calls = callsOf({}, {"Item;revision_list;ItemRevision"});
    std::vector<std::string> about;
    for (const std::string& call : calls)
        if (call.starts_with("ART_") || call.starts_with("DBO_class"))
            about.push_back(call);
    EXPECT_THAT(about, ElementsAre("DBO_class_of_instance(destination)",
                                   "ART_list_all_revs(destination)", "ART_ask_rev_id(to A)",
                                   "ART_find_revision(source, A)", "ART_ask_rev_id(to X)",
                                   "ART_find_revision(source, X)", "ART_ask_latest_rev(source)"));
    EXPECT_EQ(0, copy());
    EXPECT_EQ("from A", description(to.revision));
    EXPECT_EQ("from B", description(to_x));
}

TEST_F(CopyRevisions, OfTheSourceThatTheDestinationDoesNotHaveAreLeft) {
    world.revision(from.item, "B");
    const int before = world.count("ItemRevision");
    EXPECT_EQ(0, copy());
    EXPECT_EQ(before, world.count("ItemRevision"));
}

TEST_F(CopyRevisions, AreFollowedDownToTheirForms) {
    const tag_t form = world.masterForm(from.revision), other = world.masterForm(to.revision);
    world.put(form, "user_data_1", "new");
    EXPECT_EQ(0, CopyWalk::copy({"ItemRevision Master;user_data_1"},
                                {"Item;revision_list;ItemRevision",
                                 "ItemRevision;VANE_master_form_rev;ItemRevision Master"}));
    EXPECT_EQ("new", world.storedText(other, "user_data_1"));
}

TEST_F(CopyRevisions, TheSecondaryTypeOfTheLineDoesNotMatter) {
    EXPECT_EQ(0, CopyWalk::copy({"ItemRevision;object_desc"}, {"Item;revision_list;Folder"}));
    EXPECT_EQ("from A", description(to.revision));
}

TEST_F(CopyRevisions, OfASourceThatIsNoItemAreAFailure) {
    const tag_t folder = world.bench.createFolder("no item");
    Lists lists({}, {"Item;revision_list;ItemRevision"});
    HEAP_free(lists.relations.relation_combination[0].primary);
    lists.relations.relation_combination[0].primary =
        static_cast<char*>(HEAP_alloc(sizeof "Folder"));
    std::snprintf(lists.relations.relation_combination[0].primary, sizeof "Folder", "Folder");
    EXPECT_NE(0, CopyAttributes(folder, to.item, lists.objects, lists.relations));
    // A destination that isn't an item isn't followed either: the line is skipped.
    EXPECT_EQ(
        0, CopyAttributes(folder, world.bench.createFolder("x"), lists.objects, lists.relations));
}

TEST_F(CopyRevisions, AnItemsOtherLineWithoutARelationTypeIsPassedOver) {
    Lists lists({"ItemRevision;object_desc"}, {});
    // A line that is reported as bad but kept: neither a relation nor the revision list.
    EXPECT_EQ(35004, AddRelation(&lists.relations, "Item;revisions;ItemRevision"));
    const auto calls = world.calls(
        [&] { EXPECT_EQ(0, CopyAttributes(source, destination, lists.objects, lists.relations)); });
    EXPECT_THAT(calls, Contains("DBO_class_of_instance(destination)"));
    EXPECT_THAT(calls, Not(Contains(StartsWith("ART_"))));
    EXPECT_THAT(calls, Not(Contains(StartsWith("REL_"))));
}

TEST_F(CopyRevisions, OfAnOrdinaryObjectALineWithoutARelationTypeIsPassedOver) {
    Lists lists({}, {});
    EXPECT_EQ(35004, AddRelation(&lists.relations, "ItemRevision;revision_list;ItemRevision"));
    EXPECT_EQ(0, CopyAttributes(from.revision, to.revision, lists.objects, lists.relations));
}

// ---- named references ----

TEST_F(CopyNamedReferences, AreMatchedByNameAcrossTheWholeList) {
    reference(source, "s0", "a");
    reference(source, "s1", "b");
    reference(source, "s2", "c");
    const tag_t c = reference(destination, "d0", "c");
    const tag_t a = reference(destination, "d1", "a");
    const tag_t b = reference(destination, "d2", "b");
    const tag_t far = reference(destination, "d3", "c");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("s2", value(c));
    EXPECT_EQ("s0", value(a));
    EXPECT_EQ("s1", value(b));
    EXPECT_EQ("s2", value(far));
}

TEST_F(CopyNamedReferences, WithoutTheNameAreTheFirstOfTheType) {
    reference(source, "card", "z", "Card");
    reference(source, "s1", "a");
    reference(source, "s2", "b");
    const tag_t sheet = reference(destination, "d0", "z");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("s1", value(sheet));
}

TEST_F(CopyNamedReferences, AskForTheNameOfEachSource) {
    reference(source, "s0", "a");
    reference(source, "s1", "b");
    reference(destination, "d0", "b");
    std::vector<std::string> found;
    for (const std::string& call : callsOf({}, {"Box;Sheets;Sheet"}))
        if (call.starts_with("ENT_ask_name") || call.starts_with("DST_"))
            found.push_back(call);
    EXPECT_THAT(found, ElementsAre("DST_ask_all_dataset_named_refs(destination, Sheets)",
                                   "DST_ask_all_dataset_named_refs(source, Sheets)",
                                   "ENT_ask_name(d0)", "ENT_ask_name(s0)", "ENT_ask_name(s1)"));
}

TEST_F(CopyNamedReferences, OfAnotherNameOrTypeAreLeft) {
    reference(source, "s0", "a");
    reference(source, "s1", "a", "Card", "Cards");
    const tag_t sheet = reference(destination, "d0", "a");
    const tag_t card = reference(destination, "d1", "a", "Card", "Cards");
    const tag_t odd = reference(destination, "d2", "a", "Card", "Sheets");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("s0", value(sheet));
    EXPECT_EQ("d1", value(card));
    EXPECT_EQ("d2", value(odd));
    EXPECT_EQ(0, copy("Box;Cards;Card"));
    EXPECT_EQ("s1", value(card));
    EXPECT_EQ("d2", value(odd));
}

TEST_F(CopyNamedReferences, ThatAreFilesArePassedOver) {
    world.bench.addNamedReference(source, "Sheets", world.bench.create("VaneFile"));
    world.bench.addNamedReference(destination, "Sheets", world.bench.create("VaneFile"));
    reference(source, "s0", "a");
    const tag_t sheet = reference(destination, "d0", "a");
    EXPECT_EQ(0, copy());
    EXPECT_EQ("s0", value(sheet));
}

TEST_F(CopyNamedReferences, AreMeantEvenIfThereIsARelationOfTheName) {
    world.bench.relate(source, form("s0", "a"), "Rel");
    const tag_t related = form("d0", "a");
    world.bench.relate(destination, related, "Rel");
    EXPECT_EQ(0, copy("Box;Rel;Sheet"));
    EXPECT_EQ("d0", value(related));
}

TEST_F(CopyNamedReferences, AreFollowedAlsoUnderTheNameRevisionList) {
    EXPECT_THAT(callsOf({}, {"Box;revision_list;Sheet"}),
                Contains("DST_ask_all_dataset_named_refs(destination, revision_list)"));
}
