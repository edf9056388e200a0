#pragma once

// A session: one user's view of one store. Objects are cached here; locks, rights, the error stack
// and the stream of service arguments belong to it.

#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "workbench/model/model.h"
#include "workbench/model/status.h"
#include "workbench/session/fields.h"
#include "workbench/store/object_data.h"
#include "workbench/workbench.h"

namespace mervane {

class Store;
struct StoredReferrer;
class BomWindows;
class Reads;
class Recorder;

struct Object {
    tag_t tag = NULLTAG;
    const Type* type = nullptr;
    std::int64_t version = 0;  // counts saves; 0: never saved
    bool locked = false;       // this session holds the modify lock
    bool saving = false;       // the save that runs stores it
    Fields fields;
    // Parts that are stored with the first save of this object (revision and forms of a new item).
    std::vector<tag_t> saved_along;

    const Class& cls() const { return *type->cls; }
    bool isNew() const { return version == 0; }
    bool isDirty() const { return fields.anyDirty(); }
    bool isA(const Class& c) const { return type->cls->isA(c); }
};

// What holds for every member unless it says otherwise.
// - Failure kStoreFailure if the store can't be read or written; for a change also kStoreFailure
//   while another session on the same connection has a batch, and kInterrupted after interrupt().
// - A reference to an object holds until the object leaves the cache: by unload(), remove(),
//   erase(), unloadBeyond(), forgetAll(), a rollback, or a failure that says so. Interface
//   functions hold none from one call to the next: unloadMuch() runs between calls. References to
//   fields and values hold until the object is read anew or leaves the cache; those to attributes
//   as long as the model.
// - The failures of a lock: kNotAllowed without the right to WRITE, kCheckedOut if another
//   user has the object checked out, kLockedByOther if another session has locked it.
class Session {
public:
    // Open a session of the user in the group. Failure kUnknownObject for a user or group that the
    // store doesn't have, or a user without a default group; kNotAllowed for a group of which the
    // user is no member; kFileFailure if the locks can't take a session.
    Session(std::shared_ptr<Store> store, const SessionOptions& options);
    // Give a store that has no user its first one, "infodba" of group "dba", and a site.
    static void ensureOrganisation(const std::shared_ptr<Store>& store);
    // Open batches go back, unsaved values are lost, locks are given up.
    ~Session();
    Session(const Session&) = delete;

    Store& store() { return *store_; }
    Model& model();

