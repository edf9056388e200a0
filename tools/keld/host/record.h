#pragma once

// What a run has changed, object by object, as people read it.

#include <map>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

struct ChangedValue {
    std::string attribute, before, after;
    bool text = false;  // of the kind string
};

struct ChangedObject {
    std::string change;  // "new", "changed", "deleted"
    tag_t tag = 0;
    std::string label, typed, type, name;  // typed: the label as people type it
    std::vector<ChangedValue> values;
    struct {
        std::string before, after;
    } status;  // names of the latest release status; empty: none
};

// A change beside the objects: "file", "check-out", "id", "workflow", "preference", "right",
// "model".
struct OtherChange {
    std::string subject, change;  // change: "stored", "made", "registered", "set", ...
    tag_t tag = 0;
    std::string label, typed, text;
    std::string outside;  // where it was changed outside the store; empty: inside
};

struct Record {
    mervane::RunHead head;
    std::vector<ChangedObject> objects;  // in the order in which they were changed first
    std::vector<OtherChange> others;     // in their order
};

// Put together from entries, which come in their order, while the session sees what the run made.
class RecordReader {
public:
    explicit RecordReader(const Context& context) : context_(context) {}
    void add(const mervane::RunEntry& entry);
    Record take(mervane::RunHead head);

private:
    const Context& context_;
    Record record_;
    std::map<tag_t, std::size_t> places_;
    struct Statuses {
        tag_t before = NULLTAG, after = NULLTAG;  // the latest ones
    };
    std::map<tag_t, Statuses> statuses_;         // of objects whose list was changed
    std::map<tag_t, std::string> status_names_;  // as far as they are known

    void addStatuses(const mervane::RunEntry& entry, const mervane::RunValue& value);
    tag_t latest(const mervane::Values& list);
    void addObject(const mervane::RunEntry& entry);
    void addOther(const mervane::RunEntry& entry);
    std::string textOf(const mervane::Values& values) const;
};

// A stored record. Failure if there is no such run.
Record readRecord(const Context& context, std::int64_t number);

// Objects without an id are told by tag and name.
std::string titled(const ChangedObject& object);

Json asJson(const Record& record);
Json changesAsJson(const Record& record);
// The table of changes; `nothing` where there is none.
std::string changesAsText(const Record& record, const std::string& nothing);
// Kept, gone back...: the way, the outcome and the number.
const char* wayName(mervane::RunWay way);
const char* resultName(mervane::RunResult result);

}  // namespace keld
