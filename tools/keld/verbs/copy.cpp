// copy-attr: properties from one object to others, and down the configured relations.

#include <CLI/CLI.hpp>
#include <deque>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "platform/keld_qsktool.h"
#include "platform/mv_art.h"
#include "platform/mv_dst.h"
#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "platform/mv_rel.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/service.h"
#include "tools/keld/verbs/copy_lines.h"

namespace keld {

namespace {

constexpr std::size_t kLongestText = 1000;

struct WantedCopy {
    std::string source;
    std::vector<std::string> destinations;
    bool check = false, dry_run = false;
};

std::string titled(const Context& context, tag_t object) {
    std::string label = context.title(object);
    if (!label.starts_with("#"))
        return label;
    const std::string name = display(object, "object_name");
    return name.empty() ? label : label + " " + name;
}

std::string typeOf(const Context& context, tag_t object) {
    try {
        return context.workbench().describe(object).type;
    } catch (const mervane::Failure&) {
        return "";
    }
}

// ---- the values before the run ----

struct Configuration {
    std::set<std::string> properties;
    std::vector<tag_t> relations;
};

Configuration configuration(const Context& context) {
    Configuration found;
    std::set<std::string> relations;
    for (const CopyLine& line : copyLines(context)) {
        const std::vector<std::string> fields = copyFields(line);
        if (line.skipped || fields.size() < 2)
            continue;
        if (line.preference != kCopyPreferences[kCopyRelations])
            found.properties.insert(fields[1]);
        else if (fields[1] == "VANE_master_form_rev")
            relations.insert("VANE_master_form");
        else
            relations.insert(fields[1]);
    }
    for (const std::string& relation : relations) {
        tag_t type = NULLTAG;
        if (REL_find_relation_type(relation.c_str(), &type) == 0 && type != NULLTAG)
            found.relations.push_back(type);
    }
    return found;
}

bool isOfClass(tag_t object, const char* name) {
    logical is = false;
    return KELD_isObjectOfClass(object, name, &is) == 0 && is;
}

std::vector<tag_t> objectsBelow(tag_t object, const Configuration& wanted) {
    std::vector<tag_t> found;
    const auto add = [&](const std::vector<tag_t>& more) {
        found.insert(found.end(), more.begin(), more.end());
    };
    if (isOfClass(object, "Item"))
        add(listOf<tag_t>(
            [&](int* count, tag_t** tags) { return ART_list_all_revs(object, count, tags); }));
    if (isOfClass(object, "Dataset"))
        add(listOf<tag_t>([&](int* count, tag_t** tags) {
            return DST_ask_dataset_named_refs(object, count, tags);
        }));
    for (const tag_t relation : wanted.relations)
        add(listOf<tag_t>([&](int* count, tag_t** tags) {
            return REL_list_secondary_objects_only(object, relation, count, tags);
        }));
    return found;
}

using Values = std::map<std::pair<tag_t, std::string>, std::string>;

// The configured properties of everything that the run can reach from the destinations.
Values valuesBelow(const Context& context, const std::vector<tag_t>& destinations) {
    const Progress progress("reading the values as they are");
    const Configuration wanted = configuration(context);
    Values values;
    std::set<tag_t> seen(destinations.begin(), destinations.end());
    std::deque<tag_t> waiting(seen.begin(), seen.end());
    for (; !waiting.empty(); waiting.pop_front()) {
        const tag_t object = waiting.front();
        for (const std::string& property : wanted.properties)
            values.emplace(std::pair{object, property}, display(object, property));
        for (const tag_t below : objectsBelow(object, wanted))
            if (seen.insert(below).second)
                waiting.push_back(below);
    }
    ERR_clear_errors();
    return values;
}

// ---- what the run did, from its journal ----

struct Setting {
    tag_t object = 0;
    std::string property;
    bool failed = false;
};

struct Run {
    std::vector<Setting> settings;  // each property of an object once
    std::vector<tag_t> left_alone;  // destinations that take no values
    std::vector<tag_t> failed;      // destinations whose values couldn't be copied
};

tag_t tagIn(const std::string& arguments) {
    return arguments.starts_with("#") ? static_cast<tag_t>(std::stoul(arguments.substr(1))) : 0;
}

// `#12, "object_desc", "text"`: the property.
std::string propertyIn(const std::string& arguments) {
    const auto start = arguments.find('"');
    const auto end = arguments.find('"', start + 1);
    return start == std::string::npos || end == std::string::npos
               ? ""
               : arguments.substr(start + 1, end - start - 1);
}

Run readRun(const std::vector<mervane::JournalEntry>& journal) {
    Run run;
    std::map<std::pair<tag_t, std::string>, std::size_t> places;
    std::set<tag_t> failed;
    std::vector<std::pair<tag_t, bool>> visits;  // with whether its lock was asked for
    for (const auto& entry : journal) {
        const tag_t object = tagIn(entry.arguments);
        // The source is asked for a value under the lock of the destination visited last.
        if (entry.status != 0 && !visits.empty() && visits.back().second &&
            (entry.operation.starts_with("OBJ_UIF_") || entry.operation == "OBJ_save") &&
            failed.insert(visits.back().first).second)
            run.failed.push_back(visits.back().first);
        if (entry.operation == "OBJ_get_value_tag") {
            visits.emplace_back(object, false);
        } else if (entry.operation == "OBJ_refresh" && entry.arguments.ends_with(", true")) {
            if (!visits.empty() && visits.back().first == object)
                visits.back().second = true;
        } else if (entry.operation == "OBJ_UIF_set_value") {
            const std::string property = propertyIn(entry.arguments);
            const auto [place, added] = places.try_emplace({object, property}, run.settings.size());
            if (added)
                run.settings.push_back({object, property, entry.status != 0});
            else
                run.settings[place->second].failed |= entry.status != 0;
        }
    }
    std::set<tag_t> told;
    for (const auto& [object, locked] : visits)
        if (!locked && told.insert(object).second)
            run.left_alone.push_back(object);
    return run;
}

// ---- showing it ----

void showSettings(Context& context, const Run& run, const Values& before, std::string& text) {
    Json values = Json::array();
    Table table({"OBJECT", "TYPE", "PROPERTY", "OLD VALUE", "NEW VALUE"});
    std::set<tag_t> read;
    for (const Setting& setting : run.settings) {
        // After a failure the values that were set but not saved go, and so does the lock.
        if (read.insert(setting.object).second)
            (void)OBJ_refresh(setting.object, false);
        const auto old = before.find({setting.object, setting.property});
        const std::string was = old == before.end() ? "" : old->second;
        const std::string is = display(setting.object, setting.property);
        const std::string type = typeOf(context, setting.object);
        values.push_back({{"object", context.label(setting.object)},
                          {"tag", setting.object},
                          {"type", type},
                          {"property", setting.property},
                          {"old", was},
                          {"new", is},
                          {"failed", setting.failed}});
        table.add({titled(context, setting.object), type, setting.property, shownLine(was),
                   shownLine(is) + (setting.failed ? "  (refused)" : "")});
    }
    Json alone = Json::array();
    std::string alone_text;
    for (const tag_t object : run.left_alone) {
        const std::string site = display(object, "owning_site");
        const std::string reason =
            site.empty() ? "this user may not change it" : "it is owned by the site " + site;
        alone.push_back({{"object", context.label(object)}, {"tag", object}, {"reason", reason}});
        alone_text += shown("left alone: " + titled(context, object) + ", " + reason) + "\n";
    }
    Json failed = Json::array();
    for (const tag_t object : run.failed) {
        failed.push_back({{"object", context.label(object)}, {"tag", object}});
        alone_text += shown("failed at: " + titled(context, object)) + "\n";
    }
    context.document["failed_at"] = failed;
    context.document["values"] = values;
    context.document["left_alone"] = alone;
    text += table.empty() ? "no values copied\n" : table.text();
    text += alone_text;
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
    (void)context.object(wanted.source);
    std::optional<PrivateCopy> private_copy;
    if (wanted.dry_run)
        private_copy.emplace(context);
    const tag_t source = context.object(wanted.source);
    std::vector<tag_t> destinations;
    for (const std::string& name : wanted.destinations)
        destinations.push_back(context.object(name));
    const Values before = valuesBelow(context, destinations);
    context.workbench().startJournal();
    const Outcome outcome =
        runService(context, findService("KELD_CopyAttr"), {source, destinations});
    const Run run = readRun(context.workbench().stopJournal());

    context.document = {{"source", wanted.source},
                        {"destinations", wanted.destinations},
                        {"dry_run", wanted.dry_run},
                        {"succeeded", outcome.succeeded()},
                        {"outcome", asJson(context, outcome)}};
    if (wanted.dry_run)
        context.document["outcome"]["log"] = nullptr;
    std::string text;
    if (wanted.dry_run)
        text += "dry run, nothing is changed; it would be:\n";
    showSettings(context, run, before, text);
    context.print(text);
    if (!outcome.succeeded())
        context.problem(problemsOf(context, outcome));
    if (!wanted.dry_run)
        context.print(logText(outcome));
    return outcome.succeeded() ? kExitDone : kExitFailed;
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
    verb->add_flag("--dry-run", wanted->dry_run,
                   "copy on a private copy of the store and show what would change")
        ->excludes(checked);
}

}  // namespace keld
