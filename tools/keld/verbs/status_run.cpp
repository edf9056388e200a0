#include "tools/keld/verbs/status_run.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/keld_version.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/lint/config.h"

namespace keld {

void addStatusArguments(CLI::App* verb, WantedStatus& wanted) {
    verb->add_option("OBJECT", wanted.object)->required();
    verb->add_option("STATUS", wanted.status, "target status, with a section for the type")
        ->required();
    addStartOptions(verb, wanted);
}

void addStartOptions(CLI::App* verb, WantedStatus& wanted) {
    CLI::Option* type = verb->add_option(
        "--type", wanted.type, "start type for the service; the object's own if not given");
    verb->add_flag("--structure", wanted.structure,
                   "start from the top line of a BOM window, with type BOMLine")
        ->excludes(type);
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
        return;  // the service itself refuses types that aren't selected
    const std::set<std::string> known = targetStatuses(*ini, type);
    const std::vector<std::string> names(known.begin(), known.end());
    std::vector<std::string> near = nearest(wanted.status, names);
    throw CommandError("there is no status '" + wanted.status + "' for " + type + ": " +
                           statusConfigPath() + " has no section " + wanted.status + "_" + type +
                           (names.empty() ? "" : " (it has " + joined(names, ", ") + ")") + ".",
                       near);
}

mervane::StructureSize announceLines(Context& context, tag_t top) {
    constexpr std::uint64_t kManyLines = 100000;
    const tag_t revision = lineTag(top, "bl_revision");
    const mervane::StructureSize size = context.workbench().measure(revision, 0);
    if (size.lines >= kManyLines)
        context.note("the structure of " + context.title(revision) + " has " +
                     std::to_string(size.lines) + " lines of " +
                     counted(size.revisions, "revision") +
                     "; the run visits every line, in each of its passes");
    return size;
}

StatusRun runStatus(Context& context, const std::vector<mervane::Argument>& arguments,
                    bool with_visits, bool with_trails) {
    StatusRun run;
    std::optional<StatusWatch> watching;
    if (with_visits || with_trails)
        watching.emplace(context, std::get<tag_t>(arguments.back()), with_trails);
    run.outcome = runService(context, findService("KELD_StatusManager"), arguments);
    if (watching)
        run.seen = watching->end();
    return run;
}

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

// ---- why a run is refused ----

namespace {

// Give the first of the fields that is empty in the object's master form.
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

}  // namespace

Refusal explain(const Context& context, const WantedStatus& wanted, int status, const Visit* last,
                tag_t start) {
    Refusal refusal;
    refusal.status = status;
    refusal.object = last && last->object != NULLTAG ? last->object : start;
    const ObjectName object = nameOf(context, refusal.object);
    refusal.label = object.label;
    refusal.typed = object.typed;
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

}  // namespace keld
