#pragma once

// A run of one session: its transaction, its recorder, and what is told at its end.

#include <functional>
#include <memory>
#include <unordered_set>

#include "workbench/run.h"
#include "workbench/run/counts.h"
#include "workbench/session/session.h"
#include "workbench/store/runs.h"

namespace mervane {

// Requires: the session outlives it.
class Run {
public:
    // Begin the run. `undoes`: number of the run that it takes back. Failure kBadValue if the
    // session has a run already; kStoreFailure while another session on the connection has a batch.
    Run(Session& session, const RunOptions& options, std::int64_t undoes = 0);
    // A run that wasn't ended goes back; as the server, what is stored stays, and the record says
    // "not ended".
    ~Run();
    Run(const Run&) = delete;

    // Tell every entry while the session still sees what the run has made, then keep the run or let
    // it go back; `keep` counts for a whole run alone. A null `each` is told nothing, and what it
    // throws travels up. Returns: the head; its number is 0 if the run isn't stored or has changed
    // nothing. After a failure the run has ended, and nothing of a whole run is left.
    // Requires: not ended yet.
    RunHead end(const RunOutcome& outcome, bool keep,
                const std::function<void(const RunEntry&)>& each);

private:
    Session& session_;
    RunWay way_;
    std::unordered_set<tag_t> locks_;  // held when it began
    RunCounts counts_;
    bool open_ = true;

    void giveUp();
};

// An entry as hosts see it.
RunEntry shownEntry(const Model& model, StoredEntry&& entry);
// Returns: false if there is no run of that number. Failure kStoreFailure.
bool readHead(Session& session, std::int64_t number, RunHead& head);

}  // namespace mervane
