#pragma once

// What the parts of a world import share: the session, the labels of the document, and how the
// objects that a string names are found.

#include <string>
#include <unordered_map>
#include <vector>

#include "workbench/import/json_document.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

namespace mervane {

class WorldImport {
public:
    WorldImport(Session& session, JsonNode root) : session_(session), root_(std::move(root)) {}

    // All of it, in one batch. After a failure the store is as before.
    ImportReport run();

private:
    // ---- world_import.cpp ----
    void readAll();
    void readPreferences();
    void readRights();
    void noteUnknownNames(const JsonNode& node, const Right& right);
    void readCheckOuts();
    void readRegisteredIds();
    void recordModel(const Model::Mark& before);
    void registerOwn(const std::string& id);
    void registerShared();

    // ---- world_objects.cpp: the list "objects", every attribute as the document has it ----
    struct Planned {
        JsonNode node;
        const Type* type;
        tag_t tag;      // NULLTAG: not known yet
        bool existing;  // an object that the store had
    };
    void readObjects();
    void planObjects();
    void count(const Type& type);
    void matchByName();
    void matchByName(Planned& planned, const char* cls, const char* attribute);
    void matchPersons();
    void matchMembers();
    bool match(Planned& planned, tag_t existing);
    Planned* plannedAt(const JsonNode& values, const char* attribute);
    void refuseTakenIds();
    void writeObject(const Planned& planned);
    void readContent(const Planned& planned, std::vector<Values>& all);
    void defineDangling();

    // ---- world_short.cpp: the short forms ----
    void readOrganisation();
    void readTemplates();
    void readItems();
    void readItem(const JsonNode& node);
    tag_t readRevision(const JsonNode& node, tag_t item, tag_t first);
    void readStructures();
    void readBom(const JsonNode& node, tag_t revision);
    void readForms();
    void readFolders();
    void readRelations();
    void readProcesses();
    // Description, attributes, owner and statuses, of all that has them.
    void readCommon(const JsonNode& node, tag_t object);
    void readAttributes(const JsonNode& node, tag_t object);
    void readStatuses(const JsonNode& node, tag_t object);
    void changeObject(tag_t tag, std::string_view attribute, Values values);
    void readMasterForm(const JsonNode& node, tag_t owner);

    // ---- world_datasets.cpp ----
    void readDatasets();
    void readDataset(const JsonNode& node, tag_t owner);
    void readDatasetFiles(const JsonNode& node, tag_t dataset);

    // ---- shared ----
    void define(const JsonNode& node, tag_t tag);  // the label, if the node has one
    tag_t resolve(const JsonNode& node);
    tag_t find(const std::string& name);
    tag_t findNamed(const std::string& name);
    const Attribute& attributeNamed(const JsonNode& node, const std::string& name,
                                    const Type& type);
    void checkLengths(const JsonNode& node, const Attribute& attribute, const Values& values);
    // The content of a file object in the volume.
    FileFacts keepContent(tag_t file, const std::string& bytes);
    static std::string fileBytes(const JsonNode& node);  // of "text" or "base64"
    Session& session() { return session_; }
    Store& store() { return session_.store(); }

    // Run a body; a failure in it gets the place in the document, unless it has one.
    template <typename Body>
    auto at(const JsonNode& node, Body&& body) {
        try {
            return body();
        } catch (const Failure& failure) {
            refuse(node, failure);
        }
    }
    [[noreturn]] void refuse(const JsonNode& node, const Failure& failure);

    Session& session_;
    JsonNode root_;
    std::vector<std::string> shared_ids_;  // to be registered outside the store
    ImportReport report_;
    std::unordered_map<std::string, tag_t> labels_;
    std::vector<Planned> planned_;
    std::unordered_map<std::string, std::size_t> planned_by_label_;
    std::vector<std::pair<JsonNode, tag_t>> revisions_;  // of the short forms, with their nodes
};

}  // namespace mervane
