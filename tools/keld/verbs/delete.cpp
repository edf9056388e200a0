// delete-check: checks whether objects may be deleted, backs up their files, and deletes them.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <memory>

#include "platform/keld_se.h"
#include "platform/mv_dir.h"
#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "platform/mv_str.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/referrers.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/system.h"
#include "tools/keld/host/visits.h"
#include "tools/keld/verbs/delete_run.h"

namespace keld {

namespace {

struct WantedCheck {
    std::vector<std::string> objects;
    bool then_delete = false;
    RunWish run;
};

enum class Sort { Folder, Dataset, Other };

struct Row {
    tag_t tag = 0;
    std::string label, typed, type;  // typed: the label as people type it
    Sort sort = Sort::Other;
    std::string answer, reason;
    bool deleted = false;
};

bool isTypeBelow(const Context& context, const std::string& type, const std::string& top) {
    const std::vector<std::string> types = context.workbench().typeNames(top);
    return std::find(types.begin(), types.end(), type) != types.end();
}

Row rowOf(const Context& context, tag_t tag) {
    const ObjectName name = nameOf(context, tag);
    Row row{tag,         name.label.starts_with("#") ? name.typed : name.label,
            name.typed,  name.type,
            Sort::Other, "",
            "",          false};
    if (isTypeBelow(context, name.type, "Folder"))
        row.sort = Sort::Folder;
    else if (isTypeBelow(context, name.type, "Dataset"))
        row.sort = Sort::Dataset;
    return row;
}

// Give a row for each object, in the given order, without repetitions.
std::vector<Row> rowsOf(const Context& context, const WantedCheck& wanted) {
    std::vector<Row> rows;
    for (const std::string& name : wanted.objects) {
        const tag_t tag = context.object(name);
        if (std::none_of(rows.begin(), rows.end(), [&](const Row& row) { return row.tag == tag; }))
            rows.push_back(rowOf(context, tag));
    }
    return rows;
}

// Refuse older versions: deletion takes all versions, but only the files of the latest are backed
// up.
void refuseOlderVersions(const Context& context, const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        tag_t latest = row.tag;
        if (row.sort == Sort::Dataset)
            require(context, DST_ask_dataset(row.tag, &latest), "DST_ask_dataset");
        if (latest != row.tag)
            throw CommandError(row.typed +
                               " is an older version of a dataset, whose files are not saved; "
                               "name the latest one: #" +
                               std::to_string(latest));
    }
}

// Explain why the check refuses an object, and what it would allow.
Refusal refusalOfRow(const Context& context, const Row& row, tag_t revision, int status) {
    Refusal refusal = refusalOf(context, status, row.tag, row.tag);
    if (row.sort == Sort::Folder) {
        int entries = 0;
        (void)DIR_ask_size(row.tag, &entries);
        refusal.found = "the folder isn't empty: " + std::to_string(entries) +
                        (entries == 1 ? " entry" : " entries");
        refusal.allowed = "folders without entries";
        return refusal;
    }
    int count = 0;
    int* levels = nullptr;
    tag_t* parents = nullptr;
    std::vector<std::string> users;
    if (STR_where_used_all(revision, 1, &count, &levels, &parents) == 0)
        for (int i = 0; i < count; ++i)
            users.push_back(context.title(parents[i]));
    HEAP_free(levels);
    HEAP_free(parents);
    refusal.path = pathBetween(context, revision, row.tag);
    refusal.found = context.title(revision) + " is used in " + joined(users, ", ");
    refusal.allowed = "datasets of revisions that no structure uses";
    for (const auto& [name, types] : context.workbench().preferences())
        if (name == KELD_DEL_DELUXE_TYPES)
            for (std::size_t i = 0; i < types.size(); ++i)
                if (types[i] == row.type) {
                    refusal.file = "the preference " + name;
                    refusal.line = static_cast<int>(i) + 1;
                }
    return refusal;
}

void explain(const Context& context, const DeleteRun& run, const Outcome& outcome,
             const CallWatch& calls, std::vector<Row>& rows, std::vector<Refusal>& refusals) {
    constexpr int kFolderNotEmpty = 919500, kUsedInStructure = 919502;
    const bool failed = outcome.status != 0 && outcome.status != kFolderNotEmpty &&
                        outcome.status != kUsedInStructure;
    for (Row& row : rows) {
        const auto refused = run.refused.find(row.tag);
        if (refused != run.refused.end()) {
            row.answer = "refused";
            refusals.push_back(
                refusalOfRow(context, row, refused->second,
                             row.sort == Sort::Folder ? kFolderNotEmpty : kUsedInStructure));
            row.reason = refusals.back().found;
        } else if (failed && row.tag == run.last) {
            row.answer = "failed";
            row.reason = statusText(context, outcome.status);
            refusals.push_back(refusalOfFailure(context, outcome, calls, row.tag, row.tag));
        } else if (!run.reached.contains(row.tag)) {
            row.answer = "not looked at";
        } else if (row.sort == Sort::Other) {
            row.answer = "passed over";
            row.reason = "neither a folder nor a dataset";
        } else {
            row.answer = "ok";
        }
    }
}

// ---- the deletion ----

constexpr int kNotDeleted = 710013;

// Remove the references to an object that may go, and delete it.
void remove(const Context& context, const Row& row) {
    logical modifiable = false;
    require(context, OBJ_ask_if_modifiable(row.tag, &modifiable), "OBJ_ask_if_modifiable");
    if (!modifiable)
        throw CommandError("the object can't be changed by this user at the moment");
    // Only relations and folders may be given up; any other reference stays and refuses.
    const Referrers referrers = referrersOf(context, row.tag);
    if (!referrers.others.empty())
        throw CommandError(context.title(referrers.others.front()) + " refers to it");
    cutOff(context, referrers, row.tag);
    require(context, OBJ_delete(row.tag), "OBJ_delete");
}

bool removeAll(const Context& context, std::vector<Row>& rows, std::vector<Refusal>& refusals) {
    bool all = true;
    for (Row& row : rows) {
        if (row.sort == Sort::Other)
            continue;  // the check doesn't cover such objects, so they stay
        ERR_clear_errors();
        try {
            context.workbench().asOne([&] { remove(context, row); });
            row.answer = "deleted";
            row.deleted = true;
        } catch (const std::exception& error) {
            row.answer = "not deleted";
            row.reason = error.what();
            all = false;
            refusals.push_back(refusalOf(context, kNotDeleted, row.tag, row.tag));
            refusals.back().found = row.reason;
            refusals.back().allowed =
                "objects that the user may change and that nothing else refers to";
        }
    }
    return all;
}

// ---- output ----

void show(Context& context, const std::vector<Row>& rows, const std::vector<SavedFile>& files,
          const Outcome& outcome, const std::vector<Refusal>& refusals, const VerbRun& run,
          const Record& record) {
    Json objects = Json::array(), saved = Json::array();
    Table table({"OBJECT", "TYPE", "ANSWER", "REASON"});
    for (const Row& row : rows) {
        objects.push_back({{"object", row.label},
                           {"tag", row.tag},
                           {"type", row.type},
                           {"answer", row.answer},
                           {"reason", row.reason},
                           {"deleted", row.deleted}});
        table.add({row.typed, row.type, row.answer, row.reason});
    }
    std::string text =
        run.rehearses() ? "dry run, nothing is saved or deleted; it would be:\n" : "";
    text += table.text();
    for (const SavedFile& file : files) {
        const auto row = std::find_if(rows.begin(), rows.end(),
                                      [&](const Row& each) { return each.tag == file.dataset; });
        const std::string label = row == rows.end() ? "" : row->label;
        saved.push_back({{"object", label}, {"path", file.path}});
        text += "saved " + shown(file.path) + "\n";
    }
    if (outcome.succeeded())
        text += painted(Colour::Green, "go ahead") + "\n";
    std::string last;
    if (!record.objects.empty() || run.plan() || run.result() == mervane::RunResult::Interrupted)
        last += endText(run, record);
    if (!run.rehearses())
        last += logText(outcome);
    context.document = {{"go_ahead", outcome.succeeded()},
                        {"objects", objects},
                        {"files", saved},
                        {"dry_run", run.rehearses()},
                        {"outcome", asJson(context, outcome)},
                        {"run", endJson(run, record)}};
    if (run.rehearses())
        context.document["outcome"]["log"] = nullptr;
    context.print(text);
    tellProblems(context, outcome, refusals);
    context.print(last);
}

// The library opens the delete log in this directory before the first backup makes it.
void makeBackupDirectory(const Context& context) {
    for (const auto& [name, values] : context.workbench().preferences())
        if (name == KELD_DELBackupTopDirCentral && !values.empty() && !values.front().empty()) {
            std::error_code ignored;  // the library reports it
            std::filesystem::create_directory(pathOf(values.front()), ignored);
        }
}

int check(Context& context, const WantedCheck& wanted) {
    context.open();
    std::vector<Row> rows = rowsOf(context, wanted);
    if (wanted.then_delete)
        refuseOlderVersions(context, rows);
    std::vector<tag_t> tags;
    for (const Row& row : rows)
        tags.push_back(row.tag);

    VerbRun run(context, wanted.run, wanted.then_delete ? "delete" : "KELD_DeleteDeluxe",
                wireText(context, {tags}));
    Redirected backups;
    if (wanted.run.dry_run)
        backups = run.redirectBackups();
    makeBackupDirectory(context);
    DeleteCalls seen(tags);
    CallWatch calls(context, wanted.run.visits,
                    [&](const mervane::JournalEntry& entry) { seen.add(entry); });
    Outcome outcome = runService(context, findService("KELD_DeleteDeluxe"), {tags});
    VisitList visits = calls.visits();
    DeleteRun found = seen.run();
    std::vector<std::string> outside;
    for (SavedFile& file : found.files) {
        // A rehearsal shows the path that the real backup would have.
        if (!backups.to.empty() && file.path.starts_with(backups.to))
            file.path.replace(0, backups.to.size(), backups.from);
        outside.push_back("saved " + file.path);
    }
    std::vector<Refusal> refusals;
    explain(context, found, outcome, calls, rows, refusals);

    Outcome all = outcome;
    if (outcome.succeeded() && wanted.then_delete && !removeAll(context, rows, refusals))
        all.status = kNotDeleted;
    const Record record = run.end(all, outside);
    if (!run.kept() && !run.rehearses())
        for (Row& row : rows)
            if (row.deleted) {
                row.answer = "kept";
                row.reason = "since not all of them could be deleted";
                row.deleted = false;
            }
    show(context, rows, found.files, outcome, refusals, run, record);
    if (wanted.run.visits)
        calls.show(context, visits, record, refusals, "it is only read", [&](Visit& visit) {
            for (const Row& row : rows)
                if (row.tag == visit.object && row.sort != Sort::Other)
                    visit.came = Came::Allowed, visit.rule.clear();
        });
    return run.exitCode();
}

}  // namespace

void addDeleteVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedCheck>();
    CLI::App* verb = verbs.add(&verbs.app, "delete-check",
                               "May folders and datasets be deleted; back up their files",
                               "  keld delete-check 000123/A:drawing '#4711'\n"
                               "  keld delete-check 000123/A:drawing --dry-run\n"
                               "  keld delete-check 000123/A:drawing --then-delete\n",
                               [wanted](Context& context) { return check(context, *wanted); });
    verb->add_option("OBJECT", wanted->objects, "folders and datasets")->required();
    verb->add_flag("--then-delete", wanted->then_delete,
                   "delete them if all of them may be deleted");
    addRunOptions(verb, wanted->run);
}

}  // namespace keld
