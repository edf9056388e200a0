// runs: lists runs, shows what they changed, and takes them back.

#include <CLI/CLI.hpp>
#include <memory>

#include "platform/keld_version.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/run.h"

namespace keld {

namespace {

using mervane::RunHead;

struct WantedRuns {
    std::string object, user, service, since;
    int limit = 20;
};

// "done", "not ended", "running".
std::string outcomeOf(const RunHead& head) {
    if (head.ended.empty())
        return head.running ? "running" : "not ended";
    return resultName(head.outcome.result);
}

std::string remarkOf(const RunHead& head) {
    if (head.undoes != 0)
        return "takes back " + std::to_string(head.undoes);
    return head.undone != 0 ? "taken back by " + std::to_string(head.undone) : "";
}

int listRuns(Context& context, const WantedRuns& wanted) {
    context.open();
    if (wanted.limit < 0)
        throw CommandError("-n must not be negative", {}, kExitUsage);
    const tag_t object = wanted.object.empty() ? NULLTAG : context.object(wanted.object);
    Json all = Json::array();
    Table table({"RUN", "BEGAN", "USER", "SERVICE", "ARGUMENTS", "WAY", "OUTCOME", "CHANGES", ""});
    constexpr std::size_t kMostText = 50;
    for (const RunHead& head : context.workbench().runs(
             {object, wanted.user, wanted.service, wanted.since, wanted.limit})) {
        all.push_back({{"number", head.number},
                       {"began", head.began},
                       {"ended", head.ended.empty() ? Json() : Json(head.ended)},
                       {"user", head.user},
                       {"service", head.service},
                       {"arguments", head.arguments},
                       {"way", wayName(head.way)},
                       {"outcome", outcomeOf(head)},
                       {"entries", head.entries},
                       {"undoes", head.undoes == 0 ? Json() : Json(head.undoes)},
                       {"undone_by", head.undone == 0 ? Json() : Json(head.undone)}});
        table.add({std::to_string(head.number), head.began, head.user, head.service,
                   cutText(head.arguments, kMostText), wayName(head.way), outcomeOf(head),
                   std::to_string(head.entries), remarkOf(head)});
    }
    context.document["runs"] = all;
    context.document["recording"] = context.workbench().recordsRuns();
    std::string text = table.empty() ? "no runs\n" : table.text();
    if (!context.workbench().recordsRuns())
        text += "recording is off (keld runs recording on)\n";
    context.print(text);
    return kExitDone;
}

std::int64_t numberOf(const std::string& text) {
    char* end = nullptr;
    const long long number = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || number <= 0)
        throw CommandError("'" + text + "' is no number of a run", {}, kExitUsage);
    return number;
}

int showRun(Context& context, const std::string& which) {
    const std::int64_t number = numberOf(which);
    context.open();
    const Record record = readRecord(context, number);
    const RunHead& head = record.head;
    context.document = asJson(record);
    Table table({"RUN " + which, head.service});
    table.add({"arguments", head.arguments});
    table.add({"way", wayName(head.way)});
    table.add({"user", head.user + ", group " + head.group});
    table.add({"host", head.host + ", process " + std::to_string(head.process)});
    table.add({"began", head.began});
    table.add({"ended", head.ended.empty() ? outcomeOf(head) : head.ended});
    if (!head.ended.empty())
        table.add(
            {"outcome", std::string(resultName(head.outcome.result)) + ", status " +
                            statusText(context, head.outcome.status) +
                            (head.outcome.slot.empty() ? "" : ", slot " + head.outcome.slot)});
    for (const std::string& entry : head.outcome.stack)
        table.add({"error", entry});
    if (!head.configuration.empty())
        table.add({"configuration", head.configuration + ", SHA-256 " + head.configuration_sha256});
    table.add({"version", head.version});
    std::int64_t calls = 0;
    std::string times;
    for (const auto& [name, count] : head.counts) {
        if (name.starts_with("ms "))
            times += (times.empty() ? "" : ", ") + name.substr(3) + " " + std::to_string(count);
        else if (name != "statements" && name != "objects loaded")
            calls += count;
    }
    if (!head.counts.empty()) {
        table.add({"counts", std::to_string(calls) + " platform calls, " +
                                 std::to_string(head.counts.at("objects loaded")) +
                                 " objects loaded, " +
                                 std::to_string(head.counts.at("statements")) + " statements"});
        table.add({"ms", times});
    }
    if (!remarkOf(head).empty())
        table.add({"undo", remarkOf(head)});
    std::string text = table.text() + changesAsText(record, "no changes\n");
    for (const std::string& note : head.outcome.notes)
        text += "outside the store: " + shown(note) + "\n";
    context.print(text);
    return kExitDone;
}

int undoRun(Context& context, const std::string& which) {
    const std::int64_t number = numberOf(which);
    context.open();
    const mervane::UndoReport report = context.workbench().undoRun(number, KELD_VERSION);
    context.document = {{"run", number},
                        {"done", report.done},
                        {"undo", report.run == 0 ? Json() : Json(report.run)},
                        {"conflicts", report.conflicts},
                        {"not_undone", report.not_undone}};
    std::string text;
    if (report.done) {
        text += "took run " + which + " back";
        text += report.run == 0 ? "\n" : "; that is run " + std::to_string(report.run) + "\n";
        for (const std::string& each : report.not_undone)
            text += "not taken back: " + shown(each) + "\n";
    } else {
        for (const std::string& conflict : report.conflicts)
            text += "  " + shown(conflict) + "\n";
        context.note("run " + which + " can't be taken back, nothing is changed; " +
                     counted(report.conflicts.size(), "conflict"));
    }
    context.print(text);
    return report.done ? kExitDone : kExitFailed;
}

int pruneRuns(Context& context, const std::string& before) {
    const bool date = before.size() >= 10 && before[4] == '-' && before[7] == '-' &&
                      before.find_first_not_of("0123456789-: ") == std::string::npos;
    if (!date)
        throw CommandError("'" + before + "' is no date; expected 2001-02-03, or with a time", {},
                           kExitUsage);
    context.open();
    const int pruned = context.workbench().pruneRuns(before);
    context.document["pruned"] = pruned;
    context.print("dropped the records of " + counted(static_cast<std::size_t>(pruned), "run") +
                  "\n");
    return kExitDone;
}

int recording(Context& context, const std::string& wanted) {
    if (!wanted.empty() && wanted != "on" && wanted != "off")
        throw CommandError("recording is on or off, not '" + wanted + "'", {}, kExitUsage);
    context.open();
    if (!wanted.empty())
        context.workbench().recordRuns(wanted == "on");
    const bool on = context.workbench().recordsRuns();
    context.document["recording"] = on;
    context.print(std::string("recording is ") + (on ? "on" : "off") + "\n");
    return kExitDone;
}

}  // namespace

