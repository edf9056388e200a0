// FLOW_: workflow templates, processes and tasks.

#include "platform/mv_flow.h"

#include "workbench/session/interface.h"
#include "workbench/session/workflows.h"

using namespace mervane;

extern "C" {

int FLOW_ask_name(tag_t task, char* name /*129*/) {
    return call(
        "FLOW_ask_name",
        [&] {
            need(name, "name");
            Session& session = currentSession();
            Object& object = session.object(task, *session.model().findClass("FLOWTask"));
            copyInto(name, 129, session.text(object, "object_name"), "name of a task");
        },
        task, name);
}

int FLOW_find_process_template(const char* name, tag_t* processTemplate) {
    return call(
        "FLOW_find_process_template",
        [&] {
            need(name, "name");
            need(processTemplate, "processTemplate");
            *processTemplate = findProcessTemplate(currentSession(), name);
        },
        name, processTemplate);
}

int FLOW_create_process(const char* name, const char* description /*may be null*/,
                        tag_t processTemplate, int count, const tag_t* attachments,
                        const int* attachmentTypes, tag_t* process) {
    return call(
        "FLOW_create_process",
        [&] {
            need(name, "name");
            need(process, "process");
            if (count < 0)
                throw Failure(kBadValue, "count can't be " + std::to_string(count));
            std::vector<Attachment> list;
            if (count > 0) {
                need(attachments, "attachments");
                need(attachmentTypes, "attachmentTypes");
                for (int i = 0; i < count; ++i)
                    list.push_back({attachments[i], attachmentTypes[i]});
            }
            *process = createProcess(currentSession(), name, description ? description : "",
                                     processTemplate, list);
        },
        name, description, processTemplate, count, Passed(count, attachments),
        Passed(count, attachmentTypes), process);
}

}  // extern "C"
