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
#include <vector>

#include "workbench/model/model.h"
#include "workbench/model/status.h"
#include "workbench/session/fields.h"
#include "workbench/workbench.h"

namespace mervane {

class Store;
class BomWindows;
class Reads;
class Recorder;

struct Object {
    tag_t tag = NULLTAG;
    const Type* type = nullptr;
    std::int64_t version = 0;  // counts saves; 0: never saved
    bool locked = false;       // this session holds the modify lock
    bool saving = false;       // in the list of the save that runs
    Fields fields;
    // Parts that are stored with the first save of this object (revision and forms of a new item).
    std::vector<tag_t> saved_along;

    const Class& cls() const { return *type->cls; }
    bool isNew() const { return version == 0; }
    bool isDirty() const { return fields.anyDirty(); }
    bool isA(const Class& c) const { return type->cls->isA(c); }
};

class Session {
public:
    // Failure kUnknownObject for a user or group that the store doesn't have.
    Session(std::shared_ptr<Store> store, const SessionOptions& options);
    // Give a store that has no user its first ones: user "infodba" of group "dba", and a site.
    static void ensureOrganisation(const std::shared_ptr<Store>& store);
    ~Session();
    Session(const Session&) = delete;

    Store& store() { return *store_; }
    Model& model();

    // ---- objects ----
    // The object, loaded if need be. Failure kUnknownObject if it doesn't exist.
    Object& object(tag_t tag);
    // Likewise, and of this class or below; Failure kWrongClass if not.
    Object& object(tag_t tag, const Class& cls);
    // Null instead of a failure.
    Object* tryObject(tag_t tag);
    // The same for an object that is still stored, or new: what another session deleted may be
    // cached here.
    Object& living(tag_t tag);
    Object* tryLiving(tag_t tag);
    // A new, unsaved object of a type, with owner and dates set if it is a workspace object.
    Object& create(const Type& type);
    // Drop it from the cache: unsaved values and the lock go. What would be stored along with a new
    // object goes with it.
    void unload(tag_t tag);
    // If more objects are cached: forget those that aren't locked and have no unsaved values.
    // Requires: nobody holds one.
    void unloadBeyond(std::size_t most);
    // The same after each function of the interface, so that a long run takes no more memory than
    // this many objects do, some 1,000 bytes each.
    static constexpr std::size_t kMostCached = 10000;
    bool cachesMuch() const { return cache_.size() > much_; }
    void unloadMuch();
    // Re-read; with lock, take the lock first; without, give it up. New objects keep their values.
    void refresh(Object& object, bool lock);
    // A number for the ids that this session chooses; false if another living session has it.
    bool keepNumber(std::uint32_t number);
    // Failure kLockedByOther; kNotAllowed without the right to write; kCheckedOut by another user;
    // kChangedMeanwhile if it was stored since it was read; kUnknownObject if it was deleted.
    void lock(Object& object);
    // Write the dirty values of all in one transaction; locks stay. Failure kUnknownObject for a
    // new reference to what is neither stored nor among them.
    void save(std::span<Object* const> objects);
    void save(Object& object);
    // Delete with its parts and the relations in which it is primary; refused while others refer.
    void remove(Object& object);
    // Delete outright, asking nobody.
    void erase(std::span<const tag_t> tags);

    // ---- values; Failure for an unknown attribute or a wrong kind ----
    const Attribute& attribute(const Object& object, std::string_view name) const;
    const Attribute& attribute(const Object& object, tag_t handle) const;
    Values values(const Object& object, std::string_view name) const;  // empty: null
    Values values(const Object& object, const Attribute& attribute) const;
    // Those of an array, without a copy; good until a field of the object changes.
    const Values& list(const Object& object, std::string_view name) const;
    const Values& list(const Object& object, const Attribute& attribute) const;
    // To be changed without the checks of set().
    Field& field(Object& object, const Attribute& attribute);
    std::string text(Object& object, std::string_view name);  // empty if null
    tag_t reference(Object& object, std::string_view name);   // NULLTAG if null
    std::vector<tag_t> references(Object& object, std::string_view name);
    // Set with all checks: locked or new, kind, length, existing target of a reference.
    void set(Object& object, const Attribute& attribute, Values values);
    void set(Object& object, std::string_view name, Values values);
    // Set without the test for the lock, for the workbench's own bookkeeping.
    void put(Object& object, std::string_view name, Values values);

    // ---- who refers; stored references and this session's unsaved ones, by tag ----
    struct Referrer {
        tag_t tag = NULLTAG, attribute = NULLTAG, type = NULLTAG;
        bool is_new = false;  // never saved
    };
    std::vector<Referrer> referrers(tag_t target);
    // Objects whose reference attribute of this name on this class holds the target, by tag.
    std::vector<tag_t> referrersBy(std::string_view class_name, std::string_view attribute,
                                   tag_t target);
    // The one of them with the highest tag; NULLTAG: there is none. Quick also if there are many.
    tag_t lastReferrerBy(std::string_view class_name, std::string_view attribute, tag_t target);
    // Objects of a class or below with a string attribute of this value, by tag.
    std::vector<tag_t> findByText(std::string_view class_name, std::string_view attribute,
                                  const std::string& text);

