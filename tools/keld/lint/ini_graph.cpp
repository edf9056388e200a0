#include "tools/keld/lint/ini_graph.h"

#include <algorithm>

namespace keld {

namespace {

std::string stateName(const std::string& status) {
    return status.empty() || status == "none" ? kNoStatus : status;
}

// Give the types on which runs start, in lower case. If runs start on lines, the revisions that
// they reach count too.
std::set<std::string> startableTypes(const Reachable& reachable) {
    std::set<std::string> types;
    bool lines = false;
    for (const WalkStart& start : reachable.starts) {
        types.insert(asciiLower(start.type));
        lines |= reachable.process[start.at].line;
    }
    for (const Reached& at : reachable.process)
        if (lines && at.revision)
            types.insert(asciiLower(at.type));
    return types;
}

std::string dotText(const std::string& text) {
    std::string all = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            all += '\\';
        all += c == '\n' ? ' ' : c;
    }
    return all + "\"";
}

}  // namespace

StatusGraph statusGraph(const IniFile& ini, const Reachable& reachable) {
    StatusGraph graph;
    const std::set<std::string> startable = startableTypes(reachable);
    std::set<std::string> allowed;
    std::string all_allowed;
    std::map<std::string, StatusEnd> set;
    for (const Reached& at : reachable.process) {
        if (!at.present || at.line)
            continue;
        const bool start = startable.contains(asciiLower(at.type));
        const IniEntry* sets = ini.find(at.section, "SetReleaseState");
        const std::string to = sets ? sets->value : "";
        if (!to.empty() && start)
            set.try_emplace(stateName(to), StatusEnd{stateName(to), at.section, sets->line});
        if (!at.prefix.empty()) {
            if (!to.empty())
                graph.older.push_back({at.status, stateName(to), at.type, at.section, sets->line});
            continue;
        }
        const std::string before = valueOf(ini, at.section, "PrevReleaseStatus");
        const std::string alone = valueOf(ini, at.section, "DoNothingOnReleaseStatus");
        std::vector<std::string> from = statusWords(before);
        if (from.empty())
            from.emplace_back("none");
        std::set<std::string> once;
        for (const std::string& status : from) {
            if ((status != "none" && alone.find(status) != std::string::npos) ||
                !once.insert(status).second)
                continue;
            if (start) {
                allowed.insert(stateName(status));
                all_allowed += stateName(status) + "\n";
            }
            if (!to.empty())
                graph.edges.push_back(
                    {stateName(status), stateName(to), at.type, at.section, sets->line, start});
        }
    }
    // The library searches the list for the name, so a longer name there allows it as well.
    constexpr std::size_t kFew = 1000;
    for (const auto& [status, end] : set)
        if (!allowed.contains(status) &&
            (set.size() > kFew || all_allowed.find(status) == std::string::npos))
            graph.ends.push_back(end);
    return graph;
}

std::vector<StatusEnd> statusEnds(const IniFile& ini, const Reachable& reachable) {
    return statusGraph(ini, reachable).ends;
}

namespace {

// All edges between two statuses, with their types.
struct Bundle {
    std::string from, to;
    std::vector<std::string> types;
    bool start = false;
};

std::vector<Bundle> bundled(const StatusGraph& graph) {
    std::vector<Bundle> bundles;
    std::map<std::pair<std::string, std::string>, std::size_t> places;
    for (const StatusEdge& edge : graph.edges) {
        const auto [place, added] = places.try_emplace({edge.from, edge.to}, bundles.size());
        if (added)
            bundles.push_back({edge.from, edge.to, {}, false});
        Bundle& bundle = bundles[place->second];
        bundle.start |= edge.start;
        if (std::find(bundle.types.begin(), bundle.types.end(), edge.type) == bundle.types.end())
            bundle.types.push_back(edge.type);
    }
    return bundles;
}

std::string typeList(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

std::string widened(std::string text, std::size_t size) {
    text.resize(std::max(text.size(), size), ' ');
    return text;
}

}  // namespace

std::string asText(const StatusGraph& graph) {
    const std::vector<Bundle> bundles = bundled(graph);
    std::size_t from = 0, to = 0;
    for (const Bundle& bundle : bundles) {
        from = std::max(from, bundle.from.size());
        to = std::max(to, bundle.to.size());
    }
    std::string text = "statuses\n";
    for (const Bundle& bundle : bundles)
        text += "  " + widened(bundle.from, from) + " -> " + widened(bundle.to, to) + "  " +
                typeList(bundle.types) + "\n";
    for (const OlderEdge& edge : graph.older)
        text += "  a run to " + edge.target + " sets " + edge.to + " on older: " + edge.type + "\n";
    for (const StatusEnd& end : graph.ends)
        text += "  no start type goes on from " + end.status + "\n";
    return text;
}

std::string asDot(const StatusGraph& graph) {
    std::string text = "digraph statuses {\n  rankdir=LR;\n  node [shape=box];\n";
    for (const StatusEnd& end : graph.ends)
        text += "  " + dotText(end.status) + " [peripheries=2];\n";
    for (const Bundle& bundle : bundled(graph))
        text += "  " + dotText(bundle.from) + " -> " + dotText(bundle.to) +
                " [label=" + dotText(typeList(bundle.types)) + "];\n";
    for (const OlderEdge& edge : graph.older)
        text += "  " + dotText(edge.target) + " -> " + dotText(edge.to) +
                " [style=dashed, label=" + dotText("older " + edge.type) + "];\n";
    return text + "}\n";
}

namespace {

class WalkWriter {
public:
    explicit WalkWriter(const Reachable& reachable) : reachable_(reachable) {
        for (const WalkStep& step : reachable.steps)
            from_[{step.from, step.arrival}].push_back(&step);
        for (auto& [at, steps] : from_)
            std::stable_sort(steps.begin(), steps.end(), [](const auto* a, const auto* b) {
                return order(a->direction) < order(b->direction);
            });
    }

