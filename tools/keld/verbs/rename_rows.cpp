// rename --from: renames many items by a file of old and new ids.

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_ent.h"
#include "platform/mv_err.h"
#include "tools/keld/host/csv_input.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/rename_table.h"
#include "tools/keld/host/visits.h"
#include "tools/keld/verbs/rename_run.h"

namespace keld {

namespace {

class StoreOfRenames final : public RenameStore {
public:
    explicit StoreOfRenames(const Context& context) : context_(context) {}

    Found find(const std::string& name, bool explain) override {
        Found found;
        found.item = holder(name);
        if (found.item != NULLTAG) {
            found.id = name;
            return found;
        }
        try {
            if (explain || name.starts_with("#") || name.starts_with("\""))
                found.item = context_.object(name);
            else
                found.why = "there is no item " + foundText(name);
        } catch (const CommandError&) {
            found.why = "there is no item " + foundText(name) + "." +
                        didYouMean(nearest(name, context_.workbench().similarNames(name)));
        } catch (const mervane::Failure& failure) {
            found.why = failure.what();
        }
        if (found.item == NULLTAG)
            return found;
        if (!isOf(context_, found.item, "Item")) {
            found.item = NULLTAG;
            found.why = foundText(name) + " is no item";
            return found;
        }
        found.id = context_.label(found.item);
        return found;
    }
    tag_t holder(const std::string& id) override {
        tag_t item = NULLTAG;
        require(context_, KELD_ART_find_item(id.c_str(), &item), "KELD_ART_find_item");
        return item;
    }

private:
    const Context& context_;
};

RenameIds idsOf(const Context& context, const Rename& rename) {
    ItemDescription present{};
    require(context, ENT_describe(rename.item, &present), "ENT_describe");
    return {rename.from, rename.to, "", "", present.name, present.description};
}

}  // namespace

int renameRows(Context& context, const CsvWish& csv, const RunWish& wish) {
    CsvInput input(context, csv, wish);
    context.open();
    CsvProblems problems(input.name());
    StoreOfRenames store(context);
    const std::vector<Rename> renames =
        readRenames(input.stream(), input.separator(), csv.ignore_columns, store, problems);
    // Report all problems before anything is changed.
    if (problems.any())
        return refuseRows(context, input, problems);

    VerbRun run(context, wish, "KELD_ReNameItem", "from " + csv.file);
    run.leaveChangesUnread();
    Outcome all;
    Table table({"ROW", "OLD", "NEW"});
    Json rows = Json::array();
    std::vector<Refusal> refusals;
    {
        Progress progress("renaming", "item");
        RenameStop stop;
        const CallWatch calls(context, false,
                              [&](const mervane::JournalEntry& entry) { stop.add(entry); });
        for (const Rename& rename : renames) {
            if (context.workbench().interrupted())
                break;
            // Errors and calls of the rename before must not explain this one.
            ERR_clear_errors();
            stop = RenameStop();
            const RenameIds ids = idsOf(context, rename);
            const Outcome outcome =
                runRename(context, wish.dry_run, rename.item, NULLTAG, ids).outcome;
            if (outcome.status != 0) {
                all.status = outcome.status;
                all.stack = outcome.stack;
                all.log = outcome.log;
                Refusal refusal = explainRename(context, outcome, stop, rename.item, ids);
                refusal.found = input.name() + ":" + std::to_string(rename.line) + ": " +
                                (refusal.found.empty() ? refusal.rule : refusal.found);
                refusals = {std::move(refusal)};
                break;
            }
            all.stack.insert(all.stack.end(), outcome.stack.begin(), outcome.stack.end());
            all.problems.insert(all.problems.end(), outcome.problems.begin(),
                                outcome.problems.end());
            all.log = outcome.log;
            table.add({std::to_string(rename.line), rename.from, rename.to});
            rows.push_back({{"line", rename.line}, {"old", rename.from}, {"new", rename.to}});
            progress.count();
        }
    }
    const Record record = run.end(all);
    const bool told = wish.dry_run || run.kept();
    context.document = {{"file", input.name()},
                        {"test", wish.dry_run},
                        {"succeeded", all.succeeded() && told},
                        {"renamed", told ? rows : Json::array()},
                        {"outcome", asJson(context, all)}};
    if (told)
        context.print((wish.dry_run ? "test, nothing is changed; it would be:\n" : "") +
                      table.text() + counted(rows.size(), "item") + " renamed\n");
    tellProblems(context, all, refusals);
    return tellEnd(context, run, record, all);
}

}  // namespace keld
