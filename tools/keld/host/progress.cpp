#include "tools/keld/host/progress.h"

#include <algorithm>
#include <chrono>

#include "tools/keld/host/output.h"
#include "tools/keld/host/system.h"
#include "workbench/workbench.h"

namespace keld {

Progress::Progress(std::string text, std::string counted)
    : text_(std::move(text)),
      noun_(std::move(counted)),
      before_(mervane_workbench()->objectsWorkedOn()),
      teller_([this] { tell(); }) {
}

Progress::~Progress() {
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    ended_.notify_all();
    teller_.join();
}

std::string Progress::sofar(int seconds) const {
    const std::uint64_t here = counted_here_.load();
    const std::uint64_t done = here > 0 ? here : mervane_workbench()->objectsWorkedOn() - before_;
    std::string text = text_ + " ... " + std::to_string(seconds) + " s";
    if (done > 0)
        text += ", " + counted(done, noun_) + ", " +
                std::to_string(done / static_cast<std::uint64_t>(std::max(seconds, 1))) +
                " a second";
    return text;
}

void Progress::tell() {
    using namespace std::chrono_literals;
    const bool terminal = errorIsTerminal();
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, 2s, [this] { return done_; }))
        return;
    // A terminal shows one line that is renewed each second; a file gets a new line every ten.
    for (int seconds = 2;; seconds += terminal ? 1 : 10) {
        tellAgain(sofar(seconds));
        if (ended_.wait_for(lock, terminal ? 1s : 10s, [this] { return done_; }))
            break;
    }
    endTelling();
}

}  // namespace keld
