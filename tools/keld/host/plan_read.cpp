#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "tools/keld/host/plan.h"
#include "tools/keld/host/plan_file.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/system.h"

// Reading a plan: each key must be there and have the right kind; a message names the one that
// hasn't.

namespace keld {

namespace {

using mervane::RunChange;
using mervane::RunResult;

struct NamedChange {
    RunChange change;
    const char* name;
};
constexpr NamedChange kChanges[] = {
    {RunChange::ObjectMade, "made"},
    {RunChange::ObjectChanged, "changed"},
    {RunChange::ObjectDeleted, "deleted"},
    {RunChange::FileStored, "file stored"},
    {RunChange::FileRemoved, "file removed"},
    {RunChange::CheckOutMade, "check-out made"},
    {RunChange::CheckOutEnded, "check-out ended"},
    {RunChange::IdRegistered, "id registered"},
    {RunChange::IdTakenOut, "id taken out"},
    {RunChange::WorkflowStarted, "workflow started"},
    {RunChange::PreferenceSet, "preference set"},
    {RunChange::RightAdded, "right added"},
    {RunChange::RightRemoved, "right removed"},
    {RunChange::ModelExtended, "model extended"},
};

// A part of the file, with its place for messages.
class PlanNode {
public:
    PlanNode(const Json& json, const std::string& file, std::string where)
        : json_(json), file_(file), where_(std::move(where)) {}

    [[noreturn]] void refuse(const std::string& what) const {
        throw CommandError("the plan " + file_ + " can't be used: " + where_ + " " + what);
    }
    bool has(const char* key) const { return json_.is_object() && json_.contains(key); }
    bool isNull() const { return json_.is_null(); }
    bool isObject() const { return json_.is_object(); }
    PlanNode at(const char* key) const {
        if (!json_.is_object())
            refuse("is " + kind() + ", expected an object with the key \"" + key + "\"");
        const auto found = json_.find(key);
        if (found == json_.end())
            refuse(std::string("has no key \"") + key + "\"");
        return {*found, file_,
                where_ == kTop ? '"' + std::string(key) + '"' : where_ + ", \"" + key + "\""};
    }
    const Json& json() const { return json_; }
    std::int64_t number(std::int64_t least, std::int64_t most) const {
        if (!json_.is_number_integer())
            refuse("is " + kind() + ", expected a whole number");
        if (json_.is_number_unsigned() && json_.get<std::uint64_t>() > 0x7FFFFFFFFFFFFFFFULL)
            refuse("is too large");
        const auto value = json_.get<std::int64_t>();
        if (value < least || value > most)
            refuse("is " + std::to_string(value) + ", expected a number from " +
                   std::to_string(least) + " to " + std::to_string(most));
        return value;
    }
    tag_t tag() const {
        return static_cast<tag_t>(number(0, std::numeric_limits<std::uint32_t>::max()));
    }
    std::string text() const {
        if (json_.is_string())
            return json_.get<std::string>();
        if (json_.is_object() && json_.size() == 1 && json_.contains("bytes"))
            return at("bytes").bytes();
        refuse("is " + kind() + ", expected a text");
    }
    std::vector<PlanNode> list() const {
        if (!json_.is_array())
            refuse("is " + kind() + ", expected a list");
        std::vector<PlanNode> all;
        for (std::size_t i = 0; i < json_.size(); ++i)
            all.push_back({json_[i], file_, where_ + ", number " + std::to_string(i + 1)});
        return all;
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const PlanNode& each : list())
            all.push_back(each.text());
        return all;
    }
    mervane::Values values() const {
        mervane::Values all;
        for (const PlanNode& each : list())
            all.push_back(each.value());
        return all;
    }
    std::string moment() const {
        const std::string digits = text();
        const std::string_view form = "0000-00-00 00:00:00";
        bool good = digits.size() == form.size();
        for (std::size_t i = 0; good && i < form.size(); ++i)
            good = form[i] == '0' ? digits[i] >= '0' && digits[i] <= '9' : digits[i] == form[i];
        if (!good)
            refuse("is no moment, expected one like 2001-02-03 04:05:06");
        return digits;
    }

