#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;

class People : public ProgramWithStore {
protected:
    void addKelda() { done({"users", "add", "kelda", "--in-group", "design", "--new-group"}); }
};

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
    done({"users", "add", "kelda", "--name", "Kelda Moor", "--in-group", "design", "--new-group"});
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
    done({"users", "add", "kelda", "--in-group", "dba"});
    EXPECT_EQ(keld({"users", "add", "kelda", "--in-group", "dba"}).exit_code, 1);
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
    addKelda();
    done({"checkout", "000100/A"});
    const Result out = keld({"checkout", "000100/A", "--user", "kelda"});
    EXPECT_EQ(out.exit_code, 1);
    EXPECT_NE(out.err, "");
    EXPECT_EQ(keld({"checkin", "000100/A", "--user", "kelda"}).exit_code, 1);
}

TEST_F(People, AnAdministratorEndsTheCheckOutOfAnother) {
    addKelda();
    done({"checkout", "000100/A", "--user", "kelda"});
    done({"checkin", "000100/A"});
    done({"checkout", "000100/A"});
}

TEST_F(People, NobodyIsMadeAnAdministratorByAnOptionThatWasLeftOut) {
    const Result result = keld({"users", "add", "otto"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("--in-group"));
    addKelda();
    done({"users", "add", "otto"});
    const auto users = done({"users", "--json"}).json();
    for (const auto& user : users["users"])
        EXPECT_TRUE(user["id"] != "otto" || user["group"] == "design") << user;
}

TEST_F(People, OnlyAdministratorsAdministrate) {
    addKelda();
    writeFile(path("rights.json"), R"({ "world": 1, "rights": [{ "subject_kind": "user",
        "subject": "kelda", "scope_kind": "all", "privilege": "WRITE", "allowed": true }] })");
    const std::vector<std::vector<std::string>> administration = {
        {"prefs", "set", "Colour", "green"},
        {"users", "add", "otto", "--in-group", "dba"},
        {"users", "add", "otto", "--in-group", "shop", "--new-group"},
        {"users", "join", "kelda", "dba"},
        {"load", path("rights.json").string()},
        {"registry", "use", path("ids.db").string()},
        {"registry", "add", "000777"},
        {"registry", "off"},
        {"log", "level", "4"}};
    for (std::vector<std::string> each : administration) {
        each.insert(each.end(), {"--user", "kelda"});
        const Result result = keld(each);
        EXPECT_EQ(result.exit_code, 1) << each[0] << " " << each[1];
        EXPECT_THAT(result.err, HasSubstr("that is for the group dba"))
            << each[0] << " " << each[1];
    }
    EXPECT_FALSE(fs::exists(path("ids.db")));
    const auto users = done({"users", "--json"}).json();
    for (const auto& user : users["users"])
        EXPECT_NE(user["id"], "otto");
}

TEST_F(People, AGroupIsWorkedInByItsMembers) {
    addKelda();
    const Result result = keld({"find", "*", "--user", "kelda", "--group", "dba"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("no member of the group dba"));
    done({"users", "join", "kelda", "dba"});
    done({"prefs", "set", "Colour", "green", "--user", "kelda", "--group", "dba"});
}

TEST_F(People, WhatAUserMayNotReadIsNotShownNorExported) {
    addKelda();
    writeFile(path("more.json"), R"({ "world": 1,
        "items": [{ "id": "000300", "revisions": [{ "id": "A", "datasets": [
          { "type": "Text", "name": "notes",
            "files": [{ "reference": "Text", "name": "notes.txt", "text": "secret words" }] }]}]}],
        "rights": [{ "subject_kind": "user", "subject": "kelda", "scope_kind": "class",
          "scope": "Dataset", "privilege": "READ", "allowed": false }] })");
    done({"load", path("more.json").string()});
    for (const char* verb : {"show", "cat"}) {
        const Result result = keld({verb, "000300/A:notes", "--user", "kelda"});
        EXPECT_EQ(result.exit_code, 1) << verb;
        EXPECT_THAT(result.err, HasSubstr("user kelda may not READ")) << verb;
        EXPECT_EQ(result.out, "") << verb;
        done({verb, "000300/A:notes"});
    }
    const Result related = done({"show", "000300/A", "--user", "kelda"});
    EXPECT_THAT(related.out, HasSubstr("(not readable)"));
    EXPECT_EQ(related.out.find("notes"), std::string::npos) << related.out;
    const Result exported = keld({"export", "--user", "kelda"});
    EXPECT_EQ(exported.exit_code, 1) << "it isn't the whole store";
    EXPECT_THAT(exported.err, HasSubstr("4 objects are left out, which user kelda may not READ"));
    EXPECT_EQ(exported.out.find("secret words"), std::string::npos);
    EXPECT_THAT(exported.out, HasSubstr("\"000300\""));
    EXPECT_THAT(done({"export"}).out, HasSubstr("secret words"));
}

TEST_F(People, ADryRunIsForThoseWhoMayNotSetPreferences) {
    addKelda();
    done({"prefs", "set", "KELD_DELBackupTopDirCentral", path("backup").string()});
    const Result result = keld({"delete-check", "000100", "--dry-run", "--user", "kelda"});
    EXPECT_EQ(result.err.find("for the group dba"), std::string::npos) << result.err;
}

TEST_F(People, CheckOutOfAnUnknownObjectIsRefused) {
    EXPECT_EQ(keld({"checkout", "999999"}).exit_code, 1);
    EXPECT_EQ(keld({"checkin", "999999"}).exit_code, 1);
}
