#pragma once

// DST_: datasets

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Dataset type by name.
MV_API int DST_find_datasettype(const char* name, tag_t* type);

// Name of a dataset type.
MV_API int DST_ask_datasettype_name(tag_t type, char* name /*129*/);

// Default tool of a dataset type.
MV_API int DST_ask_datasettype_def_tool(tag_t type, tag_t* tool);

// Output formats as string array.
MV_API int DST_ask_tool_output_formats(tag_t tool, int* count, char*** formats);

// All datasets of that name in platform order, allocated.
MV_API int DST_find_all_datasets(const char* name, int* count, tag_t** datasets);

// Latest version of a dataset.
MV_API int DST_ask_dataset(tag_t dataset, tag_t* latest);

// Its dataset type.
MV_API int DST_ask_dataset_datasettype(tag_t dataset, tag_t* type);

// Anchor that holds its versions.
MV_API int DST_ask_dataset_anchor(tag_t dataset, tag_t* anchor);

// Number of versions.
MV_API int DST_count_anchor_revisions(tag_t anchor, int* count);

// Version by index from 0, the newest last.
MV_API int DST_ask_anchor_revision(tag_t anchor, int index, tag_t* dataset);

// Next older version; none: status 9112, or the same tag back.
MV_API int DST_ask_dataset_prev_rev(tag_t dataset, tag_t* previous);

// New dataset.
MV_API int DST_create_dataset_with_id(tag_t type, const char* name, const char* description,
                                      const char* id /*null*/, const char* revision /*null*/,
                                      tag_t* dataset);

// Set its tool.
MV_API int DST_set_dataset_tool(tag_t dataset, tag_t tool);

// Set its format.
MV_API int DST_set_dataset_format(tag_t dataset, const char* format);

// Save a dataset in place of OBJ_save; keeps the lock.
MV_API int DST_save_myself(tag_t dataset);

// Delete the dataset with all versions.
MV_API int DST_delete_all_dataset_revs(tag_t dataset);

// Delete its old versions.
MV_API int DST_purge_dataset_revs(tag_t dataset);

// Number of named references.
MV_API int DST_ask_dataset_ref_count(tag_t dataset, int* count);

// Reference by index from 0: name, kind, object.
MV_API int DST_find_dataset_named_ref(tag_t dataset, int index, char* refName /*33*/, int* refType,
                                      tag_t* reference);

// All named references, allocated.
MV_API int DST_ask_dataset_named_refs(tag_t dataset, int* count, tag_t** references);

// References of the given name, allocated.
MV_API int DST_ask_all_dataset_named_refs(tag_t dataset, const char* refName, int* count,
                                          tag_t** references);

// Add a reference to the locked dataset.
MV_API int DST_add_dataset_named_ref(tag_t dataset, const char* refName, int refType,
                                     tag_t reference);

// Replace one; oldReference may be NULLTAG, the outcome is then the platform's.
MV_API int DST_replace_dataset_named_ref(tag_t dataset, tag_t oldReference, const char* refName,
                                         int refType, tag_t newReference);

// End the dataset module; called without a matching initialisation, must be harmless.
MV_API int DST_exit_module(void);

}  // extern "C"
