#pragma once

// The admin interface of the workbench: what a host (the command line, a test, a benchmark) needs
// beyond the platform's own functions. A process has one workbench; it can have several stores open
// and several sessions on each, of which one is the current one: the platform's functions work on
// that session.
//
// Failures are thrown as mervane::Failure, never returned. Nothing here is called by the libraries
// that ship to a server.

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/api.h"
#include "platform/types.h"
#include "workbench/journal.h"
#include "workbench/run.h"
#include "workbench/values.h"

namespace mervane {

// A failure of an admin operation or, inside the workbench, of an interface function: the status
// that the function returns and a text that names the object, the operation and the reason.
class KELD_THROWN Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const noexcept { return status_; }

private:
    int status_;
};

struct AttributeSpec {
    std::string name;
    Kind kind = Kind::String;
    bool array = false;
    int max_length = 0;  // of a string in bytes; 0: no limit
};

struct SessionOptions {
    std::string user;   // empty: the store's first user, "infodba"
    std::string group;  // empty: the user's default group
};

// A service argument, as a client would send it.
using Argument = std::variant<int, std::string, tag_t, std::vector<tag_t>>;

struct StackEntry {
    int severity = 0;
    int status = 0;
    std::string text;  // with its parameter filled in
};

// A planned failure: the n-th call (from 1) of the operation, or of all if it is empty, returns the
// status and does nothing. `n` 0: every call of the operation. `onwards`: the later ones too.
struct Fault {
    std::string operation;
    int n = 1;
    int status = 1;
    bool onwards = false;
};

struct Found {
    tag_t tag = NULLTAG;
    std::string cls, type, id, name;  // id: "000123/A:drawing" as it stands, or "#12"
    std::string typed;                // the same as people type it: parts quoted where they must be
};

// A structure below a revision, counted without walking each path.
struct StructureSize {
    std::size_t revisions = 0;  // different ones, the top included
    std::uint64_t lines = 0;    // below the top, each path counted; the largest number: or more
    std::size_t levels = 0;     // of lines below the top
    bool whole = true;          // false: there are more revisions than were to be looked at
};

inline constexpr char kNoStatus[] = "none";  // asks for objects without a release status

struct FindQuery {
    std::string text;   // id or name; * and ? are wildcards; compared with case
    std::string type;   // type or class name, subtypes included; empty: any workspace object
    std::string owner;  // user id; empty: any
    int limit = 0;      // 0: no limit
    // Name of the latest release status, "none" for those without one; empty: any.
    std::string status = {};
    bool checked_out = false;         // only what somebody has checked out
    std::string checked_out_by = {};  // user id; empty: anybody
};

struct CheckFinding {
    bool error = false;  // false: worth knowing, nothing is lost
    std::string text;
};

// The index of texts, by which a search finds a text within ids and names.
struct TextIndexState {
    std::int64_t texts = 0;    // ids and names
    std::int64_t waiting = 0;  // of what changed, not taken up yet; a search compares each of them
    std::int64_t bytes = 0;    // of the index alone
};

struct Right {
    std::string subject_kind;  // "user", "group", "all"
    std::string subject;       // name; empty for all
    std::string scope_kind;    // "object", "type", "class", "status" (latest release status), "all"
    std::string scope;         // object: its tag as text; else a name
    std::string privilege;     // one of the known privileges
    bool allowed = false;
};

// Whether somebody holds a privilege on an object, and the right that says so.
struct RightDecision {
    bool allowed = false;
    std::optional<Right> rule;  // nothing: no right fits, and the privilege's own rule holds
};

struct CheckOutInfo {
    std::string user;   // user id
    std::string since;  // "2001-02-03 04:05:06"
    std::string comment;
};

struct LockInfo {
    std::string user;  // user id
    int process = 0;
    bool own = false;  // of the current session
};

struct ImportReport {
    int items = 0, revisions = 0, occurrences = 0, objects = 0;
    int renamed_ids = 0;  // ids that were taken and got a suffix
    tag_t top = NULLTAG;  // the top revision, if there is exactly one
    std::vector<std::string> notes;
};

class Workbench {
public:
    using StoreId = int;
    using SessionId = int;

