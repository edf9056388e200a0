// Verbs that make and change objects: each is a run, with a rehearsal, reasons and a way back.

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class MakingVerbs : public ProgramWithStore {
protected:
    // Run it rehearsed, in earnest, and take it back; the store must be as it was after the first
    // and the last. Gives what the run in earnest has printed.
    Result thereAndBack(std::vector<std::string> arguments) {
        const std::string before = exported();
        std::vector<std::string> rehearsed = arguments;
        rehearsed.emplace_back("--dry-run");
        const Result rehearsal = done(rehearsed);
        EXPECT_THAT(rehearsal.out, HasSubstr("dry run, nothing is changed"));
        EXPECT_EQ(exported(), before) << "the rehearsal left something";
        Result result = done(arguments);
        const std::size_t at = result.out.rfind("run ");
        EXPECT_NE(at, std::string::npos) << result.out;
        if (at != std::string::npos) {
            const std::string number =
                result.out.substr(at + 4, result.out.find('\n', at) - at - 4);
            EXPECT_NE(exported(), before) << "nothing was changed";
            done({"runs", "undo", number});
            EXPECT_EQ(exported(), before) << "the undo left something";
        }
        return result;
    }
    void addKelda() { done({"users", "add", "kelda", "--in-group", "design", "--new-group"}); }
};

TEST_F(MakingVerbs, AnItemIsMadeAndTakenBack) {
    const Result made = thereAndBack(
        {"new", "item", "P-1", "--name", "Pump cover", "--rev", "01", "--desc", "cast"});
    EXPECT_THAT(made.out, HasSubstr("made P-1 with revision P-1/01"));
}

TEST_F(MakingVerbs, AnItemGetsTheNextFreeIdAndItsValues) {
    const auto made = done({"new", "item", "--name", "Cover", "--desc", "cast", "--json"}).json();
    EXPECT_EQ(made["revision"], made["object"].get<std::string>() + "/A");
    const auto shown = done({"show", made["object"].get<std::string>(), "--json"}).json();
    EXPECT_EQ(shown["name"], "Cover");
    EXPECT_EQ(shown["properties"]["object_desc"], "cast");
}

