#include "tools/keld/host/progress.h"

#include <chrono>
#include <iostream>

#include "tools/keld/host/system.h"

namespace keld {

Progress::Progress(std::string text) : text_(std::move(text)), teller_([this] { tell(); }) {
}

Progress::~Progress() {
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    ended_.notify_all();
    teller_.join();
}

void Progress::tell() {
    using namespace std::chrono_literals;
    const bool terminal = errorIsTerminal();
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, 2s, [this] { return done_; }))
        return;
    // A terminal has the line renewed each second, a file gets a line now and then.
    for (int seconds = 2;; seconds += terminal ? 1 : 10) {
        std::cerr << (terminal ? "\r" : "") << "keld: " << text_ << " ... " << seconds << " s"
                  << (terminal ? "" : "\n") << std::flush;
        if (ended_.wait_for(lock, terminal ? 1s : 10s, [this] { return done_; }))
            break;
    }
    if (terminal)
        std::cerr << "\n";
}

}  // namespace keld
