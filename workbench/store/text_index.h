#pragma once

// The index of texts: for each three characters of an id or a name, the objects that have them. It
// is made on demand. A search takes candidates from it and compares each, so it finds the same with
// and without the index. docs/store.md describes its tables.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "workbench/model/model.h"

namespace mervane {

class Connection;

class TextIndex {
public:
    explicit TextIndex(Connection& connection) : connection_(connection) {}

    bool isThere();
    // Whether a finding of the database's own check is about this index.
    static bool isNamedBy(std::string_view finding);
    // Make it, anew if it is there, in one transaction. Failure kStoreFailure, also if the database
    // can't have such an index.
    void make(const Model& model);
    void drop();

    TextIndexState state();
    // False: it lacks a text or has one too many. Waits for other writers, as a change does.
    bool agrees();
    // Index the texts that changed, if they are many. What the index can't take goes on waiting.
    // Requires: a transaction.
    void takeUp();
    // The last failure was one of the index alone: everything can be done without it.
    bool hasFailed() const;

    // Tell the objects whose text matches; an object may come twice. False, and nothing is told:
    // there is no index, or the search is quicker without it. Texts with the pattern's beginning
    // are at least `from` and less than `behind`; both empty: it begins with a wildcard.
    bool search(tag_t attribute, const std::string& pattern, const std::string& from,
                const std::string& behind, const std::function<void(tag_t, tag_t)>& each);

private:
    bool isPossible();
    void needPossible();
    void dropTables();
    void takeUpAll();

    Connection& connection_;
};

}  // namespace mervane
