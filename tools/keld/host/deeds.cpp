#include "tools/keld/host/deeds.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "platform/mv_err.h"
#include "tools/keld/host/platform_text.h"

namespace keld {

namespace {

// Statuses by which the workbench refuses a change because of somebody's rights or references.
constexpr int kStatusLockedByOther = 710011, kStatusStillReferenced = 710013,
              kStatusNotAllowed = 710021, kStatusCheckedOut = 710022;

void tellAllowed(Refusal& refusal) {
    switch (refusal.status) {
        case kStatusLockedByOther:
            refusal.allowed = "not locked by anybody else";
            break;
        case kStatusStillReferenced:
            refusal.allowed = "objects that nothing else refers to";
            break;
        case kStatusNotAllowed:
            refusal.allowed = "users with that right (keld rights check shows the rule)";
            break;
        case kStatusCheckedOut:
            refusal.allowed = "not checked out by another user";
            break;
        default:
            break;
    }
}

void refuse(Deed& done, Refusal refusal) {
    done.outcome.status = refusal.status;
    done.told.clear();
    done.refusals = {std::move(refusal)};
}

}  // namespace

void need(const Context& context, int status, const char* operation, tag_t object) {
    if (status == 0)
        return;
    const auto stack = context.workbench().errorStack();
    Refusal refusal = refusalOf(context, status, object, object);
    refusal.operation = operation;
    refusal.found = stack.empty() ? refusal.rule : stack.back().text;
    tellAllowed(refusal);
    throw Refused(std::move(refusal));
}

Deed deed(const Context& context, tag_t about, const std::function<void(Deed&)>& steps) {
    Deed done;
    ERR_clear_errors();
    try {
        steps(done);
    } catch (const Refused& refused) {
        refuse(done, refused.refusal);
    } catch (const mervane::Failure& failure) {
        Refusal refusal = refusalOf(context, failure.status(), about, about);
        refusal.found = failure.what();
        tellAllowed(refusal);
        refuse(done, std::move(refusal));
    }
    ERR_clear_errors();  // the refusal has reported it
    return done;
}

void addDeedOptions(CLI::App* verb, RunWish& wish) {
    addWayOptions(verb, wish);
    addPlanOption(verb, wish);
}

int tellDeed(Context& context, const VerbRun& run, const Record& record, const Deed& done) {
    const bool good = done.outcome.succeeded() && (run.kept() || run.rehearses());
    context.document = done.facts;
    context.document["succeeded"] = good;
    context.document["dry_run"] = run.rehearses();
    context.document["changes"] = changesAsJson(record);
    context.document["outcome"] = asJson(context, done.outcome);
    if (run.rehearses() && good)
        context.print("dry run, nothing is changed; it would be:\n" +
                      changesAsText(record, "nothing would change\n"));
    else if (good && !done.told.empty())
        context.print(shown(done.told) + "\n");
    tellProblems(context, done.outcome, done.refusals);
    return tellEnd(context, run, record, done.outcome);
}

int carryOut(Context& context, const RunWish& wish, const std::string& verb,
             const std::string& arguments, tag_t about, const std::function<void(Deed&)>& steps) {
    VerbRun run(context, wish, verb, arguments);
    const Deed done = deed(context, about, steps);
    const Record record = run.end(done.outcome);
    return tellDeed(context, run, record, done);
}

int carryOutTask(Context& context, const RunWish& wish, const Many& many, const Task& task) {
    if (many.names.size() != 1)
        return carryOutMany(context, wish, many, task);
    const std::string& name = many.names.front();
    const tag_t object = context.object(name);
    VerbRun run(context, wish, task.verb, task.arguments(many.names), task.configuration);
    const Deed done = task.perform(name, object);
    const Record record = run.end(done.outcome);
    return tellDeed(context, run, record, done);
}

}  // namespace keld
