#pragma once

// What a transaction has changed and the server doesn't know yet. A part of a transaction has one
// of its own, which goes back alone or becomes a part of the one below.

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "platform/types.h"
#include "workbench/store/run_entry.h"
#include "workbench/store/tag_ranges.h"

namespace mervane {

struct PendingRow {
    tag_t type = NULLTAG;
    std::int64_t version = 0;
    std::int64_t base = 0;  // the version below this part; 0: there was no object
    bool gone = false;
    std::string data;
};

struct PendingEntry {
    std::int64_t run = 0, position = 0, change = 0, object = 0;
    std::string data;
};

// Of each row of an index: whether it is there in the end.
struct Pending {
    std::unordered_map<tag_t, PendingRow> rows;
    std::map<std::tuple<tag_t, tag_t, tag_t>, bool> references;   // target, attribute, tag
    std::map<std::tuple<tag_t, std::string, tag_t>, bool> texts;  // attribute, key, tag
    std::map<std::tuple<tag_t, tag_t, std::string>, tag_t> ids;   // NULLTAG: it goes
    std::vector<PendingEntry> entries;
    std::vector<StoredEntry> temporary;  // of a run that isn't recorded: never stored
    std::size_t bytes = 0;
    bool begun = false;          // the server is told where this part begins
    std::uint64_t begun_at = 0;  // by the statement with this number
    // What the server knows already: objects that were made, and those that were changed or deleted
    // with the version that this has given; 0: deleted.
    TagRanges made;
    std::unordered_map<tag_t, std::int64_t> sent;

    bool empty() const {
        return rows.empty() && entries.empty() && references.empty() && texts.empty() &&
               ids.empty();
    }
    bool hasSent(tag_t tag) const { return made.contains(tag) || sent.contains(tag); }
    // What is above comes after what is here.
    void take(Pending&& above);
    // What is sent now.
    void clear();
};

}  // namespace mervane
