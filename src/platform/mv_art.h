#pragma once

// ART_: items and revisions.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Id of an item, at most 128 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no item. `id` then keeps what it held.
MV_API int ART_ask_id(tag_t item, char* id /*129*/);

// Revision id of a revision, at most 128 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no revision. `id` then keeps what it held.
MV_API int ART_ask_rev_id(tag_t revision, char* id /*129*/);

// Name of an item, at most 128 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no item. `name` then keeps what it held.
MV_API int ART_ask_name(tag_t item, char* name /*129*/);

// The item of a revision.
// Returns: 0; a failing status for a tag that is no revision, or if its item can't be loaded.
MV_API int ART_ask_item_of_rev(tag_t revision, tag_t* item);

// The newest revision of an item; NULLTAG if there is none. `revision` may point to an entry of the
// caller's own list.
// Returns: 0; a failing status for a tag that is no item.
MV_API int ART_ask_latest_rev(tag_t item, tag_t* revision);

// All revisions of an item, oldest first; none is count 0 and a null pointer.
// Returns: 0; a failing status for a tag that is no item, or if there is no memory.
// Frees: the receiver, HEAP_free of `revisions`.
MV_API int ART_list_all_revs(tag_t item, int* count, tag_t** revisions);

// BOM views of an item, oldest first; none is count 0 and a null pointer.
// Returns: as ART_list_all_revs.
// Frees: the receiver, HEAP_free of `views`.
MV_API int ART_list_bom_views(tag_t item, int* count, tag_t** views);

// BOM view revisions of a revision, oldest first; none is count 0 and a null pointer.
// Returns: 0; a failing status for a tag that is no revision, or if there is no memory.
// Frees: the receiver, HEAP_free of `bvrs`.
MV_API int ART_rev_list_bom_view_revs(tag_t revision, int* count, tag_t** bvrs);

// The item's revision of this id; none: status 0, NULLTAG.
// Returns: 0; a failing status for a tag that is no item.
MV_API int ART_find_revision(tag_t item, const char* revId, tag_t* revision);

// Set the revision id of a locked or new revision, at most 128 bytes; OBJ_save stores it.
// Returns: 0; a failing status without the lock, for an empty or longer id, one that another
// revision of the item has, or a tag that is no revision. The old id then stays.
MV_API int ART_set_rev_id(tag_t revision, const char* newId);

// A new item of the class with its first revision and the master forms of both. Nothing is stored
// before the item is saved, which stores all of them. Null or empty: the id is the next free
// number, the name is the id, the revision id is "A". The revision can't be saved before the item,
// and is gone when an item that was never saved is unloaded.
// Returns: 0; a failing status for a class that is unknown or none of items, an id that is taken,
// or a text of more than 128 bytes. Nothing is made then.
MV_API int ART_create_item(const char* itemId, const char* name, const char* className,
                           const char* revId, tag_t* item, tag_t* revision);

}  // extern "C"
