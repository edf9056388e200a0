#pragma once

// The objects that a run of the status manager looked at. Its log, read while it is written, gives
// sections, passes and ways; the objects come from the calls of the same run.

#include <memory>

#include "tools/keld/host/service.h"
#include "tools/keld/host/visits.h"

namespace keld {

// What one visit did with the keys of its section, as far as the log and the calls show it.
struct Trail {
    struct Entry {
        int direction = 0;
        std::size_t visits = 0;  // number that it led to
    };
    int arrival = 3;             // direction that led here; 3: the run began here
    bool skipped = false;        // left alone, with everything below it
    std::vector<Entry> entries;  // of walk lists, in the order in which the visit followed them
    int privileges = 0, fields = 0, sets = 0, jobs = 0;  // asked for, set, started
    bool purged = false, job_failed = false;
    std::vector<int> deleted;           // number of datasets, for each entry of DeleteDatasets
    std::vector<std::size_t> fillings;  // numbers of the forms that it filled
};

// What a visit did with the fields of one form, in order.
struct Filling {
    struct Step {
        std::string field;  // empty: another call
        bool set = false;   // false: the value was read
        int status = 0;
    };
    tag_t form = NULLTAG;
    std::vector<Step> steps;
};

inline constexpr int kVisitsLevel = 4;  // log level that shows all of this

class StatusWatch {
public:
    // Watch from now on a run that starts on this object. Trails are kept if `trails`. Requires:
    // the log has the level kVisitsLevel.
    StatusWatch(Context& context, tag_t start, bool trails = false);
    ~StatusWatch();
    // Stop listening, and read the rest of the log.
    struct Seen;
    Seen end();

private:
    struct Walk;
    std::unique_ptr<Walk> walk_;
    CallWatch calls_;
};

struct StatusWatch::Seen {
    VisitList list;
    std::size_t stopped = kNoVisit;  // the visit that ended the run early
    tag_t last_line = NULLTAG;       // the last line that was asked for its children
    std::vector<Trail> trails;       // one for each visit, if they are kept
    std::vector<Filling> fillings;   // likewise, for the whole run

    // The visit that ended the run early, else the last one; null: there was none.
    const Visit* last() const;
    // Find the result of each visit. `status` is the one that ended the run, 0 if none did.
    // Requires: the session sees the run's changes.
    void judge(const Context& context, int status);
};

}  // namespace keld