    static constexpr const char* kTop = "it";

private:
    const Json& json_;
    const std::string& file_;
    std::string where_;

    std::string kind() const {
        switch (json_.type()) {
            case Json::value_t::null:
                return "null";
            case Json::value_t::object:
                return "an object";
            case Json::value_t::array:
                return "a list";
            case Json::value_t::string:
                return "a text";
            case Json::value_t::boolean:
                return "a logical";
            default:
                return "a number";
        }
    }
    std::string bytes() const {
        if (!json_.is_string())
            refuse("is " + kind() + ", expected a text");
        const std::string digits = json_.get<std::string>();
        std::string all;
        for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
            all += static_cast<char>(std::strtol(digits.substr(i, 2).c_str(), nullptr, 16));
        if (digits.size() % 2 != 0 ||
            digits.find_first_not_of("0123456789abcdef") != std::string::npos)
            refuse("holds no bytes, expected two digits 0 to f for each");
        return all;
    }
    mervane::Value value() const {
        if (json_.is_boolean())
            return json_.get<bool>();
        if (json_.is_number())
            return number(std::numeric_limits<std::int64_t>::min(),
                          std::numeric_limits<std::int64_t>::max());
        if (has("tag"))
            return mervane::Reference{at("tag").tag()};
        if (has("double")) {
            const std::string digits = at("double").text();
            char* end = nullptr;
            const double number = std::strtod(digits.c_str(), &end);
            if (digits.empty() || *end != '\0')
                refuse("holds no number");
            return number;
        }
        if (has("date"))
            return at("date").date();
        return text();
    }
    mervane::Date date() const {
        const std::string digits = text();
        int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
        char end = '\0';
        if (std::sscanf(digits.c_str(), "%d-%d-%dT%d:%d:%d%c", &year, &month, &day, &hour, &minute,
                        &second, &end) != 6)
            refuse("is no date, expected one like 2001-02-03T04:05:06");
        mervane::Date date;
        date.date.year = static_cast<std::int16_t>(year);
        date.date.month = static_cast<std::uint8_t>(month - 1);
        date.date.day = static_cast<std::uint8_t>(day);
        date.date.hour = static_cast<std::uint8_t>(hour);
        date.date.minute = static_cast<std::uint8_t>(minute);
        date.date.second = static_cast<std::uint8_t>(second);
        return date;
    }
};

Json jsonIn(const std::string& path) {
    std::error_code failure;
    const auto status = std::filesystem::status(pathOf(path), failure);
    if (!std::filesystem::exists(status))
        throw CommandError("there is no file " + path);
    if (!std::filesystem::is_regular_file(status))
        throw CommandError(path + " is no regular file, expected a plan");
    std::ifstream in(pathOf(path), std::ios::binary);
    if (!in)
        throw CommandError("can't read " + path + ": " + std::strerror(errno));
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const auto refuse = [&](const std::string& what) {
        throw CommandError("the plan " + path + " can't be used: " + what);
    };
    if (text.empty())
        refuse("it is empty, expected a JSON document");
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        refuse(error.byte >= text.size()
                   ? "it is cut off after byte " + std::to_string(text.size()) +
                         ", expected a whole JSON document"
                   : "it is no JSON document; byte " + std::to_string(error.byte) +
                         " is the first that none can have there");
    }
    return {};
}

RunResult resultIn(const PlanNode& node) {
    const std::string word = node.text();
    for (const RunResult result : {RunResult::Done, RunResult::DoneWithFailures})
        if (word == resultWord(result))
            return result;
    node.refuse("is \"" + word + "\", expected \"" + resultWord(RunResult::Done) + "\" or \"" +
                resultWord(RunResult::DoneWithFailures) + "\"");
}

