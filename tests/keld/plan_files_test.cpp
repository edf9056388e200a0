// Files that are no plan, or one that is damaged or made up: each is refused with what is wrong.

#include "tests/keld/plan_support.h"

using namespace keld_test;
using testing::HasSubstr;

class PlanFiles : public WithPlans {
protected:
    void SetUp() override {
        ProgramWithStore::SetUp();
        plan_ = planned({"status", "set", "000102/A", "Frozen"});
        text_ = readFile(path("plan.json"));
    }
    // Refused without a look at the store.
    void expectUseless(const std::string& content, const std::string& why) {
        writeFile(path("bad.json"), content);
        const Result result = keld({"apply", "bad.json"});
        EXPECT_EQ(result.exit_code, 1) << content.substr(0, 200);
        EXPECT_THAT(result.err, HasSubstr(why)) << content.substr(0, 200);
    }
    void expectUseless(const nlohmann::json& plan, const std::string& why) {
        expectUseless(plan.dump(), why);
    }

    nlohmann::json plan_;
    std::string text_;
};

TEST_F(PlanFiles, WhatIsNoDocumentIsRefused) {
    expectUseless(std::string(), "it is empty, expected a JSON document");
    expectUseless(std::string("plan: 1\n"), "it is no JSON document; byte 1 ");
    expectUseless(std::string("[1, 2]"), "it is a list, expected an object");
    expectUseless(std::string("{}"), "it has no key \"plan\"");
    EXPECT_THAT(keld({"apply", "nowhere.json"}).err, HasSubstr("there is no file nowhere.json"));
    fs::create_directory(path("directory"));
    EXPECT_THAT(keld({"apply", "directory"}).err, HasSubstr("directory is no regular file"));
    EXPECT_EQ(keld({"apply"}).exit_code, 2);
}

TEST_F(PlanFiles, APlanThatIsCutOffIsRefused) {
    for (std::size_t part = 1; part < 8; ++part)
        expectUseless(text_.substr(0, text_.size() * part / 8), "it is ");
    expectUseless(text_.substr(0, text_.rfind('}')), "it is cut off after byte ");
}

TEST_F(PlanFiles, AKeyThatIsMissingIsNamed) {
    for (const auto& each : plan_.items()) {
        auto without = plan_;
        without.erase(each.key());
        expectUseless(without, "it has no key \"" + each.key() + "\"");
    }
    for (const auto& [list, key] :
         std::vector<std::pair<std::string, std::string>>{{"calls", "service"},
                                                          {"calls", "arguments"},
                                                          {"objects", "tag"},
                                                          {"objects", "version"},
                                                          {"objects", "type"},
                                                          {"searches", "class"},
                                                          {"searches", "attribute"},
                                                          {"entries", "change"},
                                                          {"entries", "tag"},
                                                          {"entries", "values"}}) {
        auto without = plan_;
        without[list][0].erase(key);
        expectUseless(without, "\"" + list + "\", number 1 has no key \"" + key + "\"");
    }
    for (const auto& part : {"run", "outcome", "configuration"})
        for (const auto& each : plan_[part].items()) {
            auto without = plan_;
            without[part].erase(each.key());
            expectUseless(without, "\"" + std::string(part) + "\" has no key \"" + each.key());
        }
}

TEST_F(PlanFiles, AValueOfAnotherKindIsNamed) {
    const auto with = [&](const char* where, const nlohmann::json& value) {
        auto changed = plan_;
        changed[nlohmann::json::json_pointer(where)] = value;
        return changed;
    };
    expectUseless(with("/version", 1), "\"version\" is a number, expected a text");
    expectUseless(with("/command", "status"), "\"command\" is a text, expected a list");
    expectUseless(with("/command/1", nullptr), "\"command\", number 2 is null, expected a text");
    expectUseless(with("/objects/0/version", -1), "is -1, expected a number from 0");
    expectUseless(with("/objects/0/version", 18446744073709551615ULL), "is too large");
    expectUseless(with("/objects/0/tag", 4294967296), "expected a number from 0 to 4294967295");
    expectUseless(with("/objects/0/tag", 1.5), "expected a whole number");
    expectUseless(with("/entries/0/change", "eaten"), "is \"eaten\", expected one of made, ");
    expectUseless(with("/entries/0/values/0/after", 1), "is a number, expected a list");
    expectUseless(with("/entries/0/values/0/after", {{{"date", "today"}}}), "is no date");
    expectUseless(with("/entries/0/values/0/after", {{{"double", "x"}}}), "holds no number");
    expectUseless(with("/entries/0/values/0/after", {{{"bytes", "0"}}}), "holds no bytes");
    expectUseless(with("/entries/0/values/0/after", {{{"bytes", "0g"}}}), "holds no bytes");
    expectUseless(with("/entries/0/values/0/after", {{{"what", 1}}}), "expected a text");
    expectUseless(with("/run/began", "yesterday"), "\"run\", \"began\" is no moment");
    expectUseless(with("/outcome/result", "refused"), "is \"refused\", expected \"done\" or ");
    expectUseless(with("/configuration", "x.ini"), "\"configuration\" is a text");
}

TEST_F(PlanFiles, AnotherVersionOfPlansIsRefused) {
    plan_["plan"] = 2;
    expectUseless(plan_, "\"plan\" is 2, this keld reads version 1");
}

TEST_F(PlanFiles, ACommandThatHasNoPlansIsRefused) {
    const std::string before = exported();
    plan_["command"] = {"users", "add", "mallory", "--in-group", "dba"};
    expectUseless(plan_, "there are no plans of the verb users");
    plan_["command"] = {"apply", "plan.json"};
    expectUseless(plan_, "there are no plans of the verb apply");
    plan_["command"] = {"paint", "it"};
    expectUseless(plan_, "its command can't be understood");
    plan_["command"] = nlohmann::json::array();
    expectUseless(plan_, "its command is empty");
    plan_["command"] = {"copy-attr", "--check"};
    expectUseless(plan_, "its command makes no run");
    // How it runs is up to who carries it out.
    plan_["command"] = {"status", "set", "000102/A", "Frozen", "--as-server", "--user", "nobody"};
    plan_["entries"] = nlohmann::json::array();
    expectUseless(plan_, "doesn't come to what the plan bad.json says");
    EXPECT_EQ(exported(), before);
}

TEST_F(PlanFiles, ATextThatIsNoUtf8IsKeptToTheByte) {
    planned({"rename", "000102", "--to", "P-1", "--name", "M\xFCller"}, "bytes.json");
    EXPECT_THAT(readFile(path("bytes.json")), HasSubstr("{\"bytes\":\"4dfc6c6c6572\"}"));
    done({"apply", "bytes.json"});
    EXPECT_THAT(done({"show", "P-1"}).out, HasSubstr("M\\xfcller"));
}
