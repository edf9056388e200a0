#pragma once

// RLS_: release statuses.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// A new ReleaseStatus of this name, at most 32 bytes. It may be written without a lock and is
// stored by DBO_save_instances or OBJ_save.
// Returns: 0; a failing status for a longer name. Nothing is made then.
MV_API int RLS_create_release_status(const char* name, tag_t* status);

// Read a workflow process anew after its start; a lock on it stays.
// Returns: 0; a failing status for a tag that is no process.
MV_API int RLS_refresh_job(tag_t job);

}  // extern "C"
