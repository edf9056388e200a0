#pragma once

// DBO_: persistence layer.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Handle of a class by its name; the same number in every store.
// Returns: 0; a failing status for an unknown name.
MV_API int DBO_class_id_of_class(const char* className, tag_t* classId);

// Handle of the class of an instance; of a BOM line that of BOMLine.
// Returns: 0; a failing status for an unknown instance.
MV_API int DBO_class_of_instance(tag_t instance, tag_t* classId);

// Name of a class.
// Returns: 0; a failing status for a tag that is no class, or if there is no memory.
// Frees: the receiver, with HEAP_free.
MV_API int DBO_name_of_class(tag_t classId, char** name);

// Handle of an attribute of a class; inherited ones are found too. The same number in every store,
// and for every class that inherits it.
// Returns: 0; a failing status for an unknown class or attribute.
MV_API int DBO_attr_id_of_attr(const char* attribute, const char* className, tag_t* attr);

// Number of entries of an array attribute, unsaved changes included.
// Returns: 0; a failing status for an unknown instance, an attribute that it doesn't have or that
// is no array. `length` then keeps its value: callers start it at 0.
MV_API int DBO_length_of_attr(tag_t instance, tag_t attr, int* length);

// Read `count` references of an array attribute from index `first` (from 0), as stored: entries
// that can't be loaded are there too. The flags run in parallel: isNull and isEmpty are true for an
// entry that refers to nothing. Count 0 gives three null pointers.
// Returns: 0; a failing status for an unknown instance, an attribute of another kind, a range
// outside the array, or if there is no memory. Nothing is handed out then.
// Frees: the receiver, one HEAP_free for each of the three blocks.
MV_API int DBO_ask_attr_tags(tag_t instance, tag_t attr, int first, int count, tag_t** values,
                             logical** isNull, logical** isEmpty);

// Read a single text attribute. isNull is true if it has no value; the text is then empty. isValid
// is true.
// Returns: 0; a failing status for an unknown instance, an attribute of another kind, or if there
// is no memory.
// Frees: the receiver, HEAP_free of `value`.
MV_API int DBO_ask_attr_string(tag_t instance, tag_t attr, char** value, logical* isNull,
                               logical* isValid);

// Load those of `count` instances that can be loaded, in their order; the others are left out, as
// are those that another session deleted. `instances` stays the caller's and may be null for count
// 0; none left is count 0 and a null pointer.
// Returns: 0 also if none can be loaded; a failing status for a negative count or a null list, or
// if there is no memory.
// Frees: the receiver, HEAP_free of `loadedInstances`.
MV_API int DBO_load_instances_possible(int count, const tag_t* instances, int* loaded,
                                       tag_t** loadedInstances);

// As OBJ_refresh for each instance; `lockMode` is DBO_modify_lock or DBO_no_lock, and the lock is
// the same one.
// Returns: 0; a failing status for another mode or an unknown instance (nothing is done then), or
// for a lock that another session holds: the instances before it are done.
MV_API int DBO_refresh_instances_any_class(int count, const tag_t* instances, int lockMode);

// Set a single text attribute of locked or new instances; DBO_save_instances or OBJ_save stores it.
// Returns: 0; a failing status for an unknown instance (nothing is done then), without the lock,
// for an attribute of another kind or a text longer than its field: the instances before it are
// done.
MV_API int DBO_set_attr_string(int count, const tag_t* instances, tag_t attr, const char* value);

// Set a single date attribute; the null date empties it. date_released is accepted on a
// ReleaseStatus too.
// Returns: as DBO_set_attr_string; a failing status too for a date that the calendar doesn't have.
MV_API int DBO_set_attr_date(int count, const tag_t* instances, tag_t attr, date_s value);

// Take the value of an attribute of any kind, single or array, away.
// Returns: as DBO_set_attr_string.
MV_API int DBO_set_attr_null(int count, const tag_t* instances, tag_t attr);

// Append `n` references to an array attribute of locked or new instances; stored by
// DBO_save_instances or OBJ_save. An appended object need not be saved yet; it is saved before the
// instances or together with them.
// Returns: as DBO_set_attr_string; a failing status too if one of `newTags` doesn't exist or was
// deleted by another session: nothing is done then.
MV_API int DBO_append_attr_tags(int count, const tag_t* instances, tag_t attr, int n,
                                const tag_t* newTags);

// Remove `n` entries of an array attribute from index `first` (from 0) on.
// Returns: as DBO_set_attr_string; a failing status too for a range outside the array.
MV_API int DBO_remove_from_attr(int count, const tag_t* instances, tag_t attr, int first, int n);

// Store the values set on all instances in one transaction; locks stay. Both values of `flag` save.
// Returns: 0; a failing status as OBJ_save: nothing of any instance is stored then.
MV_API int DBO_save_instances(int count, const tag_t* instances, logical flag);

// Delete instances outright, without asking who refers to them. References to them stay stored and
// drop out when a list is loaded.
// Returns: 0; a failing status for an unknown instance, also one that another session deleted, or
// one that another session has locked: nothing is deleted then.
MV_API int DBO_delete_instances(int count, const tag_t* instances);

// The objects that refer to the instance, in the store and in this session's unsaved values.
// `levels` is 1 or more: level 2 refers to an object of level 1, and so on. `mode` is
// DBO_in_ds_and_db. Each object is listed once, with its level from 1, and with 1 in WhereFound if
// it is stored, 2 if it was never saved. The instance itself is never listed, also if it refers to
// itself or is part of a circle. `classes` are the classes of the instances, each once. No
// referrer: counts 0 and null pointers.
// Returns: 0; a failing status for an unknown instance, another mode or level, or if there is no
// memory. Nothing is handed out then.
// Frees: the receiver, one HEAP_free for each of the six blocks. An implementation may leave all
// but `instances` and `classes` null; the workbench does so if one level is asked for.
MV_API int DBO_referencers_of_instance(tag_t instance, int levels, int mode, int* count,
                                       tag_t** instances, int** instanceLevels,
                                       int** instanceWhereFound, int* classCount, tag_t** classes,
                                       int** classLevels, int** classWhereFound);

// Name and tag of the session's user.
// Returns: 0; a failing status without a session, or if there is no memory.
// Frees: the receiver, HEAP_free of `name`.
MV_API int DBO_get_user(char** name, tag_t* user);

// Id of the session's user.
// Returns: 0; a failing status without a session, or if there is no memory.
// Frees: the receiver, HEAP_free of `id`.
MV_API int DBO_get_user_id(char** id);

// Id of a user.
// Returns: 0; a failing status for a tag that is no user, or if there is no memory.
// Frees: the receiver, HEAP_free of `id`.
MV_API int DBO_ask_user_id(tag_t user, char** id);

// Name and tag of the session's group.
// Returns: 0; a failing status without a session, or if there is no memory.
// Frees: the receiver, HEAP_free of `name`.
MV_API int DBO_ask_group(char** name, tag_t* group);

// The null date, by value: all fields 0. No status.
MV_API date_s DBO_null_date(void);

// Whether the dataset is only a local copy of one that another site owns.
// Returns: 0; a failing status for a tag that is no dataset.
MV_API int DBO_is_cached(tag_t dataset, logical* cached);

}  // extern "C"
