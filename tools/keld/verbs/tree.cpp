// tree: shows a structure with status, owner and check-out of each part.

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <optional>
#include <unordered_map>

#include "platform/mv_art.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"
#include "tools/keld/host/tree_writer.h"

namespace keld {

namespace {

struct Tree {
    std::string object;
    int depth = 0, limit = 0;  // 0: none
    bool relations = false;
    Filter filter;
};

// One part of the tree: a BOM line with its revision, or an object alone.
struct Part {
    tag_t line = NULLTAG, object = NULLTAG;
};

class Walk {
public:
    Walk(Context& context, const Tree& tree) : context_(context), tree_(tree), writer_(context) {}

    // Write each part when it is reached. A list of waiting parts replaces recursion, so deep
    // structures need no stack.
    void run(const Part& top) {
        if (tree_.filter.any())
            gather(top);
        std::optional<Progress> progress;
        if (!outputIsTerminal())
            progress.emplace("showing the structure", "part");
        struct Level {
            std::vector<Part> parts;
            std::size_t next = 0;
        };
        std::vector<Level> levels;
        levels.push_back({{top}});
        while (!levels.empty()) {
            Level& level = levels.back();
            if (level.next == level.parts.size() || full()) {
                more_ = more_ || level.next < level.parts.size();
                levels.pop_back();
                if (!levels.empty())
                    writer_.end();
                continue;
            }
            const Part part = level.parts[level.next++];
            std::vector<Part> below = show(part, level.next == level.parts.size());
            ++shown_;
            if (progress)
                progress->count();
            levels.push_back({std::move(below)});
        }
    }

    bool more() const { return more_; }
    std::size_t matching() const { return matching_; }

private:
    bool full() const { return tree_.limit > 0 && shown_ >= static_cast<std::size_t>(tree_.limit); }

    // Find the objects that the filter lets through, and those above them.
    void gather(const Part& top) {
        const Progress progress("looking for parts that match");
        struct Open {
            tag_t object;
            std::vector<Part> parts;
            std::size_t next = 0;
        };
        std::vector<Open> open;
        const auto enter = [&](const Part& part) {
            if (leads_.try_emplace(part.object, matches(context_, tree_.filter, part.object))
                    .second)
                open.push_back({part.object, allBelow(part)});
        };
        enter(top);
        while (!open.empty()) {
            Open& at = open.back();
            if (at.next > 0 && leads_[at.parts[at.next - 1].object])
                leads_[at.object] = true;
            if (at.next == at.parts.size())
                open.pop_back();
            else
                enter(at.parts[at.next++]);
        }
        if (!leads_[top.object])
            needStatus(context_, tree_.filter.status);
    }

    // Write a part; gives the parts to show below it.
    std::vector<Part> show(const Part& part, bool last) {
        const std::size_t level = writer_.level();
        std::vector<Part> below = partsBelow(part);
        const std::string lead = writer_.lead(last);
        std::string text;
        Json node = describe(part, text);
        std::string remark;
        const std::size_t room = tree_.depth == 0 ? std::numeric_limits<std::size_t>::max()
                                                  : static_cast<std::size_t>(tree_.depth) - level;
        bool cut = false;
        if (!below.empty()) {
            const auto [before, first] = rooms_.try_emplace(part.object, room);
            if (!first && before->second >= room && room > 0) {
                node["as_above"] = true;
                remark = "  " + painted(Colour::Dim, "(as above)");
                below.clear();
            }
            before->second = std::max(before->second, room);
            cut = room == 0 && !below.empty();
        }
        context_.print(lead + text + remark + "\n");
        const std::size_t hidden = cut ? below.size() : 0;
        if (cut)
            below.clear();
        std::string related_text;
        std::vector<std::string> related;
        if (tree_.relations)
            node["related"] = describeRelated(part.object, related);
        writer_.begin(node, last);
        for (std::size_t i = 0; i < related.size(); ++i)
            context_.print(writer_.leadBelow(i + 1 == related.size() && below.empty() && hidden == 0
                                                 ? "└· "
                                                 : "├· ") +
                           related[i] + "\n");
        if (hidden > 0 && part.line != NULLTAG)
            context_.print(writer_.leadBelow("└─ ") + "(" + counted(hidden, "child line") + ")\n");
        return below;
    }

    std::vector<Part> partsBelow(const Part& part) {
        std::vector<Part> parts = allBelow(part);
        if (tree_.filter.any())
            std::erase_if(parts, [&](const Part& below) { return !leads_[below.object]; });
        return parts;
    }

    std::vector<Part> allBelow(const Part& part) {
        std::vector<Part> parts;
        if (part.line != NULLTAG) {
            for (const tag_t line : childLines(part.line))
                parts.push_back({line, lineTag(line, "bl_revision")});
            return parts;
        }
        if (context_.workbench().describe(part.object).cls == "Folder")
            for (const auto& value : context_.workbench().get(part.object, "contents"))
                if (const auto* reference = std::get_if<mervane::Reference>(&value))
                    parts.push_back({NULLTAG, reference->tag});
        return parts;
    }

