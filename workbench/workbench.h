#pragma once

// The admin interface of the workbench: what a host (the command line, a test, a benchmark) needs
// beyond the platform's own functions. A process has one workbench; it can have several stores open
// and several sessions on each, of which one is the current one: the platform's functions work on
// that session.
//
// The libraries that ship to a server call nothing of this.

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
// (workbench/model/status.h) and a text that names the object, the operation and the reason.
class KELD_THROWN Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const noexcept { return status_; }

private:
    int status_;
};

struct AttributeSpec {
    std::string name;  // 1 to 128 bytes
    Kind kind = Kind::String;
    bool array = false;
    int max_length = 0;  // of a string in bytes; 0: no limit
};

struct SessionOptions {
    std::string user;   // empty: the store's first user, "infodba"
    std::string group;  // empty: the user's default group
};

// A service argument, as a client sends it.
using Argument = std::variant<int, std::string, tag_t, std::vector<tag_t>>;

struct StackEntry {
    int severity = 0;
    int status = 0;
    std::string text;  // with its parameter filled in
};

// A planned failure: the n-th call (from 1) of the operation, or of all operations if it is empty,
// returns the status and does nothing. `n` 0: every call. `onwards`: the later calls too.
struct Fault {
    std::string operation;
    int n = 1;
    int status = 1;
    bool onwards = false;
};

struct Found {
    tag_t tag = NULLTAG;
    std::string cls, type, id, name;  // id: "000123/A:drawing" without quotes, or "#12"
    std::string typed;  // the id as people type it: parts in quotes where that is needed
};

// The size of a structure below a revision.
struct StructureSize {
    std::size_t revisions = 0;  // different ones, the top included
    std::uint64_t lines = 0;    // below the top, each path counted; the largest number: or more
    std::size_t levels = 0;     // of lines below the top
    bool whole = true;          // false: counting ended at the limit of revisions
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
    bool error = false;  // true: something is lost or damaged; false: worth knowing
    std::string text;
};

// The index of texts: with it a search finds a text in the middle of ids and names quickly.
struct TextIndexState {
    std::int64_t texts = 0;    // ids and names
    std::int64_t waiting = 0;  // changed and not yet indexed; a search compares each of them
    std::int64_t bytes = 0;    // of the index alone
};

// A right or a denial. Of those that fit, the most specific scope decides: object, status, type
// (the nearest first), class (likewise), all; within it the most specific subject: user, group,
// all. A denial wins over a right of the same scope and subject.
struct Right {
    std::string subject_kind;  // "user", "group", "all"
    std::string subject;       // name; empty for all
    std::string scope_kind;    // "object", "type", "class", "status" (latest release status), "all"
    std::string scope;         // object: its tag as text; else a name
    std::string privilege;     // one of privilegeNames()
    bool allowed = false;
};

// Whether somebody holds a privilege on an object, and the right that says so.
struct RightDecision {
    bool allowed = false;
    // Nothing: no right fits. Then END_CHECKOUT is for administrators, all else for everybody.
    std::optional<Right> rule;
};

struct CheckOutInfo {
    std::string user;   // user id
    std::string since;  // local time, "2001-02-03 04:05:06"
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

// What holds for every member unless it says otherwise.
// - A failure is thrown as Failure, without memory perhaps as std::bad_alloc. Nothing of the call
//   is stored then.
// - These failures aren't named again: kStoreFailure if the store can't be read or written, also
//   while another process writes for longer than the wait limit (MERVANE_WAIT_MS, 10 seconds) or
//   another session on a store in memory has a run or an import under way; kUnknownObject for an
//   object that isn't there; kTooLong for a text longer than its field; kInterrupted for a change
//   of objects or settings after interrupt().
// - A member that "locks" an object does so while it writes, unless the session has the lock:
//   Failure kNotAllowed without the right to WRITE, kCheckedOut if another user has it checked out,
//   kLockedByOther if another session has locked it.
// - A member that doesn't lock asks for no right. It too fails with kLockedByOther if it changes an
//   object that another session has locked.
// - Results are values; nothing is to be freed.
// - Calls come from one thread; interrupt(), interrupted() and objectsWorkedOn() from any.
class Workbench {
public:
    using StoreId = int;
    using SessionId = int;

