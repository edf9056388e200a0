#pragma once

// Who refers to an object, as it is stored. Lists of objects with many referrers are kept, since a
// release asks for the referrers of one status object once for each part.

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workbench/store/referrer.h"
#include "workbench/store/sqlite/sqlite.h"

namespace mervane {

class StoredReferrers {
public:
    explicit StoredReferrers(Connection& connection) : connection_(connection) {}

    // By tag and attribute, each once. The reference holds until the next call. Failure
    // kStoreFailure.
    const std::vector<StoredReferrer>& of(tag_t target);

    // Whoever changes references on this connection tells it here first: of one attribute, or of an
    // object that is deleted or made. Changes of other connections are noticed.
    void changed(tag_t tag, tag_t attribute);
    void erased(tag_t tag);
    // Everything may have changed.
    void forget() { lists_.clear(); }

private:
    struct List {
        std::vector<StoredReferrer> all;
        std::vector<std::pair<tag_t, tag_t>> changed;  // tag and attribute; NULLTAG: all of them
        std::size_t gone = 0;                          // entries without a type
    };
    Connection& connection_;
    std::unordered_map<tag_t, List> lists_;
    std::vector<StoredReferrer> last_;
    Freshness fresh_;

    void read(tag_t target, std::vector<StoredReferrer>& all);
    void read(tag_t tag, tag_t target, std::vector<StoredReferrer>& all);
    void readChanged(tag_t target, List& list);
    bool refers(tag_t tag, tag_t attribute, tag_t target);
    tag_t typeOf(tag_t tag);
};

}  // namespace mervane
