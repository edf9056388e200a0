#include "tests/faults/snapshot.h"

#include <algorithm>

#include "workbench/session/session.h"
#include "workbench/store/store.h"

namespace faults {
namespace {

std::string text(const mervane::Value& value) {
    struct Shown {
        std::string operator()(const std::string& s) const { return s; }
        std::string operator()(std::int64_t n) const { return std::to_string(n); }
        std::string operator()(double d) const { return std::to_string(d); }
        std::string operator()(bool b) const { return b ? "true" : "false"; }
        std::string operator()(const mervane::Date& d) const {
            std::string all;
            for (const int part : {+d.date.year, +d.date.month, +d.date.day, +d.date.hour,
                                   +d.date.minute, +d.date.second})
                all += std::to_string(part) + ".";
            return all;
        }
        std::string operator()(const mervane::Reference& r) const {
            return "#" + std::to_string(r.tag);
        }
    };
    return std::visit(Shown{}, value);
}

}  // namespace

Snapshot snapshot() {
    mervane::Store& store = mervane::currentSession().store();
    Snapshot found;
    for (const auto& hit : store.everything()) {
        const mervane::Type* type = store.model().typeOf(hit.type);
        StoredObject& object = found[hit.tag];
        object.type = type->name;
        store.load(
            hit.tag, [](tag_t, std::int64_t) {},
            [&](tag_t attribute, std::size_t index, const mervane::Value& value) {
                const auto at = type->by_handle.find(attribute);
                if (at == type->by_handle.end())
                    return;
                object.values[type->layout[at->second]->name] +=
                    std::to_string(index) + ":" + text(value) + ";";
            });
    }
    return found;
}

void write(std::FILE* out, const Snapshot& snapshot) {
    for (const auto& [tag, object] : snapshot) {
        std::fprintf(out, "@%u\t\t%s\n", tag, object.type.c_str());
        for (auto [attribute, value] : object.values) {
            std::replace(value.begin(), value.end(), '\n', '\r');
            std::fprintf(out, "@%u\t%s\t%s\n", tag, attribute.c_str(), value.c_str());
        }
    }
}

void read(const std::string& line, Snapshot* snapshot) {
    const std::size_t first = line.find('\t'), second = line.find('\t', first + 1);
    StoredObject& object = (*snapshot)[static_cast<tag_t>(std::stoul(line.substr(1, first - 1)))];
    const std::string attribute = line.substr(first + 1, second - first - 1);
    (attribute.empty() ? object.type : object.values[attribute]) = line.substr(second + 1);
}

std::vector<std::string> losses(const Snapshot& before, const Snapshot& complete,
                                const Snapshot& now, const std::vector<std::string>& on_the_way) {
    std::vector<std::string> found;
    const auto name = [](tag_t tag, const StoredObject& object) {
        return object.type + " #" + std::to_string(tag);
    };
    for (const auto& [tag, old] : before) {
        const auto still = now.find(tag);
        const auto after = complete.find(tag);
        if (still == now.end()) {
            if (after != complete.end())
                found.push_back(name(tag, old) + " is gone");
            continue;
        }
        std::vector<std::string> attributes;
        for (const StoredObject* each : {&old, &still->second})
            for (const auto& [attribute, values] : each->values)
                attributes.push_back(attribute);
        for (const std::string& attribute : attributes) {
            if (attribute.starts_with("last_mod") ||
                std::find(on_the_way.begin(), on_the_way.end(), attribute) != on_the_way.end())
                continue;
            const auto value = [&](const StoredObject& object) {
                const auto at = object.values.find(attribute);
                return at != object.values.end() ? at->second : std::string();
            };
            const std::string is = value(still->second);
            if (is != value(old) && (after == complete.end() || is != value(after->second)))
                found.push_back(name(tag, old) + " has another " + attribute);
        }
    }
    return found;
}

}  // namespace faults
