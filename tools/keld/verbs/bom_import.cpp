// bom import: items, revisions and lines from a file of rows.

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <unordered_map>

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_obj.h"
#include "platform/mv_str.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/bom_table.h"
#include "tools/keld/host/csv_input.h"
#include "tools/keld/host/deeds.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/verbs/bom_edit.h"

namespace keld {

namespace {

struct WantedImport {
    CsvWish csv;
    RunWish run;
};

class StoreOfBom final : public BomStore {
public:
    explicit StoreOfBom(const Context& context) : context_(context) {}

    tag_t item(const std::string& id) override {
        tag_t item = NULLTAG;
        require(context_, KELD_ART_find_item(id.c_str(), &item), "KELD_ART_find_item");
        return item;
    }
    Revision latest(tag_t item) override {
        Revision latest;
        require(context_, ART_ask_latest_rev(item, &latest.tag), "ART_ask_latest_rev");
        if (latest.tag != NULLTAG)
            latest.id = textOf(latest.tag, "item_revision_id");
        return latest;
    }
    tag_t revision(tag_t item, const std::string& id) override {
        tag_t revision = NULLTAG;
        require(context_, ART_find_revision(item, id.c_str(), &revision), "ART_find_revision");
        return revision;
    }
    std::vector<StoredLine> lines(tag_t revision) override {
        const auto views = listOf<tag_t>([&](int* count, tag_t** list) {
            return ART_rev_list_bom_view_revs(revision, count, list);
        });
        std::vector<StoredLine> lines;
        if (views.empty())
            return lines;
        for (const tag_t occurrence : listOf<tag_t>([&](int*count, tag_t**list) {
                 return STR_list_occurrences_of_bvr(views.front(), count, list);
             })) {
            StoredLine line;
            line.occurrence = occurrence;
            line.revision = reference(occurrence, "child");
            line.number = textOf(occurrence, "seq_no");
            line.quantity = textOf(occurrence, "quantity");
            lines.push_back(std::move(line));
        }
        return lines;
    }
    tag_t itemOf(tag_t revision) override {
        try {
            return reference(revision, "items_tag");
        } catch (const mervane::Failure&) {
            return NULLTAG;
        }
    }
    std::vector<tag_t> parents(tag_t revision) override {
        int count = 0;
        int* levels = nullptr;
        tag_t* parents = nullptr;
        require(context_, STR_where_used_all(revision, 1, &count, &levels, &parents),
                "STR_where_used_all");
        std::vector<tag_t> all(parents, parents + count);
        HEAP_free(levels);
        HEAP_free(parents);
        return all;
    }
    std::string title(tag_t revision) override { return context_.title(revision); }
    std::vector<std::string> itemTypes() override { return context_.workbench().typeNames("Item"); }

private:
    const Context& context_;

    std::string textOf(tag_t object, const char* attribute) const {
        const mervane::Values values = context_.workbench().get(object, attribute);
        const auto* text = values.empty() ? nullptr : std::get_if<std::string>(&values.front());
        return text ? *text : std::string();
    }
    tag_t reference(tag_t object, const char* attribute) const {
        const mervane::Values values = context_.workbench().get(object, attribute);
        const auto* tag =
            values.empty() ? nullptr : std::get_if<mervane::Reference>(&values.front());
        return tag ? tag->tag : NULLTAG;
    }
};

class BomMaker {
public:
    BomMaker(const Context& context, BomPlan& plan, std::string file, Progress& progress)
        : context_(context), plan_(plan), file_(std::move(file)), progress_(progress) {}

    void make() {
        std::size_t line = 0;
        try {
            for (BomPart& part : plan_.parts) {
                line = part.line;
                makePart(part);
            }
            for (std::size_t begin = 0; begin < plan_.lines.size();) {
                std::size_t end = begin;
                while (end < plan_.lines.size() &&
                       plan_.lines[end].parent == plan_.lines[begin].parent)
                    ++end;
                line = plan_.lines[begin].line;
                makeLines(begin, end, line);
                begin = end;
            }
        } catch (Refused& refused) {
            refused.refusal.found = where(line) + refused.refusal.found;
            throw;
        } catch (const mervane::Failure& failure) {
            throw mervane::Failure(failure.status(), where(line) + failure.what());
        }
    }

private:
    const Context& context_;
    BomPlan& plan_;
    std::string file_;
    Progress& progress_;

