#include "tests/structures/structure.h"

namespace mervane::test {
namespace {

struct Used {
    tag_t parent;
    int level;
    bool operator==(const Used&) const = default;
};

class Occurrences : public StructureTest {
protected:
    Tags list(tag_t view) {
        int count = 0;
        tag_t* tags = nullptr;
        EXPECT_EQ(0, STR_list_occurrences_of_bvr(view, &count, &tags));
        return taken(count, tags);
    }
    std::vector<Used> whereUsed(tag_t revision, int levels) {
        int count = 0;
        int* level = nullptr;
        tag_t* parents = nullptr;
        EXPECT_EQ(0, STR_where_used_all(revision, levels, &count, &level, &parents));
        std::vector<Used> uses;
        for (int i = 0; i < count; ++i)
            uses.push_back({parents[i], level[i]});
        HEAP_free(level);
        HEAP_free(parents);
        return uses;
    }
};

TEST_F(Occurrences, TheyAreListedInTheOrderInWhichTheyWereMade) {
    const tag_t top = revision("1"), a = revision("2"), b = revision("3");
    const tag_t first = bench_.addOccurrence(top, b, "2", "20");
    const tag_t second = bench_.addOccurrence(top, a, "", "10");
    const tag_t third = bench_.addOccurrence(top, b, "", "");
    secondSession();
    const tag_t view = bench_.bomViewRevision(top);
    EXPECT_EQ((Tags{first, second, third}), list(view));
    char type[129];
    ASSERT_EQ(0, ENT_ask_object_type(view, type));
    EXPECT_STREQ("STRBOMViewRevision", type);
}

TEST_F(Occurrences, AViewRevisionIsMadeOnceAndMayBeEmpty) {
    const tag_t top = revision("1");
    const tag_t view = bench_.bomViewRevision(top);
    EXPECT_EQ(view, bench_.bomViewRevision(top));
    EXPECT_TRUE(list(view).empty());
}

TEST_F(Occurrences, RevisionsOfAnItemShareTheView) {
    tag_t first = NULLTAG;
    const tag_t item = bench_.createItem("1", "Part", "", "A", &first);
    const tag_t next = bench_.createRevision(item, "B");
    const tag_t one = bench_.bomViewRevision(first), two = bench_.bomViewRevision(next);
    EXPECT_NE(one, two);
    EXPECT_EQ(bench_.get(one, "bom_view"), bench_.get(two, "bom_view"));
}

TEST_F(Occurrences, OnlyViewRevisionsHaveSome) {
    int count = 5;
    tag_t dummy = 0;
    tag_t* tags = &dummy;
    EXPECT_EQ(kWrongClass, STR_list_occurrences_of_bvr(revision("1"), &count, &tags));
    EXPECT_EQ(kUnknownObject, STR_list_occurrences_of_bvr(NULLTAG, &count, &tags));
    EXPECT_EQ(5, count);
    EXPECT_EQ(&dummy, tags);
}

TEST_F(Occurrences, APartIsNeverPutIntoItself) {
    const tag_t top = revision("1"), middle = revision("2"), leaf = revision("3");
    bench_.addOccurrence(top, middle, "", "");
    bench_.addOccurrence(middle, leaf, "", "");
    EXPECT_THROW(bench_.addOccurrence(top, top, "", ""), Failure);
    EXPECT_THROW(bench_.addOccurrence(leaf, top, "", ""), Failure);
    EXPECT_TRUE(list(bench_.bomViewRevision(leaf)).empty());
}

TEST_F(Occurrences, AQuantityIsADecimalNumber) {
    const tag_t top = revision("1"), part = revision("2");
    for (const char* wrong : {"two", "1,5", "-1", "1e3", "1.2.3", ".", " 1"})
        EXPECT_THROW(bench_.addOccurrence(top, part, wrong, ""), Failure) << wrong;
    for (const char* right : {"", "0", "2", "0.25", ".5", "7."})
        EXPECT_NO_THROW(bench_.addOccurrence(top, part, right, "")) << right;
}

TEST_F(Occurrences, WhereUsedGivesEachUserOnceAtItsLowestLevel) {
    const tag_t car = revision("1"), wheel = revision("2"), hub = revision("3"),
                screw = revision("4");
    bench_.addOccurrence(car, wheel, "4", "");
    bench_.addOccurrence(car, screw, "8", "");
    bench_.addOccurrence(wheel, hub, "", "");
    bench_.addOccurrence(hub, screw, "5", "");
    bench_.addOccurrence(hub, screw, "1", "");
    EXPECT_EQ((std::vector<Used>{{car, 1}, {hub, 1}}), whereUsed(screw, 1));
    EXPECT_EQ((std::vector<Used>{{car, 1}, {hub, 1}, {wheel, 2}}), whereUsed(screw, 2));
    EXPECT_EQ((std::vector<Used>{{wheel, 1}, {car, 2}}), whereUsed(hub, -1));
    EXPECT_EQ((std::vector<Used>{{wheel, 1}, {car, 2}}), whereUsed(hub, 0));
    EXPECT_TRUE(whereUsed(car, 0).empty());
}

TEST_F(Occurrences, WhereUsedWithoutAUserGivesNoList) {
    int count = 5, dummy = 0;
    int* levels = &dummy;
    tag_t dummy_tag = 0;
    tag_t* parents = &dummy_tag;
    ASSERT_EQ(0, STR_where_used_all(revision("1"), 1, &count, &levels, &parents));
    EXPECT_EQ(0, count);
    EXPECT_EQ(nullptr, levels);
    EXPECT_EQ(nullptr, parents);
}

TEST_F(Occurrences, WhereUsedAsksForARevision) {
    tag_t first = NULLTAG;
    const tag_t item = bench_.createItem("1", "Part", "", "A", &first);
    int count = 5, dummy = 0;
    int* levels = &dummy;
    tag_t dummy_tag = 0;
    tag_t* parents = &dummy_tag;
    EXPECT_EQ(kWrongClass, STR_where_used_all(item, 1, &count, &levels, &parents));
    EXPECT_EQ(kUnknownObject, STR_where_used_all(99999, 1, &count, &levels, &parents));
    EXPECT_EQ(5, count);
}

TEST_F(Occurrences, WhereUsedSeesWhatAnotherSessionHasStored) {
    const tag_t top = revision("1"), part = revision("2");
    secondSession();
    bench_.addOccurrence(top, part, "", "");
    bench_.selectSession(session_);
    EXPECT_EQ((std::vector<Used>{{top, 1}}), whereUsed(part, 1));
}

TEST_F(Occurrences, AStructureIsCopiedWithQuantitiesNumbersAndNotes) {
    tag_t first = NULLTAG;
    const tag_t item = bench_.createItem("1", "Part", "", "A", &first);
    const tag_t a = revision("2"), b = revision("3");
    bench_.addOccurrence(first, b, "2", "20");
    const tag_t noted = bench_.addOccurrence(first, a, "", "10");
    bench_.set(noted, "note_names", {std::string("position")});
    bench_.set(noted, "note_values", {std::string("left")});
    const tag_t next = bench_.createRevision(item, "B");
    EXPECT_EQ(bench_.copyStructure(first, next), 2);
    secondSession();
    const Tags copied = list(bench_.bomViewRevision(next));
    ASSERT_EQ(copied.size(), 2u);
    EXPECT_EQ(bench_.get(copied[0], "child"), Values{Reference{b}});
    EXPECT_EQ(bench_.get(copied[0], "quantity"), Values{std::string("2")});
    EXPECT_EQ(bench_.get(copied[1], "seq_no"), Values{std::string("10")});
    EXPECT_EQ(bench_.get(copied[1], "note_values"), Values{std::string("left")});
    EXPECT_EQ(list(bench_.bomViewRevision(first)).size(), 2u) << "the old lines stay";
}

TEST_F(Occurrences, AStructureIsCopiedNeitherOntoLinesNorIntoACircle) {
    const tag_t top = revision("1"), a = revision("2"), b = revision("3");
    EXPECT_EQ(bench_.copyStructure(top, a), 0) << "there is nothing to copy";
    bench_.addOccurrence(top, a, "", "");
    bench_.addOccurrence(b, a, "", "");
    EXPECT_THROW(bench_.copyStructure(top, b), Failure) << "it has lines";
    EXPECT_THROW(bench_.copyStructure(top, a), Failure) << "it would use itself";
}

}  // namespace
}  // namespace mervane::test
