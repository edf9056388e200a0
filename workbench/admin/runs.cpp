#include <algorithm>
#include <set>

#include "workbench/admin/store_workbench.h"
#include "workbench/run/reads.h"
#include "workbench/run/recorder.h"
#include "workbench/run/undo.h"
#include "workbench/session/journal.h"

// Runs and their records.

namespace mervane {

void StoreWorkbench::beginRun(const RunOptions& options) {
    OpenSession& open = nowOpen();
    open.run = std::make_unique<Run>(*open.session, options);
}

RunHead StoreWorkbench::endRun(const RunOutcome& outcome, bool keep,
                               const std::function<void(const RunEntry&)>& each) {
    OpenSession& open = nowOpen();
    if (!open.run)
        throw Failure(kBadValue, "the session has no run that could end");
    // The session has no run any more, however its end goes.
    const std::unique_ptr<Run> run = std::move(open.run);
    return run->end(outcome, keep, each);
}

bool StoreWorkbench::inRun() {
    return nowOpen().run != nullptr;
}

RunHead StoreWorkbench::runUnderWay() {
    if (!now().recorder())
        throw Failure(kBadValue, "the session has no run");
    return now().recorder()->head();
}

RunReads StoreWorkbench::readsOfRun() {
    Recorder* const recorder = now().recorder();
    if (!recorder || !recorder->reads())
        throw Failure(kBadValue, "there is no run that gathers what it reads");
    return recorder->reads()->take(now().store());
}

void StoreWorkbench::readRunSoFar(const std::function<void(const RunEntry&)>& each) {
    Recorder* const recorder = now().recorder();
    if (!recorder)
        throw Failure(kBadValue, "the session has no run");
    if (const std::int64_t number = recorder->number())
        recorder->tables().entries(number, [&](StoredEntry&& entry) {
            each(shownEntry(now().model(), std::move(entry)));
        });
}

std::vector<ReadDifference> StoreWorkbench::differencesFrom(const RunReads& reads) {
    return mervane::differencesFrom(now(), reads);
}

void StoreWorkbench::interrupt() noexcept {
    interruptCalls();
}

bool StoreWorkbench::interrupted() noexcept {
    return callsAreInterrupted();
}

std::vector<RunHead> StoreWorkbench::runs(const RunQuery& query) {
    std::vector<RunHead> heads;
    for (const std::int64_t number : now().store().runs(false)->find(query))
        heads.push_back(run(number));
    return heads;
}

RunHead StoreWorkbench::run(std::int64_t number) {
    RunHead head;
    if (!readHead(now(), number, head))
        throw Failure(kBadValue, "there is no run " + std::to_string(number));
    return head;
}

void StoreWorkbench::readRun(std::int64_t number,
                             const std::function<void(const RunEntry&)>& each) {
    (void)run(number);
    now().store().runs(false)->entries(
        number, [&](StoredEntry&& entry) { each(shownEntry(now().model(), std::move(entry))); });
}

UndoReport StoreWorkbench::undoRun(std::int64_t number, const std::string& version) {
    return mervane::undoRun(now(), number, version);
}

int StoreWorkbench::pruneRuns(const std::string& before) {
    now().needAdministrator("drop the records of runs");
    // Records may come back with a run, the files that they kept may not.
    if (now().recorder())
        throw Failure(kBadValue, "records of runs can't be dropped in a run");
    Store& store = now().store();
    const auto tables = store.runs(false);
    // Once the records are gone, nobody knows which files they kept.
    const std::vector<tag_t> kept = tables->removedFiles();
    int pruned = 0;
    {
        StoreTransaction transaction(store, StoreTransaction::Others::Alone);
        for (const std::int64_t number : tables->before(before)) {
            RunHead head;
            // A run that goes on adds entries under its head.
            if (!readHead(now(), number, head) || head.running)
                continue;
            tables->remove(number);
            ++pruned;
        }
        transaction.commit();
    }
    const std::vector<tag_t> still = tables->removedFiles();
    // After the commit: a kill in between leaves files that no object owns, never a record without
    // its files. An undo may have brought an object back, which then owns its file.
    for (const tag_t file : kept)
        if (!std::binary_search(still.begin(), still.end(), file) && !store.exists(file))
            store.volume().remove(file);
    return pruned;
}

bool StoreWorkbench::recordsRuns() {
    return now().store().recordsRuns();
}

void StoreWorkbench::recordRuns(bool on) {
    now().needAdministrator("switch the recording of runs");
    now().store().recordRuns(on);
}

}  // namespace mervane
