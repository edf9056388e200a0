#include <sstream>

#include "platform/mv_cko.h"
#include "platform/mv_rls.h"
#include "tests/workbench/support.h"

using namespace mervane;
using namespace mervane::test;

class Rights : public OnBothStores {
protected:
    void SetUp() override {
        OnBothStores::SetUp();
        bench().createGroup("design", "dba");
        bench().createUser("miller", "Miller", "design");
        item_ = bench().createItem("1", "old", "", "A", &revision_);
    }
    // What miller may do.
    bool allowed(tag_t object, const char* privilege = "WRITE") {
        const auto session = anotherSession("miller");
        logical answer = false;
        EXPECT_EQ(ACL_check_privilege(object, privilege, &answer), 0);
        bench().closeSession(session);
        use(first_);
        return answer;
    }
    void right(const char* subject_kind, const char* subject, const char* scope_kind,
               const std::string& scope, bool allow) {
        bench().addRight({subject_kind, subject, scope_kind, scope, "WRITE", allow});
    }
    void release(tag_t object, const char* name) {
        tag_t status = NULLTAG;
        ASSERT_EQ(RLS_create_release_status(name, &status), 0);
        ASSERT_EQ(OBJ_save(status), 0);
        Values list = bench().get(object, "release_status_list");
        list.push_back(Reference{status});
        bench().set(object, "release_status_list", list);
    }
    tag_t item_ = NULLTAG, revision_ = NULLTAG;
};
ON_BOTH_STORES(Rights);

TEST_P(Rights, KnownPrivilegesAreAllowedUnlessDeniedButForOne) {
    for (const std::string& name : bench().privilegeNames())
        EXPECT_EQ(allowed(item_, name.c_str()), name != "END_CHECKOUT") << name;
}

TEST_P(Rights, AnUnknownPrivilegeFailsAndTheTextNamesTheKnownOnes) {
    logical answer = true;
    EXPECT_EQ(ACL_check_privilege(item_, "WRTIE", &answer), kUnknownPrivilege);
    EXPECT_NE(bench().errorStack().back().text.find("PUBLISH"), std::string::npos);
    EXPECT_EQ(statusOf([&] {
                  bench().addRight({"all", "", "all", "", "WRTIE", false});
              }),
              kUnknownPrivilege);
}

TEST_P(Rights, TheMoreSpecificScopeWins) {
    right("all", "", "all", "", false);
    EXPECT_FALSE(allowed(item_));
    right("all", "", "class", "WorkspaceObject", true);
    EXPECT_TRUE(allowed(item_));
    right("all", "", "class", "Item", false);
    EXPECT_FALSE(allowed(item_));
    EXPECT_TRUE(allowed(revision_)) << "the nearer class counts for items alone";
    right("all", "", "type", "Item", true);
    EXPECT_TRUE(allowed(item_));
    release(item_, "Frozen");
    right("all", "", "status", "Frozen", false);
    EXPECT_FALSE(allowed(item_));
    right("all", "", "object", std::to_string(item_), true);
    EXPECT_TRUE(allowed(item_));
}

TEST_P(Rights, OnlyTheLatestStatusCounts) {
    right("all", "", "status", "Frozen", false);
    release(item_, "Frozen");
    EXPECT_FALSE(allowed(item_));
    release(item_, "Released");
    EXPECT_TRUE(allowed(item_));
}

TEST_P(Rights, TheUserBeatsTheGroupAndTheGroupBeatsAll) {
    right("all", "", "class", "Item", false);
    right("group", "design", "class", "Item", true);
    EXPECT_TRUE(allowed(item_));
    right("user", "miller", "class", "Item", false);
    EXPECT_FALSE(allowed(item_));
    right("user", "infodba", "class", "Item", true);
    EXPECT_FALSE(allowed(item_)) << "another user's right";
}

TEST_P(Rights, ADenialBeatsAnAllowanceOnATieUntilItIsRemoved) {
    right("user", "miller", "class", "Item", false);
    right("user", "miller", "class", "Item", true);
    EXPECT_FALSE(allowed(item_));
    bench().removeRight({"user", "miller", "class", "Item", "WRITE", false});
    EXPECT_TRUE(allowed(item_));
}

TEST_P(Rights, ARightThatNamesNothingIsRefused) {
    EXPECT_NE(statusOf([&] { right("user", "nobody", "all", "", false); }), 0);
    EXPECT_NE(statusOf([&] { right("all", "", "class", "Itme", false); }), 0);
    EXPECT_NE(statusOf([&] { right("all", "", "type", "Itme", false); }), 0);
    EXPECT_NE(statusOf([&] { right("everybody", "", "all", "", false); }), 0);
    EXPECT_NE(statusOf([&] { right("all", "", "somewhere", "", false); }), 0);
    EXPECT_TRUE(bench().rights().empty());
}

TEST_P(Rights, WhoMayNotWriteGetsNoLockUnlessTheBypassIsOn) {
    right("user", "miller", "class", "Item", false);
    anotherSession("miller");
    logical modifiable = true;
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &modifiable), 0);
    EXPECT_FALSE(modifiable);
    EXPECT_EQ(OBJ_refresh(item_, true), kNotAllowed);
    EXPECT_EQ(bench().heldLocks(), 0u);
    ASSERT_EQ(ACL__set_application_bypass(true), 0);
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &modifiable), 0);
    EXPECT_TRUE(modifiable);
    EXPECT_EQ(OBJ_refresh(item_, true), 0);
    ASSERT_EQ(ACL__set_application_bypass(false), 0);
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &modifiable), 0);
    EXPECT_FALSE(modifiable);
}

