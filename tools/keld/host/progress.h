#pragma once

// Tells on standard error that work goes on, once it has lasted for two seconds.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace keld {

class Progress {
public:
    // What is counted is told with its number and how many of them a second: those that the caller
    // counts, or the objects that the workbench has worked on meanwhile.
    explicit Progress(std::string text, std::string counted = "object");
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    void count() { ++counted_here_; }

private:
    void tell();
    std::string sofar(int seconds) const;

    std::string text_, noun_;
    std::atomic<std::uint64_t> counted_here_{0};
    std::uint64_t before_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool done_ = false;
    std::thread teller_;  // last: it uses the others
};

}  // namespace keld