    // ---- stores; Failure kStoreFailure for a number that isn't open ----
    // Make a store at a path where nothing is, with its volume directory beside it ("PATH.volume"),
    // the group "dba", its user "infodba" and a site. It gets its name when it is whole. A store on
    // a server has its files in the database or, if `volume` isn't empty, in that directory, which
    // all hosts share. Failure kStoreFailure for an empty path, for ":memory:" and if something is
    // at the path, at that of a file of the store or in the directory; kFileFailure if a file can't
    // be made; kBadValue for a store in a file with such a directory. Nothing is left then.
    virtual void createStore(const std::string& path, const std::string& volume = "") = 0;
    // Open a store, for reading alone if this process may not write it; ":memory:" makes a fresh
    // one that lives until it is closed. An older schema is upgraded. Returns: its number, above 0.
    // Failure kStoreFailure for a path without a store, for a newer schema, and for an older one
    // that can't be written; kFileFailure if the files beside it can't be made, or the directory
    // for the files of a store on a server isn't in its place.
    virtual StoreId openStore(const std::string& path) = 0;
    // A text that only this store and its copies have.
    virtual std::string storeIdentity(StoreId store) = 0;
    // What a doctor tells of a store on a server: name and value each; empty for one in a file.
    virtual std::vector<std::pair<std::string, std::string>> serverFacts(StoreId store) = 0;
    // Settings of the server that weaken what is promised, a text each.
    virtual std::vector<std::string> serverWarnings(StoreId store) = 0;
    // Close its sessions and the store.
    virtual void closeStore(StoreId store) = 0;
    // Check store and volume; damage is a finding, no failure. With `repair`, remove what sessions
    // that have ended left locked and, unless other processes have sessions, the files that no
    // object owns; and make the index of texts anew if it isn't what the texts are. Failure
    // kFileFailure if such a file can't be removed.
    virtual std::vector<CheckFinding> check(StoreId store, bool repair) = 0;
    // Copy the store and its volume as of one moment, while others write. Returns: the stored files
    // that are damaged, which the copy doesn't have. Failure kStoreFailure if something is at the
    // path or at "PATH.volume"; kFileFailure if the copy can't be written. Nothing is left then.
    virtual std::vector<CheckFinding> backup(StoreId store, const std::string& path) = 0;
    // Make a store of any kind with all that this one has, as of one moment: exports of both are
    // the same, and so are tags and records of runs. `volume` and failures as of createStore().
    // Returns: what the copy doesn't have.
    virtual std::vector<CheckFinding> copyStore(StoreId store, const std::string& to,
                                                const std::string& volume = "") = 0;

    // ---- sessions; Failure kNoSession for a number that isn't open ----
    // Open a session; it becomes the current one. Returns: its number, above 0. Failure
    // kUnknownObject for a user or group that isn't there or a user without a default group;
    // kNotAllowed for a group of which the user is no member; kFileFailure if the file by which
    // others see that it lives can't be made.
    virtual SessionId openSession(StoreId store, const SessionOptions& options) = 0;
    virtual void selectSession(SessionId session) = 0;
    // 0: none.
    virtual SessionId currentSession() const = 0;
    // Give up the session's locks and its unsaved values. A run under way goes back; of one as the
    // server, what is stored stays and the record says "not ended". If it was the current session,
    // there is none then.
    virtual void closeSession(SessionId session) = 0;

    // ---- the rest works on the current session: Failure kNoSession without one ----
    // Model: more classes, types and relation types; stored at once, known to every session.
    // A class whose parent is empty is below "Instance". Returns: the handle, the same number in
    // every store. Failure kBadValue for a name of the class, type or attribute that is taken, is
    // empty, has more than 128 bytes or the handle of another name; kUnknownClass or kUnknownType
    // for an unknown parent.
    virtual tag_t defineClass(const std::string& name, const std::string& parent,
                              const std::vector<AttributeSpec>& attributes) = 0;
    virtual tag_t defineType(const std::string& name, const std::string& parent_type,
                             const std::vector<AttributeSpec>& attributes) = 0;
    virtual tag_t defineRelationType(const std::string& name) = 0;
    // Dataset type below "Dataset", with its default tool, the tool's output formats and the
    // reference names (none: any). A tool that is there must have these formats, else Failure
    // kBadValue.
    virtual tag_t defineDatasetType(const std::string& name, const std::string& tool,
                                    const std::vector<std::string>& formats,
                                    const std::vector<std::string>& reference_names) = 0;

