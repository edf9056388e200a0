#pragma once

// How many injections each service's sweep has to run, at the least.

#include <string>
#include <utility>
#include <vector>

namespace faults {

inline const std::vector<std::pair<std::string, int>>& counts() {
    static const std::vector<std::pair<std::string, int>> all = {
        {"status manager", 3400},
        {"rename", 2500},
        {"rename with registry", 4400},
        {"batch rename", 2300},
        {"pack and resequence", 3000},
        {"attribute copy", 2600},
        {"deletion", 950},
        {"job files", 1000},
        {"job item", 300},
        {"status primitives", 430},
        {"prepared status", 170},
        {"form values", 290},
        {"diagnosis", 12},
    };
    return all;
}

inline int atLeast(const std::string& service) {
    for (const auto& [name, count] : counts())
        if (name == service)
            return count;
    return 1'000'000;  // a service that isn't listed
}

}  // namespace faults
