#include "workbench/session/workflows.h"

#include <algorithm>
#include <deque>

#include "workbench/session/bom_window.h"

namespace mervane {

namespace {

// The attached objects, a revision in the place of its line. Failure for one that isn't there.
std::vector<Attachment> resolved(Session& session, const std::vector<Attachment>& attachments) {
    std::vector<Attachment> list;
    for (const Attachment& each : attachments) {
        // A line ends with its window, so the process gets what the line shows.
        const tag_t tag =
            isLine(each.object) ? session.bomWindows().line(each.object).revision : each.object;
        list.push_back({session.object(tag).tag, each.type});
    }
    return list;
}

// The targets, each once. Other attachments aren't changed by the start.
std::vector<Object*> targets(Session& session, const std::vector<Attachment>& attachments) {
    std::vector<Object*> found;
    for (const Attachment& each : attachments) {
        if (each.type != kTargetAttachment)
            continue;
        Object& target = session.object(each.object, standardClass(session, "WorkspaceObject"));
        // The process is stored at once, and a stored reference must lead to what is stored.
        if (target.isNew())
            throw Failure(kBadValue, "#" + std::to_string(target.tag) +
                                         " must be saved before a process can start on it");
        if (std::find(found.begin(), found.end(), &target) == found.end())
            found.push_back(&target);
    }
    return found;
}

// What a session has set in a target but not saved stays so: only the list of stages is stored.
class UnsavedValues {
public:
    explicit UnsavedValues(Object& object) : object_(object) {
        for (Field& field : object.fields.opened())
            if (field.dirty) {
                aside_.push_back(field.place);
                field.dirty = false;
            }
    }
    ~UnsavedValues() {
        for (const std::size_t place : aside_)
            object_.fields.open(place).dirty = true;
    }
    UnsavedValues(const UnsavedValues&) = delete;

private:
    Object& object_;
    std::vector<std::size_t> aside_;
};

// The target's list with the tasks. The old one is put back unless the new one is kept.
class Entry {
public:
    Entry(Session& session, Object& target)
        : session_(session),
          target_(target),
          before_(session.values(target, "process_stage_list")),
          unsaved_(target) {}
    ~Entry() {
        if (kept_)
            return;
        Field& field = session_.field(
            target_, session_.attribute(target_, std::string_view("process_stage_list")));
        field.values = std::move(before_);
        // If the list was unsaved before, `unsaved_` marks it again: it ends after this body.
        field.dirty = false;
    }
    void enter(const std::vector<tag_t>& tasks) {
        Values stages = before_;
        for (tag_t task : tasks)
            stages.push_back(Reference{task});
        session_.put(target_, "process_stage_list", std::move(stages));
    }
    void keep() { kept_ = true; }

private:
    Session& session_;
    Object& target_;
    Values before_;
    UnsavedValues unsaved_;
    bool kept_ = false;
};

}  // namespace

tag_t createProcessTemplate(Session& session, const std::string& name,
                            const std::vector<std::string>& tasks) {
    if (name.empty())
        throw Failure(kBadValue, "a process template needs a name");
    if (findProcessTemplate(session, name) != NULLTAG)
        throw Failure(kDuplicateId, "there is a process template \"" + name + "\" already");
    Object& object = session.create(*session.model().findType("FLOWTemplate"));
    session.put(object, "object_name", {name});
    session.put(object, "task_names", Values(tasks.begin(), tasks.end()));
    session.save(object);
    return object.tag;
}

tag_t findProcessTemplate(Session& session, const std::string& name) {
    const auto found = session.findByText("FLOWTemplate", "object_name", name);
    return found.empty() ? NULLTAG : found.front();
}

tag_t createProcess(Session& session, const std::string& name, const std::string& description,
                    tag_t process_template, const std::vector<Attachment>& attachments) {
    Object& model = session.object(process_template, standardClass(session, "FLOWTemplate"));
    const Values task_names = session.values(model, "task_names");
    const auto attached = resolved(session, attachments);
    const auto changed = targets(session, attached);

    // A target's list is written under its lock: it would make another session's unsaved work fail.
    std::vector<tag_t> locked_here;
    std::vector<Object*> made;
    try {
        for (Object* target : changed)
            if (!target->locked) {
                session.refresh(*target, true);
                locked_here.push_back(target->tag);
            }

        Object& process = session.create(*session.model().findType("FLOWProcess"));
        made.push_back(&process);
        session.put(process, "object_name", {name});
        if (!description.empty())
            session.put(process, "object_desc", {description});
        session.put(process, "process_template", {Reference{process_template}});
        Values objects, types, tasks;
        for (const Attachment& each : attached) {
            objects.push_back(Reference{each.object});
            types.push_back(std::int64_t{each.type});
        }
        std::vector<tag_t> task_tags;
        for (const Value& task_name : task_names) {
            Object& task = session.create(*session.model().findType("FLOWTask"));
            made.push_back(&task);
            session.put(task, "object_name", {task_name});
            session.put(task, "process", {Reference{process.tag}});
            tasks.push_back(Reference{task.tag});
            task_tags.push_back(task.tag);
        }
        session.put(process, "attachments", std::move(objects));
        session.put(process, "attachment_types", std::move(types));
        session.put(process, "tasks", std::move(tasks));

        // One save stores the process with its tasks and enters them in the targets, or nothing.
        std::vector<Object*> all = made;
        std::deque<Entry> entries;
        for (Object* target : changed) {
            entries.emplace_back(session, *target).enter(task_tags);
            all.push_back(target);
        }
        session.save(all);
        // Until the save has succeeded, each target gets its old list back.
        for (Entry& entry : entries)
            entry.keep();
        while (!locked_here.empty()) {
            const tag_t target = locked_here.back();
            locked_here.pop_back();
            session.refresh(session.object(target), false);
        }
        return process.tag;
    } catch (...) {
        // A failure here must not replace the one that is being told; with its object unloaded a
        // lock is given up, too.
        for (const tag_t target : locked_here)
            session.unload(target);
        for (Object* object : made)
            if (object->isNew())
                session.unload(object->tag);
        throw;
    }
}

std::vector<tag_t> processParts(Session& session, Object& process) {
    return session.references(process, "tasks");
}

}  // namespace mervane
