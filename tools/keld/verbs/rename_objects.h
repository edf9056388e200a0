#pragma once

// The texts that a rename has changed, and the object at which a rename stopped.

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
    int cut_at = 0;  // the limit at which the text was cut; 0: it is whole
};

// The texts that a run has changed.
std::vector<RenamedText> renamedTexts(const Record& record, const RenameIds& ids);

// Finds, by its calls, the object at which a run stopped, and the reason.
class RenameStop {
public:
    void add(const mervane::JournalEntry& entry);
    tag_t object() const { return object_; }
    // The failed platform call; empty: the library itself refused.
    const std::string& operation() const { return operation_; }

private:
    tag_t tested_ = 0, object_ = 0;
    std::string operation_;
};

}  // namespace keld
