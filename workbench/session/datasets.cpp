#include "workbench/session/datasets.h"

#include <algorithm>
#include <deque>
#include <set>

#include "workbench/store/store.h"
#include "workbench/store/volume.h"

namespace mervane {

namespace {

Object& datasetObject(Session& session, tag_t tag) {
    return session.object(tag, standardClass(session, "Dataset"));
}

std::string named(Session& session, const Object& object) {
    return "dataset #" + std::to_string(object.tag) + " \"" + session.displayId(object.tag) + "\"";
}

// What is defined for the type, or for the nearest type above it.
const DatasetTypeInfo* typeInfo(Session& session, const Type& type) {
    for (const Type* at = &type; at; at = at->parent)
        if (const DatasetTypeInfo* info = session.model().datasetType(*at))
            return info;
    return nullptr;
}

void checkReferenceName(Session& session, const Object& dataset, const std::string& name) {
    const std::vector<std::string> names = referenceNamesOf(session, *dataset.type);
    if (names.empty() || std::find(names.begin(), names.end(), name) != names.end())
        return;
    std::string known;
    for (const std::string& each : names)
        known += (known.empty() ? "" : ", ") + each;
    throw Failure(kBadValue, named(session, dataset) + " takes no named reference \"" + name +
                                 "\"; its type " + dataset.type->name + " has " + known);
}

void setReferences(Session& session, Object& dataset, const std::vector<NamedReference>& list) {
    Values names, types, objects;
    for (const NamedReference& each : list) {
        names.push_back(each.name);
        types.push_back(std::int64_t{each.kind});
        objects.push_back(Reference{each.object});
    }
    session.set(dataset, "ref_names", std::move(names));
    session.set(dataset, "ref_types", std::move(types));
    session.set(dataset, "ref_list", std::move(objects));
}

// Take the lock unless the session has it; give up at the end what was taken here.
class Locked {
public:
    Locked(Session& session, Object& object) : session_(session), tag_(object.tag) {
        // A lock from before belongs to the caller, and a new object needs none.
        if (object.locked || object.isNew())
            return;
        session.refresh(object, true);
        taken_ = true;
    }
    ~Locked() {
        if (!taken_)
            return;
        try {
            // A rollback or a failure may have dropped the object, so only its tag is kept.
            if (Object* object = session_.tryObject(tag_))
                session_.refresh(*object, false);
        } catch (const Failure&) {
            // The lock ends with the session at the latest.
        }
    }
    Locked(const Locked&) = delete;

private:
    Session& session_;
    tag_t tag_;
    bool taken_ = false;
};

// Of the files that these datasets refer to, those that nothing outside the set refers to.
std::vector<tag_t> ownFiles(Session& session, const std::vector<tag_t>& datasets,
                            const std::set<tag_t>& going) {
    std::set<tag_t> files;
    for (tag_t tag : datasets) {
        Object* dataset = session.tryObject(tag);
        if (!dataset)
            continue;
        for (tag_t object : session.references(*dataset, "ref_list"))
            if (Object* file = session.tryObject(object);
                file && file->isA(standardClass(session, "VaneFile")))
                files.insert(object);
    }
    std::vector<tag_t> own;
    for (tag_t file : files) {
        const auto users = session.referrers(file);
        if (std::all_of(users.begin(), users.end(),
                        [&](const auto& user) { return going.contains(user.tag); }))
            own.push_back(file);
    }
    return own;
}

// Relations, folders and whatever else showed the version before show the new one. What belongs to
// the versions themselves stays, and a process keeps what it was started on.
std::vector<Object*> moveReferences(Session& session, tag_t from, tag_t to,
                                    std::deque<Locked>& locks) {
    std::vector<Object*> moved;
    for (const auto& referrer : session.referrers(from)) {
        Object* object = session.tryObject(referrer.tag);
        if (!object || referrer.tag == to || object->isA(standardClass(session, "Dataset")) ||
            object->isA(standardClass(session, "DatasetAnchor")) ||
            object->isA(standardClass(session, "FLOWProcess")))
            continue;
        // An object may refer by several attributes, and it is locked and stored once.
        if (std::find(moved.begin(), moved.end(), object) == moved.end()) {
            locks.emplace_back(session, *object);
            moved.push_back(object);
        }
        const Attribute& attribute = session.attribute(*object, referrer.attribute);
        Values values = session.values(*object, attribute);
        std::replace(values.begin(), values.end(), Value(Reference{from}), Value(Reference{to}));
        session.put(*object, attribute.name, std::move(values));
    }
    return moved;
}

// One that was made without an anchor is its own only version.
std::vector<tag_t> versionsOf(Session& session, Object& dataset) {
    const tag_t anchor = session.reference(dataset, "anchor");
    return session.tryObject(anchor) ? datasetVersions(session, anchor)
                                     : std::vector<tag_t>{dataset.tag};
}

std::string lastPart(const std::string& path) {
    const auto separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

}  // namespace

std::vector<std::string> referenceNamesOf(Session& session, const Type& type) {
    const DatasetTypeInfo* info = typeInfo(session, type);
    return info ? info->reference_names : std::vector<std::string>();
}

const Type* findDatasetType(Session& session, std::string_view name) {
    const Type* type = session.model().findType(name);
    return type && type->cls->isA(standardClass(session, "Dataset")) ? type : nullptr;
}

const Tool* defaultTool(Session& session, const Type& type) {
    const DatasetTypeInfo* info = typeInfo(session, type);
    return info ? session.model().findTool(info->tool) : nullptr;
}

Object& newDataset(Session& session, const Type& type, const std::string& name,
                   const std::string& description) {
    if (!type.cls->isA(standardClass(session, "Dataset")))
        throw Failure(kUnknownType, "\"" + type.name + "\" is no dataset type");
    // Anchor and dataset refer to each other, so neither can be stored without the other one.
    Object& anchor = session.create(*session.model().findType("DatasetAnchor"));
    Object& dataset = session.create(type);
    try {
        session.put(dataset, "object_name", {name});
        if (!description.empty())
            session.put(dataset, "object_desc", {description});
        session.put(dataset, "version_no", {std::int64_t{1}});
        session.put(dataset, "anchor", {Reference{anchor.tag}});
        session.put(anchor, "revisions", {Reference{dataset.tag}});
        dataset.saved_along.push_back(anchor.tag);
    } catch (...) {
        session.unload(dataset.tag);
        session.unload(anchor.tag);
        throw;
    }
    return dataset;
}

Object& importFile(Session& session, const std::string& path, const std::string& original_name,
                   int file_type) {
    // The object comes first: its tag is the name of the file in the volume.
    Object& file = session.create(*session.model().findType("VaneFile"));
    try {
        session.put(file, "original_file_name",
                    {original_name.empty() ? lastPart(path) : original_name});
        session.put(file, "file_type", {std::int64_t{file_type}});
        // The file is complete on disk before its object can be saved.
        const FileFacts facts = session.store().volume().place(file.tag, path);
        session.put(file, "byte_size", {facts.byte_size});
        session.put(file, "sha256", {facts.sha256});
    } catch (...) {
        session.unload(file.tag);
        throw;
    }
    return file;
}

tag_t createDataset(Session& session, const std::string& type, const std::string& name) {
    const Type* found = findDatasetType(session, type);
    if (!found)
        throw Failure(kUnknownType, "there is no dataset type \"" + type + "\"");
    Object& dataset = newDataset(session, *found, name, "");
    if (const Tool* tool = defaultTool(session, *found)) {
        session.put(dataset, "tool", {tool->name});
        if (!tool->formats.empty())
            session.put(dataset, "format", {tool->formats.front()});
    }
    session.save(dataset);
    return dataset.tag;
}

tag_t createDatasetVersion(Session& session, tag_t dataset) {
    // A new version follows the newest one, whichever version was given.
    Object& newest =
        datasetObject(session, latestVersion(session, datasetObject(session, dataset)));
    Object& anchor = session.object(datasetAnchor(session, newest));
    std::deque<Locked> locks;
    locks.emplace_back(session, anchor);
    Object& version = session.create(*newest.type);
    std::vector<Object*> changed{&anchor, &version};
    try {
        for (const char* name : {"object_name", "object_desc", "anchor", "tool", "format"})
            session.put(version, name, session.values(newest, name));
        // What is gone isn't carried over.
        setReferences(session, version, namedReferences(session, newest));
        // A version without a number counts as the first one.
        const Values number = session.values(newest, "version_no");
        session.put(
            version, "version_no",
            {number.empty() ? std::int64_t{2} : std::get<std::int64_t>(number.front()) + 1});
        Values versions = session.values(anchor, "revisions");
        versions.push_back(Reference{version.tag});
        session.put(anchor, "revisions", std::move(versions));
        const auto moved = moveReferences(session, newest.tag, version.tag, locks);
        changed.insert(changed.end(), moved.begin(), moved.end());
        session.save(changed);
    } catch (...) {
        for (Object* object : changed)
            // No later save may store a reference to the version that isn't there.
            session.unload(object->tag);
        throw;
    }
    return version.tag;
}

tag_t addFile(Session& session, tag_t dataset, const std::string& reference_name,
              const std::string& path, const std::string& original_name) {
    Object& object = datasetObject(session, dataset);
    // A name that the type doesn't have is refused before the file is copied.
    checkReferenceName(session, object, reference_name);
    Locked lock(session, object);
    Object& file = importFile(session, path, original_name, 0);
    try {
        addReference(session, object, {reference_name, kFileReference, file.tag});
        Object* const both[] = {&file, &object};
        session.save(both);
    } catch (...) {
        session.unload(file.tag);
        throw;
    }
    return file.tag;
}

void addNamedReference(Session& session, tag_t dataset, const std::string& reference_name,
                       tag_t object) {
    Object& changed = datasetObject(session, dataset);
    Locked lock(session, changed);
    // Callers of the platform give the kind, and here the object tells it.
    const bool is_file = session.object(object).isA(standardClass(session, "VaneFile"));
    addReference(session, changed, {reference_name, is_file ? kFileReference : 1, object});
    session.save(changed);
}

tag_t datasetAnchor(Session& session, Object& dataset) {
    const tag_t anchor = session.reference(dataset, "anchor");
    if (!session.tryObject(anchor))
        throw Failure(kUnknownObject, named(session, dataset) + " has no anchor");
    return anchor;
}

std::vector<tag_t> datasetVersions(Session& session, tag_t anchor) {
    Object& object = session.object(anchor, standardClass(session, "DatasetAnchor"));
    auto versions = session.references(object, "revisions");
    // A deletion that asks nobody may have left the entry of a version.
    std::erase_if(versions, [&](tag_t tag) { return !session.tryLiving(tag); });
    return versions;
}

tag_t latestVersion(Session& session, Object& dataset) {
    const auto versions = versionsOf(session, dataset);
    return versions.empty() ? dataset.tag : versions.back();
}

tag_t previousVersion(Session& session, Object& dataset) {
    const auto versions = versionsOf(session, dataset);
    const auto at = std::find(versions.begin(), versions.end(), dataset.tag);
    // An anchor may have lost the entry of a version, which then has none before it.
    if (at == versions.begin() || at == versions.end())
        throw Failure(kNoPreviousVersion, named(session, dataset) + " has no previous version");
    return *(at - 1);
}

std::vector<NamedReference> namedReferences(Session& session, Object& dataset) {
    const Values& names = session.list(dataset, "ref_names");
    const Values& types = session.list(dataset, "ref_types");
    const Values& objects = session.list(dataset, "ref_list");
    std::vector<NamedReference> list;
    // The three lists can be set one without the others, so their lengths may differ.
    for (std::size_t i = 0; i < std::min({names.size(), types.size(), objects.size()}); ++i) {
        const tag_t object = std::get<Reference>(objects[i]).tag;
        if (session.tryLiving(object))
            list.push_back({std::get<std::string>(names[i]),
                            static_cast<int>(std::get<std::int64_t>(types[i])), object});
    }
    return list;
}

void addReference(Session& session, Object& dataset, const NamedReference& reference) {
    checkReferenceName(session, dataset, reference.name);
    session.object(reference.object);
    auto list = namedReferences(session, dataset);
    list.push_back(reference);
    setReferences(session, dataset, list);
}

void replaceReference(Session& session, Object& dataset, tag_t old_object,
                      const NamedReference& reference) {
    if (old_object == NULLTAG)
        return addReference(session, dataset, reference);
    checkReferenceName(session, dataset, reference.name);
    session.object(reference.object);
    auto list = namedReferences(session, dataset);
    const auto old = std::find_if(list.begin(), list.end(), [&](const NamedReference& each) {
        return each.object == old_object && each.name == reference.name;
    });
    if (old == list.end())
        throw Failure(kBadValue, named(session, dataset) + " has no named reference \"" +
                                     reference.name + "\" to #" + std::to_string(old_object));
    // The new object takes the place of the old one, so the order of the references stays.
    *old = reference;
    setReferences(session, dataset, list);
}

std::vector<tag_t> datasetParts(Session& session, Object& dataset) {
    std::vector<tag_t> parts{dataset.tag};
    const tag_t anchor = session.reference(dataset, "anchor");
    if (session.tryObject(anchor))
        parts = datasetVersions(session, anchor);
    std::set<tag_t> going(parts.begin(), parts.end());
    const auto files = ownFiles(session, parts, going);
    if (session.tryObject(anchor))
        parts.push_back(anchor);
    parts.insert(parts.end(), files.begin(), files.end());
    return parts;
}

void purgeVersions(Session& session, Object& dataset) {
    // Without an older version nobody needs the lock.
    if (versionsOf(session, dataset).size() < 2)
        return;
    Object& anchor = session.object(datasetAnchor(session, dataset));
    Locked anchor_lock(session, anchor);
    // Read again under the lock: another session may have purged them.
    auto versions = datasetVersions(session, anchor.tag);
    if (versions.size() < 2)
        return;
    const tag_t newest = versions.back();
    versions.pop_back();
    std::set<tag_t> going(versions.begin(), versions.end());
    // The anchor refers to every version, and its list is shortened below.
    going.insert(anchor.tag);
    for (tag_t version : versions)
        for (const auto& referrer : session.referrers(version))
            if (!going.contains(referrer.tag))
                throw Failure(kStillReferenced,
                              named(session, session.object(version)) + " can't be purged: #" +
                                  std::to_string(referrer.tag) + " \"" +
                                  session.displayId(referrer.tag) + "\" refers to it");
    for (tag_t version : versions) {
        Object& old = session.object(version);
        if (!session.bypass() && !session.allowed(old, "DELETE"))
            throw Failure(kNotAllowed,
                          "user " + session.userId() + " may not DELETE " + named(session, old));
        // Try the lock: a version that somebody works on isn't purged.
        Locked(session, old);
    }
    auto gone = versions;
    const auto files = ownFiles(session, versions, going);
    gone.insert(gone.end(), files.begin(), files.end());

    // The list and the deletions are one change: the anchor never lists what is gone.
    SessionBatch batch(session);
    session.put(anchor, "revisions", {Reference{newest}});
    session.save(anchor);
    session.erase(gone);
    batch.commit();
}

void exportFile(Session& session, Object& file, const std::string& path) {
    // The session's values count, since the store knows nothing of a file that isn't saved yet.
    StoredFile known;
    known.tag = file.tag;
    known.name = session.text(file, "original_file_name");
    if (const Values size = session.values(file, "byte_size"); !size.empty())
        known.byte_size = std::get<std::int64_t>(size.front());
    if (const Values sum = session.values(file, "sha256"); !sum.empty())
        known.sha256 = std::get<std::string>(sum.front());
    session.store().volume().writeTo(known, path);
}

}  // namespace mervane
