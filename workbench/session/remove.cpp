#include <algorithm>
#include <set>

#include "workbench/run/recorder.h"
#include "workbench/session/datasets.h"
#include "workbench/session/relations.h"
#include "workbench/session/session.h"
#include "workbench/session/workflows.h"
#include "workbench/store/store.h"

// Deletion. An object takes along its own parts and the relations in which it is primary; it stays
// while anything else refers to it.

namespace mervane {

void Session::addParts(Object& object, const std::set<tag_t>& known, std::vector<tag_t>& parts) {
    const auto is = [&](const char* name) { return object.isA(*model().findClass(name)); };
    const auto addAll = [&](const std::vector<tag_t>& tags) {
        parts.insert(parts.end(), tags.begin(), tags.end());
    };
    const auto addForms = [&](const char* relation_type) {
        for (const Relation& relation :
             relationsFrom(*this, object.tag, model().findRelationType(relation_type)->handle))
            if (this->object(relation.other).isA(*model().findClass("Form")))
                parts.push_back(relation.other);
    };
    if (is("Item")) {
        addAll(referrersBy("ItemRevision", "items_tag", object.tag));
        addAll(referrersBy("STRBOMView", "parent_item", object.tag));
        addForms("VANE_master_form");
    } else if (is("ItemRevision")) {
        addAll(referrersBy("STRBOMViewRevision", "parent_revision", object.tag));
        addForms("VANE_master_form");
        addForms("VANE_master_form_rev");
    } else if (is("STRBOMView")) {
        addAll(referrersBy("STRBOMViewRevision", "bom_view", object.tag));
    } else if (is("STRBOMViewRevision")) {
        addAll(referrersBy("STROccurrence", "parent_bvr", object.tag));
    } else if (is("Dataset")) {
        // The first version that is met brings the parts of all.
        if (!known.count(reference(object, "anchor")))
            addAll(datasetParts(*this, object));
    } else if (is("FLOWProcess")) {
        addAll(processParts(*this, object));
    } else if (is("User")) {
        addAll(referrersBy("GroupMember", "user", object.tag));
    }
    addAll(referrersBy("Relation", "primary", object.tag));
}

// The object first, then its parts and theirs, each once.
void Session::collectParts(Object& object, std::vector<tag_t>& parts) {
    std::set<tag_t> known{object.tag};
    parts.assign(1, object.tag);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::vector<tag_t> more;
        // A part that another session has deleted may still be cached, but it has no parts.
        if (Object* part = tryLiving(parts[i]))
            addParts(*part, known, more);
        for (const tag_t tag : more)
            if (known.insert(tag).second)
                parts.push_back(tag);
    }
}

void Session::remove(Object& object) {
    mayWrite();
    if (!bypass_ && !object.isNew() && !allowed(object, "DELETE"))
        throw Failure(kNotAllowed, "user " + userId() + " may not DELETE " + plainName(object));
    needRightsFor(object);
    // Take the write lock before looking for referrers: nobody stores a new reference until the
    // commit.
    StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
    if (!object.isNew() && !store_->exists(object.tag))
        leaveGone(object);
    std::vector<tag_t> going;
    collectParts(object, going);
    store_->aboutToDelete(going);
    const std::set<tag_t> gone(going.begin(), going.end());

    const Attribute& stages = *model().findAttribute(*known_.workspace, "process_stage_list");
    std::set<tag_t> staged;  // objects that lose entries of process_stage_list
    for (const tag_t tag : going) {
        CheckOut by;
        if (checkedOut(tag, &by) && by.user != user_)
            throw Failure(kCheckedOut, "#" + std::to_string(tag) + " is checked out by user " +
                                           displayId(by.user));
        for (const Referrer& referrer : referrers(tag)) {
            // Parts refer to their owner and to one another, and all of them go together.
            if (gone.count(referrer.tag))
                continue;
            // The targets of a process lose it from their lists; any other reference keeps the
            // object.
            if (referrer.attribute == stages.handle) {
                staged.insert(referrer.tag);
                continue;
            }
            const Attribute* attribute = model().attributeOf(referrer.attribute);
            Object* from = tryObject(referrer.tag);
            throw Failure(kStillReferenced,
                          plainName(this->object(tag)) + " can't be deleted: " +
                              (from ? plainName(*from) : "#" + std::to_string(referrer.tag)) +
                              " \"" + (from ? displayId(referrer.tag) : "") +
                              "\" refers to it by " + (attribute ? attribute->name : "?"));
        }
    }

    // An object that only loses entries is written as well, so its lock counts, too.
    std::vector<tag_t> touched = going;
    touched.insert(touched.end(), staged.begin(), staged.end());
    for (const tag_t tag : touched)
        if (const auto owner = store_->locks().owner(tag); owner && owner->session != lock_session_)
            throw Failure(kLockedByOther,
                          "#" + std::to_string(tag) + " is locked by " + described(*owner));

    std::vector<Entries> shortened;
    for (const tag_t tag : staged)
        shortened.push_back(takeOut(this->object(tag), stages, gone));
    eraseStored(going);
    transaction.commit();
    // The cache changes only after the commit: a deletion that failed must not show in it.
    for (Entries& each : shortened) {
        Field& field = each.object->fields.open(each.place);
        field.values = std::move(each.values);
        if (field.stored)
            *field.stored = std::move(each.stored);
        if (!each.object->isNew())
            ++each.object->version;
    }
    forget(going);
}

