#pragma once

// What a run has changed, object by object, for people.

#include <map>
#include <string>
#include <vector>

#include "tools/keld/host/context.h"

namespace keld {

struct ChangedValue {
    std::string attribute, before, after;
    bool text = false;  // the attribute holds strings
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

// A change to something other than an object: "file", "check-out", "id", "workflow", "preference",
// "right", "model".
// "model".
struct OtherChange {
    std::string subject, change;  // change: "stored", "made", "registered", "set", ...
    tag_t tag = 0;
    std::string label, typed, text;
    std::string outside;  // place of a change outside the store; empty: inside
};

struct Record {
    mervane::RunHead head;
    std::vector<ChangedObject> objects;  // by first change
    std::vector<OtherChange> others;     // by time
};

// Builds a record from the entries of a run, in their order. Requires: the session sees what the
// run made.
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
    std::map<tag_t, std::string> status_names_;  // as far as known

    void addStatuses(const mervane::RunEntry& entry, const mervane::RunValue& value);
    tag_t latest(const mervane::Values& list);
    void addObject(const mervane::RunEntry& entry);
    void addOther(const mervane::RunEntry& entry);
    std::string textOf(const mervane::Values& values) const;
};

// Read a stored record. Failure: there is no such run.
Record readRecord(const Context& context, std::int64_t number);

// The title of an object; one without an id has its tag and name.
std::string titled(const ChangedObject& object);

Json asJson(const Record& record);
Json changesAsJson(const Record& record);
// The table of changes; `nothing` if there are none.
std::string changesAsText(const Record& record, const std::string& nothing);
// The way and the result of a run, in words for people.
const char* wayName(mervane::RunWay way);
const char* resultName(mervane::RunResult result);

}  // namespace keld
