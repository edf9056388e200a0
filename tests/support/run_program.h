#pragma once

// Runs a program to its end and keeps what it said.

#if defined(_WIN32)
#include "tests/support/windows/run_program.h"
#else
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#endif

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/files.h"

namespace keld_test {

struct Ended {
    int exit_code = -1;  // 128 and more: ended by a signal
    std::string out, err;
};

// What a program finds around it; its standard input is empty.
struct Surroundings {
    std::filesystem::path directory;        // it starts in it; what it says goes to it
    std::vector<std::string> without = {};  // variables that are taken out
    std::map<std::string, std::string> environment = {};  // variables that are set then
    bool unprivileged = false;  // it runs as somebody whom rights of files stop
};

inline Ended runProgram(const std::string& program, const std::vector<std::string>& arguments,
                        const Surroundings& around) {
    const std::filesystem::path out = around.directory / ".out", err = around.directory / ".err";
    const auto setVariables = [&around] {
        for (const std::string& name : around.without)
            unsetenv(name.c_str());
        for (const auto& [name, value] : around.environment)
            setenv(name.c_str(), value.c_str(), 1);
    };
    Ended ended;
#if defined(_WIN32)
    setVariables();
    ended.exit_code = startAndWait(program, arguments, around.directory, out, err);
    // Standard output is in text mode.
    ended.out = withoutReturns(readFile(out));
    ended.err = withoutReturns(readFile(err));
#else
    const pid_t child = fork();
    if (child == 0) {
        setVariables();
        if (chdir(around.directory.c_str()) != 0 || !freopen(out.c_str(), "w", stdout) ||
            !freopen(err.c_str(), "w", stderr) || !freopen("/dev/null", "r", stdin))
            _exit(126);
        constexpr unsigned kNobody = 65534;
        if (around.unprivileged && geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0))
            _exit(126);
        std::vector<char*> words{const_cast<char*>(program.c_str())};
        for (const std::string& argument : arguments)
            words.push_back(const_cast<char*>(argument.c_str()));
        words.push_back(nullptr);
        execv(program.c_str(), words.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ended.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    ended.out = readFile(out);
    ended.err = readFile(err);
#endif
    return ended;
}

}  // namespace keld_test
