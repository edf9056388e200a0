#include "platform/mv_dbo.h"
#include "platform/mv_rel.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Relations : public InterfaceTest {
protected:
    tag_t type(const char* name) {
        tag_t found = NULLTAG;
        EXPECT_EQ(REL_find_relation_type(name, &found), 0);
        return found;
    }
    std::vector<tag_t> only(int (*list)(tag_t, tag_t, int*, tag_t**), tag_t object,
                            tag_t relation) {
        int count = 0;
        tag_t* objects = nullptr;
        EXPECT_EQ(list(object, relation, &count, &objects), 0) << lastError();
        return taken(count, objects);
    }
    const tag_t a = wb.createFolder("a"), b = wb.createFolder("b"), c = wb.createFolder("c");
};

TEST_F(Relations, HaveTypesByName) {
    EXPECT_NE(type("VANE_specification"), NULLTAG);
    EXPECT_NE(type("VANE_specification"), type("VANE_reference"));
    EXPECT_EQ(type("no such type"), NULLTAG);
    EXPECT_EQ(type(""), NULLTAG);
}

TEST_F(Relations, AreListedByTypeAndAll) {
    wb.relate(a, b, "VANE_specification");
    wb.relate(a, c, "VANE_reference");
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, type("VANE_specification")),
                ElementsAre(b));
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), ElementsAre(b, c));
    EXPECT_THAT(only(REL_list_primary_objects_only, c, NULLTAG), ElementsAre(a));
    EXPECT_THAT(only(REL_list_primary_objects_only, c, type("VANE_specification")), IsEmpty());
}

TEST_F(Relations, HaveEntriesWhoseThirdFieldIsTheObjectFound) {
    const tag_t relation = wb.relate(a, b, "VANE_specification");
    int count = 0;
    rel_entry_s* entries = nullptr;
    EXPECT_EQ(REL_list_secondary_objects(a, NULLTAG, &count, &entries), 0);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(entries[0].relation, relation);
    EXPECT_EQ(entries[0].primary, a);
    EXPECT_EQ(entries[0].secondary, b);
    EXPECT_EQ(entries[0].relation_type, type("VANE_specification"));
    HEAP_free(entries);
    EXPECT_EQ(REL_list_primary_objects(b, NULLTAG, &count, &entries), 0);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(entries[0].relation, relation);
    EXPECT_EQ(entries[0].primary, b);
    EXPECT_EQ(entries[0].secondary, a);
    HEAP_free(entries);
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Relations, AreCountZeroAndNullWhenThereIsNone) {
    int count = 4;
    rel_entry_s entry{};
    rel_entry_s* entries = &entry;
    EXPECT_EQ(REL_list_secondary_objects(a, NULLTAG, &count, &entries), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(entries, nullptr);
}

TEST_F(Relations, AreMadeWithoutLocksAndStoredBySaving) {
    tag_t relation = NULLTAG;
    ASSERT_EQ(REL_create_relation(a, b, type("VANE_specification"), NULLTAG, &relation), 0);
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), ElementsAre(b));
    const auto reader = wb.openSession(store, {});
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), IsEmpty());
    wb.selectSession(session);
    EXPECT_EQ(REL_save_relation(relation), 0) << lastError();
    EXPECT_EQ(OBJ_refresh(relation, false), 0);
    wb.selectSession(reader);
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), ElementsAre(b));
    wb.selectSession(session);
    EXPECT_EQ(REL_delete_relation(relation), 0) << lastError();
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), IsEmpty());
    EXPECT_EQ(OBJ_load(b), 0);
    EXPECT_EQ(wb.heldLocks(), 0u);
}

TEST_F(Relations, AreNotMadeBetweenUnknownThings) {
    tag_t relation = 5;
    const tag_t good = type("VANE_specification");
    EXPECT_EQ(REL_create_relation(kNoSuchTag, b, good, NULLTAG, &relation), kUnknownObject);
    EXPECT_EQ(REL_create_relation(a, NULLTAG, good, NULLTAG, &relation), kUnknownObject);
    EXPECT_EQ(REL_create_relation(a, b, NULLTAG, NULLTAG, &relation), kUnknownType);
    EXPECT_EQ(REL_create_relation(a, b, c, NULLTAG, &relation), kUnknownType);
    EXPECT_EQ(REL_create_relation(a, b, good, kNoSuchTag, &relation), kUnknownObject);
    EXPECT_EQ(relation, 5u);
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), IsEmpty());
}

TEST_F(Relations, OfUnknownObjectsOrTypesAreNotListed) {
    int count = 4;
    rel_entry_s* entries = nullptr;
    tag_t* tags = nullptr;
    EXPECT_EQ(REL_list_secondary_objects(kNoSuchTag, NULLTAG, &count, &entries), kUnknownObject);
    EXPECT_EQ(REL_list_primary_objects(NULLTAG, NULLTAG, &count, &entries), kUnknownObject);
    EXPECT_EQ(REL_list_secondary_objects_only(a, b, &count, &tags), kUnknownType);
    EXPECT_EQ(REL_list_primary_objects_only(a, 1, &count, &tags), kUnknownType);
    EXPECT_EQ(count, 4);
}

TEST_F(Relations, AreTakenForNoOtherObject) {
    EXPECT_EQ(REL_save_relation(a), kWrongClass);
    EXPECT_EQ(REL_delete_relation(a), kWrongClass);
    EXPECT_EQ(OBJ_load(a), 0);
}

TEST_F(Relations, ToWhatIsGoneAreLeftOut) {
    wb.relate(a, b, "VANE_specification");
    wb.relate(a, c, "VANE_specification");
    ASSERT_EQ(DBO_delete_instances(1, &b), 0);
    EXPECT_THAT(only(REL_list_secondary_objects_only, a, NULLTAG), ElementsAre(c));
}

}  // namespace mervane::test
