#include "tools/keld/host/service.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/plan.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "workbench/names.h"

namespace keld {

namespace fs = std::filesystem;

const Service& findService(const std::string& name) {
    if (const Service* service = serviceNamed(name))
        return *service;
    std::vector<std::string> names;
    for (const Service& service : services())
        names.push_back(service.name);
    std::vector<std::string> near = nearest(name, names);
    if (near.empty())
        near = nearest("KELD_" + name, names);
    throw CommandError("there is no service '" + name + "'", near, kExitUsage);
}

CallWindows::~CallWindows() {
    for (const auto& [revision, line] : lines_) {
        try {
            context_.workbench().closeBomWindow(line);
        } catch (const mervane::Failure& failure) {
            context_.note(failure.what());
        }
    }
}

tag_t CallWindows::topLine(const std::string& object) {
    tag_t revision = context_.object(object);
    const std::vector<std::string> items = context_.workbench().typeNames("Item");
    if (std::find(items.begin(), items.end(), context_.workbench().describe(revision).type) !=
        items.end())
        require(context_, ART_ask_latest_rev(revision, &revision), "ART_ask_latest_rev");
    const auto found = lines_.find(revision);
    if (found != lines_.end())
        return found->second;
    const tag_t line = context_.workbench().openBomWindow(revision);
    lines_.emplace(revision, line);
    return line;
}

void CallWindows::save() {
    for (const auto& [revision, line] : lines_)
        context_.workbench().saveBomWindow(line);
}

namespace {

// Split a list of names at its commas; a comma in quotes belongs to the name.
std::vector<std::string> splitNames(std::string_view list) {
    std::vector<std::string> names;
    std::string name;
    while (!list.empty()) {
        std::string_view rest = list;
        // A quote begins a quoted part only where a part of a name begins.
        if ((name.empty() || name.back() == '/' || name.back() == ':') &&
            mervane::takeQuoted(rest)) {
            name.append(list.substr(0, list.size() - rest.size()));
            list = rest;
            continue;
        }
        if (list.front() == ',')
            names.push_back(std::exchange(name, {}));
        else
            name += list.front();
        list.remove_prefix(1);
    }
    if (!name.empty())
        names.push_back(name);
    return names;
}

}  // namespace

mervane::Argument parseArgument(const Context& context, CallWindows& windows,
                                const std::string& text) {
    const auto colon = text.find(':');
    const std::string kind = text.substr(0, colon);
    const std::string value = colon == std::string::npos ? "" : text.substr(colon + 1);
    const auto object = [&](const std::string& name) {
        return name.empty() ? NULLTAG : context.object(name);
    };
    if (colon != std::string::npos && kind == "s")
        return value;
    if (colon != std::string::npos && kind == "t")
        return object(value);
    if (colon != std::string::npos && kind == "l")
        return windows.topLine(value);
    if (colon != std::string::npos && (kind == "ts" || kind == "ls")) {
        std::vector<tag_t> tags;
        for (const std::string& name : splitNames(value))
            tags.push_back(kind == "ts" ? object(name) : windows.topLine(name));
        return tags;
    }
    if (colon != std::string::npos && kind == "i") {
        int number = 0;
        const auto [end, failure] =
            std::from_chars(value.data(), value.data() + value.size(), number);
        if (failure == std::errc() && end == value.data() + value.size())
            return number;
        throw CommandError("'" + text + "' is no integer argument; expected i: and a number", {},
                           kExitUsage);
    }
    throw CommandError(
        "'" + text +
            "' is no argument; expected i:NUMBER, s:TEXT, t:OBJECT, ts:OBJECT,OBJECT,... "
            "or for BOM lines l:REVISION, ls:REVISION,...",
        {}, kExitUsage);
}

std::string kindsOf(const std::vector<mervane::Argument>& arguments) {
    static constexpr const char* kNames[] = {"int", "string", "tag", "tags"};
    std::string all;
    for (const auto& argument : arguments)
        all += (all.empty() ? "" : ", ") + std::string(kNames[argument.index()]);
    return all;
}

namespace {

// A temporary log for runs whose log can't be written: refusals are explained from the lines.
struct SpareLog {
    std::string path;  // empty: none is needed
    ~SpareLog() {
        std::error_code ignored;
        if (!path.empty())
            fs::remove(pathOf(path), ignored);
    }
};

SpareLog& spareLog() {
    static SpareLog log;
    return log;
}

constexpr std::size_t kStart = 64;  // bytes at the start of a log by which two are told apart

std::string startOf(const std::string& path) {
    std::ifstream in(pathOf(path), std::ios::binary);
    std::string start(kStart, '\0');
    in.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
    return start;
}

std::uintmax_t sizeOf(const std::string& path) {
    std::error_code failure;
    const auto size = fs::file_size(pathOf(path), failure);
    return failure ? 0 : size;
}

// Read "2001-02-03 04:05:06.789 E text"; nothing for the further lines of a text.
std::optional<LogLine> parsedLine(std::string line) {
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    constexpr std::size_t kLevelAt = 24;
    const bool head = line.size() > kLevelAt && line[4] == '-' && line[10] == ' ' &&
                      line[kLevelAt - 1] == ' ' &&
                      std::string_view("EWTD").find(line[kLevelAt]) != std::string_view::npos;
    if (!head)
        return std::nullopt;
    const auto text = line.find_first_not_of(' ', kLevelAt + 1);
    return LogLine{line[kLevelAt], text == std::string::npos ? "" : line.substr(text)};
}

// Read lines from `start`; gives the position after the last one. With `whole` an unfinished last
// line is left for later.
std::uintmax_t readFrom(const std::string& path, std::uintmax_t start, const LogWatch::Each& each,
                        bool whole = false) {
    std::ifstream in(pathOf(path), std::ios::binary);
    in.seekg(static_cast<std::streamoff>(start));
    for (std::string line; std::getline(in, line);) {
        if (in.eof() && whole)
            break;
        start += line.size() + 1;
        if (const std::optional<LogLine> parsed = parsedLine(std::move(line)))
            each(*parsed);
    }
    return start;
}

}  // namespace

LogWatch::LogWatch() {
    const std::string wanted = environment("KELD_LOG_FILE");
    if (const std::string reason = whyNotAppendable(wanted); !wanted.empty() && !reason.empty()) {
        tell("the log " + wanted + " can't be written: " + reason + "; this run leaves none");
        spareLog().path = makeTemporaryFile("keld-log");
        setEnvironment("KELD_LOG_FILE", spareLog().path);
    }
    const char* path = KELD_GetLogFilePath();  // this call also flushes the log
    path_ = path ? path : "";
    start_ = sizeOf(path_);
    head_ = startOf(path_);
    older_head_ = startOf(path_ + ".1");
    followed_ = start_;
    followed_older_ = older_head_;
}

std::string LogWatch::path() const {
    return spareLog().path.empty() ? path_ : "";
}

// A full log is renamed to ".1", and a new one begins.
bool LogWatch::begunAnew() const {
    return startOf(path_ + ".1") != older_head_;
}

bool LogWatch::grew() const {
    (void)KELD_GetLogFilePath();
    return sizeOf(path_) != start_ || begunAnew();
}

void LogWatch::read(const Each& each) const {
    if (path_.empty())
        return;
    (void)KELD_GetLogFilePath();
    if (!begunAnew()) {
        readFrom(path_, sizeOf(path_) < start_ ? 0 : start_, each);
        return;
    }
    // If it was full more than once, the lines in between are lost.
    const std::string older = path_ + ".1";
    readFrom(older, !head_.empty() && startOf(older).starts_with(head_) ? start_ : 0, each);
    readFrom(path_, 0, each);
}

void LogWatch::follow(const Each& each) {
    if (path_.empty())
        return;
    const std::string older = path_ + ".1", begins = startOf(older);
    if (begins != followed_older_) {
        readFrom(older, followed_, each);
        followed_ = 0;
        followed_older_ = begins;
    }
    followed_ = readFrom(path_, followed_, each, true);
}

std::vector<LogLine> LogWatch::lines() const {
    std::vector<LogLine> found;
    read([&](const LogLine& line) { found.push_back(line); });
    return found;
}

std::vector<std::string> LogWatch::problems() const {
    constexpr std::size_t kMost = 1000;
    std::vector<std::string> texts;
    std::set<std::string> known;
    read([&](const LogLine& line) {
        if ((line.level == 'E' || line.level == 'W') && known.size() < kMost &&
            known.insert(line.text).second)
            texts.push_back(line.text);
    });
    return texts;
}

Outcome runService(Context& context, const Service& service,
                   const std::vector<mervane::Argument>& arguments, Printed printed) {
    Outcome outcome;
    outcome.slot = service.slot;
    // The platform passes the slot as a bare pointer, too.
    using Function = int (*)(void* result);
    const auto run = reinterpret_cast<Function>(findFunction(service.function));
    if (!run)
        throw CommandError("the library doesn't export " + service.function);
    if (context.plan && context.plan->open)
        context.plan->called(plannedCall(service, arguments));
    ERR_clear_errors();
    const LogWatch log;
    char* text = nullptr;
    void* slot = service.slot == Slot::Int   ? static_cast<void*>(&outcome.number)
                 : service.slot == Slot::Tag ? static_cast<void*>(&outcome.tag)
                                             : static_cast<void*>(&text);
    context.workbench().sendArguments(arguments);
    {
        // Standard output is for keld's own output only: services print there, too.
        std::optional<OutputAside> aside;
        if (printed == Printed::Nowhere)
            aside.emplace(kNullDevice);
        else
            aside.emplace();
        const Progress progress("running " + service.name);
        outcome.status = run(slot);
    }
    if (text) {
        outcome.has_text = true;
        outcome.text = text;
        HEAP_free(text);
    }
    outcome.stack = context.workbench().errorStack();
    outcome.problems = log.problems();
    constexpr int kTraceLevel = 3;
    // A service without effects may write no line at all.
    if (service.effects != Effects::None && KELD_GetLogLevel() >= kTraceLevel && !log.grew())
        tell("nothing could be written to the log " + log.path());
    outcome.log = log.path();
    return outcome;
}

std::string statusText(const Context& context, int status) {
    const std::string text = context.workbench().messageText(status);
    return std::to_string(status) + (text.empty() ? "" : ": " + text);
}

Json asJson(const Context& context, const Outcome& outcome) {
    Json slot;
    if (outcome.slot == Slot::Int)
        slot = {{"kind", "int"},
                {"value", outcome.number},
                {"text", outcome.number ? context.workbench().messageText(outcome.number) : ""}};
    else if (outcome.slot == Slot::Tag)
        slot = {{"kind", "tag"},
                {"value", outcome.tag},
                {"object", outcome.tag ? Json(context.label(outcome.tag)) : Json()}};
    else
        slot = {{"kind", "text"}, {"value", outcome.has_text ? Json(outcome.text) : Json()}};
    Json stack = Json::array();
    for (const auto& entry : outcome.stack)
        stack.push_back(
            {{"severity", entry.severity}, {"status", entry.status}, {"text", entry.text}});
    return {{"succeeded", outcome.succeeded()},
            {"status", outcome.status},
            {"status_text", outcome.status ? context.workbench().messageText(outcome.status) : ""},
            {"slot", slot},
            {"error_stack", stack},
            {"log_problems", outcome.problems},
            {"log", outcome.log}};
}

std::string asText(const Context& context, const Outcome& outcome) {
    std::string text = "status  " + statusText(context, outcome.status) + "\n";
    if (outcome.slot == Slot::Int)
        text += "result  " + statusText(context, outcome.number) + "\n";
    else if (outcome.slot == Slot::Tag)
        text +=
            "result  " +
            (outcome.tag ? context.title(outcome.tag) + " (#" + std::to_string(outcome.tag) + ")"
                         : "no object") +
            "\n";
    else
        text += "result  " + (outcome.has_text ? shown(outcome.text) : "none") + "\n";
    for (const auto& entry : outcome.stack)
        text += painted(Colour::Red, "error") + "   " + std::to_string(entry.status) + ": " +
                shown(entry.text) + "\n";
    text += problemText(outcome, "log     ");
    text += "log in  " + (outcome.log.empty() ? "(none)" : shown(outcome.log)) + "\n";
    return text;
}

std::string logText(const Outcome& outcome) {
    return outcome.log.empty() ? "" : "log in " + shown(outcome.log) + "\n";
}

std::string problemText(const Outcome& outcome, const std::string& lead) {
    const auto isTrace = [](const std::string& line) {
        return line.starts_with("##") || line.starts_with("File:") || line.starts_with("--");
    };
    const bool only_traces = std::all_of(outcome.problems.begin(), outcome.problems.end(), isTrace);
    std::string text;
    for (const std::string& problem : outcome.problems)
        if (only_traces || !isTrace(problem))
            text += lead + shown(problem) + "\n";
    return text;
}

}  // namespace keld
