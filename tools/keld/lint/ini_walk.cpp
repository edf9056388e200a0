// Finds the sections that a run can read, by following the walk lists like the status manager.

#include <algorithm>
#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "tools/keld/host/nearest.h"
#include "tools/keld/lint/ini_check.h"

namespace keld {

namespace {

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Give the start types: keys of SelectWSO with the value 1.
std::vector<const IniEntry*> startEntries(const IniFile& ini) {
    std::vector<const IniEntry*> entries;
    for (const IniEntry* entry : ini.entries("SelectWSO"))
        if (iniInteger(entry->value) == 1)
            entries.push_back(entry);
    return entries;
}

std::vector<std::string> startTypes(const IniFile& ini) {
    std::vector<std::string> types;
    for (const IniEntry* entry : startEntries(ini))
        types.push_back(entry->key);
    return types;
}

class Follower {
public:
    Follower(const IniFile& ini, const KnownNames& names) : ini_(ini), names_(names) {}

    Reachable run() {
        const auto targets = targetStatuses(ini_);
        for (const IniEntry* start : startEntries(ini_))
            if (const auto found = targets.find(asciiLower(start->key)); found != targets.end())
                for (const std::string& status : found->second) {
                    result_.statuses.insert(status);
                    result_.starts.push_back(
                        {start->key, start->line, visit(status, "", start->key, kBegin, nullptr)});
                }
        while (!waiting_.empty()) {
            const Visit visit = waiting_.front();
            waiting_.pop_front();
            walkOn(visit);
        }
        findCircles();
        return std::move(result_);
    }

private:
    struct Visit {
        std::size_t reached;  // index into result_.process
        int arrival;          // direction; 3: the run starts here
    };
    using Step = WalkStep;
    using Origin = WalkStep;  // without `to`

    std::size_t reach(const std::string& status, const std::string& prefix,
                      const std::string& type) {
        const std::string name = status + "_" + prefix + type;
        const auto [known, added] = places_.try_emplace(asciiLower(name), result_.process.size());
        if (!added)
            return known->second;
        Reached reached{name, status, prefix, type, false, false, false, false, false};
        if (const IniSection* section = ini_.first(name)) {
            reached.section = section->name;
            reached.present = true;
        }
        reached.line = equalNoCase(type, "BOMLine");
        reached.bvr = type == "BOM" || contains(names_.bvr_types, type);
        reached.item = contains(names_.item_types, type);
        reached.revision = contains(names_.revision_types, type);
        result_.process.push_back(reached);
        return result_.process.size() - 1;
    }

    std::size_t visit(const std::string& status, const std::string& prefix, const std::string& type,
                      int arrival, const Origin* origin) {
        const std::size_t index = reach(status, prefix, type);
        if (origin) {
            result_.steps.push_back(*origin);
            result_.steps.back().to = index;
        }
        if (seen_.insert({index, arrival}).second)
            waiting_.push_back({index, arrival});
        return index;
    }

    // Visit the sections of all these types: a run takes the one that fits the object.
    void visitAny(const Reached& from, const std::string& prefix,
                  const std::vector<std::string>& types, const Origin& origin, int line,
                  const std::string& entry) {
        bool any = false;
        for (const std::string& type : types)
            if (ini_.hasSection(from.status + "_" + prefix + type)) {
                visit(from.status, prefix, type, origin.direction, &origin);
                any = true;
            }
        if (!any && !types.empty())
            leadsNowhere(from, entry, from.status + "_" + prefix + types.front(), line);
    }

    void leadsNowhere(const Reached& from, const std::string& entry, const std::string& section,
                      int line) {
        note(Severity::Warning, line, from.section,
             "'" + entry + "' leads to objects without a section (" + section +
                 " or the like): those with a status are refused, the others are left as they are");
    }

    void note(Severity severity, int line, const std::string& section, const std::string& text) {
        if (!noted_.emplace(line, text).second)
            return;
        result_.findings.push_back({severity, line, section, text});
    }

    void walkOn(const Visit& visit) {
        const Reached from = result_.process[visit.reached];
        if (!from.present)
            return;
        collectForms(from);
        if (visit.arrival == kNoRek)
            return;
        follow(visit, from, kNoRek);
        if (visit.arrival != kBack)
            follow(visit, from, kForward);
        if (visit.arrival != kForward)
            follow(visit, from, kBack);
    }

