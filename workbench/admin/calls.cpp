#include "workbench/admin/bench.h"
#include "workbench/import/import.h"
#include "workbench/session/argument_stream.h"
#include "workbench/session/error_stack.h"
#include "workbench/session/heap.h"
#include "workbench/session/journal.h"

// What surrounds a service call, and what watches it.

namespace mervane {

ImportReport Bench::importWorld(std::istream& in, const std::string& source_name) {
    return mervane::importWorld(now(), in, source_name);
}

std::vector<CheckFinding> Bench::exportWorld(std::ostream& out) {
    return mervane::exportWorld(now(), out);
}

ImportReport Bench::importStep(std::istream& in, const std::string& source_name) {
    return mervane::importStep(now(), in, source_name);
}

void Bench::sendArguments(std::vector<Argument> arguments) {
    argumentStream().send(std::move(arguments));
}

std::vector<StackEntry> Bench::errorStack() {
    return mervane::errorStack().entries();
}

std::string Bench::messageText(int status) {
    return mervane::messageText(status).empty() ? std::string() : filledText(status, "");
}

std::vector<int> Bench::messageNumbers() {
    return mervane::messageNumbers();
}

std::size_t Bench::liveHeapBlocks() {
    return heap::liveBlocks();
}

void Bench::failHeapAfter(std::optional<std::size_t> allocations) {
    heap::failAfter(allocations);
}

std::size_t Bench::heldLocks() {
    return now().heldLocks();
}

bool Bench::holdsLock(tag_t object) {
    return now().holdsLock(object);
}

std::optional<LockInfo> Bench::lockOf(tag_t object) {
    const std::optional<LockOwner> owner = now().store().locks().owner(object);
    if (!owner || !owner->alive)
        return std::nullopt;
    return LockInfo{owner->user, owner->process, now().holdsLock(object)};
}

void Bench::startJournal() {
    mervane::startJournal();
}

void Bench::startJournal(std::function<void(const JournalEntry&)> each) {
    mervane::startJournal(std::move(each));
}

std::vector<JournalEntry> Bench::stopJournal() {
    return mervane::stopJournal();
}

void Bench::setFaults(const std::vector<Fault>& faults) {
    mervane::setFaults(faults);
}

std::uint64_t Bench::objectsWorkedOn() {
    return mervane::objectsWorkedOn();
}

std::uint64_t Bench::statementsRun() {
    return mervane::statementsRun();
}

}  // namespace mervane
