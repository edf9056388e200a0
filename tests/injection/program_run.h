#pragma once

// A run of keld with the interposer between it and the system.

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace injection {

struct Result {
    int exit_code = -1;  // 128 and more: ended by a signal
    bool hung = false;   // it had to be killed
    std::string out, err;
};

using Environment = std::vector<std::pair<std::string, std::string>>;

class ProgramRun {
public:
    // In this directory; what it says goes to files beside it. `environment` is added.
    ProgramRun(const std::string& directory, const std::vector<std::string>& arguments,
               const Environment& environment);
    ~ProgramRun();
    ProgramRun(const ProgramRun&) = delete;

    // Wait until it has stopped itself; false: it has ended before.
    bool waitForStop();
    void send(int signal);
    bool ended();  // without waiting
    // Its end; after so many seconds it is killed and counts as hung.
    Result wait(double seconds = 60);
    pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
    int status_ = 0;
    bool ended_ = false;
    std::string out_, err_;
};

Result runKeld(const std::string& directory, const std::vector<std::string>& arguments,
               const Environment& environment = {});

}  // namespace injection
