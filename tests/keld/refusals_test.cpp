// Why the services refuse, with the object, the way to it, the rule, what was found, what would be
// allowed, the setting that rules it, and who holds what.

#include "tests/keld/program.h"

using namespace keld_test;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr char kWorld[] = R"({
  "world": 1,
  "model": { "types": [{ "name": "CADMASTER", "parent": "Dataset", "tool": "Cad",
                         "formats": ["PRT"], "reference_names": ["Part"] }] },
  "items": [
    { "id": "R", "name": "R", "revisions": [
        { "id": "A", "status": ["Frozen"], "datasets": [{ "type": "Text", "name": "plan" }] }] },
    { "id": "S", "name": "S", "revisions": [
        { "id": "A", "datasets": [{ "type": "Text", "name": "plan" }],
          "bom": [{ "item": "T", "quantity": "1", "number": "10" }] }] },
    { "id": "T", "name": "T", "revisions": [
        { "id": "A", "datasets": [{ "type": "CADMASTER", "name": "bolt" }] }] }
  ],
  "folders": [{ "name": "Full", "contents": ["R", "S"] }],
  "rights": [{ "subject_kind": "all", "scope_kind": "status", "scope": "Frozen",
               "privilege": "WRITE", "allowed": false }]
})";

class Refusals : public Program {
protected:
    void SetUp() override {
        done({"init"});
        writeFile(path("world.json"), kWorld);
        done({"load", path("world.json").string()});
        environment()["MV_TMP_DIR"] = directory().string();
    }
    json refused(std::vector<std::string> arguments) {
        arguments.emplace_back("--json");
        const Result result = keld(arguments);
        EXPECT_NE(result.exit_code, 0) << result.out;
        return result.json()["refusal"];
    }
};

}  // namespace

TEST_F(Refusals, ARenameTellsWhoHasCheckedOutWhatSinceWhen) {
    done({"checkout", "S/A:plan", "--comment", "new sheet"});
    const json refusal = refused({"rename", "S", "--to", "U"});
    EXPECT_EQ(refusal["status"], 919342);
    EXPECT_EQ(refusal["object"], "S/A:plan");
    EXPECT_EQ(refusal["path"], json({"S", "S/A", "S/A:plan"}));
    EXPECT_EQ(refusal["found"], "it is checked out");
    EXPECT_EQ(refusal["allowed"], "not checked out by anybody");
    EXPECT_THAT(refusal["checked_out_by"].get<std::string>(), StartsWith("user infodba since 2"));
    EXPECT_THAT(refusal["checked_out_by"].get<std::string>(), HasSubstr(": new sheet"));
    const std::string text = keld({"rename", "S", "--to", "U"}).err;
    EXPECT_THAT(text, HasSubstr("keld:   object   S/A:plan (Text)\n"));
    EXPECT_THAT(text, HasSubstr("keld:   path     S > S/A > S/A:plan\n"));
    EXPECT_THAT(text, HasSubstr("keld:   held by  user infodba since 2"));
}

TEST_F(Refusals, ARenameTellsTheSettingThatRulesAStatus) {
    done({"prefs", "set", "KELD_ItemRename", "--", "ChangeRevisionName=1",
          "RenameOnRevisionStatus=Released"});
    const json refusal = refused({"rename", "R", "--to", "U"});
    EXPECT_EQ(refusal["status"], 919343);
    EXPECT_EQ(refusal["object"], "R/A");
    EXPECT_EQ(refusal["found"], "its latest status is Frozen");
    EXPECT_EQ(refusal["allowed"], "no status, or one of RenameOnRevisionStatus: Released");
    EXPECT_EQ(refusal["section"], "KELD_ItemRename");
    EXPECT_EQ(refusal["file"], "the preference");
    EXPECT_EQ(refusal["line"], 2);
    done({"prefs", "remove", "KELD_ItemRename"});
    writeFile(path("keld_base.ini"), "; renames\n[KELD_ItemRename]\nRenameOnRevisionStatus=Old\n");
    const json file = refused({"rename", "R", "--to", "U", "--cfg", directory().string()});
    EXPECT_EQ(file["file"], "keld_base.ini");
    EXPECT_EQ(file["line"], 3);
    EXPECT_THAT(file["allowed"].get<std::string>(), HasSubstr("Old"));
}

TEST_F(Refusals, ARenameTellsWhichPlatformCallFailed) {
    environment()["MERVANE_FAULTS"] = "ENT_set_name:1=4711";
    const json refusal = refused({"rename", "S", "--to", "U", "--name", "other"});
    EXPECT_EQ(refusal["operation"], "ENT_set_name");
    EXPECT_EQ(refusal["status"], 4711);
    EXPECT_EQ(refusal["object"], "S") << "as it is called again";
    EXPECT_THAT(refusal["found"].get<std::string>(), StartsWith("ENT_set_name failed: planned"));
}

