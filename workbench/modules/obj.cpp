// OBJ_: objects and their properties.

#include "platform/mv_obj.h"

#include "workbench/modules/support.h"
#include "workbench/session/bom_window.h"
#include "workbench/session/dates.h"
#include "workbench/session/properties.h"

using namespace mervane;

namespace {

// A name of the model has one property, its name; the handles of types and relation types are asked
// for it.
const std::string* modelName(Session& session, tag_t handle) {
    const Model& model = session.model();
    if (const Type* type = model.typeOf(handle))
        return &type->name;
    if (const RelationType* type = model.relationTypeOf(handle))
        return &type->name;
    if (const Class* cls = model.classOf(handle))
        return &cls->name;
    if (const Tool* tool = model.toolOf(handle))
        return &tool->name;
    return nullptr;
}

Session::Property readProperty(tag_t object, const char* name) {
    need(name, "property");
    Session& session = currentSession();
    if (isLine(object))
        return lineProperty(session, object, name);
    if (const std::string* text = modelName(session, object)) {
        if (std::string_view(name) != "object_name")
            throw Failure(kUnknownAttribute, tagText(object) + " (" + *text + "), property \"" +
                                                 name + "\": there is no such property");
        return {Kind::String, false, false, {*text}};
    }
    return session.property(session.object(object), name);
}

[[noreturn]] void wrongKind(tag_t object, const char* name) {
    throw Failure(kWrongKind,
                  tagText(object) + ", property \"" + name + "\": it is of another kind");
}

Session::Property readProperty(tag_t object, const char* name, Kind kind, bool array) {
    Session::Property property = readProperty(object, name);
    if (property.kind != kind || property.array != array)
        wrongKind(object, name);
    return property;
}

void writeProperty(tag_t object, const char* name, Kind kind, Values values) {
    need(name, "property");
    Session& session = currentSession();
    if (isLine(object)) {
        // The kind is tested first, since a line itself only says that it takes one text.
        readProperty(object, name, kind, false);
        return setLineProperty(session, object, name, values);
    }
    Object& target = session.object(object);
    // A worked-out property isn't in the layout: setProperty() says that it can't be written.
    if (const auto found = target.type->by_name.find(name); found != target.type->by_name.end()) {
        const Attribute& attribute = *target.type->layout[found->second];
        if (attribute.kind != kind || attribute.array)
            wrongKind(object, name);
    }
    session.setProperty(target, name, std::move(values));
}

// Lines need no load, lock or save; a line of no window is unknown all the same.
template <typename Action>
void onObject(tag_t object, Action&& action) {
    Session& session = currentSession();
    if (isLine(object))
        session.bomWindows().line(object);
    else
        action(session, session.object(object));
}

}  // namespace

