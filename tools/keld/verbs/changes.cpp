#include "tools/keld/verbs/changes.h"

#include <cstdio>
#include <set>

#include "tools/keld/host/progress.h"

namespace keld {

namespace {

const std::set<std::string> kChangedByEverySave = {"last_mod_date", "last_mod_user"};

std::string asText(const Context& context, const mervane::Value& value) {
    struct Shower {
        const Context& context;
        std::string operator()(const std::string& text) const { return text; }
        std::string operator()(std::int64_t number) const { return std::to_string(number); }
        std::string operator()(double number) const {
            char buffer[40];
            std::snprintf(buffer, sizeof buffer, "%.15g", number);
            return buffer;
        }
        std::string operator()(bool yes) const { return yes ? "True" : "False"; }
        std::string operator()(const mervane::Date& date) const {
            char buffer[40];
            std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", date.date.year,
                          date.date.month + 1, date.date.day, date.date.hour, date.date.minute,
                          date.date.second);
            return buffer;
        }
        std::string operator()(const mervane::Reference& reference) const {
            if (reference.tag == NULLTAG)
                return "";
            std::string label = context.label(reference.tag);
            if (!label.starts_with("#"))
                return label;
            try {  // "Released (#4711)" for what has no id
                const std::string name = context.workbench().describe(reference.tag).name;
                return name.empty() ? label : name + " (" + label + ")";
            } catch (const mervane::Failure&) {
                return label + " (gone)";
            }
        }
    };
    return std::visit(Shower{context}, value);
}

}  // namespace

Snapshot takeSnapshot(Context& context) {
    const Progress progress("comparing the store");
    Snapshot snapshot;
    for (const auto& found : context.workbench().find({"", "Instance", "", 0})) {
        Snapshot::Entry entry{context.label(found.tag), found.type, {}};
        for (const std::string& name : context.workbench().attributeNames(found.tag)) {
            if (kChangedByEverySave.contains(name))
                continue;
            std::string text;
            for (const auto& value : context.workbench().get(found.tag, name))
                text += (text.empty() ? "" : ", ") + asText(context, value);
            entry.values.emplace(name, text);
        }
        snapshot.objects.emplace(found.tag, std::move(entry));
    }
    return snapshot;
}

std::vector<Change> changesBetween(const Snapshot& before, const Snapshot& after) {
    std::vector<Change> changes;
    for (const auto& [tag, entry] : before.objects) {
        const auto now = after.objects.find(tag);
        if (now == after.objects.end()) {
            changes.push_back({"deleted", tag, entry.label, entry.type, {}});
            continue;
        }
        Change change{"changed", tag, entry.label, entry.type, {}};
        for (const auto& [name, text] : now->second.values) {
            const auto old = entry.values.find(name);
            const std::string was = old == entry.values.end() ? "" : old->second;
            if (was != text)
                change.values.push_back({name, was, text});
        }
        if (!change.values.empty())
            changes.push_back(std::move(change));
    }
    for (const auto& [tag, entry] : after.objects) {
        if (before.objects.contains(tag))
            continue;
        Change change{"new", tag, entry.label, entry.type, {}};
        for (const auto& [name, text] : entry.values)
            if (!text.empty())
                change.values.push_back({name, "", text});
        changes.push_back(std::move(change));
    }
    return changes;
}

Json asJson(const std::vector<Change>& changes) {
    Json all = Json::array();
    for (const Change& change : changes) {
        Json values = Json::array();
        for (const auto& value : change.values)
            values.push_back(
                {{"attribute", value.attribute}, {"before", value.before}, {"after", value.after}});
        all.push_back({{"change", change.what},
                       {"object", change.label},
                       {"type", change.type},
                       {"tag", change.tag},
                       {"values", values}});
    }
    return all;
}

std::string asText(const std::vector<Change>& changes) {
    if (changes.empty())
        return "nothing would change\n";
    Table table({"CHANGE", "OBJECT", "TYPE", "ATTRIBUTE", "BEFORE", "AFTER"});
    for (const Change& change : changes) {
        if (change.values.empty())
            table.add({change.what, change.label, change.type});
        bool first = true;
        for (const auto& value : change.values) {
            table.add({first ? change.what : "", first ? change.label : "",
                       first ? change.type : "", value.attribute, value.before, value.after});
            first = false;
        }
    }
    return table.text();
}

}  // namespace keld
