#pragma once

// ENT_: names, types and descriptions.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Name of an object, at most 128 bytes and the terminator; a BOM line has the name of what it
// shows. An object without a name of its own gives its display id.
// Returns: 0; a failing status for an unknown object. `name` then keeps what it held.
MV_API int ENT_ask_name(tag_t object, char* name /*129*/);

// Name of the object's type, at most 128 bytes and the terminator, also where a shorter one is
// expected.
// Returns: 0; a failing status for an unknown object. `type` then keeps what it held.
MV_API int ENT_ask_object_type(tag_t object, char* type /*129*/);

// Description of a workspace object, at most 240 bytes and the terminator; empty if it has none.
// Returns: 0; a failing status for anything else. `description` then keeps what it held.
MV_API int ENT_ask_description(tag_t object, char* description /*241*/);

// Display id of any object: the item id; item id, slash and revision id; else the name. Of a
// dataset exactly its name, which is compared with base names of files.
// Returns: 0; a failing status for an unknown object, or if there is no memory.
// Frees: the receiver, with HEAP_free.
MV_API int ENT_ask_id_string(tag_t object, char** text);

// An id for traces: the tag and the display id.
// Returns: as ENT_ask_id_string.
// Frees: the receiver, with HEAP_free.
MV_API int ENT_ask_object_id_string(tag_t object, char** text);

// Fill the record with name and description of a workspace object.
// Returns: 0; a failing status for anything else. The record then keeps what it held.
MV_API int ENT_describe(tag_t object, ItemDescription* description);

// Set the name of a locked or new workspace object, at most 128 bytes; an empty one is allowed.
// OBJ_save stores it.
// Returns: 0; a failing status without the lock, for a longer text, a BOM line or anything that is
// no workspace object. The old name then stays.
MV_API int ENT_set_name(tag_t object, const char* name);

// Set the description, at most 240 bytes; otherwise as ENT_set_name.
MV_API int ENT_set_description(tag_t object, const char* description);

}  // extern "C"
