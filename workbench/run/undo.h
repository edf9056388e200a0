#pragma once

// Taking a run back.

#include "workbench/run.h"
#include "workbench/session/session.h"

namespace mervane {

// In one transaction and as a run of its own; nothing is changed if there is a conflict. Failure
// kBadValue if there is no such run, or it hasn't ended and its process lives.
UndoReport undoRun(Session& session, std::int64_t number, const std::string& version);

}  // namespace mervane