void addRunsVerbs(Verbs& verbs) {
    auto wanted = std::make_shared<WantedRuns>();
    CLI::App* group =
        verbs.addGroup("runs", "What was run, what it changed; take a run back",
                       "  keld runs\n"
                       "  keld runs --object 000123/A --since 2026-01-01\n"
                       "  keld runs show 7\n"
                       "  keld runs undo 7\n",
                       [wanted](Context& context) { return listRuns(context, *wanted); });
    group->add_option("--object", wanted->object, "runs that changed this object");
    group->add_option("--of-user", wanted->user, "runs of this user");
    group->add_option("--service", wanted->service, "runs of this service");
    group->add_option("--since", wanted->since, "that began then or later: 2001-02-03");
    group->add_option("-n", wanted->limit, "at most so many, the newest; 0: all")
        ->capture_default_str();
    const auto add = [&](const char* name, const char* description, const char* examples,
                         const char* argument, int (*action)(Context&, const std::string&)) {
        auto value = std::make_shared<std::string>();
        return verbs
            .add(group, name, description, examples,
                 [value, action](Context& context) { return action(context, *value); })
            ->add_option(argument, *value);
    };
    add("show", "Show a run with everything that it changed", "  keld runs show 7\n", "RUN",
        showRun)
        ->required();
    add("undo", "Take a run back, as a run of its own; undo that one to do it again",
        "  keld runs undo 7\n", "RUN", undoRun)
        ->required();
    add("prune", "Drop the records of old runs, and the files that they kept",
        "  keld runs prune --before 2026-01-01\n", "--before", pruneRuns)
        ->required();
    add("recording", "Show whether runs are recorded, or change it", "  keld runs recording off\n",
        "STATE", recording);
}

}  // namespace keld
