#pragma once

// Runs the built keld in a directory of its own and keeps what it says.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#if defined(_WIN32)
#include "tests/support/windows/run_program.h"
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/places.h"

namespace keld_test {

namespace fs = std::filesystem;

struct Result {
    int exit_code = -1;
    std::string out, err;
    nlohmann::json json() const { return nlohmann::json::parse(out); }
};

inline std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A file that was written in text mode.
inline std::string readText(const fs::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeFile(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

class Program : public testing::Test {
protected:
    Program() {
        std::string pattern = (fs::temp_directory_path() / "keld-test-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary directory");
        directory_ = pattern;
    }
    ~Program() override { fs::remove_all(directory_); }

    const fs::path& directory() const { return directory_; }
    // With the system's separators, as programs print it.
    fs::path path(const std::string& name) const { return (directory_ / name).make_preferred(); }
    std::map<std::string, std::string>& environment() { return environment_; }

    // Run keld with these arguments in the test's directory.
    Result keld(const std::vector<std::string>& arguments) {
        const fs::path out = directory_ / ".out", err = directory_ / ".err";
        Result result;
#if defined(_WIN32)
        for (const char* name :
             {"MERVANE_STORE", "KELD_CFG_PATH", "KELD_LOG_FILE", "KELD_LOG_LEVEL",
              "MERVANE_JOURNAL", "MERVANE_FAULTS", "KELD_LOG_MAX_MB", "COLUMNS"})
            unsetenv(name);
        for (const auto& [name, value] : environment_)
            setenv(name.c_str(), value.c_str(), 1);
        result.exit_code = runProgram(KELD_PROGRAM, arguments, directory_, out, err);
        // Standard output is in text mode.
        result.out = withoutReturns(readFile(out));
        result.err = withoutReturns(readFile(err));
#else
        const pid_t child = fork();
        if (child == 0) {
            for (const char* name :
                 {"MERVANE_STORE", "KELD_CFG_PATH", "KELD_LOG_FILE", "KELD_LOG_LEVEL",
                  "MERVANE_JOURNAL", "MERVANE_FAULTS", "KELD_LOG_MAX_MB", "COLUMNS"})
                unsetenv(name);
            for (const auto& [name, value] : environment_)
                setenv(name.c_str(), value.c_str(), 1);
            if (chdir(directory_.c_str()) != 0 || !freopen(out.c_str(), "w", stdout) ||
                !freopen(err.c_str(), "w", stderr) || !freopen("/dev/null", "r", stdin))
                _exit(126);
            constexpr unsigned kNobody = 65534;
            if (unprivileged_ && geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0))
                _exit(126);
            std::vector<char*> words{const_cast<char*>(KELD_PROGRAM)};
            for (const std::string& argument : arguments)
                words.push_back(const_cast<char*>(argument.c_str()));
            words.push_back(nullptr);
            execv(KELD_PROGRAM, words.data());
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = readFile(out);
        result.err = readFile(err);
#endif
        return result;
    }

    // From here on keld runs as somebody whom rights of files stop.
    void becomeUnprivileged() {
        unprivileged_ = true;
        fs::permissions(directory_, fs::perms(0755));
    }

    // The same, and it must succeed.
    Result done(const std::vector<std::string>& arguments) {
        Result result = keld(arguments);
        EXPECT_EQ(result.exit_code, 0) << testing::PrintToString(arguments) << "\n"
                                       << result.out << result.err;
        return result;
    }

private:
    fs::path directory_;
    bool unprivileged_ = false;
    std::map<std::string, std::string> environment_;
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
};

}  // namespace keld_test
