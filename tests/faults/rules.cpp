#include "tests/faults/rules.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>

#include "tests/faults/functions.h"
#include "workbench/model/status.h"

namespace faults {
namespace {

enum class Fate { Unknown, Travels, Dropped, Gives };

struct Judgement {
    Fate fate = Fate::Unknown;
    int status = 0;
};

// The rules by function and call.
class Book {
public:
    explicit Book(const Rules& rules) {
        for (const Rules* list : {&supportRules(), &rules})
            for (const FunctionRules& row : *list) {
                auto& calls = functions_[row.function];
                each(row.deeper,
                     [&](const std::string& name) { deeper_.emplace(row.function, name); });
                each(row.travels, [&](const std::string& name) { calls[name] = {Fate::Travels}; });
                each(row.dropped, [&](const std::string& name) { calls[name] = {Fate::Dropped}; });
                each(row.gives, [&](const std::string& entry) {
                    const std::size_t at = entry.find('=');
                    calls[entry.substr(0, at)] = {Fate::Gives, std::atoi(entry.c_str() + at + 1)};
                });
            }
    }
    // The function at a code address if it is in the book, else null.
    const std::string* functionKnown(std::uintptr_t code) const {
        const auto [known, added] = by_code_.try_emplace(code, nullptr);
        if (added)
            if (const auto at = functions_.find(functionAt(code)); at != functions_.end())
                known->second = &at->first;
        return known->second;
    }
    bool deeper(const std::string& function, const std::string& call) const {
        return deeper_.contains({function, call}) || deeper_.contains({function, "*"});
    }
    Judgement of(const std::string& function, const std::string& call, const std::string& before,
                 bool unlocks) const {
        const auto& calls = functions_.at(function);
        for (const std::string& name :
             {call + (unlocks ? "-unlock" : "-lock"), call + "<" + before, call})
            if (const auto row = calls.find(name); row != calls.end())
                return row->second;
        return {};
    }

private:
    template <typename Use>
    static void each(const std::string& list, Use&& use) {
        std::size_t start = 0;
        while ((start = list.find_first_not_of(' ', start)) != std::string::npos) {
            const std::size_t end = std::min(list.find(' ', start), list.size());
            use(list.substr(start, end - start));
            start = end;
        }
    }
    std::unordered_map<std::string, std::unordered_map<std::string, Judgement>> functions_;
    std::set<std::pair<std::string, std::string>> deeper_;
    mutable std::unordered_map<std::uintptr_t, const std::string*> by_code_;
};

// Made once, also for the processes that are forked later.
const Book& bookOf(const Rules& rules) {
    static std::map<const Rules*, Book> books;
    return books.try_emplace(&rules, rules).first->second;
}

struct Known {
    const std::string* function;
    std::uintptr_t place;
    bool operator==(const Known& other) const {
        return function == other.function && place == other.place;
    }
};

// The functions of a call that the book knows, innermost first. An exported function does its work
// in a lambda, which counts as the function itself.
std::vector<Known> chain(const Book& book, const std::vector<Frame>& frames) {
    std::vector<Known> known;
    bool in_guard = false;
    for (const Frame& frame : frames) {
        if (const std::string* name = book.functionKnown(frame.code)) {
            if (in_guard && !known.empty() && known.back().function == name)
                known.pop_back();
            known.push_back({name, frame.place});
            in_guard = false;
        } else {
            in_guard = in_guard || functionAt(frame.code).find("KELD_Guarded") != std::string::npos;
        }
    }
    return known;
}

// A failure on its way out.
struct Failure {
    std::size_t call = 0, moment = 0;
    std::vector<Known> left;         // functions that it ended
    std::vector<std::string> inner;  // the call in each of them that gave the status
    int status = 0;                  // at the entry point; 0: dropped on the way
    bool own = false;                // a function gave a status of its own:
    Known giver{nullptr, 0};
};

class Judge {
public:
    Judge(const Record& record, const Rules& rules, int planned_status, const Drops& drops)
        : record_(record), book_(bookOf(rules)), planned_status_(planned_status), drops_(drops) {}

