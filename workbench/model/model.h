#pragma once

// Classes, types, attributes and relation types: the standard data model and what a store adds.
//
// Handles are made from the names, so they are the same numbers in every store: the high four bits
// tell the kind, the rest is a hash of the name. Tags of instances stay below 0x80000000.

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "workbench/workbench.h"

namespace mervane {

inline constexpr tag_t kFirstHandle = 0x80000000u;
enum class HandleKind : tag_t {
    Class = 0x8,
    Attribute = 0x9,
    Type = 0xA,
    RelationType = 0xB,
    Tool = 0xC,
    BomLine = 0xE,  // session-only, counted, not hashed
};
tag_t makeHandle(HandleKind kind, std::string_view name);
inline bool isHandle(tag_t tag, HandleKind kind) {
    return tag >> 28 == static_cast<tag_t>(kind);
}

struct Class;
struct Type;

struct Attribute {
    std::string name;
    Kind kind = Kind::String;
    bool array = false;
    int max_length = 0;
    std::string owner;  // class or type that brings it
    tag_t handle = NULLTAG;
};

struct Class {
    std::string name;
    const Class* parent = nullptr;
    tag_t handle = NULLTAG;
    std::vector<const Attribute*> own;
    bool isA(const Class& other) const;
};

// Every class has a type of its name; further types are below it. A type may bring attributes.
struct Type {
    std::string name;
    const Type* parent = nullptr;
    const Class* cls = nullptr;
    tag_t handle = NULLTAG;
    std::vector<const Attribute*> own;
    // All attributes of an instance, base classes first; an object's fields have this order.
    std::vector<const Attribute*> layout;
    std::unordered_map<tag_t, std::size_t> by_handle;
    std::vector<std::pair<tag_t, std::size_t>> in_order;  // the same, by ascending handle
    std::unordered_map<std::string_view, std::size_t> by_name;
    bool isA(const Type& other) const;
};

struct RelationType {
    std::string name;
    tag_t handle = NULLTAG;
};

struct Tool {
    std::string name;
    std::vector<std::string> formats;
    tag_t handle = NULLTAG;
};

struct DatasetTypeInfo {
    std::string tool;
    std::vector<std::string> reference_names;
};

class Model {
public:
    Model();  // the standard data model
    Model(const Model&) = delete;

    // Look-ups; null if there is none.
    const Class* findClass(std::string_view name) const;
    const Class* classOf(tag_t handle) const;
    const Type* findType(std::string_view name) const;
    const Type* typeOf(tag_t handle) const;
    const Attribute* attributeOf(tag_t handle) const;
    // From a class: its own attributes and the inherited ones.
    const Attribute* findAttribute(const Class& cls, std::string_view name) const;
    const RelationType* findRelationType(std::string_view name) const;
    const RelationType* relationTypeOf(tag_t handle) const;
    const Tool* findTool(std::string_view name) const;
    const Tool* toolOf(tag_t handle) const;
    const DatasetTypeInfo* datasetType(const Type& type) const;
    std::vector<const Type*> subtypes(const Type& type) const;  // all below it
    std::vector<const Type*> types() const;                     // in order of definition
    std::vector<const Class*> classes() const;
    std::vector<const RelationType*> relationTypes() const;
    std::vector<const Tool*> tools() const;
    // A class, type, relation type or tool that every store has.
    bool isStandard(std::string_view name) const;

    // Additions; Failure for a name that is taken, an unknown parent or a clash of handles.
    const Class& addClass(const std::string& name, const std::string& parent,
                          const std::vector<AttributeSpec>& attributes);
    const Type& addType(const std::string& name, const std::string& parent,
                        const std::vector<AttributeSpec>& attributes);
    const RelationType& addRelationType(const std::string& name);
    const Tool& addTool(const std::string& name, const std::vector<std::string>& formats);
    void setDatasetType(const Type& type, const DatasetTypeInfo& info);

    // How far the model has grown, and back to there: what was added since goes. Requires: nothing
    // points to it any more.
    struct Mark {
        std::size_t attributes = 0, classes = 0, types = 0, relation_types = 0, tools = 0;
    };
    Mark mark() const;
    void backTo(const Mark& mark);

    // Called when a name or handle is not found: adds what others have defined meanwhile and says
    // whether there was any.
    void onMiss(std::function<bool()> refresh);

private:
    const void* byHandle(tag_t handle, HandleKind kind) const;
    void checkAttributes(const std::string& owner, const Type* parent,
                         const std::vector<AttributeSpec>& attributes) const;
    void giveAttributes(Type& type, const std::string& owner,
                        const std::vector<AttributeSpec>& attributes);
    struct Parts;
    std::unique_ptr<Parts, void (*)(Parts*)> parts_;
};

// Text of a status; empty for an unknown number. "%1$" is the place of the parameter.
std::string_view messageText(int status);
std::vector<int> messageNumbers();

}  // namespace mervane
