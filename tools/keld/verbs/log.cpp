// log: where it lies, its last lines, its level.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tools/keld/host/context.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

constexpr int kDefaultLevel = 3;
constexpr const char* kLevelNames[] = {"off", "error", "warning", "trace", "debug"};

int path(Context& context) {
    const std::string log = context.logPath();
    std::error_code ignored;
    context.document = {{"log", log}, {"exists", std::filesystem::exists(pathOf(log), ignored)}};
    context.print(log + "\n");
    return kExitDone;
}

int tail(Context& context, int count) {
    if (count < 0)
        throw CommandError("-n must not be negative", {}, kExitUsage);
    const std::string log = context.logPath();
    std::error_code unknown;
    if (std::filesystem::exists(pathOf(log), unknown) &&
        !std::filesystem::is_regular_file(pathOf(log), unknown))
        throw CommandError(log + " is no file that can be read back");
    std::ifstream in(pathOf(log), std::ios::binary);
    if (!in)
        throw CommandError("there is no log at " + log + " (no service has run yet?)");
    std::deque<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(std::move(line));
        if (lines.size() > static_cast<std::size_t>(count))
            lines.pop_front();
    }
    context.document = {{"log", log}, {"lines", lines}};
    for (const std::string& line : lines) {
        constexpr std::size_t kLevelAt = 24;
        const char level = line.size() > kLevelAt ? line[kLevelAt] : ' ';
        context.print(painted(level == 'E'   ? Colour::Red
                              : level == 'W' ? Colour::Yellow
                                             : Colour::Plain,
                              line) +
                      "\n");
    }
    return kExitDone;
}

std::string levelName(int level) {
    return kLevelNames[std::clamp(level, 0, 4)];
}

int level(Context& context, const std::optional<int>& wanted) {
    context.open();
    if (wanted) {
        context.workbench().setPreference(kLogLevelPreference, {std::to_string(*wanted)});
        context.document = {{"level", *wanted}, {"from", "store"}};
        context.print("the store's log level is now " + std::to_string(*wanted) + " (" +
                      levelName(*wanted) + ")\n");
        return kExitDone;
    }
    int value = kDefaultLevel;
    std::string from = "default";
    for (const auto& [name, values] : context.workbench().preferences())
        if (name == kLogLevelPreference && !values.empty()) {
            value = std::atoi(values.front().c_str());
            from = "store";
        }
    if (const std::string set = environment("KELD_LOG_LEVEL"); !set.empty()) {
        value = std::atoi(set.c_str());
        from = "environment";
    }
    if (context.globals().log_level) {
        value = *context.globals().log_level;
        from = "command line";
    }
    context.document = {{"level", value}, {"name", levelName(value)}, {"from", from}};
    context.print(std::to_string(value) + " (" + levelName(value) + "), from the " + from + "\n");
    return kExitDone;
}

}  // namespace

void addLogVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("log", "Show the log of services and set its level",
                                     "  keld log\n"
                                     "  keld log tail -n 50\n"
                                     "  keld log level 4\n",
                                     path);
    verbs.add(group, "path", "Show where the log lies", "  keld log path\n", path);

    auto count = std::make_shared<int>(20);
    verbs
        .add(group, "tail", "Show the last lines of the log", "  keld log tail -n 50\n",
             [count](Context& context) { return tail(context, *count); })
        ->add_option("-n,--lines", *count, "number of lines")
        ->capture_default_str();

    auto wanted = std::make_shared<std::optional<int>>();
    verbs
        .add(group, "level", "Show or set the store's log level",
             "  keld log level\n"
             "  keld log level 4    # 0 off, 1 error, 2 warning, 3 trace, 4 debug\n",
             [wanted](Context& context) { return level(context, *wanted); })
        ->add_option("LEVEL", *wanted,
                     "kept in the store; without it, the level in force is shown");
}

}  // namespace keld
