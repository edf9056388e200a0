#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr char kWso[] = "KELD_CopyAttributes_WSO";
constexpr char kForm[] = "KELD_CopyAttributes_Form";
constexpr char kRelation[] = "KELD_CopyAttributes_Relation";

// Two items whose master forms can be copied; a third one is another user's for the moment.
constexpr char kWorld[] = R"({
  "world": 1,
  "items": [
    {"id": "100", "name": "from", "revisions": [
      {"id": "A", "name": "from A"}, {"id": "B", "name": "from B"}]},
    {"id": "200", "name": "to", "revisions": [
      {"id": "A", "name": "to A"}, {"id": "X", "name": "to X"}]},
    {"id": "300", "name": "other", "revisions": [{"id": "A", "name": "other A"}]}
  ]
})";

class CopyAttr : public Program {
protected:
    void SetUp() override {
        done({"init"});
        writeFile(path("world.json"), kWorld);
        done({"load", path("world.json").string()});
    }
    void prefer(const std::string& name, std::vector<std::string> lines) {
        lines.insert(lines.begin(), {"prefs", "set", name, "--"});
        done(lines);
    }
    std::string name(const std::string& object) {
        return done({"show", object, "--json"}).json()["properties"]["object_name"];
    }
    // "object property: old -> new"
    static std::vector<std::string> values(const nlohmann::json& document) {
        std::vector<std::string> found;
        for (const auto& value : document["values"])
            found.push_back(
                value["object"].get<std::string>() + " " + value["property"].get<std::string>() +
                ": " + value["old"].get<std::string>() + " -> " + value["new"].get<std::string>());
        return found;
    }
    static std::vector<std::string> errors(const nlohmann::json& document) {
        std::vector<std::string> found;
        for (const auto& line : document["lines"])
            for (const auto& error : line["errors"])
                found.push_back(line["preference"].get<std::string>().substr(20) + " " +
                                std::to_string(line["line"].get<int>()) + ": " +
                                error.get<std::string>());
        return found;
    }
};

using CopyAttrCheck = CopyAttr;

}  // namespace

TEST_F(CopyAttr, ShowsTheOldAndTheNewValueOfEachObjectAndProperty) {
    prefer(kWso, {"Item;object_name", "ItemRevision;object_name"});
    prefer(kRelation, {"Item;revision_list;ItemRevision"});
    const auto document = done({"copy-attr", "100", "200", "300", "--json"}).json();
    EXPECT_THAT(values(document),
                ElementsAre("200 object_name: to -> from", "200/A object_name: to A -> from A",
                            "200/X object_name: to X -> from B", "300 object_name: other -> from",
                            "300/A object_name: other A -> from A"));
    EXPECT_EQ(document["succeeded"], true);
    EXPECT_EQ(document["values"][1]["type"], "ItemRevision");
    EXPECT_EQ(name("200/X"), "from B");
    EXPECT_EQ(name("100"), "from");
}

TEST_F(CopyAttr, ShowsATable) {
    prefer(kWso, {"Item;object_name"});
    const Result result = done({"copy-attr", "100", "200"});
    EXPECT_THAT(result.out, HasSubstr("OLD VALUE"));
    EXPECT_THAT(result.out, ContainsRegex("200 +Item +object_name +to +from"));
    EXPECT_THAT(result.out, HasSubstr("log in " + path("keld.log").string()));
}

TEST_F(CopyAttr, FollowsMasterFormsAndTellsThemByName) {
    prefer(kForm, {"Item Master;object_desc", "Item Master;item_comment"});
    prefer(kRelation, {"Item;VANE_master_form;Item Master"});
    const auto document = done({"copy-attr", "100", "200", "--json"}).json();
    EXPECT_THAT(values(document), IsEmpty());  // both are empty
    prefer(kForm, {"Item Master;object_name"});
    const Result result = done({"copy-attr", "100", "200"});
    EXPECT_THAT(result.out, ContainsRegex("#" DIGIT "+ 100 +Item Master +object_name +200 +100"));
}

