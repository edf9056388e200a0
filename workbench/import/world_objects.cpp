// The list "objects" of a world document: instances of any class. Each is stored as the document
// has it, and nothing comes along with it.

#include <algorithm>
#include <set>

#include "workbench/import/world_import.h"
#include "workbench/import/world_model.h"
#include "workbench/import/world_values.h"
#include "workbench/run/recorder.h"

namespace mervane {

void WorldImport::readObjects() {
    planObjects();
    matchByName();
    // After users and groups, by which persons and memberships are known.
    matchPersons();
    matchMembers();
    refuseTakenIds();
    for (Planned& planned : planned_) {
        // All get their tags before any is written: objects may refer to later ones.
        if (planned.tag == NULLTAG) {
            planned.tag = store().newTag();
            count(*planned.type);
        }
        define(planned.node, planned.tag);
    }
    defineDangling();
    Recorder* const recorder = session_.recorder();
    for (const Planned& planned : planned_) {
        StoredEntry before;
        if (recorder && planned.existing)
            before =
                recorder->stored(planned.tag, RunChange::ObjectChanged, Recorder::Side::Before);
        writeObject(planned);
        if (recorder && planned.existing)
            recorder->addDifference(before);
        else if (recorder)
            recorder->addMade(planned.tag);
    }
    planned_by_label_.clear();
    planned_.clear();
}

void WorldImport::count(const Type& type) {
    const auto is = [&](const char* cls) { return type.cls->isA(*store().model().findClass(cls)); };
    report_.items += is("Item");
    report_.revisions += is("ItemRevision");
    report_.occurrences += is("STROccurrence");
}

void WorldImport::planObjects() {
    const auto nodes = root_.list("objects");
    planned_.reserve(nodes.size());
    for (const JsonNode& node : nodes) {
        node.allow({"label", "type", "values", "file"});
        // A label that comes a second time is refused by define().
        planned_by_label_.try_emplace(node.at("label").text(), planned_.size());
        const Type& type = typeNamed(node.at("type"), store().model());
        if (type.cls->name == "BOMLine")
            node.at("type").fail("lines live in a BOM window, none is stored");
        if (!node.at("values").isObject())
            node.at("values").failExpected("an object");
        // The objects are written past the session's saves, which would test this otherwise.
        for (const char* name : {"User", "Group", "GroupMember"})
            if (type.cls->isA(*store().model().findClass(name)))
                session_.needAdministrator("import users and groups");
        planned_.push_back({node, &type, NULLTAG, false});
    }
}

// Labels for references that lead nowhere: tags that no object has or will have.
void WorldImport::defineDangling() {
    for (const JsonNode& node : root_.list("dangling"))
        if (!labels_.try_emplace(node.text(), store().newTag()).second)
            node.fail("expected a label that no object has, found \"" + node.text() + "\"");
}

// ---- objects that the store has already ----

// Users, groups, sites, note types and process templates are known by their names.
void WorldImport::matchByName() {
    for (Planned& planned : planned_) {
        matchByName(planned, "User", "user_id");
        matchByName(planned, "Group", "group_name");
        matchByName(planned, "Site", "site_name");
        matchByName(planned, "NoteType", "note_name");
        matchByName(planned, "FLOWTemplate", "object_name");
    }
}

void WorldImport::matchByName(Planned& planned, const char* cls, const char* attribute) {
    if (planned.type->cls->name != cls)
        return;
    const auto name = planned.node.at("values").find(attribute);
    if (!name)
        return;
    const std::string text = at(*name, [&] { return readText(*name); });
    for (tag_t existing : session_.findByText(cls, attribute, text))
        if (match(planned, existing))
            return;
}

bool WorldImport::match(Planned& planned, tag_t existing) {
    // Two objects of the document never become one of the store.
    const bool taken = std::any_of(planned_.begin(), planned_.end(),
                                   [&](const Planned& p) { return p.tag == existing; });
    if (taken || session_.object(existing).type != planned.type)
        return false;
    planned.tag = existing;
    planned.existing = true;
    return true;
}

WorldImport::Planned* WorldImport::plannedAt(const JsonNode& values, const char* attribute) {
    const auto label = values.find(attribute);
    if (!label || !label->isString())
        return nullptr;
    const auto found = planned_by_label_.find(label->text());
    return found == planned_by_label_.end() ? nullptr : &planned_[found->second];
}

// A person is the one of the user that refers to it.
void WorldImport::matchPersons() {
    for (std::size_t i = 0; i < planned_.size(); ++i) {
        const Planned& user = planned_[i];
        if (!user.existing || user.type->cls->name != "User")
            continue;
        Planned* person = plannedAt(user.node.at("values"), "person");
        const tag_t existing = session_.reference(session_.object(user.tag), "person");
        if (person && person->tag == NULLTAG && session_.tryObject(existing))
            match(*person, existing);
    }
}

// A membership is that of the same user in the same group.
void WorldImport::matchMembers() {
    for (Planned& member : planned_) {
        if (member.type->cls->name != "GroupMember")
            continue;
        const Planned* user = plannedAt(member.node.at("values"), "user");
        const Planned* group = plannedAt(member.node.at("values"), "group");
        // A user or group that is new has no memberships in the store.
        if (!user || !group || !user->existing || !group->existing)
            continue;
        for (tag_t existing : session_.referrersBy("GroupMember", "user", user->tag))
            if (session_.reference(session_.object(existing), "group") == group->tag &&
                match(member, existing))
                break;
    }
}

// Objects are stored without the checks of a save, so the ids are compared here: of items with the
// store and among each other, of revisions among those of their item, which is new as they are.
void WorldImport::refuseTakenIds() {
    const Class& item = *store().model().findClass("Item");
    const Class& revision = *store().model().findClass("ItemRevision");
    std::set<std::pair<std::string, std::string>> taken;  // item, revision
    for (const Planned& planned : planned_) {
        const JsonNode values = planned.node.at("values");
        if (planned.type->cls->isA(item)) {
            const auto id = values.find("item_id");
            if (!id)
                continue;
            if (!session_.findByText("Item", "item_id", readText(*id)).empty())
                id->fail("the store has an item " + readText(*id) + " already");
            if (!taken.emplace("", readText(*id)).second)
                id->fail("there is an item " + readText(*id) + " above already");
        } else if (planned.type->cls->isA(revision)) {
            const auto id = values.find("item_revision_id"), of = values.find("items_tag");
            if (id && of && of->isString() && !taken.emplace(of->text(), readText(*id)).second)
                id->fail("the item has a revision \"" + readText(*id) + "\" above already");
        }
    }
}

// ---- writing ----

void WorldImport::writeObject(const Planned& planned) {
    const JsonNode values = planned.node.at("values");
    const Type& type = *planned.type;
    // By the places of the layout. What the document leaves out has no value.
    std::vector<Values> all(type.layout.size());
    for (const auto& [name, node] : values.members()) {
        const Attribute& attribute = attributeNamed(node, name, type);
        Values& read = all[type.by_name.at(attribute.name)];
        if (type.cls->name == "Relation" && name == "relation_type" && node.isString())
            read = {std::int64_t{relationTypeNamed(node, store().model()).handle}};
        else
            read = readValues(node, attribute, [this](const JsonNode& n) { return resolve(n); });
        checkLengths(node, attribute, read);
    }
    readContent(planned, all);
    std::vector<AttributeValues> stored;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (planned.existing || !all[i].empty())
            stored.push_back({type.layout[i]->handle, &all[i]});
    if (!planned.existing)
        return store().insert(planned.tag, type.handle, stored);
    // By the version other sessions see that the object has changed.
    store().save(planned.tag, store().versionOf(planned.tag), stored);
    // The session may have the old values in its cache.
    session_.unload(planned.tag);
}

// Place the content of a file, and complete the values by what it is.
void WorldImport::readContent(const Planned& planned, std::vector<Values>& all) {
    const auto file = planned.node.find("file");
    if (!file)
        return;
    if (!planned.type->cls->isA(*store().model().findClass("VaneFile")))
        file->fail("only a VaneFile has a file");
    const std::string bytes = fileBytes(file->allow({"text", "base64"}));
    const FileFacts facts = keepContent(planned.tag, bytes);
    // Size and check sum may be left out; if they are there and differ, the file is kept as it was
    // and the report says so.
    const JsonNode values = planned.node.at("values");
    const auto sum = values.find("sha256"), size = values.find("byte_size");
    if (sum && sum->value() != facts.sha256)
        report_.notes.push_back(planned.node.at("label").text() +
                                ": the file differs from its check sum");
    const auto give = [&](const char* name, Value value) {
        all[planned.type->by_name.at(name)] = {std::move(value)};
    };
    if (!size)
        give("byte_size", facts.byte_size);
    if (!sum)
        give("sha256", facts.sha256);
}

}  // namespace mervane
