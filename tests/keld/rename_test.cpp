#include "tests/keld/program.h"
#include "tests/support/step_generator.h"

using namespace keld_test;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

const char* const kWorld = R"({
  "world": 1,
  "process_templates": [{ "name": "Approve", "tasks": ["check"] }],
  "items": [
    { "id": "ABC-01", "name": "Pump ABC-01", "description": "cast",
      "revisions": [
        { "id": "A", "datasets": [{ "type": "Text", "name": "ABC-01", "versions": [
            { "files": [{ "reference": "Text", "name": "ABC-01.txt", "text": "1" }] },
            { "files": [{ "reference": "Text", "name": "REPORT.txt", "text": "2" }] }] }],
          "bom": [{ "item": "ABC-02", "quantity": "1", "number": "10" }] },
        { "id": "B" }] },
    { "id": "ABC-02", "name": "Screw", "revisions": [{ "id": "A" }] }
  ]
})";

}  // namespace

class Rename : public Program {
protected:
    void SetUp() override {
        done({"init"});
        load(kWorld);
    }
    void load(const std::string& world) {
        writeFile(path("world.json"), world);
        done({"load", path("world.json").string()});
    }
    json renamed(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "rename");
        arguments.push_back("--json");
        return done(arguments).json();
    }
    Result refused(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "rename");
        arguments.push_back("--json");
        Result result = keld(arguments);
        EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
        return result;
    }
    // "old -> new" of an object's attribute; empty if it isn't in the list.
    std::string change(const json& document, const std::string& object,
                       const std::string& attribute) {
        for (const auto& each : document["renamed"])
            if (each["object"] == object && each["attribute"] == attribute)
                return each["old"].get<std::string>() + " -> " + each["new"].get<std::string>();
        return "";
    }
    std::string wholeExport() { return done({"export"}).out; }
    void activateRegistry() {
        done({"registry", "use", path("ids.db").string()});
        load(R"({"world": 1, "preferences": [
            {"name": "ART_id_registry", "values": ["true"]},
            {"name": "ART_id_registry_site", "values": ["plant"]},
            {"name": "ART_id_always_register_on_creation", "values": ["true"]}]})");
        load(R"({"world": 1, "objects": [{"label": "s", "type": "Site",
            "values": {"site_name": "plant", "site_id": 7}}]})");
    }
};

TEST_F(Rename, TheItemIsRenamedWithEverythingThatCarriesItsId) {
    const json document = renamed({"ABC-01", "--to", "XY-9"});
    EXPECT_EQ(document["succeeded"], true);
    EXPECT_EQ(change(document, "ABC-01", "item_id"), "ABC-01 -> XY-9");
    EXPECT_EQ(change(document, "ABC-01/A:ABC-01", "object_name"), "ABC-01 -> XY-9");
    bool file = false, view = false, report = false;
    for (const auto& each : document["renamed"]) {
        file |= each["old"] == "ABC-01.txt" && each["new"] == "XY-9.txt";
        report |= each["old"] == "REPORT.txt";
        view |= each["type"] == "STRBOMView" && each["attribute"] == "object_name";
    }
    EXPECT_TRUE(file && view) << document["renamed"];
    EXPECT_FALSE(report) << "a file of another name stays";
    EXPECT_THAT(done({"find", "*"}).out, Not(HasSubstr("ABC-01/")));
    done({"show", "XY-9/B"});
}

TEST_F(Rename, TheListFollowsTheWalk) {
    std::vector<std::string> items;
    const json document = renamed({"ABC-01", "--to", "XY-9", "--name", "Valve", "--test"});
    for (const auto& each : document["renamed"])
        if (each["type"] == "Item" || each["type"] == "ItemRevision" || each["type"] == "Text")
            items.push_back(each["type"]);
    EXPECT_EQ(items, (std::vector<std::string>{"Item", "Item", "ItemRevision", "Text", "Text",
                                               "ItemRevision"}))
        << document["renamed"];
}

TEST_F(Rename, NameAndDescriptionStayUnlessTheyAreGiven) {
    json document = renamed({"ABC-01", "--to", "XY-9"});
    EXPECT_EQ(change(document, "ABC-01", "object_name"), "");
    EXPECT_EQ(change(document, "ABC-01", "object_desc"), "");
    document = renamed({"XY-9", "--to", "XY-10", "--name", "Valve", "--desc", ""});
    EXPECT_EQ(change(document, "XY-9", "object_name"), "Pump ABC-01 -> Valve");
    EXPECT_EQ(change(document, "XY-9", "object_desc"), "cast -> ");
    document = renamed({"XY-10", "--to", "XY-11", "--name", ""});
    EXPECT_EQ(change(document, "XY-10", "object_name"), "Valve -> XY-11");
}

