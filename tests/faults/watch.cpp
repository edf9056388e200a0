#include "tests/faults/watch.h"

#include <cstring>
#include <string>
#include <unordered_map>

#include "workbench/session/session.h"
#include "workbench/store/store.h"

namespace faults {
namespace {

struct Watch {
    bool on = false;
    bool in_call = false;
    std::uintptr_t outermost = 0;
    std::size_t moment = 0;
    std::size_t locks_held = 0;
    std::unordered_map<const void*, std::size_t> live;
    Record record;
};

Watch& watch() {
    static Watch* one = new Watch;
    return *one;
}

// The chain of frame pointers: these programs are built without optimisation.
std::vector<Frame> framesFrom(const void* frame) {
    std::vector<Frame> found;
    found.reserve(32);
    const auto* place = static_cast<const std::uintptr_t*>(frame);
    while (reinterpret_cast<std::uintptr_t>(place) < watch().outermost) {
        const auto* outer = reinterpret_cast<const std::uintptr_t*>(place[0]);
        if (outer <= place)
            break;
        found.push_back({place[1], place[0]});
        place = outer;
    }
    return found;
}

void noteLocks() {
    Watch& now = watch();
    mervane::Session& session = mervane::currentSession();
    if (session.heldLocks() == now.locks_held)
        return;
    now.locks_held = session.heldLocks();
    std::vector<tag_t> held;
    for (const auto& each : session.store().locks().held())
        held.push_back(each.object);
    for (Lock& lock : now.record.locks)
        if (lock.died == kNever && !session.holdsLock(lock.object))
            lock.died = now.moment;
    for (const tag_t object : held) {
        bool known = false;
        for (const Lock& lock : now.record.locks)
            known = known || (lock.object == object && lock.died == kNever);
        if (!known)
            now.record.locks.push_back({object, now.record.calls.size() - 1, now.moment, kNever});
    }
}

void noteBlock(const void* address, const void* frame) {
    Watch& now = watch();
    if (!now.on || !address)
        return;
    Block block;
    block.address = address;
    block.born = ++now.moment;
    block.frames = framesFrom(frame);
    if (now.in_call) {
        block.call = now.record.calls.size() - 1;
        block.operation = now.record.calls.back().operation;
    }
    now.live[address] = now.record.blocks.size();
    now.record.blocks.push_back(std::move(block));
}

void noteRelease(const void* address) {
    Watch& now = watch();
    if (!now.on || !address)
        return;
    const auto known = now.live.find(address);
    if (known == now.live.end())
        return;  // older than the watch
    now.record.blocks[known->second].died = ++now.moment;
    now.live.erase(known);
}

}  // namespace

void startWatching(const void* outermost) {
    watch() = Watch{};
    watch().on = true;
    watch().outermost = reinterpret_cast<std::uintptr_t>(outermost);
    watch().locks_held = mervane::currentSession().heldLocks();
    for (const auto& each : mervane::currentSession().store().locks().held())
        watch().record.locks.push_back({each.object, kNever, 0, kNever});
}

Record stopWatching() {
    watch().on = false;
    return std::move(watch().record);
}

}  // namespace faults

// ---- what the workbench calls ----

int realPlannedFault(const char* operation) asm("__real__ZN7mervane6detail12plannedFaultEPKc");
int wrapPlannedFault(const char* operation) asm("__wrap__ZN7mervane6detail12plannedFaultEPKc");
void realJournal(mervane::JournalEntry entry) asm(
    "__real__ZN7mervane6detail7journalENS_12JournalEntryE");
void wrapJournal(mervane::JournalEntry entry) asm(
    "__wrap__ZN7mervane6detail7journalENS_12JournalEntryE");
void* realAllocate(std::size_t size) asm("__real__ZN7mervane4heap8allocateEm");
void* wrapAllocate(std::size_t size) asm("__wrap__ZN7mervane4heap8allocateEm");
void* realReallocate(void* block, std::size_t size) asm("__real__ZN7mervane4heap10reallocateEPvm");
void* wrapReallocate(void* block, std::size_t size) asm("__wrap__ZN7mervane4heap10reallocateEPvm");
void realRelease(void* block) asm("__real__ZN7mervane4heap7releaseEPv");
void wrapRelease(void* block) asm("__wrap__ZN7mervane4heap7releaseEPv");

int wrapPlannedFault(const char* operation) {
    const int status = realPlannedFault(operation);
    faults::Watch& now = faults::watch();
    if (now.on) {
        faults::Call call;
        call.operation = operation;
        call.planned = status != 0;
        call.moment = ++now.moment;
        call.frames = faults::framesFrom(__builtin_frame_address(0));
        now.record.calls.push_back(std::move(call));
        now.in_call = true;
    }
    return status;
}

void wrapJournal(mervane::JournalEntry entry) {
    faults::Watch& now = faults::watch();
    if (now.on && now.in_call) {
        now.in_call = false;
        faults::Call& call = now.record.calls.back();
        call.status = entry.status;
        const mervane::JournalArgument unlocked[] = {false, 0};
        call.unlocks =
            std::strstr(call.operation, "refresh") != nullptr && !entry.arguments.empty() &&
            (entry.arguments.back() == unlocked[0] || entry.arguments.back() == unlocked[1]);
        ++now.moment;
        faults::noteLocks();
    }
    realJournal(std::move(entry));
}

void* wrapAllocate(std::size_t size) {
    void* block = realAllocate(size);
    faults::noteBlock(block, __builtin_frame_address(0));
    return block;
}

void* wrapReallocate(void* block, std::size_t size) {
    void* moved = realReallocate(block, size);
    if (moved && moved != block) {
        faults::Watch& now = faults::watch();
        const auto known = now.live.find(block);
        if (!now.on || !block) {
            faults::noteBlock(moved, __builtin_frame_address(0));
        } else if (known != now.live.end()) {
            now.live[moved] = known->second;  // it stays the block that it was
            now.record.blocks[known->second].address = moved;
            now.live.erase(block);
        }
    }
    return moved;
}

void wrapRelease(void* block) {
    faults::noteRelease(block);
    realRelease(block);
}
