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

// Preference in which `keld log level N` keeps the level of a store.
inline constexpr char kLogLevelPreference[] = "KELD_LogLevel";

// What a log may grow to, in megabytes, unless KELD_LOG_MAX_MB says otherwise.
inline constexpr char kLogMegabytes[] = "64";

// A verb that can't do its work, with the nearest known names if a name is the cause.
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
    std::string logPath() const;    // KELD_LOG_FILE, else keld.log beside the store

    // Open the store as the user, with log and configuration set up for services.
    void open();
    void close();
    mervane::Workbench::StoreId store() const { return *store_; }
    // Close what is open and go on with the store at another path, under the same user.
    void reopen(const std::string& path);

    bool json() const { return globals_.json; }
    Json document = Json::object();  // shown at the end with --json
    bool document_written = false;   // the verb has written its document itself
    // Gives the rows of one more list of the document, which are written one by one behind the
    // rest, without being kept together. No session is open then.
    struct Rows {
        std::string name;
        std::function<void(const std::function<void(const Json&)>& write)> each;
    };
    std::optional<Rows> rows;
    void print(const std::string& text) const;  // for people; nothing with --json
    void note(const std::string& text) const;   // to standard error
    // Why a service refused or failed: lines to standard error, behind what is printed.
    void problem(const std::string& text) const;

    // An object by the name that people use, with near names if there is none.
    tag_t object(const std::string& name) const;
    // "000123/A", or "#12" for an object without an id: as it is stored, for --json.
    std::string label(tag_t object) const;
    // The same as people type it, with quotes where they are needed, for texts.
    std::string title(tag_t object) const;

    // The verb with its own arguments, as keld takes them again; without how it is to run.
    std::vector<std::string> command;
    // Null: no plan is written or carried out.
    std::shared_ptr<PlanWork> plan;

    // Where services log and find their configuration; open() does it too.
    void setUpLog();

private:
    std::vector<std::string> nearestUsersAndGroups() const;

    Globals globals_;
    std::optional<mervane::Workbench::StoreId> store_;
};

// A name for a message, which needs no more than its start.
std::string shortened(const std::string& name);
// An id that the command line gives to an object: what its quotes hold, or the text as it is.
// Failure: CommandError with `what` it is, if it is too long.
std::string newId(const std::string& what, const std::string& typed);

// Tell on standard error which stored files are damaged; their texts.
Json noteDamaged(const Context& context, const std::vector<mervane::CheckFinding>& damaged);

using Action = std::function<int(Context&)>;

// Verbs: each group adds its own; the one that the command line names is left in `chosen`.
struct Verbs {
    CLI::App& app;
    Globals& globals;
    Action chosen;
    // What another command line asks for. Failure: CommandError if it can't be understood, or its
    // verb is none of which there are plans.
    std::function<Action(const std::vector<std::string>&)> understand;

    CLI::App* add(CLI::App* parent, const std::string& name, const std::string& description,
                  const std::string& examples, Action action);
    // A verb with verbs of its own; without one of them it does what `action` says.
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

// Standard output goes to standard error for as long as this lives; or to a file. Where standard
// error is a terminal, it is kept in a file and told at the end, with controls as escapes.
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
