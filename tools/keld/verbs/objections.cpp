// status objections: lists everything that refuses a run, with a remedy for each.

#include <CLI/CLI.hpp>
#include <memory>

#include "platform/keld_basetool.h"
#include "tools/keld/lint/config.h"
#include "tools/keld/verbs/remedies.h"

namespace keld {

namespace {

struct Objection {
    Refusal refusal;
    Remedy remedy;
    bool helped = true;
};

enum class ListEnd { Passes, NoRemedy, NoHelp, Interrupted };

struct Objections {
    std::vector<Objection> all;
    std::vector<mervane::StackEntry> failures;  // of the run that passes
    ListEnd end = ListEnd::Passes;
};

// Try the run once; it is taken back even if it passes.
StatusRun attempted(Context& context, const std::vector<mervane::Argument>& arguments) {
    struct GoBack {};
    StatusRun run;
    try {
        context.workbench().asOne([&] {
            run = runStatus(context, arguments, true);
            throw GoBack();
        });
    } catch (const GoBack&) {
        // The way to take the attempt back.
    }
    return run;
}

bool isSame(const Refusal& a, const Refusal& b) {
    return a.status == b.status && a.object == b.object && a.section == b.section;
}

// Find an earlier refusal of the same object for the same reason: then the remedies go in a circle,
// or one didn't help.
Objection* known(std::vector<Objection>& all, const Refusal& refusal) {
    for (Objection& each : all)
        if (isSame(each.refusal, refusal))
            return &each;
    return nullptr;
}

// Find a remedy. If the run that would help is refused itself, that refusal is mended first, and so
// on.
Objection mended(Context& context, const WantedStatus& wanted, std::vector<Objection>& all,
                 Refusal refusal, tag_t start) {
    constexpr int kDeepest = 10;
    for (int depth = 0;; ++depth) {
        Remedy remedy = mend(context, wanted, refusal, start, depth == kDeepest);
        if (remedy.first && (isSame(*remedy.first, refusal) || known(all, *remedy.first)))
            remedy = mend(context, wanted, refusal, start, true);
        if (!remedy.first) {
            const bool helps = remedy.known;
            return {std::move(refusal), std::move(remedy), helps};
        }
        refusal = *remedy.first;
    }
}

Objections collect(Context& context, const WantedStatus& wanted,
                   const std::vector<mervane::Argument>& arguments, tag_t start) {
    Objections found;
    for (;;) {
        const StatusRun run = attempted(context, arguments);
        if (context.workbench().interrupted()) {
            found.end = ListEnd::Interrupted;
            return found;
        }
        const int status = run.outcome.status ? run.outcome.status : run.outcome.number;
        if (status == 0) {
            found.failures = run.outcome.stack;
            return found;
        }
        Refusal refusal = explain(context, wanted, status, run.seen.last(), start);
        if (refusal.found.empty() && !run.outcome.stack.empty())
            refusal.found = run.outcome.stack.front().text;
        if (Objection* before = known(found.all, refusal)) {
            before->helped = false;
            found.end = ListEnd::NoHelp;
            return found;
        }
        found.all.push_back(mended(context, wanted, found.all, std::move(refusal), start));
        if (!found.all.back().remedy.known) {
            found.end = ListEnd::NoRemedy;
            return found;
        }
    }
}

const char* endWord(ListEnd end) {
    switch (end) {
        case ListEnd::Passes:
            return "passes";
        case ListEnd::NoRemedy:
            return "no remedy";
        case ListEnd::NoHelp:
            return "remedy didn't help";
        default:
            return "interrupted";
    }
}

void show(Context& context, const Objections& found) {
    Json objections = Json::array(), failures = Json::array();
    std::string text;
    for (const Objection& each : found.all) {
        const Remedy& remedy = each.remedy;
        Json json = asJson(each.refusal);
        json["remedy"] = {{"known", remedy.known},
                          {"text", remedy.text},
                          {"command", remedy.command.empty() ? Json() : Json(remedy.command)},
                          {"helps", each.helped}};
        objections.push_back(json);
        text += painted(Colour::Red, "objection " + std::to_string(objections.size())) + ": " +
                std::to_string(each.refusal.status) + "\n" + asText(each.refusal) + "  remedy   " +
                shown(remedy.text) + (remedy.known && !each.helped ? "; that didn't help" : "") +
                "\n";
        if (!remedy.command.empty())
            text += "  command  " + shown(remedy.command) + "\n";
    }
    for (const mervane::StackEntry& failure : found.failures) {
        failures.push_back({{"status", failure.status}, {"text", failure.text}});
        text += painted(Colour::Yellow, "failure") +
                " that the rules drop: " + std::to_string(failure.status) + ": " +
                shown(failure.text) + "\n";
    }
    const std::string number = counted(found.all.size(), "objection");
    if (found.end == ListEnd::NoRemedy)
        text += number + "; there may be more after the last one, for which no remedy is known\n";
    else if (found.end == ListEnd::NoHelp)
        text += number + "; there may be more, since a remedy didn't help\n";
    else if (found.end == ListEnd::Interrupted)
        text += number + "; interrupted, there may be more\n";
    else if (!found.all.empty())
        text += number + "; with these remedies the run passes\n";
    else if (found.failures.empty())
        text += "nothing prevents the run\n";
    context.document["objections"] = objections;
    context.document["failures"] = failures;
    context.document["end"] = endWord(found.end);
    context.print(text);
}

int listObjections(Context& context, const WantedStatus& wanted) {
    context.open();
    const tag_t start = context.object(wanted.object);
    const std::string type = wanted.structure       ? kLineType
                             : !wanted.type.empty() ? wanted.type
                                                    : context.workbench().describe(start).type;
    checkNames(context, wanted, type);
    context.document = {{"object", wanted.object}, {"type", type}, {"status", wanted.status}};
    CallWindows windows(context);
    const tag_t object = wanted.structure ? windows.topLine(wanted.object) : start;
    const std::vector<mervane::Argument> arguments{wanted.status, type, object};
    if (wanted.structure)
        announceLines(context, object);
    RunWish rehearsal;
    rehearsal.dry_run = true;
    VerbRun run(context, rehearsal, "KELD_StatusManager", wireText(context, arguments),
                statusConfigPath());
    KELD_SetLogLevel(kVisitsLevel);
    const Objections found = collect(context, wanted, arguments, start);
    show(context, found);
    if (found.end == ListEnd::Interrupted) {
        (void)run.end({});
        return run.exitCode();
    }
    return found.all.empty() && found.failures.empty() ? kExitDone : kExitFailed;
}

}  // namespace

void addObjectionsVerb(Verbs& verbs, CLI::App* group) {
    auto wanted = std::make_shared<WantedStatus>();
    CLI::App* verb = verbs.add(
        group, "objections", "List everything that prevents a status, with what would help",
        "  keld status objections 000123/A Frozen\n"
        "  keld status objections 000123/A Released --structure\n"
        "Each remedy is tried out in a rehearsal, of which nothing is kept.\n",
        [wanted](Context& context) { return listObjections(context, *wanted); });
    addStatusArguments(verb, *wanted);
}

}  // namespace keld
