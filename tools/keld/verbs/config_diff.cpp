// config diff: where runs end differently under two configurations.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <memory>

#include "tools/keld/host/progress.h"
#include "tools/keld/verbs/config_runs.h"

namespace keld {

namespace {

struct WantedDiff {
    std::string before, after;
    ChosenObjects objects;
};

// The part of a run's outcome that doesn't depend on when it is made.
struct ConfigOutcome {
    bool possible = false;  // whether the file lets such a run begin
    int status = 0;
    std::string refused;                         // in words; empty: it passed
    std::map<std::string, std::string> changes;  // by the names of objects
    bool operator==(const ConfigOutcome&) const = default;

    std::string word() const {
        return !possible ? "no such run" : refused.empty() ? "passes" : "refused: " + refused;
    }
};

std::string withoutDigits(const std::string& text) {
    std::string all;
    for (const char c : text)
        if (c < '0' || c > '9')
            all += c;
    return all;
}

std::string orNone(const std::string& text) {
    return text.empty() ? "none" : text;
}

ConfigOutcome configOutcome(const Rehearsed& done) {
    ConfigOutcome outcome;
    outcome.possible = true;
    outcome.status = done.status;
    outcome.refused = done.refused;
    if (done.status != 0)
        return outcome;  // the run would change nothing
    for (const ChangedObject& object : done.record.objects) {
        if (object.change != "changed" && object.change != "deleted")
            continue;
        std::string text = object.change == "deleted" ? "deleted" : "";
        const auto& [was, is] = object.status;
        if (was != is && text.empty())
            text = orNone(was) + " -> " + orNone(is);
        for (const ChangedValue& value : object.values)
            if (value.text && text != "deleted")
                text += (text.empty() ? "" : ", ") + value.attribute + " " + orNone(value.before) +
                        " -> " + orNone(value.after);
        if (!text.empty() && object.type != "ReleaseStatus")
            outcome.changes[titled(object)] = text;
    }
    // The digits in a workflow's name depend on time and order, so they are left out.
    for (const OtherChange& other : done.record.others)
        if (other.subject == "workflow")
            outcome.changes["workflow " + withoutDigits(other.text)] += "started ";
        else
            outcome.changes[other.subject + " " + other.typed] += other.change + " ";
    for (const auto& entry : done.run.outcome.stack)
        outcome.changes["failure " + std::to_string(entry.status)] = "that the rules drop";
    return outcome;
}

struct Compared {
    tag_t object;
    ConfigRun run;
    ConfigOutcome before, after;
};

void rehearseAll(Rehearsals& rehearsals, std::vector<Compared>& all, const IniFile& ini,
                 ConfigOutcome Compared::*side, Progress& progress) {
    const std::vector<ConfigRun> runs = configRuns(ini, {});
    for (Compared& each : all) {
        const bool possible = std::any_of(runs.begin(), runs.end(), [&](const ConfigRun& run) {
            return run.status == each.run.status && equalNoCase(run.type, each.run.type);
        });
        if (possible)
            each.*side = configOutcome(rehearsals.rehearse(each.run, each.object, false));
        progress.count();
    }
}

// Give the differences, by object.
std::vector<std::array<std::string, 3>> differences(const Compared& each) {
    std::vector<std::array<std::string, 3>> rows;
    if (each.before.possible != each.after.possible || each.before.refused != each.after.refused)
        return rows;
    std::map<std::string, std::array<std::string, 2>> all;
    for (const auto& [name, change] : each.before.changes)
        all[name][0] = change;
    for (const auto& [name, change] : each.after.changes)
        all[name][1] = change;
    for (const auto& [name, sides] : all)
        if (sides[0] != sides[1])
            rows.push_back({name, sides[0].empty() ? "unchanged" : sides[0],
                            sides[1].empty() ? "unchanged" : sides[1]});
    return rows;
}

int compare(Context& context, const WantedDiff& wanted) {
    context.open();
    const ConfigFile before = needIni(wanted.before), after = needIni(wanted.after);
    std::vector<ConfigRun> runs = configRuns(before.ini, {});
    for (const ConfigRun& run : configRuns(after.ini, {}))
        if (std::none_of(runs.begin(), runs.end(), [&](const ConfigRun& known) {
                return known.status == run.status && equalNoCase(known.type, run.type);
            }))
            runs.push_back(run);
    const std::vector<tag_t> objects = chosenObjects(context, wanted.objects, runs);
    Rehearsals rehearsals(context, before);
    std::vector<Compared> all;
    for (const tag_t object : objects)
        for (const ConfigRun& run : runs)
            if (rehearsals.fits(run, object))
                all.push_back({object, run, {}, {}});
    {
        Progress progress("rehearsing", "run");
        rehearseAll(rehearsals, all, before.ini, &Compared::before, progress);
        rehearsals.configure(after);
        rehearseAll(rehearsals, all, after.ini, &Compared::after, progress);
    }
    Json list = Json::array();
    Table table({"OBJECT", "STATUS", "START TYPE", "BEFORE", "AFTER"});
    std::size_t equal = 0, appear = 0, disappear = 0;
    for (const Compared& each : all) {
        if (each.before == each.after) {
            ++equal;
            continue;
        }
        const bool was = !each.before.refused.empty(), is = !each.after.refused.empty();
        appear += is && !was ? 1 : 0;
        disappear += was && !is ? 1 : 0;
        const std::string title = context.title(each.object);
        Json rows = Json::array();
        table.add({title, each.run.status, each.run.type, each.before.word(), each.after.word()});
        for (const auto& [name, one, other] : differences(each)) {
            table.add({"  " + name, "", "", one, other});
            rows.push_back({{"object", name}, {"before", one}, {"after", other}});
        }
        list.push_back({{"object", context.label(each.object)},
                        {"status", each.run.status},
                        {"type", each.run.type},
                        {"before", each.before.word()},
                        {"after", each.after.word()},
                        {"changes", rows}});
    }
    context.document = {{"before", before.path},        {"after", after.path},
                        {"runs", all.size()},           {"equal", equal},
                        {"refusals_that_come", appear}, {"refusals_that_go", disappear},
                        {"differences", list}};
    if (!table.empty())
        context.print(table.text() + "\n");
    context.print(counted(all.size(), "run") + ": " + std::to_string(equal) + " equal, " +
                  std::to_string(all.size() - equal) + " different; " + counted(appear, "refusal") +
                  " more, " + std::to_string(disappear) + " less\n");
    return equal == all.size() ? kExitDone : kExitFailed;
}

}  // namespace

void addConfigDiffVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedDiff>();
    CLI::App* verb =
        verbs.add(group, "diff", "Show where runs come to something else under another file",
                  "  keld config diff keld_statusmanager.ini draft.ini --all\n"
                  "  keld config diff old.ini new.ini --of 000123/A\n"
                  "The exit code is 0 if all outcomes are equal, else 1.\n",
                  [wanted](Context& context) { return compare(context, *wanted); });
    verb->add_option("OLD", wanted->before, "the file as it is")->required();
    verb->add_option("NEW", wanted->after, "the file as it is to be")->required();
    addObjectOptions(verb, wanted->objects);
}

}  // namespace keld