TEST_F(Refusals, ACopyTellsThePropertyTheValueAndItsLine) {
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "# names", "Item;object_name",
          "ItemRevision;object_name"});
    done({"prefs", "set", "KELD_CopyAttributes_Relation", "--", "Item;revision_list;ItemRevision"});
    environment()["MERVANE_FAULTS"] = "OBJ_UIF_set_value:2=4711";
    const json refusal = refused({"copy-attr", "S", "T"});
    EXPECT_EQ(refusal["status"], 4711);
    EXPECT_EQ(refusal["object"], "T/A");
    EXPECT_EQ(refusal["path"], json({"T", "T/A"}));
    EXPECT_THAT(refusal["found"].get<std::string>(), StartsWith("the property object_name for '"));
    EXPECT_EQ(refusal["allowed"], "texts that the property takes");
    EXPECT_EQ(refusal["file"], "the preference KELD_CopyAttributes_WSO");
    EXPECT_EQ(refusal["line"], 3);
    EXPECT_THAT(keld({"copy-attr", "S", "T"}).err,
                HasSubstr("  setting  the preference KELD_CopyAttributes_WSO, line 3\n"));
}

TEST_F(Refusals, ACopyThatABadLineRefusesTellsTheLine) {
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "Item;object_name", "Nothing;x"});
    const json refusal = refused({"copy-attr", "S", "T"});
    EXPECT_NE(refusal["status"], 0);
    EXPECT_THAT(refusal["found"].get<std::string>(), StartsWith("'Nothing;x': "));
    EXPECT_EQ(refusal["allowed"], "TYPE;PROPERTY or TYPE;PROPERTY;null");
    EXPECT_EQ(refusal["line"], 2);
}

TEST_F(Refusals, ARenumberingTellsWhyTheTopLineIsRefused) {
    done({"users", "add", "guest", "--in-group", "staff", "--new-group"});
    writeFile(path("rights.json"), R"({"world": 1, "rights": [{"subject_kind": "user",
        "subject": "guest", "scope_kind": "all", "privilege": "WRITE", "allowed": false}]})");
    done({"load", path("rights.json").string()});
    const json refusal = refused({"bom", "resequence", "S", "--save", "--user", "guest"});
    EXPECT_EQ(refusal["status"], 515001);
    EXPECT_EQ(refusal["type"], "STRBOMViewRevision");
    EXPECT_EQ(refusal["path"].size(), 2u) << refusal;
    EXPECT_EQ(refusal["path"][0], "S/A");
    EXPECT_EQ(refusal["found"], "the user may not write it");
    EXPECT_EQ(refusal["allowed"], "users with the right WRITE");
}

TEST_F(Refusals, ADeletionTellsEachRefusedObject) {
    const std::string folder =
        "#" + done({"find", "Full", "--json"}).json()["found"][0]["tag"].dump();
    const Result result = keld({"delete-check", folder, "T/A:bolt", "S/A:plan", "--json"});
    const json refusals = result.json()["refusals"];
    ASSERT_EQ(refusals.size(), 2u);
    EXPECT_EQ(refusals[0]["status"], 919500);
    EXPECT_EQ(refusals[0]["found"], "the folder isn't empty: 2 entries");
    EXPECT_EQ(refusals[0]["allowed"], "folders without entries");
    EXPECT_EQ(refusals[1]["status"], 919502);
    EXPECT_EQ(refusals[1]["object"], "T/A:bolt");
    EXPECT_EQ(refusals[1]["path"], json({"T/A", "T/A:bolt"}));
    EXPECT_EQ(refusals[1]["found"], "T/A is used in S/A");
    EXPECT_THAT(keld({"delete-check", "T/A:bolt"}).err,
                HasSubstr("  allowed  datasets of revisions that no structure uses\n"));
}

TEST_F(Refusals, ADeletionTellsWhoHasTheObjectCheckedOut) {
    done({"checkout", "S/A:plan", "--comment", "mine"});
    done({"users", "add", "guest", "--in-group", "staff", "--new-group"});
    const json refusal = refused({"delete-check", "S/A:plan", "--then-delete", "--user", "guest"});
    EXPECT_EQ(refusal["object"], "S/A:plan");
    EXPECT_EQ(refusal["found"], "the object can't be changed by this user at the moment");
    EXPECT_THAT(refusal["checked_out_by"].get<std::string>(), StartsWith("user infodba since "));
}

TEST_F(Refusals, AJobItemTellsTheCallThatFailed) {
    const json refusal = refused({"job", "item", "S/A", "--queue", std::string(300, 'q')});
    EXPECT_EQ(refusal["status"], 710008);
    EXPECT_EQ(refusal["operation"], "OBJ_set_value_string");
    EXPECT_EQ(refusal["object"], "S/A") << "the job item is gone again";
    EXPECT_THAT(refusal["found"].get<std::string>(),
                HasSubstr("300 characters, at most 240 are kept"));
}

TEST_F(Refusals, JobFilesTellWhereNoneCanBeMade) {
    const json refusal = refused({"job", "files", "S/A", "--types", "Text", "--into", "nowhere"});
    EXPECT_EQ(refusal["status"], 515186);
    EXPECT_EQ(refusal["object"], "S/A");
    EXPECT_EQ(refusal["found"], "no directory can be made in " + path("nowhere").string());
    EXPECT_EQ(refusal["allowed"], "a directory that exists and that the user may write");
}
