#pragma once

// ORG_: users, groups, sites

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Site by name.
MV_API int ORG_find_site(const char* name, tag_t* site);

// Name and numeric id.
MV_API int ORG_ask_site_info(tag_t site, char* name /*129*/, int* siteId);

// Person of a user.
MV_API int ORG_ask_user_person(tag_t user, tag_t* person);

// Id of a user.
MV_API int ORG_ask_user_identifier(tag_t user, char* id /*33*/);

// Person attribute, allocated; "PA2" city, "PA9" mail address.
MV_API int ORG_ask_person_attr(tag_t person, const char* key, char** value);

// Group member of the login.
MV_API int ORG_ask_current_groupmember(tag_t* member);

// Its group.
MV_API int ORG_ask_groupmember_group(tag_t member, tag_t* group);

// Group name.
MV_API int ORG_ask_group_name(tag_t group, char* name /*33*/);

// Parent group; NULLTAG at the root.
MV_API int ORG_ask_group_parent(tag_t group, tag_t* parent);

}  // extern "C"
