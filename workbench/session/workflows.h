#pragma once

// Workflow templates, processes and their tasks.
//
// Attributes used here:
//   FLOWTemplate  object_name, task_names (string[])
//   FLOWProcess   object_name, object_desc, process_template -> FLOWTemplate,
//                 attachments (reference[]) and attachment_types (int[]) in parallel,
//                 tasks -> FLOWTask[]
//   FLOWTask      object_name, process -> FLOWProcess
// The tasks are in process_stage_list of the targets (attachment type 1), in template order.

#include <string>
#include <string_view>
#include <vector>

#include "workbench/session/session.h"

namespace mervane {

inline constexpr int kTargetAttachment = 1, kReferenceAttachment = 3;

struct Attachment {
    tag_t object = NULLTAG;  // a BOM line means the revision that it shows
    int type = kTargetAttachment;
};

// Failure kDuplicateId for a name that is taken.
tag_t createProcessTemplate(Session& session, const std::string& name,
                            const std::vector<std::string>& tasks);
tag_t findProcessTemplate(Session& session, const std::string& name);  // NULLTAG if there is none
// A process with its tasks, stored in one transaction. Failure kLockedByOther if a target is locked
// by another session: then nothing is stored.
tag_t createProcess(Session& session, const std::string& name, const std::string& description,
                    tag_t process_template, const std::vector<Attachment>& attachments);

// What goes with a process: its tasks; their entries are taken out of process_stage_list.
std::vector<tag_t> processParts(Session& session, Object& process);

}  // namespace mervane
