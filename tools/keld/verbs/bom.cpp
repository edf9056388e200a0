// bom show, bom resequence: the lines of a structure, their numbers and packing.

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <set>

#include "platform/mv_line.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/csv.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/stored_file.h"
#include "tools/keld/host/tree_writer.h"
#include "tools/keld/host/visits.h"
#include "tools/keld/verbs/bom_edit.h"
#include "tools/keld/verbs/protocol.h"

namespace keld {

namespace {

// ---- show ----

constexpr int kUsualLimit = 100000;
constexpr std::size_t kRowsAtOnce = 10000;

struct Shown {
    std::string object;
    int depth = 0, limit = kUsualLimit;  // 0: none
    bool unpacked = false;
};

// Writes the lines as they are read; of a table it keeps at most a block of rows.
class LinePrinter {
public:
    LinePrinter(Context& context, const Shown& wanted)
        : context_(context),
          wanted_(wanted),
          writer_(context),
          table_(tablesAreCsv()
                     ? std::vector<std::string>{"LEVEL", "LINE", "NUMBER", "QUANTITY", "PACKED",
                                                "NAME"}
                     : std::vector<std::string>{"LINE", "NUMBER", "QUANTITY", "PACKED", "NAME"}) {}

    // False: there are more lines than the limit.
    bool run(tag_t top) {
        Progress progress("reading the lines", "line");
        struct Level {
            std::vector<tag_t> lines;
            std::size_t next = 0;
        };
        std::vector<Level> levels;
        levels.push_back({{top}});
        std::size_t count = 0;
        bool whole = true;
        while (!levels.empty()) {
            Level& level = levels.back();
            const bool full = wanted_.limit > 0 && count > static_cast<std::size_t>(wanted_.limit);
            if (level.next == level.lines.size() || full) {
                whole = whole && level.next == level.lines.size();
                levels.pop_back();
                if (!levels.empty())
                    writer_.end();
                continue;
            }
            const tag_t line = level.lines[level.next++];
            show(line, level.next == level.lines.size());
            ++count;
            progress.count();
            const bool open =
                wanted_.depth == 0 || writer_.level() <= static_cast<std::size_t>(wanted_.depth);
            levels.push_back({open ? shownChildren(line) : std::vector<tag_t>{}});
        }
        context_.print(table_.take());
        return whole;
    }

private:
    void show(tag_t line, bool last) {
        const tag_t revision = lineTag(line, "bl_revision");
        const std::string number = display(line, "bl_sequence_no");
        const std::string quantity = display(line, "bl_quantity");
        const std::string name = display(line, "object_name");
        const int packed = std::atoi(display(line, "bl_pack_count").c_str());
        Json node = {{"object", context_.label(revision)}, {"name", name}};
        if (writer_.level() > 0) {
            node["number"] = number;
            node["quantity"] = quantity;
            node["packed"] = packed;
        }
        const std::string count = packed > 1 ? std::to_string(packed) : "";
        if (tablesAreCsv())
            table_.add({std::to_string(writer_.level()), context_.title(revision), number, quantity,
                        count, name});
        else if (!context_.json())
            table_.add(
                {writer_.lead(last) + context_.title(revision), number, quantity, count, name});
        writer_.begin(node, last);
        if (table_.rows() == kRowsAtOnce)
            context_.print(table_.take());
    }

    // Each call packs the line with its equals; the first line of each group stays.
    std::vector<tag_t> shownChildren(tag_t line) const {
        if (!wanted_.unpacked)
            for (const tag_t child : childLines(line))
                LINE_pack(child);
        return childLines(line);
    }

