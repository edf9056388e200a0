#include <algorithm>
#include <set>

#include "workbench/admin/store_workbench.h"
#include "workbench/model/searched.h"
#include "workbench/names.h"
#include "workbench/session/items.h"
#include "workbench/session/lines.h"
#include "workbench/session/organisation.h"
#include "workbench/session/properties.h"
#include "workbench/session/relations.h"

// Objects by the names that people give them.

namespace mervane {

namespace {

bool isA(Session& session, const Object& object, const char* cls) {
    return object.isA(*session.model().findClass(cls));
}

std::string nameOf(Session& session, Object& object) {
    for (const char* attribute : {"object_name", "name", "user_name", "group_name", "site_name",
                                  "person_name", "note_name", "original_file_name", "id"})
        if (object.type->by_name.count(attribute))
            if (std::string name = session.text(object, attribute); !name.empty())
                return name;
    return {};
}

// What people type to name the object: plain, and with its parts quoted where they must be.
struct Id {
    std::string plain, typed;
};

Id itemOrRevisionId(Session& session, Object& object) {
    Id id{session.displayId(object.tag), {}};
    if (isA(session, object, "Item")) {
        id.typed = quotedName(id.plain);
        return id;
    }
    const std::string revision = session.text(object, "item_revision_id");
    // The plain id ends with a slash and the revision's id. Each of the two ids may have slashes.
    id.typed = quotedName(id.plain.substr(0, id.plain.size() - revision.size() - 1)) + "/" +
               quotedName(revision);
    return id;
}

Id tagId(const Object& object) {
    const std::string tag = "#" + std::to_string(object.tag);
    return {tag, tag};
}

// "000123/A:drawing" of a dataset that a revision or item has a relation to, else its tag.
Id datasetId(Session& session, Object& dataset) {
    const std::string name = session.text(dataset, "object_name");
    for (const Relation& relation : relationsTo(session, dataset.tag, NULLTAG)) {
        // Of several owners the one with the oldest relation gives the id.
        Object* owner = session.tryObject(relation.other);
        if (owner && (isA(session, *owner, "ItemRevision") || isA(session, *owner, "Item"))) {
            const Id id = itemOrRevisionId(session, *owner);
            return {id.plain + ":" + name, id.typed + ":" + quotedName(name)};
        }
    }
    return tagId(dataset);
}

Id idOf(Session& session, Object& object) {
    if (isA(session, object, "Item") || isA(session, object, "ItemRevision"))
        return itemOrRevisionId(session, object);
    if (isA(session, object, "Dataset"))
        return datasetId(session, object);
    return tagId(object);
}

[[noreturn]] void unknown(const std::string& name) {
    throw Failure(kUnknownObject, "nothing is called " + quotedName(name));
}

tag_t findDataset(Session& session, tag_t owner, const std::string& name,
                  const std::string& asked) {
    tag_t found = NULLTAG;
    for (const Relation& relation : relationsFrom(session, owner, NULLTAG)) {
        Object& other = session.object(relation.other);
        // A dataset with several relations to the owner is still one.
        if (!isA(session, other, "Dataset") || session.text(other, "object_name") != name ||
            other.tag == found)
            continue;
        if (found != NULLTAG)
            throw Failure(kBadValue, "several datasets are called " + quotedName(asked) + ": #" +
                                         std::to_string(found) + ", #" + std::to_string(other.tag));
        found = other.tag;
    }
    return found;
}

// An item or a revision; ids may hold a slash themselves.
tag_t findItemOrRevision(Session& session, const std::string& name) {
    if (const tag_t item = findItem(session, name); item != NULLTAG)
        return item;
    // The last slash comes first, so the longest id of an item counts.
    for (std::size_t slash = name.rfind('/'); slash != std::string::npos && slash > 0;
         slash = name.rfind('/', slash - 1)) {
        const tag_t item = findItem(session, name.substr(0, slash));
        if (item == NULLTAG)
            continue;
        const tag_t revision = findRevision(session, item, name.substr(slash + 1));
        if (revision != NULLTAG)
            return revision;
    }
    return NULLTAG;
}

// The parts of a name with at least one in quotes: item, "/" and revision, ":" and dataset; the
// latter two may be missing. Nothing: there are no quotes, or they don't enclose whole parts.
struct NameParts {
    std::string item;
    std::optional<std::string> revision, dataset;
};
std::optional<NameParts> quotedParts(std::string_view name) {
    bool any = false;
    const auto take = [&](std::string_view ends) {
        if (std::optional<std::string> part = takeQuoted(name)) {
            any = true;
            return *part;
        }
        const std::size_t end = std::min(name.find_first_of(ends), name.size());
        std::string part(name.substr(0, end));
        name.remove_prefix(end);
        return part;
    };
    const auto follows = [&](char sign) {
        const bool there = name.starts_with(sign);
        name.remove_prefix(there ? 1 : 0);
        return there;
    };
    NameParts parts{take("/:"), std::nullopt, std::nullopt};
    if (follows('/'))
        parts.revision = take(":");
    if (follows(':'))
        parts.dataset = take("");
    // Without quotes each separator may be a part of an id, and resolve() tries them.
    return any && name.empty() ? std::optional(parts) : std::nullopt;
}

tag_t findQuoted(Session& session, const NameParts& parts, const std::string& name) {
    tag_t found = findItem(session, parts.item);
    if (found != NULLTAG && parts.revision)
        found = findRevision(session, found, *parts.revision);
    if (found != NULLTAG && parts.dataset)
        found = findDataset(session, found, *parts.dataset, name);
    return found;
}

// What is before and after the sign at this place.
std::pair<std::string, std::string> splitAt(const std::string& name, std::size_t at) {
    return {name.substr(0, at), name.substr(at + 1)};
}

// The objects of a type and its subtypes, by tag, read in small parts: a search with a limit ends
// early.
class ObjectsOfType {
public:
    ObjectsOfType(Session& session, const Type& wanted) : store_(session.store()) {
        lists_.push_back({wanted.handle, {}});
        for (const Type* type : session.model().subtypes(wanted))
            lists_.push_back({type->handle, {}});
        for (List& list : lists_)
            read(list, 1);
    }

