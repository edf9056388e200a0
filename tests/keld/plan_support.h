#pragma once

// Plans for a test: written, read, changed by hand, carried out.

#include "tests/keld/program.h"

namespace keld_test {

class WithPlans : public ProgramWithStore {
protected:
    std::string status(const std::string& object) {
        const auto shown = done({"status", "show", object, "--json"}).json()["status"];
        return shown.is_null() ? "" : shown.get<std::string>();
    }
    // Rehearse and write the plan, which goes through.
    nlohmann::json planned(std::vector<std::string> arguments,
                           const std::string& name = "plan.json") {
        arguments.insert(arguments.end(), {"--dry-run", "--plan", name});
        done(arguments);
        return nlohmann::json::parse(readFile(path(name)));
    }
    void rewrite(const nlohmann::json& plan, const std::string& name = "plan.json") {
        writeFile(path(name), plan.dump());
    }
    // The plan isn't carried out, and says why.
    void expectRefusal(const std::string& why, const std::string& name = "plan.json") {
        const std::string before = exported();
        const Result result = keld({"apply", name});
        EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
        EXPECT_THAT(result.err, testing::HasSubstr(why));
        EXPECT_EQ(exported(), before);
    }
};

}  // namespace keld_test