    // ---- stores ----
    // Make a new store at a path that doesn't exist yet, with its volume directory beside it.
    virtual void createStore(const std::string& path) = 0;
    // Open a store; ":memory:" makes a fresh one that lives until it is closed. An older schema is
    // upgraded, a newer one refused.
    virtual StoreId openStore(const std::string& path) = 0;
    // A text that this store and its copies have and no other store has.
    virtual std::string storeIdentity(StoreId store) = 0;
    // Close the store and its sessions.
    virtual void closeStore(StoreId store) = 0;
    // Integrity of store and volume. With repair, files that no object owns are removed, and an
    // index of texts that isn't what the texts are is made anew.
    virtual std::vector<CheckFinding> check(StoreId store, bool repair) = 0;
    // A consistent copy at a path that doesn't exist yet, while others write. Stored files that are
    // damaged are left out of it; gives them.
    virtual std::vector<CheckFinding> backup(StoreId store, const std::string& path) = 0;

    // ---- sessions ----
    // Open a session; it becomes the current one. Failure kNotAllowed for a group of which the user
    // is no member.
    virtual SessionId openSession(StoreId store, const SessionOptions& options) = 0;
    virtual void selectSession(SessionId session) = 0;
    virtual SessionId currentSession() const = 0;
    // Give up the session's locks and its unsaved values.
    virtual void closeSession(SessionId session) = 0;

    // ---- the rest works on the current session ----
    // Model: more classes, types and relation types; stored at once, known to every session.
    virtual tag_t defineClass(const std::string& name, const std::string& parent,
                              const std::vector<AttributeSpec>& attributes) = 0;
    virtual tag_t defineType(const std::string& name, const std::string& parent_type,
                             const std::vector<AttributeSpec>& attributes) = 0;
    virtual tag_t defineRelationType(const std::string& name) = 0;
    // Dataset type with its default tool, the tool's output formats and the reference names.
    virtual tag_t defineDatasetType(const std::string& name, const std::string& tool,
                                    const std::vector<std::string>& formats,
                                    const std::vector<std::string>& reference_names) = 0;

    // Users, groups, preferences, rights and the registry are changed by members of the group
    // "dba", who work in it: Failure kNotAllowed for others, also of an import that has any of
    // these.
    virtual void needAdministrator(const std::string& what) = 0;
    // Organisation. A user gets a person; the group must exist.
    virtual tag_t createGroup(const std::string& name, const std::string& parent) = 0;
    virtual tag_t createUser(const std::string& id, const std::string& name,
                             const std::string& group) = 0;
    virtual void addToGroup(const std::string& user, const std::string& group) = 0;
    virtual void setPreference(const std::string& name, const std::vector<std::string>& values) = 0;
    virtual void removePreference(const std::string& name) = 0;
    virtual std::vector<std::pair<std::string, std::vector<std::string>>> preferences() = 0;
    // Kinds and the privilege must be known; the same right twice is one.
    virtual void addRight(const Right& right) = 0;
    virtual void removeRight(const Right& right) = 0;
    virtual std::vector<Right> rights() = 0;
    // What ACL_check_privilege would tell this user in a session in the group (empty: his default
    // one) without the bypass. Failure kUnknownObject for a user or group that isn't there,
    // kUnknownPrivilege, kNotAllowed for a group of which the user is no member.
    virtual RightDecision decide(const std::string& user, const std::string& group, tag_t object,
                                 const std::string& privilege) = 0;
    virtual tag_t createProcessTemplate(const std::string& name,
                                        const std::vector<std::string>& tasks) = 0;

    // The registry of item ids: the store's own, or a file that several stores share, which is made
    // first. Taking one moves the ids of the store's own there; an empty path takes the own one
    // again. A registry that is switched off answers 100309 to everybody who uses it.
    virtual void createRegistry(const std::string& path) = 0;
    virtual void useRegistry(const std::string& path) = 0;
    virtual std::string registryPath() = 0;  // empty: the store's own
    virtual std::vector<std::string> registeredIds() = 0;
    virtual bool registryReachable() = 0;
    virtual void setRegistryReachable(bool reachable) = 0;

