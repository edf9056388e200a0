#include "workbench/run/run.h"

#include <cstdio>
#include <ctime>
#include <fstream>

#include "workbench/run/recorder.h"
#include "workbench/session/journal.h"
#include "workbench/store/sha256.h"
#include "workbench/store/store.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

std::string momentNow() {
    const std::tm local = system::localTime(std::time(nullptr));
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

// Empty if the file can't be read.
std::string sumOf(const std::string& path) {
    std::ifstream in(system::pathOf(path), std::ios::binary);
    if (!in)
        return "";
    Sha256 sum;
    char block[4096];
    while (in.read(block, sizeof block) || in.gcount() > 0)
        sum.add(block, static_cast<std::size_t>(in.gcount()));
    return in.bad() ? "" : sum.hex();
}

RunHead headOf(Session& session, const RunOptions& options, std::int64_t undoes) {
    RunHead head;
    head.way = options.way;
    head.service = options.service;
    head.arguments = options.arguments;
    head.user = session.userId();
    head.group = session.groupName();
    head.host = system::hostName();
    head.process = system::processNumber();
    head.began = momentNow();
    head.version = options.version;
    head.configuration = options.configuration;
    if (!options.configuration.empty())
        head.configuration_sha256 = sumOf(options.configuration);
    head.undoes = undoes;
    return head;
}

}  // namespace

Run::Run(Session& session, const RunOptions& options, std::int64_t undoes)
    : session_(session), way_(options.way), locks_(session.locksHeld()) {
    if (session.recorder())
        throw Failure(kBadValue,
                      "the session has a run already: " + session.recorder()->head().service);
    RunHead head = headOf(session, options, undoes);
    Store& store = session.store();
    // The transaction first: while this run still waits for it, it holds up nobody.
    if (way_ != RunWay::AsServer) {
        session.beginBatch();
        try {
            store.locks().setActivity(session.lockSession(), head.service + " of user " +
                                                                 head.user + " (process " +
                                                                 std::to_string(head.process) +
                                                                 ", since " + head.began + ")");
        } catch (...) {
            session.rollbackBatch();
            throw;
        }
    }
    try {
        session.record(std::make_unique<Recorder>(store, store.recordsRuns(), std::move(head),
                                                  session.lockSession()));
        if (options.reads)
            session.recorder()->gatherReads();
    } catch (...) {
        giveUp();
        throw;
    }
}

Run::~Run() {
    if (open_)
        giveUp();
}

// A whole run goes back; as the server, what is stored stays.
void Run::giveUp() {
    open_ = false;
    // An interruption lasts until its run has ended.
    letCallsGoOn();
    try {
        if (way_ != RunWay::AsServer) {
            session_.rollbackBatch();
            session_.record(nullptr);
            // The rollback has dropped the cache, so locks that were taken since can go.
            session_.keepLocks(locks_);
            session_.store().locks().setActivity(session_.lockSession(), "");
        } else {
            session_.record(nullptr);
        }
    } catch (...) {
        // The locks go with the session, at the latest.
    }
}

RunHead Run::end(const RunOutcome& outcome, bool keep,
                 const std::function<void(const RunEntry&)>& each) {
    // The run has ended for its host: `each` may call the platform to look at what was made.
    letCallsGoOn();
    // A host may want to show a rehearsal, too, so what it has asked for counts here.
    const bool goes_back = !keep;
    if (way_ == RunWay::Rehearsal)
        keep = false;
    Recorder& recorder = *session_.recorder();
    RunHead& head = recorder.head();
    const std::vector<std::string> outside = head.outcome.notes;
    head.outcome = outcome;
    head.outcome.notes.insert(head.outcome.notes.end(), outside.begin(), outside.end());
    head.ended = momentNow();
    head.counts = counts_.soFar();
    if (goes_back && session_.store().isBatchLost()) {
        // SQLite has rolled it back, the record too, so there are no entries to tell. If the host
        // wants to keep or show the run, the first statement below fails and says so.
        RunHead ended = head;
        giveUp();
        return ended;
    }
    try {
        head.number = recorder.number();
        if (head.number != 0) {
            RunTables& tables = recorder.tables();
            // Before anything goes back: the host may look at what the run has made.
            if (each)
                tables.entries(head.number, [&](StoredEntry&& entry) {
                    ++head.entries;
                    each(shownEntry(session_.model(), std::move(entry)));
                });
            if (recorder.isStored())
                tables.end(head);
            else
                // Temporary tables live as long as the connection, so each run drops its entries.
                tables.remove(head.number);
        }
        if (way_ != RunWay::AsServer && keep)
            session_.commitBatch();
    } catch (...) {
        giveUp();
        throw;
    }
    RunHead ended = head;
    // The number was given in the transaction that goes back, or in a temporary table.
    if (!recorder.isStored() || (way_ != RunWay::AsServer && !keep))
        ended.number = 0;
    if (way_ != RunWay::AsServer && !keep) {
        giveUp();
        return ended;
    }
    open_ = false;
    session_.record(nullptr);
    try {
        if (way_ != RunWay::AsServer)
            session_.store().locks().setActivity(session_.lockSession(), "");
    } catch (const Failure&) {
        // The run is stored and can't fail any more. Nobody waits for it, so nobody is told the
        // text that is left.
    }
    return ended;
}

RunEntry shownEntry(const Model& model, StoredEntry&& entry) {
    RunEntry shown;
    shown.position = entry.position;
    shown.change = entry.change;
    shown.object = entry.object;
    if (entry.type != NULLTAG) {
        const Type* type = model.typeOf(entry.type);
        shown.type = type ? type->name : "?";
    }
    shown.text = std::move(entry.text);
    for (StoredValue& value : entry.values) {
        const Attribute* attribute = model.attributeOf(value.attribute);
        shown.values.push_back({attribute                    ? attribute->name
                                : value.attribute == NULLTAG ? ""
                                                             : std::to_string(value.attribute),
                                std::move(value.before), std::move(value.after)});
    }
    return shown;
}

bool readHead(Session& session, std::int64_t number, RunHead& head) {
    std::int64_t runner = 0;
    if (!session.store().runs(false)->head(number, head, &runner))
        return false;
    // A run without an end is running or was killed: ask whether its session lives.
    if (head.ended.empty())
        for (const LockOwner& owner : session.store().locks().sessions())
            head.running = head.running || (owner.session == runner && owner.alive &&
                                            owner.process == head.process);
    return true;
}

}  // namespace mervane
