#pragma once

// The journal of interface calls and the plan of failures. Both can be set by the environment:
//   MERVANE_JOURNAL=FILE   a line for each call: operation(arguments) = status
//   MERVANE_FAULTS=PLAN    "OBJ_save:3=515001,*:17=4": the third OBJ_save and the 17th call of all
//                          fail with these statuses; "OBJ_save:3+=5": the third and every later
//                          one does; "OBJ_save:0=5": each one does

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "workbench/workbench.h"

namespace mervane {

// Keep each entry from now on, in place of those that were kept; or tell it to `each`, which calls
// nothing of the platform and throws nothing, and keep none.
void startJournal(std::function<void(const JournalEntry&)> each = nullptr);
// Returns: what was kept.
std::vector<JournalEntry> stopJournal();
// Take this plan in place of the earlier one, and count calls from 1 again. An empty list: no plan.
void setFaults(const std::vector<Fault>& faults);
// Failure kBadValue for a text that is no plan.
std::vector<Fault> faultsFromText(const std::string& text);

// From now on every call but those of the error stack fails with kInterrupted, until
// letCallsGoOn(). Safe in a signal handler.
void interruptCalls() noexcept;
void letCallsGoOn() noexcept;
bool callsAreInterrupted() noexcept;

// Count the calls of each operation and the time in them, from 0. Returns: false, and nothing is
// changed, if they are counted already.
bool startCounting();
void stopCounting();
// Since the counting began.
std::map<std::string, std::int64_t> countedCalls();
std::chrono::nanoseconds timeInCalls();

}  // namespace mervane
