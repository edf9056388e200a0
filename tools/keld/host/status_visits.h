#pragma once

// What a run of the status manager looked at. Sections, passes and ways are read from its log, line
// by line while it is written; the objects come from the calls of the same run.

#include <memory>

#include "tools/keld/host/service.h"
#include "tools/keld/host/visits.h"

namespace keld {

// What one visit did with the keys of its section, as far as its log and its calls tell.
struct Trail {
    struct Entry {
        int direction = 0;
        std::size_t visits = 0;  // that it led to
    };
    int arrival = 3;             // the direction by which it was reached; 3: the run began here
    bool skipped = false;        // left alone, with all below it
    std::vector<Entry> entries;  // of walk lists, in the order in which they were followed
    int privileges = 0, fields = 0, sets = 0, jobs = 0;  // asked for, set, started
    bool purged = false, job_failed = false;
    std::vector<int> deleted;           // datasets, for each entry of DeleteDatasets
    std::vector<std::size_t> fillings;  // numbers of forms that were filled
};

// What was done to the fields of one form, in its order.
struct Filling {
    struct Step {
        std::string field;  // empty: something else was asked for
        bool set = false;   // false: its value was asked for
        int status = 0;
    };
    tag_t form = NULLTAG;
    std::vector<Step> steps;
};

inline constexpr int kVisitsLevel = 4;  // of the log, at which it tells all of this

class StatusWatch {
public:
    // From now on. The run starts on this object. Requires: the log's level is kVisitsLevel.
    // Trails are kept if `trails`.
    StatusWatch(Context& context, tag_t start, bool trails = false);
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
    std::vector<Trail> trails;       // of the visits, if they were asked for
    std::vector<Filling> fillings;   // likewise, of the whole run

    // The visit that stopped the run, else the last one; null: there was none.
    const Visit* last() const;
    // Tell what came of each, while the session sees the run's changes. `status` has ended the run,
    // 0: none did.
    void judge(const Context& context, int status);
};

}  // namespace keld
