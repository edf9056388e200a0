// apply: carries out a run that somebody has rehearsed and written to a plan.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "platform/keld_version.h"
#include "tools/keld/host/plan_check.h"
#include "tools/keld/lint/config.h"

namespace keld {

namespace {

struct WantedApply {
    std::string file;
    bool dry_run = false;
};

// Find all conflicts before the verb runs. The verb would stop at the first name that is gone, and
// show one problem of many.
std::vector<PlanConflict> conflictsNow(const Context& context, const Plan& plan) {
    context.workbench().beginRun({mervane::RunWay::Rehearsal, "apply", plan.file,
                                  plan.configuration.empty() ? "" : statusConfigPath(),
                                  KELD_VERSION});
    std::vector<PlanConflict> conflicts;
    try {
        conflicts = conflictsWith(context, plan);
    } catch (...) {
        context.workbench().endRun({}, false, nullptr);
        throw;
    }
    context.workbench().endRun({}, false, nullptr);
    return conflicts;
}

int apply(Context& context, const WantedApply& wanted, const Verbs& verbs) {
    auto work = std::make_shared<PlanWork>();
    work->file = wanted.file;
    work->carries_out = true;
    work->plan = readPlan(wanted.file);
    std::vector<std::string> command = work->plan.command;
    if (command.empty())
        throw CommandError("the plan " + wanted.file + " can't be used: its command is empty");
    if (wanted.dry_run)  // words after "--" can only be names
        command.insert(std::find(command.begin(), command.end(), "--"), "--dry-run");
    Action verb;
    try {
        verb = verbs.understand(command);
    } catch (const CommandError& error) {
        throw CommandError("the plan " + wanted.file + " can't be used: " + error.what());
    }
    context.open();
    if (const std::string store = context.workbench().storeIdentity(context.store());
        store != work->plan.store)
        throw CommandError("the plan " + wanted.file + " is of the store " + work->plan.store +
                           ", not of " + context.shownStore() + ", which is " + store);
    const std::vector<PlanConflict> conflicts = conflictsNow(context, work->plan);
    if (!conflicts.empty()) {
        Json all = Json::array();
        for (const PlanConflict& conflict : conflicts)
            all.push_back(asJson(conflict));
        context.document = {{"plan", wanted.file}, {"carried_out", false}, {"conflicts", all}};
        context.problem("refused: the plan " + wanted.file +
                        " doesn't fit the store any more, nothing is changed; " +
                        counted(conflicts.size(), "conflict") + "\n" + conflictsText(conflicts));
        return kExitFailed;
    }
    context.plan = work;
    const int exit_code = verb(context);
    // Without a run nothing was compared with the plan.
    if (!work->ran)
        throw CommandError("the plan " + wanted.file + " can't be used: its command makes no run");
    return exit_code;
}

}  // namespace

void addApplyVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedApply>();
    CLI::App* verb = verbs.add(
        &verbs.app, "apply", "Carry out the plan of a dry run, if it still comes to the same",
        "  keld status set 000123/A Frozen --dry-run --plan freeze.json\n"
        "  keld apply freeze.json --dry-run    # does it still fit?\n"
        "  keld apply freeze.json\n",
        [wanted, &verbs](Context& context) { return apply(context, *wanted, verbs); });
    verb->add_option("FILE", wanted->file, "that a dry run has written with --plan")->required();
    verb->add_flag("--dry-run", wanted->dry_run,
                   "compare the plan with the store and rehearse it; keep nothing");
}

}  // namespace keld
