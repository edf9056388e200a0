// tree: a structure with the status, owner and check-out of each part.

#include <CLI/CLI.hpp>
#include <memory>

#include "platform/mv_art.h"
#include "platform/mv_line.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

struct Tree {
    std::string object;
    int depth = 0;  // 0: no limit
    bool relations = false;
};

class Printer {
public:
    Printer(Context& context, const Tree& tree) : context_(context), tree_(tree) {
        LINE_look_up_attribute("bl_revision", &revision_attribute_);
    }

    Json line(tag_t line, const std::string& lead, const std::string& branch, int level) {
        tag_t revision = NULLTAG;
        LINE_ask_attribute_tag(line, revision_attribute_, &revision);
        Json node = object(revision, lead + branch, display(line, "bl_sequence_no"),
                           display(line, "bl_quantity"));
        const std::string below = lead + (branch.empty() ? "" : branch == "└─ " ? "   " : "│  ");
        Json children = Json::array();
        const auto lines = listOf<tag_t>(
            [&](int* count, tag_t** list) { return LINE_ask_child_lines(line, count, list); });
        if (tree_.relations)
            node["related"] = related(revision, below, !lines.empty());
        if (tree_.depth == 0 || level < tree_.depth)
            for (std::size_t i = 0; i < lines.size(); ++i)
                children.push_back(
                    this->line(lines[i], below, i + 1 == lines.size() ? "└─ " : "├─ ", level + 1));
        else if (!lines.empty())
            text_ += below + "└─ (" + counted(lines.size(), "child line") + ")\n";
        node["children"] = children;
        return node;
    }

    // A folder's contents or an object without a structure.
    Json folder(tag_t tag, const std::string& lead, const std::string& branch, int level) {
        Json node = object(tag, lead + branch, "", "");
        const std::string below = lead + (branch.empty() ? "" : branch == "└─ " ? "   " : "│  ");
        std::vector<tag_t> contents;
        if (context_.workbench().describe(tag).cls == "Folder")
            for (const auto& value : context_.workbench().get(tag, "contents"))
                if (const auto* reference = std::get_if<mervane::Reference>(&value))
                    contents.push_back(reference->tag);
        if (tree_.relations)
            node["related"] = related(tag, below, !contents.empty());
        Json children = Json::array();
        if (tree_.depth == 0 || level < tree_.depth)
            for (std::size_t i = 0; i < contents.size(); ++i) {
                // A folder can hold itself, directly or not.
                if (std::find(path_.begin(), path_.end(), contents[i]) != path_.end())
                    continue;
                path_.push_back(contents[i]);
                children.push_back(folder(contents[i], below,
                                          i + 1 == contents.size() ? "└─ " : "├─ ", level + 1));
                path_.pop_back();
            }
        node["children"] = children;
        return node;
    }

    const std::string& text() const { return text_; }

private:
    Json object(tag_t tag, const std::string& lead, const std::string& sequence,
                const std::string& quantity) {
        mervane::Found found;
        try {
            found = context_.workbench().describe(tag);
        } catch (const mervane::Failure&) {
            found.name = "(gone)";
        }
        const std::string status = latestStatus(context_, tag);
        const std::string owner = display(tag, "owning_user");
        const std::string by = checkedOut(tag) ? display(tag, "checked_out_user") : "";
        const std::string label = context_.label(tag);
        Json node = {{"object", label},  {"type", found.type}, {"name", found.name},  {"tag", tag},
                     {"status", status}, {"owner", owner},     {"checked_out_by", by}};
        std::string text = lead;
        if (!sequence.empty()) {
            node["sequence"] = sequence;
            text += sequence + "  ";
        }
        text += painted(Colour::Bold, label) + "  " + found.name;
        if (!quantity.empty()) {
            node["quantity"] = quantity;
            text += "  x" + quantity;
        }
        text += "  " + (status.empty() ? painted(Colour::Dim, "-")
                                       : painted(Colour::Green, "[" + status + "]"));
        text += "  " + painted(Colour::Dim, owner);
        if (!by.empty())
            text += "  " + painted(Colour::Yellow, "checked out by " + by);
        text_ += text + "\n";
        return node;
    }

    Json related(tag_t tag, const std::string& lead, bool more_below) {
        Json nodes = Json::array();
        const auto objects = listOf<tag_t>([&](int* count, tag_t** list) {
            return REL_list_secondary_objects_only(tag, NULLTAG, count, list);
        });
        for (std::size_t i = 0; i < objects.size(); ++i)
            nodes.push_back(object(objects[i],
                                   lead + (i + 1 == objects.size() && !more_below ? "└· " : "├· "),
                                   "", ""));
        return nodes;
    }

    Context& context_;
    const Tree& tree_;
    int revision_attribute_ = 0;
    std::vector<tag_t> path_;
    std::string text_;
};

int tree(Context& context, const Tree& wanted) {
    context.open();
    if (wanted.depth < 0)
        throw CommandError("--depth must not be negative", {}, kExitUsage);
    tag_t object = context.object(wanted.object);
    mervane::Workbench& workbench = context.workbench();
    const std::vector<std::string> items = workbench.typeNames("Item");
    const std::vector<std::string> revisions = workbench.typeNames("ItemRevision");
    const auto isOf = [&](const std::vector<std::string>& types) {
        return std::find(types.begin(), types.end(), workbench.describe(object).type) !=
               types.end();
    };
    if (isOf(items)) {
        tag_t latest = NULLTAG;
        require(context, ART_ask_latest_rev(object, &latest), "ART_ask_latest_rev");
        if (latest != NULLTAG)
            object = latest;
    }
    Printer printer(context, wanted);
    if (isOf(revisions)) {
        const tag_t top = workbench.openBomWindow(object);
        context.document = printer.line(top, "", "", 0);
        workbench.closeBomWindow(top);
    } else {
        context.document = printer.folder(object, "", "", 0);
    }
    context.print(printer.text());
    return kExitDone;
}

}  // namespace

void addTreeVerb(Verbs& verbs) {
    auto wanted = std::make_shared<Tree>();
    CLI::App* verb = verbs.add(
        &verbs.app, "tree", "Show a structure with status, owner and check-out of each part",
        "  keld tree 000123/A\n"
        "  keld tree 000123 --depth 2      # the latest revision\n"
        "  keld tree 000123 --relations    # with the objects related to each revision\n",
        [wanted](Context& context) { return tree(context, *wanted); });
    verb->add_option("OBJECT", wanted->object, "item, revision or folder")->required();
    verb->add_option("--depth", wanted->depth, "levels below the top; 0: all")
        ->capture_default_str();
    verb->add_flag("--relations", wanted->relations, "show related objects too");
}

}  // namespace keld
