#pragma once

// ENT_: workspace objects

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Name.
MV_API int ENT_ask_name(tag_t object, char* name /*129*/);

// Type name; the status walk and the status actions name 33 bytes at two sites: pass 129 there
// too.
MV_API int ENT_ask_object_type(tag_t object, char* type /*129*/);

// Description.
MV_API int ENT_ask_description(tag_t object, char* description /*241*/);

// Display id, allocated; for a dataset exactly its object name (related objects compares it with
// file base names).
MV_API int ENT_ask_id_string(tag_t object, char** text);

// Printable id, allocated, for traces only.
MV_API int ENT_ask_object_id_string(tag_t object, char** text);

// Fill the record.
MV_API int ENT_describe(tag_t object, ItemDescription* description);

// Set on the locked object, at most 128 characters.
MV_API int ENT_set_name(tag_t object, const char* name);

// Set on the locked object, at most 240 characters.
MV_API int ENT_set_description(tag_t object, const char* description);

}  // extern "C"