extern "C" {

int OBJ_load(tag_t object) {
    return call(
        "OBJ_load", [&] { onObject(object, [](Session&, Object&) {}); }, object);
}

int OBJ_unload(tag_t object) {
    return call(
        "OBJ_unload",
        [&] {
            onObject(object, [](Session& session, Object& target) { session.unload(target.tag); });
        },
        object);
}

int OBJ_lock(tag_t object) {
    return call(
        "OBJ_lock",
        [&] { onObject(object, [](Session& session, Object& target) { session.lock(target); }); },
        object);
}

int OBJ_refresh(tag_t object, logical lock) {
    return call(
        "OBJ_refresh",
        [&] {
            onObject(object,
                     [&](Session& session, Object& target) { session.refresh(target, lock); });
        },
        object, lock);
}

int OBJ_save(tag_t object) {
    return call(
        "OBJ_save",
        [&] { onObject(object, [](Session& session, Object& target) { session.save(target); }); },
        object);
}

int OBJ_delete(tag_t object) {
    return call(
        "OBJ_delete",
        [&] {
            if (isLine(object))
                throw Failure(kWrongClass, tagText(object) + " is a BOM line and can't be deleted");
            Session& session = currentSession();
            session.remove(session.object(object));
        },
        object);
}

int OBJ_ask_if_modifiable(tag_t object, logical* modifiable) {
    return call(
        "OBJ_ask_if_modifiable",
        [&] {
            need(modifiable, "modifiable");
            bool answer = true;
            onObject(object, [&](Session& session, Object& target) {
                answer = session.modifiable(target);
            });
            *modifiable = answer;
        },
        object, modifiable);
}

int OBJ_ask_value_string(tag_t object, const char* property, char** value) {
    return call(
        "OBJ_ask_value_string",
        [&] {
            need(value, "value");
            const auto read = readProperty(object, property, Kind::String, false);
            *value = copyText(read.values.empty() ? "" : std::get<std::string>(read.values[0]));
        },
        object, property, value);
}

int OBJ_ask_value_tags(tag_t object, const char* property, int* count, tag_t** values) {
    return call(
        "OBJ_ask_value_tags",
        [&] {
            need(count, "count");
            need(values, "values");
            std::vector<tag_t> tags;
            for (const Value& each : readProperty(object, property, Kind::Reference, true).values)
                tags.push_back(std::get<Reference>(each).tag);
            giveTags(tags, count, values);
        },
        object, property, count, values);
}

int OBJ_ask_value_logical(tag_t object, const char* property, logical* value) {
    return call(
        "OBJ_ask_value_logical",
        [&] {
            need(value, "value");
            const auto read = readProperty(object, property, Kind::Logical, false);
            *value = !read.values.empty() && std::get<bool>(read.values[0]);
        },
        object, property, value);
}

int OBJ_get_value_tag(tag_t object, const char* property, tag_t* value) {
    return call(
        "OBJ_get_value_tag",
        [&] {
            need(value, "value");
            const auto read = readProperty(object, property, Kind::Reference, false);
            *value = read.values.empty() ? NULLTAG : std::get<Reference>(read.values[0]).tag;
        },
        object, property, value);
}

int OBJ_set_value_string(tag_t object, const char* property, const char* value) {
    return call(
        "OBJ_set_value_string",
        [&] {
            need(value, "value");
            writeProperty(object, property, Kind::String, {std::string(value)});
        },
        object, property, value);
}

int OBJ_set_value_logical(tag_t object, const char* property, logical value) {
    return call(
        "OBJ_set_value_logical",
        [&] { writeProperty(object, property, Kind::Logical, {bool{value}}); }, object, property,
        value);
}

int OBJ_set_value_int(tag_t object, const char* property, int value) {
    return call(
        "OBJ_set_value_int",
        [&] { writeProperty(object, property, Kind::Int, {std::int64_t{value}}); }, object,
        property, value);
}

int OBJ_set_value_date(tag_t object, const char* property, date_s value) {
    return call(
        "OBJ_set_value_date",
        [&] { writeProperty(object, property, Kind::Date, dateValues(value)); }, object, property,
        value);
}

int OBJ_UIF_ask_value(tag_t object, const char* property, char** value) {
    return call(
        "OBJ_UIF_ask_value",
        [&] {
            need(value, "value");
            *value = copyText(displayText(currentSession(), readProperty(object, property)));
        },
        object, property, value);
}

int OBJ_UIF_set_value(tag_t object, const char* property, const char* value) {
    return call(
        "OBJ_UIF_set_value",
        [&] {
            need(property, "property");
            const std::string text = value ? value : "";
            Session& session = currentSession();
            if (isLine(object)) {
                // Every writable value of a line is a text.
                if (readProperty(object, property).kind != Kind::String)
                    throw Failure(kReadOnly,
                                  tagText(object) + ", property \"" + property + "\" can't be set");
                return setLineProperty(session, object, property, {text});
            }
            session.setDisplayText(session.object(object), property, text);
        },
        object, property, value);
}

}  // extern "C"
