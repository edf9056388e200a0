#pragma once

// REL_: relations.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Handle of a relation type by its name, the same number in every store; unknown: status 0,
// NULLTAG.
// Returns: 0; a failing status for a null name.
MV_API int REL_find_relation_type(const char* name, tag_t* type);

// The relations of a primary object, of one type or of all (NULLTAG), in the order in which they
// were made. Field `primary` is the object asked about, `secondary` the one found. Relations whose
// other end can't be loaded, or was deleted by another session, are left out; none is count 0 and a
// null pointer.
// Returns: 0; a failing status for an unknown object, a `type` that is neither NULLTAG nor a
// relation type, or if there is no memory.
// Frees: the receiver, one HEAP_free of the list.
MV_API int REL_list_secondary_objects(tag_t primary, tag_t type, int* count, rel_entry_s** entries);

// The relations in which the object is the secondary. Here too field `secondary` is the object
// found, that is the primary object of the relation, and `primary` the one asked about. Otherwise
// as REL_list_secondary_objects.
// Returns: 0; a failing status for an unknown object, a `type` that is neither NULLTAG nor a
// relation type, or if there is no memory.
// Frees: the receiver, one HEAP_free of the list.
MV_API int REL_list_primary_objects(tag_t secondary, tag_t type, int* count, rel_entry_s** entries);

// The objects that REL_list_secondary_objects finds, in the same order.
// Returns: 0; a failing status for an unknown object, a `type` that is neither NULLTAG nor a
// relation type, or if there is no memory.
// Frees: the receiver, one HEAP_free of the list.
MV_API int REL_list_secondary_objects_only(tag_t primary, tag_t type, int* count, tag_t** objects);

// The objects that REL_list_primary_objects finds, in the same order.
// Returns: 0; a failing status for an unknown object, a `type` that is neither NULLTAG nor a
// relation type, or if there is no memory.
// Frees: the receiver, one HEAP_free of the list.
MV_API int REL_list_primary_objects_only(tag_t secondary, tag_t type, int* count, tag_t** objects);

// A new relation object between two objects, which are not touched and need no lock; `userData` is
// NULLTAG or an object. REL_save_relation or OBJ_save stores it, when its ends are stored.
// Returns: 0; a failing status for an object that doesn't exist or was deleted by another session,
// or a tag that is no relation type. Nothing is made then.
MV_API int REL_create_relation(tag_t primary, tag_t secondary, tag_t type, tag_t userData /*0*/,
                               tag_t* relation);

// Store a relation.
// Returns: 0; a failing status for a tag that is no relation, or as OBJ_save.
MV_API int REL_save_relation(tag_t relation);

// Delete a relation; the objects at its ends stay. No lock is needed.
// Returns: 0; a failing status for a tag that is no relation, or as OBJ_delete.
MV_API int REL_delete_relation(tag_t relation);

}  // extern "C"
