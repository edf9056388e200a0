#include "tools/keld/verbs/config_runs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "platform/keld_basetool.h"
#include "platform/keld_version.h"
#include "platform/mv_art.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace fs = std::filesystem;

std::vector<ConfigRun> configRuns(const IniFile& ini, const std::vector<std::string>& statuses) {
    std::vector<ConfigRun> runs;
    std::set<std::string> known;
    for (const WalkStart& start : followWalks(ini, {}).starts)
        for (const auto& [type, targets] : targetStatuses(ini))
            if (equalNoCase(type, start.type))
                for (const std::string& status : targets) {
                    const bool there =
                        std::any_of(runs.begin(), runs.end(), [&](const ConfigRun& each) {
                            return each.status == status && each.type == start.type;
                        });
                    known.insert(status);
                    const bool wanted =
                        statuses.empty() ||
                        std::find(statuses.begin(), statuses.end(), status) != statuses.end();
                    if (!there && wanted)
                        runs.push_back({status, start.type});
                }
    const std::vector<std::string> names(known.begin(), known.end());
    for (const std::string& status : statuses)
        if (!known.contains(status))
            throw CommandError(
                "no start type leads to the status '" + status + "'" +
                    (names.empty() ? "" : " (there are " + joined(names, ", ") + ")") + ".",
                nearest(status, names));
    std::stable_sort(runs.begin(), runs.end(),
                     [](const ConfigRun& a, const ConfigRun& b) { return a.status < b.status; });
    return runs;
}

void addObjectOptions(CLI::App* verb, ChosenObjects& chosen) {
    CLI::Option* names =
        verb->add_option("--of", chosen.names, "rehearse runs that start on these objects");
    verb->add_flag("--all", chosen.all, "on all objects of the start types")->excludes(names);
}

namespace {

bool hasStructure(tag_t revision) {
    return !listOf<tag_t>([&](int* count, tag_t** views) {
                return ART_rev_list_bom_view_revs(revision, count, views);
            }).empty();
}

}  // namespace

std::vector<tag_t> chosenObjects(const Context& context, const ChosenObjects& chosen,
                                 const std::vector<ConfigRun>& runs) {
    std::vector<tag_t> objects;
    for (const std::string& name : chosen.names)
        objects.push_back(context.object(name));
    if (!objects.empty())
        return objects;
    if (!chosen.all)
        throw CommandError("name objects with --of, or take --all", {}, kExitUsage);
    std::set<tag_t> once;
    const auto add = [&](const std::string& type, bool with_structure) {
        for (const auto& found : context.workbench().find({"", type, "", 0}))
            if ((with_structure ? hasStructure(found.tag) : equalNoCase(found.type, type)) &&
                once.insert(found.tag).second)
                objects.push_back(found.tag);
    };
    const std::vector<std::string> types = context.workbench().typeNames("");
    for (const ConfigRun& run : runs)
        if (equalNoCase(run.type, kLineType))
            add("ItemRevision", true);
        else if (std::find(types.begin(), types.end(), run.type) != types.end())
            add(run.type, false);
    std::sort(objects.begin(), objects.end());
    return objects;
}

Rehearsals::Rehearsals(Context& context, const ConfigFile& file) : context_(context) {
    for (const std::string& type : context.workbench().typeNames("Item"))
        items_.insert(type);
    for (const std::string& type : context.workbench().typeNames("ItemRevision"))
        revisions_.insert(type);
    // The library reads the variable once and keeps the directory: set it before the first
    // question.
    const std::string named = environment("KELD_CFG_PATH");
    setEnvironment("KELD_CFG_PATH", aside_.directory());
    if (KELD_GetCfgPath() == aside_.directory()) {
        // Only the status manager's file is replaced; base settings stay those of the configuration
        // directory.
        const fs::path base = pathOf(named.empty() ? "." : named) / "keld_base.ini";
        std::error_code ignored;
        if (fs::is_regular_file(base, ignored))
            fs::copy_file(base, pathOf(aside_.directory()) / "keld_base.ini", ignored);
        configure(file);
    } else if (file.path != statusConfigPath()) {
        throw CommandError("the services already read " + statusConfigPath() + ", not " +
                           file.path);
    }
    KELD_SetLogLevel(kVisitsLevel);
}

void Rehearsals::configure(const ConfigFile& file) {
    const fs::path there = pathOf(aside_.directory()) / "keld_statusmanager.ini";
    const fs::path made = pathOf(aside_.directory()) / "next.ini";
    fs::copy_file(pathOf(file.path), made, fs::copy_options::overwrite_existing);
    // A new file at the path: services notice the change at once.
    fs::rename(made, there);
}

bool Rehearsals::fits(const ConfigRun& wanted, tag_t object) {
    const std::string type = context_.workbench().describe(object).type;
    if (!equalNoCase(wanted.type, kLineType))
        return equalNoCase(type, wanted.type);
    tag_t revision = object;
    if (items_.contains(type) && ART_ask_latest_rev(object, &revision) != 0)
        return false;
    return (items_.contains(type) || revisions_.contains(type)) && hasStructure(revision);
}

std::string Rehearsals::refusalLine(const Rehearsed& done, tag_t start) const {
    const Visit* last = done.run.seen.last();
    tag_t object = last && last->object != NULLTAG ? last->object : start;
    if (isBomLine(object))
        object = lineTag(object, "bl_revision");
    return std::to_string(done.status) + " at " + nameOf(context_, object).typed +
           (last ? " by [" + last->section + "]" : "");
}

Rehearsed Rehearsals::rehearse(const ConfigRun& wanted, tag_t object, bool trails) {
    CallWindows windows(context_);
    const bool line = equalNoCase(wanted.type, kLineType);
    const tag_t start = line ? windows.topLine(context_.title(object)) : object;
    // Once for an object, since several runs begin at it.
    if (line && announced_.insert(object).second)
        announceLines(context_, start);
    mervane::Workbench& workbench = context_.workbench();
    workbench.beginRun({mervane::RunWay::Rehearsal, "KELD_StatusManager", "", "", KELD_VERSION});
    Rehearsed done;
    RecordReader reader(context_);
    try {
        done.run = runStatus(context_, {wanted.status, wanted.type, start}, true, trails);
        done.status = done.run.outcome.status ? done.run.outcome.status : done.run.outcome.number;
        if (trails)
            done.run.seen.judge(context_, done.status);
        if (done.status != 0)
            done.refused = refusalLine(done, object);
    } catch (...) {
        workbench.endRun({}, false, nullptr);
        throw;
    }
    mervane::RunHead head =
        workbench.endRun({}, false, [&](const mervane::RunEntry& entry) { reader.add(entry); });
    done.record = reader.take(std::move(head));
    return done;
}

}  // namespace keld