    // ---- objects ----
    // The object, loaded if need be. Failure kUnknownObject if it doesn't exist, kUnknownType if
    // its type isn't defined.
    Object& object(tag_t tag);
    // The same; Failure kWrongClass if it isn't of this class or below.
    Object& object(tag_t tag, const Class& cls);
    // Null in place of these two failures.
    Object* tryObject(tag_t tag);
    // As object() and tryObject(), but what another session has deleted counts as not there; those
    // may give it from the cache.
    Object& living(tag_t tag);
    Object* tryLiving(tag_t tag);
    // A new, unsaved object of a type, with owner and dates set if it is a workspace object. It
    // needs no lock until it is saved. Failure kWrongClass for the type of BOM lines.
    Object& create(const Type& type);
    // Drop it from the cache: unsaved values and the lock go, and with a new object its file and
    // the new objects that would be stored along with it. One that isn't cached is no failure.
    void unload(tag_t tag);
    // If more objects are cached: forget those that aren't locked and have no unsaved values.
    // Requires: nobody holds a reference to one.
    void unloadBeyond(std::size_t most);
    // The limit for unloadMuch(), so that a long run takes no more memory than this many objects
    // do, some 260 bytes each. Locked and unsaved ones come on top.
    static constexpr std::size_t kMostCached = 10000;
    bool cachesMuch() const { return cache_.size() > much_; }
    void unloadMuch();
    // Read the stored values anew; unsaved ones are lost. With `lock` take the lock first, without
    // give it up. New objects keep their values. The failures of a lock leave the object as it was.
    // When reading fails (kUnknownObject: it was deleted), the object leaves the cache; a lock from
    // before then stays, unless `lock` is false or the object is gone.
    // Leaves locked: the object, on success with `lock`.
    void refresh(Object& object, bool lock);
    // Keep a number for the ids that this session chooses, until it ends. Returns: false if another
    // living session has it.
    bool keepNumber(std::uint32_t number);
    // Take the modify lock without reading; one that the session has is no failure. The failures of
    // a lock, and kChangedMeanwhile if another session has stored the object since it was read,
    // kUnknownObject if one has deleted it: it leaves the cache then.
    // Leaves locked: the object, on success.
    void lock(Object& object);
    // Store the unsaved values of all in one transaction, new objects with those in their
    // `saved_along`; locks stay. Failure kLockedByOther for an object that another session has
    // locked; kChangedMeanwhile if another session has stored or deleted one since it was read;
    // kUnknownObject for a new reference to what is neither stored nor among them; kDuplicateId for
    // an item's or revision's id that is taken; kBadValue for a revision whose id was taken away;
    // kNotAllowed for users, groups and memberships, but for administrators. Nothing is stored
    // then and the values stay unsaved.
    void save(std::span<Object* const> objects);
    void save(Object& object);
    // Delete the object with its parts and the relations in which it is primary; it needs no lock
    // and leaves the cache. Failure kStillReferenced while anything else refers to it or a part
    // (but by process_stage_list, which loses the entries); kNotAllowed without the right to DELETE
    // it, or as save(); kCheckedOut for it or a part; kLockedByOther for these or an object that
    // loses entries, kChangedMeanwhile for such an object; kUnknownObject if it was deleted: it
    // leaves the cache. Nothing is deleted then.
    void remove(Object& object);
    // Delete these alone, without asking who refers or for the right to DELETE; they leave the
    // cache. Failure kUnknownObject, kLockedByOther, and kNotAllowed as save(): nothing is deleted.
    void erase(std::span<const tag_t> tags);

    // ---- values, with what is set and not saved ----
    // Failure kUnknownAttribute for one that the object doesn't have.
    const Attribute& attribute(const Object& object, std::string_view name) const;
    const Attribute& attribute(const Object& object, tag_t handle) const;
    Values values(const Object& object, std::string_view name) const;  // empty: null
    Values values(const Object& object, const Attribute& attribute) const;
    // Those of an array, without a copy; good until a field of the object changes.
    const Values& list(const Object& object, std::string_view name) const;
    const Values& list(const Object& object, const Attribute& attribute) const;
    // To be changed without the checks of set().
    Field& field(Object& object, const Attribute& attribute);
    // The value of a single text or reference, or of an array of references; Failure kWrongKind for
    // another attribute.
    std::string text(Object& object, std::string_view name);  // empty if null
    tag_t reference(Object& object, std::string_view name);   // NULLTAG if null
    std::vector<tag_t> references(Object& object, std::string_view name);
    // Set the values; save() stores them. None, and in a single attribute NULLTAG or the null date,
    // is null. Failure kNotLocked for an object that is neither locked nor new; kWrongKind for
    // values of another kind or several for a single attribute; kTooLong, in bytes; kBadValue for a
    // NaN; kBadDate; kUnknownObject for a new target that isn't there. Nothing is set then.
    void set(Object& object, const Attribute& attribute, Values values);
    void set(Object& object, std::string_view name, Values values);
    // The same for the workbench's own bookkeeping: lock and targets aren't tested.
    void put(Object& object, std::string_view name, Values values);

