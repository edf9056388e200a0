#include "workbench/session/properties.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "workbench/session/dates.h"
#include "workbench/session/items.h"
#include "workbench/session/session.h"

namespace mervane {

namespace {

// A value that is worked out, never stored. It applies to a class and what is below; an empty class
// name means every instance. An attribute of the same name wins.
struct Computed {
    std::string_view name;
    std::string_view cls;
    Kind kind;
    bool array;
    Values (*read)(Session&, Object&);
};

Values one(Value value) {
    return {std::move(value)};
}

Values oneReference(tag_t tag) {
    return tag == NULLTAG ? Values{} : one(Reference{tag});
}

Values itemId(Session& session, Object& revision) {
    Object* item = session.tryObject(session.reference(revision, "items_tag"));
    return item ? session.values(*item, "item_id") : Values{};
}

Values revisionList(Session& session, Object& item) {
    Values list;
    for (tag_t tag : revisionsOf(session, item.tag))
        list.push_back(Reference{tag});
    return list;
}

Values lastReleaseStatus(Session& session, Object& object) {
    const auto list = session.references(object, "release_status_list");
    const auto last = std::find_if(list.rbegin(), list.rend(),
                                   [&](tag_t tag) { return session.tryObject(tag) != nullptr; });
    return last == list.rend() ? Values{} : oneReference(*last);
}

Values checkedOutUser(Session& session, Object& object) {
    Session::CheckOut by;
    return session.checkedOut(object.tag, &by) ? oneReference(by.user) : Values{};
}

constexpr Computed computed_properties[] = {
    {"object_type", "", Kind::String, false,
     [](Session&, Object& object) { return one(object.type->name); }},
    {"object_string", "", Kind::String, false,
     [](Session& session, Object& object) { return one(session.displayId(object.tag)); }},
    {"is_modifiable", "", Kind::Logical, false,
     [](Session& session, Object& object) { return one(session.modifiable(object)); }},
    {"checked_out", "WorkspaceObject", Kind::String, false,
     [](Session& session, Object& object) {
         return one(std::string(session.checkedOut(object.tag, nullptr) ? "Y" : ""));
     }},
    {"checked_out_user", "WorkspaceObject", Kind::Reference, false, checkedOutUser},
    {"last_release_status", "WorkspaceObject", Kind::Reference, false, lastReleaseStatus},
    {"item_id", "ItemRevision", Kind::String, false, itemId},
    {"revision_list", "Item", Kind::Reference, true, revisionList},
};

bool below(const Class* cls, std::string_view name) {
    for (; cls; cls = cls->parent)
        if (cls->name == name)
            return true;
    return false;
}

const Computed* findComputed(const Type& type, std::string_view name) {
    for (const Computed& computed : computed_properties)
        if (computed.name == name && (computed.cls.empty() || below(type.cls, computed.cls)))
            return &computed;
    return nullptr;
}

bool hasAttribute(const Type& type, std::string_view name) {
    return type.by_name.find(name) != type.by_name.end();
}

std::string named(const Object& object, std::string_view property) {
    return "#" + std::to_string(object.tag) + " (" + object.type->name + "), property \"" +
           std::string(property) + "\"";
}

// ---- values from display texts; empty result: the text is none that a value displays ----

template <typename Number>
std::optional<Number> parsed(const std::string& text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

// Everything whose display id can be the text, by tag.
std::vector<tag_t> candidates(Session& session, const std::string& text) {
    struct Place {
        const char* cls;
        const char* attribute;
    };
    static constexpr Place places[] = {
        {"WorkspaceObject", "object_name"},
        {"ReleaseStatus", "name"},
        {"Item", "item_id"},
        {"User", "user_id"},
        {"Group", "group_name"},
        {"Site", "site_name"},
        {"Person", "person_name"},
        {"VaneFile", "original_file_name"},
        {"icm0", "id"},
    };
    std::vector<tag_t> found;
    const auto add = [&](const std::vector<tag_t>& more) {
        found.insert(found.end(), more.begin(), more.end());
    };
    for (const Place& place : places)
        add(session.findByText(place.cls, place.attribute, text));
    // Either id may have a slash of its own.
    for (std::size_t slash = text.find('/'); slash != std::string::npos;
         slash = text.find('/', slash + 1))
        for (tag_t item : session.findByText("Item", "item_id", text.substr(0, slash)))
            add(session.referrersBy("ItemRevision", "items_tag", item));
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

// The oldest object with this display id.
std::optional<Value> referenceFromText(Session& session, const std::string& text) {
    for (tag_t tag : candidates(session, text))
        // A candidate may have the text in an attribute that its display id doesn't show.
        if (session.tryObject(tag) && session.displayId(tag) == text)
            return Reference{tag};
    return std::nullopt;
}

std::optional<Value> valueFromText(Session& session, Kind kind, const std::string& text) {
    std::optional<Value> value;
    switch (kind) {
        case Kind::String:
            return text;
        case Kind::Int:
            if (const auto number = parsed<std::int32_t>(text))
                value = static_cast<std::int64_t>(*number);
            break;
        case Kind::Double:
            if (const auto number = parsed<double>(text))
                value = *number;
            break;
        case Kind::Logical:
            if (text == "True" || text == "False")
                value = text == "True";
            break;
        case Kind::Date:
            // dateFromText() makes the test below itself, and says what is wrong with a date.
            return Date{dateFromText(text)};
        case Kind::Reference:
            return referenceFromText(session, text);
    }
    // A value has one text only, so "007" and "1e3" are refused.
    if (value && Session::displayText(session, *value) == text)
        return value;
    return std::nullopt;
}

// Why a text is no value of the kind.
const char* wantedText(Kind kind) {
    switch (kind) {
        case Kind::Int:
            return "no integer of 32 bits in decimal digits";
        case Kind::Double:
            return "no number with a decimal point and without an exponent";
        case Kind::Logical:
            return "neither True nor False";
        case Kind::Reference:
            return "the display id of no object";
        default:
            return "no value of it";
    }
}

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    // A text with this separator in it can't be told from two texts.
    for (std::size_t comma; (comma = text.find(", ", start)) != std::string::npos;
         start = comma + 2)
        parts.push_back(text.substr(start, comma - start));
    parts.push_back(text.substr(start));
    return parts;
}

}  // namespace

std::string latestStatusName(Session& session, Object& object) {
    if (!hasAttribute(*object.type, "release_status_list"))
        return {};
    const auto list = session.references(object, "release_status_list");
    for (std::size_t i = list.size(); i-- > 0;)
        if (Object* status = session.tryObject(list[i]))
            return session.text(*status, "name");
    return {};
}

bool typeHasProperty(const Type& type, std::string_view name) {
    return hasAttribute(type, name) || findComputed(type, name);
}

bool Session::hasProperty(Object& object, std::string_view name) {
    return typeHasProperty(*object.type, name);
}

Session::Property Session::property(Object& object, std::string_view name) {
    if (const auto found = object.type->by_name.find(name); found != object.type->by_name.end()) {
        const Attribute& attribute = *object.type->layout[found->second];
        return {attribute.kind, attribute.array, true, field(object, attribute).values};
    }
    if (const Computed* computed = findComputed(*object.type, name))
        return {computed->kind, computed->array, false, computed->read(*this, object)};
    throw Failure(kUnknownAttribute, named(object, name) + ": there is no such property");
}

void Session::setProperty(Object& object, std::string_view name, Values values) {
    if (hasAttribute(*object.type, name))
        return set(object, name, std::move(values));
    if (findComputed(*object.type, name))
        throw Failure(kReadOnly, named(object, name) + " can't be set: it is worked out");
    throw Failure(kUnknownAttribute, named(object, name) + ": there is no such property");
}

std::string Session::displayText(Session& session, const Value& value) {
    struct Shower {
        Session& session;
        std::string operator()(const std::string& text) const { return text; }
        std::string operator()(std::int64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const {
            // Room for the longest number without an exponent.
            char buffer[std::numeric_limits<double>::max_exponent10 + 1100];
            const auto end =
                std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed);
            return {buffer, end.ptr};
        }
        std::string operator()(bool flag) const { return flag ? "True" : "False"; }
        std::string operator()(const Date& date) const { return dateText(date.date); }
        // A reference to what is gone shows as nothing.
        std::string operator()(const Reference& reference) const {
            return session.tryObject(reference.tag) ? session.displayId(reference.tag) : "";
        }
    };
    return std::visit(Shower{session}, value);
}

std::string displayText(Session& session, const Session::Property& property) {
    std::string text;
    // The first value may show as an empty text, so the text so far doesn't tell.
    bool first = true;
    for (const Value& value : property.values) {
        if (const auto* reference = std::get_if<Reference>(&value);
            reference && !session.tryObject(reference->tag))
            continue;
        if (!first)
            text += ", ";
        first = false;
        text += Session::displayText(session, value);
    }
    return text;
}

std::string Session::displayText(Object& object, std::string_view name) {
    return mervane::displayText(*this, property(object, name));
}

Values Session::valuesOfText(Object& object, std::string_view name, const Property& now,
                             const std::string& text) {
    // The text that is shown keeps its values: names needn't be unique, and a search may find
    // another object.
    if (text == displayText(object, name))
        return now.values;
    Values values;
    for (const std::string& part : now.array ? splitList(text) : std::vector{text}) {
        try {
            const auto value = valueFromText(*this, now.kind, part);
            if (!value)
                throw Failure(kBadValue, "\"" + part + "\" is " + wantedText(now.kind));
            values.push_back(*value);
        } catch (const Failure& failure) {
            // The inner failure knows neither the object nor the property.
            throw Failure(failure.status(),
                          named(object, name) + " can't be set: " + failure.what());
        }
    }
    return values;
}

void Session::setDisplayText(Object& object, std::string_view name, const std::string& text) {
    const Property now = property(object, name);
    // setProperty() refuses a property that is worked out.
    if (!now.writable || text.empty())
        return setProperty(object, name, {});
    setProperty(object, name, valuesOfText(object, name, now, text));
}

void Session::needDisplayText(Object& object, std::string_view name, const std::string& text) {
    const Property now = property(object, name);
    if (!now.writable)
        return setProperty(object, name, {});  // says why it can't be set
    if (!text.empty())
        checkValues(object, attribute(object, name), valuesOfText(object, name, now, text));
}

std::string Session::displayId(tag_t tag) {
    Object& object = this->object(tag);
    const auto attribute = [&](std::string_view name) {
        return hasAttribute(*object.type, name) ? text(object, name) : std::string();
    };
    const Class* cls = object.type->cls;
    if (below(cls, "Item"))
        return attribute("item_id");
    if (below(cls, "ItemRevision")) {
        const Values item = itemId(*this, object);
        return (item.empty() ? "" : std::get<std::string>(item.front())) + "/" +
               attribute("item_revision_id");
    }
    // A status is a workspace object as well, but people know it by its own name.
    if (below(cls, "ReleaseStatus"))
        return attribute("name");
    if (below(cls, "WorkspaceObject"))
        return attribute("object_name");
    // Only instances of the remaining classes get here: a form's type may bring such names, too.
    for (std::string_view name :
         {"user_id", "group_name", "site_name", "person_name", "original_file_name", "id"})
        if (std::string id = attribute(name); !id.empty())
            return id;
    return "";
}

}  // namespace mervane
