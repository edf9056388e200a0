#pragma once

// DST_: datasets, their versions and named references.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Dataset type by its name; unknown: status 0, NULLTAG.
// Returns: 0; a failing status for a null name.
MV_API int DST_find_datasettype(const char* name, tag_t* type);

// Name of a dataset type, at most 128 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no dataset type. `name` then keeps what it held.
MV_API int DST_ask_datasettype_name(tag_t type, char* name /*129*/);

// Default tool of a dataset type; NULLTAG if it has none.
// Returns: 0; a failing status for a tag that is no dataset type.
MV_API int DST_ask_datasettype_def_tool(tag_t type, tag_t* tool);

// Output formats of a tool, as an array of strings that ends with a null entry; none is count 0 and
// null.
// Returns: 0; a failing status for a tag that is no tool, or if there is no memory.
// Frees: the receiver, HEAP_free of each string and of the array, or MV_free_strings.
MV_API int DST_ask_tool_output_formats(tag_t tool, int* count, char*** formats);

// All datasets of this name, each by its newest version, oldest dataset first; none is count 0 and
// a null pointer.
// Returns: 0; a failing status for a null name, or if there is no memory.
// Frees: the receiver, HEAP_free of `datasets`.
MV_API int DST_find_all_datasets(const char* name, int* count, tag_t** datasets);

// Newest version of a dataset, of which any version may be given.
// Returns: 0; a failing status for a tag that is no dataset.
MV_API int DST_ask_dataset(tag_t dataset, tag_t* latest);

// The dataset's type.
// Returns: 0; a failing status for a tag that is no dataset.
MV_API int DST_ask_dataset_datasettype(tag_t dataset, tag_t* type);

// The anchor that holds all versions of the dataset.
// Returns: 0; a failing status for a tag that is no dataset.
MV_API int DST_ask_dataset_anchor(tag_t dataset, tag_t* anchor);

// Number of versions on an anchor.
// Returns: 0; a failing status for a tag that is no anchor.
MV_API int DST_count_anchor_revisions(tag_t anchor, int* count);

// Version on an anchor by index from 0, the newest last.
// Returns: 0; a failing status for a tag that is no anchor or an index outside its versions.
MV_API int DST_ask_anchor_revision(tag_t anchor, int index, tag_t* dataset);

// The next older version.
// Returns: 0; 9112 for the oldest version (other implementations may give the same tag back with
// 0); another failing status for a tag that is no dataset.
MV_API int DST_ask_dataset_prev_rev(tag_t dataset, tag_t* previous);

// A new dataset of a type, at most 128 bytes of name and 240 of description (null: empty). `id` and
// `revision` are null: the store gives them. Nothing is stored before it is saved; until then it
// needs no lock.
// Returns: 0; a failing status for a tag that is no dataset type, a longer text, or an id. Nothing
// is made then.
MV_API int DST_create_dataset_with_id(tag_t type, const char* name, const char* description,
                                      const char* id /*null*/, const char* revision /*null*/,
                                      tag_t* dataset);

// Set the tool of a locked or new dataset; saving stores it.
// Returns: 0; a failing status without the lock, for a tag that is no tool, or no dataset. The old
// tool then stays.
MV_API int DST_set_dataset_tool(tag_t dataset, tag_t tool);

// Set the format of a locked or new dataset, at most 32 bytes; saving stores it.
// Returns: 0; a failing status without the lock, for a format that its tool doesn't have, or a tag
// that is no dataset. The old format then stays.
MV_API int DST_set_dataset_format(tag_t dataset, const char* format);

// Save a dataset, in place of OBJ_save; the lock stays.
// Returns: 0; a failing status for a tag that is no dataset, or as OBJ_save.
MV_API int DST_save_myself(tag_t dataset);

// Delete the dataset with all versions and the files that only they refer to. No lock is needed.
// Returns: 0; a failing status as OBJ_delete: nothing is deleted then.
MV_API int DST_delete_all_dataset_revs(tag_t dataset);

// Delete the older versions of a dataset and the files that only they refer to; the newest stays.
// Returns: 0; a failing status for a tag that is no dataset, or while something else refers to an
// older version: nothing is deleted then.
MV_API int DST_purge_dataset_revs(tag_t dataset);

// Number of named references.
// Returns: 0; a failing status for a tag that is no dataset.
MV_API int DST_ask_dataset_ref_count(tag_t dataset, int* count);

// Named reference by index from 0: its name (at most 32 bytes and the terminator), its kind (2: a
// file) and the object.
// Returns: 0; a failing status for a tag that is no dataset or an index outside its references. The
// three out parameters then keep what they held.
MV_API int DST_find_dataset_named_ref(tag_t dataset, int index, char* refName /*33*/, int* refType,
                                      tag_t* reference);

// The objects of all named references; none is count 0 and a null pointer.
// Returns: 0; a failing status for a tag that is no dataset, or if there is no memory.
// Frees: the receiver, HEAP_free of `references`.
MV_API int DST_ask_dataset_named_refs(tag_t dataset, int* count, tag_t** references);

// The objects of the named references of this name; none is count 0 and a null pointer.
// Returns: 0; a failing status for a tag that is no dataset, or if there is no memory.
// Frees: the receiver, HEAP_free of `references`.
MV_API int DST_ask_all_dataset_named_refs(tag_t dataset, const char* refName, int* count,
                                          tag_t** references);

// Add a named reference to a locked or new dataset; saving stores it.
// Returns: 0; a failing status without the lock, for a name that its type doesn't have, an unknown
// object, or a tag that is no dataset. The references then stay as they were.
MV_API int DST_add_dataset_named_ref(tag_t dataset, const char* refName, int refType,
                                     tag_t reference);

// Put another object in the place of a named reference; an oldReference of NULLTAG adds one.
// Returns: as DST_add_dataset_named_ref; a failing status too if oldReference is no reference of
// this name.
MV_API int DST_replace_dataset_named_ref(tag_t dataset, tag_t oldReference, const char* refName,
                                         int refType, tag_t newReference);

// End the dataset module; harmless without a start.
// Returns: 0.
MV_API int DST_exit_module(void);

}  // extern "C"