    // Users, groups, preferences, rights and the registry are changed by members of the group
    // "dba" in a session of that group: Failure kNotAllowed for others, also of an import that has
    // any of these. In a rehearsal everybody may set preferences and rights.
    //
    // Throw that failure unless the session is one of them; `what` completes "user u in group g may
    // not".
    virtual void needAdministrator(const std::string& what) = 0;
    // Organisation. Failure kBadValue for a group name or user id that is empty or has a character
    // which command lines read, kDuplicateId for one that is taken, kUnknownObject for a group or
    // user that isn't there. An empty parent is none.
    virtual tag_t createGroup(const std::string& name, const std::string& parent) = 0;
    // With a person of his name (empty: the id), as a member of his default group.
    virtual tag_t createUser(const std::string& id, const std::string& name,
                             const std::string& group) = 0;
    // A user who is a member already stays one.
    virtual void addToGroup(const std::string& user, const std::string& group) = 0;
    // Failure kBadValue for an empty name.
    virtual void setPreference(const std::string& name, const std::vector<std::string>& values) = 0;
    // One that isn't there is no failure.
    virtual void removePreference(const std::string& name) = 0;
    // By name.
    virtual std::vector<std::pair<std::string, std::vector<std::string>>> preferences() = 0;
    // The same right twice is one. Failure kBadValue for an unknown kind or a scope that is no tag;
    // kUnknownPrivilege; kUnknownObject, kUnknownType or kUnknownClass for what the right names.
    // Names of statuses and tags of objects aren't looked up.
    virtual void addRight(const Right& right) = 0;
    // One that isn't there is no failure.
    virtual void removeRight(const Right& right) = 0;
    // In the order in which they were given.
    virtual std::vector<Right> rights() = 0;
    // What ACL_check_privilege would tell this user in a session in the group (empty: his default
    // one) without the bypass. Failure kUnknownObject for a user or group that isn't there,
    // kUnknownPrivilege, kNotAllowed for a group of which the user is no member.
    virtual RightDecision decide(const std::string& user, const std::string& group, tag_t object,
                                 const std::string& privilege) = 0;
    // A template whose processes have these tasks, in this order. Failure kBadValue for an empty
    // name, kDuplicateId for one that is taken.
    virtual tag_t createProcessTemplate(const std::string& name,
                                        const std::vector<std::string>& tasks) = 0;

    // The registry of item ids: the store's own, or a file that several stores share. Whoever uses
    // one that can't be opened or is switched off gets Failure kRegistryDown (100309).
    //
    // Make such a file, with no ids; without a session too. Failure kStoreFailure if something is
    // at the path, kFileFailure if it can't be made.
    virtual void createRegistry(const std::string& path) = 0;
    // Use the file from now on; the ids of the store's own registry move there. An empty path is
    // the store's own one again, which gets no ids back. After a failure the file may have the ids
    // already.
    virtual void useRegistry(const std::string& path) = 0;
    virtual std::string registryPath() = 0;  // absolute; empty: the store's own
    // By id, of one that is switched off too.
    virtual std::vector<std::string> registeredIds() = 0;
    // False also if it can't be opened, or without a session.
    virtual bool registryReachable() = 0;
    virtual void setRegistryReachable(bool reachable) = 0;

