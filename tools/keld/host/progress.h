#pragma once

// Tells on standard error that work goes on, once it has lasted for two seconds.

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace keld {

class Progress {
public:
    explicit Progress(std::string text);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void tell();

    std::string text_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool done_ = false;
    std::thread teller_;  // last: it uses the others
};

}  // namespace keld
