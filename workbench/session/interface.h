#pragma once

// What every function of the interface is made with: one wrapper that records the call, asks the
// fault plan, converts failures into statuses and puts them on the error stack.

#include <atomic>
#include <string>
#include <type_traits>
#include <utility>

#include "workbench/session/session.h"

namespace mervane {

// ---- arguments of a call for the journal ----
// A list that the caller passes, named in place of its pointer.
template <typename T>
struct Passed {
    int count;
    const T* list;
};
template <typename T>
Passed(int, const T*) -> Passed<T>;

// True while a journal is kept, a fault planned or a run counted: the one flag that is tested when
// all are off.
extern std::atomic<bool> watching;

namespace detail {
// Status of the fault planned for this call, or kInterrupted; 0: none.
int plannedFault(const char* operation);
bool journaling();
// A call that is counted, with its time.
class Counted {
public:
    explicit Counted(const char* operation) noexcept;
    ~Counted();
    Counted(const Counted&) = delete;

private:
    std::int64_t began_;
};
void journal(JournalEntry entry);
int failed(const char* operation, int status, const char* text);  // pushes it on the error stack
int failedUnknown(const char* operation);                         // inside a catch-all

inline JournalArgument kept(const char* text) {
    return text ? JournalArgument(std::string(text)) : NullArgument{};
}
inline JournalArgument kept(const date_s& date) {
    return Date{date};
}
template <typename T>
JournalArgument kept(const Passed<T>& passed) {
    if (!passed.list)
        return NullArgument{};
    return std::vector<T>(passed.list, passed.list + (passed.count > 0 ? passed.count : 0));
}
template <typename T>
JournalArgument kept(const T& value) {
    if constexpr (std::is_pointer_v<T>)
        return value ? JournalArgument(OutArgument{}) : NullArgument{};
    else
        return JournalArgument(value);
}
template <typename... Args>
void keep(const char* operation, int status, const Args&... args) {
    JournalEntry entry{operation, {}, status};
    entry.arguments.reserve(sizeof...(args));
    (entry.arguments.push_back(kept(args)), ...);
    journal(std::move(entry));
}

void keepCacheSmall() noexcept;  // of the current session

template <typename Body>
int run(const char* operation, Body& body) noexcept {
    try {
        body();
        keepCacheSmall();
        return 0;
    } catch (const Failure& failure) {
        return failed(operation, failure.status(), failure.what());
    } catch (...) {
        return failedUnknown(operation);
    }
}
}  // namespace detail

// Run the body of an interface function. Arguments are given for the journal only. Returns: 0, or
// the status of what the body threw, or of a planned fault, in whose place the body isn't run; the
// error stack then has an entry, but for kNoPreference.
//   int OBJ_load(tag_t object) {
//       return call("OBJ_load", [&] { currentSession().object(object); }, object);
//   }
template <typename Body, typename... Args>
int call(const char* operation, Body&& body, const Args&... args) noexcept {
    if (!watching.load(std::memory_order_relaxed))
        return detail::run(operation, body);
    const detail::Counted counted(operation);
    if (int fault = detail::plannedFault(operation)) {
        if (detail::journaling())
            detail::keep(operation, fault, args...);
        return detail::failed(operation, fault,
                              fault == kInterrupted ? "no further call" : "planned failure");
    }
    const int status = detail::run(operation, body);
    if (detail::journaling())
        detail::keep(operation, status, args...);
    return status;
}

// ---- checks that occur everywhere ----
// Failure kNullArgument if the pointer is null; the name is the parameter's.
void need(const void* pointer, const char* name);

// ---- handing memory out: blocks of the platform's heap, which the receiver frees with HEAP_free;
// Failure kNoMemory, and nothing is left allocated ----
char* copyText(const std::string& text);
tag_t* copyTags(const std::vector<tag_t>& tags);  // null for an empty list
// An array that ends with a null entry, and a block for each text; null for an empty list.
char** copyTexts(const std::vector<std::string>& texts);
void* allocate(std::size_t size);
// Into a caller's buffer of `size` bytes: Failure kTooLong if it doesn't fit.
void copyInto(char* buffer, std::size_t size, const std::string& text, const char* what);

}  // namespace mervane