    Context& context_;
    const Shown& wanted_;
    TreeWriter writer_;
    Table table_;
};

int show(Context& context, const Shown& wanted) {
    context.open();
    if (wanted.depth < 0)
        throw CommandError("--depth must not be negative", {}, kExitUsage);
    if (wanted.limit < 0)
        throw CommandError("--limit must not be negative", {}, kExitUsage);
    CallWindows windows(context);
    const tag_t top = windows.topLine(wanted.object);
    const auto size = context.workbench().measure(lineTag(top, "bl_revision"), 0);
    if (wanted.depth == 0 && size.lines > static_cast<std::uint64_t>(kUsualLimit))
        context.note("the structure has " + std::to_string(size.lines) + " lines on " +
                     counted(size.levels, "level") + "; --depth and --limit show fewer");
    if (!LinePrinter(context, wanted).run(top))
        context.note("there are more lines; --limit 0 shows all");
    return kExitDone;
}

// ---- resequence ----

// Reasons to take back a run though the service itself has succeeded.
constexpr int kNotSaved = 710023, kNoProtocol = 710024;

struct WantedOrder {
    std::string object;
    std::vector<std::string> lines;
    int level = 0;
    bool sort = false, save = false, dump = false;
    RunWish run;
};

std::string datasetTitle(const Context& context, tag_t dataset) {
    return shown(context.workbench().describe(dataset).name) + " (#" + std::to_string(dataset) +
           ")";
}

// Show the protocol that the run stored; false if there is none.
bool showProtocol(Context& context, tag_t dataset, std::string& text) {
    context.document["dataset"] = nullptr;
    context.document["protocol"] = nullptr;
    if (dataset == NULLTAG) {
        text += "no protocol could be stored\n";
        return false;
    }
    context.document["dataset"] = {{"name", context.workbench().describe(dataset).name},
                                   {"tag", dataset}};
    try {
        const auto protocol = readProtocol(readStoredFile(context, dataset, "Text").content);
        context.document["protocol"] = asJson(protocol);
        text +=
            asText(protocol) + "protocol in the dataset " + datasetTitle(context, dataset) + "\n";
        return true;
    } catch (const CommandError& error) {
        text += "the protocol can't be read from the dataset " + datasetTitle(context, dataset) +
                ": " + error.what() + "\n";
        return false;
    }
}

// Save the window, after a failure too: the lines that got a number keep it.
bool saveLines(Context& context, CallWindows& windows, bool wanted, std::string& text,
               std::optional<mervane::Failure>& failed) {
    context.document["saved"] = false;
    if (!wanted) {
        text += "the structure isn't saved; --save stores the new numbers\n";
        return true;
    }
    try {
        windows.save();
    } catch (const mervane::Failure& failure) {
        context.document["save_error"] = {{"status", failure.status()}, {"text", failure.what()}};
        text += painted(Colour::Red, "not saved") + ": " + std::to_string(failure.status()) + ": " +
                shown(failure.what()) + "\n";
        failed = failure;
        return false;
    }
    context.document["saved"] = true;
    text += "saved the structure\n";
    return true;
}

// ---- why it is refused ----

// The view of the revision that a line shows, or without one the revision.
tag_t viewOf(tag_t line) {
    const tag_t view = lineTag(line, "bl_bomview_rev");
    return view != NULLTAG ? view : lineTag(line, "bl_revision");
}

constexpr int kNoAccess = 515001;

// Explain the errors that the service, or the save after it, left on the stack: a refusal for each
// status.
std::vector<Refusal> explainOrder(const Context& context, const Outcome& outcome,
                                  const CallWatch& calls, tag_t top) {
    std::vector<Refusal> refusals;
    const tag_t revision = lineTag(top, "bl_revision");
    std::set<int> told{0};
    for (const mervane::StackEntry& entry : outcome.stack) {
        if (!told.insert(entry.status).second)
            continue;
        const CallWatch::Failed failed = calls.failedWith(entry.status);
        const tag_t object = failed.object == NULLTAG   ? viewOf(top)
                             : isBomLine(failed.object) ? lineTag(failed.object, "bl_revision")
                                                        : failed.object;
        Refusal refusal = refusalOf(context, entry.status, object, revision);
        if (!failed.operation.empty())
            tellFailedCall(refusal, failed.operation, outcome);
        else if (entry.status == kNoAccess)
            tellNotModifiable(context, refusal);
        else
            refusal.found = entry.text;
        refusals.push_back(std::move(refusal));
    }
    return refusals;
}

int resequence(Context& context, const WantedOrder& wanted) {
    context.open();
    if (wanted.level < 0)
        throw CommandError("--level must not be negative", {}, kExitUsage);
    std::string text;
    CallWindows windows(context);
    const tag_t top = windows.topLine(wanted.object);
    const std::vector<tag_t> lines =
        wanted.lines.empty() ? std::vector<tag_t>{top} : namedLines(context, top, wanted.lines);
    const std::string object = context.label(lineTag(top, "bl_revision"));
    const std::vector<mervane::Argument> arguments{top, lines, wanted.level, wanted.sort ? 1 : 0};
    VerbRun run(context, wanted.run, "KELD_PSE_PackAndResequenceBom", wireText(context, arguments));
    CallWatch calls(context, wanted.run.visits);
    Outcome outcome = runService(context, findService("KELD_PSE_PackAndResequenceBom"), arguments,
                                 wanted.dump ? Printed::ToStandardError : Printed::Nowhere);
    calls.end();
    context.document = {{"object", object},
                        {"level", wanted.level},
                        {"mode", wanted.sort ? "sort" : "keep"},
                        {"dry_run", wanted.run.dry_run},
                        {"outcome", asJson(context, outcome)}};
    const Outcome served = outcome;
    bool good = showProtocol(context, outcome.tag, text) && outcome.succeeded();
    std::optional<mervane::Failure> not_saved;
    if (!saveLines(context, windows, wanted.save, text, not_saved)) {
        good = false;
        outcome.status = outcome.status ? outcome.status : kNotSaved;
    } else if (!good && outcome.succeeded()) {
        outcome.status = kNoProtocol;
    }
    std::vector<Refusal> refusals;
    VisitList visits;
    const Record record = run.end(outcome, {}, [&] {
        visits = calls.visits();
        refusals = explainOrder(context, served, calls, top);
        if (not_saved) {
            refusals.push_back(
                refusalOf(context, not_saved->status(), viewOf(top), lineTag(top, "bl_revision")));
            refusals.back().found = not_saved->what();
        }
    });
    context.print(text);
    text.clear();
    tellProblems(context, served, refusals, "failed");
    if (wanted.run.visits)
        calls.show(context, visits, record, refusals, "it is only read", [&](Visit& visit) {
            if (!visit.line)
                return;
            const tag_t view = lineTag(visit.object, "bl_bomview_rev");
            const bool passed_over = view != NULLTAG && checkedOut(view);
            visit.came = passed_over ? Came::NotConcerned : Came::AlreadyThere;
            visit.rule = passed_over ? "its view is checked out" : "";
        });
    if (wanted.run.dry_run) {
        text += "dry run, nothing is changed; it would be:\n" +
                changesAsText(record, "nothing would change\n");
    }
    context.document["changes"] = changesAsJson(record);
    context.document["succeeded"] = good;
    context.print(text);
    return tellEnd(context, run, record, served);
}

}  // namespace

void addBomVerbs(Verbs& verbs) {
    CLI::App* group = verbs.addGroup("bom", "Show, change and renumber the lines of a structure",
                                     "  keld bom show 000123/A\n"
                                     "  keld bom add 000123/A 000456 --quantity 4\n"
                                     "  keld bom import gearbox.csv --dry-run\n"
                                     "  keld bom resequence 000123/A --save\n",
                                     nullptr);
    auto shown = std::make_shared<Shown>();
    CLI::App* verb =
        verbs.add(group, "show", "Show the lines of a structure with numbers and quantities",
                  "  keld bom show 000123/A\n"
                  "  keld bom show 000123 --depth 1 --unpacked\n"
                  "Like lines (one revision, one number, the same notes) are shown as "
                  "one with the sum of\n"
                  "their quantities; PACKED is how many they are.\n",
                  [shown](Context& context) { return show(context, *shown); });
    verb->add_option("OBJECT", shown->object, "revision, or an item for its latest")->required();
    verb->add_option("--depth", shown->depth, "levels below the top; 0: all")
        ->capture_default_str();
    verb->add_option("--limit", shown->limit, "at most so many lines; 0: all")
        ->capture_default_str();
    verb->add_flag("--unpacked", shown->unpacked, "show every line by itself");

    auto wanted = std::make_shared<WantedOrder>();
    verb = verbs.add(
        group, "resequence", "Number the lines of a structure anew and pack like ones",
        "  keld bom resequence 000123/A --dry-run --save    # what would be stored\n"
        "  keld bom resequence 000123/A --save\n"
        "  keld bom resequence 000123/A --line 000456 --line /10/20 --level 1 --sort\n"
        "Lines are named by the item or revision that they show, or by their numbers from the top\n"
        "line downwards (/10/20; / is the top line itself).\n",
        [wanted](Context& context) { return resequence(context, *wanted); });
    verb->add_option("OBJECT", wanted->object, "revision, or an item for its latest")->required();
    verb->add_option("--line", wanted->lines, "number the children of this line; else the top line")
        ->expected(1)
        ->take_all();
    verb->add_option("--level", wanted->level, "levels of lines to work on; 0: all")
        ->capture_default_str();
    verb->add_flag("--sort", wanted->sort,
                   "sort by item and number from the start, else keep "
                   "numbers where they can be kept");
    verb->add_flag("--save", wanted->save,
                   "store the new numbers; after a failure only with --as-server");
    verb->add_flag("--dump", wanted->dump, "show what the service prints, on standard error");
    addRunOptions(verb, wanted->run);
    addBomEditVerbs(verbs, group);
    addBomImportVerb(verbs, group);
}

}  // namespace keld
