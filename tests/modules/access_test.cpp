#include "platform/mv_acl.h"
#include "platform/mv_cko.h"
#include "tests/modules/interface.h"

namespace mervane::test {

class Access : public InterfaceTest {
protected:
    bool allowed(tag_t object, const char* privilege) {
        logical answer = false;
        EXPECT_EQ(ACL_check_privilege(object, privilege, &answer), 0) << lastError();
        return answer;
    }
    // A session of another user.
    Workbench::SessionId colleague() {
        wb.createGroup("design", "");
        wb.createUser("mueller", "Anna Mueller", "design");
        return wb.openSession(store, {"mueller", ""});
    }
};

TEST_F(Access, KnownPrivilegesAreAllowedByDefault) {
    const tag_t item = part("1").item;
    for (const char* privilege : {"PUBLISH", "WRITE", "CHANGE"})
        EXPECT_TRUE(allowed(item, privilege)) << privilege;
}

TEST_F(Access, UnknownPrivilegesFailAndNameTheKnownOnes) {
    logical answer = true;
    EXPECT_EQ(ACL_check_privilege(part("1").item, "CHNAGE", &answer), kUnknownPrivilege);
    EXPECT_TRUE(answer);
    EXPECT_THAT(lastError(), HasSubstr("CHANGE"));
    EXPECT_EQ(ACL_check_privilege(kNoSuchTag, "CHANGE", &answer), kUnknownObject);
}

TEST_F(Access, TheBypassLeavesPrivilegesOutUntilItIsOff) {
    const tag_t item = part("1").item;
    wb.addRight({"all", "", "class", "Item", "CHANGE", false});
    EXPECT_FALSE(allowed(item, "CHANGE"));
    EXPECT_EQ(ACL__set_application_bypass(true), 0);
    EXPECT_TRUE(allowed(item, "CHANGE"));
    EXPECT_EQ(ACL__set_application_bypass(false), 0);
    EXPECT_FALSE(allowed(item, "CHANGE"));
}

TEST_F(Access, RightsOnALineAreThoseOnItsRevision) {
    const tag_t revision = part("1").revision, line = wb.openBomWindow(revision);
    EXPECT_TRUE(allowed(line, "WRITE"));
    wb.addRight({"all", "", "object", std::to_string(revision), "WRITE", false});
    EXPECT_FALSE(allowed(line, "WRITE"));
}

TEST_F(Access, CheckOutByThisUserIsSeenAndHarmless) {
    const tag_t item = part("1").item;
    logical out = true;
    EXPECT_EQ(CKO_is_checked_out(item, &out), 0);
    EXPECT_FALSE(out);
    wb.checkOut(item, "");
    EXPECT_EQ(CKO_is_checked_out(item, &out), 0);
    EXPECT_TRUE(out);
    EXPECT_EQ(CKO_assert_object_modifiable(item), 0);
    wb.checkIn(item);
    EXPECT_EQ(CKO_is_checked_out(item, &out), 0);
    EXPECT_FALSE(out);
}

TEST_F(Access, CheckOutByAnotherUserForbidsChangesEvenUnderTheBypass) {
    const tag_t item = part("1").item;
    colleague();
    wb.checkOut(item, "");
    wb.selectSession(session);
    ACL__set_application_bypass(true);
    EXPECT_EQ(CKO_assert_object_modifiable(item), kCheckedOut);
    EXPECT_THAT(lastError(), HasSubstr("mueller"));
    logical out = false;
    EXPECT_EQ(CKO_is_checked_out(item, &out), 0);
    EXPECT_TRUE(out);
    logical modifiable = true;
    EXPECT_EQ(OBJ_ask_if_modifiable(item, &modifiable), 0);
    EXPECT_FALSE(modifiable);
}

TEST_F(Access, CheckOutOfUnknownObjectsFails) {
    logical out = true;
    EXPECT_EQ(CKO_is_checked_out(kNoSuchTag, &out), kUnknownObject);
    EXPECT_TRUE(out);
    EXPECT_EQ(CKO_assert_object_modifiable(NULLTAG), kUnknownObject);
}

}  // namespace mervane::test
