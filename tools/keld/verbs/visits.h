#pragma once

// The order in which a run of the status manager visited its objects, read from the log at debug
// level; the objects themselves come from the journal of the same run.

#include <string>
#include <vector>

#include "tools/keld/host/service.h"
#include "workbench/workbench.h"

namespace keld {

struct Visit {
    std::string section, previous;  // as the log has them
    bool skipped = false;           // left alone because of its status
    tag_t object = 0;               // 0 where the journal doesn't tell
};

struct Visits {
    std::vector<Visit> test, attributes, actions;
};

Visits readVisits(const std::vector<LogLine>& log,
                  const std::vector<mervane::JournalEntry>& journal);

}  // namespace keld
