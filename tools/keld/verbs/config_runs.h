#pragma once

// Rehearsals of the status manager for the verbs of `keld config`: which runs a configuration lets
// begin on an object, and the outcome of each. Nothing is kept.

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

// A run that the file lets begin, by target status and start type.
struct ConfigRun {
    std::string status, type;
};
// All of them in the order of the statuses; if `statuses` isn't empty, only its runs. Failure:
// CommandError for a status that no run has as target.
std::vector<ConfigRun> configRuns(const IniFile& ini, const std::vector<std::string>& statuses);

// Options --of OBJECT... and --all.
struct ChosenObjects {
    std::vector<std::string> names;
    bool all = false;
};
void addObjectOptions(CLI::App* verb, ChosenObjects& chosen);
// With `all`, the objects on which one of the runs can begin. Failure: CommandError if neither is
// given.
std::vector<tag_t> chosenObjects(const Context& context, const ChosenObjects& chosen,
                                 const std::vector<ConfigRun>& runs);

struct Rehearsed {
    int status = 0;
    StatusRun run;
    Record record;
    std::string refused;  // place and reason in a line; empty: it passed
    bool passed() const { return status == 0; }
};

class Rehearsals {
public:
    // Until the end, services read the configuration from a temporary directory, and log there.
    Rehearsals(Context& context, const ConfigFile& file);
    // Replace the configuration by another file.
    void configure(const ConfigFile& file);

    // Whether a run by this start type can begin on the object.
    bool fits(const ConfigRun& wanted, tag_t object);
    Rehearsed rehearse(const ConfigRun& wanted, tag_t object, bool trails);

private:
    Context& context_;
    std::set<tag_t> announced_;  // objects whose lines were announced
    Aside aside_;
    std::set<std::string> items_, revisions_;  // names of types

    std::string refusalLine(const Rehearsed& done, tag_t start) const;
};

}  // namespace keld
