#pragma once

#include <vector>

#include "platform/types.h"

namespace mervane {

class Connection;

struct StoredUse {
    tag_t occurrence = NULLTAG;
    tag_t parent = NULLTAG;  // the revision whose view revision holds the occurrence
};

// The handles of the attributes that lead from a revision to its users.
struct UsePath {
    tag_t child = NULLTAG, parent_bvr = NULLTAG, parent_revision = NULLTAG;
};

// The stored occurrences of a revision whose parents exist, by occurrence; one statement.
std::vector<StoredUse> storedUses(Connection& connection, const UsePath& path, tag_t revision);

// The revisions on the stored lines of a revision, one for each line, in no order; one statement.
std::vector<tag_t> storedChildren(Connection& connection, const UsePath& path, tag_t revision);

}  // namespace mervane
