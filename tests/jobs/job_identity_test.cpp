// Who has the job made: user, group, mail address and city.

#include "tests/jobs/jobs.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

class JobIdentity : public jobs::JobTest {
protected:
    JobIdentity() { part("part1"); }
    jobs::WriterCall withUser(const std::string& flag) const {
        auto call = forRevision();
        call.user_flag = flag;
        return call;
    }
};

}  // namespace

TEST_F(JobIdentity, TheUsersNameIsThereIfItIsWanted) {
    ASSERT_EQ(0, write(withUser("currentUserName")));
    EXPECT_EQ("Ursula Meyer", value("user"));
    EXPECT_EQ("u4711.mail", value("mailto"));
    EXPECT_EQ("Brightwater", value("city"));
}

TEST_F(JobIdentity, AnyOtherWordLeavesUserMailAndCityEmpty) {
    ASSERT_EQ(0, write(withUser("currentuserid")));
    EXPECT_EQ("", value("user"));
    EXPECT_EQ("", value("mailto"));
    EXPECT_EQ("", value("city"));
    EXPECT_EQ("design.engineering", value("usersgroup"));
}

TEST_F(JobIdentity, MailAndCityAreAskedForOnlyIfWanted) {
    auto call = forRevision();
    call.mail_flag = "TRUE";
    call.city_flag = "";
    std::vector<std::string> calls = world.calls([&] { ASSERT_EQ(0, write(call)); });
    EXPECT_EQ("", value("mailto"));
    EXPECT_EQ("", value("city"));
    EXPECT_THAT(calls, Not(Contains(HasSubstr("ORG_ask_person_attr"))));
}

TEST_F(JobIdentity, TextsOfThePersonAreCutTo32WithoutAMessage) {
    world.put(person, "PA2", std::string(31, 'c') + "DEFGHIJKL");
    world.put(person, "PA9", std::string(32, 'm') + "n");
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_EQ(std::string(31, 'c') + "D", value("city"));
    EXPECT_EQ(std::string(32, 'm'), value("mailto"));
    EXPECT_THAT(world.lines("EW"), testing::IsEmpty());
}

TEST_F(JobIdentity, ALongUserNameIsCutOnAWholeCharacterWithAWarning) {
    administer([this] { world.put(user, "user_name", std::string(31, 'u') + "\xC3\xA4xyz"); });
    ASSERT_EQ(0, write(withUser("currentUserName")));
    EXPECT_EQ(std::string(31, 'u'), value("user"));
    EXPECT_THAT(world.lines("W"), Contains("Text cut to 32 characters: szUser"));
}

TEST_F(JobIdentity, AFailedLookUpOfTheCityLeavesTheMailEmptyToo) {
    world.fail("ORG_ask_person_attr", 1);
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_EQ("", value("city"));
    EXPECT_EQ("", value("mailto"));
    EXPECT_EQ("u4711", value("user"));
}

TEST_F(JobIdentity, AFailedLookUpOfTheMailKeepsTheCity) {
    world.fail("ORG_ask_person_attr", 2);
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_EQ("Brightwater", value("city"));
    EXPECT_EQ("", value("mailto"));
}

TEST_F(JobIdentity, NoFailureOfALookUpEndsTheJob) {
    for (const char* operation :
         {"DBO_get_user", "ORG_ask_user_identifier", "ORG_ask_user_person"}) {
        auto call = forRevision();
        call.destination = (directory_ / operation).string();
        jobs::fs::create_directory(call.destination);
        world.fail(operation, 1);
        EXPECT_EQ(0, write(call)) << operation;
        EXPECT_EQ("", value("city")) << operation;
        EXPECT_EQ(std::string(operation) == "ORG_ask_user_person" ? "u4711" : "", value("user"));
        EXPECT_TRUE(hasOptions());
    }
}

TEST_F(JobIdentity, AUserWithoutAPersonHasNeitherMailNorCity) {
    administer([this] { world.bench.set(user, "person", {}); });
    ASSERT_EQ(0, write(forRevision()));
    EXPECT_EQ("u4711", value("user"));
    EXPECT_EQ("", value("city"));
}

TEST_F(JobIdentity, TheLookUpsOfTheIdComeInTheirOrder) {
    const auto calls = world.calls([&] { ASSERT_EQ(0, write(forRevision())); });
    std::vector<std::string> asked;
    for (const std::string& call : calls)
        if (call.starts_with("DBO_get_") || call.starts_with("ORG_"))
            asked.push_back(call.substr(0, call.find('(')));
    EXPECT_EQ((std::vector<std::string>{
                  "DBO_get_user_id", "DBO_get_user", "ORG_ask_user_identifier",
                  "ORG_ask_user_person", "ORG_ask_person_attr", "ORG_ask_person_attr",
                  "ORG_ask_current_groupmember", "ORG_ask_groupmember_group", "ORG_ask_group_name",
                  "ORG_ask_group_parent", "ORG_ask_group_name", "ORG_ask_group_parent"}),
              asked);
}

