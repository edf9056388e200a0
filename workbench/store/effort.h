#pragma once

// What the stores of this process have done so far.

#include <chrono>
#include <cstdint>

namespace mervane {

// Objects that they have read or made.
void countObject() noexcept;
std::uint64_t objectsWorkedOn();
// Statements that their databases have run.
void countStatement() noexcept;
std::uint64_t statementsRun();
// How often they have waited for an answer of a server.
void countRoundTrip() noexcept;
std::uint64_t roundTrips();
// Measure from now on the time that statements take, and stop that.
void startTiming();
void stopTiming();
std::chrono::nanoseconds timeInStore();

// Adds the time of its life to the time in the store.
class Timed {
public:
    Timed();
    ~Timed();
    Timed(const Timed&) = delete;

private:
    std::chrono::steady_clock::time_point began_;
};

}  // namespace mervane
