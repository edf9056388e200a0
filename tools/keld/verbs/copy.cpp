// copy-attr: copies properties from one object to others, and along the configured relations.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <memory>
#include <set>

#include "tools/keld/host/context.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/visits.h"
#include "tools/keld/verbs/copy_lines.h"

namespace keld {

namespace {

struct WantedCopy {
    std::string source;
    std::vector<std::string> destinations;
    bool check = false;
    RunWish run;
};

// ---- failed copies, from the calls of the run ----

// A destination whose values couldn't be copied, and the failed call.
struct FailedCopy {
    tag_t object = NULLTAG;
    int status = 0;
    std::string operation, property, value;
};

class CopyCalls {
public:
    void add(const mervane::JournalEntry& entry) {
        const tag_t object = entry.object();
        // The source is asked for a value while the last destination is locked, so the failure
        // belongs to that one.
        if (entry.status != 0 && !visits_.empty() && visits_.back().second &&
            (entry.operation.starts_with("OBJ_UIF_") || entry.operation == "OBJ_save"))
            addFailed(entry);
        if (entry.operation == "OBJ_get_value_tag") {
            visits_.emplace_back(object, false);
        } else if (entry.operation == "OBJ_refresh" &&
                   entry.arguments.back() == mervane::JournalArgument(true)) {
            if (!visits_.empty() && visits_.back().first == object)
                visits_.back().second = true;
        }
    }
    // Destinations that were never locked, since they take no values.
    std::vector<tag_t> leftAlone() const {
        std::vector<tag_t> alone;
        std::set<tag_t> told;
        for (const auto& [object, locked] : visits_)
            if (!locked && told.insert(object).second)
                alone.push_back(object);
        return alone;
    }
    std::set<tag_t> destinations() const {
        std::set<tag_t> all;
        for (const auto& [object, locked] : visits_)
            all.insert(object);
        return all;
    }
    const std::vector<FailedCopy>& failed() const { return failed_; }

private:
    std::vector<std::pair<tag_t, bool>> visits_;  // with whether its lock was asked for
    std::vector<FailedCopy> failed_;
    std::set<tag_t> known_;

    void addFailed(const mervane::JournalEntry& entry) {
        FailedCopy failed{visits_.back().first, entry.status, entry.operation, "", ""};
        if (!known_.insert(failed.object).second)
            return;
        if (const auto* property = entry.argument<std::string>(1))
            failed.property = *property;
        if (const auto* value = entry.argument<std::string>(2))
            failed.value = *value;
        failed_.push_back(std::move(failed));
    }
};

std::string whyLeftAlone(tag_t object) {
    const std::string site = display(object, "owning_site");
    return site.empty() ? "this user may not change it" : "it is owned by the site " + site;
}

// ---- why it failed ----

// Find the preference's line for the property and the object's type.
void tellLine(const Context& context, Refusal& refusal, const std::string& property) {
    for (const CopyLine& line : copyLines(context)) {
        const std::vector<std::string> fields = copyFields(line);
        if (line.skipped || line.preference == kCopyPreferences[kCopyRelations] ||
            fields.size() < 2 || fields[0] != refusal.type || fields[1] != property)
            continue;
        refusal.file = "the preference " + line.preference;
        refusal.line = line.number;
    }
}

Refusal explainFailed(const Context& context, const FailedCopy& failed, const Outcome& outcome,
                      const std::vector<tag_t>& destinations) {
    Refusal refusal = refusalOf(context, failed.status, failed.object, failed.object);
    for (const tag_t start : destinations)
        if (const auto path = pathBetween(context, start, failed.object); !path.empty())
            refusal.path = path;
    tellFailedCall(refusal, failed.operation, outcome);
    if (failed.property.empty())
        return refusal;
    const bool setting = failed.operation == "OBJ_UIF_set_value";
    refusal.found = "the property " + failed.property +
                    (setting ? " for '" + shownLine(failed.value) + "'" : "") + ": " +
                    refusal.found;
    refusal.allowed = setting ? "texts that the property takes" : "properties of both objects";
    tellLine(context, refusal, failed.property);
    return refusal;
}

// Explain bad lines of the preferences: one of them refuses every copy. Requires: the run has
// ended.
std::vector<Refusal> explainLines(Context& context, const Outcome& outcome, tag_t source) {
    std::vector<Refusal> refusals;
    for (const CopyLine& line : checkCopyLines(context).lines) {
        if (line.errors.empty())
            continue;
        Refusal refusal = refusalOf(context, outcome.status, source, source);
        refusal.found = "'" + shownLine(line.text) + "': " + joined(line.errors, "; ");
        refusal.allowed = line.preference == kCopyPreferences[kCopyRelations]
                              ? "TYPE;RELATION;TYPE"
                              : "TYPE;PROPERTY or TYPE;PROPERTY;null";
        refusal.file = "the preference " + line.preference;
        refusal.line = line.number;
        refusals.push_back(std::move(refusal));
    }
    return refusals;
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

void showLeft(Context& context, const CopyCalls& calls, std::string& text) {
    Json alone = Json::array();
    for (const tag_t object : calls.leftAlone()) {
        const std::string reason = whyLeftAlone(object);
        alone.push_back({{"object", context.label(object)}, {"tag", object}, {"reason", reason}});
        text += shown("left alone: " + nameOf(context, object).typed + ", " + reason) + "\n";
    }
    Json failed = Json::array();
    for (const FailedCopy& each : calls.failed()) {
        failed.push_back({{"object", context.label(each.object)}, {"tag", each.object}});
        text += shown("failed at: " + nameOf(context, each.object).typed) + "\n";
    }
    context.document["failed_at"] = failed;
    context.document["left_alone"] = alone;
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
    CopyCalls seen;
    CallWatch calls(context, wanted.run.visits,
                    [&](const mervane::JournalEntry& entry) { seen.add(entry); });
    const Outcome outcome = runService(context, findService("KELD_CopyAttr"), arguments);
    calls.end();
    context.document = {{"source", wanted.source},
                        {"destinations", wanted.destinations},
                        {"dry_run", run.rehearses()},
                        {"succeeded", outcome.succeeded()},
                        {"outcome", asJson(context, outcome)}};
    std::string left_text;
    std::vector<Refusal> refusals;
    VisitList visits;
    const Record record = run.end(outcome, {}, [&] {
        visits = calls.visits();
        showLeft(context, seen, left_text);
        for (const FailedCopy& failed : seen.failed())
            refusals.push_back(explainFailed(context, failed, outcome, destinations));
    });
    if (outcome.status != 0 && refusals.empty())
        refusals = explainLines(context, outcome, source);
    std::string text;
    if (run.rehearses())
        text += "dry run, nothing is changed; it would be:\n";
    showValues(context, record, text);
    context.print(text + left_text);
    if (wanted.run.visits)
        calls.show(context, visits, record, refusals, "it is only read",
                   [destinations = seen.destinations(), alone = seen.leftAlone()](Visit& visit) {
                       if (!destinations.contains(visit.object))
                           return;
                       const bool left =
                           std::find(alone.begin(), alone.end(), visit.object) != alone.end();
                       visit.came = left ? Came::NotConcerned : Came::AlreadyThere;
                       visit.rule = left ? whyLeftAlone(visit.object) : "";
                   });
    tellProblems(context, outcome, refusals, "failed");
    if (outcome.status == 0 && !outcome.succeeded())
        context.problem(
            "warning: the preferences have bad lines; keld copy-attr --check lists them\n");
    return tellEnd(context, run, record, outcome);
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
