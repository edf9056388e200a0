#pragma once

// What every verb works with: the global options, the store and session it opens, and its result.

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/keld/host/output.h"
#include "workbench/workbench.h"

namespace CLI {
class App;
}

namespace keld {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;  // refused or failed
inline constexpr int kExitUsage = 2;   // the command line can't be understood
inline constexpr int kExitDoneWithFailures = 3;

// The preference that holds the log level of a store; `keld log level N` sets it.
inline constexpr char kLogLevelPreference[] = "KELD_LogLevel";

// Size limit of a log in megabytes; KELD_LOG_MAX_MB overrides it.
inline constexpr char kLogMegabytes[] = "64";

// A verb can't do its work. If a name is the cause, the nearest known names come along.
class CommandError : public std::runtime_error {
public:
    explicit CommandError(const std::string& text, std::vector<std::string> nearest = {},
                          int exit = kExitFailed)
        : std::runtime_error(text), suggestions(std::move(nearest)), exit_code(exit) {}
    std::vector<std::string> suggestions;
    int exit_code;
};

struct Globals {
    std::string store, user, group, cfg;
    bool json = false, wide = false, no_pager = false;
    std::optional<int> log_level;
};

struct PlanWork;

class Context {
public:
    explicit Context(const Globals& globals) : globals_(globals) {}
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    const Globals& globals() const { return globals_; }
    mervane::Workbench& workbench() const { return *mervane_workbench(); }
    std::string storePath() const;  // --store, else MERVANE_STORE, else ./keld.db
    // The same to be shown: an address has no password in it.
    std::string shownStore() const;
    // The same with a whole path.
    std::string wholeStorePath() const;
    // False: there is no file. Of a server nobody knows before the store is opened.
    bool storeMayBeThere() const;
    std::string logPath() const;  // KELD_LOG_FILE, else keld.log beside the store

    // Open the store as the user, with log and configuration set up for services.
    void open();
    void close();
    mervane::Workbench::StoreId store() const { return *store_; }
    // Close the store and open the one at another path, as the same user.
    void reopen(const std::string& path);

    bool json() const { return globals_.json; }
    Json document = Json::object();  // shown at the end with --json
    bool document_written = false;   // the verb has written it itself
    // Rows of one more list at the end of the document. They are written one by one, so that a long
    // list is never in memory as a whole. No session is open then.
    struct Rows {
        std::string name;
        std::function<void(const std::function<void(const Json&)>& write)> each;
    };
    std::optional<Rows> rows;
    void print(const std::string& text) const;  // for people; nothing with --json
    void note(const std::string& text) const;   // to standard error
    // Why a service refused or failed: lines to standard error, after what was printed so far.
    void problem(const std::string& text) const;

    // Find an object by the name that people use. Failure: CommandError with near names if there is
    // none.
    tag_t object(const std::string& name) const;
    // "000123/A", or "#12" for an object without an id. As it is stored, for --json.
    std::string label(tag_t object) const;
    // The same as people type it, for texts: with quotes where they are needed.
    std::string title(tag_t object) const;

    // The verb with its own arguments, ready for keld to run again; without options like --dry-run.
    std::vector<std::string> command;
    // Null: no plan is written or carried out.
    std::shared_ptr<PlanWork> plan;

    // Set the log and the configuration of services; open() does it too.
    void setUpLog();

private:
    std::vector<std::string> nearestUsersAndGroups() const;

    Globals globals_;
    std::optional<mervane::Workbench::StoreId> store_;
};

// A name, cut for a message.
std::string shortened(const std::string& name);
// Give the id that the command line means: the content of the quotes, or the text as it is.
// Failure: CommandError, which begins with `what`, if it is too long.
std::string newId(const std::string& what, const std::string& typed);

// Tell on standard error which stored files are damaged. Gives the texts.
Json noteDamaged(const Context& context, const std::vector<mervane::CheckFinding>& damaged);

using Action = std::function<int(Context&)>;

// Each group adds its verbs; the one that the command line names is left in `chosen`.
struct Verbs {
    CLI::App& app;
    Globals& globals;
    Action chosen;
    // Understand another command line, that of a plan. Failure: CommandError if it can't be
    // understood, or if its verb makes no plans.
    std::function<Action(const std::vector<std::string>&)> understand;

    CLI::App* add(CLI::App* parent, const std::string& name, const std::string& description,
                  const std::string& examples, Action action);
    // A verb with verbs of its own. `action` runs if none of them is given; null: one is required.
    CLI::App* addGroup(const std::string& name, const std::string& description,
                       const std::string& examples, Action action);
};

void addStoreVerbs(Verbs& verbs);
void addWorldVerbs(Verbs& verbs);
void addLookVerbs(Verbs& verbs);
void addPeopleVerbs(Verbs& verbs);
void addCallVerbs(Verbs& verbs);
void addVersionVerb(Verbs& verbs);
void addStatusVerbs(Verbs& verbs);
void addBomVerbs(Verbs& verbs);
void addJobVerbs(Verbs& verbs);
void addDeleteVerb(Verbs& verbs);
void addRenameVerb(Verbs& verbs);
void addRegistryVerbs(Verbs& verbs);
void addIndexVerbs(Verbs& verbs);
void addLogVerbs(Verbs& verbs);
void addCopyVerb(Verbs& verbs);
void addDoctorVerb(Verbs& verbs);
void addRunsVerbs(Verbs& verbs);
void addApplyVerb(Verbs& verbs);
void addUsesVerb(Verbs& verbs);
void addHistoryVerb(Verbs& verbs);
void addCompareVerb(Verbs& verbs);
void addNewVerbs(Verbs& verbs);
void addEditVerbs(Verbs& verbs);
void addRightsVerbs(Verbs& verbs);
void addCompleteVerb(Verbs& verbs);
void addConfigVerbs(Verbs& verbs);

// Redirects standard output to standard error, or to a file, as long as this lives. If standard
// error is a terminal, the output is kept in a file and shown at the end, so that control
// characters reach the terminal as escapes.
class OutputAside {
public:
    explicit OutputAside(const std::string& path = "");
    ~OutputAside();
    OutputAside(const OutputAside&) = delete;
    OutputAside& operator=(const OutputAside&) = delete;

private:
    std::string file_;
    int kept_ = -1;
};

}  // namespace keld
