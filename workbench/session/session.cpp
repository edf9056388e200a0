#include "workbench/session/session.h"

#include <algorithm>
#include <ctime>
#include <optional>
#include <utility>

#include "workbench/run/reads.h"
#include "workbench/run/recorder.h"
#include "workbench/session/bom_window.h"
#include "workbench/session/journal.h"
#include "workbench/store/store.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {
Session* current = nullptr;
std::uint64_t objects_loaded = 0;
}  // namespace

std::uint64_t objectsLoaded() {
    return objects_loaded;
}

Session& soundSession() {
    if (!current)
        throw Failure(kNoSession, "open a session first");
    // Nobody knows what is stored after a failed write to disk: every call fails until the store is
    // opened anew.
    current->store().needSound();
    return *current;
}

Session& currentSession() {
    Session& session = soundSession();
    session.store().needNoConflict();
    return session;
}

namespace detail {
void keepCacheSmall() noexcept {
    if (current && current->cachesMuch())
        current->unloadMuch();
}
}  // namespace detail

void setCurrentSession(Session* session) {
    current = session;
}

date_s now() {
    const std::time_t seconds = std::time(nullptr);
    static std::time_t last = 0;
    static date_s date{};
    // Each new object and each save asks for the time, and dates have no parts of a second.
    if (seconds != last) {
        const std::tm local = system::localTime(seconds);
        date.year = static_cast<std::int16_t>(local.tm_year + 1900);
        date.month = static_cast<std::uint8_t>(local.tm_mon);
        date.day = static_cast<std::uint8_t>(local.tm_mday);
        date.hour = static_cast<std::uint8_t>(local.tm_hour);
        date.minute = static_cast<std::uint8_t>(local.tm_min);
        // A leap second is no valid time of a date.
        date.second = static_cast<std::uint8_t>(std::min(local.tm_sec, 59));
        last = seconds;
    }
    return date;
}

std::string plainName(const Object& object) {
    return "#" + std::to_string(object.tag) + " (" + object.type->name + ")";
}

// ---- opening and closing ----

Session::Session(std::shared_ptr<Store> store, const SessionOptions& options)
    : store_(std::move(store)) {
    findKnown();
    openAs(options);
    bom_windows_ = std::make_unique<BomWindows>(*this);
}

Session::Session(std::shared_ptr<Store> store, Bootstrap) : store_(std::move(store)) {
    findKnown();
    lock_session_ = store_->locks().open("");
    bom_windows_ = std::make_unique<BomWindows>(*this);
}

Session::~Session() {
    while (!batches_.empty())
        rollbackBatch();
    for (const tag_t file : unsavedFiles())
        store_->discardFile(file);
    // The locks last: nobody takes an object while something of it still goes back.
    store_->locks().close(lock_session_);
    if (current == this)
        current = nullptr;
}

void Session::findKnown() {
    const Type& type = *model().findType("WorkspaceObject");
    const auto place = [&](const char* name) { return type.by_name.at(name); };
    known_ = {type.cls,
              model().findClass("Item"),
              model().findClass("ItemRevision"),
              model().findClass("VaneFile"),
              model().findClass("Relation"),
              model().findClass("FLOWProcess"),
              model().findClass("User"),
              model().findClass("Group"),
              model().findClass("GroupMember"),
              place("object_name"),
              place("owning_user"),
              place("owning_group"),
              place("creation_date"),
              place("last_mod_date"),
              place("last_mod_user")};
}

Model& Session::model() {
    return store_->model();
}

// ---- objects ----

