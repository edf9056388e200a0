#pragma once

// What the trace of a run says about its visits.

#include <string>
#include <vector>

#include "tests/support/world.h"

namespace world {

// The sections of the visited objects, pass by pass, in order.
inline std::vector<std::vector<std::string>> visits(World& world) {
    std::vector<std::vector<std::string>> passes;
    const std::string begin = "### Process on:";
    for (const std::string& line : world.lines("TD")) {
        if (line.starts_with("########## Prozess"))
            passes.emplace_back();
        else if (line.starts_with(begin) && !passes.empty())
            passes.back().push_back(
                line.substr(begin.size(), line.find(" LastStat:") - begin.size()));
    }
    return passes;
}

}  // namespace world
