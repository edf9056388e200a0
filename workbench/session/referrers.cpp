#include <algorithm>

#include "workbench/run/reads.h"
#include "workbench/run/recorder.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

// Finding objects by what they refer to and by their texts: what is stored, corrected by what this
// session has set and not saved.

namespace mervane {

namespace {

bool refersTo(const Values& values, tag_t target) {
    return std::find(values.begin(), values.end(), Value(Reference{target})) != values.end();
}

bool less(const Session::Referrer& a, const Session::Referrer& b) {
    return a.tag != b.tag ? a.tag < b.tag : a.attribute < b.attribute;
}

}  // namespace

Reads* Session::reads() {
    return recorder_ ? recorder_->reads() : nullptr;
}

// A search of a run that gathers what it reads.
void Session::noteSearch(std::string_view class_name, std::string_view name, tag_t target,
                         std::string_view text, const std::vector<tag_t>& found) {
    // Only the first asking counts: a later one may find what the run has changed itself.
    if (reads() && reads()->asks(class_name, name, target, text))
        reads()->found(found);
}

const std::vector<StoredReferrer>* Session::plainReferrers(tag_t target) {
    if (reads())
        return nullptr;
    for (const Object* object : touched_)
        for (const Field& field : object->fields.opened())
            if ((object->isNew() || field.dirty) &&
                object->type->layout[field.place]->kind == Kind::Reference)
                return nullptr;
    return &store_->referrers(target);
}

std::vector<Session::Referrer> Session::referrers(tag_t target) {
    const std::vector<StoredReferrer>& known = store_->referrers(target);
    std::vector<Referrer> all;
    all.reserve(known.size());
    for (const StoredReferrer& stored : known)
        // Values without an object are damage, which the check reports.
        if (stored.type != NULLTAG)
            all.push_back({stored.tag, stored.attribute, stored.type});
    std::vector<Referrer> unsaved;
    for (const Object* object : touched_)
        for (const Field& field : object->fields.opened()) {
            const Attribute& attribute = *object->type->layout[field.place];
            if (attribute.kind != Kind::Reference || !(object->isNew() || field.dirty))
                continue;
            const Referrer here{object->tag, attribute.handle, object->type->handle,
                                object->isNew()};
            if (!object->isNew()) {
                // For a changed field the unsaved value counts, not the stored one.
                const auto at = std::lower_bound(all.begin(), all.end(), here, less);
                if (at != all.end() && !less(here, *at))
                    all.erase(at);
            }
            if (refersTo(field.values, target))
                unsaved.push_back(here);
        }
    if (!unsaved.empty()) {
        all.insert(all.end(), unsaved.begin(), unsaved.end());
        std::sort(all.begin(), all.end(), less);
    }
    if (reads() && reads()->asks("", "", target, ""))
        for (const Referrer& each : all)
            reads()->found({each.tag});
    return all;
}

namespace {

const Attribute& needAttribute(Model& model, std::string_view class_name, std::string_view name,
                               const Class** cls) {
    *cls = model.findClass(class_name);
    if (!*cls)
        throw Failure(kUnknownClass, "there is no class " + std::string(class_name));
    const Attribute* attribute = model.findAttribute(**cls, name);
    if (!attribute)
        throw Failure(kUnknownAttribute, "the class " + std::string(class_name) +
                                             " has no attribute " + std::string(name));
    return *attribute;
}

}  // namespace

// The stored tags, those left out whose field differs, and the unsaved ones that match.
template <typename Stored, typename Matches>
std::vector<tag_t> Session::corrected(const Class& cls, const Attribute& attribute,
                                      const std::vector<Stored>& stored, Matches&& matches) {
    std::vector<tag_t> tags;
    tags.reserve(stored.size());
    // Whoever has an attribute is of the class that brings it, so no type needs a test.
    const bool every = attribute.owner == cls.name;
    for (const Stored& each : stored) {
        if (!every) {
            const Type* type = model().typeOf(each.type);
            if (!type || !type->cls->isA(cls))
                continue;
        }
        if (!touched_.empty()) {
            const auto at = cache_.find(each.tag);
            if (at != cache_.end() && touched_.count(at->second.get())) {
                const auto place = at->second->type->by_handle.find(attribute.handle);
                if (place != at->second->type->by_handle.end() &&
                    at->second->fields.isDirty(place->second))
                    continue;
            }
        }
        tags.push_back(each.tag);
    }
    bool sorted = true;
    for (const Object* object : touched_) {
        if (!object->isA(cls))
            continue;
        // An object of the class has the attribute, so at() finds it.
        const Field* field = object->fields.find(object->type->by_handle.at(attribute.handle));
        if (field && (object->isNew() || field->dirty) && matches(field->values)) {
            tags.push_back(object->tag);
            sorted = false;
        }
    }
    if (!sorted)
        std::sort(tags.begin(), tags.end());
    return tags;
}

std::vector<tag_t> Session::referrersBy(std::string_view class_name, std::string_view name,
                                        tag_t target) {
    const Class* cls = nullptr;
    const Attribute& attribute = needAttribute(model(), class_name, name, &cls);
    if (attribute.kind != Kind::Reference)
        throw Failure(kWrongKind, attribute.name + " is no reference");
    std::vector<tag_t> found =
        corrected(*cls, attribute, store_->referrersBy(attribute.handle, target),
                  [&](const Values& values) { return refersTo(values, target); });
    noteSearch(class_name, name, target, "", found);
    return found;
}

tag_t Session::lastReferrerBy(std::string_view class_name, std::string_view name, tag_t target) {
    const Class* cls = nullptr;
    const Attribute& attribute = needAttribute(model(), class_name, name, &cls);
    // The store's answer holds only if no unsaved value can change it.
    const bool unsaved = std::any_of(touched_.begin(), touched_.end(), [&](const Object* object) {
        const auto place = object->type->by_handle.find(attribute.handle);
        return place != object->type->by_handle.end() &&
               (object->isNew() || object->fields.isDirty(place->second));
    });
    // What is no reference is told by the slower way.
    if (!unsaved && attribute.kind == Kind::Reference && attribute.owner == cls->name && !reads())
        return store_->lastReferrerBy(attribute.handle, target);
    const std::vector<tag_t> all = referrersBy(class_name, name, target);
    return all.empty() ? NULLTAG : all.back();
}

std::vector<tag_t> Session::findByText(std::string_view class_name, std::string_view name,
                                       const std::string& text) {
    const Class* cls = nullptr;
    const Attribute& attribute = needAttribute(model(), class_name, name, &cls);
    if (attribute.kind != Kind::String)
        throw Failure(kWrongKind, attribute.name + " is no string");
    std::vector<tag_t> found = corrected(
        *cls, attribute, store_->withText(attribute.handle, text), [&](const Values& values) {
            return std::find(values.begin(), values.end(), Value(text)) != values.end();
        });
    noteSearch(class_name, name, NULLTAG, text, found);
    return found;
}

std::vector<tag_t> Session::findByTextOf(std::string_view class_name,
                                         std::string_view reference_name, tag_t target,
                                         std::string_view name, const std::string& value) {
    const Class* cls = nullptr;
    const Attribute& refers = needAttribute(model(), class_name, reference_name, &cls);
    const Attribute& says = needAttribute(model(), class_name, name, &cls);
    // A run's reads note all who refer: those with the text are among them.
    if (reads() && reads()->asks(class_name, reference_name, target, ""))
        reads()->found(referrersBy(class_name, reference_name, target));
    // Every object with unsaved values is a candidate, and the test below sees its values as set.
    std::vector<tag_t> tags = store_->referrersWithText(refers.handle, target, says.handle, value);
    for (const Object* object : touched_)
        if (object->isA(*cls))
            tags.push_back(object->tag);
    std::sort(tags.begin(), tags.end());
    tags.erase(std::unique(tags.begin(), tags.end()), tags.end());
    std::erase_if(tags, [&](tag_t tag) {
        Object* object = tryObject(tag);
        return !object || !object->isA(*cls) || reference(*object, reference_name) != target ||
               text(*object, name) != value;
    });
    return tags;
}

}  // namespace mervane
