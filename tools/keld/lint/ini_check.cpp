#include "tools/keld/lint/ini_check.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "tools/keld/host/nearest.h"
#include "tools/keld/lint/keys.h"

namespace keld {

namespace {

bool knownExactly(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool knownNoCase(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& n) { return equalNoCase(n, name); });
}

class Checker {
public:
    Checker(const IniFile& ini, const KnownNames& names) : ini_(ini), names_(names) {}

    std::vector<Finding> run() {
        reachable_ = followWalks(ini_, names_);
        checkSyntax();
        checkGlobal();
        checkSelect();
        collectStatuses();
        for (const Reached& reached : reachable_.process)
            if (reached.present)
                checkProcess(reached);
        for (const IniSection* section : ini_.distinctSections())
            if (reachable_.forms.contains(asciiLower(section->name)))
                checkForm(section->name);
        checkUnreached();
        checkCaseTwins();
        checkMeetings(ini_, reachable_, findings_);
        checkStatuses(ini_, names_, reachable_, findings_);
        checkContradictions(ini_, reachable_, findings_);
        checkCommas(ini_, reachable_, findings_);
        checkProperties(ini_, names_, reachable_, findings_);
        findings_.insert(findings_.end(), reachable_.findings.begin(), reachable_.findings.end());
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const Finding& a, const Finding& b) { return a.line < b.line; });
        shorten();
        return std::move(findings_);
    }