TEST_F(Rename, ATestShowsTheSameAsTheRenameAndChangesNothing) {
    const std::string before = wholeExport();
    const json test = renamed({"ABC-01", "--to", "XY-9", "--test"});
    EXPECT_EQ(wholeExport(), before);
    EXPECT_FALSE(fs::exists(path("keld.log")));
    EXPECT_EQ(renamed({"ABC-01", "--to", "XY-9", "--dry-run"})["renamed"], test["renamed"]);
    EXPECT_EQ(renamed({"ABC-01", "--to", "XY-9"})["renamed"], test["renamed"]);
}

TEST_F(Rename, ATestChangesNeitherTheStoreNorTheRegistry) {
    activateRegistry();
    const std::string before = wholeExport(), registry = readFile(path("ids.db"));
    const json document = renamed({"ABC-01", "--to", "XY-9", "--test"});
    EXPECT_EQ(document["registered"], json({"XY-9"})) << "the service registers in the copy";
    EXPECT_EQ(wholeExport(), before);
    EXPECT_EQ(readFile(path("ids.db")), registry);
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json::array());

    renamed({"ABC-01", "--to", "XY-9"});
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json({"XY-9"}));
    EXPECT_EQ(done({"registry", "--json"}).json()["registry"], path("ids.db").string());
}

TEST_F(Rename, AnyDryRunOfTheServiceLeavesTheRegistryAlone) {
    activateRegistry();
    const std::string registry = readFile(path("ids.db"));
    done({"call", "KELD_ReNameItem", "s:XY-9", "s:", "s:", "t:ABC-01", "--dry-run"});
    EXPECT_EQ(readFile(path("ids.db")), registry);
}

TEST_F(Rename, ATestLeavesNothingBehind) {
    activateRegistry();
    environment()["TMPDIR"] = path("tmp").string();
    fs::create_directory(path("tmp"));
    renamed({"ABC-01", "--to", "XY-9", "--test"});
    EXPECT_TRUE(fs::is_empty(path("tmp")));
}

TEST_F(Rename, TheOldIdLeavesTheRegistryAndTheNewOneComes) {
    activateRegistry();
    renamed({"ABC-01", "--to", "XY-9"});
    const json document = renamed({"XY-9", "--to", "XY-10"});
    EXPECT_EQ(document["unregistered"], json({"XY-9"}));
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json({"XY-10"}));
}

TEST_F(Rename, AnIdThatAnotherStoreHasRegisteredIsRefused) {
    activateRegistry();
    const auto other = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--store", path("other.db").string()});
        return done(arguments);
    };
    other({"init"});
    other({"registry", "use", path("ids.db").string()});
    writeFile(path("taken.json"), R"({"world": 1, "registered_ids": ["XY-9"]})");
    other({"load", path("taken.json").string()});
    const std::string before = wholeExport();
    const json document = refused({"ABC-01", "--to", "XY-9"}).json();
    EXPECT_EQ(document["refusal"]["status"], 100304);
    EXPECT_EQ(document["refusal"]["object"], "ABC-01");
    EXPECT_EQ(document["renamed"], json::array());
    EXPECT_EQ(wholeExport(), before);
}

TEST_F(Rename, ARegistryOutOfReachIsToldAndRenamesAllTheSame) {
    activateRegistry();
    done({"registry", "off"});
    const std::string before = wholeExport();
    EXPECT_EQ(refused({"ABC-02", "--to", "XY-9"}).json()["run"]["kept"], false);
    EXPECT_EQ(wholeExport(), before) << "a failure that the rules drop takes all back";
    const Result accepted =
        keld({"rename", "ABC-02", "--to", "XY-9", "--accept-failures", "--json"});
    EXPECT_EQ(accepted.exit_code, 3);
    const json document = accepted.json();
    EXPECT_EQ(document["outcome"]["status"], 0) << "the service goes on without it";
    EXPECT_EQ(document["refusal"], nullptr);
    EXPECT_EQ(change(document, "ABC-02", "item_id"), "ABC-02 -> XY-9");
    EXPECT_EQ(document["outcome"]["error_stack"].at(0)["status"], 100309);
    done({"registry", "on"});
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json::array());
}

TEST_F(Rename, ARefusalNamesItsObjectAndReason) {
    done({"checkout", "ABC-01/B"});
    const std::string before = wholeExport();
    const json document = refused({"ABC-01", "--to", "XY-9"}).json();
    EXPECT_EQ(document["refusal"]["status"], 919342);
    EXPECT_EQ(document["refusal"]["object"], "ABC-01/B");
    EXPECT_EQ(document["refusal"]["found"], "it is checked out");
    EXPECT_EQ(wholeExport(), before) << "the test pass has refused it";
    const Result shown = keld({"rename", "ABC-01", "--to", "XY-9", "--test"});
    EXPECT_EQ(shown.exit_code, 1);
    EXPECT_THAT(shown.err, HasSubstr("refused: 919342"));
    EXPECT_THAT(shown.err, HasSubstr("  found    it is checked out"));
    EXPECT_THAT(shown.out, HasSubstr("nothing changed"));
}

