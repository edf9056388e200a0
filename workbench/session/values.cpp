#include <algorithm>
#include <cmath>

#include "workbench/session/dates.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

// Reading and setting attributes, with all checks.

namespace mervane {

namespace {

const char* kindName(Kind kind) {
    switch (kind) {
        case Kind::String:
            return "a string";
        case Kind::Int:
            return "an integer";
        case Kind::Double:
            return "a number";
        case Kind::Logical:
            return "a logical";
        case Kind::Date:
            return "a date";
        case Kind::Reference:
            return "a reference";
    }
    return "nothing";
}

std::string attributeName(const Object& object, const Attribute& attribute) {
    return plainName(object) + ", attribute " + attribute.name;
}

std::size_t placeOf(const Object& object, const Attribute& attribute) {
    const auto at = object.type->by_handle.find(attribute.handle);
    if (at == object.type->by_handle.end())
        throw Failure(kUnknownAttribute, plainName(object) + " has no attribute " + attribute.name +
                                             " of " + attribute.owner);
    return at->second;
}

std::size_t placeOf(const Object& object, std::string_view name) {
    const auto at = object.type->by_name.find(name);
    if (at == object.type->by_name.end())
        throw Failure(kUnknownAttribute,
                      plainName(object) + " has no attribute " + std::string(name));
    return at->second;
}

void needKind(const Object& object, const Attribute& attribute, Kind kind, bool array) {
    if (attribute.kind != kind || attribute.array != array)
        throw Failure(kWrongKind, attributeName(object, attribute) + " is " +
                                      (attribute.array ? "an array of " : "") +
                                      kindName(attribute.kind));
}

// Whether it means "no value" in a single attribute.
bool isEmpty(const Value& value) {
    if (const auto* reference = std::get_if<Reference>(&value))
        return reference->tag == NULLTAG;
    if (const auto* date = std::get_if<Date>(&value))
        return isNullDate(date->date);
    return false;
}

}  // namespace

const Attribute& Session::attribute(const Object& object, std::string_view name) const {
    return *object.type->layout[placeOf(object, name)];
}

const Attribute& Session::attribute(const Object& object, tag_t handle) const {
    const auto at = object.type->by_handle.find(handle);
    if (at == object.type->by_handle.end()) {
        const Attribute* known = store_->model().attributeOf(handle);
        throw Failure(kUnknownAttribute, plainName(object) + " has no attribute " +
                                             (known ? known->name : "#" + std::to_string(handle)));
    }
    return *object.type->layout[at->second];
}

Field& Session::field(Object& object, const Attribute& attribute) {
    return object.fields.open(placeOf(object, attribute));
}

Values Session::values(const Object& object, std::string_view name) const {
    return object.fields.values(placeOf(object, name));
}

Values Session::values(const Object& object, const Attribute& attribute) const {
    return object.fields.values(placeOf(object, attribute));
}

const Values& Session::list(const Object& object, std::string_view name) const {
    return object.fields.list(placeOf(object, name));
}

const Values& Session::list(const Object& object, const Attribute& attribute) const {
    return object.fields.list(placeOf(object, attribute));
}

std::string Session::text(Object& object, std::string_view name) {
    const std::size_t place = placeOf(object, name);
    needKind(object, *object.type->layout[place], Kind::String, false);
    return std::string(object.fields.text(place));
}

tag_t Session::reference(Object& object, std::string_view name) {
    const std::size_t place = placeOf(object, name);
    needKind(object, *object.type->layout[place], Kind::Reference, false);
    return object.fields.reference(place);
}

std::vector<tag_t> Session::references(Object& object, std::string_view name) {
    const std::size_t place = placeOf(object, name);
    needKind(object, *object.type->layout[place], Kind::Reference, true);
    std::vector<tag_t> tags;
    const Values& found = object.fields.list(place);
    tags.reserve(found.size());
    for (const Value& value : found)
        tags.push_back(std::get<Reference>(value).tag);
    return tags;
}

void Session::checkValues(const Object& object, const Attribute& attribute,
                          const Values& values) const {
    if (!attribute.array && values.size() > 1)
        throw Failure(kWrongKind, attributeName(object, attribute) + " takes one value, " +
                                      std::to_string(values.size()) + " were given");
    for (const Value& value : values) {
        if (kindOf(value) != attribute.kind)
            throw Failure(kWrongKind, attributeName(object, attribute) + " is " +
                                          kindName(attribute.kind) + ", " +
                                          kindName(kindOf(value)) + " was given");
        if (const auto* text = std::get_if<std::string>(&value)) {
            if (attribute.max_length > 0 &&
                text->size() > static_cast<std::size_t>(attribute.max_length))
                throw Failure(kTooLong, attributeName(object, attribute) + ": " +
                                            std::to_string(text->size()) + " characters, at most " +
                                            std::to_string(attribute.max_length) + " are kept");
        } else if (const auto* number = std::get_if<double>(&value)) {
            if (std::isnan(*number))
                throw Failure(kBadValue, attributeName(object, attribute) + ": not a number");
        } else if (const auto* date = std::get_if<Date>(&value)) {
            if (!isNullDate(date->date) && !isValidDate(date->date))
                throw Failure(kBadDate, attributeName(object, attribute) + ": no valid date");
        }
    }
}

void Session::checkTargets(const Object& object, const Attribute& attribute, const Values& values) {
    for (const Value& value : values) {
        const tag_t target = std::get<Reference>(value).tag;
        // A target may be saved later, before the referrer or with it. The save tests it again.
        if (const auto at = cache_.find(target); at != cache_.end() && at->second->isNew())
            continue;
        if (target == NULLTAG || target >= kFirstHandle || !store_->exists(target))
            throw Failure(kUnknownObject, attributeName(object, attribute) + ": there is no #" +
                                              std::to_string(target) + " to refer to");
    }
}

// Requires: the values have been checked.
void Session::assign(Object& object, std::size_t place, Values values) {
    Field& field = object.fields.open(place);
    // A single attribute has one form of null, whichever one the caller gave.
    if (!object.type->layout[place]->array && !values.empty() && isEmpty(values.front()))
        values.clear();
    // A save writes what differs from the stored values, and a record needs them.
    if (!object.isNew() && !field.dirty && !field.stored)
        field.stored = std::make_unique<Values>(std::move(field.values));
    field.values = std::move(values);
    field.dirty = true;
    touched_.insert(&object);
}

void Session::set(Object& object, const Attribute& attribute, Values values) {
    const std::size_t place = placeOf(object, attribute);
    // Nobody else can know a new object, so it needs no lock.
    if (!object.locked && !object.isNew())
        throw Failure(kNotLocked, attributeName(object, attribute) +
                                      " can't be set: the object isn't locked by this session");
    checkValues(object, attribute, values);
    // Look up new targets only: an old one may be gone, and the array can still be changed.
    if (attribute.kind == Kind::Reference && !values.empty() &&
        !(values.size() == 1 && !attribute.array && isEmpty(values.front()))) {
        const Values before = object.fields.values(place);
        // Skip the common beginning, so appending to a long list costs one search.
        const std::size_t same = static_cast<std::size_t>(
            std::mismatch(values.begin(), values.end(), before.begin(), before.end()).first -
            values.begin());
        Values added;
        for (std::size_t i = same; i < values.size(); ++i)
            if (std::find(before.begin(), before.end(), values[i]) == before.end())
                added.push_back(values[i]);
        checkTargets(object, attribute, added);
    }
    assign(object, place, std::move(values));
}

void Session::set(Object& object, std::string_view name, Values values) {
    set(object, attribute(object, name), std::move(values));
}

void Session::put(Object& object, std::string_view name, Values values) {
    const std::size_t place = placeOf(object, name);
    checkValues(object, *object.type->layout[place], values);
    assign(object, place, std::move(values));
}

}  // namespace mervane
