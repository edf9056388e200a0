#include "tools/keld/host/run.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <filesystem>

#include "platform/keld_se.h"
#include "platform/keld_version.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/plan_check.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

namespace fs = std::filesystem;
using mervane::RunResult;
using mervane::RunWay;

volatile std::sig_atomic_t caught = 0;

// Stop the run. A second signal ends the program at once; the store then drops what isn't
// committed.
void interrupt(int signal) {
    caught = signal;
    mervane_workbench()->interrupt();
    std::signal(signal, SIG_DFL);
}

}  // namespace

RunWay RunWish::way() const {
    return dry_run ? RunWay::Rehearsal : as_server ? RunWay::AsServer : RunWay::Whole;
}

void addWayOptions(CLI::App* verb, RunWish& wish) {
    CLI::Option* rehearsal = verb->add_flag(
        "--dry-run", wish.dry_run, "rehearse it: show what would happen, and keep nothing");
    verb->add_flag("--as-server", wish.as_server,
                   "store each change for itself, as a server does: what is saved before a failure "
                   "stays")
        ->excludes(rehearsal);
}

void addRunOptions(CLI::App* verb, RunWish& wish) {
    addWayOptions(verb, wish);
    verb->add_flag("--accept-failures", wish.accept_failures,
                   "keep the run also if it left errors that its rules drop");
    verb->add_flag("--visits", wish.visits,
                   "show each object that the service looked at, and what came of it");
    addPlanOption(verb, wish);
}

void addPlanOption(CLI::App* verb, RunWish& wish) {
    verb->add_option(
        "--plan", wish.plan,
        "write what the dry run has found to this new file; keld apply carries it out");
}

// ---- where a rehearsal writes ----

Aside::Aside() : directory_(makeTemporaryDirectory("keld-dry-run")) {
    setEnvironment("KELD_LOG_FILE", (pathOf(directory_) / "keld.log").string());
    setEnvironment("MV_TMP_DIR", directory_);
}

Aside::~Aside() {
    std::error_code ignored;
    fs::remove_all(pathOf(directory_), ignored);
}

// ---- the run ----

VerbRun::VerbRun(Context& context, const RunWish& wish, const std::string& service,
                 const std::string& arguments, const std::string& configuration)
    : context_(context), wish_(wish) {
    preparePlan();
    if (wish_.dry_run)
        aside_.emplace();
    context_.workbench().beginRun({wish_.way(), service, arguments, configuration, KELD_VERSION,
                                   plan() && !plan()->carries_out});
    caught = 0;
    // The destructor doesn't run if the constructor throws, so end the run here.
    try {
        beginPlan();
    } catch (...) {
        context_.workbench().endRun({}, false, nullptr);
        throw;
    }
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, interrupt);
}

VerbRun::~VerbRun() {
    if (!open_)
        return;
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, SIG_DFL);
    try {
        context_.workbench().endRun({RunResult::Refused, 0, "", {}, {}}, false, nullptr);
    } catch (const std::exception& failure) {
        context_.note(failure.what());
    }
}

Redirected VerbRun::redirectBackups() {
    for (const auto& [name, values] : context_.workbench().preferences())
        if (name == KELD_DELBackupTopDirCentral && !values.empty() && !values.front().empty()) {
            const fs::path to = pathOf(aside_->directory()) / "backup";
            fs::create_directory(to);
            redirected_ = true;
            context_.workbench().setPreference(name, {to.string()});
            return {values.front(), to.string()};
        }
    return {};
}

RunResult resultOf(const Outcome& outcome) {
    if (outcome.succeeded())
        return RunResult::Done;
    return outcome.status == 0 && (outcome.slot != Slot::Int || outcome.number == 0)
               ? RunResult::DoneWithFailures
               : RunResult::Refused;
}

Record VerbRun::end(const Outcome& outcome, const std::vector<std::string>& outside,
                    const std::function<void()>& seen) {
    return endWith(outcome, outside, seen, nullptr);
}

Record VerbRun::end(const Outcome& outcome, const std::vector<std::string>& outside,
                    const Each& each) {
    return endWith(outcome, outside, nullptr, each);
}

Record VerbRun::endWith(const Outcome& outcome, const std::vector<std::string>& outside,
                        const std::function<void()>& seen, const Each& each) {
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, SIG_DFL);
    result_ = caught != 0 ? RunResult::Interrupted : resultOf(outcome);
    mervane::RunOutcome told;
    told.result = result_;
    told.status = outcome.status;
    told.slot = outcome.slot == Slot::Int   ? std::to_string(outcome.number)
                : outcome.slot == Slot::Tag ? "#" + std::to_string(outcome.tag)
                                            : outcome.text;
    for (const auto& entry : outcome.stack)
        told.stack.push_back(std::to_string(entry.status) + ": " + entry.text);
    told.notes = outside;
    bool keep = result_ == RunResult::Done ||
                (result_ == RunResult::DoneWithFailures && wish_.accept_failures);
    // A plan promises its outcome: a run that did anything else is taken back.
    if (plan() && caught == 0 && !endPlan(told)) {
        keep = false;
        result_ = told.result = RunResult::Refused;
    }
    // As the server every change is committed already, so nothing can be taken back.
    kept_ = wish_.as_server || (keep && !wish_.dry_run);
    if (seen && caught == 0)
        seen();
    RecordReader reader(context_);
    open_ = false;
    const std::function<void(const mervane::RunEntry&)> read = [&](const mervane::RunEntry& entry) {
        if (!isOfRehearsal(entry)) {
            reader.add(entry);
            if (plan() && !plan()->carries_out)
                context_.plan->plan.entries.push_back(entry);
        }
        if (each)
            each(entry);
    };
    const bool wanted =
        reads_changes_ || plan() || each || (wish_.as_server && result_ != RunResult::Done);
    mervane::RunHead head = context_.workbench().endRun(told, keep, wanted ? read : nullptr);
    Record record = reader.take(std::move(head));
    // Nobody could carry out a plan of a run that isn't kept, so it isn't written.
    if (keep)
        writePlanOf(record.head);
    if (kept_ || wish_.dry_run)
        return record;
    // Everything was taken back, except changes outside the store.
    record.objects.clear();
    std::erase_if(record.others, [](const OtherChange& other) { return other.outside.empty(); });
    return record;
}

