// The statuses that a configuration names: which of them no section sets, and where no run goes on.

#include <algorithm>

#include "tools/keld/host/nearest.h"
#include "tools/keld/lint/ini_check.h"
#include "tools/keld/lint/ini_graph.h"

namespace keld {

namespace {

class StatusNames {
public:
    StatusNames(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                std::vector<Finding>& findings)
        : ini_(ini), reachable_(reachable), findings_(findings) {
        stored_.insert(names.statuses.begin(), names.statuses.end());
        for (const Reached& at : reachable.process) {
            const std::string set = valueOf(ini, at.section, "SetReleaseState");
            if (!set.empty() && set != "none")
                ++set_[set];
            for (const char* key : {"PrevReleaseStatus", "DoNothingOnReleaseStatus"})
                for (const std::string& word : statusWords(valueOf(ini, at.section, key)))
                    if (word != "none")
                        ++listed_[word];
        }
    }

    void run() {
        for (const Reached& at : reachable_.process) {
            if (!at.present || at.line)
                continue;
            checkList(at, "PrevReleaseStatus", "this entry allows no object");
            checkList(at, "DoNothingOnReleaseStatus", "this entry leaves no object alone");
            checkSet(at);
        }
    }

private:
    bool isKnown(const std::string& status) const {
        return stored_.contains(status) || set_.contains(status);
    }
    std::string meant(const std::string& name, bool others) {
        constexpr int kMostAnswers = 1000;
        if (++answers_ > kMostAnswers)
            return {};
        std::vector<std::string> known(stored_.begin(), stored_.end());
        for (const auto& [status, times] : set_)
            if (status != name)
                known.push_back(status);
        if (others)
            known.insert(known.end(), reachable_.statuses.begin(), reachable_.statuses.end());
        known.emplace_back("none");
        return didYouMean(nearest(name, known));
    }

    void checkList(const Reached& at, const char* key, const char* effect) {
        const IniEntry* entry = ini_.find(at.section, key);
        if (!entry)
            return;
        for (const std::string& word : statusWords(entry->value)) {
            if (word == "none" || isKnown(word) || containsKnown(word))
                continue;
            findings_.push_back({Severity::Warning, entry->line, at.section,
                                 "no section sets the status '" + word + "' of '" + key +
                                     "' and the store doesn't have it, so " + effect + "." +
                                     meant(word, false)});
        }
    }

    // The library searches the list for names, so a word that contains a known name counts as
    // known here; another check reports it.
    bool containsKnown(const std::string& word) const {
        constexpr std::size_t kFew = 1000;
        if (set_.size() + stored_.size() > kFew)
            return false;
        const auto within = [&](const std::string& status) {
            return word.find(status) != std::string::npos;
        };
        return std::any_of(stored_.begin(), stored_.end(), within) ||
               std::any_of(set_.begin(), set_.end(),
                           [&](const auto& each) { return within(each.first); });
    }

    // Report a status that is in no other place and nearly equals another one.
    void checkSet(const Reached& at) {
        const IniEntry* entry = ini_.find(at.section, "SetReleaseState");
        if (!entry || entry->value.empty() || entry->value == "none")
            return;
        const std::string& status = entry->value;
        if (set_[status] > 1 || listed_.contains(status) || stored_.contains(status) ||
            reachable_.statuses.contains(status))
            return;
        const std::string near = meant(status, true);
        if (!near.empty())
            findings_.push_back({Severity::Warning, entry->line, at.section,
                                 "the status '" + status +
                                     "' is nowhere else and the store doesn't have it: the "
                                     "library makes one of that very name." +
                                     near});
    }

    const IniFile& ini_;
    const Reachable& reachable_;
    std::vector<Finding>& findings_;
    std::set<std::string> stored_;
    std::map<std::string, int> set_, listed_;
    int answers_ = 0;
};

}  // namespace

void checkStatuses(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                   std::vector<Finding>& findings) {
    StatusNames(ini, names, reachable, findings).run();
    for (const StatusEnd& end : statusEnds(ini, reachable))
        findings.push_back({Severity::Note, end.line, end.section,
                            "no start type goes on from the status '" + end.status +
                                "': the library refuses every run on an object that has it, or "
                                "leaves the object alone"});
}

}  // namespace keld