void Session::readInto(Object& object) {
    ++objects_loaded;
    const bool found = store_->loadAll(
        object.tag,
        [&](tag_t type, std::int64_t version) {
            const Type* known = model().typeOf(type);
            if (!known)
                throw Failure(kUnknownType, "#" + std::to_string(object.tag) +
                                                " is of a type that isn't defined");
            object.type = known;
            object.version = version;
            object.fields.clear();
        },
        [&](ObjectReader& in) {
            // Both are in the order of the handles, so no attribute has to be looked up.
            auto at = object.type->in_order.begin();
            const auto end = object.type->in_order.end();
            while (in.next()) {
                while (at != end && at->first < in.attribute())
                    ++at;
                // An attribute that this type doesn't have, or values of another kind: damage,
                // which the check reports.
                if (at == end || at->first != in.attribute())
                    continue;
                const Attribute& known = *object.type->layout[at->second];
                if (known.kind == in.kind())
                    object.fields.read(at->second, known.array, in);
            }
        });
    object.fields.readAll();
    // That an object isn't there is a result, too: a later run may find it and do something else.
    if (!found) {
        noteRead(object.tag, 0);
        throw Failure(kUnknownObject, "#" + std::to_string(object.tag) + " isn't stored");
    }
}

void Session::noteRead(tag_t tag, std::int64_t version) {
    if (reads())
        reads()->object(tag, version);
}

Object& Session::object(tag_t tag) {
    const auto at = cache_.find(tag);
    if (at != cache_.end()) {
        // A run has read the object also if the session had it in its cache before the run.
        noteRead(tag, at->second->version);
        return *at->second;
    }
    if (tag == NULLTAG || tag >= kFirstHandle)
        throw Failure(kUnknownObject, tag == NULLTAG
                                          ? std::string("no object was given")
                                          : "#" + std::to_string(tag) + " is no object's tag");
    auto made = std::make_unique<Object>();
    made->tag = tag;
    readInto(*made);
    // A lock can outlive the cached object: a rollback drops the cache and keeps the locks.
    made->locked = locks_held_.count(tag) != 0;
    noteRead(tag, made->version);
    return *cache_.emplace(tag, std::move(made)).first->second;
}

Object& Session::object(tag_t tag, const Class& cls) {
    Object& found = object(tag);
    if (!found.isA(cls))
        throw Failure(kWrongClass, plainName(found) + " is not of the class " + cls.name);
    return found;
}

Object* Session::tryObject(tag_t tag) {
    const auto at = cache_.find(tag);
    if (at != cache_.end()) {
        noteRead(tag, at->second->version);
        return at->second.get();
    }
    if (tag == NULLTAG || tag >= kFirstHandle)
        return nullptr;
    try {
        return &object(tag);
    } catch (const Failure& failure) {
        if (failure.status() != kUnknownObject && failure.status() != kUnknownType)
            throw;
        return nullptr;
    }
}

Object* Session::tryLiving(tag_t tag) {
    // What is loaded now is stored; what was cached may have been deleted since.
    const bool cached = cache_.count(tag) != 0;
    Object* found = tryObject(tag);
    return found && cached && !found->isNew() && !store_->exists(tag) ? nullptr : found;
}

Object& Session::living(tag_t tag) {
    if (Object* found = tryLiving(tag))
        return *found;
    if (cache_.count(tag))
        throw Failure(kUnknownObject, "#" + std::to_string(tag) + " was deleted since it was read");
    return object(tag);  // tells what is wrong with it
}

Object& Session::create(const Type& type) {
    if (type.name == "BOMLine")
        throw Failure(kWrongClass, "lines live in a BOM window, they can't be made");
    // The new tag may come from a new block of tags, which is a change of the store.
    mayWrite();
    auto made = std::make_unique<Object>();
    made->tag = store_->newTag();
    made->type = &type;
    if (made->isA(*known_.workspace)) {
        // These values need no mark of a change: the first save stores all values of an object.
        const Date date{now()};
        made->fields.open(known_.created).values = {date};
        made->fields.open(known_.modified).values = {date};
        // There is no user yet while a new store gets its first one.
        if (user_ != NULLTAG) {
            made->fields.open(known_.user).values = {Reference{user_}};
            made->fields.open(known_.group).values = {Reference{group_}};
            made->fields.open(known_.modified_by).values = {Reference{user_}};
        }
    }
    const tag_t tag = made->tag;
    if (reads())
        reads()->made(tag);
    const auto [at, fresh] = cache_.try_emplace(tag, std::move(made));
    if (!fresh)
        throw Failure(kStoreFailure, "store " + store_->path() + ": the tag #" +
                                         std::to_string(tag) + " is given twice, it is damaged");
    try {
        // Searches and unsavedFiles() find new objects by this set alone.
        touched_.insert(at->second.get());
    } catch (...) {
        cache_.erase(at);
        throw;
    }
    return *at->second;
}

