#pragma once

// What is stored, to see afterwards that nothing was lost.

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "workbench/workbench.h"

namespace faults {

struct StoredObject {
    std::string type;
    std::map<std::string, std::string> values;  // by attribute, as one text; only those with values
    bool operator==(const StoredObject&) const = default;
};
using Snapshot = std::map<tag_t, StoredObject>;

// Of the current session's store; unsaved values aren't in it.
Snapshot snapshot();

// On its way through a pipe; each line begins with "@".
void write(std::FILE* out, const Snapshot& snapshot);
void read(const std::string& line, Snapshot* snapshot);

// What a run that ended anywhere has lost: objects that are gone though neither run removes them,
// and attributes with a value that they had neither before nor after the complete run. The named
// attributes may have any value on the way.
std::vector<std::string> losses(const Snapshot& before, const Snapshot& complete,
                                const Snapshot& now, const std::vector<std::string>& on_the_way);

}  // namespace faults
