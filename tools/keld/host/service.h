#pragma once

// Running a service as a client would: arguments on the stream, the exported function, and what it
// leaves: returned status, result slot, error stack, lines in the log.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"
#include "tools/keld/services.h"

namespace keld {

// With the nearest names if there is none.
const Service& findService(const std::string& name);

// BOM windows that the arguments of a call need, one for each revision named.
class BomWindows {
public:
    explicit BomWindows(const Context& context) : context_(context) {}
    ~BomWindows();
    BomWindows(const BomWindows&) = delete;
    BomWindows& operator=(const BomWindows&) = delete;
    tag_t topLine(const std::string& object);  // of a revision, or of an item's latest
    void save();

private:
    const Context& context_;
    std::map<tag_t, tag_t> lines_;  // revision -> top line
};

// "i:3", "s:text", "t:000123/A", "ts:000123/A,000124"; "t:" is no object, "ts:" no objects.
// "l:000123/A" is the top line of a BOM window of that revision, "ls:..." a list of such lines.
mervane::Argument parseArgument(const Context& context, BomWindows& windows,
                                const std::string& text);
std::string kindsOf(const std::vector<mervane::Argument>& arguments);

struct LogLine {
    char level = ' ';  // E, W, T or D
    std::string text;  // without time, level and indentation
};

// The lines that this process's run adds to its log, read one by one and no others. Of a log that
// can't be written a note says so, and the run goes on without it.
class LogWatch {
public:
    using Each = std::function<void(const LogLine&)>;
    LogWatch();  // from now on
    void read(const Each& each) const;
    // The whole lines since the last time, or since the start. Whoever asks often enough misses
    // none in a log that is begun anew again and again.
    void follow(const Each& each);
    std::vector<LogLine> lines() const;
    // Errors and warnings only, each text once; at most a thousand.
    std::vector<std::string> problems() const;
    bool grew() const;
    std::string path() const;  // empty: there is none

private:
    bool begunAnew() const;

    std::string path_, head_, older_head_;  // how it and the one before it begin
    std::uintmax_t start_ = 0;
    std::uintmax_t followed_ = 0;  // so far, of the log that is written
    std::string followed_older_;   // how the one before it began then
};

struct Outcome {
    int status = 0;
    Slot slot = Slot::Int;
    int number = 0;
    tag_t tag = 0;
    std::string text;
    bool has_text = false;
    std::vector<mervane::StackEntry> stack;
    std::vector<std::string> problems;
    std::string log;

    bool succeeded() const {
        return status == 0 && (slot != Slot::Int || number == 0) && stack.empty();
    }
};

// Where what the service prints to standard output goes meanwhile.
enum class Printed { ToStandardError, Nowhere };
Outcome runService(Context& context, const Service& service,
                   const std::vector<mervane::Argument>& arguments,
                   Printed printed = Printed::ToStandardError);

// "919402: Type is not configured ..."
std::string statusText(const Context& context, int status);
Json asJson(const Context& context, const Outcome& outcome);
std::string asText(const Context& context, const Outcome& outcome);

// "log in PATH", or nothing if there is none.
std::string logText(const Outcome& outcome);
// The run's errors and warnings, a line each; those of traced calls only if there are no others.
std::string problemText(const Outcome& outcome, const std::string& lead);

}  // namespace keld
