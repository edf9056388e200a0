#pragma once

// ART_: items and revisions

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Item id.
MV_API int ART_ask_id(tag_t item, char* id /*129*/);

// Revision id.
MV_API int ART_ask_rev_id(tag_t revision, char* id /*129*/);

// Item name.
MV_API int ART_ask_name(tag_t item, char* name /*129*/);

// Item of a revision.
MV_API int ART_ask_item_of_rev(tag_t revision, tag_t* item);

// Latest revision; NULLTAG if there is none; the slot may be the caller's array entry.
MV_API int ART_ask_latest_rev(tag_t item, tag_t* revision);

// All revisions in platform order, oldest first, allocated.
MV_API int ART_list_all_revs(tag_t item, int* count, tag_t** revisions);

// BOM views of an item, allocated.
MV_API int ART_list_bom_views(tag_t item, int* count, tag_t** views);

// BOM view revisions of a revision in platform order, allocated.
MV_API int ART_rev_list_bom_view_revs(tag_t revision, int* count, tag_t** bvrs);

// Revision by id; none: status 0, NULLTAG.
MV_API int ART_find_revision(tag_t item, const char* revId, tag_t* revision);

// Set on the locked revision.
MV_API int ART_set_rev_id(tag_t revision, const char* newId);

// New item of the class with first revision; null id, name, revision id: the platform chooses.
MV_API int ART_create_item(const char* itemId, const char* name, const char* className,
                           const char* revId, tag_t* item, tag_t* revision);

}  // extern "C"
