// What --visits and a dry run tell of the objects that a service looked at.

#include "tests/keld/program.h"

using namespace keld_test;
using nlohmann::json;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class Visits : public ProgramWithStore {
protected:
    static std::string passOf(const json& visit) {
        return visit["pass"].is_null() ? "" : visit["pass"].get<std::string>();
    }
    // "object section result", for a BOM line with "line" before it.
    static std::vector<std::string> told(const json& document, const std::string& pass) {
        std::vector<std::string> texts;
        for (const json& visit : document["visits"])
            if (passOf(visit) == pass)
                texts.push_back((visit["type"] == "BOMLine" ? "line " : "") +
                                visit["object"].get<std::string>() + " " +
                                visit["section"].get<std::string>() + " " +
                                visit["result"].get<std::string>());
        return texts;
    }
    // The only visit of the object, in a pass.
    static json visit(const json& document, const std::string& object,
                      const std::string& pass = "") {
        json found;
        for (const json& each : document["visits"])
            if (each["object"] == object && each["type"] != "BOMLine" && passOf(each) == pass)
                found = each;
        return found;
    }
    json visits(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--visits", "--json"});
        return keld(arguments).json();
    }
};

}  // namespace

TEST_F(Visits, OfAStatusRunHavePassSectionResultAndWay) {
    const json document = visits({"status", "set", "000101/A", "Released", "--structure"});
    EXPECT_EQ(document["succeeded"], true);
    EXPECT_THAT(told(document, "test"),
                ElementsAre("line 000101/A Released_BOMLine not concerned",
                            "line 000102/A Released_BOMLine not concerned",
                            "000102/A Released_ItemRevision allowed",
                            "000101/A Released_ItemRevision allowed",
                            testing::MatchesRegex("#.* Released_BOM allowed")));
    EXPECT_THAT(told(document, "attributes"),
                ElementsAre("line 000101/A Released_BOMLine not concerned",
                            "line 000102/A Released_BOMLine not concerned",
                            "000102/A Released_ItemRevision changed",
                            "000101/A Released_ItemRevision changed",
                            testing::MatchesRegex("#.* Released_BOM changed")));
    EXPECT_EQ(told(document, "actions").size(), 5u);
    const json part = visit(document, "000102/A", "attributes");
    EXPECT_EQ(part["path"], json({"000101/A", "000102/A"}));
    EXPECT_EQ(part["previous"], nullptr);
    EXPECT_EQ(part["new"], "Released");
    EXPECT_EQ(visit(document, "000102/A", "test")["new"], nullptr) << "nothing is changed yet";
}

TEST_F(Visits, TellWhatIsAlreadyThereAndWhatASectionLeavesAlone) {
    done({"status", "set", "000100/A", "Frozen"});
    const json again = visits({"status", "set", "000100/A", "Frozen", "--dry-run"});
    EXPECT_EQ(visit(again, "000100/A:drawing", "attributes")["result"], "already there");
    EXPECT_EQ(visit(again, "000100/A", "attributes")["rule"], "a form was filled");
    EXPECT_EQ(visit(again, "000100/A", "actions")["rule"], "a workflow was started");
    done({"status", "set", "000102/A", "Released"});
    const json document = visits({"status", "set", "000101/A", "Released", "--structure"});
    const json skipped = visit(document, "000102/A", "test");
    EXPECT_EQ(skipped["result"], "not concerned");
    EXPECT_EQ(skipped["rule"], "DoNothingOnReleaseStatus");
}

TEST_F(Visits, EndAtTheObjectThatIsRefused) {
    done({"checkout", "000102/A"});
    const json document = visits({"status", "set", "000100/A", "Released", "--structure"});
    const json last = document["visits"].back();
    EXPECT_EQ(last["object"], "000102/A");
    EXPECT_EQ(last["result"], "refused");
    EXPECT_EQ(last["rule"], "The object is checked out");
    EXPECT_EQ(last["path"], json({"000100/A", "000101/A", "000102/A"}));
}

TEST_F(Visits, ARunThatStopsOnItsWayBackEndsAtTheObjectItself) {
    // The part and the view get their status before the upper revision.
    environment()["MERVANE_FAULTS"] = "DBO_append_attr_tags:3=4711";
    const json document = visits({"status", "set", "000101/A", "Released", "--structure"});
    std::vector<std::string> refused;
    for (const json& visit : document["visits"])
        if (visit["result"] == "refused")
            refused.push_back(visit["object"]);
    EXPECT_THAT(refused, ElementsAre("000101/A")) << document["visits"];
}

TEST_F(Visits, WhatARunWasOnTheWayFromWhenItEndedIsNotConcerned) {
    environment()["MERVANE_FAULTS"] = "DBO_append_attr_tags:2=4711";
    const json document = visits({"status", "set", "000101/A", "Released", "--structure"});
    EXPECT_EQ(document["visits"].back()["result"], "refused");
    const json upper = visit(document, "000101/A", "attributes");
    EXPECT_EQ(upper["result"], "not concerned");
    EXPECT_EQ(upper["rule"], "the run ended before its turn");
    EXPECT_EQ(visit(document, "000102/A", "attributes")["result"], "changed");
}

