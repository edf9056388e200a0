#include "tools/keld/host/refusal.h"

#include <algorithm>
#include <deque>
#include <map>

#include "platform/mv_err.h"
#include "platform/mv_rel.h"
#include "platform/mv_str.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

// More than this many objects aren't searched for a path.
constexpr std::size_t kMostObjects = 20000;

tag_t referenceOf(const Context& context, tag_t object, const char* attribute) {
    try {
        for (const auto& value : context.workbench().get(object, attribute))
            if (const auto* reference = std::get_if<mervane::Reference>(&value))
                return reference->tag;
    } catch (const mervane::Failure&) {
        // It has no such attribute.
    }
    return NULLTAG;
}

// What a run comes from when it comes to the object.
std::vector<tag_t> parentsOf(const Context& context, tag_t object) {
    std::vector<tag_t> parents;
    int count = 0;
    int* levels = nullptr;
    tag_t* users = nullptr;
    if (STR_where_used_all(object, 1, &count, &levels, &users) == 0)
        parents.assign(users, users + count);
    HEAP_free(levels);
    HEAP_free(users);
    for (const rel_entry_s& entry : listOf<rel_entry_s>([&](int*n, rel_entry_s**list) {
             return REL_list_primary_objects(object, NULLTAG, n, list);
         }))
        parents.push_back(entry.primary);
    for (const char* attribute : {"items_tag", "parent_revision", "parent_item", "bom_view"})
        if (const tag_t owner = referenceOf(context, object, attribute); owner != NULLTAG)
            parents.push_back(owner);
    ERR_clear_errors();
    return parents;
}

}  // namespace

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
            path.push_back(context.label(at));
    return path;
}

std::string holderOf(const Context& context, tag_t object) {
    const auto info = context.workbench().checkOutOf(object);
    if (!info)
        return "";
    return "user " + info->user + " since " + info->since +
           (info->comment.empty() ? "" : ": " + info->comment);
}

Json asJson(const Refusal& refusal) {
    const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(text); };
    return {{"status", refusal.status},
            {"object", refusal.label},
            {"tag", refusal.object},
            {"type", refusal.type},
            {"path", refusal.path},
            {"rule", refusal.rule},
            {"found", orNull(refusal.found)},
            {"allowed", orNull(refusal.allowed)},
            {"section", orNull(refusal.section)},
            {"file", orNull(refusal.file)},
            {"line", refusal.line == 0 ? Json() : Json(refusal.line)},
            {"checked_out_by", orNull(refusal.holder)}};
}

std::string asText(const Refusal& refusal) {
    std::string text = "  object   " + refusal.label + " (" + refusal.type + ")\n";
    if (refusal.path.size() > 1)
        text += "  path     " + joined(refusal.path, " > ") + "\n";
    text += "  rule     " + refusal.rule + "\n";
    if (!refusal.found.empty())
        text += "  found    " + refusal.found + "\n";
    if (!refusal.allowed.empty())
        text += "  allowed  " + refusal.allowed + "\n";
    if (!refusal.holder.empty())
        text += "  held by  " + refusal.holder + "\n";
    if (!refusal.section.empty())
        text +=
            "  section  [" + refusal.section + "]" +
            (refusal.line ? " in " + refusal.file + ", line " + std::to_string(refusal.line) : "") +
            "\n";
    return text;
}

}  // namespace keld
