// copy-attr: properties from one object to others, and down the configured relations.

#include <CLI/CLI.hpp>
#include <iterator>
#include <memory>
#include <set>

#include "tools/keld/host/context.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/run.h"
#include "tools/keld/verbs/copy_lines.h"

namespace keld {

namespace {

constexpr std::size_t kLongestText = 1000;

struct WantedCopy {
    std::string source;
    std::vector<std::string> destinations;
    bool check = false;
    RunWish run;
};

std::string titled(const Context& context, tag_t object) {
    std::string label = context.title(object);
    if (!label.starts_with("#"))
        return label;
    const std::string name = display(object, "object_name");
    return name.empty() ? label : label + " " + name;
}

// ---- what was left alone, from the journal of the run ----

struct Left {
    std::vector<tag_t> alone;   // destinations that take no values
    std::vector<tag_t> failed;  // destinations whose values couldn't be copied
};

Left readLeft(const std::vector<mervane::JournalEntry>& journal) {
    Left left;
    std::set<tag_t> failed;
    std::vector<std::pair<tag_t, bool>> visits;  // with whether its lock was asked for
    for (const auto& entry : journal) {
        const tag_t object = entry.object();
        // The source is asked for a value under the lock of the destination visited last.
        if (entry.status != 0 && !visits.empty() && visits.back().second &&
            (entry.operation.starts_with("OBJ_UIF_") || entry.operation == "OBJ_save") &&
            failed.insert(visits.back().first).second)
            left.failed.push_back(visits.back().first);
        if (entry.operation == "OBJ_get_value_tag") {
            visits.emplace_back(object, false);
        } else if (entry.operation == "OBJ_refresh" &&
                   entry.arguments.back() == mervane::JournalArgument(true)) {
            if (!visits.empty() && visits.back().first == object)
                visits.back().second = true;
        }
    }
    std::set<tag_t> told;
    for (const auto& [object, locked] : visits)
        if (!locked && told.insert(object).second)
            left.alone.push_back(object);
    return left;
}

// ---- showing it ----

void showValues(Context& context, const Record& record, std::string& text) {
    Json values = Json::array();
    Table table({"OBJECT", "TYPE", "PROPERTY", "OLD VALUE", "NEW VALUE"});
    for (const ChangedObject& object : record.objects)
        for (const ChangedValue& value : object.values) {
            values.push_back({{"object", object.label},
                              {"tag", object.tag},
                              {"type", object.type},
                              {"property", value.attribute},
                              {"old", value.before},
                              {"new", value.after}});
            table.add({titled(object), object.type, value.attribute, shownLine(value.before),
                       shownLine(value.after)});
        }
    context.document["values"] = values;
    text += table.empty() ? "no values copied\n" : table.text();
}

void showLeft(Context& context, const Left& left, std::string& text) {
    Json alone = Json::array();
    for (const tag_t object : left.alone) {
        const std::string site = display(object, "owning_site");
        const std::string reason =
            site.empty() ? "this user may not change it" : "it is owned by the site " + site;
        alone.push_back({{"object", context.label(object)}, {"tag", object}, {"reason", reason}});
        text += shown("left alone: " + titled(context, object) + ", " + reason) + "\n";
    }
    Json failed = Json::array();
    for (const tag_t object : left.failed) {
        failed.push_back({{"object", context.label(object)}, {"tag", object}});
        text += shown("failed at: " + titled(context, object)) + "\n";
    }
    context.document["failed_at"] = failed;
    context.document["left_alone"] = alone;
}

std::string problemsOf(const Context& context, const Outcome& outcome) {
    std::string text = outcome.status != 0
                           ? "failed: " + statusText(context, outcome.status) + "\n"
                           : "warning: the preferences have bad lines; keld copy-attr --check "
                             "lists them\n";
    std::string last;
    for (const auto& entry : outcome.stack) {
        const std::string line = "  error " + std::to_string(entry.status) + ": " +
                                 shown(shownLine(entry.text, kLongestText)) + "\n";
        if (line != last)
            text += line;
        last = line;
    }
    return text;
}

int copy(Context& context, const WantedCopy& wanted) {
    if (wanted.source.empty() || wanted.destinations.empty())
        throw CommandError(
            "copy-attr needs a source and at least one destination (see keld "
            "copy-attr --help)",
            {}, kExitUsage);
    context.open();
    const tag_t source = context.object(wanted.source);
    std::vector<tag_t> destinations;
    for (const std::string& name : wanted.destinations)
        destinations.push_back(context.object(name));
    const std::vector<mervane::Argument> arguments{source, destinations};
    VerbRun run(context, wanted.run, "KELD_CopyAttr", wireText(context, arguments));
    context.workbench().startJournal();
    const Outcome outcome = runService(context, findService("KELD_CopyAttr"), arguments);
    const Left left = readLeft(context.workbench().stopJournal());
    context.document = {{"source", wanted.source},
                        {"destinations", wanted.destinations},
                        {"dry_run", run.rehearses()},
                        {"succeeded", outcome.succeeded()},
                        {"outcome", asJson(context, outcome)}};
    if (run.rehearses())
        context.document["outcome"]["log"] = nullptr;
    std::string alone;
    const Record record = run.end(outcome, {}, [&] { showLeft(context, left, alone); });
    std::string text;
    if (run.rehearses())
        text += "dry run, nothing is changed; it would be:\n";
    showValues(context, record, text);
    context.print(text + alone);
    text.clear();
    if (!outcome.succeeded())
        context.problem(problemsOf(context, outcome));
    context.document["run"] = endJson(run, record);
    text += endText(run, record);
    if (!run.rehearses())
        text += logText(outcome);
    context.print(text);
    return run.exitCode();
}

int check(Context& context) {
    context.open();
    const CopyCheck found = checkCopyLines(context);
    Json lines = Json::array();
    std::string text;
    int read = 0, bad = 0;
    for (const CopyLine& line : found.lines) {
        lines.push_back({{"preference", line.preference},
                         {"line", line.number},
                         {"text", line.text},
                         {"skipped", line.skipped},
                         {"errors", line.errors},
                         {"remarks", line.remarks}});
        read += line.skipped ? 0 : 1;
        bad += line.errors.empty() ? 0 : 1;
        const std::string place = line.preference + " line " + std::to_string(line.number) + ": ";
        if (!line.errors.empty())
            text += painted(Colour::Red, "error") + "   " + place +
                    shown(joined(line.errors, "; ")) + "\n        " + shown(shownLine(line.text)) +
                    "\n";
        for (const std::string& remark : line.remarks)
            text += painted(Colour::Yellow, "remark") + "  " + place + remark + "\n        " +
                    shown(shownLine(line.text)) + "\n";
    }
    context.document = {
        {"lines", lines},
        {"read", read},
        {"bad", bad},
        {"status", found.status},
        {"status_text", found.status ? context.workbench().messageText(found.status) : ""}};
    if (found.lines.empty())
        text += "none of the preferences " +
                joined({std::begin(kCopyPreferences), std::end(kCopyPreferences)}, ", ") +
                " has a line: nothing is copied\n";
    else
        text += counted(static_cast<std::size_t>(read), "line") + " read, " + std::to_string(bad) +
                " bad\n";
    if (found.status != 0)
        text += "every copy is refused with " + statusText(context, found.status) +
                ", since the last line is bad\n";
    else if (bad != 0)
        text += "a copy runs all the same, since the last line is good\n";
    context.print(text);
    return bad == 0 && found.status == 0 ? kExitDone : kExitFailed;
}

}  // namespace

void addCopyVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedCopy>();
    CLI::App* verb = verbs.add(
        &verbs.app, "copy-attr", "Copy properties to other objects, as three preferences say",
        "  keld copy-attr 000123 000124 000125 --dry-run\n"
        "  keld copy-attr 000123/A 000124/A\n"
        "  keld copy-attr --check            # only the preferences, nothing is copied\n"
        "Preferences:\n"
        "  KELD_CopyAttributes_WSO, KELD_CopyAttributes_Form   TYPE;PROPERTY or "
        "TYPE;PROPERTY;null\n"
        "  KELD_CopyAttributes_Relation                        TYPE;RELATION;TYPE\n",
        [wanted](Context& context) {
            return wanted->check ? check(context) : copy(context, *wanted);
        });
    verb->add_option("SOURCE", wanted->source, "the object to copy from");
    verb->add_option("DEST", wanted->destinations, "the objects to copy to");
    CLI::Option* checked = verb->add_flag(
        "--check", wanted->check, "read the preferences and show every bad line; copy nothing");
    addRunOptions(verb, wanted->run);
    verb->get_option("--dry-run")->excludes(checked);
}

}  // namespace keld
