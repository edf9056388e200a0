#include "workbench/model/model.h"

#include <algorithm>
#include <deque>

#include "workbench/model/standard_model.h"
#include "workbench/model/status.h"

namespace mervane {

tag_t makeHandle(HandleKind kind, std::string_view name) {
    std::uint32_t hash = 2166136261u;
    for (const char c : name) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 16777619u;
    }
    // Fold the high four bits in, which the kind replaces.
    hash ^= hash >> 28;
    return static_cast<tag_t>(kind) << 28 | (hash & 0x0FFFFFFFu);
}

bool Class::isA(const Class& other) const {
    for (const Class* at = this; at; at = at->parent)
        if (at == &other)
            return true;
    return false;
}

bool Type::isA(const Type& other) const {
    for (const Type* at = this; at; at = at->parent)
        if (at == &other)
            return true;
    return false;
}

struct Model::Parts {
    // Deques: addresses stay the same while the model grows.
    std::deque<Attribute> attributes;
    std::deque<Class> classes;
    std::deque<Type> types;
    std::deque<RelationType> relation_types;
    std::deque<Tool> tools;

    std::unordered_map<std::string_view, const Class*> class_by_name;
    std::unordered_map<std::string_view, Type*> type_by_name;
    std::unordered_map<std::string_view, const RelationType*> relation_type_by_name;
    std::unordered_map<std::string_view, const Tool*> tool_by_name;
    std::unordered_map<tag_t, const void*> by_handle;
    std::unordered_map<const Type*, DatasetTypeInfo> dataset_types;

    std::size_t standard_classes = 0, standard_types = 0, standard_relation_types = 0,
                standard_tools = 0;
    std::function<bool()> refresh;
    bool refreshing = false;

    // Ask for additions that others made; true if there are any.
    bool refreshed() {
        if (!refresh || refreshing)
            return false;
        // The refresh looks names up, too: it must not ask again.
        refreshing = true;
        bool any = false;
        try {
            any = refresh();
        } catch (...) {
            refreshing = false;
            throw;
        }
        refreshing = false;
        return any;
    }

    tag_t claim(HandleKind kind, std::string_view name, const void* what) {
        const tag_t handle = makeHandle(kind, name);
        if (!by_handle.emplace(handle, what).second)
            throw Failure(kBadValue, "The name " + std::string(name) +
                                         " has the handle of another name; choose another one");
        return handle;
    }
};

namespace {

template <typename Map>
auto look(const Map& map, std::string_view name) -> typename Map::mapped_type {
    const auto found = map.find(name);
    return found == map.end() ? nullptr : found->second;
}

void checkName(std::string_view what, const std::string& name) {
    if (name.empty() || name.size() > 128)
        throw Failure(kBadValue, "The name of a " + std::string(what) +
                                     " must have 1 to 128 characters: '" + name + "'");
}

}  // namespace

Model::Model() : parts_(new Parts, [](Parts* parts) { delete parts; }) {
    defineStandardModel(*this);
    parts_->standard_classes = parts_->classes.size();
    parts_->standard_types = parts_->types.size();
    parts_->standard_relation_types = parts_->relation_types.size();
    parts_->standard_tools = parts_->tools.size();
}

void Model::onMiss(std::function<bool()> refresh) {
    parts_->refresh = std::move(refresh);
}

// ---- look-ups ----

const Class* Model::findClass(std::string_view name) const {
    const Class* found = look(parts_->class_by_name, name);
    return found || !parts_->refreshed() ? found : look(parts_->class_by_name, name);
}

const Type* Model::findType(std::string_view name) const {
    const Type* found = look(parts_->type_by_name, name);
    return found || !parts_->refreshed() ? found : look(parts_->type_by_name, name);
}

const RelationType* Model::findRelationType(std::string_view name) const {
    const RelationType* found = look(parts_->relation_type_by_name, name);
    return found || !parts_->refreshed() ? found : look(parts_->relation_type_by_name, name);
}

const Tool* Model::findTool(std::string_view name) const {
    const Tool* found = look(parts_->tool_by_name, name);
    return found || !parts_->refreshed() ? found : look(parts_->tool_by_name, name);
}

const void* Model::byHandle(tag_t handle, HandleKind kind) const {
    // A handle tells its kind: one of another kind is no reason to ask for additions.
    if (!isHandle(handle, kind))
        return nullptr;
    auto found = parts_->by_handle.find(handle);
    if (found == parts_->by_handle.end()) {
        if (!parts_->refreshed())
            return nullptr;
        found = parts_->by_handle.find(handle);
    }
    return found == parts_->by_handle.end() ? nullptr : found->second;
}

const Class* Model::classOf(tag_t handle) const {
    return static_cast<const Class*>(byHandle(handle, HandleKind::Class));
}

const Type* Model::typeOf(tag_t handle) const {
    return static_cast<const Type*>(byHandle(handle, HandleKind::Type));
}