private:
    // Cut the list: nobody reads a million findings.
    void shorten() {
        constexpr std::size_t kMost = 10000;
        if (findings_.size() <= kMost)
            return;
        const auto errors =
            std::count_if(findings_.begin() + kMost, findings_.end(),
                          [](const Finding& each) { return each.severity == Severity::Error; });
        const std::size_t more = findings_.size() - kMost;
        findings_.resize(kMost);
        const int line = findings_.back().line;
        findings_.push_back({errors > 0 ? Severity::Error : Severity::Warning, line, "",
                             std::to_string(more) + " more findings, " + std::to_string(errors) +
                                 " of them errors, are not shown"});
    }

    static bool hasNoTarget(const std::map<std::string, std::set<std::string>>& targets,
                            const std::string& type) {
        const auto found = targets.find(asciiLower(type));
        return found == targets.end() || found->second.empty();
    }

    void error(int line, const std::string& section, const std::string& text) {
        findings_.push_back({Severity::Error, line, section, text});
    }
    void warning(int line, const std::string& section, const std::string& text) {
        findings_.push_back({Severity::Warning, line, section, text});
    }

    // Suggest names that may have been meant. A file full of mistakes gets suggestions for the
    // first ones only, since each search takes time.
    std::string meant(std::string_view name, const std::vector<std::string>& known) {
        constexpr int kMostAnswers = 1000;
        return ++answers_ > kMostAnswers ? std::string() : didYouMean(nearest(name, known));
    }

    void checkEncoding() {
        for (const IniIgnored& foreign : ini_.foreign)
            if (!foreign.reason.empty())
                error(foreign.line, "",
                      foreign.reason +
                          ": the library finds no section in it and lets no run start; save it as "
                          "UTF-8");
            else
                warning(foreign.line, "",
                        "the line '" + foreign.text +
                            "' is no UTF-8: the library compares its bytes as they are, so its "
                            "names equal none of the store; save the file as UTF-8");
        if (ini_.cut > 0)
            error(ini_.cut, "",
                  "the file has more than " + std::to_string(kMostIniBytes >> 20) +
                      " MB: the library reads all of it in each process, and what is after "
                      "this line isn't checked");
    }

    void checkSyntax() {
        checkEncoding();
        if (!ini_.foreign.empty() && !ini_.foreign.front().reason.empty())
            return;
        if (ini_.more_ignored > 0)
            warning(0, "", std::to_string(ini_.more_ignored) + " more lines are ignored");
        for (const IniIgnored& ignored : ini_.ignored)
            warning(ignored.line, "",
                    "the line '" + ignored.text + "' is ignored: " + ignored.reason);
        for (const IniSection& section : ini_.sections) {
            if (section.name.size() > kSectionLimit)
                error(section.line, section.name.substr(0, 40) + "...",
                      "the name of the section has " + std::to_string(section.name.size()) +
                          " bytes, at most " + std::to_string(kSectionLimit) + " are read");
            const IniSection& earlier = *ini_.first(section.name);
            if (&earlier != &section)
                warning(section.line, section.name,
                        std::string(earlier.name != section.name
                                        ? "the name differs only in case from that"
                                        : "the section is there a second time, first") +
                            " in line " + std::to_string(earlier.line) +
                            ": the two are one section");
            for (const IniEntry& entry : section.entries)
                checkEntry(section, entry);
        }
    }

    void checkEntry(const IniSection& section, const IniEntry& entry) {
        const IniEntry* counted = ini_.find(section.name, entry.key);
        if (counted != &entry)
            warning(entry.line, section.name,
                    "'" + entry.key + "' is ignored: line " + std::to_string(counted->line) +
                        " has the key already");
        if (entry.key.size() > kKeyLimit)
            error(entry.line, section.name,
                  "the key has " + std::to_string(entry.key.size()) + " bytes, at most " +
                      std::to_string(kKeyLimit) + " can be asked for");
        if (entry.value.size() > kValueLimit)
            error(entry.line, section.name,
                  "the value of '" + entry.key + "' has " + std::to_string(entry.value.size()) +
                      " bytes, what is after " + std::to_string(kValueLimit) + " is cut");
    }

    void unknownKey(const IniEntry& entry, const std::string& section,
                    const std::vector<std::string>& known) {
        warning(entry.line, section,
                "nothing reads the key '" + entry.key + "'." + meant(entry.key, known));
    }

    void checkPrivilege(const IniEntry& entry, const std::string& section) {
        if (!entry.value.empty() && !knownExactly(names_.privileges, entry.value))
            error(entry.line, section,
                  "the store doesn't know the privilege '" + entry.value +
                      "': every test of it fails." + meant(entry.value, names_.privileges));
    }

    void checkGlobal() {
        for (const IniEntry* entry : ini_.entries("GLOBAL")) {
            if (equalNoCase(entry->key, "PrivilegName"))
                checkPrivilege(*entry, "GLOBAL");
            else
                unknownKey(*entry, "GLOBAL", keyNames(SectionKind::Global));
        }
    }

    void checkSelect() {
        if (!ini_.hasSection("SelectWSO")) {
            error(0, "", "there is no section SelectWSO: no run can start");
            return;
        }
        const auto targets = targetStatuses(ini_);
        for (const IniEntry* entry : ini_.entries("SelectWSO")) {
            if (!knownNoCase(names_.types, entry->key))
                warning(entry->line, "SelectWSO",
                        "the store doesn't know the type '" + entry->key +
                            "', so no run starts by it." + meant(entry->key, names_.types));
            const std::int64_t value = iniInteger(entry->value);
            if (value != 0 && value != 1)
                warning(entry->line, "SelectWSO",
                        "only exactly 1 lets a run start, '" + entry->value + "' doesn't");
            if (value == 0 && entry->value != "0")
                warning(entry->line, "SelectWSO",
                        "'" + entry->value + "' is no number and counts as 0");
            if (value == 1 && hasNoTarget(targets, entry->key))
                warning(entry->line, "SelectWSO",
                        "no section <status>_" + entry->key + " says what a run does");
        }
    }

    void collectStatuses() {
        statuses_ = reachable_.statuses;
        statuses_.insert(names_.statuses.begin(), names_.statuses.end());
        for (const IniSection& section : ini_.sections)
            for (const IniEntry& entry : section.entries) {
                if (equalNoCase(entry.key, "SetReleaseState") && !entry.value.empty())
                    statuses_.insert(entry.value);
                if (equalNoCase(entry.key, "PrevReleaseStatus") ||
                    equalNoCase(entry.key, "DoNothingOnReleaseStatus"))
                    for (const std::string& word : statusWords(entry.value))
                        if (word != "none")
                            statuses_.insert(word);
            }
        for (const std::string& status : statuses_)
            longest_status_ = std::max(longest_status_, status.size());
    }

    void checkProcess(const Reached& reached) {
        if (reached.status.size() > kTargetLimit)
            error(0, reached.section,
                  "the target status has more than " + std::to_string(kTargetLimit) + " bytes");
        for (const IniEntry* entry : ini_.entries(reached.section)) {
            const auto is = [&](const char* key) { return equalNoCase(entry->key, key); };
            if (!findKey(SectionKind::Process, entry->key)) {
                unknownKey(*entry, reached.section, keyNames(SectionKind::Process));
                continue;
            }
            if (reached.line && !findKey(SectionKind::Process, entry->key)->line)
                warning(entry->line, reached.section,
                        "'" + entry->key + "' has no effect on a BOM line");
            if (is("ChangeForward") || is("ChangeBack") || is("ChangeNoRek"))
                checkWalk(reached, *entry);
            else if (is("DeleteDatasets"))
                checkDeletes(reached, *entry);
            else if (is("PrivilegName"))
                checkPrivilege(*entry, reached.section);
            else if (is("SetAttributes"))
                checkForms(reached, *entry);
            else if (is("PrevReleaseStatus") || is("DoNothingOnReleaseStatus"))
                checkStatusText(reached, *entry);
            else if (is("SetReleaseState") && entry->value.size() > kStatusLimit)
                error(entry->line, reached.section,
                      "a status name has at most " + std::to_string(kStatusLimit) +
                          " bytes, a longer one is never set");
            else if (is("Purge") && entry->value != "0" && entry->value != "1")
                warning(entry->line, reached.section,
                        "only exactly 1 purges, '" + entry->value + "' is not 0 or 1");
            else if (is("JobPrefix") && entry->value.size() > kJobPrefixLimit)
                error(entry->line, reached.section,
                      "the prefix has more than " + std::to_string(kJobPrefixLimit) +
                          " bytes, the job's name would be cut");
            else if (is("StartJob") && !entry->value.empty() &&
                     !knownExactly(names_.templates, entry->value))
                warning(entry->line, reached.section,
                        "the store has no workflow template '" + entry->value +
                            "': no job is started, and the service tells of success." +
                            meant(entry->value, names_.templates));
        }
    }

    // Check the relation and the type of an entry in a walk list or in DeleteDatasets.
    void checkRelation(const std::string& section, int line, const std::string& entry,
                       const std::string& relation, const std::string& type) {
        if (!knownExactly(names_.relations, relation))
            error(line, section,
                  "'" + entry + "': the store doesn't know the relation '" + relation +
                      "', so it means all relations." + meant(relation, names_.relations));
        if (type.empty())
            error(line, section,
                  "'" + entry + "' names no type, so nothing is found; '*' stands for all types");
        else if (type != "*" && !knownExactly(names_.types, type))
            warning(line, section,
                    "'" + entry + "': the store doesn't know the type '" + type +
                        "', so nothing is found." + meant(type, names_.types));
    }

    void checkWalk(const Reached& reached, const IniEntry& entry) {
        const std::vector<std::string> steps = splitList(entry.value, ';');
        if (steps.size() > kEntryLimit)
            error(entry.line, reached.section,
                  "'" + entry.key + "' has " + std::to_string(steps.size()) +
                      " entries, those after number " + std::to_string(kEntryLimit) +
                      " are not reached");
        for (const std::string& step : steps) {
            const std::vector<std::string> parts = splitList(step, '.');
            const std::string kind = parts.empty() ? "" : parts[0];
            if (!knownExactly(walkKindNames(), kind)) {
                error(entry.line, reached.section,
                      "'" + step + "' in '" + entry.key + "' is skipped: there is no kind '" +
                          kind + "' (case and blanks count)." + meant(kind, walkKindNames()));
                continue;
            }
            const bool relation = kind == "Rel" || kind == "Old_Rel";
            if (relation)
                checkRelation(reached.section, entry.line, step, parts.size() > 1 ? parts[1] : "",
                              parts.size() > 2 ? parts[2] : "");
            if (parts.size() > (relation ? 3u : 1u))
                warning(entry.line, reached.section,
                        "'" + step + "' has more parts than '" + kind + "' reads");
        }
    }

    void checkDeletes(const Reached& reached, const IniEntry& entry) {
        for (const std::string& item : splitList(entry.value, ';')) {
            const std::vector<std::string> parts = splitList(item, '.');
            checkRelation(reached.section, entry.line, item, parts.empty() ? "" : parts[0],
                          parts.size() > 1 ? parts[1] : "");
            if (parts.size() > 2)
                warning(entry.line, reached.section,
                        "'" + item + "' has more parts than <relation>.<type>");
        }
    }

    void checkForms(const Reached& reached, const IniEntry& entry) {
        for (const std::string& form : splitList(entry.value, ';')) {
            if ((reached.item || reached.revision) && form != "MasterForm") {
                error(entry.line, reached.section,
                      "'" + form + "' in 'SetAttributes' is not supported for " + reached.type +
                          ", only MasterForm is");
                continue;
            }
            const std::string section = reached.section + "_" + form;
            if (!ini_.hasSection(section))
                warning(entry.line, reached.section,
                        "'" + form + "' in 'SetAttributes' fills nothing: there is no section " +
                            section);
        }
    }

    // Find the known statuses whose names occur anywhere in the value, as far as the library reads
    // it.
    std::vector<std::string> statusesIn(const std::string& value) const {
        constexpr std::size_t kFew = 100;
        const std::string text = value.substr(0, kValueLimit);
        std::set<std::string> found;
        if (statuses_.size() <= kFew) {
            for (const std::string& status : statuses_)
                if (text.find(status) != std::string::npos)
                    found.insert(status);
        } else {
            for (std::size_t at = 0; at < text.size(); ++at)
                for (std::size_t size = 1; size <= longest_status_ && at + size <= text.size();
                     ++size)
                    if (std::string part = text.substr(at, size); statuses_.contains(part))
                        found.insert(std::move(part));
        }
        return {found.begin(), found.end()};
    }

    // The library searches the text for the status, so a part of a listed name counts as listed.
    void checkStatusText(const Reached& reached, const IniEntry& entry) {
        const std::vector<std::string> listed = statusWords(entry.value);
        std::vector<std::string> candidates = statusesIn(entry.value);
        if (equalNoCase(entry.key, "PrevReleaseStatus") &&
            entry.value.find("none") != std::string::npos)
            candidates.push_back("none");
        for (const std::string& status : candidates) {
            if (knownExactly(listed, status))
                continue;
            warning(
                entry.line, reached.section,
                "'" + status + "' is part of the text '" + entry.value + "' of '" + entry.key +
                    "', so " +
                    (status == "none" ? "objects without a status" : "objects with that status") +
                    " count as listed");
        }
    }

    void checkForm(const std::string& section) {
        for (const IniEntry* entry : ini_.entries(section)) {
            if (!findKey(SectionKind::Form, entry->key)) {
                unknownKey(*entry, section, keyNames(SectionKind::Form));
                continue;
            }
            std::string key = asciiLower(entry->key);
            if (key.ends_with("onempty"))
                key.resize(key.size() - 7);
            const bool pairs = key == "setdefault" || key == "setactgroup";
            const bool may_pair = pairs || key == "setactdate";
            for (const std::string& item : splitList(entry->value, ';')) {
                const auto sign = item.find('=');
                if (item.size() > kFormEntryLimit)
                    error(entry->line, section,
                          "an entry of '" + entry->key + "' has " + std::to_string(item.size()) +
                              " bytes, at most " + std::to_string(kFormEntryLimit) + " are read");
                if (sign != std::string::npos && item.size() - sign - 1 > kFormValueLimit)
                    error(entry->line, section,
                          "a value of '" + entry->key + "' has more than " +
                              std::to_string(kFormValueLimit) + " bytes");
                if (pairs && (sign == std::string::npos || sign + 1 == item.size()))
                    warning(entry->line, section,
                            "'" + item + "' in '" + entry->key +
                                "' supplies no value: it gets that of the entry before it");
                if (!may_pair && sign != std::string::npos)
                    warning(entry->line, section,
                            "'" + entry->key + "' takes names of properties, so '" + item +
                                "' is one name with the sign in it");
            }
        }
    }

    void checkUnreached() {
        std::unordered_set<std::string> reached;
        for (const Reached& process : reachable_.process)
            reached.insert(asciiLower(process.section));
        for (const auto& [name, process] : reachable_.forms)
            reached.insert(asciiLower(name));
        std::vector<std::string> wanted;
        for (const Reached& process : reachable_.process)
            if (!process.present)
                wanted.push_back(process.section);
        for (const auto& [name, process] : reachable_.forms)
            if (!ini_.hasSection(name))
                wanted.push_back(name);
        constexpr std::size_t kMostWanted = 1000;
        if (wanted.size() > kMostWanted)
            wanted.resize(kMostWanted);
        for (const IniSection* section : ini_.distinctSections()) {
            if (equalNoCase(section->name, "GLOBAL") || equalNoCase(section->name, "SelectWSO") ||
                reached.contains(asciiLower(section->name)))
                continue;
            std::string near = meant(section->name, wanted);
            if (near.empty())
                near = meant(section->name, {"GLOBAL", "SelectWSO"});
            warning(section->line, section->name,
                    "no start type and no walk leads to this section." + near);
        }
    }

    void checkCaseTwins() {
        checkTwins(statuses_, "the status names");
        std::set<std::string> types;
        for (const std::string& type : names_.types)
            types.insert(type);
        for (const IniEntry* entry : ini_.entries("SelectWSO"))
            types.insert(entry->key);
        checkTwins(types, "the type names");
    }

    void checkTwins(const std::set<std::string>& names, const char* what) {
        std::map<std::string, std::string> seen;
        for (const std::string& name : names) {
            const auto [earlier, added] = seen.emplace(asciiLower(name), name);
            if (!added)
                warning(0, "",
                        std::string(what) + " '" + earlier->second + "' and '" + name +
                            "' differ only in case and share their sections");
        }
    }

    const IniFile& ini_;
    const KnownNames& names_;
    Reachable reachable_;
    std::set<std::string> statuses_;
    std::size_t longest_status_ = 0;
    std::vector<Finding> findings_;
    int answers_ = 0;
};

}  // namespace

std::vector<std::string> statusWords(const std::string& text) {
    std::vector<std::string> found;
    std::string word;
    for (const char c : text + ";") {
        if (c != ';' && c != ',' && c != ' ' && c != '\t')
            word += c;
        else if (!word.empty())
            found.push_back(std::exchange(word, {}));
    }
    return found;
}

std::string valueOf(const IniFile& ini, const std::string& section, const char* key) {
    const IniEntry* entry = ini.find(section, key);
    return entry ? entry->value : std::string();
}

std::vector<Finding> checkIni(const IniFile& ini, const KnownNames& names) {
    return Checker(ini, names).run();
}

}  // namespace keld
