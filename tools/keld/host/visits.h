#pragma once

// The objects that a service looked at, and the result for each.

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
    tag_t object = NULLTAG;       // NULLTAG: unknown
    std::size_t from = kNoVisit;  // the visit that led here; kNoVisit: the service began here
    const char* pass = "";        // empty: the service has a single one
    std::string section;          // section of the configuration; empty: none applies
    std::string previous, now;    // release status, for services that set it
    bool line = false;            // a line of a BOM window
    Came came = Came::Allowed;
    std::string rule;  // why not concerned or refused; or the change, if it isn't the status
};

// Visits in their order, with the names of their objects.
class VisitList {
public:
    std::vector<Visit> visits;

    // Read labels, types and names. Requires: the session still sees what the run has made.
    void describe(const Context& context);
    // Show the table, and "visits" in the document. With `all` false the table is shorter: it lacks
    // rule and way, and outside the main pass it has only the visits with a result. In the document
    // the list may be long, so it is moved there: it is empty afterwards.
    void show(Context& context, bool status, bool all);

private:
    std::map<tag_t, ObjectName> names_;

    const ObjectName& name(tag_t object) const;
    Json asJson(std::size_t number) const;
    void showTable(const Context& context, bool status, bool all) const;
    std::vector<std::size_t> wayTo(std::size_t visit) const;
};

// Listens to the calls of a run, from construction to end(), and keeps the objects that they
// touched.
class CallWatch {
public:
    using Each = std::function<void(const mervane::JournalEntry&)>;
    // Objects are kept if `objects`; `each` gets every call.
    CallWatch(const Context& context, bool objects, Each each = nullptr);
    ~CallWatch() { end(); }
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;
    void end();

    // The last call that failed with this status, and its object; empty: there is none.
    struct Failed {
        std::string operation;
        tag_t object = NULLTAG;
    };
    Failed failedWith(int status) const;
    // The objects that people know, each once, in the order of their first call. `from` is the
    // earliest visit of an object above this one in the store. Empty if objects weren't kept.
    VisitList visits();
    // Show the visits with the result of each: refused; changed, by the record or for a line by its
    // calls. For all others, `rest` may set the result; without it they count as allowed if
    // something was refused, else as not concerned, because of `rule`.
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

// The refusal of a service that ended with its status. It is about the object of the call that
// failed with it, or about `object` if that doesn't exist; the error stack or the log gives the
// reason.
Refusal refusalOfFailure(const Context& context, const Outcome& outcome, const CallWatch& calls,
                         tag_t object, tag_t start);

}  // namespace keld