TEST_F(Rename, AStatusThatForbidsItIsTheReason) {
    load(R"({"world": 1,
        "items": [{"id": "F", "name": "F", "revisions": [{"id": "A", "status": ["Frozen"]}]}],
        "rights": [{"subject_kind": "all", "scope_kind": "status", "scope": "Frozen",
                    "privilege": "WRITE", "allowed": false}]})");
    const json document = refused({"F", "--to", "G"}).json();
    EXPECT_EQ(document["refusal"]["status"], 919343);
    EXPECT_EQ(document["refusal"]["object"], "F/A");
    EXPECT_EQ(document["refusal"]["found"], "its latest status is Frozen");
    done({"prefs", "set", "KELD_ItemRename", "RenameOnRevisionStatus=Frozen"});
    const json after = renamed({"F", "--to", "G"});
    EXPECT_EQ(change(after, "F", "item_id"), "F -> G");
    EXPECT_EQ(change(after, "F/A", "object_name"), "") << "the frozen revision stays as it is";
}

TEST_F(Rename, AReplicaIsRefusedWithItsSite) {
    load(R"({"world": 1,
        "objects": [{"label": "s", "type": "Site", "values": {"site_name": "Kiel", "site_id": 3}}],
        "items": [{"id": "R", "name": "R", "attributes": {"owning_site": "s"}}]})");
    const json document = refused({"R", "--to", "S"}).json();
    EXPECT_EQ(document["refusal"]["status"], 919342);
    EXPECT_EQ(document["refusal"]["object"], "R");
    EXPECT_EQ(document["refusal"]["found"], "the site Kiel owns it");
    EXPECT_EQ(document["renamed"], json::array());
}

TEST_F(Rename, AFailureOnTheWayShowsWhatIsChangedAlready) {
    environment()["MERVANE_FAULTS"] = "OBJ_save:2=4711";
    const std::string before = wholeExport();
    EXPECT_EQ(refused({"ABC-01", "--to", "XY-9"}).json()["renamed"], json::array());
    EXPECT_EQ(wholeExport(), before) << "a whole run goes back";
    const json document = refused({"ABC-01", "--to", "XY-9", "--as-server"}).json();
    EXPECT_EQ(document["refusal"]["status"], 4711);
    EXPECT_EQ(document["refusal"]["operation"], "OBJ_save");
    EXPECT_EQ(document["renamed"].size(), 1u) << document["renamed"];
    EXPECT_EQ(change(document, "ABC-01", "item_id"), "ABC-01 -> XY-9");
}

TEST_F(Rename, AnIdThatAnotherItemHasIsRefusedInOneSentence) {
    const Result result = keld({"rename", "ABC-01", "--to", "ABC-02"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("the id ABC-02 is taken: "));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_EQ(result.out, "");
}

TEST_F(Rename, ASuccessIsSilentAboutWhatTheLibraryTookInItsStride) {
    const Result result = done({"rename", "ABC-01", "--to", "XY-9"});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.find("9112"), std::string::npos) << result.out;
}

TEST_F(Rename, ANameThatGrowsTooLongIsShownAsCut) {
    const std::string tail(110, 'x');
    load(R"({"world": 1, "items": [{"id": "L", "name": "L", "revisions": [{"id": "A",
        "datasets": [{"type": "Text", "name": "L)" +
         tail + R"(", "files": []}, {"type": "Text", "name": "L-short", "files": []}]}]}]})");
    const json document = renamed({"L", "--to", std::string(30, 'N'), "--test"});
    int cut = 0;
    for (const auto& each : document["renamed"])
        if (!each["cut_at"].is_null()) {
            ++cut;
            EXPECT_EQ(each["object"], "L/A:L" + tail);
            EXPECT_EQ(each["new"].get<std::string>().size(), 128u);
        }
    EXPECT_EQ(cut, 1) << document["renamed"];
    EXPECT_THAT(done({"rename", "L", "--to", std::string(30, 'N'), "--test"}).out,
                HasSubstr("cut at 128"));
}

TEST_F(Rename, ARevisionGetsANewIdWithItsItem) {
    const json document = renamed({"ABC-01", "--rev", "B", "--to", "XY-9", "--to-rev", "02"});
    EXPECT_EQ(document["test_pass"], true);
    EXPECT_EQ(change(document, "ABC-01", "item_id"), "ABC-01 -> XY-9");
    EXPECT_EQ(change(document, "ABC-01/B", "item_revision_id"), "B -> 02");
    EXPECT_EQ(change(document, "ABC-01/A", "item_revision_id"), "");
    done({"show", "XY-9/02"});
    done({"show", "XY-9/A"});
}

