#pragma once

// Whether a run did what its plan says. Three kinds of differences are allowed, since no two runs
// agree in them: tags of new objects, the moment of the run, and its user and group.

#include "tools/keld/host/plan.h"

namespace keld {

// One of the two runs, with its outcome.
struct PlanSide {
    const PlanRunner& runner;
    const mervane::RunOutcome& outcome;
    const std::vector<mervane::RunEntry>& entries;
};

// The differences, a line for people each; none: the runs are equal.
std::vector<std::string> differencesBetween(const Context& context, const PlanSide& planned,
                                            const PlanSide& now);

}  // namespace keld