    // Those of them that refer to the target, too.
    std::vector<tag_t> findByTextOf(std::string_view class_name, std::string_view reference,
                                    tag_t target, std::string_view attribute,
                                    const std::string& text);

    // ---- properties: attributes and what is worked out from them ----
    struct Property {
        Kind kind = Kind::String;
        bool array = false;
        bool writable = true;
        Values values;
    };
    bool hasProperty(Object& object, std::string_view name);
    Property property(Object& object, std::string_view name);
    void setProperty(Object& object, std::string_view name, Values values);
    std::string displayText(Object& object, std::string_view name);
    void setDisplayText(Object& object, std::string_view name, const std::string& text);
    // The failure that setting it would have for the property or the text.
    void needDisplayText(Object& object, std::string_view name, const std::string& text);
    std::string displayId(tag_t tag);  // what ENT_ask_id_string gives
    static std::string displayText(Session& session, const Value& value);

    // ---- user, rights, check-out ----
    tag_t user() const { return user_; }
    tag_t group() const { return group_; }
    std::string userId();
    std::string userName();
    std::string groupName();
    void setBypass(bool on) { bypass_ = on; }
    bool bypass() const { return bypass_; }
    bool allowed(Object& object, const std::string& privilege);
    // The same of anybody, with the right that decides, and without the bypass.
    struct Asker {
        std::string user, group;
        bool administrator = false;
    };
    RightDecision decide(Object& object, const std::string& privilege, const Asker& asker);
    // Whether the session works in the administrators' group.
    bool administrator();
    // Failure kNotAllowed if it doesn't: "user u may not WHAT".
    void needAdministrator(const char* what);
    bool modifiable(Object& object);
    struct CheckOut {
        tag_t object = NULLTAG, user = NULLTAG;
        std::string date, comment;
    };
    bool checkedOut(tag_t object, CheckOut* by);
    void checkOut(Object& object, const std::string& comment);
    void checkIn(Object& object);

    // ---- locks ----
    std::size_t heldLocks() const { return locks_held_.size(); }
    bool holdsLock(tag_t object) const { return locks_held_.count(object) != 0; }
    const std::unordered_set<tag_t>& locksHeld() const { return locks_held_; }
    // Give up all others. Requires: their objects aren't cached.
    void keepLocks(const std::unordered_set<tag_t>& kept) noexcept;

    // ---- a stretch of saves as one transaction (imports): all or nothing ----
    // An inner batch is a part of the outer one; its rollback undoes what it did alone.
    void beginBatch();
    void commitBatch();
    void rollbackBatch();  // the cache is dropped too
    // Files placed for objects that aren't stored yet.
    std::vector<tag_t> unsavedFiles() const;

    // ---- what is changed beside the objects; a run records it ----
    // Null: take it out.
    void setPreference(const std::string& name, const std::vector<std::string>* values);
    void addRight(const Right& right);
    void removeRight(const Right& right);
    // Failure kDuplicateId or kBadValue if the id is registered already, or isn't.
    void registerId(const std::string& item_id);
    void takeOutId(const std::string& item_id);

    // ---- runs ----
    // Everything that is changed from now on is recorded. Null: nothing is.
    void record(std::unique_ptr<Recorder> recorder);
    Recorder* recorder() { return recorder_.get(); }
    bool rehearses() const;
    std::int64_t lockSession() const { return lock_session_; }
    // Bring a deleted object back under its tag, with the values in the order of the layout that
    // the caller gives by attribute. Requires: a batch.
    struct Revived {
        tag_t tag = NULLTAG, type = NULLTAG;
        std::int64_t version = 0;  // that it gets
        std::vector<std::pair<tag_t, Values>> values;
    };
    void revive(const Revived& object);
    // Saves leave who changed an object last as it is, while this is on.
    void keepLastUser(bool on) { keep_last_user_ = on; }

    BomWindows& bomWindows() { return *bom_windows_; }
    // Drop the whole cache, as closing and opening would.
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
    std::unique_ptr<Recorder> recorder_;
    bool keep_last_user_ = false;
    Known known_{};
    std::vector<Object*> saving_;  // kept for its room

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
    void checkIds(Object& object);
    void storeField(Object& object, std::size_t place);
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

// A class of the standard model, which every store has.
inline const Class& standardClass(Session& session, const char* name) {
    return *session.model().findClass(name);
}

// The name of an object in messages: "#12 (Item)".
std::string plainName(const Object& object);

// Objects read from the store since the start of the process.
std::uint64_t objectsLoaded();

// The moment, in the process's time zone.
date_s now();

// The current session; Failure kNoSession if there is none.
Session& currentSession();
void setCurrentSession(Session* session);  // null: none

}  // namespace mervane
