// Datasets in the short forms of a world document.

#include "workbench/import/world_import.h"
#include "workbench/import/world_model.h"
#include "workbench/import/world_values.h"
#include "workbench/session/datasets.h"
#include "workbench/session/relations.h"

namespace mervane {

void WorldImport::readDatasets() {
    finishRevisions([&](const JsonNode& node, tag_t revision) {
        for (const JsonNode& dataset : node.list("datasets")) {
            readDataset(dataset, revision);
            relieve();
        }
    });
    for (const JsonNode& dataset : document_.list("datasets")) {
        readDataset(dataset, NULLTAG);
        relieve();
    }
}

void WorldImport::readDataset(const JsonNode& node, tag_t owner) {
    node.allow({"label", "type", "name", "relation", "description", "owner", "attributes", "status",
                "files", "versions"});
    if (node.find("files") && node.find("versions"))
        node.fail("expected one of the keys \"files\" and \"versions\"");
    const Type& type = typeNamed(node.at("type"), store().model());
    const auto relation = node.find("relation");
    if (relation && owner == NULLTAG)
        relation->fail("only a dataset below a revision has a relation");
    tag_t dataset =
        at(node, [&] { return createDataset(session_, type.name, readText(node.at("name"))); });
    const auto versions = node.list("versions");
    if (node.find("files"))
        readDatasetFiles(node, dataset);
    for (std::size_t i = 0; i < versions.size(); ++i) {
        versions[i].allow({"label", "files", "attributes", "status"});
        // The first version is the dataset that was just made.
        if (i > 0)
            dataset = at(versions[i], [&] { return createDatasetVersion(session_, dataset); });
        define(versions[i], dataset);
        readDatasetFiles(versions[i], dataset);
        readCommon(versions[i], dataset);
    }
    define(node, dataset);  // the newest version
    readCommon(node, dataset);
    if (owner == NULLTAG)
        return;
    const tag_t relation_type =
        relation ? relationTypeNamed(*relation, store().model()).handle
                 : store().model().findRelationType("VANE_specification")->handle;
    at(node, [&] { session_.save(newRelation(session_, owner, dataset, relation_type)); });
}

// The references of one version, in the place of those that it took over from the one before.
void WorldImport::readDatasetFiles(const JsonNode& node, tag_t dataset) {
    Object& version = session_.object(dataset);
    for (const char* list : {"ref_names", "ref_types", "ref_list"})
        session_.put(version, list, {});
    session_.save(version);
    for (const JsonNode& each : node.list("files")) {
        each.allow({"label", "reference", "name", "text", "base64", "object"});
        const std::string reference = each.at("reference").text();
        if (const auto object = each.find("object")) {
            each.allow({"reference", "object"});
            const tag_t tag = resolve(*object);
            at(each, [&] { addNamedReference(session_, dataset, reference, tag); });
            continue;
        }
        const tag_t file = at(each, [&] {
            Object& made = session_.create(*store().model().findType("VaneFile"));
            session_.set(made, "original_file_name", {readText(each.at("name"))});
            const FileFacts facts = keepContent(made.tag, fileBytes(each));
            session_.put(made, "byte_size", {facts.byte_size});
            session_.put(made, "sha256", {facts.sha256});
            // The file is saved first: the dataset's new reference must lead to what is stored.
            session_.save(made);
            return made.tag;
        });
        define(each, file);
        at(each, [&] { addNamedReference(session_, dataset, reference, file); });
    }
}

}  // namespace mervane