    // ---- who refers; stored references and this session's unsaved ones, by tag ----
    // Failure kUnknownClass or kUnknownAttribute for a name that isn't there.
    struct Referrer {
        tag_t tag = NULLTAG, attribute = NULLTAG, type = NULLTAG;
        bool is_new = false;  // never saved
    };
    // Each object and attribute once.
    std::vector<Referrer> referrers(tag_t target);
    // The same without a copy while nothing unsaved counts: those that are stored; those without a
    // type don't count. Null: ask referrers(). Good until the next question or change.
    const std::vector<StoredReferrer>* plainReferrers(tag_t target);
    // Objects of the class or below whose attribute holds the target. Failure kWrongKind for an
    // attribute that is no reference.
    std::vector<tag_t> referrersBy(std::string_view class_name, std::string_view attribute,
                                   tag_t target);
    // The one of them with the highest tag; NULLTAG: there is none. Quick also if there are many.
    tag_t lastReferrerBy(std::string_view class_name, std::string_view attribute, tag_t target);
    // Objects of the class or below whose attribute has this text. Failure kWrongKind for an
    // attribute that is no string.
    std::vector<tag_t> findByText(std::string_view class_name, std::string_view attribute,
                                  const std::string& text);
    // Those of them that refer to the target by `reference`.
    std::vector<tag_t> findByTextOf(std::string_view class_name, std::string_view reference,
                                    tag_t target, std::string_view attribute,
                                    const std::string& text);

    // ---- properties: attributes and what is worked out from them; Failure kUnknownAttribute ----
    struct Property {
        Kind kind = Kind::String;
        bool array = false;
        bool writable = true;  // false: worked out
        Values values;
    };
    bool hasProperty(Object& object, std::string_view name);
    Property property(Object& object, std::string_view name);
    // As set(); Failure kReadOnly for a property that is worked out.
    void setProperty(Object& object, std::string_view name, Values values);
    // Values of an array with ", " between them; references to what is gone are left out.
    std::string displayText(Object& object, std::string_view name);
    // Set what the text displays; an empty text is null. As setProperty(), and Failure kBadValue or
    // kBadDate for a text that displays no value of the kind. For a reference it is the display id
    // of an object; of several the one with the lowest tag, unless the text is displayed now.
    void setDisplayText(Object& object, std::string_view name, const std::string& text);
    // Throw the failure that setDisplayText() would have for the property or the text.
    void needDisplayText(Object& object, std::string_view name, const std::string& text);
    // What ENT_ask_id_string gives.
    std::string displayId(tag_t tag);
    static std::string displayText(Session& session, const Value& value);

    // ---- user, rights, check-out ----
    tag_t user() const { return user_; }
    tag_t group() const { return group_; }
    std::string userId();
    std::string userName();
    std::string groupName();
    void setBypass(bool on) { bypass_ = on; }
    bool bypass() const { return bypass_; }
    // Whether the session's user holds the privilege; with the bypass always. Failure
    // kUnknownPrivilege.
    bool allowed(Object& object, const std::string& privilege);
    // The same of anybody, with the right that decides, and without the bypass.
    struct Asker {
        std::string user, group;
        bool administrator = false;  // asks as a member of the group "dba"
    };
    RightDecision decide(Object& object, const std::string& privilege, const Asker& asker);
    // Whether the session works in the administrators' group.
    bool administrator();
    // Failure kNotAllowed if it doesn't: "user u may not WHAT".
    void needAdministrator(const char* what);
    // Whether the user may WRITE it and nobody else has it locked or checked out; false for a
    // replica, which another site owns.
    bool modifiable(Object& object);
    // Called where a caller learns that it may change the object, which it will presumably do:
    // another process's run that has it locked is met here (Store::lockFirst).
    void willChange(Object& object);
    struct CheckOut {
        tag_t object = NULLTAG, user = NULLTAG;
        std::string date, comment;  // date: local time, "2001-02-03 04:05:06"
    };
    // Whether it is checked out, and by whom, unless `by` is null.
    bool checkedOut(tag_t object, CheckOut* by);
    // A check-out that the user has already stays as it is. Failure kNotAllowed without the right
    // to WRITE the object, kCheckedOut if another user has it, kBadValue if it was never saved,
    // kUnknownObject if it was deleted: it leaves the cache.
    void checkOut(Object& object, const std::string& comment);
    // End the check-out, if there is one; that of another user needs the right END_CHECKOUT, else
    // Failure kCheckedOut.
    void checkIn(Object& object);

