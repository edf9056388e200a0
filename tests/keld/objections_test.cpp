// Everything that refuses a status, with remedies that are tried out in a rehearsal.

#include <sqlite3.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "tests/keld/program.h"
#include "tests/support/patterns.h"

using namespace keld_test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class StatusObjections : public ProgramWithStore {
protected:
    static constexpr const char* kIni =
        "[GLOBAL]\nPrivilegName=CHANGE\n"
        "[SelectWSO]\nItemRevision=1\nBOMLine=1\n"
        "[Frozen_ItemRevision]\nPrevReleaseStatus=none\nSetReleaseState=Frozen\n"
        "[Released_BOMLine]\nChangeForward=ChildBomLines;bl_revision\n"
        "[Released_ItemRevision]\nDoNothingOnReleaseStatus=Released\n"
        "PrevReleaseStatus=Frozen\nCheckNeedFields=user_data_1;user_data_2\n"
        "SetReleaseState=Released\n";

    Result objections(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"status", "objections"});
        return keld(arguments);
    }
    nlohmann::json listed(std::vector<std::string> arguments) {
        arguments.emplace_back("--json");
        return objections(arguments).json();
    }
    // "919405 000102/A" for each, in order.
    static std::vector<std::string> briefly(const nlohmann::json& document) {
        std::vector<std::string> all;
        for (const auto& each : document["objections"])
            all.push_back(each["status"].dump() + " " + each["object"].get<std::string>());
        return all;
    }
    void deny(const std::string& object, const std::string& user, const std::string& privilege) {
        writeFile(path("rights.json"), nlohmann::json{{"world", 1},
                                                      {"rights",
                                                       {{{"subject_kind", "user"},
                                                         {"subject", user},
                                                         {"scope_kind", "object"},
                                                         {"scope", object},
                                                         {"privilege", privilege},
                                                         {"allowed", false}}}}}
                                           .dump());
        done({"load", path("rights.json").string()});
    }
    // Every row of every table, without the locks, which are in a file beside the store.
    std::string tables() {
        std::string all;
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(path("keld.db").string().c_str(), &database), SQLITE_OK);
        const auto rows = [&](const std::string& sql) {
            std::vector<std::string> found;
            sqlite3_stmt* statement = nullptr;
            EXPECT_EQ(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr),
                      SQLITE_OK);
            while (sqlite3_step(statement) == SQLITE_ROW) {
                std::string row;
                for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, i));
                    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, i));
                    row += (bytes ? std::string(bytes, size) : "null") + "|";
                }
                found.push_back(row);
            }
            sqlite3_finalize(statement);
            std::sort(found.begin(), found.end());
            return found;
        };
        for (std::string table : rows("SELECT name FROM sqlite_schema WHERE type='table'")) {
            table.pop_back();
            all += "== " + table + "\n";
            for (const std::string& row : rows("SELECT * FROM \"" + table + "\""))
                all += row + "\n";
        }
        sqlite3_close(database);
        return all;
    }
    std::map<std::string, std::string> files() {
        std::map<std::string, std::string> all;
        for (const auto& entry : fs::recursive_directory_iterator(directory()))
            if (const std::string name = entry.path().filename().string();
                entry.is_regular_file() && !name.starts_with(".out") && !name.starts_with(".err") &&
                !name.starts_with("keld.db-"))
                all[entry.path().string()] = name == "keld.db" ? "" : readFile(entry.path());
        return all;
    }
};

