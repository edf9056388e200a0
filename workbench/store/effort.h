#pragma once

// What the stores of this process have done so far.

#include <chrono>
#include <cstdint>

namespace mervane {

// Objects that they have read or made.
void countObject() noexcept;
std::uint64_t objectsWorkedOn();
// Statements that their databases have run.
std::uint64_t statementsRun();
// Measure from now on the time that statements take, and stop that.
void startTiming();
void stopTiming();
std::chrono::nanoseconds timeInStore();

}  // namespace mervane
