#include "tests/keld/program.h"

using namespace keld_test;
using testing::HasSubstr;
using testing::Not;

class Status : public ProgramWithStore {
protected:
    std::string status(const std::string& object) {
        const auto shown = done({"status", "show", object, "--json"}).json()["status"];
        return shown.is_null() ? "" : shown.get<std::string>();
    }
    nlohmann::json change(const nlohmann::json& document, const std::string& object) {
        for (const auto& each : document["changes"])
            if (each["object"] == object)
                return each;
        return {};
    }
};

TEST_F(Status, ARevisionIsFrozenWithItsDocuments) {
    const auto document = done({"status", "set", "000100/A", "Frozen", "--json"}).json();
    EXPECT_EQ(change(document, "000100/A")["previous"], nullptr);
    EXPECT_EQ(change(document, "000100/A")["new"], "Frozen");
    EXPECT_EQ(change(document, "000100/A:drawing")["new"], "Frozen");
    EXPECT_EQ(document["jobs"].size(), 1u);
    EXPECT_EQ(status("000100/A"), "Frozen");
    EXPECT_EQ(status("000101/A"), "");
}

TEST_F(Status, TheChangesAreATable) {
    const Result result = done({"status", "set", "000102/A", "Frozen"});
    EXPECT_THAT(result.out, HasSubstr("PREVIOUS STATUS"));
    EXPECT_THAT(result.out, testing::ContainsRegex("000102/A +ItemRevision +none +Frozen"));
    EXPECT_THAT(result.out, HasSubstr("log in " + path("keld.log").string()));
}

TEST_F(Status, AStructureIsReleasedFromItsTopLine) {
    done({"status", "set", "000100/A", "Released", "--structure"});
    for (const char* object : {"000100/A", "000101/A", "000102/A"})
        EXPECT_EQ(status(object), "Released") << object;
}

TEST_F(Status, AStructureCanBeNamedByItsItem) {
    done({"status", "set", "000100", "Released", "--structure"});
    EXPECT_EQ(status("000102/A"), "Released");
}

TEST_F(Status, ARefusalShowsItsTextAndTheLinesOfTheLogAndChangesNothing) {
    done({"checkout", "000102/A"});
    const Result result = keld({"status", "set", "000100/A", "Released", "--structure"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("refused: 919405: "));
    EXPECT_THAT(result.err, HasSubstr("is checkout"));
    EXPECT_THAT(result.out, HasSubstr("nothing changed"));
    EXPECT_EQ(status("000100/A"), "");
}

TEST_F(Status, OnlyLinesOfThisRunAreShown) {
    done({"checkout", "000102/A"});
    keld({"status", "set", "000102/A", "Frozen"});
    done({"checkin", "000102/A"});
    EXPECT_THAT(done({"status", "set", "000102/A", "Frozen"}).out, Not(HasSubstr("is checkout")));
}

TEST_F(Status, APreviousStatusThatIsNotAllowedIsRefused) {
    done({"status", "set", "000102/A", "Released"});
    const Result result = keld({"status", "set", "000102/A", "InWork", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.json()["outcome"]["slot"]["value"], 919403);
    EXPECT_FALSE(result.json()["outcome"]["slot"]["text"].get<std::string>().empty());
    EXPECT_FALSE(result.json()["outcome"]["log_problems"].empty());
}

TEST_F(Status, ADryRunShowsTheObjectsInVisitingOrder) {
    const std::string before = done({"export"}).out;
    const auto document =
        done({"status", "set", "000100/A", "Released", "--structure", "--dry-run", "--json"})
            .json();
    const auto& visits = document["visits"];
    std::vector<std::string> order;
    for (const auto& visit : visits)
        if (visit["type"] == "ItemRevision" && visit["pass"] == "attributes")
            order.push_back(visit["object"]);
    // The leaves come first; a revision that is used twice is skipped the second time.
    EXPECT_EQ(order, (std::vector<std::string>{"000102/A", "000101/A", "000102/A", "000100/A"}));
    EXPECT_EQ(visits[0]["section"], "Released_BOMLine");
    EXPECT_EQ(change(document, "000100/A")["new"], "Released");
    EXPECT_EQ(done({"export"}).out, before);
    EXPECT_FALSE(fs::exists(path("keld.log")));
}

TEST_F(Status, ADryRunShowsTheRefusalAndWhereItIs) {
    done({"checkout", "000102/A"});
    const Result result =
        keld({"status", "set", "000101/A", "Released", "--structure", "--dry-run", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const nlohmann::json document = result.json();
    const auto& last = document["visits"].back();
    EXPECT_EQ(last["object"], "000102/A");
    EXPECT_EQ(last["result"], "refused");
    EXPECT_EQ(document["outcome"]["slot"]["value"], 919405);
}

TEST_F(Status, ADryRunLeavesNothingBehind) {
    environment()["TMPDIR"] = path("tmp").string();
    fs::create_directory(path("tmp"));
    done({"status", "set", "000102/A", "Frozen", "--dry-run"});
    EXPECT_TRUE(fs::is_empty(path("tmp")));
}

TEST_F(Status, AnUnknownStatusIsAnsweredWithTheNearestOne) {
    const Result result = keld({"status", "set", "000100/A", "Frosen"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("no status 'Frosen'"));
    EXPECT_THAT(result.err, HasSubstr("Did you mean Frozen?"));
}

TEST_F(Status, AnUnknownTypeIsAnsweredWithTheNearestOne) {
    const Result result = keld({"status", "set", "000100/A", "Frozen", "--type", "ItemRevison"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("ItemRevision"));
}

TEST_F(Status, ATypeThatIsNotSelectedIsRefusedByTheService) {
    const Result result = keld({"status", "set", "000100/A:drawing", "Frozen"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("refused: 919402"));
}

TEST_F(Status, WithoutAConfigurationTheVerbSaysWhereItLooked) {
    environment()["KELD_CFG_PATH"] = directory().string();
    const Result result = keld({"status", "set", "000100/A", "Frozen"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("--cfg"));
    done({"status", "set", "000100/A", "Frozen", "--cfg", KELD_SOURCE_DIR "/tests/keld/config"});
}

TEST_F(Status, StructureAndTypeExcludeEachOther) {
    EXPECT_EQ(
        keld({"status", "set", "000100/A", "Frozen", "--structure", "--type", "Item"}).exit_code,
        2);
}

TEST_F(Status, AnObjectWithoutAStatusIsShownAsSuch) {
    EXPECT_THAT(done({"status", "show", "000100/A"}).out, HasSubstr("status    none"));
    EXPECT_EQ(keld({"status", "show", "999999"}).exit_code, 1);
}