    // Objects, each stored when the call returns. Returns: the tag of what was made. An empty type
    // is the class's own; a dataset's must be named. Failure kUnknownType for a type that isn't
    // there, kWrongClass for a type or an object of another class.
    //
    // An item with its first revision and the master forms of both. An empty id is a free number of
    // at least six digits, an empty revision "A", an empty name the id. `first_revision` may be
    // null. Failure kDuplicateId for an id that is taken.
    virtual tag_t createItem(const std::string& id, const std::string& name,
                             const std::string& type, const std::string& revision,
                             tag_t* first_revision) = 0;
    // An empty id is the next after the newest revision's: "B" after "A", "03" after "02". Failure
    // kDuplicateId for one that the item has.
    virtual tag_t createRevision(tag_t item, const std::string& revision) = 0;
    virtual tag_t createForm(const std::string& type, const std::string& name) = 0;
    virtual tag_t createFolder(const std::string& name) = 0;
    // Append the object to the contents.
    virtual void addToFolder(tag_t folder, tag_t content) = 0;
    // With the default tool of the type and the first of the tool's formats. Failure kUnknownType
    // for a type of another class too.
    virtual tag_t createDataset(const std::string& type, const std::string& name) = 0;
    // A new newest version of the dataset, of which any version may be given, with the named
    // references of the one before. What referred to that one, as relations and folders do, refers
    // to the new one; processes and datasets keep the old one. Locks the dataset's anchor and all
    // that is moved.
    virtual tag_t createDatasetVersion(tag_t dataset) = 0;
    // Put a copy of the file at `path` into the volume, as a named reference; an empty
    // `original_name` is the last part of the path. Locks the dataset. Returns: the file's object.
    // Failure kBadValue for a reference name that the type doesn't have; kFileFailure if the file
    // can't be read, is no regular one, or the volume can't be written.
    virtual tag_t addFile(tag_t dataset, const std::string& reference_name, const std::string& path,
                          const std::string& original_name) = 0;
    // Locks the dataset. Failure kBadValue for a reference name that the type doesn't have.
    virtual void addNamedReference(tag_t dataset, const std::string& reference_name,
                                   tag_t object) = 0;
    // Returns: the relation.
    virtual tag_t relate(tag_t primary, tag_t secondary, const std::string& relation_type) = 0;
    // An object of any type, without values but owner and dates.
    virtual tag_t create(const std::string& type) = 0;
    // Set an attribute of a stored object and store it, with the session's other unsaved values of
    // the object; no values empty it. Failure kUnknownAttribute; kWrongKind for values of another
    // kind or several for a single attribute; kBadDate, kBadValue; kUnknownObject for a reference
    // to what isn't there; kDuplicateId for an item's or revision's id that is taken;
    // kChangedMeanwhile if another session has stored the object and this one has unsaved values
    // of it; kNotAllowed for users, groups and memberships, but for administrators.
    virtual void set(tag_t object, const std::string& attribute, const Values& values) = 0;
    // The values of an attribute, of a property that is worked out, or of an attribute of a BOM
    // line, with what the session has set and not saved; empty: null. Failure kUnknownAttribute.
    virtual Values get(tag_t object, const std::string& attribute) = 0;
    // Throw the failure that OBJ_UIF_set_value would give for the property or the text:
    // kUnknownAttribute, kReadOnly, kBadValue, kBadDate, kTooLong. Nothing is set; no lock or right
    // is asked for.
    virtual void needDisplayText(tag_t object, const std::string& property,
                                 const std::string& text) = 0;
    // A check-out that this user has already keeps its comment and date. Failure kNotAllowed
    // without the right to WRITE the object, kCheckedOut if another user has it, kBadValue if it
    // was never saved.
    virtual void checkOut(tag_t object, const std::string& comment) = 0;
    // That of another user needs the right END_CHECKOUT, else Failure kCheckedOut. No check-out is
    // no failure.
    virtual void checkIn(tag_t object) = 0;
    // Who has it checked out; nothing if nobody has.
    virtual std::optional<CheckOutInfo> checkOutOf(tag_t object) = 0;
    // Failure kNotAllowed if the user may not READ the object. Hosts ask before they show contents
    // to people; the platform's functions don't.
    virtual void needRead(tag_t object) = 0;

    // Structures. Failure kWrongClass for an object that is no item revision.
    //
    // The revision's view revision, made if there is none, with the item's view.
    virtual tag_t bomViewRevision(tag_t revision) = 0;
    // A line after the others; quantity and number may be empty. Returns: the occurrence. Failure
    // kBadValue for a quantity that is no decimal number and for a child that is or uses the
    // parent. A view revision that was made stays after a failure.
    virtual tag_t addOccurrence(tag_t parent_revision, tag_t child_revision,
                                const std::string& quantity, const std::string& sequence_no) = 0;
    // Give a revision the lines of another one, with quantities, numbers and notes. Returns: how
    // many. Failure kBadValue if it has lines already, or would use itself: the lines before that
    // one stay, unless the call is a step of asOne().
    virtual int copyStructure(tag_t from_revision, tag_t to_revision) = 0;
    // Returns: the top line. Its tag and those of the lines below hold until the window is closed.
    virtual tag_t openBomWindow(tag_t revision) = 0;
    // Store what was set in the lines of this line's window, in one transaction. Locks the view
    // revisions. Failure kChangedMeanwhile if somebody else has stored an occurrence since the
    // window read it. The window keeps its values after a failure.
    virtual void saveBomWindow(tag_t line) = 0;
    // Close this line's window; what wasn't saved is lost.
    virtual void closeBomWindow(tag_t line) = 0;

