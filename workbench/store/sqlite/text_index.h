#pragma once

// The index of texts: for each three characters that follow one another in an id or a name, who has
// them. It is made on demand. A search takes candidates from it and compares each, so it finds the
// same with and without it. docs/store.md describes its tables.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "workbench/model/model.h"

namespace mervane {

class Connection;

// Failure kStoreFailure if the store can't be read or written, and for make(), drop() and agrees()
// if the SQLite library has no FTS5.
class TextIndex {
public:
    explicit TextIndex(Connection& connection) : connection_(connection) {}

    bool isThere();
    // Whether a finding of the database's own check is about this index.
    static bool isNamedBy(std::string_view finding);
    // Make it, anew if it is there, or drop it, if it is there; in one transaction.
    void make(const Model& model);
    void drop();

    // Requires: it is there.
    TextIndexState state();
    // Returns: false if it isn't what the texts are. Waits for another process that writes, like a
    // change.
    bool agrees();
    // Index the texts that changed, if they are many. If the index fails, they wait on.
    // Requires: a transaction.
    void takeUp();
    // Whether the last failure was one of the index alone: everything can be done without it.
    bool hasFailed() const;

    // Tell the objects whose text matches, tag and type; an object may come twice. Returns: false,
    // and nothing is told, if there is no index or the search is quicker without it. Texts that
    // begin as the pattern does are from `from` up to, but without, `end`; an empty one is no
    // limit. A failure may come after some were told.
    bool search(tag_t attribute, const std::string& pattern, const std::string& from,
                const std::string& end, const std::function<void(tag_t, tag_t)>& each);

private:
    bool isPossible();
    void needPossible();
    void dropTables();
    void takeUpAll();

    Connection& connection_;
};

}  // namespace mervane
