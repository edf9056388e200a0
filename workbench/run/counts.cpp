#include "workbench/run/counts.h"

#include "workbench/session/journal.h"
#include "workbench/session/session.h"
#include "workbench/store/effort.h"

namespace mervane {

namespace {

std::int64_t milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::round<std::chrono::milliseconds>(time).count();
}

}  // namespace

RunCounts::RunCounts()
    : began_(std::chrono::steady_clock::now()),
      statements_(statementsRun()),
      loaded_(objectsLoaded()),
      counts_(startCounting()) {
    if (counts_)
        startTiming();
}

RunCounts::~RunCounts() {
    if (!counts_)
        return;
    stopCounting();
    stopTiming();
}

std::map<std::string, std::int64_t> RunCounts::soFar() const {
    std::map<std::string, std::int64_t> all;
    std::chrono::nanoseconds calls{0}, store{0};
    if (counts_) {
        all = countedCalls();
        calls = timeInCalls();
        store = timeInStore();
    }
    all["objects loaded"] = static_cast<std::int64_t>(objectsLoaded() - loaded_);
    all["statements"] = static_cast<std::int64_t>(statementsRun() - statements_);
    const auto total = std::chrono::steady_clock::now() - began_;
    // The store's time is a part of the calls'. Only an import has more: it makes no calls.
    all["ms platform"] = milliseconds(calls > store ? calls - store : calls);
    all["ms store"] = milliseconds(store);
    all["ms rest"] = milliseconds(total - std::max(calls, store));
    return all;
}

}  // namespace mervane
