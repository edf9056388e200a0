#pragma once

// What refers to an object, and cutting it off from those that may let it go.

#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

struct Referrers {
    std::vector<tag_t> relations;  // in which it is the secondary
    std::vector<tag_t> folders;    // that hold it
    std::vector<tag_t> others;     // that keep it
};

// Its own parts and relations, and a dataset's anchor, are left out.
Referrers referrersOf(const Context& context, tag_t object);
// Delete the relations and take it out of the folders. Failure: CommandError.
void cutOff(const Context& context, const Referrers& referrers, tag_t object);
// False: it isn't in the folder. Failure: CommandError.
bool takeOutOfFolder(const Context& context, tag_t folder, tag_t object);

}  // namespace keld
