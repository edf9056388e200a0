#pragma once

// What a run reads: objects by tag with the version that they had when they were looked at first,
// and the searches that found them. Gathered by the session where it hands objects out.

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "workbench/run.h"

namespace mervane {

class Session;
class Store;

class Reads {
public:
    // The first version counts: later ones may be the run's own. 0: there is no such object.
    void object(tag_t tag, std::int64_t version) { versions_.try_emplace(tag, version); }
    void made(tag_t tag) { made_.insert(tag); }
    // Returns: true if nobody has asked this before; the caller then tells found() what answers.
    bool asks(std::string_view cls, std::string_view attribute, tag_t target,
              std::string_view text);
    void found(const std::vector<tag_t>& tags) { found_.insert(tags.begin(), tags.end()); }

    // All so far, without what the run has made. Asks the store for the versions of what was found
    // and never looked at.
    RunReads take(Store& store) const;

private:
    std::unordered_map<tag_t, std::int64_t> versions_;
    std::unordered_set<tag_t> made_, found_;
    std::vector<RunReads::Search> searches_;
    std::unordered_set<std::string> known_;  // searches
};

// What differs now, by tag. Requires: the session has no unsaved values.
std::vector<ReadDifference> differencesFrom(Session& session, const RunReads& reads);

}  // namespace mervane
