#include "tests/support/log_fixture.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "platform/keld_basetool.h"
#include "tests/support/fixed_os.h"

std::filesystem::path makeTestDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "keld_test_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no directory for the test: " + name);
    return name;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

LogFixture::LogFixture() : directory_(makeTestDirectory()), log_path_(directory_ / "test.log") {
    fixed_os::setEnv("KELD_LOG_FILE", log_path_.string());
}

LogFixture::~LogFixture() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string LogFixture::written() const {
    return readFile(log_path_);
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