// The rehearsal itself sets this preference, so it is no change of the run.
bool VerbRun::isOfRehearsal(const mervane::RunEntry& entry) const {
    return redirected_ && entry.change == mervane::RunChange::PreferenceSet &&
           entry.text == KELD_DELBackupTopDirCentral;
}

void VerbRun::keep() {
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, SIG_DFL);
    result_ = RunResult::Done;
    open_ = false;
    kept_ = true;
    context_.workbench().endRun({}, true, nullptr);
}

int VerbRun::exitCode() const {
    constexpr int kSignalled = 128;
    switch (result_) {
        case RunResult::Done:
            return kExitDone;
        case RunResult::DoneWithFailures:
            return kept_ || (wish_.dry_run && wish_.accept_failures) ? kExitDoneWithFailures
                                                                     : kExitFailed;
        case RunResult::Interrupted:
            return kSignalled + caught;
        default:
            return kExitFailed;
    }
}

void changeAll(Context& context, const RunWish& wish, const std::string& verb,
               const std::string& arguments, const std::function<void()>& change) {
    VerbRun run(context, wish, verb, arguments);
    try {
        change();
    } catch (const mervane::Failure&) {
        constexpr int kSignalled = 128;
        if (caught != 0)
            throw CommandError("interrupted: everything is as it was", {}, kSignalled + caught);
        throw;
    }
    run.keep();
}

std::string wireText(const Context& context, const std::vector<mervane::Argument>& arguments) {
    std::string all;
    const auto name = [&](tag_t tag) {
        return tag == NULLTAG ? std::string()
                              : context.title(isBomLine(tag) ? lineTag(tag, "bl_revision") : tag);
    };
    const auto kind = [](tag_t tag) { return isBomLine(tag) ? "l" : "t"; };
    for (const auto& argument : arguments) {
        all += all.empty() ? "" : " ";
        if (const auto* number = std::get_if<int>(&argument))
            all += "i:" + std::to_string(*number);
        else if (const auto* text = std::get_if<std::string>(&argument))
            all += "s:" + *text;
        else if (const auto* tag = std::get_if<tag_t>(&argument))
            all += std::string(kind(*tag)) + ":" + name(*tag);
        else {
            const auto& tags = std::get<std::vector<tag_t>>(argument);
            all += std::string(tags.empty() ? "t" : kind(tags.front())) + "s:";
            for (std::size_t i = 0; i < tags.size(); ++i)
                all += (i == 0 ? "" : ",") + name(tags[i]);
        }
    }
    return all;
}

// ---- text and document ----

std::string endText(const VerbRun& run, const Record& record) {
    const auto errors = counted(record.head.outcome.stack.size(), "error");
    std::string text;
    switch (run.result()) {
        case RunResult::Done:
            break;
        case RunResult::DoneWithFailures:
            text += painted(Colour::Yellow, "done with failures") + ": " + errors +
                    " that the rules drop";
            if (!run.kept() && !run.rehearses())
                text += "; everything went back (--accept-failures keeps such a run)";
            text += "\n";
            break;
        case RunResult::Interrupted:
            text += painted(Colour::Red, "interrupted") + ": ";
            text += run.kept() ? "what is told above stays\n" : "everything went back\n";
            break;
        default:
            if (!run.kept())
                text += "nothing changed\n";
            else if (!record.objects.empty() || !record.others.empty())
                text += "what is told above stays; take it back with: keld runs undo " +
                        std::to_string(record.head.number) + "\n";
    }
    if (!run.kept() && !run.rehearses())
        for (const OtherChange& other : record.others)
            if (!other.outside.empty())
                text += shown("this stays: " + other.subject + " " + other.text + " " +
                              other.change + ", in " + other.outside) +
                        "\n";
    for (const std::string& note : record.head.outcome.notes)
        text += "outside the store: " + shown(note) + "\n";
    if (record.head.number != 0)
        text += "run " + std::to_string(record.head.number) + "\n";
    return text + planText(run);
}

Json endJson(const VerbRun& run, const Record& record) {
    Json all = {{"way", wayName(record.head.way)},
                {"result", resultName(run.result())},
                {"kept", run.kept()},
                {"run", record.head.number == 0 ? Json() : Json(record.head.number)},
                {"outside", record.head.outcome.notes}};
    if (run.plan())
        all["plan"] = planJson(run);
    return all;
}

int tellEnd(Context& context, const VerbRun& run, const Record& record, const Outcome& outcome) {
    context.document["run"] = endJson(run, record);
    std::string text = endText(run, record);
    if (run.rehearses())
        context.document["outcome"]["log"] = nullptr;
    else
        text += logText(outcome);
    context.print(text);
    return run.exitCode();
}

}  // namespace keld
