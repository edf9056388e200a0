#pragma once

// A worker process with pipes to its standard input and output.

#include <sys/types.h>

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kills {

using Clock = std::chrono::steady_clock;

// What a worker said it was about to commit.
struct Intent {
    std::set<std::int64_t> made, gone;
    std::map<std::int64_t, int> saves;
    bool empty() const { return made.empty() && gone.empty() && saves.empty(); }
};

class Running {
public:
    // `environment`: names and values that are added.
    Running(const std::string& program, std::vector<std::string> arguments,
            const std::vector<std::pair<std::string, std::string>>& environment);
    ~Running();
    Running(const Running&) = delete;

    // Read what it said meanwhile; false: it has ended.
    bool listen();
    // The next line; false: there is none now.
    bool line(std::string& text);
    // SIGKILL, and wait until it is gone.
    void kill();
    // Close its standard input.
    void askToEnd();
    // Wait for its end; its status.
    int wait();

    int output() const { return out_; }
    pid_t process() const { return process_; }

    std::string kind, name, way, phase = "opening";
    Intent intent;                    // not acknowledged yet
    std::set<std::int64_t> own;       // objects that it made
    std::vector<std::int64_t> saved;  // all that it saved, in this order
    int runs = 0;
    bool ended = false, closed = false;
    std::string error;
    Clock::time_point started = Clock::now(), run_began = started;

private:
    pid_t process_ = -1;
    int in_ = -1, out_ = -1;
    std::string read_;
};

}  // namespace kills
