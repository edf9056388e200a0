#include <algorithm>

#include "workbench/run/recorder.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

// Storing: one durable transaction for all objects of a save, only what differs is written.

namespace mervane {

void Session::stamp(Object& object) {
    if (!object.isA(*known_.workspace))
        return;
    const Values date{Date{now()}};
    if (object.fields.values(known_.modified) != date)
        assign(object, known_.modified, date);
    // An undo sets the last user itself, to the one from before the run.
    if (keep_last_user_)
        return;
    const Values user = user_ == NULLTAG ? Values{} : Values{Reference{user_}};
    if (object.fields.values(known_.modified_by) != user)
        assign(object, known_.modified_by, user);
}

void Session::storeObject(Object& object) {
    storing_.clear();
    const auto& layout = object.type->layout;
    for (const Field& field : object.fields.opened())
        if (object.isNew() || field.dirty)
            storing_.push_back({layout[field.place]->handle, &field.values});
    if (object.isNew()) {
        store_->insert(object.tag, object.type->handle, storing_);
        return;
    }
    if (!store_->save(object.tag, object.version, storing_))
        throw Failure(kChangedMeanwhile,
                      plainName(object) + (store_->exists(object.tag)
                                               ? " was stored by another session since it was read"
                                               : " was deleted since it was read"));
}

void Session::recordSave(const Object& object) {
    StoredEntry entry;
    entry.change = object.isNew() ? RunChange::ObjectMade : RunChange::ObjectChanged;
    entry.object = object.tag;
    entry.type = object.type->handle;
    for (std::size_t place = 0; place < object.type->layout.size(); ++place) {
        const Field* found = object.fields.find(place);
        if (!found)
            continue;
        const Field& field = *found;
        const tag_t attribute = object.type->layout[place]->handle;
        // What a process start has set aside differs from the store as well, but isn't dirty.
        if (object.isNew() && !field.values.empty())
            entry.values.push_back({attribute, {}, field.values});
        else if (!object.isNew() && field.dirty && field.stored && *field.stored != field.values)
            entry.values.push_back({attribute, *field.stored, field.values});
    }
    // A save without a difference has no entry.
    if (!object.isNew() && entry.values.empty())
        return;
    // Stored files and started workflows have entries of their own, which name them.
    const bool made = object.isNew();
    recorder_->add(std::move(entry));
    if (!made)
        return;
    const auto also = [&](const char* attribute, RunChange change) {
        const Values named = values(object, attribute);
        StoredEntry more;
        more.change = change;
        more.object = object.tag;
        more.type = object.type->handle;
        more.text = named.empty() ? "" : std::get<std::string>(named.front());
        recorder_->add(std::move(more));
    };
    if (object.isA(*known_.file))
        also("original_file_name", RunChange::FileStored);
    else if (object.isA(*known_.process))
        also("object_name", RunChange::WorkflowStarted);
}

// A reference that is stored now leads to something that is stored, too; one that was stored before
// may lead nowhere. Requires: everything of the save is stored.
void Session::checkStoredTargets(const Object& object, std::unordered_set<tag_t>& known) {
    for (const Field& field : object.fields.opened()) {
        const Attribute& attribute = *object.type->layout[field.place];
        if (attribute.kind != Kind::Reference || !(object.isNew() || field.dirty))
            continue;
        for (const Value& value : field.values) {
            const tag_t target = std::get<Reference>(value).tag;
            if (target == NULLTAG || known.count(target))
                continue;
            if (field.stored &&
                std::find(field.stored->begin(), field.stored->end(), value) != field.stored->end())
                continue;
            const auto cached = cache_.find(target);
            // What this save stores is there.
            if (cached != cache_.end() && cached->second->saving)
                continue;
            if (!store_->exists(target)) {
                const bool unsaved = cached != cache_.end() && cached->second->isNew();
                throw Failure(kUnknownObject,
                              plainName(object) + " can't be stored: its " + attribute.name +
                                  " refers to " +
                                  (unsaved ? plainName(*cached->second) + ", which isn't saved yet"
                                           : "#" + std::to_string(target) + ", which isn't there"));
            }
            known.insert(target);
        }
    }
}

bool Session::hasOtherRevision(Object& object, tag_t item, const std::string& id) {
    // If this save stores the item itself, it stores all of its revisions, too, and none has to be
    // looked up. With many objects the look-up is quicker.
    constexpr std::size_t kFew = 32;
    const auto cached = cache_.find(item);
    if (cached != cache_.end() && cached->second->isNew() && cached->second->saving &&
        saving_.size() <= kFew)
        return std::any_of(saving_.begin(), saving_.end(), [&](Object* other) {
            return other != &object && other->isA(*known_.revision) &&
                   reference(*other, "items_tag") == item && text(*other, "item_revision_id") == id;
        });
    const auto found = store_->referrersWithText(attribute(object, "items_tag").handle, item,
                                                 attribute(object, "item_revision_id").handle, id);
    return std::any_of(found.begin(), found.end(),
                       [&](tag_t other) { return other != object.tag; });
}

// Compare ids. A setter of one attribute doesn't know that its text is an id, and another session
// may have stored the same one meanwhile. Requires: everything of the save is stored.
void Session::checkIds(Object& object) {
    const auto changed = [&](const char* name) {
        return object.isNew() || object.fields.isDirty(object.type->by_name.at(name));
    };
    if (object.isA(*known_.item) && changed("item_id")) {
        const std::string id = text(object, "item_id");
        if (!id.empty())
            for (const Store::Hit& hit : store_->withText(attribute(object, "item_id").handle, id))
                if (hit.tag != object.tag)
                    throw Failure(kDuplicateId, "there is an item " + id + " already");
    }
    if (object.isA(*known_.revision) && (changed("item_revision_id") || changed("items_tag"))) {
        const std::string id = text(object, "item_revision_id");
        if (id.empty() && !object.isNew())
            throw Failure(kBadValue,
                          plainName(object) + " can't be stored: a revision needs an id");
        const tag_t item = reference(object, "items_tag");
        if (!id.empty() && item != NULLTAG && hasOtherRevision(object, item, id))
            throw Failure(kDuplicateId, "the item of " + plainName(object) + " has a revision \"" +
                                            id + "\" already");
    }
}

namespace {

// The list of a save, with its marks; both end with it.
class Saving {
public:
    explicit Saving(std::vector<Object*>& objects) : objects_(objects) {}
    ~Saving() {
        for (Object* object : objects_)
            object->saving = false;
        objects_.clear();
    }
    Saving(const Saving&) = delete;

private:
    std::vector<Object*>& objects_;
};

}  // namespace

void Session::save(std::span<Object* const> objects) {
    mayWrite();
    const Saving saving(saving_);
    const auto add = [this](Object& object) {
        // An object may be given twice, or be given and come along with another one.
        if (object.saving || (!object.isNew() && !(touched_.count(&object) && object.isDirty())))
            return;
        // set() needs the lock, the workbench's own put() doesn't: ask whether somebody else has
        // it.
        if (!object.isNew() && !object.locked)
            if (const auto owner = store_->locks().ownerBeforeChange(object.tag);
                owner && owner->session != lock_session_)
                throw Failure(kLockedByOther,
                              plainName(object) + " is locked by " + described(*owner));
        // All saves of a session come through here, those of values set below the properties, too.
        needRightsFor(object);
        object.saving = true;
        saving_.push_back(&object);
    };
    for (Object* object : objects)
        add(*object);
    // Add what is stored along with a new object; the list grows on the way.
    for (std::size_t i = 0; i < saving_.size(); ++i)
        if (saving_[i]->isNew())
            for (const tag_t part : saving_[i]->saved_along)
                if (const auto at = cache_.find(part); at != cache_.end() && at->second->isNew())
                    add(*at->second);
    if (saving_.empty())
        return;

    for (Object* object : saving_)
        stamp(*object);
    // Room first: nothing may fail after the commit.
    if (!batches_.empty())
        placed_in_batch_.reserve(placed_in_batch_.size() + saving_.size());
    {
        // References and ids are checked in the transaction: until the commit nobody deletes a
        // target or takes an id.
        StoreTransaction transaction(*store_);
        for (Object* object : saving_)
            storeObject(*object);
        // A batch has the right to write: what it has seen stays, unless it deletes it itself.
        if (known_in_batch_.size() > kMostCached)
            known_in_batch_.clear();
        std::unordered_set<tag_t> known_targets;
        for (const Object* object : saving_)
            checkStoredTargets(*object, batches_.empty() ? known_targets : known_in_batch_);
        for (Object* object : saving_)
            checkIds(*object);
        if (recorder_)
            for (const Object* object : saving_)
                recordSave(*object);
        transaction.commit();
    }
    // Only after the commit: values that aren't stored stay unsaved.
    for (Object* object : saving_) {
        if (object->isNew() && !batches_.empty() && object->isA(*known_.file))
            placed_in_batch_.push_back(object->tag);
        if (object->isNew())
            // The parts are stored now, so an unload of this object must not drop them.
            object->saved_along.clear();
        // The store has counted in the same way, and a new object has the version 1 there.
        ++object->version;
        // A process start sets other unsaved values aside during its save.
        if (!object->fields.settle(*object->type))
            touched_.erase(object);
    }
}

void Session::save(Object& object) {
    Object* const one[] = {&object};
    save(one);
}

}  // namespace mervane
