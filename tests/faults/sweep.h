#pragma once

// The fault sweep: a scenario is run once without faults, then once for every platform call with a
// failure of that call alone, again with a failure of that call and every later one of the same
// operation, and again with a failure of every call from it on. Each run has a process of its own,
// forked from the world that was built once, and looks afterwards at everything that the rules say
// about a failure.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/faults/rules.h"
#include "tests/support/share.h"
#include "tests/support/world.h"

namespace faults {

using keld_test::Share;

// What an entry point gives: its status, and its slot if that is an integer.
struct Outcome {
    int status = 0;
    std::optional<int> slot;
    bool operator==(const Outcome&) const = default;
};

struct Scenario {
    std::string name;
    std::function<void(world::World&)> build;
    // Call the exported entry point as the platform would.
    std::function<Outcome(world::World&)> run;
    // What the entry point gives if this status reaches it; 0: none does.
    std::function<Outcome(int)> gives;
    // A second run, without faults, with the expected result; empty: the same run, which must
    // succeed.
    std::function<Outcome(world::World&)> again = {};
    // Attributes that may have any value after a failure in the middle.
    std::vector<std::string> on_the_way = {};
    // The status that a dropped failure leads to by the values that it leaves, if it isn't 0.
    std::function<std::optional<int>(const Record&, const Verdict&)> answers = {};
    Drops drops = {};
    // A failure of a call up to the first one of this operation leaves the whole store unchanged.
    std::string changes_from = {};
    // Problems of its own; called after the faulty run.
    std::function<std::vector<std::string>(world::World&, const Record&)> look = {};
};

struct Sums {
    int injections = 0;                 // all that there are
    int run = 0;                        // those of the share
    std::vector<std::string> problems;  // at most the first 30
};

// Run the injections of a share, after `before` injections of other scenarios. A problem begins
// with the injection that shows it.
Sums sweep(const Scenario& scenario, const Rules& rules, const Share& share = {}, int before = 0);

// The sweep of one service: all of its scenarios, with a failure of the test for each problem. It
// runs the share that KELD_SWEEP_SHARE names and prints "NAME: n of m injections".
void expectSweep(const std::string& service, const std::vector<Scenario>& scenarios,
                 const Rules& rules);

}  // namespace faults
