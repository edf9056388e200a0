#pragma once

// The texts that a rename has changed, and the object at which one stopped.

#include <map>
#include <string>
#include <vector>

#include "tools/keld/host/record.h"

namespace keld {

struct RenameIds {
    std::string old_item, new_item, old_revision, new_revision;  // revisions: empty if not renamed
    std::string new_name, new_description;
};

struct RenamedText {
    std::string object, type, attribute, before, after;
    tag_t tag = 0;
    int cut_at = 0;  // the limit at which the text lost its end; 0: it is whole
};

// The texts that a run has changed.
std::vector<RenamedText> renamedTexts(const Record& record, const RenameIds& ids);

// The object at which a run stopped, by its journal, and what stopped it.
struct RenameRefusal {
    tag_t object = 0;
    std::string operation;  // the failed platform call; empty for a refusal of the library's own
};
RenameRefusal readRefusal(const std::vector<mervane::JournalEntry>& journal);

}  // namespace keld
