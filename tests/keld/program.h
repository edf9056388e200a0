#pragma once

// Runs the built keld in a directory of its own and keeps what it says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tests/support/run_program.h"
#include "tests/support/store_kind.h"

namespace keld_test {

namespace fs = std::filesystem;

struct Result : Ended {
    nlohmann::json json() const { return nlohmann::json::parse(out); }
};

class Program : public testing::Test {
protected:
    Program() {
        if (onServer())
            environment()["MERVANE_STORE"] = storeIn(made_.string(), "keld.db");
    }
    const fs::path& directory() const { return around_.directory; }
    // With the system's separators, as programs print it.
    fs::path path(const std::string& name) const { return (made_ / name).make_preferred(); }
    std::map<std::string, std::string>& environment() { return around_.environment; }

    // Run keld with these arguments in the test's directory.
    Result keld(const std::vector<std::string>& arguments) {
        return {runProgram(KELD_PROGRAM, arguments, around_)};
    }

    // From here on keld runs as somebody whom rights of files stop.
    void becomeUnprivileged() {
        around_.unprivileged = true;
        fs::permissions(directory(), fs::perms(0755));
    }

    // The same, and it must succeed.
    Result done(const std::vector<std::string>& arguments) {
        Result result = keld(arguments);
        EXPECT_EQ(result.exit_code, 0) << testing::PrintToString(arguments) << "\n"
                                       << result.out << result.err;
        return result;
    }

private:
    const Directory made_;
    Surroundings around_{made_,
                         {"MERVANE_STORE", "KELD_CFG_PATH", "KELD_LOG_FILE", "KELD_LOG_LEVEL",
                          "MERVANE_JOURNAL", "MERVANE_FAULTS", "KELD_LOG_MAX_MB", "COLUMNS"},
                         {}};
};

// A store with the small world of world.json and the sample configuration.
class ProgramWithStore : public Program {
protected:
    void SetUp() override {
        done({"init"});
        done({"load", KELD_SOURCE_DIR "/tests/keld/world.json"});
        environment()["KELD_CFG_PATH"] = KELD_SOURCE_DIR "/tests/keld/config";
    }
    // Work with a configuration of the test's own.
    void configure(const std::string& ini) {
        writeFile(path("keld_statusmanager.ini"), ini);
        environment()["KELD_CFG_PATH"] = directory().string();
    }
    // The store as a document, without the dates of the last change.
    std::string exported() {
        auto document = done({"export"}).json();
        for (auto& object : document["objects"])
            object["values"].erase("last_mod_date");
        return document.dump();
    }
};

}  // namespace keld_test