    // ---- locks ----
    std::size_t heldLocks() const { return locks_held_.size(); }
    bool holdsLock(tag_t object) const { return locks_held_.count(object) != 0; }
    const std::unordered_set<tag_t>& locksHeld() const { return locks_held_; }
    // Give up all others. Requires: their objects aren't cached.
    void keepLocks(const std::unordered_set<tag_t>& kept) noexcept;

    // ---- batches: several saves as one transaction; all or nothing ----
    // An inner batch is a part of the outer one; its rollback undoes what it did alone. Files of
    // deleted objects leave the volume when the outer batch is committed.
    void beginBatch();
    // After a failure the batch has gone back, as rollbackBatch() does it. Failure kStoreFailure
    // also without a batch.
    void commitBatch();
    // Undo the batch, with the files placed in it, and drop the cache; locks stay. Nothing without
    // a batch.
    void rollbackBatch();
    // A file that was placed in the volume in this batch goes with it. Requires: a batch.
    void noteFile(tag_t file) { placed_in_batch_.push_back(file); }
    // Files placed for objects that aren't stored yet.
    std::vector<tag_t> unsavedFiles() const;

    // ---- what is changed other than objects; a run records it, rights aren't asked for ----
    // Null: take it out.
    void setPreference(const std::string& name, const std::vector<std::string>* values);
    // The same right twice is one, after all others; to take out what isn't there is no failure.
    void addRight(const Right& right);
    void removeRight(const Right& right);
    // In the registry that the store uses; a rehearsal leaves a shared one alone. Failure
    // kRegistryDown; kDuplicateId if the id is registered already, kBadValue if it isn't.
    void registerId(const std::string& item_id);
    void takeOutId(const std::string& item_id);

    // ---- runs ----
    // Everything that is changed from now on is recorded. Null: nothing is.
    void record(std::unique_ptr<Recorder> recorder);
    Recorder* recorder() { return recorder_.get(); }  // null: no run
    bool rehearses() const;
    // The session's number in the store's locks.
    std::int64_t lockSession() const { return lock_session_; }
    // Bring a deleted object back into the store under its tag. Requires: a batch.
    struct Revived {
        tag_t tag = NULLTAG, type = NULLTAG;
        std::int64_t version = 0;                      // that it gets
        std::vector<std::pair<tag_t, Values>> values;  // by attribute
    };
    void revive(const Revived& object);
    // While this is on, saves don't change who changed an object last.
    void keepLastUser(bool on) { keep_last_user_ = on; }

    BomWindows& bomWindows() { return *bom_windows_; }
    // Drop the whole cache; unsaved values are lost, locks stay.
    void forgetAll();

private:
    struct Bootstrap {};
    Session(std::shared_ptr<Store> store, Bootstrap);

    // Places of the attributes that every workspace object has.
    struct Known {
        const Class *workspace, *item, *revision, *file, *relation, *process, *user_class,
            *group_class, *member;
        std::size_t name, user, group, created, modified, modified_by;
    };

    std::shared_ptr<Store> store_;
    std::unordered_map<tag_t, std::unique_ptr<Object>> cache_;
    std::size_t much_ = kMostCached;
    std::unordered_set<Object*> touched_;  // new or with unsaved values, perhaps more
    std::unordered_set<tag_t> locks_held_;
    std::unique_ptr<BomWindows> bom_windows_;
    std::int64_t lock_session_ = 0;
    tag_t user_ = NULLTAG, group_ = NULLTAG;
    bool bypass_ = false;
    struct Batch {
        std::size_t placed = 0, removed = 0;  // files at its begin
    };
    std::vector<Batch> batches_;                             // the outer one first
    std::vector<tag_t> placed_in_batch_, removed_in_batch_;  // files
    std::unordered_set<tag_t> known_in_batch_;               // stored objects that it refers to
    std::unique_ptr<Recorder> recorder_;
    bool keep_last_user_ = false;
    Known known_{};
    // Members, so that their memory is used again.
    std::vector<Object*> saving_;
    std::vector<AttributeValues> storing_;

