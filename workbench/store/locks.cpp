#include "workbench/store/locks.h"

#include <map>
#include <utility>

#include "workbench/system/system.h"

namespace mervane {

namespace {

class MemoryLocks final : public Locks {
public:
    std::int64_t open(const std::string& user) override {
        ++last_;
        sessions_[last_] = {last_, user, system::processNumber(), true};
        return last_;
    }
    void close(std::int64_t session) noexcept override {
        std::erase_if(rows_, [session](const auto& row) { return row.second == session; });
        std::erase_if(numbers_, [session](const auto& row) { return row.second == session; });
        sessions_.erase(session);
    }
    std::optional<LockOwner> take(std::int64_t session, tag_t object) override {
        const auto [at, taken] = rows_.emplace(object, session);
        if (taken || at->second == session)
            return std::nullopt;
        return sessions_[at->second];
    }
    void release(std::int64_t session, tag_t object) override {
        const auto at = rows_.find(object);
        if (at != rows_.end() && at->second == session)
            rows_.erase(at);
    }
    std::optional<LockOwner> owner(tag_t object) override {
        const auto at = rows_.find(object);
        if (at == rows_.end())
            return std::nullopt;
        return sessions_[at->second];
    }
    bool keepNumber(std::int64_t session, std::uint32_t number) override {
        return numbers_.emplace(number, session).first->second == session;
    }
    std::vector<LockOwner> sessions() override {
        std::vector<LockOwner> all;
        for (const auto& [id, owner] : sessions_)
            all.push_back(owner);
        return all;
    }
    bool isOwn(std::int64_t session) const override { return sessions_.count(session) != 0; }
    // A store in memory has one connection, which never waits.
    void setActivity(std::int64_t, const std::string&) override {}
    std::vector<std::string> activities() override { return {}; }
    std::vector<Held> held() override {
        std::vector<Held> all;
        for (const auto& [object, session] : rows_)
            all.push_back({object, sessions_[session]});
        return all;
    }
    int reclaim() override { return 0; }

private:
    std::map<std::int64_t, LockOwner> sessions_;
    std::map<tag_t, std::int64_t> rows_;
    std::map<std::uint32_t, std::int64_t> numbers_;
    std::int64_t last_ = 0;
};

}  // namespace

std::shared_ptr<Locks> memoryLocks() {
    return std::make_shared<MemoryLocks>();
}

std::string described(const LockOwner& owner) {
    std::string text = "user " + owner.user + ", process " + std::to_string(owner.process);
    if (!owner.host.empty() && owner.host != system::hostName())
        text += " on " + owner.host;
    return text;
}

}  // namespace mervane
