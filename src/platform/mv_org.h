#pragma once

// ORG_: users, groups, sites.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Site by its name; unknown: status 0, NULLTAG.
// Returns: 0; a failing status for a null name.
MV_API int ORG_find_site(const char* name, tag_t* site);

// Name of a site (at most 128 bytes and the terminator) and its number.
// Returns: 0; a failing status for a tag that is no site. Both out parameters then keep what they
// held.
MV_API int ORG_ask_site_info(tag_t site, char* name /*129*/, int* siteId);

// Person of a user; NULLTAG if there is none.
// Returns: 0; a failing status for a tag that is no user.
MV_API int ORG_ask_user_person(tag_t user, tag_t* person);

// Id of a user, at most 32 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no user. `id` then keeps what it held.
MV_API int ORG_ask_user_identifier(tag_t user, char* id /*33*/);

// Attribute of a person by key, "PA1" to "PA10": "PA2" is the city, "PA9" the mail address. Empty
// if it isn't set.
// Returns: 0; a failing status for a tag that is no person, another key, or if there is no memory.
// Frees: the receiver, HEAP_free of `value`.
MV_API int ORG_ask_person_attr(tag_t person, const char* key, char** value);

// The membership with which the session's user is logged in.
// Returns: 0; a failing status without a session.
MV_API int ORG_ask_current_groupmember(tag_t* member);

// Group of a membership.
// Returns: 0; a failing status for a tag that is no membership.
MV_API int ORG_ask_groupmember_group(tag_t member, tag_t* group);

// Name of a group, at most 32 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no group. `name` then keeps what it held.
MV_API int ORG_ask_group_name(tag_t group, char* name /*33*/);

// Group above a group; NULLTAG at the root.
// Returns: 0; a failing status for a tag that is no group.
MV_API int ORG_ask_group_parent(tag_t group, tag_t* parent);

}  // extern "C"