void readReads(const PlanNode& top, Plan& plan) {
    for (const PlanNode& node : top.at("objects").list()) {
        const tag_t tag = node.at("tag").tag();
        plan.objects[tag] = {node.at("object").text(), node.at("type").text()};
        plan.reads.objects.push_back(
            {tag, node.at("version").number(0, std::numeric_limits<std::int64_t>::max())});
    }
    for (const PlanNode& node : top.at("searches").list()) {
        mervane::RunReads::Search search{node.at("class").text(), node.at("attribute").text(),
                                         NULLTAG, ""};
        if (node.has("tag"))
            search.target = node.at("tag").tag();
        else
            search.text = node.at("text").text();
        plan.reads.searches.push_back(std::move(search));
    }
}

void readEntries(const PlanNode& top, Plan& plan) {
    for (const PlanNode& node : top.at("entries").list()) {
        mervane::RunEntry entry;
        entry.position = static_cast<std::int64_t>(plan.entries.size()) + 1;
        if (const std::string name = node.at("change").text(); !changeNamed(name, &entry.change)) {
            std::vector<std::string> names;
            for (const NamedChange& each : kChanges)
                names.emplace_back(each.name);
            node.at("change").refuse("is \"" + name + "\", expected one of " + joined(names, ", "));
        }
        if (const PlanNode tag = node.at("tag"); !tag.isNull())
            entry.object = tag.tag();
        entry.type = node.at("type").text();
        entry.text = node.at("text").text();
        for (const PlanNode& value : node.at("values").list())
            entry.values.push_back({value.at("attribute").text(), value.at("before").values(),
                                    value.at("after").values()});
        plan.entries.push_back(std::move(entry));
    }
}

}  // namespace

const char* changeName(RunChange change) {
    for (const NamedChange& each : kChanges)
        if (each.change == change)
            return each.name;
    return "?";
}

bool changeNamed(const std::string& name, RunChange* change) {
    for (const NamedChange& each : kChanges)
        if (name == each.name) {
            *change = each.change;
            return true;
        }
    return false;
}

const char* resultWord(RunResult result) {
    return result == RunResult::Done ? "done" : "done with failures";
}

Plan readPlan(const std::string& path) {
    const Json json = jsonIn(path);
    const PlanNode top(json, path, PlanNode::kTop);
    constexpr std::int64_t kMostInt = std::numeric_limits<int>::max();
    const std::int64_t form = top.at("plan").number(1, kMostInt);
    if (form != kPlanVersion)
        top.at("plan").refuse("is " + std::to_string(form) + ", this keld reads version " +
                              std::to_string(kPlanVersion));
    Plan plan;
    plan.file = path;
    plan.version = top.at("version").text();
    plan.store = top.at("store").text();
    plan.command = top.at("command").texts();
    for (const PlanNode& node : top.at("calls").list()) {
        const PlanNode arguments = node.at("arguments");
        (void)arguments.list();
        plan.calls.push_back({node.at("service").text(), arguments.json()});
    }
    const PlanNode run = top.at("run");
    plan.runner = {run.at("user").text(),
                   run.at("user_name").text(),
                   run.at("group").text(),
                   run.at("host").text(),
                   run.at("user_tag").tag(),
                   run.at("group_tag").tag(),
                   static_cast<int>(run.at("process").number(0, kMostInt)),
                   run.at("began").moment(),
                   run.at("ended").moment()};
    if (const PlanNode configuration = top.at("configuration"); !configuration.isNull()) {
        plan.configuration = configuration.at("path").text();
        plan.configuration_sha256 = configuration.at("sha256").text();
    }
    const PlanNode outcome = top.at("outcome");
    plan.outcome.result = resultIn(outcome.at("result"));
    plan.outcome.status = static_cast<int>(outcome.at("status").number(-kMostInt - 1, kMostInt));
    plan.outcome.slot = outcome.at("slot").text();
    plan.outcome.stack = outcome.at("errors").texts();
    plan.outcome.notes = outcome.at("outside").texts();
    readReads(top, plan);
    readEntries(top, plan);
    return plan;
}

}  // namespace keld
