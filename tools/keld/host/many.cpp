// One verb for many objects: their names, a line of outcome for each, and the sum.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <set>

#include "platform/mv_err.h"
#include "tools/keld/host/deeds.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

constexpr char kStandardInput[] = "-";

std::vector<std::string> namesIn(std::istream& in) {
    std::vector<std::string> names;
    for (std::string line; std::getline(in, line);) {
        const std::size_t begin = line.find_first_not_of(" \t\r");
        if (begin == std::string::npos)
            continue;
        names.push_back(line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin));
    }
    return names;
}

std::vector<std::string> namesInFile(const std::string& path) {
    std::ifstream in(pathOf(path), std::ios::binary);
    std::vector<std::string> names;
    if (in)
        names = namesIn(in);
    if (in.bad() || !in.eof())
        throw CommandError("can't read the names in " + path);
    return names;
}

// Put the names into the command in place of where they came from: a plan must not read the file or
// the pipe again.
void nameInCommand(std::vector<std::string>& command, std::size_t given,
                   const std::vector<std::string>& names, std::size_t words_after) {
    if (command.size() < given + words_after)
        return;
    const auto end = command.end() - static_cast<std::ptrdiff_t>(words_after);
    const auto begin = end - static_cast<std::ptrdiff_t>(given);
    std::vector<std::string> whole(command.begin(), begin);
    std::erase_if(whole, [](const std::string& word) { return word.starts_with("--from="); });
    // A name that begins with a dash would be read as an option.
    if ((whole.empty() || whole.back() != "--") &&
        std::any_of(names.begin(), names.end(),
                    [](const std::string& name) { return name.starts_with("-"); }))
        whole.emplace_back("--");
    whole.insert(whole.end(), names.begin(), names.end());
    whole.insert(whole.end(), end, command.end());
    command = std::move(whole);
}

}  // namespace

void addManyOptions(CLI::App* verb, Many& many) {
    verb->add_option("--from", many.from,
                     "take names of objects from this file too, one a line; the name - takes them "
                     "from standard input");
    verb->add_flag("--together", many.together,
                   "one run for all objects: all of it is kept, or nothing");
}

void readNames(Context& context, const RunWish& wish, Many& many, std::size_t words_after) {
    std::vector<std::string> names;
    const auto add = [&](const std::vector<std::string>& more) {
        names.insert(names.end(), more.begin(), more.end());
    };
    bool piped = false;
    for (const std::string& name : many.names) {
        if (name != kStandardInput) {
            names.push_back(name);
        } else if (!piped) {
            add(namesIn(std::cin));
            piped = true;
        }
    }
    if (!many.from.empty())
        add(namesInFile(many.from));
    if (names.empty())
        throw CommandError(
            many.names.empty() && many.from.empty()
                ? "no object is named; name one, or a file of names with --from"
                : "there is no name in " + (piped ? std::string("the standard input") : many.from),
            {}, many.names.empty() && many.from.empty() ? kExitUsage : kExitFailed);
    if (!wish.plan.empty() && names.size() > 1 && !many.together)
        throw CommandError("a plan is of one run: give --together", {}, kExitUsage);
    if (piped || !many.from.empty())
        nameInCommand(context.command, many.names.size(), names, words_after);
    many.names = std::move(names);
}