    // Run the steps as one transaction. What they throw travels up; then nothing of them is stored,
    // and the session forgets its unsaved values and the locks taken since. Requires: not inside
    // another asOne().
    virtual void asOne(const std::function<void()>& steps) = 0;

    // Looking around; the right to READ isn't asked for.
    //
    // The stored objects that fit, by tag; of a dataset its newest version alone. Failure
    // kUnknownType; kUnknownObject for an unknown user.
    virtual std::vector<Found> find(const FindQuery& query) = 0;
    // An object as people name it: "000123", "000123/A", "000123/A:drawing", "#12". A part may be
    // in double quotes (workbench/names.h); separators in it are its own. Failure kUnknownObject if
    // nothing is called so, kBadValue if several datasets are.
    virtual tag_t resolve(const std::string& name) = 0;
    // What a name that nothing has may have meant, as people type it; in no order, perhaps twice.
    virtual std::vector<std::string> similarNames(const std::string& name) = 0;
    // Count the stored structure below an item revision, looking at each revision once. At most
    // `most` revisions are looked at; 0: all.
    virtual StructureSize measure(tag_t revision, std::size_t most) = 0;
    // Of a BOM line too.
    virtual Found describe(tag_t object) = 0;
    // The index of texts; nothing: the store has none, as at first. With it, find() looks for a
    // text of three characters or more in the middle of ids and names without comparing all of
    // them; it finds the same. Every change keeps it, whoever makes it.
    virtual std::optional<TextIndexState> textIndex() = 0;
    // Make it, anew if it is there, or drop it; in one transaction. Other sessions use it from
    // their next search on. Failure kNotAllowed but for administrators; kStoreFailure if the SQLite
    // library has no FTS5.
    virtual void setTextIndex(bool on) = 0;
    // Base classes first.
    virtual std::vector<std::string> attributeNames(tag_t object) = 0;
    virtual std::vector<std::string> privilegeNames() = 0;
    // The type (empty: "Instance"), then all below it. Failure kUnknownType.
    virtual std::vector<std::string> typeNames(const std::string& at_or_below) = 0;
    virtual std::vector<std::string> relationTypeNames() = 0;
    // The named references that datasets of the type may have; empty: any. Failure kUnknownType.
    virtual std::vector<std::string> referenceNames(const std::string& dataset_type) = 0;

    // Import and export; messages call the source `source_name`. An import is one transaction:
    // Failure kBadImport, with the place in the source and what was expected there.
    //
    // A world, as docs/json-world.md describes it. Failure kNotAllowed for check-outs without the
    // right to WRITE; kFileFailure if a document of more than 1 MiB can't be kept in the temporary
    // directory. Ids for a shared registry are registered after the transaction; a failure of that
    // is a note.
    virtual ImportReport importWorld(std::istream& in, const std::string& source_name) = 0;
    // Write the store as of one moment. Returns: the stored files that are damaged, whose contents
    // are left out, and how many objects are left out since the user may not READ them; references
    // to these lead nowhere. Failure kFileFailure if `out` fails.
    virtual std::vector<CheckFinding> exportWorld(std::ostream& out) = 0;
    // The product structure of a STEP file (docs/step-import.md), with the file as a dataset.
    // Failure kFileFailure if the file's copy can't be written.
    virtual ImportReport importStep(std::istream& in, const std::string& source_name) = 0;

