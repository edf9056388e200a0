// Rights at the command line: given, denied, and the rule that decides.

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;

class RightsVerb : public ProgramWithStore {
protected:
    void SetUp() override {
        ProgramWithStore::SetUp();
        done({"users", "add", "kelda", "--in-group", "design", "--new-group"});
    }
};

TEST_F(RightsVerb, TheRuleThatDecidesIsNamed) {
    done({"rights", "add", "deny", "WRITE"});
    done({"rights", "add", "allow", "WRITE", "--of-group", "design", "--type", "ItemRevision"});
    done({"rights", "add", "deny", "WRITE", "--of-user", "kelda", "--object", "000100/A"});
    const Result object = done({"rights", "check", "kelda", "000100/A"});
    EXPECT_THAT(object.out,
                ContainsRegex("WRITE +denied +user kelda may not WRITE object 000100/A"));
    EXPECT_THAT(object.out, ContainsRegex("READ +allowed +no rule; everybody may"));
    EXPECT_THAT(object.out, ContainsRegex("END_CHECKOUT +denied +no rule; it is the admin"));
    EXPECT_THAT(done({"rights", "check", "kelda", "000101/A", "WRITE"}).out,
                ContainsRegex("WRITE +allowed +group design may WRITE type ItemRevision"));
    const Result item = keld({"rights", "check", "kelda", "000101", "WRITE"});
    EXPECT_EQ(item.exit_code, 1) << "it is denied";
    EXPECT_THAT(item.out, HasSubstr("everybody may not WRITE everything"));
    EXPECT_EQ(keld({"set", "000101", "object_desc=x", "--user", "kelda"}).exit_code, 1);
    EXPECT_EQ(keld({"set", "000101/A", "object_desc=x", "--user", "kelda"}).exit_code, 0);
}

TEST_F(RightsVerb, ARightIsListedTakenAwayAndTakenBack) {
    const auto added = done({"rights", "add", "deny", "DELETE", "--of-user", "kelda", "--status",
                             "Frozen", "--json"})
                           .json();
    EXPECT_EQ(done({"rights", "--json"}).json()["rights"].size(), 1u);
    EXPECT_THAT(done({"rights"}).out, ContainsRegex("DELETE +denied +user kelda +status Frozen"));
    done({"runs", "undo", std::to_string(added["run"]["run"].get<int>())});
    EXPECT_THAT(done({"rights"}).out, HasSubstr("no rights are given or denied"));
    const Result gone =
        keld({"rights", "remove", "deny", "DELETE", "--of-user", "kelda", "--status", "Frozen"});
    EXPECT_EQ(gone.exit_code, 1);
    EXPECT_THAT(gone.err, HasSubstr("there is no such right: user kelda may not DELETE"));
    done({"rights", "add", "deny", "DELETE", "--dry-run"});
    EXPECT_TRUE(done({"rights", "--json"}).json()["rights"].empty());
}

TEST_F(RightsVerb, WrongNamesAreAnsweredWithTheNearestOnes) {
    EXPECT_THAT(keld({"rights", "add", "deny", "WRIET"}).err, HasSubstr("Did you mean WRITE?"));
    EXPECT_THAT(keld({"rights", "check", "kelad", "000100"}).err, HasSubstr("Did you mean kelda?"));
    EXPECT_THAT(keld({"rights", "add", "deny", "READ", "--of-group", "desing"}).err,
                HasSubstr("Did you mean design?"));
    EXPECT_EQ(keld({"rights", "add", "forbid", "READ"}).exit_code, 2);
    EXPECT_EQ(keld({"rights", "add", "deny", "READ", "--type", "Item", "--status", "X"}).exit_code,
              2);
}

TEST_F(RightsVerb, RightsAreGivenByAdministrators) {
    const Result result = keld({"rights", "add", "allow", "END_CHECKOUT", "--user", "kelda"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("that is for the group dba"));
}