    void mayWrite() const;
    Reads* reads();  // null: no run gathers what it reads
    Values valuesOfText(Object& object, std::string_view name, const Property& now,
                        const std::string& text);
    void noteRead(tag_t tag, std::int64_t version);
    void noteSearch(std::string_view class_name, std::string_view name, tag_t target,
                    std::string_view text, const std::vector<tag_t>& found);
    void findKnown();
    void openAs(const SessionOptions& options);
    void takeLock(tag_t tag, const Object* object);
    void lockUnread(Object& object);
    // Failure unless rights and check-out let this user lock it.
    void needLockable(Object& object);
    [[noreturn]] void leaveGone(Object& object);
    void giveLock(tag_t tag) noexcept;
    void readInto(Object& object);
    void drop(tag_t tag);
    void assign(Object& object, std::size_t place, Values values);
    void checkValues(const Object& object, const Attribute& attribute, const Values& values) const;
    void checkTargets(const Object& object, const Attribute& attribute, const Values& values);
    void stamp(Object& object);
    void storeObject(Object& object);
    void needRightsFor(const Object& object);
    void checkStoredTargets(const Object& object, std::unordered_set<tag_t>& known);
    bool hasOtherRevision(Object& object, tag_t item, const std::string& id);
    void checkIds(Object& object);
    void recordSave(const Object& object);
    void recordErasure(tag_t tag);
    void collectParts(Object& object, std::vector<tag_t>& parts);
    void addParts(Object& object, const std::set<tag_t>& known, std::vector<tag_t>& parts);
    void eraseStored(std::span<const tag_t> tags);
    void forget(std::span<const tag_t> tags);
    struct Entries {
        Object* object;
        std::size_t place;
        Values values, stored;  // as they are afterwards
    };
    Entries takeOut(Object& object, const Attribute& attribute, const std::set<tag_t>& gone);
    template <typename Stored, typename Matches>
    std::vector<tag_t> corrected(const Class& cls, const Attribute& attribute,
                                 const std::vector<Stored>& stored, Matches&& matches);
};

// A batch that goes back at the end of this object's life unless it is committed. Requires: the
// session outlives it.
class SessionBatch {
public:
    explicit SessionBatch(Session& session) : session_(&session) { session.beginBatch(); }
    ~SessionBatch() { takeBack(); }
    SessionBatch(const SessionBatch&) = delete;
    // After a failure it has gone back, and what is around it stays.
    void commit() { std::exchange(session_, nullptr)->commitBatch(); }
    // Nothing if it has ended.
    void takeBack() {
        if (Session* session = std::exchange(session_, nullptr))
            session->rollbackBatch();
    }

private:
    Session* session_;
};

// A class of the standard model, which every store has.
inline const Class& standardClass(Session& session, const char* name) {
    return *session.model().findClass(name);
}

// The name of an object in messages: "#12 (Item)".
std::string plainName(const Object& object);

// Objects read from the store since the start of the process.
std::uint64_t objectsLoaded();

// The time of the clock, to the second, in the process's time zone.
date_s now();

// The current session. Failure kNoSession if there is none, kStoreFailure if nobody knows whether
// an earlier change of its store is stored, kLockedByOther or kChangedMeanwhile in a run that can
// only go back because of another session's run.
Session& currentSession();
// The same also in a run that can only go back.
Session& soundSession();
void setCurrentSession(Session* session);  // null: none

}  // namespace mervane