    void collectForms(const Reached& from) {
        if (const IniEntry* entry = ini_.find(from.section, "SetAttributes"))
            for (const std::string& form : splitList(entry->value, ';'))
                result_.forms.emplace(asciiLower(from.section + "_" + form), from.section);
    }

    void follow(const Visit& at, const Reached& from, int direction) {
        const IniEntry* entry = ini_.find(from.section, walkKey(direction));
        if (!entry)
            return;
        const std::vector<std::string> steps = splitList(entry->value, ';');
        for (std::size_t i = 0; i < steps.size(); ++i)
            take(at, from, direction, i, steps[i], entry->line);
    }

    void wrongStart(const Reached& from, const std::string& kind, const char* wanted, int line) {
        note(Severity::Error, line, from.section,
             "'" + kind + "' starts from " + wanted + ", but this section is for " + from.type +
                 ": the run would stop there");
    }

    void take(const Visit& at, const Reached& from, int direction, std::size_t number,
              const std::string& step, int line) {
        const std::vector<std::string> parts = splitList(step, '.');
        const std::string kind = parts.empty() ? "" : parts[0];
        const Origin origin{at.reached, at.reached, at.arrival, direction,
                            number,     kind,       step,       line};
        const bool known = from.item || from.revision || from.line || from.bvr;
        if (kind == "LastItemRevision") {
            if (known && !from.item)
                wrongStart(from, kind, "an item", line);
            else
                visitAny(from, from.prefix, names_.revision_types, origin, line, step);
        } else if (kind == "ItemOfRev") {
            if (known && !from.revision)
                wrongStart(from, kind, "a revision", line);
            else
                visitAny(from, from.prefix, names_.item_types, origin, line, step);
        } else if (kind == "OldItemRevision") {
            if (known && !from.revision)
                wrongStart(from, kind, "a revision", line);
            else
                visitAny(from, "Old_", names_.revision_types, origin, line, step);
        } else if (kind == "BOM" || kind == "Old_BOM") {
            if (known && !from.revision)
                wrongStart(from, kind, "a revision", line);
            else
                visitOne(from, "BOM", origin, line, step);
        } else if (kind == "ChildBomLines") {
            if (!from.line)
                wrongStart(from, kind, "a BOM line", line);
            else
                visitOne(from, "BOMLine", origin, line, step);
        } else if (kind == "bl_revision") {
            if (!from.line)
                wrongStart(from, kind, "a BOM line", line);
            else
                visitAny(from, from.prefix, names_.revision_types, origin, line, step);
        } else if ((kind == "Rel" || kind == "Old_Rel") && parts.size() >= 3) {
            visitOne(from, parts[1] + "." + (parts[2] == "*" ? "*" : parts[2]), origin, line, step);
        }
    }

    void visitOne(const Reached& from, const std::string& type, const Origin& origin, int line,
                  const std::string& entry) {
        const std::string name = from.status + "_" + from.prefix + type;
        if (!ini_.hasSection(name))
            leadsNowhere(from, entry, name, line);
        visit(from.status, from.prefix, type, origin.direction, &origin);
    }

    // A circle uses one direction only, since an object passes on the direction by which it was
    // reached. Steps to child lines and to older revisions end by themselves.
    void findCircles() {
        for (int direction : {0, 1}) {
            std::vector<std::vector<const Step*>> from(result_.process.size());
            for (const Step& step : result_.steps)
                if (step.direction == direction && step.kind != "ChildBomLines" &&
                    step.kind != "OldItemRevision")
                    from[step.from].push_back(&step);
            std::vector<int> state(result_.process.size(), 0);
            std::vector<const Step*> path;
            // An explicit stack: a walk may be as deep as the file is long.
            struct Level {
                std::size_t node, next;
            };
            std::vector<Level> levels;
            const auto enter = [&](std::size_t node) {
                state[node] = 1;
                levels.push_back({node, 0});
            };
            for (std::size_t node = 0; node < result_.process.size(); ++node) {
                if (state[node] == 0)
                    enter(node);
                while (!levels.empty()) {
                    Level& level = levels.back();
                    if (level.next == from[level.node].size()) {
                        state[level.node] = 2;
                        levels.pop_back();
                        if (!path.empty())
                            path.pop_back();
                        continue;
                    }
                    const Step* step = from[level.node][level.next++];
                    path.push_back(step);
                    if (state[step->to] == 0) {
                        enter(step->to);
                        continue;
                    }
                    if (state[step->to] == 1)
                        reportCircle(path, step->to, direction);
                    path.pop_back();
                }
            }
        }
    }

