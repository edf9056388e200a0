#pragma once

// A run of the status manager as keld makes it: the names are checked, the service runs, and what
// it refuses is explained. Verbs that set a status or ask about it use it.

#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/verbs/visits.h"

namespace keld {

inline constexpr char kLineType[] = "BOMLine";
inline constexpr int kDebugLevel = 4;

struct WantedStatus {
    std::string object, status, type;
    bool structure = false;
    RunWish run;
};

// OBJECT, STATUS, --type, --structure.
void addStatusArguments(CLI::App* verb, WantedStatus& wanted);

struct Described {
    std::string label, type, name;
    std::string typed;  // the label as people type it
};
std::string titled(const Described& object);
// Also of an object that is gone.
Described described(const Context& context, tag_t object);

// Refusals of the service.
inline constexpr int kNoPrivilege = 919401, kNotConfigured = 919402, kWrongPrevious = 919403,
                     kFieldEmpty = 919404, kIsCheckedOut = 919405;

// Failure: CommandError if there is no such type, or no section for the status.
void checkNames(Context& context, const WantedStatus& wanted, const std::string& type);

// What one run of the service says: its outcome, and the visits if they were asked for.
struct StatusRun {
    Outcome outcome;
    Visits visits;
    std::vector<mervane::JournalEntry> journal;

    const std::vector<Visit>& pass() const {
        return visits.attributes.empty() ? visits.test : visits.attributes;
    }
};

StatusRun runStatus(Context& context, const std::vector<mervane::Argument>& arguments,
                    bool with_visits);
// Rehearse a refused run once more, to see where it went.
Visits watch(Context& context, const std::vector<mervane::Argument>& arguments);

// Why the run was refused with the status at the visit that was its last; null: at the start.
Refusal explain(const Context& context, const WantedStatus& wanted, int status, const Visit* last,
                tag_t start);

void addObjectionsVerb(Verbs& verbs, CLI::App* group);

}  // namespace keld
