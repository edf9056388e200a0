#pragma once

// The objects and files of a run of the delete check, read from its calls: the service itself
// returns a single status.

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
    std::set<tag_t> reached;         // objects that the check came to
    std::map<tag_t, tag_t> refused;  // with the revision that is used in a structure, if any
    tag_t last = 0;                  // the object at which the run ended
    std::vector<SavedFile> files;
};

class DeleteCalls {
public:
    explicit DeleteCalls(const std::vector<tag_t>& objects)
        : objects_(objects.begin(), objects.end()) {}
    void add(const mervane::JournalEntry& entry);
    const DeleteRun& run() const { return run_; }

private:
    std::set<tag_t> objects_;
    DeleteRun run_;
    tag_t revision_ = 0;
};

}  // namespace keld
