#include "tools/keld/host/refusal.h"

#include <algorithm>
#include <deque>
#include <map>

#include "platform/mv_err.h"
#include "platform/mv_rel.h"
#include "platform/mv_str.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/service.h"
#include "tools/keld/host/system.h"
#include "tools/keld/lint/config.h"

namespace keld {

namespace {

// The search for a path ends at this many objects.
constexpr std::size_t kMostObjects = 20000;

tag_t referenceOf(const Context& context, tag_t object, const char* attribute) {
    try {
        for (const auto& value : context.workbench().get(object, attribute))
            if (const auto* reference = std::get_if<mervane::Reference>(&value))
                return reference->tag;
    } catch (const mervane::Failure&) {
        // The object has no such attribute.
    }
    return NULLTAG;
}

}  // namespace

std::vector<tag_t> parentsOf(const Context& context, tag_t object) {
    std::vector<tag_t> parents;
    int count = 0;
    int* levels = nullptr;
    tag_t* users = nullptr;
    if (STR_where_used_all(object, 1, &count, &levels, &users) == 0)
        parents.assign(users, users + count);
    HEAP_free(levels);
    HEAP_free(users);
    for (const tag_t primary : listOf<tag_t>([&](int*n, tag_t**list) {
             return REL_list_primary_objects_only(object, NULLTAG, n, list);
         }))
        parents.push_back(primary);
    for (const char* attribute : {"items_tag", "parent_revision", "parent_item", "bom_view"})
        if (const tag_t owner = referenceOf(context, object, attribute); owner != NULLTAG)
            parents.push_back(owner);
    // Questions that failed here are no errors of the service.
    ERR_clear_errors();
    return parents;
}

std::vector<std::string> pathBetween(const Context& context, tag_t start, tag_t object) {
    std::map<tag_t, tag_t> below{{object, NULLTAG}};
    std::deque<tag_t> waiting{object};
    while (!waiting.empty() && !below.contains(start) && below.size() < kMostObjects) {
        const tag_t at = waiting.front();
        waiting.pop_front();
        for (const tag_t parent : parentsOf(context, at))
            if (below.emplace(parent, at).second)
                waiting.push_back(parent);
    }
    std::vector<std::string> path;
    if (below.contains(start))
        for (tag_t at = start; at != NULLTAG; at = below.at(at))
            path.push_back(context.title(at));
    return path;
}

std::string holderOf(const Context& context, tag_t object) {
    const auto info = context.workbench().checkOutOf(object);
    if (!info)
        return "";
    return "user " + info->user + " since " + info->since +
           (info->comment.empty() ? "" : ": " + info->comment);
}

namespace {

std::string lockHolder(const Context& context, tag_t object) {
    const auto lock = context.workbench().lockOf(object);
    return lock && !lock->own ? "user " + lock->user + ", process " +
                                    std::to_string(lock->process) + ", has locked it"
                              : std::string();
}

}  // namespace

Refusal refusalOf(const Context& context, int status, tag_t object, tag_t start) {
    Refusal refusal;
    refusal.status = status;
    refusal.object = object;
    refusal.rule = context.workbench().messageText(status);
    if (object == NULLTAG)
        return refusal;
    const ObjectName name = nameOf(context, object);
    refusal.label = name.label;
    refusal.typed = name.typed;
    refusal.type = name.type;
    refusal.path = pathBetween(context, start, object);
    refusal.holder = holderOf(context, object);
    if (refusal.holder.empty())
        refusal.holder = lockHolder(context, object);
    return refusal;
}

void tellFailedCall(Refusal& refusal, const std::string& operation, const Outcome& outcome) {
    refusal.operation = operation;
    refusal.found = operation + " failed";
    for (const mervane::StackEntry& entry : outcome.stack)
        if (entry.status == refusal.status && !entry.text.empty()) {
            refusal.found += ": " + entry.text;
            break;
        }
    if (refusal.rule.empty())
        refusal.rule = "status " + std::to_string(refusal.status) + " of the platform";
}

void tellNotModifiable(const Context& context, Refusal& refusal) {
    const std::string site = display(refusal.object, "owning_site");
    if (checkedOut(refusal.object)) {
        refusal.found = "it is checked out";
        refusal.allowed = "not checked out by anybody";
    } else if (!site.empty()) {
        refusal.found = "the site " + site + " owns it";
        refusal.allowed = "objects of this site";
    } else if (!refusal.holder.empty()) {
        refusal.found = "another session has locked it";
        refusal.allowed = "not locked by anybody else";
    } else {
        const std::string latest = latestStatus(context, refusal.object);
        refusal.found =
            "the user may not write it" + (latest.empty() ? "" : ", its status is " + latest);
        refusal.allowed = "users with the right WRITE";
    }
}

std::string tellSetting(const Context& context, Refusal& refusal, const std::string& section,
                        const std::vector<std::string>& keys) {
    refusal.section = section;
    // A preference of this name hides the section of the file.
    std::string values;
    for (const auto& [name, lines] : context.workbench().preferences())
        if (name == section)
            values = joined(lines, "\n");
    const bool preference = !values.empty();
    const std::optional<IniFile> settings =
        preference
            ? parseIni("[" + section + "]\n" + values)
            : readIniFile((pathOf(statusConfigPath()).parent_path() / "keld_base.ini").string());
    for (const std::string& key : keys)
        if (const IniEntry* entry = settings ? settings->find(section, key) : nullptr) {
            refusal.file = preference ? "the preference" : "keld_base.ini";
            // The parsed text has a header before the values of the preference.
            refusal.line = preference ? entry->line - 1 : entry->line;
            return entry->value;
        }
    return "";
}

void tellProblems(Context& context, const Outcome& outcome, const std::vector<Refusal>& refusals,
                  const std::string& word) {
    constexpr std::size_t kLongestText = 1000;
    const int number = outcome.slot == Slot::Int ? outcome.number : 0;
    const int status = outcome.status ? outcome.status : number;
    Json all = Json::array();
    std::string text, last;
    if (status != 0)
        text += word + ": " + statusText(context, status) + "\n";
    else if (!refusals.empty())
        text += word + ":\n";
    for (const Refusal& refusal : refusals) {
        all.push_back(asJson(refusal));
        text += asText(refusal);
    }
    for (const auto& entry : outcome.stack) {
        const std::string line = "  error " + std::to_string(entry.status) + ": " +
                                 cutText(shown(entry.text), kLongestText) + "\n";
        text += line == last ? "" : line;
        last = line;
    }
    context.document["refusal"] = all.empty() ? Json() : all.front();
    context.document["refusals"] = std::move(all);
    if (!outcome.succeeded())
        text += problemText(outcome, "  log: ");
    context.problem(text);
}

Json asJson(const Refusal& refusal) {
    const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    return {{"status", refusal.status},
            {"object", orNull(refusal.label)},
            {"tag", refusal.object == NULLTAG ? Json() : Json(refusal.object)},
            {"type", orNull(refusal.type)},
            {"path", refusal.path},
            {"rule", refusal.rule},
            {"found", orNull(refusal.found)},
            {"allowed", orNull(refusal.allowed)},
            {"section", orNull(refusal.section)},
            {"file", orNull(refusal.file)},
            {"line", refusal.line == 0 ? Json() : Json(refusal.line)},
            {"checked_out_by", orNull(refusal.holder)},
            {"operation", orNull(refusal.operation)}};
}

std::string asText(const Refusal& refusal) {
    std::string text;
    if (!refusal.typed.empty())
        text += "  object   " + shown(refusal.typed) + " (" + refusal.type + ")\n";
    if (refusal.path.size() > 1)
        text += "  path     " + shown(joined(refusal.path, " > ")) + "\n";
    text += "  rule     " + refusal.rule + "\n";
    if (!refusal.found.empty())
        text += "  found    " + shown(refusal.found) + "\n";
    if (!refusal.allowed.empty())
        text += "  allowed  " + shown(refusal.allowed) + "\n";
    if (!refusal.holder.empty())
        text += "  held by  " + shown(refusal.holder) + "\n";
    const std::string place =
        refusal.line ? refusal.file + ", line " + std::to_string(refusal.line) : "";
    if (!refusal.section.empty())
        text +=
            "  section  [" + refusal.section + "]" + (place.empty() ? "" : " in " + place) + "\n";
    else if (!place.empty())
        text += "  setting  " + place + "\n";
    return text;
}

}  // namespace keld
