#pragma once

// What a failing call does, written down for each function that the services are made of: the
// expectations of the sweep. A failure is followed from the call outwards, function by function,
// until one drops it or the entry point is reached.

#include <functional>
#include <string>
#include <vector>

#include "tests/faults/watch.h"

namespace faults {

struct FunctionRules {
    const char* function;
    // Names of platform operations and of functions in this list, separated by blanks. A name of
    // the form A<B means A where B is the platform call before it, and A-unlock a refresh that
    // gives the lock up.
    const char* travels;      // the function ends with their status
    const char* dropped;      // it goes on as if nothing had happened, or ends with 0
    const char* gives = "";   // "CALL=NUMBER": it ends with a status of its own
    const char* deeper = "";  // calls whose failure leaves the log one step deeper; "*": all
};
using Rules = std::vector<FunctionRules>;

// Of the frame and of libkeld_qsktool, for every service.
const Rules& supportRules();

// Blocks and locks that stay; the table is in left_behind.cpp.
enum class When {
    OnFailure,    // blocks left by a failure that ends the function after this call
    Always,       // blocks that the function never gives back
    ToCaller,     // blocks that the function hands on: its caller owns them
    LockKept,     // the lock left by a failure that ends the function after this call
    UnlockFails,  // the lock stays if the call that gives it up fails
    LockAlways,   // the lock may stay without any failure
    InTheSweep,   // the blocks are judged by the sweep's own look
};
enum class Kept { All, AllButOne };
struct LeftBehind {
    const char* function;
    const char* operation;  // gave the blocks or took the lock; "HEAP_alloc": the library's own
    When when;
    Kept kept;
    const char* reason;
    // The failing calls for which this holds; empty: all. ">CALL" means one anywhere inside.
    const char* only_for = "";
};
const std::vector<LeftBehind>& leftBehind();

// Read a list of rules before processes are forked. The list must outlive every use; the codes are
// places at which its functions are called.
void readRules(const Rules& rules, const std::vector<std::uintptr_t>& codes);

// How a run must end.
struct Verdict {
    int travelled = 0;  // the status that reached the entry point; 0: none
    int deeper = 0;     // steps of the log
    std::vector<std::string>
        problems;  // calls without a rule; blocks and locks that stayed or went
};
// An exception from the rules for a scenario: whether this function drops the failure of this call
// inside it.
using Drops = std::function<bool(const Record& record, std::size_t call,
                                 const std::string& function, const std::string& inner)>;
Verdict judge(const Record& record, const Rules& rules, int planned_status,
              const Drops& drops = {});

}  // namespace faults
