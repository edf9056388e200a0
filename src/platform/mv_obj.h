#pragma once

// OBJ_: objects and properties

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Bring the object into the session.
MV_API int OBJ_load(tag_t object);

// Drop it from the session; status never looked at.
MV_API int OBJ_unload(tag_t object);

// Take the modify lock, no re-read.
MV_API int OBJ_lock(tag_t object);

// Re-read from the database; true (also DBO_modify_lock) takes the lock, false (DBO_no_lock) gives
// it up.
MV_API int OBJ_refresh(tag_t object, logical lock);

// Write the object; keeps the lock.
MV_API int OBJ_save(tag_t object);

// Delete the object.
MV_API int OBJ_delete(tag_t object);

// May this user change the object now.
MV_API int OBJ_ask_if_modifiable(tag_t object, logical* modifiable);

// Property as string, allocated, may come back null.
MV_API int OBJ_ask_value_string(tag_t object, const char* property, char** value);

// Property as list of tags, allocated.
MV_API int OBJ_ask_value_tags(tag_t object, const char* property, int* count, tag_t** values);

// Property as logical.
MV_API int OBJ_ask_value_logical(tag_t object, const char* property, logical* value);

// Property as tag; NULLTAG if unset (owning_site: owned here).
MV_API int OBJ_get_value_tag(tag_t object, const char* property, tag_t* value);

// Set on the locked object; stored by OBJ_save. The same for the next three.
MV_API int OBJ_set_value_string(tag_t object, const char* property, const char* value);

// As above.
MV_API int OBJ_set_value_logical(tag_t object, const char* property, logical value);

// As above.
MV_API int OBJ_set_value_int(tag_t object, const char* property, int value);

// The null date empties the property.
MV_API int OBJ_set_value_date(tag_t object, const char* property, date_s value);

// Any property as display text, allocated, may come back null; unknown property: failing status.
MV_API int OBJ_UIF_ask_value(tag_t object, const char* property, char** value);

// Property from display text on the locked object; null or empty text empties it.
MV_API int OBJ_UIF_set_value(tag_t object, const char* property, const char* value);

}  // extern "C"

// A shorthand of the library, no platform symbol: an inline function, so that a traced call logs
// its own name. Gives the object's lock up.
inline int OBJ_unlock(tag_t object) {
    return OBJ_refresh(object, false);
}
