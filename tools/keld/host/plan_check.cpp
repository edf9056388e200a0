#include "tools/keld/host/plan_check.h"

#include <ctime>
#include <filesystem>

#include "platform/keld_version.h"
#include "platform/mv_org.h"
#include "tools/keld/host/plan_compare.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

using mervane::RunResult;

tag_t referenceIn(const Context& context, tag_t object, const char* attribute) {
    for (const mervane::Value& value : context.workbench().get(object, attribute))
        if (const auto* reference = std::get_if<mervane::Reference>(&value))
            return reference->tag;
    return NULLTAG;
}

std::string textIn(const Context& context, tag_t object, const char* attribute) {
    for (const mervane::Value& value : context.workbench().get(object, attribute))
        if (const auto* text = std::get_if<std::string>(&value))
            return *text;
    return "";
}

std::string momentOfNow() {
    const std::time_t now = std::time(nullptr);
    char text[40] = "";
    if (const std::tm* local = std::localtime(&now))
        (void)std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local);
    return text;
}

PlanConflict objectConflict(const Context& context, const Plan& plan,
                            const mervane::ReadDifference& difference) {
    PlanConflict conflict;
    conflict.what = "object";
    conflict.tag = difference.object;
    conflict.is = difference.now == 0 ? "gone" : difference.then == 0 ? "new" : "changed";
    conflict.then = std::to_string(difference.then);
    conflict.now = std::to_string(difference.now);
    if (difference.now == 0) {
        const auto known = plan.objects.find(difference.object);
        conflict.label = known == plan.objects.end() || known->second.label.empty()
                             ? "#" + std::to_string(difference.object)
                             : known->second.label;
        conflict.typed = conflict.label;
        return conflict;
    }
    const mervane::Found found = context.workbench().describe(difference.object);
    conflict.label = found.id;
    conflict.typed = found.typed.starts_with("#") && !found.name.empty()
                         ? found.typed + " " + found.name
                         : found.typed;
    conflict.type = found.type;
    const std::string user = display(difference.object, "last_mod_user");
    if (!user.empty())
        conflict.by = "user " + user + ", " + display(difference.object, "last_mod_date");
    return conflict;
}

}  // namespace

std::vector<PlanConflict> conflictsWith(const Context& context, const Plan& plan) {
    std::vector<PlanConflict> all;
    if (plan.version != KELD_VERSION)
        all.push_back({"version", NULLTAG, "", "", "", "changed", plan.version, KELD_VERSION, ""});
    const mervane::RunHead head = context.workbench().runUnderWay();
    if (plan.configuration_sha256 != head.configuration_sha256)
        all.push_back({"configuration", NULLTAG,
                       head.configuration.empty() ? plan.configuration : head.configuration, "", "",
                       head.configuration_sha256.empty() ? "gone" : "changed",
                       plan.configuration_sha256, head.configuration_sha256, ""});
    for (const mervane::ReadDifference& each : context.workbench().differencesFrom(plan.reads))
        all.push_back(objectConflict(context, plan, each));
    return all;
}

std::string conflictsText(const std::vector<PlanConflict>& conflicts) {
    std::string text;
    for (const PlanConflict& conflict : conflicts)
        text += "  " + shown(asText(conflict)) + "\n";
    return text;
}

std::string asText(const PlanConflict& conflict) {
    if (conflict.what == "version")
        return "the libraries have the version " + conflict.now + ", in the plan " + conflict.then;
    if (conflict.what == "configuration")
        return "the configuration " + conflict.label +
               (conflict.now.empty() ? " isn't there"
                                     : " has other contents: SHA-256 " + conflict.now) +
               ", in the plan " + (conflict.then.empty() ? "none was read" : conflict.then);
    std::string text = conflict.typed;
    if (!conflict.type.empty())
        text += " (" + conflict.type + ")";
    text += " is " + conflict.is;
    if (conflict.is == "changed")
        text += ": version " + conflict.now + ", in the plan " + conflict.then;
    return text + (conflict.by.empty() ? "" : "; last changed by " + conflict.by);
}

Json asJson(const PlanConflict& conflict) {
    const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    if (conflict.what != "object")
        return {{"what", conflict.what},
                {"is", conflict.is},
                {"then", orNull(conflict.then)},
                {"now", orNull(conflict.now)}};
    return {{"what", conflict.what},
            {"object", conflict.label},
            {"tag", conflict.tag},
            {"type", orNull(conflict.type)},
            {"is", conflict.is},
            {"then", std::stoll(conflict.then)},
            {"now", std::stoll(conflict.now)},
            {"changed_by", orNull(conflict.by)}};
}

PlanRunner planRunner(const Context& context) {
    const mervane::RunHead head = context.workbench().runUnderWay();
    PlanRunner runner;
    runner.user = head.user;
    runner.group = head.group;
    runner.host = head.host;
    runner.process = head.process;
    runner.began = head.began;
    runner.ended = momentOfNow();
    tag_t member = NULLTAG;
    require(context, ORG_ask_current_groupmember(&member), "ORG_ask_current_groupmember");
    runner.user_tag = referenceIn(context, member, "user");
    runner.group_tag = referenceIn(context, member, "group");
    runner.user_name = textIn(context, runner.user_tag, "user_name");
    return runner;
}

