#pragma once

// A changing verb as a run: all or nothing, as the server, or rehearsed.

#include <functional>
#include <optional>

#include "tools/keld/host/plan.h"
#include "tools/keld/host/record.h"
#include "tools/keld/host/service.h"

namespace keld {

// How the user wants it, the same options at every changing verb.
struct RunWish {
    bool dry_run = false, as_server = false, accept_failures = false, visits = false;
    std::string plan;  // the file that a dry run writes its plan to; empty: none
    mervane::RunWay way() const;
};
// --plan, of a verb that has --dry-run.
void addPlanOption(CLI::App* verb, RunWish& wish);
// --dry-run and --as-server alone.
void addWayOptions(CLI::App* verb, RunWish& wish);
void addRunOptions(CLI::App* verb, RunWish& wish);

// Temporary files and the log of a rehearsal, in a directory that goes again.
class Aside {
public:
    Aside();
    ~Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;
    const std::string& directory() const { return directory_; }

private:
    std::string directory_;
};

// Backups of a rehearsal go to another directory.
struct Redirected {
    std::string from, to;  // empty: no backup is configured
};

class VerbRun {
public:
    // Failure: CommandError if the run carries out a plan that doesn't fit.
    // `service`: the one that runs, or the verb. The configuration is that of services that read
    // one.
    VerbRun(Context& context, const RunWish& wish, const std::string& service,
            const std::string& arguments, const std::string& configuration = "");
    ~VerbRun();  // a run that isn't ended goes back
    VerbRun(const VerbRun&) = delete;
    VerbRun& operator=(const VerbRun&) = delete;

    bool rehearses() const { return wish_.dry_run; }
    // Requires: it rehearses.
    Redirected redirectBackups();

    // Keep the run or let it go back, as its outcome says. `seen` looks at the store as the run has
    // left it, before anything goes back.
    Record end(const Outcome& outcome, const std::vector<std::string>& outside = {},
               const std::function<void()>& seen = nullptr);
    // The same; each entry is shown.
    using Each = std::function<void(const mervane::RunEntry&)>;
    Record end(const Outcome& outcome, const std::vector<std::string>& outside, const Each& each);

    // Keep a run whose changes nobody wants to see.
    void keep();

    // What the run has changed is not to be read at its end: the verb tells it itself, and it may
    // be much. A plan is still written, and what stays of a failure as the server still told.
    void leaveChangesUnread() { reads_changes_ = false; }

    // Null: no plan is written or carried out.
    const PlanWork* plan() const { return context_.plan.get(); }

    // After the end.
    bool kept() const { return kept_; }
    mervane::RunResult result() const { return result_; }
    int exitCode() const;

private:
    Context& context_;
    RunWish wish_;
    std::optional<Aside> aside_;
    mervane::RunResult result_ = mervane::RunResult::Refused;
    bool open_ = true, kept_ = false, redirected_ = false, reads_changes_ = true;

    // A plan that is written begins with the run, one that is carried out is compared then.
    void preparePlan();
    void beginPlan();
    // False: the run didn't come to what was planned.
    bool endPlan(const mervane::RunOutcome& told);
    void writePlanOf(const mervane::RunHead& head);
    bool isOfRehearsal(const mervane::RunEntry& entry) const;
    Record endWith(const Outcome& outcome, const std::vector<std::string>& outside,
                   const std::function<void()>& seen, const Each& each);
};

mervane::RunResult resultOf(const Outcome& outcome);
// A change that the verb makes itself, through the workbench; a Failure goes on, and all back.
void changeAll(Context& context, const RunWish& wish, const std::string& verb,
               const std::string& arguments, const std::function<void()>& change);

// The arguments of a service as `keld call` takes them: "s:Frozen s:ItemRevision t:000123/A".
std::string wireText(const Context& context, const std::vector<mervane::Argument>& arguments);

// The outcome of a run as its last lines: done, with which failures, refused; what was kept, and
// under which number its record is.
std::string endText(const VerbRun& run, const Record& record);
Json endJson(const VerbRun& run, const Record& record);
// The end of a verb that has shown what its service did: these, and where the log is. Gives the
// exit code. Requires: the document has the outcome.
int tellEnd(Context& context, const VerbRun& run, const Record& record, const Outcome& outcome);

}  // namespace keld
