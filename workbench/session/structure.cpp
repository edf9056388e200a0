#include "workbench/session/structure.h"

#include <algorithm>
#include <limits>
#include <set>
#include <unordered_map>

#include "workbench/session/bom_window.h"
#include "workbench/store/store.h"

namespace mervane {

namespace {

const Class& classNamed(Session& session, const char* name) {
    return *session.model().findClass(name);
}

Object& revisionObject(Session& session, tag_t tag) {
    return session.object(tag, classNamed(session, "ItemRevision"));
}

std::int64_t orderOf(Session& session, Object& occurrence) {
    const Values values = session.values(occurrence, "order_no");
    return values.empty() ? 0 : std::get<std::int64_t>(values.front());
}

UsePath usePath(Session& session) {
    const auto handle = [&](const char* cls, const char* name) {
        return session.model().findAttribute(classNamed(session, cls), name)->handle;
    };
    return {handle("STROccurrence", "child"), handle("STROccurrence", "parent_bvr"),
            handle("STRBOMViewRevision", "parent_revision")};
}

// Of an occurrence that isn't stored yet.
tag_t unsavedParent(Session& session, tag_t occurrence) {
    Object* object = session.tryObject(occurrence);
    Object* view = object ? session.tryObject(session.reference(*object, "parent_bvr")) : nullptr;
    const tag_t parent = view ? session.reference(*view, "parent_revision") : NULLTAG;
    return session.tryObject(parent) ? parent : NULLTAG;
}

// The revisions that use this one directly. An unsaved move of a stored occurrence to another
// parent isn't seen.
std::vector<tag_t> directParents(Session& session, tag_t revision) {
    // One statement of the store tells occurrences with parents, so that none has to be loaded.
    std::unordered_map<tag_t, tag_t> stored;
    for (const StoredUse& use : session.store().uses(usePath(session), revision))
        stored[use.occurrence] = use.parent;
    std::vector<tag_t> parents;
    for (tag_t occurrence : session.referrersBy("STROccurrence", "child", revision)) {
        const auto found = stored.find(occurrence);
        const tag_t parent =
            found != stored.end() ? found->second : unsavedParent(session, occurrence);
        if (parent != NULLTAG)
            parents.push_back(parent);
    }
    std::sort(parents.begin(), parents.end());
    parents.erase(std::unique(parents.begin(), parents.end()), parents.end());
    return parents;
}

void refuseCycle(Session& session, tag_t parent, tag_t child) {
    bool cycle = parent == child;
    // A child without a structure of its own can't lead back to the parent.
    if (!cycle && !viewRevisionsOf(session, child).empty())
        for (const Use& use : whereUsed(session, parent, 0))
            cycle = cycle || use.parent == child;
    if (cycle)
        throw Failure(kBadValue, session.displayId(child) + " can't be used in " +
                                     session.displayId(parent) + ", which is a part of it");
}

}  // namespace

std::vector<tag_t> viewRevisionsOf(Session& session, tag_t revision) {
    return session.referrersBy("STRBOMViewRevision", "parent_revision", revision);
}

std::vector<tag_t> viewsOf(Session& session, tag_t item) {
    return session.referrersBy("STRBOMView", "parent_item", item);
}

tag_t bomViewRevision(Session& session, tag_t revision) {
    Object& parent = revisionObject(session, revision);
    if (const auto existing = viewRevisionsOf(session, revision); !existing.empty())
        return existing.front();

    // A view revision can't be stored without its view, so one save stores both.
    std::vector<Object*> made;
    const tag_t item = session.reference(parent, "items_tag");
    const auto views = viewsOf(session, item);
    tag_t view = views.empty() ? NULLTAG : views.front();
    if (view == NULLTAG) {
        Object& object = session.create(*session.model().findType("STRBOMView"));
        session.put(object, "object_name", {session.displayId(item) + "-view"});
        session.put(object, "parent_item", {Reference{item}});
        view = object.tag;
        made.push_back(&object);
    }
    Object& object = session.create(*session.model().findType("STRBOMViewRevision"));
    session.put(object, "object_name", {session.displayId(revision) + "-view"});
    session.put(object, "bom_view", {Reference{view}});
    session.put(object, "parent_revision", {Reference{revision}});
    made.push_back(&object);
    session.save(made);
    return object.tag;
}

std::vector<tag_t> occurrencesOf(Session& session, tag_t view_revision) {
    struct Placed {
        std::int64_t order;
        tag_t tag;
    };
    std::vector<Placed> placed;
    for (tag_t tag : session.referrersBy("STROccurrence", "parent_bvr", view_revision))
        if (Object* occurrence = session.tryObject(tag))
            placed.push_back({orderOf(session, *occurrence), tag});
    std::sort(placed.begin(), placed.end(), [](const Placed& a, const Placed& b) {
        return a.order != b.order ? a.order < b.order : a.tag < b.tag;
    });
    std::vector<tag_t> tags;
    for (const Placed& each : placed)
        tags.push_back(each.tag);
    return tags;
}

Object& newOccurrence(Session& session, tag_t view_revision, tag_t child_revision,
                      std::int64_t order) {
    Object& object = session.create(*session.model().findType("STROccurrence"));
    session.put(object, "parent_bvr", {Reference{view_revision}});
    session.put(object, "child", {Reference{child_revision}});
    session.put(object, "order_no", {order});
    return object;
}

tag_t addOccurrence(Session& session, tag_t parent_revision, tag_t child_revision,
                    const std::string& quantity, const std::string& sequence_no,
                    const std::map<std::string, std::string>& notes) {
    revisionObject(session, parent_revision);
    revisionObject(session, child_revision);
    if (!quantity.empty() && !isDecimal(quantity))
        throw Failure(kBadValue, "quantity \"" + quantity + "\" is no decimal number");
    // A refusal comes before anything is made.
    refuseCycle(session, parent_revision, child_revision);
    for (const auto& note : notes)
        defineNoteType(session, note.first);

    const tag_t view = bomViewRevision(session, parent_revision);
    std::int64_t order = 1;
    // The newest has the highest number; reading all of a large view would take long.
    if (const tag_t newest = session.lastReferrerBy("STROccurrence", "parent_bvr", view))
        if (Object* last = session.tryObject(newest))
            order = orderOf(session, *last) + 1;

    Object& object = newOccurrence(session, view, child_revision, order);
    if (!quantity.empty())
        session.put(object, "quantity", {quantity});
    if (!sequence_no.empty())
        session.put(object, "seq_no", {sequence_no});
    Values names, texts;
    for (const auto& [name, text] : notes) {
        names.push_back(name);
        texts.push_back(text);
    }
    session.put(object, "note_names", names);
    session.put(object, "note_values", texts);
    session.save(object);
    return object.tag;
}

int copyStructure(Session& session, tag_t from_revision, tag_t to_revision) {
    revisionObject(session, from_revision);
    revisionObject(session, to_revision);
    for (const tag_t view : viewRevisionsOf(session, to_revision))
        if (!occurrencesOf(session, view).empty())
            throw Failure(kBadValue, session.displayId(to_revision) + " has lines already");
    const auto views = viewRevisionsOf(session, from_revision);
    const auto lines = views.empty() ? std::vector<tag_t>() : occurrencesOf(session, views.front());
    if (lines.empty())
        return 0;
    const tag_t view = bomViewRevision(session, to_revision);
    std::int64_t order = 0;
    for (const tag_t line : lines) {
        const tag_t child = session.reference(session.object(line), "child");
        refuseCycle(session, to_revision, child);
        Object& made = newOccurrence(session, view, child, ++order);
        for (const char* attribute : {"quantity", "seq_no", "note_names", "note_values"})
            session.put(made, attribute, session.values(session.object(line), attribute));
        session.save(made);
    }
    return static_cast<int>(order);
}

void defineNoteType(Session& session, const std::string& name) {
    if (name.empty())
        throw Failure(kBadValue, "a note type needs a name");
    if (!session.findByText("NoteType", "note_name", name).empty())
        return;
    Object& object = session.create(*session.model().findType("NoteType"));
    session.put(object, "note_name", {name});
    session.save(object);
}

std::vector<Use> whereUsed(Session& session, tag_t revision, int levels) {
    revisionObject(session, revision);
    std::vector<Use> uses;
    std::set<tag_t> seen{revision};
    std::vector<tag_t> current{revision};
    for (int level = 1; !current.empty() && (levels < 1 || level <= levels); ++level) {
        // Level by level each user is met at its lowest level first.
        std::set<tag_t> above;
        for (tag_t tag : current)
            for (tag_t parent : directParents(session, tag))
                if (seen.insert(parent).second)
                    above.insert(parent);
        current.assign(above.begin(), above.end());
        for (tag_t parent : current)
            uses.push_back({parent, level});
    }
    return uses;
}

namespace {

// What is below a revision, once all of its children are known.
struct Below {
    std::uint64_t lines = 0;
    std::size_t levels = 0;
    bool known = false;
};

void addLineTo(Below& parent, const Below& child) {
    // The count stops there: each path counts, so shared parts can make more lines than fit.
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    for (const std::uint64_t more : {std::uint64_t{1}, child.lines})
        parent.lines = kMost - parent.lines < more ? kMost : parent.lines + more;
    parent.levels = std::max(parent.levels, child.levels + 1);
}

}  // namespace

StructureSize measureStructure(Session& session, tag_t revision, std::size_t most) {
    revisionObject(session, revision);
    const UsePath path = usePath(session);
    StructureSize size;
    std::unordered_map<tag_t, Below> below;
    // A list of steps in the place of a recursion: structures are hundreds of levels deep.
    struct Step {
        tag_t revision;
        std::vector<tag_t> children;
        std::size_t next = 0;
    };
    std::vector<Step> steps;
    const auto enter = [&](tag_t tag) {
        // The entry makes the revision known: it is entered once, even if it is below itself.
        below[tag];
        steps.push_back({tag, session.store().children(path, tag)});
    };
    enter(revision);
    while (!steps.empty()) {
        Step& step = steps.back();
        if (step.next == step.children.size()) {
            Below& done = below[step.revision];
            for (const tag_t child : step.children)
                // An unknown child contains this revision: that is damage and isn't counted. After
                // the limit it may also be one that nobody has looked at, which is a line, too.
                if (const Below& part = below[child]; part.known || !size.whole)
                    addLineTo(done, part);
            done.known = true;
            steps.pop_back();
            continue;
        }
        const tag_t child = step.children[step.next++];
        if (below.contains(child))
            continue;
        if (most > 0 && below.size() >= most)
            size.whole = false;
        else
            enter(child);
    }
    const Below& top = below[revision];
    size.lines = top.lines;
    size.levels = top.levels;
    size.revisions = below.size();
    return size;
}

}  // namespace mervane
