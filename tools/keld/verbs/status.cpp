// status show, status set: release status through the status manager.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <optional>

#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/keld_version.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/status_visits.h"
#include "tools/keld/lint/config.h"

namespace keld {

namespace {

constexpr char kLineType[] = "BOMLine";

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

struct WantedStatus {
    std::string object, status, type;
    bool structure = false;
    RunWish run;
};

struct Described {
    std::string label, type, name;
    std::string typed;  // the label as people type it
};

std::string titled(const Described& object) {
    return object.typed.starts_with("#") && !object.name.empty() ? object.typed + " " + object.name
                                                                 : object.typed;
}

Described described(const Context& context, tag_t object) {
    try {
        const auto found = context.workbench().describe(object);
        return {found.id, found.type, found.name, found.typed};
    } catch (const mervane::Failure&) {
        const std::string tag = "#" + std::to_string(object);
        return {tag, "(gone)", "", tag};
    }
}

// The text of a dry run has shown the statuses already, in the order of the visits.
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

void checkNames(Context& context, const WantedStatus& wanted, const std::string& type) {
    const std::vector<std::string> types = context.workbench().typeNames("");
    if (!wanted.type.empty() && std::find(types.begin(), types.end(), wanted.type) == types.end())
        throw CommandError("there is no type '" + wanted.type + "'", nearest(wanted.type, types));
    const std::optional<IniFile> ini = readIniFile(statusConfigPath());
    if (!ini)
        throw CommandError("there is no configuration at " + statusConfigPath() +
                           "; name its directory with --cfg or KELD_CFG_PATH");
    const IniEntry* selected = ini->find("SelectWSO", type);
    if (!selected || iniInteger(selected->value) != 1 ||
        ini->hasSection(wanted.status + "_" + type))
        return;  // what isn't selected is refused by the service
    const std::set<std::string> known = targetStatuses(*ini, type);
    const std::vector<std::string> names(known.begin(), known.end());
    std::vector<std::string> near = nearest(wanted.status, names);
    throw CommandError("there is no status '" + wanted.status + "' for " + type + ": " +
                           statusConfigPath() + " has no section " + wanted.status + "_" + type +
                           (names.empty() ? "" : " (it has " + joined(names, ", ") + ")") + ".",
                       near);
}

// ---- why a run is refused ----

constexpr int kNoPrivilege = 919401, kNotConfigured = 919402, kWrongPrevious = 919403,
              kFieldEmpty = 919404, kIsCheckedOut = 919405;

// The first of the fields that the object's master form has no value in.
std::string emptyField(const Context& context, tag_t object, const std::string& fields) {
    tag_t form = NULLTAG;
    if (KELD_GetMasterForm(object, &form) != 0 || form == NULLTAG)
        return "there is no master form";
    for (const std::string& field : splitList(fields, ';'))
        if (!field.empty() && display(form, field).empty())
            return "the field " + field + " of its master form " + context.label(form) +
                   " is empty";
    return "";
}

Refusal explain(const Context& context, const WantedStatus& wanted, int status, const Visit* last,
                tag_t start) {
    Refusal refusal;
    refusal.status = status;
    refusal.object = last && last->object != NULLTAG ? last->object : start;
    const Described object = described(context, refusal.object);
    refusal.label = object.label;
    refusal.typed = titled(object);
    refusal.type = object.type;
    refusal.rule = context.workbench().messageText(status);
    refusal.path = pathBetween(context, start, refusal.object);
    const std::optional<IniFile> ini = readIniFile(statusConfigPath());
    const auto value = [&](const char* key) {
        const IniEntry* entry = ini && last ? ini->find(last->section, key) : nullptr;
        if (entry)
            refusal.line = entry->line;
        return entry ? entry->value : std::string();
    };
    if (last && ini) {
        refusal.section = last->section;
        refusal.file = statusConfigPath();
        for (const IniSection& section : ini->sections)
            if (refusal.line == 0 && equalNoCase(section.name, last->section))
                refusal.line = section.line;
    }
    switch (status) {
        case kWrongPrevious: {
            const std::string allowed = value("PrevReleaseStatus");
            refusal.found =
                "the status is " +
                (last && !last->previous.empty() ? last->previous : std::string("none"));
            refusal.allowed = allowed.empty() ? "none" : joined(splitList(allowed, ';'), ", ");
            break;
        }
        case kIsCheckedOut:
            refusal.found = "it is checked out";
            refusal.holder = holderOf(context, refusal.object);
            refusal.allowed = "not checked out by anybody";
            break;
        case kFieldEmpty:
            refusal.allowed = value("CheckNeedFields");
            refusal.found = emptyField(context, refusal.object, refusal.allowed);
            refusal.allowed = "values in " + joined(splitList(refusal.allowed, ';'), ", ");
            break;
        case kNoPrivilege: {
            std::string privilege = value("PrivilegName");
            if (privilege.empty() && ini)
                if (const IniEntry* entry = ini->find("GLOBAL", "PrivilegName"))
                    privilege = entry->value;
            refusal.holder = holderOf(context, refusal.object);
            refusal.found = refusal.holder.empty() ? "the user hasn't got the privilege"
                                                   : "another user has checked it out";
            refusal.allowed = "users with the privilege " + privilege;
            break;
        }
        case kNotConfigured:
            refusal.section.clear();
            refusal.found = "the start type is " + (wanted.structure      ? std::string(kLineType)
                                                    : wanted.type.empty() ? object.type
                                                                          : wanted.type);
            refusal.allowed = "types that [SelectWSO] sets to 1";
            break;
        default:
            refusal.section.clear();
            break;
    }
    return refusal;
}

std::string refusalText(Context& context, const Outcome& outcome,
                        const std::optional<Refusal>& why) {
    const int status = outcome.status ? outcome.status : outcome.number;
    context.document["refusal"] = why ? asJson(*why) : Json();
    return "refused: " + statusText(context, status) + "\n" + (why ? asText(*why) : "");
}

// ---- the run ----

// What one run of the service says: its outcome, and the visits if they were asked for.
struct StatusRun {
    Outcome outcome;
    StatusWatch::Seen seen;
};

StatusRun runStatus(Context& context, const std::vector<mervane::Argument>& arguments,
                    bool with_visits) {
    StatusRun run;
    std::optional<StatusWatch> watching;
    if (with_visits)
        watching.emplace(context, std::get<tag_t>(arguments.back()));
    run.outcome = runService(context, findService("KELD_StatusManager"), arguments);
    if (watching)
        run.seen = watching->end();
    return run;
}

// Rehearse a refused run once more, to see where it went.
StatusWatch::Seen watch(Context& context, const std::vector<mervane::Argument>& arguments) {
    const int level = KELD_GetLogLevel();
    KELD_SetLogLevel(kVisitsLevel);
    context.workbench().beginRun(
        {mervane::RunWay::Rehearsal, "KELD_StatusManager", "", "", KELD_VERSION});
    StatusRun again = runStatus(context, arguments, true);
    context.workbench().endRun({}, false, nullptr);
    KELD_SetLogLevel(level);
    return std::move(again.seen);
}

// ---- structures that are deeper than the library goes ----

constexpr std::size_t kLibraryLevels = 1000;  // objects that one walk can be inside of
constexpr int kWalkTooDeep = 2002;

// Levels below the top line, if there are so many that the walk can't come to the end of them: it
// is inside of the lines, the top one among them, and of a line's revision.
std::size_t tooManyLevels(Context& context, tag_t top) {
    const tag_t revision = lineTag(top, "bl_revision");
    const std::size_t levels = context.workbench().measure(revision, 0).levels;
    if (levels + 2 <= kLibraryLevels)
        return 0;
    context.note("the structure of " + context.title(revision) + " is " + std::to_string(levels) +
                 " levels deep; the library follows " + std::to_string(kLibraryLevels) +
                 " at most, and refuses what goes deeper");
    return levels;
}

// What the library takes for a cycle of the configuration, told as it is.
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
    BomWindows windows(context);
    const tag_t object = wanted.structure ? windows.topLine(wanted.object) : start;
    const std::vector<mervane::Argument> arguments{wanted.status, type, object};
    const std::size_t levels = wanted.structure ? tooManyLevels(context, object) : 0;
    VerbRun run(context, wanted.run, "KELD_StatusManager", wireText(context, arguments),
                statusConfigPath());
    const bool with_visits = wanted.run.dry_run || wanted.run.visits;
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
        // What was refused before the first change is refused again: this time it is watched.
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
    CLI::App* verb = verbs.add(
        group, "set", "Change the release status as keld_statusmanager.ini says",
        "  keld status set 000123/A Frozen --dry-run\n"
        "  keld status set 000123/A Frozen\n"
        "  keld status set 000123/A Released --structure   # from the top line of its structure\n",
        [wanted](Context& context) { return set(context, *wanted); });
    verb->add_option("OBJECT", wanted->object)->required();
    verb->add_option("STATUS", wanted->status, "target status, with a section for the type")
        ->required();
    CLI::Option* type = verb->add_option(
        "--type", wanted->type, "start type for the service; the object's own if not given");
    verb->add_flag("--structure", wanted->structure,
                   "start from the top line of a BOM window, with type BOMLine")
        ->excludes(type);
    addRunOptions(verb, wanted->run);
}

}  // namespace keld
