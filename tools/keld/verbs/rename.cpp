// rename: a new id for an item with everything that carries it.

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

#include "platform/keld_qsktool.h"
#include "platform/keld_se.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/visits.h"
#include "tools/keld/verbs/rename_objects.h"
#include "workbench/names.h"

namespace keld {

namespace {

constexpr int kNotModifiable = 919342, kStatusNotAllowed = 919343, kOldIdRegistered = 919345,
              kNewIdRegistered = 100304;
constexpr int kTestPass = RENAME_REVISIONS | RENAME_ITEM;

struct WantedRename {
    std::string item, revision, to, to_revision;
    std::optional<std::string> name, description;
    RunWish run;
};

struct RenameRun {
    Outcome outcome;
    bool tested = true;
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

void needItem(const Context& context, tag_t item, const std::string& name) {
    logical is_item = false;
    require(context, KELD_isObjectOfClass(item, "Item", &is_item), "KELD_isObjectOfClass");
    if (!is_item)
        throw CommandError("'" + name + "' is no item; name the item, and a revision with --rev");
}

void refuseTaken(const Context& context, tag_t item, const std::string& id) {
    tag_t other = NULLTAG;
    const int status = KELD_ART_find_item(id.c_str(), &other);
    ERR_clear_errors();
    if (status == 0 && other != NULLTAG && other != item)
        throw CommandError("the id " + mervane::quotedName(id) +
                           " is taken: " + context.workbench().describe(other).name + " has it");
}

// A test pass of the extended service runs the registry's steps too: it would register the new id,
// and the pass behind it would find the id taken.
bool testPassRegisters() {
    logical active = false, always = false;
    (void)KELD_get_logical_pref(MV_preference_site, ART_REGISTRY_ACTIVE, &active, false);
    (void)KELD_get_logical_pref(MV_preference_site, ART_REGISTRY_REGISTER_ON_CREATE, &always,
                                false);
    return active && always;
}

RenameRun runRename(Context& context, const WantedRename& wanted, tag_t item, tag_t revision,
                    const RenameIds& ids) {
    RenameRun run;
    if (revision == NULLTAG) {
        run.outcome = runService(context, findService("KELD_ReNameItem"),
                                 {ids.new_item, ids.new_name, ids.new_description, item});
    } else {
        const Service& service = findService("KELD_ReNameItemExtended");
        const auto pass = [&](int action) {
            run.outcome = runService(context, service,
                                     {ids.new_item, ids.new_revision, ids.new_name,
                                      ids.new_description, item, revision, action});
            return run.outcome.status == 0;
        };
        run.tested = !testPassRegisters();
        if (!run.tested && !wanted.run.dry_run)
            context.note("no test pass: it would register the new id already; see it with --test");
        if (!run.tested || pass(kTestPass))
            (void)pass(kTestPass | RENAME_MODIFY);
    }
    return run;
}

// What the mode of ChangeRegisteredItemId lets an id that is registered change for.
std::string allowedBy(const std::string& mode) {
    return mode == "1"   ? "ids that aren't registered, or users of the group dba"
           : mode == "3" ? "ids that aren't registered, or users with the privilege PUBLISH"
                         : "ids that aren't registered";
}

Refusal explainRename(const Context& context, const Outcome& outcome, const RenameStop& stop,
                      tag_t item, const RenameIds& ids) {
    constexpr char kSettings[] = "KELD_ItemRename";
    Refusal refusal =
        refusalOf(context, outcome.status, stop.object() == NULLTAG ? item : stop.object(), item);
    const std::string type = context.workbench().describe(item).type;
    const auto setting = [&](const std::string& key) {
        return tellSetting(context, refusal, kSettings, {key + "." + type, key});
    };
    if (!stop.operation().empty()) {
        tellFailedCall(refusal, stop.operation(), outcome);
    } else if (outcome.status == kNotModifiable) {
        tellNotModifiable(context, refusal);
    } else if (outcome.status == kStatusNotAllowed) {
        const std::string passed = setting("RenameOnRevisionStatus");
        refusal.found = "its latest status is " + latestStatus(context, refusal.object);
        refusal.allowed = passed.empty() ? "no status, since RenameOnRevisionStatus names none"
                                         : "no status, or one of RenameOnRevisionStatus: " + passed;
    } else if (outcome.status == kOldIdRegistered) {
        refusal.found = "its id " + ids.old_item + " is registered";
        refusal.allowed = allowedBy(setting("ChangeRegisteredItemId"));
    } else if (outcome.status == kNewIdRegistered) {
        refusal.found = "the id " + ids.new_item + " is registered";
        refusal.allowed = "an id that isn't registered";
    }
    return refusal;
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

int rename(Context& context, WantedRename wanted) {
    wanted.to = newId("the new item id", wanted.to);
    wanted.revision = newId("the revision id", wanted.revision);
    wanted.to_revision = newId("the new revision id", wanted.to_revision);
    context.open();
    const tag_t item = context.object(wanted.item);
    needItem(context, item, wanted.item);
    refuseTaken(context, item, wanted.to);
    const tag_t revision =
        wanted.revision.empty() ? NULLTAG : findRevision(context, item, wanted.revision);

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

    VerbRun run(
        context, wanted.run, revision == NULLTAG ? "KELD_ReNameItem" : "KELD_ReNameItemExtended",
        revision == NULLTAG
            ? wireText(context, {ids.new_item, ids.new_name, ids.new_description, item})
            : wireText(context, {ids.new_item, ids.new_revision, ids.new_name, ids.new_description,
                                 item, revision, kTestPass | RENAME_MODIFY}));
    RenameStop stop;
    CallWatch calls(context, wanted.run.visits,
                    [&](const mervane::JournalEntry& entry) { stop.add(entry); });
    const RenameRun renamed = runRename(context, wanted, item, revision, ids);
    std::vector<Refusal> refusals;
    VisitList visits;
    const Record record = run.end(renamed.outcome, {}, [&] {
        visits = calls.visits();
        if (renamed.outcome.status != 0)
            refusals = {explainRename(context, renamed.outcome, stop, item, ids)};
    });

    const bool test = wanted.run.dry_run;
    std::string text = test ? "test, nothing is changed; it would be:\n" : "";
    context.document = {{"item", id},
                        {"revision", revision == NULLTAG ? Json() : Json(ids.old_revision)},
                        {"to", ids.new_item},
                        {"to_revision", revision == NULLTAG ? Json() : Json(ids.new_revision)},
                        {"name", ids.new_name},
                        {"description", ids.new_description},
                        {"test", test},
                        {"test_pass", renamed.tested},
                        {"succeeded", renamed.outcome.succeeded()}};
    const bool told = test || run.kept();
    context.document["renamed"] =
        showRenamed(told ? renamedTexts(record, ids) : std::vector<RenamedText>(), text);
    Json registered = Json::array(), unregistered = Json::array(), workflows = Json::array();
    for (const OtherChange& other : record.others) {
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
    context.document["outcome"] = asJson(context, renamed.outcome);
    context.print(text);
    if (wanted.run.visits)
        calls.show(context, visits, record, refusals, "nothing in it carries what is renamed");
    // What failed inside of a rename that succeeded, the library took in its stride.
    tellProblems(context, renamed.outcome, refusals);
    return tellEnd(context, run, record, renamed.outcome);
}

}  // namespace

void addRenameVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedRename>();
    CLI::App* verb =
        verbs.add(&verbs.app, "rename", "Give an item a new id, with everything that carries it",
                  "  keld rename 000123 --to P-4711 --test     # what would be renamed\n"
                  "  keld rename 000123 --to P-4711\n"
                  "  keld rename 000123 --to P-4711 --name \"\"  # the new id is the name too\n"
                  "  keld rename 000123 --rev A --to 000123 --to-rev 01\n",
                  [wanted](Context& context) { return rename(context, *wanted); });
    verb->add_option("ITEM", wanted->item)->required();
    CLI::Option* revision =
        verb->add_option("--rev", wanted->revision, "the revision that the rename is about");
    verb->add_option("--to", wanted->to, "new item id")->required();
    verb->add_option("--to-rev", wanted->to_revision, "new id of that revision")->needs(revision);
    verb->add_option("--name", wanted->name, "new name; the present one if not given");
    verb->add_option("--desc", wanted->description,
                     "new description; the present one if not given");
    addRunOptions(verb, wanted->run);
    verb->add_flag("--test", wanted->run.dry_run, "the same as --dry-run");
}

}  // namespace keld
