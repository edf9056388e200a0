// docs/errors.md has one entry for every number of the message table, and no other.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <string>

#include "tests/support/places.h"
#include "workbench/workbench.h"

namespace {

std::map<int, std::string> documented() {
    std::ifstream file(KELD_SOURCE_DIR "/docs/errors.md");
    std::map<int, std::string> entries;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("### ", 0) == 0)
            number = std::stoi(line.substr(4));
        else if (number)
            entries[number] += line + "\n";
    }
    return entries;
}

TEST(ErrorList, HasEveryNumberOfTheMessageTableAndNoOther) {
    std::set<int> listed;
    for (const auto& [number, text] : documented())
        listed.insert(number);
    std::set<int> known;
    for (int number : mervane_workbench()->messageNumbers())
        known.insert(number);
    ASSERT_FALSE(known.empty());
    EXPECT_EQ(listed, known);
}

TEST(ErrorList, EachEntryShowsTheMessageTheCauseAndTheRemedy) {
    for (const auto& [number, entry] : documented()) {
        std::string text = mervane_workbench()->messageText(number);
        EXPECT_NE(entry.find("\"" + text + "\""), std::string::npos)
            << number << " should show: " << text;
        EXPECT_NE(entry.find("Cause:"), std::string::npos) << number;
        EXPECT_NE(entry.find("Remedy:"), std::string::npos) << number;
    }
}

}  // namespace
