// The short forms of a world document: what people write by hand. They make objects as the admin
// interface does, so that forms, views and anchors come along.

#include "workbench/import/world_import.h"
#include "workbench/import/world_model.h"
#include "workbench/import/world_values.h"
#include "workbench/session/items.h"
#include "workbench/session/organisation.h"
#include "workbench/session/relations.h"
#include "workbench/session/structure.h"
#include "workbench/session/workflows.h"

namespace mervane {

void WorldImport::readOrganisation() {
    for (const JsonNode& node : document_.list("groups")) {
        node.allow({"label", "name", "parent"});
        const std::string name = node.at("name").text();
        // A group or user that the store has stays as it is.
        tag_t group = find("group:" + name);
        if (group == NULLTAG)
            group = at(node, [&] { return createGroup(session_, name, node.text("parent", "")); });
        define(node, group);
    }
    for (const JsonNode& node : document_.list("users")) {
        node.allow({"label", "id", "name", "group"});
        const std::string id = node.at("id").text();
        tag_t user = find("user:" + id);
        if (user == NULLTAG)
            user = at(node, [&] {
                return createUser(session_, id, node.text("name", id), node.at("group").text());
            });
        define(node, user);
        relieve();
    }
}

void WorldImport::readTemplates() {
    for (const JsonNode& node : document_.list("process_templates")) {
        node.allow({"label", "name", "tasks"});
        const auto tasks = node.at("tasks").texts();
        define(node, at(node, [&] {
                   return createProcessTemplate(session_, node.at("name").text(), tasks);
               }));
    }
}

// ---- items ----

void WorldImport::readItems() {
    for (const JsonNode& node : document_.list("items")) {
        readItem(node);
        relieve();
    }
}

void WorldImport::readItem(const JsonNode& node) {
    node.allow({"label", "id", "name", "type", "description", "owner", "attributes", "form",
                "status", "revisions"});
    const Type& type = node.find("type") ? typeNamed(node.at("type"), store().model())
                                         : *store().model().findType("Item");
    const auto revisions = node.list("revisions");
    // newItem() makes the first revision itself, so it needs the id.
    const std::string first = revisions.empty() ? "" : revisions[0].at("id").text();
    Object* revision = nullptr;
    const tag_t item = at(node, [&] {
        Object& made =
            newItem(session_, type, node.text("id", ""), node.text("name", ""), first, &revision);
        session_.save(made);
        return made.tag;
    });
    const tag_t first_revision = revision->tag;
    ++report_.items;
    define(node, item);
    readCommon(node, item);
    readMasterForm(node, item);
    // newItem() has made a revision all the same.
    if (revisions.empty())
        ++report_.revisions;
    for (std::size_t i = 0; i < revisions.size(); ++i) {
        const tag_t tag = readRevision(revisions[i], item, i == 0 ? first_revision : NULLTAG);
        if (revisions[i].find("datasets") || revisions[i].find("bom"))
            unfinished_.push_back({node.tree().place(), i, tag});
    }
}

tag_t WorldImport::readRevision(const JsonNode& node, tag_t item, tag_t first) {
    node.allow({"label", "id", "name", "description", "owner", "attributes", "form", "status",
                "datasets", "bom"});
    const tag_t revision = first != NULLTAG ? first : at(node, [&] {
        Object& made = newRevision(session_, session_.object(item), node.at("id").text());
        session_.save(made);
        return made.tag;
    });
    ++report_.revisions;
    define(node, revision);
    if (const auto name = node.find("name"))
        at(*name, [&] { changeObject(revision, "object_name", {readText(*name)}); });
    readCommon(node, revision);
    readMasterForm(node, revision);
    return revision;
}

// Attributes and values of an object that has been stored.
void WorldImport::changeObject(tag_t tag, std::string_view attribute, Values values) {
    Object& object = session_.object(tag);
    session_.put(object, attribute, std::move(values));
    session_.save(object);
}

void WorldImport::readCommon(const JsonNode& node, tag_t object) {
    if (const auto description = node.find("description"))
        at(*description, [&] { changeObject(object, "object_desc", {readText(*description)}); });
    if (const auto owner = node.find("owner"))
        at(*owner, [&] {
            const tag_t user = resolve(*owner);
            session_.object(user, *store().model().findClass("User"));
            changeObject(object, "owning_user", {Reference{user}});
        });
    if (const auto attributes = node.find("attributes"))
        readAttributes(*attributes, object);
    if (const auto statuses = node.find("status"))
        readStatuses(*statuses, object);
}

void WorldImport::readAttributes(const JsonNode& node, tag_t tag) {
    Object& object = session_.object(tag);
    for (const auto& member : node.members()) {
        const auto& [name, value] = member;
        const Attribute& attribute = attributeNamed(value, name, *object.type);
        const Values values =
            readValues(value, attribute, [this](const JsonNode& n) { return resolve(n); });
        checkLengths(value, attribute, values);
        at(value, [&] { session_.put(object, member.first, values); });
    }
    at(node, [&] { session_.save(object); });
}

// Each a name, or an object with a date, at which the object was released too.
void WorldImport::readStatuses(const JsonNode& node, tag_t tag) {
    for (const JsonNode& each : node.elements()) {
        const bool named = each.isString();
        const JsonNode name = named ? each : each.allow({"name", "date", "label"}).at("name");
        Object& status = session_.create(*store().model().findType("ReleaseStatus"));
        at(name, [&] {
            session_.set(status, "name", {readText(name)});
            session_.put(status, "object_name", {readText(name)});
        });
        Object& object = session_.object(tag);
        if (const auto date = named ? std::nullopt : each.find("date")) {
            session_.put(status, "date_released", {readDate(*date)});
            session_.put(object, "date_released", {readDate(*date)});
        }
        // The status is saved first: a new reference must lead to what is stored.
        session_.save(status);
        if (!named)
            define(each, status.tag);
        Values list = session_.values(object, "release_status_list");
        list.push_back(Reference{status.tag});
        session_.put(object, "release_status_list", std::move(list));
        at(each, [&] { session_.save(object); });
    }
}

// The values of the master form that was made with an item or revision.
void WorldImport::readMasterForm(const JsonNode& node, tag_t owner) {
    const auto form = node.find("form");
    if (!form)
        return;
    const tag_t type = store().model().findRelationType("VANE_master_form")->handle;
    const auto relations = relationsFrom(session_, owner, type);
    if (relations.empty())
        form->fail("the object has no master form");
    // The form was made with the object, so its relation is the oldest one.
    readAttributes(*form, relations.front().other);
}

// ---- structures ----

void WorldImport::readStructures() {
    finishRevisions([&](const JsonNode& node, tag_t revision) {
        if (const auto bom = node.find("bom"))
            readBom(*bom, revision);
    });
    unfinished_ = {};
}

void WorldImport::readBom(const JsonNode& node, tag_t revision) {
    const std::vector<JsonNode> lines = node.elements();
    std::vector<std::string> ids;
    for (const JsonNode& line : lines)
        if (const auto item = line.isObject() ? line.find("item") : std::nullopt;
            item && item->isString())
            ids.push_back(item->text());
    const Model& model = store().model();
    store().aboutToFind(model.findAttribute(*model.findClass("Item"), "item_id")->handle, ids);
    for (const JsonNode& line : lines) {
        line.allow({"item", "revision", "object", "quantity", "number", "notes"});
        if (line.find("item").has_value() == line.find("object").has_value())
            line.fail("expected one of the keys \"item\" and \"object\"");
        tag_t child = line.find("object") ? resolve(line.at("object")) : NULLTAG;
        if (const auto item = line.find("item")) {
            const tag_t found = findItem(session_, item->text());
            if (found == NULLTAG)
                item->fail("expected the id of an item, found \"" + item->text() + "\"");
            const auto wanted = line.find("revision");
            if (wanted) {
                child = findRevision(session_, found, wanted->text());
                if (child == NULLTAG)
                    wanted->fail("item " + item->text() + " has no revision \"" + wanted->text() +
                                 "\"");
            } else if (const auto all = revisionsOf(session_, found); !all.empty()) {
                child = all.back();
            }
        }
        std::map<std::string, std::string> notes;
        if (const auto given = line.find("notes"))
            for (const auto& [name, text] : given->members())
                notes[name] = readText(text);
        at(line, [&] {
            addOccurrence(session_, revision, child, line.text("quantity", ""),
                          line.text("number", ""), notes);
        });
        ++report_.occurrences;
        relieve();
    }
}

// ---- the rest ----

void WorldImport::readForms() {
    for (const JsonNode& node : document_.list("forms")) {
        node.allow({"label", "type", "name", "description", "owner", "status", "values"});
        const Type& type = typeNamed(node.at("type"), store().model());
        if (!type.cls->isA(*store().model().findClass("Form")))
            node.at("type").fail("\"" + type.name + "\" is no type of forms");
        const tag_t form = at(node, [&] {
            Object& object = session_.create(type);
            session_.set(object, "object_name", {readText(node.at("name"))});
            session_.save(object);
            return object.tag;
        });
        define(node, form);
        readCommon(node, form);
        if (const auto values = node.find("values"))
            readAttributes(*values, form);
        relieve();
    }
}

void WorldImport::readFolders() {
    for (const JsonNode& node : document_.list("folders")) {
        node.allow({"label", "name", "description", "owner", "attributes", "status", "contents"});
        Values contents;
        for (const JsonNode& each : node.list("contents"))
            contents.push_back(Reference{resolve(each)});
        const tag_t folder = at(node, [&] {
            Object& object = session_.create(*store().model().findType("Folder"));
            session_.set(object, "object_name", {readText(node.at("name"))});
            session_.put(object, "contents", contents);
            session_.save(object);
            return object.tag;
        });
        define(node, folder);
        readCommon(node, folder);
        relieve();
    }
}

void WorldImport::readRelations() {
    for (const JsonNode& node : document_.list("relations")) {
        node.allow({"label", "type", "primary", "secondary"});
        const tag_t type = relationTypeNamed(node.at("type"), store().model()).handle;
        const tag_t primary = resolve(node.at("primary"));
        const tag_t secondary = resolve(node.at("secondary"));
        define(node, at(node, [&] {
                   Object& relation = newRelation(session_, primary, secondary, type);
                   session_.save(relation);
                   return relation.tag;
               }));
        relieve();
    }
}

void WorldImport::readProcesses() {
    for (const JsonNode& node : document_.list("processes")) {
        node.allow({"label", "name", "description", "template", "targets", "references"});
        const JsonNode name = node.at("template");
        const tag_t process_template = findProcessTemplate(session_, name.text());
        if (process_template == NULLTAG)
            name.fail("there is no process template \"" + name.text() + "\"");
        std::vector<Attachment> attachments;
        for (const JsonNode& target : node.list("targets"))
            attachments.push_back({resolve(target), kTargetAttachment});
        for (const JsonNode& reference : node.list("references"))
            attachments.push_back({resolve(reference), kReferenceAttachment});
        define(node, at(node, [&] {
                   return createProcess(session_, node.at("name").text(),
                                        node.text("description", ""), process_template,
                                        attachments);
               }));
        relieve();
    }
}

}  // namespace mervane