TEST_F(Visits, AreAllThereThoughTheLogIsBegunAnewAgainAndAgain) {
    constexpr int kParts = 200;
    json items = json::array(), lines = json::array();
    std::vector<std::string> parts;
    for (int i = 0; i < kParts; ++i) {
        const std::string id = "p" + std::to_string(i);
        lines.push_back({{"item", id}, {"quantity", "1"}, {"number", std::to_string(i + 1)}});
        items.push_back({{"id", id}, {"name", id}, {"revisions", {{{"id", "A"}}}}});
        parts.push_back(id + "/A");
    }
    items.push_back(
        {{"id", "top"}, {"name", "top"}, {"revisions", {{{"id", "A"}, {"bom", lines}}}}});
    writeFile(path("wide.json"), json{{"world", 1}, {"items", items}}.dump());
    done({"load", path("wide.json").string()});
    environment()["KELD_LOG_MAX_MB"] = "1";
    const json document = visits({"status", "set", "top/A", "Released", "--structure"});
    std::vector<std::string> seen;
    for (const json& visit : document["visits"])
        if (passOf(visit) == "attributes" && visit["type"] == "ItemRevision") {
            seen.push_back(visit["object"]);
            EXPECT_EQ(visit["path"][0], "top/A");
            EXPECT_EQ(visit["result"], "changed") << visit;
        }
    parts.emplace_back("top/A");
    EXPECT_EQ(seen, parts);
    EXPECT_EQ(document["visits"].size(), 3u * (2 * kParts + 3));
    EXPECT_TRUE(fs::exists(path("keld.log.1")));
}

TEST_F(Visits, ATableShowsThemOnlyWhenTheyAreWanted) {
    EXPECT_THAT(done({"status", "set", "000102/A", "Frozen"}).out, Not(HasSubstr("RESULT")));
    done({"runs", "undo", "2"});
    const Result result = done({"status", "set", "000102/A", "Frozen", "--visits"});
    EXPECT_THAT(result.out,
                ContainsRegex("000102/A +ItemRevision +test +Frozen_ItemRevision +none +none"
                              " +allowed"));
    EXPECT_THAT(result.out,
                ContainsRegex("attributes +Frozen_ItemRevision +none +Frozen +changed"));
}

TEST_F(Visits, ADryRunsTableLeavesOutWhatCameToNothing) {
    const std::string out = done({"status", "set", "000102/A", "Frozen", "--dry-run"}).out;
    EXPECT_THAT(out, Not(ContainsRegex(" test +Frozen")));
    EXPECT_THAT(out, ContainsRegex("attributes +Frozen_ItemRevision"));
    EXPECT_THAT(out, ContainsRegex("actions +Frozen_ItemRevision +Frozen +Frozen +changed"));
}

TEST_F(Visits, OfARenameAreTheObjectsInTheOrderInWhichItTouchedThem) {
    const json document = visits({"rename", "000101", "--to", "P-1", "--dry-run"});
    ASSERT_FALSE(document["visits"].empty());
    EXPECT_EQ(document["visits"][0]["object"], "P-1") << "as the run has left it";
    EXPECT_EQ(document["visits"][0]["result"], "changed");
    const json revision = visit(document, "P-1/A");
    EXPECT_EQ(revision["path"], json({"P-1", "P-1/A"}));
    EXPECT_EQ(revision["section"], nullptr);
}

TEST_F(Visits, OfACopyTellTheSourceAndWhoHasTheValuesAlready) {
    done({"prefs", "set", "KELD_CopyAttributes_WSO", "--", "Item;object_name"});
    done({"copy-attr", "000100", "000101"});
    const json document = visits({"copy-attr", "000100", "000101", "000102", "--dry-run"});
    EXPECT_EQ(visit(document, "000100")["result"], "not concerned");
    EXPECT_EQ(visit(document, "000100")["rule"], "it is only read");
    EXPECT_EQ(visit(document, "000102")["result"], "changed");
    EXPECT_EQ(visit(document, "000101")["result"], "already there");
}

TEST_F(Visits, OfARenumberingAreItsLines) {
    const json document = visits({"bom", "resequence", "000100/A", "--sort", "--dry-run"});
    std::vector<std::string> lines;
    for (const json& each : document["visits"])
        if (each["type"] == "BOMLine")
            lines.push_back(each["object"]);
    EXPECT_THAT(lines, testing::IsSupersetOf({"000100/A", "000101/A", "000102/A"}));
    EXPECT_EQ(lines.front(), "000100/A");
}

TEST_F(Visits, OfADeletionCheckTellWhichObjectsAreAllowed) {
    const json document = visits({"delete-check", "000100/A:drawing", "000102"});
    EXPECT_EQ(visit(document, "000100/A:drawing")["result"], "allowed");
    EXPECT_EQ(visit(document, "000102")["result"], "not concerned");
}

TEST_F(Visits, CanBeHadOfAnyServiceThatIsCalled) {
    const json status = visits(
        {"call", "KELD_StatusManager", "s:Frozen", "s:ItemRevision", "t:000102/A", "--dry-run"});
    EXPECT_EQ(visit(status, "000102/A", "attributes")["result"], "changed");
    const json rename =
        visits({"call", "KELD_ReNameItem", "s:P-2", "s:", "s:", "t:000102", "--dry-run"});
    EXPECT_EQ(visit(rename, "P-2")["result"], "changed") << rename["visits"];
}
