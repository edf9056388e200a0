// show, find: show and find objects.

#include <CLI/CLI.hpp>
#include <memory>
#include <set>

#include "platform/keld_qsktool.h"
#include "platform/mv_dst.h"
#include "platform/mv_fil.h"
#include "platform/mv_rel.h"
#include "platform/mv_str.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/stored_file.h"

namespace keld {

void addTreeVerb(Verbs& verbs);

namespace {

// Computed properties, which aren't among the attributes.
const std::vector<std::string> kWorkedOut = {
    "object_type",      "object_string",      "item_id", "is_modifiable", "checked_out",
    "checked_out_user", "last_release_status"};

void showProperties(Context& context, tag_t object) {
    std::vector<std::string> names = kWorkedOut;
    for (const std::string& name : context.workbench().attributeNames(object))
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    Json properties = Json::object();
    Table table({"PROPERTY", "VALUE"});
    for (const std::string& name : names) {
        const std::string text = display(object, name);
        if (text.empty() &&
            std::find(kWorkedOut.begin(), kWorkedOut.end(), name) != kWorkedOut.end())
            continue;
        properties[name] = text;
        table.add({name, text});
    }
    context.document["properties"] = properties;
    context.print(table.text());
}

void showRelations(Context& context, tag_t object) {
    Json shown = Json::array();
    Table table({"RELATION", "", "OBJECT", "TYPE", "NAME"});
    for (const bool outgoing : {true, false}) {
        const auto entries = listOf<rel_entry_s>([&](int* count, rel_entry_s** list) {
            return outgoing ? REL_list_secondary_objects(object, NULLTAG, count, list)
                            : REL_list_primary_objects(object, NULLTAG, count, list);
        });
        for (const rel_entry_s& entry : entries) {
            char type[129] = "";
            KELD_MVTYPE_ask_name(entry.relation_type, type);
            mervane::Found other;
            std::string label = "#" + std::to_string(entry.secondary), title = label;
            try {
                context.workbench().needRead(entry.secondary);
                other = context.workbench().describe(entry.secondary);
                label = context.label(entry.secondary);
                title = context.title(entry.secondary);
            } catch (const mervane::Failure& failure) {
                constexpr int kNotAllowed = 710021;
                other.name = failure.status() == kNotAllowed ? "(not readable)" : "(gone)";
            }
            shown.push_back({{"relation", type},
                             {"direction", outgoing ? "to" : "from"},
                             {"tag", entry.secondary},
                             {"object", label},
                             {"type", other.type},
                             {"name", other.name}});
            table.add({type, outgoing ? "to" : "from", title, other.type, other.name});
        }
    }
    context.document["relations"] = shown;
    if (!table.empty())
        context.print("\n" + table.text());
}

Json filesOf(Context& context, tag_t dataset, Table& table, const std::string& version) {
    Json files = Json::array();
    int count = 0;
    if (DST_ask_dataset_ref_count(dataset, &count) != 0)
        return files;
    for (int i = 0; i < count; ++i) {
        char reference[129] = "";
        char original[133] = "";
        int kind = 0;
        tag_t object = NULLTAG;
        if (DST_find_dataset_named_ref(dataset, i, reference, &kind, &object) != 0)
            continue;
        mervane::Found found;
        try {
            found = context.workbench().describe(object);
        } catch (const mervane::Failure&) {
            found.type = "(gone)";
        }
        if (found.cls == "VaneFile")
            FIL_ask_original_file_name(object, original);
        const std::string size = found.cls == "VaneFile" ? display(object, "byte_size") : "";
        files.push_back({{"reference", reference},
                         {"tag", object},
                         {"type", found.type},
                         {"name", *original ? std::string(original) : found.name},
                         {"bytes", size}});
        table.add({version, reference, found.type, *original ? original : found.name, size});
    }
    return files;
}

void showDataset(Context& context, tag_t dataset) {
    tag_t anchor = NULLTAG;
    int count = 0;
    if (DST_ask_dataset_anchor(dataset, &anchor) != 0 ||
        DST_count_anchor_revisions(anchor, &count) != 0)
        return;
    Json versions = Json::array();
    Table table({"VERSION", "REFERENCE", "TYPE", "FILE", "BYTES"});
    for (int i = 0; i < count; ++i) {
        tag_t version = NULLTAG;
        if (DST_ask_anchor_revision(anchor, i, &version) != 0)
            continue;
        const std::string number = std::to_string(i + 1) + (version == dataset ? "*" : "");
        versions.push_back({{"version", i + 1},
                            {"tag", version},
                            {"shown", version == dataset},
                            {"files", filesOf(context, version, table, number)}});
    }
    context.document["versions"] = versions;
    context.print("\n" + counted(static_cast<std::size_t>(count), "version") + "\n" +
                  (table.empty() ? "no files\n" : table.text()));
}

int show(Context& context, const std::string& name) {
    context.open();
    const tag_t object = context.object(name);
    context.workbench().needRead(object);
    const mervane::Found found = context.workbench().describe(object);
    context.document["tag"] = object;
    context.document["object"] = context.label(object);
    context.document["class"] = found.cls;
    context.document["type"] = found.type;
    context.document["name"] = found.name;
    context.print(painted(Colour::Bold, context.title(object)) + "  " + found.type + "  #" +
                  std::to_string(object) + "  " + keld::shown(found.name) + "\n");
    showProperties(context, object);
    showRelations(context, object);
    if (found.cls == "Dataset")
        showDataset(context, object);
    return kExitDone;
}

struct Find {
    std::string pattern = "*";
    Filter filter;
    int limit = 100;
};

int find(Context& context, const Find& wanted) {
    context.open();
    if (wanted.limit < 0)
        throw CommandError("--limit must not be negative", {}, kExitUsage);
    checkFilter(context, wanted.filter);
    // Ask for one more than wanted, to know whether there are more.
    std::vector<mervane::Found> found;
    {
        const Progress progress("searching");
        const Filter& filter = wanted.filter;
        found = context.workbench().find({wanted.pattern, filter.type, filter.owner,
                                          wanted.limit > 0 ? wanted.limit + 1 : 0, filter.status,
                                          filter.checked_out, filter.checked_out_by});
    }
    if (found.empty())
        needStatus(context, wanted.filter.status);
    const bool more = wanted.limit > 0 && found.size() > static_cast<std::size_t>(wanted.limit);
    if (more)
        found.resize(static_cast<std::size_t>(wanted.limit));
    Json shown = Json::array();
    Table table({"OBJECT", "TYPE", "NAME", "TAG"});
    for (const auto& each : found) {
        const std::string tag = "#" + std::to_string(each.tag);
        shown.push_back({{"object", each.id.empty() ? tag : each.id},
                         {"type", each.type},
                         {"name", each.name},
                         {"tag", each.tag}});
        table.add({each.typed, each.type, each.name, tag});
    }
    context.document["found"] = shown;
    context.document["more"] = more;
    context.print(found.empty() ? "nothing found\n" : table.text());
    if (more)
        context.print("there are more; --limit 0 shows all\n");
    return kExitDone;
}

}  // namespace

void addLookVerbs(Verbs& verbs) {
    auto object = std::make_shared<std::string>();
    verbs
        .add(&verbs.app, "show", "Show an object: properties, relations, versions and files",
             "  keld show 000123\n"
             "  keld show 000123/A\n"
             "  keld show 000123/A:drawing      # a dataset\n"
             "  keld show '#4711'               # by tag\n",
             [object](Context& context) { return show(context, *object); })
        ->add_option("OBJECT", *object, "id, id/revision, id/revision:dataset or #tag")
        ->required();

    addTreeVerb(verbs);
    addStoredFileVerb(verbs);

    auto wanted = std::make_shared<Find>();
    CLI::App* verb = verbs.add(&verbs.app, "find", "Find objects by id or name",
                               "  keld find '0001*'\n"
                               "  keld find '*pump*' --type ItemRevision --owner kelda --limit 0\n"
                               "  keld find --checked-out-by kelda\n"
                               "  keld find --type ItemRevision --status none\n",
                               [wanted](Context& context) { return find(context, *wanted); });
    verb->add_option("PATTERN", wanted->pattern,
                     "id or name; * and ? are wildcards; case counts; everything if not given");
    addFilterOptions(verb, wanted->filter);
    verb->add_option("--limit", wanted->limit, "at most so many; 0: all")->capture_default_str();
}

}  // namespace keld