TEST_F(Rename, TheTestPassOfARevisionsRenameComesFirst) {
    done({"checkout", "ABC-01/B"});
    const std::string before = wholeExport();
    const json document =
        refused({"ABC-01", "--rev", "A", "--to", "XY-9", "--to-rev", "02"}).json();
    EXPECT_EQ(document["refusal"]["status"], 919342);
    EXPECT_EQ(wholeExport(), before);
}

TEST_F(Rename, ATestPassThatWouldRegisterTheNewIdIsLeftOut) {
    activateRegistry();
    const Result result = done({"rename", "ABC-01", "--rev", "A", "--to", "XY-9", "--json"});
    EXPECT_EQ(result.json()["test_pass"], false);
    EXPECT_THAT(result.err, HasSubstr("no test pass"));
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json({"XY-9"}));
}

TEST_F(Rename, AWorkflowThatItStartsIsShown) {
    done({"prefs", "set", "KELD_ItemRename", "StartWorkflowItem=Approve", "SaveOldId=item.old"});
    const json failed = refused({"ABC-01", "--to", "XY-8", "--test"}).json();
    EXPECT_EQ(failed["refusal"]["operation"], "OBJ_ask_value_string") << "no such property";
    done({"prefs", "set", "KELD_ItemRename", "StartWorkflowItem=Approve",
          "SaveOldId=ITEM.object_desc"});
    const json document = renamed({"ABC-01", "--to", "XY-9"});
    EXPECT_EQ(document["workflows"], json({"Pump ABC-01"}));
    EXPECT_EQ(change(document, "ABC-01", "object_desc"), "cast -> ABC-01");
}

TEST_F(Rename, UnknownNamesAreAnswered) {
    EXPECT_EQ(refused({"ABC-03", "--to", "X"}).out.find("did_you_mean") == std::string::npos,
              false);
    EXPECT_THAT(refused({"ABC-01", "--rev", "C", "--to", "X"}).err, HasSubstr("no revision 'C'"));
    EXPECT_THAT(refused({"ABC-01/A", "--to", "X"}).err, HasSubstr("is no item"));
    EXPECT_EQ(keld({"rename", "ABC-01"}).exit_code, 2);
    EXPECT_EQ(keld({"rename", "ABC-01", "--to", "X", "--to-rev", "B"}).exit_code, 2);
}

TEST_F(Rename, AnEmptyIdIsRefused) {
    EXPECT_EQ(refused({"ABC-01", "--to", ""}).json()["refusal"]["status"], 919320);
}

TEST_F(Rename, ARegistryIsChosenAndShown) {
    EXPECT_THAT(done({"registry"}).out, HasSubstr("the store's own registry"));
    load(R"({"world": 1, "registered_ids": ["ABC-01"]})");
    EXPECT_THAT(done({"registry", "use", "ids.db"}).out, HasSubstr("which is new"));
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json({"ABC-01"})) << "taken along";
    done({"registry", "add", "ABC-02"});
    EXPECT_EQ(keld({"registry", "add", "ABC-02"}).exit_code, 1);
    done({"registry", "remove", "ABC-01"});
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json({"ABC-02"}));
    done({"registry", "own"});
    EXPECT_EQ(done({"registry", "--json"}).json()["ids"], json::array());
    EXPECT_EQ(keld({"registry", "use", path("keld.db").string()}).exit_code, 1);
}

TEST_F(Rename, AStepFileHasItsOldNameAfterTheWayBack) {
    StepShape shape;
    shape.parts = 1;
    std::ofstream file(path("plant.stp"), std::ios::binary);
    writeStep(file, shape);
    file.close();
    const std::string top = done({"import", "plant.stp", "--json"}).json()["top"];
    const std::string id = top.substr(0, top.find('/'));
    // Named after its product, so that the rename has to do with it.
    fs::rename(path("plant.stp"), path(id + "-214.stp"));
    done({"init", "--store", "other"});
    environment()["MERVANE_STORE"] = path("other").string();
    done({"import", id + "-214.stp"});
    const auto there = renamed({id, "--to", "P-1"});
    EXPECT_EQ(change(there, top + ":" + id + "-214", "object_name"), id + "-214 -> P-1-214");
    const auto back = renamed({"P-1", "--to", id});
    const auto shown = done({"show", top + ":" + id + "-214", "--json"}).json();
    EXPECT_EQ(shown["properties"]["ref_list"], id + "-214.stp") << back;
}
