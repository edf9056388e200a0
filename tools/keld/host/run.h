#pragma once

// A changing verb as a run: all or nothing, as the server, or rehearsed.

#include <functional>
#include <optional>

#include "tools/keld/host/plan.h"
#include "tools/keld/host/record.h"
#include "tools/keld/host/service.h"

namespace keld {

// How the user wants the run; the options are the same at every changing verb.
struct RunWish {
    bool dry_run = false, as_server = false, accept_failures = false, visits = false;
    std::string plan;  // file to which a dry run writes its plan; empty: none
    mervane::RunWay way() const;
};
// Add --plan, for a verb that has --dry-run.
void addPlanOption(CLI::App* verb, RunWish& wish);
// Add --dry-run and --as-server only.
void addWayOptions(CLI::App* verb, RunWish& wish);
void addRunOptions(CLI::App* verb, RunWish& wish);

// Sends temporary files and the log of a rehearsal to a directory that is removed at the end.
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

// The backup directory of the store, and the one that a rehearsal uses in its place.
struct Redirected {
    std::string from, to;  // empty: no backup is configured
};

class VerbRun {
public:
    // Begin the run. `service`: its name, or that of the verb. `configuration`: the file that the
    // service reads, if it reads one. Failure: CommandError if the run carries out a plan that
    // doesn't fit.
    VerbRun(Context& context, const RunWish& wish, const std::string& service,
            const std::string& arguments, const std::string& configuration = "");
    ~VerbRun();  // takes back a run that wasn't ended
    VerbRun(const VerbRun&) = delete;
    VerbRun& operator=(const VerbRun&) = delete;

    bool rehearses() const { return wish_.dry_run; }
    // Requires: it rehearses.
    Redirected redirectBackups();

    // Keep the run or take it back, according to its outcome. `seen` is called before anything is
    // taken back, so it sees the changes.
    Record end(const Outcome& outcome, const std::vector<std::string>& outside = {},
               const std::function<void()>& seen = nullptr);
    // The same; `each` gets every entry.
    using Each = std::function<void(const mervane::RunEntry&)>;
    Record end(const Outcome& outcome, const std::vector<std::string>& outside, const Each& each);

    // Keep the run without reading its changes.
    void keep();

    // Don't read the changes at the end: the verb shows them itself, and there may be many. They
    // are read nevertheless for a plan, and if a run as the server fails: the user must know what
    // stays.
    void leaveChangesUnread() { reads_changes_ = false; }

    // Null: no plan is written or carried out.
    const PlanWork* plan() const { return context_.plan.get(); }

    // After the end:
    bool kept() const { return kept_; }
    mervane::RunResult result() const { return result_; }
    int exitCode() const;

private:
    Context& context_;
    RunWish wish_;
    std::optional<Aside> aside_;
    mervane::RunResult result_ = mervane::RunResult::Refused;
    bool open_ = true, kept_ = false, redirected_ = false, reads_changes_ = true;

    // Writing a plan begins with the run. A plan to carry out is checked against the store then.
    void preparePlan();
    void beginPlan();
    // False: the run did something else than planned.
    bool endPlan(const mervane::RunOutcome& told);
    void writePlanOf(const mervane::RunHead& head);
    bool isOfRehearsal(const mervane::RunEntry& entry) const;
    Record endWith(const Outcome& outcome, const std::vector<std::string>& outside,
                   const std::function<void()>& seen, const Each& each);
};

mervane::RunResult resultOf(const Outcome& outcome);
// Make a change through the workbench, all or nothing: a Failure takes it back and is passed on.
void changeAll(Context& context, const RunWish& wish, const std::string& verb,
               const std::string& arguments, const std::function<void()>& change);

// Arguments of a service in the form of `keld call`: "s:Frozen s:ItemRevision t:000123/A".
std::string wireText(const Context& context, const std::vector<mervane::Argument>& arguments);

// The last lines of a run: done, done with failures or refused; what stays; the number of its
// record.
std::string endText(const VerbRun& run, const Record& record);
Json endJson(const VerbRun& run, const Record& record);
// End a verb after it has shown the result of its service: print endText and the place of the log.
// Gives the exit code. Requires: the document has the outcome.
int tellEnd(Context& context, const VerbRun& run, const Record& record, const Outcome& outcome);

}  // namespace keld
