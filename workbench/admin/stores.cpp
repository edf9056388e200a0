#include "workbench/admin/bench.h"

// Stores and sessions.

namespace mervane {

Bench::~Bench() {
    sessions_.clear();
    stores_.clear();
}

Store& Bench::storeOf(StoreId store) {
    const auto at = stores_.find(store);
    if (at == stores_.end())
        throw Failure(kStoreFailure, "store " + std::to_string(store) + " isn't open");
    return *at->second;
}

Session& Bench::now() {
    return mervane::currentSession();
}

Bench::OpenSession& Bench::nowOpen() {
    now();
    return sessions_.at(current_);
}

void Bench::createStore(const std::string& path) {
    if (path == ":memory:")
        throw Failure(kStoreFailure, "a store in memory is made by opening it");
    if (path.empty())
        throw Failure(kStoreFailure, "a store needs a path");
    Store::create(path, Session::ensureOrganisation);
}

Bench::StoreId Bench::openStore(const std::string& path) {
    std::shared_ptr<Store> store = Store::open(path);
    Session::ensureOrganisation(store);
    stores_[++last_store_] = std::move(store);
    return last_store_;
}

std::string Bench::storeIdentity(StoreId store) {
    return storeOf(store).identity();
}

void Bench::closeStore(StoreId store) {
    storeOf(store);
    for (auto at = sessions_.begin(); at != sessions_.end();) {
        const SessionId session = at->first;
        const bool belongs = at->second.store == store;
        ++at;
        if (belongs)
            closeSession(session);
    }
    stores_.erase(store);
}

std::vector<CheckFinding> Bench::check(StoreId store, bool repair) {
    std::vector<tag_t> unsaved;
    for (const auto& [id, open] : sessions_)
        if (open.store == store)
            for (const tag_t file : open.session->unsavedFiles())
                unsaved.push_back(file);
    return storeOf(store).check(repair, unsaved);
}

std::vector<CheckFinding> Bench::backup(StoreId store, const std::string& path) {
    return storeOf(store).backup(path);
}

Bench::SessionId Bench::openSession(StoreId store, const SessionOptions& options) {
    storeOf(store);
    auto session = std::make_unique<Session>(Store::again(stores_[store]), options);
    const SessionId id = ++last_session_;
    sessions_[id] = {store, std::move(session), nullptr};
    selectSession(id);
    return id;
}

void Bench::selectSession(SessionId session) {
    const auto at = sessions_.find(session);
    if (at == sessions_.end())
        throw Failure(kNoSession, "session " + std::to_string(session) + " isn't open");
    current_ = session;
    setCurrentSession(at->second.session.get());
}

Bench::SessionId Bench::currentSession() const {
    return current_;
}

void Bench::closeSession(SessionId session) {
    const auto at = sessions_.find(session);
    if (at == sessions_.end())
        throw Failure(kNoSession, "session " + std::to_string(session) + " isn't open");
    sessions_.erase(at);
    if (current_ == session)
        current_ = 0;
}

}  // namespace mervane

extern "C" mervane::Workbench* mervane_workbench() {
    static mervane::Bench bench;
    return &bench;
}
