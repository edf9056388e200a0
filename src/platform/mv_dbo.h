#pragma once

// DBO_: persistence layer

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Class handle by name.
MV_API int DBO_class_id_of_class(const char* className, tag_t* classId);

// Class handle of an instance.
MV_API int DBO_class_of_instance(tag_t instance, tag_t* classId);

// Class name, allocated.
MV_API int DBO_name_of_class(tag_t classId, char** name);

// Attribute handle; inherited attributes are found from the class named.
MV_API int DBO_attr_id_of_attr(const char* attribute, const char* className, tag_t* attr);

// Length of an array attribute.
MV_API int DBO_length_of_attr(tag_t instance, tag_t attr, int* length);

// Read references; three blocks to free.
MV_API int DBO_ask_attr_tags(tag_t instance, tag_t attr, int first, int count, tag_t** values,
                             logical** isNull, logical** isEmpty);

// Read a string attribute, allocated.
MV_API int DBO_ask_attr_string(tag_t instance, tag_t attr, char** value, logical* isNull,
                               logical* isValid);

// Load what can be loaded, keeping order; the rest drops out; list allocated.
MV_API int DBO_load_instances_possible(int count, const tag_t* instances, int* loaded,
                                       tag_t** loadedInstances);

// Re-read instances; lockMode DBO_modify_lock or DBO_no_lock; same lock as OBJ_refresh.
MV_API int DBO_refresh_instances_any_class(int count, const tag_t* instances, int lockMode);

// Set on locked instances; stored by DBO_save_instances or OBJ_save.
MV_API int DBO_set_attr_string(int count, const tag_t* instances, tag_t attr, const char* value);

// Likewise; date_released must also be accepted on a ReleaseStatus instance.
MV_API int DBO_set_attr_date(int count, const tag_t* instances, tag_t attr, date_s value);

// Null the attribute.
MV_API int DBO_set_attr_null(int count, const tag_t* instances, tag_t attr);

// Append n references to an array attribute.
MV_API int DBO_append_attr_tags(int count, const tag_t* instances, tag_t attr, int n,
                                const tag_t* newTags);

// Remove n entries from index first.
MV_API int DBO_remove_from_attr(int count, const tag_t* instances, tag_t attr, int first, int n);

// Write instances; saves with either flag (true only in CKELD_Status::CreateReleaseStatus).
MV_API int DBO_save_instances(int count, const tag_t* instances, logical flag);

// Delete instances outright.
MV_API int DBO_delete_instances(int count, const tag_t* instances);

// Who refers to the instance; the caller frees instances and classes only.
MV_API int DBO_referencers_of_instance(tag_t instance, int levels, int mode, int* count,
                                       tag_t** instances, int** instanceLevels,
                                       int** instanceWhereFound, int* classCount, tag_t** classes,
                                       int** classLevels, int** classWhereFound);

// Session user: name (allocated) and tag.
MV_API int DBO_get_user(char** name, tag_t* user);

// Session user's id, allocated.
MV_API int DBO_get_user_id(char** id);

// Id of a user, allocated.
MV_API int DBO_ask_user_id(tag_t user, char** id);

// Session group: name (allocated) and tag.
MV_API int DBO_ask_group(char** name, tag_t* group);

// The null date by value, no status.
MV_API date_s DBO_null_date(void);

// True for a local copy of a remote dataset.
MV_API int DBO_is_cached(tag_t dataset, logical* cached);

}  // extern "C"
