#pragma once

// What a run of the status manager looked at. Sections, passes and ways are read from its log, line
// by line while it is written; the objects come from the calls of the same run.

#include <memory>

#include "tools/keld/host/service.h"
#include "tools/keld/host/visits.h"

namespace keld {

inline constexpr int kVisitsLevel = 4;  // of the log, at which it tells all of this

class StatusWatch {
public:
    // From now on. The run starts on this object. Requires: the log's level is kVisitsLevel.
    StatusWatch(Context& context, tag_t start);
    ~StatusWatch();
    // Listen no longer, and read.
    struct Seen;
    Seen end();

private:
    struct Walk;
    std::unique_ptr<Walk> walk_;
    CallWatch calls_;
};

struct StatusWatch::Seen {
    VisitList list;
    std::size_t stopped = kNoVisit;  // the visit at which the run ended before its end
    tag_t last_line = NULLTAG;       // the last one that was asked for its children

    // The visit that stopped the run, else the last one; null: there was none.
    const Visit* last() const;
    // Tell what came of each, while the session sees the run's changes. `status` has ended the run,
    // 0: none did.
    void judge(const Context& context, int status);
};

}  // namespace keld
