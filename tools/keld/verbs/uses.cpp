// where-used: the structures, relations and folders that use an object.

#include <CLI/CLI.hpp>
#include <memory>

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_err.h"
#include "platform/mv_rel.h"
#include "platform/mv_str.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/referrers.h"

namespace keld {

namespace {

struct WantedUses {
    std::string object;
    bool all_levels = false;
};

struct UseRow {
    int level = 1;
    tag_t user = NULLTAG, used = NULLTAG;
    std::string by;  // "structure", "folder" or the relation type
};

std::vector<UseRow> structureUses(const Context& context, tag_t revision, bool all_levels) {
    int count = 0;
    int* levels = nullptr;
    tag_t* parents = nullptr;
    require(context, STR_where_used_all(revision, all_levels ? 0 : 1, &count, &levels, &parents),
            "STR_where_used_all");
    std::vector<UseRow> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back({levels[i], parents[i], revision, "structure"});
    HEAP_free(levels);
    HEAP_free(parents);
    return rows;
}

std::vector<UseRow> relationUses(tag_t object) {
    std::vector<UseRow> rows;
    for (const rel_entry_s& entry : listOf<rel_entry_s>([&](int*count, rel_entry_s**list) {
             return REL_list_primary_objects(object, NULLTAG, count, list);
         })) {
        char type[129] = "";
        KELD_MVTYPE_ask_name(entry.relation_type, type);
        rows.push_back({1, entry.secondary, object, type});
    }
    return rows;
}

std::vector<UseRow> folderUses(const Context& context, tag_t object) {
    std::vector<UseRow> rows;
    for (const tag_t folder : referrersOf(context, object).folders)
        rows.push_back({1, folder, object, "folder"});
    return rows;
}

int whereUsed(Context& context, const WantedUses& wanted) {
    context.open();
    const tag_t object = context.object(wanted.object);
    std::vector<tag_t> used{object};
    const bool item = isOf(context, object, "Item");
    if (item)
        for (const tag_t revision : listOf<tag_t>(
                 [&](int*count, tag_t**list) { return ART_list_all_revs(object, count, list); }))
            used.push_back(revision);
    std::vector<UseRow> rows;
    const auto add = [&](const std::vector<UseRow>& more) {
        rows.insert(rows.end(), more.begin(), more.end());
    };
    for (const tag_t each : used) {
        if (isOf(context, each, "ItemRevision"))
            add(structureUses(context, each, wanted.all_levels));
        add(relationUses(each));
        add(folderUses(context, each));
    }
    ERR_clear_errors();
    Json shown = Json::array();
    Table table({"LEVEL", "USED", "BY", "OBJECT", "NAME", "STATUS", "OWNER"});
    for (const UseRow& row : rows) {
        const ObjectName user = nameOf(context, row.user);
        const std::string name = context.workbench().describe(row.user).name;
        const std::string status = latestStatus(context, row.user);
        const std::string owner = display(row.user, "owning_user");
        shown.push_back({{"level", row.level},
                         {"used", context.label(row.used)},
                         {"by", row.by},
                         {"object", context.label(row.user)},
                         {"tag", row.user},
                         {"type", user.type},
                         {"name", name},
                         {"status", status.empty() ? Json() : Json(status)},
                         {"owner", owner}});
        table.add({std::to_string(row.level), context.title(row.used), row.by,
                   context.title(row.user), name, status.empty() ? "-" : status, owner});
    }
    context.document = {{"object", context.label(object)}, {"uses", shown}};
    context.print(table.empty() ? "nothing uses " + context.title(object) + "\n" : table.text());
    return kExitDone;
}

}  // namespace

void addUsesVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedUses>();
    CLI::App* verb = verbs.add(
        &verbs.app, "where-used", "Show the structures, relations and folders an object is in",
        "  keld where-used 000123/A\n"
        "  keld where-used 000123 --all-levels   # of all its revisions, up to the top\n"
        "  keld where-used 000123/A:drawing      # what a dataset hangs on\n",
        [wanted](Context& context) { return whereUsed(context, *wanted); });
    verb->add_option("OBJECT", wanted->object, "of an item: each of its revisions too")->required();
    verb->add_flag("--all-levels", wanted->all_levels,
                   "also what uses the users, each once at its lowest level");
}

}  // namespace keld
