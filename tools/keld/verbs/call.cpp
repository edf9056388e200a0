// call, env: services as a client calls them.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>
#include <optional>

#include "platform/keld_se.h"
#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/status_visits.h"
#include "tools/keld/host/system.h"
#include "tools/keld/lint/config.h"
#include "tools/keld/verbs/status_run.h"

namespace keld {

namespace {

struct Call {
    std::string service;
    std::vector<std::string> arguments;
    RunWish run;
    bool whole = false;
};

std::string knownServices() {
    Table table({});
    for (const Service& service : services())
        table.add({service.name, wireKinds(service)});
    return table.text("  ");
}

// Call a service. It runs as the server unless an option says otherwise, as for other clients.
int call(Context& context, const Call& wanted) {
    const Service& service = findService(wanted.service);
    context.open();
    const bool dry_run = wanted.run.dry_run;
    if (dry_run && service.effects == Effects::Outside)
        throw CommandError(service.name +
                           " makes job directories and starts the batch program, which a rehearsal "
                           "can't hold back; there is no dry run of it");
    CallWindows windows(context);
    std::vector<mervane::Argument> arguments;
    for (const std::string& argument : wanted.arguments)
        arguments.push_back(parseArgument(context, windows, argument));
    if (kindsOf(arguments) != wireKinds(service))
        context.note(service.name + " reads " + wireKinds(service) +
                     "; sent: " + (arguments.empty() ? "nothing" : kindsOf(arguments)));
    if (service.name == "KELD_StatusManager" && kindsOf(arguments) == wireKinds(service))
        if (const tag_t start = std::get<tag_t>(arguments.back());
            start != NULLTAG && isBomLine(start))
            announceLines(context, start);
    RunWish wish = wanted.run;
    wish.as_server = !dry_run && !wanted.whole;
    VerbRun run(context, wish, service.name, joined(wanted.arguments, " "),
                service.name == "KELD_StatusManager" ? statusConfigPath() : "");
    if (dry_run && service.effects == Effects::BackupFiles)
        run.redirectBackups();
    // Of all services, only the status manager logs its visits.
    const bool in_log = wanted.run.visits && service.name == "KELD_StatusManager" &&
                        kindsOf(arguments) == wireKinds(service);
    std::optional<StatusWatch> walk;
    if (in_log) {
        KELD_SetLogLevel(kVisitsLevel);
        walk.emplace(context, std::get<tag_t>(arguments.back()));
    }
    std::optional<CallWatch> calls;
    if (wanted.run.visits && !in_log)
        calls.emplace(context, true);
    Outcome outcome = runService(context, service, arguments);
    StatusWatch::Seen seen = walk ? walk->end() : StatusWatch::Seen();
    VisitList touched = calls ? calls->visits() : VisitList();
    if (outcome.succeeded())
        windows.save();
    const Record record = run.end(outcome, {}, [&] {
        if (walk)
            seen.judge(context, outcome.status ? outcome.status : outcome.number);
    });
    context.document = asJson(context, outcome);
    context.document["service"] = service.name;
    context.document["dry_run"] = dry_run;
    context.document["changes"] = changesAsJson(record);
    context.document["run"] = endJson(run, record);
    std::string text = asText(context, outcome);
    if (dry_run) {
        context.document["log"] = nullptr;
        text = text.substr(0, text.rfind("log in  ")) +
               "dry run, nothing is changed; it would be:\n" +
               changesAsText(record, "nothing would change\n");
    }
    context.print(text);
    if (walk)
        seen.list.show(context, true, true);
    if (calls)
        calls->show(context, touched, record, {}, "it is only read");
    context.print(endText(run, record));
    return run.exitCode();
}

int env(Context& context, const std::string& name) {
    context.open();
    const Outcome outcome = runService(context, findService("KELD_SrvCallGetEnv"), {name});
    // The service gives an empty text for an unset variable, too.
    const bool set = isSet(name);
    context.document = {{"name", name}, {"set", set}, {"value", outcome.text}};
    if (!outcome.succeeded())
        throw CommandError("KELD_SrvCallGetEnv failed with " + statusText(context, outcome.status));
    context.print(outcome.text + "\n");
    if (!set)
        context.note(name + " is not set");
    return kExitDone;
}

}  // namespace

void addCallVerbs(Verbs& verbs) {
    auto wanted = std::make_shared<Call>();
    CLI::App* verb = verbs.add(
        &verbs.app, "call", "Call any service as a client does",
        "  keld call KELD_SrvCall i:1 i:0 s:               # where the log lies\n"
        "  keld call KELD_StatusManager s:Frozen s:ItemRevision t:000123/A\n"
        "  keld call KELD_ReNameItem s:000999 s: s: t:000123 --dry-run\n"
        "  keld call KELD_PSE_PackAndResequenceBom l:000123/A ls:000123/A i:0 i:1\n"
        "Arguments:\n"
        "  i:NUMBER  s:TEXT  t:OBJECT  ts:OBJECT,OBJECT,...  (t: no object, ts: none)\n"
        "  l:REVISION  ls:REVISION,...  top line of a BOM window, saved if the call succeeds\n"
        "Services and what they read:\n" +
            knownServices(),
        [wanted](Context& context) { return call(context, *wanted); });
    verb->add_option("SERVICE", wanted->service)->required();
    verb->add_option("ARGS", wanted->arguments, "in the order of the wire");
    verb->add_flag("--dry-run", wanted->run.dry_run,
                   "rehearse it: show what would change, and keep nothing");
    verb->add_flag("--whole", wanted->whole,
                   "all or nothing; else what is saved stays, as on a server");
    verb->add_flag("--accept-failures", wanted->run.accept_failures,
                   "keep a whole run also if it left errors that its rules drop");
    addPlanOption(verb, wanted->run);
    verb->add_flag("--visits", wanted->run.visits,
                   "show each object that the service looked at, and what came of it");

    auto name = std::make_shared<std::string>();
    verbs
        .add(&verbs.app, "env", "Show a variable of the environment that services see",
             "  keld env KELD_CFG_PATH\n", [name](Context& context) { return env(context, *name); })
        ->add_option("NAME", *name)
        ->required();
}

}  // namespace keld
