#pragma once

// The objects that a rename visits, with their texts before and after it, and what the journal of
// the run says beside that.

#include <map>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

struct RenameIds {
    std::string old_item, new_item, old_revision, new_revision;  // revisions: empty if not renamed
    std::string new_name, new_description;
};

struct RenameTarget {
    tag_t tag = 0;
    std::string label, type;
    std::map<std::string, std::string> texts;  // attribute -> text
};

// In the order of the walk: the item, what hangs on it, its BOM views, then each revision likewise;
// a dataset is followed by its named references and its older versions. Each object once.
std::vector<RenameTarget> renameTargets(Context& context, tag_t item);

struct RenamedText {
    std::string object, type, attribute, before, after;
    tag_t tag = 0;
    int cut_at = 0;  // the limit at which the text lost its end; 0: it is whole
};

// What differs from the store as the current session sees it.
std::vector<RenamedText> renamedTexts(Context& context, const std::vector<RenameTarget>& before,
                                      const RenameIds& ids);

// The object at which a run stopped, by its journal, and what stopped it.
struct Refusal {
    tag_t object = 0;
    std::string operation;  // the failed platform call; empty for a refusal of the library's own
};
Refusal readRefusal(const std::vector<mervane::JournalEntry>& journal);

// The first text argument of each successful call of an operation.
std::vector<std::string> textsOfCalls(const std::vector<mervane::JournalEntry>& journal,
                                      const std::string& operation);

}  // namespace keld