    // Objects, each stored when the call returns. An empty type is the class's own, an empty id or
    // revision is chosen.
    virtual tag_t createItem(const std::string& id, const std::string& name,
                             const std::string& type, const std::string& revision,
                             tag_t* first_revision) = 0;
    virtual tag_t createRevision(tag_t item, const std::string& revision) = 0;
    virtual tag_t createForm(const std::string& type, const std::string& name) = 0;
    virtual tag_t createFolder(const std::string& name) = 0;
    virtual void addToFolder(tag_t folder, tag_t content) = 0;
    virtual tag_t createDataset(const std::string& type, const std::string& name) = 0;
    virtual tag_t createDatasetVersion(tag_t dataset) = 0;
    virtual tag_t addFile(tag_t dataset, const std::string& reference_name, const std::string& path,
                          const std::string& original_name) = 0;
    virtual void addNamedReference(tag_t dataset, const std::string& reference_name,
                                   tag_t object) = 0;
    virtual tag_t relate(tag_t primary, tag_t secondary, const std::string& relation_type) = 0;
    // Any class or type; attributes are set with set() before or after.
    virtual tag_t create(const std::string& type) = 0;
    // Set attributes of a stored object outright and store them: no lock, no rights.
    virtual void set(tag_t object, const std::string& attribute, const Values& values) = 0;
    virtual Values get(tag_t object, const std::string& attribute) = 0;
    // Whether a property of a stored object takes a displayed text. Nothing is set, no lock or
    // right is asked for. Failure as OBJ_UIF_set_value gives it for the property or the text.
    virtual void needDisplayText(tag_t object, const std::string& property,
                                 const std::string& text) = 0;
    // Failure kNotAllowed without the right to WRITE the object, kCheckedOut if another user has
    // it.
    virtual void checkOut(tag_t object, const std::string& comment) = 0;
    // That of another user needs the right END_CHECKOUT, else Failure kCheckedOut.
    virtual void checkIn(tag_t object) = 0;
    // Who has it; nothing if nobody has.
    virtual std::optional<CheckOutInfo> checkOutOf(tag_t object) = 0;
    // Failure kNotAllowed if the user may not READ the object. What shows contents to people asks;
    // the platform's functions don't.
    virtual void needRead(tag_t object) = 0;

    // Structures. The view and its revision are made with the first occurrence.
    virtual tag_t bomViewRevision(tag_t revision) = 0;
    virtual tag_t addOccurrence(tag_t parent_revision, tag_t child_revision,
                                const std::string& quantity, const std::string& sequence_no) = 0;
    // Give a revision the lines of another one, with quantities, numbers and notes; how many.
    // Failure kBadValue if it has lines already, or would use itself.
    virtual int copyStructure(tag_t from_revision, tag_t to_revision) = 0;
    virtual tag_t openBomWindow(tag_t revision) = 0;  // the top line
    virtual void saveBomWindow(tag_t line) = 0;       // any line of the window
    virtual void closeBomWindow(tag_t line) = 0;

    // Several steps as one transaction: all of them are stored, or, if one throws, none, and the
    // session forgets its unsaved values and the locks taken since. Not one inside another.
    virtual void asOne(const std::function<void()>& steps) = 0;

    // Looking around.
    virtual std::vector<Found> find(const FindQuery& query) = 0;
    // An object as people name it: "000123", "000123/A", "000123/A:drawing", "#12"; a part may
    // stand in double quotes (workbench/names.h), and then it is taken as it is.
    virtual tag_t resolve(const std::string& name) = 0;
    // Typed names that a name which nothing has may have meant, in no order, found by the index.
    virtual std::vector<std::string> similarNames(const std::string& name) = 0;
    // As it is stored. At most `most` revisions are looked at; 0: all.
    virtual StructureSize measure(tag_t revision, std::size_t most) = 0;
    virtual Found describe(tag_t object) = 0;
    // The index of texts. With it, find() looks for a text of three characters or more within ids
    // and names without comparing all of them; what it finds is the same. Every change keeps it,
    // whoever makes it. A store has none at first: nothing.
    virtual std::optional<TextIndexState> textIndex() = 0;
    // Make it, anew if it is there, or drop it; in one transaction. Other sessions use it from
    // their next search on. Failure kNotAllowed but for administrators; kStoreFailure if the SQLite
    // library has no FTS5.
    virtual void setTextIndex(bool on) = 0;
    virtual std::vector<std::string> attributeNames(tag_t object) = 0;
    virtual std::vector<std::string> privilegeNames() = 0;
    virtual std::vector<std::string> typeNames(const std::string& at_or_below) = 0;
    virtual std::vector<std::string> relationTypeNames() = 0;
    // The named references that datasets of the type may have; empty: any. Failure kUnknownType.
    virtual std::vector<std::string> referenceNames(const std::string& dataset_type) = 0;

