#pragma once

// Texts in which the user of a run stands, or as digits its moment or its process.

#include <string>
#include <unordered_map>

#include "tools/keld/host/plan.h"

namespace keld {

// The digits that tell parts of the moments from the begin of a run to its end: year, month, day,
// hour, minute, second in the usual forms, seconds since 1970; and its process.
class RunDigits {
public:
    explicit RunDigits(const PlanRunner& runner);
    const std::string& user() const { return user_; }
    // The parts that these digits may tell, a bit for each; 0: none.
    unsigned partsOf(const std::string& digits) const;
    // Within the run.
    bool holds(const mervane::Date& date) const;

private:
    std::string user_, began_, ended_;
    std::unordered_map<std::string, unsigned> parts_;
};

// Equal but for the id of the user, and digits that tell the same part of the two runs.
bool alikeTexts(const std::string& planned, const RunDigits& plan, const std::string& found,
                const RunDigits& now);

}  // namespace keld
