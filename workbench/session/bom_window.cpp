#include "workbench/session/bom_window.h"

#include <algorithm>
#include <deque>

#include "workbench/session/structure.h"

namespace mervane {

struct BomWindow {
    BomLine* top = nullptr;
    // These containers never move their elements, so lines can point to one another and to values.
    std::deque<BomLine> lines;
    std::map<tag_t, OccurrenceValues> occurrences;
};

namespace {

// Process-wide, so that a line of one session is never taken for one of another.
tag_t nextLineTag() {
    static tag_t count = 0;
    if (++count >> 28 != 0)
        throw Failure(kNoMemory, "this process has no tags left for BOM lines");
    return (static_cast<tag_t>(HandleKind::BomLine) << 28) | count;
}

bool alike(const BomLine& a, const BomLine& b) {
    return a.revision == b.revision && a.values->sequence_no == b.values->sequence_no &&
           a.values->notes == b.values->notes;
}

// A quantity that is no number can't be summed, so its line is never merged.
bool canBeSummed(const BomLine& line) {
    return line.values->quantity.empty() || isDecimal(line.values->quantity);
}

}  // namespace

BomWindows::BomWindows(Session& session) : session_(session) {
}

BomWindows::~BomWindows() = default;

tag_t BomWindows::open(tag_t revision) {
    session_.object(revision, *session_.model().findClass("ItemRevision"));
    windows_.push_back(std::make_unique<BomWindow>());
    BomWindow& window = *windows_.back();
    window.top = &addLine(window, nullptr, revision, nullptr);
    return window.top->tag;
}

void BomWindows::close(tag_t tag) {
    BomWindow* window = line(tag).window;
    for (const BomLine& each : window->lines)
        lines_.erase(each.tag);
    std::erase_if(windows_, [&](const auto& open) { return open.get() == window; });
}

BomLine& BomWindows::line(tag_t tag) {
    const auto found = lines_.find(tag);
    if (found == lines_.end())
        throw Failure(kUnknownObject,
                      "#" + std::to_string(tag) + " is no BOM line of an open window");
    return *found->second;
}

BomLine& BomWindows::addLine(BomWindow& window, BomLine* parent, tag_t revision,
                             OccurrenceValues* values) {
    BomLine& line = window.lines.emplace_back();
    line.tag = nextLineTag();
    line.window = &window;
    line.parent = parent;
    line.revision = revision;
    line.values = values;
    line.level = parent ? parent->level + 1 : 0;
    lines_[line.tag] = &line;
    return line;
}

OccurrenceValues& BomWindows::occurrenceValues(BomWindow& window, tag_t occurrence) {
    const auto [found, is_new] = window.occurrences.try_emplace(occurrence);
    OccurrenceValues& values = found->second;
    // All lines of an occurrence share its values, so one that is changed shows in each of them.
    if (!is_new)
        return values;
    Object& object = session_.object(occurrence);
    values.occurrence = occurrence;
    values.view_revision = session_.reference(object, "parent_bvr");
    values.quantity = session_.text(object, "quantity");
    values.sequence_no = session_.text(object, "seq_no");
    values.version = object.version;
    const Values& names = session_.list(object, "note_names");
    const Values& texts = session_.list(object, "note_values");
    // The two lists can be set one without the other, so their lengths may differ.
    for (std::size_t i = 0; i < std::min(names.size(), texts.size()); ++i)
        if (const auto& text = std::get<std::string>(texts[i]); !text.empty())
            values.notes[std::get<std::string>(names[i])] = text;
    return values;
}

// Make the lines below a line, from what is stored now.
void BomWindows::expand(BomLine& line) {
    if (line.expanded)
        return;
    // All occurrences are read before the first line is made: a failure leaves no half list.
    std::vector<std::pair<tag_t, OccurrenceValues*>> found;
    const auto views = viewRevisionsOf(session_, line.revision);
    for (tag_t tag :
         views.empty() ? std::vector<tag_t>{} : occurrencesOf(session_, views.front())) {
        Object& occurrence = session_.object(tag);
        // An occurrence that the window shows already stays as it was read; the save compares
        // versions.
        if (!occurrence.locked && !occurrence.isDirty() && !line.window->occurrences.contains(tag))
            session_.refresh(occurrence, false);
        const tag_t child = session_.reference(occurrence, "child");
        // An occurrence whose child is gone has no line.
        if (session_.tryObject(child))
            found.emplace_back(child, &occurrenceValues(*line.window, tag));
    }
    for (const auto& [child, values] : found)
        line.all_children.push_back(&addLine(*line.window, &line, child, values));
    line.expanded = true;
}

std::vector<tag_t> BomWindows::children(tag_t tag) {
    BomLine& parent = line(tag);
    expand(parent);
    std::vector<tag_t> shown;
    for (const BomLine* child : parent.all_children)
        if (!child->packed_into)
            shown.push_back(child->tag);
    return shown;
}

// Merge lines beside this one that show the same revision, number and notes.
void BomWindows::pack(tag_t tag) {
    BomLine& into = line(tag);
    if (!into.parent || into.packed_into || !canBeSummed(into))
        return;
    for (BomLine* other : into.parent->all_children) {
        if (other == &into || other->packed_into || !canBeSummed(*other) || !alike(into, *other))
            continue;
        into.packed.push_back(other);
        // The other line may have merged lines itself, and a merged line never merges others.
        into.packed.insert(into.packed.end(), other->packed.begin(), other->packed.end());
        other->packed.clear();
        for (BomLine* merged : into.packed)
            merged->packed_into = &into;
    }
}

void BomWindows::unpack(tag_t tag) {
    BomLine& packed = line(tag);
    for (BomLine* merged : packed.packed)
        merged->packed_into = nullptr;
    packed.packed.clear();
}

void BomWindows::save(tag_t tag) {
    std::vector<OccurrenceValues*> changed;
    for (auto& each : line(tag).window->occurrences)
        if (each.second.dirty)
            changed.push_back(&each.second);
    if (changed.empty())
        return;

    // The view revisions are locked while their occurrences are written.
    std::vector<Object*> locked_here;
    const auto giveUp = [&] {
        for (Object* view : locked_here)
            session_.refresh(*view, false);
    };
    try {
        for (const OccurrenceValues* values : changed) {
            Object& view = session_.object(values->view_revision);
            // A lock that the session had before stays after the save.
            if (view.locked)
                continue;
            session_.refresh(view, true);
            locked_here.push_back(&view);
        }
        store(changed);
    } catch (...) {
        giveUp();
        throw;
    }
    giveUp();
}

namespace {

// The lock of the view revision covers its occurrences: locking each of many would take long.
class WrittenUnderTheView {
public:
    ~WrittenUnderTheView() {
        for (Object* object : objects_)
            object->locked = false;
    }
    void add(Object& object) {
        if (object.locked)
            return;
        object.locked = true;
        objects_.push_back(&object);
    }

private:
    std::vector<Object*> objects_;
};

}  // namespace

void BomWindows::store(const std::vector<OccurrenceValues*>& changed) {
    std::vector<Object*> objects;
    try {
        for (const OccurrenceValues* values : changed) {
            Object& object = session_.object(values->occurrence);
            // Compared with what the window shows: the session may have read the object again
            // since.
            if (object.version != values->version)
                throw Failure(kChangedMeanwhile,
                              "occurrence #" + std::to_string(object.tag) +
                                  " was stored by somebody else since the window read it");
            objects.push_back(&object);
            const auto text = [](const std::string& s) { return s.empty() ? Values{} : Values{s}; };
            Values names, texts;
            for (const auto& [name, note] : values->notes) {
                names.push_back(name);
                texts.push_back(note);
            }
            session_.put(object, "quantity", text(values->quantity));
            session_.put(object, "seq_no", text(values->sequence_no));
            session_.put(object, "note_names", std::move(names));
            session_.put(object, "note_values", std::move(texts));
        }
        WrittenUnderTheView written;
        for (Object* object : objects)
            written.add(*object);
        session_.save(objects);
    } catch (...) {
        for (Object* object : objects)
            // The window keeps its values. The objects must not, or another save would store them.
            session_.unload(object->tag);
        throw;
    }
    for (std::size_t i = 0; i < changed.size(); ++i) {
        // The next save compares with what this one has stored.
        changed[i]->version = objects[i]->version;
        changed[i]->dirty = false;
    }
}

}  // namespace mervane
