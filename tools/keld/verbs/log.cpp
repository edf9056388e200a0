// log: its path, last lines and level.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "tools/keld/host/context.h"
#include "tools/keld/host/run.h"
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

struct Tail {
    int lines = 20;
    bool follow = false;
};

// Find where the last lines of a file begin, in blocks from the end.
std::streamoff startOfLast(std::istream& in, int lines) {
    constexpr std::streamoff kBlock = 65536;
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    std::string block;
    for (std::streamoff end = size; end > 0;) {
        const std::streamoff begin = std::max<std::streamoff>(0, end - kBlock);
        block.resize(static_cast<std::size_t>(end - begin));
        in.seekg(begin);
        in.read(block.data(), end - begin);
        for (std::streamoff at = end; at-- > begin;)
            // The last break ends the last line; it begins no further one.
            if (block[static_cast<std::size_t>(at - begin)] == '\n' && at + 1 < size &&
                --lines <= 0)
                return at + 1;
        end = begin;
    }
    return 0;
}

void showLine(Context& context, Json& shown_lines, std::string line) {
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    constexpr std::size_t kLevelAt = 24;
    const char level = line.size() > kLevelAt ? line[kLevelAt] : ' ';
    context.print(painted(level == 'E'   ? Colour::Red
                          : level == 'W' ? Colour::Yellow
                                         : Colour::Plain,
                          line) +
                  "\n");
    if (context.json())
        shown_lines.push_back(std::move(line));
}

// Shows what is added to a log. A full log is renamed and begun anew; both are read then.
class FollowedLog {
public:
    FollowedLog(Context& context, std::string path, std::streamoff at)
        : context_(context), path_(std::move(path)), at_(at) {
        std::ifstream in(pathOf(path_), std::ios::binary);
        begin_ = beginOf(in);
    }

    void show() {
        std::ifstream in(pathOf(path_), std::ios::binary);
        if (!in)
            return;  // the old log is renamed, the new one not made yet
        const std::string begin = beginOf(in);
        in.seekg(0, std::ios::end);
        if (!begin.starts_with(begin_) || in.tellg() < at_)
            showRest();
        begin_ = begin;
        showFrom(in);
    }

private:
    Context& context_;
    std::string path_, begin_;
    std::streamoff at_;
    std::string waiting_;  // begin of an unfinished line

    // Logs begin with the time, so no two begin alike.
    static std::string beginOf(std::istream& in) {
        std::string begin(256, '\0');
        in.read(begin.data(), static_cast<std::streamsize>(begin.size()));
        begin.resize(static_cast<std::size_t>(in.gcount()));
        in.clear();
        return begin;
    }

    void showRest() {
        std::ifstream older(pathOf(path_ + ".1"), std::ios::binary);
        if (const std::string begin = beginOf(older); older && !begin_.empty()) {
            if (begin.starts_with(begin_))
                showFrom(older);
            else
                context_.note("the log was begun anew more than once; lines between are gone");
        }
        at_ = 0;
        waiting_.clear();
    }

    void showFrom(std::istream& in) {
        Json none;
        std::string block(65536, '\0');
        for (in.seekg(at_); in;) {
            in.read(block.data(), static_cast<std::streamsize>(block.size()));
            at_ += in.gcount();
            waiting_.append(block, 0, static_cast<std::size_t>(in.gcount()));
            std::size_t begin = 0;
            for (std::size_t end = 0; (end = waiting_.find('\n', begin)) != std::string::npos;
                 begin = end + 1)
                showLine(context_, none, waiting_.substr(begin, end - begin));
            waiting_.erase(0, begin);
        }
    }
};

