#include "tools/keld/host/service.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "tools/keld/lint/ini.h"

namespace keld {

namespace fs = std::filesystem;

const std::vector<Service>& services() {
    static const std::vector<Service> all = {
        {"KELD_StatusManager", "string, string, tag", Slot::Int, Effects::Store},
        {"KELD_ReNameItem", "string, string, string, tag", Slot::Int, Effects::Store},
        {"KELD_ReNameItemExtended", "string, string, string, string, tag, tag, int", Slot::Int,
         Effects::Store},
        {"KELD_CopyAttr", "tag, tags", Slot::Int, Effects::Store},
        {"KELD_DeleteDeluxe", "tags", Slot::Int, Effects::BackupFiles},
        {"KELD_PSE_PackAndResequenceBom", "tag, tags, int, int", Slot::Tag, Effects::Store},
        {"KELD_SrvCallCRIFromPortal",
         "string, string, string, string, string, string, string, tags", Slot::Int, Effects::Store},
        {"KELD_SrvCallCRJFromPortal",
         "string, string, string, string, string, string, string, string, string, tags", Slot::Int,
         Effects::Outside},
        {"KELD_SrvCall", "int, int, string", Slot::Text, Effects::None},
        {"KELD_SrvCallGetEnv", "string", Slot::Text, Effects::None},
    };
    return all;
}

const Service& findService(const std::string& name) {
    std::vector<std::string> names;
    for (const Service& service : services()) {
        if (service.name == name)
            return service;
        names.push_back(service.name);
    }
    std::vector<std::string> near = nearest(name, names);
    if (near.empty())
        near = nearest("KELD_" + name, names);
    throw CommandError("there is no service '" + name + "'", near, kExitUsage);
}

BomWindows::~BomWindows() {
    for (const auto& [revision, line] : lines_) {
        try {
            context_.workbench().closeBomWindow(line);
        } catch (const mervane::Failure& failure) {
            context_.note(failure.what());
        }
    }
}

tag_t BomWindows::topLine(const std::string& object) {
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

void BomWindows::save() {
    for (const auto& [revision, line] : lines_)
        context_.workbench().saveBomWindow(line);
}

mervane::Argument parseArgument(const Context& context, BomWindows& windows,
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
        for (const std::string& name : splitList(value, ','))
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

LogWatch::LogWatch() {
    const char* path = KELD_GetLogFilePath();  // writes out what is waiting, too
    path_ = path ? path : "";
    std::error_code failure;
    const auto size = fs::file_size(pathOf(path_), failure);
    start_ = failure ? 0 : size;
}

std::vector<LogLine> LogWatch::lines() const {
    std::vector<LogLine> found;
    if (path_.empty())
        return found;
    (void)KELD_GetLogFilePath();
    // A device or a pipe may never end.
    std::error_code unknown;
    if (!fs::is_regular_file(pathOf(path_), unknown))
        return found;
    std::ifstream in(pathOf(path_), std::ios::binary);
    std::error_code failure;
    const auto size = fs::file_size(pathOf(path_), failure);
    // A log that got shorter has been begun anew.
    if (!failure && size >= start_)
        in.seekg(static_cast<std::streamoff>(start_));
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        // "2001-02-03 04:05:06.789 E text"
        constexpr std::size_t kLevelAt = 24;
        const bool head = line.size() > kLevelAt && line[4] == '-' && line[10] == ' ' &&
                          line[kLevelAt - 1] == ' ' &&
                          std::string_view("EWTD").find(line[kLevelAt]) != std::string_view::npos;
        if (!head)
            continue;
        const auto text = line.find_first_not_of(' ', kLevelAt + 1);
        found.push_back({line[kLevelAt], text == std::string::npos ? "" : line.substr(text)});
    }
    return found;
}

std::vector<std::string> LogWatch::problems() const {
    std::vector<std::string> texts;
    for (const LogLine& line : lines())
        if ((line.level == 'E' || line.level == 'W') &&
            std::find(texts.begin(), texts.end(), line.text) == texts.end())
            texts.push_back(line.text);
    return texts;
}

Outcome runService(Context& context, const Service& service,
                   const std::vector<mervane::Argument>& arguments, Printed printed) {
    Outcome outcome;
    outcome.slot = service.slot;
    // The slot is passed as the platform passes it: a bare pointer.
    using Function = int (*)(void* result);
    const auto run = reinterpret_cast<Function>(findFunction(service.name));
    if (!run)
        throw CommandError("the library doesn't export " + service.name);
    ERR_clear_errors();
    const LogWatch log;
    char* text = nullptr;
    void* slot = service.slot == Slot::Int   ? static_cast<void*>(&outcome.number)
                 : service.slot == Slot::Tag ? static_cast<void*>(&outcome.tag)
                                             : static_cast<void*>(&text);
    context.workbench().sendArguments(arguments);
    {
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
            (outcome.tag ? context.label(outcome.tag) + " (#" + std::to_string(outcome.tag) + ")"
                         : "no object") +
            "\n";
    else
        text += "result  " + (outcome.has_text ? outcome.text : "none") + "\n";
    for (const auto& entry : outcome.stack)
        text += painted(Colour::Red, "error") + "   " + std::to_string(entry.status) + ": " +
                entry.text + "\n";
    text += problemText(outcome, "log     ");
    text += "log in  " + (outcome.log.empty() ? "(none could be opened)" : outcome.log) + "\n";
    return text;
}

std::string problemText(const Outcome& outcome, const std::string& lead) {
    const auto isTrace = [](const std::string& line) {
        return line.starts_with("##") || line.starts_with("File:") || line.starts_with("--");
    };
    const bool only_traces = std::all_of(outcome.problems.begin(), outcome.problems.end(), isTrace);
    std::string text;
    for (const std::string& problem : outcome.problems)
        if (only_traces || !isTrace(problem))
            text += lead + problem + "\n";
    return text;
}

}  // namespace keld
