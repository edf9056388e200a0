// status show, status set: release status through the status manager.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "platform/keld_se.h"
#include "platform/mv_dbo.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/service.h"
#include "tools/keld/lint/config.h"
#include "tools/keld/verbs/visits.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

constexpr char kLineType[] = "BOMLine";
constexpr int kDebugLevel = 4;

// ---- show ----

int show(Context& context, const std::string& name) {
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
    bool structure = false, dry_run = false;
};

struct Described {
    std::string label, type, name;
    std::string typed;  // the label as people type it
};

// What can be seen of a run by comparing: statuses, datasets, workflow processes.
struct Seen {
    std::map<tag_t, std::string> statuses;  // objects that have one
    std::map<tag_t, Described> datasets, processes;
};

// Objects without an id are told by tag and name.
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

Seen look(const Context& context) {
    mervane::Workbench& workbench = context.workbench();
    Seen seen;
    for (const auto& status : workbench.find({"", "ReleaseStatus", "", 0})) {
        int count = 0, classes = 0;
        tag_t *instances = nullptr, *class_tags = nullptr;
        int *levels = nullptr, *where = nullptr, *class_levels = nullptr, *class_where = nullptr;
        const int failed = DBO_referencers_of_instance(status.tag, 1, DBO_in_ds_and_db, &count,
                                                       &instances, &levels, &where, &classes,
                                                       &class_tags, &class_levels, &class_where);
        if (failed == 0)
            for (int i = 0; i < count; ++i)
                if (!seen.statuses.contains(instances[i])) {
                    const std::string latest = latestStatus(context, instances[i]);
                    if (!latest.empty())
                        seen.statuses.emplace(instances[i], latest);
                }
        for (void* block : {static_cast<void*>(instances), static_cast<void*>(levels),
                            static_cast<void*>(where), static_cast<void*>(class_tags),
                            static_cast<void*>(class_levels), static_cast<void*>(class_where)})
            HEAP_free(block);
    }
    for (const auto& found : workbench.find({"", "Dataset", "", 0}))
        seen.datasets.emplace(found.tag, Described{found.id, found.type, found.name, found.typed});
    for (const auto& found : workbench.find({"", "FLOWProcess", "", 0}))
        seen.processes.emplace(found.tag, Described{found.id, found.type, found.name, found.typed});
    return seen;
}

// The text of a dry run has shown the statuses already, in the order of the visits.
void showChanges(Context& context, const Seen& before, const Seen& after, bool with_statuses,
                 std::string& text) {
    Json changes = Json::array(), deleted = Json::array(), jobs = Json::array();
    Table table({"OBJECT", "TYPE", "PREVIOUS STATUS", "NEW STATUS"});
    std::map<tag_t, std::pair<std::string, std::string>> statuses;
    for (const auto& [tag, status] : before.statuses)
        statuses[tag].first = status;
    for (const auto& [tag, status] : after.statuses)
        statuses[tag].second = status;
    for (const auto& [tag, status] : statuses) {
        const auto& [was, is] = status;
        if (was == is || (before.datasets.contains(tag) && !after.datasets.contains(tag)))
            continue;
        const Described object = described(context, tag);
        changes.push_back({{"object", object.label},
                           {"type", object.type},
                           {"tag", tag},
                           {"previous", was.empty() ? Json() : Json(was)},
                           {"new", is.empty() ? Json() : Json(is)}});
        table.add(
            {titled(object), object.type, was.empty() ? "none" : was, is.empty() ? "none" : is});
    }
    if (!table.empty() && with_statuses)
        text += table.text();
    for (const auto& [tag, dataset] : before.datasets)
        if (!after.datasets.contains(tag)) {
            deleted.push_back({{"object", dataset.label}, {"type", dataset.type}, {"tag", tag}});
            text += "deleted " + dataset.typed + " (" + dataset.type + ")\n";
        }
    for (const auto& [tag, process] : after.processes)
        if (!before.processes.contains(tag)) {
            jobs.push_back({{"name", process.name}, {"tag", tag}});
            text += "started the job " + shown(process.name) + "\n";
        }
    if (changes.empty() && deleted.empty() && jobs.empty())
        text += "nothing changed\n";
    context.document["changes"] = changes;
    context.document["deleted"] = deleted;
    context.document["jobs"] = jobs;
}