// Show additions until a signal ends the program.
[[noreturn]] void follow(Context& context, const std::string& log, std::streamoff at) {
    FollowedLog followed(context, log, at);
    for (;;) {
        followed.show();
        if (!writtenOut())
            throw CommandError("can't write to the standard output");
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
}

int tail(Context& context, const Tail& wanted) {
    if (wanted.lines < 0)
        throw CommandError("-n must not be negative", {}, kExitUsage);
    if (wanted.follow && context.json())
        throw CommandError("-f has no end, and so no JSON document", {}, kExitUsage);
    const std::string log = context.logPath();
    std::error_code unknown;
    if (std::filesystem::exists(pathOf(log), unknown) &&
        !std::filesystem::is_regular_file(pathOf(log), unknown))
        throw CommandError(log + " is no file that can be read back");
    std::ifstream in(pathOf(log), std::ios::binary);
    if (!in)
        throw CommandError("there is no log at " + log + " (no service has run yet?)");
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(wanted.lines > 0 ? startOfLast(in, wanted.lines) : size);
    Json lines = Json::array();
    std::streamoff left = size - static_cast<std::streamoff>(in.tellg());
    for (std::string line; left > 0 && std::getline(in, line);) {
        left -= static_cast<std::streamoff>(line.size()) + 1;
        showLine(context, lines, std::move(line));
    }
    context.document = {{"log", log}, {"lines", lines}};
    if (wanted.follow)
        follow(context, log, size);
    return kExitDone;
}

// ---- show ----

struct WantedLog {
    std::string run, object;
};

// The lines between two moments that name an object, each with the lines after it that have no
// time. Empty texts select all.
struct LogPart {
    std::string from, to, name;
    bool inside = true;  // whether the last line with a time is selected

    static bool hasTime(const std::string& line) {
        constexpr std::size_t kTimeLength = 19;
        return line.size() > kTimeLength && line[4] == '-' && line[7] == '-' && line[10] == ' ' &&
               line[13] == ':' && line[16] == ':';
    }
    bool has(const std::string& line) {
        if (!hasTime(line))
            return inside;
        const std::string second = line.substr(0, 19);
        inside = (from.empty() || second >= from) && (to.empty() || second <= to) &&
                 (name.empty() || line.find(name) != std::string::npos);
        return inside;
    }
};

int showLog(Context& context, const WantedLog& wanted) {
    char* end = nullptr;
    const long long number = std::strtoll(wanted.run.c_str(), &end, 10);
    if (!wanted.run.empty() && (*end != '\0' || number <= 0))
        throw CommandError("'" + wanted.run + "' is no number of a run", {}, kExitUsage);
    const std::string log = context.logPath();
    LogPart part;
    if (!wanted.run.empty() || !wanted.object.empty())
        context.open();
    if (!wanted.run.empty()) {
        const mervane::RunHead head = context.workbench().run(number);
        part.from = head.began;
        part.to = head.ended;
    }
    if (!wanted.object.empty())
        part.name = context.label(context.object(wanted.object));
    Json lines = Json::array();
    bool any = false;
    for (const std::string& file : {log + ".1", log}) {
        std::ifstream in(pathOf(file), std::ios::binary);
        any = any || in.is_open();
        for (std::string line; std::getline(in, line);)
            if (part.has(line))
                showLine(context, lines, std::move(line));
    }
    if (!any)
        throw CommandError("there is no log at " + log + " (no service has run yet?)");
    context.document = {{"log", log}, {"lines", lines}};
    return kExitDone;
}

std::string levelName(int level) {
    return kLevelNames[std::clamp(level, 0, 4)];
}

int level(Context& context, const std::optional<int>& wanted) {
    context.open();
    if (wanted) {
        changeAll(context, {}, "log level", std::to_string(*wanted), [&] {
            context.workbench().setPreference(kLogLevelPreference, {std::to_string(*wanted)});
        });
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
                                     "  keld log show --run 7\n"
                                     "  keld log level 4\n",
                                     path);
    verbs.add(group, "path", "Show where the log lies", "  keld log path\n", path);

    auto last = std::make_shared<Tail>();
    CLI::App* tail_verb = verbs.add(group, "tail", "Show the last lines of the log",
                                    "  keld log tail -n 50\n"
                                    "  keld log tail -f        # and what is added, until Ctrl-C\n",
                                    [last](Context& context) { return tail(context, *last); });
    tail_verb->add_option("-n,--lines", last->lines, "number of lines")->capture_default_str();
    tail_verb->add_flag("-f,--follow", last->follow, "go on with the lines that are added");

    auto part = std::make_shared<WantedLog>();
    CLI::App* show_verb = verbs.add(
        group, "show", "Show the log, or the part of a run or of an object",
        "  keld log show --run 7\n"
        "  keld log show --object 000123/A\n"
        "Lines of a run are those from the second in which it began to the one in which it ended; "
        "other\n"
        "processes that wrote to the same log meanwhile are among them.\n",
        [part](Context& context) { return showLog(context, *part); });
    show_verb->add_option("--run", part->run, "the lines from the begin of this run to its end");
    show_verb->add_option("--object", part->object, "the lines that name this object");

    auto wanted = std::make_shared<std::optional<int>>();
    verbs
        .add(group, "level", "Show or set the store's log level",
             "  keld log level\n"
             "  keld log level 4    # 0 off, 1 error, 2 warning, 3 trace, 4 debug\n",
             [wanted](Context& context) { return level(context, *wanted); })
        ->add_option("LEVEL", *wanted, "kept in the store; without it, the level in force is shown")
        ->check(CLI::Range(0, 4));
}

}  // namespace keld
