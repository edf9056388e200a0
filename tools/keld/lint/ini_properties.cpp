// Fields in the file that the objects and forms of the store don't have.

#include <algorithm>

#include "tools/keld/host/nearest.h"
#include "tools/keld/lint/ini_check.h"
#include "tools/keld/lint/keys.h"

namespace keld {

namespace {

class PropertyNames {
public:
    PropertyNames(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                  std::vector<Finding>& findings)
        : ini_(ini), names_(names), reachable_(reachable), findings_(findings) {}

    void run() {
        for (const Reached& at : reachable_.process) {
            if (!at.present || at.line)
                continue;
            if (const IniEntry* entry = ini_.find(at.section, "CheckNeedFields"))
                for (const std::string& field : splitList(entry->value, ';'))
                    check(at, at.section, *entry, "MasterForm", field,
                          "the run is refused at each such object");
            if (const IniEntry* entry = ini_.find(at.section, "SetAttributes"))
                for (const std::string& form : splitList(entry->value, ';'))
                    checkForm(at, form);
        }
    }

private:
    void checkForm(const Reached& at, const std::string& form) {
        const IniSection* section = ini_.first(at.section + "_" + form);
        if (!section)
            return;
        for (const IniEntry* entry : ini_.entries(section->name)) {
            const ConfigKey* key = findKey(SectionKind::Form, entry->key);
            if (!key)
                continue;
            for (const std::string& item : splitList(entry->value, ';')) {
                const auto sign = item.find('=');
                const bool pair = key->value != std::string_view("`field`");
                const std::string field = pair ? item.substr(0, sign) : item;
                check(at, section->name, *entry, form, field,
                      "the list ends there, and what is before it is set");
                if (key->name == std::string_view("SetActGroup") && sign != std::string::npos)
                    check(at, section->name, *entry, "", item.substr(sign + 1),
                          "the list ends there, and what is before it is set");
            }
        }
    }

    void check(const Reached& at, const std::string& section, const IniEntry& entry,
               const std::string& form, const std::string& field, const char* effect) {
        constexpr int kMostAnswers = 1000;
        if (!names_.properties || field.empty() || field.find(',') != std::string::npos)
            return;
        const std::vector<std::string> known = names_.properties(at, form);
        if (known.empty())
            return;
        const auto star = field.find('*');
        const bool found = std::any_of(known.begin(), known.end(), [&](const std::string& name) {
            return star == std::string::npos ? name == field
                                             : name.starts_with(field.substr(0, star));
        });
        if (found)
            return;
        const std::string owner = form.empty() ? at.type : "the form " + form + " of " + at.type;
        findings_.push_back(
            {star == std::string::npos ? Severity::Error : Severity::Warning, entry.line, section,
             "'" + field + "' in '" + entry.key + "' is no property of " + owner + ": " +
                 (star == std::string::npos ? effect : "no field is set by it") + "." +
                 (++answers_ > kMostAnswers ? "" : didYouMean(nearest(field, known)))});
    }

    const IniFile& ini_;
    const KnownNames& names_;
    const Reachable& reachable_;
    std::vector<Finding>& findings_;
    int answers_ = 0;
};

}  // namespace

void checkProperties(const IniFile& ini, const KnownNames& names, const Reachable& reachable,
                     std::vector<Finding>& findings) {
    PropertyNames(ini, names, reachable, findings).run();
}

}  // namespace keld
