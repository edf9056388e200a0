#pragma once

// Shows on standard error that the program is at work, after the first two seconds.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace keld {

class Progress {
public:
    // Shows the count and how many a second: what the caller counts, else the objects that the
    // workbench has worked on meanwhile.
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
    std::thread teller_;  // last member: the thread uses the others
};

}  // namespace keld
