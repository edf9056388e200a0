#pragma once

// Whether a run came to what its plan says. What differs by nature is taken as equal: tags of
// objects that the run makes, the moment of the run, and who runs it.

#include "tools/keld/host/plan.h"

namespace keld {

// One side: a run with what came of it.
struct PlanSide {
    const PlanRunner& runner;
    const mervane::RunOutcome& outcome;
    const std::vector<mervane::RunEntry>& entries;
};

// Each as a line for people; none: they are equal.
std::vector<std::string> differencesBetween(const Context& context, const PlanSide& planned,
                                            const PlanSide& now);

}  // namespace keld
