#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class SavedIsSaved : public OnBothStores {};
ON_BOTH_STORES(SavedIsSaved);

TEST_P(SavedIsSaved, AnItemIsSeenByAnotherSessionWithItsRevisionAndMasterForms) {
    tag_t revision = NULLTAG;
    const tag_t item = bench().createItem("000123", "Bracket", "", "A", &revision);
    anotherSession();
    EXPECT_EQ(bench().resolve("000123"), item);
    EXPECT_EQ(bench().resolve("000123/A"), revision);
    EXPECT_EQ(stored(item, "object_name"), "Bracket");
    int count = 0;
    tag_t* forms = nullptr;
    tag_t type = NULLTAG;
    ASSERT_EQ(REL_find_relation_type("VANE_master_form", &type), 0);
    ASSERT_EQ(REL_list_secondary_objects_only(item, type, &count, &forms), 0);
    EXPECT_EQ(count, 1);
    HEAP_free(forms);
}

TEST_P(SavedIsSaved, AnotherSessionSeesOnlyWhatWasSaved) {
    const tag_t item = bench().createItem("1", "old", "", "A", nullptr);
    const auto second = anotherSession();
    use(first_);
    ASSERT_EQ(OBJ_refresh(item, true), 0);
    ASSERT_EQ(setName(item, "new"), 0);
    EXPECT_EQ(stored(item, "object_name"), "new");
    use(second);
    EXPECT_EQ(stored(item, "object_name"), "old");
    use(first_);
    ASSERT_EQ(OBJ_save(item), 0);
    use(second);
    EXPECT_EQ(stored(item, "object_name"), "old") << "a cached object stays as it was read";
    ASSERT_EQ(OBJ_refresh(item, false), 0);
    EXPECT_EQ(stored(item, "object_name"), "new");
}

TEST_P(SavedIsSaved, RefreshDropsUnsavedValues) {
    const tag_t item = bench().createItem("1", "old", "", "A", nullptr);
    ASSERT_EQ(OBJ_refresh(item, true), 0);
    ASSERT_EQ(setName(item, "new"), 0);
    ASSERT_EQ(OBJ_refresh(item, true), 0);
    EXPECT_EQ(stored(item, "object_name"), "old");
}

TEST_P(SavedIsSaved, TextsThatAreNoUtf8ComeBackByteForByte) {
    const std::string odd = "a\xFF\xC3(\x80z";
    const tag_t item = bench().createItem(odd, odd, "", "A", nullptr);
    anotherSession();
    EXPECT_EQ(stored(item, "object_name"), odd);
    EXPECT_EQ(bench().resolve(odd), item);
}

TEST_P(SavedIsSaved, EveryKindOfValueComesBack) {
    bench().defineType("Everything", "Form",
                       {{"s", Kind::String, false, 10},
                        {"i", Kind::Int, false, 0},
                        {"d", Kind::Double, false, 0},
                        {"l", Kind::Logical, false, 0},
                        {"t", Kind::Date, false, 0},
                        {"r", Kind::Reference, false, 0},
                        {"ss", Kind::String, true, 0},
                        {"rr", Kind::Reference, true, 0}});
    const tag_t item = bench().createItem("1", "", "", "", nullptr);
    const tag_t form = bench().createForm("Everything", "all");
    const Date date{{2026, 1, 28, 23, 59, 58}};
    const std::pair<const char*, Values> all[] = {
        {"s", {std::string("0123456789")}},
        {"i", {std::int64_t{-7}}},
        {"d", {0.1}},
        {"l", {false}},
        {"t", {date}},
        {"r", {Reference{item}}},
        {"ss", {std::string(), std::string("b"), std::string("b")}},
        {"rr", {Reference{item}, Reference{form}}}};
    for (const auto& [name, values] : all)
        bench().set(form, name, values);
    anotherSession();
    for (const auto& [name, values] : all)
        EXPECT_EQ(bench().get(form, name), values) << name;
    for (const auto& [name, values] : all) {
        bench().set(form, name, {});
        EXPECT_TRUE(bench().get(form, name).empty());
    }
    anotherSession();
    for (const auto& [name, values] : all)
        EXPECT_TRUE(bench().get(form, name).empty()) << name;
}

