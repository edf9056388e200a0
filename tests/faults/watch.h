#pragma once

// Everything that a run does at the platform's interface: its calls with the functions that they
// come from, the heap blocks and the locks with the call that gave them. The program is linked so
// that the workbench's own bookkeeping passes through here (see CMakeLists.txt).

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/types.h"

namespace faults {

struct Frame {
    std::uintptr_t code;   // where the function goes on
    std::uintptr_t place;  // of its frame on the stack: tells one call of a function from another
};

inline constexpr std::size_t kNever = static_cast<std::size_t>(-1);

struct Call {
    const char* operation = "";
    bool planned = false;  // it failed because the plan says so
    int status = 0;
    bool unlocks = false;  // a refresh that gives the lock up
    std::size_t moment = 0;
    std::vector<Frame> frames;  // innermost first
};

struct Block {
    const void* address = nullptr;
    const char* operation = "HEAP_alloc";  // what handed it out
    std::size_t call = kNever;             // of which call, unless the library allocated it
    std::size_t born = 0, died = kNever;   // moments
    std::vector<Frame> frames;
};

struct Lock {
    tag_t object = NULLTAG;
    std::size_t call = 0;
    std::size_t born = 0, died = kNever;
};

struct Record {
    std::vector<Call> calls;
    std::vector<Block> blocks;
    std::vector<Lock> locks;
};

// Watch from here on; only frames inside the caller's are kept. Calls are seen while the workbench
// keeps a journal or has a plan.
void startWatching(const void* outermost);
Record stopWatching();

}  // namespace faults