TEST_P(Rights, WhoMayNotDeleteIsRefused) {
    bench().addRight({"user", "miller", "class", "Item", "DELETE", false});
    anotherSession("miller");
    EXPECT_EQ(OBJ_delete(item_), kNotAllowed);
    EXPECT_EQ(OBJ_load(item_), 0);
}

TEST_P(Rights, ACheckOutBindsOtherUsersUnderTheBypassToo) {
    bench().checkOut(item_, "being changed");
    logical answer = false;
    ASSERT_EQ(CKO_is_checked_out(item_, &answer), 0);
    EXPECT_TRUE(answer);
    EXPECT_EQ(CKO_assert_object_modifiable(item_), 0);
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &answer), 0);
    EXPECT_TRUE(answer);
    const auto second = anotherSession("miller");
    EXPECT_NE(CKO_assert_object_modifiable(item_), 0);
    EXPECT_EQ(OBJ_refresh(item_, true), kCheckedOut);
    EXPECT_EQ(OBJ_delete(item_), kCheckedOut);
    ASSERT_EQ(ACL__set_application_bypass(true), 0);
    ASSERT_EQ(OBJ_ask_if_modifiable(item_, &answer), 0);
    EXPECT_FALSE(answer);
    ASSERT_EQ(ACL__set_application_bypass(false), 0);
    EXPECT_EQ(statusOf([&] { bench().checkIn(item_); }), kCheckedOut);
    EXPECT_EQ(statusOf([&] { bench().checkOut(item_, ""); }), kCheckedOut);
    use(first_);
    bench().checkIn(item_);
    bench().checkIn(item_);
    use(second);
    EXPECT_EQ(OBJ_refresh(item_, true), 0);
}

TEST_P(Rights, IdsAndGroupNamesHaveNothingThatACommandProcessorReads) {
    const std::string read = "\"'`$&|;<>()[]{}*?!\\~#%^\n\t\r\x1B\x7F";
    for (const char each : read) {
        const std::string name = std::string("u") + each + "x";
        std::string text;
        EXPECT_EQ(statusOf([&] { bench().createUser(name, "", "dba"); }, &text), kBadValue) << name;
        EXPECT_NE(text.find("user id"), std::string::npos) << text;
        EXPECT_EQ(text.find(each > ' ' && each != '\x7F' ? '\0' : each), std::string::npos)
            << "control characters aren't shown as they are";
        EXPECT_EQ(statusOf([&] { bench().createGroup(name, ""); }, &text), kBadValue) << name;
        EXPECT_NE(text.find("group name"), std::string::npos) << text;
    }
    for (const char* name :
         {"anna.mueller", "a_b-c+d", "m\xC3\xBCller", "u@plant", "Design 2", "a/b"}) {
        EXPECT_NE(bench().createUser(name, "", "dba"), NULLTAG) << name;
        EXPECT_NE(bench().createGroup(name, ""), NULLTAG) << name;
    }
}

TEST_P(Rights, NoSuchIdOrNameIsImported) {
    const char* const parts[] = {
        R"("users": [{"id": "u;id>X;", "group": "dba"}])",
        R"("groups": [{"name": "g`id`"}])",
        R"("objects": [{"label": "o1", "type": "User", "values": {"user_id": "u|id"}}])",
        R"("objects": [{"label": "o1", "type": "Group", "values": {"group_name": "g\u001b[31m"}}])",
    };
    for (const std::string part : parts) {
        std::istringstream in(R"({"world": 1, )" + part + "}");
        std::string text;
        EXPECT_NE(statusOf([&] { bench().importWorld(in, "world.json"); }, &text), 0) << part;
        EXPECT_NE(text.find("can't have the character"), std::string::npos) << text;
    }
}

TEST_P(Rights, TheRuleThatDecidesIsTold) {
    const auto decide = [&](tag_t object, const char* privilege = "WRITE") {
        return bench().decide("miller", "", object, privilege);
    };
    EXPECT_TRUE(decide(item_).allowed);
    EXPECT_FALSE(decide(item_).rule);
    EXPECT_FALSE(decide(item_, "END_CHECKOUT").allowed);
    EXPECT_TRUE(bench().decide("infodba", "", item_, "END_CHECKOUT").allowed);
    right("all", "", "all", "", false);
    right("group", "design", "class", "ItemRevision", true);
    right("user", "miller", "object", std::to_string(item_), true);
    EXPECT_EQ(decide(item_).rule->scope_kind, "object");
    EXPECT_TRUE(decide(item_).allowed);
    EXPECT_EQ(decide(revision_).rule->subject, "design");
    right("group", "design", "class", "ItemRevision", false);
    EXPECT_FALSE(decide(revision_).allowed);
    EXPECT_FALSE(decide(revision_).rule->allowed) << "of two equal ones the denial is told";
    for (const tag_t object : {item_, revision_})
        EXPECT_EQ(decide(object).allowed, allowed(object)) << object;
    EXPECT_EQ(statusOf([&] { bench().decide("nobody", "", item_, "WRITE"); }), kUnknownObject);
    EXPECT_EQ(statusOf([&] { bench().decide("miller", "dba", item_, "WRITE"); }), kNotAllowed);
    EXPECT_EQ(statusOf([&] { decide(item_, "WRIET"); }), kUnknownPrivilege);
}
