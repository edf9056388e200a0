#include <algorithm>
#include <charconv>
#include <map>

#include "workbench/import/base64.h"
#include "workbench/import/import.h"
#include "workbench/import/world_model.h"
#include "workbench/import/world_values.h"
#include "workbench/session/session.h"
#include "workbench/utf8.h"

namespace mervane {
namespace {

class WorldWriter {
public:
    WorldWriter(Session& session, std::ostream& out)
        : store_(session.store()), json_(out), objects_(store_.everything()) {
        leaveUnreadableOut(session);
    }

    // Gives the stored files that are damaged.
    std::vector<CheckFinding> write() {
        json_.beginObject();
        json_.key("world");
        json_.integer(1);
        writeModel(json_, store_.model());
        writePreferences();
        writeObjects();
        writeRights();
        writeCheckOuts();
        writeTexts("registered_ids", store_.ownRegistry().ids());
        // These labels are given while the rest is written, so they come last.
        writeDangling();
        json_.endObject();
        json_.finish();
        return std::move(damaged_);
    }

private:
    // Leave out what the user may not READ, and a file with any dataset that has it.
    void leaveUnreadableOut(Session& session) {
        // Without such a right everybody may read everything, and no object has to be loaded.
        if (store_.rights("READ").empty())
            return;
        const auto mayRead = [&](tag_t tag) {
            Object* object = session.tryObject(tag);
            return !object || session.allowed(*object, "READ");
        };
        const Class& file = *store_.model().findClass("VaneFile");
        const Class& dataset = *store_.model().findClass("Dataset");
        const auto unreadable = [&](const Store::Hit& hit) {
            if (!mayRead(hit.tag))
                return true;
            const Type* type = store_.model().typeOf(hit.type);
            if (!type || !type->cls->isA(file))
                return false;
            // A copy: the store's own list holds until the next question alone.
            const std::vector<StoredReferrer> all = store_.referrers(hit.tag);
            for (const StoredReferrer& each : all)
                if (const Type* from = store_.model().typeOf(each.type);
                    from && from->cls->isA(dataset) && !mayRead(each.tag))
                    return true;
            return false;
        };
        const std::size_t left_out = std::erase_if(objects_, unreadable);
        if (left_out > 0)
            damaged_.push_back(
                {false, std::to_string(left_out) + (left_out == 1 ? " object is" : " objects are") +
                            " left out, which user " + session.userId() + " may not READ"});
    }

    // "o1", "o2" in the order of tags; "d1", "d2" for what doesn't exist, as they are met.
    std::string label(tag_t tag) {
        const auto at =
            std::lower_bound(objects_.begin(), objects_.end(), tag,
                             [](const Store::Hit& hit, tag_t wanted) { return hit.tag < wanted; });
        if (at != objects_.end() && at->tag == tag)
            return "o" + std::to_string(at - objects_.begin() + 1);
        const auto [dangling, added] = dangling_.try_emplace(tag, dangling_.size() + 1);
        return "d" + std::to_string(dangling->second);
    }

    void writeTexts(const char* key, const std::vector<std::string>& texts) {
        json_.key(key);
        json_.beginArray(true);
        for (const std::string& text : texts)
            writeText(json_, text);
        json_.endArray();
    }

    void member(const char* key, const std::string& text) {
        json_.key(key);
        writeText(json_, text);
    }

    void writePreferences() {
        json_.key("preferences");
        json_.beginArray();
        for (const auto& [name, values] : store_.preferences()) {
            json_.beginObject();
            member("name", name);
            writeTexts("values", values);
            json_.endObject();
        }
        json_.endArray();
    }

    void writeObjects() {
        json_.key("objects");
        json_.beginArray();
        for (const Store::Hit& hit : objects_)
            writeObject(hit);
        json_.endArray();
    }

