#include <algorithm>
#include <set>

#include "workbench/admin/bench.h"
#include "workbench/run/reads.h"
#include "workbench/run/recorder.h"
#include "workbench/run/undo.h"
#include "workbench/session/journal.h"

// Runs and their records.

namespace mervane {

void Bench::beginRun(const RunOptions& options) {
    OpenSession& open = nowOpen();
    open.run = std::make_unique<Run>(*open.session, options);
}

RunHead Bench::endRun(const RunOutcome& outcome, bool keep,
                      const std::function<void(const RunEntry&)>& each) {
    OpenSession& open = nowOpen();
    if (!open.run)
        throw Failure(kBadValue, "the session has no run that could end");
    const std::unique_ptr<Run> run = std::move(open.run);
    return run->end(outcome, keep, each);
}

bool Bench::inRun() {
    return nowOpen().run != nullptr;
}

RunHead Bench::runUnderWay() {
    if (!now().recorder())
        throw Failure(kBadValue, "the session has no run");
    return now().recorder()->head();
}

RunReads Bench::readsOfRun() {
    Recorder* const recorder = now().recorder();
    if (!recorder || !recorder->reads())
        throw Failure(kBadValue, "there is no run that gathers what it reads");
    return recorder->reads()->take(now().store());
}

void Bench::readRunSoFar(const std::function<void(const RunEntry&)>& each) {
    Recorder* const recorder = now().recorder();
    if (!recorder)
        throw Failure(kBadValue, "the session has no run");
    if (const std::int64_t number = recorder->number())
        recorder->tables().entries(number, [&](StoredEntry&& entry) {
            each(shownEntry(now().model(), std::move(entry)));
        });
}

std::vector<ReadDifference> Bench::differencesFrom(const RunReads& reads) {
    return mervane::differencesFrom(now(), reads);
}

void Bench::interrupt() noexcept {
    interruptCalls();
}

bool Bench::interrupted() noexcept {
    return callsAreInterrupted();
}

std::vector<RunHead> Bench::runs(const RunQuery& query) {
    std::vector<RunHead> heads;
    for (const std::int64_t number : RunTables(now().store(), false).find(query))
        heads.push_back(run(number));
    return heads;
}

RunHead Bench::run(std::int64_t number) {
    RunHead head;
    if (!readHead(now(), number, head))
        throw Failure(kBadValue, "there is no run " + std::to_string(number));
    return head;
}

void Bench::readRun(std::int64_t number, const std::function<void(const RunEntry&)>& each) {
    (void)run(number);
    RunTables(now().store(), false).entries(number, [&](StoredEntry&& entry) {
        each(shownEntry(now().model(), std::move(entry)));
    });
}

UndoReport Bench::undoRun(std::int64_t number, const std::string& version) {
    return mervane::undoRun(now(), number, version);
}

int Bench::pruneRuns(const std::string& before) {
    now().needAdministrator("drop the records of runs");
    Store& store = now().store();
    RunTables tables(store, false);
    const std::vector<tag_t> kept = tables.removedFiles();
    int pruned = 0;
    {
        StoreTransaction transaction(store);
        for (const std::int64_t number : tables.before(before)) {
            RunHead head;
            // A run that goes on adds entries under its head.
            if (!readHead(now(), number, head) || head.running)
                continue;
            tables.remove(number);
            ++pruned;
        }
        transaction.commit();
    }
    const std::vector<tag_t> still = tables.removedFiles();
    // After the commit: a kill in between leaves files that no object owns, never a record without
    // its files. An undo may have brought an object back, which then owns its file.
    for (const tag_t file : kept)
        if (!std::binary_search(still.begin(), still.end(), file) && !store.exists(file))
            store.volume().remove(file);
    return pruned;
}

bool Bench::recordsRuns() {
    return now().store().recordsRuns();
}

void Bench::recordRuns(bool on) {
    now().needAdministrator("switch the recording of runs");
    now().store().recordRuns(on);
}

}  // namespace mervane
