#pragma once

// A run of one session: the transaction around it, its recorder, and what is told of it at its end.

#include <functional>
#include <memory>
#include <unordered_set>

#include "workbench/run.h"
#include "workbench/run/counts.h"
#include "workbench/session/session.h"
#include "workbench/store/runs.h"

namespace mervane {

class Run {
public:
    // Failure kBadValue if the session has a run already. `undoes`: the run that it takes back.
    Run(Session& session, const RunOptions& options, std::int64_t undoes = 0);
    // A run that hasn't ended goes back; as the server, its record then says "not ended".
    ~Run();
    Run(const Run&) = delete;

    // Tell every entry while the session still sees what the run has made, then keep the run or let
    // it go back. `keep` counts for a whole run alone. Of a run that isn't stored, or has changed
    // nothing, the number is 0. After a Failure nothing of a whole run is left.
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
// False: there is no run of that number.
bool readHead(Session& session, std::int64_t number, RunHead& head);

}  // namespace mervane
