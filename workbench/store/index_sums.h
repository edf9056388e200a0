#pragma once

// What the tables of texts and references should have, to compare it with what they have.

#include <cstdint>
#include <string_view>
#include <vector>

#include "workbench/model/model.h"
#include "workbench/workbench.h"

namespace mervane {

// A sum over rows that doesn't depend on their order: two tables with the same rows have the same
// one.
class RowSum {
public:
    void add(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::string_view text = {}) {
        std::uint64_t mixed = 14695981039346656037ULL;
        for (const std::uint64_t each : {a, b, c, std::uint64_t{text.size()}})
            mixed = (mixed ^ each) * 0x9E3779B97F4A7C15ULL ^ mixed >> 29U;
        for (const char byte : text)
            mixed = (mixed ^ static_cast<unsigned char>(byte)) * 1099511628211ULL;
        sum_ += mixed ^ mixed >> 32U;
    }
    bool operator==(const RowSum&) const = default;

private:
    std::uint64_t sum_ = 0;
};

struct IndexSums {
    RowSum texts, references;
};

// Add what the tables should have of an object; `key` gives what the table has of a text, without
// it the text. Damage of its values is a finding.
void addObject(tag_t tag, std::string_view data, const Model& model, IndexSums& sums,
               std::vector<CheckFinding>& findings,
               std::string (*key)(std::string_view text) = nullptr);

}  // namespace mervane
