#pragma once

// REL_: relations

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Relation type by name; unknown: status 0, NULLTAG.
MV_API int REL_find_relation_type(const char* name, tag_t* type);

// Entries for all (NULLTAG) or one type, allocated; field secondary is the object found.
MV_API int REL_list_secondary_objects(tag_t primary, tag_t type, int* count, rel_entry_s** entries);

// The other way; field secondary is again the object found, here the primary (central backup reads
// it so).
MV_API int REL_list_primary_objects(tag_t secondary, tag_t type, int* count, rel_entry_s** entries);

// Plain list, allocated.
MV_API int REL_list_secondary_objects_only(tag_t primary, tag_t type, int* count, tag_t** objects);

// Plain list, allocated.
MV_API int REL_list_primary_objects_only(tag_t secondary, tag_t type, int* count, tag_t** objects);

// New relation object, stored by REL_save_relation.
MV_API int REL_create_relation(tag_t primary, tag_t secondary, tag_t type, tag_t userData /*0*/,
                               tag_t* relation);

// Store it.
MV_API int REL_save_relation(tag_t relation);

// Remove it.
MV_API int REL_delete_relation(tag_t relation);

}  // extern "C"
