#include "workbench/session/items.h"

#include <algorithm>

#include "workbench/session/relations.h"

namespace mervane {

namespace {

// The type named after this one or after the nearest type above it: "ORLAJob" has revisions of the
// type "ORLAJobRevision", a type below it without one of its own has the same.
const Type& companion(Session& session, const Type& type, const std::string& suffix,
                      const Class& cls, const char* standard) {
    for (const Type* at = &type; at; at = at->parent)
        if (const Type* found = session.model().findType(at->name + suffix);
            found && found->cls->isA(cls))
            return *found;
    return *session.model().findType(standard);
}

std::string numbered(std::uint32_t number) {
    std::string digits = std::to_string(number);
    return std::string(digits.size() < 6 ? 6 - digits.size() : 0, '0') + digits;
}

// Choose a number that no item has and no other session has chosen. Doubling and halving finds the
// one after the last in few searches, if all ids were chosen here.
std::string freeItemId(Session& session) {
    const auto taken = [&](std::uint32_t number) {
        return findItem(session, numbered(number)) != NULLTAG;
    };
    std::uint32_t below = 0, above = 1;
    while (taken(above)) {
        below = above;
        above *= 2;
    }
    while (above - below > 1) {
        const std::uint32_t middle = below + (above - below) / 2;
        (taken(middle) ? below : above) = middle;
    }
    // Asked once more when it is kept: another session may have saved it and ended since.
    while (!session.keepNumber(above) || taken(above))
        ++above;
    return numbered(above);
}

// A to Z, then AA and so on; whoever numbers revisions goes on with the next number.
std::string nextRevisionId(const std::string& last) {
    std::string next = last;
    const bool digits = !next.empty() && std::all_of(next.begin(), next.end(),
                                                     [](char c) { return c >= '0' && c <= '9'; });
    const char first = digits ? '0' : 'A', end = digits ? '9' : 'Z';
    for (std::size_t i = next.size(); i-- > 0;) {
        if (next[i] < first || next[i] > end)
            // This character is neither a letter nor a digit to count up, so the id gets longer.
            return next + "A";
        if (next[i] != end) {
            ++next[i];
            return next;
        }
        next[i] = first;
    }
    return (digits ? "1" : "A") + next;
}

// The form, and the relation that makes it a master form.
void addMasterForm(Session& session, Object& owner, const char* standard, const std::string& name,
                   std::vector<tag_t>& saved_along) {
    const Type& type =
        companion(session, *owner.type, " Master", standardClass(session, "Form"), standard);
    Object& form = session.create(type);
    // The list gets each part at once: after a failure the caller drops what is in it.
    saved_along.push_back(form.tag);
    // A name that is made of two ids may be longer than the field.
    session.put(form, "object_name", {name.substr(0, 128)});
    Object& relation = newRelation(session, owner.tag, form.tag,
                                   session.model().findRelationType("VANE_master_form")->handle);
    saved_along.push_back(relation.tag);
}

std::int64_t orderOf(Session& session, tag_t revision) {
    const Values values = session.values(session.object(revision), "order_no");
    return values.empty() ? 0 : std::get<std::int64_t>(values.front());
}

// The revision and its form; their tags go into the list.
Object& makeRevision(Session& session, Object& item, const std::string& revision_id,
                     std::int64_t order, std::vector<tag_t>& saved_along) {
    Object& revision = session.create(companion(
        session, *item.type, "Revision", standardClass(session, "ItemRevision"), "ItemRevision"));
    saved_along.push_back(revision.tag);
    session.put(revision, "items_tag", {Reference{item.tag}});
    session.set(revision, "item_revision_id", {revision_id});
    session.put(revision, "order_no", {order});
    session.put(revision, "object_name", session.values(item, "object_name"));
    addMasterForm(session, revision, "ItemRevision Master",
                  session.text(item, "item_id") + "/" + revision_id, saved_along);
    return revision;
}

void unloadAll(Session& session, const std::vector<tag_t>& tags) {
    for (tag_t tag : tags)
        session.unload(tag);
}

}  // namespace

Object& newItem(Session& session, const Type& type, const std::string& id, const std::string& name,
                const std::string& revision_id, Object** first_revision) {
    if (!type.cls->isA(standardClass(session, "Item")))
        throw Failure(kWrongClass, "\"" + type.name + "\" is no type of items");
    // The save tests again: another session may take the id meanwhile.
    if (!id.empty() && findItem(session, id) != NULLTAG)
        throw Failure(kDuplicateId, "there is an item " + id + " already");
    const std::string item_id = id.empty() ? freeItemId(session) : id;

    Object& item = session.create(type);
    std::vector<tag_t> parts;
    try {
        session.set(item, "item_id", {item_id});
        session.set(item, "object_name", {name.empty() ? item_id : name});
        addMasterForm(session, item, "Item Master", item_id, parts);
        Object& revision =
            makeRevision(session, item, revision_id.empty() ? "A" : revision_id, 1, parts);
        item.saved_along = parts;
        if (first_revision)
            *first_revision = &revision;
        return item;
    } catch (...) {
        parts.push_back(item.tag);
        unloadAll(session, parts);
        throw;
    }
}

Object& newRevision(Session& session, Object& item, const std::string& revision_id) {
    // The newest has the highest number; reading all of many revisions would take long.
    const tag_t newest = session.lastReferrerBy("ItemRevision", "items_tag", item.tag);
    std::string id = revision_id;
    if (id.empty()) {
        if (newest != NULLTAG)
            id = session.text(session.object(newest), "item_revision_id");
        do
            // Somebody may have given the next id to an older revision.
            id = nextRevisionId(id);
        while (findRevision(session, item.tag, id) != NULLTAG);
    } else if (findRevision(session, item.tag, id) != NULLTAG) {
        throw Failure(kDuplicateId,
                      session.displayId(item.tag) + " has a revision " + id + " already");
    }
    std::vector<tag_t> parts;
    try {
        Object& revision = makeRevision(
            session, item, id, newest == NULLTAG ? 1 : orderOf(session, newest) + 1, parts);
        // The first part is the revision itself.
        revision.saved_along.assign(parts.begin() + 1, parts.end());
        return revision;
    } catch (...) {
        unloadAll(session, parts);
        throw;
    }
}

std::vector<tag_t> revisionsOf(Session& session, tag_t item) {
    struct Placed {
        std::int64_t order;
        tag_t tag;
    };
    std::vector<Placed> placed;
    for (tag_t tag : session.referrersBy("ItemRevision", "items_tag", item))
        if (session.tryObject(tag))
            placed.push_back({orderOf(session, tag), tag});
    std::sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
        // An imported revision may have no order, and then its tag tells its age.
        return a.order != b.order ? a.order < b.order : a.tag < b.tag;
    });
    std::vector<tag_t> tags;
    for (const Placed& each : placed)
        tags.push_back(each.tag);
    return tags;
}

tag_t findRevision(Session& session, tag_t item, const std::string& revision_id) {
    const auto found =
        session.findByTextOf("ItemRevision", "items_tag", item, "item_revision_id", revision_id);
    return found.empty() ? NULLTAG : found.front();
}

tag_t findItem(Session& session, const std::string& id) {
    const auto found = session.findByText("Item", "item_id", id);
    return found.empty() ? NULLTAG : found.front();
}

}  // namespace mervane
