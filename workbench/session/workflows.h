#pragma once

// Workflow templates, processes and their tasks.
//
// Attributes used here:
//   FLOWTemplate  object_name, task_names (string[])
//   FLOWProcess   object_name, object_desc, process_template -> FLOWTemplate,
//                 attachments (reference[]) and attachment_types (int[]) in parallel,
//                 tasks -> FLOWTask[]
//   FLOWTask      object_name, process -> FLOWProcess
// process_stage_list of the targets (attachment type 1) lists the tasks, in template order.

#include <string>
#include <string_view>
#include <vector>

#include "workbench/session/session.h"

namespace mervane {

inline constexpr int kTargetAttachment = 1, kReferenceAttachment = 3;

struct Attachment {
    tag_t object = NULLTAG;  // a BOM line: the revision that it shows
    int type = kTargetAttachment;
};

// Stored when it returns. Failure kBadValue for an empty name, kDuplicateId for one that is taken.
tag_t createProcessTemplate(Session& session, const std::string& name,
                            const std::vector<std::string>& tasks);
tag_t findProcessTemplate(Session& session, const std::string& name);  // NULLTAG if there is none
// A process with its tasks, stored in one transaction; the targets are locked while it writes.
// Failure kWrongClass if the template or a target is no such object; kBadValue for a target that
// was never saved; kNotAllowed, kCheckedOut or kLockedByOther as the lock of a target has it.
// Nothing is stored then.
tag_t createProcess(Session& session, const std::string& name, const std::string& description,
                    tag_t process_template, const std::vector<Attachment>& attachments);

// What goes with a process: its tasks; their entries are taken out of process_stage_list.
std::vector<tag_t> processParts(Session& session, Object& process);

}  // namespace mervane