    Json describe(const Part& part, std::string& text) {
        mervane::Found found;
        try {
            found = context_.workbench().describe(part.object);
        } catch (const mervane::Failure&) {
            found.name = "(gone)";
        }
        const std::string status = latestStatus(context_, part.object);
        const std::string owner = display(part.object, "owning_user");
        const std::string by =
            checkedOut(part.object) ? display(part.object, "checked_out_user") : "";
        Json node = {{"object", context_.label(part.object)},
                     {"type", found.type},
                     {"name", found.name},
                     {"tag", part.object},
                     {"status", status},
                     {"owner", owner},
                     {"checked_out_by", by}};
        std::string quantity;
        if (part.line != NULLTAG) {
            if (const std::string number = display(part.line, "bl_sequence_no"); !number.empty()) {
                node["sequence"] = number;
                text += shown(number) + "  ";
            }
            quantity = display(part.line, "bl_quantity");
        }
        bool wanted = true;
        if (tree_.filter.any()) {
            wanted = found.name != "(gone)" && matches(context_, tree_.filter, part.object);
            node["matches"] = wanted;
            matching_ += wanted ? 1 : 0;
        }
        text += painted(wanted ? Colour::Bold : Colour::Dim, context_.title(part.object)) + "  " +
                shown(found.name);
        if (!quantity.empty()) {
            node["quantity"] = quantity;
            text += "  x" + shown(quantity);
        }
        text += "  " + (status.empty() ? painted(Colour::Dim, "-")
                                       : painted(Colour::Green, "[" + shown(status) + "]"));
        text += "  " + painted(Colour::Dim, shown(owner));
        if (!by.empty())
            text += "  " + painted(Colour::Yellow, "checked out by " + shown(by));
        return node;
    }

    Json describeRelated(tag_t object, std::vector<std::string>& texts) {
        Json nodes = Json::array();
        for (const tag_t other : listOf<tag_t>([&](int*count, tag_t**list) {
                 return REL_list_secondary_objects_only(object, NULLTAG, count, list);
             }))
            nodes.push_back(describe({NULLTAG, other}, texts.emplace_back()));
        return nodes;
    }

    Context& context_;
    const Tree& tree_;
    TreeWriter writer_;
    std::unordered_map<tag_t, std::size_t> rooms_;  // levels that were shown below an object
    std::unordered_map<tag_t, bool> leads_;         // whether it or a part below passes the filter
    std::size_t shown_ = 0, matching_ = 0;
    bool more_ = false;
};

int tree(Context& context, const Tree& wanted) {
    context.open();
    if (wanted.depth < 0)
        throw CommandError("--depth must not be negative", {}, kExitUsage);
    if (wanted.limit < 0)
        throw CommandError("--limit must not be negative", {}, kExitUsage);
    checkFilter(context, wanted.filter);
    tag_t object = context.object(wanted.object);
    mervane::Workbench& workbench = context.workbench();
    const std::vector<std::string> items = workbench.typeNames("Item");
    const std::vector<std::string> revisions = workbench.typeNames("ItemRevision");
    const auto isAmong = [&](const std::vector<std::string>& types) {
        return std::find(types.begin(), types.end(), workbench.describe(object).type) !=
               types.end();
    };
    if (isAmong(items)) {
        tag_t latest = NULLTAG;
        require(context, ART_ask_latest_rev(object, &latest), "ART_ask_latest_rev");
        if (latest != NULLTAG)
            object = latest;
    }
    Walk walk(context, wanted);
    if (isAmong(revisions)) {
        const tag_t top = workbench.openBomWindow(object);
        walk.run({top, object});
        workbench.closeBomWindow(top);
    } else {
        walk.run({NULLTAG, object});
    }
    if (walk.more())
        context.note("there are more; --limit 0 shows all");
    if (wanted.filter.any())
        context.note(walk.matching() == 0 ? std::string("no part matches")
                                          : counted(walk.matching(), "part") + " of these match" +
                                                (walk.matching() == 1 ? "es" : ""));
    return kExitDone;
}

}  // namespace

void addTreeVerb(Verbs& verbs) {
    auto wanted = std::make_shared<Tree>();
    CLI::App* verb = verbs.add(
        &verbs.app, "tree", "Show a structure with status, owner and check-out of each part",
        "  keld tree 000123/A\n"
        "  keld tree 000123 --depth 2      # the latest revision\n"
        "  keld tree 000123 --relations    # with the objects related to each revision\n"
        "  keld tree 000123 --status none  # parts without a status, and what leads to them\n"
        "What is below a part is shown where the part comes first; elsewhere it is \"as "
        "above\".\n",
        [wanted](Context& context) { return tree(context, *wanted); });
    verb->add_option("OBJECT", wanted->object, "item, revision or folder")->required();
    verb->add_option("--depth", wanted->depth, "levels below the top; 0: all")
        ->capture_default_str();
    verb->add_option("--limit", wanted->limit, "at most so many parts; 0: all")
        ->capture_default_str();
    verb->add_flag("--relations", wanted->relations, "show related objects too");
    addFilterOptions(verb, wanted->filter);
}

}  // namespace keld
