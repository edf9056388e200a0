#pragma once

// A run of the status manager as keld makes it: the names are checked, the service runs, and what
// it refuses is explained. Verbs that set a status or ask about it use it.

#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/status_visits.h"

namespace keld {

inline constexpr char kLineType[] = "BOMLine";

struct WantedStatus {
    std::string object, status, type;
    bool structure = false;
    RunWish run;
};

// OBJECT, STATUS, --type, --structure.
void addStatusArguments(CLI::App* verb, WantedStatus& wanted);
// --type, --structure.
void addStartOptions(CLI::App* verb, WantedStatus& wanted);

// Refusals of the service.
inline constexpr int kNoPrivilege = 919401, kNotConfigured = 919402, kWrongPrevious = 919403,
                     kFieldEmpty = 919404, kIsCheckedOut = 919405;

// Failure: CommandError if there is no such type, or no section for the status.
void checkNames(Context& context, const WantedStatus& wanted, const std::string& type);

// What one run of the service says: its outcome, and what it looked at if that was asked for.
struct StatusRun {
    Outcome outcome;
    StatusWatch::Seen seen;
};

StatusRun runStatus(Context& context, const std::vector<mervane::Argument>& arguments,
                    bool with_visits, bool with_trails = false);
// Rehearse a refused run once more, to see where it went.
StatusWatch::Seen watch(Context& context, const std::vector<mervane::Argument>& arguments);

// Why the run was refused with the status at the visit that was its last; null: at the start.
Refusal explain(const Context& context, const WantedStatus& wanted, int status, const Visit* last,
                tag_t start);

void addObjectionsVerb(Verbs& verbs, CLI::App* group);

}  // namespace keld
