#pragma once

// What a library exports, by the list of its build.

#include <fstream>
#include <set>
#include <string>

#include "tests/support/places.h"

inline std::set<std::string> exportedBy(const std::string& library) {
    std::ifstream list(std::string(KELD_SOURCE_DIR) + "/cmake/exports/" + library + ".txt");
    std::set<std::string> names;
    for (std::string line; std::getline(list, line);)
        if (!line.empty() && line.front() != '#')
            names.insert(line);
    return names;
}
