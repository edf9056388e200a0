#pragma once

// Whether a plan still fits the store, and what is told of a plan at the end of a run.

#include "tools/keld/host/run.h"

namespace keld {

// What isn't as the plan has it.
struct PlanConflict {
    std::string what;  // "object", "configuration", "version"
    tag_t tag = NULLTAG;
    std::string label, typed, type;  // of an object; its type is empty if it is gone
    std::string is;                  // "changed", "gone", "new"
    std::string then, now;           // version of an object or the libraries; SHA-256
    std::string by;                  // who has changed an object last, and when
};

// Requires: a run is under way; its configuration is the one that counts.
std::vector<PlanConflict> conflictsWith(const Context& context, const Plan& plan);
std::string asText(const PlanConflict& conflict);
std::string conflictsText(const std::vector<PlanConflict>& conflicts);  // a line each
Json asJson(const PlanConflict& conflict);

// The user, the group and the process of the run under way, and the moment as its end.
PlanRunner planRunner(const Context& context);

std::string planText(const VerbRun& run);
Json planJson(const VerbRun& run);

}  // namespace keld
