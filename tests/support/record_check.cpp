#include "tests/support/record_check.h"

#include <algorithm>
#include <map>
#include <set>

#include "workbench/model/status.h"
#include "workbench/workbench.h"

namespace keld_test {

namespace {

using namespace mervane;

struct Known {
    bool made = false, gone = false;
    std::map<std::string, Values> values;
    std::map<std::string, std::vector<Values>> recorded;  // of a shared object
};

class Replay {
public:
    explicit Replay(const std::vector<tag_t>& shared) : shared_(shared.begin(), shared.end()) {}

    RecordCheck run() {
        std::vector<RunHead> heads = bench_.runs({});
        std::reverse(heads.begin(), heads.end());
        for (const RunHead& head : heads) {
            ++found_.runs;
            found_.not_ended += head.ended.empty();
            if (!head.ended.empty() && head.running)
                add("run " + std::to_string(head.number) + " has ended and is under way");
            std::int64_t position = 0;
            bench_.readRun(head.number, [&](const RunEntry& entry) {
                ++found_.entries;
                if (entry.position <= position)
                    add("run " + std::to_string(head.number) + ": entries are out of order");
                position = entry.position;
                replay(head.number, entry);
            });
            if (position == 0)
                add("run " + std::to_string(head.number) + " has no entry");
        }
        for (const auto& [tag, object] : objects_)
            compare(tag, object);
        for (const auto& [id, in] : ids_) {
            const auto all = bench_.registeredIds();
            if ((std::find(all.begin(), all.end(), id) != all.end()) != in)
                add("the id " + id + (in ? " isn't" : " is") + " registered");
        }
        for (const auto& [tag, out] : check_outs_)
            if (!objects_[tag].gone && bench_.checkOutOf(tag).has_value() != out)
                add("#" + std::to_string(tag) + (out ? " isn't" : " is") + " checked out");
        return std::move(found_);
    }

private:
    Workbench& bench_ = *mervane_workbench();
    std::set<tag_t> shared_;
    std::map<tag_t, Known> objects_;
    std::map<std::string, bool> ids_;
    std::map<tag_t, bool> check_outs_;
    RecordCheck found_;

    void add(const std::string& text) { found_.wrong.push_back("record: " + text); }

    void begins(std::int64_t run, tag_t tag, const Known& object, const RunValue& value) {
        const auto at = object.values.find(value.attribute);
        if (at == object.values.end() ? object.made && !value.before.empty()
                                      : at->second != value.before)
            add("run " + std::to_string(run) + " found another value of " + value.attribute +
                " of #" + std::to_string(tag) + " than the runs before it left");
    }

    void replay(std::int64_t run, const RunEntry& entry) {
        const auto where = [&] {
            return "run " + std::to_string(run) + ", #" + std::to_string(entry.object);
        };
        switch (entry.change) {
            case RunChange::ObjectMade: {
                Known& object = objects_[entry.object];
                if (object.made && !object.gone)
                    add(where() + " is made twice");
                object = {true, false, {}, {}};
                for (const RunValue& value : entry.values)
                    object.values[value.attribute] = value.after;
                break;
            }
            case RunChange::ObjectChanged: {
                Known& object = objects_[entry.object];
                if (object.gone)
                    add(where() + " is changed after it was deleted");
                for (const RunValue& value : entry.values) {
                    if (shared_.contains(entry.object))
                        object.recorded[value.attribute].push_back(value.after);
                    else
                        begins(run, entry.object, object, value);
                    object.values[value.attribute] = value.after;
                }
                break;
            }
            case RunChange::ObjectDeleted: {
                Known& object = objects_[entry.object];
                if (object.gone)
                    add(where() + " is deleted twice");
                for (const RunValue& value : entry.values)
                    begins(run, entry.object, object, value);
                object = {object.made, true, {}, {}};
                break;
            }
            case RunChange::IdRegistered:
            case RunChange::IdTakenOut:
                ids_[entry.text] = entry.change == RunChange::IdRegistered;
                break;
            case RunChange::CheckOutMade:
            case RunChange::CheckOutEnded:
                check_outs_[entry.object] = entry.change == RunChange::CheckOutMade;
                break;
            default:
                break;
        }
    }

    void compare(tag_t tag, const Known& object) {
        const std::string name = "#" + std::to_string(tag);
        std::vector<std::string> attributes;
        try {
            attributes = bench_.attributeNames(tag);
        } catch (const Failure& failure) {
            if (!object.gone)
                add(name + " isn't there: " + failure.what());
            return;
        }
        if (object.gone)
            return add(name + " is there, its deletion is recorded");
        for (const std::string& attribute : attributes) {
            const auto at = object.values.find(attribute);
            if (at == object.values.end() && !object.made)
                continue;
            const Values last = at == object.values.end() ? Values{} : at->second;
            const Values now = bench_.get(tag, attribute);
            if (now == last)
                continue;
            const auto recorded = object.recorded.find(attribute);
            if (recorded == object.recorded.end() ||
                std::find(recorded->second.begin(), recorded->second.end(), now) ==
                    recorded->second.end())
                add(name + " has another value of " + attribute + " than its last record");
        }
    }
};

}  // namespace

RecordCheck checkRecords(const std::vector<tag_t>& shared) {
    return Replay(shared).run();
}

}  // namespace keld_test