namespace {

struct ManyRow {
    std::string name, outcome, told;
    tag_t object = NULLTAG;
    Deed done;
    std::int64_t run = 0;
    bool open = true;  // still to be done
};

constexpr char kDone[] = "done", kWithFailures[] = "done with failures", kRefused[] = "refused",
               kUnknown[] = "unknown", kRepeated[] = "named before", kWentBack[] = "went back",
               kNotReached[] = "not reached", kWouldBe[] = "would be done";

// In the order in which the sum names them.
constexpr const char* kOutcomes[] = {kDone,    kWouldBe,  kWithFailures, kRefused,
                                     kUnknown, kRepeated, kWentBack,     kNotReached};

std::vector<ManyRow> rowsFor(const Context& context, const std::vector<std::string>& names) {
    std::vector<ManyRow> rows;
    std::set<tag_t> before;
    for (const std::string& name : names) {
        ManyRow row;
        row.name = name;
        try {
            row.object = context.object(name);
            if (!before.insert(row.object).second) {
                row.outcome = kRepeated;
                row.open = false;
            }
        } catch (const CommandError& error) {
            row.outcome = kUnknown;
            row.told = "there is no such object." + didYouMean(error.suggestions);
            row.open = false;
        } catch (const mervane::Failure& failure) {
            row.outcome = kUnknown;
            row.told = failure.what();
            row.open = false;
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::string reasonOf(const Context& context, const Deed& done) {
    if (!done.refusals.empty() && !done.refusals.front().found.empty())
        return done.refusals.front().found;
    const int status = done.outcome.status              ? done.outcome.status
                       : done.outcome.slot == Slot::Int ? done.outcome.number
                                                        : 0;
    if (status != 0)
        return statusText(context, status);
    return done.outcome.stack.empty() ? "" : done.outcome.stack.front().text;
}

// Carry it out for one object. An error is the refusal of this object only: the next one may pass.
void performOne(const Context& context, const Task& task, ManyRow& row) {
    constexpr int kBadValue = 710016;
    // Errors of the object before must not count for this one.
    ERR_clear_errors();
    try {
        row.done = task.perform(row.name, row.object);
    } catch (const CommandError& error) {
        row.done = {};
        row.done.outcome.status = kBadValue;
        Refusal refusal = refusalOf(context, kBadValue, row.object, row.object);
        refusal.found = error.what() + didYouMean(error.suggestions);
        row.done.refusals = {std::move(refusal)};
    }
}

class ManyRuns {
public:
    ManyRuns(Context& context, const RunWish& wish, const Many& many, const Task& task)
        : context_(context),
          wish_(wish),
          many_(many),
          task_(task),
          rows_(rowsFor(context, many.names)) {}

    int run() {
        {
            Progress progress(task_.verb);
            if (many_.together)
                runTogether(progress);
            else
                runEach(progress);
        }
        return show();
    }

private:
    Context& context_;
    const RunWish& wish_;
    const Many& many_;
    const Task& task_;
    std::vector<ManyRow> rows_;
    std::string changes_, end_;
    Json changes_document_ = Json::array(), run_document_;
    int exit_code_ = kExitDone;

    void runEach(Progress& progress) {
        bool interrupted = false;
        for (ManyRow& row : rows_) {
            if (!row.open)
                continue;
            if (interrupted) {
                row.outcome = kNotReached;
                continue;
            }
            VerbRun run(context_, wish_, task_.verb, task_.arguments({row.name}),
                        task_.configuration);
            performOne(context_, task_, row);
            const Record record = run.end(row.done.outcome);
            finish(row, run, record);
            if (run.result() == mervane::RunResult::Interrupted) {
                interrupted = true;
                exit_code_ = run.exitCode();
            }
            progress.count();
        }
    }

    void finish(ManyRow& row, const VerbRun& run, const Record& record) {
        row.run = record.head.number;
        switch (run.result()) {
            case mervane::RunResult::Done:
                row.outcome = wish_.dry_run ? kWouldBe : kDone;
                row.told = row.done.told;
                break;
            case mervane::RunResult::DoneWithFailures:
                row.outcome = run.kept() ? kWithFailures : kRefused;
                row.told = reasonOf(context_, row.done);
                break;
            case mervane::RunResult::Interrupted:
                row.outcome = kNotReached;
                row.told = "interrupted";
                break;
            default:
                row.outcome = kRefused;
                if (task_.explain && row.done.refusals.empty())
                    row.done.refusals = task_.explain(row.name, row.object, row.done);
                row.told = reasonOf(context_, row.done);
        }
        keepChanges(record);
    }

    void keepChanges(const Record& record) {
        for (const Json& change : changesAsJson(record))
            changes_document_.push_back(change);
        if (wish_.dry_run)
            changes_ += changesAsText(record, "");
    }

    void runTogether(Progress& progress) {
        const bool all_known = std::none_of(
            rows_.begin(), rows_.end(), [](const ManyRow& row) { return row.outcome == kUnknown; });
        // All or nothing: an unknown name stops the run before anything is done.
        if (!all_known) {
            for (ManyRow& row : rows_)
                if (row.open)
                    row.outcome = kNotReached;
            return;
        }
        VerbRun run(context_, wish_, task_.verb, task_.arguments(many_.names), task_.configuration);
        Outcome all;
        for (ManyRow& row : rows_) {
            if (!row.open)
                continue;
            if (context_.workbench().interrupted()) {
                row.outcome = kNotReached;
                continue;
            }
            performOne(context_, task_, row);
            const Outcome& one = row.done.outcome;
            all.stack.insert(all.stack.end(), one.stack.begin(), one.stack.end());
            if (resultOf(one) == mervane::RunResult::Refused) {
                row.outcome = kRefused;
                row.told = reasonOf(context_, row.done);
                if (all.status == 0)
                    all.status = one.status ? one.status : one.number;
            } else {
                row.outcome = kDone;
                row.told = row.done.told;
            }
            progress.count();
        }
        const Record record = run.end(all);
        for (ManyRow& row : rows_) {
            if (row.outcome != kDone)
                continue;
            row.run = record.head.number;
            const bool good = run.result() == mervane::RunResult::Done;
            row.outcome = good && wish_.dry_run            ? kWouldBe
                          : !run.kept()                    ? kWentBack
                          : row.done.outcome.stack.empty() ? kDone
                                                           : kWithFailures;
        }
        keepChanges(record);
        run_document_ = endJson(run, record);
        end_ = endText(run, record);
        exit_code_ = run.exitCode();
    }

    int show() {
        Table table({"OBJECT", "OUTCOME", "RUN", ""});
        Json shown_rows = Json::array();
        std::map<std::string, std::size_t> sums;
        std::string problems;
        for (const ManyRow& row : rows_) {
            const std::string run = row.run == 0 ? "" : std::to_string(row.run);
            table.add({row.name, row.outcome, run, row.told});
            Json shown_row = {{"object", row.name},
                              {"tag", row.object == NULLTAG ? Json() : Json(row.object)},
                              {"outcome", row.outcome},
                              {"text", row.told},
                              {"run", row.run == 0 ? Json() : Json(row.run)}};
            shown_row["refusals"] = Json::array();
            for (const Refusal& refusal : row.done.refusals) {
                shown_row["refusals"].push_back(asJson(refusal));
                if (row.outcome == kRefused)
                    problems += asText(refusal);
            }
            shown_rows.push_back(std::move(shown_row));
            ++sums[row.outcome];
        }
        std::string sum;
        Json sum_document = {{"given", rows_.size()}};
        for (const char* word : kOutcomes)
            if (const auto found = sums.find(word); found != sums.end()) {
                sum += (sum.empty() ? "" : ", ") + std::to_string(found->second) + " " + word;
                sum_document[word] = found->second;
            }
        context_.document = {{"objects", shown_rows},
                             {"sum", sum_document},
                             {"dry_run", wish_.dry_run},
                             {"changes", changes_document_},
                             {"run", run_document_}};
        context_.print(
            (wish_.dry_run ? "dry run, nothing is changed; it would be:\n" + changes_ : "") +
            table.text() + counted(rows_.size(), "object") + ": " + sum + "\n");
        if (!problems.empty())
            context_.problem("refused:\n" + problems);
        context_.print(end_);
        const auto any = [&](const char* word) { return sums.contains(word); };
        if (exit_code_ == kExitDone && (any(kRefused) || any(kUnknown) || any(kNotReached)))
            exit_code_ = kExitFailed;
        if (exit_code_ == kExitDone && any(kWithFailures))
            exit_code_ = kExitDoneWithFailures;
        return exit_code_;
    }
};

}  // namespace

int carryOutMany(Context& context, const RunWish& wish, const Many& many, const Task& task) {
    return ManyRuns(context, wish, many, task).run();
}

}  // namespace keld