TEST_P(SavedIsSaved, AnArrayThatShrinksGrowsAndChangesInTheMiddleComesBack) {
    bench().defineType("List", "Form", {{"ss", Kind::String, true, 0}});
    const tag_t form = bench().createForm("List", "list");
    std::vector<Values> steps;
    for (const std::string letters : {"abcde", "abXde", "ab", "abc", "", "zzzz", "z"}) {
        Values values;
        for (const char c : letters)
            values.push_back(std::string(1, c));
        steps.push_back(values);
    }
    for (const Values& values : steps) {
        bench().set(form, "ss", values);
        const auto other = anotherSession();
        EXPECT_EQ(bench().get(form, "ss"), values);
        bench().closeSession(other);
        use(first_);
    }
}

TEST_P(SavedIsSaved, AStoreHasAUserAGroupAndASite) {
    EXPECT_EQ(bench().find({"infodba", "User", "", 0}).size(), 1u);
    EXPECT_EQ(bench().find({"dba", "Group", "", 0}).size(), 1u);
    EXPECT_EQ(bench().find({"*", "Site", "", 0}).size(), 1u);
}

class Refusals : public OnBothStores {};
ON_BOTH_STORES(Refusals);

TEST_P(Refusals, WritingAStoredObjectWithoutItsLock) {
    const tag_t item = bench().createItem("1", "old", "", "A", nullptr);
    EXPECT_EQ(setName(item, "new"), kNotLocked);
    EXPECT_EQ(stored(item, "object_name"), "old");
}

TEST_P(Refusals, ValuesThatDontFit) {
    const tag_t item = bench().createItem("1", "old", "", "A", nullptr);
    ASSERT_EQ(OBJ_lock(item), 0);
    EXPECT_EQ(setName(item, std::string(128, 'x')), 0);
    EXPECT_EQ(setName(item, std::string(129, 'x')), kTooLong);
    EXPECT_EQ(OBJ_set_value_int(item, "object_name", 3), kWrongKind);
    EXPECT_EQ(OBJ_set_value_string(item, "no_such", "x"), kUnknownAttribute);
    EXPECT_EQ(stored(item, "object_name"), std::string(128, 'x'));
}

TEST_P(Refusals, UnknownTagsAndHandles) {
    const tag_t item = bench().createItem("1", "", "", "A", nullptr);
    tag_t type = NULLTAG;
    ASSERT_EQ(REL_find_relation_type("VANE_specification", &type), 0);
    for (const tag_t tag : {NULLTAG, item + 5000, type, tag_t{0xFFFFFFFF}, tag_t{0xE0000001}}) {
        EXPECT_NE(OBJ_load(tag), 0) << tag;
        EXPECT_NE(OBJ_refresh(tag, true), 0) << tag;
        EXPECT_NE(OBJ_save(tag), 0) << tag;
        EXPECT_NE(OBJ_delete(tag), 0) << tag;
    }
    EXPECT_EQ(statusOf([&] { bench().set(item, "owning_user", {Reference{item + 5000}}); }),
              kUnknownObject);
}

TEST_P(Refusals, LockingWhatAnotherSessionChangedMeanwhile) {
    const tag_t item = bench().createItem("1", "old", "", "A", nullptr);
    const auto second = anotherSession();
    use(first_);
    ASSERT_EQ(OBJ_load(item), 0);
    use(second);
    ASSERT_EQ(OBJ_refresh(item, true), 0);
    ASSERT_EQ(setName(item, "theirs"), 0);
    ASSERT_EQ(OBJ_save(item), 0);
    ASSERT_EQ(OBJ_refresh(item, false), 0);
    use(first_);
    EXPECT_EQ(OBJ_lock(item), kChangedMeanwhile);
    EXPECT_EQ(setName(item, "mine"), kNotLocked);
    use(second);
    ASSERT_EQ(OBJ_refresh(item, false), 0);
    EXPECT_EQ(stored(item, "object_name"), "theirs");
}

TEST_P(Refusals, ASecondItemOfAnIdThatIsTaken) {
    bench().createItem("1", "", "", "A", nullptr);
    EXPECT_EQ(statusOf([] { bench().createItem("1", "", "", "A", nullptr); }), kDuplicateId);
    EXPECT_EQ(bench().find({"1", "Item", "", 0}).size(), 1u);
}
