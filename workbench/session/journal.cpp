#include "workbench/session/journal.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "workbench/model/status.h"
#include "workbench/session/interface.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

struct Watch {
    bool recording = false;
    std::vector<JournalEntry> entries;
    std::function<void(const JournalEntry&)> each;  // told of the entries in place of keeping them
    std::FILE* file = nullptr;
    std::vector<Fault> faults;
    std::unordered_map<std::string, int> calls;  // of each operation, while faults are planned
    int all_calls = 0;
    bool counting = false;
    std::unordered_map<const char*, std::int64_t> counted;  // by the operation's own text
    int depth = 0;
    std::int64_t time = 0;  // nanoseconds in the outer calls

    Watch() {
        if (const std::string path = system::environment("MERVANE_JOURNAL"); !path.empty()) {
            file = system::openForAppending(path);
            if (!file)
                std::fprintf(stderr, "MERVANE_JOURNAL: %s can't be opened\n", path.c_str());
        }
        if (const std::string plan = system::environment("MERVANE_FAULTS"); !plan.empty()) {
            try {
                faults = faultsFromText(plan);
            } catch (const std::exception& error) {
                // Nobody could catch the failure: this runs before main().
                std::fprintf(stderr, "MERVANE_FAULTS: %s\n", error.what());
            }
        }
    }
    bool needed() const { return recording || file || counting || !faults.empty(); }
};

Watch& watch() {
    static Watch* one = new Watch;  // calls may come until the process ends
    return *one;
}

bool number(const std::string& text, int* value) {
    char* end = nullptr;
    const long read = std::strtol(text.c_str(), &end, 10);
    *value = static_cast<int>(read);
    // A number beyond `int` is refused, since the cast has made another one of it.
    return !text.empty() && *end == '\0' && read == *value;
}

std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

// The environment may ask for a journal or for failures from the first call on.
std::atomic<bool> watching{watch().needed()};

void interruptCalls() noexcept {
    interrupted = true;
    watching = true;
}

void letCallsGoOn() noexcept {
    // `watching` may stay on until somebody works it out anew. That only costs each call a test.
    interrupted = false;
}

bool callsAreInterrupted() noexcept {
    return interrupted;
}

std::vector<Fault> faultsFromText(const std::string& text) {
    std::vector<Fault> faults;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        const std::string entry = text.substr(start, comma - start);
        const std::size_t colon = entry.find(':'), equals = entry.find('=');
        Fault fault;
        fault.onwards = equals != std::string::npos && equals > 0 && entry[equals - 1] == '+';
        const std::size_t end = fault.onwards ? equals - 1 : equals;  // of the count
        if (colon == std::string::npos || equals == std::string::npos || colon >= end ||
            colon == 0 || !number(entry.substr(colon + 1, end - colon - 1), &fault.n) ||
            !number(entry.substr(equals + 1), &fault.status) || fault.n < 0 || fault.status == 0)
            throw Failure(kBadValue, "\"" + entry +
                                         "\" is no planned failure; one reads OBJ_save:3=515001, "
                                         "OBJ_save:3+=515001 or *:17=4");
        fault.operation = entry.substr(0, colon);
        if (fault.operation == "*")
            fault.operation.clear();
        faults.push_back(fault);
        start = comma + 1;
    }
    return faults;
}

void startJournal(std::function<void(const JournalEntry&)> each) {
    watch().entries.clear();
    watch().each = std::move(each);
    watch().recording = true;
    watching = true;
}

std::vector<JournalEntry> stopJournal() {
    watch().recording = false;
    watch().each = nullptr;
    watching = watch().needed() || interrupted;
    return std::exchange(watch().entries, {});
}

void setFaults(const std::vector<Fault>& faults) {
    watch().faults = faults;
    watch().calls.clear();
    watch().all_calls = 0;
    watching = watch().needed() || interrupted;
}

bool startCounting() {
    Watch& now = watch();
    if (now.counting)
        return false;
    now.counted.clear();
    now.time = 0;
    now.depth = 0;
    now.counting = true;
    watching = true;
    return true;
}

void stopCounting() {
    watch().counting = false;
    watching = watch().needed() || interrupted;
}

std::map<std::string, std::int64_t> countedCalls() {
    std::map<std::string, std::int64_t> all;
    for (const auto& [operation, count] : watch().counted)
        all[operation] += count;
    return all;
}

std::chrono::nanoseconds timeInCalls() {
    return std::chrono::nanoseconds(watch().time);
}

namespace detail {

bool journaling() {
    return watch().recording || watch().file;
}

namespace {
std::int64_t clockNow() {
    return std::chrono::steady_clock::now().time_since_epoch().count();
}
}  // namespace

Counted::Counted(const char* operation) noexcept : began_(-1) {
    Watch& now = watch();
    if (!now.counting)
        return;
    try {
        ++now.counted[operation];
    } catch (...) {
        // No memory: the count has one call less.
    }
    began_ = 0;
    if (now.depth++ == 0)
        began_ = clockNow();
}

Counted::~Counted() {
    Watch& now = watch();
    // Counting may begin or end inside of a call, and the time of such a call isn't counted.
    if (began_ < 0 || !now.counting)
        return;
    if (--now.depth == 0)
        now.time += clockNow() - began_;
}

int plannedFault(const char* operation) {
    // The error stack can still be read and cleared.
    if (interrupted && std::strncmp(operation, "ERR_", 4) != 0)
        return kInterrupted;
    Watch& now = watch();
    if (now.faults.empty())
        return 0;
    // Both counts go on whichever fault fits, so the faults of a plan don't move one another.
    const int nth = ++now.calls[operation];
    ++now.all_calls;
    for (const Fault& fault : now.faults) {
        if (!fault.operation.empty() && fault.operation != operation)
            continue;
        const int count = fault.operation.empty() ? now.all_calls : nth;
        if (fault.n == 0 || fault.n == count || (fault.onwards && fault.n < count))
            return fault.status;
    }
    return 0;
}

void journal(JournalEntry entry) {
    Watch& now = watch();
    if (now.file) {
        std::fprintf(now.file, "%s\n", asText(entry).c_str());
        // Each line is flushed, so that a killed process leaves all calls that it has ended.
        std::fflush(now.file);
    }
    if (!now.recording)
        return;
    if (now.each)
        now.each(entry);
    else
        now.entries.push_back(std::move(entry));
}

}  // namespace detail

}  // namespace mervane