// ---- a plan in the course of a run ----

void VerbRun::preparePlan() {
    // A plan is carried out completely or not at all, which a run as the server can't promise.
    if (plan() && plan()->carries_out)
        wish_.as_server = false;
    if (wish_.plan.empty())
        return;
    if (!wish_.dry_run)
        throw CommandError("--plan goes with --dry-run: a plan tells what a rehearsal has found",
                           {}, kExitUsage);
    std::error_code ignored;
    // A link whose target is missing counts as existing, too.
    if (std::filesystem::exists(std::filesystem::symlink_status(pathOf(wish_.plan), ignored)))
        throw CommandError(wish_.plan + " exists already; a plan is written to a new file");
    context_.plan = std::make_shared<PlanWork>();
    context_.plan->file = wish_.plan;
}

void VerbRun::beginPlan() {
    if (!plan())
        return;
    if (plan()->carries_out) {
        // Check again: only now, inside the run, can nobody else change anything any more.
        const std::vector<PlanConflict> conflicts = conflictsWith(context_, plan()->plan);
        if (!conflicts.empty()) {
            context_.problem(conflictsText(conflicts));
            throw CommandError("refused: the plan " + plan()->file +
                               " doesn't fit the store any more, nothing is changed");
        }
    }
    context_.plan->open = context_.plan->ran = true;
}

bool VerbRun::endPlan(const mervane::RunOutcome& told) {
    PlanWork& work = *context_.plan;
    work.open = false;
    if (!work.carries_out) {
        work.plan.reads = context_.workbench().readsOfRun();
        work.plan.runner = planRunner(context_);
        for (const mervane::RunReads::Read& read : work.plan.reads.objects) {
            PlannedObject& object = work.plan.objects[read.object];
            try {
                const mervane::Found found = context_.workbench().describe(read.object);
                object = {found.id, found.type};
            } catch (const mervane::Failure&) {
                object.label = "#" + std::to_string(read.object);
            }
        }
        return true;
    }
    std::vector<mervane::RunEntry> entries;
    context_.workbench().readRunSoFar([&](const mervane::RunEntry& entry) {
        if (!isOfRehearsal(entry))
            entries.push_back(entry);
    });
    const PlanRunner runner = planRunner(context_);
    work.differences =
        differencesBetween(context_, {work.plan.runner, work.plan.outcome, work.plan.entries},
                           {runner, told, entries});
    if (work.calls.size() < work.plan.calls.size())
        work.differences.push_back("a planned call of " +
                                   work.plan.calls[work.calls.size()].service + " wasn't made");
    if (work.differences.empty())
        return true;
    constexpr std::size_t kMostShown = 50;
    std::string text = "refused: the run doesn't come to what the plan " + work.file + " says; " +
                       counted(work.differences.size(), "difference") + "\n";
    for (std::size_t i = 0; i < work.differences.size() && i < kMostShown; ++i)
        text += "  " + shown(work.differences[i]) + "\n";
    if (work.differences.size() > kMostShown)
        text += "  and " + std::to_string(work.differences.size() - kMostShown) + " more\n";
    context_.problem(text);
    return false;
}

void VerbRun::writePlanOf(const mervane::RunHead& head) {
    if (!plan() || plan()->carries_out)
        return;
    PlanWork& work = *context_.plan;
    work.plan.version = head.version;
    work.plan.store = context_.workbench().storeIdentity(context_.store());
    work.plan.command = context_.command;
    work.plan.runner.ended = head.ended;
    work.plan.configuration = head.configuration;
    work.plan.configuration_sha256 = head.configuration_sha256;
    work.plan.outcome = head.outcome;
    // Of a deleted object only the entry still knows the name.
    for (const mervane::RunEntry& entry : work.plan.entries)
        if (entry.change == mervane::RunChange::ObjectDeleted && !entry.text.empty())
            work.plan.objects[entry.object] = {entry.text, entry.type};
    writePlan(work.plan, work.file);
    work.written = true;
}

// ---- text and document ----

std::string planText(const VerbRun& run) {
    const PlanWork* work = run.plan();
    if (!work)
        return "";
    if (!work->carries_out)
        return work->written ? "plan in " + shown(work->file) + "\n"
                             : "no plan is written: a run like this one wouldn't be kept\n";
    if (run.result() != RunResult::Done && run.result() != RunResult::DoneWithFailures)
        return "";
    return (run.rehearses() ? "this is what the plan says: " : "carried out the plan ") +
           shown(work->file) + "\n";
}

Json planJson(const VerbRun& run) {
    const PlanWork& work = *run.plan();
    if (!work.carries_out)
        return {{"file", work.file}, {"written", work.written}};
    return {{"file", work.file},
            {"carried_out", run.kept() && !run.rehearses()},
            {"differences", work.differences}};
}

}  // namespace keld
