// Keys of one section that make each other void, and lists with commas between their entries.

#include <algorithm>

#include "tools/keld/lint/ini_check.h"
#include "tools/keld/lint/keys.h"

namespace keld {

namespace {

class Contradictions {
public:
    Contradictions(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings)
        : ini_(ini), reachable_(reachable), findings_(findings) {}

    void run() {
        for (const Reached& at : reachable_.process)
            if (at.present) {
                checkLists(at);
                checkWalks(at);
                checkDeeds(at);
            }
        for (const auto& [name, owner] : reachable_.forms)
            if (const IniSection* form = ini_.first(name))
                checkForm(form->name);
    }

private:
    void warning(int line, const std::string& section, const std::string& text) {
        findings_.push_back({Severity::Warning, line, section, text});
    }

    // An object that is left alone is never tested, so its status in PrevReleaseStatus has no
    // effect.
    void checkLists(const Reached& at) {
        const IniEntry* before = ini_.find(at.section, "PrevReleaseStatus");
        const std::string alone = valueOf(ini_, at.section, "DoNothingOnReleaseStatus");
        if (!before || at.line)
            return;
        for (const std::string& status : statusWords(before->value))
            if (status != "none" && alone.find(status) != std::string::npos)
                warning(before->line, at.section,
                        "'PrevReleaseStatus' allows '" + status +
                            "', but 'DoNothingOnReleaseStatus' names it too and is read first: "
                            "such an object is left alone. Take it out of one of them");
    }

    void checkWalks(const Reached& at) {
        static constexpr const char* kPairs[][2] = {{"ChangeNoRek", "ChangeForward"},
                                                    {"ChangeNoRek", "ChangeBack"},
                                                    {"ChangeForward", "ChangeBack"}};
        for (const auto& [first, second] : kPairs) {
            const IniEntry* one = ini_.find(at.section, first);
            const IniEntry* other = ini_.find(at.section, second);
            if (!one || !other)
                continue;
            const std::vector<std::string> entries = splitList(one->value, ';');
            for (const std::string& entry : splitList(other->value, ';'))
                if (!entry.empty() &&
                    std::find(entries.begin(), entries.end(), entry) != entries.end())
                    warning(other->line, at.section,
                            "'" + entry + "' is in '" + first + "' (line " +
                                std::to_string(one->line) + ") and in '" + second +
                                "': a run goes there twice. Leave it in one of them");
        }
    }

    void checkDeeds(const Reached& at) {
        const IniEntry* purge = ini_.find(at.section, "Purge");
        if (purge && iniInteger(purge->value) == 1 && (at.item || at.revision || at.bvr))
            findings_.push_back({Severity::Error, purge->line, at.section,
                                 "'Purge' is for datasets, and this section is for " + at.type +
                                     ": the purge fails and the run ends there. Leave it out"});
        const IniEntry* prefix = ini_.find(at.section, "JobPrefix");
        if (prefix && valueOf(ini_, at.section, "StartJob").empty())
            warning(prefix->line, at.section,
                    "'JobPrefix' has no 'StartJob' beside it: it is never read, and no workflow "
                    "starts");
    }

    // The library applies the keys in this order, so a later one overwrites the field of an earlier
    // one.
    void checkForm(const std::string& section) {
        struct Set {
            std::string key;
            int line;
        };
        std::map<std::string, Set> fields;
        for (const ConfigKey& key : configKeys()) {
            if (key.section != SectionKind::Form)
                continue;
            for (const std::string& name :
                 {std::string(key.name), key.name + std::string(kOnEmpty)})
                if (const IniEntry* entry = ini_.find(section, name))
                    for (const std::string& item : splitList(entry->value, ';')) {
                        const std::string field = item.substr(0, item.find('='));
                        const auto [set, added] =
                            fields.try_emplace(field, Set{entry->key, entry->line});
                        if (added || field.empty() || set->second.key == entry->key)
                            continue;
                        const bool filled = isOnEmpty(name) && name != "Del_DateOnEmpty";
                        warning(entry->line, section,
                                "'" + set->second.key + "' (line " +
                                    std::to_string(set->second.line) + ") has filled the field '" +
                                    field + "' before '" + entry->key + "' comes to it: " +
                                    (filled ? "the later value is never taken"
                                            : "the earlier value is lost") +
                                    ". Leave it in one of them");
                    }
        }
    }

    const IniFile& ini_;
    const Reachable& reachable_;
    std::vector<Finding>& findings_;
};

bool isName(std::string_view text) {
    return !text.empty() && text.find_first_of(" \t.") == std::string_view::npos;
}

// Whether a comma in a form list is meant to separate entries: an entry seems to begin after it.
bool dividesForms(const ConfigKey& key, const std::string& value) {
    const bool only_names = key.value == std::string_view("`field`");
    for (const std::string& item : splitList(value, ';')) {
        const auto comma = item.find(',');
        if (comma == std::string::npos)
            continue;
        const std::string rest = item.substr(comma + 1);
        const auto sign = rest.find('=');
        if (only_names || item.find('=') == std::string::npos ||
            (sign != std::string::npos && isName(rest.substr(0, sign))))
            return true;
    }
    return false;
}

void checkComma(const ConfigKey& key, const IniEntry& entry, const std::string& section,
                std::vector<Finding>& findings) {
    if (entry.value.find(',') == std::string::npos)
        return;
    const bool list = key.form == ValueForm::Walks || key.form == ValueForm::Fields ||
                      key.form == ValueForm::Forms || key.form == ValueForm::Deletions ||
                      (key.form == ValueForm::FormList && dividesForms(key, entry.value));
    if (!list && key.form != ValueForm::Statuses)
        return;
    std::string right = entry.value;
    std::replace(right.begin(), right.end(), ',', ';');
    findings.push_back({list ? Severity::Error : Severity::Warning, entry.line, section,
                        list ? "a comma doesn't divide the entries of '" + entry.key +
                                   "': the library takes it as a part of a name. Write " +
                                   entry.key + "=" + right
                             : "a comma in '" + entry.key +
                                   "' divides nothing: the library finds the names all the same, "
                                   "since it searches the whole text. Write " +
                                   entry.key + "=" + right});
}

}  // namespace

void checkContradictions(const IniFile& ini, const Reachable& reachable,
                         std::vector<Finding>& findings) {
    Contradictions(ini, reachable, findings).run();
}

void checkCommas(const IniFile& ini, const Reachable& reachable, std::vector<Finding>& findings) {
    const auto check = [&](SectionKind kind, const std::string& section) {
        for (const IniEntry* entry : ini.entries(section))
            if (const ConfigKey* key = findKey(kind, entry->key))
                checkComma(*key, *entry, section, findings);
    };
    for (const Reached& at : reachable.process)
        if (at.present)
            check(SectionKind::Process, at.section);
    for (const auto& [name, owner] : reachable.forms)
        if (const IniSection* form = ini.first(name))
            check(SectionKind::Form, form->name);
}

}  // namespace keld
