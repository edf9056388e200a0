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

std::vector<Session::Referrer> Session::referrers(tag_t target) {
    std::vector<Referrer> all;
    for (const Store::Referrer& stored : store_->referrers(target))
        if (stored.type != NULLTAG)
            all.push_back({stored.tag, stored.attribute});
    if (recorder_ && recorder_->reads()) {
        std::vector<tag_t> found;
        for (const Referrer& each : all)
            found.push_back(each.tag);
        recorder_->reads()->search("", "", target, "", found);
    }
    if (touched_.empty())
        return all;
    std::erase_if(all, [&](const Referrer& each) {
        const auto at = cache_.find(each.tag);
        if (at == cache_.end() || !touched_.count(at->second.get()))
            return false;
        const auto place = at->second->type->by_handle.find(each.attribute);
        return place != at->second->type->by_handle.end() &&
               at->second->fields[place->second].dirty;
    });
    for (const Object* object : touched_)
        for (std::size_t i = 0; i < object->fields.size(); ++i) {
            const Attribute& attribute = *object->type->layout[i];
            if (attribute.kind == Kind::Reference && (object->isNew() || object->fields[i].dirty) &&
                refersTo(object->fields[i].values, target))
                all.push_back({object->tag, attribute.handle});
        }
    std::sort(all.begin(), all.end(), less);
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
                    at->second->fields[place->second].dirty)
                    continue;
            }
        }
        tags.push_back(each.tag);
    }
    bool sorted = true;
    for (const Object* object : touched_) {
        if (!object->isA(cls))
            continue;
        const Field& field = object->fields[object->type->by_handle.at(attribute.handle)];
        if ((object->isNew() || field.dirty) && matches(field.values)) {
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
    if (recorder_ && recorder_->reads())
        recorder_->reads()->search(class_name, name, target, "", found);
    return found;
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
    if (recorder_ && recorder_->reads())
        recorder_->reads()->search(class_name, name, NULLTAG, text, found);
    return found;
}

}  // namespace mervane
