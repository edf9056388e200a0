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

void Store::applyAddition(const std::string& kind, const std::string& name,
                          const std::string& parent, const std::vector<AttributeSpec>& parts) {
    Model& known = model();
    if (kind == "class")
        known.addClass(name, parent, parts);
    else if (kind == "type")
        known.addType(name, parent, parts);
    else if (kind == "relation_type")
        known.addRelationType(name);
    else if (kind == "tool")
        known.addTool(name, names(parts));
    else if (kind == "dataset_type") {
        const Type* type = known.findType(name);
        if (!type)
            throw Failure(kUnknownType, "There is no type " + name);
        known.setDatasetType(*type, {parent, names(parts)});
    }
}

bool Store::loadAdditions() {
    struct Addition {
        std::int64_t position;
        std::string kind, name, parent;
    };
    std::vector<Addition> additions;
    {
        Statement rows = connection_->statement(
            "SELECT position, kind, name, parent FROM model WHERE position>? ORDER BY position");
        rows.bind(shared_->model_position);
        while (rows.step())
            additions.push_back({rows.integer(0), std::string(rows.text(1)),
                                 std::string(rows.text(2)), std::string(rows.text(3))});
    }
    for (const Addition& each : additions) {
        std::vector<AttributeSpec> parts;
        {
            Statement rows = connection_->statement(
                "SELECT name, kind, is_array, max_length FROM model_part WHERE position=? "
                "ORDER BY idx");
            rows.bind(each.position);
            while (rows.step())
                parts.push_back({std::string(rows.text(0)), static_cast<Kind>(rows.integer(1)),
                                 rows.integer(2) != 0, static_cast<int>(rows.integer(3))});
        }
        // The position moves with each: if a later one fails, the next call goes on with it.
        applyAddition(each.kind, each.name, each.parent, parts);
        shared_->model_position = each.position;
    }
    return !additions.empty();
}

// Requires: a transaction in which the model knows all earlier additions.
void Store::storeAddition(const char* kind, const std::string& name, const std::string& parent,
                          const std::vector<AttributeSpec>& parts) {
    // The model first: it refuses a name that is taken before anything is written.
    applyAddition(kind, name, parent, parts);
    std::int64_t position = 0;
    {
        Statement row = connection_->statement(
            "INSERT INTO model(kind, name, parent) VALUES(?, ?, ?) RETURNING position");
        row.bind(std::string_view(kind))
            .bind(std::string_view(name))
            .bind(std::string_view(parent));
        if (row.step())
            position = row.integer(0);
        row.run();
    }
    for (std::size_t i = 0; i < parts.size(); ++i)
        connection_->statement("INSERT INTO model_part VALUES(?, ?, ?, ?, ?, ?)")
            .bind(position)
            .bind(static_cast<std::int64_t>(i))
            .bind(std::string_view(parts[i].name))
            .bind(static_cast<std::int64_t>(parts[i].kind))
            .bind(std::int64_t{parts[i].array})
            .bind(std::int64_t{parts[i].max_length})
            .run();
    shared_->model_position = position;
}

// Run the steps of one definition: all are stored or the model is as it was.
template <typename Steps>
void Store::define(Steps&& steps) {
    Transaction transaction(*connection_);
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
    define([&] { storeAddition("class", name, parent, attributes); });
}

void Store::addType(const std::string& name, const std::string& parent,
                    const std::vector<AttributeSpec>& attributes) {
    define([&] { storeAddition("type", name, parent, attributes); });
}

void Store::addRelationType(const std::string& name) {
    define([&] { storeAddition("relation_type", name, "", {}); });
}

void Store::addDatasetType(const std::string& name, const std::string& parent,
                           const std::string& tool, const std::vector<std::string>& formats,
                           const std::vector<std::string>& reference_names) {
    define([&] {
        // In this order, which is that in which other sessions read them: each part names only what
        // is there already.
        if (!model().findTool(tool))
            storeAddition("tool", tool, "", asParts(formats));
        else
            model().addTool(tool, formats);  // refuses other formats
        storeAddition("type", name, parent, {});
        storeAddition("dataset_type", name, tool, asParts(reference_names));
    });
}

}  // namespace mervane
