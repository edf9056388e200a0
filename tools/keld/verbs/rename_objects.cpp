#include "tools/keld/verbs/rename_objects.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "platform/mv_art.h"
#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

using mervane::JournalEntry;

constexpr std::size_t kNameLimit = 128;
constexpr std::size_t kDescriptionLimit = 240;

using ListCall = int (*)(tag_t, int*, tag_t**);

std::vector<tag_t> tagsOf(tag_t object, ListCall call) {
    return listOf<tag_t>([&](int* count, tag_t** tags) { return call(object, count, tags); });
}

std::vector<tag_t> related(tag_t primary) {
    return listOf<tag_t>([&](int* count, tag_t** tags) {
        return REL_list_secondary_objects_only(primary, NULLTAG, count, tags);
    });
}

std::map<std::string, std::string> textsOf(Context& context, tag_t object) {
    std::map<std::string, std::string> texts;
    try {
        for (const std::string& name : context.workbench().attributeNames(object))
            for (const auto& value : context.workbench().get(object, name))
                if (const auto* text = std::get_if<std::string>(&value))
                    texts[name] += (texts[name].empty() ? "" : ", ") + *text;
    } catch (const mervane::Failure&) {
        // Gone: it has no texts.
    }
    return texts;
}

class Collector {
public:
    explicit Collector(Context& context) : context_(context) {}

    std::vector<RenameTarget> run(tag_t item) {
        add(item);
        addRelated(item);
        for (tag_t view : tagsOf(item, ART_list_bom_views))
            add(view);
        for (tag_t revision : tagsOf(item, ART_list_all_revs)) {
            add(revision);
            addRelated(revision);
            for (tag_t view : tagsOf(revision, ART_rev_list_bom_view_revs))
                add(view);
        }
        ERR_clear_errors();  // the end of each chain of versions is a failure
        return std::move(targets_);
    }

private:
    void add(tag_t object) {
        if (!seen_.insert(object).second)
            return;
        std::string type;
        try {
            type = context_.workbench().describe(object).type;
        } catch (const mervane::Failure&) {
        }
        targets_.push_back({object, context_.label(object), type, textsOf(context_, object)});
    }
    void addRelated(tag_t primary) {
        for (tag_t secondary : related(primary)) {
            add(secondary);
            // Only a dataset has named references and versions.
            for (tag_t version = secondary, next = NULLTAG; version != NULLTAG; version = next) {
                add(version);
                for (tag_t reference : tagsOf(version, DST_ask_dataset_named_refs))
                    add(reference);
                next = NULLTAG;
                if (DST_ask_dataset_prev_rev(version, &next) != 0 || next == version)
                    break;
            }
        }
    }

    Context& context_;
    std::vector<RenameTarget> targets_;
    std::set<tag_t> seen_;
};

// The first occurrence of the item id, and behind it of the revision id.
std::string substituted(const std::string& text, const RenameIds& ids) {
    const auto hit = text.find(ids.old_item);
    if (hit == std::string::npos)
        return text;
    std::string rest = text.substr(hit + ids.old_item.size());
    if (!ids.old_revision.empty())
        if (const auto at = rest.find(ids.old_revision); at != std::string::npos)
            rest.replace(at, ids.old_revision.size(), ids.new_revision);
    return text.substr(0, hit) + ids.new_item + rest;
}

// A text that fills its field lost its end if it is the start of what it should have become.
int cutAt(const RenamedText& change, const RenameIds& ids) {
    const bool description = change.attribute == "object_desc";
    if (!description && change.attribute != "object_name")
        return 0;
    const std::size_t limit = description ? kDescriptionLimit : kNameLimit;
    if (change.after.size() != limit)
        return 0;
    const std::string& item_text = description ? ids.new_description : ids.new_name;
    for (const std::string& whole :
         {substituted(change.before, ids), item_text.empty() ? ids.new_item : item_text})
        if (whole.size() > limit && whole.starts_with(change.after))
            return static_cast<int>(limit);
    return 0;
}

tag_t firstTag(const JournalEntry& entry) {
    const auto sign = entry.arguments.find('#');
    return sign == std::string::npos
               ? 0
               : static_cast<tag_t>(std::strtoul(entry.arguments.c_str() + sign + 1, nullptr, 10));
}

}  // namespace

std::vector<RenameTarget> renameTargets(Context& context, tag_t item) {
    return Collector(context).run(item);
}

std::vector<RenamedText> renamedTexts(Context& context, const std::vector<RenameTarget>& before,
                                      const RenameIds& ids) {
    std::vector<RenamedText> changes;
    for (const RenameTarget& target : before) {
        auto was = target.texts;
        const auto now = textsOf(context, target.tag);
        for (const auto& [attribute, text] : now)
            (void)was[attribute];  // an attribute that had no value
        for (const auto& [attribute, old_text] : was) {
            const auto at = now.find(attribute);
            RenamedText change{target.label,
                               target.type,
                               attribute,
                               old_text,
                               at == now.end() ? "" : at->second,
                               target.tag,
                               0};
            if (change.before == change.after)
                continue;
            change.cut_at = cutAt(change, ids);
            changes.push_back(std::move(change));
        }
    }
    return changes;
}

Refusal readRefusal(const std::vector<JournalEntry>& journal) {
    // An error that the library stored itself belongs to the object that it tested last; a failed
    // call says itself what it was about. Whichever came last has stopped the run.
    tag_t tested = 0;
    Refusal refusal;
    for (const JournalEntry& entry : journal) {
        if (entry.operation == "OBJ_ask_if_modifiable")
            tested = firstTag(entry);
        if (entry.operation.starts_with("ERR_store_error"))
            refusal = {tested, ""};
        else if (entry.status != 0)
            refusal = {firstTag(entry), entry.operation};
    }
    return refusal;
}

std::vector<std::string> textsOfCalls(const std::vector<JournalEntry>& journal,
                                      const std::string& operation) {
    std::vector<std::string> texts;
    for (const JournalEntry& entry : journal) {
        const auto first = entry.arguments.find('"');
        const auto last = entry.arguments.find('"', first + 1);
        if (entry.operation == operation && entry.status == 0 && last != std::string::npos)
            texts.push_back(entry.arguments.substr(first + 1, last - first - 1));
    }
    return texts;
}

}  // namespace keld
