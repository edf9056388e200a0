// history: the changes of an object, run by run.

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <memory>

#include "platform/mv_art.h"
#include "tools/keld/host/known.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/run.h"

namespace keld {

namespace {

struct WantedHistory {
    std::string object;
    bool statuses = false, revisions = false;
    int limit = 20;
};

// What a run did to one object, in one line.
struct HistoryStep {
    std::string what, status;  // status: set by the run; empty: none
};

std::string quotedValue(const std::string& text) {
    constexpr std::size_t kLongest = 40;
    return text.empty() ? "nothing" : cutText(text, kLongest);
}

// Give the part of a record about the object. A large record is read through, but the rest isn't
// kept.
Record partOf(const Context& context, std::int64_t number, tag_t object) {
    const mervane::RunHead head = context.workbench().run(number);
    RecordReader reader(context);
    context.workbench().readRun(number, [&](const mervane::RunEntry& entry) {
        // Entries of statuses give the names of those that are deleted.
        if (entry.object == object || entry.type == "ReleaseStatus")
            reader.add(entry);
    });
    return reader.take(head);
}

std::vector<HistoryStep> stepsOf(const Record& record, tag_t object) {
    std::vector<HistoryStep> steps;
    for (const ChangedObject& changed : record.objects) {
        if (changed.tag != object)
            continue;
        const auto& [was, is] = changed.status;
        if (was != is)
            steps.push_back(
                {"status " + (was.empty() ? "none" : was) + " -> " + (is.empty() ? "none" : is),
                 is.empty() ? "none" : is});
        if (changed.change == "new") {
            steps.push_back({"made", ""});
            continue;
        }
        if (changed.change == "deleted")
            steps.push_back({"deleted", ""});
        for (const ChangedValue& value : changed.values)
            if (value.attribute != "release_status_list")
                steps.push_back({value.attribute + " " + quotedValue(value.before) + " -> " +
                                     quotedValue(value.after),
                                 ""});
    }
    for (const OtherChange& other : record.others)
        if (other.tag == object)
            steps.push_back(
                {other.subject + " " + other.change + (other.text.empty() ? "" : ": " + other.text),
                 ""});
    return steps;
}

int history(Context& context, const WantedHistory& wanted) {
    context.open();
    if (wanted.limit < 0)
        throw CommandError("-n must not be negative", {}, kExitUsage);
    const tag_t named = context.object(wanted.object);
    std::vector<tag_t> objects{named};
    if (wanted.revisions) {
        if (!isOf(context, named, "Item"))
            throw CommandError("--revisions is for items; " + context.title(named) + " is none", {},
                               kExitUsage);
        for (const tag_t revision : listOf<tag_t>(
                 [&](int*count, tag_t**list) { return ART_list_all_revs(named, count, list); }))
            objects.push_back(revision);
    }
    // One run may have changed several of the objects.
    std::map<std::int64_t, std::vector<tag_t>, std::greater<>> runs;
    for (const tag_t object : objects)
        for (const mervane::RunHead& head :
             context.workbench().runs({object, "", "", "", wanted.statuses ? 0 : wanted.limit}))
            runs[head.number].push_back(object);
    Json shown = Json::array();
    Table table({"RUN", "BEGAN", "USER", "SERVICE", "OBJECT", "WHAT"});
    int count = 0;
    for (const auto& [number, changed] : runs) {
        if (wanted.limit > 0 && count == wanted.limit)
            break;
        bool any = false;
        for (const tag_t object : changed) {
            const Record record = partOf(context, number, object);
            const mervane::RunHead& head = record.head;
            for (const HistoryStep& step : stepsOf(record, object)) {
                if (wanted.statuses && step.status.empty())
                    continue;
                const std::string title = context.title(object);
                const std::string remark =
                    head.undone == 0 ? "" : " (taken back by " + std::to_string(head.undone) + ")";
                table.add({any ? "" : std::to_string(number), any ? "" : head.began,
                           any ? "" : head.user, any ? "" : head.service, title,
                           step.what + remark});
                shown.push_back({{"run", number},
                                 {"began", head.began},
                                 {"user", head.user},
                                 {"service", head.service},
                                 {"object", context.label(object)},
                                 {"what", step.what},
                                 {"status", step.status.empty() ? Json() : Json(step.status)},
                                 {"undone_by", head.undone == 0 ? Json() : Json(head.undone)}});
                any = true;
            }
        }
        count += any ? 1 : 0;
    }
    context.document = {{"object", context.label(named)},
                        {"created", display(named, "creation_date")},
                        {"owner", display(named, "owning_user")},
                        {"history", shown},
                        {"recording", context.workbench().recordsRuns()}};
    std::string text = table.empty() ? "no run has changed " + context.title(named) +
                                           (wanted.statuses ? "'s status" : "") + "\n"
                                     : table.text();
    if (!context.workbench().recordsRuns())
        text += "recording is off (keld runs recording on)\n";
    context.print(text);
    return kExitDone;
}

}  // namespace

void addHistoryVerb(Verbs& verbs) {
    auto wanted = std::make_shared<WantedHistory>();
    CLI::App* verb =
        verbs.add(&verbs.app, "history", "Show what runs did to an object, newest first",
                  "  keld history 000123/A\n"
                  "  keld history 000123/A --status     # who set which status when\n"
                  "  keld history 000123 --revisions -n 0\n",
                  [wanted](Context& context) { return history(context, *wanted); });
    verb->add_option("OBJECT", wanted->object)->required();
    verb->add_flag("--status", wanted->statuses, "only the changes of its status");
    verb->add_flag("--revisions", wanted->revisions, "of an item, those of its revisions too");
    verb->add_option("-n", wanted->limit, "at most so many runs, the newest; 0: all")
        ->capture_default_str();
}

}  // namespace keld
