#pragma once

// FLOW_: workflows.
// The rules of every call are in platform/types.h.

#include "platform/api.h"
#include "platform/types.h"

extern "C" {

// Name of a workflow task, at most 128 bytes and the terminator.
// Returns: 0; a failing status for a tag that is no task. `name` then keeps what it held.
MV_API int FLOW_ask_name(tag_t task, char* name /*129*/);

// Workflow template by its name; unknown: status 0, NULLTAG.
// Returns: 0; a failing status for a null name.
MV_API int FLOW_find_process_template(const char* name, tag_t* processTemplate);

// Start a process of a template on `count` attachments, stored when the call returns. The lists run
// in parallel and stay the caller's; type 1 is a target, and the tasks are entered in its
// process_stage_list. A BOM line means the revision that it shows. A null description is an empty
// one.
// Returns: 0; a failing status for a tag that is no template, an unknown attachment, a text longer
// than its field, or a target that another session has locked. Nothing is stored then.
MV_API int FLOW_create_process(const char* name, const char* description /*may be null*/,
                               tag_t processTemplate, int count, const tag_t* attachments,
                               const int* attachmentTypes, tag_t* process);

}  // extern "C"