    void reportCircle(const std::vector<const Step*>& path, std::size_t closing, int direction) {
        constexpr int kMostCircles = 100;
        if (++circles_ > kMostCircles)
            return;
        auto first = path.begin();
        while (first != path.end() && (*first)->from != closing)
            ++first;
        std::string text;
        bool relations_only = true;
        for (auto step = first; step != path.end(); ++step) {
            text += result_.process[(*step)->from].section + " -> ";
            relations_only &= (*step)->kind == "Rel" || (*step)->kind == "Old_Rel";
        }
        const Reached& start = result_.process[closing];
        text += start.section;
        const char* key = walkKey(direction);
        const IniEntry* entry = ini_.find(start.section, key);
        note(relations_only ? Severity::Warning : Severity::Error, entry ? entry->line : 0,
             start.section,
             std::string("the walk by ") + key + " can run in a circle: " + text +
                 (relations_only ? " (if objects are related in a circle)" : ""));
    }

    const IniFile& ini_;
    const KnownNames& names_;
    Reachable result_;
    std::deque<Visit> waiting_;
    std::set<std::pair<std::size_t, int>> seen_;
    std::unordered_map<std::string, std::size_t> places_;  // lower-case section -> result_.process
    std::set<std::pair<int, std::string>> noted_;          // line and text of findings
    int circles_ = 0;
};

}  // namespace

namespace {

// Find the target statuses of the types, by lower-case name of the type.
std::map<std::string, std::set<std::string>> targetsOf(const IniFile& ini,
                                                       const std::vector<std::string>& types) {
    std::unordered_set<std::string> known;
    std::size_t longest = 0;
    for (const std::string& type : types) {
        known.insert(asciiLower(type));
        longest = std::max(longest, type.size());
    }
    std::map<std::string, std::set<std::string>> targets;
    std::unordered_set<std::string> all;  // in lower case
    for (const IniSection* section : ini.distinctSections()) {
        const std::string& name = section->name;
        // The longest start type at the end of the name counts: "My_Item" before "Item".
        const std::size_t begin = name.size() > longest + 1 ? name.size() - longest - 1 : 1;
        for (std::size_t at = begin; at < name.size(); ++at) {
            if (name[at] != '_')
                continue;
            const std::string type = asciiLower(std::string_view(name).substr(at + 1));
            if (!known.contains(type))
                continue;
            targets[type].insert(name.substr(0, at));
            all.insert(asciiLower(std::string_view(name).substr(0, at)));
            break;
        }
    }
    // "Frozen_Old_ItemRevision" is the section for older revisions if Frozen is a target, too.
    for (auto& [type, statuses] : targets)
        std::erase_if(statuses, [&](const std::string& status) {
            return status.size() > 4 && status.ends_with("_Old") &&
                   all.contains(asciiLower(status.substr(0, status.size() - 4)));
        });
    return targets;
}

}  // namespace

std::map<std::string, std::set<std::string>> targetStatuses(const IniFile& ini) {
    return targetsOf(ini, startTypes(ini));
}

std::set<std::string> targetStatuses(const IniFile& ini, const std::string& type) {
    std::vector<std::string> types = startTypes(ini);
    types.push_back(type);
    return targetsOf(ini, types)[asciiLower(type)];
}

const char* walkKey(int direction) {
    return direction == kForward ? "ChangeForward"
           : direction == kBack  ? "ChangeBack"
                                 : "ChangeNoRek";
}

Reachable followWalks(const IniFile& ini, const KnownNames& names) {
    return Follower(ini, names).run();
}

}  // namespace keld
