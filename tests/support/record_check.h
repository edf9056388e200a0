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

// Replay the entries of all runs in order. Each must begin with the values that the one before
// left, and the last must have left what the current session reads. Several processes change
// objects in `shared` at once: their last values must only be among the recorded ones.
RecordCheck checkRecords(const std::vector<tag_t>& shared = {});

}  // namespace keld_test
