#pragma once

// RLS_: release status and workflow

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// New ReleaseStatus, not yet saved; its attributes may be set without a lock.
MV_API int RLS_create_release_status(const char* name, tag_t* status);

// Re-read a workflow job after its start.
MV_API int RLS_refresh_job(tag_t job);

}  // extern "C"