TEST_F(JobIdentity, AFailedGroupEndsTheJobWithAnEmptyDirectory) {
    for (const auto& [operation, n] :
         {std::pair{"ORG_ask_group_name", 1}, std::pair{"ORG_ask_group_parent", 1},
          std::pair{"ORG_ask_group_name", 2}}) {
        auto call = forRevision();
        call.destination = (directory_ / (operation + std::to_string(n))).string();
        jobs::fs::create_directory(call.destination);
        const int before = depth();
        world.fail(operation, n);
        EXPECT_EQ(jobs::kPlanned, write(call));
        world.failNothing();
        EXPECT_TRUE(jobs::fs::is_empty(jobDirectory()));
        EXPECT_EQ(before, depth());
    }
}

TEST_F(JobIdentity, AFailedMembershipShowsInTheGroupsName) {
    world.fail("ORG_ask_current_groupmember", 1);
    EXPECT_NE(0, write(forRevision()));
    EXPECT_FALSE(hasOptions());
}

// ---- the group's full name ----

TEST_F(JobIdentity, AGroupWithoutAParentIsItsOwnName) {
    administer([this] { world.bench.set(group, "parent", {}); });
    char name[1024] = "";
    EXPECT_EQ(0, KELD_getGroupFullName(group, name));
    EXPECT_STREQ("design", name);
}

TEST_F(JobIdentity, AFailureOnTheWayUpGivesWhatWasFoundWithTheStatus) {
    char name[1024] = "before";
    world.fail("ORG_ask_group_name", 2);
    EXPECT_EQ(jobs::kPlanned, KELD_getGroupFullName(group, name));
    EXPECT_STREQ("design.", name);
}

namespace {

// A line of groups, each below the one before, with names of 31 characters; gives the lowest.
tag_t lineOfGroups(world::World& world, int count, std::size_t last_length) {
    tag_t above = NULLTAG;
    for (int i = 0; i < count; ++i) {
        const std::size_t length = i == count - 1 ? last_length : 31;
        std::string name = "g" + std::to_string(100 + i);
        name.resize(length, 'x');
        const tag_t group = world.bench.createGroup(name, "");
        if (above != NULLTAG)
            world.bench.set(group, "parent", {mervane::Reference{above}});
        above = group;
    }
    return above;
}

}  // namespace

TEST_F(JobIdentity, TheNameThatCrossesTheLimitIsntCountedAndItsTextIsCut) {
    // 32 names of 31 characters with their dots are 1023, the dot after them is the 1024th.
    tag_t fits = NULLTAG;
    administer([&] { fits = lineOfGroups(world, 32, 31); });
    char name[1024] = "before";
    EXPECT_EQ(0, KELD_getGroupFullName(fits, name));
    EXPECT_EQ(1023u, std::strlen(name));
}

TEST_F(JobIdentity, ATextOf1024CharactersLeavesTheFieldAloneAndTheLogOneStepDeeper) {
    tag_t deep = NULLTAG;
    administer([&] { deep = lineOfGroups(world, 33, 31); });
    char name[1024] = "before";
    const int before = depth();
    EXPECT_EQ(0, KELD_getGroupFullName(deep, name));
    EXPECT_STREQ("before", name);
    EXPECT_EQ(before + 1, depth());
}

TEST_F(JobIdentity, TheLastNameMayCrossTheLimitAndIsCutThere) {
    // 1023 characters with the last dot, so the name after it is appended and cut off again.
    tag_t deep = NULLTAG;
    administer([&] { deep = lineOfGroups(world, 33, 30); });
    char name[1024] = "before";
    EXPECT_EQ(0, KELD_getGroupFullName(deep, name));
    EXPECT_EQ(1023u, std::strlen(name));
    EXPECT_EQ('.', name[1022]);
    EXPECT_THAT(world.lines("W"), Contains("Text cut to 1023 characters: szusers_group"));
}

TEST_F(JobIdentity, GroupsInARingEndAtTheLimit) {
    administer([this] { world.bench.set(group, "parent", {mervane::Reference{group}}); });
    char name[1024] = "before";
    EXPECT_EQ(0, KELD_getGroupFullName(group, name));
    EXPECT_STREQ("before", name);
}
