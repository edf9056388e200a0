#include "workbench/admin/store_workbench.h"
#include "workbench/import/import.h"
#include "workbench/session/argument_stream.h"
#include "workbench/session/error_stack.h"
#include "workbench/session/heap.h"
#include "workbench/session/journal.h"

// What surrounds a service call, and what watches it.

namespace mervane {

ImportReport StoreWorkbench::importWorld(std::istream& in, const std::string& source_name) {
    return mervane::importWorld(now(), in, source_name);
}

std::vector<CheckFinding> StoreWorkbench::exportWorld(std::ostream& out) {
    return mervane::exportWorld(now(), out);
}

ImportReport StoreWorkbench::importStep(std::istream& in, const std::string& source_name) {
    return mervane::importStep(now(), in, source_name);
}

void StoreWorkbench::sendArguments(std::vector<Argument> arguments) {
    argumentStream().send(std::move(arguments));
}

std::vector<StackEntry> StoreWorkbench::errorStack() {
    return mervane::errorStack().entries();
}

std::string StoreWorkbench::messageText(int status) {
    return mervane::messageText(status).empty() ? std::string() : filledText(status, "");
}

std::vector<int> StoreWorkbench::messageNumbers() {
    return mervane::messageNumbers();
}

std::size_t StoreWorkbench::liveHeapBlocks() {
    return heap::liveBlocks();
}

void StoreWorkbench::failHeapAfter(std::optional<std::size_t> allocations) {
    heap::failAfter(allocations);
}

std::size_t StoreWorkbench::heldLocks() {
    return now().heldLocks();
}

bool StoreWorkbench::holdsLock(tag_t object) {
    return now().holdsLock(object);
}

std::optional<LockInfo> StoreWorkbench::lockOf(tag_t object) {
    const std::optional<LockOwner> owner = now().store().locks().owner(object);
    if (!owner || !owner->alive)
        return std::nullopt;
    return LockInfo{owner->user, owner->process, now().holdsLock(object)};
}

void StoreWorkbench::startJournal() {
    mervane::startJournal();
}

void StoreWorkbench::startJournal(std::function<void(const JournalEntry&)> each) {
    mervane::startJournal(std::move(each));
}

std::vector<JournalEntry> StoreWorkbench::stopJournal() {
    return mervane::stopJournal();
}

void StoreWorkbench::setFaults(const std::vector<Fault>& faults) {
    mervane::setFaults(faults);
}

std::uint64_t StoreWorkbench::objectsWorkedOn() {
    return mervane::objectsWorkedOn();
}

std::uint64_t StoreWorkbench::statementsRun() {
    return mervane::statementsRun();
}

std::uint64_t StoreWorkbench::roundTrips() {
    return mervane::roundTrips();
}

}  // namespace mervane
