#pragma once

// Remedies against a refusal of the status manager. Each is carried out in the current rehearsal,
// so that the next attempt proves that it helps.

#include <optional>

#include "tools/keld/verbs/status_run.h"

namespace keld {

struct Remedy {
    bool known = false;   // whether there is a remedy; it has been carried out then
    std::string text;     // what to do; or why nothing helps
    std::string command;  // the keld command that does it; empty: there is none
    // The refusal of the run that would help. It must be mended first; nothing has been carried
    // out.
    std::optional<Refusal> first;
};

// Requires: a rehearsal. `start`: the object from which paths begin. `alone`: if the run that would
// help is refused, carry out the remedy without it.
Remedy mend(Context& context, const WantedStatus& wanted, const Refusal& refusal, tag_t start,
            bool alone);

}  // namespace keld