const Attribute* Model::attributeOf(tag_t handle) const {
    return static_cast<const Attribute*>(byHandle(handle, HandleKind::Attribute));
}

const RelationType* Model::relationTypeOf(tag_t handle) const {
    return static_cast<const RelationType*>(byHandle(handle, HandleKind::RelationType));
}

const Tool* Model::toolOf(tag_t handle) const {
    return static_cast<const Tool*>(byHandle(handle, HandleKind::Tool));
}

const Attribute* Model::findAttribute(const Class& cls, std::string_view name) const {
    // Every class has a type of its name, so the look-up finds one.
    const Type* type = look(parts_->type_by_name, cls.name);
    const auto found = type->by_name.find(name);
    return found == type->by_name.end() ? nullptr : type->layout[found->second];
}

const DatasetTypeInfo* Model::datasetType(const Type& type) const {
    for (const Type* at = &type; at; at = at->parent) {
        const auto found = parts_->dataset_types.find(at);
        if (found != parts_->dataset_types.end())
            return &found->second;
    }
    return nullptr;
}

std::vector<const Type*> Model::subtypes(const Type& type) const {
    std::vector<const Type*> below;
    for (const Type& each : parts_->types)
        if (&each != &type && each.isA(type))
            below.push_back(&each);
    return below;
}

namespace {
template <typename T>
std::vector<const T*> pointers(const std::deque<T>& all) {
    std::vector<const T*> list;
    for (const T& each : all)
        list.push_back(&each);
    return list;
}
}  // namespace

std::vector<const Type*> Model::types() const {
    return pointers(parts_->types);
}
std::vector<const Class*> Model::classes() const {
    return pointers(parts_->classes);
}
std::vector<const RelationType*> Model::relationTypes() const {
    return pointers(parts_->relation_types);
}
std::vector<const Tool*> Model::tools() const {
    return pointers(parts_->tools);
}

bool Model::isStandard(std::string_view name) const {
    // Every class has a type of its name, so the types tell the classes, too.
    for (std::size_t i = 0; i < parts_->standard_types; ++i)
        if (parts_->types[i].name == name)
            return true;
    for (std::size_t i = 0; i < parts_->standard_relation_types; ++i)
        if (parts_->relation_types[i].name == name)
            return true;
    for (std::size_t i = 0; i < parts_->standard_tools; ++i)
        if (parts_->tools[i].name == name)
            return true;
    return false;
}

// ---- additions ----

// Every attribute is checked before the first is made, so that a refusal leaves the model alone.
void Model::checkAttributes(const std::string& owner, const Type* parent,
                            const std::vector<AttributeSpec>& attributes) const {
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const AttributeSpec& spec = attributes[i];
        checkName("attribute", spec.name);
        bool taken = parent && parent->by_name.count(spec.name);
        for (std::size_t k = 0; k < i; ++k)
            taken = taken || attributes[k].name == spec.name;
        if (taken)
            throw Failure(kBadValue, owner + " has the attribute " + spec.name + " already");
        if (spec.max_length < 0)
            throw Failure(kBadValue, "The attribute " + spec.name + " has a negative length");
        const tag_t handle = makeHandle(HandleKind::Attribute, owner + "." + spec.name);
        if (parts_->by_handle.count(handle))
            throw Failure(kBadValue, "The attribute name " + spec.name +
                                         " has the handle of another one; choose another one");
    }
}

void Model::giveAttributes(Type& type, const std::string& owner,
                           const std::vector<AttributeSpec>& attributes) {
    if (type.parent) {
        // Each type has a whole layout, so an object's field is found without a walk up the types.
        type.layout = type.parent->layout;
        type.by_handle = type.parent->by_handle;
        type.by_name = type.parent->by_name;
    }
    for (const AttributeSpec& spec : attributes) {
        Attribute& made = parts_->attributes.emplace_back();
        made.name = spec.name;
        made.kind = spec.kind;
        made.array = spec.array;
        made.max_length = spec.kind == Kind::String ? spec.max_length : 0;
        made.owner = owner;
        made.handle = parts_->claim(HandleKind::Attribute, owner + "." + spec.name, &made);
        type.own.push_back(&made);
        type.by_handle.emplace(made.handle, type.layout.size());
        type.by_name.emplace(made.name, type.layout.size());
        type.layout.push_back(&made);
    }
    type.in_order.assign(type.by_handle.begin(), type.by_handle.end());
    std::sort(type.in_order.begin(), type.in_order.end());
}

