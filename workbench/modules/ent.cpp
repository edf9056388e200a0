// ENT_: names, types and descriptions.

#include "platform/mv_ent.h"

#include <cstring>

#include "workbench/modules/support.h"
#include "workbench/session/bom_window.h"

using namespace mervane;

namespace {

std::string lineText(Session& session, tag_t line, const char* property) {
    const auto read = lineProperty(session, line, property);
    return read.values.empty() ? "" : std::get<std::string>(read.values[0]);
}

// What has no name of its own shows its display id.
std::string nameOf(Session& session, tag_t tag) {
    if (isLine(tag))
        return lineText(session, tag, "object_name");
    Object& object = session.object(tag);
    return object.isA(standardClass(session, "WorkspaceObject"))
               ? session.text(object, "object_name")
               : session.displayId(tag);
}

std::string descriptionOf(Session& session, tag_t tag) {
    // A line has the description of what it shows.
    if (isLine(tag))
        tag = session.bomWindows().line(tag).revision;
    return session.text(session.object(tag, standardClass(session, "WorkspaceObject")),
                        "object_desc");
}

std::string idText(Session& session, tag_t tag) {
    return isLine(tag) ? lineText(session, tag, "object_string") : session.displayId(tag);
}

void setText(tag_t tag, const char* attribute, const char* value, const char* name) {
    need(value, name);
    Session& session = currentSession();
    if (isLine(tag))
        throw Failure(kReadOnly, tagText(tag) + " is a BOM line: its " + name + " can't be set");
    session.set(session.object(tag, standardClass(session, "WorkspaceObject")), attribute,
                {std::string(value)});
}

}  // namespace

extern "C" {

int ENT_ask_name(tag_t object, char* name) {
    return call(
        "ENT_ask_name",
        [&] {
            need(name, "name");
            copyInto(name, kNameSize, nameOf(currentSession(), object), "name");
        },
        object, name);
}

int ENT_ask_object_type(tag_t object, char* type) {
    return call(
        "ENT_ask_object_type",
        [&] {
            need(type, "type");
            Session& session = currentSession();
            copyInto(type, kNameSize,
                     isLine(object) ? lineText(session, object, "object_type")
                                    : session.object(object).type->name,
                     "type name");
        },
        object, type);
}

int ENT_ask_description(tag_t object, char* description) {
    return call(
        "ENT_ask_description",
        [&] {
            need(description, "description");
            copyInto(description, kDescriptionSize, descriptionOf(currentSession(), object),
                     "description");
        },
        object, description);
}

int ENT_ask_id_string(tag_t object, char** text) {
    return call(
        "ENT_ask_id_string",
        [&] {
            need(text, "text");
            *text = copyText(idText(currentSession(), object));
        },
        object, text);
}

int ENT_ask_object_id_string(tag_t object, char** text) {
    return call(
        "ENT_ask_object_id_string",
        [&] {
            need(text, "text");
            *text = copyText(tagText(object) + " " + idText(currentSession(), object));
        },
        object, text);
}

int ENT_describe(tag_t object, ItemDescription* description) {
    return call(
        "ENT_describe",
        [&] {
            need(description, "description");
            Session& session = currentSession();
            // The record is filled apart, so that after a failure the caller's one is as it was.
            ItemDescription record{};
            copyInto(record.name, sizeof record.name, nameOf(session, object), "name");
            copyInto(record.description, sizeof record.description, descriptionOf(session, object),
                     "description");
            *description = record;
        },
        object, description);
}

int ENT_set_name(tag_t object, const char* name) {
    return call(
        "ENT_set_name", [&] { setText(object, "object_name", name, "name"); }, object, name);
}

int ENT_set_description(tag_t object, const char* description) {
    return call(
        "ENT_set_description", [&] { setText(object, "object_desc", description, "description"); },
        object, description);
}

}  // extern "C"
