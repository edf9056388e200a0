#pragma once

// Whether a plan still fits the store, and the report on a plan at the end of a run.

#include "tools/keld/host/run.h"

namespace keld {

// A difference between the store, or its surroundings, and the plan.
struct PlanConflict {
    std::string what;  // "object", "configuration", "version"
    tag_t tag = NULLTAG;
    std::string label, typed, type;  // of an object; its type is empty if it is gone
    std::string is;                  // "changed", "gone", "new"
    std::string then, now;           // version of an object or the libraries; SHA-256
    std::string by;                  // who changed an object last, and when
};

// Requires: a run is under way; its configuration is compared with the plan's.
std::vector<PlanConflict> conflictsWith(const Context& context, const Plan& plan);
std::string asText(const PlanConflict& conflict);
std::string conflictsText(const std::vector<PlanConflict>& conflicts);  // a line each
Json asJson(const PlanConflict& conflict);

// The user, group and process of the current run; `ended` is the present moment.
PlanRunner planRunner(const Context& context);

std::string planText(const VerbRun& run);
Json planJson(const VerbRun& run);

}  // namespace keld
