#pragma once

// The process's stack of errors; of more than 1,000 the oldest go. Within a protect mark errors are
// expected: they are kept from the client, so they leave the stack when the mark ends.

#include <string>
#include <vector>

#include "workbench/workbench.h"

namespace mervane {

class ErrorStack {
public:
    void push(int severity, int status, const std::string& parameter);
    // A text that is complete already.
    void pushText(int severity, int status, std::string text);
    // Empty the whole stack, inside a mark too.
    void clear() { entries_.clear(); }
    int setMark();  // above 0
    // End the mark and those set inside it: what was pushed since goes. Failure kBadMark for a mark
    // that isn't set.
    void clearMark(int mark);
    bool hasMark() const { return !marks_.empty(); }
    // Oldest first; they hold until the stack changes.
    const std::vector<StackEntry>& entries() const { return entries_; }

private:
    struct Mark {
        int number;
        std::size_t depth;
    };
    std::vector<StackEntry> entries_;
    std::vector<Mark> marks_;
    int last_mark_ = 0;
};

// The one of this process.
ErrorStack& errorStack();

// The text of a status with its parameter in place; ends cleanly without one.
std::string filledText(int status, const std::string& parameter);

}  // namespace mervane
