#pragma once

// Texts that contain the user of a run, or its moment or process as digits.

#include <string>
#include <unordered_map>

#include "tools/keld/host/plan.h"

namespace keld {

// The groups of digits that a run may have written for a moment of its own: year, month, day, hour,
// minute, second in the usual forms, or seconds since 1970. Also the number of its process.
class RunDigits {
public:
    explicit RunDigits(const PlanRunner& runner);
    const std::string& user() const { return user_; }
    // The parts that these digits may be, a bit for each; 0: none.
    unsigned partsOf(const std::string& digits) const;
    // Whether the moment is within the run.
    bool holds(const mervane::Date& date) const;

private:
    std::string user_, began_, ended_;
    std::unordered_map<std::string, unsigned> parts_;
};

// Equal apart from the user's id, and from digits that may be the same part in both runs.
bool alikeTexts(const std::string& planned, const RunDigits& plan, const std::string& found,
                const RunDigits& now);

}  // namespace keld