    std::string where(std::size_t line) const { return file_ + ":" + std::to_string(line) + ": "; }

    void makePart(BomPart& part) {
        if (part.tag != NULLTAG)
            return;
        BomItem& item = plan_.items[part.item];
        progress_.count();
        if (!part.first) {
            need(context_, OBJ_refresh(item.tag, true), "OBJ_refresh", item.tag);
            part.tag = context_.workbench().createRevision(item.tag, part.revision);
            need(context_, OBJ_unlock(item.tag), "OBJ_unlock", item.tag);
            return;
        }
        need(context_,
             ART_create_item(item.id.c_str(), item.name.c_str(),
                             item.type.empty() ? "Item" : item.type.c_str(), part.revision.c_str(),
                             &item.tag, &part.tag),
             "ART_create_item", NULLTAG);
        need(context_, OBJ_save(item.tag), "OBJ_save", item.tag);
    }

    // Make and change the lines of one parent, under the lock that guards them.
    void makeLines(std::size_t begin, std::size_t end, std::size_t& row) {
        const tag_t parent = plan_.parts[plan_.lines[begin].parent].tag;
        std::vector<const BomLine*> changed;
        tag_t guard = NULLTAG;
        for (std::size_t i = begin; i < end; ++i) {
            const BomLine& line = plan_.lines[i];
            row = line.line;
            progress_.count();
            if (!line.changes())
                continue;
            if (line.occurrence != NULLTAG) {
                changed.push_back(&line);
                continue;
            }
            if (guard == NULLTAG) {
                guard = guardOfLines(parent);
                need(context_, OBJ_refresh(guard, true), "OBJ_refresh", guard);
            }
            (void)context_.workbench().addOccurrence(parent, plan_.parts[line.child].tag,
                                                     line.quantity, line.number);
        }
        if (guard != NULLTAG)
            need(context_, OBJ_unlock(guard), "OBJ_unlock", guard);
        if (!changed.empty())
            setQuantities(parent, changed, row);
    }

