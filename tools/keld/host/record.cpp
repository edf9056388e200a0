#include "tools/keld/host/record.h"

#include <algorithm>
#include <cstdio>

namespace keld {

namespace {

using mervane::RunChange;
using mervane::RunEntry;

constexpr char kStatuses[] = "release_status_list";

// Every save sets these.
bool isBookkeeping(const std::string& attribute) {
    return attribute == "last_mod_date" || attribute == "last_mod_user";
}

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
            char buffer[80];
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
            try {  // "Released (#4711)" for an object without an id
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

std::string RecordReader::textOf(const mervane::Values& values) const {
    std::string text;
    for (const auto& value : values)
        text += (text.empty() ? "" : ", ") + asText(context_, value);
    return text;
}

void RecordReader::add(const RunEntry& entry) {
    const bool of_object = entry.change == RunChange::ObjectMade ||
                           entry.change == RunChange::ObjectChanged ||
                           entry.change == RunChange::ObjectDeleted;
    if (of_object)
        addObject(entry);
    else
        addOther(entry);
}

// Sum up the entries of an object: its values before the first and after the last one.
void RecordReader::addObject(const RunEntry& entry) {
    const auto [at, fresh] = places_.try_emplace(entry.object, record_.objects.size());
    if (fresh) {
        ChangedObject made;
        made.change = "changed";
        made.tag = entry.object;
        made.label = context_.label(entry.object);
        made.typed = context_.title(entry.object);
        made.type = entry.type;
        try {
            made.name = context_.workbench().describe(entry.object).name;
        } catch (const mervane::Failure&) {
            made.label = made.typed = "#" + std::to_string(entry.object);
        }
        if (entry.change == RunChange::ObjectMade)
            made.change = "new";
        record_.objects.push_back(std::move(made));
    }
    ChangedObject& object = record_.objects[at->second];
    if (entry.change == RunChange::ObjectDeleted) {
        for (const mervane::RunValue& value : entry.values)
            if (value.attribute == "name" && !value.before.empty())
                status_names_[entry.object] = textOf(value.before);
        // Nobody sees an object that was made and deleted in the same run.
        object.change = object.change == "new" ? "" : "deleted";
        if (object.label.starts_with("#") && !entry.text.empty())
            object.name = entry.text;
        object.values.clear();
        return;
    }
    if (object.change == "deleted" && entry.change == RunChange::ObjectMade)
        object.change = "changed";
    for (const mervane::RunValue& value : entry.values) {
        if (isBookkeeping(value.attribute))
            continue;
        // Keep the name: a later run may have deleted the status that this one made.
        if (entry.change == RunChange::ObjectMade && value.attribute == "name")
            status_names_[entry.object] = textOf(value.after);
        if (value.attribute == kStatuses)
            addStatuses(entry, value);
        const auto known = std::find_if(
            object.values.begin(), object.values.end(),
            [&](const ChangedValue& each) { return each.attribute == value.attribute; });
        if (known != object.values.end()) {
            known->after = textOf(value.after);
            continue;
        }
        const mervane::Values& some = value.after.empty() ? value.before : value.after;
        object.values.push_back({value.attribute, textOf(value.before), textOf(value.after),
                                 !some.empty() && some.front().index() == 0});
    }
}

// Find the latest status whose name is known. The name is asked for now, while the status exists;
// that of a deleted one comes with a later entry.
tag_t RecordReader::latest(const mervane::Values& list) {
    for (std::size_t i = list.size(); i-- > 0;) {
        const tag_t status = std::get<mervane::Reference>(list[i]).tag;
        if (status_names_.contains(status))
            return status;
        try {
            status_names_[status] = textOf(context_.workbench().get(status, "name"));
            return status;
        } catch (const mervane::Failure&) {
            if (i == 0 || i + 1 == list.size())
                return status;
        }
    }
    return NULLTAG;
}

void RecordReader::addStatuses(const RunEntry& entry, const mervane::RunValue& value) {
    const auto [at, fresh] = statuses_.try_emplace(entry.object);
    if (fresh)
        at->second.before = latest(value.before);
    at->second.after = latest(value.after);
}

void RecordReader::addOther(const RunEntry& entry) {
    OtherChange other;
    other.tag = entry.object;
    other.text = entry.text;
    if (entry.object != NULLTAG) {
        other.label = context_.label(entry.object);
        other.typed = context_.title(entry.object);
    }
    const auto value = [&](bool after) {
        if (entry.values.empty())
            return std::string();
        const mervane::Values& values =
            after ? entry.values.front().after : entry.values.front().before;
        return textOf(values);
    };
    switch (entry.change) {
        case RunChange::FileStored:
            other.subject = "file", other.change = "stored";
            break;
        case RunChange::FileRemoved:
            other.subject = "file", other.change = "removed";
            break;
        case RunChange::CheckOutMade:
            other.subject = "check-out", other.change = "made", other.text = value(true);
            break;
        case RunChange::CheckOutEnded:
            other.subject = "check-out", other.change = "ended", other.text = value(false);
            break;
        case RunChange::IdRegistered:
            other.subject = "id", other.change = "registered", other.outside = value(true);
            break;
        case RunChange::IdTakenOut:
            other.subject = "id", other.change = "taken out", other.outside = value(true);
            break;
        case RunChange::WorkflowStarted:
            other.subject = "workflow", other.change = "started";
            break;
        case RunChange::PreferenceSet:
            other.subject = "preference", other.change = "set";
            break;
        case RunChange::RightAdded:
            other.subject = "right", other.change = "added", other.text = value(true);
            break;
        case RunChange::RightRemoved:
            other.subject = "right", other.change = "removed", other.text = value(false);
            break;
        default:
            other.subject = "model", other.change = "extended";
            break;
    }
    record_.others.push_back(std::move(other));
}

namespace {

// Add the name to "#12 (gone)" where the run itself has deleted the object.
void nameDeleted(std::string& text, const std::map<std::string, std::string>& names) {
    constexpr std::string_view kGone = " (gone)";
    for (std::size_t end = 0; (end = text.find(kGone, end)) != std::string::npos;
         end += kGone.size()) {
        const std::size_t begin = text.rfind('#', end);
        const auto known =
            begin == std::string::npos ? names.end() : names.find(text.substr(begin, end - begin));
        if (known == names.end())
            continue;
        const std::string told = known->second + " (" + known->first + ", gone)";
        text.replace(begin, end + kGone.size() - begin, told);
        end = begin + told.size() - kGone.size();
    }
}

}  // namespace

Record RecordReader::take(mervane::RunHead head) {
    record_.head = std::move(head);
    std::map<std::string, std::string> deleted;
    for (const ChangedObject& object : record_.objects)
        if (object.change == "deleted" && !object.name.empty())
            deleted["#" + std::to_string(object.tag)] = object.name;
    if (!deleted.empty())
        for (ChangedObject& object : record_.objects)
            for (ChangedValue& value : object.values)
                nameDeleted(value.before, deleted);
    for (const auto& [object, status] : statuses_) {
        ChangedObject& changed = record_.objects[places_.at(object)];
        const auto name = [&](tag_t tag) {
            const auto known = status_names_.find(tag);
            return known == status_names_.end() ? std::string() : known->second;
        };
        changed.status = {name(status.before), name(status.after)};
    }
    for (ChangedObject& object : record_.objects)
        std::erase_if(object.values,
                      [](const ChangedValue& value) { return value.before == value.after; });
    std::erase_if(record_.objects, [](const ChangedObject& object) {
        return object.change.empty() || (object.change == "changed" && object.values.empty());
    });
    return std::move(record_);
}

Record readRecord(const Context& context, std::int64_t number) {
    const mervane::RunHead head = context.workbench().run(number);
    RecordReader reader(context);
    context.workbench().readRun(number, [&](const RunEntry& entry) { reader.add(entry); });
    return reader.take(head);
}

std::string titled(const ChangedObject& object) {
    return object.typed.starts_with("#") && !object.name.empty() ? object.typed + " " + object.name
                                                                 : object.typed;
}

const char* wayName(mervane::RunWay way) {
    switch (way) {
        case mervane::RunWay::AsServer:
            return "as the server";
        case mervane::RunWay::Whole:
            return "whole";
        default:
            return "rehearsal";
    }
}

const char* resultName(mervane::RunResult result) {
    switch (result) {
        case mervane::RunResult::Done:
            return "done";
        case mervane::RunResult::DoneWithFailures:
            return "done with failures";
        case mervane::RunResult::Refused:
            return "refused";
        default:
            return "interrupted";
    }
}

Json changesAsJson(const Record& record) {
    Json all = Json::array();
    for (const ChangedObject& object : record.objects) {
        Json values = Json::array();
        for (const ChangedValue& value : object.values)
            values.push_back(
                {{"attribute", value.attribute}, {"before", value.before}, {"after", value.after}});
        all.push_back({{"change", object.change},
                       {"object", object.label},
                       {"name", object.name},
                       {"type", object.type},
                       {"tag", object.tag},
                       {"values", values}});
    }
    return all;
}

Json asJson(const Record& record) {
    const mervane::RunHead& head = record.head;
    Json counts = Json::object(), others = Json::array();
    for (const auto& [name, count] : head.counts)
        counts[name] = count;
    for (const OtherChange& other : record.others)
        others.push_back({{"subject", other.subject},
                          {"change", other.change},
                          {"object", other.label.empty() ? Json() : Json(other.label)},
                          {"tag", other.tag == NULLTAG ? Json() : Json(other.tag)},
                          {"text", other.text},
                          {"outside", other.outside.empty() ? Json() : Json(other.outside)}});
    const bool ended = !head.ended.empty();
    return {{"number", head.number == 0 ? Json() : Json(head.number)},
            {"way", wayName(head.way)},
            {"service", head.service},
            {"arguments", head.arguments},
            {"user", head.user},
            {"group", head.group},
            {"host", head.host},
            {"process", head.process},
            {"began", head.began},
            {"ended", ended ? Json(head.ended) : Json()},
            {"running", head.running},
            {"result", ended ? Json(resultName(head.outcome.result)) : Json()},
            {"status", ended ? Json(head.outcome.status) : Json()},
            {"slot", head.outcome.slot},
            {"error_stack", head.outcome.stack},
            {"outside", head.outcome.notes},
            {"version", head.version},
            {"configuration", head.configuration},
            {"configuration_sha256", head.configuration_sha256},
            {"entries", head.entries},
            {"undoes", head.undoes == 0 ? Json() : Json(head.undoes)},
            {"undone_by", head.undone == 0 ? Json() : Json(head.undone)},
            {"counts", counts},
            {"changes", changesAsJson(record)},
            {"others", others}};
}

std::string changesAsText(const Record& record, const std::string& nothing) {
    std::string text;
    Table table({"CHANGE", "OBJECT", "TYPE", "ATTRIBUTE", "BEFORE", "AFTER"});
    for (const ChangedObject& object : record.objects) {
        if (object.values.empty())
            table.add({object.change, titled(object), object.type});
        bool first = true;
        for (const ChangedValue& value : object.values) {
            table.add({first ? object.change : "", first ? titled(object) : "",
                       first ? object.type : "", value.attribute, value.before, value.after});
            first = false;
        }
    }
    if (!table.empty())
        text += table.text();
    for (const OtherChange& other : record.others)
        text +=
            shown(
                other.subject + " " + other.change + (other.text.empty() ? "" : ": " + other.text) +
                (other.typed.empty() || other.label == other.text ? "" : " (" + other.typed + ")") +
                (other.outside.empty() ? "" : ", in " + other.outside)) +
            "\n";
    return text.empty() ? nothing : text;
}

}  // namespace keld
