// status show, status set: shows release statuses, and sets them by the status manager.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>

#include "platform/keld_se.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/deeds.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/lint/config.h"
#include "tools/keld/verbs/status_run.h"

namespace keld {

namespace {

// ---- show ----

int showStatus(Context& context, const std::string& name) {
    context.open();
    const tag_t object = context.object(name);
    const auto found = context.workbench().describe(object);
    const std::vector<std::string> names = statusNames(context, object);
    const std::string released = display(object, "date_released");
    const std::string stages = display(object, "process_stage_list");
    context.document = {{"object", context.label(object)},
                        {"type", found.type},
                        {"status", names.empty() ? Json() : Json(names.back())},
                        {"statuses", names},
                        {"date_released", released},
                        {"process_stages", stages}};
    std::string text = painted(Colour::Bold, context.title(object)) + "  " + found.type + "\n";
    text += "status    " + (names.empty() ? "none" : painted(Colour::Green, shown(names.back()))) +
            "\n";
    if (names.size() > 1)
        text += "all       " + shown(joined(names, ", ")) + "\n";
    if (!released.empty())
        text += "released  " + released + "\n";
    if (!stages.empty())
        text += "stages    " + stages + "\n";
    context.print(text);
    return kExitDone;
}

// ---- set ----

// In a dry run the table of visits shows the statuses, so the text leaves them out here.
void showChanges(Context& context, const Record& record, bool with_statuses, std::string& text) {
    Json changes = Json::array(), deleted = Json::array(), jobs = Json::array();
    Table table({"OBJECT", "TYPE", "PREVIOUS STATUS", "NEW STATUS"});
    const std::vector<std::string> datasets = context.workbench().typeNames("Dataset");
    std::string others;
    for (const ChangedObject& object : record.objects) {
        if (object.change == "deleted" &&
            std::find(datasets.begin(), datasets.end(), object.type) != datasets.end()) {
            deleted.push_back(
                {{"object", object.label}, {"type", object.type}, {"tag", object.tag}});
            others += "deleted " + object.typed + " (" + object.type + ")\n";
        }
        const auto& [was, is] = object.status;
        if (was == is || object.change != "changed")
            continue;
        changes.push_back({{"object", object.label},
                           {"type", object.type},
                           {"tag", object.tag},
                           {"previous", was.empty() ? Json() : Json(was)},
                           {"new", is.empty() ? Json() : Json(is)}});
        table.add(
            {titled(object), object.type, was.empty() ? "none" : was, is.empty() ? "none" : is});
    }
    if (!table.empty() && with_statuses)
        text += table.text();
    text += others;
    for (const OtherChange& other : record.others)
        if (other.subject == "workflow") {
            jobs.push_back({{"name", other.text}, {"tag", other.tag}});
            text += "started the job " + shown(other.text) + "\n";
        }
    if (record.objects.empty() && record.others.empty() && with_statuses &&
        record.head.outcome.result == mervane::RunResult::Done)
        text += "nothing changed\n";
    context.document["changes"] = changes;
    context.document["deleted"] = deleted;
    context.document["jobs"] = jobs;
}

std::string refusalText(Context& context, const Outcome& outcome,
                        const std::optional<Refusal>& why) {
    const int status = outcome.status ? outcome.status : outcome.number;
    context.document["refusal"] = why ? asJson(*why) : Json();
    return "refused: " + statusText(context, status) + "\n" + (why ? asText(*why) : "");
}

// ---- structures deeper than the library walks ----

constexpr std::size_t kLibraryLevels = 1000;  // how many objects a walk can be inside at once
constexpr int kWalkTooDeep = 2002;

// Announce a large structure. Gives the number of levels below the top line if the walk can't reach
// the last; else 0. At the deepest point the walk is inside all lines on the way and inside one
// revision.
std::size_t tooManyLevels(Context& context, tag_t top) {
    const tag_t revision = lineTag(top, "bl_revision");
    const std::size_t levels = announceLines(context, top).levels;
    if (levels + 2 <= kLibraryLevels)
        return 0;
    context.note("the structure of " + context.title(revision) + " is " + std::to_string(levels) +
                 " levels deep; the library follows " + std::to_string(kLibraryLevels) +
                 " at most, and refuses what goes deeper");
    return levels;
}

// Explain that the structure is too deep: the library calls it a cycle of the configuration.
std::string depthText(Context& context, std::size_t levels, tag_t line, Outcome& outcome) {
    const tag_t revision = line == NULLTAG ? NULLTAG : lineTag(line, "bl_revision");
    std::erase_if(outcome.problems, [](const std::string& problem) {
        return problem.ends_with("levels, the configuration has a cycle") ||
               problem.starts_with("##QSK_");
    });
    context.document["depth"] = {
        {"levels", levels},
        {"limit", kLibraryLevels},
        {"reached", revision == NULLTAG ? Json() : Json(context.label(revision))}};
    return "refused: the structure is " + std::to_string(levels) +
           " levels deep, the library's limit is " + std::to_string(kLibraryLevels) +
           (revision == NULLTAG ? "" : "; it was reached at " + context.title(revision)) + "\n";
}

int set(Context& context, const WantedStatus& wanted) {
    context.open();
    const tag_t start = context.object(wanted.object);
    const std::string type = wanted.structure       ? kLineType
                             : !wanted.type.empty() ? wanted.type
                                                    : context.workbench().describe(start).type;
    checkNames(context, wanted, type);
    context.document = {{"object", wanted.object},
                        {"type", type},
                        {"status", wanted.status},
                        {"dry_run", wanted.run.dry_run}};
    CallWindows windows(context);
    const tag_t object = wanted.structure ? windows.topLine(wanted.object) : start;
    const std::vector<mervane::Argument> arguments{wanted.status, type, object};
    const std::size_t levels = wanted.structure ? tooManyLevels(context, object) : 0;
    VerbRun run(context, wanted.run, "KELD_StatusManager", wireText(context, arguments),
                statusConfigPath());
    const bool with_visits = wanted.run.dry_run || wanted.run.visits;
    // Visits are read from the log, which has them only at this level.
    if (with_visits)
        KELD_SetLogLevel(kVisitsLevel);
    StatusRun status = runStatus(context, arguments, with_visits || levels > 0);
    const bool done = status.outcome.status == 0 && status.outcome.number == 0;
    const int number = status.outcome.status ? status.outcome.status : status.outcome.number;
    std::string refused;
    const Record record = run.end(status.outcome, {}, [&] {
        if (with_visits)
            status.seen.judge(context, number);
        if (levels > 0 && number == kWalkTooDeep)
            refused = depthText(context, levels, status.seen.last_line, status.outcome);
    });

    std::optional<Refusal> why;
    StatusWatch::Seen again;
    if (!done && refused.empty() && run.result() == mervane::RunResult::Refused) {
        // If nothing has changed, a second run is refused in the same way; that one is watched.
        const bool watched = !wanted.run.dry_run && (record.objects.empty() || !run.kept());
        if (watched)
            again = watch(context, arguments);
        why = explain(context, wanted, number, watched ? again.last() : status.seen.last(), start);
    }

    context.document["succeeded"] = status.outcome.succeeded();
    context.document["outcome"] = asJson(context, status.outcome);
    std::string text;
    if (wanted.run.dry_run) {
        context.document["outcome"]["log"] = nullptr;
        text += "dry run, nothing is changed; the run would visit:\n";
    }
    context.print(text);
    text.clear();
    if (with_visits)
        status.seen.list.show(context, true, wanted.run.visits);
    if (!done && refused.empty())
        refused = refusalText(context, status.outcome, why);
    for (const auto& entry : status.outcome.stack)
        refused += "  error " + std::to_string(entry.status) + ": " + shown(entry.text) + "\n";
    context.problem(refused + problemText(status.outcome, "  log: "));
    showChanges(context, record, !wanted.run.dry_run, text);
    context.document["run"] = endJson(run, record);
    text += endText(run, record);
    if (!wanted.run.dry_run)
        text += logText(status.outcome);
    context.print(text);
    return run.exitCode();
}

// ---- set, for several objects ----

std::string startTypeOf(const Context& context, const WantedStatus& wanted, tag_t start) {
    return wanted.structure       ? kLineType
           : !wanted.type.empty() ? wanted.type
                                  : context.workbench().describe(start).type;
}

// Run the service for one object. Inside a run for all, a refusal must be watched at once: by the
// end of the run the store has changed.
Deed setOne(Context& context, const WantedStatus& wanted, tag_t start, bool watched) {
    const std::string type = startTypeOf(context, wanted, start);
    checkNames(context, wanted, type);
    CallWindows windows(context);
    const tag_t object = wanted.structure ? windows.topLine(wanted.object) : start;
    const std::string before = latestStatus(context, start);
    const StatusRun status = runStatus(context, {wanted.status, type, object}, watched);
    Deed done;
    done.outcome = status.outcome;
    const int number = status.outcome.status ? status.outcome.status : status.outcome.number;
    const std::string now = latestStatus(context, start);
    done.told = before == now
                    ? "the status is " + (now.empty() ? "none" : now)
                    : (now.empty() ? "none" : now) + ", was " + (before.empty() ? "none" : before);
    if (watched && number != 0)
        done.refusals = {explain(context, wanted, number, status.seen.last(), start)};
    return done;
}

int setMany(Context& context, const WantedStatus& wanted, const Many& many) {
    context.open();
    Task task;
    task.verb = "KELD_StatusManager";
    task.configuration = statusConfigPath();
    task.arguments = [&](const std::vector<std::string>& names) {
        return "s:" + wanted.status + (wanted.structure ? " ls:" : " ts:") + joined(names, ",");
    };
    const auto of = [&](const std::string& name) {
        WantedStatus one = wanted;
        one.object = name;
        return one;
    };
    task.perform = [&](const std::string& name, tag_t object) {
        return setOne(context, of(name), object, many.together);
    };
    task.explain = [&](const std::string& name, tag_t object, const Deed& done) {
        const WantedStatus one = of(name);
        const int number = done.outcome.status ? done.outcome.status : done.outcome.number;
        CallWindows windows(context);
        const tag_t start = one.structure ? windows.topLine(name) : object;
        const auto seen = watch(context, {one.status, startTypeOf(context, one, object), start});
        return std::vector<Refusal>{explain(context, one, number, seen.last(), object)};
    };
    return carryOutMany(context, wanted.run, many, task);
}

int setAll(Context& context, WantedStatus wanted, Many many) {
    if (many.names.size() < 2 && many.from.empty())
        throw CommandError("expected OBJECT... STATUS (see keld status set --help)", {},
                           kExitUsage);
    wanted.status = many.names.back();
    many.names.pop_back();
    const bool one = many.from.empty() && many.names.size() == 1 && many.names.front() != "-";
    if (!one)
        readNames(context, wanted.run, many, 1);
    if (many.names.size() != 1) {
        if (wanted.run.visits)
            throw CommandError("--visits is for one object", {}, kExitUsage);
        return setMany(context, wanted, many);
    }
    wanted.object = many.names.front();
    return set(context, wanted);
}

}  // namespace

void addStatusVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("status", "Show and change release status",
                                     "  keld status show 000123/A\n"
                                     "  keld status set 000123/A Frozen --dry-run\n",
                                     nullptr);
    auto shown = std::make_shared<std::string>();
    verbs
        .add(group, "show", "Show the release status of an object", "  keld status show 000123/A\n",
             [shown](Context& context) { return showStatus(context, *shown); })
        ->add_option("OBJECT", *shown)
        ->required();

    auto wanted = std::make_shared<WantedStatus>();
    auto many = std::make_shared<Many>();
    CLI::App* verb = verbs.add(
        group, "set", "Change the release status as keld_statusmanager.ini says",
        "  keld status set 000123/A Frozen --dry-run\n"
        "  keld status set 000123/A Frozen\n"
        "  keld status set 000123/A Released --structure   # from the top line of its structure\n"
        "  keld status set 000123/A 000124/A Frozen        # a run for each\n"
        "  keld status set --from parts.txt Frozen --together\n",
        [wanted, many](Context& context) { return setAll(context, *wanted, *many); });
    verb->add_option("OBJECT", many->names, "objects, and after them the target status")
        ->required();
    addStartOptions(verb, *wanted);
    addManyOptions(verb, *many);
    addRunOptions(verb, wanted->run);
    addObjectionsVerb(verbs, group);
}

}  // namespace keld
