#include "workbench/import/world_model.h"

#include <algorithm>

#include "workbench/import/world_values.h"

namespace mervane {
namespace {

void writeAttributes(JsonWriter& json, const std::vector<const Attribute*>& attributes) {
    json.key("attributes");
    json.beginArray();
    for (const Attribute* attribute : attributes) {
        json.beginObject();
        json.key("name");
        json.text(attribute->name);
        json.key("kind");
        json.text(kindName(attribute->kind));
        if (attribute->array) {
            json.key("array");
            json.logical(true);
        }
        if (attribute->max_length) {
            json.key("max_length");
            json.integer(attribute->max_length);
        }
        json.endObject();
    }
    json.endArray();
}

void writeTexts(JsonWriter& json, const char* key, const std::vector<std::string>& texts) {
    json.key(key);
    json.beginArray(true);
    for (const std::string& text : texts)
        writeText(json, text);
    json.endArray();
}

void writeNamed(JsonWriter& json, const std::string& name, const std::string& parent) {
    json.key("name");
    json.text(name);
    json.key("parent");
    json.text(parent);
}

void writeType(JsonWriter& json, const Model& model, const Type& type) {
    json.beginObject();
    writeNamed(json, type.name, type.parent ? type.parent->name : "");
    const DatasetTypeInfo* info = model.datasetType(type);
    // A type below a dataset type inherits its tool, which is no definition of its own.
    const bool inherited = info && type.parent && model.datasetType(*type.parent) == info;
    if (info && !inherited) {
        json.key("tool");
        json.text(info->tool);
        if (const Tool* tool = model.findTool(info->tool))
            writeTexts(json, "formats", tool->formats);
        writeTexts(json, "reference_names", info->reference_names);
    } else {
        writeAttributes(json, type.own);
    }
    json.endObject();
}

std::vector<AttributeSpec> readAttributes(const JsonNode& node) {
    std::vector<AttributeSpec> attributes;
    for (const JsonNode& element : node.list("attributes")) {
        element.allow({"name", "kind", "array", "max_length"});
        AttributeSpec spec{element.at("name").text(), readKind(element.at("kind")), false, 0};
        if (const auto array = element.find("array"))
            spec.array = array->logical();
        if (const auto length = element.find("max_length")) {
            const std::int64_t number = length->integer();
            if (number < 0 || number > INT32_MAX)
                length->fail("expected a length from 0 on");
            spec.max_length = static_cast<int>(number);
        }
        attributes.push_back(std::move(spec));
    }
    return attributes;
}

bool equal(const std::vector<const Attribute*>& own, const std::vector<AttributeSpec>& specs) {
    return std::equal(own.begin(), own.end(), specs.begin(), specs.end(),
                      [](const Attribute* a, const AttributeSpec& b) {
                          return a->name == b.name && a->kind == b.kind && a->array == b.array &&
                                 a->max_length == b.max_length;
                      });
}

// Run an addition; a failure gets the place in the document.
template <typename Add>
void add(const JsonNode& node, Add&& body) {
    try {
        body();
    } catch (const Failure& failure) {
        node.fail(failure.what());
    }
}

[[noreturn]] void refuseOther(const JsonNode& node, const std::string& name) {
    node.fail("the store knows \"" + name + "\" with another meaning");
}

void readClass(const JsonNode& node, Store& store) {
    node.allow({"name", "parent", "attributes"});
    const std::string name = node.at("name").text();
    const std::string parent = node.at("parent").text();
    const auto attributes = readAttributes(node);
    if (const Class* known = store.model().findClass(name)) {
        if (!known->parent || known->parent->name != parent || !equal(known->own, attributes))
            refuseOther(node, name);
        return;
    }
    add(node, [&] { store.addClass(name, parent, attributes); });
}

void readDatasetType(const JsonNode& node, Store& store) {
    node.allow({"name", "parent", "tool", "formats", "reference_names"});
    const std::string name = node.at("name").text();
    const std::string parent = node.text("parent", "Dataset");
    const std::string tool = node.at("tool").text();
    const auto formats =
        node.find("formats") ? node.at("formats").texts() : std::vector<std::string>();
    const auto references = node.at("reference_names").texts();
    if (const Type* known = store.model().findType(name)) {
        const DatasetTypeInfo* info = store.model().datasetType(*known);
        const bool same = info && known->parent && known->parent->name == parent &&
                          info->tool == tool && info->reference_names == references;
        if (!same)
            refuseOther(node, name);
        return;
    }
    add(node, [&] { store.addDatasetType(name, parent, tool, formats, references); });
}

void readType(const JsonNode& node, Store& store) {
    if (node.find("tool"))
        return readDatasetType(node, store);
    node.allow({"name", "parent", "attributes"});
    const std::string name = node.at("name").text();
    const std::string parent = node.at("parent").text();
    const auto attributes = readAttributes(node);
    if (const Type* known = store.model().findType(name)) {
        if (!known->parent || known->parent->name != parent || !equal(known->own, attributes))
            refuseOther(node, name);
        return;
    }
    add(node, [&] { store.addType(name, parent, attributes); });
}

template <typename Thing>
std::vector<std::string> names(const std::vector<const Thing*>& things) {
    std::vector<std::string> all;
    for (const Thing* thing : things)
        all.push_back(thing->name);
    return all;
}

}  // namespace

void writeModel(JsonWriter& json, const Model& model) {
    json.key("model");
    json.beginObject();
    json.key("classes");
    json.beginArray();
    for (const Class* cls : model.classes()) {
        if (model.isStandard(cls->name))
            continue;
        json.beginObject();
        writeNamed(json, cls->name, cls->parent ? cls->parent->name : "");
        writeAttributes(json, cls->own);
        json.endObject();
    }
    json.endArray();
    json.key("types");
    json.beginArray();
    for (const Type* type : model.types())
        // A class brings the type of its name.
        if (!model.isStandard(type->name) && !model.findClass(type->name))
            writeType(json, model, *type);
    json.endArray();
    json.key("relation_types");
    json.beginArray(true);
    for (const RelationType* type : model.relationTypes())
        if (!model.isStandard(type->name))
            json.text(type->name);
    json.endArray();
    json.endObject();
}

void readModel(const JsonNode& node, Store& store) {
    node.allow({"classes", "types", "relation_types"});
    for (const JsonNode& each : node.list("classes"))
        readClass(each, store);
    // Types come after classes, since they may be below the types of these.
    for (const JsonNode& each : node.list("types"))
        readType(each, store);
    for (const JsonNode& each : node.list("relation_types")) {
        const std::string name = each.text();
        if (!store.model().findRelationType(name))
            add(each, [&] { store.addRelationType(name); });
    }
}

const Type& typeNamed(const JsonNode& node, const Model& model) {
    const std::string name = node.text();
    if (const Type* type = model.findType(name))
        return *type;
    node.fail("unknown type \"" + name + "\"" + nearestHint(name, names(model.types())));
}

const RelationType& relationTypeNamed(const JsonNode& node, const Model& model) {
    const std::string name = node.text();
    if (const RelationType* type = model.findRelationType(name))
        return *type;
    node.fail("unknown relation type \"" + name + "\"" +
              nearestHint(name, names(model.relationTypes())));
}

}  // namespace mervane
