#include "tools/keld/host/plan.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tools/keld/host/bom_lines.h"
#include "tools/keld/host/plan_file.h"
#include "tools/keld/host/system.h"
#include "workbench/utf8.h"

namespace keld {

namespace {

namespace fs = std::filesystem;
using mervane::RunEntry;
using mervane::RunReads;

// ---- writing ----

// Text that isn't UTF-8 is kept as bytes, two digits each.
Json exactText(const std::string& text) {
    if (mervane::isUtf8(text))
        return text;
    std::string digits;
    for (const char byte : text) {
        char two[3];
        std::snprintf(two, sizeof two, "%02x", static_cast<unsigned>(byte) & 0xFFU);
        digits += two;
    }
    return {{"bytes", digits}};
}

Json exactTexts(const std::vector<std::string>& texts) {
    Json all = Json::array();
    for (const std::string& text : texts)
        all.push_back(exactText(text));
    return all;
}

Json exactValue(const mervane::Value& value) {
    struct Shower {
        Json operator()(const std::string& text) const { return exactText(text); }
        Json operator()(std::int64_t number) const { return number; }
        Json operator()(double number) const {
            char digits[40];
            std::snprintf(digits, sizeof digits, "%.17g", number);
            return {{"double", digits}};
        }
        Json operator()(bool yes) const { return yes; }
        Json operator()(const mervane::Date& date) const {
            char digits[80];
            std::snprintf(digits, sizeof digits, "%04d-%02d-%02dT%02d:%02d:%02d", date.date.year,
                          date.date.month + 1, date.date.day, date.date.hour, date.date.minute,
                          date.date.second);
            return {{"date", digits}};
        }
        Json operator()(const mervane::Reference& reference) const {
            return {{"tag", reference.tag}};
        }
    };
    return std::visit(Shower{}, value);
}

Json entryAsJson(const RunEntry& entry) {
    Json values = Json::array();
    for (const mervane::RunValue& value : entry.values)
        values.push_back({{"attribute", value.attribute},
                          {"before", asJson(value.before)},
                          {"after", asJson(value.after)}});
    return {{"change", changeName(entry.change)},
            {"tag", entry.object == NULLTAG ? Json() : Json(entry.object)},
            {"type", entry.type},
            {"text", exactText(entry.text)},
            {"values", values}};
}

Json searchAsJson(const RunReads::Search& search) {
    Json all = {{"class", search.cls}, {"attribute", search.attribute}};
    if (search.target != NULLTAG)
        all["tag"] = search.target;
    else
        all["text"] = exactText(search.text);
    return all;
}

// Writes key by key; a list gets a line for each element.
class PlanWriter {
public:
    explicit PlanWriter(std::ostream& out) : out_(out) { out_ << "{"; }
    void add(const char* key, const Json& value) {
        begin(key);
        out_ << line(value);
    }
    template <typename List, typename Each>
    void addList(const char* key, const List& list, Each&& each) {
        begin(key);
        out_ << "[";
        const char* before = "\n    ";
        for (const auto& one : list) {
            out_ << before << line(each(one));
            before = ",\n    ";
        }
        out_ << (list.empty() ? "]" : "\n  ]");
    }
    void end() { out_ << "\n}\n"; }

private:
    std::ostream& out_;
    bool first_ = true;

