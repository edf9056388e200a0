#pragma once

// Runs a service as a client would: arguments on the stream, the exported function, and its
// results: returned status, result slot, error stack, lines in the log.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"
#include "tools/keld/services.h"

namespace keld {

// Failure: CommandError with the nearest names.
const Service& findService(const std::string& name);

// The BOM windows that the arguments of a call need, one for each revision.
class CallWindows {
public:
    explicit CallWindows(const Context& context) : context_(context) {}
    ~CallWindows();
    CallWindows(const CallWindows&) = delete;
    CallWindows& operator=(const CallWindows&) = delete;
    tag_t topLine(const std::string& object);  // of a revision, or of an item's latest one
    void save();

private:
    const Context& context_;
    std::map<tag_t, tag_t> lines_;  // revision -> top line
};

// "i:3", "s:text", "t:000123/A", "ts:000123/A,000124"; "t:" is no object, "ts:" no objects.
// "l:000123/A" is the top line of a BOM window of that revision, "ls:..." a list of such lines.
mervane::Argument parseArgument(const Context& context, CallWindows& windows,
                                const std::string& text);
std::string kindsOf(const std::vector<mervane::Argument>& arguments);

struct LogLine {
    char level = ' ';  // E, W, T or D
    std::string text;  // without time, level and indentation
};

// The lines that the log gets from this process from now on. If the log can't be written, a note
// says so, and the run goes on with a temporary one.
class LogWatch {
public:
    using Each = std::function<void(const LogLine&)>;
    LogWatch();  // watches from now on
    void read(const Each& each) const;
    // Read the whole lines since the last call, or since the start. A full log is renamed and begun
    // anew; frequent calls miss nothing then.
    void follow(const Each& each);
    std::vector<LogLine> lines() const;
    // Errors and warnings, each text once; at most a thousand.
    std::vector<std::string> problems() const;
    bool grew() const;
    std::string path() const;  // empty: there is no log to show

private:
    bool begunAnew() const;

    std::string path_, head_, older_head_;  // the first bytes of the log, and of the one before it
    std::uintmax_t start_ = 0;
    std::uintmax_t followed_ = 0;  // how far follow() has read the present log
    std::string followed_older_;   // first bytes of the one before it at that time
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

// Where the service's standard output goes.
enum class Printed { ToStandardError, Nowhere };
Outcome runService(Context& context, const Service& service,
                   const std::vector<mervane::Argument>& arguments,
                   Printed printed = Printed::ToStandardError);

// "919402: Type is not configured ..."
std::string statusText(const Context& context, int status);
Json asJson(const Context& context, const Outcome& outcome);
std::string asText(const Context& context, const Outcome& outcome);

// "log in PATH"; empty if there is none.
std::string logText(const Outcome& outcome);
// Errors and warnings of the run, one per line. Those of traced calls are left out unless there are
// no others.
std::string problemText(const Outcome& outcome, const std::string& lead);

}  // namespace keld