void Session::drop(tag_t tag) {
    const auto at = cache_.find(tag);
    if (at == cache_.end())
        return;
    touched_.erase(at->second.get());
    cache_.erase(at);
    store_->forgetReadAhead(tag);
}

void Session::unload(tag_t tag) {
    const auto at = cache_.find(tag);
    if (at != cache_.end() && at->second->isNew()) {
        if (at->second->isA(*known_.file))
            // Nobody can store the object any more, so no object will own its file.
            store_->discardFile(tag);
        // Its parts can only be stored along with it, so they go, too.
        for (const tag_t part : std::exchange(at->second->saved_along, {}))
            if (const auto found = cache_.find(part);
                found != cache_.end() && found->second->isNew())
                unload(part);
    }
    drop(tag);
    giveLock(tag);
}

void Session::unloadBeyond(std::size_t most) {
    if (cache_.size() <= most)
        return;
    std::erase_if(cache_, [this](const auto& each) {
        Object* object = each.second.get();
        // `touched_` may have objects without unsaved values. Those stay a while longer, which
        // does no harm.
        return !object->isNew() && !object->locked && !touched_.count(object);
    });
    store_->forgetReadAhead(NULLTAG);
}

void Session::unloadMuch() {
    unloadBeyond(kMostCached);
    // What has to stay isn't walked through after each call.
    much_ = std::max(kMostCached, 2 * cache_.size());
}

void Session::refresh(Object& object, bool with_lock) {
    const tag_t tag = object.tag;
    const bool had_lock = object.locked;
    // The lock first: from here on nobody else stores what is read below.
    if (with_lock)
        lockUnread(object);
    if (!object.isNew()) {
        try {
            // The stored version tells whether anything has changed.
            const bool unsaved = touched_.count(&object) && object.isDirty();
            if (unsaved || store_->versionOf(tag) != object.version) {
                readInto(object);
                touched_.erase(&object);
            }
        } catch (const Failure& failure) {
            // A lock that the session held before stays, unless the object is gone.
            if (!had_lock || !with_lock || failure.status() == kUnknownObject)
                giveLock(tag);
            drop(tag);
            throw;
        }
    }
    if (!with_lock && had_lock) {
        object.locked = false;
        giveLock(tag);
    }
}

void Session::forgetAll() {
    for (const tag_t file : unsavedFiles())
        store_->discardFile(file);
    touched_.clear();
    cache_.clear();
    store_->forgetReadAhead(NULLTAG);
}

std::vector<tag_t> Session::unsavedFiles() const {
    std::vector<tag_t> files;
    // `touched_` has every new object: create() puts it in, and only its save takes it out.
    for (const Object* object : touched_)
        if (object->isNew() && object->isA(*known_.file))
            files.push_back(object->tag);
    return files;
}

// ---- locks ----

void Session::takeLock(tag_t tag, const Object* object) {
    if (locks_held_.count(tag))
        return;
    std::optional<LockOwner> owner;
    try {
        // Noted first: without memory afterwards, nobody would know of the lock in the table.
        locks_held_.insert(tag);
        owner = store_->locks().take(lock_session_, tag);
    } catch (...) {
        locks_held_.erase(tag);
        throw;
    }
    if (!owner)
        return;
    locks_held_.erase(tag);
    const std::string name = object ? plainName(*object) : "#" + std::to_string(tag);
    store_->lockMet(name, *owner);
    throw Failure(kLockedByOther, name + " is locked by " + described(*owner));
}

bool Session::keepNumber(std::uint32_t number) {
    return store_->locks().keepNumber(lock_session_, number);
}

void Session::giveLock(tag_t tag) noexcept {
    if (!locks_held_.erase(tag))
        return;
    try {
        store_->unlocked(tag);
        store_->locks().release(lock_session_, tag);
    } catch (...) {
        // It goes with the session, at the latest.
    }
}

