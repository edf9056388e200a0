#pragma once

// A plan: a rehearsed run on file, for somebody else to look at, and to be carried out as it
// stands. docs/command-line.md describes the file.

#include <map>
#include <optional>

#include "tools/keld/host/service.h"

namespace keld {

// A call of a service, its arguments as the plan's file has them.
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
    std::string file;            // where it was read
    std::string store, version;  // identity of the store; version of the libraries
    std::vector<std::string> command;
    std::vector<PlannedCall> calls;
    PlanRunner runner;
    std::string configuration, configuration_sha256;  // empty: the run reads none
    mervane::RunReads reads;
    std::map<tag_t, PlannedObject> objects;  // the objects read, as people know them
    mervane::RunOutcome outcome;
    std::vector<mervane::RunEntry> entries;
};

// Write it to a path where nothing is yet. Failure: CommandError; nothing is left.
void writePlan(const Plan& plan, const std::string& path);
// Failure: CommandError that says what is wrong and what was expected.
Plan readPlan(const std::string& path);

Json asJson(const mervane::Values& values);
// Lines of BOM windows stand for the revisions that they show.
PlannedCall plannedCall(const Service& service, const std::vector<mervane::Argument>& arguments);

// The plan that the verb at work writes or carries out.
struct PlanWork {
    std::string file;
    bool carries_out = false;
    Plan plan;                             // that is carried out, or is being made
    std::vector<PlannedCall> calls;        // so far, of the run that carries it out
    bool open = false, ran = false;        // the run
    std::vector<std::string> differences;  // of what was carried out from what was planned
    bool written = false;

    // The run is about to call a service. Failure: CommandError if the plan has another call here.
    void called(PlannedCall call);
};

}  // namespace keld
