#include "workbench/import/world_import.h"

#include <algorithm>

#include "workbench/import/base64.h"
#include "workbench/import/import.h"
#include "workbench/import/world_model.h"
#include "workbench/import/world_values.h"
#include "workbench/run/recorder.h"
#include "workbench/session/datasets.h"
#include "workbench/session/dates.h"
#include "workbench/session/items.h"
#include "workbench/session/organisation.h"
#include "workbench/session/relations.h"
#include "workbench/session/rights.h"

namespace mervane {
namespace {

std::string oneOf(const JsonNode& node, const std::vector<std::string>& known) {
    std::string name = node.text();
    if (std::find(known.begin(), known.end(), name) != known.end())
        return name;
    std::string list;
    for (const std::string& each : known)
        list += (list.empty() ? "" : ", ") + each;
    node.fail("expected one of " + list + ", found \"" + name.substr(0, 200) + "\"");
}

}  // namespace

ImportReport importWorld(Session& session, std::istream& in, const std::string& source_name) {
    const JsonDocument document(in, source_name);
    return WorldImport(session, document).run();
}

ImportReport WorldImport::run() {
    document_.allow({"world", "model", "preferences", "objects", "rights", "check_outs",
                     "registered_ids", "dangling", "groups", "users", "process_templates", "items",
                     "datasets", "forms", "folders", "relations", "processes"});
    if (const auto version = document_.at("world"); version->root().integer() != 1)
        version->root().fail("expected the version 1");
    SessionBatch batch(session_);
    const std::int64_t before = store().objectCount();
    readAll();
    report_.objects = static_cast<int>(store().objectCount() - before);
    batch.commit();
    registerShared();
    return std::move(report_);
}

void WorldImport::readAll() {
    // The order is that of docs/json-world.md: each part may name what earlier ones have made.
    if (const auto model = document_.find("model")) {
        const Model::Mark before = store().model().mark();
        readModel(model->root(), store());
        recordModel(before);
    }
    readPreferences();
    readObjects();
    readOrganisation();
    readTemplates();
    readItems();
    readForms();
    readDatasets();
    readStructures();
    readFolders();
    readRelations();
    readProcesses();
    readRights();
    readCheckOuts();
    readRegisteredIds();
}

// Record what was added to the model, in the order of definition.
void WorldImport::recordModel(const Model::Mark& before) {
    Recorder* const recorder = session_.recorder();
    if (!recorder)
        return;
    const Model& model = store().model();
    const auto record = [&](const auto& all, std::size_t known, const std::string& what) {
        for (std::size_t i = known; i < all.size(); ++i)
            recorder->modelExtended("the " + what + " " + all[i]->name);
    };
    record(model.classes(), before.classes, "class");
    record(model.types(), before.types, "type");
    record(model.relationTypes(), before.relation_types, "relation type");
    record(model.tools(), before.tools, "tool");
}

void WorldImport::readPreferences() {
    if (!document_.list("preferences").empty())
        // Session::setPreference() asks nobody.
        session_.needAdministrator("import preferences");
    for (const JsonNode& node : document_.list("preferences")) {
        node.allow({"name", "values"});
        const std::string name = readText(node.at("name"));
        if (name.empty())
            node.at("name").fail("expected a name, found an empty text");
        std::vector<std::string> values;
        for (const JsonNode& value : node.at("values").elements())
            values.push_back(readText(value));
        session_.setPreference(name, &values);
    }
}

// Note unknown names, and don't refuse them: a right may outlive its user, group or type.
void WorldImport::noteUnknownNames(const JsonNode& node, const Right& right) {
    const Model& model = store().model();
    const auto note = [&](bool known, const std::string& kind, const std::string& name) {
        if (!known)
            report_.notes.push_back(node.path() + ": there is no " + kind + " \"" + name + "\"");
    };
    if (right.subject_kind == "user")
        note(findUser(session_, right.subject), "user", right.subject);
    if (right.subject_kind == "group")
        note(findGroup(session_, right.subject), "group", right.subject);
    if (right.scope_kind == "type")
        note(model.findType(right.scope), "type", right.scope);
    if (right.scope_kind == "class")
        note(model.findClass(right.scope), "class", right.scope);
}

void WorldImport::readRights() {
    if (!document_.list("rights").empty())
        session_.needAdministrator("import rights");
    const auto known = store().rights();
    for (const JsonNode& node : document_.list("rights")) {
        node.allow({"subject_kind", "subject", "scope_kind", "scope", "privilege", "allowed"});
        Right right;
        right.subject_kind = oneOf(node.at("subject_kind"), {"user", "group", "all"});
        right.subject = node.find("subject") ? readText(node.at("subject")) : "";
        right.scope_kind =
            oneOf(node.at("scope_kind"), {"object", "type", "class", "status", "all"});
        right.scope = node.find("scope") ? readText(node.at("scope")) : "";
        right.privilege = oneOf(node.at("privilege"), knownPrivileges());
        right.allowed = node.at("allowed").logical();
        if (right.scope_kind == "object")
            right.scope = std::to_string(resolve(node.at("scope")));
        noteUnknownNames(node, right);
        const bool there = std::any_of(known.begin(), known.end(), [&](const Right& other) {
            return other.subject_kind == right.subject_kind && other.subject == right.subject &&
                   other.scope_kind == right.scope_kind && other.scope == right.scope &&
                   other.privilege == right.privilege && other.allowed == right.allowed;
        });
        // Session::addRight() would take out the right that is there and put it after all others.
        if (!there)
            session_.addRight(right);
    }
}

void WorldImport::readCheckOuts() {
    for (const JsonNode& node : document_.list("check_outs")) {
        node.allow({"object", "user", "date", "comment"});
        Store::CheckOutRow row;
        row.object = resolve(node.at("object"));
        const auto user = node.find("user");
        row.user = user ? resolve(*user) : session_.user();
        if (row.user != session_.user())
            session_.needAdministrator("import check-outs of others");
        // A dangling label has no object whose rights could be asked.
        if (Object* object = session_.tryObject(row.object);
            object && !session_.allowed(*object, "WRITE"))
            throw Failure(kNotAllowed, "user " + session_.userId() + " may not WRITE " +
                                           plainName(*object) + ", which a check-out is for");
        const auto date = node.find("date");
        row.date = date ? readText(*date) : dateText(now());
        row.comment = node.find("comment") ? readText(node.at("comment")) : "";
        // Session::checkOut() would give it this user's name and the time of now.
        if (!store().addCheckOut(row))
            node.fail("the object is checked out already");
        if (Recorder* recorder = session_.recorder())
            recorder->checkedOut(row.object, row.user, row.date, row.comment);
    }
}

// A shared registry is outside the import's transaction, so its ids are registered after the
// commit.
void WorldImport::readRegisteredIds() {
    if (!document_.list("registered_ids").empty())
        session_.needAdministrator("import registered ids");
    const bool shared = !store().registryPath().empty();
    for (const JsonNode& node : document_.list("registered_ids")) {
        if (shared)
            shared_ids_.push_back(readText(node));
        else
            registerOwn(readText(node));
    }
}

void WorldImport::registerOwn(const std::string& id) {
    Registry& registry = store().ownRegistry();
    // A document adds to what is there, so an id that is registered is no conflict.
    if (registry.has(id))
        return;
    registry.add(id);
    if (Recorder* recorder = session_.recorder())
        recorder->registered(id);
}

void WorldImport::registerShared() {
    if (shared_ids_.empty())
        return;
    try {
        Registry& registry = store().registry();
        for (const std::string& id : shared_ids_)
            if (!registry.has(id))
                session_.registerId(id);
    } catch (const Failure& failure) {
        // The import is stored already, so this is a note.
        report_.notes.push_back("registered_ids: not registered, " + std::string(failure.what()));
    }
}

void WorldImport::relieve() {
    // An import makes no calls of the platform, which keep the session's cache small otherwise.
    session_.unloadBeyond(Session::kMostCached);
    constexpr std::size_t kMuch = 1000;
    if (++read_ == kMuch)
        store().expectMuch();
}

void WorldImport::define(const JsonNode& node, tag_t tag) {
    const auto label = node.find("label");
    if (!label)
        return;
    const std::string text = label->text();
    if (!labels_.add(text, tag))
        refuseSecond(*label, text);
}

void WorldImport::refuseSecond(const JsonNode& node, const std::string& label) {
    node.fail("expected a label of its own, found \"" + label + "\" a second time");
}

tag_t WorldImport::resolve(const JsonNode& node) {
    const std::string name = node.text();
    if (const tag_t tag = find(name); tag != NULLTAG)
        return tag;
    NearestName nearest(name);
    labels_.forEach([&](std::string_view label, std::uint32_t&) { nearest.offer(label); });
    node.fail("expected a label of the document or the name of an object, found \"" +
              name.substr(0, 200) + "\"" + nearestHint(nearest.lowest()));
}

tag_t WorldImport::find(const std::string& name) {
    const auto found = labels_.find(name);
    return found ? *found : findNamed(name);
}

// "user:ID", "group:NAME", "000123", "000123/A", "000123/A:NAME of a dataset". An item id may have
// the separators in it, so the longest one that fits is taken.
tag_t WorldImport::findNamed(const std::string& name) {
    const auto byText = [&](const char* cls, const char* attribute, const std::string& text) {
        const auto found = session_.findByText(cls, attribute, text);
        return found.empty() ? NULLTAG : found.front();
    };
    if (name.starts_with("user:"))
        return byText("User", "user_id", name.substr(5));
    if (name.starts_with("group:"))
        return byText("Group", "group_name", name.substr(6));
    if (const tag_t item = findItem(session_, name))
        return item;
    const std::size_t slash = name.rfind('/');
    if (slash == std::string::npos)
        return NULLTAG;
    const tag_t item = findItem(session_, name.substr(0, slash));
    if (item == NULLTAG)
        return NULLTAG;
    const std::string rest = name.substr(slash + 1);
    if (const tag_t revision = findRevision(session_, item, rest))
        return revision;
    const std::size_t colon = rest.find(':');
    if (colon == std::string::npos)
        return NULLTAG;
    const tag_t revision = findRevision(session_, item, rest.substr(0, colon));
    if (revision == NULLTAG)
        return NULLTAG;
    const Class& dataset = *store().model().findClass("Dataset");
    for (const Relation& relation : relationsFrom(session_, revision, NULLTAG)) {
        Object* object = session_.tryObject(relation.other);
        if (object && object->isA(dataset) &&
            session_.text(*object, "object_name") == rest.substr(colon + 1))
            return object->tag;
    }
    return NULLTAG;
}

const Attribute& WorldImport::attributeNamed(const JsonNode& node, const std::string& name,
                                             const Type& type) {
    if (const auto found = type.by_name.find(name); found != type.by_name.end())
        return *type.layout[found->second];
    std::vector<std::string> known;
    for (const Attribute* attribute : type.layout)
        known.push_back(attribute->name);
    node.fail("the type \"" + type.name + "\" has no attribute \"" + name.substr(0, 200) + "\"" +
              nearestHint(name, known));
}

void WorldImport::checkLengths(const JsonNode& node, const Attribute& attribute,
                               const Values& values) {
    // The list "objects" is written past the session, which would test this otherwise.
    for (const Value& value : values)
        if (const auto* text = std::get_if<std::string>(&value);
            text && attribute.max_length > 0 &&
            text->size() > static_cast<std::size_t>(attribute.max_length))
            node.fail("expected at most " + std::to_string(attribute.max_length) +
                      " bytes, found " + std::to_string(text->size()));
    if (const bool user = attribute.name == "user_id"; user || attribute.name == "group_name")
        for (const Value& value : values)
            if (const auto* text = std::get_if<std::string>(&value))
                at(node, [&] { needPlainName(user ? "user id" : "group name", *text); });
}

FileFacts WorldImport::keepContent(tag_t file, const std::string& bytes) {
    // The session knows only the files of objects that it has made itself.
    session_.noteFile(file);
    return store().volume().placeBytes(file, bytes);
}

std::string WorldImport::fileBytes(const JsonNode& node) {
    const auto text = node.find("text"), base64 = node.find("base64");
    if (text.has_value() == base64.has_value())
        node.fail("expected one of the keys \"text\" and \"base64\"");
    if (text) {
        // A file may have a NUL, which text() refuses.
        return std::string(text->anyText());
    }
    auto bytes = fromBase64(base64->text());
    if (!bytes)
        base64->fail("expected base64 without line breaks");
    return std::move(*bytes);
}

void WorldImport::refuse(const JsonNode& node, const Failure& failure) {
    // These tell their place already, or aren't about what the document says.
    const bool own = failure.status() == kBadImport || failure.status() == kStoreFailure ||
                     failure.status() == kFileFailure || failure.status() == kNoMemory;
    if (own)
        throw failure;
    node.fail(failure.what());
}

}  // namespace mervane
