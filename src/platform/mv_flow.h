#pragma once

// FLOW_: release status and workflow

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Name of a workflow task.
MV_API int FLOW_ask_name(tag_t task, char* name /*129*/);

// Template by name.
MV_API int FLOW_find_process_template(const char* name, tag_t* processTemplate);

// Start a process on count attachments; type 1 is a target.
MV_API int FLOW_create_process(const char* name, const char* description /*may be null*/,
                               tag_t processTemplate, int count, const tag_t* attachments,
                               const int* attachmentTypes, tag_t* process);

}  // extern "C"
