#pragma once

// A run of the status manager in keld: check the names, run the service, explain a refusal. For all
// verbs that set a status or ask about one.

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

// Add OBJECT, STATUS, --type, --structure.
void addStatusArguments(CLI::App* verb, WantedStatus& wanted);
// Add --type, --structure.
void addStartOptions(CLI::App* verb, WantedStatus& wanted);

// Statuses with which the service refuses.
inline constexpr int kNoPrivilege = 919401, kNotConfigured = 919402, kWrongPrevious = 919403,
                     kFieldEmpty = 919404, kIsCheckedOut = 919405;

// Failure: CommandError if there is no such type, or no section for the status.
void checkNames(Context& context, const WantedStatus& wanted, const std::string& type);

// The result of one run of the service: its outcome, and its visits if they were asked for.
struct StatusRun {
    Outcome outcome;
    StatusWatch::Seen seen;
};

// Tell a user how many lines a walk over the structure visits, if they are many, since it may take
// hours. Requires: a top line. Returns: the structure's size.
mervane::StructureSize announceLines(Context& context, tag_t top);

StatusRun runStatus(Context& context, const std::vector<mervane::Argument>& arguments,
                    bool with_visits, bool with_trails = false);
// Rehearse a refused run again, to see its visits.
StatusWatch::Seen watch(Context& context, const std::vector<mervane::Argument>& arguments);

// Explain a refusal. `last`: the visit at which the run ended; null: it was refused at the start.
Refusal explain(const Context& context, const WantedStatus& wanted, int status, const Visit* last,
                tag_t start);

void addObjectionsVerb(Verbs& verbs, CLI::App* group);

}  // namespace keld
