#pragma once

// Relations: objects of the class Relation between a primary and a secondary object.

#include <vector>

#include "workbench/session/session.h"

namespace mervane {

// A new relation, not yet saved. Failure kUnknownType for a handle of no relation type,
// kUnknownObject for an end that doesn't exist.
Object& newRelation(Session& session, tag_t primary, tag_t secondary, tag_t relation_type,
                    tag_t user_data = NULLTAG);

struct Relation {
    tag_t relation = NULLTAG, type = NULLTAG, other = NULLTAG, user_data = NULLTAG;
};

// The relations of an object, by tag, without those whose other end is deleted. NULLTAG as type
// means all. Failure kUnknownObject for the object, kUnknownType for a handle of no relation type.
std::vector<Relation> relationsFrom(Session& session, tag_t primary, tag_t relation_type);
std::vector<Relation> relationsTo(Session& session, tag_t secondary, tag_t relation_type);

}  // namespace mervane