    std::string text() {
        std::string status;
        for (const WalkStart* start : inOrder()) {
            const Reached& at = reachable_.process[start->at];
            if (at.status != status) {
                status = at.status;
                text_ += "walks to " + status + "\n";
            }
            text_ += "  start " + start->type;
            open(start->at, kBegin, 2);
        }
        return text_;
    }

private:
    static int order(int direction) {
        return direction == kNoRek ? 0 : direction == kForward ? 1 : 2;
    }
    std::vector<const WalkStart*> inOrder() const {
        std::vector<const WalkStart*> starts;
        for (const WalkStart& start : reachable_.starts)
            starts.push_back(&start);
        std::stable_sort(starts.begin(), starts.end(), [this](const auto* a, const auto* b) {
            return reachable_.process[a->at].status < reachable_.process[b->at].status;
        });
        return starts;
    }

    // A file may nest deeper than a screen is wide.
    void open(std::size_t at, int arrival, std::size_t level) {
        constexpr std::size_t kDeepest = 100;
        const Reached& here = reachable_.process[at];
        const auto found = from_.find({at, arrival});
        const bool again = !opened_.insert({at, arrival}).second;
        text_ += " [" + here.section + "]" + (here.present ? "" : " (no such section)") +
                 (again && found != from_.end() ? " (as above)" : "") + "\n";
        if (again || found == from_.end())
            return;
        for (const WalkStep* step : found->second) {
            text_ += std::string(2 * level, ' ') + walkKey(step->direction) + " " + step->entry;
            if (level < kDeepest)
                open(step->to, step->direction, level + 1);
            else
                text_ += " ...\n";
        }
    }

    const Reachable& reachable_;
    std::map<std::pair<std::size_t, int>, std::vector<const WalkStep*>> from_;
    std::set<std::pair<std::size_t, int>> opened_;
    std::string text_;
};

}  // namespace

std::string walksAsText(const Reachable& reachable) {
    return WalkWriter(reachable).text();
}

std::string walksAsDot(const Reachable& reachable) {
    std::string text = "digraph walks {\n  rankdir=LR;\n  node [shape=box];\n";
    std::set<std::string> types;
    for (const WalkStart& start : reachable.starts)
        if (types.insert(start.type).second)
            text += "  " + dotText(start.type) + " [shape=oval];\n";
    for (const Reached& at : reachable.process)
        if (!at.present)
            text += "  " + dotText(at.section) + " [style=dotted];\n";
    for (const WalkStart& start : reachable.starts)
        text += "  " + dotText(start.type) + " -> " + dotText(reachable.process[start.at].section) +
                ";\n";
    std::set<std::string> once;
    for (const WalkStep& step : reachable.steps) {
        std::string edge =
            "  " + dotText(reachable.process[step.from].section) + " -> " +
            dotText(reachable.process[step.to].section) +
            " [label=" + dotText(std::string(walkKey(step.direction)) + " " + step.entry) + "];\n";
        if (once.insert(edge).second)
            text += edge;
    }
    return text + "}\n";
}

}  // namespace keld