    // ---- runs ----
    // Begin a run: what the session changes from now on belongs to it. Failure kBadValue if one is
    // under way. What is set in lines of BOM windows and not saved doesn't go back with a run.
    virtual void beginRun(const RunOptions& options) = 0;
    // End it. First `each`, if it isn't null, gets every entry in order, while the session still
    // sees what the run has made. A whole run stays if `keep`, else it goes back like a rehearsal:
    // objects, files, check-outs, ids in the store's own registry, preferences, rights, and the
    // locks that it took; the session's cache is dropped. `keep` counts for a whole run alone.
    // Returns: the head, with number 0 if no record of the run is stored: it changed nothing, went
    // back, or the store records none.
    // Failure kBadValue without a run; kLockedByOther or kChangedMeanwhile for a whole run to keep
    // that another session's run has come in the way of. After any failure but kBadValue the run
    // has ended, and a whole run has gone back.
    virtual RunHead endRun(const RunOutcome& outcome, bool keep,
                           const std::function<void(const RunEntry&)>& each) = 0;
    virtual bool inRun() = 0;
    // The run under way: its head, what it has read and its entries so far. Failure kBadValue if
    // there is none, for readsOfRun() also if it doesn't gather its reads.
    virtual RunHead runUnderWay() = 0;
    virtual RunReads readsOfRun() = 0;
    virtual void readRunSoFar(const std::function<void(const RunEntry&)>& each) = 0;
    // The objects that aren't what they were when this was read, and those that a search finds
    // now and didn't find then; by tag. Requires: the session has no unsaved values.
    virtual std::vector<ReadDifference> differencesFrom(const RunReads& reads) = 0;
    // Let the call under way finish; every later one, and every change, fails with kInterrupted
    // (710030) until a run ends. Safe in a signal handler.
    virtual void interrupt() noexcept = 0;
    virtual bool interrupted() noexcept = 0;
    // Records, newest first.
    virtual std::vector<RunHead> runs(const RunQuery& query) = 0;
    // The head of a record, or its entries in order. Failure kBadValue if there is no such run.
    virtual RunHead run(std::int64_t number) = 0;
    virtual void readRun(std::int64_t number, const std::function<void(const RunEntry&)>& each) = 0;
    // Take a run back, as a run of its own; all or nothing. What is in the way is a conflict of the
    // report, no failure. The session's cache is dropped. Failure kBadValue if there is no such
    // run, it still runs, or the session has a run under way.
    virtual UndoReport undoRun(std::int64_t number, const std::string& version) = 0;
    // Drop the records of runs that ended before the moment, "2001-02-03" or with a time, and the
    // files that they alone kept; for administrators, as recordRuns(): else Failure kNotAllowed.
    // Failure kBadValue if the session has a run under way. Returns: how many records.
    virtual int pruneRuns(const std::string& before) = 0;
    // Whether the store keeps records of runs.
    virtual bool recordsRuns() = 0;
    virtual void recordRuns(bool on) = 0;

    // ---- arguments of a service call, error stack and heap of the process; no session ----
    // What the service called next reads, in this order; what is left of earlier ones goes.
    virtual void sendArguments(std::vector<Argument> arguments) = 0;
    // Oldest first; the last 1,000 are kept.
    virtual std::vector<StackEntry> errorStack() = 0;
    virtual std::string messageText(int status) = 0;  // empty: unknown number
    virtual std::vector<int> messageNumbers() = 0;
    // Blocks of the platform's heap that nobody has freed yet.
    virtual std::size_t liveHeapBlocks() = 0;
    // Let this many allocations of it succeed and every later one fail; nothing: no limit.
    virtual void failHeapAfter(std::optional<std::size_t> allocations) = 0;
    // ---- locks of the current session ----
    virtual std::size_t heldLocks() = 0;
    virtual bool holdsLock(tag_t object) = 0;
    // Who has locked the object, in whichever session; nothing if nobody has.
    virtual std::optional<LockInfo> lockOf(tag_t object) = 0;

    // ---- journal, fault plan and counters of the process; no session ----
    // Keep every call of the platform's interface from now on, in place of what was kept; or tell
    // `each` when a call ends and keep none. `each` calls nothing of the platform and throws
    // nothing.
    virtual void startJournal() = 0;
    virtual void startJournal(std::function<void(const JournalEntry&)> each) = 0;
    // End either. Returns: what was kept.
    virtual std::vector<JournalEntry> stopJournal() = 0;
    // Take this plan in place of the earlier one (empty: none) and count calls from 1 again.
    virtual void setFaults(const std::vector<Fault>& faults) = 0;
    // SQL statements run since the start of the process.
    virtual std::uint64_t statementsRun() = 0;
    // How often stores on a server have waited for an answer since then.
    virtual std::uint64_t roundTrips() = 0;
    // Objects that searches, imports, exports and checks of this process have worked on so far: a
    // measure of how far a long one is.
    virtual std::uint64_t objectsWorkedOn() = 0;

protected:
    ~Workbench() = default;
};

}  // namespace mervane

extern "C" {
// The process's workbench; never null, not to be freed.
MV_API mervane::Workbench* mervane_workbench();
}
