#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.h"

// A test with its log in a directory of its own, and with a fixed clock (see fixed_os.h).
class LogFixture : public testing::Test {
protected:
    LogFixture();

    // What is in the log's file now; lines that wait aren't.
    std::string written() const;
    // All lines, those that waited too.
    std::vector<std::string> lines() const;
    // The same without their time: "T   ->..." .
    std::vector<std::string> texts() const;

    const keld_test::Directory directory_;
    const std::filesystem::path log_path_;
};

std::vector<std::string> splitLines(const std::string& text);
