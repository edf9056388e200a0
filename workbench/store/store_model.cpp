#include "workbench/model/status.h"
#include "workbench/store/store.h"

// Additions to the standard data model: stored in the order of definition, read by every session.

namespace mervane {

namespace {

std::vector<AttributeSpec> asParts(const std::vector<std::string>& names) {
    std::vector<AttributeSpec> parts;
    for (const std::string& name : names)
        parts.push_back({name, Kind::String, false, 0});
    return parts;
}

std::vector<std::string> names(const std::vector<AttributeSpec>& parts) {
    std::vector<std::string> all;
    for (const AttributeSpec& part : parts)
        all.push_back(part.name);
    return all;
}

}  // namespace

void Store::applyAddition(const Addition& addition) {
    Model& known = model();
    if (addition.kind == "class")
        known.addClass(addition.name, addition.parent, addition.parts);
    else if (addition.kind == "type")
        known.addType(addition.name, addition.parent, addition.parts);
    else if (addition.kind == "relation_type")
        known.addRelationType(addition.name);
    else if (addition.kind == "tool")
        known.addTool(addition.name, names(addition.parts));
    else if (addition.kind == "dataset_type") {
        const Type* type = known.findType(addition.name);
        if (!type)
            throw Failure(kUnknownType, "There is no type " + addition.name);
        known.setDatasetType(*type, {addition.parent, names(addition.parts)});
    }
}

bool Store::loadAdditions() {
    const std::vector<Addition> additions = additionsAfter(shared_->model_position);
    for (const Addition& each : additions) {
        // The position moves with each: if a later one fails, the next call goes on with it.
        applyAddition(each);
        shared_->model_position = each.position;
    }
    return !additions.empty();
}

// Requires: a transaction in which the model knows all earlier additions.
void Store::add(Addition addition) {
    // The model first: it refuses a name that is taken before anything is written.
    applyAddition(addition);
    shared_->model_position = storeAddition(addition);
}

// Run the steps of one definition: all are stored or the model is as it was.
template <typename Steps>
void Store::define(Steps&& steps) {
    StoreTransaction transaction(*this, StoreTransaction::Others::Alone);
    loadAdditions();
    // Others can't define anything from here on: the transaction has the write lock.
    const Model::Mark mark = model().mark();
    const std::int64_t position = shared_->model_position;
    try {
        steps();
        transaction.commit();
    } catch (...) {
        model().backTo(mark);
        shared_->model_position = position;
        throw;
    }
}

void Store::addClass(const std::string& name, const std::string& parent,
                     const std::vector<AttributeSpec>& attributes) {
    define([&] { add({0, "class", name, parent, attributes}); });
}

void Store::addType(const std::string& name, const std::string& parent,
                    const std::vector<AttributeSpec>& attributes) {
    define([&] { add({0, "type", name, parent, attributes}); });
}

void Store::addRelationType(const std::string& name) {
    define([&] { add({0, "relation_type", name, "", {}}); });
}

void Store::addDatasetType(const std::string& name, const std::string& parent,
                           const std::string& tool, const std::vector<std::string>& formats,
                           const std::vector<std::string>& reference_names) {
    define([&] {
        // In this order, which is that in which other sessions read them: each part names only what
        // is there already.
        if (!model().findTool(tool))
            add({0, "tool", tool, "", asParts(formats)});
        else
            model().addTool(tool, formats);  // refuses other formats
        add({0, "type", name, parent, {}});
        add({0, "dataset_type", name, tool, asParts(reference_names)});
    });
}

}  // namespace mervane
