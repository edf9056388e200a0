// The table of services against the document of them, the exported names, and the tests that are
// to call every one of them.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/places.h"
#include "tools/keld/services.h"

namespace {

namespace fs = std::filesystem;
using keld::Holds;
using keld::Service;
using keld::services;
using keld::Slot;

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t at; (at = text.find(separator, start)) != std::string::npos;
         start = at + separator.size())
        parts.push_back(text.substr(start, at - start));
    parts.push_back(text.substr(start));
    return parts;
}

// The rows of the table in docs/services.md: arguments, result, returned status.
std::map<std::string, std::vector<std::string>> documented() {
    std::map<std::string, std::vector<std::string>> rows;
    std::istringstream page(keld_test::readText(KELD_SOURCE_DIR "/docs/services.md"));
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("| `KELD_") || !line.ends_with(" |"))
            continue;
        std::vector<std::string> cells = split(line.substr(2, line.size() - 4), " | ");
        const std::string name = cells.front().substr(1, cells.front().size() - 2);
        cells.erase(cells.begin());
        rows[name] = cells;
    }
    return rows;
}

bool has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST(ServiceList, TheDocumentHasEachServiceWithItsArgumentsInOrder) {
    auto rows = documented();
    for (const Service& service : services()) {
        ASSERT_TRUE(rows.contains(service.name)) << service.name;
        const std::string told =
            std::regex_replace(rows[service.name].at(0), std::regex(" \\([^)]*\\)"), "");
        std::vector<std::string> names;
        for (const keld::ServiceArgument& argument : service.arguments)
            names.push_back(argument.name);
        EXPECT_EQ(split(told, ", "), names) << service.name;
        rows.erase(service.name);
    }
    EXPECT_TRUE(rows.empty()) << rows.begin()->first << " is in the document alone";
}

TEST(ServiceList, TheDocumentTellsWhatEachServiceGives) {
    auto rows = documented();
    for (const Service& service : services()) {
        ASSERT_TRUE(rows.contains(service.name)) << service.name;
        const std::string result = rows[service.name].at(1), returns = rows[service.name].at(2);
        EXPECT_EQ(has(result, "text"), service.slot == Slot::Text) << service.name;
        EXPECT_EQ(has(result, "object"), service.slot == Slot::Tag) << service.name;
        EXPECT_EQ(result.starts_with("0,"), service.holds == Holds::Zero) << service.name;
        EXPECT_EQ(has(returns, "the same"), service.holds == Holds::Returned) << service.name;
        EXPECT_EQ(returns == "0, always", service.always_zero) << service.name;
    }
}

TEST(ServiceList, EveryServiceIsExported) {
    const std::string exported =
        "\n" + keld_test::readText(KELD_SOURCE_DIR "/cmake/exports/keld_se.txt");
    for (const Service& service : services())
        EXPECT_TRUE(has(exported, "\n" + service.function + "\n")) << service.name;
}

TEST(ServiceList, EveryServiceIsFuzzed) {
    const std::string targets = keld_test::readText(KELD_SOURCE_DIR "/tests/fuzz/CMakeLists.txt");
    for (const Service& service : services())
        EXPECT_TRUE(has(targets, "keld_fuzz_service(" + service.function + " ")) << service.name;
}

TEST(ServiceList, FaultsAreSweptThroughEveryService) {
    std::string sweeps;
    for (const auto& entry : fs::directory_iterator(KELD_SOURCE_DIR "/tests/faults"))
        if (entry.path().filename().string().ends_with("_sweep_test.cpp"))
            sweeps += keld_test::readText(entry.path());
    for (const Service& service : services())
        EXPECT_TRUE(std::regex_search(
            sweeps, std::regex("(callService|sendTo)\\(\\s*world, \"" + service.name + "\"")))
            << service.name;
}