    Verdict judge() {
        for (std::size_t i = 0; i < record_.calls.size(); ++i)
            if (record_.calls[i].planned)
                follow(i, planned_status_);
            else if (isConsequence(record_.calls[i]))
                follow(i, record_.calls[i].status);
        const Failure* first = nullptr;
        for (const Failure& failure : failures_)
            if (failure.status != 0 && (!first || replaces(*first, failure)))
                first = &failure;
        verdict_.travelled = first ? first->status : 0;
        judgeBlocks();
        judgeLocks();
        return std::move(verdict_);
    }

private:
    std::string before(std::size_t call) const {
        while (call-- > 0)
            if (std::strncmp(record_.calls[call].operation, "ERR_ask_", 8) != 0)
                return record_.calls[call].operation;
        return "";
    }

    // The first failure counts. But a status that a function gave itself is only an answer: a
    // failure in the same function before its end replaces it.
    static bool replaces(const Failure& first, const Failure& later) {
        return first.own && !later.own &&
               std::find(later.left.begin(), later.left.end(), first.giver) != later.left.end();
    }

    // A dropped failure may keep an object from being saved though another one refers to it; the
    // save of the other one fails then.
    static bool isConsequence(const Call& call) {
        return std::strcmp(call.operation, "DBO_save_instances") == 0 &&
               call.status == mervane::kUnknownObject;
    }

    void follow(std::size_t index, int status) {
        const Call& call = record_.calls[index];
        Failure failure{index, call.moment, {}, {}, status, false, {nullptr, 0}};
        std::string inner = call.operation;
        for (const Known& outer : chain(book_, call.frames)) {
            Judgement rule = book_.of(*outer.function, inner, before(index),
                                      call.unlocks && inner == call.operation);
            if (drops_ && drops_(record_, index, *outer.function, inner))
                rule.fate = Fate::Dropped;
            if (rule.fate == Fate::Unknown) {
                verdict_.problems.push_back("no rule says what a failure of " + inner +
                                            " does in " + *outer.function);
                return;
            }
            if (rule.fate == Fate::Dropped) {
                failure.status = 0;
                break;
            }
            if (rule.fate == Fate::Gives) {
                failure.status = rule.status;
                failure.own = true;
                failure.giver = outer;
            }
            failure.left.push_back(outer);
            failure.inner.push_back(inner);
            if (book_.deeper(*outer.function, inner))
                ++verdict_.deeper;
            inner = *outer.function;
        }
        failures_.push_back(std::move(failure));
    }

    static const LeftBehind* row(const std::string& function, const std::string& operation,
                                 When when) {
        for (const LeftBehind& each : leftBehind())
            if (each.when == when && function == each.function && operation == each.operation)
                return &each;
        return nullptr;
    }

    // Whether the row is meant for a failure that came up by these calls, innermost first.
    static bool holdsFor(const LeftBehind& row, std::vector<std::string>::const_iterator first,
                         std::vector<std::string>::const_iterator last) {
        const std::string only_for = " " + std::string(row.only_for) + " ";
        return only_for == "  " || only_for.find(" " + *last + " ") != std::string::npos ||
               std::any_of(first, last + 1, [&](const std::string& call) {
                   return only_for.find(" >" + call + " ") != std::string::npos;
               });
    }

    // The first failure after the moment `born` that ended this call of a function, if the row
    // holds for it.
    const Failure* endedBy(const Known& owner, std::size_t born, std::size_t died,
                           const LeftBehind* row) const {
        for (const Failure& failure : failures_) {
            const auto at = std::find(failure.left.begin(), failure.left.end(), owner);
            if (failure.moment <= born || failure.moment >= died || at == failure.left.end())
                continue;
            const auto last = failure.inner.begin() + (at - failure.left.begin());
            return row && holdsFor(*row, failure.inner.begin(), last) ? &failure : nullptr;
        }
        return nullptr;
    }