    void writeObject(const Store::Hit& hit) {
        const Type* type = store_.model().typeOf(hit.type);
        if (!type)
            throw Failure(kStoreFailure, "#" + std::to_string(hit.tag) +
                                             " has a type that the store doesn't know");
        // The store is read past the session: unsaved values aren't written, and no cache fills up.
        std::vector<Values> values(type->layout.size());
        store_.load(
            hit.tag, [](tag_t, std::int64_t) {},
            [&](tag_t attribute, std::size_t, Value&& value) {
                const auto at = type->by_handle.find(attribute);
                if (at != type->by_handle.end() && kindOf(value) == type->layout[at->second]->kind)
                    values[at->second].push_back(std::move(value));
            });
        json_.beginObject();
        member("label", label(hit.tag));
        member("type", type->name);
        json_.key("values");
        json_.beginObject();
        for (std::size_t i = 0; i < values.size(); ++i)
            if (!values[i].empty())
                writeAttribute(*type, *type->layout[i], values[i]);
        json_.endObject();
        if (type->cls->isA(*store_.model().findClass("VaneFile")))
            writeFile(hit.tag);
        json_.endObject();
    }

    void writeAttribute(const Type& type, const Attribute& attribute, const Values& values) {
        json_.key(attribute.name);
        if (type.cls->name == "Relation" && attribute.name == "relation_type") {
            const auto handle = static_cast<tag_t>(std::get<std::int64_t>(values.front()));
            // A handle that no type has is written as the number that it is.
            if (const RelationType* relation_type = store_.model().relationTypeOf(handle))
                return json_.text(relation_type->name);
        }
        writeValues(json_, attribute, values, [this](tag_t tag) { return label(tag); });
    }

    void writeFile(tag_t tag) {
        std::string bytes;
        try {
            bytes = store_.volume().read(store_.knownFile(tag));
        } catch (const Damage& damage) {
            // The document has the object without its file then.
            damaged_.push_back({true, damage.what()});
            return;
        }
        const bool text = isUtf8(bytes) && bytes.find('\0') == std::string::npos;
        json_.key("file");
        json_.beginObject();
        json_.key(text ? "text" : "base64");
        json_.text(text ? bytes : toBase64(bytes));
        json_.endObject();
    }

    void writeRights() {
        json_.key("rights");
        json_.beginArray();
        for (const Right& right : store_.rights()) {
            json_.beginObject();
            member("subject_kind", right.subject_kind);
            member("subject", right.subject);
            member("scope_kind", right.scope_kind);
            // Tags differ from store to store, so an object is named by its label.
            member("scope", right.scope_kind == "object" ? labelOf(right.scope) : right.scope);
            member("privilege", right.privilege);
            json_.key("allowed");
            json_.logical(right.allowed);
            json_.endObject();
        }
        json_.endArray();
    }

    std::string labelOf(const std::string& tag) {
        const std::string_view digits = std::string_view(tag).substr(tag.starts_with('#') ? 1 : 0);
        tag_t number = NULLTAG;
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
        return label(number);
    }

    void writeCheckOuts() {
        json_.key("check_outs");
        json_.beginArray();
        for (const Store::CheckOutRow& row : store_.checkOuts()) {
            json_.beginObject();
            member("object", label(row.object));
            member("user", label(row.user));
            member("date", row.date);
            member("comment", row.comment);
            json_.endObject();
        }
        json_.endArray();
    }

    void writeDangling() {
        std::vector<std::string> labels;
        for (std::size_t i = 1; i <= dangling_.size(); ++i)
            labels.push_back("d" + std::to_string(i));
        writeTexts("dangling", labels);
    }

    Store& store_;
    JsonWriter json_;
    std::vector<Store::Hit> objects_;
    std::map<tag_t, std::size_t> dangling_;
    std::vector<CheckFinding> damaged_;
};

}  // namespace

std::vector<CheckFinding> exportWorld(Session& session, std::ostream& out) {
    // Before the moment: each file that it shows stays readable, though others delete it.
    const auto hold = session.store().volume().hold();
    const OneMoment moment(session.store());
    std::vector<CheckFinding> damaged = WorldWriter(session, out).write();
    if (!out)
        throw Failure(kFileFailure, "the world can't be written");
    return damaged;
}

}  // namespace mervane
