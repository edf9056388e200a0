#pragma once

// OBJ_: objects and properties.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Bring the object into the session. One made in this session and not yet saved is there already; a
// BOM line of an open window counts as loaded.
// Returns: 0; a failing status for NULLTAG, an unknown tag or an object that can't be read.
MV_API int OBJ_load(tag_t object);

// Drop the object from the session: unsaved values are lost and this session's lock is given up. An
// object that was never saved is gone, and with it what would have been stored along with it (the
// first revision of an item, the master forms, a dataset's anchor).
// Returns: 0; a failing status for an unknown object.
MV_API int OBJ_unload(tag_t object);

// Take the modify lock without reading anew. A lock that this session holds already is no failure
// and is not counted: one release gives it up.
// Returns: 0; a failing status if another session holds the lock (the text names it), if the stored
// state has changed since it was read, without the right to WRITE (unless the bypass is on), while
// another user has it checked out, or for an unknown object, also one that another session deleted
// since it was read: the session drops it then.
// Leaves locked: the object, on success; on a failure what was locked before.
MV_API int OBJ_lock(tag_t object);

// Read the stored state anew; values that were set and not saved are lost. `lock` true (also
// DBO_modify_lock) takes the modify lock first, false (DBO_no_lock) gives it up. An object that was
// never saved keeps its values.
// Returns: 0; a failing status for an unknown object, also one that another session deleted, which
// the session drops, or, with `lock`, if another session holds the lock, without the right to WRITE
// (unless the bypass is on), or while another user has it checked out: values then stay as they
// were.
// Leaves locked: the object, if `lock` is true and the status 0.
MV_API int OBJ_refresh(tag_t object, logical lock);

// Store the values that were set, in one transaction; the lock stays. A new item is stored with its
// first revision and the master forms of both. Takes every stored instance, relations and files
// included; a BOM line needs no save.
// The target of a new reference must be stored already, or be stored by the same call: save it
// first, or together with its referrer by DBO_save_instances. The target of a reference that was
// stored before may be gone.
// Returns: 0; a failing status if another session has changed or deleted the stored state, for a
// new reference to an object that isn't saved or is gone, for an id that another object has taken,
// or if the store can't be written. Nothing is stored then and the unsaved values stay.
MV_API int OBJ_save(tag_t object);

// Delete the object with its own parts (an item's revisions, views and master forms; a dataset's
// versions and files; a process's tasks) and the relations in which it is the primary. No lock is
// needed.
// Returns: 0; a failing status while anything else refers to it (the text names the referrer), if
// another session holds a lock on it or on one of its parts, without the right to DELETE it (unless
// the bypass is on), while another user has it or one of its parts checked out, for a BOM line and
// for an unknown object, also one that another session deleted. Nothing is deleted then.
MV_API int OBJ_delete(tag_t object);

// Whether this user may change the object now: by privileges (left out while the bypass is on),
// other users' check-outs and other sessions' locks. True for a BOM line.
// Returns: 0 with the answer in `modifiable`; a failing status for an unknown object.
MV_API int OBJ_ask_if_modifiable(tag_t object, logical* modifiable);

// A single text property. One without a value gives an empty text; other implementations may give
// null. On the handle of a class, type or relation type the property "object_name" gives its name.
// Returns: 0; a failing status for an unknown object or property, a property of another kind, or if
// there is no memory.
// Frees: the receiver, with HEAP_free.
MV_API int OBJ_ask_value_string(tag_t object, const char* property, char** value);

// A list property of references as it is stored, entries that can't be loaded included; an empty
// list is count 0 and a null pointer.
// Returns: as OBJ_ask_value_string; a single reference is of another kind.
// Frees: the receiver, one HEAP_free of `values`.
MV_API int OBJ_ask_value_tags(tag_t object, const char* property, int* count, tag_t** values);

// A single logical property; false without a value.
// Returns: 0; a failing status for an unknown object or property or a property of another kind.
MV_API int OBJ_ask_value_logical(tag_t object, const char* property, logical* value);

// A single reference; NULLTAG without a value (owning_site: owned by this site).
// Returns: 0; a failing status for an unknown object or property or a property of another kind.
MV_API int OBJ_get_value_tag(tag_t object, const char* property, tag_t* value);

// Set a text property of a locked or new object; OBJ_save stores it. BOM lines need no lock and are
// stored with their window.
// Returns: 0; a failing status without the lock, for a text longer than its field, an unknown
// object or property, a property of another kind or one that is only worked out. The old value then
// stays.
MV_API int OBJ_set_value_string(tag_t object, const char* property, const char* value);

// Set a logical property; otherwise as OBJ_set_value_string.
MV_API int OBJ_set_value_logical(tag_t object, const char* property, logical value);

// Set an integer property; otherwise as OBJ_set_value_string.
MV_API int OBJ_set_value_int(tag_t object, const char* property, int value);

// Set a date property; the null date empties it.
// Returns: as OBJ_set_value_string; a failing status too for a date that the calendar doesn't have.
MV_API int OBJ_set_value_date(tag_t object, const char* property, date_s value);

// Any property as display text. Texts are given unchanged, integers and doubles in decimal with a
// point, logicals as True or False, dates as YYYY-MM-DD hh:mm:ss, references as the display id of
// the object; entries of a list are joined by ", ". Without a value the text is empty; other
// implementations may give null.
// Returns: 0; a failing status for an unknown object or property, or if there is no memory.
// Frees: the receiver, with HEAP_free.
MV_API int OBJ_UIF_ask_value(tag_t object, const char* property, char** value);

// Set a property of a locked or new object from display text. Null and the empty text empty it;
// else the text must be one that OBJ_UIF_ask_value can give for this property. A reference is
// looked up by display id; of several objects with one id the oldest is taken, unless the property
// shows this very text already.
// Returns: 0; a failing status for any other text, and as OBJ_set_value_string. The old value then
// stays.
MV_API int OBJ_UIF_set_value(tag_t object, const char* property, const char* value);

}  // extern "C"

// A shorthand of the library, no platform symbol: an inline function, so that a traced call logs
// its own name. Gives the object's lock up.
inline int OBJ_unlock(tag_t object) {
    return OBJ_refresh(object, false);
}
