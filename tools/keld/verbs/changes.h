#pragma once

// What a run has changed, found by comparing what is stored before and after it.

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

struct Snapshot {
    struct Entry {
        std::string label, type;
        std::map<std::string, std::string> values;  // attribute -> text
    };
    std::map<tag_t, Entry> objects;
};

// Everything that is stored; attributes that every save changes are left out.
Snapshot takeSnapshot(Context& context);

struct Change {
    std::string what;  // "new", "changed", "deleted"
    tag_t tag = 0;
    std::string label, type;
    struct Value {
        std::string attribute, before, after;
    };
    std::vector<Value> values;
};

std::vector<Change> changesBetween(const Snapshot& before, const Snapshot& after);
Json asJson(const std::vector<Change>& changes);
std::string asText(const std::vector<Change>& changes);

}  // namespace keld
