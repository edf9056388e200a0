#pragma once

// One change of a run as it is kept: attributes by their handles, in a compact form of bytes that
// docs/store.md describes.

#include <string>
#include <string_view>
#include <vector>

#include "workbench/run.h"

namespace mervane {

struct StoredValue {
    tag_t attribute = NULLTAG;  // handle; NULLTAG: the change is of no attribute
    Values before, after;
};

struct StoredEntry {
    std::int64_t position = 0;
    RunChange change = RunChange::ObjectChanged;
    tag_t object = NULLTAG;
    tag_t type = NULLTAG;      // handle
    std::int64_t version = 0;  // of a deleted object, the last one that it had
    std::string text;
    std::vector<StoredValue> values;
};

// Everything but position, change and object.
std::string encoded(const StoredEntry& entry);
// Failure kStoreFailure for bytes that no entry has.
void decode(std::string_view bytes, StoredEntry& entry);

}  // namespace mervane
