#pragma once

// Writes STEP files of any size: a product tree and around it entities that look like geometry.

#include <cstddef>
#include <cstdint>
#include <iosfwd>

namespace keld_test {

struct StepShape {
    int parts = 40;         // products without children
    int children = 4;       // of an assembly; at least 2
    int uses = 1;           // occurrences of each child under its parent
    std::size_t bytes = 0;  // fill with geometry up to this size
    std::uint32_t seed = 1;
    bool duplicate_ids = false;  // every third product is called "Document"
};

struct StepCounts {
    int products = 0, usages = 0;
    std::size_t bytes = 0;
    long long exploded = 0;  // lines of the structure when written out, the top included
};

StepCounts writeStep(std::ostream& out, const StepShape& shape);

}  // namespace keld_test