void showVisits(Context& context, const std::vector<Visit>& visits, bool done,
                const std::map<tag_t, Described>& objects, std::string& text) {
    Json shown = Json::array();
    Table table({"OBJECT", "TYPE", "SECTION", "PREVIOUS STATUS", "NEW STATUS", ""});
    for (std::size_t i = 0; i < visits.size(); ++i) {
        const Visit& visit = visits[i];
        const auto known = objects.find(visit.object);
        const Described object =
            known == objects.end() ? Described{"?", "", "", "?"} : known->second;
        const bool line = object.type == kLineType;
        const bool refused = !done && i + 1 == visits.size();
        const std::string now =
            line || !done ? visit.previous : latestStatus(context, visit.object);
        const char* remark = visit.skipped ? "skipped" : refused ? "refused" : "";
        shown.push_back({{"object", object.label},
                         {"type", object.type},
                         {"section", visit.section},
                         {"previous", visit.previous.empty() ? Json() : Json(visit.previous)},
                         {"new", now.empty() ? Json() : Json(now)},
                         {"skipped", visit.skipped},
                         {"refused", refused}});
        const auto status = [&](const std::string& name) {
            return line ? "" : name.empty() ? "none" : name;
        };
        table.add({titled(object), object.type, visit.section, status(visit.previous), status(now),
                   remark});
    }
    context.document["visits"] = shown;
    if (!table.empty())
        text += table.text();
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

std::string refusalText(const Context& context, const Outcome& outcome) {
    const int status = outcome.status ? outcome.status : outcome.number;
    std::string text = "refused: " + statusText(context, status) + "\n";
    for (const auto& entry : outcome.stack)
        text += "  error " + std::to_string(entry.status) + ": " + shown(entry.text) + "\n";
    return text;
}

Described describedLine(const Context& context, tag_t line) {
    return {"line " + display(line, "object_string"), kLineType, "",
            "line " + context.title(lineTag(line, "bl_revision"))};
}

// The objects of a run as they are before it, by what the journal may name.
std::map<tag_t, Described> describeVisited(const Context& context, const Visits& visits) {
    std::map<tag_t, Described> objects;
    for (const auto* pass : {&visits.test, &visits.attributes})
        for (const Visit& visit : *pass) {
            if (visit.object == 0)
                continue;
            const bool line = asciiLower(visit.section).ends_with("_bomline");
            objects.emplace(visit.object, line ? describedLine(context, visit.object)
                                               : described(context, visit.object));
        }
    return objects;
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
std::string depthText(Context& context, std::size_t levels,
                      const std::vector<mervane::JournalEntry>& journal, Outcome& outcome) {
    tag_t line = NULLTAG;
    for (const mervane::JournalEntry& entry : journal)
        if (entry.operation == "LINE_ask_child_lines")
            line = static_cast<tag_t>(
                std::strtoul(entry.arguments.c_str() + entry.arguments.find('#') + 1, nullptr, 10));
    const tag_t revision = line == NULLTAG ? NULLTAG : lineTag(line, "bl_revision");
    std::erase_if(outcome.problems, [](const std::string& problem) {
        return problem.ends_with("levels, the configuration has a cycle");
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
    const std::string type = wanted.structure ? kLineType
                             : !wanted.type.empty()
                                 ? wanted.type
                                 : context.workbench().describe(context.object(wanted.object)).type;
    (void)context.object(wanted.object);
    checkNames(context, wanted, type);
    const Service& service = findService("KELD_StatusManager");

    std::optional<PrivateCopy> copy;
    if (wanted.dry_run) {
        copy.emplace(context);
        KELD_SetLogLevel(kDebugLevel);
    }
    Windows windows(context);
    const tag_t object =
        wanted.structure ? windows.topLine(wanted.object) : context.object(wanted.object);
    context.document = {{"object", wanted.object},
                        {"type", type},
                        {"status", wanted.status},
                        {"dry_run", wanted.dry_run}};
    const std::size_t levels = wanted.structure ? tooManyLevels(context, object) : 0;
    const Seen before = look(context);
    const LogWatch log;
    if (wanted.dry_run || levels > 0)
        context.workbench().startJournal();
    Outcome outcome = runService(context, service, {wanted.status, type, object});
    std::vector<mervane::JournalEntry> journal;
    if (wanted.dry_run || levels > 0)
        journal = context.workbench().stopJournal();
    std::string refused;
    if (levels > 0 && outcome.status == kWalkTooDeep)
        refused = depthText(context, levels, journal, outcome);
    else if (!outcome.succeeded())
        refused = refusalText(context, outcome);

    context.document["succeeded"] = outcome.succeeded();
    context.document["outcome"] = asJson(context, outcome);
    std::string text;
    if (wanted.dry_run) {
        context.document["outcome"]["log"] = nullptr;
        const Visits visits = readVisits(log.lines(), journal);
        const bool tested = !visits.attributes.empty();
        text += "dry run, nothing is changed; the run would visit:\n";
        showVisits(context, tested ? visits.attributes : visits.test, outcome.succeeded(),
                   describeVisited(context, visits), text);
    }
    context.print(text);
    text.clear();
    context.problem(refused + problemText(outcome, "  log: "));
    if (outcome.succeeded() || !wanted.dry_run)
        showChanges(context, before, look(context), !wanted.dry_run, text);
    if (!wanted.dry_run)
        text += logText(outcome);
    context.print(text);
    return outcome.succeeded() ? kExitDone : kExitFailed;
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
             [shown](Context& context) { return show(context, *shown); })
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
    verb->add_flag("--dry-run", wanted->dry_run,
                   "run on a private copy of the store and show what would happen");
}

}  // namespace keld