    // Import and export; an import is all or nothing.
    virtual ImportReport importWorld(std::istream& in, const std::string& source_name) = 0;
    // Gives the stored files that are damaged, whose contents are left out, and how many objects
    // are left out since the user may not READ them; references to these lead nowhere.
    virtual std::vector<CheckFinding> exportWorld(std::ostream& out) = 0;
    virtual ImportReport importStep(std::istream& in, const std::string& source_name) = 0;

    // ---- runs ----
    // Begin a run: what the session changes from now on belongs to it. Failure kBadValue if one is
    // under way. BOM windows are the host's: what is set in their lines and not saved doesn't go
    // back with a run.
    virtual void beginRun(const RunOptions& options) = 0;
    // End it. Every entry is told first, in order, while the session still sees what the run has
    // made. A whole run stays if `keep`, else it goes back like a rehearsal: objects, files,
    // check-outs, ids in the store's own registry, preferences, rights, and the locks that it took;
    // the session's cache is dropped. The head has number 0 if no record of the run is stored: it
    // changed nothing, went back, or the store records none.
    virtual RunHead endRun(const RunOutcome& outcome, bool keep,
                           const std::function<void(const RunEntry&)>& each) = 0;
    virtual bool inRun() = 0;
    // Head of the run under way. Failure kBadValue if there is none.
    virtual RunHead runUnderWay() = 0;
    // Of the run under way, which has asked for its reads: what it has read so far. Failure
    // kBadValue if it hasn't asked, or there is none.
    virtual RunReads readsOfRun() = 0;
    // Of the run under way: its entries so far, in order.
    virtual void readRunSoFar(const std::function<void(const RunEntry&)>& each) = 0;
    // The objects that aren't what they were when this was read, and those that a search finds
    // now and didn't find then; by tag. Requires: the session has no unsaved values.
    virtual std::vector<ReadDifference> differencesFrom(const RunReads& reads) = 0;
    // The call under way is finished; every later one, and every change, fails with 710030 until
    // the run has ended. Safe in a signal handler.
    virtual void interrupt() noexcept = 0;
    virtual bool interrupted() noexcept = 0;
    // Records, newest first.
    virtual std::vector<RunHead> runs(const RunQuery& query) = 0;
    // Failure kBadValue if there is no such run.
    virtual RunHead run(std::int64_t number) = 0;
    virtual void readRun(std::int64_t number, const std::function<void(const RunEntry&)>& each) = 0;
    // Take a run back, as a run of its own; all or nothing.
    virtual UndoReport undoRun(std::int64_t number, const std::string& version) = 0;
    // Drop the records of runs that ended before the moment, "2001-02-03" or with a time, and the
    // files that they alone kept; their number. Failure kNotAllowed but for administrators.
    virtual int pruneRuns(const std::string& before) = 0;
    virtual bool recordsRuns() = 0;
    virtual void recordRuns(bool on) = 0;  // likewise

    // ---- the stream of a service call, the error stack, the heap ----
    virtual void sendArguments(std::vector<Argument> arguments) = 0;
    virtual std::vector<StackEntry> errorStack() = 0;
    virtual std::string messageText(int status) = 0;  // empty: unknown number
    virtual std::vector<int> messageNumbers() = 0;
    virtual std::size_t liveHeapBlocks() = 0;
    virtual void failHeapAfter(std::optional<std::size_t> allocations) = 0;
    virtual std::size_t heldLocks() = 0;
    virtual bool holdsLock(tag_t object) = 0;
    // Who has locked the object; nothing if nobody has.
    virtual std::optional<LockInfo> lockOf(tag_t object) = 0;

    // ---- journal and fault plan ----
    // Keep every call from now on; or tell each one when it ends and keep none: `each` asks the
    // platform for nothing and throws nothing.
    virtual void startJournal() = 0;
    virtual void startJournal(std::function<void(const JournalEntry&)> each) = 0;
    // Gives what was kept, and ends either.
    virtual std::vector<JournalEntry> stopJournal() = 0;
    virtual void setFaults(const std::vector<Fault>& faults) = 0;
    // SQL statements run since the start of the process, for measuring round trips.
    virtual std::uint64_t statementsRun() = 0;
    // Objects that searches, imports, exports and checks of this process have worked on so far, for
    // telling how far a long one is. May be asked from any thread.
    virtual std::uint64_t objectsWorkedOn() = 0;

protected:
    ~Workbench() = default;
};

}  // namespace mervane

extern "C" {
// The process's workbench; never null, not to be freed.
MV_API mervane::Workbench* mervane_workbench();
}
