#include "tests/kills/plant.h"

#include "platform/mv_err.h"
#include "platform/mv_obj.h"
#include "tests/kills/operations.h"

namespace kills {

namespace {

mervane::Workbench& bench() {
    return *mervane_workbench();
}

}  // namespace

Plant::Plant(const std::string& path) {
    store_ = bench().openStore(path);
    try {
        bench().openSession(store_, {});
        bare_ = BareStore::open(path);
    } catch (...) {
        bench().closeStore(store_);
        throw;
    }
}

Plant::~Plant() {
    bare_.reset();
    bench().closeStore(store_);
}

std::vector<std::string> Plant::check(bool alone) {
    std::vector<std::string> wrong;
    for (const auto& finding : bench().check(store_, false))
        if (finding.error)
            wrong.push_back("check: " + finding.text);
    if (alone && wrong.empty()) {
        (void)bench().check(store_, true);
        for (const auto& finding : bench().check(store_, false))
            wrong.push_back("check after its repair: " + finding.text);
    }
    return wrong;
}

std::vector<std::string> Plant::takeLocks(const std::set<std::int64_t>& objects,
                                          const std::set<int>& living) {
    std::vector<std::string> wrong;
    for (const std::int64_t object : objects) {
        const auto tag = static_cast<tag_t>(object);
        ERR_clear_errors();
        if (const int status = OBJ_refresh(tag, true); status != 0) {
            const auto stack = bench().errorStack();
            const std::string text = stack.empty() ? "" : stack.back().text;
            bool lives = false;
            for (const int process : living)
                lives = lives || (text + " ").find("process " + std::to_string(process) + " ") !=
                                     std::string::npos;
            if (!lives)
                wrong.push_back("the lock of #" + std::to_string(tag) +
                                " can't be taken: " + std::to_string(status) + " " + text);
        } else {
            (void)OBJ_refresh(tag, false);  // a lock that stays shows at the end
        }
    }
    ERR_clear_errors();
    return wrong;
}

keld_test::RecordCheck Plant::checkRecords() {
    std::vector<tag_t> shared;
    for (int i = 0; i < kSharedItems; ++i)
        shared.push_back(bench().resolve(sharedItem(i)));
    return keld_test::checkRecords(shared);
}

bool Plant::isRecordedAsGone(std::int64_t object) {
    mervane::RunQuery query;
    query.object = static_cast<tag_t>(object);
    bool is_gone = false;
    for (const mervane::RunHead& head : bench().runs(query))
        bench().readRun(head.number, [&](const mervane::RunEntry& entry) {
            is_gone = is_gone || (entry.object == query.object &&
                                  entry.change == mervane::RunChange::ObjectDeleted);
        });
    return is_gone;
}

}  // namespace kills
