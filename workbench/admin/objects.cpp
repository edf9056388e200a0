#include "workbench/admin/store_workbench.h"
#include "workbench/session/bom_window.h"
#include "workbench/session/datasets.h"
#include "workbench/session/interface.h"
#include "workbench/session/items.h"
#include "workbench/session/relations.h"
#include "workbench/session/structure.h"

// Making objects; each is stored when the call returns, or isn't there.

namespace mervane {

namespace {

const Type& typeNamed(Session& session, const std::string& name, const char* cls) {
    const std::string wanted = name.empty() ? cls : name;
    const Type* type = session.model().findType(wanted);
    if (!type)
        throw Failure(kUnknownType, "there is no type " + wanted);
    if (!type->cls->isA(*session.model().findClass(cls)))
        throw Failure(kWrongClass, "the type " + wanted + " is not of the class " + cls);
    return *type;
}

// Save a new object; it goes again if that fails.
tag_t stored(Session& session, Object& object) {
    const tag_t tag = object.tag;
    const std::vector<tag_t> parts = object.saved_along;
    try {
        session.save(object);
        return tag;
    } catch (...) {
        for (const tag_t part : parts)
            session.unload(part);
        session.unload(tag);
        throw;
    }
}

// Fresh values, unless this session has unsaved ones.
Object& fresh(Session& session, tag_t tag) {
    Object& object = session.object(tag);
    if (!object.isNew() && !object.isDirty())
        session.refresh(object, object.locked);
    return session.object(tag);
}

void setAndSave(Session& session, Object& object, const std::string& attribute, Values values) {
    const bool was_new = object.isNew();
    const bool was_dirty = object.isDirty();
    try {
        // put() needs no lock, and the save refuses what another session has locked.
        session.put(object, attribute, std::move(values));
        session.save(object);
    } catch (...) {
        // What couldn't be stored isn't shown either.
        if (!was_new && !was_dirty)
            session.refresh(object, object.locked);
        throw;
    }
}

}  // namespace

tag_t StoreWorkbench::createItem(const std::string& id, const std::string& name,
                                 const std::string& type, const std::string& revision,
                                 tag_t* first_revision) {
    Object* first = nullptr;
    Object& item = newItem(now(), typeNamed(now(), type, "Item"), id, name, revision, &first);
    const tag_t first_tag = first->tag;
    const tag_t tag = stored(now(), item);
    if (first_revision)
        *first_revision = first_tag;
    return tag;
}

tag_t StoreWorkbench::createRevision(tag_t item, const std::string& revision) {
    Object& owner = now().object(item, *now().model().findClass("Item"));
    return stored(now(), newRevision(now(), owner, revision));
}

tag_t StoreWorkbench::createForm(const std::string& type, const std::string& name) {
    Object& form = now().create(typeNamed(now(), type, "Form"));
    now().put(form, "object_name", {name});
    return stored(now(), form);
}

tag_t StoreWorkbench::createFolder(const std::string& name) {
    Object& folder = now().create(typeNamed(now(), "", "Folder"));
    now().put(folder, "object_name", {name});
    return stored(now(), folder);
}

void StoreWorkbench::addToFolder(tag_t folder, tag_t content) {
    Object& object = fresh(now(), folder);
    if (!object.isA(*now().model().findClass("Folder")))
        throw Failure(kWrongClass, plainName(object) + " is no folder");
    now().object(content);
    Values contents = now().values(object, "contents");
    contents.emplace_back(Reference{content});
    setAndSave(now(), object, "contents", std::move(contents));
}

tag_t StoreWorkbench::createDataset(const std::string& type, const std::string& name) {
    return mervane::createDataset(now(), type, name);
}

tag_t StoreWorkbench::createDatasetVersion(tag_t dataset) {
    return mervane::createDatasetVersion(now(), dataset);
}

tag_t StoreWorkbench::addFile(tag_t dataset, const std::string& reference_name,
                              const std::string& path, const std::string& original_name) {
    return mervane::addFile(now(), dataset, reference_name, path, original_name);
}

void StoreWorkbench::addNamedReference(tag_t dataset, const std::string& reference_name,
                                       tag_t object) {
    mervane::addNamedReference(now(), dataset, reference_name, object);
}

tag_t StoreWorkbench::relate(tag_t primary, tag_t secondary, const std::string& relation_type) {
    const RelationType* type = now().model().findRelationType(relation_type);
    if (!type)
        throw Failure(kUnknownType, "there is no relation type " + relation_type);
    return stored(now(), newRelation(now(), primary, secondary, type->handle));
}

tag_t StoreWorkbench::create(const std::string& type) {
    return stored(now(), now().create(typeNamed(now(), type, "Instance")));
}

void StoreWorkbench::set(tag_t object, const std::string& attribute, const Values& values) {
    for (const Value& value : values)
        if (const auto* reference = std::get_if<Reference>(&value);
            reference && reference->tag != NULLTAG)
            // put() below doesn't look the targets up.
            now().object(reference->tag);
    setAndSave(now(), fresh(now(), object), attribute, values);
}

Values StoreWorkbench::get(tag_t object, const std::string& attribute) {
    if (isLine(object))
        return lineProperty(now(), object, attribute).values;
    return now().property(now().object(object), attribute).values;
}

void StoreWorkbench::needDisplayText(tag_t object, const std::string& property,
                                     const std::string& text) {
    now().needDisplayText(now().object(object), property, text);
}

void StoreWorkbench::checkOut(tag_t object, const std::string& comment) {
    now().checkOut(now().object(object), comment);
}

void StoreWorkbench::checkIn(tag_t object) {
    now().checkIn(now().object(object));
}

std::optional<CheckOutInfo> StoreWorkbench::checkOutOf(tag_t object) {
    Session::CheckOut by;
    if (!now().checkedOut(object, &by))
        return std::nullopt;
    return CheckOutInfo{now().displayId(by.user), by.date, by.comment};
}

void StoreWorkbench::needRead(tag_t object) {
    Object& asked = now().object(object);
    if (!now().allowed(asked, "READ"))
        throw Failure(kNotAllowed, "user " + now().userId() + " may not READ " + plainName(asked));
}

void StoreWorkbench::asOne(const std::function<void()>& steps) {
    Session& session = now();
    const std::unordered_set<tag_t> held = session.locksHeld();
    SessionBatch batch(session);
    try {
        steps();
        batch.commit();
    } catch (...) {
        // The rollback comes first, since locks are only given up when their objects aren't cached.
        batch.takeBack();
        session.keepLocks(held);
        throw;
    }
}

// ---- structures ----

tag_t StoreWorkbench::bomViewRevision(tag_t revision) {
    return mervane::bomViewRevision(now(), revision);
}

tag_t StoreWorkbench::addOccurrence(tag_t parent_revision, tag_t child_revision,
                                    const std::string& quantity, const std::string& sequence_no) {
    const tag_t made =
        mervane::addOccurrence(now(), parent_revision, child_revision, quantity, sequence_no);
    // Otherwise only functions of the platform do so, and a host may add many.
    detail::keepCacheSmall();
    return made;
}

int StoreWorkbench::copyStructure(tag_t from_revision, tag_t to_revision) {
    return mervane::copyStructure(now(), from_revision, to_revision);
}

tag_t StoreWorkbench::openBomWindow(tag_t revision) {
    return now().bomWindows().open(revision);
}

StructureSize StoreWorkbench::measure(tag_t revision, std::size_t most) {
    return measureStructure(now(), revision, most);
}

void StoreWorkbench::saveBomWindow(tag_t line) {
    now().bomWindows().save(line);
}

void StoreWorkbench::closeBomWindow(tag_t line) {
    now().bomWindows().close(line);
}

}  // namespace mervane