    // NULLTAG: there are no more.
    Store::Hit next() {
        List* first = nullptr;
        for (List& list : lists_)
            // Each list is sorted, so the lowest of the first tags is the next one of all types.
            if (list.at < list.tags.size() &&
                (!first || list.tags[list.at] < first->tags[first->at]))
                first = &list;
        if (!first)
            return {};
        const Store::Hit hit{first->tags[first->at], first->type};
        if (++first->at == first->tags.size())
            read(*first, hit.tag + 1);
        return hit;
    }

private:
    static constexpr int kSome = 256;
    struct List {
        tag_t type = NULLTAG;
        std::vector<tag_t> tags;  // some of them
        std::size_t at = 0;
    };

    void read(List& list, tag_t from) {
        list.tags = store_.ofType(list.type, from, kSome);
        list.at = 0;
    }

    Store& store_;
    std::vector<List> lists_;
};

}  // namespace

tag_t StoreWorkbench::resolve(const std::string& name) {
    if (const auto parts = quotedParts(name)) {
        const tag_t found = findQuoted(now(), *parts, name);
        if (found == NULLTAG)
            unknown(name);
        return found;
    }
    // What looks like a tag is one: an id of this form is typed in quotes.
    if (name.size() > 1 && name[0] == '#' &&
        name.find_first_not_of("0123456789", 1) == std::string::npos && name.size() < 12) {
        // Ten digits fit here. More than that are no tag, and the length above keeps them out.
        const unsigned long long number = std::stoull(name.substr(1));
        if (number >= kFirstHandle || !now().tryObject(static_cast<tag_t>(number)))
            unknown(name);
        return static_cast<tag_t>(number);
    }
    if (const tag_t found = findItemOrRevision(now(), name); found != NULLTAG)
        return found;
    // Ids and names of datasets may have colons, so try each.
    for (std::size_t colon = name.find(':'); colon != std::string::npos;
         colon = name.find(':', colon + 1)) {
        const tag_t owner = findItemOrRevision(now(), name.substr(0, colon));
        if (owner == NULLTAG)
            continue;
        const tag_t dataset = findDataset(now(), owner, name.substr(colon + 1), name);
        if (dataset != NULLTAG)
            return dataset;
    }
    unknown(name);
}

Found StoreWorkbench::describe(tag_t tag) {
    if (isLine(tag)) {
        const Values name = lineProperty(now(), tag, "object_name").values;
        const std::string id = "#" + std::to_string(tag);
        return {tag,
                "BOMLine",
                "BOMLine",
                id,
                name.empty() ? std::string() : std::get<std::string>(name.front()),
                id};
    }
    Object& object = now().object(tag);
    const Id id = idOf(now(), object);
    return {tag, object.cls().name, object.type->name, id.plain, nameOf(now(), object), id.typed};
}

std::vector<std::string> StoreWorkbench::similarNames(const std::string& name) {
    Session& session = now();
    std::vector<std::string> names;
    const auto add = [&](tag_t tag) {
        if (tag != NULLTAG)
            names.push_back(describe(tag).typed);
    };
    const Attribute& item_id =
        *session.model().findAttribute(*session.model().findClass("Item"), "item_id");
    // A slash after the colon is a part of the dataset's name.
    const std::size_t colon = name.find(':'), slash = name.rfind('/', colon);
    const auto itemsLike = [&](const std::string& id) {
        std::vector<tag_t> items;
        // The store looks these names up in an index, which costs the same in a store of any size.
        for (const std::string& near : session.store().textsNear(item_id.handle, id))
            items.push_back(findItem(session, near));
        return items;
    };
    for (const tag_t item : itemsLike(name))
        add(item);
    const std::string owner_name = name.substr(0, colon);
    if (slash != std::string::npos) {
        const auto [item_name, revision] = splitAt(owner_name, slash);
        for (const tag_t item : itemsLike(item_name))
            add(findRevision(session, item, revision));
        if (const tag_t item = findItem(session, item_name); item != NULLTAG)
            for (const tag_t each : session.referrersBy("ItemRevision", "items_tag", item))
                add(each);
    }
    if (colon == std::string::npos)
        return names;
    for (const tag_t item : itemsLike(owner_name))
        add(item);
    if (const tag_t owner = findItemOrRevision(session, owner_name); owner != NULLTAG)
        for (const Relation& relation : relationsFrom(session, owner, NULLTAG))
            if (Object* other = session.tryObject(relation.other);
                other && isA(session, *other, "Dataset"))
                add(other->tag);
    return names;
}

std::vector<std::string> StoreWorkbench::attributeNames(tag_t object) {
    std::vector<std::string> names;
    for (const Attribute* attribute : now().object(object).type->layout)
        names.push_back(attribute->name);
    return names;
}

std::vector<Found> StoreWorkbench::find(const FindQuery& query) {
    Session& session = now();
    const std::string type_name = query.type.empty() ? "WorkspaceObject" : query.type;
    const Type* wanted = session.model().findType(type_name);
    if (!wanted)
        throw Failure(kUnknownType, "there is no type " + type_name);
    const std::string text = query.text.empty() ? "*" : query.text;
    tag_t owner = NULLTAG;
    if (!query.owner.empty()) {
        owner = findUser(session, query.owner);
        if (owner == NULLTAG)
            throw Failure(kUnknownObject, "there is no user " + query.owner);
    }

    std::set<tag_t> held;  // what is checked out by whoever is asked for
    const bool held_only = query.checked_out || !query.checked_out_by.empty();
    if (held_only) {
        const tag_t by =
            query.checked_out_by.empty() ? NULLTAG : findUser(session, query.checked_out_by);
        if (by == NULLTAG && !query.checked_out_by.empty())
            throw Failure(kUnknownObject, "there is no user " + query.checked_out_by);
        for (const Store::CheckOutRow& row : session.store().checkOuts())
            if (by == NULLTAG || row.user == by)
                held.insert(row.object);
    }

    // Stars alone fit objects that have no name, too, so no search by names will do.
    const bool any_name = text.find_first_not_of('*') == std::string::npos;
    std::vector<Store::Hit> hits;
    std::optional<ObjectsOfType> all;
    if (!any_name)
        hits = hitsByName(*wanted, text);
    else if (!held_only)
        all.emplace(session, *wanted);
    else
        // Check-outs are fewer than objects, so they are asked in place of all objects of the type.
        for (const tag_t tag : held)
            if (const Object* object = session.tryObject(tag))
                hits.push_back({tag, object->type->handle});

    std::vector<Found> found;
    tag_t last = NULLTAG;
    for (std::size_t i = 0; all || i < hits.size(); ++i) {
        const Store::Hit hit = all ? all->next() : hits[i];
        if (hit.tag == NULLTAG)
            break;
        const Type* type = session.model().typeOf(hit.type);
        if (hit.tag == last || !type || !type->isA(*wanted))
            continue;
        last = hit.tag;
        if (held_only && !held.contains(hit.tag))
            continue;
        Object* object = session.tryObject(hit.tag);
        if (!object)
            continue;
        // An object that isn't of the workspace has no owner.
        if (owner != NULLTAG && (!object->type->by_name.count("owning_user") ||
                                 session.reference(*object, "owning_user") != owner))
            continue;
        if (isA(session, *object, "Dataset") && !isNewest(*object))
            continue;
        if (!query.status.empty()) {
            const std::string status = latestStatusName(session, *object);
            if (status.empty() ? query.status != kNoStatus : status != query.status)
                continue;
        }
        found.push_back(describe(hit.tag));
        if (query.limit > 0 && found.size() == static_cast<std::size_t>(query.limit))
            break;
    }
    return found;
}

// By tag; an object may come twice.
std::vector<Store::Hit> StoreWorkbench::hitsByName(const Type& wanted, const std::string& text) {
    Session& session = now();
    std::vector<Store::Hit> hits;
    const auto add = [&](const std::vector<Store::Hit>& more) {
        hits.insert(hits.end(), more.begin(), more.end());
    };
    for (const SearchedText& each : kSearchedTexts) {
        const Class& cls = *session.model().findClass(each.cls);
        // The class of a text may be above the wanted one or below it. find() tests the type of
        // each hit.
        if (wanted.cls->isA(cls) || cls.isA(*wanted.cls))
            add(session.store().withPattern(
                session.model().findAttribute(cls, each.attribute)->handle, text));
    }
    // "000123/A", "0001*/B"; where revisions are wanted, "000123" too.
    const Class& revision_class = *session.model().findClass("ItemRevision");
    const std::size_t slash = text.rfind('/');
    const bool revisions_alone = wanted.cls->isA(revision_class);
    const bool both_ids = slash != std::string::npos;
    if (revisions_alone || (both_ids && revision_class.isA(*wanted.cls))) {
        const Attribute& item_id =
            *session.model().findAttribute(*session.model().findClass("Item"), "item_id");
        const Attribute& items_tag = *session.model().findAttribute(revision_class, "items_tag");
        const tag_t revision_id =
            session.model().findAttribute(revision_class, "item_revision_id")->handle;
        const std::string revision = both_ids ? text.substr(slash + 1) : "*";
        std::vector<Store::Hit> candidates;
        for (const Store::Hit& item :
             session.store().withPattern(item_id.handle, both_ids ? text.substr(0, slash) : text))
            for (const auto& each : session.store().referrersBy(items_tag.handle, item.tag))
                candidates.push_back({each.tag, each.type});
        add(session.store().thoseWithPattern(std::move(candidates), revision_id, revision));
    }
    std::sort(hits.begin(), hits.end(),
              [](const Store::Hit& a, const Store::Hit& b) { return a.tag < b.tag; });
    return hits;
}

std::optional<TextIndexState> StoreWorkbench::textIndex() {
    return now().store().textIndex();
}

void StoreWorkbench::setTextIndex(bool on) {
    now().needAdministrator("make or drop the index of texts");
    now().store().setTextIndex(on);
}

// Older versions of a dataset are reached through the newest one.
bool StoreWorkbench::isNewest(Object& dataset) {
    Object* anchor = now().tryObject(now().reference(dataset, "anchor"));
    if (!anchor)
        return true;
    const auto versions = now().references(*anchor, "revisions");
    return versions.empty() || versions.back() == dataset.tag;
}

}  // namespace mervane
