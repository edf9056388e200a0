// The list "objects" of a world document: instances of any class. Each is stored as the document
// has it, and nothing comes along with it.

#include <optional>

#include "workbench/import/world_import.h"
#include "workbench/import/world_model.h"
#include "workbench/import/world_values.h"
#include "workbench/run/recorder.h"

namespace mervane {

// The list is read three times: the objects that are read, before any is stored, only give the
// labels, which all may refer to, and the types; then they are stored one by one.
void WorldImport::readObjects() {
    planObjects();
    giveTags();
    defineDangling();
    Recorder* const recorder = session_.recorder();
    for (const JsonNode& node : document_.list("objects")) {
        const tag_t tag = *labels_.find(node.at("label").text());
        const bool existing = existing_.count(tag) != 0;
        StoredEntry before;
        if (recorder && existing)
            before = recorder->stored(tag, RunChange::ObjectChanged, Recorder::Side::Before);
        writeObject(node, tag);
        if (recorder && existing)
            recorder->addDifference(before);
        else if (recorder)
            recorder->addMade(tag);
        relieve();
    }
    existing_.clear();
}

void WorldImport::count(const Type& type) {
    const auto is = [&](const char* cls) { return type.cls->isA(*store().model().findClass(cls)); };
    report_.items += is("Item");
    report_.revisions += is("ItemRevision");
    report_.occurrences += is("STROccurrence");
}

// Until the tags are given, a label has the handle of its type.
void WorldImport::planObjects() {
    // Refused when all has been planned and matched: a defect further down is told before them.
    std::optional<Failure> same_label, taken_id;
    const auto keepFirst = [](std::optional<Failure>& first, auto&& body) {
        try {
            if (!first)
                body();
        } catch (const Failure& failure) {
            first = failure;
        }
    };
    TextTable taken;
    for (const JsonNode& node : document_.list("objects")) {
        node.allow({"label", "type", "values", "file"});
        const JsonNode label_node = node.at("label");
        const std::string label = label_node.text();
        const Type& type = typeNamed(node.at("type"), store().model());
        if (!labels_.add(label, type.handle))
            keepFirst(same_label, [&] { refuseSecond(label_node, label); });
        if (type.cls->name == "BOMLine")
            node.at("type").fail("lines live in a BOM window, none is stored");
        const JsonNode values = node.at("values");
        if (!values.isObject())
            values.failExpected("an object");
        // The objects are written past the session's saves, which would test this otherwise.
        for (const char* name : {"User", "Group", "GroupMember"})
            if (type.cls->isA(*store().model().findClass(name)))
                session_.needAdministrator("import users and groups");
        for (const char* name :
             {"User", "Group", "Site", "NoteType", "FLOWTemplate", "GroupMember"})
            if (type.cls->name == name)
                known_.push_back({node.tree().place(), &type, label, NULLTAG});
        keepFirst(taken_id, [&] { needFreeId(values, type, taken); });
    }
    matchByName();
    // After users and groups, by which persons and memberships are known.
    matchPersons();
    matchMembers();
    known_.clear();
    if (taken_id)
        throw *taken_id;
    if (same_label)
        throw *same_label;
}

// All get their tags before any is written: objects may refer to later ones.
void WorldImport::giveTags() {
    labels_.forEach([&](std::string_view label, std::uint32_t& tag) {
        // Most documents have none of those, and a million others.
        const auto match = matched_.empty() ? matched_.end() : matched_.find(std::string(label));
        if (match != matched_.end()) {
            tag = match->second;
            return;
        }
        const Type& type = *store().model().typeOf(tag);
        tag = store().newTag();
        count(type);
    });
    matched_.clear();
}

// Labels for references that lead nowhere: tags that no object has or will have.
void WorldImport::defineDangling() {
    for (const JsonNode& node : document_.list("dangling"))
        if (!labels_.add(node.text(), store().newTag()))
            node.fail("expected a label that no object has, found \"" + node.text() + "\"");
}

// ---- objects that the store has already ----

// Users, groups, sites, note types and process templates are known by their names.
void WorldImport::matchByName() {
    for (Known& known : known_) {
        const auto tree = document_.list("objects").again(known.place);
        const JsonNode values = tree->root().at("values");
        matchByName(known, values, "User", "user_id");
        matchByName(known, values, "Group", "group_name");
        matchByName(known, values, "Site", "site_name");
        matchByName(known, values, "NoteType", "note_name");
        matchByName(known, values, "FLOWTemplate", "object_name");
    }
}

void WorldImport::matchByName(Known& known, const JsonNode& values, const char* cls,
                              const char* attribute) {
    if (known.type->cls->name != cls)
        return;
    const auto name = values.find(attribute);
    if (!name)
        return;
    const std::string text = at(*name, [&] { return readText(*name); });
    for (tag_t existing : session_.findByText(cls, attribute, text))
        if (match(known.label, *known.type, existing)) {
            known.tag = existing;
            return;
        }
}

bool WorldImport::match(const std::string& label, const Type& type, tag_t existing) {
    // Two objects of the document never become one of the store.
    if (existing_.count(existing) || session_.object(existing).type != &type)
        return false;
    existing_.insert(existing);
    matched_[label] = existing;
    return true;
}

// The object of the store that the labelled one was found to be.
tag_t WorldImport::matched(const JsonNode& values, const char* attribute) {
    const auto label = values.find(attribute);
    if (!label || !label->isString())
        return NULLTAG;
    const auto found = matched_.find(label->text());
    return found == matched_.end() ? NULLTAG : found->second;
}

// A person is the one of the user that refers to it.
void WorldImport::matchPersons() {
    for (const Known& user : known_) {
        if (user.tag == NULLTAG || user.type->cls->name != "User")
            continue;
        const auto tree = document_.list("objects").again(user.place);
        const auto person = tree->root().at("values").find("person");
        if (!person || !person->isString())
            continue;
        const std::string label = person->text();
        const auto type = labels_.find(label);
        const tag_t existing = session_.reference(session_.object(user.tag), "person");
        if (type && !matched_.count(label) && session_.tryObject(existing))
            match(label, *store().model().typeOf(*type), existing);
    }
}

// A membership is that of the same user in the same group.
void WorldImport::matchMembers() {
    for (const Known& member : known_) {
        if (member.type->cls->name != "GroupMember")
            continue;
        const auto tree = document_.list("objects").again(member.place);
        const JsonNode values = tree->root().at("values");
        // A user or group that is new has no memberships in the store.
        const tag_t user = matched(values, "user"), group = matched(values, "group");
        if (user == NULLTAG || group == NULLTAG)
            continue;
        for (tag_t existing : session_.referrersBy("GroupMember", "user", user))
            if (session_.reference(session_.object(existing), "group") == group &&
                match(member.label, *member.type, existing))
                break;
    }
}

// Objects are stored without the checks of a save, so the ids are compared here: of items with the
// store and among each other, of revisions among those of their item, which is new as they are.
// `taken` has the item, empty for items themselves, a NUL and the id.
void WorldImport::needFreeId(const JsonNode& values, const Type& type, TextTable& taken) {
    if (type.cls->isA(*store().model().findClass("Item"))) {
        const auto id = values.find("item_id");
        if (!id)
            return;
        const std::string text = readText(*id);
        if (!session_.findByText("Item", "item_id", text).empty())
            id->fail("the store has an item " + text + " already");
        if (!taken.add(std::string(1, '\0') + text, 0))
            id->fail("there is an item " + text + " above already");
    } else if (type.cls->isA(*store().model().findClass("ItemRevision"))) {
        const auto id = values.find("item_revision_id"), of = values.find("items_tag");
        if (!id || !of || !of->isString())
            return;
        const std::string item = of->text(), text = readText(*id);
        if (!taken.add(item + '\0' + text, 0))
            id->fail("the item has a revision \"" + text + "\" above already");
    }
}

// ---- writing ----

void WorldImport::writeObject(const JsonNode& object, tag_t tag) {
    const Type& type = typeNamed(object.at("type"), store().model());
    const bool existing = existing_.count(tag) != 0;
    // By the places of the layout. What the document leaves out has no value.
    std::vector<Values> all(type.layout.size());
    for (const auto& [name, node] : object.at("values").members()) {
        const Attribute& attribute = attributeNamed(node, name, type);
        Values& read = all[type.by_name.at(attribute.name)];
        if (type.cls->name == "Relation" && name == "relation_type" && node.isString())
            read = {std::int64_t{relationTypeNamed(node, store().model()).handle}};
        else
            read = readValues(node, attribute, [this](const JsonNode& n) { return resolve(n); });
        checkLengths(node, attribute, read);
    }
    readContent(object, type, tag, all);
    std::vector<AttributeValues> stored;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (existing || !all[i].empty())
            stored.push_back({type.layout[i]->handle, &all[i]});
    if (!existing)
        return store().insert(tag, type.handle, stored);
    // By the version other sessions see that the object has changed.
    store().save(tag, store().versionOf(tag), stored);
    // The session may have the old values in its cache.
    session_.unload(tag);
}

// Place the content of a file, and complete the values by what it is.
void WorldImport::readContent(const JsonNode& object, const Type& type, tag_t tag,
                              std::vector<Values>& all) {
    const auto file = object.find("file");
    if (!file)
        return;
    if (!type.cls->isA(*store().model().findClass("VaneFile")))
        file->fail("only a VaneFile has a file");
    const std::string bytes = fileBytes(file->allow({"text", "base64"}));
    const FileFacts facts = keepContent(tag, bytes);
    // Size and check sum may be left out; if they are there and differ, the file is kept as it was
    // and the report says so.
    const JsonNode values = object.at("values");
    const auto sum = values.find("sha256"), size = values.find("byte_size");
    if (sum && (!sum->isString() || sum->anyText() != facts.sha256))
        report_.notes.push_back(object.at("label").text() +
                                ": the file differs from its check sum");
    const auto give = [&](const char* name, Value value) {
        all[type.by_name.at(name)] = {std::move(value)};
    };
    if (!size)
        give("byte_size", facts.byte_size);
    if (!sum)
        give("sha256", facts.sha256);
}

}  // namespace mervane
