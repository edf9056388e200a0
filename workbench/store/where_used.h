#pragma once

// How a store is asked for the uses of a revision.

#include <vector>

#include "platform/types.h"

namespace mervane {

struct StoredUse {
    tag_t occurrence = NULLTAG;
    tag_t parent = NULLTAG;  // the revision whose view revision holds the occurrence
};

// The handles of the attributes that lead from a revision to its users.
struct UsePath {
    tag_t child = NULLTAG, parent_bvr = NULLTAG, parent_revision = NULLTAG;
};

}  // namespace mervane
