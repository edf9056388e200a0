#include "workbench/store/effort.h"

#include <atomic>

namespace mervane {

namespace {
std::atomic<std::uint64_t> objects_worked_on{0}, statements_run{0}, round_trips{0};
std::atomic<bool> timing{false};
std::atomic<std::int64_t> time_in_store{0};  // nanoseconds
}  // namespace

void countObject() noexcept {
    objects_worked_on.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t objectsWorkedOn() {
    return objects_worked_on.load();
}

void countStatement() noexcept {
    statements_run.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t statementsRun() {
    return statements_run.load();
}

void countRoundTrip() noexcept {
    round_trips.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t roundTrips() {
    return round_trips.load();
}

void startTiming() {
    time_in_store = 0;
    timing = true;
}

void stopTiming() {
    timing = false;
}

std::chrono::nanoseconds timeInStore() {
    return std::chrono::nanoseconds(time_in_store.load());
}

Timed::Timed() {
    if (timing.load(std::memory_order_relaxed))
        began_ = std::chrono::steady_clock::now();
}

Timed::~Timed() {
    if (began_ == std::chrono::steady_clock::time_point())
        return;
    time_in_store.fetch_add((std::chrono::steady_clock::now() - began_).count(),
                            std::memory_order_relaxed);
}

}  // namespace mervane
