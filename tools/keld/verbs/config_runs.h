#pragma once

// Rehearsals of the status manager by the verbs of `keld config`: which runs a configuration lets
// begin on an object, and what each comes to. Nothing of them is kept.

#include <memory>
#include <optional>

#include "tools/keld/host/status_decisions.h"
#include "tools/keld/lint/config.h"
#include "tools/keld/verbs/status_run.h"

namespace CLI {
class App;
}

namespace keld {

void addConfigExplainVerb(Verbs& verbs, CLI::App* group);
void addConfigGraphVerb(Verbs& verbs, CLI::App* group);
void addConfigCoverageVerb(Verbs& verbs, CLI::App* group);
void addConfigDiffVerb(Verbs& verbs, CLI::App* group);
void addConfigTestVerb(Verbs& verbs, CLI::App* group);

// A run that the file lets begin: a target status with a start type.
struct ConfigRun {
    std::string status, type;
};
// All of them, by status; of these statuses only, unless the list is empty. Failure: CommandError
// for a status to which no run leads.
std::vector<ConfigRun> configRuns(const IniFile& ini, const std::vector<std::string>& statuses);

// --of OBJECT... and --all.
struct ChosenObjects {
    std::vector<std::string> names;
    bool all = false;
};
void addObjectOptions(CLI::App* verb, ChosenObjects& chosen);
// With `all`, those on which one of the runs can begin. Failure: CommandError if neither is given.
std::vector<tag_t> chosenObjects(const Context& context, const ChosenObjects& chosen,
                                 const std::vector<ConfigRun>& runs);

struct Rehearsed {
    int status = 0;
    StatusRun run;
    Record record;
    std::string refused;  // where and why, in a line; empty: it passed
    bool passed() const { return status == 0; }
};

class Rehearsals {
public:
    // From here on services read the configuration of a directory of its own, and log there.
    Rehearsals(Context& context, const ConfigFile& file);
    // Go on with another file.
    void configure(const ConfigFile& file);

    // Whether a run by this start type can begin on the object.
    bool fits(const ConfigRun& wanted, tag_t object);
    Rehearsed rehearse(const ConfigRun& wanted, tag_t object, bool trails);

private:
    Context& context_;
    Aside aside_;
    std::set<std::string> items_, revisions_;  // names of types

    std::string refusalLine(const Rehearsed& done, tag_t start) const;
};

}  // namespace keld