TEST_F(CopyAttr, ADryRunChangesNothingAndShowsTheSame) {
    prefer(kWso, {"Item;object_name"});
    const std::string before = done({"export"}).out;
    environment()["TMPDIR"] = path("tmp").string();
    fs::create_directory(path("tmp"));
    const auto document = done({"copy-attr", "100", "200", "--dry-run", "--json"}).json();
    EXPECT_THAT(values(document), ElementsAre("200 object_name: to -> from"));
    EXPECT_EQ(document["dry_run"], true);
    EXPECT_EQ(done({"export"}).out, before);
    EXPECT_FALSE(fs::exists(path("keld.log")));
    EXPECT_TRUE(fs::is_empty(path("tmp")));
    EXPECT_EQ(values(done({"copy-attr", "100", "200", "--json"}).json()), values(document));
}

TEST_F(CopyAttr, WithoutPreferencesCopiesNothing) {
    EXPECT_THAT(done({"copy-attr", "100", "200"}).out, HasSubstr("no values copied"));
}

TEST_F(CopyAttr, TellsWhatItLeftAlone) {
    prefer(kWso, {"Item;object_name", "ItemRevision;object_name"});
    prefer(kRelation, {"Item;revision_list;ItemRevision"});
    done({"users", "add", "miller", "--in-group", "staff", "--new-group"});
    done({"checkout", "200", "--user", "miller"});
    const Result result = done({"copy-attr", "100", "200"});
    EXPECT_THAT(result.out, HasSubstr("left alone: 200, this user may not change it"));
    EXPECT_THAT(result.out, HasSubstr("from A"));
    EXPECT_EQ(name("200"), "to");
    EXPECT_EQ(name("200/A"), "from A");
}

TEST_F(CopyAttr, AFailureIsShownWithItsTextAndWhereItWas) {
    prefer(kWso, {"Item;nothing", "Item;object_name"});
    const Result result = keld({"copy-attr", "100", "200"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("failed: 710005: "));
    EXPECT_THAT(result.out, HasSubstr("failed at: 200\n"));
    EXPECT_THAT(result.err, HasSubstr("nothing is not known for object type Item"));
    EXPECT_EQ(name("200"), "to");
    EXPECT_THAT(done({"check"}).out, HasSubstr("sound"));
}

TEST_F(CopyAttr, AfterAFailureOnlyWhatWasStoredIsShown) {
    prefer(kWso, {"Item;object_name", "ItemRevision;object_name"});
    prefer(kRelation, {"Item;revision_list;ItemRevision"});
    environment()["MERVANE_FAULTS"] = "OBJ_save:2=515001";
    const std::string before = done({"export"}).out;
    EXPECT_EQ(values(keld({"copy-attr", "100", "200", "300", "--json"}).json()),
              std::vector<std::string>());
    environment().erase("MERVANE_FAULTS");
    EXPECT_EQ(done({"export"}).out, before) << "a whole run goes back";
    environment()["MERVANE_FAULTS"] = "OBJ_save:2=515001";
    const Result result = keld({"copy-attr", "100", "200", "300", "--as-server", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.json()["outcome"]["status"], 515001);
    EXPECT_EQ(result.json()["failed_at"][0]["object"], "200/A");
    EXPECT_THAT(values(result.json()),
                ElementsAre("200 object_name: to -> from", "300 object_name: other -> from",
                            "300/A object_name: other A -> from A"));
}

TEST_F(CopyAttr, ABadLineThatHoldsUpNothingIsStillTold) {
    prefer(kWso, {"Nothing;object_name", "Item;object_name"});
    const Result result = keld({"copy-attr", "100", "200"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("keld copy-attr --check lists them"));
    EXPECT_EQ(name("200"), "to") << "all went back";
    EXPECT_EQ(keld({"copy-attr", "100", "200", "--accept-failures"}).exit_code, 3);
    EXPECT_EQ(name("200"), "from");
}

TEST_F(CopyAttr, NeedsASourceAndADestination) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"copy-attr"}, {"copy-attr", "100"}, {"copy-attr", "100", "--dry-run"}}) {
        const Result result = keld(arguments);
        EXPECT_EQ(result.exit_code, 2);
        EXPECT_THAT(result.err, HasSubstr("needs a source and at least one destination"));
    }
    EXPECT_EQ(keld({"copy-attr", "--check", "--dry-run"}).exit_code, 2);
}

