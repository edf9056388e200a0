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
// The time that the statements take is measured, from now on and not any more.
void startTiming();
void stopTiming();
std::chrono::nanoseconds timeInStore();

}  // namespace mervane