const Class& Model::addClass(const std::string& name, const std::string& parent,
                             const std::vector<AttributeSpec>& attributes) {
    checkName("class", name);
    if (look(parts_->type_by_name, name))
        throw Failure(kBadValue, "There is a class or type " + name + " already");
    const Class* above = nullptr;
    const Type* type_above = nullptr;
    if (!parent.empty()) {
        above = findClass(parent);
        if (!above)
            throw Failure(kUnknownClass, "There is no class " + parent);
        type_above = look(parts_->type_by_name, parent);
    }
    checkAttributes(name, type_above, attributes);

    Class& made = parts_->classes.emplace_back();
    Type& type = parts_->types.emplace_back();
    try {
        // Handles first: a clash leaves the model as it was.
        made.handle = parts_->claim(HandleKind::Class, name, &made);
        type.handle = parts_->claim(HandleKind::Type, name, &type);
    } catch (...) {
        // If the first claim has failed, this handle is NULLTAG, which nothing has.
        parts_->by_handle.erase(made.handle);
        parts_->classes.pop_back();
        parts_->types.pop_back();
        throw;
    }
    made.name = name;
    made.parent = above;
    type.name = name;
    type.parent = type_above;
    type.cls = &made;
    giveAttributes(type, name, attributes);
    made.own = type.own;
    // The maps have views of the names, which stay where they are in the deques.
    parts_->class_by_name.emplace(made.name, &made);
    parts_->type_by_name.emplace(type.name, &type);
    return made;
}

const Type& Model::addType(const std::string& name, const std::string& parent,
                           const std::vector<AttributeSpec>& attributes) {
    checkName("type", name);
    if (look(parts_->type_by_name, name))
        throw Failure(kBadValue, "There is a class or type " + name + " already");
    const Type* above = findType(parent);
    if (!above)
        throw Failure(kUnknownType, "There is no type " + parent);
    checkAttributes(name, above, attributes);

    Type& made = parts_->types.emplace_back();
    try {
        made.handle = parts_->claim(HandleKind::Type, name, &made);
    } catch (...) {
        parts_->types.pop_back();
        throw;
    }
    made.name = name;
    made.parent = above;
    made.cls = above->cls;
    giveAttributes(made, name, attributes);
    parts_->type_by_name.emplace(made.name, &made);
    return made;
}

const RelationType& Model::addRelationType(const std::string& name) {
    checkName("relation type", name);
    if (look(parts_->relation_type_by_name, name))
        throw Failure(kBadValue, "There is a relation type " + name + " already");
    RelationType& made = parts_->relation_types.emplace_back();
    try {
        made.handle = parts_->claim(HandleKind::RelationType, name, &made);
    } catch (...) {
        parts_->relation_types.pop_back();
        throw;
    }
    made.name = name;
    parts_->relation_type_by_name.emplace(made.name, &made);
    return made;
}

const Tool& Model::addTool(const std::string& name, const std::vector<std::string>& formats) {
    checkName("tool", name);
    if (const Tool* known = look(parts_->tool_by_name, name)) {
        // Several dataset types may name the same tool.
        if (known->formats == formats)
            return *known;
        throw Failure(kBadValue, "There is a tool " + name + " with other formats already");
    }
    Tool& made = parts_->tools.emplace_back();
    try {
        made.handle = parts_->claim(HandleKind::Tool, name, &made);
    } catch (...) {
        parts_->tools.pop_back();
        throw;
    }
    made.name = name;
    made.formats = formats;
    parts_->tool_by_name.emplace(made.name, &made);
    return made;
}

void Model::setDatasetType(const Type& type, const DatasetTypeInfo& info) {
    parts_->dataset_types[&type] = info;
}

Model::Mark Model::mark() const {
    return {parts_->attributes.size(), parts_->classes.size(), parts_->types.size(),
            parts_->relation_types.size(), parts_->tools.size()};
}

void Model::backTo(const Mark& mark) {
    Parts& parts = *parts_;
    // Only types and classes that go as well point to these attributes.
    while (parts.attributes.size() > mark.attributes) {
        parts.by_handle.erase(parts.attributes.back().handle);
        parts.attributes.pop_back();
    }
    while (parts.types.size() > mark.types) {
        const Type& last = parts.types.back();
        parts.dataset_types.erase(&last);
        parts.by_handle.erase(last.handle);
        // The map has a view of the name, so its entry goes before the type.
        parts.type_by_name.erase(last.name);
        parts.types.pop_back();
    }
    while (parts.classes.size() > mark.classes) {
        parts.by_handle.erase(parts.classes.back().handle);
        parts.class_by_name.erase(parts.classes.back().name);
        parts.classes.pop_back();
    }
    while (parts.relation_types.size() > mark.relation_types) {
        parts.by_handle.erase(parts.relation_types.back().handle);
        parts.relation_type_by_name.erase(parts.relation_types.back().name);
        parts.relation_types.pop_back();
    }
    while (parts.tools.size() > mark.tools) {
        parts.by_handle.erase(parts.tools.back().handle);
        parts.tool_by_name.erase(parts.tools.back().name);
        parts.tools.pop_back();
    }
}

}  // namespace mervane
