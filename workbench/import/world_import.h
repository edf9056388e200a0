#pragma once

// What the parts of a world import share: the session, the labels of the document, and how the
// objects that a string names are found.

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "workbench/import/json_document.h"
#include "workbench/import/labels.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

namespace mervane {

class WorldImport {
public:
    // Requires: session and document outlive it.
    WorldImport(Session& session, const JsonDocument& document)
        : session_(session), document_(document) {}

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
    void readObjects();
    void planObjects();
    void count(const Type& type);
    // Those of the objects that the store may have already, with the place of each.
    struct Known {
        JsonPlace place;
        const Type* type;
        std::string label;
        tag_t tag;  // NULLTAG: not found
    };
    void matchByName();
    void matchByName(Known& known, const JsonNode& values, const char* cls, const char* attribute);
    void matchPersons();
    void matchMembers();
    bool match(const std::string& label, const Type& type, tag_t existing);
    tag_t matched(const JsonNode& values, const char* attribute);
    void needFreeId(const JsonNode& values, const Type& type, TextTable& taken);
    void giveTags();
    void writeObject(const JsonNode& node, tag_t tag);
    void readContent(const JsonNode& node, const Type& type, tag_t tag, std::vector<Values>& all);
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
    [[noreturn]] static void refuseSecond(const JsonNode& node, const std::string& label);
    tag_t resolve(const JsonNode& node);
    tag_t find(const std::string& name);
    tag_t findNamed(const std::string& name);
    const Attribute& attributeNamed(const JsonNode& node, const std::string& name,
                                    const Type& type);
    void checkLengths(const JsonNode& node, const Attribute& attribute, const Values& values);
    // The content of a file object in the volume.
    FileFacts keepContent(tag_t file, const std::string& bytes);
    static std::string fileBytes(const JsonNode& node);  // of "text" or "base64"
    // After each object or short form, so that the session's cache doesn't grow with the document.
    void relieve();
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
    const JsonDocument& document_;
    std::vector<std::string> shared_ids_;  // to be registered outside the store
    ImportReport report_;
    std::size_t read_ = 0;  // objects and short forms
    Labels labels_;         // with the tags of what they stand for
    // While the list "objects" is read.
    std::vector<Known> known_;
    std::unordered_set<tag_t> existing_;              // objects that the store had
    std::unordered_map<std::string, tag_t> matched_;  // the same by their labels
    // Of the short forms: revisions whose datasets or structures are read after all items.
    struct Unfinished {
        JsonPlace item;
        std::size_t revision;  // in its item
        tag_t tag;
    };
    std::vector<Unfinished> unfinished_;
    // each(node, tag)
    template <typename Each>
    void finishRevisions(Each&& each) {
        const JsonList items = document_.list("items");
        std::unique_ptr<JsonTree> item;
        for (const Unfinished& of : unfinished_) {
            if (!item || item->place().index != of.item.index)
                item = items.again(of.item);
            each(item->root().list("revisions")[of.revision], of.tag);
        }
    }
};

}  // namespace mervane
