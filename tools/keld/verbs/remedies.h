#pragma once

// What would help against a refusal of the status manager. Each remedy is carried out in the
// rehearsal under way, so that the next attempt proves it.

#include <optional>

#include "tools/keld/verbs/status_run.h"

namespace keld {

struct Remedy {
    bool known = false;   // and carried out
    std::string text;     // what is to be done; why nothing is, if none is known
    std::string command;  // keld's own; empty: it has none
    // What stands against the run that would help: that is to be mended first, and nothing is
    // carried out.
    std::optional<Refusal> first;
};

// Requires: a rehearsal. `start`: the object from which paths begin. `alone`: a remedy against
// which something stands is carried out by other means.
Remedy mend(Context& context, const WantedStatus& wanted, const Refusal& refusal, tag_t start,
            bool alone);

}  // namespace keld