// Store an array without the references to what goes. Returns: what the object shows when that is
// committed.
Session::Entries Session::takeOut(Object& object, const Attribute& attribute,
                                  const std::set<tag_t>& gone) {
    const auto without = [&](Values values) {
        std::erase_if(values, [&](const Value& value) {
            return gone.count(std::get<Reference>(value).tag) != 0;
        });
        return values;
    };
    Field& list = field(object, attribute);
    Entries after{&object, list.place, without(list.values), {}};
    // The store has nothing of a new object that could be shortened.
    if (object.isNew())
        return after;
    // The stored list and the unsaved one are shortened apart, so unsaved entries stay unsaved.
    const Values& before = list.stored ? *list.stored : list.values;
    after.stored = without(before);
    std::vector<AttributeValues> changed{{attribute.handle, &after.stored}};
    if (!store_->save(object.tag, object.version, changed))
        throw Failure(kChangedMeanwhile,
                      plainName(object) + " was stored by another session since it was read");
    if (recorder_) {
        StoredEntry entry;
        entry.object = object.tag;
        entry.type = object.type->handle;
        entry.values.push_back({attribute.handle, before, after.stored});
        recorder_->add(std::move(entry));
    }
    return after;
}

void Session::erase(std::span<const tag_t> tags) {
    mayWrite();
    {
        StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
        for (const tag_t tag : tags)
            // Who deletes what another session has deleted already is told so, and nothing is
            // deleted.
            needRightsFor(living(tag));
        for (const tag_t tag : tags)
            if (const auto owner = store_->locks().owner(tag);
                owner && owner->session != lock_session_)
                throw Failure(kLockedByOther,
                              "#" + std::to_string(tag) + " is locked by " + described(*owner));
        eraseStored(tags);
        transaction.commit();
    }
    forget(tags);
}

void Session::eraseStored(std::span<const tag_t> tags) {
    // forget() runs after the commit and must not fail there, so it gets its room here.
    if (!batches_.empty())
        removed_in_batch_.reserve(removed_in_batch_.size() + tags.size());
    // Record all before any is erased: the label of a revision needs its item.
    if (recorder_)
        for (const tag_t tag : tags)
            recordErasure(tag);
    for (const tag_t tag : tags) {
        const auto at = cache_.find(tag);
        // A new object has no rows.
        if (at == cache_.end() || !at->second->isNew())
            store_->erase(tag);
        known_in_batch_.erase(tag);
    }
}

void Session::recordErasure(tag_t tag) {
    StoredEntry entry = recorder_->stored(tag, RunChange::ObjectDeleted, Recorder::Side::Before);
    if (entry.type == NULLTAG)
        return;  // never stored
    if (tryObject(tag))
        entry.text = displayId(tag);
    // The check-out goes with the object. Only its own entry lets an undo bring it back.
    if (const auto row = store_->checkOut(tag))
        recorder_->checkedIn(tag, row->user, row->date, row->comment);
    const Type* type = model().typeOf(entry.type);
    StoredEntry file;
    if (type && type->cls->isA(*known_.file)) {
        file.change = RunChange::FileRemoved;
        file.object = tag;
        file.type = entry.type;
        // After the deletion nobody could tell the name.
        file.text = store_->knownFile(tag).name;
    }
    recorder_->add(std::move(entry));
    if (file.object != NULLTAG)
        recorder_->add(std::move(file));
}

void Session::revive(const Revived& object) {
    std::vector<AttributeValues> values;
    for (const auto& [attribute, its] : object.values)
        values.push_back({attribute, &its});
    store_->insert(object.tag, object.type, values, object.version);
    if (recorder_)
        recorder_->addMade(object.tag);
}

// Forget what is deleted, and remove its files after the object: a kill in between leaves a file
// without an object, never the other way round.
void Session::forget(std::span<const tag_t> tags) {
    for (const tag_t tag : tags) {
        const auto at = cache_.find(tag);
        // The row of an uncached object is gone, so only the volume knows whether it was a file.
        const bool placed =
            at != cache_.end() ? at->second->isA(*known_.file) : store_->volume().exists(tag);
        // An undo needs the file of a run that is recorded.
        if (placed && !(recorder_ && recorder_->isStored())) {
            // A batch may still go back, and then its objects need their files again.
            if (!batches_.empty())
                removed_in_batch_.push_back(tag);
            else
                store_->volume().remove(tag);
        }
        drop(tag);
        giveLock(tag);
    }
}

}  // namespace mervane