TEST_F(StatusObjections, ARunThatPassesHasNone) {
    const Result result = objections({"000100/A", "Released", "--structure"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.out, HasSubstr("nothing prevents the run"));
    const auto document = listed({"000102/A", "Frozen"});
    EXPECT_TRUE(document["objections"].empty());
    EXPECT_EQ(document["end"], "passes");
}

TEST_F(StatusObjections, EachIsToldWithItsRuleItsPlaceAndARemedyAsACommand) {
    done({"checkout", "000102/A", "--comment", "new thread"});
    const Result result = objections({"000100/A", "Released", "--structure"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.out, HasSubstr("objection 1: 919405"));
    EXPECT_THAT(result.out, HasSubstr("object   000102/A (ItemRevision)"));
    EXPECT_THAT(result.out, ContainsRegex("path +000100/A > .*000102/A"));
    EXPECT_THAT(result.out, ContainsRegex("held by +user infodba since .*: new thread"));
    EXPECT_THAT(result.out, ContainsRegex("section +.Released_ItemRevision. in .*, line " DIGIT));
    EXPECT_THAT(result.out, HasSubstr("remedy   end the check-out of user infodba\n"));
    EXPECT_THAT(result.out, HasSubstr("command  keld checkin 000102/A\n"));
    EXPECT_THAT(result.out, HasSubstr("1 objection; with these remedies the run passes"));
}

TEST_F(StatusObjections, AllOfThemAreListedAtOnceAndTheCommandsHelpInTheirOrder) {
    configure(kIni);
    done({"checkout", "000102/A"});
    const auto document = listed({"000101/A", "Released", "--structure"});
    EXPECT_EQ(document["end"], "passes");
    EXPECT_EQ(briefly(document),
              (std::vector<std::string>{"919405 000102/A", "919403 000102/A", "919404 000102/A",
                                        "919403 000101/A", "919404 000101/A"}));
    for (const auto& each : document["objections"]) {
        EXPECT_EQ(each["remedy"]["helps"], true) << each;
        if (each["remedy"]["command"].is_null())
            continue;
        std::vector<std::string> words;
        std::istringstream command(each["remedy"]["command"].get<std::string>());
        for (std::string word; command >> word;)
            words.push_back(word);
        ASSERT_EQ(words.front(), "keld");
        words.erase(words.begin());
        done(words);
    }
    EXPECT_EQ(document["objections"][0]["section"], "Frozen_ItemRevision");
    EXPECT_EQ(document["objections"][1]["remedy"]["command"], "keld status set 000102/A Frozen");
    EXPECT_THAT(document["objections"][2]["remedy"]["text"].get<std::string>(),
                HasSubstr("fill the fields user_data_1, user_data_2 of its master form"));
    // What the commands don't mend is left.
    EXPECT_EQ(briefly(listed({"000101/A", "Released", "--structure"})),
              (std::vector<std::string>{"919404 000102/A", "919404 000101/A"}));
}

TEST_F(StatusObjections, OfThemNothingIsKept) {
    configure(kIni);
    done({"checkout", "000102/A"});
    deny("000101/A", "infodba", "CHANGE");
    const std::string before = tables(), exported = done({"export"}).out;
    const auto held = files();
    const auto document = listed({"000100/A", "Released", "--structure"});
    EXPECT_GT(document["objections"].size(), 6u);
    EXPECT_EQ(document["end"], "passes");
    EXPECT_EQ(tables(), before);
    EXPECT_EQ(done({"export"}).out, exported);
    EXPECT_EQ(files(), held);
    EXPECT_EQ(keld({"status", "set", "000102/A", "Frozen"}).exit_code, 1);
}

TEST_F(StatusObjections, TheCheckOutOfAnotherUserIsEndedByHim) {
    done({"users", "add", "otto", "--in-group", "staff", "--new-group"});
    done({"checkout", "000102/A", "--user", "otto"});
    const auto own = listed({"000102/A", "Frozen"})["objections"];
    ASSERT_EQ(own.size(), 1u);
    EXPECT_EQ(own[0]["remedy"]["command"], "keld checkin 000102/A");  // as an administrator
    done({"users", "add", "emma", "--in-group", "staff"});
    const auto document = listed({"000102/A", "Frozen", "--user", "emma"});
    ASSERT_EQ(document["objections"].size(), 1u);
    EXPECT_EQ(document["end"], "passes");
    EXPECT_EQ(document["objections"][0]["remedy"]["command"], "keld checkin 000102/A --user otto");
    EXPECT_THAT(document["objections"][0]["remedy"]["text"].get<std::string>(),
                HasSubstr("user otto or an administrator"));
}

TEST_F(StatusObjections, AMissingPrivilegeIsGranted) {
    deny("000102/A", "infodba", "CHANGE");
    const auto document = listed({"000102/A", "Frozen"});
    EXPECT_EQ(briefly(document), std::vector<std::string>{"919401 000102/A"});
    EXPECT_EQ(document["end"], "passes");
    EXPECT_THAT(document["objections"][0]["remedy"]["text"].get<std::string>(),
                HasSubstr("gives user infodba the privilege CHANGE"));
    EXPECT_EQ(document["objections"][0]["allowed"], "users with the privilege CHANGE");
}

TEST_F(StatusObjections, AStatusThatNoRunGivesIsGivenOutright) {
    configure(
        "[SelectWSO]\nItemRevision=1\n[Released_ItemRevision]\nPrevReleaseStatus=Checked\n"
        "SetReleaseState=Released\n");
    const auto document = listed({"000102/A", "Released"});
    EXPECT_EQ(briefly(document), std::vector<std::string>{"919403 000102/A"});
    EXPECT_EQ(document["end"], "passes");
    EXPECT_EQ(document["objections"][0]["remedy"]["text"],
              "give it the status Checked (no run of its own does that)");
    EXPECT_EQ(document["objections"][0]["remedy"]["command"], nullptr);
}

TEST_F(StatusObjections, ACauseWithoutARemedyEndsTheListAndSaysSo) {
    const Result text = objections({"000100/A:drawing", "Frozen"});
    EXPECT_EQ(text.exit_code, 1);
    EXPECT_THAT(text.out, HasSubstr("remedy   no remedy is known"));
    EXPECT_THAT(text.out, HasSubstr("there may be more after the last one"));
    configure(
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nPrevReleaseStatus=none\n"
        "CheckNeedFields=no_such_field\nSetReleaseState=Frozen\n");
    const auto document = listed({"000102/A", "Frozen"});
    EXPECT_EQ(document["end"], "no remedy");
    ASSERT_EQ(document["objections"].size(), 1u);
    EXPECT_EQ(document["objections"][0]["remedy"]["known"], false);
    EXPECT_EQ(document["objections"][0]["remedy"]["helps"], false);
}

TEST_F(StatusObjections, SectionsThatContradictEachOtherEndTheList) {
    // The run comes to the drawing twice, and each time it should have another status.
    configure(
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nPrevReleaseStatus=none\n"
        "ChangeForward=Rel.VANE_specification.*;Rel.VANE_specification.Text\n"
        "[Frozen_VANE_specification.*]\nPrevReleaseStatus=Checked\n"
        "[Frozen_VANE_specification.Text]\nPrevReleaseStatus=Signed\n");
    const auto document = listed({"000100/A", "Frozen"});
    EXPECT_EQ(document["end"], "remedy didn't help");
    ASSERT_EQ(document["objections"].size(), 2u) << document;
    EXPECT_EQ(document["objections"][0]["section"], "Frozen_VANE_specification.*");
    EXPECT_EQ(document["objections"][0]["remedy"]["helps"], false);
    EXPECT_EQ(document["objections"][1]["section"], "Frozen_VANE_specification.Text");
    EXPECT_THAT(objections({"000100/A", "Frozen"}).out, HasSubstr("; that didn't help"));
}

TEST_F(StatusObjections, FailuresThatTheRulesDropAreListed) {
    configure(
        "[SelectWSO]\nItemRevision=1\n[Frozen_ItemRevision]\nPrevReleaseStatus=none\n"
        "SetReleaseState=Frozen\nStartJob=NoSuchTemplate\n");
    const auto document = listed({"000102/A", "Frozen"});
    EXPECT_TRUE(document["objections"].empty());
    ASSERT_GE(document["failures"].size(), 1u);
    EXPECT_GT(document["failures"][0]["status"].get<int>(), 0);
    const Result text = objections({"000102/A", "Frozen"});
    EXPECT_EQ(text.exit_code, 1);
    EXPECT_THAT(text.out, HasSubstr("failure that the rules drop: "));
    EXPECT_THAT(text.out, Not(HasSubstr("nothing prevents")));
}

TEST_F(StatusObjections, NamesAreCheckedAsBeforeARun) {
    const Result result = objections({"000102/A", "Frosen"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr("Did you mean Frozen?"));
    EXPECT_EQ(objections({"999999", "Frozen"}).exit_code, 1);
    EXPECT_EQ(objections({"000102/A"}).exit_code, 2);
    EXPECT_EQ(objections({"000100/A", "Frozen", "--structure", "--type", "ItemRevision"}).exit_code,
              2);
}