    static std::string line(const Json& value) {
        return value.dump(-1, ' ', true, Json::error_handler_t::replace);
    }
    void begin(const char* key) {
        out_ << (first_ ? "\n  \"" : ",\n  \"") << key << "\": ";
        first_ = false;
    }
};

void writeTo(std::ostream& out, const Plan& plan) {
    PlanWriter writer(out);
    writer.add("plan", kPlanVersion);
    writer.add("version", plan.version);
    writer.add("store", plan.store);
    writer.add("command", exactTexts(plan.command));
    writer.addList("calls", plan.calls, [](const PlannedCall& call) {
        return Json{{"service", call.service}, {"arguments", call.arguments}};
    });
    const PlanRunner& runner = plan.runner;
    writer.add("run", {{"user", exactText(runner.user)},
                       {"user_name", exactText(runner.user_name)},
                       {"user_tag", runner.user_tag},
                       {"group", exactText(runner.group)},
                       {"group_tag", runner.group_tag},
                       {"host", exactText(runner.host)},
                       {"process", runner.process},
                       {"began", runner.began},
                       {"ended", runner.ended}});
    writer.add("configuration", plan.configuration.empty()
                                    ? Json()
                                    : Json{{"path", exactText(plan.configuration)},
                                           {"sha256", plan.configuration_sha256}});
    writer.add("outcome", {{"result", resultWord(plan.outcome.result)},
                           {"status", plan.outcome.status},
                           {"slot", exactText(plan.outcome.slot)},
                           {"errors", exactTexts(plan.outcome.stack)},
                           {"outside", exactTexts(plan.outcome.notes)}});
    writer.addList("objects", plan.reads.objects, [&](const RunReads::Read& read) {
        const auto known = plan.objects.find(read.object);
        const PlannedObject object = known == plan.objects.end() ? PlannedObject() : known->second;
        return Json{{"tag", read.object},
                    {"object", exactText(object.label)},
                    {"type", object.type},
                    {"version", read.version}};
    });
    writer.addList("searches", plan.reads.searches, searchAsJson);
    writer.addList("entries", plan.entries, entryAsJson);
    writer.end();
}

}  // namespace

Json asJson(const mervane::Values& values) {
    Json all = Json::array();
    for (const mervane::Value& value : values)
        all.push_back(exactValue(value));
    return all;
}

PlannedCall plannedCall(const Service& service, const std::vector<mervane::Argument>& arguments) {
    constexpr tag_t kFirstLine = 0xE0000000U;
    const auto isLine = [](tag_t tag) { return tag >= kFirstLine; };
    const auto one = [&](tag_t tag) {
        return tag == NULLTAG ? Json()
               : isLine(tag)  ? Json(lineTag(tag, "bl_revision"))
                              : Json(tag);
    };
    PlannedCall call{service.name, Json::array()};
    for (const mervane::Argument& argument : arguments) {
        if (const auto* number = std::get_if<int>(&argument)) {
            call.arguments.push_back({{"integer", *number}});
        } else if (const auto* text = std::get_if<std::string>(&argument)) {
            call.arguments.push_back({{"string", exactText(*text)}});
        } else if (const auto* tag = std::get_if<tag_t>(&argument)) {
            call.arguments.push_back({{isLine(*tag) ? "line" : "object", one(*tag)}});
        } else {
            Json tags = Json::array();
            const auto& list = std::get<std::vector<tag_t>>(argument);
            for (const tag_t each : list)
                tags.push_back(one(each));
            const bool lines = !list.empty() && isLine(list.front());
            call.arguments.push_back({{lines ? "lines" : "objects", tags}});
        }
    }
    return call;
}

void writePlan(const Plan& plan, const std::string& path) {
    const std::string beside = makeFileBeside(path);
    std::error_code failure;
    try {
        std::ofstream out(pathOf(beside), std::ios::binary);
        writeTo(out, plan);
        out.close();
        if (!out)
            throw CommandError("can't write the plan " + path);
        // A link fails if a file has come to the path meanwhile; a rename would replace that. It is
        // used only where links are impossible.
        fs::create_hard_link(pathOf(beside), pathOf(path), failure);
        if (failure == std::errc::file_exists)
            throw CommandError(path + " exists already; a plan is written to a new file");
        if (failure)
            fs::rename(pathOf(beside), pathOf(path));
        else
            fs::remove(pathOf(beside));
    } catch (...) {
        fs::remove(pathOf(beside), failure);
        throw;
    }
}

void PlanWork::called(PlannedCall call) {
    if (!carries_out) {
        plan.calls.push_back(std::move(call));
        return;
    }
    const std::size_t number = calls.size();
    const auto text = [](const PlannedCall& each) {
        return each.service + " " + each.arguments.dump(-1, ' ', true);
    };
    if (number >= plan.calls.size() || !(plan.calls[number] == call))
        throw CommandError("refused: call " + std::to_string(number + 1) +
                           " is another one than in the plan " + file +
                           ", nothing is changed: now " + text(call) + ", in the plan " +
                           (number < plan.calls.size() ? text(plan.calls[number])
                                                       : std::string("no further call")));
    calls.push_back(std::move(call));
}

}  // namespace keld