TEST_F(MakingVerbs, AnItemThatIsThereAlreadyIsRefusedWithTheReason) {
    const Result result = keld({"new", "item", "000100"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("there is an item 000100 already"));
    EXPECT_THAT(result.out, HasSubstr("nothing changed"));
    EXPECT_THAT(keld({"new", "item", "P-1", "--type", "Itm"}).err, HasSubstr("Did you mean Item?"));
}

TEST_F(MakingVerbs, ADatasetIsMadeWithItsFileAndTakenBack) {
    writeFile(path("sheet.txt"), "sheet 2\n");
    const Result made = thereAndBack({"new", "dataset", "second", "--type", "Text", "--on",
                                      "000100/A", "--file", path("sheet.txt").string()});
    EXPECT_THAT(made.out, HasSubstr("made 000100/A:second (Text) with the file"));
    done({"new", "dataset", "second", "--type", "Text", "--on", "000100/A", "--file",
          path("sheet.txt").string()});
    EXPECT_EQ(done({"cat", "000100/A:second"}).out, "sheet 2\n");
    EXPECT_THAT(keld({"new", "dataset", "x", "--type", "Text", "--file", "nowhere.txt"}).err,
                HasSubstr("there is no file nowhere.txt"));
    EXPECT_THAT(keld({"new", "dataset", "x", "--type", "Text", "--on", "000100/A", "--relation",
                      "VANE_specifcation"})
                    .err,
                HasSubstr("Did you mean VANE_specification?"));
}

TEST_F(MakingVerbs, AFormIsMadeWithValuesAndAFolderWithContents) {
    const Result form =
        thereAndBack({"new", "form", "Report", "--type", "Item Master", "--on", "000100/A",
                      "--relation", "VANE_reference", "item_comment=bench 3"});
    EXPECT_THAT(form.out, ContainsRegex("made #" DIGIT "+ Report .Item Master."));
    const auto folder = done({"new", "folder", "Pumps", "--json"}).json()["tag"].get<unsigned>();
    const std::string name = "#" + std::to_string(folder);
    done({"new", "folder", "Old pumps", "--in", name});
    EXPECT_THAT(done({"tree", name}).out, HasSubstr("Old pumps"));
    EXPECT_THAT(keld({"new", "folder", "x", "--in", "000100"}).err, HasSubstr("not a folder"));
}

TEST_F(MakingVerbs, ANextRevisionHasWhatTheOldOneHas) {
    done({"set", "000100/A", "object_desc=first", "form.item_comment=tried"});
    const Result made = thereAndBack({"revise", "000100", "--carry", "VANE_specification"});
    EXPECT_THAT(made.out, HasSubstr("made 000100/B from 000100/A, 2 lines, 1 attached object"));
    done({"revise", "000100/A", "--id", "X"});
    EXPECT_THAT(done({"show", "000100/X"}).out, HasSubstr("first"));
    const auto document = done({"compare", "000100/A", "000100/X", "--json"}).json();
    ASSERT_EQ(document["differences"], 1) << document;
    EXPECT_EQ(document["properties"][0]["property"], "item_revision_id");
    const Result taken = keld({"revise", "000100", "--id", "X"});
    EXPECT_EQ(taken.exit_code, 1);
    EXPECT_THAT(taken.err, HasSubstr("has a revision X already"));
}

TEST_F(MakingVerbs, PropertiesAreSetAndTakenBack) {
    const Result set = thereAndBack(
        {"set", "000100", "object_name=Big pump", "object_desc=steel", "form.item_comment=tried"});
    EXPECT_THAT(set.out, HasSubstr("set object_name, object_desc, form.item_comment of 000100"));
    EXPECT_THAT(done({"set", "000100", "object_name=Pump"}).out,
                HasSubstr("000100 has these values already"));
}

TEST_F(MakingVerbs, AValueThatDoesNotFitIsRefusedWithWhatWasExpected) {
    const Result unknown = keld({"set", "000100", "object_nme=x"});
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_THAT(unknown.err, HasSubstr("the type Item has no property 'object_nme'"));
    EXPECT_THAT(unknown.err, HasSubstr("Did you mean object_name?"));
    const Result kind = keld({"set", "000100", "form.weight=heavy"});
    EXPECT_EQ(kind.exit_code, 1);
    EXPECT_THAT(kind.err, HasSubstr("heavy"));
    EXPECT_THAT(kind.err, HasSubstr("no number"));
    EXPECT_THAT(keld({"set", "000100", "item_id=P-1"}).err, HasSubstr("use keld rename"));
    EXPECT_EQ(keld({"set", "000100"}).exit_code, 2);
    EXPECT_EQ(keld({"set", "000100", "object_name=a", "object_name=b"}).exit_code, 2);
}

TEST_F(MakingVerbs, WhatAnotherUserHasCheckedOutIsRefusedWithWhoHasIt) {
    addKelda();
    done({"checkout", "000100/A", "--comment", "new bearing"});
    const Result result = keld({"set", "000100/A", "object_name=x", "--user", "kelda"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, ContainsRegex("held by +user infodba since .*: new bearing"));
    EXPECT_THAT(result.err, HasSubstr("allowed  not checked out by another user"));
    const auto document =
        keld({"set", "000100/A", "object_name=x", "--user", "kelda", "--json"}).json();
    EXPECT_EQ(document["refusal"]["object"], "000100/A");
    EXPECT_EQ(document["succeeded"], false);
    EXPECT_EQ(document["run"]["kept"], false);
}

TEST_F(MakingVerbs, WhoMayNotWriteIsRefusedByEachVerb) {
    addKelda();
    done({"rights", "add", "deny", "WRITE", "--of-user", "kelda"});
    done({"rights", "add", "deny", "DELETE", "--of-user", "kelda"});
    const std::vector<std::vector<std::string>> verbs = {
        {"set", "000100", "object_name=x"},
        {"revise", "000100"},
        {"bom", "add", "000102/A", "000103"},
        {"bom", "remove", "000100", "/10"},
        {"bom", "set", "000100", "/10", "--quantity", "9"},
        {"delete", "000100/A:drawing", "--cut"},
        {"checkout", "000100"}};
    done({"new", "item", "000103"});
    const std::string before = exported();
    for (std::vector<std::string> verb : verbs) {
        verb.insert(verb.end(), {"--user", "kelda"});
        const Result result = keld(verb);
        EXPECT_EQ(result.exit_code, 1) << verb[0] << verb[1];
        EXPECT_THAT(result.err, HasSubstr("user kelda may not ")) << verb[0] << verb[1];
    }
    EXPECT_EQ(exported(), before);
}

TEST_F(MakingVerbs, LinesAreAddedChangedAndRemovedAndTakenBack) {
    EXPECT_THAT(thereAndBack({"bom", "add", "000101", "000102/A", "--quantity", "2.5"}).out,
                HasSubstr("added 000102/A to 000101/A as number 20, quantity 2.5"));
    EXPECT_THAT(thereAndBack({"bom", "set", "000100", "000101", "--quantity", "9"}).out,
                HasSubstr("set 000101/A (number 10) of 000100/A"));
    EXPECT_THAT(thereAndBack({"bom", "remove", "000100/A", "/20"}).out,
                HasSubstr("removed 000102/A (number 20) from 000100/A"));
    EXPECT_THAT(thereAndBack({"bom", "set", "000100", "/10", "--number", "15"}).out,
                HasSubstr("of 000100/A"));
}

TEST_F(MakingVerbs, LinesThatCannotBeAreRefused) {
    const Result cycle = keld({"bom", "add", "000102", "000100"});
    EXPECT_EQ(cycle.exit_code, 1);
    EXPECT_THAT(cycle.err, HasSubstr("which is a part of it"));
    EXPECT_THAT(keld({"bom", "add", "000102", "000103", "--quantity", "2"}).err,
                HasSubstr("no object '000103'"));
    EXPECT_THAT(keld({"bom", "set", "000100", "/10", "--quantity", "two"}).err,
                HasSubstr("no decimal number"));
    const Result unknown = keld({"bom", "remove", "000100", "/11"});
    EXPECT_EQ(unknown.exit_code, 1);
    EXPECT_THAT(unknown.err, HasSubstr("Did you mean /10?"));
    EXPECT_EQ(keld({"bom", "set", "000100", "/10"}).exit_code, 2);
    done({"bom", "add", "000100", "000101"});
    EXPECT_THAT(keld({"bom", "remove", "000100", "000101"}).err,
                HasSubstr("000101/A (number 10), 000101/A (number 30)"));
    done({"bom", "remove", "000100", "000101", "--all"});
}

TEST_F(MakingVerbs, ObjectsAreAttachedDetachedAndTakenBack) {
    EXPECT_THAT(thereAndBack({"attach", "000100/A:drawing", "--to", "000102/A", "--relation",
                              "VANE_reference"})
                    .out,
                HasSubstr("attached 000100/A:drawing to 000102/A by VANE_reference"));
    EXPECT_THAT(thereAndBack({"detach", "000100/A:drawing", "--of", "000100/A"}).out,
                HasSubstr("from 000100/A"));
    EXPECT_THAT(done({"attach", "000100/A:drawing", "--to", "000100/A"}).out,
                HasSubstr("attached to 000100/A by VANE_specification already"));
}

TEST_F(MakingVerbs, WhatIsUsedIsDeletedOnlyByWhoSaysSo) {
    const Result used = keld({"delete", "000102"});
    EXPECT_EQ(used.exit_code, 1);
    EXPECT_THAT(used.err, HasSubstr("the structure of 000100/A, the structure of 000101/A"));
    const Result attached = keld({"delete", "000100/A:drawing"});
    EXPECT_EQ(attached.exit_code, 1);
    EXPECT_THAT(attached.err, HasSubstr("000100/A (VANE_specification)"));
    EXPECT_THAT(attached.err, HasSubstr("--cut"));
    EXPECT_THAT(thereAndBack({"delete", "000100/A:drawing", "--cut"}).out,
                HasSubstr("deleted 000100/A:drawing (Text)"));
}

TEST_F(MakingVerbs, APlanOfOneIsCarriedOut) {
    done({"set", "000100", "object_name=Big pump", "--dry-run", "--plan", "plan.json"});
    EXPECT_THAT(done({"apply", "plan.json"}).out, HasSubstr("set object_name of 000100"));
    EXPECT_EQ(done({"show", "000100", "--json"}).json()["name"], "Big pump");
    EXPECT_EQ(keld({"apply", "plan.json"}).exit_code, 1) << "the item isn't what it was";
}