    // ---- blocks, by the call that gave them and the function that owns them ----
    void judgeBlocks() {
        struct Group {
            Known owner;
            const char* operation;
            std::vector<const Block*> blocks;
        };
        std::map<std::pair<std::size_t, std::size_t>, Group> groups;
        for (std::size_t i = 0; i < record_.blocks.size(); ++i) {
            const Block& block = record_.blocks[i];
            std::vector<Known> known = chain(book_, block.frames);
            std::size_t at = 0;
            while (at < known.size() && row(*known[at].function, block.operation, When::ToCaller))
                ++at;
            if (at == known.size())
                continue;  // the host's
            const std::size_t key = block.call != kNever ? block.call : record_.calls.size() + i;
            Group& group = groups[{key, at}];
            group.owner = known[at];
            group.operation = block.operation;
            group.blocks.push_back(&block);
        }
        for (const auto& [key, group] : groups)
            judgeGroup(group.owner, group.operation, group.blocks);
    }

    void judgeGroup(const Known& owner, const char* operation,
                    const std::vector<const Block*>& blocks) {
        const auto alive = [&](std::size_t moment) {
            return std::count_if(blocks.begin(), blocks.end(), [&](const Block* block) {
                return block->born < moment && block->died > moment;
            });
        };
        if (row(*owner.function, operation, When::InTheSweep))
            return;
        auto expected = static_cast<std::ptrdiff_t>(0);
        const auto made = static_cast<std::ptrdiff_t>(blocks.size());
        if (const LeftBehind* always = row(*owner.function, operation, When::Always))
            expected = always->kept == Kept::All ? made : made - 1;
        if (const LeftBehind* lost = row(*owner.function, operation, When::OnFailure))
            if (const Failure* failure = endedBy(owner, blocks.front()->born, kNever, lost))
                if (const auto then = alive(failure->moment); then > 0)
                    expected = then;
        const auto left = std::count_if(blocks.begin(), blocks.end(),
                                        [](const Block* block) { return block->died == kNever; });
        if (left != expected)
            verdict_.problems.push_back(std::to_string(left) + " blocks of " + operation + " in " +
                                        *owner.function + " stay, not " + std::to_string(expected));
    }

    // ---- locks ----
    void judgeLocks() {
        for (const Lock& lock : record_.locks) {
            if (lock.call == kNever)
                continue;  // older than the run
            const Call& taker = record_.calls[lock.call];
            std::vector<Known> known = chain(book_, taker.frames);
            std::size_t at = 0;
            while (at < known.size() && row(*known[at].function, taker.operation, When::ToCaller))
                ++at;
            if (at == known.size())
                continue;
            const Known& owner = known[at];
            const LeftBehind* kept = row(*owner.function, taker.operation, When::LockKept);
            const Failure* failure = endedBy(owner, lock.born, lock.died, kept);
            if (lock.died != kNever) {
                if (failure && failure->status != 0 && !failure->own && only(*failure))
                    problem(lock, owner, taker, "is given back");
                continue;
            }
            if (failure || row(*owner.function, taker.operation, When::LockAlways))
                continue;
            if (row(*owner.function, taker.operation, When::UnlockFails) &&
                std::any_of(record_.calls.begin() + static_cast<std::ptrdiff_t>(lock.call),
                            record_.calls.end(),
                            [&](const Call& call) { return call.planned && call.unlocks; }))
                continue;
            problem(lock, owner, taker, "stays");
        }
    }

    // Whether no other failure came before it.
    bool only(const Failure& failure) const {
        return std::all_of(failures_.begin(), failures_.end(), [&](const Failure& each) {
            return &each == &failure || each.moment > failure.moment;
        });
    }

    void problem(const Lock& lock, const Known& owner, const Call& taker, const char* what) {
        verdict_.problems.push_back("the lock of #" + std::to_string(lock.object) + " that " +
                                    taker.operation + " took in " + *owner.function + " " + what);
    }

    const Record& record_;
    const Book& book_;
    const int planned_status_;
    const Drops& drops_;
    std::vector<Failure> failures_;
    Verdict verdict_;
};

}  // namespace

void readRules(const Rules& rules, const std::vector<std::uintptr_t>& codes) {
    for (const std::uintptr_t code : codes)
        (void)bookOf(rules).functionKnown(code);
}

Verdict judge(const Record& record, const Rules& rules, int planned_status, const Drops& drops) {
    return Judge(record, rules, planned_status, drops).judge();
}

}  // namespace faults