    void setQuantities(tag_t parent, const std::vector<const BomLine*>& changed, std::size_t& row) {
        std::unordered_map<tag_t, const BomLine*> by_occurrence;
        for (const BomLine* line : changed)
            by_occurrence[line->occurrence] = line;
        const tag_t top = context_.workbench().openBomWindow(parent);
        try {
            for (const tag_t child : childLines(top)) {
                const auto found = by_occurrence.find(lineTag(child, "bl_occurrence"));
                if (found == by_occurrence.end())
                    continue;
                row = found->second->line;
                need(context_,
                     OBJ_set_value_string(child, "bl_quantity", found->second->quantity.c_str()),
                     "OBJ_set_value_string", parent);
            }
            context_.workbench().saveBomWindow(top);
        } catch (...) {
            context_.workbench().closeBomWindow(top);
            throw;
        }
        context_.workbench().closeBomWindow(top);
    }
};

// Give what the rows change, as a table and for the document.
Table planTable(const BomPlan& plan, Json& changes) {
    Table table({"ROW", "CHANGE", "OBJECT", "NUMBER", "QUANTITY", "NAME"});
    const auto add = [&](std::size_t row, const char* change, const std::string& object,
                         const std::string& number, const std::string& quantity,
                         const std::string& name) {
        table.add({std::to_string(row), change, object, number, quantity, name});
        changes.push_back({{"line", row},
                           {"change", change},
                           {"object", object},
                           {"number", number},
                           {"quantity", quantity},
                           {"name", name}});
    };
    for (const BomPart& part : plan.parts) {
        const BomItem& item = plan.items[part.item];
        if (part.tag == NULLTAG)
            add(part.line, part.first ? "new item" : "new revision", plan.title(part), "", "",
                !part.first         ? ""
                : item.name.empty() ? item.id
                                    : item.name);
    }
    for (const BomLine& line : plan.lines) {
        const bool made = line.occurrence == NULLTAG;
        if (line.changes())
            add(line.line, made ? "new line" : "quantity of line",
                plan.title(plan.parts[line.parent]) + " > " + plan.title(plan.parts[line.child]),
                line.number, line.quantity,
                made || line.old_quantity.empty() ? "" : "was " + line.old_quantity);
    }
    return table;
}

std::string sumText(const BomPlan& plan) {
    const std::size_t unchanged = plan.lines.size() - plan.newLines() - plan.changedLines();
    return counted(plan.rows, "row") + ": " + counted(plan.newItems(), "new item") + ", " +
           counted(plan.newRevisions(), "further revision") + ", " +
           counted(plan.newLines(), "new line") + ", " + counted(plan.changedLines(), "line") +
           " with another quantity, " + counted(unchanged, "line") + " as before\n";
}

int importBom(Context& context, const WantedImport& wanted) {
    CsvInput input(context, wanted.csv, wanted.run);
    context.open();
    CsvProblems problems(input.name());
    StoreOfBom store(context);
    std::optional<Progress> progress(std::in_place, "importing " + input.name(), "object");
    BomPlan plan =
        readBom(input.stream(), input.separator(), wanted.csv.ignore_columns, store, problems);
    // Report all problems before anything is changed.
    if (problems.any()) {
        progress.reset();
        return refuseRows(context, input, problems);
    }

    Table table({});
    Json changes = Json::array();
    if (wanted.run.dry_run)
        table = planTable(plan, changes);
    const std::string sum = sumText(plan);
    const Json counts = {{"rows", plan.rows},
                         {"new_items", plan.newItems()},
                         {"new_revisions", plan.newRevisions()},
                         {"new_lines", plan.newLines()},
                         {"changed_lines", plan.changedLines()},
                         {"lines", plan.lines.size()}};
    VerbRun run(context, wanted.run, "bom import", wanted.csv.file);
    run.leaveChangesUnread();
    const Deed done = deed(context, NULLTAG,
                           [&](Deed&) { BomMaker(context, plan, input.name(), *progress).make(); });
    const Record record = run.end(done.outcome);
    progress.reset();
    const bool good = done.outcome.succeeded() && (run.kept() || run.rehearses());
    context.document = counts;
    context.document["file"] = input.name();
    context.document["succeeded"] = good;
    context.document["dry_run"] = run.rehearses();
    if (run.rehearses())
        context.document["changes"] = changes;
    context.document["outcome"] = asJson(context, done.outcome);
    if (good && run.rehearses())
        context.print("dry run, nothing is changed; it would be:\n" +
                      (table.empty() ? std::string() : table.text()));
    if (good)
        context.print(sum);
    tellProblems(context, done.outcome, done.refusals);
    return tellEnd(context, run, record, done.outcome);
}

}  // namespace

void addBomImportVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedImport>();
    CLI::App* verb = verbs.add(
        group, "import", "Make items and lines of structures from a CSV file",
        "  keld bom import gearbox.csv --dry-run\n"
        "  keld bom import gearbox.csv\n"
        "  keld bom show 000123/A --csv | keld --store other.db bom import -\n"
        "The first line has the headings: level, or parent and item; revision, number,\n"
        "quantity, name, type. What isn't there yet is made. Bad rows are told, each with\n"
        "line and column, and then nothing is changed.\n",
        [wanted](Context& context) { return importBom(context, *wanted); });
    verb->add_option("FILE", wanted->csv.file,
                     "comma-separated values in UTF-8; - is standard input")
        ->required();
    addSeparatorOption(verb, wanted->csv);
    addIgnoreColumnsOption(verb, wanted->csv);
    addDeedOptions(verb, wanted->run);
}

}  // namespace keld
