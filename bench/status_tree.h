#pragma once

// A tree of revisions with a dataset each, ten children for each assembly, and the addresses of the
// stores in which the benchmarks make it.

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "workbench/workbench.h"

namespace status_tree {

inline std::string idOf(const std::string& prefix, int number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%06d", number);
    return prefix + digits;
}

// Make the tree in the current session, as one run. The top is number 0.
inline void make(const std::string& prefix, int revisions) {
    mervane::Workbench& bench = *mervane_workbench();
    bench.beginRun({mervane::RunWay::Whole, "fill", "", "", ""});
    std::vector<tag_t> all;
    for (int i = 0; i < revisions; ++i) {
        tag_t revision = NULLTAG;
        bench.createItem(idOf(prefix, i), "part", "Item", "A", &revision);
        const tag_t dataset = bench.createDataset("Text", idOf(prefix, i));
        bench.relate(revision, dataset, "VANE_specification");
        if (i > 0)
            bench.addOccurrence(all[static_cast<std::size_t>((i - 1) / 10)], revision, "", "");
        all.push_back(revision);
    }
    bench.endRun({}, true, nullptr);
}

// Of a database's address, that of a store in it.
inline std::string withSchema(const std::string& address, const std::string& schema) {
    return address + (address.find('?') == std::string::npos ? "?" : "&") + "schema=" + schema;
}

}  // namespace status_tree
