#pragma once

// Whether the records of runs fit what is stored. Requires: everything since the first record was
// changed in recorded runs.

#include <string>
#include <vector>

#include "platform/types.h"

namespace keld_test {

struct RecordCheck {
    std::vector<std::string> wrong;
    std::size_t runs = 0, not_ended = 0, entries = 0;
};

// Replays the entries of all runs, the earliest first: each must begin where the one before it
// ended, and the last must have left what the current session reads. Objects in `shared` are
// changed by several processes at once: of their values only the last must be one that was
// recorded.
RecordCheck checkRecords(const std::vector<tag_t>& shared = {});

}  // namespace keld_test
