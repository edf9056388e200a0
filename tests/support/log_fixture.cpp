#include "tests/support/log_fixture.h"

#include <sstream>

#include "platform/keld_basetool.h"
#include "tests/support/fixed_os.h"

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

LogFixture::LogFixture() : log_path_(directory_ / "test.log") {
    fixed_os::setEnv("KELD_LOG_FILE", log_path_.string());
}

std::string LogFixture::written() const {
    return keld_test::readFile(log_path_);
}

std::vector<std::string> LogFixture::lines() const {
    (void)KELD_GetLogFilePath();
    return splitLines(written());
}

std::vector<std::string> LogFixture::texts() const {
    std::vector<std::string> result = lines();
    for (std::string& line : result)
        line.erase(0, sizeof("YYYY-MM-DD hh:mm:ss.mmm"));
    return result;
}
