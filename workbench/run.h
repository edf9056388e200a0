#pragma once

// Runs: what a host does with one service call, an import or a deletion, and the record of
// everything that it changed in the store.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/types.h"
#include "workbench/values.h"

namespace mervane {

// AsServer: each save is a transaction of its own; what is saved stays.
// Whole: one transaction; its host says at the end whether it is kept.
// Rehearsal: as Whole, and everything always goes back.
// While Whole or Rehearsal lasts, other writers of the store wait; readers don't.
enum class RunWay { AsServer, Whole, Rehearsal };

struct RunOptions {
    RunWay way = RunWay::Whole;
    std::string service;        // name of the service, or of what the host does
    std::string arguments;      // as on the wire, as text
    std::string configuration;  // path of the INI file that the run reads; empty: none
    std::string version;        // of the libraries that run
    bool reads = false;         // gather what the run reads
};

// Done: the service succeeded. DoneWithFailures: it did, but what its rules drop is on the error
// stack. Refused: it refused or failed. Interrupted: the host was told to end.
enum class RunResult { Done, DoneWithFailures, Refused, Interrupted };

struct RunOutcome {
    RunResult result = RunResult::Done;
    int status = 0;                  // returned status
    std::string slot;                // result slot as text; empty: none
    std::vector<std::string> stack;  // error stack, a line each
    std::vector<std::string> notes;  // what was changed outside the store
};

// One kind of change. The values of an object made are in `after`, of one deleted in `before`.
enum class RunChange {
    ObjectMade = 1,
    ObjectChanged,
    ObjectDeleted,
    FileStored,
    FileRemoved,
    CheckOutMade,
    CheckOutEnded,
    IdRegistered,
    IdTakenOut,
    WorkflowStarted,
    PreferenceSet,
    RightAdded,
    RightRemoved,
    ModelExtended,
};

struct RunValue {
    std::string attribute;
    Values before, after;
};

struct RunEntry {
    std::int64_t position = 0;  // ascending within the run
    RunChange change = RunChange::ObjectChanged;
    tag_t object = NULLTAG;  // NULLTAG: the change is of no object
    std::string type;        // of the object
    std::string text;        // label of a deleted object; file name, id, name of a preference...
    std::vector<RunValue> values;
};

struct RunHead {
    std::int64_t number = 0;  // 0: nothing of the run is stored
    RunWay way = RunWay::Whole;
    std::string service, arguments;
    std::string user, group, host;
    int process = 0;
    std::string began, ended;  // local time, "2001-02-03 04:05:06"; ended empty: not ended
    bool running = false;      // not ended, and the session that runs it lives
    RunOutcome outcome;        // of a run that has ended
    std::string version;       // of the libraries that ran
    std::string configuration, configuration_sha256;
    std::int64_t entries = 0;
    std::int64_t undoes = 0;  // number of the run that this one takes back; 0: none
    std::int64_t undone = 0;  // number of the latest run that took this one back; 0: none
    // Platform calls by operation, "objects loaded", "statements"; milliseconds in "ms platform",
    // "ms store", "ms rest".
    std::map<std::string, std::int64_t> counts;
};

struct RunQuery {
    tag_t object = NULLTAG;  // runs that changed it
    std::string user, service;
    std::string since;  // began at this time or later
    int limit = 0;      // newest first; 0: all
};

// What a run has looked at, for whoever wants to know later whether it would find the same.
struct RunReads {
    struct Read {
        tag_t object = NULLTAG;
        std::int64_t version = 0;  // that it had then, before a change of the run; 0: not there
    };
    // A question to the store: who refers to a target by an attribute, or who has a text there.
    // Objects that answered are among those that were read.
    struct Search {
        std::string cls, attribute;  // both empty: any reference
        tag_t target = NULLTAG;      // of a reference
        std::string text;            // else
        bool operator==(const Search&) const = default;
    };
    std::vector<Read> objects;     // by tag, each once; none that the run has made itself
    std::vector<Search> searches;  // in the order in which they were asked first
};

// An object that isn't what a run has read.
struct ReadDifference {
    tag_t object = NULLTAG;
    std::int64_t then = 0, now = 0;  // versions; 0: not there
};

// What an undo did, what speaks against it, and what it can't take back.
struct UndoReport {
    bool done = false;
    std::int64_t run = 0;                // number of the run that is the undo; 0: it isn't stored
    std::vector<std::string> conflicts;  // not empty: nothing was changed
    std::vector<std::string> not_undone;
};

}  // namespace mervane