TEST_F(CopyAttr, AnUnknownObjectIsAnsweredWithTheNearestOne) {
    prefer(kWso, {"Item;object_name"});
    const Result result = keld({"copy-attr", "100", "200", "20"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("no object '20'"));
    EXPECT_EQ(name("200"), "to");
}

// ---- the check ----

TEST_F(CopyAttrCheck, ReportsEveryBadLineWithItsNumberAndReason) {
    prefer(kWso, {"Item;object_name", "# a comment", "Item;colour", "Part;object_name", "Item"});
    prefer(kForm, {"", "Item Master;count;0"});
    prefer(kRelation, {"Item;revision_list;ItemRevision", "Folder;revision_list;ItemRevision",
                       "Item;VANE_master_form;Master", "Item;VANE_master_form"});
    const Result result = keld({"copy-attr", "--check", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(
        errors(result.json()),
        ElementsAre("WSO 3: the property named colour is not known for object type Item.",
                    "WSO 4: the object type Part specified in preference does not exist or is no "
                    "WorkspaceObject.",
                    "WSO 5: syntax error in preference line: Item",
                    "WSO 5: combination <object type>;<property> expected",
                    "Relation 2: undefined relation type revision_list specified in preference.",
                    "Relation 3: the object type Master, specified in preference, does not exist "
                    "or is no WorkspaceObject.",
                    "Relation 4: syntax error in preference line: Item;VANE_master_form",
                    "Relation 4: combination <primary object type>;<relation>;<secondary object "
                    "type> expected"));
    EXPECT_EQ(result.json()["read"], 9);
    EXPECT_EQ(result.json()["bad"], 6);
    EXPECT_EQ(result.json()["status"], 2010);
    EXPECT_EQ(result.json()["lines"][6]["remarks"][0],
              "the third field isn't exactly null and is ignored");
}

TEST_F(CopyAttrCheck, SaysWhetherACopyWouldRun) {
    prefer(kWso, {"Item;colour", "Item;object_name"});
    Result result = keld({"copy-attr", "--check"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("error   KELD_CopyAttributes_WSO line 1: the property named "
                                      "colour is not known for object type Item.\n"
                                      "        Item;colour\n"
                                      "2 lines read, 1 bad\n"
                                      "a copy runs all the same"));
    prefer(kWso, {"Item;object_name", "Item;colour"});
    result = keld({"copy-attr", "--check"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("every copy is refused with 2010"));
}

TEST_F(CopyAttrCheck, OfGoodLinesSucceeds) {
    EXPECT_THAT(done({"copy-attr", "--check"}).out, HasSubstr("nothing is copied"));
    prefer(kWso, {"Item;object_name;null", "Dataset;object_desc \r\n"});
    prefer(kRelation, {"Text;Text;Item Master"});
    EXPECT_EQ(done({"copy-attr", "--check"}).out, "3 lines read, 0 bad\n");
}

TEST_F(CopyAttrCheck, ChangesNothingNotEvenTheLog) {
    prefer(kWso, {"Item;object_name", "Item;colour"});
    const std::string before = done({"export"}).out;
    environment()["TMPDIR"] = path("tmp").string();
    fs::create_directory(path("tmp"));
    environment()["KELD_LOG_LEVEL"] = "0";
    EXPECT_EQ(errors(keld({"copy-attr", "--check", "100", "200", "--json"}).json()).size(), 1u);
    EXPECT_EQ(done({"export"}).out, before);
    EXPECT_FALSE(fs::exists(path("keld.log")));
    EXPECT_TRUE(fs::is_empty(path("tmp")));
}

TEST_F(CopyAttrCheck, ShowsLongAndStrangeLinesInOneLineEach) {
    prefer(kWso, {"Item;object_name\t", std::string(5000, 'x'), "Item;object_name\n "});
    const Result result = keld({"copy-attr", "--check"});
    EXPECT_THAT(result.out, HasSubstr("        Item;object_name\\t\n"));
    EXPECT_THAT(result.out, HasSubstr("WSO line 2: only the first 1024 characters are read"));
    EXPECT_THAT(result.out, HasSubstr("        " + std::string(100, 'x') + "...\n"));
    EXPECT_THAT(result.out, HasSubstr("3 lines read, 3 bad"));
}

TEST_F(CopyAttrCheck, AFailedCallIsTheReasonWhereThereIsNoOther) {
    prefer(kWso, {"Item;object_name"});
    environment()["MERVANE_FAULTS"] = "MVTYPE_ask_property_by_name:1=515001";
    const Result result = keld({"copy-attr", "--check", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(errors(result.json())[0], HasSubstr("returned 515001"));
}
