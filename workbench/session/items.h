#pragma once

// Items, their revisions and master forms.

#include <string>
#include <vector>

#include "workbench/session/session.h"

namespace mervane {

// A new item with its first revision and the master forms of both, all stored with the item's first
// save. An empty id is a free number of at least six digits, an empty revision id "A", an empty
// name the id; `first_revision` may be null. Failure kWrongClass if the type is none of items,
// kDuplicateId for an id that is taken, kTooLong: nothing is made then.
Object& newItem(Session& session, const Type& type, const std::string& id, const std::string& name,
                const std::string& revision_id, Object** first_revision);

// A further revision with its master form, which is stored with the revision's first save. An empty
// id is the next after the newest revision's. Failure kDuplicateId if the item has a revision of
// this id, kTooLong: nothing is made then.
Object& newRevision(Session& session, Object& item, const std::string& revision_id);

// The revisions that can be loaded, oldest first.
std::vector<tag_t> revisionsOf(Session& session, tag_t item);
// The revision of this id; NULLTAG if there is none.
tag_t findRevision(Session& session, tag_t item, const std::string& revision_id);
// The item of this id; NULLTAG if there is none.
tag_t findItem(Session& session, const std::string& id);

}  // namespace mervane
