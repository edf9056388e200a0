// What lines show and accept: attributes by name and notes.

#include <algorithm>
#include <array>

#include "workbench/session/bom_window.h"
#include "workbench/session/properties.h"
#include "workbench/session/structure.h"

namespace mervane {

namespace {

using Property = Session::Property;

constexpr std::string_view kItemPrefix = "bl_item_", kRevisionPrefix = "bl_rev_";
constexpr std::string_view kQuantity = "bl_quantity", kSequenceNo = "bl_sequence_no";

// Attributes that every line has. Their place in this list is their number: add at the end.
constexpr std::array<std::string_view, 18> kFixed = {
    "bl_revision",     "bl_item",       "bl_bomview_rev", "bl_bomview",  "bl_parent",
    "bl_occurrence",   kSequenceNo,     kQuantity,        "bl_level",    "bl_is_packed",
    "bl_pack_count",   "bl_line_name",  "object_name",    "object_type", "object_string",
    "bl_has_children", "is_modifiable", "bl_window_top",
};

// Numbers of all other names begin here: bl_item_..., bl_rev_... and notes, as they are asked for.
constexpr int kFirstFurther = 1000;
std::vector<std::string>& furtherNames() {
    static std::vector<std::string> names;
    return names;
}

Property textOf(std::string text, bool writable = false) {
    return {Kind::String, false, writable, {std::move(text)}};
}
Property tagOf(tag_t tag) {
    return {Kind::Reference, false, false, tag == NULLTAG ? Values{} : Values{Reference{tag}}};
}
Property intOf(std::size_t number) {
    return {Kind::Int, false, false, {static_cast<std::int64_t>(number)}};
}
Property logicalOf(bool flag) {
    return {Kind::Logical, false, false, {flag}};
}

bool isFixed(std::string_view name) {
    return std::find(kFixed.begin(), kFixed.end(), name) != kFixed.end();
}

// The part of the name after a prefix; empty if it doesn't begin with it.
std::string_view withoutPrefix(std::string_view name, std::string_view prefix) {
    return name.starts_with(prefix) ? name.substr(prefix.size()) : std::string_view();
}

// Whether some type at or below the class has a property of this name.
bool anyTypeHas(Model& model, const char* class_name, std::string_view property) {
    const Type* top = model.findType(class_name);
    if (property.empty() || !top)
        return false;
    if (typeHasProperty(*top, property))
        return true;
    const auto below = model.subtypes(*top);
    return std::any_of(below.begin(), below.end(),
                       [&](const Type* type) { return typeHasProperty(*type, property); });
}

// A property of the item or revision that a line shows; null if this one doesn't have it.
Property shownProperty(Session& session, tag_t tag, std::string_view name) {
    Object* object = session.tryObject(tag);
    // All lines have the same names, whatever they show, so this object may lack the property.
    if (!object || !session.hasProperty(*object, name))
        return {Kind::String, false, false, {}};
    Property property = session.property(*object, name);
    // A line doesn't write what it shows: items and revisions have locks and saves of their own.
    property.writable = false;
    return property;
}

// A single line shows its quantity as it is, a packed one the sum; no quantity counts as 1 there.
std::string shownQuantity(const BomLine& line) {
    if (!line.values || line.packed.empty())
        return line.values ? line.values->quantity : std::string();
    const auto counted = [](const BomLine& each) {
        return each.values->quantity.empty() ? std::string("1") : each.values->quantity;
    };
    std::string sum = counted(line);
    for (const BomLine* merged : line.packed)
        sum = addDecimals(sum, counted(*merged));
    return sum;
}

std::string singleText(const BomLine& line, std::string_view name, const Values& values) {
    // No value empties an attribute, as an empty text does.
    if (values.empty())
        return "";
    const auto* text = values.size() == 1 ? std::get_if<std::string>(&values.front()) : nullptr;
    if (!text)
        throw Failure(kWrongKind, "BOM line #" + std::to_string(line.tag) + ": \"" +
                                      std::string(name) + "\" takes one text");
    return *text;
}

void checkLength(Session& session, const char* attribute, std::string_view name,
                 const std::string& text) {
    const Model& model = session.model();
    const int limit = model.findAttribute(*model.findClass("STROccurrence"), attribute)->max_length;
    if (limit > 0 && text.size() > static_cast<std::size_t>(limit))
        throw Failure(kTooLong, "\"" + std::string(name) + "\" takes at most " +
                                    std::to_string(limit) + " characters, not " +
                                    std::to_string(text.size()));
}

[[noreturn]] void unknown(std::string_view name) {
    throw Failure(kUnknownAttribute, "BOM lines have no attribute \"" + std::string(name) + "\"");
}

[[noreturn]] void readOnly(const BomLine& line, std::string_view name, const std::string& reason) {
    throw Failure(kReadOnly, "BOM line #" + std::to_string(line.tag) + ": \"" + std::string(name) +
                                 "\" can't be set: " + reason);
}

}  // namespace

// A note type is known if it was defined or if some occurrence has such a note.
bool BomWindows::isNoteType(std::string_view name) {
    // A note must not hide an attribute of lines, whatever its type is called.
    if (name.empty() || isFixed(name) || name.starts_with("bl_"))
        return false;
    if (note_types_.contains(name))
        return true;
    const std::string text(name);
    bool known = !session_.findByText("NoteType", "note_name", text).empty() ||
                 !session_.findByText("STROccurrence", "note_names", text).empty();
    // Only a known name is kept, since any other one may become a note type later.
    if (known)
        note_types_.insert(text);
    return known;
}

bool BomWindows::hasProperty(tag_t tag, std::string_view name) {
    line(tag);
    Model& model = session_.model();
    return isFixed(name) || anyTypeHas(model, "Item", withoutPrefix(name, kItemPrefix)) ||
           anyTypeHas(model, "ItemRevision", withoutPrefix(name, kRevisionPrefix)) ||
           isNoteType(name);
}

Property BomWindows::property(tag_t tag, std::string_view name) {
    BomLine& shown = line(tag);
    if (!hasProperty(tag, name))
        unknown(name);
    if (isFixed(name))
        return ofLine(shown, name);
    Object& revision = session_.object(shown.revision);
    if (const auto rest = withoutPrefix(name, kItemPrefix); !rest.empty())
        return shownProperty(session_, session_.reference(revision, "items_tag"), rest);
    if (const auto rest = withoutPrefix(name, kRevisionPrefix); !rest.empty())
        return shownProperty(session_, shown.revision, rest);
    if (shown.values)
        if (const auto note = shown.values->notes.find(std::string(name));
            note != shown.values->notes.end())
            return textOf(note->second, true);
    // The top line shows no occurrence, so it can have no note.
    return textOf("", shown.values != nullptr);
}

Property BomWindows::ofLine(BomLine& line, std::string_view name) {
    Object& revision = session_.object(line.revision);
    // Only two of the names need this search.
    const auto viewRevision = [&] {
        const auto views = viewRevisionsOf(session_, line.revision);
        return views.empty() ? NULLTAG : views.front();
    };
    if (name == kQuantity)
        return textOf(shownQuantity(line), line.values != nullptr);
    if (name == kSequenceNo)
        return textOf(line.values ? line.values->sequence_no : "", line.values != nullptr);
    if (name == "bl_revision")
        return tagOf(line.revision);
    if (name == "bl_item")
        return tagOf(session_.reference(revision, "items_tag"));
    if (name == "bl_bomview_rev")
        return tagOf(viewRevision());
    if (name == "bl_bomview") {
        Object* view = session_.tryObject(viewRevision());
        return tagOf(view ? session_.reference(*view, "bom_view") : NULLTAG);
    }
    if (name == "bl_parent")
        return tagOf(line.parent ? line.parent->tag : NULLTAG);
    if (name == "bl_occurrence")
        return tagOf(line.values ? line.values->occurrence : NULLTAG);
    if (name == "bl_level")
        return intOf(static_cast<std::size_t>(line.level));
    if (name == "bl_pack_count")
        return intOf(line.packed.size() + 1);
    if (name == "bl_is_packed")
        return logicalOf(!line.packed.empty());
    if (name == "bl_has_children")
        // The answer makes the lines below, since only they tell which children can be shown.
        return logicalOf(!children(line.tag).empty());
    if (name == "is_modifiable")
        return logicalOf(line.values && !line.packed_into);
    if (name == "object_type")
        return textOf("BOMLine");
    if (name == "object_name")
        return textOf(session_.text(revision, "object_name"));
    if (name == "bl_line_name" || name == "object_string")
        return textOf(session_.displayId(line.revision));
    // The only name left is bl_window_top.
    const BomLine* top = &line;
    while (top->parent)
        top = top->parent;
    return tagOf(top->tag);
}

// The occurrences that a value written to the line goes to.
std::vector<OccurrenceValues*> BomWindows::writable(BomLine& line, std::string_view name) {
    if (!line.values)
        readOnly(line, name, "the top line shows no occurrence");
    if (line.packed_into)
        readOnly(line, name,
                 "it is packed into #" + std::to_string(line.packed_into->tag) + "; unpack that");
    std::vector<OccurrenceValues*> list{line.values};
    for (BomLine* merged : line.packed)
        list.push_back(merged->values);
    return list;
}

void BomWindows::setProperty(tag_t tag, std::string_view name, const Values& values) {
    BomLine& written = line(tag);
    if (!hasProperty(tag, name))
        unknown(name);
    const bool is_note = isNoteType(name);
    if (name != kQuantity && name != kSequenceNo && !is_note)
        readOnly(written, name, "it is worked out");
    // All tests come before the first value is set: a packed line sets all of its lines or none.
    const auto targets = writable(written, name);
    const std::string text = singleText(written, name, values);
    if (name == kQuantity) {
        if (!written.packed.empty())
            readOnly(written, name,
                     "the line shows the sum of " + std::to_string(written.packed.size() + 1) +
                         " packed lines; unpack it first");
        if (!text.empty() && !isDecimal(text))
            throw Failure(kBadValue, "BOM line #" + std::to_string(tag) + ": \"" + text +
                                         "\" is no decimal number, which bl_quantity takes");
        checkLength(session_, "quantity", name, text);
    } else {
        checkLength(session_, is_note ? "note_values" : "seq_no", name, text);
    }
    for (OccurrenceValues* target : targets) {
        if (name == kQuantity)
            target->quantity = text;
        else if (name == kSequenceNo)
            target->sequence_no = text;
        else if (text.empty())
            // A note without a text is no note, so lines with and without one are alike.
            target->notes.erase(std::string(name));
        else
            target->notes[std::string(name)] = text;
        target->dirty = true;
    }
}

int BomWindows::attributeId(std::string_view name) {
    if (const auto fixed = std::find(kFixed.begin(), kFixed.end(), name); fixed != kFixed.end())
        return static_cast<int>(fixed - kFixed.begin()) + 1;
    Model& model = session_.model();
    if (!anyTypeHas(model, "Item", withoutPrefix(name, kItemPrefix)) &&
        !anyTypeHas(model, "ItemRevision", withoutPrefix(name, kRevisionPrefix)) &&
        !isNoteType(name))
        unknown(name);
    auto& names = furtherNames();
    auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        // New names go to the end, so a number means the same name as long as the process lives.
        found = names.insert(names.end(), std::string(name));
    return kFirstFurther + static_cast<int>(found - names.begin());
}

std::string BomWindows::attributeName(int id) const {
    const auto& names = furtherNames();
    if (id >= 1 && static_cast<std::size_t>(id) <= kFixed.size())
        return std::string(kFixed[static_cast<std::size_t>(id) - 1]);
    if (id >= kFirstFurther && static_cast<std::size_t>(id - kFirstFurther) < names.size())
        return names[static_cast<std::size_t>(id - kFirstFurther)];
    throw Failure(kUnknownAttribute, "BOM lines have no attribute " + std::to_string(id));
}

Session::Property lineProperty(Session& session, tag_t line, std::string_view name) {
    return session.bomWindows().property(line, name);
}

void setLineProperty(Session& session, tag_t line, std::string_view name, const Values& values) {
    session.bomWindows().setProperty(line, name, values);
}

}  // namespace mervane
