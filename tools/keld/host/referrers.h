#pragma once

// What refers to an object, and how to remove references that don't have to stay.

#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

struct Referrers {
    std::vector<tag_t> relations;  // those in which it is the secondary
    std::vector<tag_t> folders;    // those that contain it
    std::vector<tag_t> others;     // all others, which keep it in the store
};

// Leaves out the object's own parts and relations, and a dataset's anchor.
Referrers referrersOf(const Context& context, tag_t object);
// Delete the relations, and take it out of the folders. Failure: CommandError.
void cutOff(const Context& context, const Referrers& referrers, tag_t object);
// False: the folder doesn't contain it. Failure: CommandError.
bool takeOutOfFolder(const Context& context, tag_t folder, tag_t object);

}  // namespace keld
