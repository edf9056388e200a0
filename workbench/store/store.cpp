#include "workbench/store/store.h"

#include <algorithm>

#include "workbench/address.h"
#include "workbench/model/status.h"
#include "workbench/store/sqlite/sqlite_store.h"
#ifdef KELD_POSTGRES
#include "workbench/store/postgres/postgres_store.h"
#endif

namespace mervane {

namespace {

#ifndef KELD_POSTGRES
[[noreturn]] void refuseServer() {
    throw Failure(kStoreFailure, "This program is built without stores on a server");
}
#endif

}  // namespace

void Store::create(const std::string& path,
                   const std::function<void(const std::shared_ptr<Store>&)>& fill,
                   const std::string& volume) {
    if (!isServerAddress(path)) {
        if (!volume.empty())
            throw Failure(kBadValue, "The store " + path + " can't have its files in " + volume +
                                         ": a store in a file has them beside it, in " + path +
                                         ".volume; only for one on a server is a directory chosen");
        return SqliteStore::make(path, fill);
    }
#ifdef KELD_POSTGRES
    PostgresStore::make(path, fill, volume);
#else
    refuseServer();
#endif
}

std::shared_ptr<Store> Store::open(const std::string& path) {
    if (!isServerAddress(path))
        return SqliteStore::openAt(path);
#ifdef KELD_POSTGRES
    return PostgresStore::openAt(path);
#else
    refuseServer();
#endif
}

Store::Store(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {
    // It asks the newest one, but any would do.
    shared_->model.onMiss([this] { return loadAdditions(); });
    shared_->askers.push_back(this);
}

Store::~Store() {
    std::erase(shared_->askers, this);
    // The model may live longer than this store, and must not ask it any more.
    if (shared_->askers.empty())
        shared_->model.onMiss(nullptr);
    else
        shared_->model.onMiss([other = shared_->askers.back()] { return other->loadAdditions(); });
}

bool Store::isSound() const noexcept {
    try {
        needSound();
        return true;
    } catch (...) {
        return false;
    }
}

void Store::discardFile(tag_t tag) noexcept {
    if (isSound())
        volume().remove(tag);
}

// Tags are taken in blocks: to take one is a change of the store, with a wait for the disk.
tag_t Store::newTag() {
    if (next_tag_ == tags_end_) {
        // Only after the block is stored: another session would get a failed one, too.
        const tag_t end = takeTags(tag_block_);
        next_tag_ = end - tag_block_;
        tags_end_ = end;
        // Each block is twice as large as the one before, so an import seldom takes another one.
        tag_block_ = std::min<tag_t>(tag_block_ * 2, 4096);
    }
    return next_tag_++;
}

Registry& Store::registry() {
    Registry& used = registryEvenDown();
    if (!used.isReachable())
        throw Failure(kRegistryDown, "it is switched off");
    return used;
}

// ---- batches ----

void Store::mayWrite(const void* owner) const {
    if (batch_owner_ && batch_owner_ != owner)
        throw Failure(kStoreFailure,
                      "store " + path() + ": a run or an import of another session is under way");
}

void Store::beginBatch(const void* owner) {
    mayWrite(owner);
    // Room first: if memory ran out after the savepoint, no batch would know of it.
    batches_.reserve(batches_.size() + 1);
    if (!batches_.empty()) {
        begin(false);
        batches_.push_back({model().mark(), shared_->model_position});
        return;
    }
    loadAdditions();
    begin(false);
    try {
        // Again in the transaction: a definition after this one is the batch's, and goes back with
        // it.
        loadAdditions();
        batches_.push_back({model().mark(), shared_->model_position});
    } catch (...) {
        rollback(false);
        throw;
    }
    next_tag_ = tags_end_ = 0;  // blocks taken inside go back with the rest
    holdTransaction(true);
    batch_owner_ = owner;
}

void Store::commitBatch() {
    if (batches_.empty())
        throw Failure(kStoreFailure, "store " + path() + ": no run or import is under way");
    if (batches_.size() == 1)
        completeBatch();
    commit(batches_.size() > 1);
    batches_.pop_back();
    if (!batches_.empty())
        return;
    holdTransaction(false);
    batch_owner_ = nullptr;
}

void Store::rollbackBatch() noexcept {
    if (batches_.empty())
        return;
    const bool inner = batches_.size() > 1;
    letGoOfBatch();
    rollback(inner);
    try {
        model().backTo(batches_.back().mark);
    } catch (...) {
        // No memory: the process knows more types than the store.
    }
    shared_->model_position = batches_.back().position;
    // The store gives tags taken inside to others from now on.
    next_tag_ = tags_end_ = 0;
    batches_.pop_back();
    // The outer batch goes on, and must notice if the database has given it up.
    if (inner)
        holdTransaction(true);
    else
        batch_owner_ = nullptr;
}

void Store::closeBatches() noexcept {
    while (!batches_.empty())
        rollbackBatch();
}

}  // namespace mervane
