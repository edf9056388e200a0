#include "workbench/run/recorder.h"
#include "workbench/session/session.h"
#include "workbench/store/store.h"

// What a session changes beside the objects: preferences, rights, the registry of item ids. A run
// records it in the transaction of the change.

namespace mervane {

void Session::setPreference(const std::string& name, const std::vector<std::string>* values) {
    mayWrite();
    StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
    if (recorder_) {
        // The value before is read in the transaction, so the record is right whatever others set.
        const auto before = store_->preference(name);
        recorder_->preference(name, before ? &*before : nullptr, values);
    }
    if (values)
        store_->setPreference(name, *values);
    else
        store_->removePreference(name);
    transaction.commit();
}

void Session::addRight(const Right& right) {
    mayWrite();
    StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
    // The same right twice is one.
    const std::int64_t had = store_->removeRight(right);
    if (had && recorder_)
        recorder_->right(RunChange::RightRemoved, right, had);
    const std::int64_t has = store_->addRight(right);
    if (recorder_)
        recorder_->right(RunChange::RightAdded, right, has);
    transaction.commit();
}

void Session::removeRight(const Right& right) {
    mayWrite();
    StoreTransaction transaction(*store_, StoreTransaction::Others::Alone);
    const std::int64_t had = store_->removeRight(right);
    if (had && recorder_)
        recorder_->right(RunChange::RightRemoved, right, had);
    transaction.commit();
}

// A shared registry is outside of the store: it has no part in a rehearsal, and nothing of it goes
// back with a run.

void Session::registerId(const std::string& item_id) {
    mayWrite();
    store_->changeRegistry([&](Registry& registry) {
        if (registry.has(item_id))
            throw Failure(kDuplicateId, "the item id " + item_id + " is registered already");
        const std::string shared = store_->registryPath();
        if (shared.empty() || !rehearses())
            registry.add(item_id);
        if (recorder_)
            recorder_->registered(item_id, shared);
    });
}

void Session::takeOutId(const std::string& item_id) {
    mayWrite();
    store_->changeRegistry([&](Registry& registry) {
        if (!registry.has(item_id))
            throw Failure(kBadValue, "the item id " + item_id + " is not registered");
        const std::string shared = store_->registryPath();
        if (shared.empty() || !rehearses())
            registry.remove(item_id);
        if (recorder_)
            recorder_->takenOut(item_id, shared);
    });
}

bool Session::rehearses() const {
    return recorder_ && recorder_->head().way == RunWay::Rehearsal;
}

}  // namespace mervane
