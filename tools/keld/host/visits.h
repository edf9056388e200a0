#pragma once

// What a service looked at, object by object, and what came of it.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/record.h"
#include "tools/keld/host/refusal.h"

namespace keld {

inline constexpr std::size_t kNoVisit = static_cast<std::size_t>(-1);

enum class Came { Allowed, Changed, AlreadyThere, NotConcerned, Refused };

struct Visit {
    tag_t object = NULLTAG;       // NULLTAG: not known
    std::size_t from = kNoVisit;  // the visit that led here; kNoVisit: the service began here
    const char* pass = "";        // empty: the service has but one
    std::string section;          // of the configuration; empty: none rules it
    std::string previous, now;    // release status, where the service is about that
    bool line = false;            // of a BOM window
    Came came = Came::Allowed;
    std::string rule;  // why it isn't concerned or is refused; what was changed, if not the status
};

// Visits in their order, and how their objects are called.
class VisitList {
public:
    std::vector<Visit> visits;

    // Ask for labels, types and names, while the session sees what the run has made.
    void describe(const Context& context);
    // Table and "visits" of the document. With `all` false the table is a shorter one: without rule
    // and way, and of the passes beside the one that sets the status only what came to something.
    // The list is empty then.
    void show(Context& context, bool status, bool all);

private:
    std::map<tag_t, ObjectName> names_;

    const ObjectName& name(tag_t object) const;
    Json asJson(std::size_t number) const;
    void showTable(const Context& context, bool status, bool all) const;
    std::vector<std::size_t> wayTo(std::size_t visit) const;
};

// Listens to the calls of a run from its making until it ends: what was touched, in order.
class CallWatch {
public:
    using Each = std::function<void(const mervane::JournalEntry&)>;
    // Objects are kept if `objects`; `each` is told of every call.
    CallWatch(const Context& context, bool objects, Each each = nullptr);
    ~CallWatch() { end(); }
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;
    void end();

    // The last call that failed with this status, and its object; empty: none did.
    struct Failed {
        std::string operation;
        tag_t object = NULLTAG;
    };
    Failed failedWith(int status) const;
    // Objects that people know, each once, in the order in which they were touched first; from
    // which of the earlier ones a visit came the store tells. Nothing if they weren't kept.
    VisitList visits();
    // Show them with what came of each: refused, or changed as the record says, and a line that was
    // set. `rest` tells it of the others; else they passed if something was refused, and if not,
    // the rule says why they aren't concerned.
    using Rest = std::function<void(Visit&)>;
    void show(Context& context, VisitList& list, const Record& record,
              const std::vector<Refusal>& refusals, const std::string& rule,
              const Rest& rest = nullptr) const;

private:
    const Context& context_;
    bool listening_ = true, objects_;
    Each each_;
    std::vector<tag_t> touched_;
    std::set<tag_t> known_, set_;
    std::map<int, Failed> failed_;

    void add(const mervane::JournalEntry& entry);
};

// Of a service that stopped with its status: the object of the call that failed with it, if it is
// there, else `object`, and what the error stack or the log says.
Refusal refusalOfFailure(const Context& context, const Outcome& outcome, const CallWatch& calls,
                         tag_t object, tag_t start);

}  // namespace keld
