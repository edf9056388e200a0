#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

using People = ProgramWithStore;

TEST_F(People, APreferenceIsSetShownAndRemoved) {
    done({"prefs", "set", "Colours", "red", "", "blue"});
    EXPECT_EQ(done({"prefs", "get", "Colours"}).out, "red\n\nblue\n");
    EXPECT_EQ(done({"prefs", "list", "--json"}).json()["preferences"]["Colours"],
              nlohmann::json({"red", "", "blue"}));
    done({"prefs", "remove", "Colours"});
    EXPECT_EQ(keld({"prefs", "get", "Colours"}).exit_code, 1);
}

TEST_F(People, AValueMayBeginWithADash) {
    done({"prefs", "set", "Level", "--", "-1"});
    EXPECT_EQ(done({"prefs", "get", "Level"}).out, "-1\n");
}

TEST_F(People, PrefsAloneListsThem) {
    done({"prefs", "set", "Colours", "red"});
    EXPECT_THAT(done({"prefs"}).out, HasSubstr("Colours"));
}

TEST_F(People, AnUnknownPreferenceIsAnsweredWithTheNearestOne) {
    done({"prefs", "set", "Colours", "red"});
    for (const char* verb : {"get", "remove"}) {
        const Result result = keld({"prefs", verb, "Colors"});
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_THAT(result.err, HasSubstr("Did you mean Colours?"));
    }
}

TEST_F(People, AUserIsAddedAndWorks) {
    done({"users", "add", "kelda", "--name", "Kelda Moor"});
    const auto users = done({"users", "--json"}).json()["users"];
    bool found = false;
    for (const auto& user : users)
        found |= user["id"] == "kelda" && user["name"] == "Kelda Moor";
    EXPECT_TRUE(found) << users;
    done({"find", "*", "--user", "kelda"});
}

TEST_F(People, AUserOfAnUnknownGroupIsRefused) {
    const Result result = keld({"users", "add", "kelda", "--in-group", "nowhere"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("--new-group"));
    done({"users", "add", "kelda", "--in-group", "nowhere", "--new-group"});
}

TEST_F(People, AUserIdIsGivenOnce) {
    done({"users", "add", "kelda"});
    EXPECT_EQ(keld({"users", "add", "kelda"}).exit_code, 1);
}

TEST_F(People, AnUnknownUserCannotWork) {
    const Result result = keld({"find", "*", "--user", "infodab"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("Did you mean infodba?"));
}

TEST_F(People, AnUnknownGroupCannotWork) {
    const Result result = keld({"find", "*", "--group", "dbaa"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("Did you mean dba?"));
}

TEST_F(People, AnObjectIsCheckedOutAndIn) {
    done({"checkout", "000100/A", "--comment", "new bearing"});
    EXPECT_EQ(done({"show", "000100/A", "--json"}).json()["properties"]["checked_out"], "Y");
    done({"checkin", "000100/A"});
    EXPECT_FALSE(done({"show", "000100/A", "--json"}).json()["properties"].contains("checked_out"));
}

TEST_F(People, ACheckInOfWhatNobodyHasIsRefused) {
    const Result result = keld({"checkin", "000100/A"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("000100/A is not checked out"));
}

TEST_F(People, WhatAnotherUserHasCheckedOutIsRefused) {
    done({"users", "add", "kelda"});
    done({"checkout", "000100/A"});
    const Result out = keld({"checkout", "000100/A", "--user", "kelda"});
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_NE(out.err, "");
    EXPECT_EQ(keld({"checkin", "000100/A", "--user", "kelda"}).exit_code, 1);
}

TEST_F(People, CheckOutOfAnUnknownObjectIsRefused) {
    EXPECT_EQ(keld({"checkout", "999999"}).exit_code, 1);
    EXPECT_EQ(keld({"checkin", "999999"}).exit_code, 1);
}
