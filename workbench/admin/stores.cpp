#include "workbench/admin/store_workbench.h"

// Stores and sessions.

namespace mervane {

StoreWorkbench::~StoreWorkbench() {
    sessions_.clear();
    stores_.clear();
}

Store& StoreWorkbench::storeOf(StoreId store) {
    const auto at = stores_.find(store);
    if (at == stores_.end())
        throw Failure(kStoreFailure, "store " + std::to_string(store) + " isn't open");
    return *at->second;
}

Session& StoreWorkbench::now() {
    // What goes back has an end, and can be looked at before.
    return mervane::soundSession();
}

StoreWorkbench::OpenSession& StoreWorkbench::nowOpen() {
    now();
    // now() has thrown if there is no session.
    return sessions_.at(current_);
}

void StoreWorkbench::createStore(const std::string& path, const std::string& volume) {
    if (path == ":memory:")
        throw Failure(kStoreFailure, "a store in memory is made by opening it");
    if (path.empty())
        throw Failure(kStoreFailure, "a store needs a path");
    Store::create(path, Session::ensureOrganisation, volume);
}

StoreWorkbench::StoreId StoreWorkbench::openStore(const std::string& path) {
    std::shared_ptr<Store> store = Store::open(path);
    Session::ensureOrganisation(store);
    stores_[++last_store_] = std::move(store);
    return last_store_;
}

std::string StoreWorkbench::storeIdentity(StoreId store) {
    return storeOf(store).identity();
}

void StoreWorkbench::closeStore(StoreId store) {
    storeOf(store);
    for (auto at = sessions_.begin(); at != sessions_.end();) {
        const SessionId session = at->first;
        const bool belongs = at->second.store == store;
        ++at;
        // closeSession() takes the entry out, so the iterator moves on first.
        if (belongs)
            closeSession(session);
    }
    stores_.erase(store);
}

std::vector<CheckFinding> StoreWorkbench::check(StoreId store, bool repair) {
    std::vector<tag_t> unsaved;
    for (const auto& [id, open] : sessions_)
        if (open.store == store)
            // These files are in the volume, and no repair may remove them before their objects are
            // saved.
            for (const tag_t file : open.session->unsavedFiles())
                unsaved.push_back(file);
    return storeOf(store).check(repair, unsaved);
}

std::vector<CheckFinding> StoreWorkbench::backup(StoreId store, const std::string& path) {
    return storeOf(store).backup(path);
}

std::vector<CheckFinding> StoreWorkbench::copyStore(StoreId store, const std::string& to,
                                                    const std::string& volume) {
    return storeOf(store).copyTo(to, volume);
}

std::vector<std::pair<std::string, std::string>> StoreWorkbench::serverFacts(StoreId store) {
    return storeOf(store).serverFacts();
}

std::vector<std::string> StoreWorkbench::serverWarnings(StoreId store) {
    return storeOf(store).serverWarnings();
}

StoreWorkbench::SessionId StoreWorkbench::openSession(StoreId store,
                                                      const SessionOptions& options) {
    storeOf(store);
    auto session = std::make_unique<Session>(Store::again(stores_[store]), options);
    const SessionId id = ++last_session_;
    sessions_[id] = {store, std::move(session), nullptr};
    selectSession(id);
    return id;
}

void StoreWorkbench::selectSession(SessionId session) {
    const auto at = sessions_.find(session);
    if (at == sessions_.end())
        throw Failure(kNoSession, "session " + std::to_string(session) + " isn't open");
    current_ = session;
    setCurrentSession(at->second.session.get());
}

StoreWorkbench::SessionId StoreWorkbench::currentSession() const {
    return current_;
}

void StoreWorkbench::closeSession(SessionId session) {
    const auto at = sessions_.find(session);
    if (at == sessions_.end())
        throw Failure(kNoSession, "session " + std::to_string(session) + " isn't open");
    sessions_.erase(at);
    if (current_ == session)
        current_ = 0;
}

}  // namespace mervane

extern "C" mervane::Workbench* mervane_workbench() {
    static mervane::StoreWorkbench bench;
    return &bench;
}
