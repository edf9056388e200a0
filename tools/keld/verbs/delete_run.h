#pragma once

// What a run of the delete check has found and saved, object by object, read from the journal of
// the run: the service itself answers with one status.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "workbench/workbench.h"

namespace keld {

struct SavedFile {
    tag_t dataset = 0;
    std::string path;
};

struct DeleteRun {
    std::set<tag_t> reached;         // objects that were looked at
    std::map<tag_t, tag_t> refused;  // with the revision that is used in a structure, if any
    tag_t last = 0;                  // the object at which the run ended
    std::vector<SavedFile> files;
};

DeleteRun readDeleteRun(const std::vector<mervane::JournalEntry>& journal,
                        const std::set<tag_t>& objects);

}  // namespace keld
