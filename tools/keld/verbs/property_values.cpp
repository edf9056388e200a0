#include "tools/keld/verbs/property_values.h"

#include <algorithm>
#include <map>

#include "platform/keld_qsktool.h"
#include "platform/mv_dbo.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

constexpr std::string_view kFormLead = "form.";

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.';
}

// Properties that other verbs set, since more than the value must change.
std::string verbFor(const std::string& property) {
    static const std::map<std::string, std::string> kVerbs = {
        {"item_id", "keld rename"},
        {"item_revision_id", "keld rename ITEM --rev R --to ITEM --to-rev R"},
        {"release_status_list", "keld status set"},
        {"last_release_status", "keld status set"},
        {"checked_out", "keld checkout"},
        {"checked_out_user", "keld checkout"},
        {"contents", "keld attach"}};
    const auto found = kVerbs.find(property);
    return found == kVerbs.end() ? "" : found->second;
}

[[noreturn]] void unknownProperty(const Context& context, tag_t object, const std::string& name,
                                  const std::vector<std::string>& names) {
    throw CommandError(
        "the type " + context.workbench().describe(object).type + " has no property '" + name + "'",
        nearest(name, names));
}

void needProperty(const Context& context, tag_t object, const std::string& name) {
    if (const std::string why = whyNotByHand(name); !why.empty())
        throw CommandError(why);
    const std::vector<std::string> names = context.workbench().attributeNames(object);
    if (std::find(names.begin(), names.end(), name) == names.end())
        unknownProperty(context, object, name, names);
}

tag_t masterFormOf(const Context& context, tag_t object) {
    tag_t form = NULLTAG;
    need(context, KELD_GetMasterForm(object, &form), "KELD_GetMasterForm", object);
    if (form == NULLTAG)
        throw CommandError(context.title(object) + " has no master form");
    return form;
}

void setOn(const Context& context, tag_t object, const std::vector<PropertyValue>& values,
           const std::string& lead, std::vector<std::string>& changed) {
    for (const PropertyValue& value : values)
        needProperty(context, object, value.name);
    need(context, OBJ_refresh(object, true), "OBJ_refresh", object);
    const std::size_t before = changed.size();
    for (const PropertyValue& value : values) {
        if (display(object, value.name) == value.text)
            continue;
        need(context, OBJ_UIF_set_value(object, value.name.c_str(), value.text.c_str()),
             "OBJ_UIF_set_value", object);
        changed.push_back(lead + value.name);
    }
    if (changed.size() > before)
        need(context, OBJ_save(object), "OBJ_save", object);
    need(context, OBJ_unlock(object), "OBJ_unlock", object);
}

}  // namespace

std::string whyNotByHand(const std::string& property) {
    const std::string verb =
        verbFor(property.starts_with(kFormLead) ? property.substr(kFormLead.size()) : property);
    return verb.empty() ? "" : "'" + property + "' isn't set by hand; use " + verb;
}

std::string whyNotValue(const Context& context, tag_t object, const PropertyValue& value) {
    try {
        const bool of_form = value.name.starts_with(kFormLead);
        const tag_t target = of_form ? masterFormOf(context, object) : object;
        const std::string name = of_form ? value.name.substr(kFormLead.size()) : value.name;
        try {
            context.workbench().needDisplayText(target, name, value.text);
        } catch (const mervane::Failure&) {
            needProperty(context, target, name);
            throw;
        }
    } catch (const CommandError& error) {
        return error.what() + didYouMean(error.suggestions);
    } catch (const mervane::Failure& failure) {
        return failure.what();
    }
    return "";
}

bool isPropertyValue(const std::string& word) {
    const std::size_t sign = word.find('=');
    return sign != std::string::npos && sign > 0 &&
           std::all_of(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(sign),
                       isNameCharacter);
}

std::vector<PropertyValue> propertyValues(const std::vector<std::string>& words) {
    std::vector<PropertyValue> values;
    for (const std::string& word : words) {
        if (!isPropertyValue(word))
            throw CommandError(
                "'" + shortened(word) + "' is no PROPERTY=VALUE, like object_name='Pump cover'", {},
                kExitUsage);
        const std::size_t sign = word.find('=');
        PropertyValue value{word.substr(0, sign), word.substr(sign + 1)};
        for (const PropertyValue& other : values)
            if (other.name == value.name)
                throw CommandError("'" + value.name + "' is set twice", {}, kExitUsage);
        values.push_back(std::move(value));
    }
    return values;
}

std::vector<std::string> setValues(const Context& context, tag_t object,
                                   const std::vector<PropertyValue>& values) {
    std::vector<PropertyValue> own, of_form;
    for (const PropertyValue& value : values)
        if (value.name.starts_with(kFormLead))
            of_form.push_back({value.name.substr(kFormLead.size()), value.text});
        else
            own.push_back(value);
    std::vector<std::string> changed;
    if (!own.empty())
        setOn(context, object, own, "", changed);
    if (!of_form.empty()) {
        setOn(context, masterFormOf(context, object), of_form, std::string(kFormLead), changed);
    }
    return changed;
}

tag_t folderNamed(const Context& context, const std::string& name) {
    const tag_t folder = context.object(name);
    if (!isOf(context, folder, "Folder"))
        throw CommandError("'" + shortened(name) + "' is a " +
                           context.workbench().describe(folder).type + ", not a folder");
    return folder;
}

void putIntoFolder(const Context& context, tag_t folder, tag_t object) {
    tag_t attribute = NULLTAG;
    need(context, OBJ_refresh(folder, true), "OBJ_refresh", folder);
    need(context, DBO_attr_id_of_attr("contents", "Folder", &attribute), "DBO_attr_id_of_attr",
         folder);
    need(context, DBO_append_attr_tags(1, &folder, attribute, 1, &object), "DBO_append_attr_tags",
         folder);
    need(context, OBJ_save(folder), "OBJ_save", folder);
    need(context, OBJ_unlock(folder), "OBJ_unlock", folder);
}

void relate(const Context& context, tag_t primary, tag_t secondary, tag_t relation_type) {
    tag_t relation = NULLTAG;
    need(context, REL_create_relation(primary, secondary, relation_type, NULLTAG, &relation),
         "REL_create_relation", primary);
    need(context, REL_save_relation(relation), "REL_save_relation", primary);
}

}  // namespace keld
