// Sections whose objects a run can visit twice, and what happens to such objects.

#include <algorithm>
#include <deque>

#include "tools/keld/lint/ini_check.h"
#include "tools/keld/lint/keys.h"

namespace keld {

namespace {

bool isAnyOf(const std::string& kind, std::initializer_list<const char*> kinds) {
    for (const char* each : kinds)
        if (kind == each)
            return true;
    return false;
}

// Several objects can lead to the same one.
bool leadsTogether(const std::string& kind) {
    return isAnyOf(kind, {"bl_revision", "ItemOfRev", "OldItemRevision", "Rel", "Old_Rel"});
}

// One object can lead to several.
bool leadsApart(const std::string& kind) {
    return isAnyOf(kind, {"Rel", "Old_Rel", "BOM", "Old_BOM", "ChildBomLines", "OldItemRevision"});
}

// How a run from one start reaches a section in one direction: at all, with many objects, with the
// same object twice.
struct Comes {
    bool seen = false, many = false, twice = false;
    const WalkStep* by = nullptr;  // the step that leads there a second time
};

class Meetings {
public:
    Meetings(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings)
        : ini_(ini), reachable_(reachable), findings_(findings), from_(count() * kArrivals) {
        for (const WalkStep& step : reachable.steps)
            from_[node(step.from, step.arrival)].push_back(&step);
    }

    void run() {
        for (const WalkStart& start : reachable_.starts)
            follow(start.at);
    }

private:
    static constexpr std::size_t kArrivals = 4;
    std::size_t count() const { return reachable_.process.size(); }
    static std::size_t node(std::size_t at, int arrival) {
        return at * kArrivals + static_cast<std::size_t>(arrival);
    }

    // A second visit finds the new status and leaves the object alone.
    bool isProtected(const Reached& at) const {
        const std::string set = valueOf(ini_, at.section, "SetReleaseState");
        return !at.line && !set.empty() && set != "none" && set.size() <= kStatusLimit &&
               valueOf(ini_, at.section, "DoNothingOnReleaseStatus").find(set) != std::string::npos;
    }

    void follow(std::size_t start) {
        // A map: one start reaches few of many sections.
        std::map<std::size_t, Comes> comes;
        std::map<std::size_t, std::vector<const WalkStep*>> ways;  // to a section, from anywhere
        std::deque<std::size_t> waiting{node(start, kBegin)};
        comes[waiting.front()].seen = true;
        while (!waiting.empty()) {
            const std::size_t at = waiting.front();
            waiting.pop_front();
            const Comes here = comes[at];
            const bool again = here.twice && !isProtected(reachable_.process[at / kArrivals]);
            for (const WalkStep* step : from_[at]) {
                Comes next = comes[node(step->to, step->direction)];
                const bool first = std::find(ways[step->to].begin(), ways[step->to].end(), step) ==
                                   ways[step->to].end();
                const WalkStep* rival = first ? otherWay(ways[step->to], *step) : nullptr;
                if (first)
                    ways[step->to].push_back(step);
                const bool many = here.many || leadsApart(step->kind);
                const bool twice = again || rival || (here.many && leadsTogether(step->kind));
                const bool more = !next.seen || (many && !next.many) || (twice && !next.twice);
                next.seen = true;
                next.many |= many;
                if (twice && !next.twice) {
                    next.twice = true;
                    next.by = again && here.by ? here.by : step;
                }
                if (!more)
                    continue;
                comes[node(step->to, step->direction)] = next;
                waiting.push_back(node(step->to, step->direction));
            }
        }
        for (const auto& [at, each] : comes)
            if (each.twice)
                tell(reachable_.process[at / kArrivals], *each.by);
    }

    // Find another step that reaches the same objects.
    static const WalkStep* otherWay(const std::vector<const WalkStep*>& ways,
                                    const WalkStep& step) {
        for (const WalkStep* way : ways) {
            // Two entries of one visit that lead to one section reach the same objects.
            const bool same_visit = way->from == step.from && way->arrival == step.arrival;
            if (same_visit || (way->from != step.from && leadsTogether(step.kind)))
                return way;
        }
        return nullptr;
    }

    void tell(const Reached& at, const WalkStep& by) {
        const IniEntry* set = ini_.find(at.section, "SetReleaseState");
        if (!at.present || at.line || !set || set->value.empty() || set->value == "none" ||
            set->value.size() > kStatusLimit || isProtected(at) || !told_.insert(at.section).second)
            return;
        const std::string old = valueOf(ini_, at.section, "DoNothingOnReleaseStatus");
        // Parts that are used in two places are common, so this one is an error.
        const bool usual = by.kind == "bl_revision";
        findings_.push_back(
            {usual ? Severity::Error : Severity::Warning, set->line, at.section,
             "a run can meet an object of this section twice (by '" + by.entry + "' in line " +
                 std::to_string(by.line) + "), and DoNothingOnReleaseStatus doesn't name '" +
                 set->value +
                 "': the second visit takes the status away and, if no other object has it yet, "
                 "deletes it, so the run ends there with an object that isn't stored any more. "
                 "Write DoNothingOnReleaseStatus=" +
                 (old.empty() ? "" : old + ";") + set->value});
    }

    const IniFile& ini_;
    const Reachable& reachable_;
    std::vector<Finding>& findings_;
    std::vector<std::vector<const WalkStep*>> from_;
    std::set<std::string> told_;
};

}  // namespace

void checkMeetings(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings) {
    Meetings(ini, reachable, findings).run();
}

}  // namespace keld
