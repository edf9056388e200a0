#pragma once

// Taking a run back.

#include "workbench/run.h"
#include "workbench/session/session.h"

namespace mervane {

// In one transaction and as a run of its own; nothing is changed if there is a conflict. The
// session's cache is dropped. Failure kBadValue if there is no such run, it hasn't ended and its
// process lives, or the session has a run.
UndoReport undoRun(Session& session, std::int64_t number, const std::string& version);

}  // namespace mervane
