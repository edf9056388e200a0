// rename: gives an item a new id, and changes everything that contains the id.

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "tools/keld/host/csv_input.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/visits.h"
#include "tools/keld/verbs/rename_objects.h"
#include "tools/keld/verbs/rename_run.h"
#include "workbench/names.h"

namespace keld {

namespace {

struct WantedRename {
    std::string item, revision, to, to_revision;
    std::optional<std::string> given_to, name, description;
    CsvWish csv;
    RunWish run;
};

tag_t findRevision(const Context& context, tag_t item, const std::string& id) {
    tag_t revision = NULLTAG;
    require(context, ART_find_revision(item, id.c_str(), &revision), "ART_find_revision");
    if (revision != NULLTAG)
        return revision;
    std::vector<std::string> known;
    for (tag_t each : listOf<tag_t>(
             [&](int*count, tag_t**tags) { return ART_list_all_revs(item, count, tags); }))
        known.push_back(display(each, "item_revision_id"));
    throw CommandError("item " + context.title(item) + " has no revision '" + id + "'",
                       nearest(id, known));
}

void refuseTaken(const Context& context, tag_t item, const std::string& id) {
    tag_t other = NULLTAG;
    const int status = KELD_ART_find_item(id.c_str(), &other);
    ERR_clear_errors();
    if (status == 0 && other != NULLTAG && other != item)
        throw CommandError("the id " + mervane::quotedName(id) +
                           " is taken: " + context.workbench().describe(other).name + " has it");
}

Json showRenamed(const std::vector<RenamedText>& renamed, std::string& text) {
    Json shown = Json::array();
    Table table({"OBJECT", "TYPE", "ATTRIBUTE", "OLD", "NEW", ""});
    for (const RenamedText& each : renamed) {
        shown.push_back({{"object", each.object},
                         {"type", each.type},
                         {"tag", each.tag},
                         {"attribute", each.attribute},
                         {"old", each.before},
                         {"new", each.after},
                         {"cut_at", each.cut_at == 0 ? Json() : Json(each.cut_at)}});
        table.add({each.object, each.type, each.attribute, each.before, each.after,
                   each.cut_at == 0 ? "" : "cut at " + std::to_string(each.cut_at)});
    }
    text += table.text();
    return shown;
}

// A file of renames goes with no other names or values.
void needFileAlone(const WantedRename& wanted) {
    if (!wanted.item.empty() || wanted.given_to || !wanted.revision.empty() || wanted.name ||
        wanted.description)
        throw CommandError(
            "with --from the file names the items and their new ids; leave ITEM, "
            "--to, --rev, --name and --desc out",
            {}, kExitUsage);
    if (wanted.run.visits)
        throw CommandError("--visits is of one rename, not of a file", {}, kExitUsage);
}

// The ids and texts that the service gets, and those that it replaces.
RenameIds wantedIds(const Context& context, const WantedRename& wanted, tag_t item,
                    tag_t revision) {
    ItemDescription present{};
    char id[129] = "";
    require(context, ENT_describe(item, &present), "ENT_describe");
    require(context, ART_ask_id(item, id), "ART_ask_id");
    RenameIds ids{id,
                  wanted.to,
                  "",
                  "",
                  wanted.name.value_or(present.name),
                  wanted.description.value_or(present.description)};
    if (revision != NULLTAG) {
        ids.old_revision = wanted.revision;
        ids.new_revision = wanted.to_revision.empty() ? wanted.revision : wanted.to_revision;
    }
    return ids;
}

// The service's arguments, as the run's head has them.
std::string serviceArguments(Context& context, tag_t item, tag_t revision, const RenameIds& ids) {
    if (revision == NULLTAG)
        return wireText(context, {ids.new_item, ids.new_name, ids.new_description, item});
    return wireText(context, {ids.new_item, ids.new_revision, ids.new_name, ids.new_description,
                              item, revision, kRenameTestPass | RENAME_MODIFY});
}

// Changes of the registry and of workflows. `told`: those of the store are shown, too.
void showOthers(Context& context, const Record& record, bool told, std::string& text) {
    Json registered = Json::array(), unregistered = Json::array(), workflows = Json::array();
    for (const OtherChange& other : record.others) {
        // Changes outside the store stay even if the run was taken back, so show them.
        if (!told && other.outside.empty())
            continue;
        if (other.subject == "id" && other.change == "registered") {
            registered.push_back(other.text);
            text += "registered the id " + shown(other.text) + "\n";
        } else if (other.subject == "id") {
            unregistered.push_back(other.text);
            text += "took out of the registry the id " + shown(other.text) + "\n";
        } else if (other.subject == "workflow") {
            workflows.push_back(other.text);
            text += "started the workflow on " + shown(other.text) + "\n";
        }
    }
    context.document["registered"] = registered;
    context.document["unregistered"] = unregistered;
    context.document["workflows"] = workflows;
}

// Print what was renamed, or would be. `told`: it is kept, or it is a test.
void showRename(Context& context, const RenameIds& ids, bool test, bool told,
                const RenameRun& renamed, const Record& record) {
    const bool revision = !ids.old_revision.empty();
    std::string text = test ? "test, nothing is changed; it would be:\n" : "";
    context.document = {{"item", ids.old_item},
                        {"revision", revision ? Json(ids.old_revision) : Json()},
                        {"to", ids.new_item},
                        {"to_revision", revision ? Json(ids.new_revision) : Json()},
                        {"name", ids.new_name},
                        {"description", ids.new_description},
                        {"test", test},
                        {"test_pass", renamed.tested},
                        {"succeeded", renamed.outcome.succeeded()}};
    context.document["renamed"] =
        showRenamed(told ? renamedTexts(record, ids) : std::vector<RenamedText>(), text);
    showOthers(context, record, told, text);
    context.document["outcome"] = asJson(context, renamed.outcome);
    context.print(text);
}

int renameItem(Context& context, WantedRename wanted) {
    wanted.to = newId("the new item id", *wanted.given_to);
    wanted.revision = newId("the revision id", wanted.revision);
    wanted.to_revision = newId("the new revision id", wanted.to_revision);
    context.open();
    const tag_t item = context.object(wanted.item);
    needItem(context, item, wanted.item);
    refuseTaken(context, item, wanted.to);
    const tag_t revision =
        wanted.revision.empty() ? NULLTAG : findRevision(context, item, wanted.revision);
    const RenameIds ids = wantedIds(context, wanted, item, revision);

    VerbRun run(context, wanted.run,
                revision == NULLTAG ? "KELD_ReNameItem" : "KELD_ReNameItemExtended",
                serviceArguments(context, item, revision, ids));
    RenameStop stop;
    CallWatch calls(context, wanted.run.visits,
                    [&](const mervane::JournalEntry& entry) { stop.add(entry); });
    const RenameRun renamed = runRename(context, wanted.run.dry_run, item, revision, ids);
    std::vector<Refusal> refusals;
    VisitList visits;
    const Record record = run.end(renamed.outcome, {}, [&] {
        visits = calls.visits();
        if (renamed.outcome.status != 0)
            refusals = {explainRename(context, renamed.outcome, stop, item, ids)};
    });

    const bool test = wanted.run.dry_run;
    showRename(context, ids, test, test || run.kept(), renamed, record);
    if (wanted.run.visits)
        calls.show(context, visits, record, refusals, "nothing in it carries what is renamed");
    // Also report errors of a rename that succeeded: the library passes over some.
    tellProblems(context, renamed.outcome, refusals);
    return tellEnd(context, run, record, renamed.outcome);
}

int rename(Context& context, const WantedRename& wanted) {
    if (!wanted.csv.file.empty()) {
        needFileAlone(wanted);
        return renameRows(context, wanted.csv, wanted.run);
    }
    if (wanted.item.empty() || !wanted.given_to)
        throw CommandError("expected ITEM --to ID, or --from FILE (see keld rename --help)", {},
                           kExitUsage);
    return renameItem(context, wanted);
}

}  // namespace

void addRenameVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedRename>();
    CLI::App* verb =
        verbs.add(&verbs.app, "rename", "Give an item a new id, with everything that carries it",
                  "  keld rename 000123 --to P-4711 --test     # what would be renamed\n"
                  "  keld rename 000123 --to P-4711\n"
                  "  keld rename 000123 --to P-4711 --name \"\"  # the new id is the name too\n"
                  "  keld rename 000123 --rev A --to 000123 --to-rev 01\n"
                  "  keld rename --from ids.csv --dry-run      # rows of old and new id\n",
                  [wanted](Context& context) { return rename(context, *wanted); });
    verb->add_option("ITEM", wanted->item, "the item, unless a file names items");
    CLI::Option* revision =
        verb->add_option("--rev", wanted->revision, "the revision that the rename is about");
    verb->add_option("--to", wanted->given_to, "new item id");
    verb->add_option("--from", wanted->csv.file,
                     "old and new ids of many items from this CSV file; - is standard input");
    addSeparatorOption(verb, wanted->csv);
    addIgnoreColumnsOption(verb, wanted->csv);
    verb->add_option("--to-rev", wanted->to_revision, "new id of that revision")->needs(revision);
    verb->add_option("--name", wanted->name, "new name; the present one if not given");
    verb->add_option("--desc", wanted->description,
                     "new description; the present one if not given");
    addRunOptions(verb, wanted->run);
    verb->add_flag("--test", wanted->run.dry_run, "the same as --dry-run");
}

}  // namespace keld
