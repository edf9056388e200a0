#pragma once

// Bodies and programs that are measured in a process of their own.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace bench_child {

struct Spent {
    double seconds = 0;      // by the clock
    double cpu_seconds = 0;  // of the user and the system
    long kilobytes = 0;      // peak
};

// Runs the body in a child, which must end with 0; the program ends if it doesn't.
inline Spent inChild(const std::function<void()>& body) {
    fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        try {
            body();
        } catch (const std::exception& failure) {
            fprintf(stderr, "%s\n", failure.what());
            _exit(1);
        }
        fflush(stdout);
        _exit(0);
    }
    int status = 0;
    rusage used{};
    if (child < 0 || wait4(child, &status, 0, &used) != child || status != 0) {
        fprintf(stderr, "a measurement failed\n");
        exit(1);
    }
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
            of(used.ru_utime) + of(used.ru_stime), used.ru_maxrss};
}

// The same for a program; what it prints is dropped.
inline Spent runProgram(const std::vector<std::string>& words) {
    return inChild([&] {
        std::vector<char*> arguments;
        for (const std::string& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        if (!freopen("/dev/null", "w", stdout))
            _exit(126);
        execv(arguments[0], arguments.data());
        _exit(127);
    });
}

// A number that the body finds out in a child.
inline double fromChild(const std::function<double()>& body) {
    int ends[2];
    if (pipe(ends) != 0)
        exit(1);
    inChild([&] {
        const double found = body();
        if (write(ends[1], &found, sizeof found) != sizeof found)
            _exit(1);
    });
    double found = 0;
    if (read(ends[0], &found, sizeof found) != sizeof found)
        exit(1);
    close(ends[0]);
    close(ends[1]);
    return found;
}

}  // namespace bench_child