void Session::keepLocks(const std::unordered_set<tag_t>& kept) noexcept {
    for (auto at = locks_held_.begin(); at != locks_held_.end();) {
        // giveLock() takes the entry out, so the iterator moves on first.
        const tag_t tag = *at++;
        if (!kept.count(tag))
            giveLock(tag);
    }
}

void Session::leaveGone(Object& object) {
    const std::string text = plainName(object) + " was deleted since it was read";
    const tag_t tag = object.tag;
    drop(tag);
    giveLock(tag);
    throw Failure(kUnknownObject, text);
}

void Session::lock(Object& object) {
    if (object.locked)
        return;
    lockUnread(object);
    if (object.isNew())
        return;
    // Compared under the lock: from here on nobody else stores the object.
    std::int64_t stored = 0;
    try {
        stored = store_->versionOf(object.tag);
    } catch (...) {
        object.locked = false;
        giveLock(object.tag);
        throw;
    }
    if (stored == object.version)
        return;
    if (stored == 0)
        leaveGone(object);
    object.locked = false;
    giveLock(object.tag);
    throw Failure(kChangedMeanwhile,
                  plainName(object) + " was stored by another session since it was read");
}

// Take the lock without comparing versions.
void Session::lockUnread(Object& object) {
    if (object.locked)
        return;
    // A lock can outlive its object: a rollback keeps it.
    const bool asks = !object.isNew() && !locks_held_.count(object.tag);
    if (asks)
        store_->aboutToLock(lock_session_, object.tag);
    try {
        needLockable(object);
    } catch (...) {
        if (asks)
            store_->notLocked(lock_session_, object.tag);
        throw;
    }
    takeLock(object.tag, &object);
    object.locked = true;
}

void Session::needLockable(Object& object) {
    // Nobody else can know a new object, so there is no right and no check-out to ask for.
    if (!object.isNew()) {
        if (!bypass_ && !allowed(object, "WRITE"))
            throw Failure(kNotAllowed, "user " + userId() + " may not WRITE " + plainName(object));
        // The bypass is for rights alone: a check-out of another user always counts.
        CheckOut by;
        if (checkedOut(object.tag, &by) && by.user != user_)
            throw Failure(kCheckedOut,
                          plainName(object) + " is checked out by user " + displayId(by.user));
    }
}

// ---- batches ----

void Session::mayWrite() const {
    // An import changes the store without calls of the platform, which would fail by themselves.
    if (callsAreInterrupted())
        throw Failure(kInterrupted, "no further change");
    store_->mayWrite(this);
}

void Session::beginBatch() {
    // Room comes first: without memory after the store's begin nobody would end that batch.
    batches_.reserve(batches_.size() + 1);
    store_->beginBatch(this);
    batches_.push_back({placed_in_batch_.size(), removed_in_batch_.size()});
}

void Session::commitBatch() {
    if (batches_.empty())
        throw Failure(kStoreFailure, "the transaction was undone already");
    try {
        store_->commitBatch();
    } catch (...) {
        // The store's batch is still open after a failure, and its owner must take it back.
        rollbackBatch();
        throw;
    }
    batches_.pop_back();
    // Files of an inner batch wait for the outer one, which may still go back.
    if (!batches_.empty())
        return;
    known_in_batch_.clear();
    // Files go only after the commit: a kill before it leaves their objects stored.
    placed_in_batch_.clear();
    for (const tag_t file : std::exchange(removed_in_batch_, {}))
        store_->volume().remove(file);
}

void Session::rollbackBatch() {
    if (batches_.empty())
        return;
    const Batch begun = batches_.back();
    batches_.pop_back();
    known_in_batch_.clear();
    store_->letGoOfBatch();
    forgetAll();
    // Before their tags go back: another session may get such a tag for a file of its own.
    for (; placed_in_batch_.size() > begun.placed; placed_in_batch_.pop_back())
        store_->discardFile(placed_in_batch_.back());
    removed_in_batch_.resize(begun.removed);
    store_->rollbackBatch();
}

// ---- runs ----

void Session::record(std::unique_ptr<Recorder> recorder) {
    recorder_ = std::move(recorder);
}

}  // namespace mervane
