#include "platform/mv_dbo.h"
#include "platform/mv_org.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Organisation : public InterfaceTest {};

TEST_F(Organisation, TheSessionHasAUserAndAGroup) {
    char *name = nullptr, *id = nullptr, *group_name = nullptr;
    tag_t user = NULLTAG, group = NULLTAG;
    EXPECT_EQ(DBO_get_user(&name, &user), 0);
    EXPECT_EQ(DBO_get_user_id(&id), 0);
    EXPECT_EQ(DBO_ask_group(&group_name, &group), 0);
    EXPECT_EQ(taken(id), "infodba");
    EXPECT_NE(taken(name), "");
    char buffer[129];
    EXPECT_EQ(ORG_ask_group_name(group, buffer), 0);
    EXPECT_EQ(taken(group_name), buffer);
    EXPECT_EQ(ORG_ask_user_identifier(user, buffer), 0);
    EXPECT_STREQ(buffer, "infodba");
    EXPECT_EQ(DBO_ask_user_id(user, &id), 0);
    EXPECT_EQ(taken(id), "infodba");
    EXPECT_EQ(blocks(), 0u);
}

TEST_F(Organisation, TheMembershipLeadsToTheGroupAndItsParents) {
    const tag_t top = wb.createGroup("engineering", "");
    const tag_t group = wb.createGroup("design", "engineering");
    wb.createUser("mueller", "Anna Mueller", "design");
    wb.openSession(store, {"mueller", ""});
    tag_t member = NULLTAG, found = NULLTAG;
    EXPECT_EQ(ORG_ask_current_groupmember(&member), 0) << lastError();
    EXPECT_EQ(ORG_ask_groupmember_group(member, &found), 0);
    EXPECT_EQ(found, group);
    EXPECT_EQ(ORG_ask_group_parent(group, &found), 0);
    EXPECT_EQ(found, top);
    EXPECT_EQ(ORG_ask_group_parent(top, &found), 0);
    EXPECT_EQ(found, NULLTAG);
}

TEST_F(Organisation, PersonsHaveAttributesByKey) {
    wb.createGroup("design", "");
    const tag_t user = wb.createUser("mueller", "Anna Mueller", "design");
    tag_t person = NULLTAG;
    EXPECT_EQ(ORG_ask_user_person(user, &person), 0);
    ASSERT_NE(person, NULLTAG);
    wb.set(person, "PA2", {std::string("Bonn")});
    char* value = nullptr;
    EXPECT_EQ(ORG_ask_person_attr(person, "PA2", &value), 0);
    EXPECT_EQ(taken(value), "Bonn");
    EXPECT_EQ(ORG_ask_person_attr(person, "PA9", &value), 0);
    EXPECT_EQ(taken(value), "");
    value = nullptr;
    for (const char* key : {"PA0", "PA11", "PA", "", "PA2x", "person_name"})
        EXPECT_EQ(ORG_ask_person_attr(person, key, &value), kUnknownAttribute) << key;
    EXPECT_EQ(value, nullptr);
}

TEST_F(Organisation, SitesHaveNameAndNumber) {
    const tag_t site = wb.create("Site");
    wb.set(site, "site_name", {std::string("here")});
    wb.set(site, "site_id", {std::int64_t{12345}});
    tag_t found = NULLTAG;
    EXPECT_EQ(ORG_find_site("here", &found), 0);
    EXPECT_EQ(found, site);
    EXPECT_EQ(ORG_find_site("nowhere", &found), 0);
    EXPECT_EQ(found, NULLTAG);
    char name[129];
    int number = 0;
    EXPECT_EQ(ORG_ask_site_info(site, name, &number), 0);
    EXPECT_STREQ(name, "here");
    EXPECT_EQ(number, 12345);
}

TEST_F(Organisation, ObjectsOfOtherClassesAreRefused) {
    const tag_t item = part("1").item;
    char kept[129] = "kept";
    tag_t tag = 5;
    int number = 6;
    char* value = nullptr;
    EXPECT_EQ(ORG_ask_site_info(item, kept, &number), kWrongClass);
    EXPECT_EQ(ORG_ask_user_person(item, &tag), kWrongClass);
    EXPECT_EQ(ORG_ask_user_identifier(item, kept), kWrongClass);
    EXPECT_EQ(ORG_ask_person_attr(item, "PA2", &value), kWrongClass);
    EXPECT_EQ(ORG_ask_groupmember_group(item, &tag), kWrongClass);
    EXPECT_EQ(ORG_ask_group_name(item, kept), kWrongClass);
    EXPECT_EQ(ORG_ask_group_parent(item, &tag), kWrongClass);
    EXPECT_EQ(DBO_ask_user_id(item, &value), kWrongClass);
    EXPECT_EQ(DBO_ask_user_id(NULLTAG, &value), kUnknownObject);
    EXPECT_STREQ(kept, "kept");
    EXPECT_EQ(tag, 5u);
    EXPECT_EQ(number, 6);
}

TEST_F(Organisation, ACopyOfAnotherSitesDatasetIsCached) {
    const tag_t dataset = wb.createDataset("Text", "t");
    logical cached = true;
    EXPECT_EQ(DBO_is_cached(dataset, &cached), 0);
    EXPECT_FALSE(cached);
    wb.set(dataset, "owning_site", {Reference{wb.create("Site")}});
    EXPECT_EQ(DBO_is_cached(dataset, &cached), 0);
    EXPECT_TRUE(cached);
    EXPECT_EQ(DBO_is_cached(part("1").item, &cached), kWrongClass);
}

}  // namespace mervane::test
