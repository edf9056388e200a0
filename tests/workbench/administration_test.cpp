#include <sstream>

#include "tests/workbench/support.h"

// Who may administrate, check out and end check-outs.

using namespace mervane;
using namespace mervane::test;

class Administration : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        bench().createGroup("design", "dba");
        miller_ = bench().createUser("miller", "Miller", "design");
        item_ = bench().createItem("1", "old", "", "A", nullptr);
        millers_ = anotherSession("miller");
    }
    int import(const std::string& part) {
        std::istringstream in(R"({"world": 1, )" + part + "}");
        return statusOf([&] { bench().importWorld(in, "world.json"); });
    }
    tag_t named(const char* type, const char* name) {
        for (const Found& found : bench().find({name, type, "", 0}))
            return found.tag;
        return NULLTAG;
    }
    tag_t item_ = NULLTAG, miller_ = NULLTAG;
    Workbench::SessionId millers_ = 0;
};
ON_BOTH_STORES(Administration);

TEST_P(Administration, IsForTheAdministratorsGroup) {
    const Right right{"all", "", "all", "", "WRITE", true};
    const std::function<void()> operations[] = {
        [] { bench().createGroup("shop", ""); },
        [] { bench().createUser("otto", "", "dba"); },
        [] { bench().addToGroup("miller", "dba"); },
        [] { bench().setPreference("Colour", {"green"}); },
        [] { bench().removePreference("Colour"); },
        [&] { bench().addRight(right); },
        [&] { bench().removeRight(right); },
        [] { bench().useRegistry(""); },
        [] { bench().setRegistryReachable(false); },
    };
    int number = 0;
    for (const auto& operation : operations) {
        ++number;
        use(millers_);
        std::string text;
        EXPECT_EQ(statusOf(operation, &text), kNotAllowed) << number;
        EXPECT_NE(text.find("user miller in group design may not"), std::string::npos) << text;
        use(first_);
        EXPECT_EQ(statusOf(operation), 0) << number;
    }
}

TEST_P(Administration, IsNotImportedByOthers) {
    const char* const parts[] = {
        R"("users": [{"id": "otto", "group": "dba"}])",
        R"("groups": [{"name": "shop"}])",
        R"("preferences": [{"name": "Colour", "values": ["green"]}])",
        R"("rights": [{"subject_kind": "user", "subject": "miller", "scope_kind": "all",
           "privilege": "WRITE", "allowed": true}])",
        R"("registered_ids": ["000777"])",
        R"("check_outs": [{"object": "1", "user": "user:infodba"}])",
        R"("objects": [{"label": "o1", "type": "User", "values": {"user_id": "otto"}}])",
        R"("objects": [{"label": "o1", "type": "Group", "values": {"group_name": "dba"}}])",
        R"("objects": [{"label": "o1", "type": "GroupMember", "values": {}}])",
    };
    for (const char* part : parts) {
        use(millers_);
        EXPECT_NE(import(part), 0) << part;
        EXPECT_NE(import(std::string(R"("folders": [{"name": "mine"}], )") + part), 0) << part;
        EXPECT_EQ(named("Folder", "mine"), NULLTAG) << "all or nothing";
        use(first_);
        EXPECT_EQ(import(part), 0) << part;
    }
    use(millers_);
    EXPECT_EQ(import(R"("folders": [{"name": "mine"}])"), 0);
}

TEST_P(Administration, IsNotReachedBelowTheProperties) {
    const tag_t group = named("Group", "design");
    ASSERT_EQ(OBJ_refresh(group, true), 0);
    tag_t name = NULLTAG;
    ASSERT_EQ(DBO_attr_id_of_attr("group_name", "Group", &name), 0);
    ASSERT_EQ(DBO_set_attr_string(1, &group, name, "dba"), 0);
    EXPECT_EQ(statusOf([] { bench().setPreference("Colour", {"green"}); }), kNotAllowed)
        << "what isn't stored gives no right";
    EXPECT_EQ(OBJ_save(group), kNotAllowed);
    EXPECT_EQ(DBO_delete_instances(1, &miller_), kNotAllowed);
    EXPECT_EQ(OBJ_delete(group), kNotAllowed);
    EXPECT_EQ(statusOf([] { bench().create("GroupMember"); }), kNotAllowed);
}

TEST_P(Administration, AGroupIsWorkedInByItsMembers) {
    EXPECT_EQ(statusOf([&] { bench().openSession(store_, {"miller", "dba"}); }), kNotAllowed);
    use(first_);
    bench().addToGroup("miller", "dba");
    bench().openSession(store_, {"miller", "dba"});
    EXPECT_EQ(statusOf([] { bench().setPreference("Colour", {"green"}); }), 0);
}

TEST_P(Administration, WhoMayNotWriteMayNotCheckOut) {
    use(first_);
    bench().addRight({"user", "miller", "class", "Item", "WRITE", false});
    use(millers_);
    EXPECT_EQ(statusOf([&] { bench().checkOut(item_, ""); }), kNotAllowed);
    EXPECT_NE(import(R"("check_outs": [{"object": "1"}])"), 0);
    use(first_);
    bench().checkOut(item_, "");
    bench().checkIn(item_);
}

TEST_P(Administration, EndingTheCheckOutOfAnotherIsARight) {
    use(first_);
    bench().createUser("otto", "", "design");
    const auto ottos = anotherSession("otto");
    const auto ends = [&](Workbench::SessionId session) {
        use(millers_);
        bench().checkOut(item_, "");
        use(session);
        return statusOf([&] { bench().checkIn(item_); });
    };
    EXPECT_EQ(ends(ottos), kCheckedOut);
    EXPECT_EQ(ends(first_), 0) << "an administrator";
    use(first_);
    bench().addRight({"user", "otto", "class", "Item", "END_CHECKOUT", true});
    EXPECT_EQ(ends(ottos), 0);
    use(first_);
    bench().addRight({"group", "dba", "all", "", "END_CHECKOUT", false});
    EXPECT_EQ(ends(first_), kCheckedOut) << "denied like any other right";
    EXPECT_EQ(ends(millers_), 0) << "his own";
}

TEST_P(Administration, WhatIsReadIsARight) {
    use(first_);
    bench().addRight({"user", "miller", "class", "Item", "READ", false});
    EXPECT_EQ(statusOf([&] { bench().needRead(item_); }), 0);
    use(millers_);
    EXPECT_EQ(statusOf([&] { bench().needRead(item_); }), kNotAllowed);
}

TEST_P(Administration, AnExportLeavesOutWhatMayNotBeRead) {
    use(first_);
    bench().addToFolder(bench().createFolder("folder"), item_);
    bench().addRight({"user", "miller", "class", "Item", "READ", false});
    use(millers_);
    std::ostringstream out;
    const auto findings = bench().exportWorld(out);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].text, "1 object is left out, which user miller may not READ");
    EXPECT_EQ(out.str().find("item_id"), std::string::npos);
    EXPECT_NE(out.str().find(R"("contents": ["d)"), std::string::npos) << "leads nowhere";
    use(first_);
    std::ostringstream whole;
    EXPECT_TRUE(bench().exportWorld(whole).empty());
    EXPECT_NE(whole.str().find("item_id"), std::string::npos);
}
