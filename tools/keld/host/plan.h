#pragma once

// A plan: a rehearsed run in a file, for somebody else to check and to carry out unchanged.
// docs/command-line.md describes the file.

#include <map>
#include <optional>

#include "tools/keld/host/service.h"

namespace keld {

// A call of a service, with its arguments as in the plan's file.
struct PlannedCall {
    std::string service;
    Json arguments;
    bool operator==(const PlannedCall&) const = default;
};

// Who runs it, and when.
struct PlanRunner {
    std::string user, user_name, group, host;
    tag_t user_tag = NULLTAG, group_tag = NULLTAG;
    int process = 0;
    std::string began, ended;  // "2001-02-03 04:05:06"
};

struct PlannedObject {
    std::string label, type;
};

struct Plan {
    std::string file;            // path that it was read from
    std::string store, version;  // identity of the store; version of the libraries
    std::vector<std::string> command;
    std::vector<PlannedCall> calls;
    PlanRunner runner;
    std::string configuration, configuration_sha256;  // empty: the run reads none
    mervane::RunReads reads;
    std::map<tag_t, PlannedObject> objects;  // those that were read, with their names
    mervane::RunOutcome outcome;
    std::vector<mervane::RunEntry> entries;
};

// Write it to a path that doesn't exist. Failure: CommandError; no part of a file is left.
void writePlan(const Plan& plan, const std::string& path);
// Failure: CommandError that says what is wrong and what was expected.
Plan readPlan(const std::string& path);

Json asJson(const mervane::Values& values);
// A BOM line is kept as the revision that it shows, since its tag is valid in its window only.
PlannedCall plannedCall(const Service& service, const std::vector<mervane::Argument>& arguments);

// The plan that the current verb writes or carries out.
struct PlanWork {
    std::string file;
    bool carries_out = false;
    Plan plan;                             // the plan that is carried out, or that is being made
    std::vector<PlannedCall> calls;        // made so far by the run that carries it out
    bool open = false, ran = false;        // open: the run is under way; ran: it began
    std::vector<std::string> differences;  // between what was carried out and what was planned
    bool written = false;

    // Called before the run calls a service. Failure: CommandError if the plan has another call
    // here.
    void called(PlannedCall call);
};

}  // namespace keld
